#pragma once
// A recording from the terminal.

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "acquisition/acquisition_sources.h"
#include "recording/acquisition_settings.h"

namespace kymora {

class SubcommandContext;

struct RecordRequest {
    std::string source;
    std::filesystem::path output;
    std::optional<std::string> config;
    std::optional<double> seconds;  // in place of the settings' time limit
    SourceSettings sourceSettings;
    std::vector<std::string> keysSet;  // of them
};

// The board of a source. Throws CommandError where there is none.
std::unique_ptr<Board> NamedBoard(const std::string& source, const SourceSettings& settings);
// No setting is passed over in silence. Throws CommandError where a key of another source was set.
void CheckKeysOfSource(const RecordRequest& request);

// Records until the limit is reached, all episodes are done, or the user interrupts, which keeps what was
// recorded. `change` gets the settings of the configuration. Throws CommandError.
void RunRecording(SubcommandContext& context, const RecordRequest& request,
                  const std::function<void(AcquisitionSettings&)>& change);

}  // namespace kymora
