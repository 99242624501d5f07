// The threshold detector as a user or a batch runs it, against levels and events worked out in the test.

#include "detection/event_threshold.h"

#include <algorithm>
#include <cmath>

#include "support/bytes.h"
#include "support/memory_doc.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

using Spans = std::vector<std::pair<int, int>>;

// Where the samples are beyond a level: the positive side, onset and offset alike.
Spans PlainSpans(const std::vector<float>& samples, float level) {
    Spans spans;
    for (size_t i = 0; i < samples.size(); ++i) {
        if (!(samples[i] > level)) continue;
        const size_t on = i;
        while (i < samples.size() && samples[i] > level) ++i;
        spans.emplace_back(static_cast<int>(on), static_cast<int>(i));
    }
    return spans;
}

class EventThresholdTest : public ViewTest {
  protected:
    void SetUp() override {
        // Two traces of 4000 samples at 0.5 ms: a restless sum of sines with pulses on trace 2. The second
        // half is quieter than the first.
        for (int i = 0; i < 4000; ++i) {
            const double swing = i < 2000 ? 4.0 : 1.0;
            first.push_back(static_cast<float>(swing * std::sin(i * 0.7) + std::sin(i * 0.113)));
            second.push_back(i % 500 >= 490 ? 20.0f : static_cast<float>(std::cos(i * 0.31)));
        }
        doc = MemoryDoc::Make(session, {first, second}, 0.5);
        doc->filePath = "/data/cell.kymr-dat";
        operation.CheckChangeDoc(doc.get());
        operation.m_nDestination = 1;
        operation.m_fMaximumOn = 1e6f;
    }
    CEventChan& Channel(int channel) { return doc->eventChannels[static_cast<size_t>(channel)]; }
    Spans Found(int channel) {
        Spans spans;
        for (const CEventKM& event : Channel(channel).Events())
            spans.emplace_back(event.onPosition, event.offPosition);
        return spans;
    }
    void Set(const char* key, const char* value) {
        ParamList params = operation.Params();
        ASSERT_NE(params.Find(key), nullptr) << key;
        ASSERT_EQ(params.Find(key)->SetFromText(value), "") << key;
    }
    std::string Report() {
        std::string text;
        operation.GetParamText(text);
        return text;
    }

    std::vector<float> first, second;
    std::unique_ptr<MemoryDoc> doc;
    CEventThreshold operation;
};

// A look ahead changes nothing, and finds what a run over what is seen then writes.
TEST_F(EventThresholdTest, ALookAheadFindsWhatARunWrites) {
    doc->view.viewStart = 100.0;
    doc->view.viewEnd = 1100.0;
    using Settings = std::vector<std::pair<const char*, const char*>>;
    for (const Settings& settings :
         {Settings{{"onPos", "2.5"}},
          {{"onPos", "2.5"}, {"minimumOffTime", "3"}, {"minimumOnTime", "1"}},
          {{"onPos", "2.5"}, {"onlyClearWithinRegion", "true"}, {"minimumOffTime", "3"}},
          {{"onsetDirection", "2"},
           {"thresholdSource", "2"},
           {"statsSource", "1"},
           {"onMultiplier", "1"},
           {"allTraces", "true"}}}) {
        for (const auto& [key, value] : settings) Set(key, value);
        for (const int channel : {1, 2}) {
            ASSERT_TRUE(Channel(channel).DeleteAll());
            for (const int on : {50, 195, 900, 2195, 2300}) Channel(channel).AddEvent(on, on + 3);
        }
        ASSERT_TRUE(operation.Run());
        const auto results = operation.Results().size();
        const auto before = operation.Settings();
        const auto job = operation.PrepareLook();
        ASSERT_NE(job, nullptr);
        UnheardContext context;
        job->Compute(*doc, context);
        const auto ahead = operation.FoundAhead(*job);
        EXPECT_EQ(operation.Settings(), before);
        EXPECT_EQ(operation.Results().size(), results) << "those of the run";
        Set("region", "1");
        ASSERT_TRUE(operation.Run());
        for (const EventJob::Found& found : ahead) {
            Spans spans, written;
            for (const CEventKM& event : found.events)
                spans.emplace_back(event.onPosition, event.offPosition);
            for (const auto& span : Found(found.channel))
                if (span.first < 2200 && span.second > 200) written.push_back(span);
            EXPECT_EQ(spans, written) << found.channel;
            EXPECT_FALSE(spans.empty());
        }
        Set("region", "0");
    }
    Set("statsSource", "2");
    operation.m_dStatsEnd = operation.m_dStatsStart;
    EXPECT_EQ(operation.PrepareLook(), nullptr) << "a run would put it right";
    EXPECT_EQ(operation.m_dStatsEnd, operation.m_dStatsStart);
    EXPECT_TRUE(host.messages.empty());
}

