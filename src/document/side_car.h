#pragma once
// The side-car of a foreign data file: all that the user adds to it, in a .kymr-hdr file beside it.

#include "document/data_doc.h"
#include "document/native_writer.h"

namespace kymora {

// The data file's name with the extension .kymr-hdr.
std::filesystem::path SideCarPath(const std::filesystem::path& dataFile);

enum class SideCarResult { none, read, damaged };

// Reads the side-car, sought as .kymr-hdr and then as .kym. After `damaged` (the user was told) the model is
// partly changed, and the caller resets it.
SideCarResult ReadSideCar(CDataDoc& doc);

// Makes traces without limits of their own autoscale when they are first seen. Those that the side-car does
// not know, because it was made with fewer traces, were never scaled.
void ScaleUnknownTraces(CDataDoc& doc);

// Writes the side-car, limited to `range` unless that is whole. False when the user kept another writer's
// changes. Throws FileError, and ResultKept where another program changed it in the very moment.
bool WriteSideCar(CDataDoc& doc, SampleRange range = {});

// Writes what the side-car holds to a file of another name. Throws FileError.
void WriteSideCarAs(const CDataDoc& doc, FileSystem& files, const std::filesystem::path& path);

}  // namespace kymora
