#include "templates/pattern_job.h"

#include <algorithm>
#include <cmath>

namespace kymora {

double PeakToPeakOf(SampleReader& samples, int trace, int32_t on, int32_t off) {
    std::vector<float> values(static_cast<size_t>(std::max(0, off - on)));
    samples.ReadBlock(trace, on, values);
    std::erase_if(values, [](float x) { return !std::isfinite(x); });
    return PeakToPeak(values);
}

void MatchedWaves::Add(std::span<const float> window) {
    sums.resize(window.size());
    for (size_t i = 0; i < window.size(); ++i) sums[i] += window[i];
    if (first.size() < mostKept) first.emplace_back(window.begin(), window.end());
    ++count;
}

std::vector<float> MatchedWaves::Mean() const {
    std::vector<float> mean(count > 0 ? sums.size() : 0);
    for (size_t i = 0; i < mean.size(); ++i)
        mean[i] = static_cast<float>(sums[i] / static_cast<double>(count));
    return mean;
}

void PatternJob::Compute(SampleReader& samples, JobContext& context) {
    const bool isShort = !kept && Samples() <= samplesAtOnce;
    ProgressScope progress(context, title, static_cast<uint64_t>(EventJob::Samples()),
                           isShort ? samplesAtOnce : 0);
    if (region.Count() < what.length) context.Warn(shortRegionText);
    int64_t steps = 0, atFloor = 0;
    for (size_t i = 0; i < found.size(); ++i) {
        progress.AtTrace(i + 1, found.size());
        RaisedTrace raised(samples, found[i].parentTrace, stretches[i], what.multiplier, spareBins);
        matched.emplace_back().search = Find(raised, progress);
        steps += matched[i].search.steps;
        atFloor += matched[i].search.stepsAtFloor;
        Finish(samples, raised, progress, i);
    }
    if (2 * atFloor > steps) context.Warn(smallUnitsText);
}

SearchFound PatternJob::Find(RaisedTrace& raised, ProgressScope& progress) {
    if (kept) return kept->Find(region, what);
    SearchWatch watch;
    if (keepsMeasures && found.size() == 1) measured = std::make_shared<KeptMeasures>();
    if (measured || trace)
        watch.measures = [this](const MeasuredSteps& steps) {
            if (measured) measured->Take(steps);
            if (trace) trace(steps);
        };
    SearchFound search = SearchTrace(raised, region, what, progress, watch);
    if (measured && !measured->IsWhole()) measured.reset();
    if (measured)
        histogram = MakeErrorHistogram(measured->LocalBests(what.GetBetter()), what.type, what.threshold);
    return search;
}

void PatternJob::Finish(SampleReader& samples, RaisedTrace& raised, ProgressScope& progress, size_t which) {
    PatternFound& result = matched[which];
    Found& target = found[which];
    const ScaledTemplate scaled(what.values);
    std::vector<float> window(what.values.size());
    std::vector<TemplateMatch> stay;
    for (TemplateMatch match : result.search.matches) {
        progress.Step(0);
        if (minimumPeakToPeak > 0.0f &&
            PeakToPeakOf(samples, target.parentTrace, match.on, match.off) < minimumPeakToPeak) {
            ++result.tooSmall;
            continue;
        }
        if (!raised.Read(match.bin, window)) continue;
        result.waves.Add(window);
        if (what.type == TemplateType::scaled) {
            result.fits.push_back(scaled.FitOf(window));
            match.value = result.fits.back().criterion;
        }
        CEventKM& event = target.events.emplace_back();
        event.onPosition = match.on;
        event.offPosition = match.off;
        event.eventValue = match.value;
        if (match.on == ownStart[which]) {
            event.eventLabel = "template";
            event.eventTag = 1;
        }
        stay.push_back(match);
    }
    result.search.matches = std::move(stay);
}

}  // namespace kymora
