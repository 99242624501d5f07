#include "cli/record_run.h"

#include <fmt/format.h>

#include "acquisition/dt_gen_acq_view.h"
#include "acquisition/mic_acq_view.h"
#include "acquisition/plain_loop.h"
#include "acquisition/port_audio.h"
#include "cli/command_context.h"
#include "cli/interrupt.h"
#include "cli/near_names.h"
#include "recording/recording_writer.h"

namespace kymora {

namespace {

constexpr auto lookInterval = std::chrono::milliseconds(100);

// What all sources have in common.
class TerminalRecording {
  public:
    TerminalRecording(SubcommandContext& context, const RecordRequest& request)
        : context_(context), request_(request) {}
    virtual ~TerminalRecording() = default;

    void Run(const std::function<void(AcquisitionSettings&)>& change) {
        CheckKeysOfSource(request_);
        if (!NeedsSource()) Set(change);
        if (!Open()) throw CommandError(exitFailed, "");
        if (NeedsSource()) Set(change);
        CAcqView& view = View();
        if (!request_.config) view.SpanUnsetAxes();
        view.m_temporaryFolder = request_.output.has_parent_path() ? request_.output.parent_path() : ".";
        view.m_saveAs = request_.output;
        Prepare();
        if (!view.OnAcqStart()) throw CommandError(exitFailed, "");
        Attend();
        if (view.HasUnsaved()) view.OnSave();
        if (view.HasFailed()) throw CommandError(exitFailed, "");
    }

  protected:
    virtual CAcqView& View() = 0;
    virtual bool Open() = 0;
    // Settings are held against the source, which is opened before them.
    virtual bool NeedsSource() const { return true; }
    // What a configuration is held against.
    virtual ConfigurationTarget Target() const = 0;
    // Settings are complete: refuses what cannot be.
    virtual void Prepare() { MayReplaceOutput(); }

    void MayReplaceOutput() {
        context_.MayReplace(request_.output);
        View().m_saveAsStamp = context_.files.Stamp(request_.output);
        CheckNoSideCar(context_.files, request_.output);
    }

    SubcommandContext& context_;
    const RecordRequest& request_;
    PlainLoop loop_;

  private:
    void Set(const std::function<void(AcquisitionSettings&)>& change) {
        AcquisitionSettings& settings = View().m_settings;
        Load(settings);
        change(settings);
        if (request_.seconds && settings.m_nSweepMode == 0)
            throw CommandError(exitUsage, "With sweepMode=single a recording is one displaySpan long: leave "
                                          "--seconds out, or choose another sweepMode.");
    }

    void Load(AcquisitionSettings& settings) {
        if (request_.config && !LoadConfiguration(context_.session, *request_.config, Target(), settings))
            throw CommandError(exitCannotOpen, "");
        if (!request_.seconds) return;
        settings.m_dTimeLimit = *request_.seconds;
        // A sweep of a single span would not look at the limit.
        if (settings.m_nSweepMode == 0) settings.m_nSweepMode = 1;
    }

    void Attend() {
        if (const auto seconds = View().DiskSeconds())
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
            View().StopForGood();
        }
        if (progress_) ShowProgress();
        return !View().HasEnded();
    }

    void ShowProgress() {
        const CAcqView& view = View();
        const std::string status =
            view.State() == AcqState::armed ? "waiting for the trigger" : view.StatusText();
        progress_->SetPart(
            fmt::format("{}{}pipe {:.0f} %", status, status.empty() ? "" : ", ", view.PipeFill() * 100.0));
        const auto all = static_cast<double>(std::max<int64_t>(view.ScansPerSweep(), 1));
        progress_->Update(static_cast<uint64_t>(static_cast<double>(view.StoredScans()) / all * 1e6));
    }

    std::unique_ptr<Progress> progress_;
    bool wasStopped_ = false;
};

class BoardRecording : public TerminalRecording {
  public:
    BoardRecording(SubcommandContext& context, const RecordRequest& request)
        : TerminalRecording(context, request),
          view_(context.session, loop_, NamedBoard(request.source, request.sourceSettings)) {}

  private:
    CAcqView& View() override { return view_; }
    bool Open() override { return view_.OpenBoard(); }
    ConfigurationTarget Target() const override {
        ConfigurationTarget target;
        target.board = view_.BoardTarget();
        return target;
    }

    void CheckTriggerKeys() {
        for (const std::string& key : request_.keysSet)
            if (SourceOfSetting(key).empty() && view_.Trigger() != TriggerMode::internal)
                context_.host.Message(fmt::format("\"{}\" does not count: trigMode is not internal.", key));
    }

