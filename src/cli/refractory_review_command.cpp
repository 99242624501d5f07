#include <fmt/format.h>

#include <cmath>

#include "acquisition/refractory_search.h"
#include "acquisition/refractory_sweeps.h"
#include "cli/command_context.h"
#include "cli/operation_settings.h"
#include "document/file_identity.h"
#include "host/user_numbers.h"
#include "recording/acquisition_settings_fields.h"
#include "recording/adc_dac_configuration.h"
#include "recording/recording_writer.h"
#include "results/aligned_table.h"
#include "results/json_writer.h"

namespace kymora {
namespace {

constexpr std::string_view reviewKeys[] = {"monitorTrace", "winStart", "winEnd", "spikeThreshold"};

std::string ValueOrDash(float value) { return std::isnan(value) ? "-" : fmt::format("{:.6g}", value); }

constexpr float unknown = std::numeric_limits<float>::quiet_NaN();

class RefractoryReviewCommand : public Subcommand {
  public:
    std::string Name() const override { return "refractory-review"; }
    std::string Summary() const override {
        return "the sweeps of a saved refractory search, with their changes worked out anew";
    }
    std::vector<std::string> Examples() const override {
        return {"kymora refractory-review refractory.kymr-rec",
                "kymora refractory-review refractory.kymr-rec --config search.kymr-cfg --json",
                "kymora refractory-review refractory.kymr-rec --set winStart=15.7 --set winEnd=16.4 "
                "--delete \"2 5-7\" -o chosen.kymr-rec"};
    }
    std::vector<CommandOption> Options() override {
        return {{"FILE", "", "a recording saved from an automatic search (.kymr-rec)", &file_, true},
                {"--config", "IN", "a configuration of the type refractory-auto (.kymr-cfg)", &config_},
                {"--set", "KEY=VALUE",
                 "monitorTrace, winStart, winEnd (ms; where the window stands in the first sweep), "
                 "spikeThreshold",
                 &settings_},
                {"--sweep", "N", "only this sweep (from 1)", &sweep_},
                {"--delete", "LIST", "leave these sweeps out (\"2 5-7\")", &deleted_},
                {"--json", "", "as one JSON object", &json_},
                {"--recalculate", "",
                 "OUT has the changes worked out anew in place of those that were stored", &recalculates_},
                {"-o,--output", "OUT.kymr-rec", "write the sweeps as a recording", &output_}};
    }

    void Run(SubcommandContext& context) override {
        if (output_ && FoldedExtension(*output_) != recordingExtension)
            throw CommandError(exitUsage, "OUT takes the extension .kymr-rec.");
        if (output_ && sweep_) throw CommandError(exitUsage, "--sweep looks at one sweep: leave -o out.");
        if (recalculates_ && !output_) throw CommandError(exitUsage, "--recalculate is for -o OUT.");
        const AcquisitionSettings settings = Settings(context);
        const auto opened = context.Open(file_);
        const auto* doc = dynamic_cast<const CAcqDoc*>(opened.get());
        if (!doc) throw CommandError(exitCannotOpen, onlySearchesText);
        if (output_ && context.IsOneFile(file_, *output_))
            throw CommandError(exitUsage, "OUT is the recording itself; a review writes another file.");
        RefractorySweeps sweeps = Read(*doc);
        // Where no window is set, what was stored counts.
        const RefractorySettings& r = settings.refractory;
        const bool hasWindow = r.m_fWinStart != 0.0f || r.m_fWinEnd != 0.0f;
        changes_.assign(sweeps.list.size(), {});
        if (hasWindow) changes_ = Recalculate(sweeps, r);
        CheckSelection(sweeps, hasWindow);
        if (json_)
            WriteJson(context, sweeps, settings);
        else
            WriteTable(context, sweeps);
        if (output_) Save(context, *doc, std::move(sweeps));
    }

  private:
    AcquisitionSettings Settings(SubcommandContext& context) const {
        AcquisitionSettings settings(RecordingType::refractoryAutomatic);
        ConfigurationTarget target;
        target.type = RecordingType::refractoryAutomatic;
        if (config_ && !LoadConfiguration(context.session, *config_, target, settings))
            throw CommandError(exitCannotOpen, "");
        for (const auto& [key, value] : ParseSettings(settings_)) {
            if (std::ranges::find(reviewKeys, key) == std::end(reviewKeys))
                throw CommandError(exitUsage, fmt::format("A review takes monitorTrace, winStart, winEnd and "
                                                          "spikeThreshold, and no \"{}\".",
                                                          key));
            if (const auto fault = SetSetting(settings, key, value); fault && !fault->empty())
                throw CommandError(exitUsage, fmt::format("--set {}={}: {}", key, value, *fault));
        }
        return settings;
    }

    RefractorySweeps Read(const CAcqDoc& doc) const {
        try {
            RefractorySweeps sweeps = SweepsOf(doc);
            if (!deleted_) return sweeps;
            const auto dropped = ParseTraceList(*deleted_, static_cast<int>(sweeps.list.size()),
                                                "There is no sweep of this number.");
            for (size_t i = dropped.size(); i-- > 0;) sweeps.list.erase(sweeps.list.begin() + dropped[i]);
            return sweeps;
        } catch (const FileError& error) {
            throw CommandError(exitCannotOpen, error.what());
        } catch (const ListError& error) {
            throw CommandError(exitUsage, fmt::format("--delete: {}", error.what()));
        }
    }