TEST_F(EventThresholdTest, TypedLevelsGiveTheEventsOfAPlainLoop) {
    Channel(1).AddEvent(5, 6);
    Set("onPos", "2.5");
    EXPECT_EQ(operation.m_levels.OffPos, 2.5f) << "the offset follows";
    operation.m_strLabel = "big";
    operation.m_bAppendParams = true;
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(Found(1), PlainSpans(first, 2.5f));
    EXPECT_EQ(Channel(1).Events()[0].eventValue, -1.0f);
    EXPECT_EQ(Channel(1).detectionMethod, methodThreshold);
    EXPECT_EQ(Channel(1).parentTrace, 0);
    EXPECT_EQ(Channel(1).channelLabel, "big");
    const std::string report =
        "Analysis region: whole file\r\nAnalysed trace: 1\r\nDestination event channel: b\r\n"
        "Threshold source: direct value\r\nThreshold parameters\r\n\tOn +ve 2.500000, Off +ve 2.500000\r\n"
        "Limit logic not used\r\nOnset direction: +ve\r\nTime filter:\r\n\tminimum off time: 0.000000\r\n"
        "\tminimum on time: 0.000000\r\n\tmaximum on time: 1000000.000000\r\n";
    EXPECT_EQ(Channel(1).channelComment, report);
    EXPECT_EQ(doc->historyLog, "Threshold Event\r\n" + report + "\r\n");
    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(Found(1), (Spans{{5, 6}}));
}

TEST_F(EventThresholdTest, RegionsClearingAndTheTimeFilter) {
    Channel(1).AddEvent(0, 3);
    Channel(1).AddEvent(1990, 2010);
    Channel(1).AddEvent(3000, 3001);
    Set("onPos", "10");
    operation.m_nTrace = 1;
    operation.m_nRegionMode = regionUserSet;
    operation.m_dRegionStart = 495.0, operation.m_dRegionEnd = 1000.0;  // samples 990 to 2000
    operation.m_bOnlyClearWithinRegion = true;
    ASSERT_TRUE(operation.Run());
    // It ends within the region and does not begin there: no part of it is left.
    EXPECT_EQ(Found(1), (Spans{{0, 3}, {990, 1000}, {1490, 1500}, {1990, 2000}, {3000, 3001}}));

    // Gaps of 490 samples: 245 ms join nothing, a little more joins two and two.
    operation.m_bOnlyClearWithinRegion = false;
    operation.m_nRegionMode = regionWholeFile;
    operation.m_fMinimumOff = 245.0f;
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(Found(1).size(), 8u);
    operation.m_fMinimumOff = 245.5f;
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(Found(1), (Spans{{490, 1000}, {1490, 2000}, {2490, 3000}, {3490, 4000}}));
    operation.m_fMinimumOn = 300.0f;
    ASSERT_TRUE(operation.Run());
    EXPECT_TRUE(Found(1).empty());
}

