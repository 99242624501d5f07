#include "batch/save_result.h"

#include <fmt/format.h>

#include "document/float_doc.h"
#include "document/native_writer.h"
#include "document/side_car.h"

namespace kymora {

namespace {

bool IsNative(const CDataDoc& doc) { return doc.GetFileType() == typeFloat; }
bool IsOldNative(const CDataDoc& doc) { return IsNative(doc) && doc.fileVersion < firstVersionSavedInPlace; }

std::filesystem::path Plain(const std::filesystem::path& path) {
    std::error_code ignored;
    return std::filesystem::absolute(path, ignored).lexically_normal();
}

std::string ReadOnlyText(const std::filesystem::path& path, const std::string& reason) {
    return fmt::format("{} has the ReadOnly property set.{}", path.string(),
                       reason.empty() ? "" : "\n(" + reason + ")");
}

}  // namespace

std::filesystem::path NativeNameBeside(const std::filesystem::path& recording, bool writeNew) {
    std::filesystem::path name = recording.stem();
    name += writeNew ? "_tr.kymr-dat" : ".kymr-dat";
    return recording.parent_path() / name;
}

std::vector<size_t> LastWithTarget(std::span<const std::filesystem::path> targets) {
    std::vector<size_t> last(targets.size());
    for (size_t i = targets.size(); i-- > 0;) {
        last[i] = i;
        for (size_t later = i + 1; later < targets.size() && last[i] == i; ++later)
            if (Plain(targets[i]) == Plain(targets[later])) last[i] = last[later];
    }
    return last;
}

std::string InPlaceFault(const CDataDoc& doc) {
    FileSystem& files = doc.GetSession().files;
    if (!IsNative(doc)) {
        const std::filesystem::path sideCar = SideCarPath(doc.filePath);
        return files.IsReadOnly(sideCar) ? ReadOnlyText(sideCar, {}) : std::string();
    }
    if (!doc.openedReadOnly && !files.IsReadOnly(doc.filePath)) return {};
    return ReadOnlyText(doc.filePath, doc.readOnlyReason);
}

bool SaveInPlace(CDataDoc& doc) {
    if (!IsOldNative(doc)) return doc.OnSaveDocument();
    if (!doc.MayOverwrite(doc.filePath)) return false;
    doc.GetDisplaySettingsFromView();
    WriteNativeFile(doc, doc.filePath);
    doc.SetModifiedFlag(false);
    return true;
}

std::string ReplaceFault(FileSystem& files, const std::filesystem::path& target) {
    if (files.IsReadOnly(target)) return ReadOnlyText(target, {});
    if (IsBeingEdited(files, target))
        return fmt::format("{} is open in a window or another program.", target.string());
    return {};
}

}  // namespace kymora
