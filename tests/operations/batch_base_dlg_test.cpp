#include "operations/batch_base_dlg.h"

#include <stdexcept>

#include "host/user_numbers.h"
#include "support/memory_doc.h"
#include "support/test_operation.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

class BatchBaseDlgTest : public ViewTest {
  protected:
    void SetUp() override {
        doc = Ramp(2, 1000);
        doc->filePath = "/data/recording.kymr-dat";
        operation.CheckChangeDoc(doc.get());
        doc->SetModifiedFlag(false);
    }
    CEventChan& Channel(int channel) { return doc->eventChannels[static_cast<size_t>(channel)]; }

    std::unique_ptr<MemoryDoc> doc;
    TestOperation operation;
};

TEST_F(BatchBaseDlgTest, ARunIsOneStepOfUndoAndTellsTheHistory) {
    operation.m_strLabel = "spikes";
    operation.m_strDescription = "mine";
    operation.m_bAppendParams = true;
    doc->historyLog = "made elsewhere";
    Channel(5).AddEvent(7, 9);
    ASSERT_TRUE(operation.Run());
    ASSERT_EQ(Channel(5).GetNumEvents(), 1);
    EXPECT_EQ(Channel(5).Events()[0].offPosition, 1000);
    EXPECT_EQ(Channel(5).detectionMethod, methodThreshold);
    EXPECT_EQ(Channel(5).channelLabel, "spikes");
    const std::string report = "Analysis region: whole file\r\nSource event channel: a\r\n"
                               "Destination event channel: f\r\nTest\r\n";
    EXPECT_EQ(Channel(5).channelComment, "mine\r\n" + report);
    EXPECT_EQ(doc->historyLog, "made elsewhere\r\n\r\nTest operation\r\n" + report + "\r\n");
    EXPECT_TRUE(doc->IsModified());

    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(Channel(5).Events()[0].onPosition, 7);
    EXPECT_EQ(Channel(5).channelLabel, "");
    EXPECT_TRUE(doc->historyLog.ends_with("\r\n\r\nUndo: Test operation\r\n\r\n"));
    ASSERT_TRUE(doc->Undo().Redo());
    EXPECT_EQ(Channel(5).Events()[0].offPosition, 1000);
    EXPECT_TRUE(doc->historyLog.ends_with("Undo: Test operation\r\n\r\nRedo: Test operation\r\n\r\n"));
}

TEST_F(BatchBaseDlgTest, AnAbandonedRunLeavesNothingBehind) {
    Channel(5).AddEvent(7, 9);
    doc->SetModifiedFlag(false);
    operation.then = [] { return false; };
    EXPECT_FALSE(operation.Run());
    EXPECT_EQ(Channel(5).Events()[0].onPosition, 7);
    EXPECT_EQ(doc->historyLog, "");
    EXPECT_FALSE(doc->IsModified());
    EXPECT_FALSE(doc->Undo().CanUndo());

    operation.then = []() -> bool { throw FileError("The disk is gone.", 5); };
    EXPECT_FALSE(operation.Run());
    EXPECT_EQ(host.messages.back().text, "The disk is gone.");
    EXPECT_EQ(Channel(5).Events()[0].onPosition, 7);

    operation.then = []() -> bool { throw std::runtime_error("No memory."); };
    EXPECT_THROW(operation.Run(), std::runtime_error);
    EXPECT_EQ(Channel(5).Events()[0].onPosition, 7);
    EXPECT_EQ(doc->historyLog, "");
    EXPECT_FALSE(doc->Undo().CanUndo());
}

TEST_F(BatchBaseDlgTest, WhatCannotBeIsRefusedWithItsWordsAndChangesNothing) {
    const auto refusal = [&] {
        host.messages.clear();
        EXPECT_FALSE(operation.Run());
        EXPECT_EQ(doc->historyLog, "");
        return host.messages.size() == 1 ? host.messages[0].text : std::string("no message");
    };
    operation.m_nCount = 12;
    EXPECT_EQ(refusal(), "\"Count\" must be a whole number from 1 to 9.");
    RunMessages messages;
    operation.SendMessagesTo(&messages);
    EXPECT_EQ(refusal(), "no message");
    ASSERT_EQ(messages.size(), 1u) << "a batch collects what would have been said";
    EXPECT_EQ(messages[0].from, RunMessage::From::refusal);
    EXPECT_EQ(messages[0].title, "Test operation");
    operation.SendMessagesTo(nullptr);
    operation.m_nCount = 3;
    // What is switched off is not looked at.
    operation.m_fFollower = std::numeric_limits<float>::quiet_NaN();
    EXPECT_EQ(operation.Validate(), "");

    operation.m_nTrace = 2;
    EXPECT_EQ(refusal(), noSuchTraceText);
    operation.m_nTrace = 0;
    operation.m_nDestination = 0;
    EXPECT_EQ(refusal(), channelIsSourceText);
    doc->episodic = true;
    Channel(0).AddEvent(0, 1);
    EXPECT_EQ(refusal(), destinationMarksEpisodesText);
    doc->episodic = false;
    operation.m_nDestination = 5;
    Channel(5).channelLocked = true;
    EXPECT_EQ(refusal(), lockedChannelText);
    Channel(5).channelLocked = false;

    operation.m_nRegionMode = regionUserSet;
    operation.m_dRegionStart = 400.0, operation.m_dRegionEnd = 300.0;
    EXPECT_EQ(refusal(), "The start time must be before the end time.");
    EXPECT_EQ(operation.m_dRegionEnd, 410.0);
    operation.m_dRegionStart = 5000.0, operation.m_dRegionEnd = 6000.0;
    EXPECT_EQ(refusal(), emptyRegionText);

    operation.CheckChangeDoc(nullptr);
    EXPECT_FALSE(operation.Run());
    EXPECT_EQ(operation.GetRegion(), (SampleSpan{-1, -1}));
}

