#include "display/commands.h"

#include <vector>

namespace kymora {

namespace {

using View = CKymoraView;
using Context = CommandContext;

bool HasAxes(const View& view) { return view.m_fDataArea > 0.0f && view.m_nVisibleAxes > 0; }
bool HasPlot(const View& view) { return view.GetLayout().plot.Width() > 0; }
bool IsNotAtStart(const View& view) { return view.m_StartTime != 0.0; }

template <void (View::*operation)()>
void Run(const Context& context) {
    (context.view.*operation)();
}

template <void (View::*operation)(bool)>
void RunOnAxes(const Context& context) {
    (context.view.*operation)(context.ctrl);
}

template <bool View::*member>
void Toggle(const Context& context) {
    context.view.ToggleSwitch(member);
}

template <bool View::*member>
bool IsOn(const View& view) {
    return view.*member;
}

template <int quarters>
void SetArea(const Context& context) {
    context.view.SetDataArea(static_cast<float>(quarters) * 0.25f);
}

template <int quarters>
bool IsArea(const View& view) {
    return view.m_fDataArea == static_cast<float>(quarters) * 0.25f;
}

template <int unit>
void SetUnit(const Context& context) {
    context.view.SetTimeUnit(unit);
}

template <int unit>
bool IsUnit(const View& view) {
    return view.m_nTimeUnit == unit;
}

template <bool perViewport>
void SetTimebaseForm(const Context& context) {
    context.view.SetTimebasePerViewport(perViewport);
}

template <bool perViewport>
bool IsTimebaseForm(const View& view) {
    return view.m_bTimebasePerViewport == perViewport;
}

template <int figures>
void SetFigures(const Context& context) {
    context.view.SetSigFigs(figures);
}

template <int figures>
bool HasFigures(const View& view) {
    return view.m_nSigFigs == figures;
}

template <bool dots>
void DrawAs(const Context& context) {
    context.view.SetDrawAsDots(context.ctrl, dots);
}

template <bool dots>
bool IsDrawnAs(const View& view) {
    return view.IsSelectedFormat([](const TraceFormat& format) { return format.drawAsDots == dots; });
}

template <int size>
void SetSize(const Context& context) {
    context.view.SetDotSize(context.ctrl, size);
}

template <int size>
bool HasSize(const View& view) {
    return view.IsSelectedFormat([](const TraceFormat& format) { return format.dotSize == size; });
}

bool DrawsDots(const View& view) { return HasAxes(view) && IsDrawnAs<true>(view); }

bool FocusesLeftEdge(const View& view) { return view.GetSession().options.expandContractFocus != 0; }

constexpr bool group = true;

// clang-format off
std::vector<Command> MakeTable() {
    return {
        {"start", "&Navigation", "&Start\tHOME", IsNotAtStart, nullptr, Run<&View::GoToStart>},
        {"end", "&Navigation", "&End\tEND", nullptr, nullptr, Run<&View::GoToEnd>},
        {"left-page", "&Navigation", "&Left page\tCtrl+left arrow", IsNotAtStart, nullptr, Run<&View::LeftPage>, group},
        {"right-page", "&Navigation", "&Right page\tCtrl+right arrow", nullptr, nullptr, Run<&View::RightPage>},
        {"left-percent", "&Navigation", "L&eft %\tleft arrow", IsNotAtStart, nullptr, Run<&View::LeftPercent>},
        {"right-percent", "&Navigation", "R&ight %\tright arrow", nullptr, nullptr, Run<&View::RightPercent>},

        {"compress", "&Zoom", "&Compress\t/", nullptr, nullptr, Run<&View::Compress>},
        {"expand", "&Zoom", "E&xpand\t*", nullptr, nullptr, Run<&View::Expand>},
        {"one-to-one", "&Zoom", "&1 : 1\tAlt+1", HasPlot, nullptr, Run<&View::OneToOne>},
        {"show-all", "&Zoom", "Show all\tAlt+0", nullptr, nullptr, Run<&View::ShowAll>},
        {"set-timebase", "&Zoom", "Set timebase", nullptr, nullptr, Run<&View::AskTimebase>},
        {"focus-left-edge", "&Zoom", "Focus left edge (else mid)", nullptr, FocusesLeftEdge, Run<&View::ToggleFocusLeftEdge>, group},

        {"increase-gain", "&Gain", "&Increase gain\t+", HasAxes, nullptr, RunOnAxes<&View::IncreaseGain>},
        {"decrease-gain", "&Gain", "&Decrease gain\t-", HasAxes, nullptr, RunOnAxes<&View::DecreaseGain>},
        {"move-up", "&Gain", "Move &up\tUp arrow", HasAxes, nullptr, RunOnAxes<&View::MoveUp>},
        {"move-down", "&Gain", "Move &down\tDown arrow", HasAxes, nullptr, RunOnAxes<&View::MoveDown>},
        {"autoscale", "&Gain", "&Autoscale\t Ctrl 0", HasAxes, nullptr, RunOnAxes<&View::Autoscale>, group},

        {"axes", "&View", "Axes", nullptr, IsOn<&View::m_bShowAxes>, Toggle<&View::m_bShowAxes>},
        {"slider", "&View", "Slider", nullptr, IsOn<&View::m_bShowSlider>, Toggle<&View::m_bShowSlider>},
        {"grid", "&View", "&Grid", nullptr, IsOn<&View::m_bShowGrid>, Toggle<&View::m_bShowGrid>},
        {"events", "&View", "&Events", nullptr, IsOn<&View::m_bShowEvents>, Toggle<&View::m_bShowEvents>, group},
        {"event-chan-labels", "&View", "Event chan labels", IsOn<&View::m_bShowEvents>, IsOn<&View::m_bShowEventChanLabels>, Toggle<&View::m_bShowEventChanLabels>},
        {"event-labels", "&View", "Event labels", IsOn<&View::m_bShowEvents>, IsOn<&View::m_bShowEventLabels>, Toggle<&View::m_bShowEventLabels>},
        {"trace-labels", "&View", "Trace labels", HasAxes, IsOn<&View::m_bShowTraceLabels>, Toggle<&View::m_bShowTraceLabels>, group},
        {"trace-ids", "&View", "Trace IDs", HasAxes, IsOn<&View::m_bShowTraceIDs>, Toggle<&View::m_bShowTraceIDs>},
        {"inactive-sections", "&View", "Inactive data sections", HasAxes, IsOn<&View::m_bInactiveSections>, Toggle<&View::m_bInactiveSections>},
        {"lines", "&View/Trace style", "Lines", HasAxes, IsDrawnAs<false>, DrawAs<false>},
        {"dots", "&View/Trace style", "Dots", HasAxes, IsDrawnAs<true>, DrawAs<true>},
        {"dot-min", "&View/Trace style", "Min", DrawsDots, HasSize<0>, SetSize<0>, group},
        {"dot-small", "&View/Trace style", "Small", DrawsDots, HasSize<1>, SetSize<1>},
        {"dot-medium", "&View/Trace style", "Medium", DrawsDots, HasSize<2>, SetSize<2>},
        {"dot-large", "&View/Trace style", "Large", DrawsDots, HasSize<3>, SetSize<3>},
        {"data-area-0", "&View/Data area", "0%", nullptr, IsArea<0>, SetArea<0>},
        {"data-area-25", "&View/Data area", "25%", nullptr, IsArea<1>, SetArea<1>},
        {"data-area-50", "&View/Data area", "50%", nullptr, IsArea<2>, SetArea<2>},
        {"data-area-75", "&View/Data area", "75%", nullptr, IsArea<3>, SetArea<3>},
        {"data-area-100", "&View/Data area", "100%", nullptr, IsArea<4>, SetArea<4>},
        {"timebase-per-division", "&View/Timebase", "Per grid division", nullptr, IsTimebaseForm<false>, SetTimebaseForm<false>},
        {"timebase-per-viewport", "&View/Timebase", "Per viewport", nullptr, IsTimebaseForm<true>, SetTimebaseForm<true>},
        {"unit-ms", "&View/Time unit", "msec", nullptr, IsUnit<0>, SetUnit<0>},
        {"unit-s", "&View/Time unit", "sec", nullptr, IsUnit<1>, SetUnit<1>},
        {"unit-min", "&View/Time unit", "min", nullptr, IsUnit<2>, SetUnit<2>},
        {"figures-default", "&View/Vert ax scl sig fig", "Default", nullptr, HasFigures<0>, SetFigures<0>},
        {"figures-1", "&View/Vert ax scl sig fig", "1", nullptr, HasFigures<1>, SetFigures<1>},
        {"figures-2", "&View/Vert ax scl sig fig", "2", nullptr, HasFigures<2>, SetFigures<2>},
        {"figures-3", "&View/Vert ax scl sig fig", "3", nullptr, HasFigures<3>, SetFigures<3>},
        {"figures-4", "&View/Vert ax scl sig fig", "4", nullptr, HasFigures<4>, SetFigures<4>},
        {"figures-5", "&View/Vert ax scl sig fig", "5", nullptr, HasFigures<5>, SetFigures<5>},
        {"figures-6", "&View/Vert ax scl sig fig", "6", nullptr, HasFigures<6>, SetFigures<6>},
    };
}
// clang-format on

std::vector<Command> MakeTableWithKeys() {
    std::vector<Command> table = MakeTable();
    for (Command& command : table) command.key = KeyOf(command.label);
    return table;
}

bool TakePrefix(std::string_view& text, std::string_view prefix) {
    if (!text.starts_with(prefix)) return false;
    text.remove_prefix(prefix.size());
    return true;
}

KeyCode NamedKey(std::string_view name) {
    if (name == "HOME") return KeyCode::home;
    if (name == "END") return KeyCode::end;
    if (name == "left arrow") return KeyCode::left;
    if (name == "right arrow") return KeyCode::right;
    if (name == "Up arrow") return KeyCode::up;
    if (name == "Down arrow") return KeyCode::down;
    return name.size() == 1 ? KeyCode::character : KeyCode::none;
}

}  // namespace

Key KeyOf(std::string_view label) {
    const size_t tab = label.find('\t');
    if (tab == std::string_view::npos) return {};
    std::string_view name = label.substr(tab + 1);
    while (TakePrefix(name, " ")) {
    }
    Key key;
    key.ctrl = TakePrefix(name, "Ctrl+") || TakePrefix(name, "Ctrl ");
    key.alt = TakePrefix(name, "Alt+");
    key.code = NamedKey(name);
    if (key.code == KeyCode::character) key.character = name.front();
    return key;
}

std::span<const Command> ViewCommands() {
    static const std::vector<Command> table = MakeTableWithKeys();
    return table;
}

const Command* FindCommand(std::string_view id) {
    for (const Command& command : ViewCommands())
        if (command.id == id) return &command;
    return nullptr;
}

const Command* FindCommand(const Key& key) {
    if (key.code == KeyCode::none) return nullptr;
    for (const Command& command : ViewCommands())
        if (command.key == key) return &command;
    if (!key.ctrl) return nullptr;
    Key plain = key;
    plain.ctrl = false;
    return FindCommand(plain);
}

bool RunCommand(const Command& command, const CommandContext& context) {
    if (command.enabled && !command.enabled(context.view)) return false;
    command.run(context);
    return true;
}

}  // namespace kymora
