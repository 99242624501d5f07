// Rhythm in data: stretches of sines whose place and period are known.

#include "detection/event_osc.h"

#include <cmath>
#include <numbers>
#include <random>

#include "support/view_fixture.h"

namespace kymora::test {
namespace {

class EventOscTest : public ViewTest {
  protected:
    void Use(std::vector<float> samples, std::vector<uint32_t> runs = {}) {
        if (runs.empty()) runs = {static_cast<uint32_t>(samples.size())};
        doc = MemoryDoc::MakeWithRuns(session, {std::move(samples)}, {runs}, 2.0);
        doc->filePath = "/data/cell.kymr-dat";
        operation.CheckChangeDoc(doc.get());
        operation.m_nDestination = 1;
        operation.m_dSlidingWindow = 800.0;
        operation.m_dMaximumLag = 300.0;
        operation.m_dStep = 40.0;
        operation.m_dThreshold = 0.5;
    }
    // Noise of s.d. 0.1, with a sine of this period and amplitude from `first` to before `end`.
    static std::vector<float> Burst(size_t count, size_t first, size_t end, double period,
                                    float amplitude = 1.0f) {
        std::mt19937 random(5);
        std::normal_distribution<float> noise(0.0f, 0.1f);
        std::vector<float> samples;
        for (size_t i = 0; i < count; ++i) {
            const double phase = 2 * std::numbers::pi * static_cast<double>(i) / period;
            const auto sine = i >= first && i < end ? static_cast<float>(std::sin(phase)) : 0.0f;
            samples.push_back(noise(random) + amplitude * sine);
        }
        return samples;
    }
    const std::vector<CEventKM>& Events() { return doc->eventChannels[1].Events(); }
    int CountFound() { return static_cast<int>(Events().size()); }

