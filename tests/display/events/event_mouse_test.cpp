#include <fmt/format.h>

#include "display/events/event_view_fixture.h"

namespace kymora::test {
namespace {

class EventMouseTest : public EventViewTest {
  protected:
    // Each press, move and release of a drag is the same step; ESC in its midst leaves no trace.
    void ExpectEscapable(int from, int to) {
        const ChannelState before = State();
        const bool couldUndo = doc->Undo().CanUndo();
        Press(from), MoveTo((from + to) / 2), MoveTo(to);
        ASSERT_TRUE(view->Mouse().Drag());
        RecordingDevice device;
        DrawFeedback(view->Plot(), device);
        view->Escape();
        EXPECT_FALSE(view->Mouse().Drag());
        Release(to);
        EXPECT_TRUE(State() == before);
        EXPECT_EQ(doc->Undo().CanUndo(), couldUndo);
    }
};

// --- the normal mode ---

TEST_F(EventMouseTest, EdgesAreDraggedAndHeldApart) {
    Open();
    Add(1100, 1150);
    Chan().SetEventExtra({{1.0f, 2.0f, 3.0f}});
    ExpectEscapable(1151, 1400);
    ChannelState before = State();
    Click(1151);  // a click moves nothing, though it is a pixel off the edge
    ExpectUntouched(before);

    Drag(1151, 1171);  // by 20, wherever the hand took hold of it
    EXPECT_EQ(SpansOf(), (Spans{{1100, 1170}}));
    EXPECT_TRUE(Chan().EventExtra().empty());
    ExpectUndone(before, "Stretch event");
    doc->Undo().Undo();

    before = State();
    Drag(1099, 1180);  // the onset stops a sample before the end
    EXPECT_EQ(SpansOf(), (Spans{{1149, 1150}}));
    ExpectUndone(before, "Stretch event");
    doc->Undo().Undo();
    Drag(1150, 1020);  // and the end a sample behind the onset
    EXPECT_EQ(SpansOf(), (Spans{{1100, 1101}}));
    EXPECT_EQ(window->status, "");
}

TEST_F(EventMouseTest, EndsOfTheRecordingHoldEvents) {
    Open(9500.0, 10300.0);
    Add(9600, 9700);
    view->Mouse().Down({70 + 200, rowY});  // its end
    view->Mouse().Move({860, rowY});
    EXPECT_EQ(window->status, "Channel c: 9600.000 ms to 10000.000 ms, duration 400.000 ms");
    view->Mouse().Up({860, rowY});
    EXPECT_EQ(SpansOf(), (Spans{{9600, 10000}}));
    view->SetMouseMode(mouseMoveEvents);
    view->Mouse().Down({200, rowY});
    view->Mouse().Up({700, rowY});
    EXPECT_EQ(SpansOf(), (Spans{{9600, 10000}}));
}

TEST_F(EventMouseTest, EventsOutsideTheRecordingMoveInOnly) {
    Open(0.0, 800.0, 500);
    Chan().AddEvent(450, 700);
    doc->UpdateAllViews(UpdateHint::events);
    const int index[] = {0};
    EXPECT_EQ(HeldShift(*doc, c, index, 10), 0);
    EXPECT_EQ(HeldShift(*doc, c, index, -1000), -450);
    Chan().ReplaceEvent(0, {-30, 40});
    EXPECT_EQ(HeldShift(*doc, c, index, -10), 0);
    EXPECT_EQ(HeldShift(*doc, c, index, 1000), 460);
}

TEST_F(EventMouseTest, BodySelectsAndOpensItsChannelsEvent) {
    Open();
    Add(1100, 1150);
    Add(1300, 1400, 0, "", 4);
    const ChannelState before = State();
    view->m_nMouseEventChan = 0;
    Press(1125), MoveTo(1225), Release(1225);
    EXPECT_EQ(SpansOf(), (Spans{{1100, 1150}}));
    EXPECT_EQ(view->m_nMouseEventChan, c);
    ExpectUntouched(before);
}

TEST_F(EventMouseTest, DoubleClickOpensTheEvent) {
    Open();
    Add(1100, 1150, 2, "old");
    ChannelState before = State();
    Fill([](Form& form) {
        EXPECT_EQ(form.title, "Event properties");
        EXPECT_EQ(form.Number("onset"), 1100.0);
        EXPECT_EQ(form.Number("duration"), 50.0);
        EXPECT_EQ(form.Text("label"), "old");
        form["onset"].number = 1199.6;
        form["value"].number = 2.5;
        form["label"].text = "new";
        form["ownColour"].flag = true;
        form["colour"].colour = 0;  // black, which is not the channel's colour
    });
    view->Mouse().DoubleClick({X(1125), rowY});
    ASSERT_EQ(SpansOf(), (Spans{{1200, 1250}}));
    const CEventKM& event = Chan().Events()[0];
    EXPECT_EQ(event.eventValue, 2.5f);
    EXPECT_EQ(event.eventLabel.View(), "new");
    EXPECT_NE(event.eventColour, 0u);
    ExpectUndone(before, "Event properties");

    doc->Undo().Undo();
    Fill([](Form&) {});  // accepted as it stands
    view->Mouse().DoubleClick({X(1125), rowY});
    EXPECT_TRUE(State() == before);
    Fill([](Form& form) {
        form["onset"].number = 10000.0;  // the recording ends before
    });
    view->Mouse().DoubleClick({X(1125), rowY});
    EXPECT_FALSE(host.formFault.empty());
    EXPECT_TRUE(State() == before);
}

TEST_F(EventMouseTest, RowFollowsItsName) {
    withNames = true;
    Open();
    Add(1100, 1150);
    RecordingDevice device;
    DrawEventNames(view->Plot(), device);
    const int y = EventRowY(view->Plot(), c);
    ASSERT_LT(view->Plot().drawn.eventRows.names.at(c).right, view->Plot().layout.plot.left);
    const ChannelState before = State();
    view->Mouse().Down({6, y});
    EXPECT_TRUE(view->Mouse().Drag());
    view->Mouse().Move({6, y + 100});
    EXPECT_EQ(EventRowY(view->Plot(), c), y + 100);
    view->Escape();
    ExpectUntouched(before);
    view->Mouse().Down({6, y});
    view->Mouse().Move({90, 5000});
    view->Mouse().Up({90, 5000});
    EXPECT_EQ(Chan().GetDisplayPosition(), 0.95);
    ExpectUndone(before, "Move event channel");
    // The name stands elsewhere now.
    DrawEventNames(view->Plot(), device);
    view->Mouse().Down({6, y});
    EXPECT_EQ(Chan().GetDisplayPosition(), 0.95);
}

TEST_F(EventMouseTest, LockedChannelRefusesOnceAndKeepsAll) {
    Open();
    Add(1100, 1150, 1, "label");
    Add(1200, 1250);
    Chan().channelLocked = true;
    const ChannelState before = State();
    const int modes[] = {mouseNormal,       mouseMergeEvents, mouseDeleteChannel,
                         mouseDeleteEvents, mouseInsertFirst, 5,
                         mouseInsertLast,   mouseAddTag,      mouseDeleteTag,
                         mouseEditLabel,    mouseClearLabel,  mouseColourEvents,
                         mouseStretch,      mouseEventGroup,  mouseMoveEvents};
    for (const int mode : modes) {
        view->SetMouseMode(mode);
        host.Forget();
        Drag(1150, 1250);
        ASSERT_EQ(host.messages.size(), 1u) << mode;
        EXPECT_EQ(host.LastMessage(), lockedChannelText);
        EXPECT_TRUE(host.questions.empty() && host.forms.empty());
    }
    for (const char* id : {"event-delete-all", "event-delete-tagged", "event-keep-tagged",
                           "event-delete-viewport", "event-merge-close", "event-insert-times"}) {
        host.Forget();
        Run(id);
        EXPECT_EQ(host.messages.size(), 1u) << id;
    }
    ExpectUntouched(before);
}

// --- the modes ---

TEST_F(EventMouseTest, MergingMakesOneEventOfThoseTouched) {
    Open();
    Add(1100, 1400);
    Add(1110, 1120, 5);
    Add(1300, 1350, 0, "late");
    Add(1500, 1510);
    Add(1600, 1610);
    view->SetMouseMode(mouseMergeEvents);
    ExpectEscapable(1130, 1505);
    const ChannelState before = State();
    Drag(1130, 1505);  // the second one is not touched
    EXPECT_EQ(SpansOf(), (Spans{{1100, 1510}, {1110, 1120}, {1600, 1610}}));
    EXPECT_EQ(Chan().Events()[0].eventLabel.View(), "late");
    EXPECT_EQ(Chan().Events()[0].eventTag, 0);
    ExpectUndone(before, "Merge events in channel");
    Click(1600);  // one alone stays
    EXPECT_EQ(Chan().GetNumEvents(), 3);
    Drag(1115, 1130);  // the first one reaches farther
    EXPECT_EQ(SpansOf(), (Spans{{1100, 1510}, {1600, 1610}}));
    EXPECT_EQ(view->m_nMouseMode, mouseMergeEvents);
}

TEST_F(EventMouseTest, DeletingAsksForMoreThanOne) {
    Open();
    Add(1100, 1110), Add(1200, 1210), Add(1300, 1310), Add(1400, 1410);
    view->SetMouseMode(mouseDeleteEvents);
    Click(1205);
    EXPECT_TRUE(host.questions.empty());
    EXPECT_EQ(SpansOf(), (Spans{{1100, 1110}, {1300, 1310}, {1400, 1410}}));
    host.answer = false;
    Drag(1050, 1305);
    ASSERT_EQ(host.questions.size(), 1u);
    EXPECT_EQ(host.questions[0].text, "Delete 2 events of channel c?");
    EXPECT_EQ(Chan().GetNumEvents(), 3);
    host.answer = true;
    const ChannelState before = State();
    Drag(1305, 1050);  // from right to left, from within an event
    EXPECT_EQ(SpansOf(), (Spans{{1400, 1410}}));
    ExpectUndone(before, "Delete events");
    Click(1500), Drag(1500, 1550), Drag(1300, 1500, rowY + 30);  // nothing there
    EXPECT_EQ(SpansOf(), (Spans{{1400, 1410}}));
}

TEST_F(EventMouseTest, DeletingAChannelForgetsItsLabel) {
    Open();
    Add(1100, 1110), Add(1200, 1210);
    Chan().channelLabel = "spikes";
    Chan().SetEventExtra({{1, 2, 3}, {4, 5, 6}});
    const ChannelState before = State();
    view->SetMouseMode(mouseDeleteChannel);
    host.nextAnswers = {false};
    Click(1205);
    ExpectUntouched(before);
    Click(1205);
    EXPECT_EQ(Chan().GetNumEvents(), 0);
    EXPECT_EQ(Chan().channelLabel, "");
    ExpectUndone(before, "Delete event channel");
}

TEST_F(EventMouseTest, InsertingThreeKinds) {
    Open();
    session.eventInsertion.durationMs = 20.0;
    session.eventInsertion.value = 1.5f;
    session.eventInsertion.tag = 7;
    session.eventInsertion.label = "by hand";
    const ChannelState before = State();
    view->SetMouseMode(mouseInsertFirst);
    Click(1100, 50);  // anywhere in the plot
    ExpectUndone(before, "Insert event");
    EXPECT_EQ(Chan().Events()[0], (CEventKM{1100, 1120, 1.5f, 7, 0, "by hand"}));
    session.eventInsertion.centred = true;
    Click(1100, 50);  // around the click, and before the other one
    view->SetMouseMode(mouseInsertFirst + 1);
    ExpectEscapable(1400, 1450);
    Drag(1450, 1400);
    Click(1500);  // at least a sample
    view->SetMouseMode(mouseInsertLast);
    Click(1300);
    EXPECT_EQ(SpansOf(), (Spans{{1090, 1110}, {1100, 1120}, {1300, 1301}, {1400, 1450}, {1500, 1501}}));
    view->Mouse().Down({30, 50});  // beside the plot
    EXPECT_EQ(Chan().GetNumEvents(), 5);
    view->Mouse().DoubleClick({X(1200), 50});  // of two quick clicks each inserts
    EXPECT_EQ(Chan().GetNumEvents(), 6);
    // A letter goes to its channel, also a hidden one, which is shown then.
    Chan(5).channelVisible = 0;
    const Command* letter = FindCommand(*view, Key{KeyCode::character, 'f'});
    ASSERT_TRUE(letter);
    EXPECT_EQ(letter->id, "event-channel-f");
    RunCommand(*letter, {*view});
    const ChannelState hidden = State(5);
    Click(1300);
    EXPECT_EQ(SpansOf(5), (Spans{{1300, 1301}}));
    EXPECT_EQ(Chan(5).channelVisible, 1);
    ExpectUndone(hidden, "Insert event", 5);
}

TEST_F(EventMouseTest, InsertedEventsStayInTheRecording) {
    Open(9500.0, 10300.0);
    session.eventInsertion.durationMs = 200.0;
    view->SetMouseMode(mouseInsertFirst);
    view->Mouse().Down({70 + 450, rowY});
    view->Mouse().Down({70 + 700, rowY});  // behind the end
    view->SetMouseMode(mouseInsertFirst + 1);
    view->Mouse().Down({70 + 490, rowY}), view->Mouse().Up({70 + 700, rowY});
    view->Mouse().Down({70 + 600, rowY}), view->Mouse().Up({70 + 700, rowY});
    EXPECT_EQ(SpansOf(), (Spans{{9950, 10000}, {9990, 10000}, {9999, 10000}, {9999, 10000}}));
    session.eventInsertion.durationMs = 0.0;
    session.eventInsertion.centred = true;
    EXPECT_EQ(FixedStretch(*doc, 0.0), (RowStretch{0, 1}));
    session.eventInsertion.durationMs = 50.0;
    EXPECT_EQ(FixedStretch(*doc, 10.0), (RowStretch{0, 35}));
}

TEST_F(EventMouseTest, TagsLabelsAndColoursKeepTheTable) {
    Open();
    Add(1100, 1110), Add(1200, 1210, 4, "two"), Add(1200, 1220), Add(1300, 1310, 0, "three");
    Chan().SetEventExtra({{1, 2, 3}, {4, 5, 6}, {7, 8, 9}, {0, 0, 0}});
    const auto rows = Chan().EventExtra();
    session.eventPaint = 0x00FF00;
    Fill([](Form& form) { form["label"].text = "neu \xC3\xA4"; });
    const struct {
        int mode, from, to;
        const char *name, *after;
    } steps[] = {
        {mouseAddTag, 1150, 1305, "Add event tag", "0 |4 two|1 |1 three|"},     // a tag that is there stays
        {mouseDeleteTag, 1205, 1205, "Del event tag", "0 |4 two|0 |1 three|"},  // starts last of the two
        {mouseClearLabel, 1050, 1400, "Clear event label", "0 |4 |0 |1 |"},
        {mouseEditLabel, 1105, 1105, "Edit event label", "0 neu \xC3\xA4|4 |0 |1 |"},
        {mouseColourEvents, 1105, 1105, "Set event colour", "0 neu \xC3\xA4 ff00|4 |0 |1 |"},
    };
    ChannelState before = State();
    for (const auto& [mode, from, to, name, after] : steps) {
        SCOPED_TRACE(name);
        before = State();
        view->SetMouseMode(mode);
        Drag(from, to);
        std::string found;
        for (const CEventKM& event : Chan().Events()) {
            found += fmt::format("{} {}", event.eventTag, event.eventLabel.View());
            found += event.eventColour != 0 ? fmt::format(" {:x}|", event.eventColour) : "|";
        }
        EXPECT_EQ(found, after);
        ExpectUndone(before, name);
    }
    EXPECT_EQ(Chan().EventExtra(), rows);
    Click(1105);  // the same colour again is no change
    doc->Undo().Undo();
    EXPECT_TRUE(State() == before);
}

TEST_F(EventMouseTest, ABodyIsStretchedByTheNearerEdge) {
    Open();
    Add(1100, 1200);
    view->SetMouseMode(mouseStretch);
    Drag(1140, 1130);
    EXPECT_EQ(SpansOf(), (Spans{{1090, 1200}}));
    Drag(1160, 1170);
    EXPECT_EQ(SpansOf(), (Spans{{1090, 1210}}));
}

TEST_F(EventMouseTest, MovingKeepsDurationAndSortsIn) {
    Open();
    Add(1100, 1150, 1), Add(1200, 1210, 2), Add(1200, 1220, 3), Add(1300, 1310, 4);
    view->SetMouseMode(mouseMoveEvents);
    ExpectEscapable(1125, 1700);
    const ChannelState before = State();
    Press(1125), MoveTo(1325), MoveTo(1225);
    EXPECT_EQ(window->status, "Channel c: 1200.000 ms to 1250.000 ms, duration 50.000 ms");
    Release(1225);
    EXPECT_EQ(SpansOf(), (Spans{{1200, 1210}, {1200, 1220}, {1200, 1250}, {1300, 1310}}));
    EXPECT_EQ(Chan().Events()[2].eventTag, 1);
    ExpectUndone(before, "Move event");
}

TEST_F(EventMouseTest, GroupIsSelectedAndThenMoved) {
    Open();
    Add(1050, 1150, 1), Add(1100, 1110, 2), Add(1120, 1130, 3), Add(1300, 1310, 4);
    Add(1100, 1110, 0, "", 4);
    view->SetMouseMode(mouseEventGroup);
    Drag(1090, 1140);
    ASSERT_TRUE(view->m_selection);
    EXPECT_EQ(*view->m_selection, (Viewport{1090.0, 1140.0}));
    ExpectEscapable(1115, 1300);
    const ChannelState before = State();
    Drag(1115, 1305);  // by 190: what starts in the stretch, and only in this channel
    EXPECT_EQ(SpansOf(), (Spans{{1050, 1150}, {1290, 1300}, {1300, 1310}, {1310, 1320}}));
    EXPECT_EQ(Chan().Events()[3].eventTag, 3);
    EXPECT_EQ(*view->m_selection, (Viewport{1280.0, 1330.0}));
    EXPECT_EQ(SpansOf(4), (Spans{{1100, 1110}}));
    ExpectUndone(before, "Event group within channel");
    Press(1400), MoveTo(1500), view->Escape();  // a new stretch, given up
    EXPECT_EQ(*view->m_selection, (Viewport{1280.0, 1330.0}));
}

TEST_F(EventMouseTest, DisorderedChannelsAreEditedWhereTheyStand) {
    Open();
    for (const int on : {1700, 1100, 1500, 1300}) Chan().AppendLoaded({on, on + 40});
    Chan().AppendLoaded({1600, 1550});  // ends before it starts
    doc->UpdateAllViews(UpdateHint::events);
    ChannelState before = State();
    view->SetMouseMode(mouseMoveEvents);
    Drag(1520, 1420);  // before the first that starts later, as an event that is added
    EXPECT_EQ(SpansOf(), (Spans{{1400, 1440}, {1700, 1740}, {1100, 1140}, {1300, 1340}, {1600, 1550}}));
    ExpectUndone(before, "Move event");
    before = State();
    view->SetMouseMode(mouseStretch);
    Drag(1600, 1620);
    EXPECT_EQ(SpansOf().back(), (std::pair<int, int>{1600, 1601}));  // 1550 + 20 is before its onset
    ExpectUndone(before, "Stretch event");
    before = State();
    view->SetMouseMode(mouseDeleteEvents);
    Drag(1050, 1350);
    EXPECT_EQ(Chan().GetNumEvents(), 3);
    ExpectUndone(before, "Delete events");
}

// Any row of edits comes back to the last bit, and an ordered channel stays in order.
TEST_F(EventMouseTest, ManyEditsAreTakenBackAndMadeAgain) {
    Open();
    uint32_t random = 12345;
    const auto below = [&](int n) {
        random = random * 1664525u + 1013904223u;
        return static_cast<int>(random >> 8) % n;
    };
    for (int i = 0; i < 60; ++i) {
        const int on = 1000 + below(80) * 10;  // many equal onsets
        Add(on, on + 1 + below(60), i);
    }
    const ChannelState first = State();
    const int modes[] = {mouseMergeEvents, mouseDeleteEvents, mouseInsertFirst, 5,
                         mouseAddTag,      mouseStretch,      mouseMoveEvents,  mouseMoveEvents};
    for (int i = 0; i < 150; ++i) {
        view->SetMouseMode(modes[below(8)]);
        const int from = 1000 + below(799);
        const bool wide = view->m_nMouseMode >= mouseStretch || view->m_nMouseMode == 5;
        Drag(from, std::clamp(from + (wide ? below(400) - 200 : below(20)), 1000, 1799));
        ASSERT_TRUE(Chan().IsInOrder());
        for (const auto& [on, off] : SpansOf()) ASSERT_TRUE(on >= 0 && on < off && off <= 10000);
    }
    const ChannelState last = State();
    EXPECT_FALSE(last == first);
    int steps = 0;
    while (doc->Undo().Undo()) ++steps;
    EXPECT_GT(steps, 60);
    EXPECT_TRUE(State() == first);
    while (doc->Undo().Redo()) {
    }
    EXPECT_TRUE(State() == last);
}

}  // namespace
}  // namespace kymora::test
