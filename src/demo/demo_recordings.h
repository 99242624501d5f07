#pragma once
// Recordings made by rule, with the truth about them in their event channels: to learn the program on, and to
// hold detectors, sorters and analyses against. The same seed gives the same bytes on every machine.

#include <filesystem>
#include <memory>
#include <span>

#include "document/generated_doc.h"

namespace kymora {

struct DemoRecording {
    const char* fileName;
    std::unique_ptr<GeneratedDoc> (*make)(Session& session);  // from the session's seed
};

std::span<const DemoRecording> DemoRecordings();

// Writes one of them as a native file. Throws FileError or Cancelled, and then leaves nothing behind.
void WriteDemoRecording(Session& session, const DemoRecording& recording, const std::filesystem::path& path);

std::unique_ptr<GeneratedDoc> MakeDemoSpikes(Session& session);
std::unique_ptr<GeneratedDoc> MakeDemoGaps(Session& session);
std::unique_ptr<GeneratedDoc> MakeDemoEpisodic(Session& session);

}  // namespace kymora
