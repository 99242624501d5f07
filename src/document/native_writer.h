#pragma once
// Writes native files: the current version and the legacy one.

#include <filesystem>
#include <functional>
#include <span>

#include "archive/archive.h"
#include "document/data_doc.h"

namespace kymora {

// Positions of a range-limited tail; both -1 write everything.
struct SampleRange {
    int32_t start = -1;
    int32_t end = -1;
    bool IsWhole() const { return start == -1 && end == -1; }
};

void WriteHead(CArchive& archive, const CDataDoc& doc, int version = currentFileVersion);
// For a transform that adds traces: `addedAfter[t]` writes the run list of trace t a second time, behind its
// own.
void WriteHead(CArchive& archive, const CDataDoc& doc, int32_t newTraceCount,
               std::span<const uint8_t> addedAfter);

// Writes the tail of the current or the legacy version. The model is the same afterwards, also when this
// throws.
void WriteTail(CArchive& archive, const CDataDoc& doc, std::string_view comment, SampleRange range = {},
               int version = currentFileVersion);

// Writes beside `path` and takes its place in one step once all bytes have reached the disk. The temporary
// file never outlives the call. Throws FileError, and ResultKept where another program has changed `path`
// since the call began, or since it had the state that is expected.
void WriteFileAtomically(FileSystem& files, const std::filesystem::path& path,
                         const std::function<void(CArchive&)>& write);
void WriteFileAtomically(FileSystem& files, const std::filesystem::path& path,
                         const std::optional<FileStamp>& expected,
                         const std::function<void(CArchive&)>& write);
// The same for what is not written from beginning to end.
void WriteContentAtomically(FileSystem& files, const std::filesystem::path& path,
                            const std::optional<FileStamp>& expected,
                            const std::function<void(DataFile&)>& write);

// Before a new recording takes this name: a save journal there that belongs to another file gets another
// name, which the user is told. Throws FileError.
void TellJournalSetAside(Session& session, const std::filesystem::path& path);

// Saves the recording as a new native file of the current version or, as an old program reads it, of the
// legacy one. Shows progress; throws FileError or Cancelled, and then leaves nothing behind.
void WriteNativeFile(CDataDoc& doc, const std::filesystem::path& path, int version = currentFileVersion);

// The same as a save-as: with the state of the view, and with the history entry of one in what is written.
// The recording's own history stays as it is.
void SaveAs(CDataDoc& doc, const std::filesystem::path& path, int version = currentFileVersion);

}  // namespace kymora
