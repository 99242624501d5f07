#include "templates/template_histogram.h"

#include <algorithm>
#include <cmath>

namespace kymora {

namespace {

constexpr uint32_t thresholdColour = 0x0000FF;
constexpr double shownShare = 0.999;  // of the values
constexpr int usualBins = 60;

}  // namespace

const char* MeasureLabel(TemplateType type) {
    return type == TemplateType::scaled ? "goodness-of-fit" : "error (%)";
}

const char* ThresholdKey(TemplateType type) {
    return type == TemplateType::scaled ? "goodnessOfFit" : "allowedError";
}

GraphLine ThresholdLine(TemplateType type, float threshold) {
    return {true, threshold, thresholdColour, "threshold", ThresholdKey(type), false};
}

HistInput MeasureInput(std::vector<float> values, TemplateType type, float threshold) {
    std::erase_if(values, [](float v) { return !std::isfinite(v); });
    HistInput input;
    input.name = type == TemplateType::scaled ? "goodness-of-fit" : "template error";
    input.label = MeasureLabel(type);
    if (!values.empty()) {
        const auto at = static_cast<std::ptrdiff_t>(shownShare * static_cast<double>(values.size() - 1));
        std::ranges::nth_element(values, values.begin() + at);
        const double most = values[static_cast<size_t>(at)];
        const double least = type == TemplateType::scaled ? *std::ranges::min_element(values) : 0.0;
        const double end = std::max(most, 1.5 * threshold);
        if (end > least) input.naturalRange = {{std::min<double>(least, threshold), end}};
    }
    input.Take({values.begin(), values.end()});
    return input;
}

ErrorHistogram MakeErrorHistogram(std::vector<float> values, TemplateType type, float threshold) {
    ErrorHistogram made;
    made.part.input = MeasureInput(std::move(values), type, threshold);
    made.part.settings.binCount = usualBins;
    made.part.settings.isByCount = true;
    std::mt19937 unused;
    AnalyseHistogram(made.part, unused, {});
    made.part.input.values.reset();
    return made;
}

GraphPane ErrorHistogram::Pane(TemplateType type, float threshold) const {
    GraphPane pane = HistGraph({&part, 1}, 1).panes.front();
    pane.name = "errors";
    pane.title = "Best value of each place that resembles the template";
    pane.lines.push_back(ThresholdLine(type, threshold));
    return pane;
}

}  // namespace kymora
