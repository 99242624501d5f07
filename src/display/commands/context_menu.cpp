#include "display/commands/context_menu.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "display/axis_edits.h"
#include "display/axis_pages.h"
#include "display/events/event_editing.h"
#include "display/events/event_forms.h"
#include "display/events/event_text.h"
#include "display/overlays/cursor_forms.h"
#include "display/overlays/cursor_table.h"
#include "display/overlays/overlay_markers.h"

namespace kymora {

namespace {

using Kind = ViewObject::Kind;
using Action = std::function<void(CKymoraView&)>;

// Scrolls so that a stretch stands in the middle of the view.
void Centre(CKymoraView& view, double start, double end) {
    view.SetStartTime((start + end - view.GetViewport().Duration()) / 2.0);
}

// Shows a stretch with as much again around it.
void ZoomTo(CKymoraView& view, double start, double end) {
    const double around = (end - start) / 2.0;
    view.ChangeViewport({std::max(0.0, start - around), end + around});
}

std::string AxisTitle(const CKymoraView& view, int axis) {
    const std::string& label = view.m_axes[static_cast<size_t>(axis)].m_strLabel;
    return fmt::format("Axis {}{}{}", axis + 1, label.empty() ? "" : ": ", label);
}

class MenuMaker {
  public:
    MenuMaker(CKymoraView& view, Point at) : view_(view), at_(at), context_(view.Plot()) {}

    PlaceMenu Make() {
        menu_.object = ObjectAt(context_, at_);
        AddObject(menu_.object);
        if (context_.layout.plot.Contains(at_.x, at_.y)) AddPlace();
        Group();
        Add("undo");
        Add("redo");
        return std::move(menu_);
    }

  private:
    void Title(std::string title) { menu_.title = std::move(title); }
    void Group() { startsGroup_ = !menu_.entries.empty(); }

    MenuEntry& Put(MenuEntry entry) {
        entry.startsGroup = std::exchange(startsGroup_, false);
        return menu_.entries.emplace_back(std::move(entry));
    }

    // A command of the table at this place, under a label of its own if there is one; the key stays.
    // `before` makes it mean the object.
    void Add(std::string_view id, std::string label = {}, const Action& before = {}) {
        const Command* command = FindCommand(id);
        const size_t tab = command->label.find('\t');
        if (label.empty())
            label = command->label;
        else if (tab != std::string_view::npos)
            label += command->label.substr(tab);
        MenuEntry entry{std::string(id), std::move(label), std::string(command->toolTip)};
        entry.enabled = !command->enabled || command->enabled(view_);
        if (command->checked) entry.checked = command->checked(view_);
        entry.isRadio = command->checked.isRadio;
        entry.run = [command, at = at_, before](CKymoraView& view) {
            if (before) before(view);
            RunCommand(*command, {view, false, at});
        };
        Put(std::move(entry));
    }

    void Own(std::string id, std::string label, std::string toolTip, Action run, bool enabled = true) {
        Put({.id = std::move(id),
             .label = std::move(label),
             .toolTip = std::move(toolTip),
             .enabled = enabled,
             .run = std::move(run)});
    }

    void AddCentre(double start, double end) {
        Own("centre", "&Bring to the middle", "Scrolls so that it stands in the middle of the view",
            [=](CKymoraView& view) { Centre(view, start, end); });
    }

    // --- of single objects ---

    void AddObject(const ViewObject& object) {
        switch (object.kind) {
        case Kind::event:
            return AddEvent(object.event);
        case Kind::eventRow:
            return AddChannel(object.number);
        case Kind::marker:
            return AddMarkerEntries(object.number);
        case Kind::annotation:
            return AddAnnotationEntries(object.annotation);
        case Kind::scaleBar:
            return AddBar(object.bar);
        case Kind::vertCursor:
            return AddCursor(true, object.number);
        case Kind::horzCursor:
            return AddCursor(false, object.number);
        case Kind::axis:
            Title(AxisTitle(view_, object.number));
            return AddAxis(object.number);
        case Kind::traceName:
            return AddTrace(object.number);
        case Kind::timeAxis:
            return AddTimeAxis();
        case Kind::slider:
            return AddSlider();
        case Kind::plot:
        case Kind::nothing:
            return Title("View");
        }
    }