TEST_F(EventThresholdTest, LevelsFromStatisticsOfEachStretch) {
    Set("limitLogicUsed", "1");
    Set("onsetDirection", "+/-ve");
    Set("statsStartTime", "1000");
    Set("statsEndTime", "1500");
    const auto stretch = [&](int from, int to) {
        return std::vector<float>(first.begin() + from, first.begin() + to);
    };
    const auto checkMean = [&](const std::vector<float>& x, float on, float off, float limit) {
        ASSERT_TRUE(operation.Run());
        long double sum = 0, squares = 0;
        for (const float v : x) sum += v;
        const long double mean = sum / x.size();
        for (const float v : x) squares += (v - mean) * (v - mean);
        const auto sd = static_cast<float>(std::sqrt(squares / (x.size() - 1)));
        const auto m = static_cast<float>(mean);
        EXPECT_NEAR(operation.m_levels.OnPos, m + on * sd, 1e-5f);
        EXPECT_NEAR(operation.m_levels.OnNeg, m - on * sd, 1e-5f);
        EXPECT_NEAR(operation.m_levels.OffPos, m + off * sd, 1e-5f);
        EXPECT_NEAR(operation.m_levels.LimitNeg, m - limit * sd, 1e-5f);
    };
    Set("thresholdSource", "1");
    Set("onMultiplier", "2");
    checkMean(stretch(2000, 3000), 2, 2, 6);
    EXPECT_EQ(Channel(1).GetNumEvents() > 10, true);
    Set("offsetEqualsOnset", "0");
    Set("offMultiplier", "0.5");
    Set("statsSource", "0");
    checkMean(first, 2, 0.5f, 6);
    doc->view.viewStart = 50.0, doc->view.viewEnd = 100.0;
    Set("statsSource", "1");
    checkMean(stretch(100, 200), 2, 0.5f, 6);
    EXPECT_NE(Report().find("Stats calculated from: visible view\r\n\tstart time = 50.000000, end time = "
                            "100.000000\r\n"),
              std::string::npos);

    Channel(7).AddEvent(10, 40, 0.0f, 3);
    Channel(7).AddEvent(900, 960, 0.0f, 12);
    Set("statsSource", "3");
    Set("statsEventChannel", "h");
    Set("statsEventTag", "12");
    checkMean(stretch(900, 960), 2, 0.5f, 6);
    EXPECT_NE(Report().find("Stats calculated from: 1st event in chan h\r\n"), std::string::npos);

    Set("thresholdSource", "2");
    ASSERT_TRUE(operation.Run());
    std::vector<float> x = stretch(900, 960);
    std::sort(x.begin(), x.end());
    const double median = (static_cast<double>(x[29]) + x[30]) / 2;
    for (float& v : x) v = std::fabs(static_cast<float>(v - median));
    std::sort(x.begin(), x.end());
    const double robust = (static_cast<double>(x[29]) + x[30]) / 2 / 0.6745f;
    EXPECT_FLOAT_EQ(operation.m_levels.OnPos, static_cast<float>(median + 2 * robust));
    EXPECT_TRUE(host.WasSilent());
}

TEST_F(EventThresholdTest, Percentiles) {
    Set("thresholdSource", "value percentile");
    Set("onsetDirection", "2");
    Set("statsSource", "0");
    Set("onPercentile", "10");
    operation.m_levels.OffNeg = -1.25f;
    ASSERT_TRUE(operation.Run());
    std::vector<float> sorted = first;
    std::sort(sorted.begin(), sorted.end());
    EXPECT_EQ(operation.m_levels.OnNeg, sorted[399]);
    EXPECT_EQ(operation.m_levels.OnPos, sorted[3600]);
    EXPECT_EQ(operation.m_levels.OffPos, sorted[3600]);
    EXPECT_EQ(operation.m_levels.OffNeg, -1.25f) << "the negative side is not copied";
    EXPECT_EQ(operation.m_levels.LimitPos, 0.0f) << "limits are measured only if used";
    Set("offsetEqualsOnset", "0");
    Set("offPercentile", "25");
    Set("limitLogicUsed", "1");
    Set("limitPercentile", "0");
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(operation.m_levels.OffNeg, sorted[999]);
    EXPECT_EQ(operation.m_levels.OffPos, sorted[3000]);
    EXPECT_EQ(operation.m_levels.LimitNeg, sorted[0]);
    EXPECT_EQ(operation.m_levels.LimitPos, sorted[3999]);
    EXPECT_NE(
        Report().find("Threshold source: value percentile\r\n\tpercentile: on 10.000000, off 25.000000, "
                      "limit 0.000000\r\n"),
        std::string::npos);
    // The limit must not be crossed, and the extremes are not crossed by anything.
    EXPECT_GT(Channel(1).GetNumEvents(), 0);
    Set("limitLogic", "1");
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(Channel(1).GetNumEvents(), 0);
}

