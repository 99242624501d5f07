// The commands that move the viewport, scale axes and switch what is shown.

#include "display/axis_edits.h"
#include "display/axis_pages.h"
#include "display/commands/command_tables.h"
#include "display/view_times.h"

namespace kymora {

using namespace commands;

namespace {

bool CanGoBack(const CKymoraView& view) { return view.GetHistory().CanGoBack(); }
bool CanGoForward(const CKymoraView& view) { return view.GetHistory().CanGoForward(); }
// Where nothing is selected, the first axis.
void EditLimits(const CommandContext& context) {
    const CKymoraView& view = context.view;
    for (const int axis : view.Plot().shownAxes)
        if (view.m_axes[static_cast<size_t>(axis)].m_bSelected) return view.Window()->EditLimit(axis, true);
    view.Window()->EditLimit(view.Plot().shownAxes.front(), true);
}

bool HasAxesInWindow(const CKymoraView& view) {
    return view.Window() != nullptr && HasAxes(view) && view.Plot().layout.axesShown;
}

constexpr Key Character(char character) { return {KeyCode::character, character}; }

bool IsNotAtStart(const CKymoraView& view) { return view.m_StartTime != 0.0; }
bool IsBeforeEnd(const CKymoraView& view) { return view.GetNavigation().HasMoreBehind(); }

constexpr auto perViewport = &ViewSettings::m_bTimebasePerViewport;

void Autoscale(const CommandContext& context) { context.view.Autoscale(context.ctrl); }

template <auto move>
void Go(const CommandContext& context) {
    context.view.Go(move);
}

// The name of the action for undo is that of the menu.
template <auto member>
void Toggle(const CommandContext& context) {
    for (const Command& command : ViewCommands())
        if (command.run == Toggle<member>)
            return context.view.Set(member, !(context.view.*member), PlainLabel(command.label));
}

// One of several values; the name of the action is that of their submenu.
template <auto member, int value>
void Choose(const CommandContext& context) {
    for (const Command& command : ViewCommands())
        if (command.run == Choose<member, value>)
            return context.view.Set(member, value, command.menu.substr(command.menu.rfind('/') + 1));
}

template <auto member, int value>
constexpr CheckMark<CKymoraView> IsChosen{[](const CKymoraView& view) { return view.*member == value; },
                                          true};

template <int unit>
void SetUnit(const CommandContext& context) {
    context.view.ChangeSettings("Time unit", DisplayScope::look, [](ViewSettings& settings) {
        settings.m_nTimeUnit = unit;
        settings.m_bAutoTimeUnit = false;
    });
}
template <int unit>
constexpr CheckMark<CKymoraView> IsUnit{
    [](const CKymoraView& view) { return !view.m_bAutoTimeUnit && view.m_nTimeUnit == unit; }, true};
void SetAutoUnit(const CommandContext& context) {
    context.view.Set(&ViewSettings::m_bAutoTimeUnit, true, "Time unit");
}
constexpr CheckMark<CKymoraView> IsAutoUnit{[](const CKymoraView& view) { return view.m_bAutoTimeUnit; },
                                            true};
bool KnowsClock(const CKymoraView& view) { return view.GetDocument().GetStartClock().has_value(); }

bool ShowsSeveralAxes(const CKymoraView& view) { return HasAxes(view) && view.m_nVisibleAxes > 1; }
bool HasPages(const CKymoraView& view) { return HasAxes(view) && HasAxisPages(view); }
bool HasPageBehind(const CKymoraView& view) { return HasAxes(view) && HasAxesBehind(view); }
bool HasPageBefore(const CKymoraView& view) { return HasAxes(view) && HasAxesBefore(view); }

template <int quarters>
void SetArea(const CommandContext& context) {
    context.view.Set(&ViewSettings::m_fDataArea, static_cast<float>(quarters) * 0.25f, "Data area");
}

template <int quarters>
constexpr CheckMark<CKymoraView> IsArea{
    [](const CKymoraView& view) { return view.m_fDataArea == static_cast<float>(quarters) * 0.25f; }, true};

template <int figures>
void SetFigures(const CommandContext& context) {
    context.view.Set(&ViewSettings::m_nSigFigs, figures, "Vert ax scl sig fig");
    WarnOfEqualLabels(context.view);
}

template <bool dots>
void DrawAs(const CommandContext& context) {
    SetDrawAsDots(context.view, context.ctrl, dots);
}

template <bool dots>
constexpr CheckMark<CKymoraView> IsDrawnAs{
    [](const CKymoraView& view) {
        return IsSelectedFormat(view, [](const TraceFormat& format) { return format.drawAsDots == dots; });
    },
    true};

template <int size>
void SetSize(const CommandContext& context) {
    SetDotSize(context.view, context.ctrl, size);
}

template <int size>
constexpr CheckMark<CKymoraView> HasSize{
    [](const CKymoraView& view) {
        return IsSelectedFormat(view, [](const TraceFormat& format) { return format.dotSize == size; });
    },
    true};

bool DrawsDots(const CKymoraView& view) { return HasAxes(view) && IsDrawnAs<true>(view); }

bool FocusesLeftEdge(const CKymoraView& view) { return view.GetSession().options.expandContractFocus != 0; }

}  // namespace

// clang-format off
CommandTable NavigationCommands() {
    return {
        {"start", "Navigati&on", "&Start\tHOME", "Shows the beginning of the recording", IsNotAtStart, nullptr, Go<&Navigation::GoToStart>},
        {"end", "Navigati&on", "&End\tEND", "Shows the end of the recording", nullptr, nullptr, Go<&Navigation::GoToEnd>},
        {"left-page", "Navigati&on", "&Left page\tCtrl+left arrow", "Goes back by the time that is shown", IsNotAtStart, nullptr, Go<&Navigation::LeftPage>, group, {KeyCode::pageUp}},
        {"right-page", "Navigati&on", "&Right page\tCtrl+right arrow", "Goes on by the time that is shown, up to the end", IsBeforeEnd, nullptr, Go<&Navigation::RightPage>, false, {KeyCode::pageDown}},
        {"left-percent", "Navigati&on", "L&eft %\tleft arrow", "Goes back by a part of the time that is shown", IsNotAtStart, nullptr, Go<&Navigation::LeftPercent>},
        {"right-percent", "Navigati&on", "R&ight %\tright arrow", "Goes on by a part of the time that is shown, up to the end", IsBeforeEnd, nullptr, Go<&Navigation::RightPercent>},
        {"set-step", "Navigati&on", "Set step %", "Sets how far the arrow keys go", nullptr, nullptr, Do<AskStep>, asks},
        {"back", "Navigati&on", "&Back\tAlt+left arrow", "Shows again what was shown before", CanGoBack, nullptr, Run<&CKymoraView::GoBack>, group},
        {"forward", "Navigati&on", "&Forward\tAlt+right arrow", "Takes a step back again", CanGoForward, nullptr, Run<&CKymoraView::GoForward>},

        {"compress", "&Zoom", "&Compress\t/", "Shows twice the time", nullptr, nullptr, Go<&Navigation::Compress>},
        {"expand", "&Zoom", "E&xpand\t*", "Shows half the time", nullptr, nullptr, Go<&Navigation::Expand>},
        {"one-to-one", "&Zoom", "&1 : 1\tAlt+1", "Shows one sample per pixel", HasPlot, nullptr, Go<&Navigation::OneToOne>},
        {"show-all", "&Zoom", "Show all\tAlt+0", "Shows the whole recording", nullptr, nullptr, Go<&Navigation::ShowAll>},
        {"set-timebase", "&Zoom", "Set timebase", "Sets how much time is shown", nullptr, nullptr, Do<AskTimebase>, asks},
        {"zoom-to-selection", "&Zoom", "&Zoom to selection", "Shows the selected stretch of time", HasSelection, nullptr, Do<ZoomToSelection>},
        {"magnify-horizontally", "&Zoom", "Magnify horizontally with mouse", "Shows the stretch of time that the mouse is dragged over", HasPlot, IsInMode<mouseMagnifyHorizontally>, EnterMode<mouseMagnifyHorizontally>, group},
        {"magnify-vertically", "&Zoom", "Magnify vertically with mouse", "Fits an axis to the range that the mouse is dragged over", HasAxes, IsInMode<mouseMagnifyVertically>, EnterMode<mouseMagnifyVertically>},
        {"focus-left-edge", "&Zoom", "Focus left edge (else mid)", "Zooming keeps the left edge in place; otherwise it keeps the middle", nullptr, FocusesLeftEdge, Run<&CKymoraView::ToggleFocusLeftEdge>, group},
    };
}

CommandTable GainCommands() {
    return {
        {"increase-gain", "&Gain", "&Increase gain\t+", "Makes the traces of the selected axes taller; with Ctrl those of all axes", HasAxes, nullptr, DoOnAxes<IncreaseGain>},
        {"decrease-gain", "&Gain", "&Decrease gain\t-", "Makes the traces of the selected axes smaller; with Ctrl those of all axes", HasAxes, nullptr, DoOnAxes<DecreaseGain>},
        {"move-up", "&Gain", "Move &up\tUp arrow", "Moves the traces of the selected axes up; with Ctrl those of all axes", HasAxes, nullptr, DoOnAxes<MoveUp>},
        {"move-down", "&Gain", "Move &down\tDown arrow", "Moves the traces of the selected axes down; with Ctrl those of all axes", HasAxes, nullptr, DoOnAxes<MoveDown>},
        {"autoscale", "&Gain", "&Autoscale\t Ctrl 0", "Fits the selected axes to the data in view; with Ctrl all axes", HasAxes, nullptr, Autoscale, group, Character('0')},
        {"axis-limits", "&Gain", "Set axis &limits", "Writes the limits of the selected axis; Tab goes on to the next one", HasAxesInWindow, nullptr, EditLimits},
        {"same-scale", "&Gain", "Same scale", "Gives the selected axes the range that holds all of theirs; all axes where one is selected or Ctrl is held", HasAxes, nullptr, DoOnAxes<SameScale>},
    };
}

CommandTable ViewCommandTable() {
    return {
        {"axes", "&View", "Axes", "Shows the axes", nullptr, IsOn<&ViewSettings::m_bShowAxes>, Toggle<&ViewSettings::m_bShowAxes>},
        {"slider", "&View", "Slider", "Shows the slider at the foot of the window", nullptr, IsOn<&ViewSettings::m_bShowSlider>, Toggle<&ViewSettings::m_bShowSlider>},
        {"grid", "&View", "&Grid", "Shows the grid", nullptr, IsOn<&ViewSettings::m_bShowGrid>, Toggle<&ViewSettings::m_bShowGrid>},
        {"events", "&View", "&Events", "Shows the event channels", nullptr, IsOn<&ViewSettings::m_bShowEvents>, Toggle<&ViewSettings::m_bShowEvents>, group},
        {"event-chan-labels", "&View", "Event chan labels", "Shows the names of the event channels", IsOn<&ViewSettings::m_bShowEvents>, IsOn<&ViewSettings::m_bShowEventChanLabels>, Toggle<&ViewSettings::m_bShowEventChanLabels>},
        {"event-labels", "&View", "Event labels", "Shows the labels of single events", IsOn<&ViewSettings::m_bShowEvents>, IsOn<&ViewSettings::m_bShowEventLabels>, Toggle<&ViewSettings::m_bShowEventLabels>},
        {"markers", "&View", "Markers", "Shows the markers", nullptr, IsOn<&ViewSettings::m_bShowMarkers>, Toggle<&ViewSettings::m_bShowMarkers>, group},
        {"trace-annotations", "&View", "Trace annotations", "Shows the annotations of the traces", nullptr, IsOn<&ViewSettings::m_bShowAnnotations>, Toggle<&ViewSettings::m_bShowAnnotations>},
        {"scale-bars", "&View", "Scale bars", "Shows the scale bars", nullptr, IsOn<&ViewSettings::m_bShowScaleBars>, Toggle<&ViewSettings::m_bShowScaleBars>},
        {"trace-labels", "&View", "Trace labels", "Shows the labels of the traces", HasAxes, IsOn<&ViewSettings::m_bShowTraceLabels>, Toggle<&ViewSettings::m_bShowTraceLabels>, group},
        {"trace-ids", "&View", "Trace IDs", "Shows the numbers of the traces", HasAxes, IsOn<&ViewSettings::m_bShowTraceIDs>, Toggle<&ViewSettings::m_bShowTraceIDs>},
        {"event-ticks", "&View", "Event ticks in traces", "Shows events also as lines through the trace in which they were found", IsOn<&ViewSettings::m_bShowEvents>, IsOn<&ViewSettings::m_bEventTicks>, Toggle<&ViewSettings::m_bEventTicks>},
        {"inactive-sections", "&View", "Inactive data sections", "Shows gaps in grey at zero", HasAxes, IsOn<&ViewSettings::m_bInactiveSections>, Toggle<&ViewSettings::m_bInactiveSections>},
        {"format", "&View", "&Format", "Sets labels, units, colours and lines of the traces of the selected axes", nullptr, nullptr, Do<AskFormat>, group | asks},
        {"select-axes", "&View", "&Select axes", "Chooses the axes to show and the axis of each trace", nullptr, nullptr, Do<AskAxes>, asks},
        {"set-size", "&View", "Set size", "Sets the size of the view in pixels", HasWindow, nullptr, Do<AskSize>, asks},
        {"fewer-traces", "&View/Traces at a time", "&Fewer traces at a time\tAlt+-", "Shows half as many traces at a time, so that each can be read; the others are on further pages", ShowsSeveralAxes, nullptr, Do<ShowFewerAxes>, group},
        {"more-traces", "&View/Traces at a time", "&More traces at a time\tAlt+=", "Shows twice as many traces at a time", HasPages, nullptr, Do<ShowMoreAxes>},
        {"all-traces", "&View/Traces at a time", "&All traces", "Shows all traces at a time", HasPages, nullptr, Do<ShowAllAxes>},
        {"next-traces", "&View/Traces at a time", "&Next traces\tAlt+Down arrow", "Shows the traces of the next page", HasPageBehind, nullptr, Do<ShowNextAxes>, group},
        {"previous-traces", "&View/Traces at a time", "&Previous traces\tAlt+Up arrow", "Shows the traces of the page before", HasPageBefore, nullptr, Do<ShowPreviousAxes>},
        {"lines", "&View/Trace style", "Lines", "Draws the traces of the selected axes as lines; with Ctrl all traces", HasAxes, IsDrawnAs<false>, DrawAs<false>},
        {"dots", "&View/Trace style", "Dots", "Draws the traces of the selected axes as dots; with Ctrl all traces", HasAxes, IsDrawnAs<true>, DrawAs<true>},
        {"dot-min", "&View/Trace style", "Min", "Dots of a single pixel", DrawsDots, HasSize<0>, SetSize<0>, group},
        {"dot-small", "&View/Trace style", "Small", "Dots of radius 2", DrawsDots, HasSize<1>, SetSize<1>},
        {"dot-medium", "&View/Trace style", "Medium", "Dots of radius 4", DrawsDots, HasSize<2>, SetSize<2>},
        {"dot-large", "&View/Trace style", "Large", "Dots of radius 6", DrawsDots, HasSize<3>, SetSize<3>},
        {"data-area-0", "&View/Data area", "0%", "Gives the traces 0% of the height, the event rows the rest", nullptr, IsArea<0>, SetArea<0>},
        {"data-area-25", "&View/Data area", "25%", "Gives the traces 25% of the height, the event rows the rest", nullptr, IsArea<1>, SetArea<1>},
        {"data-area-50", "&View/Data area", "50%", "Gives the traces 50% of the height, the event rows the rest", nullptr, IsArea<2>, SetArea<2>},
        {"data-area-75", "&View/Data area", "75%", "Gives the traces 75% of the height, the event rows the rest", nullptr, IsArea<3>, SetArea<3>},
        {"data-area-100", "&View/Data area", "100%", "Gives the traces 100% of the height, the event rows the rest", nullptr, IsArea<4>, SetArea<4>},
        {"timebase-per-division", "&View/Timebase", "Per grid division", "The timebase box shows the time of one grid division", nullptr, IsChosen<perViewport, 0>, Choose<perViewport, 0>},
        {"timebase-per-viewport", "&View/Timebase", "Per viewport", "The timebase box shows the time of the whole view", nullptr, IsChosen<perViewport, 1>, Choose<perViewport, 1>},
        {"unit-ms", "&View/Time unit", "msec", "Shows times in milliseconds", nullptr, IsUnit<0>, SetUnit<0>},
        {"unit-s", "&View/Time unit", "sec", "Shows times in seconds", nullptr, IsUnit<1>, SetUnit<1>},
        {"unit-min", "&View/Time unit", "min", "Shows times in minutes", nullptr, IsUnit<2>, SetUnit<2>},
        {"unit-h", "&View/Time unit", "hours", "Shows times in hours", nullptr, IsUnit<3>, SetUnit<3>},
        {"unit-auto", "&View/Time unit", "By the length of the view", "Shows times in the unit that suits the time in view", nullptr, IsAutoUnit, SetAutoUnit},
        {"clock-time", "&View/Time unit", "Time of day at the ticks", "Shows at the ticks of the time axis when it was, where the file knows when it began", KnowsClock, IsOn<&ViewSettings::m_bClockTime>, Toggle<&ViewSettings::m_bClockTime>, group},
        {"figures-default", "&View/Vert ax scl sig fig", "Default", "Shows axis limits in their default form", nullptr, IsChosen<&ViewSettings::m_nSigFigs, 0>, SetFigures<0>},
        {"figures-1", "&View/Vert ax scl sig fig", "1", "Shows axis limits with 1 significant figure", nullptr, IsChosen<&ViewSettings::m_nSigFigs, 1>, SetFigures<1>},
        {"figures-2", "&View/Vert ax scl sig fig", "2", "Shows axis limits with 2 significant figures", nullptr, IsChosen<&ViewSettings::m_nSigFigs, 2>, SetFigures<2>},
        {"figures-3", "&View/Vert ax scl sig fig", "3", "Shows axis limits with 3 significant figures", nullptr, IsChosen<&ViewSettings::m_nSigFigs, 3>, SetFigures<3>},
        {"figures-4", "&View/Vert ax scl sig fig", "4", "Shows axis limits with 4 significant figures", nullptr, IsChosen<&ViewSettings::m_nSigFigs, 4>, SetFigures<4>},
        {"figures-5", "&View/Vert ax scl sig fig", "5", "Shows axis limits with 5 significant figures", nullptr, IsChosen<&ViewSettings::m_nSigFigs, 5>, SetFigures<5>},
        {"figures-6", "&View/Vert ax scl sig fig", "6", "Shows axis limits with 6 significant figures", nullptr, IsChosen<&ViewSettings::m_nSigFigs, 6>, SetFigures<6>},
    };
}
// clang-format on

}  // namespace kymora
