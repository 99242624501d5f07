#include "exchange/new_recording_dlg.h"

namespace kymora {

namespace {

constexpr uint32_t newRecordingVersion = 1;

}  // namespace

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
