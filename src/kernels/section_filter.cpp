#include "kernels/section_filter.h"

#include <cmath>
#include <memory>

#include "kernels/memory_scratch.h"
#include "kernels/recursive.h"
#include "kernels/run_reader.h"

namespace kymora {

namespace {

class SectionPass {
  public:
    explicit SectionPass(const SectionFilterSettings& settings) : cascade_(settings.sections) {}

    void Take(std::span<const float> samples, ResultBuffer& results) {
        if (!hasBegun_ && !samples.empty()) Begin(samples.front());
        for (const float sample : samples) results.Add(Next(sample));
    }
    void Begin(double value) {
        cascade_.Settle(value);
        hasBegun_ = true;
    }
    float Next(double sample) {
        if (++count_ % passBlock == 0) cascade_.ForgetTiny();
        return last_ = static_cast<float>(cascade_.Next(sample));
    }
    bool IsSpoilt() const { return !std::isfinite(last_); }

  private:
    SectionCascade cascade_;
    bool hasBegun_ = false;
    uint64_t count_ = 0;  // of samples, the same in memory and on streams
    float last_ = 0.0f;
};

// `value` turned about `middle`.
double Reflected(float middle, float value) { return 2.0 * middle - value; }

// Filters the run, and behind it as many samples as are reflected there.
class ForwardWay {
  public:
    ForwardWay(const SectionFilterSettings& settings, int64_t reflected)
        : pass_(settings), reflected_(static_cast<size_t>(reflected)) {}

    void Run(RunReader& reader, ResultBuffer& results) {
        latest_.resize(reflected_ + 1);
        reader.Fill(latest_);
        Lead();
        pass_.Take(latest_, results);
        while (reader.Left() > 0) {
            const std::span<const float> block = reader.NextBlock();
            pass_.Take(block, results);
            Keep(block);
        }
        for (size_t k = 1; k <= reflected_; ++k)
            results.Add(pass_.Next(Reflected(latest_.back(), latest_[reflected_ - k])));
    }
    bool IsSpoilt() const { return pass_.IsSpoilt(); }

  private:
    // Through the samples before the run, whose results nobody wants.
    void Lead() {
        pass_.Begin(Reflected(latest_.front(), latest_[reflected_]));
        for (size_t k = reflected_; k >= 1; --k) pass_.Next(Reflected(latest_.front(), latest_[k]));
    }
    // The last samples, one more than are reflected.
    void Keep(std::span<const float> block) {
        const size_t kept = latest_.size();
        if (block.size() >= kept) {
            std::ranges::copy(block.last(kept), latest_.begin());
        } else {
            std::shift_left(latest_.begin(), latest_.end(), static_cast<std::ptrdiff_t>(block.size()));
            std::ranges::copy(block, latest_.end() - static_cast<std::ptrdiff_t>(block.size()));
        }
    }

    SectionPass pass_;
    size_t reflected_;
    std::vector<float> latest_;
};

KernelOutcome WithNote(bool isSpoilt) {
    KernelOutcome outcome;
    if (isSpoilt) outcome.note = spoiltToTheEndText;
    return outcome;
}

KernelOutcome OneWay(FloatSource& source, const SectionFilterSettings& settings, FloatSink& sink) {
    ResultBuffer results(sink);
    SectionPass pass(settings);
    ForEachBlock(source, [&](std::span<const float> samples) { pass.Take(samples, results); });
    results.Flush();
    return WithNote(pass.IsSpoilt());
}

KernelOutcome BothWays(FloatSource& source, int64_t count, const SectionFilterSettings& settings,
                       FloatSink& sink, ScratchRoom& room) {
    const int64_t reflected = std::min(count - 1, RingingSamples(settings.sections, mostReflected));
    const std::unique_ptr<ScratchRun> reversed = room.Make();
    bool isSpoilt = false;
    {
        const std::unique_ptr<ScratchRun> forward = room.Make();
        {
            ForwardWay way(settings, reflected);
            RunReader reader(source, count);
            ResultBuffer results(forward->Sink());
            way.Run(reader, results);
            results.Flush();
            isSpoilt = way.IsSpoilt();
        }
        const auto back = forward->Backwards();
        RunReader reader(*back, count + reflected);
        ResultBuffer results(reversed->Sink());
        SectionPass pass(settings);
        int64_t left = reflected;  // of what lies behind the run
        while (reader.Left() > 0) {
            std::span<const float> block = reader.NextBlock();
            if (reader.Left() + static_cast<int64_t>(block.size()) == count + reflected)
                pass.Begin(block.front());
            for (; left > 0 && !block.empty(); --left, block = block.subspan(1)) pass.Next(block.front());
            pass.Take(block, results);
        }
        results.Flush();
    }
    ForEachBlock(*reversed->Backwards(), [&](std::span<const float> samples) { sink.Write(samples); });
    return WithNote(isSpoilt);
}

}  // namespace

KernelOutcome FilterSections(std::span<const float> input, const SectionFilterSettings& settings,
                             std::span<float> output, const KernelPoll& goOn) {
    PolledSource source(input, goOn);
    SpanSink sink(output);
    MemoryScratch room(input.size());
    return FilterSections(source, static_cast<int64_t>(input.size()), settings, sink, room);
}

KernelOutcome FilterSections(FloatSource& source, int64_t count, const SectionFilterSettings& settings,
                             FloatSink& sink, ScratchRoom& room) {
    if (count == 0) return {};
    if (settings.isBidirectional) return BothWays(source, count, settings, sink, room);
    return OneWay(source, settings, sink);
}

}  // namespace kymora
