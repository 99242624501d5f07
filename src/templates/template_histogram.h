#pragma once
// The distribution of errors or criteria, with the threshold as a line that can be dragged.

#include <random>

#include "histograms/histogram.h"
#include "templates/template_search.h"

namespace kymora {

// "error (%)" or "goodness-of-fit".
const char* MeasureLabel(TemplateType type);
// The key of the threshold of this type: "allowedError" or "goodnessOfFit".
const char* ThresholdKey(TemplateType type);
GraphLine ThresholdLine(TemplateType type, float threshold);

// The values as what a histogram is made of: those of events, or of all candidates, of which the range leaves
// out what lies so far off that all others would stand in one bar. A threshold beyond the range extends it.
enum class Shown { events, candidates };
HistInput MeasureInput(std::vector<float> values, TemplateType type, float threshold, Shown shown);

// The histogram that stands beside the parameters of a search.
struct ErrorHistogram {
    HistPart part;
    GraphPane Pane(TemplateType type, float threshold) const;
};
ErrorHistogram MakeErrorHistogram(std::vector<float> values, TemplateType type, float threshold);

}  // namespace kymora
