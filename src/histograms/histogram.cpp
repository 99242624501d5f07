#include "histograms/histogram.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "drawing/ticks.h"
#include "host/progress.h"
#include "numerics/gaussian_clusters.h"

namespace kymora {

namespace {

constexpr int ticksOfRange = 10;
constexpr int64_t mostLags = 20'000'000;    // that are all kept for curves and marks
constexpr size_t mostKeptLags = 1'000'000;  // of more
constexpr size_t mostRug = 100'000, mostRaster = 2'000'000;

constexpr const char* knuthFailedText =
    "Histogram bin optimization has returned an out of range value. Please inform the author.";
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
constexpr const char* notAllLoggedText =
    "{} values are not above 0 and have no logarithm. They are left out.";
constexpr const char* rangeText = "The minimum must be below the maximum. The range comes from the data.";
constexpr const char* gridText =
    "The bins are so narrow that their edges cannot be told apart. The range comes from the data.";
constexpr const char* nothingToShowText = "There are no values to show.";
constexpr const char* tooFarText =
    "The values lie too far apart for one range. Set the range of those that are to be shown.";
constexpr const char* firstRawText = "The fit to raw data uses the first {} values.";
constexpr const char* lnHzText = "The display ln(Hz) is for values in time bins. Showing counts.";
constexpr const char* averageText = "The 'Avg PSTH' option is only appropriate for PSTH analysis.";
constexpr const char* noPreStimulusText =
    "Need some pre-stimulus time to calculate a pre-stimulus rate. Using whole analysis region.";
constexpr const char* firstOnlyText =
    "Note: Bin count optimization, rug plot and KDE will only use the first {} data values";
constexpr const char* seeMessageText = "See message in Descriptive Statistics.";

// Values arrive in stretches that begin anywhere; their logarithms are taken here.
class Values {
  public:
    Values(const HistInput& input, const bool& log, const Poll& poll)
        : input_(input), log_(log), poll_(poll) {}

    template <typename Take>
    void Each(Take take) const {
        std::vector<double> logged;
        input_.ForEach([&](std::span<const double> values) {
            if (!IsWanted(poll_, 0.0)) throw Cancelled();
            if (!log_) return take(values);
            logged.clear();
            for (const double value : values)
                if (value > 0.0) logged.push_back(std::log10(value));
            take(std::span<const double>(logged));
        });
    }
    int64_t CountWithoutLog() const {
        int64_t count = 0;
        if (log_)
            input_.ForEach([&](std::span<const double> values) {
                count += std::count_if(values.begin(), values.end(), [](double v) { return v <= 0.0; });
            });
        return count;
    }

  private:
    const HistInput& input_;
    const bool& log_;
    const Poll& poll_;
};

// A round range that holds all values; one beyond them where the largest would lie on its end.
std::pair<double, double> RoundRange(double low, double high) {
    if (!(high > low)) {
        const double half = low == 0.0 ? 0.5 : std::abs(low) * 0.05;
        low -= half;
        high += half;
    }
    const double step = TickStep(low, high, ticksOfRange);
    const double from = std::floor(low / step) * step;
    double to = std::ceil(high / step) * step;
    if (to <= high) to += step;
    // Steps that are lost in the digits of the values.
    if (!(from <= low) || !(to > high)) return {low - std::abs(low) * 1e-9, high + std::abs(high) * 1e-9};
    return {from, to};
}

class Analysis {
  public:
    Analysis(HistPart& part, std::mt19937& random, const Poll& poll)
        : input_(part.input),
          settings_(part.settings),
          psth_(part.psth),
          random_(random),
          poll_(poll),
          values_(input_, settings_.log, poll) {}

    HistFound Run() {
        found_.messages = input_.messages;
        if (input_.kind != HistInput::Kind::values) settings_.log = false;
        CheckDisplay();
        if (input_.kind == HistInput::Kind::timeBins) {
            TakeTimeBins();
            return std::move(found_);
        }
        if (input_.kind == HistInput::Kind::lags) {
            DecideRange();
            TakeLags();
        } else {
            Survey();
            DecideRange();
            Count();
        }
        Optimise();
        Describe();
        Show();
        EstimateDensity();
        if (input_.kind == HistInput::Kind::lags) FindChance();
        ShowMixture();
        if (settings_.rug) TakeRug();
        if (psth_.raster && input_.isPsth) TakeRaster();
        return std::move(found_);
    }

