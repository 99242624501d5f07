// What lies under the mouse: what is told of it, and what its menu does.

#include "display/commands/context_menu.h"

#include <functional>
#include <set>

#include "display/events/event_editing.h"
#include "display/overlays/overlay_markers.h"
#include "display/picture.h"
#include "support/recording_device.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

using Kind = ViewObject::Kind;

// One object of each kind in a view from 1000 to 1800 ms, a sample to the pixel. The trace goes from the foot
// of its band to the top.
class ContextMenuTest : public ShownTest {
  protected:
    void SetUp() override {
        withNames = true;
        Open();
    }

    void Open() {
        Show(Ramp(2, 10000), Viewport{1000.0, 1800.0});
        doc->traces[0].traceLabel = "Vm";
        doc->traces[0].traceUnits = "mV";
        SetAxis(0, 1000.0, 1800.0);
        CEventChan& chan = doc->eventChannels[2];
        chan.SetDisplayPosition(0.75);
        doc->AddEvent(2, {1400, 1500, 2.5f, 0, 0, EventLabel("burst")});
        doc->AddEvent(2, {9000, 9001, 0.0f, 0, 0, {}});
        doc->InsertMarker({1200.0, "start"});
        CAnnotation note;
        note.m_dTime = 1600.0;
        note.m_fValue = 1100.0f;
        note.m_strLabel = "note";
        doc->traceAnnotations[0].push_back(note);
        ScaleBar& bar = doc->scaleBars[0].single;
        bar.m_fXFrac = 0.8f, bar.m_fYFrac = 0.9f, bar.m_fLength = 50.0f, bar.m_nWidth = 2;
        view->DatumLines().AddVertLine(X(1100.0));
        view->DatumLines().AddHorzLine(Y(1250.0));
        doc->UpdateAllViews(UpdateHint::events);
        doc->SetModifiedFlag(false);
        RecordingDevice device;  // texts are hit where they were drawn
        PaintRecording(view->Plot(), device, PictureTarget::window);
    }
    int X(double time) const { return view->Plot().TimeToPixel(time); }
    int Y(double value) const { return view->Plot().ValueToPixel(value, 0); }
    int RowY() const { return view->Plot().layout.EventRow(0.75); }

    Point TraceName() const {
        const auto& names = view->Plot().drawn.traceNames;
        if (names.empty()) return {};
        return {names[0].second.left + 8, names[0].second.top + 3};
    }

    struct Place {
        Kind kind;
        Point at;
        std::string text, title;  // how they begin
        std::vector<std::string_view> entries;
    };
    std::vector<Place> Places() const {
        const Layout layout = view->Plot().layout;
        const PixelRect plot = layout.plot;
        return {
            {Kind::event,
             {X(1450.0), RowY()},
             "Event 1 of 2, channel c\nOnset: 1400.000 ms\nOffset: 1500.000 ms\nDuration: 100.000 "
             "ms\nVariable: "
             "2.5\nLabel: burst",
             "Event 1 of 2 in channel c",
             {"event-properties", "event-list", "undo", "cursor-add-vert-here"}},
            {Kind::eventRow,
             {X(1700.0), RowY()},
             "Channel c\n2 events",
             "Channel c",
             {"event-channel-properties", "event-channel-hide"}},
            {Kind::marker,
             {X(1200.0), markerRow},
             "Marker 1 of 1\n1200.000 ms\nstart",
             "Marker 1: start",
             {"marker-edit", "marker-delete"}},
            {Kind::annotation,
             {X(1600.0) + 3, Y(1100.0) + 3},
             "Annotation of trace 1\n1600.000 ms\n1100 mV",
             "Annotation of trace 1",
             {"annotation-edit"}},
            {Kind::scaleBar,
             {plot.left + plot.Width() * 8 / 10 + 10, plot.top + plot.Height() * 9 / 10},
             "",
             "Horizontal scale bar",
             {"scale-bar-edit"}},
            {Kind::vertCursor,
             {X(1100.0), plot.bottom - 3},
             "V:1: 1100.000 ms\nTrace 1: Vm: 1100 mV\nTrace 2",
             "Cursor V:1",
             {"cursor-to-time", "cursor-table"}},
            {Kind::horzCursor, {plot.right - 3, Y(1250.0)}, "H:1: ", "Cursor H:1", {"cursor-to-value"}},
            {Kind::axis, {plot.left - 5, plot.top + 60}, "", "Axis 1: ", {"autoscale", "axis-hide"}},
            {Kind::traceName, TraceName(), "", "Trace 1: Vm", {"trace-colour"}},
            {Kind::timeAxis,
             {plot.left + 200, plot.bottom + 12},
             "",
             "Time axis",
             {"unit-s", "set-timebase"}},
            {Kind::slider, {plot.left + 200, layout.height - 3}, "", "Slider", {"start"}},
            {Kind::plot,
             {X(1650.0), Y(1650.0) + 2},
             "Trace 1: Vm\n165",
             "View",
             {"cursor-add-vert-here", "marker-add-here", "format"}},
            {Kind::plot, {X(1650.0), Y(1450.0)}, "", "View", {"event-clipboard-paste"}},
        };
    }
    const MenuEntry* Find(const PlaceMenu& menu, std::string_view id) const {
        const auto found = std::ranges::find(menu.entries, id, &MenuEntry::id);
        return found == menu.entries.end() ? nullptr : &*found;
    }
    // Runs an entry of the menu of a kind of object.
    void RunEntry(Kind kind, std::string_view id) {
        const std::vector<Place> places = Places();
        const PlaceMenu menu = MenuAt(*view, std::ranges::find(places, kind, &Place::kind)->at);
        const MenuEntry* entry = Find(menu, id);
        ASSERT_TRUE(entry && entry->enabled && entry->run) << id;
        entry->run(*view);
    }
};

