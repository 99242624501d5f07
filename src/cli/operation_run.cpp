#include "cli/operation_run.h"

#include <fmt/format.h>

#include <map>
#include <set>

#include "batch/file_runner.h"
#include "batch/run_record.h"
#include "cli/command_context.h"
#include "cli/interrupt.h"
#include "cli/line_feeds.h"
#include "cli/operation_settings.h"
#include "document/blank_doc.h"
#include "document/native_writer.h"
#include "operations/config_file.h"
#include "results/archive_output.h"
#include "results/result_output.h"

namespace kymora {
namespace {

uint64_t HashOfTimes(const CDataDoc& doc, int channel) {
    uint64_t hash = 0xcbf29ce484222325;
    for (const CEventKM& event : doc.eventChannels[static_cast<size_t>(channel)].Events())
        for (const int32_t position : {event.onPosition, event.offPosition})
            hash = (hash ^ static_cast<uint32_t>(position)) * 0x100000001b3;
    return hash;
}

[[noreturn]] void Wrong(const std::string& text) { throw CommandError(exitUsage, text); }

// One run of an operation over the files of a request.
class OperationRun : public RunCaller {
  public:
    OperationRun(SubcommandContext& context, const Operation& operation, const RunOptions& request,
                 OutputSink& results)
        : context_(context),
          operation_(operation),
          request_(request),
          name_(operation.className),
          lines_(results) {}

    void Run() {
        tried_ = operation_.make();
        affects_ = tried_->WhatItAffects();
        if (affects_ == Affects::newRecording) return RunNewRecording();
        if (tried_->NeedsRecording() && request_.files.empty()) Wrong("FILE is required.");
        CheckWays();
        TakeSettings(*tried_);
        affects_ = tried_->WhatItAffects();  // a setting may ask for a report alone
        CheckKeeping();
        CheckGraph();
        Plan(tried_->NeedsRecording() ? request_.files : Tables(*tried_));
        if (affects_ == Affects::nothing && request_.output)
            RunIntoFile(*request_.output);
        else
            RunAll();
        lines_.Finish();
    }

  private:
    // --- before a recording is opened ---

    void CheckWays() const {
        if (int{request_.inPlace} + int{request_.writeNew} + int{request_.output.has_value()} > 1)
            Wrong("-o, --in-place and --write-new exclude each other.");
    }

    // Tries the settings on a block without a recording.
    void TakeSettings(CBatchBaseDlg& block) {
        settings_ = ParseSettings(request_.settings);
        if (request_.config) {
            if (!LoadConfig(context_.session, block, *request_.config))
                throw CommandError(exitCannotOpen, "");
            record_ = block.Settings();
        }
        ApplySettings(block, settings_);
    }

    void CheckKeeping() const {
        const bool isKept = request_.inPlace || request_.writeNew || request_.output;
        const bool changes = affects_ != Affects::nothing;
        if (changes && !isKept)
            Wrong(name_ + " changes the recording: say -o OUT, --in-place or --write-new.");
        if (!changes && (request_.inPlace || request_.writeNew))
            Wrong(name_ + " changes no recording: its text goes to standard output or to -o OUT.");
        if (!request_.output) return;
        const std::string extension = FoldedExtension(*request_.output);
        const std::string made = tried_->ResultExtension();
        if (made != ".kymr-dat" && changes && extension != made)
            Wrong("OUT takes the extension " + made + ".");
        if (made != ".kymr-dat" && changes) return;
        const bool isRecording = extension == ".kymr-dat" || extension == ".flt";
        if (affects_ == Affects::traces && extension == ".flt")
            Wrong(name_ + " writes .kymr-dat; \"kymora convert\" makes the legacy form of it.");
        if (changes && !isRecording) Wrong("OUT takes the extensions .kymr-dat and .flt (legacy).");
        if (!changes && isRecording) Wrong(name_ + " writes a text; OUT cannot be a recording.");
    }

