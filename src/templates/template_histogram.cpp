#include "templates/template_histogram.h"

#include <algorithm>
#include <cmath>

namespace kymora {

namespace {

constexpr uint32_t thresholdColour = 0x0000FF;
// So many times what is usual of the values is still shown.
constexpr double farCriterion = 4.0, farError = 2.0;
constexpr int usualBins = 60;

double Quantile(std::vector<float>& values, double share) {
    const auto at = static_cast<std::ptrdiff_t>(share * static_cast<double>(values.size() - 1));
    std::ranges::nth_element(values, values.begin() + at);
    return values[static_cast<size_t>(at)];
}

// Of all candidates the smaller errors, since those of what is no match go on for long.
std::pair<double, double> ErrorRange(std::vector<float>& values, Shown shown) {
    const double greatest = *std::ranges::max_element(values);
    return {0.0, shown == Shown::events ? greatest : std::min(greatest, farError * Quantile(values, 0.5))};
}

// All criteria but the few to which a perfect fit has given no bound.
std::pair<double, double> CriterionRange(std::vector<float>& values) {
    const double usual = Quantile(values, 0.999);
    const double far = usual + (farCriterion - 1.0) * std::abs(usual);
    const double least = *std::ranges::min_element(values);
    double greatest = least;
    for (const float value : values)
        if (value <= far) greatest = std::max<double>(greatest, value);
    return {least, greatest};
}

// Of the values alone, so that it stays while the threshold moves in it.
std::pair<double, double> ShownRange(std::vector<float>& values, TemplateType type, float threshold,
                                     Shown shown) {
    auto [least, greatest] =
        type == TemplateType::scaled ? CriterionRange(values) : ErrorRange(values, shown);
    least = std::min<double>(least, threshold);
    greatest = std::max<double>(greatest, threshold);
    const double room = (greatest - least) / usualBins;
    return {least, greatest + (room > 0.0 ? room : 1.0)};
}

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

HistInput MeasureInput(std::vector<float> values, TemplateType type, float threshold, Shown shown) {
    std::erase_if(values, [](float v) { return !std::isfinite(v); });
    HistInput input;
    input.name = type == TemplateType::scaled ? "goodness-of-fit" : "template error";
    input.label = MeasureLabel(type);
    if (!values.empty()) input.naturalRange = ShownRange(values, type, threshold, shown);
    input.Take({values.begin(), values.end()});
    return input;
}

ErrorHistogram MakeErrorHistogram(std::vector<float> values, TemplateType type, float threshold) {
    ErrorHistogram made;
    made.part.input = MeasureInput(std::move(values), type, threshold, Shown::candidates);
    made.part.settings.binCount = usualBins;
    made.part.settings.isByCount = true;
    made.part.settings.display = displayLn;  // matches are few beside what is none
    std::mt19937 unused;
    AnalyseHistogram(made.part, unused, {});
    made.part.input.values.reset();
    return made;
}

GraphPane ErrorHistogram::Pane(TemplateType type, float threshold) const {
    GraphPane pane = HistGraph({&part, 1}, 1).panes.front();
    pane.name = "errors";
    pane.title = "Best values at any threshold";
    pane.lines.push_back(ThresholdLine(type, threshold));
    return pane;
}

}  // namespace kymora
