#include "eventanalysis/event_parameters.h"

#include <cmath>

#include "eventanalysis/event_analysis_fixture.h"

namespace kymora {
namespace {

using test::ExpectValues;
using test::MemoryDoc;
using test::nan;
using EventParameters = test::EventAnalysisTest;

TEST(EventParameterList, NeedsAndStoredValues) {
    ASSERT_EQ(CEvParamCombo::Names().size(), 50u);
    for (int i = 0; i < evParamCount; ++i) {
        const auto param = static_cast<EvParam>(i);
        const bool trace = (i >= 11 && i <= 25) || (i >= 37 && i <= 45) || i == 48 || i == 49;
        EXPECT_EQ(NeedsParentTrace(param), trace) << i;
        EXPECT_EQ(NeedsTwoChannels(param), (i >= 26 && i <= 34) || i == 47) << i;
        EXPECT_EQ(CEvParamCombo::FromStoredValue(i + 2), param);
        EXPECT_EQ(CEvParamCombo::StoredValue(param), i + 2);
    }
    for (const int32_t wrong : {-1, 0, 1, 52}) EXPECT_FALSE(CEvParamCombo::FromStoredValue(wrong));
}

TEST_F(EventParameters, TimesByHand) {
    doc = MemoryDoc::MakeEmpty(session, 100, 0.5);
    Fill(0, {{10, 14}, {20, 21}, {30, 40}});
    Channel(0).AddEvent(40, 40, 7.5f);
    const CEventBlock whole = Block(0);
    ExpectValues(Values(EvParam::none, whole), {1, 2, 3, 4});
    ExpectValues(Values(EvParam::time, whole), {5, 10, 15, 20});
    ExpectValues(Values(EvParam::timeElapsed, whole), {5, 10, 15, 20});
    ExpectValues(Values(EvParam::onDuration, whole), {2, 0.5f, 5, 0});
    ExpectValues(Values(EvParam::gapDuration, whole), {3, 4.5f, 0, nan});
    ExpectValues(Values(EvParam::frequency, whole), {200, 200, 200, nan});
    ExpectValues(Values(EvParam::interval, whole), {5, 5, 5, nan});
    ExpectValues(Values(EvParam::dutyCycle, whole), {0.4f, 0.1f, 1, nan});
    ExpectValues(Values(EvParam::variable, whole), {0, 0, 0, 7.5f});
    // The last event of each block, not only of the channel, has no next one.
    const CEventBlock parts = Block(0, -1, -1, {{5, 20}, {30, 1}, {31, 69}});
    ExpectValues(Values(EvParam::interval, parts), {5, nan, nan, nan});
    ExpectValues(Values(EvParam::gapDuration, parts), {3, nan, nan, nan});
    ExpectValues(Values(EvParam::onDuration, parts), {2, 0.5f, 5, 0});
    ExpectValues(Values(EvParam::none, parts), {1, 2, 3, 4});
    const CEventBlock single = Block(0, -1, -1, {{30, 1}});
    for (const EvParam param :
         {EvParam::gapDuration, EvParam::frequency, EvParam::interval, EvParam::dutyCycle})
        ExpectValues(Values(param, single), {nan}, EvParamName(param));
    ExpectValues(Values(EvParam::onDuration, single), {5});
    // Two events at one onset: the interval is 0, and nothing is divided by it.
    Fill(0, {{10, 14}, {10, 12}});
    ExpectValues(Values(EvParam::interval, Block(0)), {0, nan});
    ExpectValues(Values(EvParam::frequency, Block(0)), {nan, nan});
    ExpectValues(Values(EvParam::dutyCycle, Block(0)), {nan, nan});
}

TEST_F(EventParameters, ElapsedTimeLeavesGapsOut) {
    // 10 samples, a gap of 20, 30 samples; the second trace has another record of gaps, which does not count.
    doc = MemoryDoc::MakeWithRuns(session, {std::vector<float>(40), std::vector<float>(60)},
                                  {{10, 20, 30}, {60}}, 2.0);
    Fill(0, {{5, 6}, {20, 22}, {35, 36}, {59, 60}});
    ExpectValues(Values(EvParam::timeElapsed, Block(0)), {10, 20, 30, 78});
    ExpectValues(Values(EvParam::time, Block(0)), {10, 40, 70, 118});
}

TEST_F(EventParameters, SamplesByHand) {
    doc = MemoryDoc::Make(session, {{0, 0, 1, 4, -2, 3, 0, 9}, {5, 5, 5, 5, 5, 5, 5, 5}}, 0.5);
    Fill(0, {{2, 7}});
    const CEventBlock block = Block(0, -1, 0);
    const std::vector<std::pair<EvParam, double>> expected = {
        {EvParam::peakToPeak, 6},
        {EvParam::peakToPeakDuration, 0.5},
        {EvParam::maxToMinTime, -0.5},
        {EvParam::maximum, 4},
        {EvParam::minimum, -2},
        {EvParam::average, 1.2},
        {EvParam::standardDeviation, std::sqrt(22.8 / 4)},  // squared deviations from 1.2, n - 1
        {EvParam::median, 1},
        {EvParam::mad, 2},  // of 0, 3, 3, 2, 1
        {EvParam::robustSd, 2 / 0.6745},
        {EvParam::area, 3},
        {EvParam::areaReBase, (3.25 - 2.5 + 2.75) * 0.5},  // above the line 1, .75, .5, .25, 0
        {EvParam::slope, -3.0 / 10 * 1000 / 0.5},          // sum of place x value over sum of place squared
        {EvParam::rms, std::sqrt(6.0)},
        {EvParam::energy, 15},
    };
    for (const auto& [param, value] : expected)
        ExpectValues(Values(param, block), {static_cast<float>(value)}, EvParamName(param));
    // Equal samples: the first of equals, and the least s.d. that there is.
    const CEventBlock flat = Block(0, -1, 1);
    ExpectValues(Values(EvParam::maxToMinTime, flat), {0});
    ExpectValues(Values(EvParam::robustSd, flat), {std::numeric_limits<float>::min()});
    ExpectValues(Values(EvParam::slope, flat), {0});
}

TEST_F(EventParameters, SamplesThatDoNotCount) {
    const float inf = std::numeric_limits<float>::infinity();
    // Positions: 0 1 2 3, gap 4 5, then 6 to 11.
    doc = MemoryDoc::MakeWithRuns(session, {{9, 9, 1, 2, 6, 4, nan, inf, 3, 8}}, {{4, 2, 6}});
    Fill(0, {{-3, 1}, {2, 8}, {4, 6}, {7, 11}, {8, 10}, {9, 9}, {11, 5}, {11, 900}});
    // -3 lies before every block; a block from there holds it.
    const CEventBlock block = Block(0, -1, 0, {{-5, 100}});
    // Counted: 9 | 1 2 . . 6 4 | none | 4 . . 3 | none | none | none | 8.
    ExpectValues(Values(EvParam::maximum, block), {9, 6, nan, 4, nan, nan, nan, 8});
    ExpectValues(Values(EvParam::average, block), {9, 3.25f, nan, 3.5f, nan, nan, nan, 8});
    // Time within the event goes on in a gap.
    ExpectValues(Values(EvParam::maxToMinTime, block), {0, 4, nan, -3, nan, nan, nan, 0});
    ExpectValues(Values(EvParam::area, block), {9, 13, nan, 7, nan, nan, nan, 8});
    // The line from 1 at place 0 to 4 at place 5 is 1.6 and 3.4 where 2 and 6 lie.
    ExpectValues(Values(EvParam::areaReBase, block), {0, 3, nan, 0, nan, nan, nan, 0});
    // Places 0 1 4 5 are -2.5 -1.5 1.5 2.5 from their mean: (-2.5 - 3 + 9 + 10) / 17.
    ExpectValues(Values(EvParam::slope, block),
                 {nan, 13.5f / 17 * 1000, nan, -1000.0f / 3, nan, nan, nan, nan});
    ExpectValues(Values(EvParam::standardDeviation, Block(0, -1, 0, {{11, 1}})), {nan, 0});
    // A recording of events alone has no samples to count.
    doc = MemoryDoc::MakeEmpty(session, 100);
    Fill(0, {{5, 9}});
    ExpectValues(Values(EvParam::average, Block(0, -1, 0)), {nan});
}

TEST_F(EventParameters, WithoutAnAnswer) {
    doc = MemoryDoc::Make(session, {std::vector<float>(100, 1.0f)});
    Fill(0, {{5, 9}, {20, 22}});
    Fill(1, {{5, 9}, {20, 22}});
    for (int i = 0; i < evParamCount; ++i) {
        const auto param = static_cast<EvParam>(i);
        const bool trace = NeedsParentTrace(param);
        EXPECT_EQ(Values(param, Block(0, 1, -1)).empty(), trace || HasNoEventValues(param)) << i;
        EXPECT_EQ(Values(param, Block(0, 1, 1)).empty(), trace || HasNoEventValues(param)) << i;
        EXPECT_EQ(Values(param, Block(0, 1, 0)).size(), HasNoEventValues(param) ? 0u : 2u) << i;
        if (i >= 40 && i < 48 && !HasNoEventValues(param))
            ExpectValues(Values(param, Block(0, 1, 0)), {nan, nan});
    }
    ExpectValues(Values(EvParam::pcWeight2, Block(0, -1, 0)), {nan, nan});
    Channel(0).SetEventExtra({{1, 2, 3}, {4, 5, 6}});
    ExpectValues(Values(EvParam::pcWeight1, Block(0, -1, 0)), {1, 4});
    ExpectValues(Values(EvParam::pcWeight3, Block(0, -1, 0, {{20, 1}})), {6});
    // Values are added to those that are there.
    std::vector<float> values{1.0f};
    host.log.clear();
    const CEventBlock block = Block(0);
    CollateEventData(*doc, EvParam::time, block, values);
    ExpectValues(values, {1, 5, 20});
    EXPECT_EQ(host.log[1], "CDataDoc::CollateEventData with CEventBlock\n");
    EXPECT_EQ(host.log[2], "num vals in CollateEventData = 2\r\n");
}

TEST_F(EventParameters, DenseEventsAreReadInLargeStretches) {
    doc =
        MemoryDoc::Generate(session, 1, 4000000, [](int, int64_t i) { return static_cast<float>(i % 1000); });
    for (int i = 0; i < 50000; ++i) Channel(0).AddEvent(i * 20, i * 20 + 10);
    Channel(0).AddEvent(1500000, 1500005);
    Channel(0).AddEvent(2500000, 3500000);  // longer than a stretch
    Channel(0).AddEvent(2500010, 2500020);  // and one within it
    doc->readCalls = 0;
    doc->samplesRead = 0;
    const auto values = Values(EvParam::average, Block(0, -1, 0));
    EXPECT_LE(doc->readCalls, 10);
    EXPECT_LE(doc->samplesRead, 2010000);
    ASSERT_EQ(values.size(), 50003u);
    for (size_t i = 0; i < 50000; ++i) ASSERT_FLOAT_EQ(values[i], static_cast<float>(i * 20 % 1000) + 4.5f);
    ExpectValues({values.end() - 3, values.end()}, {2, 499.5f, 14.5f});
}

// A wave of 4 samples over 40: its coefficients are -(1 - 2 / 40) at the trough and 1 - 4 / 40 at the peak.
TEST_F(EventParameters, RhythmWithinEvents) {
    std::vector<float> stored;
    for (int i = 0; i < 100; ++i)
        stored.push_back(i < 60 ? std::vector<float>{0, 1, 0, -1}[static_cast<size_t>(i % 4)] : 2.0f);
    doc = MemoryDoc::MakeWithRuns(session, {stored}, {{50, 10, 50}}, 0.5);
    // In the wave; of one sample; across the gap; constant samples.
    Fill(0, {{4, 44}, {10, 11}, {40, 70}, {80, 100}});
    const CEventBlock block = Block(0, -1, 0);
    ExpectValues(Values(EvParam::rhythmIndex, block), {0.925f, 0.0f, nan, 0.0f});
    ExpectValues(Values(EvParam::rhythmPeriod, block), {2.0f, nan, nan, nan});
}

TEST_F(EventParameters, CountsOverBins) {
    doc = MemoryDoc::MakeEmpty(session, 1000, 0.5);
    Fill(0, {{5, 6}, {10, 11}, {19, 20}, {20, 21}, {31, 32}, {50, 51}, {69, 70}, {70, 71}});
    const auto counts = [&](double width, const Spans& stretches) {
        std::vector<float> out;
        CalcEventDistrib(*doc, Block(0, -1, -1, stretches), width, out);
        return out;
    };
    // Bins of 10 samples: [10,20) [20,30), the rest of the block dropped; then [50,60) [60,70).
    ExpectValues(counts(5.0, {{10, 25}, {50, 20}}), {2, 1, 1, 1});
    ExpectValues(counts(5.49, {{10, 25}}), {2, 1});  // 10.98 samples are 10
    ExpectValues(counts(0.5, {{19, 2}}), {1, 1});
    ExpectValues(counts(20.0, {{10, 25}}), {});
    for (const double width : {0.49, 0.0, -3.0, std::nan(""), 1e30})
        EXPECT_TRUE(counts(width, {{0, 1000}}).empty()) << width;
}

}  // namespace
}  // namespace kymora
