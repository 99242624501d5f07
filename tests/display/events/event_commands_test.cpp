#include "display/events/event_forms.h"
#include "display/events/event_view_fixture.h"

namespace kymora::test {
namespace {

class EventCommandsTest : public EventViewTest {
  protected:
    void AddFive() {
        Add(900, 1000), Add(1100, 1110, 1), Add(1200, 1210), Add(1799, 1900, 2), Add(1800, 1900);
        Chan().SetEventExtra({{1, 0, 0}, {2, 0, 0}, {3, 0, 0}, {4, 0, 0}, {5, 0, 0}});
    }
};

TEST_F(EventCommandsTest, DeletingCountsAsksAndKeepsTheRest) {
    const struct {
        const char *id, *name;
        int count;
        Spans rest;
    } deletions[] = {
        {"event-delete-all", "All events in channel", 5, {}},
        {"event-delete-tagged", "Tagged events", 2, {{900, 1000}, {1200, 1210}, {1800, 1900}}},
        {"event-keep-tagged", "Keep tagged", 3, {{1100, 1110}, {1799, 1900}}},
        // The one that ends at the start stays, and so does the one that starts at the end.
        {"event-delete-viewport", "Events in viewport", 3, {{900, 1000}, {1800, 1900}}},
        {"event-delete-selection", "Events in selection", 2, {{900, 1000}, {1799, 1900}, {1800, 1900}}},
    };
    for (const auto& [id, name, count, rest] : deletions) {
        SCOPED_TRACE(id);
        Open();
        AddFive();
        view->Select(Viewport{1050.0, 1205.0});
        const ChannelState before = State();
        host.Forget();
        host.nextAnswers = {false, true};
        EXPECT_TRUE(Run(id));
        ASSERT_EQ(host.questions.size(), 1u);
        EXPECT_EQ(host.questions[0].text, "Delete " + std::to_string(count) + " events of channel c?");
        ExpectUntouched(before);
        EXPECT_TRUE(Run(id));
        EXPECT_EQ(SpansOf(), rest);
        ExpectUndone(before, name);
    }
}

TEST_F(EventCommandsTest, DeletingInARegionLooksAtOnsetsAndEnds) {
    Open();
    AddFive();
    const ChannelState before = State();
    host.answer = true;
    Fill([](Form& form) {
        form["region"].choice = 2;
        form["regionStart"].number = 1300.0;
        form["regionEnd"].number = 1300.0;
    });
    Run("event-delete-region");
    EXPECT_EQ(host.formFault, "The start time must be before the end time.");
    ExpectUntouched(before);

    // The gate's first event holds the end of the first event and its own end none; the second and third
    // overlap, and reach over the onset of the event at 1799 but not over that at 1800.
    for (const auto& [on, off] : {std::pair(950, 1001), std::pair(1700, 1750), std::pair(1720, 1800)})
        Add(on, off, 0, "", 7);
    Fill([](Form& form) {
        form["region"].choice = 3;
        form["gateChannel"].choice = 7;
    });
    EXPECT_TRUE(Run("event-delete-region"));
    EXPECT_EQ(SpansOf(), (Spans{{1100, 1110}, {1200, 1210}, {1800, 1900}}));
    ExpectUndone(before, "Events in region");
}

TEST_F(EventCommandsTest, StatesFollowChannelAndMode) {
    Open();
    EXPECT_FALSE(IsEnabled("event-delete-all"));
    EXPECT_FALSE(IsEnabled("event-move"));
    EXPECT_FALSE(IsEnabled("event-delete-selection"));
    Add(1100, 1110, 0, "", 4);
    EXPECT_TRUE(IsEnabled("event-move"));
    EXPECT_FALSE(IsEnabled("event-delete-all"));
    Run("event-channel-e");
    EXPECT_EQ(view->m_nMouseEventChan, 4);
    EXPECT_TRUE(IsChecked("event-channel-e"));
    EXPECT_FALSE(IsChecked("event-channel-c"));
    EXPECT_TRUE(IsEnabled("event-delete-all"));
    Run("event-move");
    EXPECT_TRUE(IsChecked("event-move"));
    EXPECT_EQ(view->m_nMouseMode, mouseMoveEvents);
    Run("event-move");
    EXPECT_EQ(view->m_nMouseMode, mouseNormal);
    view->m_bShowEvents = false;
    EXPECT_FALSE(IsEnabled("event-move"));
    EXPECT_FALSE(IsEnabled("event-insert-mouse"));

    Fill([](Form& form) { form["channels"].text = "c d"; });
    Run("event-clipboard-copy");
    EXPECT_EQ(host.formFault, "None of these channels holds events.");

    EXPECT_FALSE(IsEnabled("event-channel-number"));
    session.options.eventChannelMode = maxEventChannels;
    Fill([](Form& form) {
        EXPECT_EQ(form.Text("channel"), "4");
        form["channel"].text = "412";
    });
    EXPECT_TRUE(Run("event-channel-number"));
    EXPECT_EQ(view->m_nMouseEventChan, 412);
    for (const char* bad : {"", "999", "-", "a b", "x7", "1-3"}) {
        Fill([bad](Form& form) { form["channel"].text = bad; });
        Run("event-channel-number");
        EXPECT_FALSE(host.formFault.empty()) << bad;
        EXPECT_EQ(view->m_nMouseEventChan, 412);
    }
}

TEST_F(EventCommandsTest, DefaultsChooseWhatTheMouseInserts) {
    Open();
    Fill([](Form& form) {
        form["kind"].choice = 1;
        form["duration"].number = 12.0;
        form["tag"].number = 3;
        form["ownColour"].flag = true;
        form["colour"].colour = 0x112233;
    });
    Run("event-insert-defaults");
    Run("event-insert-mouse");
    EXPECT_EQ(view->m_nMouseMode, mouseInsertFirst + 1);
    EXPECT_TRUE(IsChecked("event-insert-mouse"));
    Drag(1100, 1120);
    EXPECT_EQ(Chan().Events().at(0), (CEventKM{1100, 1120, 0.0f, 3, 0x112233}));
    Fill([](Form& form) { form["kind"].choice = 2; });
    Run("event-insert-defaults");  // the mode at work follows
    EXPECT_EQ(view->m_nMouseMode, mouseInsertLast);
    Run("event-insert-fixed");
    EXPECT_EQ(session.eventInsertion.kind, 0);
    EXPECT_EQ(view->m_nMouseMode, mouseInsertFirst);
}

TEST_F(EventCommandsTest, TimesAreReadStrictly) {
    Open();
    std::string fault;
    EXPECT_EQ(ParseEventTimes(*view, " 5, 7.25;\t1e3\r\n9999.5\n", fault),
              (std::vector<double>{5.0, 7.25, 1000.0, 9999.5}));
    EXPECT_EQ(fault, "");
    const std::pair<const char*, const char*> bad[] = {
        {"", "There is no time in the list."},
        {" ;,\n", "There is no time in the list."},
        {"5 six", "\"six\" is not a time."},
        {"5 nan", "\"nan\" is not a time."},
        {"-1", "The time -1 ms lies outside the recording."},
        {"1 10000", "The time 10000 ms lies outside the recording."},
    };
    for (const auto& [text, expected] : bad) {
        EXPECT_TRUE(ParseEventTimes(*view, text, fault).empty());
        EXPECT_EQ(fault, expected);
    }

    session.eventInsertion.durationMs = 4.0;
    Add(10, 20);
    const ChannelState before = State();
    Fill([](Form& form) { form["times"].text = "9998 10 3"; });
    Run("event-insert-times");
    EXPECT_EQ(SpansOf(), (Spans{{3, 7}, {10, 20}, {10, 14}, {9998, 10000}}));
    ExpectUndone(before, "Insert events at times");
}

TEST_F(EventCommandsTest, CloseEventsMerge) {
    Open();
    Add(1000, 1010), Add(1014, 1020), Add(1025, 1030), Add(1100, 1103);
    const ChannelState before = State();
    Fill([](Form& form) {
        form["gap"].number = 5.0;  // 4 is closer, 5 is not
        form["shortest"].number = 4.0;
    });
    Run("event-merge-close");
    EXPECT_EQ(SpansOf(), (Spans{{1000, 1020}, {1025, 1030}}));
    ExpectUndone(before, "Merge close events");
}

TEST_F(EventCommandsTest, PropertiesObeyTheLock) {
    Open();
    Add(1100, 1110);
    Chan().channelDrawMode = 77;
    ChannelState before = State();
    Fill([](Form& form) {
        EXPECT_EQ(form["shape"].choices.back(), "As stored (77)");
        form["label"].text = "spikes";
        form["parent"].choice = 1;
        form["position"].number = 0.3;
        form["locked"].flag = false;
    });
    Run("event-channel-properties");
    EXPECT_EQ(Chan().channelLabel, "spikes");
    EXPECT_EQ(Chan().parentTrace, 0);
    EXPECT_EQ(Chan().channelDrawMode, 77);  // kept
    ExpectUndone(before, "Event channel properties");

    Run("event-channel-lock");
    EXPECT_TRUE(IsChecked("event-channel-lock"));
    before = State();
    Fill([](Form& form) {
        EXPECT_FALSE(form["label"].enabled(form));
        form["label"].text = "changed";
        form["colour"].colour = 0x123456;
        form["shape"].choice = 1;
    });
    Run("event-channel-properties");
    EXPECT_EQ(Chan().channelLabel, "spikes");
    EXPECT_EQ(Chan().channelColour, 0x123456u);
    EXPECT_EQ(Chan().channelDrawMode, 1);
    ExpectUndone(before, "Event channel properties");
}

TEST_F(EventCommandsTest, RowsAreHiddenSpreadAndReset) {
    Open();
    Chan(7).SetDisplayPosition(0.2), Chan(30).SetDisplayPosition(0.9), Chan(40).SetDisplayPosition(0.51);
    Add(1100, 1110);
    Add(1100, 1110, 0, "", 7);
    Add(1100, 1110, 0, "", 30);
    Add(1100, 1110, 0, "", 40);
    Run("event-channel-hide");
    EXPECT_FALSE(HasEventRow(view->Plot(), c));
    EXPECT_FALSE(IsEnabled("event-channel-hide"));
    Run("event-distribute");
    EXPECT_EQ(Chan(7).GetDisplayPosition(), 0.25);
    EXPECT_EQ(Chan(40).GetDisplayPosition(), 0.5);
    EXPECT_EQ(Chan(30).GetDisplayPosition(), 0.75);
    EXPECT_EQ(Chan(c).GetDisplayPosition(), 0.5);
    Run("event-reset-positions");
    EXPECT_EQ(Chan(30).GetDisplayPosition(), 0.5);
    EXPECT_EQ(Chan(c).GetDisplayPosition(), CDataDoc::DefaultDisplayPosition(c));
    EXPECT_TRUE(Run("event-unhide"));
    EXPECT_FALSE(IsEnabled("event-unhide"));
    EXPECT_TRUE(HasEventRow(view->Plot(), c));
    for (const char* name :
         {"Unhide events", "Reset to default positions", "Distribute evenly", "Hide event channel"}) {
        EXPECT_EQ(doc->Undo().UndoName(), name);
        doc->Undo().Undo();
    }
    EXPECT_EQ(Chan(30).GetDisplayPosition(), 0.9);
}

TEST_F(EventCommandsTest, CopyReplacesAfterAQuestion) {
    Open();
    Add(1100, 1110, 1, "x"), Add(1200, 1210);
    Chan().channelLabel = "source";
    Chan().SetEventExtra({{1, 2, 3}, {4, 5, 6}});
    Add(5, 6, 0, "", 3), Add(7, 8, 0, "", 3);
    const auto toD = [](Form& form) {
        EXPECT_EQ(form.Text("channel"), "a");  // the first without events
        form["channel"].text = "D";
        return true;
    };
    const ChannelState before = State(3);
    host.fillForms = {toD, toD, toD};
    host.nextAnswers = {false};
    Run("event-channel-copy");
    EXPECT_EQ(host.questions.at(0).text, "Channel d holds 2 events. Replace them?");
    EXPECT_TRUE(State(3) == before);
    Chan(3).channelLocked = true;
    Run("event-channel-copy");
    EXPECT_EQ(host.LastMessage(), lockedChannelText);
    Chan(3).channelLocked = false;
    Run("event-channel-copy");
    EXPECT_EQ(Chan(3).Events(), Chan().Events());
    EXPECT_EQ(Chan(3).EventExtra(), Chan().EventExtra());
    EXPECT_EQ(Chan(3).GetDisplayPosition(), before.settings.GetDisplayPosition());
    ExpectUndone(before, "Copy channel to", 3);
}

// --- find ---

TEST_F(EventCommandsTest, FindBringsTheOnsetToTheMiddleOrTheEdge) {
    Open(1000.0, 1800.0);
    view->m_nNavEventChan = c;
    Add(300, 310), Add(1400, 1410), Add(1401, 1500, 1), Add(1600, 1610, 0, " "), Add(5000, 5010, 2);
    const struct {
        int keepsLeftEdge;
        const char* id;
        double start;
    } steps[] = {
        {0, "next-event", 1001.0},  // 1400 is in the middle
        {0, "next-event", 1200.0},          {0, "next-tagged-event", 4600.0},
        {0, "next-event", 4600.0},  // the last
        {0, "prev-labelled-event", 1200.0}, {0, "prev-tagged-event", 1001.0},
        {0, "prev-event", 1000.0},          {0, "prev-event", 1000.0},  // 300 would start the view below 0
        {1, "prev-event", 300.0},           {1, "next-event", 1400.0},
    };
    for (const auto& [keepsLeftEdge, id, start] : steps) {
        SCOPED_TRACE(testing::Message() << id << " to " << start);
        session.options.expandContractFocus = keepsLeftEdge;
        Run(id);
        ExpectViewport(start, start + 800.0);
    }
}

TEST_F(EventCommandsTest, FindGoesThroughItsOwnChannelInAnyOrder) {
    Open(0.0, 0.7);
    session.options.expandContractFocus = 0;
    for (const int on : {700, 100, 500, 300}) Chan(9).AppendLoaded({on, on + 10});
    doc->UpdateAllViews(UpdateHint::events);
    EXPECT_FALSE(IsEnabled("next-event"));
    Fill([](Form& form) { form["channel"].text = "j"; });
    Run("event-channel-navigation");
    std::vector<long> found;
    for (int i = 0; i < 5; ++i) {
        Run("next-event");
        found.push_back(std::lround(view->m_StartTime + 0.35));
    }
    EXPECT_EQ(found, (std::vector<long>{100, 300, 500, 700, 700}));
    Run("prev-event");
    EXPECT_EQ(std::lround(view->m_StartTime + 0.35), 500);
    EXPECT_FALSE(IsEnabled("next-tagged-event"));
}

}  // namespace
}  // namespace kymora::test
