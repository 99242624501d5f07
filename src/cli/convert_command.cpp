#include <fmt/format.h>

#include <limits>

#include "cli/command_context.h"
#include "cli/operation_settings.h"
#include "document/native_writer.h"
#include "document/text_export.h"
#include "exchange/event_file.h"
#include "exchange/foreign_export.h"
#include "host/user_numbers.h"
#include "operations/save_result.h"
#include "recording/recording_writer.h"

namespace kymora {
namespace {

class ConvertCommand : public Subcommand {
  public:
    std::string Name() const override { return "convert"; }
    std::string Summary() const override {
        return "write a recording in another form, chosen by OUT's extension";
    }
    std::vector<std::string> Examples() const override {
        return {"kymora convert recording.edf -o recording.kymr-dat",
                "kymora convert recording.edf -o part.kymr-dat --import signals=1,3",
                "kymora convert recording.kymr-dat -o recording.txt --yes",
                "kymora convert recording.kymr-dat -o recording.edf",
                "kymora convert recording.kymr-dat -o recording.wav --set numbers=16",
                "kymora convert recording.kymr-dat -o recording.nwb",
                "kymora convert recording.kymr-dat --channels b -o spikes.kymr-evt",
                "kymora convert recording.kymr-rec -o part.kymr-rec --from 1000 --to 2000"};
    }
    std::vector<CommandOption> Options() override {
        return {
            {"FILE", "", "the recording", &file_, true},
            {"-o,--output", "OUT",
             "the new file: .kymr-dat, .flt (legacy), .txt, .edf (EDF+), .bdf (BDF+), .wav, .nwb, .mat, "
             ".kymr-evt (one "
             "event channel) or, of a recording file, .kymr-rec",
             &output_, true},
            {"--from", "MS", "of a .kymr-rec: start of the part, ms (0)", &from_},
            {"--to", "MS", "of a .kymr-rec: end of the part, ms (the end of the recording)", &to_},
            {"--channels", "LIST", "the event channel of a .kymr-evt (the only one with events)", &channels_},
            {"--set", "KEY=VALUE", "of a .wav: numbers=float (32 bits, the values as they are) or numbers=16",
             &settings_}};
    }
    void Run(SubcommandContext& context) override {
        const std::filesystem::path out(output_);
        const std::string extension = FoldedExtension(out);
        const bool isEvents = extension == ".kymr-evt";
        const bool isRecording = extension == recordingExtension;
        const bool isExport = IsExportForm(out);
        if (extension != ".kymr-dat" && extension != ".flt" && extension != ".txt" && !isEvents &&
            !isRecording && !isExport)
            throw CommandError(
                exitUsage,
                "OUT takes the extensions .kymr-dat, .flt (legacy), .txt, .edf, .bdf, .wav, .nwb, .mat, "
                ".kymr-evt and .kymr-rec.");
        const ExportSettings exportSettings = SettingsOf(extension);
        CheckPart(isRecording);
        const std::optional<int> named = NamedChannel(isEvents);
        const auto doc = context.Open(file_);
        if (context.IsOneFile(file_, out))
            throw CommandError(exitUsage, "OUT is the recording itself; a conversion writes another file.");
        const int channel = isEvents ? ChannelToWrite(*doc, named) : -1;
        context.MayReplace(out);
        if (isEvents) return WriteEventFile(*doc, channel, out);
        if (isRecording) return WriteRecordingFile(*doc, out);
        if (isExport) return WriteForeign(*doc, out, exportSettings);
        if (extension == ".txt") return WriteText(context, *doc, out);
        if (extension == ".flt" && !context.host.Notice("LegacySave", "Notification", legacySaveText))
            throw CommandError(exitFailed, "");
        SaveAs(*doc, out, extension == ".flt" ? legacyFileVersion : currentFileVersion);
    }

  private:
    void CheckPart(bool isRecording) const {
        if (!from_ && !to_) return;
        if (!isRecording) throw CommandError(exitUsage, "--from and --to take a part into a .kymr-rec.");
        if (!(from_.value_or(0.0) <= to_.value_or(std::numeric_limits<double>::max())))
            throw CommandError(exitUsage,
                               "--from and --to take times in ms, the first no later than the second.");
    }
    ExportSettings SettingsOf(const std::string& extension) const {
        ExportSettings settings;
        for (const auto& [key, value] : ParseSettings(settings_)) {
            if (key != "numbers" || extension != ".wav")
                throw CommandError(exitUsage, "--set takes numbers=float or numbers=16, for a .wav.");
            if (value != "float" && value != "16")
                throw CommandError(exitUsage, "--set numbers takes float or 16, not \"" + value + "\".");
            settings.wavNumbers = value == "16" ? WavNumbers::pcm16 : WavNumbers::float32;
        }
        return settings;
    }
    static void WriteForeign(CDataDoc& doc, const std::filesystem::path& out,
                             const ExportSettings& settings) {
        if (!WriteExport(doc, out, settings)) throw CommandError(exitFailed, "");
    }
    void WriteRecordingFile(CDataDoc& doc, const std::filesystem::path& out) const {
        auto* const recording = dynamic_cast<CAcqDoc*>(&doc);
        if (!recording) throw CommandError(exitUsage, "A .kymr-rec is made of another one only.");
        if (!from_ && !to_) return WriteRecording(*recording, out);
        WriteRecordingPart(*recording, out, {from_.value_or(0.0), to_.value_or(doc.GetEndTime())});
    }
    // The channel of --channels; nothing without it.
    std::optional<int> NamedChannel(bool isEvents) const {
        if (!channels_) return {};
        if (!isEvents) throw CommandError(exitUsage, "--channels chooses the event channel of a .kymr-evt.");
        try {
            const std::vector<int> channels = ParseChannelList(*channels_);
            if (channels.size() == 1) return channels[0];
        } catch (const ListError& error) {
            throw CommandError(exitUsage, error.what());
        }
        throw CommandError(exitUsage, "A .kymr-evt holds one event channel; --channels names several.");
    }
    // The named channel, or the only one with events.
    static int ChannelToWrite(const CDataDoc& doc, std::optional<int> named) {
        std::vector<int> filled;
        for (int c = 0; c < maxEventChannels; ++c)
            if (doc.GetNumEvents(c) != 0) filled.push_back(c);
        if (filled.empty()) throw CommandError(exitFailed, "The recording holds no events.");
        if (named && doc.GetNumEvents(*named) == 0)
            throw CommandError(exitFailed, fmt::format("Channel {} holds no events.", ChannelName(*named)));
        if (named) return *named;
        if (filled.size() == 1) return filled[0];
        std::string list;
        for (const int c : filled) {
            const int count = doc.GetNumEvents(c);
            list += fmt::format("\n{}: {} event{}", ChannelName(c), count, count == 1 ? "" : "s");
            const std::string& label = doc.eventChannels[static_cast<size_t>(c)].channelLabel;
            if (!label.empty()) list += ", " + label;
        }
        throw CommandError(exitFailed, "Several channels hold events; --channels names one of them." + list);
    }
    static void WriteText(SubcommandContext& context, CDataDoc& doc, const std::filesystem::path& out) {
        if (doc.hasGaps && !context.host.Confirm(textExportGapText)) throw CommandError(exitFailed, "");
        WriteTextExport(doc, out);
    }

    std::string file_;
    std::string output_;
    std::optional<std::string> channels_;
    std::vector<std::string> settings_;
    std::optional<double> from_, to_;
};

}  // namespace

std::unique_ptr<Subcommand> MakeConvertCommand() { return std::make_unique<ConvertCommand>(); }

}  // namespace kymora
