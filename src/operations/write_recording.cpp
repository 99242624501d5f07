#include "operations/write_recording.h"

#include <fmt/format.h>

#include <optional>

#include "document/native_writer.h"
#include "document/save_journal.h"
#include "document/temporary_file.h"

namespace kymora {

namespace {

constexpr size_t outputBuffer = 262144;  // bytes: a write of a few pages costs as much again
constexpr const char* noTemporaryOutputText =
    "Unable to open temporary output file for transform. Aborting transform. Please inform author.";

bool IsOwnFile(CDataDoc& doc, const std::filesystem::path& target) {
    return doc.GetFileType() == typeFloat && IsSameFile(doc.GetSession().files, doc.filePath, target);
}

}  // namespace

WrittenFile
WriteRecordingFile(CBatchBaseDlg& operation, Session& session, const std::filesystem::path& path,
                   const std::function<WrittenRecording(CArchive&, const std::filesystem::path&)>& write) {
    CDataDoc& doc = *operation.Document();
    FileSystem& files = session.files;
    if (const std::string fault = operation.Validate(); !fault.empty()) {
        operation.Refuse(fault);
        return {};
    }
    // Where the name is a link, the file that it leads to is replaced, not the link.
    const std::filesystem::path target = files.Resolve(path);
    doc.GetDisplaySettingsFromView();
    std::optional<TemporaryFile> output;
    try {
        output.emplace(files, target);
        // The version that was read here, and no later one.
        if (IsOwnFile(doc, target)) output->Expect(doc.RememberedStamp(doc.filePath));
    } catch (const FileError& error) {
        session.host.Log(noTemporaryNameText);
        session.host.Log(fmt::format("Could not open temporary file {}\n", error.what()));
        operation.Refuse(fmt::format("{}\n{}", noTemporaryOutputText, error.what()));
        return {};
    }
    try {
        CArchive archive(output->File(), CArchive::Mode::store, 0, outputBuffer);
        const WrittenRecording written = write(archive, target);
        if (!written.isDone) return {false, written.note};
        archive.Close();
        TellJournalSetAside(session, target);
        output->MoveToTarget();
        // An interrupted save of the file that stood here is none of the new one's concern.
        if (files.Stamp(JournalPath(files, target))) RetireJournal(files, target);
        WriteSteps(session, StepsPath(files, target), written.history, written.steps);
        return {true, {}};
    } catch (const Cancelled&) {
        throw;
    } catch (const ResultKept& error) {
        operation.Refuse(error.what());
        return {};
    } catch (const std::exception& error) {
        if (output->HasMoved()) {
            // What is left to do behind the rename concerns no byte of the result.
            operation.Refuse(fmt::format("The transform was done.\n{}", error.what()));
            return {true, {}};
        }
        operation.Refuse("The transform was not done. The recording is as it was.\n" +
                         output->InWordsOfUser(error.what(), path));
        return {};
    }
}

}  // namespace kymora
