#pragma once
// What an operation has found in a recording, as a table in which the user goes from one finding to the next,
// sees each in the view, and accepts or rejects it.

#include <cstdint>
#include <string>
#include <vector>

#include "results/result.h"

namespace kymora {

// As many as a window holds; a text or a file has all.
inline constexpr size_t mostFindings = 100'000;

enum class Verdict { none, accepted, rejected };

struct Finding {
    int32_t onset = 0, offset = 0;    // samples from the start of the recording
    std::vector<ResultValue> values;  // one for each column
    Verdict verdict = Verdict::none;

    bool IsSamePlace(const Finding& other) const { return onset == other.onset && offset == other.offset; }
};

struct Findings {
    std::vector<ResultColumn> columns;
    std::vector<Finding> rows;
    bool isCut = false;  // there are more than these
};

}  // namespace kymora
