#include "eventedit/channel_places_dlg.h"

#include <set>

#include "host/user_numbers.h"
#include "operations/event_base_dlg.h"

namespace kymora {

namespace {

constexpr uint32_t placesVersion = 1;

}  // namespace

void CChannelPlacesDlg::Serialize(CArchive& archive) {
    CBatchBaseDlg::Serialize(archive);
    ExchangeVersion(archive, placesVersion, ClassName());
    IsOrdered() ? ExchangeInOrder(archive, m_channels) : Exchange(archive, m_channels);
}

std::vector<int> CChannelPlacesDlg::Channels() const {
    if (!m_channels.empty() || !Document()) return m_channels;
    std::vector<int> channels;
    for (int channel = 0; channel < maxEventChannels; ++channel)
        if (Document()->GetNumEvents(channel) > 0) channels.push_back(channel);
    return channels;
}

void CChannelPlacesDlg::DescribeChannels(ParamList& list, const char* label, const char* tip) {
    Field& channels = list.Channels("channels", label, m_channels).Tip(tip).Shows([this] {
        return m_channels.empty() ? std::string("all that hold events")
                                  : std::to_string(m_channels.size()) + " chosen";
    });
    if (IsOrdered()) channels.Ordered();
}

std::string CChannelPlacesDlg::ListFault() const {
    const std::vector<int> channels = Channels();
    if (std::set<int>(channels.begin(), channels.end()).size() < channels.size()) return repeatedChannelText;
    return Document() && channels.empty() ? noChannelsText : std::string();
}

std::string CChannelPlacesDlg::MovesText(const std::vector<ChannelMove>& moves) {
    std::vector<int> from, to;
    for (const auto& [channel, place] : moves) {
        from.push_back(channel);
        to.push_back(place);
    }
    return ListText(from, ChannelName) + " -> " + ListText(to, ChannelName);
}

std::string CChannelPlacesDlg::Outlook(const std::vector<ChannelMove>& asked,
                                       const std::vector<ChannelMove>& changes) const {
    if (!Document() || !ListFault().empty() || ReachBeyond(asked)) return {};
    return changes.empty() ? "all stay where they are" : MovesText(changes);
}

void CChannelPlacesDlg::Show(const std::vector<int>& channels, bool isShown) {
    CDataDoc* doc = Document();
    if (!doc || doc->openUndoScope) return;
    {
        UndoScope undo(*doc, isShown ? "Unhide events" : "Hide event channel");
        for (const int channel : channels) {
            undo.KeepChannelSettings(channel);
            Channel(channel).channelVisible = isShown ? 1 : 0;
        }
    }
    doc->UpdateAllViews(UpdateHint::events);
}

std::vector<Result> CChannelPlacesDlg::Results() {
    if (m_moved.empty()) return {};
    Result result;
    result.name = Title();
    result.columns = {{"From", ""}, {"To", ""}, {"Events", ""}};
    std::vector<std::vector<ResultValue>> rows;
    for (const auto& [channel, place] : m_moved)
        rows.push_back({ChannelName(channel), ChannelName(place),
                        int64_t{Document() ? Document()->GetNumEvents(place) : 0}});
    result.SetRows(std::move(rows));
    return {std::move(result)};
}

}  // namespace kymora
