#include "operations/save_text.h"

#include <fmt/format.h>

#include "document/file_identity.h"
#include "document/native_writer.h"
#include "results/archive_output.h"

namespace kymora {

void SaveTextFile(CBatchBaseDlg& operation, const TextFileKind& kind,
                  const std::function<void(const std::filesystem::path&, CArchive&)>& write) {
    CDataDoc& doc = *operation.Document();
    FileSystem& files = doc.GetSession().files;
    FileRequest request{kind.title, kind.filter, "txt", doc.filePath};
    request.suggestion.replace_filename(doc.filePath.stem().string() + kind.ending);
    const auto path = doc.GetHost().ChooseSaveFile(request);
    if (!path) return;
    if (IsSameFile(files, *path, doc.filePath)) return operation.Refuse(recordingItselfText);
    try {
        WriteFileAtomically(files, *path, [&](CArchive& archive) { write(*path, archive); });
    } catch (const Cancelled&) {
    } catch (const FileError& error) {
        operation.Refuse(fmt::format("{} was not saved.\n{}", kind.what, error.what()));
    }
}

void SaveTextLines(CBatchBaseDlg& operation, const TextFileKind& kind,
                   const std::function<void(const TextSink&)>& write) {
    SaveTextFile(operation, kind, [&](const std::filesystem::path&, CArchive& archive) {
        ArchiveOutput file(archive);
        write([&](std::string_view line) {
            file.Write(line);
            return true;
        });
    });
}

}  // namespace kymora
