#pragma once
// The boards that can record here, and what the simulated one and the internal trigger are set to by keys.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "acquisition/internal_trigger.h"
#include "acquisition/simulated_board.h"
#include "host/field.h"
#include "results/output_sink.h"

namespace kymora {

struct AcquisitionSource {
    std::string name;   // by which it is chosen: "simulated", "comedi0"
    std::string kind;   // "simulated", "comedi"
    std::string board;  // as recordings keep it
    SubsystemCapabilities inputs, outputs;
    int outputChannels = 0;
    bool hasDigitalOutput = false;
    FrequencyRange rates;  // of one channel, Hz
};

// The simulated board first.
std::vector<AcquisitionSource> ListSources();

// Settings that are no part of a configuration.
struct SourceSettings {
    SimulatedBoardSettings simulated;
    InternalTriggerSettings trigger;
};

inline constexpr std::string_view simulatedSource = "simulated";

// The board of a source; null where there is none of that name.
std::unique_ptr<Board> OpenSource(std::string_view name, const SourceSettings& settings);

// All of them as fields bound to the settings, which outlive them.
std::vector<Field> SourceFields(SourceSettings& settings);
// Sets one by its key: input, bits and encoding of the simulated board; triggerTrace, triggerLevel,
// triggerDirection and preTrigger of trigger mode 3. Answers why the text may not be used, with nothing
// changed; empty when it was. Nothing where there is no such key.
std::optional<std::string> SetSourceSetting(SourceSettings& settings, std::string_view key,
                                            std::string_view text);
std::vector<std::string> SourceSettingKeys();
// Of the simulated board, not of the trigger.
bool IsOfSimulatedBoard(std::string_view key);
// Why settings may not be used together; empty when they may.
std::string SourceSettingsFault(const SourceSettings& settings);

// As a table, and as JSON.
std::string SourcesText(const std::vector<AcquisitionSource>& sources);
void WriteSourcesJson(OutputSink& sink, const std::vector<AcquisitionSource>& sources);

}  // namespace kymora
