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

// The values as what a histogram is made of. The range takes in the threshold and leaves out values that lie
// so far off that all others would stand in one bar.
HistInput MeasureInput(std::vector<float> values, TemplateType type, float threshold);

// The histogram that stands beside the parameters of a search.
struct ErrorHistogram {
    HistPart part;
    GraphPane Pane(TemplateType type, float threshold) const;
};
ErrorHistogram MakeErrorHistogram(std::vector<float> values, TemplateType type, float threshold);

}  // namespace kymora
