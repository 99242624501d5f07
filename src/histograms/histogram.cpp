#include "histograms/histogram.h"

#include <fmt/format.h>

#include <numeric>

#include "drawing/ticks.h"
#include "histograms/hist_analysis.h"

namespace kymora {

namespace {

constexpr int ticksOfRange = 10;
constexpr const char* knuthFailedText =
    "Histogram bin optimization has returned an out of range value. Please inform the author.";
constexpr const char* notAllLoggedText =
    "{} values are not above 0 and have no logarithm. They are left out.";
constexpr const char* rangeText = "The minimum must be below the maximum. The range comes from the data.";
constexpr const char* gridText =
    "The bins are so narrow that their edges cannot be told apart. The range comes from the data.";
constexpr const char* manyBinsText =
    "Bins of {:g} would be more than {}. There are {} bins; choose a greater width or a smaller range.";
constexpr const char* nothingToShowText = "There are no values to show.";
constexpr const char* tooFarText =
    "The values lie too far apart for one range. Set the range of those that are to be shown.";
constexpr const char* lnHzText = "The display ln(Hz) is for values in time bins. Showing counts.";
constexpr const char* averageText = "The 'Avg PSTH' option is only appropriate for PSTH analysis.";

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

// The nearest end of a range that has the largest of some values in its last bin.
double BeyondLargest(std::span<const double> values) {
    const auto extent = GetValueExtent(values);
    return extent ? std::nextafter(extent->largest, std::numeric_limits<double>::infinity()) : 0.0;
}

}  // namespace

HistFound HistAnalysis::Run() {
    found_.messages = input_.messages;
    if (settings_.countBefore > 0) settings_.binCount = std::exchange(settings_.countBefore, 0);
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

void HistAnalysis::CheckDisplay() {
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
    if (const int64_t left = values_.CountWithoutLog(); left > 0) Tell(fmt::format(notAllLoggedText, left));
}

// Extent of all values, and those that are kept.
void HistAnalysis::Survey() {
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

bool HistAnalysis::AllFinite(const std::vector<double>& values) {
    return std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); });
}

void HistAnalysis::DecideRange() {
    if (!settings_.autoRange && !(settings_.minimum < settings_.maximum)) {
        Tell(rangeText);
        settings_.autoRange = true;
    }
    if (settings_.autoRange) SetRange(NaturalRange());
    if (settings_.isByWidth) SetByWidth();
    if (HasWholeWidths()) SetWholeWidth();
    if (FaultOf(Grid()) != GridFault::none) {
        Tell(gridText);
        settings_.autoRange = true;
        SetRange(NaturalRange());
        if (FaultOf(Grid()) != GridFault::none) settings_.binCount = 1;
    }
    settings_.binWidth = settings_.Width();
}

std::pair<double, double> HistAnalysis::NaturalRange() {
    if (input_.naturalRange && !settings_.log) return *input_.naturalRange;
    if (!extent_) return {0.0, 100.0};
    const auto range = RoundRange(extent_->first, extent_->second);
    if (std::isfinite(range.second - range.first)) return range;
    Tell(tooFarText);
    return {0.0, 100.0};
}

// A range that comes from the data is widened to whole bins; one that was set has the nearest number.
void HistAnalysis::SetByWidth() {
    const double width = settings_.binWidth;
    const double bins = (settings_.maximum - settings_.minimum) / width;
    if (!(width > 0.0)) return;
    if (!(bins <= mostBins)) return Tell(fmt::format(manyBinsText, width, mostBins, settings_.binCount));
    if (!settings_.autoRange) {
        settings_.binCount = std::max(1, static_cast<int>(std::lround(bins)));
        return;
    }
    const double from = input_.naturalRange ? settings_.minimum
                                            : std::floor(settings_.minimum / width + binTolerance) * width;
    settings_.binCount =
        std::max(1, static_cast<int>(std::ceil((settings_.maximum - from) / width - binTolerance)));
    settings_.minimum = from;
    settings_.maximum = from + settings_.binCount * width;
}

