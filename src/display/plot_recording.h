#pragma once
// The picture of a recording in a file.

#include <filesystem>
#include <optional>

#include "display/plot_context.h"
#include "drawing/picture_device.h"
#include "drawing/vector_writer.h"
#include "host/options.h"

namespace kymora {

class CKymoraView;

// By the extension; nothing for one that no picture has. Of a recording, ".svg" is a vector file
// (VectorFormatOf).
std::optional<PictureFormat> PictureFormatOf(const std::filesystem::path& path);

inline constexpr int leastPicturePixels = 50, greatestPicturePixels = 20000;
inline constexpr int leastPictureDpi = 24, greatestPictureDpi = 1200;

// Why a picture cannot be so large; empty when it can.
std::string PictureSizeFault(int64_t width, int64_t height, int64_t dpi);

// Writes what the view shows, in the format of the extension: pixels, a page, or a vector file of every
// sample in view. False when the user does not want a file as large as it would be. The file takes its place
// by rename, so nothing half-written is left. Throws std::runtime_error, or Cancelled.
bool SavePicture(const CKymoraView& view, const std::filesystem::path& out,
                 const PictureOptions& options = {});

// Asks how, starting with what was answered last. False when the user cancels.
bool AskPictureOptions(const CKymoraView& view, PictureFormat format, PictureOptions& options);

bool AskVectorOptions(const CKymoraView& view, VectorFormat format, PictureOptions& options);

// Writes the view of the recording as a picture of the size of the options. Without limits it shows the
// stored viewport, or the whole recording when the file stores none; one limit alone is completed from the
// recording's start or end. The file is written beside `out` and takes its place by rename, so nothing
// half-written is left. False, and throws, as SavePicture.
bool PlotRecording(CDataDoc& doc, const std::filesystem::path& out, std::optional<double> fromMs,
                   std::optional<double> toMs, const PictureOptions& options);

}  // namespace kymora