TEST_F(BatchBaseDlgTest, RegionsBecomeSamples) {
    EXPECT_EQ(operation.GetRegion(), (SampleSpan{0, 1000}));
    operation.m_nRegionMode = regionUserSet;
    operation.m_dRegionStart = 10.5, operation.m_dRegionEnd = 200.4;  // an interval of 1 ms
    EXPECT_EQ(operation.GetRegion(), (SampleSpan{11, 200}));
    operation.m_dRegionStart = -50.0, operation.m_dRegionEnd = 1e9;
    EXPECT_EQ(operation.GetRegion(), (SampleSpan{0, 1000}));

    operation.m_nRegionMode = regionVisible;
    doc->view.viewStart = 100.0, doc->view.viewEnd = 250.0;
    EXPECT_EQ(operation.GetRegion(), (SampleSpan{100, 250}));
    CKymoraView view(*doc);
    view.OnSize(900, 560);
    view.OnInitialUpdate();
    view.ChangeViewport({300.0, 399.6});
    operation.CheckChangeView(&view);
    EXPECT_EQ(operation.GetRegion(), (SampleSpan{300, 400}));
    std::string text;
    operation.GetParamText(text);
    EXPECT_TRUE(
        text.starts_with("Analysis region: visible screen:\r\n\tStart = 300.000000, End = 399.600000\r\n"));
    // A file that was never shown.
    operation.CheckChangeView(nullptr);
    doc->view.viewEnd = -1.0;
    EXPECT_EQ(operation.GetRegion(), (SampleSpan{0, 1000}));
}

TEST_F(BatchBaseDlgTest, TheLeastEndOfARegionIsAHundredSamples) {
    EXPECT_EQ(operation.m_dRegionEnd, 100.0);
    const auto slow = MemoryDoc::Make(session, {std::vector<float>(5000)}, 20.0);
    operation.CheckChangeDoc(slow.get());
    EXPECT_EQ(operation.m_dRegionEnd, 2000.0);
    EXPECT_EQ(operation.Params().Find("regionEnd")->least, 2000.0);
}

TEST_F(BatchBaseDlgTest, TheSourceChannelBringsItsTraceAndTexts) {
    Channel(3).parentTrace = 1;
    Channel(3).channelComment = "about c";
    Channel(3).channelLabel = "units";
    Channel(4).parentTrace = 77;
    ParamList params = operation.Params();
    ASSERT_EQ(params.Find("channel1")->SetFromText("d"), "");
    EXPECT_EQ(operation.m_nTrace, 1);
    EXPECT_EQ(operation.m_strDescription, "about c");
    EXPECT_EQ(operation.m_strLabel, "units");
    EXPECT_EQ(operation.traceChanges, 1);
    ASSERT_EQ(params.Find("channel1")->SetFromText("4"), "");
    EXPECT_EQ(operation.m_nTrace, 1);  // the last trace
    ASSERT_EQ(params.Find("channel1")->SetFromText("a"), "");
    EXPECT_EQ(operation.m_nTrace, 0);  // no parent
    ASSERT_EQ(params.Find("destination")->SetFromText("g"), "");
    EXPECT_EQ(operation.channelChanges, (std::vector<int>{1, 1, 1, 0}));

    Channel(0).AddEvent(1, 2);
    EXPECT_EQ(operation.Params().Find("channel1")->shown(), "1 event");
    for (int i = 0; i < 1202; ++i) Channel(0).AddEvent(i, i + 1);
    EXPECT_EQ(operation.Params().Find("channel1")->shown(), "1,203 events");
}

TEST_F(BatchBaseDlgTest, TheFirstDestinationHoldsNoEvents) {
    operation.m_nDestination = 0;
    operation.SuggestSettings();
    EXPECT_EQ(operation.m_nDestination, 0);
    Channel(0).AddEvent(1, 2), Channel(1).AddEvent(1, 2);
    operation.SuggestSettings();
    EXPECT_EQ(operation.m_nDestination, 2);
    // The user's own choice stays.
    ASSERT_EQ(operation.Params().Find("destination")->SetFromText("a"), "");
    operation.SuggestSettings();
    EXPECT_EQ(operation.m_nDestination, 0);
}

}  // namespace
}  // namespace kymora::test
