// The commands of cursors.

#include <cstdlib>
#include <functional>

#include "display/commands/command_tables.h"
#include "display/overlays/cursor_forms.h"
#include "display/overlays/cursor_table.h"

namespace kymora {

using namespace commands;

namespace {

CDatumLines& Lines(const CommandContext& context) { return context.view.DatumLines(); }

bool HasVert(const CKymoraView& view) { return view.DatumLines().VertCount() > 0; }
bool HasHorz(const CKymoraView& view) { return view.DatumLines().HorzCount() > 0; }
bool HasAny(const CKymoraView& view) { return HasVert(view) || HasHorz(view); }
bool HasPlace(const CKymoraView& view) { return HasPlot(view) && view.Plot().layout.plot.Height() > 0; }
bool CanPlaceHorz(const CKymoraView& view) { return HasPlace(view) && HasAxes(view); }

// Cursors that are added one after the other stand beside each other: each a sixteenth of the plot further on
// from the middle, and behind the plot's end on from its start. Where every place is taken, in the middle.
int FreePlace(int from, int to, int middle, int count, const std::function<int(int)>& placeOf) {
    constexpr int places = 16, nearby = 5;
    for (int i = 0; i < places; ++i) {
        const int place = i == 0 ? middle : from + (to - from) * ((places / 2 + i) % places) / places;
        bool isTaken = false;
        for (int line = 0; line < count; ++line) isTaken |= std::abs(placeOf(line) - place) <= nearby;
        if (!isTaken) return place;
    }
    return middle;
}

// At the mouse, or in the middle of the view.
void AddVert(const CommandContext& context) {
    const CKymoraView& view = context.view;
    CDatumLines& lines = Lines(context);
    const PixelRect plot = view.Plot().layout.plot;
    const int middle = view.Plot().TimeToPixel((view.m_StartTime + view.m_EndTime) / 2.0);
    const bool atMouse = context.at && lines.IsOnPlotX(context.at->x);
    lines.AddVertLine(atMouse ? context.at->x
                              : FreePlace(plot.left, plot.right, middle, lines.VertCount(),
                                          [&](int line) { return lines.VertX(line); }));
    view.Invalidate();
}

void AddHorz(const CommandContext& context) {
    CDatumLines& lines = Lines(context);
    const PixelRect plot = context.view.Plot().layout.plot;
    const bool atMouse = context.at && lines.IsOnPlotY(context.at->y);
    lines.AddHorzLine(atMouse ? context.at->y
                              : FreePlace(plot.top, plot.bottom, (plot.top + plot.bottom) / 2,
                                          lines.HorzCount(), [&](int line) { return lines.HorzY(line); }));
    context.view.Invalidate();
}

// The cursor at the mouse, or the only one; otherwise the user clicks it.
void DeleteVert(const CommandContext& context) {
    int line = context.at ? Lines(context).VertLineAt(context.at->x, context.at->y) : -1;
    if (Lines(context).VertCount() == 1) line = 0;
    if (line < 0) return EnterMode<mouseDeleteVertCursor>(context);
    Lines(context).DeleteVertLine(line);
    context.view.Invalidate();
}

void DeleteHorz(const CommandContext& context) {
    int line = context.at ? Lines(context).HorzLineAt(context.at->x, context.at->y) : -1;
    if (Lines(context).HorzCount() == 1) line = 0;
    if (line < 0) return EnterMode<mouseDeleteHorzCursor>(context);
    Lines(context).DeleteHorzLine(line);
    context.view.Invalidate();
}

template <void (CDatumLines::*operation)()>
void OnLines(const CommandContext& context) {
    (Lines(context).*operation)();
    context.view.Invalidate();
}

void CopyTable(const CommandContext& context) {
    const CKymoraView& view = context.view;
    view.Window()->CopyText(TabSeparated(TableOf(view.Plot(), MeasureCursors(view))));
}
bool CanCopyTable(const CKymoraView& view) { return view.Window() != nullptr && HasAny(view); }

bool AreCoupled(const CKymoraView& view) { return view.GetSession().coupledCursors; }
void Couple(const CommandContext& context) {
    bool& coupled = context.view.GetSession().coupledCursors;
    coupled = !coupled;
}

template <bool CDatumLines::*member>
bool Shows(const CKymoraView& view) {
    return view.DatumLines().*member;
}

template <bool CDatumLines::*member>
void ToggleDisplay(const CommandContext& context) {
    Lines(context).*member = !(Lines(context).*member);
    context.view.Invalidate();
}

bool ShowsNone(const CKymoraView& view) {
    const CDatumLines& lines = view.DatumLines();
    return !lines.m_bShowIDs && !lines.m_bShowTimes && !lines.m_bShowValues;
}

void ShowNone(const CommandContext& context) {
    CDatumLines& lines = Lines(context);
    lines.m_bShowIDs = lines.m_bShowTimes = lines.m_bShowValues = false;
    context.view.Invalidate();
}

}  // namespace

// clang-format off
CommandTable CursorCommands() {
    return {
        {"cursor-add-vert", "&Cursors", "Add vert\tv", "Adds a vertical cursor, in the middle of the view or at the mouse; drag it to move it", HasPlace, nullptr, AddVert},
        {"cursor-add-vert-here", "&Cursors", "Add vert at mouse\tShift+v", "Adds a vertical cursor where the mouse points", HasPlace, nullptr, AtMouse<AddVert>},
        {"cursor-multi-add-vert", "&Cursors", "MultiAdd vert", "Each click adds a vertical cursor, until ESC is pressed", HasPlace, IsInMode<mouseAddVertCursors>, EnterMode<mouseAddVertCursors>},
        {"cursor-place-at-time", "&Cursors", "Place at time", "Adds a vertical cursor at a time that you enter", HasPlace, nullptr, Do<PlaceAtTime>, asks},
        {"cursor-add-horz", "&Cursors", "Add horz\th", "Adds a horizontal cursor, in the middle of the view or at the mouse; drag it to move it", HasPlace, nullptr, AddHorz, group},
        {"cursor-add-horz-here", "&Cursors", "Add horz at mouse\tShift+h", "Adds a horizontal cursor where the mouse points", HasPlace, nullptr, AtMouse<AddHorz>},
        {"cursor-multi-add-horz", "&Cursors", "MultiAdd horz", "Each click adds a horizontal cursor, until ESC is pressed", HasPlace, IsInMode<mouseAddHorzCursors>, EnterMode<mouseAddHorzCursors>},
        {"cursor-place-at-voltage", "&Cursors", "Place at voltage", "Adds a horizontal cursor at a value of a trace that you enter", CanPlaceHorz, nullptr, Do<PlaceAtVoltage>, asks},
        {"cursor-add-horz-relative", "&Cursors", "Add horz relative", "Adds a horizontal cursor at a level that is measured between two vertical cursors, or in the view", CanPlaceHorz, nullptr, Do<AddHorzRelative>, asks},
        {"cursor-couple", "&Cursors", "Couple cursors", "All vertical cursors keep their distances when one of them is moved", nullptr, AreCoupled, Couple, group},
        {"cursor-show-ids", "&Cursors/Numeric display ...", "IDs", "Shows the numbers of the cursors", nullptr, Shows<&CDatumLines::m_bShowIDs>, ToggleDisplay<&CDatumLines::m_bShowIDs>},
        {"cursor-show-times", "&Cursors/Numeric display ...", "Vert times", "Shows the times of the vertical cursors", nullptr, Shows<&CDatumLines::m_bShowTimes>, ToggleDisplay<&CDatumLines::m_bShowTimes>},
        {"cursor-show-values", "&Cursors/Numeric display ...", "Values", "Shows the values of the traces at the cursors", nullptr, Shows<&CDatumLines::m_bShowValues>, ToggleDisplay<&CDatumLines::m_bShowValues>},
        {"cursor-show-none", "&Cursors/Numeric display ...", "None", "Shows the cursors without numbers", nullptr, ShowsNone, ShowNone},
        {"cursor-reset-labels", "&Cursors", "Reset label positions", "Puts the numbers at the cursors back in their first places", HasAny, nullptr, OnLines<&CDatumLines::ResetLabelPositions>},
        {"cursor-del-vert", "&Cursors", "Del vert", "Deletes the vertical cursor that you click next", HasVert, IsInMode<mouseDeleteVertCursor>, DeleteVert, group},
        {"cursor-del-horz", "&Cursors", "Del horz", "Deletes the horizontal cursor that you click next", HasHorz, IsInMode<mouseDeleteHorzCursor>, DeleteHorz},
        {"cursor-del-all-vert", "&Cursors", "Del all vert", "Deletes all vertical cursors", HasVert, nullptr, OnLines<&CDatumLines::DeleteAllVert>},
        {"cursor-del-all-horz", "&Cursors", "Del all horz", "Deletes all horizontal cursors", HasHorz, nullptr, OnLines<&CDatumLines::DeleteAllHorz>},
        {"cursor-del-all", "&Cursors", "Del all", "Deletes all cursors", HasAny, nullptr, OnLines<&CDatumLines::DeleteAll>},
        {"cursor-table-copy", "&Cursors", "Cop&y table of cursors", "Copies what the cursors measure: times, values and the differences between them, for a spreadsheet", CanCopyTable, nullptr, CopyTable, group},
        {"cursor-table-save", "&Cursors", "&Save table of cursors...", "Writes what the cursors measure to a file of comma-separated values", HasAny, nullptr, Do<SaveCursorTable>},
    };
}
// clang-format on

}  // namespace kymora
