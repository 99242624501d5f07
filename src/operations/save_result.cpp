#include "operations/save_result.h"

#include <fmt/format.h>

#include "document/float_doc.h"
#include "document/native_writer.h"
#include "document/side_car.h"
#include "document/temporary_file.h"
#include "host/file_names.h"

namespace kymora {

namespace {

bool IsNative(const CDataDoc& doc) { return doc.GetFileType() == typeFloat; }
bool IsOldNative(const CDataDoc& doc) { return IsNative(doc) && doc.fileVersion < firstVersionSavedInPlace; }

std::string ReadOnlyText(const std::filesystem::path& path, const std::string& reason) {
    return fmt::format("{} has the ReadOnly property set.{}", path.string(),
                       reason.empty() ? "" : "\n(" + reason + ")");
}

// A run that nobody attends leaves what another program wrote alone, and loses nothing of its own.
[[noreturn]] void KeepBeside(CDataDoc& doc) {
    FileSystem& files = doc.GetSession().files;
    const std::filesystem::path target = IsNative(doc) ? doc.filePath : SideCarPath(files, doc.filePath);
    const std::filesystem::path kept = FreeResultName(files, target);
    if (IsNative(doc))
        WriteNativeFile(doc, kept);
    else
        WriteSideCarAs(doc, files, kept);
    throw ResultKept(target, kept);
}

bool SaveOldNative(CDataDoc& doc) {
    if (!doc.MayOverwrite(doc.filePath)) KeepBeside(doc);
    doc.GetDisplaySettingsFromView();
    WriteNativeFile(doc, doc.filePath);
    doc.SetModifiedFlag(false);
    return true;
}

}  // namespace

std::filesystem::path NameBeside(const std::filesystem::path& recording, bool writeNew,
                                 std::string_view extension) {
    return NameInstead(recording, std::string(writeNew ? "_tr" : "").append(extension));
}

std::string InPlaceFault(const CDataDoc& doc) {
    FileSystem& files = doc.GetSession().files;
    if (!IsNative(doc)) {
        const std::filesystem::path sideCar = SideCarPath(files, doc.filePath);
        return files.IsReadOnly(sideCar) ? ReadOnlyText(sideCar, {}) : std::string();
    }
    if (!doc.openedReadOnly && !files.IsReadOnly(doc.filePath)) return {};
    return ReadOnlyText(doc.filePath, doc.readOnlyReason);
}

bool SaveInPlace(CDataDoc& doc) {
    if (IsOldNative(doc)) return SaveOldNative(doc);
    const SaveOutcome outcome = doc.Save();
    if (outcome == SaveOutcome::changedOutside) KeepBeside(doc);
    return outcome == SaveOutcome::saved;
}

std::string ReplaceFault(FileSystem& files, const std::filesystem::path& target) {
    if (files.IsReadOnly(target)) return ReadOnlyText(target, {});
    if (IsBeingEdited(files, target))
        return fmt::format("{} is open in a window or another program.", target.string());
    return {};
}

void WriteResultFile(CDataDoc& doc, const std::filesystem::path& target) {
    const bool isLegacy = FoldedExtension(target) == ".flt";
    if (isLegacy) doc.GetHost().Notice("LegacySave", "Notification", legacySaveText);
    WriteNativeFile(doc, target, isLegacy ? legacyFileVersion : currentFileVersion);
}

}  // namespace kymora
