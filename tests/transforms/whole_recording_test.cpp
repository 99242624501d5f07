#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numbers>

#include "document/native_writer.h"
#include "import/open_document.h"
#include "kernels/smooth_fixture.h"
#include "support/faulty_file_system.h"
#include "support/session_fixture.h"
#include "transforms/change_timebase.h"
#include "transforms/interpolate.h"
#include "transforms/reduce.h"
#include "transforms/resample.h"

namespace kymora::test {
namespace {

using Samples = std::vector<float>;
using Runs = std::vector<uint32_t>;
using Settings = std::vector<std::pair<const char*, const char*>>;

struct WholeRecordingTest : SessionTest {
    // Sets parameters as --set does.
    static void Set(CBatchBaseDlg& dialog, const Settings& settings) {
        for (const auto& [key, value] : settings) {
            ParamList params = dialog.Params();
            ASSERT_NE(params.Find(key), nullptr) << key;
            ASSERT_EQ(params.Find(key)->SetFromText(value), "") << key;
        }
    }
    // What the operation makes of a recording, opened; null where it refuses.
    template <typename Dialog>
    std::unique_ptr<CDataDoc> Made(CDataDoc& doc, const Settings& settings) {
        Dialog dialog;
        dialog.CheckChangeDoc(&doc);
        Set(dialog, settings);
        if (!dialog.WriteFile(doc.GetSession(), "/out.kymr-dat", true).isDone) return nullptr;
        return OpenDocument(session, "/out.kymr-dat", OpenFor::reading);
    }
    static Runs RunsOf(const CDataDoc& doc, size_t trace = 0) {
        const auto runs = doc.validRuns[trace].Runs();
        return {runs.begin(), runs.end()};
    }
    // The preview of each stretch is what the result has in the same time.
    template <typename Dialog>
    void ComparePreviews(const Settings& settings) {
        auto doc = MemoryDoc::Make(session, {Samples(1000), NoiseRun(1000)}, 0.5);
        const auto made = Made<Dialog>(*doc, settings);
        ASSERT_TRUE(made) << host.LastMessage();
        const Samples written = SamplesOf(*made, 1);
        Dialog dialog;
        dialog.CheckChangeDoc(doc.get());
        Set(dialog, settings);
        EXPECT_EQ(dialog.PreviewTrace(), everyTrace);
        for (const auto& [start, count] : {std::pair(0, 40), std::pair(333, 101), std::pair(950, 50)}) {
            PreviewData data;
            data.trace = 1;
            data.start = start;
            data.count = count;
            dialog.OnNeedData(data);
            Samples expected;
            std::optional<double> first;
            for (size_t i = 0; i < written.size(); ++i) {
                const double position = static_cast<double>(i) * made->sampleInterval / 0.5;
                if (position < start - 1e-6 || position >= start + count - 1e-6) continue;
                if (!first) first = position;
                expected.push_back(written[i]);
            }
            EXPECT_EQ(data.transformed, expected) << start;
            EXPECT_TRUE(data.isTransformed) << data.message;
            if (first) {
                EXPECT_NEAR(data.firstResult, *first, 1e-9);
            }
            EXPECT_EQ(data.message.empty(), first.has_value()) << data.message;
            EXPECT_DOUBLE_EQ(data.resultStep, made->sampleInterval / 0.5);
        }
    }
    // 12 samples at 0.5 ms with all that hangs on them.
    std::unique_ptr<MemoryDoc> Twelve() {
        auto doc = MemoryDoc::Make(
            session, {{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}, {9, 9, 1, 1, 5, 5, 2, 2, 8, 8, 3, 3}}, 0.5);
        doc->traces[0].traceLabel = "Vm";
        doc->traces[1].traceUnits = "nA";
        doc->fileComment = "cell 7";
        doc->historyLog = "START\r\n\r\n";
        doc->AddEvent(3, {5, 6, 1.5f, 1, 0x0000FF, "spike"});
        doc->AddEvent(3, {8, 8, 2.5f, 0, 0, "zero"});
        doc->AddEvent(3, {11, 12, 3.5f, 0, 0, "last"});
        CEventChan& channel = doc->eventChannels[3];
        channel.parentTrace = 1;
        channel.channelLabel = "units";
        channel.channelComment = "sorted";
        channel.SetEventExtra({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}});
        channel.channelLocked = true;
        doc->InsertMarker({2.5, "drug"});
        CAnnotation note;
        note.m_nTrace = 1;
        note.m_dTime = 4.0;
        note.m_strLabel = "wash";
        doc->traceAnnotations[1].push_back(note);
        doc->view.viewStart = 1.0;
        doc->view.viewEnd = 5.0;
        return doc;
    }
};

TEST_F(WholeRecordingTest, AllThatHangsOnARecordingGoesAlong) {
    using Position = std::pair<int32_t, int32_t>;
    const struct {
        const char* name;
        std::function<std::unique_ptr<CDataDoc>(WholeRecordingTest&, CDataDoc&)> make;
        double interval;
        Samples samples;  // of trace 1
        std::vector<Position> events;
        double scale;  // of times
        std::string report;
    } cases[] = {
        {"average of 2",
         [](auto& its, CDataDoc& doc) {
             return its.template Made<CReduce>(doc, {{"frequencyDivisorFactor", "2"}});
         },
         1.0,
         {9, 1, 5, 2, 8, 3},
         {{2, 3}, {4, 4}, {5, 6}},
         1.0,
         "Frequency divisor factor: 2\r\nMode: Average intervening\r\n"},
        {"first of 5, without the remainder",
         [](auto& its, CDataDoc& doc) {
             return its.template Made<CReduce>(doc, {{"frequencyDivisorFactor", "5"}, {"mode", "1"}});
         },
         2.5,
         {9, 5},
         {{1, 1}, {1, 1}, {2, 2}},
         1.0,
         "Frequency divisor factor: 5\r\nMode: Skip intervening (decimate)\r\n"},
        {"extremes of 6 for a factor of 3",
         [](auto& its, CDataDoc& doc) {
             return its.template Made<CReduce>(doc, {{"frequencyDivisorFactor", "3"}, {"mode", "2"}});
         },
         1.5,
         {9, 1, 8, 2},
         {{1, 2}, {2, 2}, {3, 4}},
         1.0,
         "Frequency divisor factor: 3\r\nMode: Keep max and min\r\n"},
        {"factor 1 is a copy in any mode",
         [](auto& its, CDataDoc& doc) {
             return its.template Made<CReduce>(doc, {{"frequencyDivisorFactor", "1"}, {"mode", "2"}});
         },
         0.5,
         {9, 9, 1, 1, 5, 5, 2, 2, 8, 8, 3, 3},
         {{5, 6}, {8, 8}, {11, 12}},
         1.0,
         "Frequency divisor factor: 1\r\nMode: Keep max and min\r\n"},
        {"another timebase",
         [](auto& its, CDataDoc& doc) {
             return its.template Made<CChangeTimebase>(
                 doc, {{"newSampleInterval", "7"}, {"newSampleFrequency", "100"}});
         },
         10.0,
         {9, 9, 1, 1, 5, 5, 2, 2, 8, 8, 3, 3},
         {{5, 6}, {8, 8}, {11, 12}},
         20.0,
         "New sample interval:\t10.000000\r\nNew sample frequency:\t100.000000\r\n"},
        {"straight lines",
         [](auto& its, CDataDoc& doc) {
             return its.template Made<CInterpolate>(doc, {{"frequencyMultiplier", "2"}, {"type", "1"}});
         },
         0.25,
         {9, 9, 9, 5, 1, 1, 1, 3, 5, 5, 5, 3.5, 2, 2, 2, 5, 8, 8, 8, 5.5, 3, 3, 3, 3},
         {{10, 12}, {16, 16}, {22, 24}},
         1.0,
         "Frequency multiplier: 2\r\nType: Linear interpolation\r\n"},
    };
    for (const auto& [name, make, interval, samples, events, scale, report] : cases) {
        SCOPED_TRACE(name);
        files = {};
        const auto source = Twelve();
        const auto made = make(*this, *source);
        ASSERT_TRUE(made) << host.LastMessage();
        EXPECT_DOUBLE_EQ(made->sampleInterval, interval);
        EXPECT_EQ(made->traceCount, 2);
        EXPECT_EQ(SamplesOf(*made, 1), samples);
        EXPECT_EQ(made->traces[0].traceLabel, "Vm");
        EXPECT_EQ(made->traces[1].traceUnits, "nA");
        EXPECT_EQ(made->fileComment, "cell 7");
        EXPECT_EQ(made->historyLog, "START\r\n\r\nSource file: \r\n" + report + "\r\n");
        ASSERT_EQ(made->Steps().size(), 1u);
        EXPECT_FALSE(made->Steps()[0].settings.empty());

        const CEventChan& channel = made->eventChannels[3];
        ASSERT_EQ(channel.GetNumEvents(), 3);
        for (size_t i = 0; i < 3; ++i) {
            CEventKM expected = source->eventChannels[3].Events()[i];
            std::tie(expected.onPosition, expected.offPosition) = events[i];
            EXPECT_EQ(channel.Events()[i], expected) << i;
        }
        EXPECT_EQ(channel.EventExtra(), source->eventChannels[3].EventExtra());
        EXPECT_TRUE(channel.HasSameSettings(source->eventChannels[3]));
        EXPECT_TRUE(channel.channelLocked);

        ASSERT_EQ(made->markers.size(), 1u);
        EXPECT_DOUBLE_EQ(made->markers[0].m_dTime, 2.5 * scale);
        EXPECT_EQ(made->markers[0].m_strLabel, "drug");
        ASSERT_EQ(made->traceAnnotations[1].size(), 1u);
        EXPECT_DOUBLE_EQ(made->traceAnnotations[1][0].m_dTime, 4.0 * scale);
        EXPECT_DOUBLE_EQ(made->view.viewStart, 1.0 * scale);
        EXPECT_DOUBLE_EQ(made->view.viewEnd, 5.0 * scale);
    }
}

TEST_F(WholeRecordingTest, GapsAndEpisodesStayWhereTheyAre) {
    // 3 valid, 3 gap, 6 valid.
    const Samples stored = {0, 1, 2, 6, 7, 8, 9, 10, 11};
    const auto gaps = MemoryDoc::MakeWithRuns(session, {stored}, {{3, 3, 6}});
    const auto episodes = MemoryDoc::Make(session, {{0, 1, 2, 10, 11, 12}});
    episodes->episodic = true;
    for (const int32_t start : {0, 3}) episodes->AddEvent(0, {start, start + 1});
    const auto noData = MemoryDoc::MakeEmpty(session, 9);

    const auto reduced = Made<CReduce>(*gaps, {{"frequencyDivisorFactor", "2"}});
    ASSERT_TRUE(reduced);
    EXPECT_EQ(RunsOf(*reduced), (Runs{2, 1, 3})) << "a group is what its first sample is";
    EXPECT_EQ(SamplesOf(*reduced), (Samples{0.5f, 2, 0, 6.5f, 8.5f, 10.5f}));

    const auto lines = Made<CInterpolate>(*gaps, {{"frequencyMultiplier", "3"}, {"type", "1"}});
    ASSERT_TRUE(lines);
    EXPECT_EQ(RunsOf(*lines), (Runs{9, 9, 18}));
    uint8_t valid = 0;
    for (const int32_t position : {6, 7, 8}) EXPECT_EQ(lines->ReadAt(0, position, valid), 2.0) << position;

    // 12 samples at 3 for 2: results at 0, 2/3, 4/3 ... of which 2, 4 to 5 lie in the gap [3, 6).
    const auto resampled = Made<CResample>(*gaps, {{"up", "3"}, {"down", "2"}});
    ASSERT_TRUE(resampled);
    EXPECT_EQ(RunsOf(*resampled), (Runs{5, 4, 9}));
    const Samples ramp = SamplesOf(*resampled);
    for (const size_t i : {0u, 1u, 4u, 9u, 13u, 17u})
        EXPECT_NEAR(ramp[i], static_cast<float>(i) * 2.0f / 3.0f, 0.15f) << i;

    const auto apart = Made<CInterpolate>(*episodes, {{"frequencyMultiplier", "2"}, {"type", "1"}});
    ASSERT_TRUE(apart);
    EXPECT_EQ(SamplesOf(*apart), (Samples{0, 0.5f, 1, 1.5f, 2, 2, 10, 10.5f, 11, 11.5f, 12, 12}));
    EXPECT_TRUE(apart->episodic);
    EXPECT_EQ(apart->GetOn(0, 1), 6);

    // Both: episodes at 0 and 3, 6 valid, 1 gap, 1 valid.
    const auto both = MemoryDoc::MakeWithRuns(session, {{5, 5, 5, 9, 9, 9, 1}}, {{6, 1, 1}});
    both->episodic = true;
    for (const int32_t start : {0, 3}) both->AddEvent(0, {start, start + 1});
    const Samples held = {5, 5, 5, 5, 5, 5, 9, 9, 9, 9, 9, 9, 0, 0, 1, 1};
    for (const auto& made : {Made<CInterpolate>(*both, {{"frequencyMultiplier", "2"}, {"type", "1"}}),
                             Made<CResample>(*both, {{"up", "2"}, {"down", "1"}})}) {
        ASSERT_TRUE(made);
        EXPECT_EQ(SamplesOf(*made), held);
        EXPECT_EQ(RunsOf(*made), (Runs{12, 2, 2}));
    }
    // No result lies in the gap, nor behind it.
    const auto first = Made<CResample>(*gaps, {{"up", "1"}, {"down", "20"}});
    ASSERT_TRUE(first);
    EXPECT_EQ(RunsOf(*first), Runs{1});
    EXPECT_FALSE(first->hasGaps);

    host.Forget();
    ASSERT_TRUE(Made<CReduce>(*episodes, {{"frequencyDivisorFactor", "2"}}));
    EXPECT_EQ(host.LastMessage().substr(0, 25), "1 of 2 episodes begin wit");
    for (const auto& made :
         {Made<CReduce>(*noData, {}), Made<CChangeTimebase>(*noData, {{"newSampleInterval", "3"}}),
          Made<CResample>(*noData, {})}) {
        ASSERT_TRUE(made);
        EXPECT_TRUE(made->noData);
        EXPECT_EQ(made->GetStoredCount(0), 0);
    }
}

// Truth: the wave at the times of the results.
TEST_F(WholeRecordingTest, AResampledWaveHasNoDelayAndEndsWhole) {
    constexpr double hz = 20.0;
    const auto wave = [](double ms) { return std::sin(2.0 * std::numbers::pi * hz * ms / 1000.0); };
    const auto doc = MemoryDoc::Generate(
        session, 1, 20001, [&](int, int64_t i) { return static_cast<float>(wave(static_cast<double>(i))); });
    for (const auto& settings : {Settings{{"up", "1"}, {"down", "4"}},
                                 {{"up", "3"}, {"down", "7"}},
                                 {{"up", "5"}, {"down", "1"}},
                                 {{"sampleFrequency", "441"}}}) {
        const auto made = Made<CResample>(*doc, settings);
        ASSERT_TRUE(made);
        const Samples samples = SamplesOf(*made);
        EXPECT_EQ(static_cast<int64_t>(samples.size()),
                  static_cast<int64_t>(std::ceil(20001.0 / made->sampleInterval - 1e-9)));
        for (size_t i = 0; i < samples.size(); ++i) {
            const double at = static_cast<double>(i) * made->sampleInterval;
            // The wave beyond the ends is a guess.
            const double allowed = at < 300.0 || at > 19700.0 ? 0.05 : 2e-5;
            ASSERT_NEAR(samples[i], wave(at), allowed) << i << " at " << made->sampleInterval << " ms";
        }
    }
}

// Truth: the wave at the times of the results, but for the zeros at the end of each run.
TEST_F(WholeRecordingTest, ZerosAndAFilterBringTheWaveBack) {
    constexpr double hz = 20.0;
    constexpr int32_t times = 4;
    const auto wave = [](double ms) { return std::sin(2.0 * std::numbers::pi * hz * ms / 1000.0); };
    const auto doc = MemoryDoc::Generate(
        session, 2, 1000, [&](int, int64_t i) { return static_cast<float>(wave(static_cast<double>(i))); });
    doc->historyLog = "START\r\n\r\n";
    doc->AddEvent(2, {500, 510});
    doc->eventChannels[2].parentTrace = 0;
    doc->eventChannels[2].SetEventExtra({{1, 2, 3}});
    const auto made =
        Made<CInterpolate>(*doc, {{"frequencyMultiplier", "4"}, {"intermediateFile", "/zeros"}});
    ASSERT_TRUE(made) << host.LastMessage();
    EXPECT_EQ(made->sampleInterval, 0.25);
    for (int trace = 0; trace < 2; ++trace) {
        const Samples samples = SamplesOf(*made, trace);
        ASSERT_EQ(samples.size(), 4000u);
        for (size_t i = 200; i < 3800; ++i)
            ASSERT_NEAR(samples[i], wave(static_cast<double>(i) / times), 2e-3) << i;
        for (size_t i = 3900; i < 4000; ++i) ASSERT_EQ(samples[i], 0.0f) << i;
        EXPECT_EQ(made->traces[static_cast<size_t>(trace)].traceLabel,
                  doc->traces[static_cast<size_t>(trace)].traceLabel);
    }
    EXPECT_EQ(made->GetOn(2, 0), 2000);
    EXPECT_EQ(made->GetOff(2, 0), 2040);
    EXPECT_EQ(made->eventChannels[2].EventExtra().size(), 1u);
    EXPECT_TRUE(made->historyLog.starts_with("START\r\n\r\nSource file: \r\nFrequency multiplier: 4\r\n"
                                             "Type: Filter (specs in following transform)\r\n"
                                             "FIR filter transform parameters\r\nTrace list: 1-2\r\n"
                                             "Replace trace mode\r\n"))
        << made->historyLog;
    ASSERT_EQ(made->Steps().size(), 1u) << "both in one, so that a batch does not filter twice";
    CInterpolate again;
    again.TakeSettings(made->Steps()[0].settings);
    EXPECT_EQ(again.m_nFrequencyMultiplier, 4);
    EXPECT_EQ(again.m_strIntermediateFile, "");

    const auto zeros = OpenDocument(session, "/zeros.kymr-dat", OpenFor::reading);
    ASSERT_TRUE(zeros);
    const Samples filled = SamplesOf(*zeros);
    for (size_t i = 0; i < filled.size(); ++i)
        ASSERT_EQ(filled[i],
                  i % 4 == 0 ? static_cast<float>(wave(static_cast<double>(i) / 4.0)) * 4.0f : 0.0f);
    EXPECT_FALSE(Made<CInterpolate>(*doc, {{"intermediateFile", "/zeros.kymr-dat"}})) << "it is there";
    EXPECT_NE(host.LastMessage().find("/zeros.kymr-dat exists"), std::string::npos);
    host.Forget();
    for (const auto& [multiplier, type, asks] : {std::tuple(10, 0, false), {11, 0, true}, {11, 1, false}}) {
        again.m_nFrequencyMultiplier = multiplier;
        again.m_nType = type;
        again.CheckChangeDoc(doc.get());
        EXPECT_EQ(!again.QuestionBefore().empty(), asks) << multiplier << " " << type;
    }
    ASSERT_TRUE(Made<CInterpolate>(*doc, {{"frequencyMultiplier", "100"}}));
    EXPECT_TRUE(std::ranges::any_of(host.messages, [](const auto& message) {
        return message.text.find("no order does at this sampling rate.\n") != std::string::npos;
    })) << "and no advice to undo the increase";
}

TEST_F(WholeRecordingTest, ShortRunsAndStrangeSamplesHarmNothing) {
    const float none = std::numeric_limits<float>::quiet_NaN();
    for (const Samples& samples : {Samples{}, Samples{3}, Samples{3, 5}, Samples{none, 2, 2, 2}}) {
        const auto doc = MemoryDoc::Make(session, {samples});
        const auto count = static_cast<int64_t>(samples.size());
        for (const char* type : {"0", "1"}) {
            const auto made = Made<CInterpolate>(*doc, {{"frequencyMultiplier", "7"}, {"type", type}});
            ASSERT_TRUE(made);
            EXPECT_EQ(made->GetLength(), 7 * count);
        }
        const auto made = Made<CResample>(*doc, {{"up", "3"}, {"down", "2"}});
        ASSERT_TRUE(made);
        EXPECT_EQ(made->GetLength(), (count * 3 + 1) / 2);
        if (count == 1) {
            EXPECT_EQ(SamplesOf(*made), (Samples{3, 3}));
        }
    }
    EXPECT_NE(host.LastMessage().find("are infinite or not a number"), std::string::npos);
    const float infinite = std::numeric_limits<float>::infinity();
    const auto railed = MemoryDoc::Make(session, {{infinite, infinite}});
    const auto made = Made<CInterpolate>(*railed, {{"frequencyMultiplier", "2"}, {"type", "1"}});
    ASSERT_TRUE(made);
    EXPECT_EQ(SamplesOf(*made), Samples(4, infinite));
}

TEST_F(WholeRecordingTest, RefusesInWordsWhatCannotBe) {
    const auto doc = Twelve();
    const auto longest = MemoryDoc::Generate(session, 1, longestRecording, [](int, int64_t) { return 0.0f; });
    const auto gap = MemoryDoc::MakeWithRuns(session, {{1}}, {{0, 1, 1}}, 1.0);
    const struct {
        std::unique_ptr<CDataDoc> made;
        const char* words;
    } cases[] = {
        {Made<CReduce>(*doc, {{"frequencyDivisorFactor", "13"}}),
         "the 12 samples of a trace are fewer than a group of 13"},
        {Made<CReduce>(*doc, {{"frequencyDivisorFactor", "7"}, {"mode", "2"}}), "a group of 14"},
        {Made<CReduce>(*gap, {{"frequencyDivisorFactor", "2"}, {"mode", "1"}}), "no sample would be left"},
        {Made<CInterpolate>(*longest, {{"type", "1"}}), "The result would have 4294967294 samples per trace"},
        {Made<CInterpolate>(*doc, {{"order", "3"}}), "must be an even number"},
        {Made<CInterpolate>(*doc, {{"lowerCut", "1000"}}), "Lower cutoff frequency should be below"},
        {Made<CInterpolate>(*doc, {{"upperCut", "2001"}}), "Upper cut: 2001 Hz is above 2000 Hz"},
        {Made<CResample>(*longest, {{"up", "3"}, {"down", "2"}}), "A recording holds at most 2147483647"},
        {Made<CResample>(*doc, {{"sampleFrequency", "0.01"}}), "more than 10000 times above or below"},
        {Made<CInterpolate>(*doc, {{"intermediateFile", "/out"}}), "/out.kymr-dat is the result's own name"},
    };
    ASSERT_EQ(host.messages.size(), std::size(cases));
    for (size_t i = 0; i < std::size(cases); ++i) {
        EXPECT_FALSE(cases[i].made);
        EXPECT_NE(host.messages[i].text.find(cases[i].words), std::string::npos) << host.messages[i].text;
    }
    EXPECT_EQ(files.Count(), 0u);
}

// The number that was given last wins, and a recording's own interval stands where none was given.
TEST_F(WholeRecordingTest, LinkedRatesFollowEachOther) {
    const auto doc = Twelve();
    CChangeTimebase timebase;
    timebase.CheckChangeDoc(doc.get());
    EXPECT_EQ(timebase.m_dNewSampleFrequency, 2000.0);
    Set(timebase, {{"newSampleFrequency", "10"}, {"newSampleInterval", "0.3"}});
    EXPECT_DOUBLE_EQ(timebase.m_dNewSampleFrequency, 3333.3333333333);
    timebase.CheckChangeDoc(doc.get());
    EXPECT_EQ(timebase.m_dNewSampleInterval, 0.3) << "of the user";
    for (const double hz : {3.0, 7.0, 44100.0}) {
        Set(timebase, {{"newSampleFrequency", std::to_string(hz).c_str()}});
        EXPECT_EQ(1000.0 / timebase.m_dNewSampleInterval, hz);
    }

    CResample resample;
    resample.CheckChangeDoc(doc.get());
    EXPECT_EQ(resample.m_dSampleFrequency, 1000.0);
    Set(resample, {{"sampleFrequency", "3000"}});
    EXPECT_EQ((std::pair{resample.m_nUp, resample.m_nDown}), std::pair(3, 2));
    const auto slower = MemoryDoc::Make(session, {{1, 2}}, 1.0);
    resample.CheckChangeDoc(slower.get());
    EXPECT_EQ((std::pair{resample.m_nUp, resample.m_nDown}), std::pair(3, 1)) << "the frequency counts";
    Set(resample, {{"down", "5"}});
    EXPECT_EQ(resample.m_dSampleFrequency, 600.0);
}

TEST_F(WholeRecordingTest, ReportsWithoutARecordingTellWhatWasAskedFor) {
    const auto report = [](CTransformDlg& dialog, const Settings& settings) {
        Set(dialog, settings);
        std::string text;
        dialog.GetParamText(text);
        return text;
    };
    CResample resample;
    EXPECT_EQ(report(resample, {{"sampleFrequency", "441"}}),
              "Resample transform parameters:\r\nNew sample frequency:\t441.000000\r\n");
    const std::string interpolation =
        "Frequency multiplier: 2\r\nType: Filter (specs in following transform)\r\n"
        "FIR filter transform parameters\r\nBand pass: lower cut 0.000000, upper cut ";
    const std::string rest = ", order 200\r\nWindow: Blackman\r\n";
    CInterpolate interpolate;
    EXPECT_EQ(report(interpolate, {}), interpolation + "half the old sample frequency" + rest);
    EXPECT_EQ(report(interpolate, {{"upperCut", "80"}}), interpolation + "80.000000" + rest);
}

// A disk that fills up at any byte, and a user who stops: the recording stays, and nothing else does.
TEST_F(WholeRecordingTest, FailuresLeaveTheRecording) {
    WriteNativeFile(*Twelve(), "/rec.kymr-dat");
    const std::vector<std::byte> before = files.Bytes("/rec.kymr-dat");
    for (size_t room = 0; room < before.size(); room += 997) {
        files = {};
        files.Put("/rec.kymr-dat", before);
        FaultyFileSystem disk(files);
        disk.freeBytes = static_cast<int64_t>(room);
        Session its(host, disk);
        const auto doc = OpenDocument(its, "/rec.kymr-dat");
        CReduce reduce;
        CInterpolate interpolate;
        for (CTransformDlg* dialog :
             {static_cast<CTransformDlg*>(&reduce), static_cast<CTransformDlg*>(&interpolate)}) {
            dialog->CheckChangeDoc(doc.get());
            EXPECT_FALSE(dialog->WriteFile(its, "/rec.kymr-dat", false).isDone);
            EXPECT_EQ(files.Count(), 1u) << room;
            EXPECT_EQ(files.Bytes("/rec.kymr-dat"), before);
        }
    }
    const auto large = MemoryDoc::Generate(session, 2, 300000, [](int, int64_t) { return 1.0f; });
    host.cancelAtCall = 2;
    CReduce dialog;
    dialog.CheckChangeDoc(large.get());
    EXPECT_THROW(dialog.WriteFile(session, "/rec.kymr-dat", false), Cancelled);
    EXPECT_EQ(files.Bytes("/rec.kymr-dat"), before);
}

TEST_F(WholeRecordingTest, PreviewsShowWhatIsWritten) {
    for (const char* mode : {"0", "1", "2"})
        ComparePreviews<CReduce>({{"frequencyDivisorFactor", "7"}, {"mode", mode}});
    ComparePreviews<CReduce>({{"frequencyDivisorFactor", "400"}});
    ComparePreviews<CInterpolate>({{"frequencyMultiplier", "3"}, {"type", "1"}});
    ComparePreviews<CInterpolate>({{"frequencyMultiplier", "4"}, {"order", "30"}});
    ComparePreviews<CInterpolate>({{"frequencyMultiplier", "3"}, {"order", "200"}});
    ComparePreviews<CResample>({{"up", "3"}, {"down", "7"}});
    ComparePreviews<CResample>({{"up", "5"}, {"down", "2"}});
    ComparePreviews<CChangeTimebase>({{"newSampleInterval", "0.15"}});
    ComparePreviews<CChangeTimebase>({{"newSampleInterval", "3"}});
    ComparePreviews<CChangeTimebase>({{"newSampleInterval", "0.001"}});

    auto doc = MemoryDoc::Make(session, {Samples(10000)}, 0.5);
    CInterpolate dialog;
    dialog.CheckChangeDoc(doc.get());
    Set(dialog, {{"frequencyMultiplier", "1000"}, {"type", "1"}});
    PreviewData data;
    data.count = 10000;
    dialog.OnNeedData(data);
    EXPECT_TRUE(data.isRefused && data.transformed.empty());
    EXPECT_EQ(data.message, "The result has 10000000 samples here, and a preview shows no more than 5000000. "
                            "Show a shorter stretch of time.");
}

}  // namespace
}  // namespace kymora::test
