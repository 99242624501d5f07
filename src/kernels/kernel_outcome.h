#pragma once
// What a kernel says when it ends, and what a long one is asked meanwhile.

#include <cstdint>
#include <functional>

namespace kymora {

// Asked whether to go on, with the number of samples done.
using KernelPoll = std::function<bool(int64_t done)>;

struct KernelOutcome {
    bool isDone = true;        // false abandons the transform; what was written until then is of no use
    const char* message = "";  // for the user; a failure without one is silent
    const char* note = "";     // for the log, whether or not the kernel has done its work

    explicit operator bool() const { return isDone; }
    static KernelOutcome Failure(const char* text = "") { return {false, text}; }
};

inline constexpr const char* unrecognizedTransformText = "Unrecognized transform command: contact author.";

}  // namespace kymora
