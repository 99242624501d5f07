#include "eventedit/event_reorder.h"

#include "host/user_numbers.h"

namespace kymora {

void CEventReorder::Serialize(CArchive& archive) {
    CChannelPlacesDlg::Serialize(archive);
    Exchange(archive, m_nStartChannel);
}

void CEventReorder::Describe(ParamList& list) {
    DescribeChannels(
        list, "Order",
        "Channels in the desired order: the first gets the start channel's place, the next one the "
        "place behind it. Channels that stand there and not in the list get the places that "
        "become free");
    list.Channel("startChannel", "Start channel", m_nStartChannel).Tip("Place of the first channel");
    list.Note("result", "Result", [this] { return Outlook(Moves(), WithReturns(Moves())); });
}

std::string CEventReorder::CheckSettings() {
    const std::string fault = CChannelPlacesDlg::CheckSettings();
    return fault.empty() && Document() ? MoveFault(*Document(), Moves()) : fault;
}

std::unique_ptr<OperationJob> CEventReorder::MakeJob() {
    auto job = std::make_unique<OperationJob>();
    for (const ChannelMove& move : WithReturns(Moves())) job->writes.push_back(move.second);
    return job;
}

bool CEventReorder::Analyse(UndoScope& undo) {
    const std::vector<ChannelMove> moves = Moves();
    m_moved = WithReturns(moves);
    if (m_moved.empty()) return true;
    MoveChannels(*Document(), moves, undo);
    AppendHistory("Channels: " + MovesText(m_moved) + "\r\n");
    return true;
}

}  // namespace kymora