    void AddEvent(const EventHit& hit) {
        const CDataDoc& doc = view_.GetDocument();
        const CEventChan& chan = doc.eventChannels[static_cast<size_t>(hit.channel)];
        const CEventKM event = *doc.GetEvent(hit.channel, hit.index);
        const double on = doc.TimeOf(event.onPosition), off = doc.TimeOf(event.offPosition);
        const bool isFree = !chan.channelLocked;
        Title(fmt::format("Event {} of {} in channel {}", hit.index + 1, chan.GetNumEvents(),
                          EventChannelTitle(context_, hit.channel)));
        Own(
            "event-properties", "&Properties of the event...",
            "Shows and sets onset, duration, value, tag, label and colour; a double click does the same",
            [hit](CKymoraView& view) { AskEventProperties(view, hit.channel, hit.index); }, isFree);
        Own(
            "event-label", "&Label...", "Edits the label of the event",
            [hit](CKymoraView& view) { AskEventLabel(view, hit.channel, hit.index); }, isFree);
        Own(
            "event-tag", "&Tagged", "Tags the event, or takes its tag away",
            [hit](CKymoraView& view) { ToggleTag(view, hit); }, isFree);
        menu_.entries.back().checked = event.eventTag != 0;
        Own(
            "event-paint", "&Colour...", "Asks for a colour and gives it to the event",
            [hit](CKymoraView& view) { Paint(view, hit); }, isFree);
        Own(
            "event-delete", "&Delete event\tDel", "Deletes the event",
            [hit](CKymoraView& view) {
                DeleteEvents(view, hit.channel, std::array{hit.index}, "Delete event");
            },
            isFree);
        Group();
        AddCentre(on, off);
        Own(
            "event-zoom", "&Zoom to the event", "Shows the event with as much again around it",
            [=](CKymoraView& view) { ZoomTo(view, on, off); }, off > on);
        Own(
            "event-select", "&Select its stretch of time", "Selects the time from onset to offset",
            [=](CKymoraView& view) {
                view.Select(Viewport{on, off});
            },
            off > on);
        Group();
        AddChannelEntries(hit.channel);
    }

    static void ToggleTag(CKymoraView& view, const EventHit& hit) {
        const int32_t tag = view.GetSession().eventInsertion.tag;
        const auto toggle = [tag](CEventKM& event) {
            event.eventTag = event.eventTag != 0 ? 0 : tag != 0 ? tag : 1;
        };
        const CEventKM* event = view.GetDocument().GetEvent(hit.channel, hit.index);
        if (!event) return;
        ChangeEvents(view.GetDocument(), hit.channel, std::array{hit.index}, toggle,
                     event->eventTag != 0 ? "Del event tag" : "Add event tag");
    }

    static void Paint(CKymoraView& view, const EventHit& hit) {
        SelectEventChannel(view, hit.channel);
        if (!AskEventPaint(view)) return;
        ChangeEvents(
            view.GetDocument(), hit.channel, std::array{hit.index},
            [paint = view.GetSession().eventPaint](CEventKM& event) { event.eventColour = paint; },
            "Set event colour");
    }

    void AddChannel(int channel) {
        Title("Channel " + EventChannelTitle(context_, channel));
        AddChannelEntries(channel);
        AddForChannel("event-channel-copy", channel);
        AddForChannel("event-delete-all", channel, "&Delete all its events");
        Group();
        Add("event-distribute");
        Add("event-unhide");
    }

    // Of a command on the selected channel, for another one.
    void AddForChannel(std::string_view id, int channel, std::string label = {}) {
        const int selected = std::exchange(view_.m_nMouseEventChan, channel);
        Add(id, std::move(label), [channel](CKymoraView& view) { SelectEventChannel(view, channel); });
        view_.m_nMouseEventChan = selected;
    }

    void AddChannelEntries(int channel) {
        AddForChannel("event-channel-properties", channel, "Cha&nnel properties...");
        AddForChannel("event-channel-hide", channel, "&Hide channel");
        AddForChannel("event-channel-lock", channel);
        Put({.id = "event-list",
             .label = "L&ist of its events...",
             .toolTip = "Lists the events of the channel with what can be measured of them",
             .enabled = view_.GetDocument().GetNumEvents(channel) > 0,
             .parameters = {{"channel1", EventChannelText(view_.GetSession(), channel)}}});
        Own("event-navigate", "Go through its e&vents",
            "Makes it the channel of Next event and Prev event (Ctrl+e, Alt+e)",
            [channel](CKymoraView& view) { view.m_nNavEventChan = channel; });
        menu_.entries.back().checked = view_.m_nNavEventChan == channel;
    }

