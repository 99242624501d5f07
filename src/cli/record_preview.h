#pragma once
// The stimulus of a recording from the terminal, as a picture or as numbers, before it is played.

#include <filesystem>
#include <string>

#include "acquisition/acquisition_sources.h"
#include "cli/run_graph.h"
#include "recording/acquisition_settings.h"

namespace kymora {

class SubcommandContext;

struct PreviewRequest {
    std::filesystem::path output;  // .png, .svg, .pdf; .csv, .json
    std::string source;            // empty: any board
    SourceSettings sourceSettings;
    int64_t index = 0;  // of the sequence
    bool hasFamily = false;
};

// Throws CommandError.
void WriteStimulusPreview(SubcommandContext& context, const PreviewRequest& request,
                          const AcquisitionSettings& settings);

}  // namespace kymora