    void CheckGraph() const {
        if (request_.graph.IsAsked() && !WritesGraph())
            Wrong("--pane, --width, --height, --dpi and --no-grid are for a graph: -o OUT with .png, .svg or "
                  ".pdf.");
        if (!WritesGraph()) return;
        if (!tried_->GetGraph()) Wrong(name_ + " draws no graph; OUT takes .txt or .csv.");
        GraphOptionsOf(request_.graph, *request_.output);
    }
    bool WritesGraph() const {
        return affects_ == Affects::nothing && request_.output && IsPictureName(*request_.output);
    }

    Keep HowKept() const {
        if (request_.output) return Keep::out;
        if (request_.writeNew) return Keep::writeNew;
        return request_.inPlace ? Keep::inPlace : Keep::nowhere;
    }

    void Plan(const std::vector<std::string>& files) {
        RunRequest request{affects_, HowKept(), {files.begin(), files.end()}};
        if (request_.output) request.out = *request_.output;
        if (request_.config) request.alsoRead.emplace_back(*request_.config);
        request.extension = tried_->ResultExtension();
        request.usesSideCars = request.refusesNamed = request.runsFirst = true;
        plan_ = PlanRun(context_.files, request);
        for (const PlannedFile& planned : plan_.files)
            if (planned.why == PlannedFile::Why::namedTwice)
                TellUser(planned.file.string() + " is named twice; it is run once.");
        RefuseFault();
        if (const std::string fault = tried_->SeveralFilesFault(); !fault.empty() && plan_.CountRun() > 1)
            Wrong(fault);
        if (WritesGraph() && plan_.CountNamed() > 1) Wrong("-o takes the graph of one FILE.");
        if (request_.output) context_.MayReplace(*request_.output);
        for (const PlannedFile& planned : plan_.files)
            if (planned.why == PlannedFile::Why::sameTarget) TellUser(LeftOutText(planned));
    }

    void RefuseFault() const {
        switch (plan_.fault) {
        case RunPlan::Fault::none:
            return;
        case RunPlan::Fault::severalToOne:
            Wrong("-o takes the result of one FILE; for several there is --write-new.");
        case RunPlan::Fault::outIsRead:
            Wrong("OUT is " + plan_.at.string() + ", which is read here.");
        case RunPlan::Fault::replacesNamed:
            Wrong(plan_.at.string() + " would be replaced by a result and is also named itself.");
        }
    }

    static std::string LeftOutText(const PlannedFile& planned) {
        return fmt::format("{} is left out: {} goes to the same {}.", planned.file.string(),
                           planned.other.string(), planned.target.filename().string());
    }

    // --- files that are no recordings ---

    void RunNewRecording() {
        TakeSettings(*tried_);
        const std::vector<std::string> sources = Tables(*tried_);
        if (sources.size() > 1) Wrong(name_ + " makes one recording, of one FILE.");
        if (HowKept() != Keep::out || request_.inPlace || request_.writeNew)
            Wrong(name_ + " makes a new recording: say -o OUT.");
        if (FoldedExtension(*request_.output) != ".kymr-dat") Wrong("OUT takes the extension .kymr-dat.");
        Plan(sources);
        TakeTable(sources.front());
        RunAll();
        lines_.Finish();
    }

    // What the operation reads: FILE, or the setting `file`. A FILE goes over that of a configuration. A name
    // that is empty stands for settings that hold it all.
    std::vector<std::string> Tables(CBatchBaseDlg& block) const {
        ParamList params = block.Params();
        const Field& file = *params.Find("file");
        const auto names = [&](const Setting& setting) {
            return file.IsCalled(setting.key) && !setting.value.empty();
        };
        if (!request_.files.empty() && std::ranges::any_of(settings_, names))
            Wrong(name_ + " needs no recording: it reads FILE, or the one of --set file=FILE.");
        if (!request_.files.empty()) return request_.files;
        if (file.ValueText().empty() && block.NeedsTable())
            Wrong(name_ + " needs the file that it reads: FILE, or --set file=FILE.");
        return {file.ValueText()};
    }

    // Makes a file that can be opened the setting `file` of the blocks that are made from here on.
    void TakeTable(const std::string& file) {
        ApplySettings(*tried_, {{"file", file}});
        try {
            context_.files.Open(file, OpenMode::readOnly);
        } catch (const FileError& error) {
            throw CommandError(exitCannotOpen, error.what());
        }
        context_.CheckImports();
        std::erase_if(settings_, [](const Setting& setting) { return setting.key == "file"; });
        settings_.push_back({"file", file});
    }

