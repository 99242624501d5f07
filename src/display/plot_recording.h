#pragma once
// The picture of a recording in a file.

#include <filesystem>
#include <optional>

#include "display/plot_context.h"
#include "drawing/cairo_device.h"

namespace kymora {

class CKymoraView;

// By the extension; nothing for one that no picture has.
std::optional<PictureFormat> PictureFormatOf(const std::filesystem::path& path);

// Writes what the view shows: a PNG in the pixels of its screen, others, and those of a view without a
// window, at its size. The file takes its place by rename, so nothing half-written is left. Throws
// std::runtime_error.
void SavePicture(const CKymoraView& view, const std::filesystem::path& out);

// Writes the view of the recording as a picture of `width` x `height` pixels. Without limits it shows the
// stored viewport, or the whole recording when the file stores none; one limit alone is completed from the
// recording's start or end. The file is written beside `out` and takes its place by rename, so nothing
// half-written is left. Throws std::runtime_error, or Cancelled when the user stops the reading.
void PlotRecording(CDataDoc& doc, const std::filesystem::path& out, std::optional<double> fromMs,
                   std::optional<double> toMs, int width, int height);

}  // namespace kymora
