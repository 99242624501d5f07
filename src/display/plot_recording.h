#pragma once
// The picture of a recording in a file, as the terminal's `plot` writes it.

#include <filesystem>
#include <optional>

#include "document/data_doc.h"

namespace kymora {

// Writes the view of the recording as a PNG of `width` x `height` pixels. Without limits it shows the stored
// viewport, or the whole recording when the file stores none; one limit alone is completed from the
// recording's start or end. The file is written beside `out` and takes its place by rename, so nothing
// half-written is left. Throws std::runtime_error, or Cancelled when the user stops the reading.
void PlotRecordingPng(CDataDoc& doc, const std::filesystem::path& out, std::optional<double> fromMs,
                      std::optional<double> toMs, int width, int height);

}  // namespace kymora
