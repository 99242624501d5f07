#include "exchange/append_recording.h"

#include <fmt/format.h>

#include "exchange/event_exchange_dlg.h"
#include "recording/recording_writer.h"

namespace kymora {

namespace {

constexpr uint32_t appendVersion = 1;
constexpr const char* noRecordingText = "Only a recording file (.kymr-rec) can have another one appended.";
constexpr const char* appendBatchText = "A list passes native files on from operation to operation, and "
                                        "\"Append recording\" works on recording files "
                                        "(.kymr-rec).";

}  // namespace

const char* CAppendRecording::ResultExtension() const { return recordingExtension; }

std::string CAppendRecording::BatchFault() const { return appendBatchText; }

void CAppendRecording::Describe(ParamList& list) {
    list.Group("Recording");
    list.Text("file", "File", m_sFile)
        .Tip("The recording file (.kymr-rec) whose scans go behind those of this one");
    list.Action("chooseFile", "Choose...", [this] { ChooseFile(); }).Tip("Chooses a recording file");
}

void CAppendRecording::ChooseFile() {
    if (!Document()) return;
    const FileRequest request{
        "Append recording", "Kymora recording (*.kymr-rec)|*.kymr-rec||", recordingExtension + 1, {}};
    if (const auto paths = GetHost().ChooseOpenFiles(request); !paths.empty()) m_sFile = paths[0].string();
}

void CAppendRecording::Serialize(CArchive& archive) {
    CBatchBaseDlg::Serialize(archive);
    ExchangeVersion(archive, appendVersion, ClassName());
    Exchange(archive, m_sFile);
}

void CAppendRecording::GetParamText(std::string& text) { text += fmt::format("File: {}\r\n", m_sFile); }

CAcqDoc* CAppendRecording::Recording() const { return dynamic_cast<CAcqDoc*>(Document()); }

std::string CAppendRecording::CheckSettings() {
    if (Document() && !Recording()) return noRecordingText;
    return m_sFile.empty() ? noFileText : "";
}

WrittenFile CAppendRecording::WriteFile(Session& session, const std::filesystem::path& path, bool) {
    std::string fault = Validate();
    if (fault.empty()) fault = Write(session, path);
    if (fault.empty()) return {true, {}};
    Refuse(fault);
    return {};
}

std::string CAppendRecording::Write(Session& session, const std::filesystem::path& path) {
    CAcqDoc& first = *Recording();
    if (IsSameFile(session.files, m_sFile, path) && !IsSameFile(session.files, first.filePath, path))
        return fmt::format("{} is the recording that is appended. Choose another name.", path.string());
    if (IsSameFile(session.files, first.filePath, path) && session.files.IsReadOnly(path))
        return fmt::format("{} has the ReadOnly property set.", path.string());
    OpenRequest request(OpenFor::reading, OpenTalk::tells);
    request.callerTells = true;
    CAcqDoc second(session);
    if (!second.OnOpenDocument(m_sFile, request)) return second.GetOpening().fault;
    first.GetDisplaySettingsFromView();
    try {
        WriteAppended(first, second, path);
        return {};
    } catch (const FileError& error) {
        return error.what();
    }
}

}  // namespace kymora
