// Time constants of stretches and after events.

#include <cmath>

#include "fitting/fit_time_const_base.h"
#include "support/operation_results.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

class TimeConstantTest : public SessionTest {
  protected:
    std::string Said() const {
        std::string all;
        for (const auto& message : host.messages) all += message.text + "\n";
        return all;
    }
    // At 100, 300 and 500 ms a fall of 8, 10 and 12 mV with 20 ms; an event at each, and one at 690 ms.
    std::unique_ptr<MemoryDoc> Falls(std::vector<uint32_t> runs = {1400}) {
        std::vector<float> samples(1400, -60.0f);
        for (int k = 0; k < 3; ++k)
            for (size_t i = 0; i < 300; ++i)
                samples[200 + 400 * static_cast<size_t>(k) + i] =
                    -60.0f -
                    (8.0f + 2.0f * static_cast<float>(k)) * (1.0f - std::exp(-static_cast<float>(i) / 40.0f));
        samples.resize(runs.size() == 1 ? 1400 : runs[0] + runs[2]);
        auto doc = MemoryDoc::MakeWithRuns(session, {samples}, {std::move(runs)}, 0.5);
        for (const int on : {200, 600, 1000, 1380}) {
            CEventKM event;
            event.onPosition = on;
            event.offPosition = on + 10;
            doc->eventChannels[0].AppendLoaded(std::move(event));
        }
        return doc;
    }
};

TEST_F(TimeConstantTest, OneStretchFromItsStartOn) {
    const auto doc = Falls();
    CFitTimeConst fit;
    fit.CheckChangeDoc(doc.get());
    SetParameter(fit, "fitStart", "300");
    SetParameter(fit, "fitEnd", "440");
    ASSERT_TRUE(fit.Run()) << host.LastMessage();
    EXPECT_NEAR(fit.m_dTau, 20.0, 0.02);
    EXPECT_NEAR(fit.m_dV0, -60.0, 0.01);
    EXPECT_NEAR(fit.m_dVInf, -70.0, 0.01);
    EXPECT_TRUE(ResultText(fit).starts_with("id\tstart V\tend V\ttau\trms\titer\r\n0\t-60.00"))
        << ResultText(fit);
    // A line that is dragged sets the time to average; one that is typed begins the fit there.
    SetParameter(fit, "endAvg", "420");
    EXPECT_EQ(fit.m_dAvgTime, 20.0);
    SetParameter(fit, "tau", "50");
    EXPECT_FALSE(fit.m_bStartFromData);
    ASSERT_TRUE(fit.Run());
    EXPECT_NEAR(fit.m_dTau, 20.0, 0.02);
    SetParameter(fit, "avgTime", "1000");
    ASSERT_TRUE(fit.Run());
    EXPECT_EQ(host.LastMessage(), averageTooLongText);
    SetParameter(fit, "fitEnd", "300");
    EXPECT_FALSE(fit.Run());
}

TEST_F(TimeConstantTest, EventsAreAveragedOrFittedOneByOne) {
    const auto doc = Falls();
    CTimeConstLog fit;
    fit.CheckChangeDoc(doc.get());
    SetParameter(fit, "channel1", "a");
    SetParameter(fit, "fitEnd", "140");
    SetParameter(fit, "averages", "9");
    ASSERT_TRUE(fit.Run()) << host.LastMessage();
    EXPECT_EQ(fit.m_nAverages, 4);
    EXPECT_NE(Said().find("Insufficient events: reducing number to average"), std::string::npos);
    EXPECT_EQ(host.LastMessage(), "Event 4 is skipped: its segment leaves the recording.");
    EXPECT_NEAR(fit.m_dVInf, -70.0, 0.02) << "of the mean of 8, 10 and 12 mV";
    EXPECT_NEAR(fit.m_dTau, 20.0, 0.05);

    SetParameter(fit, "batch", "1");
    SetParameter(fit, "startEvent", "2");
    ASSERT_TRUE(fit.Run());
    const std::string text = ResultText(fit);
    EXPECT_NE(text.find("\r\n2\t-60.0"), std::string::npos) << text;
    EXPECT_NE(text.find("\r\n3\t-60.0"), std::string::npos) << text;
    EXPECT_EQ(text.find("\r\n1\t"), std::string::npos);
    SetParameter(fit, "startEvent", "7");
    ASSERT_TRUE(fit.Run());
    EXPECT_EQ(fit.m_nStartEvent, 1);
    EXPECT_EQ(fit.GetGraph()->panes.size(), 2u);
}

