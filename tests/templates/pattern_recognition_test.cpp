#include "templates/pattern_recognition.h"

#include <fmt/format.h>

#include "batch/multi_batch.h"
#include "template_fixture.h"

namespace kymora::test {
namespace {

// Waves at samples 100, 300, 500 and 700 of a trace of 1,000; the third is half as high.
struct PatternRecognitionTest : TemplateTest {
    PatternRecognitionTest() {
        samples = Noise(1000);
        for (const size_t at : {100u, 300u, 700u}) Put(samples, at, Wave());
        Put(samples, 500, Wave(0.5f));
        doc = Named({samples, Noise(1000, 2)});
    }
    // Captured at the wave of sample 300.
    void Attach(CPatternRecognition& block, const std::map<std::string, std::string>& settings = {}) {
        block.CheckChangeDoc(doc.get());
        Set(block, {{"templateStart", "150"}, {"templateEnd", "160"}, {"destination", "b"}});
        Set(block, settings);
    }
    const CEventChan& Channel(int n = 1) { return doc->eventChannels[static_cast<size_t>(n)]; }

    Samples samples;
    std::unique_ptr<MemoryDoc> doc;
};

TEST_F(PatternRecognitionTest, FindsTheCopiesOfACapturedWave) {
    CPatternRecognition block;
    Attach(block, {{"allowedError", "12"}});
    ASSERT_TRUE(block.Run()) << host.LastMessage();
    EXPECT_EQ(Onsets(*doc, 1), (std::vector<int32_t>{100, 300, 700}));
    const CEventKM& own = Channel().Events()[1];
    EXPECT_EQ(own.offPosition, 321);
    EXPECT_EQ(own.eventValue, 0.0f);
    EXPECT_EQ(own.eventLabel, "template");
    EXPECT_EQ(own.eventTag, 1);
    EXPECT_EQ(Channel().Events()[0].eventTag, 0);
    EXPECT_EQ(Channel().detectionMethod, methodFixedTemplate);
    EXPECT_EQ(Channel().parentTrace, 0);
    const std::string& history = doc->historyLog;
    for (const char* line :
         {"Parent trace: 1\r\n", "Destination event channel: b\r\n",
          "Template of 21 bins, captured from trace 1,  from time = 150.000000 to 160.000000\r\n",
          "Template type:\tfixed\r\n", "Frequency multiplier:\t1\r\n", "Allowed error:\t12.000000\r\n",
          "Minimum peak-to-peak:\t0.000000\r\n"})
        EXPECT_NE(history.find(line), std::string::npos) << line;
    // A scaled template takes the half as high one, too, and tells its scale.
    Set(block, {{"templateType", "optimally scaled"}, {"goodnessOfFit", "20"}});
    ASSERT_TRUE(block.Run());
    EXPECT_EQ(Onsets(*doc, 1), (std::vector<int32_t>{100, 300, 500, 700}));
    const std::vector<Result> results = block.Results();
    ASSERT_EQ(results.size(), 2u);
    std::vector<double> scales;
    results[1].rows([&](std::span<const ResultValue> row) {
        scales.push_back(std::get<double>(row[4]));
        return true;
    });
    const double height = PeakToPeak(std::span(samples).subspan(300, 21));
    ASSERT_EQ(scales.size(), 4u);
    EXPECT_NEAR(scales[2] / height, 0.5, 0.03);
    EXPECT_NEAR(scales[3] / height, 1.0, 0.03);
    // The least peak-to-peak value leaves the small one out.
    Set(block, {{"minimumPeakToPeak", fmt::format("{}", 0.75 * height)}});
    ASSERT_TRUE(block.Run());
    EXPECT_EQ(Onsets(*doc, 1), (std::vector<int32_t>{100, 300, 700}));
}

TEST_F(PatternRecognitionTest, OneUndoTakesTheEventsAway) {
    CPatternRecognition block;
    Attach(block, {{"allowedError", "12"}});
    ASSERT_TRUE(block.Run());
    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(Channel().GetNumEvents(), 0);
    EXPECT_EQ(Channel().detectionMethod, methodManual);
}

TEST_F(PatternRecognitionTest, AStoredTemplateGivesTheSameRunAgain) {
    CPatternRecognition block;
    Attach(block, {{"allowedError", "12"},
                   {"templateType", "adaptive"},
                   {"adaptiveAverage", "3"},
                   {"frequencyMultiplier", "4"},
                   {"spareBins", "12"},
                   {"minimumPeakToPeak", "0.25"}});
    ASSERT_TRUE(block.Run()) << host.LastMessage();
    const DetectionParameters& kept = Channel().detection;
    EXPECT_EQ(kept.templateStart, 4);
    EXPECT_EQ(kept.templateEnd, 12);
    EXPECT_EQ(kept.templateFirst, 21);
    EXPECT_EQ(kept.templateLast, 300);
    EXPECT_EQ(kept.templateTrace, 0);
    EXPECT_EQ(kept.templateAlign, 3);
    EXPECT_EQ(kept.templateFit, 0);
    EXPECT_EQ(kept.templateThreshold, 12.0f);
    EXPECT_EQ(kept.templateExtra, 0.25f);
    EXPECT_EQ(Channel().templateData.size(), 84u);

    CPatternRecognition again;
    again.CheckChangeDoc(doc.get());
    Set(again, {{"templateSource", "retrieved"}, {"retrieveChannel", "b"}, {"destination", "c"}});
    ASSERT_TRUE(again.Run()) << host.LastMessage();
    EXPECT_EQ(Channel(2).Events(), Channel(1).Events());
    EXPECT_EQ(Channel(2).detection, Channel(1).detection);
    EXPECT_EQ(Channel(2).templateData, Channel(1).templateData);
    EXPECT_NE(doc->historyLog.find("Template retrieved from event chan b\r\n"), std::string::npos);
    // What is set beside it counts.
    CPatternRecognition other;
    other.CheckChangeDoc(doc.get());
    Set(other, {{"templateSource", "retrieved"},
                {"retrieveChannel", "b"},
                {"destination", "c"},
                {"templateType", "fixed"},
                {"allowedError", "0.5"}});
    CPatternRecognition saved;
    saved.TakeSettings(other.Settings());
    saved.CheckChangeDoc(doc.get());
    for (CPatternRecognition* one : {&other, &saved}) {
        ASSERT_TRUE(one->Run());
        EXPECT_EQ(Onsets(*doc, 2), (std::vector<int32_t>{300}));
        EXPECT_EQ(one->m_fAllowedError, 0.5f) << "also where settings were saved";
    }
    // The threshold of one type is none of another.
    CPatternRecognition scaled;
    scaled.CheckChangeDoc(doc.get());
    Set(scaled, {{"templateSource", "retrieved"}, {"retrieveChannel", "b"}, {"destination", "c"}});
    Set(scaled, {{"templateType", "optimally scaled"}});
    ASSERT_TRUE(scaled.Run());
    EXPECT_EQ(scaled.m_fGoodnessOfFit, 4.0f);
    Set(other, {{"retrieveChannel", "z"}});
    EXPECT_EQ(Refusal(other), foreignChannelText);
}

TEST_F(PatternRecognitionTest, TheAverageOfTheMatchesBecomesTheTemplate) {
    CPatternRecognition block;
    Attach(block, {{"allowedError", "12"}});
    Set(block, {{"templateSource", "2"}});
    EXPECT_EQ(Refusal(block), noAverageText);
    Set(block, {{"templateSource", "0"}});
    ASSERT_TRUE(block.Run());
    Set(block, {{"templateSource", "2"}});
    ASSERT_TRUE(block.Run()) << host.LastMessage();
    for (size_t i = 0; i < 21; ++i)
        EXPECT_NEAR(block.m_template.values[i],
                    (double{samples[100 + i]} + samples[300 + i] + samples[700 + i]) / 3.0, 1e-6);
    EXPECT_EQ(Onsets(*doc, 1), (std::vector<int32_t>{100, 300, 700}));
    for (const CEventKM& event : Channel().Events())
        EXPECT_EQ(event.eventTag, 0) << "an average is no stretch";
}

// Bumps that begin between samples. The mean of the windows at their onsets would be another, wider one.
TEST_F(PatternRecognitionTest, AverageAndAdaptiveMeanAreTakenWhereTheTemplateFitsBest) {
    const auto shape = [](double p) { return std::exp(-p * p / 8.0); };
    const auto bumps = [&](size_t length, std::vector<double> places) {
        Samples made(length);
        for (size_t i = 0; i < length; ++i)
            for (const double place : places)
                made[i] += static_cast<float>(shape(static_cast<double>(i) - place - 10.0));
        return made;
    };
    doc = Named({bumps(1000, {100.0, 300.25, 500.5, 700.75})});
    for (const char* type : {"fixed", "optimally scaled"}) {
        CPatternRecognition block;
        Attach(block, {{"templateStart", "50"},
                       {"templateEnd", "60"},
                       {"frequencyMultiplier", "4"},
                       {"templateType", type},
                       {"allowedError", "5"},
                       {"goodnessOfFit", "30"}});
        ASSERT_TRUE(block.Run()) << host.LastMessage();
        EXPECT_EQ(Onsets(*doc, 1), (std::vector<int32_t>{100, 300, 501, 701})) << type;
        Set(block, {{"templateSource", "2"}});
        ASSERT_TRUE(block.Run());
        for (size_t i = 0; i < 84; ++i)
            EXPECT_NEAR(block.m_template.values[i], shape(static_cast<double>(i) / 4.0 - 10.0), 2e-3) << i;
    }
    // At the edges of the data some places with one onset are none.
    doc = Named({bumps(622, {0.0, 200.0, 400.25, 600.75})});
    CPatternRecognition atEdges;
    Attach(atEdges, {{"templateStart", "100"},
                     {"templateEnd", "110"},
                     {"frequencyMultiplier", "4"},
                     {"allowedError", "3"}});
    ASSERT_TRUE(atEdges.Run()) << host.LastMessage();
    ASSERT_EQ(Channel().GetNumEvents(), 4);
    Set(atEdges, {{"templateSource", "2"}});
    ASSERT_TRUE(atEdges.Run());
    EXPECT_NEAR(*std::ranges::max_element(atEdges.m_template.values), 1.0, 5e-3);
    EXPECT_EQ(Onsets(*doc, 1), (std::vector<int32_t>{0, 200, 400, 601}));
    // An adaptive one becomes the last match, which differs from the next by what lies between samples.
    CPatternRecognition adaptive;
    Attach(adaptive, {{"templateStart", "100"},
                      {"templateEnd", "110"},
                      {"frequencyMultiplier", "4"},
                      {"templateType", "adaptive"},
                      {"adaptiveAverage", "1"},
                      {"allowedError", "10"}});
    ASSERT_TRUE(adaptive.Run()) << host.LastMessage();
    for (const CEventKM& event : Channel().Events()) EXPECT_LT(event.eventValue, 1.0f);
}

// Ten files with one configuration are searched for one template.
TEST_F(PatternRecognitionTest, AConfigurationCarriesItsTemplate) {
    CPatternRecognition block;
    Attach(block, {{"allowedError", "12"}});
    ASSERT_TRUE(block.Run());
    Samples other = Noise(800, 5);
    Put(other, 300, Wave());
    Put(other, 611, Wave());
    const auto next = Named({other});
    next->filePath = "other.kymr-dat";
    CPatternRecognition taken;
    taken.TakeSettings(block.Settings());
    taken.SettingsWereChosen();
    taken.CheckChangeDoc(next.get());
    EXPECT_EQ(taken.m_template.values, block.m_template.values);
    ASSERT_TRUE(taken.Run()) << host.LastMessage();
    EXPECT_EQ(Onsets(*next, 1), (std::vector<int32_t>{300, 611}));
    EXPECT_EQ(next->eventChannels[1].Events()[0].eventTag, 0) << "the capture was in another recording";
    EXPECT_EQ(taken.m_template.values, block.m_template.values);
    // So does the panel that goes there, also where the other recording has the same name.
    for (const char* path : {"other.kymr-dat", "elsewhere/cell.kymr-dat"}) {
        next->filePath = path;
        CPatternRecognition panel;
        Attach(panel, {{"allowedError", "12"}});
        ASSERT_TRUE(panel.Run());
        panel.CheckChangeDoc(next.get());
        ASSERT_TRUE(panel.Run()) << host.LastMessage();
        EXPECT_EQ(Onsets(*next, 1), (std::vector<int32_t>{300, 611})) << path;
    }
    // Whoever names times captures there, and sees it before the run.
    for (const auto& [key, value] : std::map<std::string, std::string>{
             {"templateStart", "305.5"}, {"templateEnd", "160.5"}, {"templateSource", "0"}}) {
        CPatternRecognition anew;
        anew.TakeSettings(block.Settings());
        anew.SettingsWereChosen();
        anew.CheckChangeDoc(next.get());
        Set(anew, {{key, value}});
        EXPECT_EQ(anew.m_nTemplateSource, CPatternRecognition::captured) << key;
        const Samples shown = anew.m_template.values;
        EXPECT_NE(shown, block.m_template.values) << key;
        anew.Run();
        EXPECT_EQ(anew.m_template.values, shown) << key;
    }
}

// 21 samples of 0.5 ms are 210 ms at an interval of 10 ms.
TEST_F(PatternRecognitionTest, TellsThatATemplateHasAnotherSampleInterval) {
    CPatternRecognition block;
    Attach(block);
    ASSERT_TRUE(block.Run());
    const auto slow = Named({samples}, 10.0);
    slow->filePath = "slow.kymr-dat";
    for (const auto& [other, isTold] : {std::pair{slow.get(), true}, std::pair{doc.get(), false}}) {
        CPatternRecognition taken;
        taken.TakeSettings(block.Settings());
        taken.SettingsWereChosen();
        taken.CheckChangeDoc(other);
        RunMessages messages;
        taken.SendMessagesTo(&messages);
        ASSERT_TRUE(taken.Run());
        taken.SendMessagesTo(nullptr);
        const auto tells = [&](const RunMessage& m) {
            return m.text.find("interval of 0.5 ms, and its 21 samples take 10.5 ms") != std::string::npos &&
                   m.text.find("one of 10 ms, they take 210 ms") != std::string::npos;
        };
        EXPECT_EQ(std::ranges::any_of(messages, tells), isTold);
    }
}

TEST_F(PatternRecognitionTest, ATimeHasTheDigitsThatGiveItsSampleBack) {
    const auto time = [&](double interval, int32_t sample) {
        return ShortTimeOf(*Named({Samples(2000000)}, interval), sample);
    };
    EXPECT_EQ(time(0.05, 36431), 1821.55);
    EXPECT_EQ(time(0.05, 36440), 1822.0);
    EXPECT_EQ(time(1.0 / 30.0, 1000001), 33333.37);  // 33333.3667; 33333.4 is the next sample's
    EXPECT_EQ(time(10.0, 7), 70.0);
}

TEST_F(PatternRecognitionTest, TheOrderOfTheTimesDoesNotMatterAndRoundingComesFirst) {
    CPatternRecognition block;
    Attach(block, {{"templateStart", "160.2"}, {"templateEnd", "149.8"}, {"allowedError", "12"}});
    ASSERT_TRUE(block.Run()) << host.LastMessage();
    EXPECT_EQ(block.m_template.start, 300);
    EXPECT_EQ(block.m_template.length, 21);
}

TEST_F(PatternRecognitionTest, SaysWhyATemplateCannotBeCaptured) {
    samples[900] = std::numeric_limits<float>::quiet_NaN();
    for (size_t i = 820; i < 880; ++i) samples[i] = 2.5f;
    doc = MemoryDoc::MakeWithRuns(session, {samples}, {{400, 200, 600}}, 0.5);
    struct Case {
        const char *start, *end, *says, *multiplier = "1";
    };
    const Case cases[] = {
        {"150", "150.2", coincidingCursorsText},
        {"150", "152", shortCaptureText},  // 5 samples
        {"150", "152.5", "done"},          // 6
        {"2", "20", "The template must start at least 5.000000 ms after the start of the record."},
        {"590", "600", lateCaptureText},
        {"1e10", "2e10", lateCaptureText},  // behind all positions
        {"100", "1e300", lateCaptureText},
        {"700", "700", coincidingCursorsText},
        {"195", "205", brokenCaptureText},  // into the gap
        {"250", "260", brokenCaptureText},  // within it
        {"540", "560", brokenCaptureText},  // no number at sample 1100
        {"515", "525", flatTemplateText},
        {"510.5", "525", flatTemplateText, "4"}};  // beside what is not flat
    for (const Case& c : cases) {
        CPatternRecognition block;
        Attach(block,
               {{"templateStart", c.start}, {"templateEnd", c.end}, {"frequencyMultiplier", c.multiplier}});
        EXPECT_EQ(Refusal(block), c.says) << c.start << " to " << c.end;
    }
    CPatternRecognition none;
    none.CheckChangeDoc(doc.get());
    Set(none, {{"templateSource", "3"}});
    EXPECT_EQ(Refusal(none), noTemplateText);
    none.m_template.values = {1, 2, 3, 2, 1};
    none.m_template.length = 5;
    EXPECT_NE(Refusal(none).find(
                  "Template Recognition: Template contains fewer than 5 samples. Abandoned analysis."),
              std::string::npos);
    CPatternRecognition raised;
    Attach(raised, {{"frequencyMultiplier", "3"}});
    EXPECT_EQ(Refusal(raised), raiseFaultText);
}

TEST_F(PatternRecognitionTest, ADamagedStoredTemplateIsRefused) {
    CPatternRecognition first;
    Attach(first, {{"allowedError", "12"}});
    ASSERT_TRUE(first.Run());
    const auto spoilt = [&](auto spoil) {
        CEventChan& channel = doc->eventChannels[1];
        const CEventChan before = channel;
        spoil(channel);
        CPatternRecognition block;
        block.CheckChangeDoc(doc.get());
        Set(block, {{"templateSource", "1"}, {"retrieveChannel", "b"}, {"destination", "c"}});
        const std::string says = Refusal(block);
        channel = before;
        return says;
    };
    const std::string damaged = "The template that is stored with event chan b is damaged.";
    EXPECT_EQ(spoilt([](CEventChan& c) { c.templateData.pop_back(); }), damaged);
    EXPECT_EQ(spoilt([](CEventChan& c) { c.detection.templateStart = 3; }), damaged);
    EXPECT_EQ(spoilt([](CEventChan& c) { c.detection.templateFirst = -21; }), damaged);
    EXPECT_EQ(spoilt([](CEventChan& c) { c.detection.templateEnd = -1; }), damaged);
    EXPECT_EQ(spoilt([](CEventChan& c) { c.templateData[4] = NAN; }), damaged);
    EXPECT_EQ(spoilt([](CEventChan& c) { std::ranges::fill(c.templateData, 1.0f); }), damaged);
    EXPECT_EQ(spoilt([](CEventChan&) {}), "done");
}

TEST_F(PatternRecognitionTest, ARegionShorterThanTheTemplateLeavesTheChannelEmpty) {
    CPatternRecognition block;
    Attach(block, {{"region", "2"}, {"regionStart", "45"}, {"regionEnd", "55"}});
    RunMessages messages;
    block.SendMessagesTo(&messages);
    ASSERT_TRUE(block.Run());
    ASSERT_FALSE(messages.empty());
    EXPECT_EQ(messages.back().text, shortRegionText);
    EXPECT_EQ(Channel().GetNumEvents(), 0);
    // The region ends within a match.
    Set(block, {{"regionStart", "40"}, {"regionEnd", "355"}, {"allowedError", "12"}});
    ASSERT_TRUE(block.Run());
    EXPECT_EQ(Onsets(*doc, 1), (std::vector<int32_t>{100, 300}));
    EXPECT_EQ(block.RunSummary(), "");
    // It ends with one, in a first run and in one from kept measures.
    block.SendMessagesTo(nullptr);
    Set(block, {{"regionEnd", "160.5"}});
    for (int i = 0; i < 2; ++i) {
        host.notices.clear();
        ASSERT_TRUE(block.Run());
        EXPECT_EQ(Onsets(*doc, 1), (std::vector<int32_t>{100}));
        EXPECT_EQ(block.RunSummary(), "1 match is still open where the data end");
        ASSERT_EQ(host.notices.size(), 1u);
        EXPECT_NE(host.notices[0].text.find("so far is at 150 ms"), std::string::npos);
    }
}

TEST_F(PatternRecognitionTest, WarnsWhereAnEmptyBaselineWouldMatch) {
    CPatternRecognition block;
    Attach(block);
    ASSERT_TRUE(block.Run());
    const float flat = TemplateError(block.m_template.values).OfFlatWindow();
    // By the median of 21 values.
    Samples sorted = block.m_template.values;
    std::ranges::sort(sorted);
    double sum = 0.0;
    for (const float v : sorted) sum += std::abs(double{v} - sorted[10]);
    EXPECT_NEAR(flat, sum / (21.0 * (double{sorted[20]} - sorted[0]) / 2.0) * 100.0, 1e-4);
    const auto warns = [&](double error) {
        RunMessages messages;
        block.SendMessagesTo(&messages);
        Set(block, {{"allowedError", fmt::format("{}", error)}});
        EXPECT_TRUE(block.Run());
        block.SendMessagesTo(nullptr);
        return !messages.empty() && messages[0].text.find("without any signal") != std::string::npos;
    };
    EXPECT_FALSE(warns(0.8 * flat));
    EXPECT_TRUE(warns(0.95 * flat));
    EXPECT_TRUE(warns(1.1 * flat));
}

TEST_F(PatternRecognitionTest, AdvisesToScaleATraceInTooGreatUnits) {
    for (float& v : samples) v *= 1e-6f;
    doc = Named({samples});
    CPatternRecognition block;
    Attach(block, {{"templateType", "2"}});
    RunMessages messages;
    block.SendMessagesTo(&messages);
    ASSERT_TRUE(block.Run());
    ASSERT_EQ(messages.size(), 1u);
    EXPECT_EQ(messages[0].text, smallUnitsText);
}

TEST_F(PatternRecognitionTest, GoesOverAllTracesWithOneTemplate) {
    Samples second = Noise(1000, 9);
    Put(second, 40, Wave());
    Put(second, 900, Wave());
    doc = Named({samples, second});
    CPatternRecognition block;
    Attach(block, {{"allowedError", "12"}, {"allTraces", "1"}});
    ASSERT_TRUE(block.Run()) << host.LastMessage();
    EXPECT_EQ(Onsets(*doc, 1), (std::vector<int32_t>{100, 300, 700}));
    EXPECT_EQ(Onsets(*doc, 2), (std::vector<int32_t>{40, 900}));
    EXPECT_EQ(Channel(2).parentTrace, 1);
    EXPECT_EQ(Channel(2).channelComment, "template tr 2");
    EXPECT_EQ(Channel(1).Events()[1].eventTag, 1);
}

// The window keeps the measures, from which another threshold makes its events.
TEST_F(PatternRecognitionTest, AnotherThresholdNeedsNoNewPass) {
    Samples longOne = Noise(400000, 3);
    for (size_t at = 100; at + 100 < longOne.size(); at += 4000) Put(longOne, at, Wave());
    for (size_t at = 2000; at + 100 < longOne.size(); at += 40000) Put(longOne, at, Wave(0.8f));
    doc = Named({longOne});
    for (const char* type : {"fixed", "optimally scaled"}) {
        CPatternRecognition block;
        const bool isScaled = std::string(type) != "fixed";
        const char* key = isScaled ? "goodnessOfFit" : "allowedError";
        Attach(block, {{"templateStart", "50"},
                       {"templateEnd", "60"},
                       {"templateType", type},
                       {key, isScaled ? "60" : "9"}});
        ASSERT_TRUE(block.Run()) << host.LastMessage();
        const size_t few = Onsets(*doc, 1).size();
        Set(block, {{key, isScaled ? "15" : "14"}});
        EXPECT_EQ(block.Prepare()->Samples(), 0) << "no sample is measured again";
        ASSERT_TRUE(block.Run());
        EXPECT_GT(Onsets(*doc, 1).size(), few);
        const std::vector<CEventKM> again = Channel().Events();
        EXPECT_EQ(block.GetGraph()->panes.size(), 2u);
        CPatternRecognition fresh;
        fresh.TakeSettings(block.Settings());
        fresh.CheckChangeDoc(doc.get());
        ASSERT_TRUE(fresh.Run());
        EXPECT_EQ(Channel().Events(), again);
    }
}

TEST_F(PatternRecognitionTest, CancelledItLeavesAllAsItWas) {
    doc = MemoryDoc::Generate(session, 1, 6'000'000,
                              [](int, int64_t i) { return static_cast<float>((i * 37) % 101); });
    CPatternRecognition block;
    Attach(block);
    host.cancelAtCall = 3;
    EXPECT_FALSE(block.Run());
    EXPECT_TRUE(block.WasCancelled());
    EXPECT_EQ(Channel().GetNumEvents(), 0);
    EXPECT_EQ(doc->historyLog, "");
}

// What is long is the template, not the region: it can be cancelled all the same, and goes to another thread.
TEST_F(PatternRecognitionTest, ALongTemplateCanBeCancelled) {
    struct Case {
        const char *type, *end;
        int64_t samples;
    };
    for (const Case& c : {Case{"fixed", "10050", 60'000}, Case{"adaptive", "10050", 60'000},
                          Case{"optimally scaled", "30050", 700'000}}) {
        doc = MemoryDoc::Generate(session, 1, c.samples,
                                  [](int, int64_t i) { return static_cast<float>((i * 7919) % 10007); });
        CPatternRecognition block;
        Attach(block, {{"templateStart", "50"}, {"templateEnd", c.end}, {"templateType", c.type}});
        EXPECT_GT(block.Prepare()->Samples(), samplesAtOnce);
        host.cancelAtCall = 3;
        EXPECT_FALSE(block.Run()) << c.type;
        EXPECT_TRUE(block.WasCancelled()) << c.type;
    }
}

TEST_F(PatternRecognitionTest, ListsTheTemplate) {
    CPatternRecognition block;
    block.CheckChangeDoc(doc.get());
    ParamList params = block.Params();
    params.Find("list")->action(params);
    EXPECT_EQ(host.LastMessage(), "Template not defined");
    Attach(block);
    params = block.Params();
    params.Find("list")->action(params);
    ASSERT_EQ(host.texts.size(), 1u);
    EXPECT_TRUE(host.texts[0].text.starts_with(
        fmt::format("Template waveform\r\n  0\t{:.2f}\r\n  1\t", samples[300])));
}

// --- files ---

struct PatternFilesTest : PatternRecognitionTest {
    std::shared_ptr<CDataDoc> Open(const std::filesystem::path& path) {
        return OpenDocument(session, path, {OpenFor::reading, OpenTalk::logs, {}});
    }
};

TEST_F(PatternFilesTest, DiagnosticTracesStandBehindAllOthers) {
    // With a gap, so that stored samples are none of the positions.
    doc = MemoryDoc::MakeWithRuns(session, {samples, Noise(1000, 2)}, {{200, 50, 800}, {200, 50, 800}}, 0.5);
    doc->filePath = "cell.kymr-dat";
    doc->traces[0].traceUnits = "mV";
    CPatternRecognition block;
    Attach(block, {{"templateStart", "175"},
                   {"templateEnd", "185"},
                   {"templateType", "2"},
                   {"goodnessOfFit", "20"},
                   {"addErrorTrace", "1"},
                   {"addTemplateTrace", "1"}});
    EXPECT_EQ(block.WhatItAffects(), Affects::traces);
    EXPECT_EQ(CMultiBatch::ItemFault(block), diagnosticBatchText);
    ASSERT_TRUE(block.WriteFile(session, "out.kymr-dat", true).isDone) << host.LastMessage();
    const auto made = Open("out.kymr-dat");
    ASSERT_TRUE(made);
    ASSERT_EQ(made->traceCount, 4);
    EXPECT_EQ(made->traces[2].traceLabel, "goodness-of-fit");
    EXPECT_EQ(made->traces[3].traceLabel, "template");
    EXPECT_EQ(made->traces[3].traceUnits, "mV");
    EXPECT_EQ(made->validRuns[3], doc->validRuns[0]);
    EXPECT_EQ(Onsets(*made, 1), (std::vector<int32_t>{100, 350, 550, 750}));
    const Samples all = SamplesOf(*doc), goodness = SamplesOf(*made, 2), fitted = SamplesOf(*made, 3);
    const ScaledTemplate scaled(block.m_template.values);
    for (const size_t k : {0u, 100u, 179u, 250u, 349u, 550u, 1029u}) {
        const TemplateFit fit = scaled.FitOf(std::span(all).subspan(k, 21));
        EXPECT_NEAR(goodness[k], fit.criterion, 1e-4 * (1.0 + std::abs(fit.criterion))) << k;
    }
    for (const size_t k : {180u, 199u, 220u, 1030u, 1049u})
        EXPECT_EQ(goodness[k], 0.0f) << "no window begins at " << k;
    const TemplateFit fit = scaled.FitOf(std::span(all).subspan(550, 21));
    for (size_t i = 0; i < 21; ++i)
        EXPECT_NEAR(fitted[550 + i], fit.scale * scaled.Unit()[i] + fit.offset, 1e-5);
    EXPECT_EQ(fitted[549], 0.0f);
    EXPECT_EQ(fitted[571], 0.0f);
    const auto& log = host.log;
    EXPECT_TRUE(std::ranges::any_of(log, [](const std::string& line) {
        return line == "number of samples written to template trace = 1000\n";
    }));
}

TEST_F(PatternFilesTest, TheGoodnessOfAnErrorIsItsReciprocalAndZeroWhereThereIsNone) {
    CPatternRecognition block;
    Attach(block, {{"addErrorTrace", "1"}, {"frequencyMultiplier", "2"}, {"allowedError", "12"}});
    ASSERT_TRUE(block.WriteFile(session, "out.kymr-dat", true).isDone) << host.LastMessage();
    const auto made = Open("out.kymr-dat");
    const Samples goodness = SamplesOf(*made, 2);
    // Of the steps at bins 2p - 1, which is nearest to p from below, and 2p, the better one.
    RaisedTrace raised(*doc, 0, UnbrokenStretches(*doc, 0), 2, 10);
    TemplateError error(block.m_template.values);
    Samples window(43), values(2);
    for (const int64_t p : {101, 299, 500, 640}) {
        ASSERT_TRUE(raised.Read(2 * p - 1, window));
        error.Measure(window, values);
        EXPECT_EQ(goodness[static_cast<size_t>(p)], 100.0f / std::min(values[0], values[1])) << p;
    }
}

TEST_F(PatternFilesTest, TooManyTracesLeaveNoRoomForDiagnosticOnes) {
    doc = Named(std::vector<Samples>(127, samples));
    CPatternRecognition block;
    Attach(block, {{"addErrorTrace", "1"}});
    EXPECT_FALSE(block.WriteFile(session, "out.kymr-dat", true).isDone);
    EXPECT_EQ(
        host.LastMessage(),
        "cell.kymr-dat\r\n\tTemplate Recognition: You cannot have more than 127 data channels, cancel \"Add "
        "error signal/template as trace\".\r\n");
    EXPECT_FALSE(files.Stamp("out.kymr-dat"));
}

TEST_F(PatternFilesTest, AMatchOnlyFileHoldsTheMatchesEndToEnd) {
    CPatternRecognition block;
    Attach(block, {{"allowedError", "12"}, {"matchFile", "1"}});
    ASSERT_TRUE(block.Run()) << host.LastMessage();
    const auto made = Open("cell_match.kymr-dat");
    ASSERT_TRUE(made);
    ASSERT_EQ(made->traceCount, 1);
    EXPECT_EQ(made->traces[0].traceLabel, "match");
    EXPECT_EQ(made->fileComment, "Trace derived from matches to template");
    EXPECT_NE(made->historyLog.find("Template match file"), std::string::npos);
    EXPECT_NE(made->historyLog.find("Source file: cell.kymr-dat"), std::string::npos);
    EXPECT_EQ(Onsets(*made, 1), (std::vector<int32_t>{0, 21, 42}));
    Samples expected;
    for (const size_t at : {100u, 300u, 700u})
        expected.insert(expected.end(), samples.begin() + static_cast<std::ptrdiff_t>(at),
                        samples.begin() + static_cast<std::ptrdiff_t>(at) + 21);
    EXPECT_EQ(SamplesOf(*made), expected);
    // Another run leaves it alone.
    ASSERT_TRUE(block.Run());
    EXPECT_TRUE(files.Stamp("cell_match-2.kymr-dat"));
}

}  // namespace
}  // namespace kymora::test
