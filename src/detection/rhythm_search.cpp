#include "detection/rhythm_search.h"

#include <algorithm>

#include "document/sample_scan.h"
#include "statistics/statistics.h"

namespace kymora {

namespace {

constexpr double refiningSteps = 10.0;  // of a period

size_t Reduced(int64_t count, const RhythmPreprocess& preprocess) {
    return static_cast<size_t>(count) / preprocess.reduceFactor;
}

double MedianPeriod(std::span<const RhythmStep> steps) {
    std::vector<float> periods;
    for (const RhythmStep& step : steps) periods.push_back(static_cast<float>(step.period));
    return GetMedian(periods);
}

}  // namespace

int64_t RhythmStepsIn(int64_t block, const RhythmSettings& settings) {
    if (block < settings.window) return 0;
    return std::max<int64_t>(1, (block - settings.window) / settings.step);
}

RhythmSearch::RhythmSearch(const RhythmSettings& settings, SampleReader& samples, int trace)
    : settings_(settings),
      reader_(samples),
      trace_(trace),
      autocorrelator_(Reduced(settings.window, settings.preprocess),
                      Reduced(settings.mostLag, settings.preprocess)) {}

// The window's samples lie with others behind them, so that most steps read nothing.
Rhythm RhythmSearch::At(int64_t start) {
    const int64_t end = start + settings_.window;
    if (start < first_ || end > first_ + std::ssize(samples_)) {
        first_ = start;
        const int64_t wanted = std::max(2 * settings_.window, settings_.window + scanBlock);
        samples_.resize(static_cast<size_t>(std::min<int64_t>(wanted, block_.end - start)));
        reader_.ReadBlock(trace_, first_, samples_);
    }
    const auto from = samples_.begin() + (start - first_);
    return RhythmOf(autocorrelator_, std::vector<float>(from, from + settings_.window), settings_.preprocess);
}

void RhythmSearch::Search(SampleSpan block, const std::function<void()>& step, std::vector<RhythmStep>& steps,
                          std::vector<RhythmicSpan>& spans) {
    block_ = block;
    samples_.clear();
    const size_t before = steps.size();
    const int64_t count = RhythmStepsIn(block.Count(), settings_);
    for (int64_t i = 0; i < count; ++i) {
        step();
        const int64_t start = block.first + i * settings_.step;
        const Rhythm rhythm = At(start);
        steps.push_back({static_cast<int32_t>(start), static_cast<int32_t>(rhythm.period), rhythm.index});
    }
    Join(std::span(steps).subspan(before), block, spans);
}

// Runs of good windows, of which those that overlap become one.
void RhythmSearch::Join(std::span<const RhythmStep> steps, SampleSpan block,
                        std::vector<RhythmicSpan>& spans) {
    std::vector<RhythmStep> good;  // of the span that is open
    const auto close = [&] {
        if (good.empty()) return;
        RhythmicSpan found = SpanOf(good);
        good.clear();
        if (settings_.refines) {
            const int64_t first = Refined(found.span.first, 1, found.period, block);
            const int64_t end =
                Refined(found.span.end - settings_.window, -1, found.period, block) + settings_.window;
            if (static_cast<double>(end - first) >= found.period)
                found.span = {static_cast<int32_t>(first), static_cast<int32_t>(end)};
        }
        spans.push_back(found);
    };
    bool hasLeft = false;
    for (const RhythmStep& step : steps) {
        const bool isGood = settings_.Accepts({step.index, step.period});
        if (isGood) {
            if (hasLeft && !good.empty() && step.start >= good.back().start + settings_.window) close();
            good.push_back(step);
        }
        hasLeft = !isGood;
    }
    close();
}

RhythmicSpan RhythmSearch::SpanOf(std::span<const RhythmStep> good) {
    const auto end = static_cast<int32_t>(good.back().start + settings_.window);
    return {{good.front().start, end}, MedianPeriod(good)};
}

// Where the window starts once it has been moved inward by tenths of a period, as long as it passes and its
// index grows: beyond the rhythm's edge it does not. At most by its own length.
int64_t RhythmSearch::Refined(int64_t start, int way, double period, SampleSpan block) {
    const auto step = std::max<int64_t>(1, static_cast<int64_t>(period / refiningSteps));
    double index = At(start).index;
    for (int64_t moved = step; moved <= settings_.window; moved += step) {
        const int64_t next = start + way * moved;
        if (next < block.first || next + settings_.window > block.end) return start + way * (moved - step);
        const Rhythm rhythm = At(next);
        if (!settings_.Accepts(rhythm) || rhythm.index <= index) return start + way * (moved - step);
        index = rhythm.index;
    }
    return start + way * (settings_.window - settings_.window % step);
}

}  // namespace kymora
