#pragma once
// Where what an operation has made is kept: in the recording's own file, or in a new native file beside it.

#include <filesystem>
#include <string>

#include "document/data_doc.h"

namespace kymora {

// "cell7_tr.kymr-dat" for a new file beside "cell7.edf", or "cell7.kymr-dat", its native form.
std::filesystem::path NameBeside(const std::filesystem::path& recording, bool writeNew,
                                 std::string_view extension = ".kymr-dat");

// Why SaveInPlace would refuse, before any work is done; empty when it would not.
std::string InPlaceFault(const CDataDoc& doc);

// Saves events and metadata: a native file in place, one of a version below 22 by a rewritten file that takes
// its place, a foreign one in its side-car. False: the user was told. Throws FileError or Cancelled. A
// document whose file was rewritten is to be closed. Where another program has changed the file meanwhile,
// its version stays, what was to be saved is kept beside it, and ResultKept is thrown.
bool SaveInPlace(CDataDoc& doc);

// Why a new file may not take the place of `target`; empty when it may.
std::string ReplaceFault(FileSystem& files, const std::filesystem::path& target);
// Writes the recording as a native file, of the legacy version where the name says so, which is noticed.
// Throws FileError or Cancelled.
void WriteResultFile(CDataDoc& doc, const std::filesystem::path& target);

inline constexpr const char* legacySaveText =
    "Note: any Kymora features introduced after the legacy version cannot be saved in a legacy file.";

}  // namespace kymora
