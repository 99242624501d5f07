#pragma once
// Samples of sound as a plain wave file (RIFF, as published in 1991).

#include <filesystem>

#include "recording/acq_doc.h"

namespace kymora {

inline constexpr const char* waveExtension = ".wav";

// Scans of a recording of the wave layout: first to first + count. Throws FileError, also where they are more
// than a wave file can state.
void WriteWaveFile(CAcqDoc& doc, const std::filesystem::path& target, int64_t first, int64_t count);

}  // namespace kymora
