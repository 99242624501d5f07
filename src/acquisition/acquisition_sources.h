#pragma once
// The boards that can record here, and what the simulated one and the internal trigger are set to by keys.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "acquisition/ard_acq_view.h"
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
    FrequencyRange rates;   // of one channel, Hz
    std::string setting{};  // "KEY=VALUE", where several have one name
};

// The simulated board first.
std::vector<AcquisitionSource> ListSources();

struct InputDevices {
    std::vector<AcquisitionSource> sources;
    std::vector<std::string> missing;  // why there is none of a kind, in words for the user
};

// Serial ports, of which each may have a board, and sound inputs. The source of all is that of their kind;
// the setting chooses among them.
InputDevices ListInputDevices();

// Settings that are no part of a configuration.
struct SourceSettings {
    SimulatedBoardSettings simulated;
    InternalTriggerSettings trigger;
    SerialBoardSettings serial;
    std::string soundDevice;  // by name; empty: the system's usual input
};

inline constexpr std::string_view simulatedSource = "simulated", serialSource = "serial",
                                  soundSource = "sound";

// What a source records by.
RecordingType TypeOfSource(std::string_view name);

// The board of a source; null where there is none of that name.
std::unique_ptr<Board> OpenSource(std::string_view name, const SourceSettings& settings);

// All of them as fields bound to the settings, which outlive them.
std::vector<Field> SourceFields(SourceSettings& settings);
// Sets one by its key: input, bits and encoding of the simulated board; triggerTrace, triggerLevel,
// triggerDirection and preTrigger of trigger mode 3; port, boardBits and boardVolts of a serial board; device
// of sound input. Answers why the text may not be used, with nothing
// changed; empty when it was. Nothing where there is no such key.
std::optional<std::string> SetSourceSetting(SourceSettings& settings, std::string_view key,
                                            std::string_view text);
std::vector<std::string> SourceSettingKeys();
// The source whose setting it is, by name; empty: of the trigger.
std::string_view SourceOfSetting(std::string_view key);
// Why settings may not be used together; empty when they may.
std::string SourceSettingsFault(const SourceSettings& settings);

// As a table, and as JSON.
std::string SourcesText(const std::vector<AcquisitionSource>& sources,
                        const std::vector<std::string>& missing);
void WriteSourcesJson(OutputSink& sink, const std::vector<AcquisitionSource>& sources,
                      const std::vector<std::string>& missing);

}  // namespace kymora