    static std::vector<std::optional<float>> Recalculate(const RefractorySweeps& sweeps,
                                                         const RefractorySettings& r) {
        if (r.m_nMonitorTrace >= sweeps.format.channels)
            throw CommandError(exitFailed, fmt::format("Trace {} is monitored (from 0), and {} are recorded.",
                                                       r.m_nMonitorTrace, sweeps.format.channels));
        const auto windows = WindowsOf(sweeps, r);
        if (!windows.empty() && !windows.front().IsIn(sweeps.ScansOf(0)))
            throw CommandError(exitFailed, windowBeyondText);
        return ChangesOf(sweeps, r);
    }

    void CheckSelection(const RefractorySweeps& sweeps, bool hasWindow) const {
        if (!sweep_) return;
        if (*sweep_ < 1 || *sweep_ > static_cast<int64_t>(sweeps.list.size()))
            throw CommandError(exitUsage, fmt::format("--sweep takes 1 to {}.", sweeps.list.size()));
        if (hasWindow && !changes_[static_cast<size_t>(*sweep_ - 1)])
            throw CommandError(exitFailed, fewReviewSweepsText);
    }

    bool IsShown(size_t i) const { return !sweep_ || static_cast<size_t>(*sweep_ - 1) == i; }

    void WriteTable(SubcommandContext& context, const RefractorySweeps& sweeps) const {
        AlignedTable table("rrrrr");
        table.Add({"sweep", "delay (ms)", "amplitude (V)", "stored delta", "delta"});
        for (size_t i = 0; i < sweeps.list.size(); ++i)
            if (const RefractorySweep& one = sweeps.list[i]; IsShown(i))
                table.Add({std::to_string(i + 1), ValueOrDash(one.delay), ValueOrDash(one.amplitude),
                           fmt::format("{:.6g}", one.delta),
                           changes_[i] ? fmt::format("{:.6g}", *changes_[i]) : "-"});
        context.output.Write(table.Text());
    }

    void WriteJson(SubcommandContext& context, const RefractorySweeps& sweeps,
                   const AcquisitionSettings& settings) const {
        const RefractorySettings& r = settings.refractory;
        JsonWriter json(context.output);
        json.BeginObject();
        json.Member("file", file_);
        json.Member("sampleInterval", sweeps.sampleInterval);
        json.Key("settings");
        json.BeginObject(JsonWriter::Form::oneLine);
        json.Member("monitorTrace", static_cast<int64_t>(r.m_nMonitorTrace));
        json.Member("winStart", r.m_fWinStart);
        json.Member("winEnd", r.m_fWinEnd);
        json.Member("spikeThreshold", r.m_fSpikeThreshold);
        json.EndObject();
        json.Member("count", static_cast<int64_t>(sweeps.list.size()));
        json.Key("sweeps");
        json.BeginArray();
        for (size_t i = 0; i < sweeps.list.size(); ++i) {
            if (!IsShown(i)) continue;
            const RefractorySweep& one = sweeps.list[i];
            json.BeginObject(JsonWriter::Form::oneLine);
            json.Member("sweep", static_cast<int64_t>(i + 1));
            json.Member("delay", one.delay);
            json.Member("amplitude", one.amplitude);
            json.Member("storedDelta", one.delta);
            json.Member("delta", changes_[i].value_or(unknown));
            json.Key("hasSpike");
            if (changes_[i] && r.m_fSpikeThreshold > 0.0f)
                json.Value(*changes_[i] >= r.m_fSpikeThreshold);
            else
                json.Null();
            json.EndObject();
        }
        json.EndArray();
        json.Key("thresholds");
        json.BeginArray();
        for (const RefractoryThreshold& one : ThresholdsOf(sweeps)) {
            json.BeginObject(JsonWriter::Form::oneLine);
            json.Member("delay", one.delay);
            json.Member("threshold", *one.amplitude);
            json.Member("sweeps", static_cast<int64_t>(one.spikes));
            json.EndObject();
        }
        json.EndArray();
        json.EndObject();
        json.Finish();
    }

    void Save(SubcommandContext& context, const CAcqDoc& doc, RefractorySweeps sweeps) const {
        if (sweeps.list.empty()) throw CommandError(exitFailed, "No sweep is left to save.");
        for (size_t i = 0; i < sweeps.list.size(); ++i)
            if (recalculates_ && changes_[i]) sweeps.list[i].delta = *changes_[i];
        const std::filesystem::path out(*output_);
        context.MayReplace(out);
        CheckNoSideCar(context.files, out);
        CAcqDoc written(context.session);
        CopyRecordingHead(doc, written);
        if (!written.WriteAcqFileStart(out.has_parent_path() ? out.parent_path() : "."))
            throw CommandError(exitFailed, "");
        try {
            WriteSweeps(written, sweeps, out);
        } catch (const FileError&) {
            written.DiscardRecording();
            throw;
        }
    }

    std::string file_;
    std::optional<std::string> config_, deleted_, output_;
    std::vector<std::string> settings_;
    std::optional<int64_t> sweep_;
    bool json_ = false, recalculates_ = false;
    std::vector<std::optional<float>> changes_;
};

}  // namespace

std::unique_ptr<Subcommand> MakeRefractoryReviewCommand() {
    return std::make_unique<RefractoryReviewCommand>();
}

}  // namespace kymora
