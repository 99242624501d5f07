#include "exchange/event_exchange_dlg.h"

#include <fmt/format.h>

#include "host/open_fault.h"

namespace kymora {

namespace {

constexpr uint32_t exchangeVersion = 1;

}  // namespace

void CEventExchangeDlg::Serialize(CArchive& archive) {
    CEventBaseDlg::Serialize(archive);
    ExchangeVersion(archive, exchangeVersion, ClassName());
    Exchange(archive, m_sFile);
}

void CEventExchangeDlg::GetParamText(std::string& text) {
    if (!m_sFile.empty()) text += fmt::format("File: {}\r\n", m_sFile);
    CEventBaseDlg::GetParamText(text);
}

void CEventExchangeDlg::CheckChangeDoc(CDataDoc* doc) {
    CEventBaseDlg::CheckChangeDoc(doc);
    if (!doc || !Has(usesDestination) || m_isDestinationChosen) return;
    if (const int free = doc->FirstFreeChannel(); free >= 0) m_nDestination = free;
}

void CEventExchangeDlg::SetDestination(int channel) {
    m_nDestination = channel;
    m_isDestinationChosen = true;
}

void CEventExchangeDlg::DescribeFile(ParamList& list, const char* toolTip) {
    list.Group("Source");
    list.Text("file", "File", m_sFile).Tip(toolTip);
}

void CEventExchangeDlg::DescribeTarget(ParamList& list, const char* toolTip) {
    list.Group("Destination");
    list.Channel("destination", "Destination channel", m_nDestination)
        .Tip(toolTip)
        .Shows([this] { return HeldEventsText(Document(), m_nDestination); })
        .OnChange([this] { OnEventChanChanged(0); });
}

std::string CEventExchangeDlg::CheckSettings() {
    if (NeedsFile() && m_sFile.empty()) return noFileText;
    const CDataDoc* doc = Document();
    const bool isUnfilled = doc && Has(usesDestination) && !m_isDestinationChosen;
    if (isUnfilled && doc->FirstFreeChannel() < 0) return noFreeChannelText;
    return CEventBaseDlg::CheckSettings();
}

std::unique_ptr<DataFile> CEventExchangeDlg::OpenSource(const char* fault) {
    try {
        return Document()->GetSession().files.Open(m_sFile, OpenMode::readOnly);
    } catch (const FileError& error) {
        Refuse(OpenFaultText(fault, error));
        return nullptr;
    }
}

// The clipboard will hold something else, and another run may begin in another folder.
std::vector<std::byte> CEventExchangeDlg::RerunSettings(const OperationJob&) {
    if (m_sFile.empty()) return {};
    const std::string file = std::exchange(m_sFile, std::filesystem::absolute(m_sFile).string());
    std::vector<std::byte> record = Settings();
    m_sFile = file;
    return record;
}

CEventChan& CEventExchangeDlg::Channel(int channel) const {
    return Document()->eventChannels[static_cast<size_t>(channel)];
}

int CEventExchangeDlg::FirstOfFreeRun() const {
    int channel = maxEventChannels;
    while (channel > 0 && Document()->GetNumEvents(channel - 1) == 0) --channel;
    return channel;
}

void CEventExchangeDlg::AppendEntry(std::string_view entry) {
    EndHistoryLine();
    Document()->historyLog += entry;
}

void CEventExchangeDlg::EndHistoryLine() {
    std::string& history = Document()->historyLog;
    if (!history.empty() && !history.ends_with('\n')) history += "\r\n\r\n";
}

void CEventExchangeDlg::TellFaults(const EventRows& rows) {
    if (rows.faults.empty()) return;
    std::string text = rows.faults;
    text.pop_back();
    if (!IsAttended()) text = fmt::format("{}\r\n\t{}\r\n", m_sFile, text);
    Tell(text);
}

}  // namespace kymora
