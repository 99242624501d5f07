#include "kernels/noise_cycles.h"

#include <algorithm>
#include <cmath>

#include "numerics/rounding.h"

namespace kymora {

namespace {

constexpr double leastRest = 2.220446049250313e-16;  // ms; of a cycle that is no whole number of samples

// The cycles that are averaged, their sum and what follows from it.
class CycleTemplate {
  public:
    explicit CycleTemplate(size_t length) : sum_(length), offsets_(length + 1) {}

    size_t Count() const { return cycles_.size(); }
    void Add(std::span<const float> cycle) {
        cycles_.emplace_back(cycle.begin(), cycle.end());
        for (size_t k = 0; k < sum_.size(); ++k) sum_[k] += cycle[k];
    }
    // Takes the place of the oldest.
    void Replace(std::span<const float> cycle) {
        std::vector<float>& oldest = cycles_[oldest_];
        for (size_t k = 0; k < sum_.size(); ++k) {
            sum_[k] -= oldest[k];
            sum_[k] += cycle[k];
        }
        std::copy(cycle.begin(), cycle.end(), oldest.begin());
        oldest_ = oldest_ + 1 == cycles_.size() ? 0 : oldest_ + 1;
    }
    void Average() {
        const auto count = static_cast<double>(cycles_.size());
        double total = 0.0;
        for (size_t k = 0; k < sum_.size(); ++k) {
            offsets_[k] = sum_[k] / count;
            total += offsets_[k];
        }
        mean_ = total / static_cast<double>(sum_.size());
        // Where rounding of great times left a sample between two cycles, it stays as it is.
        offsets_.back() = mean_;
    }
    // Of the samples of a cycle from `from` on.
    void Clean(std::span<const float> samples, size_t from, std::span<float> to) const {
        const double* const average = offsets_.data() + from;
        for (size_t i = 0; i < samples.size(); ++i)
            to[i] = static_cast<float>(samples[i] - average[i] + mean_);
    }

  private:
    std::vector<std::vector<float>> cycles_;
    size_t oldest_ = 0;
    std::vector<double> sum_, offsets_;  // the averages
    double mean_ = 0.0;
};

// Cleans one cycle after the other; between them the template moves on.
class CycleCleaner {
  public:
    CycleCleaner(FloatSource& ahead, FloatSource& source, int64_t count, const NoiseCycleSettings& settings)
        : settings_(settings),
          count_(count),
          ahead_(ahead, count, settings),
          reader_(source, count),
          template_(static_cast<size_t>(settings.Length())) {}

    // The cycles found, as many as are asked for at most.
    int Gather() {
        while (template_.Count() < static_cast<size_t>(settings_.cycles)) {
            const auto cycle = NextAccepted();
            if (cycle.empty()) break;
            template_.Add(cycle);
        }
        return static_cast<int>(template_.Count());
    }

    void Run(FloatSink& sink) {
        ResultBuffer results(sink);
        template_.Average();
        const auto behind = static_cast<int64_t>(template_.Count() / 2);
        bool hasMore = true;
        for (int64_t cycle = 0; settings_.StartOf(cycle) < count_; ++cycle) {
            Clean(cycle, results);
            if (!hasMore || cycle < ahead_.Read() - behind) continue;
            const auto next = NextAccepted();
            hasMore = !next.empty();
            if (!hasMore) continue;
            template_.Replace(next);
            template_.Average();
        }
        results.Flush();
    }

  private:
    std::span<const float> NextAccepted() {
        std::span<const float> cycle = ahead_.Next();
        while (!cycle.empty() && !IsAccepted(ExtremesOf(cycle), settings_)) cycle = ahead_.Next();
        return cycle;
    }
    // Up to the start of the next one, whose values stand where two share a sample.
    void Clean(int64_t cycle, ResultBuffer& results) {
        const int64_t start = settings_.StartOf(cycle);
        const auto length = static_cast<size_t>(std::min(settings_.StartOf(cycle + 1), count_) - start);
        for (size_t k = 0; k < length;) {
            if (samples_.empty()) samples_ = reader_.NextBlock();
            const size_t part = std::min(length - k, samples_.size());
            template_.Clean(samples_.first(part), k, results.Room(part));
            samples_ = samples_.subspan(part);
            k += part;
        }
    }

