#include <fmt/format.h>

#include <algorithm>

#include "acquisition/acquisition_sources.h"
#include "cli/command_context.h"
#include "cli/near_names.h"
#include "cli/operation_settings.h"
#include "cli/record_preview.h"
#include "cli/record_refractory.h"
#include "cli/record_run.h"
#include "document/file_identity.h"
#include "recording/acquisition_settings_fields.h"
#include "recording/adc_dac_configuration.h"
#include "recording/pulse_train.h"
#include "recording/recording_header.h"
#include "recording/wave_file.h"

namespace kymora {
namespace {

[[noreturn]] void Refuse(const std::string& text) { throw CommandError(exitUsage, text); }

RecordingType TypeOf(const std::string& word) {
    std::string known;
    for (uint32_t i = 0; i < recordingTypeCount; ++i) {
        const auto type = static_cast<RecordingType>(i);
        if (RecordingTypeWord(type) == word) return type;
        known += (i == 0 ? "" : ", ") + std::string(RecordingTypeWord(type));
    }
    Refuse(fmt::format("\"{}\" is no type of recording. Types are {}.", word, known));
}

std::string UnknownKey(const AcquisitionSettings& settings, const std::string& key) {
    std::string text =
        fmt::format("{} settings have no \"{}\".{}", RecordingTypeWord(settings.m_eRecordingType), key,
                    DidYouMean(NearNames(key, SettingKeys(settings))));
    if (const auto ofSource = SourceSettingKeys();
        std::find(ofSource.begin(), ofSource.end(), key) != ofSource.end())
        return fmt::format("\"{}\" is a setting of a source, and kept by no configuration.", key);
    if (settings.m_eRecordingType == RecordingType::board && key.starts_with("dac"))
        text += " Outputs are there as \"dacInUse\" says, and pulses as \"pulseCount\" of their output does: "
                "set those first.";
    return text;
}

class RecordCommand : public Subcommand {
  public:
    std::string Name() const override { return "record"; }
    std::string Summary() const override {
        return "record from a board, or write the configuration of a recording";
    }
    std::vector<std::string> Examples() const override {
        return {
            "kymora record --source simulated --set input=preparation --seconds 10 -o out.kymr-rec",
            "kymora record --source simulated --config protocol.kymr-cfg -o out.kymr-rec",
            "kymora record --source serial --set port=/dev/ttyACM0 --set channelCount=2 --seconds 60 -o "
            "out.kymr-rec",
            "kymora record --source sound --set secondChannel=1 --set sampleInterval=0.025 --seconds 60 -o "
            "out.wav",
            "kymora record --set channel1.chanGain=1000 --set timeLimit=300 --save-config protocol.kymr-cfg",
            "kymora record --config protocol.kymr-cfg --set dacInUse=1 --set dac1.pulseCount=1 "
            "--set dac1.pulse1.plateau=0.5 --save-config stimulus.kymr-cfg",
            "kymora record --set dacInUse=1 --set dac1.train.number=5 --set dac1.train.interval=20 "
            "--set dac1.train.duration=0.5 --set dac1.train.amplitude=2 --preview train.svg",
            "kymora record --type microphone --set resolution=16 --save-config sound.kymr-cfg"};
    }
    std::vector<CommandOption> Options() override {
        return {
            {"--source", "NAME", "what records (kymora sources lists all)", &request_.source},
            {"-o,--output", "OUT", "the recording (.kymr-rec)", &output_},
            {"--seconds", "S", "the time limit of a recording, s", &request_.seconds},
            {"--config", "IN", "an ADC-DAC configuration to begin with (.kymr-cfg)", &config_},
            {"--type", "TYPE",
             "microphone, general, refractory-manual, refractory-auto or arduino; that of IN, or general",
             &type_},
            {"--set", "KEY=VALUE",
             "a setting, in the order given: of the configuration (kymora info OUT lists all), or of "
             "source and trigger: input, bits, encoding, triggerTrace, triggerLevel, "
             "triggerDirection, preTrigger, port, boardBits, boardVolts, device",
             &settings_},
            {"--json", "", "of a refractory search: its sweeps and thresholds as one JSON object", &json_},
            {"--save-config", "OUT", "write the settings (.kymr-cfg) and record nothing", &saved_},
            {"--preview", "OUT",
             "what the outputs will play, at the rate of the source where one is named, and record "
             "nothing: a picture (.png, .svg, .pdf), or its points (.csv, .json)",
             &preview_},
            {"--sequence", "N", "of the preview: so many acquisitions of the sequence are done (0)", &index_},
            {"--family", "", "of the preview's picture: all acquisitions of the cycle stand behind it",
             &hasFamily_}};
    }
    void Run(SubcommandContext& context) override {
        if (preview_) return Preview(context);
        if (index_ || hasFamily_) Refuse("--sequence and --family are for --preview OUT.");
        if (!request_.source.empty()) return Record(context);
        if (!saved_) Refuse("Recording needs --source NAME and -o OUT; --save-config OUT writes settings.");
        if (output_ || request_.seconds || json_) Refuse("-o, --seconds and --json need --source NAME.");
        if (FoldedExtension(*saved_) != std::string(".") + adcDacExtension)
            Refuse("--save-config takes the extension .kymr-cfg.");
        AcquisitionSettings settings = Begin(context);
        for (const auto& [key, value] : ParseSettings(settings_)) Set(settings, key, value);
        context.MayReplace(*saved_);
        WriteConfiguration(context.session, settings, *saved_);
    }

