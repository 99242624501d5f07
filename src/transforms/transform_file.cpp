#include "transforms/transform_file.h"

#include <fmt/format.h>

#include <optional>

#include "batch/save_result.h"
#include "document/native_writer.h"
#include "document/save_journal.h"
#include "document/temporary_file.h"
#include "transforms/data_transform.h"

namespace kymora {

namespace {

constexpr size_t outputBuffer = 32768;  // bytes

struct TemporaryOutput {
    TemporaryOutput(FileSystem& files, const std::filesystem::path& folder, Host& host)
        : file(TemporaryFile::InFolder(files, folder, host)) {}
    TemporaryFile file;
};

// The user knows the target, not the name that it has while it is written.
std::string WithTargetName(std::string text, const std::filesystem::path& temporary,
                           const std::filesystem::path& target) {
    const std::string name = temporary.string();
    if (const size_t at = text.find(name); at != std::string::npos)
        text.replace(at, name.size(), target.string());
    return text;
}

}  // namespace

std::string TransformTargetFault(CDataDoc& doc, const std::filesystem::path& target) {
    FileSystem& files = doc.GetSession().files;
    const bool isOwn = doc.GetFileType() == typeFloat && IsSameFile(files, doc.filePath, target);
    return isOwn ? InPlaceFault(doc) : ReplaceFault(files, target);
}

TransformedFile TransformFile(CDataDoc& doc, CTransformTraceDlg& dialog, const std::filesystem::path& path) {
    Session& session = doc.GetSession();
    FileSystem& files = session.files;
    if (const std::string fault = dialog.Validate(); !fault.empty()) {
        dialog.Refuse(fault);
        return {};
    }
    // Where the name is a link, the file that it leads to is replaced, not the link.
    const std::filesystem::path target = files.Resolve(path);
    doc.GetDisplaySettingsFromView();
    std::optional<TemporaryOutput> output;
    try {
        output.emplace(files, target.parent_path(), session.host);
    } catch (const FileError& error) {
        session.host.Log(fmt::format("Could not open temporary file {}\n", error.what()));
        dialog.Refuse(fmt::format("{}\n{}", noTemporaryOutputText, error.what()));
        return {};
    }
    try {
        CDataTransform engine(doc, target.parent_path());
        CArchive archive(output->file.File(), CArchive::Mode::store, 0, outputBuffer);
        const bool isDone = engine.ApplyTraceTransform(archive, dialog);
        if (!isDone) return {false, engine.FailureNote()};
        archive.Close();
        output->file.MoveTo(target);
        // An interrupted save of the file that stood here is none of the new one's concern.
        if (files.Stamp(JournalPath(files, target))) RetireJournal(files, target);
        return {true, {}};
    } catch (const Cancelled&) {
        session.pendingReset.fill(false);
        throw;
    } catch (const std::exception& error) {
        if (output->file.HasMoved()) {
            // What is left to do behind the rename concerns no byte of the result.
            dialog.Refuse(fmt::format("The transform was done.\n{}", error.what()));
            return {true, {}};
        }
        session.pendingReset.fill(false);
        dialog.Refuse("The transform was not done. The recording is as it was.\n" +
                      WithTargetName(error.what(), output->file.Path(), path));
        return {};
    }
}

}  // namespace kymora
