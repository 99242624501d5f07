#pragma once
// A kernel that reads its run once is a pass: an object with Take(samples, results) for the next samples and
// Finish(results) for what the end leaves. It is written once and runs in memory and on streams, with the
// same results bit for bit.

#include <algorithm>
#include <functional>
#include <memory>
#include <span>
#include <vector>

#include "kernels/streams.h"

namespace kymora {

// Large enough that calls cost nothing, small enough to stay in the processor's cache.
inline constexpr size_t passBlock = 8192;

// Begins to read a run anew, for kernels that read it several times.
using SourceMaker = std::function<std::unique_ptr<FloatSource>()>;

// Fills an array from its beginning. What does not fit is dropped.
class SpanSink : public FloatSink {
  public:
    explicit SpanSink(std::span<float> to) : to_(to) {}
    void Write(std::span<const float> values) override {
        const size_t count = std::min(values.size(), to_.size());
        std::copy_n(values.begin(), count, to_.begin());
        to_ = to_.subspan(count);
    }

  private:
    std::span<float> to_;
};

// Collects results and hands them on in large pieces.
class ResultBuffer {
  public:
    explicit ResultBuffer(FloatSink& sink) : sink_(sink), values_(passBlock) {}

    void Add(float value) {
        if (used_ == values_.size()) Flush();
        values_[used_++] = value;
    }
    void Fill(float value, int64_t count) {
        while (count > 0) {
            const auto part = static_cast<size_t>(std::min<int64_t>(count, passBlock));
            std::ranges::fill(Room(part), value);
            count -= static_cast<int64_t>(part);
        }
    }
    // Room for the next `count` results, at most passBlock of them; the caller fills all of it.
    std::span<float> Room(size_t count) {
        if (values_.size() - used_ < count) Flush();
        const auto room = std::span(values_).subspan(used_, count);
        used_ += count;
        return room;
    }
    // Throws FileError.
    void Flush() {
        sink_.Write(std::span(values_).first(used_));
        used_ = 0;
    }

  private:
    FloatSink& sink_;
    std::vector<float> values_;
    size_t used_ = 0;
};

// A run on a stream that can be read several times.
struct RepeatedSource {
    const SourceMaker& make;
};

// Calls take(samples) for the samples of a run, passBlock at a time at most, until it answers false. Throws
// FileError.
template <typename Take>
void ForEachBlockWhile(FloatSource& source, Take take) {
    std::vector<float> block(passBlock);
    while (const size_t count = source.Read(block)) {
        if (!take(std::span<const float>(block).first(count))) return;
        if (count < block.size()) return;
    }
}

template <typename Take>
void ForEachBlockWhile(const RepeatedSource& source, Take take) {
    ForEachBlockWhile(*source.make(), take);
}

template <typename Take>
void ForEachBlockWhile(std::span<const float> input, Take take) {
    for (size_t at = 0; at < input.size(); at += passBlock)
        if (!take(input.subspan(at, std::min(passBlock, input.size() - at)))) return;
}

template <typename Input, typename Take>
void ForEachBlock(Input&& input, Take take) {
    ForEachBlockWhile(input, [&](std::span<const float> samples) {
        take(samples);
        return true;
    });
}

// `input` is a FloatSource, a RepeatedSource or a span of the samples.
template <typename Input, typename Pass>
void RunPass(Input&& input, FloatSink& sink, Pass pass) {
    ResultBuffer results(sink);
    ForEachBlock(input, [&](std::span<const float> samples) { pass.Take(samples, results); });
    pass.Finish(results);
    results.Flush();
}

template <typename Pass>
void RunPass(std::span<const float> input, std::span<float> output, Pass pass) {
    SpanSink sink(output);
    RunPass(input, sink, std::move(pass));
}

}  // namespace kymora