  private:
    void Preview(SubcommandContext& context) {
        if (output_ || request_.seconds || saved_ || json_)
            Refuse("--preview records nothing and writes no settings: leave -o, --seconds, --json and "
                   "--save-config out.");
        if (index_ && *index_ < 0) Refuse("--sequence takes a number from 0.");
        AcquisitionSettings settings = Begin(context);
        for (const Setting& setting : OthersThanSource()) Set(settings, setting.key, setting.value);
        if (request_.source.empty() && !request_.keysSet.empty())
            Refuse(fmt::format("\"{}\" is a setting of a source: name one with --source.",
                               request_.keysSet.front()));
        if (settings.m_eRecordingType != RecordingType::board)
            Refuse("--preview shows the stimulus of settings of the type general.");
        WriteStimulusPreview(
            context, {*preview_, request_.source, request_.sourceSettings, index_.value_or(0), hasFamily_},
            settings);
    }

    std::vector<Setting> OthersThanSource() {
        std::vector<Setting> others;
        for (const auto& setting : ParseSettings(settings_))
            if (!SetOfSource(setting)) others.push_back(setting);
        return others;
    }

    void Record(SubcommandContext& context) {
        if (saved_) Refuse("--save-config records nothing: leave it or --source out.");
        if (!output_) Refuse("Recording needs -o OUT.");
        request_.output = *output_;
        const bool isSound = request_.source == soundSource;
        const std::string extension = FoldedExtension(request_.output);
        if (extension != recordingExtension && !(isSound && extension == waveExtension))
            Refuse(fmt::format("-o takes the extension .kymr-rec{}.", isSound ? " or .wav" : ""));
        if (request_.seconds && !(*request_.seconds >= 0.0 && *request_.seconds <= mostSeconds))
            Refuse("--seconds takes 0 to 1e9.");
        const RecordingType type = TypeToRecord(context);
        const bool isRefractory = AcquisitionSettings(type).IsRefractory();
        if (const RecordingType own = TypeOfSource(request_.source);
            type != own && !(isRefractory && own == RecordingType::board))
            Refuse(fmt::format("--source {} records by settings of the type {}.", request_.source,
                               own == RecordingType::board ? "general, refractory-auto or refractory-manual"
                                                           : RecordingTypeWord(own)));
        if (isRefractory && request_.seconds)
            Refuse("A sweep of this type lasts sweepDur: leave --seconds out.");
        if (json_ && !isRefractory) Refuse("--json is for the refractory types.");
        request_.config = config_;
        request_.sourceSettings.simulated.seed = context.session.seed;
        const std::vector<Setting> others = OthersThanSource();
        for (const auto& setting : others)
            if (request_.seconds && setting.key == "timeLimit")
                Refuse("--seconds and --set timeLimit are the same setting: give one of them.");
        const auto change = [&](AcquisitionSettings& settings) {
            for (const auto& [key, value] : others) Set(settings, key, value);
        };
        if (isRefractory)
            RunRefractory(context, request_, type, json_, change);
        else
            RunRecording(context, request_, change);
    }

    // That of the command line, of a configuration of the refractory protocol, or the source's own; what else
    // is wrong with a configuration is told when it is loaded.
    RecordingType TypeToRecord(SubcommandContext& context) const {
        const RecordingType own = TypeOfSource(request_.source);
        if (type_) return TypeOf(*type_);
        if (!config_) return own;
        try {
            const RecordingType read = ReadConfiguration(context.session, *config_).settings.m_eRecordingType;
            return AcquisitionSettings(read).IsRefractory() ? read : own;
        } catch (const ConfigurationError&) {
            return own;
        }
    }

    bool SetOfSource(const Setting& setting) {
        const auto fault = SetSourceSetting(request_.sourceSettings, setting.key, setting.value);
        if (fault && !fault->empty())
            Refuse(fmt::format("--set {}={}: {}", setting.key, setting.value, *fault));
        if (fault) request_.keysSet.push_back(setting.key);
        return fault.has_value();
    }

    AcquisitionSettings Begin(SubcommandContext& context) const {
        const auto wanted = type_ ? std::optional(TypeOf(*type_)) : std::nullopt;
        if (!config_) return AcquisitionSettings(wanted.value_or(RecordingType::board));
        try {
            AcquisitionSettings read = ReadConfiguration(context.session, *config_).settings;
            if (!wanted || read.m_eRecordingType == *wanted) return read;
            throw ConfigurationError(WrongTypeText(read.m_eRecordingType, *wanted));
        } catch (const ConfigurationError& error) {
            throw CommandError(exitCannotOpen, error.what());
        }
    }

    void Set(AcquisitionSettings& settings, const std::string& key, const std::string& value) {
        std::optional<std::string> fault = SetSetting(settings, key, value);
        if (!fault) fault = trains_.Set(settings, key, value);
        if (!fault) Refuse(UnknownKey(settings, key));
        if (!fault->empty()) Refuse(fmt::format("--set {}={}: {}", key, value, *fault));
        if (const std::string whole = SettingsFault(settings); !whole.empty())
            Refuse(fmt::format("--set {}={}: {}", key, value, whole));
    }

    static constexpr double mostSeconds = 1e9;

    RecordRequest request_;
    std::optional<std::string> config_, type_, saved_, output_;
    std::vector<std::string> settings_;
    std::optional<std::string> preview_;
    std::optional<int64_t> index_;
    bool hasFamily_ = false;
    TrainEditor trains_;
    bool json_ = false;
};

}  // namespace

std::unique_ptr<Subcommand> MakeRecordCommand() { return std::make_unique<RecordCommand>(); }

}  // namespace kymora