    // What an operation works on that needs no recording.
    CDataDoc* OpenEmpty(const std::string& table) {
        if (!table.empty()) TakeTable(table);
        doc_ = std::make_unique<BlankDoc>(context_.session);
        return doc_.get();
    }

    // --- the run ---

    void RunAll() {
        if (RunFiles(plan_, *this).wasCancelled) throw Cancelled();
        const size_t named = plan_.CountNamed(), run = plan_.CountRun();
        if (failed_ > 0) throw CommandError(exitFailed, fmt::format("{} of {} files failed.", failed_, run));
        if (run < named)
            throw CommandError(exitFailed, fmt::format("{} of {} files were left out.", named - run, named));
    }

    // OUT is written also when some of several files failed, and not when there is nothing to write.
    void RunIntoFile(const std::filesystem::path& out) {
        std::optional<CommandError> failure;
        WriteFileAtomically(context_.files, out, [&](CArchive& archive) {
            ArchiveOutput file(archive);
            file_ = &file;
            try {
                RunAll();
            } catch (const CommandError& error) {
                if (done_ == 0) throw;
                failure = error;
            }
            file_ = nullptr;
        });
        if (failure) throw *failure;
    }

    bool BeginFile(size_t) override { return !WasInterrupted(); }
    bool WasCancelled() const override { return WasInterrupted(); }
    void CheckTarget(const PlannedFile& planned) override {
        if (request_.inPlace && !planned.IsInPlace()) context_.MayReplace(planned.target);
    }
    CDataDoc* Open(const PlannedFile& planned) override {
        if (!tried_->NeedsRecording()) return OpenEmpty(planned.file);
        doc_ = context_.Open(planned.file, request_.inPlace ? OpenFor::editing : OpenFor::reading);
        return doc_.get();
    }
    void Close(const std::filesystem::path&) override { doc_.reset(); }
    Session& GetSession() override { return context_.session; }
    std::vector<std::string> TakeMessages() override { return context_.host.TakeMessages(); }

    std::unique_ptr<CBatchBaseDlg> MakeBlock(CDataDoc* doc, RunMessages& messages) override {
        // The same draws for a file, whatever files are named beside it.
        context_.session.Seed(context_.session.seed);
        auto block = operation_.make();
        if (!record_.empty()) {
            // As in a batch: settings that were saved stay as they are, and none is moved to where it fits
            // this recording without anybody seeing it.
            block->SendMessagesTo(&messages);
            block->TakeSettings(record_);
            block->SettingsWereChosen();
        }
        block->CheckChangeDoc(doc);
        block->SendMessagesTo(nullptr);
        ApplySettings(*block, settings_);
        if (!doc) return block;
        held_.clear();
        for (int channel = 0; channel < maxEventChannels; ++channel)
            if (const int count = doc->GetNumEvents(channel); count > 0)
                held_[channel] = {count, HashOfTimes(*doc, channel)};
        for (const std::string& text : SettingsWithoutEffect(*block, settings_))
            if (told_.insert(text).second) TellUser(text);
        return block;
    }

    // --- what became of a file ---

    void TakeResult(CBatchBaseDlg& block, const PlannedFile& planned) override {
        const bool hasSeveral = plan_.CountRun() > 1;
        const std::string file = planned.file.string();
        // A bar would mix with what is printed on one terminal.
        if (!request_.output && StandardOutput::IsTerminal()) context_.host.HideProgress();
        if (WritesGraph()) {
            WriteGraphPicture(*file_, *block.GetGraph(), request_.graph, *request_.output);
        } else if (file_ && FoldedExtension(*request_.output) == ".csv") {
            WriteTables(block.Results(), hasSeveral ? file : std::string());
        } else if (block.HasResultText() && (file_ || !request_.json)) {
            OutputSink& text = file_ ? *file_ : lines_;
            if (hasSeveral) text.Write((done_ == 0 ? "" : "\r\n") + file + "\r\n");
            block.WriteResult([&](std::string_view piece) {
                text.Write(piece);
                return !WasInterrupted();
            });
        }
        if (WasInterrupted()) throw Cancelled();
    }

