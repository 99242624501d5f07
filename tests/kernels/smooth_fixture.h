#pragma once
// What the tests of smoothers share: scratch runs in memory that count themselves, and runs of one smoother
// in both forms.

#include "kernels/kernel_fixture.h"
#include "kernels/kernel_outcome.h"

namespace kymora {

class CountingRoom : public ScratchRoom {
  public:
    int made = 0;
    int alive = 0;
    int mostAlive = 0;
    bool isFull = false;  // the next run cannot be written

    std::unique_ptr<ScratchRun> Make() override { return std::make_unique<Run>(*this); }

  private:
    class Run : public ScratchRun, private FloatSink {
      public:
        explicit Run(CountingRoom& room) : room_(room) {
            ++room.made;
            room.mostAlive = std::max(room.mostAlive, ++room.alive);
        }
        ~Run() override { --room_.alive; }
        FloatSink& Sink() override { return *this; }
        std::unique_ptr<FloatSource> Rewind() override { return std::make_unique<VectorSource>(values_); }
        std::unique_ptr<FloatSource> Backwards() override {
            return std::make_unique<VectorSource>(std::vector<float>(values_.rbegin(), values_.rend()));
        }

      private:
        void Write(std::span<const float> values) override {
            if (room_.isFull) throw std::runtime_error("disk full");
            values_.insert(values_.end(), values.begin(), values.end());
        }
        CountingRoom& room_;
        std::vector<float> values_;
    };
};

struct Smoothed {
    KernelOutcome outcome;
    std::vector<float> values;
};

// smooth(input, output)
template <typename Smooth>
Smoothed InMemory(const std::vector<float>& run, Smooth smooth) {
    Smoothed result;
    result.values.resize(run.size(), -12345.0f);
    result.outcome = smooth(std::span<const float>(run), std::span<float>(result.values));
    return result;
}

// smooth(source, count, sink)
template <typename Smooth>
Smoothed Streamed(const std::vector<float>& run, Smooth smooth) {
    VectorSource source(run);
    VectorSink sink;
    Smoothed result;
    result.outcome = smooth(source, static_cast<int64_t>(run.size()), sink);
    result.values = sink.samples;
    return result;
}

}  // namespace kymora
