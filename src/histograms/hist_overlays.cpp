// What is drawn over the bars: the density estimate, the mixture of distributions, the rug.

#include <fmt/format.h>

#include "histograms/hist_analysis.h"
#include "statistics/gaussian_clusters.h"

namespace kymora {

namespace {

constexpr size_t mostRug = 100'000;
constexpr const char* noSdText = "Standard deviation is 0 so cannot calculate default bandwidth for "
                                 "KDE.\nSetting to User: 1.\nSuggest use "
                                 "more data.";
constexpr const char* zeroBandwidthText = "Bandwidth is 0, unable to calculate KDE. Setting to User: 1.";
constexpr const char* fastFailedText = "Fast algorithm failed with bandwidth <= 0. Setting to 1.";
constexpr const char* safeFailedText = "'Safe' algorithm failed to bracket root. Setting to 1.";
constexpr const char* bandwidthFailedText = "Exception calculating bandwidth.";
constexpr const char* gaussianOnlyText =
    "This bandwidth is only available for the Gaussian kernel. Setting to the standard bandwidth.";
constexpr const char* poissonWidthText =
    "For a Poisson distribution the bin width should be an integer value. Adjust axis scales or bin count. "
    "Resetting to Gaussian";
constexpr const char* poissonValuesText =
    "Data values are inappropriate for Poisson PDF. Resetting to Gaussian";
constexpr const char* poissonKindText = "The Poisson PDF is only appropriate for the 'Count in', 'Count "
                                        "after' and 'Count distrib' (and 'From File') "
                                        "parameter types";
constexpr const char* meansText = "Means must be > 0 for this distribution type. Resetting to Gaussian.";
constexpr const char* zeroSdText = "S.D. of zero not allowed, setting to 1";
constexpr const char* noPdfText = "Cannot calculate Gaussian PDF for these data.";
constexpr const char* fitFailedText = "Failed to fit parameters. Try to get closer starting values.";
constexpr const char* oneClusterText = "Only 1 cluster found. Staying with internal statistics.";
constexpr const char* manyClustersText = "{} clusters found. Only the first 4 will be used.";
constexpr const char* noClustersText = "Unable to cluster these data. Perhaps not enough?";
constexpr const char* proportionsText =
    "Proportions must lie between 0 and 1 and add up to no more than 1. The mixture is not shown.";
constexpr const char* firstRugText = "The rug shows the first {} values.";
constexpr const char* firstRawText = "The fit to raw data uses the first {} values.";

}  // namespace

void HistAnalysis::EstimateDensity() {
    if (!settings_.kde.show) return;
    TellCut();
    CKernelDensityEstimation& kde = settings_.kde;
    const KernelDensity density(ValuesWithin(kept_, {settings_.minimum, settings_.maximum}));
    if (density.Count() == 0) return;
    Bandwidth bandwidth = density.FindBandwidth(kde.Choice(), poll_);
    if (bandwidth.problem == BandwidthProblem::cancelled) throw Cancelled();
    if (bandwidth.problem == BandwidthProblem::gaussianOnly) {
        Tell(gaussianOnlyText);
        kde.rule = static_cast<int32_t>(BandwidthRule::standard);
        bandwidth = density.FindBandwidth(kde.Choice(), poll_);
    }
    if (const char* words = WordsOf(bandwidth.problem)) {
        Tell(words);
        kde.rule = static_cast<int32_t>(BandwidthRule::user);
        kde.bandwidth = bandwidth.value = 1.0;
    }
    found_.bandwidth = bandwidth.value;
    found_.densityX = EvenPoints(settings_.minimum, settings_.maximum, kde.points);
    found_.density = density.At(found_.densityX, static_cast<Kernel>(kde.kernel), bandwidth.value);
    AddCurve(HistFound::Curve::Kind::density, found_.densityX, found_.density);
}

const char* HistAnalysis::WordsOf(BandwidthProblem problem) {
    switch (problem) {
    case BandwidthProblem::noSd:
        return noSdText;
    case BandwidthProblem::zero:
        return zeroBandwidthText;
    case BandwidthProblem::fastNotPositive:
        return fastFailedText;
    case BandwidthProblem::notBracketed:
        return safeFailedText;
    case BandwidthProblem::notFinite:
        return bandwidthFailedText;
    default:
        return nullptr;
    }
}

// A density as it lies over the bars.
void HistAnalysis::AddCurve(HistFound::Curve::Kind kind, const std::vector<double>& x,
                            const std::vector<double>& density) {
    HistFound::Curve curve{kind, x, {}};
    const double inRange = found_.hist.InRange();
    const bool averages = psth_.average && !input_.times2.empty();
    const double share = averages ? 1.0 / static_cast<double>(input_.times2.size()) : 1.0;
    const auto display = averages ? CountDisplay::count : static_cast<CountDisplay>(settings_.display);
    double sum = 0.0;
    for (size_t i = 0; i < x.size(); ++i) {
        double height = density[i];
        if (settings_.cumulative) {
            // The sum of counts that the density gives up to here, by trapezoids.
            if (i > 0) sum += (density[i - 1] + density[i]) / 2.0 * (x[i] - x[i - 1]);
            height = sum / settings_.Width();
        }
        curve.y.push_back(share * DisplayedDensity(display, height, inRange, settings_.Width()));
    }
    found_.curves.push_back(std::move(curve));
}

void HistAnalysis::ShowMixture() {
    CFitHistMixtures& mix = settings_.mix;
    if (mix.fit == fitNone) return;
    const std::vector<double> values = ValuesWithin(kept_, {settings_.minimum, settings_.maximum});
    if (values.empty()) return Tell(noPdfText);
    if (mix.fit == fitRawData) return FitRawData(values);
    CheckFamily(values);
    if (!mix.isSet)
        mix.Set(StartFromQuantiles(static_cast<MixtureFamily>(mix.family), mix.components, values));
    if (!CheckParameters()) return;
    if (mix.fit == fitBinCounts) FitCounts();
    DrawMixture();
}

void HistAnalysis::CheckFamily(const std::vector<double>& values) {
    CFitHistMixtures& mix = settings_.mix;
    const auto reset = [&](const char* words) {
        Tell(words);
        mix.family = static_cast<int32_t>(MixtureFamily::gaussian);
    };
    const auto isPoisson = [&] { return mix.family == static_cast<int32_t>(MixtureFamily::poisson); };
    if (isPoisson() && settings_.log) {
        Tell(logOfPoissonText);
        mix.family = static_cast<int32_t>(MixtureFamily::gaussian);
    }
    if (isPoisson() && !input_.canBePoisson) reset(poissonKindText);
    if (isPoisson()) {
        const PoissonFault fault = FindPoissonFault(values, Grid());
        if (fault != PoissonFault::none)
            reset(fault == PoissonFault::width ? poissonWidthText : poissonValuesText);
    }
    // Of the data: a family for values above 0 has no component among those below.
    if (mix.isSet || mix.family == static_cast<int32_t>(MixtureFamily::gaussian)) return;
    const Mixture start = StartFromQuantiles(static_cast<MixtureFamily>(mix.family), mix.components, values);
    if (FaultOf(start) == MixtureFault::mean) reset(meansText);
}

// False where there is nothing to draw.
bool HistAnalysis::CheckParameters() {
    CFitHistMixtures& mix = settings_.mix;
    const auto used = static_cast<size_t>(mix.components);
    double rest = 1.0;
    for (size_t i = 0; i + 1 < used; ++i) rest -= mix.proportion[i];
    mix.proportion[used - 1] = std::abs(rest) < 1e-12 ? 0.0 : rest;
    for (size_t i = 0; i < used; ++i) {
        if (HasOwnSd(static_cast<MixtureFamily>(mix.family)) && mix.sd[i] == 0.0) {
            Tell(zeroSdText);
            mix.sd[i] = 1.0;
        }
    }
    MixtureFault fault = FaultOf(mix.Get());
    if (fault == MixtureFault::mean && mix.family != static_cast<int32_t>(MixtureFamily::gaussian)) {
        Tell(meansText);
        mix.family = static_cast<int32_t>(MixtureFamily::gaussian);
        fault = FaultOf(mix.Get());
    }
    if (fault == MixtureFault::proportions) Tell(proportionsText);
    if (fault == MixtureFault::sd || fault == MixtureFault::mean) Tell(noPdfText);
    return fault == MixtureFault::none;
}

void HistAnalysis::FitCounts() {
    CFitHistMixtures& mix = settings_.mix;
    const MixtureFit fit = FitMixture(mix.Get(), found_.hist.counts, Grid(), poll_);
    if (fit.end == MixtureFit::End::cancelled) throw Cancelled();
    found_.logLikeBefore = fit.before;
    found_.logLikeAfter = fit.after;
    if (fit.end == MixtureFit::End::rounds) Tell("powell exceeding maximum iterations.");
    if (fit.end == MixtureFit::End::lineIterations) Tell("Too many iterations in brent");
    if (fit.end != MixtureFit::End::fitted) return Tell(fitFailedText);
    mix.Set(fit.mixture);
    mix.isSet = true;  // the next one starts from here
}

void HistAnalysis::FitRawData(const std::vector<double>& values) {
    CFitHistMixtures& mix = settings_.mix;
    if (isCut_) Tell(fmt::format(firstRawText, kept_.size()));
    mix.family = static_cast<int32_t>(MixtureFamily::gaussian);
    double done = 0.0;
    const GaussianClusters clusters = FindGaussianClusters(values, 1, {}, [&](int classes) {
        done = std::max(done, 1.0 / classes);
        return IsWanted(poll_, done);
    });
    if (clusters.state == GaussianClusters::State::cancelled) throw Cancelled();
    const size_t count = clusters.classes.size();
    if (clusters.state == GaussianClusters::State::found && count > 1) {
        if (count > mostComponents) Tell(fmt::format(manyClustersText, count));
        mix.Set(MixtureOfClasses(clusters.classes));
        return DrawMixture();
    }
    Tell(clusters.state == GaussianClusters::State::found ? oneClusterText : noClustersText);
    const MeanSd stats = GetMeanSd(values);
    if (!(stats.sd > 0.0)) return Tell(noPdfText);
    mix.Set({MixtureFamily::gaussian, {{1.0, stats.mean, stats.sd}}});
    DrawMixture();
}

void HistAnalysis::DrawMixture() {
    const Mixture mixture = settings_.mix.Get();
    found_.report = ReportOf(mixture, found_.hist.counts, Grid());
    const std::vector<double> x = CurvePoints(mixture);
    const auto along = [&x](const Mixture& drawn) {
        std::vector<double> density;
        for (const double at : x) density.push_back(DensityOf(drawn, at));
        return density;
    };
    AddCurve(HistFound::Curve::Kind::mixture, x, along(mixture));
    if (mixture.components.size() < 2) return;
    for (const MixtureComponent& component : mixture.components) {
        Mixture one{mixture.family, {component}};
        const double share = std::exchange(one.components[0].proportion, 1.0);
        std::vector<double> density = along(one);
        for (double& value : density) value *= share;
        AddCurve(HistFound::Curve::Kind::component, x, density);
    }
}

// A Poisson distribution has steps, at whole numbers.
std::vector<double> HistAnalysis::CurvePoints(const Mixture& mixture) const {
    constexpr int smooth = 501;
    if (mixture.family != MixtureFamily::poisson)
        return EvenPoints(settings_.minimum, settings_.maximum, smooth);
    std::vector<double> x;
    for (int bin = 0; bin < settings_.binCount; ++bin) x.push_back(Grid().Middle(bin));
    return x;
}

void HistAnalysis::TakeRug() {
    TellCut();
    const ValueRange range{settings_.minimum, settings_.maximum};
    for (const double value : kept_) {
        if (found_.rug.size() == mostRug) return Tell(fmt::format(firstRugText, mostRug));
        if (range.Holds(value)) found_.rug.push_back(value);
    }
}

}  // namespace kymora