    std::unique_ptr<MemoryDoc> doc;
    CEventOsc operation;
};

TEST_F(EventOscTest, FindsWhereTheRhythmIsAndItsPeriod) {
    Use(Burst(6000, 2000, 4000, 50.0));
    operation.m_dSmoothHalfWindow = 6.0;
    ASSERT_TRUE(operation.Run());
    ASSERT_EQ(CountFound(), 1);
    // A window of 400 samples passes once enough of it lies in the burst.
    EXPECT_GT(Events()[0].onPosition, 1600);
    EXPECT_LT(Events()[0].onPosition, 2000);
    EXPECT_GT(Events()[0].offPosition, 4000);
    EXPECT_LT(Events()[0].offPosition, 4400);
    EXPECT_EQ((Events()[0].onPosition) % 20, 0) << "at a step's start";
    EXPECT_NEAR(Events()[0].eventValue, 100.0f, 2.0f) << "50 samples, in ms";
    EXPECT_EQ(doc->eventChannels[1].detectionMethod, methodRhythmInData);
    const CEventKM coarse = Events()[0];

    operation.m_bRefine = true;
    operation.m_bStorePeriod = false;
    ASSERT_TRUE(operation.Run());
    ASSERT_EQ(CountFound(), 1);
    EXPECT_LT(std::abs(Events()[0].onPosition - 2000), std::abs(coarse.onPosition - 2000));
    EXPECT_LT(std::abs(Events()[0].offPosition - 4000), std::abs(coarse.offPosition - 4000));
    EXPECT_EQ(Events()[0].eventValue, 0.0f);

    const std::pair<const char*, double CEventOsc::*> filters[] = {
        {"period", &CEventOsc::m_dMinimumPeriod},
        {"size", &CEventOsc::m_dMinimumPeakToPeak},
        {"duration", &CEventOsc::m_dMinimumDuration}};
    const double passed[] = {90.0, 1.9, 3000.0}, missed[] = {110.0, 3.1, 5000.0};
    for (size_t i = 0; i < 3; ++i) {
        operation.*filters[i].second = passed[i];
        ASSERT_TRUE(operation.Run());
        EXPECT_EQ(CountFound(), 1) << filters[i].first;
        operation.*filters[i].second = missed[i];
        ASSERT_TRUE(operation.Run());
        EXPECT_EQ(CountFound(), 0) << filters[i].first;
        operation.*filters[i].second = 0.0;
    }
}

// (region - window) / step windows, and one at least; each closes where the last good one ends.
TEST_F(EventOscTest, WindowsStandWhereTheStepsSay) {
    struct Case {
        size_t count;
        int64_t steps;
        int off;
        double step = 40.0;
    };
    for (const Case& one : {Case{400, 1, 400},
                            {419, 1, 400},
                            {420, 1, 400},
                            {440, 2, 420},
                            {1000, 30, 980},
                            {2000, 4, 1600, 800.0}}) {
        Use(Burst(one.count, 0, one.count, 50.0, 100.0f));
        operation.m_dStep = one.step;
        ASSERT_TRUE(operation.Run());
        EXPECT_EQ(std::get<int64_t>(operation.Results().front().values[0].second), one.steps);
        ASSERT_EQ(CountFound(), 1);
        EXPECT_EQ(Events()[0].onPosition, 0);
        EXPECT_EQ(Events()[0].offPosition, one.off);
    }
    // A time that is a whole number of samples but for rounding is that number; others are cut off.
    EXPECT_EQ(WholeSamplesIn(0.3, 0.1), 3);
    EXPECT_EQ(WholeSamplesIn(0.7, 0.1), 7);
    EXPECT_EQ(WholeSamplesIn(3.99, 2.0), 1);
}

TEST_F(EventOscTest, NoWindowSpansAGapOrASampleThatIsNoNumber) {
    std::vector<float> samples = Burst(2000, 0, 2000, 50.0);
    samples[1500] = nan32;
    Use(samples, {900, 500, 1100});
    operation.m_dSmoothHalfWindow = 6.0;
    ASSERT_TRUE(operation.Run());
    ASSERT_EQ(CountFound(), 3);
    const std::pair<int, int> blocks[] = {{0, 900}, {1400, 2000}, {2001, 2500}};
    for (size_t i = 0; i < 3; ++i) {
        EXPECT_EQ(Events()[i].onPosition, blocks[i].first);
        EXPECT_LE(Events()[i].offPosition, blocks[i].second);
    }
}

TEST_F(EventOscTest, RefusesWhatCannotBeDone) {
    Use(Burst(1000, 0, 1000, 50.0), {300, 10, 300, 10, 400});
    struct Case {
        double window, lag, step;
        int32_t reduce;
        const char* words;
    };
    for (const Case& one : {Case{800.0, 300.0, 1.9, 1, shortRhythmStepText},
                            {5.0, 4.0, 2.0, 1, shortRhythmWindowText},
                            {800.0, 300.0, 2.0, 200, shortRhythmWindowText},
                            {800.0, 1.0, 2.0, 1, shortRhythmLagText},
                            {3000.0, 300.0, 2.0, 1, longRhythmWindowText},
                            {801.9 + 0.2, 300.0, 2.0, 1, noRhythmWindowText}}) {
        operation.m_dSlidingWindow = one.window;
        operation.m_dMaximumLag = one.lag;
        operation.m_dStep = one.step;
        operation.m_nReduceFactor = one.reduce;
        EXPECT_FALSE(operation.Run());
        EXPECT_EQ(host.messages.back().text, one.words);
    }
    operation.m_nReduceFactor = 1;
    operation.m_dSlidingWindow = 400.0;
    operation.m_dMaximumLag = 400.0;
    operation.m_dStep = 20.0;
    EXPECT_TRUE(operation.Run());
    EXPECT_EQ(host.messages.back().text,
              "The maximum lag is not shorter than the sliding window. 398 ms is used instead.");
    operation.m_dMaximumLag = 4.0;
    EXPECT_TRUE(operation.Run());
    EXPECT_EQ(CountFound(), 0) << "two lags have no peak";
    Use(std::vector<float>(1000, 0.1f));
    EXPECT_TRUE(operation.Run());
    EXPECT_EQ(CountFound(), 0);
}

TEST_F(EventOscTest, ShowsIndexAndPeriodOfEachStep) {
    Use(Burst(3000, 0, 1500, 50.0));
    operation.m_dSmoothHalfWindow = 6.0;
    ASSERT_TRUE(operation.Run());
    const Graph graph = *operation.GetGraph();
    const GraphLayer& index = graph.Named("index").layers[0];
    ASSERT_EQ(index.x.size(), 130u);
    EXPECT_EQ(index.x[1] - index.x[0], 40.0);
    EXPECT_EQ(index.x[0], 400.0) << "the middle of the first window";
    EXPECT_GT(index.y[0], 0.8);
    EXPECT_EQ(graph.Named("index").lines[0].parameter, "threshold");
    for (const double period : graph.Named("period").layers[1].y) EXPECT_NEAR(period, 100.0, 4.0);
    operation.m_bShowFrequency = true;
    const Graph inHz = *operation.GetGraph();
    for (const double frequency : inHz.Named("period").layers[1].y) EXPECT_NEAR(frequency, 10.0, 0.4);
    host.cancelAtCall = 5;
    EXPECT_FALSE(operation.Run());
    EXPECT_EQ(host.progress.back().label, "Calculating coefficients");
    const auto settings = operation.Settings();
    CEventOsc other;
    other.TakeSettings(settings);
    EXPECT_EQ(other.Settings(), settings);
}

}  // namespace
}  // namespace kymora::test
