#pragma once
// What a user sets of a histogram, whatever its values are: the bins, what is drawn of them, the density
// estimate and the mixture over them. Limits and widths are in the unit of the values (of their logarithms,
// where those are taken), times in ms.

#include <array>
#include <cstdint>
#include <functional>
#include <string>

#include "archive/archive.h"
#include "operations/param.h"
#include "statistics/distribution_mixture.h"
#include "statistics/kernel_density.h"

namespace kymora {

inline constexpr const char* densityOfLogText =
    "Density plot is not available for displays showing the Log of data.";
inline constexpr const char* logWithDensityText = "You cannot use the Log of data with a Density display.";
inline constexpr const char* logOfPoissonText =
    "You cannot take the Log of data to which a Poisson PDF is currently fitted.";
inline constexpr const char* nothingShownText =
    "Presumably you want to show something in the graph, so suggest activate Kernel Density Estimate or "
    "Show/Fit PDF Mix.";

// How the heights of bars are shown; the numbers are stored.
enum HistDisplay : int32_t {
    displayCount,
    displayPercent,
    displayDensity,
    displayLn,
    displaySqrt,
    displayLnHz
};

// The curve of a kernel density estimate.
struct CKernelDensityEstimation {
    bool show = false;
    int32_t kernel = 0;  // of enum Kernel
    int32_t rule = 0;    // of enum BandwidthRule
    double bandwidth = 1.0;
    int32_t points = 200;
    int32_t tailFactor = 3;

    BandwidthChoice Choice() const {
        return {static_cast<BandwidthRule>(rule), static_cast<Kernel>(kernel), bandwidth, tailFactor};
    }
};

enum HistFit : int32_t { fitNone, fitShow, fitBinCounts, fitRawData };

// A mixture of up to four distributions.
struct CFitHistMixtures {
    int32_t fit = fitNone;
    int32_t family = 0;  // of enum MixtureFamily
    int32_t components = 1;
    std::array<double, mostComponents> proportion{1.0, 0.0, 0.0, 0.0};
    std::array<double, mostComponents> mean{};
    std::array<double, mostComponents> sd{1.0, 1.0, 1.0, 1.0};
    bool isSet = false;  // by the user; else the parameters come from the data

    Mixture Get() const;
    void Set(const Mixture& mixture);
};

enum BinRule : int32_t { binsByKnuth, binsByFreedmanDiaconis, binsByScott };

// What else there is to set of a peri-stimulus histogram or a correlogram.
struct PsthSettings {
    bool average = false;
    bool raster = false;
    bool preStimulusOnly = false;
    bool bootstrap = false;
    int32_t bootstrapRuns = 1000;  // also of the jitter
    double jitter = 0.0;           // ms; 0: none
};

struct HistSettings {
    int32_t binCount = 50;
    double minimum = 0.0, maximum = 100.0;
    double binWidth = 2.0;
    bool isByWidth = false;   // the width was set, and the number follows it
    bool isByCount = false;   // the number was set
    int32_t countBefore = 0;  // what the number was before whole widths set it; 0: they did not
    bool autoRange = true;
    bool log = false;
    int32_t display = displayCount;
    double timeBin = 100.0;
    bool circular = false;
    bool optimalBins = false;
    int32_t binRule = binsByKnuth;
    int32_t maximumBins = 200;
    bool showLogP = false;
    bool bars = true, rug = false, cumulative = false;
    double refractory = 3.0;
    CKernelDensityEstimation kde;
    CFitHistMixtures mix;

    // Tells of a setting that cannot stand beside another; the setting goes back.
    using Words = std::function<void(const char*)>;
    // The groups of the window. The settings outlive the list.
    void DescribeBins(ParamList& list, const Words& tell);
    void DescribeOverlays(ParamList& list, const Words& tell);
    // The order is a file format. What came later stands behind the operation's own.
    void Exchange(CArchive& archive);
    void ExchangeFurther(CArchive& archive);
    void ExchangeWholeWidths(CArchive& archive);

    // Nothing at all would be drawn.
    bool ShowsNothing() const { return !bars && !kde.show && mix.fit == fitNone; }
    double Width() const { return (maximum - minimum) / binCount; }
};

}  // namespace kymora
