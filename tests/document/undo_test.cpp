#include "document/undo.h"

#include "display/axis_edits.h"
#include "display/kymora_view.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

class UndoTest : public ViewTest {
  protected:
    void SetUp() override {
        doc = Ramp(2, 10000);
        chan = &doc->eventChannels[3];
        for (const int32_t on : {10, 20, 30}) chan->AddEvent(on, on + 5);
        chan->SetEventExtra({{1.0f, 2.0f, 3.0f}, {4.0f, 5.0f, 6.0f}, {7.0f, 8.0f, 9.0f}});
        doc->SetModifiedFlag(false);
    }
    std::vector<int32_t> Onsets() const {
        std::vector<int32_t> onsets;
        for (const CEventKM& event : chan->Events()) onsets.push_back(event.onPosition);
        return onsets;
    }

    std::unique_ptr<MemoryDoc> doc;
    CEventChan* chan = nullptr;
};

TEST_F(UndoTest, SingleEventEditsComeBackWithTheirExtraTable) {
    {
        UndoScope edit(*doc, "Edit events");
        EXPECT_TRUE(edit.AddEvent(3, {20, 22}));  // behind its equal
        EXPECT_TRUE(edit.DeleteEvent(3, 0));
        EXPECT_TRUE(edit.ReplaceEvent(3, 2, {5, 9}));  // the event at 30 moves to the front
        EXPECT_FALSE(edit.DeleteEvent(3, 99));
        EXPECT_FALSE(edit.AddEvent(maxEventChannels, {1, 2}));
    }
    EXPECT_EQ(Onsets(), (std::vector<int32_t>{5, 20, 20}));
    EXPECT_TRUE(chan->EventExtra().empty());
    EXPECT_TRUE(doc->IsModified());
    const std::vector<CEventKM> after = chan->Events();

    EXPECT_EQ(doc->Undo().UndoName(), "Edit events");
    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(Onsets(), (std::vector<int32_t>{10, 20, 30}));
    ASSERT_EQ(chan->EventExtra().size(), 3u);
    EXPECT_EQ(chan->EventExtra()[2][1], 8.0f);
    EXPECT_FALSE(doc->Undo().Undo());

    ASSERT_TRUE(doc->Undo().Redo());
    EXPECT_EQ(chan->Events(), after);
    EXPECT_TRUE(chan->EventExtra().empty());
    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(Onsets(), (std::vector<int32_t>{10, 20, 30}));
}

// What was undone to the saved state needs no save; what the history was told, or what cannot be taken back,
// does.
TEST_F(UndoTest, TheSavedStateIsUnmodifiedHoweverItIsReached) {
    const auto add = [&](bool notes = false) {
        UndoScope edit(*doc, "Add");
        edit.AddEvent(3, {50, 55});
        if (notes) edit.NoteInHistory();
    };
    const auto expect = [&](bool modified, const char* when) {
        EXPECT_EQ(doc->IsModified(), modified) << when;
    };
    doc->historyLog = "read from the file";
    add();
    expect(true, "edited");
    doc->Undo().Undo();
    expect(false, "undone to the file");
    doc->Undo().Redo();
    expect(true, "redone");
    doc->SetModifiedFlag(false);  // saved here
    add();
    doc->Undo().Undo();
    expect(false, "undone to the save");
    doc->Undo().Undo();
    expect(true, "undone past the save");
    doc->Undo().Redo();
    expect(false, "redone to the save");
    doc->Undo().Undo();
    add();  // the saved state is none of the steps any more
    doc->Undo().Undo();
    expect(true, "the save is out of reach");
    doc->SetModifiedFlag(false);
    add(true);
    doc->Undo().Undo();
    expect(true, "the history has two lines more");
    doc->SetModifiedFlag(false);
    doc->SetModifiedFlag();  // a change that no step takes back
    add();
    doc->Undo().Undo();
    expect(true, "changed otherwise");
    doc->SetModifiedFlag(false);
    for (int i = 0; i < 300; ++i) add();  // more than are kept
    while (doc->Undo().Undo()) {
    }
    expect(true, "the oldest steps are forgotten");
}

