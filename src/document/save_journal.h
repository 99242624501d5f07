#pragma once
// What makes a save in place safe. Before the first byte of a native file is overwritten, a journal beside it
// holds what stands there (the head's first ten bytes and everything from the tail's place on) and what will,
// and has reached the disk. It is removed when the new tail has reached the disk. A journal found at an open
// means that a save was cut off: its old bytes go back, unless all new ones are in place. So a file opens
// with the old metadata or with the new, never with a mixture, and the samples are not touched at all.
//
// A journal counts only for the file that it was made for: every byte that the save writes must be the old
// one or the new one (or, behind the old end, nothing yet). So it is never laid over another version of the
// recording that was put in its place.

#include <array>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "archive/archive.h"
#include "host/file_system.h"

namespace kymora {

// Bytes at the start of a native file that a save writes again: version and sample interval.
inline constexpr size_t rewrittenHeadBytes = 10;

struct JournalRange {
    uint64_t headEnd = 0;  // where the samples begin
    uint64_t tailOffset = 0;
};

// The same for every path, links included, that leads to one file.
std::filesystem::path JournalPath(FileSystem& files, const std::filesystem::path& dataFile);

// Tells a file by what a save in place leaves alone: the head behind its first ten bytes and both ends of the
// samples.
uint64_t FileFingerprint(const DataFile& file, JournalRange range);

// What a save writes.
struct NewMetadata {
    std::array<std::byte, rewrittenHeadBytes> head{};
    std::function<void(CArchive&)> writeTail;
};

// Another program has written to the file while it was being saved; what it wrote stays.
class ChangedMeanwhile : public FileError {
  public:
    explicit ChangedMeanwhile(const std::filesystem::path& path)
        : FileError(path.string() + " was changed by another program while it was being saved.", 0) {}
};

// Replaces the metadata of `file`, which stands at `path`, is open for writing and still in the expected
// state. A journal that is there already must have been dealt with; one of another version is set aside.
// Throws FileError, and what `writeTail` throws, and then has put the file back; where even that failed the
// journal stays for the next open. Throws ChangedMeanwhile, and then lays nothing over the file.
void SaveThroughJournal(FileSystem& files, const std::filesystem::path& path, DataFile& file,
                        JournalRange range, const NewMetadata& metadata, const FileStamp& expected);

// The first part of it: the journal, durably, with the rights of the file, and locked for as long as the
// answer lives. Throws, and then leaves no journal that counts.
std::unique_ptr<DataFile> WriteJournal(FileSystem& files, const std::filesystem::path& path,
                                       const DataFile& file, JournalRange range, const NewMetadata& metadata);

// Makes the journal of a completed or undone save count no more, durably, and removes it. Throws FileError
// while it still counts; a journal that only could not be removed is passed over at the next open.
void RetireJournal(FileSystem& files, const std::filesystem::path& path);

enum class JournalState {
    none,        // there is no journal
    incomplete,  // it was cut off before the file was touched: the file is whole
    foreign,     // it does not belong to this file or to this version of it, or it is damaged
    complete,    // the file may hold a mixture; Undo or View gives the old state
    finished,    // the whole save has been written; only the journal was not removed
};
// What the journal beside `path` means for the open file.
JournalState InspectJournal(FileSystem& files, const std::filesystem::path& path, const DataFile& file);

// Puts the old bytes of a complete journal back and retires the journal. Throws FileError; the journal then
// stays.
void UndoFromJournal(FileSystem& files, const std::filesystem::path& path, DataFile& file);

// The file as it was before the save, for reading where nothing can be written. Null unless the journal is
// complete.
std::unique_ptr<DataFile> ViewThroughJournal(FileSystem& files, const std::filesystem::path& path,
                                             std::unique_ptr<DataFile> file);

// Whether another program is saving through the journal at this moment.
bool IsJournalInUse(FileSystem& files, const std::filesystem::path& path);

// Gives a foreign journal a name under which it is no journal any more, and answers it. Throws FileError,
// also where another program is saving through it.
std::filesystem::path SetJournalAside(FileSystem& files, const std::filesystem::path& path);

// Before a new file takes the place of `path`: a journal that is not that of the file there is set aside, and
// its new name answered; the other goes with the file that it belongs to (RetireJournal). Throws FileError.
std::optional<std::filesystem::path> SetForeignJournalAside(FileSystem& files,
                                                            const std::filesystem::path& path);

}  // namespace kymora
