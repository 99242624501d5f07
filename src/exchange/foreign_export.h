#pragma once
// A recording in the forms of other systems, chosen by the extension of the name: EDF+, BDF+, wave
// audio, NWB and MATLAB files.

#include <filesystem>
#include <string>

#include "document/data_doc.h"
#include "exchange/wav_writer.h"

namespace kymora {

struct ExportSettings {
    WavNumbers wavNumbers = WavNumbers::float32;
};

bool IsExportForm(const std::filesystem::path& path);

// Writes the file and informs the user of what it does not hold as it was. Asks before gaps become zeros:
// false where the user declines. Throws FileError or Cancelled, and then leaves nothing behind.
bool WriteExport(CDataDoc& doc, const std::filesystem::path& path, const ExportSettings& settings);
// The same for a window: asks for the settings and tells of failures. False where nothing was written.
bool ExportForUser(CDataDoc& doc, const std::filesystem::path& path);

}  // namespace kymora
