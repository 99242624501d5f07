#pragma once
// The search of a trace for a template: the measure of every step of a window over it, and the matches that
// come from them. It knows no document, so that any thread may do it.

#include <functional>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/progress.h"
#include "operations/operation_job.h"
#include "templates/match_finder.h"
#include "templates/raised_trace.h"
#include "templates/template_measures.h"

namespace kymora {

enum class TemplateType : int32_t { fixed = 0, adaptive = 1, scaled = 2 };

inline Better BetterOf(TemplateType type) {
    return type == TemplateType::scaled ? Better::larger : Better::smaller;
}

// What is looked for.
struct TemplateSearch {
    std::vector<float> values;  // raised; they vary
    int multiplier = 1;
    int32_t length = 0;  // samples; values has multiplier to each
    TemplateType type = TemplateType::fixed;
    float threshold = 25.0f;  // percent below, or criterion above which a window matches
    int adaptiveAverage = 8;  // matches whose mean an adaptive template becomes

    Better GetBetter() const { return BetterOf(type); }
};
// The work of a search of so many samples, in samples that are merely read.
int64_t SearchWork(const TemplateSearch& search, int64_t samples);

// The measures of neighbouring steps, from the one at `firstBin` on.
struct MeasuredSteps {
    int64_t firstBin = 0;
    std::span<const float> values;
    bool continues = false;  // the step before neighbours them
};

// Who wants to see more than the matches.
struct SearchWatch {
    // Takes the measure of every step. Without it windows that cannot match are left early.
    std::function<void(const MeasuredSteps&)> measures{};
    // False leaves a candidate out, before it is held against those that it overlaps.
    std::function<bool(const TemplateCandidate&)> accepts{};
};

struct SearchFound {
    std::vector<TemplateMatch> matches;  // ascending
    int64_t candidates = 0;              // that were accepted
    int64_t replaced = 0, dropped = 0;   // by overlap
    int64_t steps = 0,
            stepsAtFloor = 0;  // of a scaled template: whose squared error was held to its least value
    // Runs of steps that pass and are open where the region or a stretch of it ends: they are no candidates.
    int64_t open = 0;
    TemplateCandidate firstOpen{};
};

// That runs were left open, by their number and the first one's best place so far (ms); empty where none was.
std::string OpenRunsText(const SearchFound& found, int multiplier, double sampleInterval);

// Slides the template over the samples of the region, whose windows lie within it. Throws FileError and
// Cancelled.
SearchFound SearchTrace(RaisedTrace& trace, SampleSpan region, const TemplateSearch& search,
                        ProgressScope& progress, const SearchWatch& watch = {});

// The measures of a search, for finding matches at other thresholds without another one.
class KeptMeasures {
  public:
    // Steps of 4 bytes each; more are not kept.
    static constexpr int64_t mostSteps = 50'000'000;

    void Take(const MeasuredSteps& steps);
    bool IsWhole() const { return isWhole_; }
    int64_t Count() const { return count_; }
    // What SearchTrace finds with this threshold, where its template does not adapt.
    SearchFound Find(SampleSpan region, const TemplateSearch& search) const;
    // The best measure of each hill or valley that they make, whatever the threshold.
    std::vector<float> LocalBests(Better better) const;

  private:
    struct Run {
        int64_t firstBin = 0;
        std::vector<float> values;
    };
    std::vector<Run> runs_;
    int64_t count_ = 0;
    bool isWhole_ = true;
};

}  // namespace kymora