// As many bins as there are to be, or fewer, each of them as wide as a whole number.
void HistAnalysis::SetWholeWidth() {
    const int most = settings_.countBefore = settings_.binCount;
    if (settings_.autoRange && extent_)
        SetRange({std::floor(extent_->first), std::floor(extent_->second) + 1.0});
    const double range = settings_.maximum - settings_.minimum;
    const double width = std::max(1.0, std::ceil(range / most));
    settings_.binCount = std::max(1, static_cast<int>(std::lround(range / width)));
    if (!settings_.autoRange) return;
    settings_.binCount = static_cast<int>(std::ceil(range / width));
    settings_.maximum = settings_.minimum + settings_.binCount * width;
}

void HistAnalysis::Count() {
    Histogram histogram(Grid());
    values_.Each([&](std::span<const double> values) { histogram.Add(values); });
    Take(histogram);
}

void HistAnalysis::Take(const Histogram& histogram) {
    found_.hist.grid = histogram.Grid();
    found_.hist.counts.assign(histogram.Counts().begin(), histogram.Counts().end());
    found_.hist.below = histogram.Below();
    found_.hist.above = histogram.Above();
}

void HistAnalysis::Optimise() {
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
            // Below 0 that is short of the largest value. A range of the user's would lose it, and the next
            // run another one.
            if (!settings_.autoRange) range.second = std::max(range.second, BeyondLargest(values));
            found_.knuth = std::move(knuth);
        }
    } else if (const auto extent = GetValueExtent(values)) {
        best = settings_.binRule == binsByScott ? ScottBins(values) : FreedmanDiaconisBins(values);
        range = {extent->smallest, BeyondLargest(values)};
    }
    if (!best || !(range.first < range.second)) return Tell(knuthFailedText);
    settings_.binCount = *best;
    SetRange(range);
    settings_.isByWidth = false;
    settings_.binWidth = settings_.Width();
    if (input_.kind != HistInput::Kind::lags)
        Count();
    else if (isCut_)
        Take(GetCorrelogram(input_.times1, input_.times2, input_.trains, Grid()));
    else
        Take(GetHistogram(kept_, Grid()));
}

void HistAnalysis::TellCut() {
    if (isCut_) Tell(fmt::format(firstOnlyText, kept_.size()));
}

void HistAnalysis::Describe() {
    const ValueRange range{settings_.minimum, settings_.maximum};
    found_.stats = isCut_ ? StreamedStats(range) : GetMeanSd(kept_, range);
    if (input_.isPhase && settings_.circular) found_.circular = GetCircularStatistics(kept_, range);
    if (input_.isInterval && !settings_.log && input_.values)
        found_.intervals = GetIntervalStatistics(*input_.values, settings_.refractory);
}

// Sums of deviations from the mean of the first values lose no digits either.
MeanSd HistAnalysis::StreamedStats(const ValueRange& range) const {
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

void HistAnalysis::Show() {
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

void HistAnalysis::TakeTimeBins() {
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

double CHist::InRange() const { return std::accumulate(counts.begin(), counts.end(), 0.0); }

void AnalyseHistogram(HistPart& part, std::mt19937& random, const Poll& poll) {
    part.found = HistAnalysis(part, random, poll).Run();
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
    if (const int most = parts[0].settings.countBefore; most > 0 && parts[0].settings.autoRange) {
        const double width = std::ceil((high - low) / most);
        high = low + std::ceil((high - low) / width) * width;
    }
    for (size_t i = 0; i < parts.size(); ++i) {
        // What fell back to make the common range is told too.
        std::vector<std::string> told = std::move(parts[i].found.messages);
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
        std::vector<std::string>& messages = parts[i].found.messages;
        for (std::string& text : messages)
            if (std::find(told.begin(), told.end(), text) == told.end()) told.push_back(std::move(text));
        messages = std::move(told);
    }
}

}  // namespace kymora
