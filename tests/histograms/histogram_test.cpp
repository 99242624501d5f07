#include "histograms/histogram.h"

#include <gtest/gtest.h>

#include <limits>

namespace kymora {
namespace {

constexpr double nan = std::numeric_limits<double>::quiet_NaN();
constexpr double infinity = std::numeric_limits<double>::infinity();

struct Made : HistPart {
    std::string Text() const { return HistText(*this); }
    Graph Drawn() const {
        const HistPart& part = *this;
        return HistGraph({&part, 1}, 1);
    }
    bool Tells(const char* words) const { return Text().find(words) != std::string::npos; }
};

HistInput Of(std::vector<double> values) {
    HistInput input;
    input.label = "interval (ms)";
    input.Take(std::move(values));
    return input;
}

Made Make(HistInput input, HistSettings settings, PsthSettings psth = {}) {
    Made made{{std::move(input), std::move(settings), psth, {}}};
    std::mt19937 random{1};
    AnalyseHistogram(made, random, {});
    return made;
}

HistSettings Range(double minimum, double maximum, int bins) {
    HistSettings settings;
    settings.autoRange = false;
    settings.minimum = minimum;
    settings.maximum = maximum;
    settings.binCount = bins;
    return settings;
}

TEST(HistogramTexts, CountsAndStatisticsAreThoseWorkedByHand) {
    const Made made = Make(Of({1, 2, nan, 2, 3, 7, 10, -1, infinity}), Range(0, 10, 5));
    EXPECT_EQ(made.found.hist.counts, (std::vector<double>{1, 3, 0, 1, 0}));
    // (4 + 1 + 1 + 0 + 16) / 4 about the mean of 3
    EXPECT_EQ(
        made.Text(),
        "mean val in hist\t3.000000\r\ns.d. of vals in hist\t2.345208\r\ncounts in hist\t5\r\ncounts below "
        "\t1\r\ncounts above\t2\r\n");
    EXPECT_EQ(
        made.found.hist.CopyText(),
        "Count <\t0.000000\t1\nCount bin LB\t0.000000\t1.000000\nCount bin LB\t2.000000\t3.000000\nCount bin "
        "LB\t4.000000\t0.000000\nCount bin LB\t6.000000\t1.000000\nCount bin LB\t8.000000\t0.000000\nCount "
        ">=\t10.000000\t2\n");
    EXPECT_TRUE(
        HistExport(made.found)
            .starts_with("Counts above histogram = 2\r\nCounts below histogram = 1\r\nBin width = "
                         "2.000000\r\nupper bound\tcount (>= lower, < upper)\r\n2.000000\t1.000000\r\n"));
    EXPECT_EQ(FitTable(made), "1\t1\n3\t3\n5\t0\n7\t1\n9\t0\n") << "middles and heights";
    EXPECT_EQ(Make(Of({5}), Range(0, 1, 2)).Text(), "counts below hist\t0\tcounts above hist\t1\r\ncounts in "
                                                    "hist\t0\r\nNeed at least 2 items in histogram "
                                                    "for stats\r\n");
}

TEST(HistogramDisplays, AreFunctionsOfTheCounts) {
    const struct {
        int32_t display;
        std::vector<double> shown;
    } cases[] = {
        {displayCount, {1, 3, 0, 1}},
        {displayPercent, {20, 60, 0, 20}},
        {displayDensity, {0.1, 0.3, 0, 0.1}},
        {displayLn, {0, std::log(3.0), nan, 0}},
        {displaySqrt, {1, std::sqrt(3.0), 0, 1}},
    };
    for (const auto& one : cases) {
        HistSettings settings = Range(0, 8, 4);
        settings.display = one.display;
        const Made made = Make(Of({1, 2, 2, 3, 7}), settings);
        for (size_t i = 0; i < one.shown.size(); ++i) {
            if (std::isnan(one.shown[i]))
                EXPECT_TRUE(std::isnan(made.found.shown[i])) << one.display;
            else
                EXPECT_DOUBLE_EQ(made.found.shown[i], one.shown[i]) << one.display;
        }
    }
    HistSettings cumulative = Range(0, 8, 4);
    cumulative.cumulative = true;
    EXPECT_EQ(Make(Of({1, 2, 2, 3, 7}), cumulative).found.shown, (std::vector<double>{1, 4, 4, 5}));
}

TEST(HistogramRange, ComesFromTheDataAndHoldsThemAll) {
    const struct {
        std::vector<double> values;
        double minimum, maximum;
    } cases[] = {{{2, 98}, 0, 100}, {{0, 100}, 0, 110}, {{nan, infinity}, 0, 100}};
    for (const auto& one : cases) {
        const Made made = Make(Of(one.values), {});
        EXPECT_NEAR(made.settings.minimum, one.minimum, 1e-9) << one.values[1];
        EXPECT_NEAR(made.settings.maximum, one.maximum, 1e-9) << one.values[1];
    }
    for (const double same : {0.0, 4.0, -3.5, 1e-30, 1e30}) {
        const Made made = Make(Of({same, same}), {});
        EXPECT_EQ(made.found.hist.InRange(), 2) << same;
    }
    // A width that was typed stays, and the range is whole bins of it.
    HistSettings byWidth;
    byWidth.isByWidth = true;
    byWidth.binWidth = 7;
    const Made made = Make(Of({2, 98}), byWidth);
    EXPECT_EQ(made.settings.minimum, 0);
    EXPECT_EQ(made.settings.maximum, 105);
    EXPECT_EQ(made.settings.binCount, 15);
    // One that makes too many bins leaves their number, and says so.
    byWidth.binWidth = 1e-20;
    const Made narrow = Make(Of({2, 98}), byWidth);
    EXPECT_EQ(narrow.settings.binCount, 50);
    ASSERT_EQ(narrow.found.messages.size(), 1u);
    EXPECT_TRUE(narrow.found.messages[0].starts_with("Bins of 1e-20 would be more than 10000000."));
    // A range that is none.
    EXPECT_EQ(Make(Of({2, 98}), Range(5, 5, 10)).settings.maximum, 100);
}

TEST(HistogramOfCounts, HasBinsOfWholeWidthsWhereTheUserHasSetNone) {
    const auto counts = [](std::vector<double> values) {
        HistInput input = Of(std::move(values));
        input.isWhole = true;
        return input;
    };
    HistSettings plain, byCount, byWidth, set = Range(0, 120, 50);
    byCount.isByCount = true;
    byCount.binCount = 4;
    byWidth.isByWidth = true;
    byWidth.binWidth = 0.5;
    const struct {
        const char* name;
        std::vector<double> values;
        HistSettings settings;
        double minimum, maximum;
        int bins;
    } cases[] = {
        {"few", {0, 1, 1, 5}, plain, 0, 6, 6},          {"one", {7, 7}, plain, 7, 8, 1},
        {"many", {0, 3, 130}, plain, 0, 132, 44},       {"a range", {0, 3, 130}, set, 0, 120, 40},
        {"a number", {0, 1, 1, 5}, byCount, 0, 5.5, 4}, {"a width", {0, 1, 1, 5}, byWidth, 0, 5.5, 11},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.name);
        const Made made = Make(counts(one.values), one.settings);
        EXPECT_DOUBLE_EQ(made.settings.minimum, one.minimum);
        EXPECT_DOUBLE_EQ(made.settings.maximum, one.maximum);
        EXPECT_EQ(made.settings.binCount, one.bins);
        // Again the same, and other values have the number back.
        EXPECT_EQ(Make(counts(one.values), made.settings).settings.binCount, one.bins);
        if (one.settings.isByWidth) continue;
        EXPECT_EQ(Make(Of({1, 2}), made.settings).settings.binCount, one.settings.binCount);
    }
    // Several on one range.
    std::vector<HistPart> parts{{counts({0, 100}), plain, {}, {}}, {counts({3, 4}), plain, {}, {}}};
    std::mt19937 random{1};
    AnalyseHistograms(parts, random, {});
    for (const HistPart& part : parts) EXPECT_DOUBLE_EQ(part.settings.Width(), 3.0);
}

TEST(HistogramOfLogs, LeavesOutWhatHasNone) {
    HistSettings settings;
    settings.log = true;
    settings.display = displayDensity;
    const Made made = Make(Of({0.1, 10, 1000, 0, -5, nan}), settings);
    EXPECT_EQ(made.found.messages,
              (std::vector<std::string>{
                  densityOfLogText, "2 values are not above 0 and have no logarithm. They are left out."}));
    EXPECT_EQ(made.settings.display, displayCount);
    EXPECT_DOUBLE_EQ(made.found.stats.mean, 1.0);
    EXPECT_DOUBLE_EQ(made.found.stats.sd, 2.0);
    EXPECT_EQ(made.Drawn().panes[0].x.title, "log interval (ms)");
}

TEST(HistogramBins, TheOptimalNumberSetsTheRangeToo) {
    std::vector<double> values;
    for (int i = 0; i < 300; ++i) values.push_back(i % 3 == 0 ? 10 + 0.01 * i : 50 + 0.01 * i);
    HistSettings settings;
    settings.optimalBins = settings.showLogP = true;
    const Made made = Make(Of(values), settings);
    ASSERT_TRUE(made.found.knuth);
    EXPECT_EQ(made.settings.binCount, made.found.knuth->best);
    EXPECT_EQ(made.settings.minimum, 10);
    EXPECT_DOUBLE_EQ(made.settings.maximum, 52.99 + 0.05299);
    EXPECT_EQ(made.found.hist.InRange(), 300);
    const Graph graph = made.Drawn();
    ASSERT_TRUE(graph.Find("logP"));
    EXPECT_EQ(graph.Find("logP")->layers[1].x[0], made.settings.binCount);
    // Data without a width keep the number that was set.
    settings.binCount = 17;
    const Made flat = Make(Of({3, 3, 3}), settings);
    EXPECT_EQ(flat.settings.binCount, 17);
    EXPECT_EQ(flat.found.messages.size(), 1u);
    // A range of the user's keeps its values from run to run, also below 0, where Knuth's ends before the
    // largest.
    settings = Range(-100, 0, 10);
    settings.optimalBins = true;
    for (int run = 0; run < 3; ++run) {
        const Made again = Make(Of({-3, -5, -5.001, -5.002, -20, -21}), settings);
        EXPECT_EQ(again.found.hist.InRange(), 6) << run;
        settings = again.settings;
    }
}

TEST(HistogramDensity, HasTheAreaOfTheBars) {
    HistSettings settings = Range(-10, 30, 40);
    settings.kde.show = true;
    settings.kde.points = 4001;
    for (const int32_t display : {displayCount, displayPercent, displayDensity}) {
        settings.display = display;
        const Made made = Make(Of({4, 5, 6, 9, 12, 14}), settings);
        const HistFound::Curve& kde = made.found.curves.at(0);
        double curve = 0.0, bars = 0.0;
        for (size_t i = 1; i < kde.x.size(); ++i)
            curve += (kde.y[i] + kde.y[i - 1]) / 2 * (kde.x[i] - kde.x[i - 1]);
        for (const double bar : made.found.shown) bars += bar;
        EXPECT_NEAR(curve, bars, 0.01 * bars) << display;
    }
    // Its tails leave room for the bars of logarithms.
    settings.display = displayLn;
    for (const double y : Make(Of({4, 5, 6, 9, 12, 14}), settings).Drawn().panes[0].layers.at(1).y)
        EXPECT_FALSE(y < std::log(0.1));
    const struct {
        std::vector<double> values;
        int32_t rule;
        double bandwidth;
        const char* message;
    } faults[] = {
        {{5, 5, 5},
         0,
         1,
         "Standard deviation is 0 so cannot calculate default bandwidth for KDE.\nSetting to User: "
         "1.\nSuggest use more data."},
        {{1, 5, 5, 5, 5, 5, 9}, 1, 1, "Bandwidth is 0, unable to calculate KDE. Setting to User: 1."},
        {{1, 5, 9}, 2, 0, "Bandwidth is 0, unable to calculate KDE. Setting to User: 1."},
        {{1, 5, 9}, 2, -3, "Bandwidth is 0, unable to calculate KDE. Setting to User: 1."},
    };
    for (const auto& fault : faults) {
        settings = Range(0, 10, 10);
        settings.kde.show = true;
        settings.kde.rule = fault.rule;
        settings.kde.bandwidth = fault.bandwidth;
        const Made made = Make(Of(fault.values), settings);
        ASSERT_EQ(made.found.messages.size(), 1u) << fault.message;
        EXPECT_EQ(made.found.messages[0], fault.message);
        EXPECT_EQ(made.settings.kde.rule, static_cast<int32_t>(BandwidthRule::user));
        EXPECT_EQ(made.settings.kde.bandwidth, 1.0);
    }
}

TEST(HistogramMixture, IsFittedOrSaysWhyNot) {
    std::vector<double> values;
    for (int i = -50; i <= 50; ++i) {
        values.push_back(20 + i * 0.1);
        values.push_back(70 + i * 0.1);
    }
    HistSettings settings = Range(0, 100, 100);
    settings.mix.components = 2;
    for (const int32_t fit : {fitBinCounts, fitRawData}) {
        settings.mix.fit = fit;
        const Made made = Make(Of(values), settings);
        EXPECT_NEAR(made.settings.mix.proportion[0], 0.5, 0.01) << fit;
        EXPECT_NEAR(made.settings.mix.mean[0], 20, 0.6) << fit;
        EXPECT_NEAR(made.settings.mix.mean[1], 70, 0.6) << fit;
        EXPECT_EQ(made.found.curves.size(), 3u) << fit;
        EXPECT_TRUE(made.Tells("LL = ")) << fit;
    }
    const struct {
        int32_t family;
        bool canBePoisson, isSet;
        std::vector<double> values;
        double sd;
        const char* message;
    } faults[] = {
        {1,
         false,
         false,
         {-1, -2, -3},
         1,
         "Means must be > 0 for this distribution type. Resetting to Gaussian."},
        {3,
         true,
         false,
         {1.5, 2, 3},
         1,
         "Data values are inappropriate for Poisson PDF. Resetting to Gaussian"},
        {0, false, true, {1, 2, 3}, 0, "S.D. of zero not allowed, setting to 1"},
        {3,
         false,
         false,
         {1, 2, 3},
         1,
         "The Poisson PDF is only appropriate for the 'Count in', 'Count after' and 'Count distrib' (and "
         "'From File') "
         "parameter types"},
    };
    for (const auto& fault : faults) {
        settings = Range(-10, 10, 20);
        settings.mix.fit = fitShow;
        settings.mix.family = fault.family;
        settings.mix.isSet = fault.isSet;
        settings.mix.sd[0] = fault.sd;
        HistInput input = Of(fault.values);
        input.canBePoisson = fault.canBePoisson;
        const Made refused = Make(std::move(input), settings);
        ASSERT_FALSE(refused.found.messages.empty()) << fault.message;
        EXPECT_EQ(refused.found.messages[0], fault.message);
        EXPECT_EQ(refused.settings.mix.family, 0);
    }
    for (const double proportion : {2.0, -1.0}) {
        settings = Range(-10, 10, 20);
        settings.mix.fit = fitBinCounts;
        settings.mix.components = 2;
        settings.mix.isSet = true;
        settings.mix.proportion = {proportion, 0.5, 0, 0};
        EXPECT_FALSE(Make(Of({1, 2, 3}), settings).found.report);
    }
    // Four components of three values.
    settings = Range(0, 4, 4);
    settings.mix.fit = fitBinCounts;
    settings.mix.components = 4;
    const Made four = Make(Of({1, 2, 3}), settings);
    for (const MixtureComponent& component : four.settings.mix.Get().components)
        EXPECT_TRUE(std::isfinite(component.mean) && component.sd > 0.0 && component.proportion >= 0.0);
}

// Stimuli at 1000, 2000, .. ms, each followed by an event after 5 ms; region of 10 s.
HistInput Stimulated() {
    HistInput input;
    input.kind = HistInput::Kind::lags;
    input.isPsth = true;
    input.label = "time (ms)";
    input.region = {{0, 10000}};
    for (int i = 1; i <= 8; ++i) {
        input.times2.push_back(1000.0 * i);
        input.times1.push_back(1000.0 * i + 5);
    }
    return input;
}

TEST(HistogramByChance, ABinHoldsRateTimesWidthTimesStimuli) {
    const Made made = Make(Stimulated(), Range(-100, 100, 20));
    EXPECT_EQ(made.found.hist.counts[10], 8);
    EXPECT_EQ(made.found.hist.InRange(), 8);
    // 8 events in 10 s, bins of 10 ms, 8 stimuli: 0.064; P(0) = 0.938, P(up to 1) = 0.998
    EXPECT_TRUE(made.Tells(
        "Analysis dur: 10.0000 s, counts: 8\r\nPoisson:\r\nExpected counts/bin if no stimulus effect: "
        "0.06\r\n99% confidence limits:\r\n\tlower: 0.00\tupper: 1.00\r\n"))
        << made.Text();

    PsthSettings psth;
    psth.preStimulusOnly = psth.bootstrap = true;
    psth.bootstrapRuns = 50;
    const Made before = Make(Stimulated(), Range(-100, 100, 20), psth);
    // Nothing in 8 stretches of 100 ms.
    EXPECT_TRUE(before.Tells("Analysis dur: 0.8000 s, counts: 0\r\n")) << before.Text();
    ASSERT_TRUE(before.found.chance->bootstrap);
    EXPECT_EQ(before.found.chance->bootstrap->expected, 0.0) << "at the rate from before the stimuli";
    psth.preStimulusOnly = false;
    EXPECT_NEAR(Make(Stimulated(), Range(-100, 100, 20), psth).found.chance->bootstrap->expected, 0.064,
                0.02);
    psth.preStimulusOnly = true;

    const Made wide = Make(Stimulated(), Range(0, 1500, 15), psth);
    EXPECT_TRUE(wide.Tells(
        "WARNING: the minimum time between stimuli is 1000.0\r\nwhich is less than the histogram range "
        "of 1500.0\r\nThe results will be distored. Decrease histogram width."));
    EXPECT_EQ(wide.found.messages[0],
              "Need some pre-stimulus time to calculate a pre-stimulus rate. Using whole analysis region.");

    psth = {};
    psth.average = true;
    const Made average = Make(Stimulated(), Range(-100, 100, 20), psth);
    EXPECT_EQ(average.found.shown[10], 1.0);
    EXPECT_EQ(average.found.averageSd[10], 0.0);
    // No stimuli, and one.
    for (const size_t stimuli : {size_t{0}, size_t{1}}) {
        HistInput few = Stimulated();
        few.times2.resize(stimuli);
        EXPECT_EQ(Make(few, Range(-100, 100, 20), psth).found.hist.InRange(), static_cast<double>(stimuli));
    }
}

TEST(HistogramOfPhases, ARoseTellsTheMeanDirection) {
    HistInput input = Of({0.2, 0.3});
    input.isPhase = true;
    input.naturalRange = {0.0, 1.0};
    HistInput opposite = input;
    opposite.Take({0.1, 0.6});
    HistSettings settings;
    settings.circular = true;
    const Made made = Make(std::move(input), settings);
    // R = cos(18 degrees) = 0.951057, s.d. sqrt(2 (1 - R)) / 2 pi
    EXPECT_TRUE(made.Tells(
        "CIRCULAR STATISTICS\r\nmean\t0.250000\r\ns.d.\t0.049795\r\nvector strength\t0.951057\r\n"))
        << made.Text();
    const Graph graph = made.Drawn();
    ASSERT_TRUE(graph.Find("rose"));
    EXPECT_EQ(graph.Find("rose")->title, "n = 2, mean 90.0 degrees");
    EXPECT_TRUE(
        Make(std::move(opposite), settings).Tells("CIRCULAR STATISTICS: no mean (vector lengths zero)\r\n"));
}

}  // namespace
}  // namespace kymora
