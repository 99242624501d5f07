#pragma once
// A transform from a recording to a file: written beside its place under a name of its own, and put there in
// one step when all of it has reached the disk.

#include <filesystem>
#include <string>

#include "transforms/transform_dlg.h"

namespace kymora {

struct TransformedFile {
    bool isDone = false;
    std::string note;  // why not, where nothing was told: what the log says
};

// Why the result may not take the place of `target`, before any work is done; empty when it may. The
// recording's own file may be replaced where it could be saved.
std::string TransformTargetFault(CDataDoc& doc, const std::filesystem::path& target);

// Checks the settings and writes the transform of `doc`, as it is in memory, to `target`, which is replaced.
// Any failure, of the disk, of a kernel, or by the user's cancel, leaves the target and the source as they
// were and no temporary file, and was told but for a cancel and what the note says. Throws Cancelled.
//
// Where the target is the recording's own file, the document goes on reading the old one; it is to be closed.
TransformedFile TransformFile(CDataDoc& doc, CTransformTraceDlg& dialog, const std::filesystem::path& target);

inline constexpr const char* noTemporaryOutputText =
    "Unable to open temporary output file for transform. Aborting transform. Please inform author.";

}  // namespace kymora
