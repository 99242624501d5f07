// The outlier detector as a user or a terminal runs it.

#include "detection/detect_spikes.h"

#include <cmath>

#include "detection/event_threshold.h"
#include "operations/config_file.h"
#include "support/bytes.h"
#include "support/memory_doc.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

using Spans = std::vector<std::pair<int, int>>;

class DetectSpikesTest : public ViewTest {
  protected:
    void SetUp() override {
        // +1 and -1 in turn: mean 0, s.d. sqrt(n / (n - 1)) over an even count. Outliers stand out by 9.
        for (int i = 0; i < 1000; ++i) samples.push_back(i % 2 == 0 ? 1.0f : -1.0f);
        for (const int i : {300, 301, 302, 999}) samples[static_cast<size_t>(i)] = 10.0f;
        samples[303] = samples[600] = -10.0f;
        doc = MemoryDoc::Make(session, {samples}, 0.5);
        operation.CheckChangeDoc(doc.get());
        operation.m_dNoiseStart = 10.0, operation.m_dNoiseEnd = 60.0;  // samples 20 to 120
    }
    Spans Found(int channel) {
        Spans spans;
        for (const CEventKM& event : doc->eventChannels[static_cast<size_t>(channel)].Events())
            spans.emplace_back(event.onPosition, event.offPosition);
        return spans;
    }

    std::vector<float> samples;
    std::unique_ptr<MemoryDoc> doc;
    CDetectSpikes operation;
};

TEST_F(DetectSpikesTest, RunsOfOutliersGoToTheFirstEmptyChannel) {
    doc->eventChannels[0].AddEvent(1, 2);
    CDetectSpikes fresh;
    fresh.CheckChangeDoc(doc.get());
    EXPECT_EQ(fresh.m_nDestination, 1);
    fresh.m_dNoiseStart = 10.0, fresh.m_dNoiseEnd = 60.0;
    ASSERT_TRUE(fresh.Run());
    // The last one is open at the end of the region and closes at its last index.
    EXPECT_EQ(Found(1), (Spans{{300, 304}, {600, 601}, {999, 999}}));
    const CEventChan& chan = doc->eventChannels[1];
    EXPECT_EQ(chan.Events()[0].eventValue, -1.0f);
    EXPECT_STREQ(chan.GetDetectionMethodName(), "outlier");
    EXPECT_EQ(chan.parentTrace, 0);
    EXPECT_DOUBLE_EQ(fresh.m_dNoiseMean, 0.0);
    EXPECT_FLOAT_EQ(fresh.m_fUpper, static_cast<float>(5.0 * std::sqrt(100.0 / 99.0)));
    EXPECT_EQ(doc->historyLog,
              "Detect Outliers\r\nDetect outliers\r\nNoise cursor T1 10.000000, T2 60.000000, mean "
              "0.000000, sd 1.005038\r\nThresh sd mult5.000000, type +/-\r\nAnalyse whole "
              "file\r\n\r\n");
    // The next run leaves that result alone.
    fresh.m_nDirection = 1;
    fresh.m_nRegionMode = regionUserSet;
    fresh.m_dRegionStart = 150.5, fresh.m_dRegionEnd = 400.0;
    ASSERT_TRUE(fresh.Run());
    EXPECT_EQ(Found(2), (Spans{{301, 303}}));
    EXPECT_TRUE(doc->historyLog.ends_with("type +\r\nAnalyse start 150.500000, end 400.000000\r\n\r\n"));
    fresh.m_nDirection = 2;
    ASSERT_TRUE(fresh.Run());
    EXPECT_EQ(Found(3), (Spans{{303, 304}, {600, 601}}));
    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_TRUE(Found(3).empty());
}

TEST_F(DetectSpikesTest, Refusals) {
    const auto refusal = [&] {
        host.Forget();
        EXPECT_FALSE(operation.Run());
        EXPECT_EQ(doc->historyLog, "");
        return host.messages.size() == 1 ? host.messages[0].text : "no message";
    };
    operation.m_dNoiseEnd = operation.m_dNoiseStart;
    EXPECT_EQ(refusal(), regionOrderText);
    operation.m_dNoiseStart = 5000.0, operation.m_dNoiseEnd = 6000.0;
    EXPECT_EQ(refusal(), noStatisticsText);
    operation.m_dNoiseStart = 0.0;
    operation.m_nRegionMode = regionUserSet;
    operation.m_dRegionStart = 90.0, operation.m_dRegionEnd = 80.0;
    EXPECT_EQ(refusal(), regionOrderText);
    operation.m_nRegionMode = regionWholeFile;

    // A channel that the user names must be empty.
    doc->eventChannels[3].AddEvent(1, 2);
    ParamList params = operation.Params();
    ASSERT_EQ(params.Find("destination")->SetFromText("d"), "");
    EXPECT_EQ(refusal(), channelNotEmptyText);
    ASSERT_EQ(params.Find("destination")->SetFromText("e"), "");
    EXPECT_EQ(operation.Validate(), "");

    // With letters only 26 channels are offered.
    session.options.eventChannelMode = 26;
    for (int channel = 0; channel < 26; ++channel)
        doc->eventChannels[static_cast<size_t>(channel)].AddEvent(1, 2);
    EXPECT_EQ(refusal(), "There are no empty event channels to store results in. Cancelling.");
}

TEST_F(DetectSpikesTest, ADestinationFromAFileIsNotMoved) {
    CDetectSpikes saved;
    saved.m_nDestination = 3;
    ASSERT_TRUE(SaveConfig(session, saved, "/outliers.kymr-cfg"));
    doc->eventChannels[3].AddEvent(1, 2);
    ASSERT_TRUE(LoadConfig(session, operation, "/outliers.kymr-cfg"));
    EXPECT_EQ(operation.m_nDestination, 3);
    EXPECT_FALSE(operation.Run());
    EXPECT_EQ(doc->GetNumEvents(3), 1);
}

TEST_F(DetectSpikesTest, TheCursorsOfTheViewAreTheNoise) {
    CKymoraView view(*doc);
    view.OnSize(900, 560);
    view.OnInitialUpdate();
    operation.CheckChangeView(&view);
    const std::vector<double> times = view.GetCursorTimes();
    if (times.size() >= 2) {
        EXPECT_EQ(operation.m_dNoiseStart, times[0]);
        EXPECT_EQ(operation.m_dNoiseEnd, times[1]);
    } else {
        EXPECT_EQ(operation.m_dNoiseEnd, 60.0);
        EXPECT_EQ(operation.Guides().size(), 4u);
    }
    EXPECT_TRUE(host.WasSilent());
}

TEST_F(DetectSpikesTest, TheRecordOfItsSettings) {
    Bytes bytes;
    bytes.Wide(u"CDetectSpikes").U32(1).U32(0);
    bytes.U32(3).I32(0).I32(1).I32(2).I32(4).Wide(u"").Wide(u"").U8(0).I32(0);
    bytes.U32(1).I32(0).I32(2).F64(1).F64(2);
    bytes.U32(1).F64(3.5).F64(4.5).F32(2.5f).I32(2);
    operation.TakeSettings(bytes.data);
    EXPECT_EQ(operation.m_dNoiseEnd, 4.5);
    EXPECT_EQ(operation.m_fMultiplier, 2.5f);
    EXPECT_EQ(operation.m_nDirection, 2);
    EXPECT_EQ(operation.Settings(), bytes.data);
}

}  // namespace
}  // namespace kymora::test
