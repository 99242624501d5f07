#include "cli/record_run.h"

#include <fmt/format.h>

#include "acquisition/dt_gen_acq_view.h"
#include "acquisition/plain_loop.h"
#include "cli/command_context.h"
#include "cli/interrupt.h"
#include "cli/near_names.h"
#include "recording/recording_writer.h"

namespace kymora {

namespace {

constexpr auto lookInterval = std::chrono::milliseconds(100);

class TerminalRecording {
  public:
    TerminalRecording(SubcommandContext& context, const RecordRequest& request)
        : context_(context),
          request_(request),
          view_(context.session, loop_, NamedBoard(request.source, request.sourceSettings)) {}

    void Run(const std::function<void(AcquisitionSettings&)>& change) {
        if (!view_.OpenBoard()) throw CommandError(exitFailed, "");
        Load();
        change(view_.m_settings);
        if (request_.seconds && view_.m_settings.m_nSweepMode == 0)
            throw CommandError(exitUsage, "With sweepMode=single a recording is one displaySpan long: leave "
                                          "--seconds out, or choose another sweepMode.");
        Prepare();
        if (!view_.OnAcqStart()) throw CommandError(exitFailed, "");
        Attend();
        if (view_.HasUnsaved()) view_.OnSave();
        if (view_.HasFailed()) throw CommandError(exitFailed, "");
    }

  private:
    void Load() {
        ConfigurationTarget target;
        target.board = view_.BoardTarget();
        if (request_.config &&
            !LoadConfiguration(context_.session, *request_.config, target, view_.m_settings))
            throw CommandError(exitCannotOpen, "");
        AcquisitionSettings& settings = view_.m_settings;
        if (!request_.seconds) return;
        settings.m_dTimeLimit = *request_.seconds;
        // A sweep of a single span would not look at the limit.
        if (settings.m_nSweepMode == 0) settings.m_nSweepMode = 1;
    }

    // No setting is passed over in silence.
    void CheckKeys() {
        CheckKeysOfBoard(request_);
        for (const std::string& key : request_.keysSet) {
            if (!IsOfSimulatedBoard(key) && view_.Trigger() != TriggerMode::internal)
                context_.host.Message(fmt::format("\"{}\" does not count: trigMode is not internal.", key));
        }
    }

    void Prepare() {
        CheckKeys();
        const bool keepsOne = view_.Saving() == SaveMode::byHand || view_.Saving() == SaveMode::appendByHand;
        if (view_.Trigger() == TriggerMode::external && view_.m_settings.m_bRearm && keepsOne)
            throw CommandError(exitUsage,
                               "A trigger that is armed again needs saveMode=auto or auto-append: the "
                               "recordings would overwrite each other.");
        view_.m_trigger = request_.sourceSettings.trigger;
        view_.m_temporaryFolder = request_.output.has_parent_path() ? request_.output.parent_path() : ".";
        view_.m_saveAs = request_.output;
        if (view_.Saving() == SaveMode::fileEach) {
            auto base = request_.output;
            view_.m_settings.m_strAutoSaveBase = base.replace_extension().string();
            return;
        }
        context_.MayReplace(request_.output);
        view_.m_saveAsStamp = context_.files.Stamp(request_.output);
        CheckNoSideCar(context_.files, request_.output);
    }

    void Attend() {
        if (const auto seconds = view_.DiskSeconds())
            context_.host.Notice(
                "diskSeconds", "",
                fmt::format("The disk has room for {} of recording.", DurationText(*seconds)));
        progress_ = context_.host.StartProgress("Recording", 1000000);
        loop_.Run([this] { return GoesOn(); }, lookInterval);
        progress_.reset();
    }

    bool GoesOn() {
        if (WasInterrupted() && !wasStopped_) {
            wasStopped_ = true;
            progress_.reset();
            view_.StopForGood();
        }
        if (progress_) ShowProgress();
        return !view_.HasEnded();
    }

    void ShowProgress() {
        const std::string status =
            view_.State() == AcqState::armed ? "waiting for the trigger" : view_.StatusText();
        progress_->SetPart(
            fmt::format("{}{}pipe {:.0f} %", status, status.empty() ? "" : ", ", view_.PipeFill() * 100.0));
        const auto all = static_cast<double>(std::max<int64_t>(view_.ScansPerSweep(), 1));
        progress_->Update(static_cast<uint64_t>(static_cast<double>(view_.StoredScans()) / all * 1e6));
    }

    SubcommandContext& context_;
    const RecordRequest& request_;
    PlainLoop loop_;
    CDTGenAcqView view_;
    std::unique_ptr<Progress> progress_;
    bool wasStopped_ = false;
};

class SourcesCommand : public Subcommand {
  public:
    std::string Name() const override { return "sources"; }
    std::string Summary() const override { return "boards and devices that can record"; }
    std::vector<std::string> Examples() const override { return {"kymora sources", "kymora sources --json"}; }
    std::vector<CommandOption> Options() override { return {{"--json", "", "as one JSON object", &json_}}; }
    void Run(SubcommandContext& context) override {
        if (json_)
            WriteSourcesJson(context.output, ListSources());
        else
            context.output.Write(SourcesText(ListSources()));
    }

  private:
    bool json_ = false;
};

}  // namespace

std::unique_ptr<Board> NamedBoard(const std::string& source, const SourceSettings& settings) {
    if (auto board = OpenSource(source, settings)) return board;
    std::vector<std::string> names;
    for (const AcquisitionSource& one : ListSources()) names.push_back(one.name);
    throw CommandError(exitUsage,
                       fmt::format("There is no source \"{}\".{} kymora sources lists those there are.",
                                   source, DidYouMean(NearNames(source, names))));
}

void CheckKeysOfBoard(const RecordRequest& request) {
    for (const std::string& key : request.keysSet)
        if (IsOfSimulatedBoard(key) && request.source != simulatedSource)
            throw CommandError(exitUsage, fmt::format("\"{}\" is a setting of the simulated board.", key));
    if (const std::string fault = SourceSettingsFault(request.sourceSettings); !fault.empty())
        throw CommandError(exitUsage, fault);
}

void RunRecording(SubcommandContext& context, const RecordRequest& request,
                  const std::function<void(AcquisitionSettings&)>& change) {
    TerminalRecording(context, request).Run(change);
}

std::unique_ptr<Subcommand> MakeSourcesCommand() { return std::make_unique<SourcesCommand>(); }

}  // namespace kymora
