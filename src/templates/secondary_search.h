#pragma once
// The search for a template near one place: what stands beside the match of another template.

#include <optional>

#include "templates/template_search.h"

namespace kymora {

// Where a template matched beside the primary one.
struct SecondaryMatch {
    float value = 0.0f;
    int64_t lag = 0;  // from the place where it was expected, bins
};

// One of several templates that are sought at once.
struct Sought {
    TemplateSearch what;
    int64_t place = 0;  // from the primary one, bins
    int trace = 0;
    std::vector<TraceStretch> stretches;
};

class SecondarySearch {
  public:
    // `sought` stays where it is. `slack` in bins.
    SecondarySearch(SampleReader& samples, const Sought& sought, int spareBins, int64_t slack);

    // The best of the windows that pass and begin within the slack of their place, beside a primary match;
    // nothing where none does. A window that leaves the data or meets a gap is none. Throws Cancelled.
    std::optional<SecondaryMatch> Find(int64_t primaryBin, ProgressScope& progress);

  private:
    void Measure(std::span<const float> row, int64_t firstLag, std::optional<SecondaryMatch>& best);

    const TemplateSearch& what_;
    int64_t place_, slack_;
    RaisedTrace raised_;
    TemplateError error_;
    ScaledTemplate scaled_;
    std::vector<float> measures_;
};

}  // namespace kymora