TEST_F(UndoTest, ChannelsMarkersAndBarsComeBackWhole) {
    {
        UndoScope edit(*doc, "Clear");
        edit.KeepChannel(3);
        edit.KeepChannelSettings(4);
        edit.KeepMarkers();
        edit.KeepScaleBars();
        chan->Clear();
        chan->channelLocked = true;
        doc->eventChannels[4].channelLabel = "gate";
        doc->eventChannels[4].AddEvent(1, 2);  // not kept: settings alone are
        doc->InsertMarker({5.0, "here"});
        doc->scaleBars[0].single.m_nWidth = 3;
    }
    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(Onsets(), (std::vector<int32_t>{10, 20, 30}));
    EXPECT_FALSE(chan->channelLocked);
    EXPECT_EQ(chan->EventExtra().size(), 3u);
    EXPECT_EQ(doc->eventChannels[4].channelLabel, "");
    EXPECT_EQ(doc->GetNumEvents(4), 1);
    EXPECT_TRUE(doc->markers.empty());
    EXPECT_EQ(doc->scaleBars[0].single.m_nWidth, 0);
    ASSERT_TRUE(doc->Undo().Redo());
    EXPECT_EQ(doc->markers.size(), 1u);
    EXPECT_TRUE(chan->channelLocked);
    EXPECT_EQ(doc->GetNumEvents(3), 0);
}

TEST_F(UndoTest, NothingChangedIsNoStepAndANewStepForgetsTheRedo) {
    {
        UndoScope edit(*doc, "Look");
        edit.KeepChannel(3);
        edit.KeepMarkers();
    }
    EXPECT_FALSE(doc->Undo().CanUndo());
    EXPECT_FALSE(doc->IsModified());

    for (const double time : {1.0, 2.0}) {
        UndoScope edit(*doc, "Add");
        UndoScope inner(*doc, "inner");  // belongs to the outer one
        inner.KeepMarkers();
        doc->InsertMarker({time, ""});
    }
    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(doc->Undo().RedoName(), "Add");
    {
        UndoScope edit(*doc, "Other");
        edit.KeepMarkers();
        doc->markers.clear();
    }
    EXPECT_FALSE(doc->Undo().CanRedo());
    EXPECT_EQ(doc->Undo().UndoName(), "Other");
}

TEST_F(UndoTest, ManyStepsAndMuchMemoryDropTheOldest) {
    for (int i = 0; i < 250; ++i) {
        UndoScope edit(*doc, "step");
        edit.KeepMarkers();
        doc->InsertMarker({static_cast<double>(i), ""});
    }
    int undone = 0;
    while (doc->Undo().Undo()) ++undone;
    EXPECT_EQ(undone, 200);
    EXPECT_EQ(doc->markers.size(), 50u);

    CEventChan& big = doc->eventChannels[5];
    for (int32_t i = 0; i < 1500000; ++i) big.AddEvent(i, i + 1);
    for (int round = 0; round < 12; ++round) {  // about 48 MB each
        UndoScope edit(*doc, "clear");
        edit.KeepChannel(5);
        big.channelColour = static_cast<uint32_t>(round + 1);
    }
    undone = 0;
    while (doc->Undo().Undo()) ++undone;
    EXPECT_LT(undone, 8);
    EXPECT_GE(undone, 1);
}

TEST_F(UndoTest, DisplaySettingsGoWithTheirView) {
    doc->view.viewEnd = 1000.0;
    auto view = std::make_unique<CKymoraView>(*doc);
    view->OnSize(800, 400);
    view->OnInitialUpdate();
    view->Set(&ViewSettings::m_bShowGrid, !view->m_bShowGrid, "Grid");
    view->m_axes[0].m_dMax = 8.0;
    view->m_axes[0].m_dMin = -8.0;
    DecreaseGain(*view, false);
    EXPECT_EQ(view->m_axes[0].m_dMax, 16.0);
    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(view->m_axes[0].m_dMax, 8.0);
    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_TRUE(view->m_bShowGrid);
    ASSERT_TRUE(doc->Undo().Redo());
    EXPECT_FALSE(view->m_bShowGrid);
    doc->SetModifiedFlag(false);
    view->Set(&ViewSettings::m_bInactiveSections, !view->m_bInactiveSections,
              "Inactive data sections");  // no file keeps it
    EXPECT_FALSE(doc->IsModified());
    view.reset();
    EXPECT_FALSE(doc->Undo().CanUndo() || doc->Undo().CanRedo());
}

TEST_F(UndoTest, LargeListsCountWithAllTheirTexts) {
    constexpr size_t size = size_t{100} << 20;  // two of them are within the memory that steps may take
    doc->markers.push_back({0.0, std::string(size, 'x')});
    for (int i = 1; i <= 3; ++i) {
        UndoScope edit(*doc, "Move marker");
        edit.KeepMarkers();
        doc->markers[0].m_dTime = i;
    }
    int steps = 0;
    while (doc->Undo().Undo()) ++steps;
    EXPECT_EQ(steps, 2);
    EXPECT_EQ(doc->markers[0].m_dTime, 1.0);
}

}  // namespace
}  // namespace kymora::test
