#pragma once
// Adds scans to a recording file without writing it anew. The file is at every moment the old recording or
// the new one:
//
// 1. What will stand from the place of the old tail on, new scans and new tail, is written behind the end of
//    the file, and behind it a block that says where it goes, with the new scan count and a check sum. It
//    reaches the disk.
// 2. It is copied to its place, and the scan count is written. Both reach the disk.
// 3. The file is cut behind the new tail.
//
// Until the block is complete the file reads as before, since nothing behind a tail is looked at. From then
// on who opens it reads through the block, whatever of the second step was done.

#include <functional>
#include <memory>

#include "archive/archive.h"
#include "host/file_system.h"

namespace kymora {

struct PlaceOfAppend {
    uint64_t countAt = 0;    // of the scan count in the file, four bytes
    uint64_t tailAt = 0;     // where the old tail stands
    uint32_t newCount = 0;   // of scans
    uint64_t scanBytes = 0;  // that are added; a hint of how much `write` writes
};

// `write` hands over what will stand from `tailAt` on. False, with the file as it was, where the file is not
// one that this can be done to. Throws FileError, and what `write` throws, and the file is then as it was.
bool AppendInPlace(DataFile& file, const PlaceOfAppend& place, const std::function<void(CArchive&)>& write);

// The file as it is to be read: through a block at its end where there is one, else itself.
std::unique_ptr<DataFile> ThroughAppend(std::unique_ptr<DataFile> file);

}  // namespace kymora
