#include "eventedit/event_map_999.h"

#include <fmt/format.h>

#include "host/user_numbers.h"
#include "operations/event_base_dlg.h"

namespace kymora {

void CEventMap999::Serialize(CArchive& archive) {
    CChannelPlacesDlg::Serialize(archive);
    Exchange(archive, m_nAction);
    Exchange(archive, m_nTarget);
    Exchange(archive, m_bCompact);
    Exchange(archive, m_nColour);
}

// Behind the last channel that is in use, where nothing is in the way.
void CEventMap999::SuggestSettings() {
    if (!Document() || m_isTargetChosen) return;
    int last = -1;
    for (int channel = 0; channel < maxEventChannels; ++channel)
        if (!Document()->IsFreeChannel(channel)) last = channel;
    if (last + 1 < maxEventChannels) m_nTarget = last + 1;
}

void CEventMap999::Describe(ParamList& list) {
    DescribeChannels(
        list, "Channels",
        "Event channels that are shown, hidden, moved, copied or coloured; the table below chooses "
        "them, too");
    list.Choice("action", "Action", m_nAction, {"show", "hide", "move", "copy", "set base colour"})
        .Buttons()
        .With(&Field::buttonColumns, 3)
        .Tip("Shows or hides the channels; moves them with all they have, or copies them, to the target "
             "range; or "
             "gives them the colour");
    list.Channel("target", "Target", m_nTarget)
        .EnabledIf([this] { return HasTarget(); })
        .OnChange([this] { m_isTargetChosen = true; })
        .Shows([this] { return HeldEventsText(Document(), m_nTarget); })
        .Tip("First channel of the target range");
    list.Flag("compact", "Compact", m_bCompact)
        .EnabledIf([this] { return HasTarget(); })
        .Tip("Targets stand one behind the other. Otherwise the channels keep their distances from each "
             "other");
    list.Colour("colour", "Base colour", m_nColour)
        .EnabledIf([this] { return Is(MapAction::colour); })
        .Tip("Colour of the events that have none of their own");
    list.Note("result", "Result", [this] {
        const std::string text = HasTarget() ? Outlook(Moves(), Changes()) : std::string();
        return text.empty() ? text : text + CopyOutlook();
    });
}

std::vector<ChannelMove> CEventMap999::Changes() const {
    std::vector<ChannelMove> moves = Moves();
    if (Is(MapAction::move)) return WithReturns(moves);
    std::erase_if(moves, [](const ChannelMove& move) { return move.first == move.second; });
    return moves;
}

std::string CEventMap999::CopyOutlook() const {
    if (!Is(MapAction::copy)) return {};
    int channels = 0;
    int64_t events = 0;
    for (const ChannelMove& copy : Changes()) {
        const int held = Document()->GetNumEvents(copy.second);
        channels += held > 0;
        events += held;
    }
    if (channels == 0) return {};
    return fmt::format("; replaces {} {} with {}", channels, channels == 1 ? "channel" : "channels",
                       EventsText(events));
}

std::string CEventMap999::CheckSettings() {
    const std::string fault = CChannelPlacesDlg::CheckSettings();
    if (!fault.empty() || !Document() || !HasTarget()) return fault;
    return Is(MapAction::move) ? MoveFault(*Document(), Moves()) : CopyFault(*Document(), Moves());
}

std::unique_ptr<OperationJob> CEventMap999::MakeJob() {
    auto job = std::make_unique<OperationJob>();
    if (!HasTarget()) return job;
    for (const ChannelMove& move : Changes()) job->writes.push_back(move.second);
    return job;
}

void CEventMap999::SetLook(UndoScope& undo) {
    for (const int channel : Channels()) {
        undo.KeepChannelSettings(channel);
        if (Is(MapAction::colour))
            Channel(channel).channelColour = m_nColour;
        else
            Channel(channel).channelVisible = Is(MapAction::show) ? 1 : 0;
    }
}

bool CEventMap999::Analyse(UndoScope& undo) {
    if (!HasTarget()) {
        SetLook(undo);
        return true;
    }
    const std::vector<ChannelMove> moves = Moves();
    const bool isCopy = Is(MapAction::copy);
    m_moved = Changes();
    const std::string replaces = CopyOutlook();
    isCopy ? CopyChannels(*Document(), moves, undo) : MoveChannels(*Document(), moves, undo);
    if (!m_moved.empty())
        AppendHistory(fmt::format("{}: {}{}\r\n", isCopy ? "Copied" : "Moved", MovesText(m_moved), replaces));
    return true;
}

}  // namespace kymora