TEST_F(EventThresholdTest, TheLeastActiveStretchOfTheView) {
    for (size_t i = 1200; i < 1300; ++i) first[i] = 0.25f * first[i];
    doc = MemoryDoc::Make(session, {first, second}, 0.5);
    operation.CheckChangeDoc(doc.get());
    doc->view.viewStart = 100.0, doc->view.viewEnd = 900.0;
    Set("thresholdSource", "1");
    Set("statsSource", "most inactive region");
    Set("inactiveWindowDuration", "45");
    ASSERT_TRUE(operation.Run());
    ASSERT_EQ(host.progress.size(), 1u);
    EXPECT_EQ(host.progress[0].label, "Searching for least active region");
    EXPECT_EQ(host.progress[0].total, 1600u);
    EXPECT_EQ(host.progress[0].updates.size(), 2u);
    // Ninety samples of those whose swing is a quarter; elsewhere the s.d. is above 2.7.
    const auto guides = operation.Guides();
    ASSERT_EQ(guides.size(), 4u);
    EXPECT_EQ(guides[0].colour, 0x0000FFu);
    EXPECT_EQ(guides[0].at, operation.m_levels.OnPos);
    EXPECT_EQ(guides[2].kind, ViewGuide::Kind::time);
    EXPECT_GE(guides[2].at, 600.0);
    EXPECT_EQ(guides[3].at, guides[2].at + 45.0);
    EXPECT_LE(guides[3].at, 650.0);
    EXPECT_LT(operation.m_levels.OnPos, 6.5f);

    // Cancelled: a warning, and the stretch begins with the view. The next run searches again.
    const float quiet = operation.m_levels.OnPos;
    operation.CheckChangeDoc(doc.get());
    host.cancelAtCall = 2;
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(host.LastMessage(), "Note: Cancelling the operation means the result is invalid");
    EXPECT_EQ(operation.Guides()[2].at, 100.0);
    host.cancelAtCall = 0;
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(operation.m_levels.OnPos, quiet);
}

TEST_F(EventThresholdTest, AllTracesGoToChannelsSideBySide) {
    Set("thresholdSource", "2");
    Set("statsSource", "0");
    Set("onMultiplier", "1.5");
    Set("allTraces", "1");
    operation.m_bAppendParams = true;
    operation.m_nTrace = 1;
    ASSERT_TRUE(operation.Run());
    for (int trace = 0; trace < 2; ++trace) {
        const auto& samples = trace == 0 ? first : second;
        const MedianRobustSd robust = GetMedianRobustSd(samples);
        const auto level = static_cast<float>(robust.median + 1.5 * robust.robustSd);
        EXPECT_EQ(Found(1 + trace), PlainSpans(samples, level)) << trace;
        EXPECT_EQ(Channel(1 + trace).parentTrace, trace);
    }
    EXPECT_EQ(Channel(1).channelComment, "threshold tr 1");
    EXPECT_TRUE(Channel(2).channelComment.starts_with("threshold tr 2\r\nAnalysis region: whole file\r\n"
                                                      "Analysed all traces, events start at channel: b\r\n"));
    operation.m_nDestination = 998;
    EXPECT_FALSE(operation.Run());
    EXPECT_EQ(host.LastMessage(), "The selected event channel does not exist");
    operation.m_nDestination = 4;
    Channel(5).channelLocked = true;
    EXPECT_FALSE(operation.Run());
    EXPECT_EQ(Channel(4).GetNumEvents(), 0);
}

