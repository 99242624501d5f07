#include "histograms/hist_settings.h"

#include <fmt/format.h>

#include "operations/batch_base_dlg.h"

namespace kymora {

namespace {

const std::vector<std::string> displayNames{"count", "% (n)", "density", "ln(n)", "sqrt (n)", "ln(Hz)"};
constexpr double leastWidth = 1e-300;

}  // namespace

Mixture CFitHistMixtures::Get() const {
    Mixture mixture{static_cast<MixtureFamily>(family), {}};
    for (size_t i = 0; i < static_cast<size_t>(components); ++i)
        mixture.components.push_back({proportion[i], mean[i], sd[i]});
    return mixture;
}

void CFitHistMixtures::Set(const Mixture& mixture) {
    components = static_cast<int32_t>(mixture.components.size());
    for (size_t i = 0; i < mixture.components.size(); ++i) {
        proportion[i] = mixture.components[i].proportion;
        mean[i] = mixture.components[i].mean;
        sd[i] = mixture.components[i].sd;
    }
}

void HistSettings::DescribeBins(ParamList& list, const Words& tell) {
    list.Group("Histogram");
    list.Flag("autoRange", "Range from the data", autoRange)
        .Tip("A round range that holds all values; else the range is the one below");
    // What is typed counts.
    const auto isOwn = [this] { autoRange = false; };
    // An optimal range is computed of samples, which are floats.
    list.Number("minimum", "Minimum", minimum)
        .InSingle(optimalBins)
        .Tip("Values below it are below the histogram; setting it sets the range")
        .Linked({"autoRange"})
        .OnChange(isOwn);
    list.Number("maximum", "Maximum", maximum)
        .InSingle(optimalBins)
        .Tip("Values at or beyond it are above the histogram; setting it sets the range")
        .Linked({"autoRange"})
        .OnChange(isOwn);
    list.Integer("binCount", "Bins", binCount)
        .Limits(1, mostBins)
        .Spin()
        .Tip("Number of bins from minimum to maximum")
        .Linked({"binWidth"})
        .OnChange([this] {
            isByWidth = false;
            isByCount = true;
            countBefore = 0;
            binWidth = Width();
        });
    list.Number("binWidth", "Bin width", binWidth)
        .InSingle(optimalBins)
        .Limits(leastWidth, std::numeric_limits<double>::max())
        .Tip("Width of a bin; the number of bins follows it")
        .Linked({"binCount"})
        .OnChange([this] {
            isByWidth = true;
            countBefore = 0;
            if (const auto count = BinCountForWidth(minimum, maximum, binWidth)) binCount = *count;
        });
    list.Choice("display", "Show", display, displayNames)
        .Tip(
            "The height of the bars: counts, their share, a probability density, or their logarithm or root; "
            "ln(Hz) is for values in time bins")
        .Linked({"log"})
        .OnChange([this, tell] {
            if (display != displayDensity || !log) return;
            tell(densityOfLogText);
            display = displayCount;
        });
    list.Flag("log", "Log10 of values", log)
        .Tip("Construct histogram from log10 of parameter values.")
        .Linked({"display"})
        .OnChange([this, tell] {
            if (!log) return;
            const bool isPoisson =
                mix.fit != fitNone && mix.family == static_cast<int32_t>(MixtureFamily::poisson);
            if (display != displayDensity && !isPoisson) return;
            tell(isPoisson ? logOfPoissonText : logWithDensityText);
            log = false;
        });
    list.Flag("optimalBins", "Optimal number of bins", optimalBins)
        .Tip("Set histogram bin number to optimal value using Knuth's Bayesian algorithm .");
    const auto isOptimal = [this] { return optimalBins; };
    const auto isKnuth = [this] { return optimalBins && binRule == binsByKnuth; };
    list.Choice("binRule", "By the rule of", binRule, {"Knuth", "Freedman-Diaconis", "Scott"})
        .Tip("Knuth: the number that the data support best; the others: a width from the spread of the data")
        .EnabledIf(isOptimal);
    list.Integer("maximumBins", "Up to", maximumBins)
        .Limits(1, 10000)
        .Unit("bins")
        .Tip("The largest number of bins that is tried")
        .EnabledIf(isKnuth);
    list.Flag("showLogP", "Graph of likelihood", showLogP)
        .Tip("Show graph of likelihood metric during bin number optimization.")
        .EnabledIf(isKnuth);
    list.Flag("bars", "Bars", bars).Tip("Show the bars of the histogram").OnChange([this, tell] {
        if (ShowsNothing()) tell(nothingShownText);
    });
    list.Flag("cumulative", "Cumulative", cumulative).Tip("Each bar with all before it");
    list.Flag("rug", "Rug", rug).Tip("A mark on the axis for each value");
}

void HistSettings::DescribeOverlays(ParamList& list, const Words& tell) {
    const auto check = [this, tell] {
        if (ShowsNothing()) tell(nothingShownText);
    };
    list.Group("Kernel density estimate");
    const auto isKde = [this] { return kde.show; };
    list.Flag("kde", "Show", kde.show)
        .Tip("Draw a kernel density estimate over the histogram")
        .OnChange(check);
    list.Choice("kernel", "Kernel", kde.kernel, {"Gaussian", "box", "Epanechnikov"})
        .Tip("The shape that stands for each value")
        .EnabledIf(isKde);
    list.Choice("bandwidthRule", "Bandwidth", kde.rule,
                {"standard", "Silverman", "user", "AMISE fast", "AMISE safe", "Sheather-Jones"})
        .Tip(
            "Default rules from the spread of the data; the value below; or the optimum for a smooth density "
            "(AMISE and Sheather-Jones, Gaussian kernel only)")
        .EnabledIf(isKde);
    list.Number("bandwidth", "User value", kde.bandwidth)
        .Tip("Half width of the kernel; of a Gaussian its s.d.")
        .EnabledIf([this] { return kde.show && kde.rule == static_cast<int32_t>(BandwidthRule::user); });
    list.Integer("pointCount", "Points", kde.points)
        .Limits(2, 100000)
        .Tip("Points of the curve, from minimum to maximum")
        .EnabledIf(isKde);
    list.Integer("tailFactor", "Tail factor", kde.tailFactor)
        .Limits(0, 100)
        .Tip("So many default bandwidths are added to each side of the data for AMISE fast")
        .EnabledIf([this] { return kde.show && kde.rule == static_cast<int32_t>(BandwidthRule::amiseFast); });

    list.Group("Mixture of distributions");
    list.Choice("fit", "Show/Fit PDF Mix", mix.fit, {"none", "show", "fit bin counts", "fit raw data"})
        .Tip("Fit selected mixture model to histogram bin counts using maximum likelihood, starting from "
             "current parameters; or: Fit Gaussian mixture model to raw data using expectation maximization");
    list.Find("fit")->OnChange(check);
    const auto isMix = [this] { return mix.fit != fitNone; };
    list.Choice("family", "Distribution", mix.family, {"Gaussian", "exponential", "gamma", "Poisson"})
        .Tip("The family of all components")
        .EnabledIf([this] { return mix.fit == fitShow || mix.fit == fitBinCounts; })
        .OnChange([this] { mix.isSet = false; });
    list.Integer("components", "Components", mix.components)
        .Limits(1, static_cast<double>(mostComponents))
        .Spin()
        .Tip("Number of components")
        .EnabledIf([this] { return mix.fit == fitShow || mix.fit == fitBinCounts; })
        .OnChange([this] { mix.isSet = false; });
    for (size_t i = 0; i < mostComponents; ++i) {
        const std::string number = std::to_string(i + 1);
        const auto isUsed = [this, i] {
            return mix.fit != fitNone && static_cast<int32_t>(i) < mix.components;
        };
        const auto cell = [&](const char* key, const char* label, double& value, const char* tip) {
            list.Number(key + number, std::string(label) + " " + number, value)
                .Tip(tip)
                .Cell(number, label)
                .EnabledIf(isUsed)
                .OnChange([this] { mix.isSet = true; });
        };
        cell("proportion", "Proportion", mix.proportion[i],
             "Share of this component; the last one is what is left");
        cell("mean", "Mean", mix.mean[i], "Mean of this component");
        cell("sd", "S.D.", mix.sd[i], "Standard deviation of this component");
    }
    list.Action("fromData", "Start from data", [this] { mix.isSet = false; })
        .Tip("The parameters come from the data again: from as many groups of equal size as there are "
             "components")
        .EnabledIf(isMix);
}

void HistSettings::Exchange(CArchive& archive) {
    using kymora::Exchange;
    Exchange(archive, binCount);
    for (double* number : {&minimum, &maximum, &binWidth}) Exchange(archive, *number);
    Exchange(archive, autoRange);
    Exchange(archive, log);
    Exchange(archive, display);
    Exchange(archive, timeBin);
    for (bool* flag : {&circular, &optimalBins}) Exchange(archive, *flag);
    Exchange(archive, maximumBins);
    Exchange(archive, showLogP);
    Exchange(archive, kde.show);
    for (int32_t* number : {&kde.kernel, &kde.rule}) Exchange(archive, *number);
    Exchange(archive, kde.bandwidth);
    for (int32_t* number : {&kde.points, &kde.tailFactor, &mix.fit, &mix.family, &mix.components})
        Exchange(archive, *number);
    for (auto* numbers : {&mix.proportion, &mix.mean, &mix.sd})
        for (double& number : *numbers) Exchange(archive, number);
}

void HistSettings::ExchangeFurther(CArchive& archive) {
    using kymora::Exchange;
    for (bool* flag : {&mix.isSet, &isByWidth, &bars, &rug, &cumulative}) Exchange(archive, *flag);
    Exchange(archive, binRule);
    Exchange(archive, refractory);
}

void HistSettings::ExchangeWholeWidths(CArchive& archive) {
    using kymora::Exchange;
    Exchange(archive, isByCount);
    Exchange(archive, countBefore);
}

}  // namespace kymora
