#include "cli/record_refractory.h"

#include <fmt/format.h>

#include "acquisition/auto_save_name.h"
#include "acquisition/dt_refr_acq_view.h"
#include "acquisition/plain_loop.h"
#include "cli/command_context.h"
#include "cli/interrupt.h"
#include "recording/recording_writer.h"
#include "results/aligned_table.h"
#include "results/json_writer.h"

namespace kymora {

namespace {

constexpr auto searchLook = std::chrono::milliseconds(100);
constexpr uint64_t progressSteps = 1000;

class TerminalSearch {
  public:
    TerminalSearch(SubcommandContext& context, const RecordRequest& request, RecordingType type)
        : context_(context),
          request_(request),
          type_(type),
          view_(context.session, loop_, NamedBoard(request.source, request.sourceSettings)) {}

    void Run(const std::function<void(AcquisitionSettings&)>& change, bool asJson) {
        if (!view_.Open()) throw CommandError(exitFailed, "");
        Load();
        change(view_.m_settings);
        Prepare();
        const bool isStarted = IsAutomatic() ? view_.OnStart() : view_.OnTry();
        if (!isStarted) throw CommandError(exitFailed, "");
        Attend();
        if (!IsAutomatic() && !view_.HasFailed()) view_.OnAccept();
        const bool isSaved = view_.AcceptedCount() > 0 && Save();
        if (asJson)
            WriteJson(isSaved);
        else if (IsAutomatic())
            WriteTable();
        if (view_.AcceptedCount() == 0)
            throw CommandError(exitFailed, "No sweep was accepted; no file was written.");
        if (view_.HasFailed() || !isSaved) throw CommandError(exitFailed, "");
    }

  private:
    bool IsAutomatic() const { return type_ == RecordingType::refractoryAutomatic; }

    void Load() {
        view_.m_settings = AcquisitionSettings(type_);
        ConfigurationTarget target;
        target.type = type_;
        target.board = view_.BoardTarget();
        if (request_.config &&
            !LoadConfiguration(context_.session, *request_.config, target, view_.m_settings))
            throw CommandError(exitCannotOpen, "");
    }

    void Prepare() {
        CheckKeysOfSource(request_);
        for (const std::string& key : request_.keysSet)
            if (SourceOfSetting(key).empty())
                throw CommandError(exitUsage,
                                   fmt::format("\"{}\" is a setting of the internal trigger, which "
                                               "this protocol does not have.",
                                               key));
        context_.MayReplace(request_.output);
        view_.m_saveAs = request_.output;
        view_.m_saveAsStamp = context_.files.Stamp(request_.output);
        CheckNoSideCar(context_.files, request_.output);
        const auto folder = request_.output.has_parent_path() ? request_.output.parent_path() : ".";
        view_.m_temporaryFolder = folder;
        // Not only when the search is over.
        if (!context_.files.HasFolder(folder) || context_.files.IsReadOnly(folder))
            throw CommandError(
                exitFailed,
                fmt::format("Couldn't open save file\nNothing can be written into {}.", folder.string()));
    }

    void Attend() {
        progress_ = context_.host.StartProgress("Searching", progressSteps);
        loop_.Run(
            [this] {
                if (WasInterrupted()) view_.OnStop();
                ShowProgress();
                return !view_.IsIdle();
            },
            searchLook);
        progress_.reset();
    }

    void ShowProgress() {
        const RefractorySettings& r = view_.m_settings.refractory;
        progress_->SetPart(fmt::format("delay {:.6g} ms, {:.6g} V, {} sweeps", view_.DelayNow(),
                                       view_.AmplitudeNow(), view_.Sweeps().size()));
        const double all = double{r.m_fTrialDelay0} - r.m_fTrialDelayMin;
        const double done = all > 0.0 ? (double{r.m_fTrialDelay0} - view_.DelayNow()) / all : 0.0;
        progress_->Update(static_cast<uint64_t>(std::clamp(done, 0.0, 1.0) * progressSteps));
    }

    // What was accepted is not lost with a file that cannot be written: another one beside it takes it.
    bool Save() {
        if (view_.OnSave()) return true;
        auto base = request_.output;
        std::string name = base.replace_extension().string();
        view_.m_saveAs = FreeRecordingName(context_.files, name);
        view_.m_saveAsStamp.reset();
        if (view_.OnSave())
            context_.host.Message(fmt::format("The accepted sweeps are in {}.", view_.m_saveAs.string()));
        return false;
    }

    void WriteTable() const {
        AlignedTable table("rrr");
        table.Add({"delay (ms)", "threshold (V)", "spikes"});
        for (const RefractoryThreshold& one : view_.Thresholds())
            table.Add({fmt::format("{:.6g}", one.delay),
                       one.amplitude ? fmt::format("{:.6g}", *one.amplitude) : "none",
                       std::to_string(one.spikes)});
        context_.output.Write(table.Text());
    }

    void WriteJson(bool isSaved) const {
        JsonWriter json(context_.output);
        json.BeginObject();
        json.Member("type", RecordingTypeWord(type_));
        json.Member("sampleInterval", view_.m_settings.m_dSampleInterval);
        json.Key("output");
        if (isSaved)
            json.Value(request_.output.string());
        else
            json.Null();
        json.Key("sweeps");
        json.BeginArray();
        for (const RefractorySweep& sweep : view_.Sweeps()) {
            json.BeginObject(JsonWriter::Form::oneLine);
            json.Member("delay", sweep.delay);
            json.Member("amplitude", sweep.amplitude);
            json.Member("delta", sweep.delta);
            json.Member("accepted", sweep.isAccepted);
            json.EndObject();
        }
        json.EndArray();
        json.Key("thresholds");
        json.BeginArray();
        for (const RefractoryThreshold& one : view_.Thresholds()) {
            json.BeginObject(JsonWriter::Form::oneLine);
            json.Member("delay", one.delay);
            json.Key("threshold");
            if (one.amplitude)
                json.Value(*one.amplitude);
            else
                json.Null();
            json.Member("spikes", one.spikes);
            json.EndObject();
        }
        json.EndArray();
        json.EndObject();
        json.Finish();
    }

    SubcommandContext& context_;
    const RecordRequest& request_;
    RecordingType type_;
    PlainLoop loop_;
    CDTRefrAcqView view_;
    std::unique_ptr<Progress> progress_;
};

}  // namespace

void RunRefractory(SubcommandContext& context, const RecordRequest& request, RecordingType type, bool asJson,
                   const std::function<void(AcquisitionSettings&)>& change) {
    TerminalSearch(context, request, type).Run(change, asJson);
}

}  // namespace kymora
