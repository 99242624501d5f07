// Markers of a recording in a view, and the commands that look for markers and annotations.

#include "display/overlays/overlay_markers.h"

#include "support/overlay_fixture.h"

namespace kymora::test {
namespace {

constexpr uint32_t magenta = 0xFF00FF;

class MarkerTest : public OverlayTest {
  protected:
    void Put(std::vector<CMarker> markers) { doc->markers = std::move(markers); }
    std::string Labels() const {
        std::string all;
        for (const CMarker& marker : doc->markers) all += marker.m_strLabel + " ";
        return all;
    }
};

TEST_F(MarkerTest, AddedInOrderAndTakenBack) {
    Open();
    Put({{100.0, "a"}, {500.0, "b"}, {800.0, "c"}});
    ASSERT_TRUE(Run("marker-add"));  // in the middle, behind the one of the same time
    ASSERT_EQ(doc->markers.size(), 4u);
    EXPECT_EQ(doc->markers[2], (CMarker{500.0, ""}));
    EXPECT_TRUE(doc->IsModified());
    EXPECT_EQ(doc->Undo().UndoName(), "Add marker");
    doc->Undo().Undo();
    EXPECT_EQ(Labels(), "a b c ");
    doc->Undo().Redo();
    EXPECT_EQ(doc->markers.size(), 4u);

    Fill([](Form& form) {
        EXPECT_EQ(form.Number("time"), 250.0);
        form["label"].text = "by mouse";
    });
    Run("marker-add-by-mouse");
    Press(270, 300);
    EXPECT_EQ(doc->markers[1], (CMarker{250.0, "by mouse"}));
    EXPECT_EQ(view->m_nMouseMode, mouseAddMarker);  // for more
    Press(370, 300);                                // cancelled
    EXPECT_EQ(view->m_nMouseMode, mouseNormal);
    EXPECT_EQ(doc->markers.size(), 5u);
    Fill([](Form& form) { EXPECT_EQ(form.Number("time"), 250.0); });
    Run("marker-add", Point{270, 300});  // from the context menu
    Run("marker-add", Point{20, 300});   // on an axis: time -62.5 is not in view, so in the middle
    EXPECT_EQ(Labels(), "a by mouse  b   c ");
}

TEST_F(MarkerTest, DrawnAtTheTopOfThePlot) {
    Open();
    Put({{-1.0, "before"}, {0.0, "first"}, {1000.0, "last"}, {1000.1, "behind"}, {NAN, "nowhere"}});
    const RecordingDevice device = Draw();
    const auto lines = device.LinesOf(magenta);
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0].pen.width, 2);
    EXPECT_EQ(lines[0].points, (std::vector<Point>{{65, 15}, {75, 15}}));
    EXPECT_EQ(lines[1].points, (std::vector<Point>{{70, 10}, {70, 20}}));
    EXPECT_EQ(lines[2].points, (std::vector<Point>{{865, 15}, {875, 15}}));  // the end counts
    EXPECT_EQ(device.texts.back().x, 838);
    EXPECT_EQ(device.texts.back().y, 20);
    EXPECT_TRUE(device.Wrote("first"));
    EXPECT_FALSE(device.Wrote("before") || device.Wrote("behind"));
    EXPECT_EQ(MarkerAt(view->Plot(), 75, 10), 1);
    EXPECT_EQ(MarkerAt(view->Plot(), 75, 9), -1);
    EXPECT_EQ(MarkerAt(view->Plot(), 78 + 29, 31), 1);  // the end of its label
    EXPECT_EQ(MarkerAt(view->Plot(), 78 + 30, 31), -1);
    EXPECT_EQ(MarkerAt(view->Plot(), 78, 32), -1);
    view->m_bShowMarkers = false;
    EXPECT_TRUE(Draw().lines.empty());
    EXPECT_EQ(MarkerAt(view->Plot(), 70, 15), -1);
}

TEST_F(MarkerTest, DraggedInTimeUnlessLocked) {
    Open();
    Put({{250.3, "a"}, {500.0, "b"}});  // 250.3 is not at a pixel
    Press(270, 15);
    Move(570, 15);
    EXPECT_TRUE(Draw().Wrote("625.00 ms"));
    view->Escape();
    for (const bool locked : {false, true}) {
        if (locked) Run("marker-lock");
        Drag(270, 15, locked ? 570 : 270, 300);
        EXPECT_EQ(doc->markers[0].m_dTime, 250.3) << locked;
        EXPECT_FALSE(doc->IsModified());
    }
    EXPECT_TRUE(IsChecked("marker-lock"));
}