  private:
    void Tell(std::string text) {
        auto& all = found_.messages;
        if (std::find(all.begin(), all.end(), text) == all.end()) all.push_back(std::move(text));
    }
    BinGrid Grid() const { return {settings_.binCount, settings_.minimum, settings_.maximum}; }
    bool IsTime() const { return input_.kind == HistInput::Kind::timeBins; }

    void CheckDisplay() {
        if (settings_.display == displayLnHz && !IsTime()) {
            Tell(lnHzText);
            settings_.display = displayCount;
        }
        if (settings_.log && settings_.display == displayDensity) {
            Tell(densityOfLogText);
            settings_.display = displayCount;
        }
        if (psth_.average && !input_.isPsth) {
            Tell(averageText);
            psth_.average = false;
        }
        if (const int64_t left = values_.CountWithoutLog(); left > 0)
            Tell(fmt::format(notAllLoggedText, left));
    }

    // --- the range ---

    // Extent of all values, and those that are kept.
    void Survey() {
        double low = std::numeric_limits<double>::infinity(), high = -low;
        const size_t most = input_.mostKept == 0 ? std::numeric_limits<size_t>::max() : input_.mostKept;
        const bool isWhole = input_.values && !settings_.log && AllFinite(*input_.values);
        values_.Each([&](std::span<const double> values) {
            for (const double value : values) {
                if (!std::isfinite(value)) continue;
                low = std::min(low, value);
                high = std::max(high, value);
                if (isWhole) continue;
                if (own_.size() < most)
                    own_.push_back(value);
                else
                    isCut_ = true;
            }
        });
        kept_ = isWhole ? std::span<const double>(*input_.values) : own_;
        if (low <= high)
            extent_ = {low, high};
        else
            Tell(nothingToShowText);
    }

