#pragma once
// A summary in a file of its own. The file is read in pages, and only those that are asked for; every page
// and the head have a check sum, so that a file that was damaged is noticed and no more believed.
//
// Layout, little-endian: "KymSumm\0"; u32 version; u32 bytes of the head, this field and all before and
// behind it included; i32 traces; i64 length; i32 base shift; i32 levels; the source's stamp (u64 device, u64
// inode, u64 length, i64 time in ns); u32 bytes of the key, and the key; u32 pages, and a u64 check sum of
// each; u64 check sum of the head up to here. Then the blocks (f32 low, f32 high) in the order of
// SummaryShape::Offset, in pages of 65,536 bytes, the last one shorter.

#include <filesystem>
#include <string>

#include "host/file_system.h"
#include "summaries/summary.h"

namespace kymora {

// What a summary was made of. Another state of the file, another choice of signals or another gain is another
// recording.
struct SummaryKey {
    std::filesystem::path path;  // of the recording, through links
    std::string settings;        // all else that changes its samples
    FileStamp stamp;

    // Path and settings: what stays the same when a recording is written again.
    std::string Text() const { return path.string() + '\n' + settings; }
};

// Of a page, and of the head up to it. Against damage, not against forgery: every word is mixed in by a
// multiplication, after FNV.
uint64_t SummaryCheckSum(std::span<const std::byte> bytes);

// Creates the file. Throws FileError and leaves nothing then.
void WriteSummaryFile(FileSystem& files, const std::filesystem::path& path, const SummaryKey& key,
                      const MemorySummary& summary);

// Opens the summary of this very recording. Throws SummaryError when the file is another's, or damaged, and
// FileError.
std::unique_ptr<Summary> OpenSummaryFile(FileSystem& files, const std::filesystem::path& path,
                                         const SummaryKey& key);

// Makes the summary of `key` one of the same recording in a later state, whose samples are the same. Throws
// as OpenSummaryFile does.
void RestampSummaryFile(FileSystem& files, const std::filesystem::path& path, const SummaryKey& key,
                        const FileStamp& stamp);

}  // namespace kymora