TEST_F(ContextMenuTest, EachObjectIsFoundToldAndHasItsMenu) {
    for (const Place& place : Places()) {
        SCOPED_TRACE(place.title);
        const PlaceMenu menu = MenuAt(*view, place.at);
        EXPECT_STREQ(KindName(menu.object.kind), KindName(place.kind));
        EXPECT_TRUE(menu.title.starts_with(place.title)) << menu.title;
        const std::string text = HoverText(*view, place.at);
        EXPECT_TRUE(place.text.empty() ? text.empty() : text.starts_with(place.text)) << text;
        for (const std::string_view id : place.entries) EXPECT_TRUE(Find(menu, id)) << id;
        std::set<std::string> ids;
        for (const MenuEntry& entry : menu.entries) {
            EXPECT_TRUE(ids.insert(entry.id).second) << entry.id;
            EXPECT_FALSE(entry.toolTip.empty()) << entry.id;
        }
    }
}

// Whatever is chosen, it is done or asked about, and undo brings the recording back.
TEST_F(ContextMenuTest, EveryEntryRuns) {
    for (size_t p = 0; p < Places().size(); ++p) {
        const size_t count = MenuAt(*view, Places()[p].at).entries.size();
        for (size_t e = 0; e < count; ++e) {
            Open();
            const PlaceMenu menu = MenuAt(*view, Places()[p].at);
            const MenuEntry& entry = menu.entries[e];
            SCOPED_TRACE(entry.id);
            const bool isOfFrame = entry.id == "cursor-table" || entry.id == "event-list";
            EXPECT_EQ(!entry.run, isOfFrame);
            if (!entry.run || !entry.enabled) continue;
            host.fillForms.assign(1, [](Form&) { return true; });
            entry.run(*view);
            host.fillForms.clear();
            while (doc->Undo().CanUndo()) doc->Undo().Undo();
            EXPECT_EQ(doc->GetNumEvents(2), 2);
            EXPECT_EQ(doc->markers.size(), 1u);
            EXPECT_EQ(doc->traceAnnotations[0].size(), 1u);
        }
    }
}

// Of the choices that a menu offers one is always marked.
TEST_F(ContextMenuTest, ChoicesHaveAMark) {
    for (const char* unit : {"unit-ms", "unit-s", "unit-min", "unit-h", "unit-auto"}) {
        Run(unit);
        const std::vector<Place> places = Places();
        const PlaceMenu menu = MenuAt(*view, std::ranges::find(places, Kind::timeAxis, &Place::kind)->at);
        const MenuEntry* entry = Find(menu, unit);
        EXPECT_TRUE(entry && entry->isRadio && entry->checked == true) << unit;
    }
}

