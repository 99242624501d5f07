#pragma once
// A histogram with all that is told of it: the counts, their statistics, the optimal number of bins, the
// density estimate and the mixture, the limits by chance; and its forms: text, results and graph.

#include <optional>
#include <random>
#include <string>
#include <vector>

#include "graphs/graph.h"
#include "histograms/hist_input.h"
#include "histograms/hist_settings.h"
#include "results/result.h"
#include "statistics/circular_statistics.h"
#include "statistics/knuth_bins.h"

namespace kymora {

// Takes the shortest time between stimuli and the length of the range, ms.
inline constexpr const char* closeStimuliText =
    "WARNING: the minimum time between stimuli is {:.1f}\r\nwhich is less than the histogram range of "
    "{:.1f}\r\nThe "
    "results will be distored. Decrease histogram width.";

// The counts in their range.
struct CHist {
    BinGrid grid;
    std::vector<double> counts;  // of bars, as displayed nowhere yet
    double below = 0.0, above = 0.0;

    double InRange() const;
    // What is copied of its graph: "Count <", a line for each bin, "Count >=".
    std::string CopyText() const;
};

struct HistFound {
    CHist hist;
    std::vector<double> starts;  // of time bins, ms; else empty
    MeanSd stats;                // of the values in the range, or of those of the time bins
    std::vector<double> shown;   // the heights of the bars; a not-a-number where there is none
    std::optional<CircularStatistics> circular;
    std::optional<IntervalStatistics> intervals;
    std::optional<KnuthBins> knuth;
    struct Curve {
        enum class Kind { density, mixture, component };
        Kind kind = Kind::density;
        std::vector<double> x, y;  // y as it is displayed
    };
    std::vector<double> densityX, density;  // of the KDE, per unit
    double bandwidth = 0.0;
    std::vector<Curve> curves;  // over the bars: KDE, mixture, its components
    std::optional<MixtureReport> report;
    std::optional<double> logLikeBefore, logLikeAfter;
    std::vector<double> rug;
    // By chance.
    struct Chance {
        double duration = 0.0;  // s
        int64_t counts = 0, stimuli = 0;
        CountLimits poisson;
        std::optional<CountLimits> bootstrap;
        std::optional<JitterBand> jitter;
        std::string warning;
    };
    std::optional<Chance> chance;
    struct Raster {
        std::vector<double> lags, stimuli;  // from 1
        std::vector<int32_t> events;        // in their channel
    } raster;
    std::vector<double> averageSd;      // of counts / bin / stimulus, where those are shown
    std::vector<std::string> messages;  // what a window shows in a box, each once
};

// One histogram: what it is made of, and what became of it.
struct HistPart {
    HistInput input;
    HistSettings settings;
    PsthSettings psth;
    HistFound found;
};

// Makes it. Settings that cannot be used fall back and messages say so; ranges, numbers of bins, bandwidth
// and mixture are set as they were found. Throws Cancelled when the poll ends it.
void AnalyseHistogram(HistPart& part, std::mt19937& random, const Poll& poll);
// Several on one range: where it comes from the data, from those of all. An optimal number of bins becomes
// that of the narrowest ones.
void AnalyseHistograms(std::span<HistPart> parts, std::mt19937& random, const Poll& poll);

std::string HistText(const HistPart& part);
std::vector<Result> HistResults(const HistPart& part);
// Several stand as small panes in `columns` columns, named as their inputs.
Graph HistGraph(std::span<const HistPart> parts, int columns);
// The upper ends of its bars as a line.
GraphLayer OutlineOf(const HistPart& part);
// Bounds and raw counts of all bins: what is saved for a spreadsheet.
std::string HistExport(const HistFound& found);
// Middles and heights of the bars that are shown, as a table to be fitted.
std::string FitTable(const HistPart& part);
// The points of the density estimate.
std::string DensityText(const HistFound& found);

}  // namespace kymora
