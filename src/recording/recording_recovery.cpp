#include "recording/recording_recovery.h"

#include <fmt/format.h>

#include <algorithm>

#include "document/native_writer.h"
#include "recording/recording_save.h"
#include "recording/recording_writer.h"

namespace kymora {

namespace {

bool IsLeft(FileSystem& files, const std::filesystem::path& path) {
    const std::string name = path.filename().string();
    if (!name.starts_with(leftRecordingStart) || !name.ends_with(recordingExtension)) return false;
    try {
        const auto file = files.Open(path, OpenMode::readWrite);
        return file->TryLock() && file->HoldsLock();
    } catch (const FileError&) {
        return false;
    }
}

std::string OfferText(const CAcqDoc& left) {
    return fmt::format(
        "A recording was not finished, because the program ended before: {}.\nIt holds {} scans of "
        "{} channel(s), {:.6g} s.\nClick OK to save it as a recording.",
        left.filePath.string(), left.GetLength(), left.traceCount, left.TimeOf(left.GetLength()) / 1000.0);
}

std::string RemoveText(const std::filesystem::path& path) {
    return fmt::format(
        "{} was not saved.\nClick OK to remove it for good, Cancel to keep it until the next start.",
        path.string());
}

// Nothing where it was not saved, of which the user was told.
std::optional<std::filesystem::path> SaveLeft(Session& session, CAcqDoc& left) {
    const auto target = session.host.ChooseSaveFile(RecordingFileRequest());
    if (!target) return {};
    const auto named = WithRecordingExtension(*target);
    try {
        WriteRecording(left, named);
        return named;
    } catch (const Cancelled&) {
    } catch (const FileError& error) {
        session.host.Failure(fmt::format("{}\n{}", problemSavingText, error.what()));
    }
    return {};
}

void RemoveLeft(Session& session, const std::filesystem::path& path) {
    RemoveProvisionalTail(session.files, path);
    try {
        session.files.Remove(path);
    } catch (const FileError& error) {
        session.host.Message(error.what());
    }
}

}  // namespace

std::filesystem::path TemporaryFolder() {
    std::error_code error;
    return std::filesystem::temp_directory_path(error);
}

std::vector<std::filesystem::path> FindLeftRecordings(FileSystem& files,
                                                      const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> found = files.List(folder);
    std::erase_if(found, [&](const auto& path) { return !IsLeft(files, path); });
    std::sort(found.begin(), found.end());
    return found;
}

std::vector<std::filesystem::path> OfferLeftRecordings(Session& session,
                                                       const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> saved;
    for (const auto& path : FindLeftRecordings(session.files, folder)) {
        std::optional<std::filesystem::path> target;
        {
            CLeftRecording left(session);
            if (!left.OnOpenDocument(path, {OpenFor::reading, OpenTalk::logs})) continue;
            if (session.host.Confirm(OfferText(left))) target = SaveLeft(session, left);
        }
        if (target) saved.push_back(*target);
        if (target && IsSameFile(session.files, path, *target)) {  // finished in its place
            RemoveProvisionalTail(session.files, path);
            continue;
        }
        if (target || session.host.Confirm(RemoveText(path))) RemoveLeft(session, path);
    }
    return saved;
}

}  // namespace kymora
