#include "eventedit/event_label_filter.h"

#include <fmt/format.h>

#include "archive/case_folding.h"

namespace kymora {

namespace {

constexpr uint32_t labelFilterVersion = 1;

}  // namespace

void CEventLabelFilter::Serialize(CArchive& archive) {
    CEventFilterDlg::Serialize(archive);
    ExchangeVersion(archive, labelFilterVersion, ClassName());
    Exchange(archive, m_strSearch);
    Exchange(archive, m_nMode);
    Exchange(archive, m_bCaseSensitive);
    Exchange(archive, m_bSearchAsLabel);
}

void CEventLabelFilter::GetParamText(std::string& text) {
    CEventFilterDlg::GetParamText(text);
    text += fmt::format("Search string:\t{}\r\n", m_strSearch);
    text += MustMatch() ? "Label must match search string " : "Label must contain search string ";
    text += m_bCaseSensitive ? "(case sensitive)\r\n" : "(case insensitive)\r\n";
}

void CEventLabelFilter::Describe(ParamList& list) {
    DescribeSource(list);
    list.Group("Label");
    list.Text("search", "Search string", m_strSearch)
        .Tip("Text to search for in the labels of the source events");
    list.Choice("mode", "Label must", m_nMode, {"contain search string", "match search string"})
        .Buttons()
        .Tip("The text may stand anywhere in the label, or it is the whole label");
    list.Flag("caseSensitive", "Case sensitive", m_bCaseSensitive)
        .Tip("Small letters and capitals are different ones");
    list.Flag("searchAsLabel", "Use search string as destination label", m_bSearchAsLabel)
        .Tip("The destination channel gets the search string as its label");
    DescribeTarget(list);
    list.Find("label")->EnabledIf([this] { return !m_bSearchAsLabel; });
}

std::string CEventLabelFilter::CheckSettings() {
    if (m_strSearch.empty()) return noSearchText;
    return CEventFilterDlg::CheckSettings();
}

std::optional<std::vector<uint8_t>> CEventLabelFilter::Keeps(const EventsByOnset& events) {
    std::vector<uint8_t> keeps(static_cast<size_t>(events.Size()));
    std::string search = m_strSearch, label;
    if (!m_bCaseSensitive) FoldUnicodeCase(m_strSearch, search);
    for (int rank = 0; rank < events.Size(); ++rank) {
        std::string_view text = events[rank].eventLabel;
        if (!m_bCaseSensitive && !text.empty()) {
            FoldUnicodeCase(text, label);
            text = label;
        }
        keeps[static_cast<size_t>(rank)] =
            MustMatch() ? text == search : text.find(search) != std::string_view::npos;
    }
    return keeps;
}

bool CEventLabelFilter::Write(OperationJob& job, UndoScope& undo) {
    if (!CEventFilterDlg::Write(job, undo)) return false;
    if (m_bSearchAsLabel)
        Document()->eventChannels[static_cast<size_t>(m_nDestination)].channelLabel = m_strSearch;
    return true;
}

}  // namespace kymora
