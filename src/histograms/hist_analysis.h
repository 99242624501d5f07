#pragma once
// How a histogram is made of its input, step by step. The steps stand in three sources: range, counts and
// statistics (histogram.cpp), what is drawn over the bars (hist_overlays.cpp), and trains against trains
// (hist_lags.cpp).

#include <algorithm>
#include <cmath>

#include "histograms/histogram.h"
#include "host/progress.h"

namespace kymora {

inline constexpr const char* firstOnlyText =
    "Note: Bin count optimization, rug plot and KDE will only use the first {} data values";

// Values arrive in stretches that begin anywhere; their logarithms are taken here.
class HistValues {
  public:
    HistValues(const HistInput& input, const bool& log, const Poll& poll)
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

// One run: Run goes through the steps below. What falls back is set in the part's settings.
class HistAnalysis {
  public:
    HistAnalysis(HistPart& part, std::mt19937& random, const Poll& poll)
        : input_(part.input),
          settings_(part.settings),
          psth_(part.psth),
          random_(random),
          poll_(poll),
          values_(input_, settings_.log, poll) {}

    HistFound Run();

  private:
    void Tell(std::string text) {
        auto& all = found_.messages;
        if (std::find(all.begin(), all.end(), text) == all.end()) all.push_back(std::move(text));
    }
    // Of numbers of events, where the user has said nothing of the bins.
    bool HasWholeWidths() const {
        return input_.isWhole && !settings_.log && !settings_.isByWidth && !settings_.isByCount &&
               !settings_.optimalBins;
    }
    BinGrid Grid() const { return {settings_.binCount, settings_.minimum, settings_.maximum}; }
    bool IsTime() const { return input_.kind == HistInput::Kind::timeBins; }
    void SetRange(std::pair<double, double> range) {
        settings_.minimum = range.first;
        settings_.maximum = range.second;
    }
    // Those in the range, pair by pair.
    template <typename Take>
    void EachLag(const ValueRange& range, Take take) const {
        ForLagsOfEach(input_.times1, input_.times2, range, [&](size_t first, size_t last, size_t index2) {
            if (!IsWanted(poll_, 0.0)) throw Cancelled();
            for (size_t i = first; i < last; ++i)
                if (input_.trains == Trains::different || i != index2)
                    take(std::max(input_.times1[i] - input_.times2[index2], range.minimum));
        });
    }
    void TellCut();  // where what is at hand takes only the first values

    // --- range, counts, statistics and bars ---
    void CheckDisplay();
    void Survey();
    static bool AllFinite(const std::vector<double>& values);
    void DecideRange();
    std::pair<double, double> NaturalRange();
    void SetByWidth();
    void SetWholeWidth();
    void Count();
    void Take(const Histogram& histogram);
    void Optimise();
    void Describe();
    MeanSd StreamedStats(const ValueRange& range) const;
    void Show();
    void TakeTimeBins();

    // --- over the bars ---
    void EstimateDensity();
    static const char* WordsOf(BandwidthProblem problem);
    void AddCurve(HistFound::Curve::Kind kind, const std::vector<double>& x,
                  const std::vector<double>& density);
    void ShowMixture();
    void CheckFamily(const std::vector<double>& values);
    bool CheckParameters();
    void FitCounts();
    void FitRawData(const std::vector<double>& values);
    void DrawMixture();
    std::vector<double> CurvePoints(const Mixture& mixture) const;
    void TakeRug();

    // --- trains against trains ---
    void TakeLags();
    std::vector<double> FirstLags(const ValueRange& range) const;
    void AverageByStimulus();
    void TakeRaster();
    void FindChance();
    void TakePreStimulus(HistFound::Chance& chance) const;
    void FindJitterBand(HistFound::Chance& chance);
    void WarnOfStimuli(HistFound::Chance& chance);

    const HistInput& input_;
    HistSettings& settings_;
    PsthSettings& psth_;
    std::mt19937& random_;
    const Poll& poll_;
    HistValues values_;
    HistFound found_;
    std::vector<double> own_;
    std::span<const double> kept_;  // finite ones, all or the first
    bool isCut_ = false;            // there are more than those kept
    std::optional<std::pair<double, double>> extent_;
};

}  // namespace kymora