    void Prepare() override {
        CheckTriggerKeys();
        const bool keepsOne = view_.Saving() == SaveMode::byHand || view_.Saving() == SaveMode::appendByHand;
        if (view_.Trigger() == TriggerMode::external && view_.m_settings.m_bRearm && keepsOne)
            throw CommandError(exitUsage,
                               "A trigger that is armed again needs saveMode=auto or auto-append: the "
                               "recordings would overwrite each other.");
        view_.m_trigger = request_.sourceSettings.trigger;
        if (view_.Saving() != SaveMode::fileEach) return MayReplaceOutput();
        auto base = request_.output;
        view_.m_settings.m_strAutoSaveBase = base.replace_extension().string();
    }

    CDTGenAcqView view_;
};

// Sources without trigger and stimulus.
template <typename View_>
class HandRecording : public TerminalRecording {
  public:
    template <typename... Source>
    HandRecording(SubcommandContext& context, const RecordRequest& request, RecordingType type,
                  bool (View_::*open)(), Source&&... source)
        : TerminalRecording(context, request),
          type_(type),
          open_(open),
          view_(context.session, loop_, std::forward<Source>(source)...) {
        for (const std::string& key : request.keysSet)
            if (SourceOfSetting(key).empty())
                throw CommandError(exitUsage, fmt::format("--source {} has no triggers, and no \"{}\".",
                                                          request.source, key));
    }

  private:
    CAcqView& View() override { return view_; }
    bool Open() override { return (view_.*open_)(); }
    bool NeedsSource() const override { return false; }
    ConfigurationTarget Target() const override {
        ConfigurationTarget target;
        target.type = type_;
        return target;
    }

    RecordingType type_;
    bool (View_::*open_)();
    View_ view_;
};

std::unique_ptr<TerminalRecording> MakeRecording(SubcommandContext& context, const RecordRequest& request) {
    const SourceSettings& settings = request.sourceSettings;
    if (request.source == serialSource)
        return std::make_unique<HandRecording<CArdAcqView>>(context, request, RecordingType::arduino,
                                                            &CArdAcqView::OpenPort, settings.serial);
    if (request.source == soundSource)
        return std::make_unique<HandRecording<CMicAcqView>>(context, request, RecordingType::microphone,
                                                            &CMicAcqView::OpenDevice, MakeSoundSystem(),
                                                            settings.soundDevice);
    return std::make_unique<BoardRecording>(context, request);
}

class SourcesCommand : public Subcommand {
  public:
    std::string Name() const override { return "sources"; }
    std::string Summary() const override { return "boards, serial ports and sound inputs that can record"; }
    std::vector<std::string> Examples() const override { return {"kymora sources", "kymora sources --json"}; }
    std::vector<CommandOption> Options() override { return {{"--json", "", "as one JSON object", &json_}}; }
    void Run(SubcommandContext& context) override {
        auto sources = ListSources();
        const InputDevices others = ListInputDevices();
        sources.insert(sources.end(), others.sources.begin(), others.sources.end());
        if (json_)
            WriteSourcesJson(context.output, sources, others.missing);
        else
            context.output.Write(SourcesText(sources, others.missing));
    }

  private:
    bool json_ = false;
};

}  // namespace

std::unique_ptr<Board> NamedBoard(const std::string& source, const SourceSettings& settings) {
    if (auto board = OpenSource(source, settings)) return board;
    std::vector<std::string> names = {std::string(serialSource), std::string(soundSource)};
    for (const AcquisitionSource& one : ListSources()) names.push_back(one.name);
    throw CommandError(exitUsage,
                       fmt::format("There is no source \"{}\".{} kymora sources lists those there are.",
                                   source, DidYouMean(NearNames(source, names))));
}

void CheckKeysOfSource(const RecordRequest& request) {
    for (const std::string& key : request.keysSet)
        if (const auto source = SourceOfSetting(key); !source.empty() && request.source != source)
            throw CommandError(exitUsage, fmt::format("\"{}\" is a setting of --source {}.", key, source));
    if (const std::string fault = SourceSettingsFault(request.sourceSettings); !fault.empty())
        throw CommandError(exitUsage, fault);
}

void RunRecording(SubcommandContext& context, const RecordRequest& request,
                  const std::function<void(AcquisitionSettings&)>& change) {
    MakeRecording(context, request)->Run(change);
}

std::unique_ptr<Subcommand> MakeSourcesCommand() { return std::make_unique<SourcesCommand>(); }

}  // namespace kymora
