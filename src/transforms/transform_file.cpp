// A transform from a recording to a file: written beside its place under a name of its own, and put there in
// one step when all of it has reached the disk.

#include <fmt/format.h>

#include <optional>

#include "document/history_steps.h"
#include "document/native_writer.h"
#include "document/save_journal.h"
#include "document/temporary_file.h"
#include "kernels/temporary_scratch.h"
#include "transforms/data_transform.h"
#include "transforms/transform_dlg.h"

namespace kymora {

namespace {

constexpr size_t outputBuffer = 32768;  // bytes
constexpr const char* noTemporaryOutputText =
    "Unable to open temporary output file for transform. Aborting transform. Please inform author.";

bool IsOwnFile(CDataDoc& doc, const std::filesystem::path& target) {
    return doc.GetFileType() == typeFloat && IsSameFile(doc.GetSession().files, doc.filePath, target);
}

}  // namespace

CTransformDlg::Written CTransformTraceDlg::WriteRecording(CArchive& archive,
                                                          const std::filesystem::path& target) {
    CDataTransform engine(*Document(), target.parent_path());
    if (!engine.ApplyTraceTransform(archive, *this)) return {false, engine.FailureNote()};
    return {true, {}, engine.History(), engine.Steps()};
}

WrittenFile CTransformDlg::WriteFile(Session& session, const std::filesystem::path& path, bool keepsSource) {
    m_bNewFile = keepsSource;
    CDataDoc& doc = *Document();
    FileSystem& files = session.files;
    if (const std::string fault = Validate(); !fault.empty()) {
        Refuse(fault);
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
        Refuse(fmt::format("{}\n{}", noTemporaryOutputText, error.what()));
        return {};
    }
    try {
        CArchive archive(output->File(), CArchive::Mode::store, 0, outputBuffer);
        const Written written = WriteRecording(archive, target);
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
        Refuse(error.what());
        return {};
    } catch (const std::exception& error) {
        if (output->HasMoved()) {
            // What is left to do behind the rename concerns no byte of the result.
            Refuse(fmt::format("The transform was done.\n{}", error.what()));
            return {true, {}};
        }
        Refuse("The transform was not done. The recording is as it was.\n" +
               output->InWordsOfUser(error.what(), path));
        return {};
    }
}

}  // namespace kymora
