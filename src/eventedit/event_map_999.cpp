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
    list.Note("result", "Result", [this] { return Outlook(); });
}

std::string CEventMap999::CopyOutlook(const std::vector<ChannelMove>& copies) const {
    int channels = 0;
    int64_t events = 0;
    for (const auto& [channel, place] : copies) {
        const bool isHeld = channel != place && Document()->GetNumEvents(place) > 0;
        channels += isHeld;
        if (isHeld) events += Document()->GetNumEvents(place);
    }
    if (channels == 0) return {};
    return fmt::format("; replaces {} {} with {}", channels, channels == 1 ? "channel" : "channels",
                       EventsText(events));
}

std::string CEventMap999::Outlook() const {
    if (!Document() || !HasTarget()) return {};
    const std::vector<ChannelMove> moves = Moves();
    if (std::any_of(moves.begin(), moves.end(),
                    [](const ChannelMove& move) { return move.second >= maxEventChannels; }))
        return {};
    if (Is(MapAction::copy)) return MovesText(moves) + CopyOutlook(moves);
    const auto all = WithReturns(moves);
    return all.empty() ? std::string("all stay where they are") : MovesText(all);
}

std::string CEventMap999::CheckSettings() {
    const std::string fault = CChannelPlacesDlg::CheckSettings();
    if (!fault.empty() || !Document() || !HasTarget()) return fault;
    return Is(MapAction::move) ? MoveFault(*Document(), Moves()) : CopyFault(*Document(), Moves());
}

std::unique_ptr<OperationJob> CEventMap999::MakeJob() {
    auto job = std::make_unique<OperationJob>();
    if (!HasTarget()) return job;
    const std::vector<ChannelMove> moves = Moves();
    for (const ChannelMove& move : Is(MapAction::move) ? WithReturns(moves) : moves)
        job->writes.push_back(move.second);
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
    m_moved = isCopy ? moves : WithReturns(moves);
    const std::string replaces = isCopy ? CopyOutlook(moves) : std::string();
    isCopy ? CopyChannels(*Document(), moves, undo) : MoveChannels(*Document(), moves, undo);
    if (!m_moved.empty())
        AppendHistory(fmt::format("{}: {}{}\r\n", isCopy ? "Copied" : "Moved", MovesText(m_moved), replaces));
    return true;
}

}  // namespace kymora
