#pragma once
// What makes a save in place safe. Before the first byte of a native file is overwritten, what stands there
// (the head's first ten bytes and everything from the tail's place on) is written to a journal beside it and
// has reached the disk. The journal is removed when the new tail has reached the disk. A journal found at an
// open means that a save was cut off, and puts the old bytes back. So a file opens with the old metadata or
// with the new, never with a mixture, and the samples are not touched at all.

#include <array>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>

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

// Writes the journal of `file`, durably. A journal that stands there already must have been dealt with; a
// foreign one is refused. Throws FileError, and then leaves the file as it was and no journal that counts.
void WriteJournal(FileSystem& files, const std::filesystem::path& path, const DataFile& file,
                  JournalRange range);

// Makes the journal of a completed or undone save count no more, durably, and removes it. Throws FileError
// while it still counts; a journal that only could not be removed is passed over at the next open.
void RetireJournal(FileSystem& files, const std::filesystem::path& path);

enum class JournalState {
    none,        // there is no journal
    incomplete,  // it was cut off before the file was touched: the file is whole
    foreign,     // it does not belong to this file
    complete,    // the file may hold a mixture; Undo or View gives the old state
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

}  // namespace kymora
