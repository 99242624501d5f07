#pragma once
// Intermediate results of kernels in memory, for runs that are in memory themselves.

#include <vector>

#include "kernels/run_reader.h"
#include "kernels/streams.h"

namespace kymora {

// The sources of a run must not outlive it.
class MemoryScratch : public ScratchRoom {
  public:
    // `expected` samples are what a run will have, more or less.
    explicit MemoryScratch(size_t expected = 0) : expected_(expected) {}
    std::unique_ptr<ScratchRun> Make() override { return std::make_unique<Run>(expected_); }

  private:
    class Backward : public FloatSource {
      public:
        explicit Backward(std::span<const float> samples) : left_(samples) {}
        size_t Read(std::span<float> to) override {
            const size_t count = std::min(to.size(), left_.size());
            std::reverse_copy(left_.end() - static_cast<std::ptrdiff_t>(count), left_.end(), to.begin());
            left_ = left_.first(left_.size() - count);
            return count;
        }

      private:
        std::span<const float> left_;
    };

    class Run : public ScratchRun, private FloatSink {
      public:
        explicit Run(size_t expected) { values_.reserve(expected); }
        FloatSink& Sink() override { return *this; }
        std::unique_ptr<FloatSource> Rewind() override { return std::make_unique<SpanSource>(values_); }
        std::unique_ptr<FloatSource> Backwards() override { return std::make_unique<Backward>(values_); }

      private:
        void Write(std::span<const float> values) override {
            values_.insert(values_.end(), values.begin(), values.end());
        }
        std::vector<float> values_;
    };

    size_t expected_;
};

}  // namespace kymora