    void AddMarkerEntries(int marker) {
        const CMarker& own = view_.GetDocument().markers[static_cast<size_t>(marker)];
        Title(own.m_strLabel.empty() ? fmt::format("Marker {}", marker + 1)
                                     : fmt::format("Marker {}: {}", marker + 1, own.m_strLabel));
        Add("marker-edit", "&Edit marker...");
        Own("marker-delete", "&Delete marker\tDel", "Deletes the marker",
            [marker](CKymoraView& view) { DeleteMarker(view, marker); });
        Group();
        AddCentre(own.m_dTime, own.m_dTime);
        Own("marker-cursor", "&Cursor at the marker", "Adds a vertical cursor at the time of the marker",
            [time = own.m_dTime](CKymoraView& view) {
                view.DatumLines().AddVertLine(view.Plot().TimeToPixel(time));
                view.Invalidate();
            });
        Add("marker-lock");
        Add("marker-convert");
        Add("markers", "&Show markers");
    }

    void AddAnnotationEntries(AnnotationId id) {
        const double time = FindAnnotation(view_.GetDocument(), id)->m_dTime;
        Title(fmt::format("Annotation of trace {}", id.trace + 1));
        Add("annotation-edit", "&Edit annotation...");
        Own("annotation-delete", "&Delete annotation\tDel", "Deletes the annotation",
            [id](CKymoraView& view) { DeleteAnnotation(view, id); });
        Group();
        AddCentre(time, time);
        Add("trace-annotations", "&Show annotations");
    }

    void AddBar(ScaleBarId id) {
        Title(id.isHorizontal ? "Horizontal scale bar" : "Vertical scale bar");
        Own("scale-bar-edit", "&Edit scale bar...", "Changes the scale bar; a double click does the same",
            [id](CKymoraView& view) { EditScaleBar(view, id); });
        Own("scale-bar-delete", "&Delete scale bar\tDel", "Deletes the scale bar",
            [id](CKymoraView& view) { DeleteScaleBar(view, id); });
        Group();
        Add("scale-bar-options", "&Options of scale bars...");
        Add("scale-bars", "&Show scale bars");
    }

    void AddCursor(bool isVert, int line) {
        Title("Cursor " + CursorName(isVert, line));
        if (isVert)
            Own("cursor-to-time", "&Place at time...", "Moves the cursor to a time that you enter",
                [line](CKymoraView& view) { MoveCursorToTime(view, line); });
        else
            Own("cursor-to-value", "&Place at value...",
                "Moves the cursor to a value of a trace that you enter",
                [line](CKymoraView& view) { MoveCursorToValue(view, line); });
        Own("cursor-delete", "&Delete cursor\tDel", "Deletes the cursor",
            [isVert, line](CKymoraView& view) { DeleteCursor(view, isVert, line); });
        if (isVert)
            Own("cursor-marker", "&Marker at the cursor...",
                "Adds a marker at the time of the cursor, and asks for its label", [line](CKymoraView& view) {
                    AddMarkerByMouse(view, view.DatumLines().GetVertLineTime(line));
                });
        Group();
        AddPairs(isVert, line);
        Put({.id = "cursor-table",
             .label = "&Table of cursors",
             .toolTip = "Shows the table of cursors, or hides it"});
        Add("cursor-table-copy");
        Add("cursor-couple");
        Group();
        for (const char* id :
             {"cursor-show-ids", "cursor-show-times", "cursor-show-values", "cursor-reset-labels"})
            Add(id);
        Group();
        Add(isVert ? "cursor-del-all-vert" : "cursor-del-all-horz");
        Add("cursor-del-all");
    }

    static void DeleteCursor(CKymoraView& view, bool isVert, int line) {
        if (isVert)
            view.DatumLines().DeleteVertLine(line);
        else
            view.DatumLines().DeleteHorzLine(line);
        view.Invalidate();
    }

    void AddPairs(bool isVert, int line) {
        const auto from = isVert ? &DatumPairs::vertFrom : &DatumPairs::horzFrom;
        const bool isFrom = view_.DatumLines().m_pairs.*from == line;
        Own("cursor-from", "Differences &from this cursor",
            "The table tells the differences of all others from this cursor; otherwise those between "
            "neighbours",
            [=](CKymoraView& view) {
                view.DatumLines().m_pairs.*from = isFrom ? -1 : line;
                view.Invalidate();
            });
        menu_.entries.back().checked = isFrom;
    }