TEST_F(EventThresholdTest, FallbacksSayWhatIsUsedInstead) {
    Set("thresholdSource", "1");
    Set("statsSource", "3");
    Set("statsEventTag", "9");
    Set("statsEndTime", "20");
    const std::string noEvents =
        "/data/cell.kymr-dat\r\n\tThreshold Event: Attempted to calculate statistics from "
        "an event channel with no events. 'User time' used instead.\r\n";
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(host.LastMessage(), noEvents);
    EXPECT_EQ(operation.m_nStatsSource, 2);
    EXPECT_NE(doc->historyLog.find("user-set times; on-time = 0.000000, off-time = 20.000000\r\n"),
              std::string::npos);
    Channel(1).DeleteAll();
    Channel(4).AddEvent(100, 200, 0.0f, 1);
    Set("statsSource", "3");
    ASSERT_TRUE(operation.Run());
    const size_t count = host.messages.size();
    EXPECT_EQ(host.messages[count - 2].text,
              "There are no events in channel a, using channel e instead.\r\n");
    EXPECT_EQ(host.messages[count - 1].text,
              "/data/cell.kymr-dat\r\n\tThreshold Event: Can't find event with tag "
              "'9'. Used first event instead.\r\n");
    EXPECT_TRUE(doc->historyLog.find("1st event in chan e\r\n") != std::string::npos);

    // In a batch nobody is told at once, and the choice stands for the next file.
    host.Forget();
    RunMessages messages;
    operation.SendMessagesTo(&messages);
    for (const int channel : {1, 4}) Channel(channel).DeleteAll();
    ASSERT_TRUE(operation.Run());
    EXPECT_TRUE(host.WasSilent());
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ("/data/cell.kymr-dat\r\n\tThreshold Event: " + messages[0].text + "\r\n", noEvents);
    EXPECT_EQ(operation.m_nStatsSource, 3);
    Channel(4).AddEvent(100, 200, 0.0f, 9);
    ASSERT_TRUE(operation.Run());
    ASSERT_EQ(messages.size(), 2u);
    EXPECT_EQ(messages[1].text, "There are no events in channel a, using channel e instead.");
    EXPECT_EQ(messages[1].from, RunMessage::From::refusal);
}

TEST_F(EventThresholdTest, RefusalsChangeNothing) {
    Channel(1).AddEvent(5, 6);
    const auto refusal = [&] {
        host.Forget();
        EXPECT_FALSE(operation.Run());
        EXPECT_EQ(Found(1), (Spans{{5, 6}}));
        EXPECT_EQ(doc->historyLog, "");
        return host.messages.size() == 1 ? host.messages[0].text : "no message";
    };
    Set("thresholdSource", "1");
    operation.m_dStatsStart = 30.0, operation.m_dStatsEnd = 30.0;
    EXPECT_EQ(refusal(), statsOrderText);
    EXPECT_EQ(operation.m_dStatsEnd, 40.0);
    operation.m_dStatsStart = 5000.0, operation.m_dStatsEnd = 6000.0;
    EXPECT_EQ(refusal(), noStatisticsText);
    Set("statsSource", "3");
    operation.m_nStatsChannel = 1;
    EXPECT_EQ(refusal(), channelIsSourceText);
    Set("thresholdSource", "0");
    operation.m_fMinimumOff = -1.0f;
    EXPECT_NE(refusal().find("\"Minimum off time\""), std::string::npos);
    operation.m_fMinimumOff = 0.0f;

    // A hidden trace is a question, with or without a view.
    doc->traces[0].traceVisible = 0;
    host.answer = false;
    EXPECT_EQ(refusal(), "no message");
    EXPECT_EQ(host.questions.back().text, hiddenTraceText);
    RunMessages messages;
    operation.SendMessagesTo(&messages);
    EXPECT_TRUE(operation.Run());
}

TEST_F(EventThresholdTest, MoreThanTwoMillionSamplesAreCut) {
    const auto longDoc = MemoryDoc::Generate(session, 1, 2'000'001, [](int, int64_t i) {
        return i == 2'000'000 ? 1e9f : static_cast<float>(i % 2);
    });
    operation.CheckChangeDoc(longDoc.get());
    Set("thresholdSource", "1");
    Set("statsSource", "0");
    Set("onMultiplier", "1");
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(host.LastMessage(),
              "You are attempting to collect stats from > 2000001 samples. Truncating to 2000000 samples.");
    EXPECT_NEAR(operation.m_levels.OnPos, 1.0f, 1e-5f);
}

