#pragma once
// Reading a stretch of one trace from its first sample to its last, block by block, whatever its length. The
// window of a document's sequential reads stays where it is, and readPosition with it.

#include <algorithm>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

#include "document/sample_reader.h"

namespace kymora {

inline constexpr int64_t scanBlock = 16384;

// Hands the samples of [from, from + count) to `take(values)`, as the sequential reads give them: gaps as
// 0.0, samples outside the recording as not-a-number. `take` may change the values and answers false to stop
// early; the answer then is false. Throws FileError.
template <typename Take>
bool ScanSamples(SampleReader& reader, int trace, int64_t from, int64_t count, Take take) {
    std::vector<float> values(static_cast<size_t>(std::clamp<int64_t>(count, 0, scanBlock)));
    for (int64_t done = 0; done < count;) {
        const auto part = std::span(values).first(static_cast<size_t>(std::min(scanBlock, count - done)));
        reader.ReadBlock(trace, from + done, part);
        if (!take(part)) return false;
        done += static_cast<int64_t>(part.size());
    }
    return true;
}

// The same with not-a-number in the place of gap samples, for what counts true samples only.
template <typename Take>
bool ScanValidSamples(SampleReader& reader, int trace, int64_t from, int64_t count, Take take) {
    if (!reader.HasGaps() && !reader.HasNoData()) return ScanSamples(reader, trace, from, count, take);
    std::vector<float> values(static_cast<size_t>(std::clamp<int64_t>(count, 0, scanBlock)));
    std::vector<uint8_t> valid(values.size());
    for (int64_t done = 0; done < count;) {
        const auto size = static_cast<size_t>(std::min(scanBlock, count - done));
        const auto part = std::span(values).first(size);
        reader.ReadBlock(trace, from + done, part, std::span(valid).first(size));
        for (size_t i = 0; i < size; ++i)
            if (valid[i] == 0) part[i] = std::numeric_limits<float>::quiet_NaN();
        if (!take(part)) return false;
        done += static_cast<int64_t>(size);
    }
    return true;
}

}  // namespace kymora
