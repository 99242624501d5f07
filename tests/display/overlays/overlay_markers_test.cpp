// Markers of a recording in a view, and the commands that look for markers and annotations.

#include "display/overlays/overlay_markers.h"
#include "host/form.h"

#include "document/float_doc.h"
#include "document/native_writer.h"
#include "support/overlay_fixture.h"
#include "support/recording_window.h"

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
}

TEST_F(MarkerTest, TheContextMenuAddsThemOnThePlotOnly) {
    Open();
    Fill([](Form& form) { EXPECT_EQ(form.Number("time"), 250.0); });
    Run("marker-add", Point{270, 300});
    Run("marker-add", Point{20, 300});  // on an axis: time -62.5 is not in view
    ASSERT_EQ(doc->markers.size(), 2u);
    EXPECT_EQ(doc->markers[1].m_dTime, 500.0);
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
    EXPECT_EQ(device.texts.back().x, 878);
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

TEST_F(MarkerTest, DraggedUnlessLocked) {
    Open();
    Put({{250.0, "a"}, {500.0, "b"}});
    Press(270, 15);
    Move(570, 15);
    EXPECT_TRUE(Draw().Wrote("625.00 ms"));
    Release(570, 15);
    EXPECT_EQ(Labels(), "b a ");
    doc->Undo().Undo();
    doc->SetModifiedFlag(false);
    doc->markers[0].m_dTime = 250.3;  // not at a pixel
    Drag(270, 15, 270, 300);
    EXPECT_EQ(doc->markers[0].m_dTime, 250.3);
    EXPECT_FALSE(doc->IsModified());

    Run("marker-lock");
    EXPECT_TRUE(IsChecked("marker-lock"));
    Drag(270, 15, 570, 15);
    EXPECT_EQ(doc->markers[0].m_dTime, 250.3);
    EXPECT_FALSE(doc->IsModified());
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

TEST_F(MarkerTest, FoundFromTheReference) {
    Open();
    Put({{300.0, "a"}, {700.0, "b"}, {2000.0, "c"}});
    session.options.expandContractFocus = 0;  // from the middle, 500
    Run("next-marker");
    EXPECT_DOUBLE_EQ(view->m_StartTime, 200.0);
    Run("next-marker");  // not the same again
    EXPECT_DOUBLE_EQ(view->m_StartTime, 1500.0);
    Run("next-marker");
    EXPECT_DOUBLE_EQ(view->m_StartTime, 1500.0);
    Run("prev-marker");
    EXPECT_DOUBLE_EQ(view->m_StartTime, 200.0);
    Run("prev-marker");  // would start at -200
    EXPECT_DOUBLE_EQ(view->m_StartTime, 200.0);
    session.options.expandContractFocus = 1;
    Run("next-marker");
    EXPECT_DOUBLE_EQ(view->m_StartTime, 300.0);
    Run("next-marker");
    EXPECT_DOUBLE_EQ(view->m_StartTime, 700.0);

    EXPECT_FALSE(IsEnabled("next-annotation"));
    doc->traceAnnotations[1].push_back({});
    doc->traceAnnotations[1].back().m_dTime = 900.0;
    doc->traceAnnotations[0].push_back({});
    doc->traceAnnotations[0].back().m_dTime = 800.0;
    Run("next-annotation");
    EXPECT_DOUBLE_EQ(view->m_StartTime, 800.0);
    Run("next-annotation");
    EXPECT_DOUBLE_EQ(view->m_StartTime, 900.0);
    Run("prev-annotation");
    EXPECT_DOUBLE_EQ(view->m_StartTime, 800.0);
    EXPECT_EQ(FindCommand(Key{KeyCode::character, 'm', true, false})->id, "next-marker");
    EXPECT_EQ(FindCommand(Key{KeyCode::character, 'a', false, true})->id, "prev-annotation");
}

TEST_F(MarkerTest, LettersLoseTheirMeaningWhileEventsAreInserted) {
    Open();
    const auto idOf = [&](char c) {
        const Command* command = FindCommand(*view, Key{KeyCode::character, c, false, false});
        return command ? command->id : "none";
    };
    EXPECT_EQ(idOf('m'), "marker-add");
    EXPECT_EQ(idOf('a'), "annotation-add");
    EXPECT_EQ(idOf('v'), "cursor-add-vert");
    EXPECT_EQ(idOf('h'), "cursor-add-horz");
    view->m_nMouseMode = mouseInsertFirst;
    for (const char c : {'m', 'a', 'v', 'h'}) EXPECT_EQ(idOf(c), std::string("event-channel-") + c);
}

TEST_F(MarkerTest, AllViewsOfTheRecordingArePaintedAgain) {
    Open();
    CKymoraView second(*doc);
    second.OnSize(400, 300);
    second.OnInitialUpdate();
    RecordingWindow window(second);
    const auto repaints = [&](auto act) {
        window.repaints = 0;
        act();
        return window.repaints > 0;
    };
    for (const char* id : {"marker-add", "annotation-add", "scale-bar-add-horz", "scale-bar-add-vert"}) {
        Fill([](Form& form) {
            if (form.title == "Add annotation") form["text"].text = "note";
        });
        if (std::string_view(id) == "marker-add") host.fillForms.clear();  // it asks nothing
        EXPECT_TRUE(repaints([&] { Run(id); })) << id;
        EXPECT_TRUE(repaints([&] { doc->Undo().Undo(); })) << id;
        EXPECT_TRUE(repaints([&] { doc->Undo().Redo(); })) << id;
    }
    for (const char* id : {"annotation-del-all", "scale-bar-del-vert", "scale-bar-del-horz"})
        EXPECT_TRUE(repaints([&] { Run(id); })) << id;
}

TEST_F(MarkerTest, OverlaysSurviveSavingAndOpening) {
    Open();
    Run("marker-add");
    Fill([](Form& form) { form["text"].text = "two\nlines"; });
    Run("annotation-add");
    Fill([](Form&) {});
    Run("scale-bar-add-horz");
    Fill([](Form& form) { form["trace"].choice = 1; });
    Run("scale-bar-add-vert");
    WriteNativeFile(*doc, "/saved.kymr-dat");

    CFloatDoc loaded(session);
    ASSERT_TRUE(loaded.OnOpenDocument("/saved.kymr-dat"));
    EXPECT_EQ(loaded.markers, doc->markers);
    ASSERT_EQ(loaded.traceAnnotations[0].size(), 1u);
    EXPECT_EQ(loaded.traceAnnotations[0][0].m_strLabel, "two\r\nlines");
    EXPECT_EQ(loaded.traceAnnotations[0][0].m_logFont, LogFont::Screen());
    EXPECT_EQ(loaded.traceAnnotations[0][0].m_fValue, 1000.0f);
    EXPECT_EQ(loaded.scaleBars[0].single.m_fLength, doc->scaleBars[0].single.m_fLength);
    ASSERT_EQ(loaded.scaleBars[1].list.size(), 1u);
    EXPECT_EQ(loaded.scaleBars[1].list[0], doc->scaleBars[1].list[0]);
    EXPECT_EQ(loaded.scaleBars[1].list[0].m_nTrace, 1);
}

}  // namespace
}  // namespace kymora::test
