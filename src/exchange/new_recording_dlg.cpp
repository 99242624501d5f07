#include "exchange/new_recording_dlg.h"

#include "document/native_writer.h"
#include "document/save_journal.h"

namespace kymora {

namespace {

constexpr uint32_t newRecordingVersion = 1;

}  // namespace

WrittenFile CNewRecordingDlg::WriteFile(Session& session, const std::filesystem::path& out, bool) {
    TellJournalSetAside(session, out);
    if (!WriteRecording(session, out)) return {};
    // An interrupted save of the file that stood here is none of the new one's concern.
    if (session.files.Stamp(JournalPath(session.files, out))) RetireJournal(session.files, out);
    return {true, {}};
}

void CNewRecordingDlg::Serialize(CArchive& archive) {
    CBatchBaseDlg::Serialize(archive);
    ExchangeVersion(archive, newRecordingVersion, ClassName());
    Exchange(archive, m_sFile);
}

void CNewRecordingDlg::DescribeFile(ParamList& list, const char* toolTip) {
    list.Text("file", "File", m_sFile).Tip(toolTip);
}

bool CNewRecordingDlg::WriteFromFile(Session& session, const std::function<bool(const DataFile&)>& write) {
    try {
        std::string fault = Validate();
        if (fault.empty() && m_sFile.empty()) fault = "Name the file that stands for the clipboard: file=...";
        if (fault.empty()) return write(*session.files.Open(m_sFile, OpenMode::readOnly));
        session.host.Failure(fault);
    } catch (const FileError& error) {
        session.host.Failure(error.what());
    }
    return false;
}

}  // namespace kymora
