#pragma once
// The samples of a trace within events, for a pass over many events that ascend: what is read reaches beyond
// the event, so that those that lie close together are read once.

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "document/sample_reader.h"

namespace kymora {

class EventTrace {
  public:
    EventTrace(SampleReader& reader, int trace)
        : reader_(reader), trace_(trace), length_(reader.GetTraceLength(trace)) {}

    // Hands the samples of [from, to) that count, which are those in the recording that are no gap and a
    // finite number, to `take(position, value)`. Throws FileError.
    template <typename Take>
    void Each(int64_t from, int64_t to, Take take) {
        to = std::min(to, length_);
        for (int64_t at = std::max<int64_t>(from, 0); at < to;) {
            if (at < start_ || at >= end_) Read(at, to);
            for (const int64_t stop = std::min(to, end_); at < stop; ++at) {
                const auto index = static_cast<size_t>(at - start_);
                if (valid_[index] != 0 && std::isfinite(values_[index])) take(at, values_[index]);
            }
        }
    }

  private:
    static constexpr int64_t least = 4096, most = 65536;  // samples that are read at once

    void Read(int64_t at, int64_t to) {
        start_ = at;
        end_ = std::min(length_, at + std::clamp(to - at, least, most));
        values_.resize(static_cast<size_t>(end_ - start_));
        valid_.assign(values_.size(), 1);
        reader_.ReadBlock(trace_, start_, values_, valid_);
    }

    SampleReader& reader_;
    int trace_;
    int64_t length_, start_ = 0, end_ = 0;
    std::vector<float> values_;
    std::vector<uint8_t> valid_;
};

}  // namespace kymora