    // Rows go on below the headings of the file before where these are theirs, too: names and units.
    void WriteTables(const std::vector<Result>& results, const std::string& file) {
        const bool isOther = results.size() != 1 || results.front().columns != columns_;
        if (isOther && done_ > 0) file_->Write("\r\n");
        WriteCsv(*file_, results, {file, done_ == 0 || isOther}, [] { return !WasInterrupted(); });
        columns_ = results.empty() ? std::vector<ResultColumn>() : results.front().columns;
    }

    void Finished(FileReport& report) override {
        if (report.outcome == Outcome::cancelled || report.planned.why == PlannedFile::Why::namedTwice)
            return;
        if (report.outcome == Outcome::leftOut)
            report.messages.push_back({RunMessage::From::run, LeftOutText(report.planned), {}});
        TellOfReplaced(report);
        const auto goesOn = [] { return !WasInterrupted(); };
        if (request_.json && !WriteRunRecord(lines_, report, *tried_, goesOn))
            report.outcome = Outcome::failed;
        if (report.IsDone()) ++done_;
        if (report.outcome == Outcome::failed) Fail(report);
    }

    // A channel that nobody named may have held something.
    void TellOfReplaced(const FileReport& report) {
        if (report.block && !report.block->ReplacesEvents()) return;
        for (const FileReport::Channel& channel : report.channels) {
            const auto held = held_.find(channel.number);
            if (held == held_.end() ||
                held->second.second == HashOfTimes(*report.block->Document(), channel.number))
                continue;
            TellUser(fmt::format("{}: the events of channel {} were replaced: {} before, {} now.",
                                 report.planned.file.string(), ChannelDisplayName(channel.number),
                                 held->second.first, channel.count));
        }
    }

    // The failure of the only file has its own exit code. What the hosts were told is on the screen.
    void Fail(const FileReport& report) {
        if (plan_.CountNamed() == 1) {
            if (report.error) std::rethrow_exception(report.error);
            throw CommandError(exitFailed, "");
        }
        for (const RunMessage& message : report.messages)
            if (message.from == RunMessage::From::run) TellUser(message.text);
        TellUser(report.planned.file.string() + " failed.");
        ++failed_;
    }

    SubcommandContext& context_;
    const Operation& operation_;
    const RunOptions& request_;
    const std::string name_;
    Affects affects_ = Affects::nothing;
    LineFeeds lines_;             // to standard output
    OutputSink* file_ = nullptr;  // OUT of an operation that changes nothing
    std::vector<Setting> settings_;
    std::vector<std::byte> record_;  // of the configuration file; empty without one
    RunPlan plan_;
    std::unique_ptr<CBatchBaseDlg> tried_;  // has the settings, and no recording
    std::unique_ptr<CDataDoc> doc_;
    std::map<int, std::pair<int, uint64_t>> held_;  // events of its channels before the run
    std::set<std::string> told_;
    std::vector<ResultColumn> columns_;  // of the last table in OUT
    size_t done_ = 0, failed_ = 0;
};

}  // namespace

void RunOperation(SubcommandContext& context, const Operation& operation, const RunOptions& request,
                  OutputSink& results) {
    OperationRun(context, operation, request, results).Run();
}

void SaveSettings(SubcommandContext& context, const Operation& operation, const RunOptions& request,
                  const std::string& path) {
    if (!request.files.empty() || request.output || request.inPlace || request.writeNew || request.json)
        Wrong("--save-config writes settings and runs nothing: it takes no FILE, -o, --in-place, --write-new "
              "or --json.");
    if (FoldedExtension(path) != std::string(".") + configExtension)
        Wrong("--save-config takes the extension .kymr-cfg.");
    const auto block = operation.make();
    if (request.config && !LoadConfig(context.session, *block, *request.config))
        throw CommandError(exitCannotOpen, "");
    ApplySettings(*block, ParseSettings(request.settings));
    context.MayReplace(path);
    if (!SaveConfig(context.session, *block, path)) throw CommandError(exitFailed, "");
}

}  // namespace kymora
