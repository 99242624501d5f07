// The commands of events and their channels.

#include <algorithm>
#include <array>
#include <utility>

#include "display/commands/command_tables.h"
#include "display/events/event_channel_edits.h"
#include "display/events/event_editing.h"
#include "display/events/event_forms.h"

namespace kymora {

using namespace commands;

namespace {

constexpr const char* eventsMenu = "Eve&nts";
constexpr const char* insertMenu = "Eve&nts/&Insert";
constexpr const char* deleteMenu = "Eve&nts/&Delete";
constexpr const char* selectMenu = "Eve&nts/&Select channel";

// --- states ---

const CEventChan& Selected(const CKymoraView& view) {
    return EventChannel(view.GetDocument(), view.m_nMouseEventChan);
}

bool AreShown(const CKymoraView& view) { return view.m_bShowEvents; }
bool HasEvents(const CKymoraView& view) { return Selected(view).GetNumEvents() > 0; }
bool HasTwoEvents(const CKymoraView& view) { return Selected(view).GetNumEvents() > 1; }
bool HasSelectionAndEvents(const CKymoraView& view) { return HasSelection(view) && HasEvents(view); }
bool IsVisible(const CKymoraView& view) { return Selected(view).channelVisible != 0; }
bool IsLocked(const CKymoraView& view) { return Selected(view).channelLocked; }
bool OffersNumbers(const CKymoraView& view) {
    return view.GetSession().options.eventChannelMode != letterChannels;
}
constexpr CheckMark<CKymoraView> HasNumber{
    [](const CKymoraView& view) { return view.m_nMouseEventChan >= letterChannels; }, true};
bool CanInsert(const CKymoraView& view) { return AreShown(view) && view.GetDocument().GetLength() > 0; }
bool AnyHidden(const CKymoraView& view) {
    const auto& channels = view.GetDocument().eventChannels;
    return std::any_of(channels.begin(), channels.end(),
                       [](const CEventChan& chan) { return chan.channelVisible == 0; });
}
bool AnyEvents(const CKymoraView& view) {
    const auto& channels = view.GetDocument().eventChannels;
    return std::any_of(channels.begin(), channels.end(),
                       [](const CEventChan& chan) { return chan.GetNumEvents() > 0; });
}
bool CanUseMouse(const CKymoraView& view) { return AreShown(view) && AnyEvents(view); }

// --- what they do ---

template <void (*edit)(CKymoraView&, int)>
void OnSelected(const CommandContext& context) {
    edit(context.view, context.view.m_nMouseEventChan);
}

template <void (*edit)(CKymoraView&)>
void OnView(const CommandContext& context) {
    edit(context.view);
}

void ChooseNumber(const CommandContext& context) {
    CKymoraView& view = context.view;
    if (const auto channel = AskEventChannel(view, "Channel number", view.m_nMouseEventChan))
        SelectEventChannel(view, *channel);
}

int InsertionMode(const CKymoraView& view) {
    return mouseInsertFirst + std::clamp(view.GetSession().eventInsertion.kind, 0, 2);
}

void InsertFromMouse(const CommandContext& context) {
    const int mode = InsertionMode(context.view);
    context.view.SetMouseMode(context.view.m_nMouseMode == mode ? mouseNormal : mode);
}
bool IsInserting(const CKymoraView& view) {
    return view.m_nMouseMode >= mouseInsertFirst && view.m_nMouseMode <= mouseInsertLast;
}

template <int kind>
void InsertKind(const CommandContext& context) {
    context.view.GetSession().eventInsertion.kind = kind;
    EnterMode<mouseInsertFirst + kind>(context);
}

void SetDefaults(const CommandContext& context) {
    // A mode at work goes on with the new kind.
    if (AskInsertionDefaults(context.view) && IsInserting(context.view))
        context.view.SetMouseMode(InsertionMode(context.view));
}

void ColourFromMouse(const CommandContext& context) {
    CKymoraView& view = context.view;
    if (view.m_nMouseMode == mouseColourEvents)
        view.SetMouseMode(mouseNormal);
    else if (AskEventPaint(view))
        view.SetMouseMode(mouseColourEvents);
}

void ToggleLock(const CommandContext& context) {
    ChangeChannel(
        context.view, context.view.m_nMouseEventChan,
        [](CEventChan& chan) { chan.channelLocked = !chan.channelLocked; }, "Lock channel");
}

void Hide(const CommandContext& context) {
    ChangeChannel(
        context.view, context.view.m_nMouseEventChan, [](CEventChan& chan) { chan.channelVisible = 0; },
        "Hide event channel");
}

// --- the letters ---

template <int channel>
void SelectLetter(const CommandContext& context) {
    SelectEventChannel(context.view, channel);
}
template <int channel>
constexpr CheckMark<CKymoraView> IsLetter{
    [](const CKymoraView& view) { return view.m_nMouseEventChan == channel; }, true};

// The texts of the 26 commands, which the table only looks at.
struct LetterTexts {
    std::array<std::string, letterChannels> ids, labels, toolTips;
    LetterTexts() {
        for (size_t i = 0; i < ids.size(); ++i) {
            labels[i] = std::string(1, static_cast<char>('a' + i));
            ids[i] = "event-channel-" + labels[i];
            toolTips[i] =
                "Selects event channel " + labels[i] + " for the mouse and the commands of this menu";
        }
    }
};

template <int... channel>
CommandTable LetterCommands(std::integer_sequence<int, channel...>) {
    static const LetterTexts texts;
    return {Command{texts.ids[channel], selectMenu, texts.labels[channel], texts.toolTips[channel], nullptr,
                    IsLetter<channel>, SelectLetter<channel>}...};
}

// --- the table ---

// clang-format off
CommandTable EditTable() {
    return {
        {"event-channel-number", selectMenu, "Channel &number...", "Selects an event channel by its number from 0 to 998", OffersNumbers, HasNumber, ChooseNumber, group},

        {"event-insert-mouse", insertMenu, "From &mouse", "Inserts events with the mouse, of the kind set in the defaults", CanInsert, IsInserting, InsertFromMouse},
        {"event-insert-fixed", insertMenu, "&Fixed duration", "Inserts an event of the fixed duration at each click", CanInsert, IsInMode<mouseInsertFirst>, InsertKind<0>, group},
        {"event-insert-drag", insertMenu, "From &press to release", "Inserts an event from where the mouse is pressed to where it is released", CanInsert, IsInMode<mouseInsertFirst + 1>, InsertKind<1>},
        {"event-insert-sample", insertMenu, "&One sample", "Inserts an event of one sample at each click", CanInsert, IsInMode<mouseInsertLast>, InsertKind<2>},
        {"event-insert-times", insertMenu, "At &times...", "Inserts events of the fixed duration at the times of a list", CanInsert, nullptr, OnView<AskEventTimes>, group},
        {"event-insert-defaults", insertMenu, "&Defaults for insertion...", "Sets kind, duration, value, tag, colour and label of the events that are inserted", nullptr, nullptr, SetDefaults},

        {"event-delete-mouse", deleteMenu, "&Event(s) (mouse select)", "Deletes the event that is clicked, or those that the mouse is dragged over", CanUseMouse, IsInMode<mouseDeleteEvents>, EnterMode<mouseDeleteEvents>},
        {"event-delete-channel-mouse", deleteMenu, "&One channel (mouse select)", "Deletes all events of the row that is clicked, with its label and description", CanUseMouse, IsInMode<mouseDeleteChannel>, EnterMode<mouseDeleteChannel>},
        {"event-delete-all", deleteMenu, "&All events in channel", "Deletes all events of the selected channel and keeps its settings", HasEvents, nullptr, OnSelected<DeleteAllEvents>, group},
        {"event-delete-tagged", deleteMenu, "&Tagged events", "Deletes the tagged events of the selected channel", HasEvents, nullptr, OnSelected<DeleteTaggedEvents>},
        {"event-keep-tagged", deleteMenu, "&Keep tagged", "Deletes the events of the selected channel that are not tagged", HasEvents, nullptr, OnSelected<KeepTaggedEvents>},
        {"event-delete-selection", deleteMenu, "Events in &selection", "Deletes the events of the selected channel that start or end in the selected stretch of time", HasSelectionAndEvents, nullptr, OnSelected<DeleteEventsInSelection>},
        {"event-delete-viewport", deleteMenu, "Events in &viewport", "Deletes the events of the selected channel that start or end in the stretch of time that is shown", HasEvents, nullptr, OnSelected<DeleteEventsInViewport>},
        {"event-delete-region", deleteMenu, "Events in &region...", "Deletes the events of the selected channel that start or end in an analysis region: the whole file, the visible screen, set times, or the events of a gate channel", HasEvents, nullptr, OnSelected<AskDeleteInRegion>},

        {"event-move", eventsMenu, "&Move events", "Moves single events with the mouse", CanUseMouse, IsInMode<mouseMoveEvents>, EnterMode<mouseMoveEvents>, group},
        {"event-group", eventsMenu, "Event &group within channel", "Selects a stretch of events with the mouse and moves them together", CanUseMouse, IsInMode<mouseEventGroup>, EnterMode<mouseEventGroup>},
        {"event-stretch", eventsMenu, "St&retch", "Moves the onset or the end of events with the mouse", CanUseMouse, IsInMode<mouseStretch>, EnterMode<mouseStretch>},
        {"event-merge", eventsMenu, "M&erge events in channel", "Makes one event of those that the mouse is dragged over", CanUseMouse, IsInMode<mouseMergeEvents>, EnterMode<mouseMergeEvents>},
        {"event-merge-close", eventsMenu, "Merge c&lose events...", "Joins the events of the selected channel whose gaps are short", HasTwoEvents, nullptr, OnSelected<AskMergeClose>},

        {"event-add-tag", eventsMenu, "&Add event tag", "Tags events with the mouse", CanUseMouse, IsInMode<mouseAddTag>, EnterMode<mouseAddTag>, group},
        {"event-delete-tag", eventsMenu, "Del event &tag", "Takes tags from events with the mouse", CanUseMouse, IsInMode<mouseDeleteTag>, EnterMode<mouseDeleteTag>},
        {"event-edit-label", eventsMenu, "Edit event la&bel", "Edits the label of the event that is clicked", CanUseMouse, IsInMode<mouseEditLabel>, EnterMode<mouseEditLabel>},
        {"event-clear-label", eventsMenu, "Clear event label", "Takes labels from events with the mouse", CanUseMouse, IsInMode<mouseClearLabel>, EnterMode<mouseClearLabel>},
        {"event-colour", eventsMenu, "Set event &colour", "Asks for a colour and gives it to events with the mouse", CanUseMouse, IsInMode<mouseColourEvents>, ColourFromMouse, asks},

        {"event-channel-properties", eventsMenu, "Event channel &properties", "Shows and sets label, description, colours, shape, place and lock of the selected channel", nullptr, nullptr, OnSelected<AskChannelProperties>, group | asks},
        {"event-channel-copy", eventsMenu, "Cop&y channel to...", "Copies the selected channel with its events into another one", HasEvents, nullptr, OnSelected<AskCopyChannel>},
        {"event-channel-lock", eventsMenu, "Loc&k channel", "Protects the events of the selected channel from changes", nullptr, IsLocked, ToggleLock},
        {"event-channel-hide", eventsMenu, "&Hide event channel", "Hides the row of the selected channel", IsVisible, nullptr, Hide},
        {"event-unhide", eventsMenu, "&Unhide events", "Shows the rows of all channels", AnyHidden, nullptr, OnView<UnhideEvents>},
        {"event-reset-positions", eventsMenu, "Reset to default p&ositions", "Puts the rows of all channels where they are at first", nullptr, nullptr, OnView<ResetEventPositions>, group},
        {"event-distribute", eventsMenu, "Distribute evenly", "Spreads the rows that are shown evenly over the height of the plot", AnyEvents, nullptr, OnView<DistributeEventRows>},
    };
}
// clang-format on

}  // namespace

CommandTable EventCommands() {
    CommandTable table = LetterCommands(std::make_integer_sequence<int, letterChannels>());
    for (const Command& command : EditTable()) table.push_back(command);
    return table;
}

}  // namespace kymora
