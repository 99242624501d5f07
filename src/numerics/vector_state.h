#pragma once
// Libraries that leave the upper halves of the vector registers in use make all that is compiled for the
// common instruction set several times slower from then on, on the same thread and those that it starts: each
// of its instructions then waits for the register's last value.

namespace kymora {

// Clears the upper halves. To be called once such a library has been at work, and before long computations.
inline void ClearVectorState() {
#if defined(__x86_64__)
    // Volatile and without operands: the registers' lower halves, which alone this code uses, stay.
    if (__builtin_cpu_supports("avx")) asm volatile("vzeroupper");
#endif
}

}  // namespace kymora
