#include "catalogue/windows/live_run.h"

#include <gtest/gtest.h>

#include <QSignalSpy>
#include <QTest>

#include "document/undo.h"
#include "histograms/event_hist.h"
#include "histograms/hist_trace_val.h"
#include "support/memory_doc.h"
#include "support/session_fixture.h"
#include "trains/stim_resp_raster.h"

namespace kymora::test {
namespace {

struct LiveRunTest : SessionTest {
    static bool May() { return true; }
    static size_t Bars(CHistBase& block) { return block.GetGraph()->panes[0].layers.at(0).y.size(); }
};

TEST_F(LiveRunTest, FollowsSettingsAndTheRecordingAndSaysWhatItRefuses) {
    auto doc = MemoryDoc::MakeEmpty(session, 10000, 0.1);
    CEventHist hist;
    hist.CheckChangeDoc(doc.get());
    LiveRun live(hist, May, nullptr);
    QSignalSpy ran(&live, &LiveRun::Ran);
    live.Restart();
    ASSERT_TRUE(ran.wait());
    EXPECT_TRUE(live.HasFailed());
    EXPECT_EQ(live.Words(), "There are no events in channel a.");
    EXPECT_TRUE(host.messages.empty()) << "nobody has pressed a button";

    for (const int on : {100, 300, 900}) doc->eventChannels[0].AddEvent(on, on + 1);
    live.Outdate();
    live.Restart();
    ASSERT_TRUE(ran.wait());
    EXPECT_FALSE(live.HasFailed());
    EXPECT_EQ(Bars(hist), 50u);
    // Its own fall-backs are no change.
    live.Restart();
    EXPECT_FALSE(ran.wait(100));
    hist.m_hist.binCount = 7;
    live.Restart();
    ASSERT_TRUE(ran.wait());
    EXPECT_EQ(Bars(hist), 7u);
    live.Stop();
    hist.CheckChangeDoc(nullptr);
}

TEST_F(LiveRunTest, WhatChangesTheRecordingWaitsUntilItIsAskedFor) {
    auto doc = MemoryDoc::MakeEmpty(session, 10000, 0.1);
    for (const int on : {100, 900}) doc->eventChannels[0].AddEvent(on, on + 1);
    doc->eventChannels[1].AddEvent(150, 151);
    CStimRespRaster raster;
    raster.CheckChangeDoc(doc.get());
    LiveRun live(raster, May, nullptr);
    QSignalSpy ran(&live, &LiveRun::Ran);
    live.Restart();
    ASSERT_TRUE(ran.wait());
    raster.m_dSelectEnd = 50.0;
    raster.m_nLastStimulus = 2;
    raster.m_bTag = true;
    live.Restart();
    EXPECT_FALSE(ran.wait(100));
    EXPECT_EQ(doc->eventChannels[1].Events()[0].eventTag, 0);
    live.RunNow();
    EXPECT_EQ(doc->eventChannels[1].Events()[0].eventTag, 1);
    EXPECT_EQ(doc->Undo().UndoName(), "Stimulus-response latency raster");
    live.Stop();
    raster.CheckChangeDoc(nullptr);
}

TEST_F(LiveRunTest, AChangeEndsALongRunAndBeginsAnother) {
    auto doc = MemoryDoc::Generate(session, 1, 3'000'000,
                                   [](int, int64_t index) { return static_cast<float>(index % 1000); });
    CHistTraceVal hist;
    hist.CheckChangeDoc(doc.get());
    LiveRun live(hist, May, nullptr);
    QSignalSpy ran(&live, &LiveRun::Ran), progressed(&live, &LiveRun::Progressed);
    live.Restart();
    ASSERT_TRUE(progressed.wait());
    for (const int bins : {11, 12, 13}) {
        hist.m_hist.binCount = bins;
        live.Restart();
        QTest::qWait(20);
    }
    ASSERT_TRUE(QTest::qWaitFor([&] { return !ran.isEmpty() && Bars(hist) == 13; }, 20000));
    EXPECT_EQ(hist.m_hist.binCount, 13) << "what was set meanwhile stays";
    EXPECT_FALSE(live.Now()) << "no strip is left";
    // The document goes while one is under way.
    hist.m_hist.binCount = 14;
    live.Restart();
    QTest::qWait(20);
    live.Stop();
    hist.CheckChangeDoc(nullptr);
    EXPECT_FALSE(live.Now());
}

}  // namespace
}  // namespace kymora::test
