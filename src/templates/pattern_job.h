#pragma once
// The run of a template over traces, on any thread: the search, and what is told of each match.

#include <functional>
#include <memory>
#include <optional>
#include <vector>

#include "templates/template_histogram.h"
#include "templates/template_search.h"

namespace kymora {

inline constexpr const char* shortRegionText = "The analysis region is shorter than the template.";
inline constexpr const char* smallUnitsText =
    "More than half of the trace fits the template to within rounding, so that the goodness-of-fit tells "
    "little: its units are too great for its values. Scale the trace, to mV in the place of V for example.";

// "P2P amp" of the samples of an event: those that are finite numbers. Throws FileError.
double PeakToPeakOf(SampleReader& samples, int trace, int32_t on, int32_t off);

// The mean of the windows that matched, and the first of them.
struct MatchedWaves {
    static constexpr size_t mostKept = 50;

    std::vector<double> sums;
    int64_t count = 0;
    std::vector<std::vector<float>> first;

    void Add(std::span<const float> window);
    std::vector<float> Mean() const;
};

// What a run found in one trace.
struct PatternFound {
    SearchFound search;
    std::vector<TemplateFit> fits;  // of each match of a scaled template
    int64_t tooSmall = 0;           // that fell below the least peak-to-peak value
    MatchedWaves waves;
};

struct PatternJob : EventJob {
    TemplateSearch what;
    int spareBins = 0;
    float minimumPeakToPeak = 0.0f;
    std::vector<std::vector<TraceStretch>> stretches;  // of the traces in `found`
    // Where the template itself lies in the trace; nowhere else. The event there gets a label.
    std::vector<int32_t> ownStart;
    std::shared_ptr<const KeptMeasures> kept;         // of an earlier run over as much, at another threshold
    bool keepsMeasures = false;                       // for later ones
    std::shared_ptr<KeptMeasures> measured;           // null unless they were kept
    std::optional<ErrorHistogram> histogram;          // of those
    std::function<void(const MeasuredSteps&)> trace;  // takes the measure of every step
    std::vector<PatternFound> matched;                // of the traces in `found`

    // Long templates make it work of its own, whatever the samples.
    int64_t Samples() const override { return kept ? 0 : SearchWork(what, EventJob::Samples()); }
    void Compute(SampleReader& samples, JobContext& context) override;

  private:
    SearchFound Find(RaisedTrace& raised, ProgressScope& progress);
    void Finish(SampleReader& samples, RaisedTrace& raised, ProgressScope& progress, size_t which);
};

}  // namespace kymora