    void AddAxis(int axis) {
        // A selected axis stands for all that are selected, as the commands have it.
        const auto select = [axis](CKymoraView& view) {
            if (!view.m_axes[static_cast<size_t>(axis)].m_bSelected) view.SelectAxis(axis, false);
        };
        Add("autoscale", "&Autoscale", select);
        Add("axis-limits", {}, [axis](CKymoraView& view) { view.SelectAxis(axis, false); });
        Add("increase-gain", {}, select);
        Add("decrease-gain", {}, select);
        Add("same-scale", {}, select);
        Group();
        Own("axis-select", "Select &only this axis",
            "The commands on axes act on this one alone; a click does the same",
            [axis](CKymoraView& view) { view.SelectAxis(axis, false); });
        AddHide(axis);
        Add("format", "&Format...", select);
        Add("select-axes", "Select a&xes...");
    }

    // The last one stays: a view without axes shows nothing.
    void AddHide(int axis) {
        Own(
            "axis-hide", "&Hide axis", "Hides the axis with its traces; Select axes shows it again",
            [axis](CKymoraView& view) {
                view.ChangeSettings("Hide axis", DisplayScope::work, [axis](ViewSettings& settings) {
                    settings.m_bAxisVisible[static_cast<size_t>(axis)] = false;
                });
            },
            VisibleAxes(view_) > 1);
    }

    void AddTrace(int trace) {
        const int axis = context_.AxisOf(trace);
        Title(TraceTitle(view_.GetDocument(), trace));
        Own("trace-colour", "&Colour...", "Gives the trace another colour",
            [trace](CKymoraView& view) { AskTraceColour(view, trace); });
        AddAxis(axis);
        Group();
        Add("trace-labels", "Show trace &labels");
        Add("trace-ids", "Show trace I&Ds");
    }

    void AddTimeAxis() {
        Title("Time axis");
        for (const char* id : {"show-all", "compress", "expand", "one-to-one"}) Add(id);
        Add("set-timebase", "Set &timebase...");
        Add("zoom-to-selection");
        Group();
        Add("unit-ms", "&Milliseconds");
        Add("unit-s", "&Seconds");
        Add("unit-min", "M&inutes");
        Add("unit-h", "&Hours");
        Add("unit-auto");
        Add("clock-time");
        Group();
        Add("timebase-per-division", "Timebase of a &grid division");
        Add("timebase-per-viewport", "Timebase of the whole &view");
        Add("focus-left-edge");
    }

    void AddSlider() {
        Title("Slider");
        for (const char* id : {"start", "left-page", "right-page", "end", "show-all"}) Add(id);
        Group();
        Add("slider", "S&how the slider");
    }

    // --- of the place ---

    void AddPlace() {
        Group();
        const bool hasSelection = view_.m_selection.has_value();
        if (hasSelection) {
            Add("zoom-to-selection");
            AddDeleteInSelection();
            Add("cancel-selection");
            Group();
        }
        Add("cursor-add-vert-here", "Add &vertical cursor here");
        Add("cursor-add-horz-here", "Add hori&zontal cursor here");
        Add("marker-add-here", "Add &marker here...");
        Add("annotation-add-here", "Add a&nnotation here...");
        if (menu_.object.kind != Kind::plot) return;
        Group();
        if (const int axis = context_.GetNearestAxis(at_.y); axis >= 0) {
            const auto select = [axis](CKymoraView& view) { view.SelectAxis(axis, false); };
            const std::string which = " axis " + std::to_string(axis + 1);
            Add("autoscale", "&Autoscale" + which, select);
            const int trace = TraceAt(context_, at_);
            Add(
                "format",
                trace >= 0 ? "&Format of trace " + std::to_string(trace + 1) + "..."
                           : "&Format of" + which + "...",
                trace < 0 ? Action(select) : [own = context_.AxisOf(trace)](CKymoraView& view) {
                    view.SelectAxis(own, false);
                });
        }
        Add("show-all");
        Add("back");
        Group();
        Add("copy-time-voltage", "&Copy time and value");
        Add("copy-bitmap");
        Add("event-clipboard-paste");
    }

    void AddDeleteInSelection() {
        const int channel = view_.m_nMouseEventChan;
        Add("event-delete-selection", "Delete e&vents of channel " +
                                          EventChannelText(view_.GetSession(), channel) +
                                          " in the selection");
    }

    CKymoraView& view_;
    Point at_;
    PlotContext context_;
    PlaceMenu menu_;
    bool startsGroup_ = false;
};

}  // namespace

PlaceMenu MenuAt(CKymoraView& view, Point at) { return MenuMaker(view, at).Make(); }

Point MenuPlace(const PlotContext& context, std::optional<Point> mouse) {
    if (mouse) return *mouse;
    const PixelRect& plot = context.layout.plot;
    return {(plot.left + plot.right) / 2, (plot.top + plot.bottom) / 2};
}

}  // namespace kymora