TEST_F(TimeConstantTest, TheOrderOfAnEndAndItsFixingIsAllOne) {
    const std::vector<std::pair<const char*, const char*>> orders[] = {{{"v0", "-35"}, {"fixV0", "1"}},
                                                                       {{"fixV0", "1"}, {"v0", "-35"}}};
    for (const auto& order : orders) {
        CFitTimeConst fit;
        for (const auto& [key, value] : order) SetParameter(fit, key, value);
        EXPECT_TRUE(fit.m_bStartFromData) << "tau and V(inf) come from the data";
        SetParameter(fit, "vInf", "-60");
        EXPECT_FALSE(fit.m_bStartFromData) << "a start of the user's own";
        SetParameter(fit, "startFromData", "1");
        EXPECT_TRUE(fit.m_bStartFromData);
    }
}

TEST_F(TimeConstantTest, TheSettingsThatWereUsedDoItAgain) {
    const auto doc = Falls();
    CFitTimeConst fit;
    fit.CheckChangeDoc(doc.get());
    SetParameter(fit, "fitStart", "300");
    SetParameter(fit, "fitEnd", "440");
    ASSERT_TRUE(fit.Run());
    EXPECT_NEAR(fit.m_dTau, 20.0, 0.02) << "the window goes on with what was found";
    CFitTimeConst again;
    again.TakeSettings(fit.UsedSettings());
    EXPECT_NEAR(again.m_dTau, 140.0 / 3, 1e-9) << "a third of the time of the fit";
    EXPECT_NEAR(again.m_dV0, -60.0, 1.5);
    again.CheckChangeDoc(doc.get());
    again.m_bStartFromData = false;
    ASSERT_TRUE(again.Run());
    EXPECT_EQ(ResultText(again), ResultText(fit));
}

TEST_F(TimeConstantTest, TheLastSampleTakesPartAndAMeanHasTheFirstEventThatDoes) {
    auto doc = Falls();
    CFitTimeConst fit;
    fit.CheckChangeDoc(doc.get());
    SetParameter(fit, "fitStart", "300");
    SetParameter(fit, "fitEnd", "440");
    ASSERT_TRUE(fit.Run());
    const auto layers = fit.GetGraph()->panes[1].layers;
    EXPECT_EQ(layers.front().x.size(), 281u);
    EXPECT_EQ(layers.front().x.back(), 440.0);
    // The segment of the first event, at 100 ms, would begin before the recording.
    CTimeConstLog log;
    log.CheckChangeDoc(doc.get());
    SetParameter(log, "channel1", "a");
    SetParameter(log, "fitStart", "-150");
    SetParameter(log, "fitEnd", "100");
    SetParameter(log, "averages", "3");
    ASSERT_TRUE(log.Run()) << host.LastMessage();
    EXPECT_NE(ResultText(log).find("\r\n2\t"), std::string::npos) << ResultText(log);
}

TEST_F(TimeConstantTest, AnEventBesideAGapIsSkipped) {
    const auto doc = Falls({700, 100, 600});
    CTimeConstLog fit;
    fit.CheckChangeDoc(doc.get());
    SetParameter(fit, "channel1", "a");
    SetParameter(fit, "fitEnd", "140");
    SetParameter(fit, "batch", "1");
    ASSERT_TRUE(fit.Run());
    EXPECT_NE(Said().find("Event 2 is skipped: there is a gap or the boundary of an episode"),
              std::string::npos);
}

}  // namespace
}  // namespace kymora::test