TEST_F(EventThresholdTest, TheRecordOfAConfigurationFile) {
    Bytes bytes;
    bytes.Wide(u"CEventThreshold").U32(1).U32(0);
    bytes.U32(3).I32(0).I32(1).I32(2).I32(6).Wide(u"what").Wide(u"who").U8(1).I32(0);
    bytes.U32(1).I32(1).I32(2).F64(7.5).F64(80.5);
    const size_t version = bytes.Size();
    bytes.U32(1).I32(2).I32(1).U8(1).I32(3).I32(4).F64(1.5).F64(2.5);
    for (const float value : {1, 2, 3, 4, 5, 6, 7, 8, 9}) bytes.F32(value);
    bytes.U8(0).I32(12).Wide(u"5").U8(1).F32(33).U8(1);
    operation.TakeSettings(bytes.data);
    EXPECT_EQ(operation.m_nDestination, 6);
    EXPECT_EQ(operation.m_nTrace, 1);
    EXPECT_EQ(operation.m_nOnsetDirection, 2);
    EXPECT_EQ(operation.m_nLimitLogic, 1);
    EXPECT_EQ(operation.m_nThresholdSource, 3);
    EXPECT_EQ(operation.m_nStatsSource, 4);
    EXPECT_EQ(operation.m_dStatsEnd, 2.5);
    EXPECT_EQ(operation.m_fMaximumOn, 3.0f);
    EXPECT_EQ(operation.m_fLimitMult, 6.0f);
    EXPECT_EQ(operation.m_fLimitPercentile, 9.0f);
    EXPECT_FALSE(operation.m_bOffsetEqualsOnset);
    EXPECT_EQ(operation.m_nStatsChannel, 12);
    EXPECT_EQ(operation.m_strStatsTag, "5");
    EXPECT_EQ(operation.m_fInactiveDuration, 33.0f);
    EXPECT_TRUE(operation.m_bOnlyClearWithinRegion);

    // The present version has the levels behind the same fields.
    operation.m_levels = {1, 2, 3, 4, 5, 6};
    bytes.data[version] = std::byte{2};
    for (const float value : {1, 2, 3, 4, 5, 6}) bytes.F32(value);
    EXPECT_EQ(operation.Settings(), bytes.data);
    CEventThreshold other;
    other.TakeSettings(bytes.data);
    EXPECT_EQ(other.m_levels, operation.m_levels);
    bytes.data[version] = std::byte{3};
    EXPECT_THROW(other.TakeSettings(bytes.data), ArchiveError);
}

TEST_F(EventThresholdTest, LevelsFollowInAWindowWithoutAWord) {
    CKymoraView view(*doc);
    view.OnSize(900, 560);
    view.OnInitialUpdate();
    operation.CheckChangeView(&view);
    Set("thresholdSource", "1");
    Set("statsSource", "visible view");
    view.ChangeViewport({1000.0, 1250.0});
    operation.ViewChangedHorzDisp();
    const float onPos = operation.m_levels.OnPos;
    const MeanSd shown = GetMeanSd(*doc, 0, 2000, 500);
    EXPECT_FLOAT_EQ(onPos, static_cast<float>(shown.mean + 5 * shown.sd));
    Set("onMultiplier", "3");
    EXPECT_FLOAT_EQ(operation.m_levels.OffPos, static_cast<float>(shown.mean + 3 * shown.sd));
    Set("trace", "2");
    EXPECT_FLOAT_EQ(operation.m_levels.OnPos, static_cast<float>(GetMeanSd(*doc, 1, 2000, 500).mean +
                                                                 3 * GetMeanSd(*doc, 1, 2000, 500).sd));
    Set("onsetDirection", "2");
    Set("limitLogicUsed", "1");
    EXPECT_EQ(operation.Guides().size(), 6u);
    EXPECT_TRUE(host.WasSilent());
}

}  // namespace
}  // namespace kymora::test
