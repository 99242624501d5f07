// The times of one train around those of another: lags, rasters, and what chance would make of them.

#include <fmt/format.h>

#include "histograms/hist_analysis.h"

namespace kymora {

namespace {

constexpr int64_t mostLags = 20'000'000;    // that are all kept for curves and marks
constexpr size_t mostKeptLags = 1'000'000;  // of more
constexpr size_t mostRaster = 2'000'000;
constexpr int64_t mostJitterCounts = 50'000'000;  // of all bins and runs, which are kept
constexpr const char* muchJitterText =
    "There are too many bins and runs for a jitter band. Choose fewer of either.";
constexpr const char* noPreStimulusText =
    "Need some pre-stimulus time to calculate a pre-stimulus rate. Using whole analysis region.";
constexpr const char* seeMessageText = "See message in Descriptive Statistics.";

}  // namespace

void HistAnalysis::TakeLags() {
    const ValueRange range{settings_.minimum, settings_.maximum};
    const int64_t pairs = CountLags(input_.times1, input_.times2, input_.trains, range);
    isCut_ = pairs > mostLags;
    own_ = isCut_ ? FirstLags(range) : GetLags(input_.times1, input_.times2, input_.trains, range);
    kept_ = own_;
    if (isCut_)
        Take(GetCorrelogram(input_.times1, input_.times2, input_.trains, Grid(), poll_));
    else
        Take(GetHistogram(kept_, Grid()));
}

// Of more than can be kept.
std::vector<double> HistAnalysis::FirstLags(const ValueRange& range) const {
    std::vector<double> lags;
    EachLag(range, [&](double lag) {
        if (lags.size() < mostKeptLags) lags.push_back(lag);
    });
    return lags;
}

// S.d. of each bin's count from stimulus to stimulus.
void HistAnalysis::AverageByStimulus() {
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

void HistAnalysis::TakeRaster() {
    HistFound::Raster& raster = found_.raster;
    ForLagsOfEach(input_.times1, input_.times2, {settings_.minimum, settings_.maximum},
                  [&](size_t first, size_t last, size_t index2) {
                      if (raster.lags.size() > mostRaster) return;
                      for (size_t i = first; i < last; ++i) {
                          raster.lags.push_back(
                              std::max(input_.times1[i] - input_.times2[index2], settings_.minimum));
                          raster.stimuli.push_back(static_cast<double>(index2 + 1));
                          raster.events.push_back(input_.events1[i]);
                      }
                  });
}

void HistAnalysis::FindChance() {
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
    const double rate = chance.duration > 0.0 ? static_cast<double>(chance.counts) / chance.duration : 0.0;
    chance.poisson =
        GetPoissonLimits(rate * settings_.Width() / 1000.0 * static_cast<double>(chance.stimuli));
    if (psth_.bootstrap) {
        ChanceTrains trains{std::llround(rate * whole), input_.times2, input_.region, input_.trains,
                            psth_.bootstrapRuns};
        chance.bootstrap = GetBootstrapLimits(trains, Grid(), random_, poll_);
        if (!chance.bootstrap && !IsWanted(poll_, 1.0)) throw Cancelled();
    }
    if (psth_.jitter > 0.0 && input_.trains == Trains::different) FindJitterBand(chance);
    if (input_.isPsth) WarnOfStimuli(chance);
    found_.chance = std::move(chance);
}

void HistAnalysis::FindJitterBand(HistFound::Chance& chance) {
    if (int64_t{psth_.bootstrapRuns} * settings_.binCount > mostJitterCounts) return Tell(muchJitterText);
    chance.jitter = GetJitterBand(input_.times1, input_.times2, psth_.jitter, psth_.bootstrapRuns, Grid(),
                                  random_, poll_);
    if (!chance.jitter && !IsWanted(poll_, 1.0)) throw Cancelled();
}

// The rate of what the bins before the stimuli hold, in the time of all of them.
void HistAnalysis::TakePreStimulus(HistFound::Chance& chance) const {
    const ValueRange before{settings_.minimum, std::min(0.0, settings_.maximum)};
    chance.counts = CountLags(input_.times1, input_.times2, input_.trains, before);
    chance.duration = (before.maximum - before.minimum) / 1000.0 * static_cast<double>(chance.stimuli);
}

void HistAnalysis::WarnOfStimuli(HistFound::Chance& chance) {
    double least = std::numeric_limits<double>::infinity();
    for (size_t i = 1; i < input_.times2.size(); ++i)
        least = std::min(least, input_.times2[i] - input_.times2[i - 1]);
    const double range = settings_.maximum - settings_.minimum;
    if (!(least + RoundingOfLags(input_.times2, {}) < range)) return;
    chance.warning = fmt::format(closeStimuliText, least, range);
    Tell(seeMessageText);
}

}  // namespace kymora