TEST_F(ContextMenuTest, EntriesActOnTheirObject) {
    const auto event = [&] { return *doc->GetEvent(2, 0); };
    const struct {
        Kind kind;
        std::string_view id;
        std::function<void(Form&)> fill;
        std::function<bool()> holds;
    } cases[] = {
        {Kind::event, "event-tag", {}, [&] { return event().eventTag != 0 && view->m_nMouseEventChan == 0; }},
        {Kind::event, "event-label", [](Form& f) { f["label"].text = "x"; },
         [&] { return event().eventLabel.View() == "x"; }},
        {Kind::event, "event-delete", {}, [&] { return doc->GetNumEvents(2) == 1; }},
        {Kind::event,
         "event-select",
         {},
         [&] {
             return view->m_selection == Viewport{1400.0, 1500.0};
         }},
        {Kind::event,
         "event-zoom",
         {},
         [&] {
             return view->GetViewport() == Viewport{1350.0, 1550.0};
         }},
        {Kind::event,
         "centre",
         {},
         [&] {
             return view->GetViewport() == Viewport{1050.0, 1850.0};
         }},
        {Kind::event, "event-channel-hide", {}, [&] { return doc->eventChannels[2].channelVisible == 0; }},
        {Kind::event, "event-navigate", {}, [&] { return view->m_nNavEventChan == 2; }},
        {Kind::marker, "marker-delete", {}, [&] { return doc->markers.empty(); }},
        {Kind::marker, "marker-cursor", {}, [&] { return view->DatumLines().VertX(1) == X(1200.0); }},
        {Kind::vertCursor, "cursor-to-time",
         [](Form& f) {
             EXPECT_EQ(f.Number("time"), 1100.0);
             f["time"].number = 1300.0;
         },
         [&] { return view->DatumLines().VertX(0) == X(1300.0); }},
        {Kind::vertCursor, "cursor-delete", {}, [&] { return view->DatumLines().VertCount() == 0; }},
        {Kind::horzCursor, "cursor-to-value", [](Form& f) { f["value"].number = 1700.0; },
         [&] { return view->DatumLines().HorzY(0) == Y(1700.0); }},
        {Kind::horzCursor, "cursor-delete", {}, [&] { return view->DatumLines().HorzCount() == 0; }},
        {Kind::axis, "axis-hide", {}, [&] { return !view->m_bAxisVisible[0] && view->m_bAxisVisible[1]; }},
        {Kind::axis,
         "autoscale",
         {},
         [&] { return view->m_axes[0].m_bSelected && !view->m_axes[1].m_bSelected; }},
        {Kind::traceName, "trace-colour", [](Form& f) { f["colour"].colour = 0x123456; },
         [&] { return doc->traces[0].traceColour == 0x123456u; }},
        {Kind::timeAxis, "unit-s", {}, [&] { return view->m_nTimeUnit == 1; }},
        {Kind::plot, "cursor-add-vert-here", {}, [&] { return view->DatumLines().VertX(1) == X(1650.0); }},
    };
    for (const auto& [kind, id, fill, holds] : cases) {
        SCOPED_TRACE(id);
        Open();
        view->SelectAxis(1, false);
        if (fill) Fill(fill);
        RunEntry(kind, id);
        EXPECT_TRUE(holds());
        EXPECT_TRUE(host.fillForms.empty());
        host.fillForms.clear();
    }
}

TEST_F(ContextMenuTest, LockedEventsStayAsTheyAre) {
    doc->eventChannels[2].channelLocked = true;
    const PlaceMenu menu = MenuAt(*view, Places()[0].at);
    for (const char* id : {"event-properties", "event-label", "event-tag", "event-paint", "event-delete"})
        EXPECT_FALSE(Find(menu, id)->enabled) << id;
    EXPECT_EQ(Find(menu, "event-channel-lock")->checked, true);
}

TEST_F(ContextMenuTest, TracesAreFoundInLongStretchesToo) {
    view->ChangeViewport({0.0, 9999.0});
    SetAxis(0, 0.0, 9999.0);
    EXPECT_EQ(TraceAt(view->Plot(), {X(5000.0), Y(5000.0)}), 0);
    EXPECT_EQ(TraceAt(view->Plot(), {X(5000.0), Y(3000.0)}), -1);
    view->ChangeViewport({1000.0, 1010.0});  // between two samples
    SetAxis(0, 1000.0, 1010.0);
    EXPECT_EQ(TraceAt(view->Plot(), {X(1004.5), Y(1004.5)}), 0);
}

}  // namespace
}  // namespace kymora::test