    static bool AllFinite(const std::vector<double>& values) {
        return std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); });
    }

    void DecideRange() {
        if (!settings_.autoRange && !(settings_.minimum < settings_.maximum)) {
            Tell(rangeText);
            settings_.autoRange = true;
        }
        if (settings_.autoRange) SetRange(NaturalRange());
        if (settings_.isByWidth) SetByWidth();
        if (FaultOf(Grid()) != GridFault::none) {
            Tell(gridText);
            settings_.autoRange = true;
            SetRange(NaturalRange());
            if (FaultOf(Grid()) != GridFault::none) settings_.binCount = 1;
        }
        settings_.binWidth = settings_.Width();
    }

    std::pair<double, double> NaturalRange() {
        if (input_.naturalRange && !settings_.log) return *input_.naturalRange;
        if (!extent_) return {0.0, 100.0};
        const auto range = RoundRange(extent_->first, extent_->second);
        if (std::isfinite(range.second - range.first)) return range;
        Tell(tooFarText);
        return {0.0, 100.0};
    }

    void SetRange(std::pair<double, double> range) {
        settings_.minimum = range.first;
        settings_.maximum = range.second;
    }

    // A range that comes from the data is widened to whole bins; one that was set has the nearest number.
    void SetByWidth() {
        const double width = settings_.binWidth;
        const double bins = (settings_.maximum - settings_.minimum) / width;
        if (!(width > 0.0) || !(bins <= mostBins)) return;
        if (!settings_.autoRange) {
            settings_.binCount = std::max(1, static_cast<int>(std::lround(bins)));
            return;
        }
        const double from = input_.naturalRange
                                ? settings_.minimum
                                : std::floor(settings_.minimum / width + binTolerance) * width;
        settings_.binCount =
            std::max(1, static_cast<int>(std::ceil((settings_.maximum - from) / width - binTolerance)));
        settings_.minimum = from;
        settings_.maximum = from + settings_.binCount * width;
    }

    // --- counts ---

    void Count() {
        Histogram histogram(Grid());
        values_.Each([&](std::span<const double> values) { histogram.Add(values); });
        Take(histogram);
    }

    void Take(const Histogram& histogram) {
        found_.hist.grid = histogram.Grid();
        found_.hist.counts.assign(histogram.Counts().begin(), histogram.Counts().end());
        found_.hist.below = histogram.Below();
        found_.hist.above = histogram.Above();
    }

    void TakeLags() {
        const ValueRange range{settings_.minimum, settings_.maximum};
        const int64_t pairs = CountLags(input_.times1, input_.times2, input_.trains, range);
        isCut_ = pairs > mostLags;
        own_ = isCut_ ? FirstLags(range) : GetLags(input_.times1, input_.times2, input_.trains, range);
        kept_ = own_;
        if (isCut_)
            Take(GetCorrelogram(input_.times1, input_.times2, input_.trains, Grid()));
        else
            Take(GetHistogram(kept_, Grid()));
    }

    // Of more than can be kept.
    std::vector<double> FirstLags(const ValueRange& range) const {
        std::vector<double> lags;
        EachLag(range, [&](double lag) {
            if (lags.size() < mostKeptLags) lags.push_back(lag);
        });
        return lags;
    }

    template <typename Take>
    void EachLag(const ValueRange& range, Take take) const {
        ForLagsOfEach(input_.times1, input_.times2, range, [&](size_t first, size_t last, size_t index2) {
            for (size_t i = first; i < last; ++i)
                if (input_.trains == Trains::different || i != index2)
                    take(input_.times1[i] - input_.times2[index2]);
        });
    }

    void Optimise() {
        if (!settings_.optimalBins) return;
        TellCut();
        std::vector<double> values(kept_.begin(), kept_.end());
        if (!settings_.autoRange) values = ValuesWithin(kept_, {settings_.minimum, settings_.maximum});
        std::optional<int> best;
        std::pair<double, double> range{settings_.minimum, settings_.maximum};
        if (settings_.binRule == binsByKnuth) {
            KnuthBins knuth = FindKnuthBins(values, settings_.maximumBins, poll_);
            if (knuth.state == KnuthBins::State::cancelled) throw Cancelled();
            if (knuth.state == KnuthBins::State::found) {
                best = knuth.best;
                range = {knuth.minimum, knuth.upper};
                found_.knuth = std::move(knuth);
            }
        } else if (const auto extent = GetValueExtent(values)) {
            best = settings_.binRule == binsByScott ? ScottBins(values) : FreedmanDiaconisBins(values);
            // The largest value lies in the last bin.
            range = {extent->smallest,
                     std::nextafter(extent->largest, std::numeric_limits<double>::infinity())};
        }
        if (!best || !(range.first < range.second)) return Tell(knuthFailedText);
        settings_.binCount = *best;
        SetRange(range);
        settings_.isByWidth = false;
        settings_.binWidth = settings_.Width();
        if (input_.kind == HistInput::Kind::lags)
            Take(GetCorrelogram(input_.times1, input_.times2, input_.trains, Grid()));
        else
            Count();
    }

    void TellCut() {
        if (isCut_) Tell(fmt::format(firstOnlyText, kept_.size()));
    }

    // --- statistics ---

    void Describe() {
        const ValueRange range{settings_.minimum, settings_.maximum};
        found_.stats = isCut_ ? StreamedStats(range) : GetMeanSd(kept_, range);
        if (input_.isPhase && settings_.circular) found_.circular = GetCircularStatistics(kept_, range);
        if (input_.isInterval && !settings_.log && input_.values)
            found_.intervals = GetIntervalStatistics(*input_.values, settings_.refractory);
    }

    // Sums of deviations from the mean of the first values lose no digits either.
    MeanSd StreamedStats(const ValueRange& range) const {
        const double about = GetMeanSd(kept_, range).mean;
        const double shift = std::isfinite(about) ? about : settings_.minimum;
        double sum = 0.0, squares = 0.0;
        int64_t count = 0;
        const auto add = [&](double value) {
            if (!range.Holds(value)) return;
            const double from = value - shift;
            sum += from;
            squares += from * from;
            ++count;
        };
        if (input_.kind == HistInput::Kind::lags)
            EachLag(range, add);
        else
            values_.Each([&](std::span<const double> values) {
                for (const double value : values) add(value);
            });
        MeanSd stats;
        stats.count = count;
        const auto n = static_cast<double>(count);
        if (count > 0) stats.mean = shift + sum / n;
        if (count > 1) stats.sd = std::sqrt(std::max(0.0, (squares - sum * sum / n) / (n - 1.0)));
        return stats;
    }

    // --- bars ---

    void Show() {
        const double width = settings_.Width();
        std::vector<double> counts = found_.hist.counts;
        if (settings_.cumulative) counts = CumulativeCounts(counts);
        const bool averages = psth_.average && !input_.times2.empty();
        const double share = averages ? 1.0 / static_cast<double>(input_.times2.size()) : 1.0;
        const auto display = static_cast<CountDisplay>(settings_.display);
        const double inRange = found_.hist.InRange();
        found_.shown.reserve(counts.size());
        for (const double count : counts)
            found_.shown.push_back(averages ? count * share : DisplayedCount(display, count, inRange, width));
        if (averages) AverageByStimulus();
    }

    // S.d. of each bin's count from stimulus to stimulus.
    void AverageByStimulus() {
        const BinGrid grid = Grid();
        const auto stimuli = static_cast<double>(input_.times2.size());
        std::vector<double> squares(found_.hist.counts.size()), counts(squares.size());
        std::vector<int> touched;
        ForLagsOfEach(input_.times1, input_.times2, {grid.minimum, grid.maximum},
                      [&](size_t first, size_t last, size_t index2) {
                          touched.clear();
                          for (size_t i = first; i < last; ++i) {
                              const int bin = BinOf(grid, input_.times1[i] - input_.times2[index2]);
                              counts[static_cast<size_t>(bin)] += 1.0;
                              touched.push_back(bin);
                          }
                          for (const int bin : touched) {
                              double& count = counts[static_cast<size_t>(bin)];
                              squares[static_cast<size_t>(bin)] += count * count;
                              count = 0.0;
                          }
                      });
        for (size_t bin = 0; bin < squares.size(); ++bin) {
            const double sum = found_.hist.counts[bin];
            const double spread = squares[bin] - sum * sum / stimuli;
            found_.averageSd.push_back(stimuli > 1.0 ? std::sqrt(std::max(0.0, spread) / (stimuli - 1.0))
                                                     : noStatistic);
        }
    }

    // --- time bins ---

    void TakeTimeBins() {
        found_.hist.counts = input_.counts;
        found_.starts = input_.starts;
        const double seconds = input_.width / 1000.0;
        std::vector<double> heights = input_.counts;
        if (input_.isRate)
            for (double& height : heights) height /= seconds;
        found_.stats = GetMeanSd(heights);
        const double all = found_.hist.InRange();
        for (size_t i = 0; i < heights.size(); ++i) {
            const bool isPlain = settings_.display == displayCount;
            const double count = input_.counts[i];
            const auto display = static_cast<CountDisplay>(settings_.display);
            found_.shown.push_back(isPlain ? heights[i] : DisplayedCount(display, count, all, input_.width));
        }
    }

    // --- density ---

    void EstimateDensity() {
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

    static const char* WordsOf(BandwidthProblem problem) {
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
    void AddCurve(HistFound::Curve::Kind kind, const std::vector<double>& x,
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

    // --- mixture ---

    void ShowMixture() {
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

    void CheckFamily(const std::vector<double>& values) {
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
        const Mixture start =
            StartFromQuantiles(static_cast<MixtureFamily>(mix.family), mix.components, values);
        if (FaultOf(start) == MixtureFault::mean) reset(meansText);
    }

    // False where there is nothing to draw.
    bool CheckParameters() {
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

    void FitCounts() {
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

    void FitRawData(const std::vector<double>& values) {
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

    void DrawMixture() {
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
    std::vector<double> CurvePoints(const Mixture& mixture) const {
        constexpr int smooth = 501;
        if (mixture.family != MixtureFamily::poisson)
            return EvenPoints(settings_.minimum, settings_.maximum, smooth);
        std::vector<double> x;
        for (int bin = 0; bin < settings_.binCount; ++bin) x.push_back(Grid().Middle(bin));
        return x;
    }

    void TakeRaster() {
        HistFound::Raster& raster = found_.raster;
        ForLagsOfEach(input_.times1, input_.times2, {settings_.minimum, settings_.maximum},
                      [&](size_t first, size_t last, size_t index2) {
                          if (raster.lags.size() > mostRaster) return;
                          for (size_t i = first; i < last; ++i) {
                              raster.lags.push_back(input_.times1[i] - input_.times2[index2]);
                              raster.stimuli.push_back(static_cast<double>(index2 + 1));
                              raster.events.push_back(input_.events1[i]);
                          }
                      });
    }

    void TakeRug() {
        TellCut();
        const ValueRange range{settings_.minimum, settings_.maximum};
        for (const double value : kept_) {
            if (found_.rug.size() == mostRug) return Tell(fmt::format(firstOnlyText, mostRug));
            if (range.Holds(value)) found_.rug.push_back(value);
        }
    }

    // --- chance ---

    void FindChance() {
        HistFound::Chance chance;
        double whole = 0.0;
        for (const TimeStretch& stretch : input_.region) whole += (stretch.end - stretch.start) / 1000.0;
        chance.duration = whole;
        chance.counts = static_cast<int64_t>(input_.times1.size());
        chance.stimuli = static_cast<int64_t>(input_.times2.size());
        if (psth_.preStimulusOnly && input_.isPsth) {
            if (settings_.minimum < 0.0)
                TakePreStimulus(chance);
            else
                Tell(noPreStimulusText);
        }
        const double rate =
            chance.duration > 0.0 ? static_cast<double>(chance.counts) / chance.duration : 0.0;
        chance.poisson =
            GetPoissonLimits(rate * settings_.Width() / 1000.0 * static_cast<double>(chance.stimuli));
        if (psth_.bootstrap) {
            ChanceTrains trains{std::llround(rate * whole), input_.times2, input_.region, input_.trains,
                                psth_.bootstrapRuns};
            chance.bootstrap = GetBootstrapLimits(trains, Grid(), random_, poll_);
            if (!chance.bootstrap && !IsWanted(poll_, 1.0)) throw Cancelled();
        }
        if (input_.isPsth) WarnOfStimuli(chance);
        found_.chance = std::move(chance);
    }

    // The rate of what the bins before the stimuli hold, in the time of all of them.
    void TakePreStimulus(HistFound::Chance& chance) const {
        const ValueRange before{settings_.minimum, std::min(0.0, settings_.maximum)};
        chance.counts = CountLags(input_.times1, input_.times2, input_.trains, before);
        chance.duration = (before.maximum - before.minimum) / 1000.0 * static_cast<double>(chance.stimuli);
    }

    void WarnOfStimuli(HistFound::Chance& chance) {
        double least = std::numeric_limits<double>::infinity();
        for (size_t i = 1; i < input_.times2.size(); ++i)
            least = std::min(least, input_.times2[i] - input_.times2[i - 1]);
        const double range = settings_.maximum - settings_.minimum;
        if (!(least < range)) return;
        chance.warning = fmt::format("WARNING: the minimum time between stimuli is {:.1f}\r\nwhich is less "
                                     "than the histogram range of "
                                     "{:.1f}\r\nThe results will be distored. Decrease histogram width.",
                                     least, range);
        Tell(seeMessageText);
    }

    const HistInput& input_;
    HistSettings& settings_;
    PsthSettings& psth_;
    std::mt19937& random_;
    const Poll& poll_;
    Values values_;
    HistFound found_;
    std::vector<double> own_;
    std::span<const double> kept_;  // finite ones, all or the first
    bool isCut_ = false;            // there are more than those kept
    std::optional<std::pair<double, double>> extent_;
};

}  // namespace

double CHist::InRange() const { return std::accumulate(counts.begin(), counts.end(), 0.0); }

void AnalyseHistogram(HistPart& part, std::mt19937& random, const Poll& poll) {
    part.found = Analysis(part, random, poll).Run();
}

void AnalyseHistograms(std::span<HistPart> parts, std::mt19937& random, const Poll& poll) {
    if (parts.size() == 1) return AnalyseHistogram(parts[0], random, poll);
    double low = std::numeric_limits<double>::infinity(), high = -low, narrowest = low;
    const std::vector<HistPart> asked(parts.begin(), parts.end());
    for (HistPart& part : parts) {
        AnalyseHistogram(part, random, poll);
        low = std::min(low, part.settings.minimum);
        high = std::max(high, part.settings.maximum);
        narrowest = std::min(narrowest, part.settings.Width());
    }
    const auto fits = [&](const HistPart& part) {
        return part.settings.minimum == low && part.settings.maximum == high;
    };
    if (std::all_of(parts.begin(), parts.end(), fits)) return;
    for (size_t i = 0; i < parts.size(); ++i) {
        parts[i] = asked[i];
        HistSettings& settings = parts[i].settings;
        const bool isAuto = std::exchange(settings.autoRange, false);
        if (std::exchange(settings.optimalBins, false))
            settings.binCount = BinCountForWidth(low, high, narrowest).value_or(settings.binCount);
        settings.minimum = low;
        settings.maximum = high;
        AnalyseHistogram(parts[i], random, poll);
        settings.autoRange = isAuto;
        settings.optimalBins = asked[i].settings.optimalBins;
    }
}

}  // namespace kymora
