#pragma once
// The ADC-DAC configuration (".kymr-cfg"): a file that keeps the settings of a recording session, of one
// recording type. Dialog configurations (operations/config_file.h) have the same extension and begin with
// another text.

#include <filesystem>
#include <functional>
#include <optional>
#include <string>

#include "host/session.h"
#include "recording/acquisition_settings.h"

namespace kymora {

inline constexpr const char* adcDacHead = "Kymora ADC-DAC Configuration file";
inline constexpr const char* adcDacFilter = "config (*.kymr-cfg)|*.kymr-cfg||";
inline constexpr const char* adcDacExtension = "kymr-cfg";
inline constexpr const char* saveAdcDacTitle = "Save ADC-DAC configuration file";
inline constexpr const char* loadAdcDacTitle = "Load ADC-DAC configuration file";
inline constexpr const char* protocolNotesTitle = "Protocol notes";

// A file is no configuration that can be used; what() is in words for the user.
class ConfigurationError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// The text with which a file begins; empty where it begins with none. Throws FileError.
std::string ConfigurationHead(Session& session, const std::filesystem::path& path);

struct AdcDacConfiguration {
    AcquisitionSettings settings;
    uint32_t generalVersion = 0, sectionVersion = 0;  // as they were read
};

// Why a configuration of one type is not taken where another one is wanted.
std::string WrongTypeText(RecordingType read, RecordingType wanted);

// Reads a configuration of any type, without a word to the user. What the versions of the file do not have
// stands at its default. Bytes behind its end are passed over. Throws ConfigurationError.
AdcDacConfiguration ReadConfiguration(Session& session, const std::filesystem::path& path);

// Writes one of the present versions. Throws FileError.
void WriteConfiguration(Session& session, const AcquisitionSettings& settings,
                        const std::filesystem::path& path);

// What a configuration is loaded into.
struct ConfigurationTarget {
    struct Board {
        std::string name;
        int adcChannels = 16;
        int dacChannels = 2;
        bool hasDigitalOutput = true;
    };
    RecordingType type = RecordingType::board;
    std::optional<Board> board;           // none: nothing is held against it
    std::filesystem::path desktopFolder;  // where recordings go whose folder is not there
    // Whether the file with the output's samples is open, or opens. Empty: it is not looked for.
    std::function<bool(const std::filesystem::path&)> findOutputFile;
};

// Loads a configuration of the target's type; without a path the user chooses one. Its notes are shown. Tells
// the user what differs from the board, and what was set otherwise for it; output channels in use stay, also
// beyond those of the board. Answers false with the settings as they were where the file is refused, of which
// the user was told, or none was chosen. An interface clears what it has acquired before.
bool LoadConfiguration(Session& session, std::optional<std::filesystem::path> path,
                       const ConfigurationTarget& target, AcquisitionSettings& settings);

// Asks for a name and for the notes, which the settings then keep, and writes. False where the user cancels
// either, or the file cannot be written, of which the user was told.
bool SaveConfiguration(Session& session, AcquisitionSettings& settings);

// Asks for the notes: false when the user cancels.
bool AskProtocolNotes(Host& host, std::string& notes);

// A configuration for reading, and as a JSON object.
std::string ConfigurationText(const AdcDacConfiguration& configuration, std::string_view path);
std::string ConfigurationJson(const AdcDacConfiguration& configuration, std::string_view path);

}  // namespace kymora