    const NoiseCycleSettings& settings_;
    int64_t count_;
    CycleReader ahead_;
    RunReader reader_;
    std::span<const float> samples_;  // those that were read and are not yet cleaned
    CycleTemplate template_;
};

NoiseCycleOutcome Refusal(const char* text) {
    NoiseCycleOutcome outcome;
    static_cast<KernelOutcome&>(outcome) = KernelOutcome::Failure(text);
    return outcome;
}

NoiseCycleOutcome Subtract(const SourceMaker& makeSource, int64_t count, const NoiseCycleSettings& settings,
                           bool wantsAll, FloatSink& sink) {
    NoiseCycleOutcome outcome;
    if (count == 0) return outcome;
    outcome.isCopied = count < settings.Length();
    const auto source = makeSource();
    if (outcome.isCopied) {
        CopyRun(*source, count, sink);
        return outcome;
    }
    const auto ahead = makeSource();
    CycleCleaner cleaner(*ahead, *source, count, settings);
    outcome.found = cleaner.Gather();
    if (outcome.found == 0) return Refusal(settings.greatest ? noAcceptableCycleText : noFiniteCycleText);
    if (wantsAll && outcome.found < settings.cycles) return Refusal(tooFewCyclesText);
    cleaner.Run(sink);
    return outcome;
}

}  // namespace

int64_t NoiseCycleSettings::Length() const {
    const auto whole = static_cast<int64_t>(interval / sampleInterval);
    return whole + (std::fmod(interval, sampleInterval) > leastRest ? 1 : 0);
}

int64_t NoiseCycleSettings::StartOf(int64_t cycle) const {
    return RoundHalfAway64(static_cast<double>(cycle) * interval / sampleInterval);
}

CycleExtremes ExtremesOf(std::span<const float> cycle) {
    CycleExtremes extremes{cycle.front(), cycle.front()};
    // The sum of what is multiplied by 0 is 0, unless something is no finite number.
    float nothing = 0.0f;
    for (const float sample : cycle) {
        extremes.low = std::min(extremes.low, sample);
        extremes.high = std::max(extremes.high, sample);
        nothing += sample * 0.0f;
    }
    extremes.isFinite = nothing == 0.0f;
    return extremes;
}

bool IsAccepted(const CycleExtremes& extremes, const NoiseCycleSettings& settings) {
    if (!extremes.isFinite) return false;
    return !settings.greatest || extremes.high - extremes.low <= *settings.greatest;
}

std::span<const float> CycleReader::Next() {
    const int64_t start = settings_.StartOf(read_);
    if (start + length_ > count_) return {};
    for (; at_ < start || windows_.Count() == 0; windows_.AppendFrom(reader_)) {
        const auto part = std::min(static_cast<size_t>(start - at_), windows_.Samples().size());
        windows_.Drop(part);
        at_ += static_cast<int64_t>(part);
        if (at_ == start && windows_.Count() > 0) break;
    }
    ++read_;
    return windows_.Window(0);
}

NoiseCycleOutcome SubtractNoiseCycles(std::span<const float> input, const NoiseCycleSettings& settings,
                                      std::span<float> output, const KernelPoll& goOn) {
    SpanSink sink(output);
    const SourceMaker source = [&] { return std::make_unique<PolledSource>(input, goOn); };
    return Subtract(source, static_cast<int64_t>(input.size()), settings, false, sink);
}

NoiseCycleOutcome SubtractNoiseCycles(const SourceMaker& makeSource, int64_t count,
                                      const NoiseCycleSettings& settings, FloatSink& sink) {
    return Subtract(makeSource, count, settings, true, sink);
}

}  // namespace kymora
