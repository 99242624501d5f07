#pragma once
// Which vectors the processor at hand has. Everything is compiled for the common instruction set of its kind;
// a few inner loops are compiled for wider vectors, too, and chosen when they run. They do the same
// operations in the same order for each of their lanes, so that their results are the same bits.

namespace kymora {

enum class InstructionSet { common, avx2, avx512 };

// The widest one that processor and operating system support.
inline InstructionSet WidestInstructionSet() {
#if defined(__x86_64__)
    if (__builtin_cpu_supports("avx512f")) return InstructionSet::avx512;
    if (__builtin_cpu_supports("avx2")) return InstructionSet::avx2;
#endif
    return InstructionSet::common;
}

}  // namespace kymora
