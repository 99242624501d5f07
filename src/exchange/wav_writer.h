#pragma once
// Writes wave audio: the traces as channels, the events as cue points with their labels. Layout: the RIFF
// documents, EBU Tech 3306 (RF64, above 4 GB).

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "document/data_doc.h"

namespace kymora {

enum class WavNumbers {
    float32,  // the values as they are
    pcm16,    // of the full scale, which is the largest value of all traces
};

// Writes the file; what was at `path` is replaced when all is written. Gap samples are 0. Answers what the
// form does not hold as it was, a line each, for the user; units and scale stand in the file's comment. Shows
// progress. Throws FileError, also where the recording cannot be written so, or Cancelled, and then leaves
// nothing behind.
// A file of more than `largestRiff` bytes becomes RF64.
std::vector<std::string> WriteWavFile(CDataDoc& doc, const std::filesystem::path& path, WavNumbers numbers,
                                      uint64_t largestRiff = 0xFFFFFFFF);

}  // namespace kymora
