#pragma once
// Reading a run whose length is known, by blocks or as a window that slides over it.

#include <algorithm>
#include <cstring>
#include <span>
#include <vector>

#include "document/native_writer.h"
#include "host/file_system.h"
#include "kernels/kernel_outcome.h"
#include "kernels/passes.h"

namespace kymora {

// A run that is in memory.
class SpanSource : public FloatSource {
  public:
    explicit SpanSource(std::span<const float> samples) : left_(samples) {}
    size_t Read(std::span<float> to) override {
        const size_t count = std::min(to.size(), left_.size());
        std::copy_n(left_.begin(), count, to.begin());
        left_ = left_.subspan(count);
        return count;
    }

  private:
    std::span<const float> left_;
};

// The same, asking before each read whether to go on. Cancelled ends it.
class PolledSource : public FloatSource {
  public:
    PolledSource(std::span<const float> samples, const KernelPoll& goOn) : samples_(samples), goOn_(goOn) {}
    size_t Read(std::span<float> to) override {
        if (goOn_ && !goOn_(done_)) throw Cancelled();
        const size_t count = samples_.Read(to);
        done_ += static_cast<int64_t>(count);
        return count;
    }

  private:
    SpanSource samples_;
    const KernelPoll& goOn_;
    int64_t done_ = 0;
};

// Reads exactly the samples of a run. A source that ends before is a FileError: something happened to the
// file.
class RunReader {
  public:
    RunReader(FloatSource& source, int64_t count) : source_(source), left_(count) {}

    int64_t Left() const { return left_; }
    // Fills all of `to`, which must not be longer than what is left.
    void Fill(std::span<float> to) {
        if (source_.Read(to) != to.size()) throw FileError("The data ended before their time", 0);
        left_ -= static_cast<int64_t>(to.size());
    }
    // The next samples, passBlock of them at most; none at the end. They hold until the next call.
    std::span<const float> NextBlock() {
        block_.resize(passBlock);
        const auto to = std::span(block_).first(static_cast<size_t>(std::min<int64_t>(left_, passBlock)));
        Fill(to);
        return to;
    }

  private:
    FloatSource& source_;
    int64_t left_;
    std::vector<float> block_;
};

// Windows of one length over a series that is appended at its end and dropped at its front. It holds one
// window and a block.
class SlidingWindows {
  public:
    explicit SlidingWindows(size_t window) : window_(window), samples_(window - 1 + passBlock) {}

    // Windows that are whole; they begin one sample after the other.
    size_t Count() const { return held_ < window_ ? 0 : held_ - window_ + 1; }
    std::span<const float> Samples() const { return std::span(samples_).subspan(first_, held_); }
    std::span<const float> Window(size_t index) const {
        return std::span(samples_).subspan(first_ + index, window_);
    }
    // Samples that can be appended now, at least one when no window is whole.
    size_t Room() const { return samples_.size() - held_; }

    // Room for `count` further samples, which the caller fills.
    std::span<float> Append(size_t count) {
        if (first_ + held_ + count > samples_.size()) {
            std::memmove(samples_.data(), samples_.data() + first_, held_ * sizeof(float));
            first_ = 0;
        }
        held_ += count;
        return std::span(samples_).subspan(first_ + held_ - count, count);
    }
    // Appends what there is room for and what is left.
    void AppendFrom(RunReader& reader) {
        const auto count = std::min<int64_t>(reader.Left(), static_cast<int64_t>(Room()));
        reader.Fill(Append(static_cast<size_t>(count)));
    }
    // Takes away the samples before window `count`.
    void Drop(size_t count) {
        first_ += count;
        held_ -= count;
    }

  private:
    size_t window_;
    std::vector<float> samples_;
    size_t first_ = 0;
    size_t held_ = 0;
};

inline void CopyRun(FloatSource& source, int64_t count, FloatSink& sink) {
    RunReader reader(source, count);
    while (reader.Left() > 0) sink.Write(reader.NextBlock());
}

// The mean, added up in double, in the place of each sample: what a run becomes that is shorter than its
// window.
inline void FillWithMean(FloatSource& source, int64_t count, FloatSink& sink) {
    RunReader reader(source, count);
    double sum = 0.0;
    while (reader.Left() > 0)
        for (const float value : reader.NextBlock()) sum += value;
    ResultBuffer results(sink);
    results.Fill(static_cast<float>(sum / static_cast<double>(count)), count);
    results.Flush();
}

// Runs `pass(source, sink)` several times, each time over the result of the time before, which rests in
// scratch files: two at most at any moment. The last time writes to `sink`.
template <typename Pass>
void RepeatPass(FloatSource& source, FloatSink& sink, ScratchRoom& room, int times, Pass pass) {
    std::unique_ptr<ScratchRun> run;
    std::unique_ptr<FloatSource> again;
    for (int i = 1; i < times; ++i) {
        std::unique_ptr<ScratchRun> next = room.Make();
        pass(again ? *again : source, next->Sink());
        again = next->Rewind();
        run = std::move(next);
    }
    pass(again ? *again : source, sink);
}

// What a kernel says of a run that has fewer samples than its window and that it cannot treat.
inline constexpr const char* runShorterThanWindowText = "The run is shorter than the window.\n";

}  // namespace kymora
