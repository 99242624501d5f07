#pragma once
// Files of one event channel (.kymr-evt): an i16 version, and the channel's record at that version.

#include <filesystem>

#include "document/data_doc.h"

namespace kymora {

inline constexpr const char* eventFileExtension = "kymr-evt";

// Replaces the file in one step. Throws FileError.
void WriteEventFile(const CDataDoc& doc, int channel, const std::filesystem::path& path);

// The channel that a file holds, bound to the recording, whose sample interval tells the positions of events
// that are stored as times. Throws ArchiveError for a file that holds no such channel or another thing behind
// it. Events keep the file's order; CEventChan::CheckOrder tells what is wrong with it.
CEventChan ReadEventFile(DataFile& file, CDataDoc& doc);

}  // namespace kymora