TEST_F(MarkerTest, EditedAndDeleted) {
    Open();
    Put({{250.0, "a"}, {500.0, "b"}, {750.0, "c"}});
    Draw();
    Fill([](Form& form) {
        EXPECT_EQ(form.Text("label"), "a");
        form["label"].text = "moved";
        form["time"].number = 500.0;
    });
    view->Mouse().DoubleClick({281, 25});  // on its label
    EXPECT_EQ(Labels(), "b moved c ");
    doc->Undo().Undo();
    EXPECT_EQ(Labels(), "a b c ");

    Run("marker-del", Point{670, 15});
    EXPECT_EQ(Labels(), "a b ");
    Run("marker-del-all");
    EXPECT_TRUE(doc->markers.empty());
    EXPECT_FALSE(IsEnabled("marker-del-all") || IsEnabled("marker-del") || IsEnabled("marker-convert"));
    for (int i = 0; i < 2; ++i) doc->Undo().Undo();
    EXPECT_EQ(Labels(), "a b c ");
}

TEST_F(MarkerTest, BecomeEventsOfAChannel) {
    Open();
    Put({{-3.0, "before"}, {0.4, "one"}, {250.5, "two"}, {5000.0, "behind"}});
    doc->eventChannels[0].AddEvent(100, 200);
    Fill([](Form& form) {
        EXPECT_EQ(form["channel"].choices.size(), 26u);
        EXPECT_EQ(form.Choice("channel"), 1);  // the first one without events
        form["channel"].choice = 0;
        form["deleteMarkers"].flag = true;
    });
    Run("marker-convert");
    const auto& events = doc->eventChannels[0].Events();
    ASSERT_EQ(events.size(), 3u);
    EXPECT_EQ(events[0].onPosition, 0);
    EXPECT_EQ(events[0].offPosition, 1);
    EXPECT_EQ(events[0].eventLabel.View(), "one");
    EXPECT_EQ(events[2].onPosition, 251);
    EXPECT_EQ(Labels(), "before behind ");
    EXPECT_EQ(host.LastMessage(),
              "2 of the markers lie outside of the recording and were not converted to events.");
    EXPECT_EQ(doc->Undo().UndoName(), "Convert markers to events");
    doc->Undo().Undo();
    EXPECT_EQ(doc->eventChannels[0].GetNumEvents(), 1);
    EXPECT_EQ(doc->markers.size(), 4u);

    doc->eventChannels[0].channelLocked = true;
    doc->SetModifiedFlag(false);
    Fill([](Form& form) { form["channel"].choice = 0; });
    Run("marker-convert");
    EXPECT_EQ(host.LastMessage(), lockedChannelText);
    EXPECT_EQ(doc->eventChannels[0].GetNumEvents(), 1);
    EXPECT_FALSE(doc->IsModified());
}

TEST_F(MarkerTest, FoundFromTheReferenceAsAnnotationsAre) {
    Open();
    EXPECT_FALSE(IsEnabled("next-annotation"));
    Put({{300.0, "a"}, {700.0, "b"}, {2000.0, "c"}});
    for (const auto& [trace, time] : {std::pair(size_t{1}, 900.0), {size_t{0}, 800.0}}) {
        doc->traceAnnotations[trace].push_back({});
        doc->traceAnnotations[trace].back().m_dTime = time;
    }
    const struct {
        int keepsLeftEdge;
        const char* id;
        double start;
    } steps[] = {
        {0, "next-marker", 200.0},   // from the middle, 500
        {0, "next-marker", 1500.0},  // not the same again
        {0, "next-marker", 1500.0},    {0, "prev-marker", 200.0},
        {0, "prev-marker", 200.0},  // would start at -200
        {1, "next-marker", 300.0},     {1, "next-marker", 700.0},
        {1, "next-annotation", 800.0}, {1, "next-annotation", 900.0},
        {1, "prev-annotation", 800.0},
    };
    for (const auto& [keepsLeftEdge, id, start] : steps) {
        SCOPED_TRACE(testing::Message() << id << " to " << start);
        session.options.expandContractFocus = keepsLeftEdge;
        Run(id);
        ExpectViewport(start, start + 1000.0);
    }
}

}  // namespace
}  // namespace kymora::test
