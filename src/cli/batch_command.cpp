#include <fmt/format.h>

#include <algorithm>
#include <thread>

#include "batch/batch_report.h"
#include "batch/batch_workers.h"
#include "cli/command_context.h"
#include "cli/interrupt.h"
#include "cli/line_feeds.h"
#include "document/native_writer.h"
#include "document/temporary_file.h"
#include "operations/settings_json.h"

namespace kymora {
namespace {

constexpr int64_t mostJobs = 1024;
constexpr int pollMs = 200;
constexpr uint64_t stepsOfFile = 1000;

struct BatchOptions {
    std::vector<std::string> names;  // LIST, then the files
    std::optional<std::string> make, list, collect, report;
    std::optional<int64_t> jobs;
    bool writeNew = false, resume = false, json = false;
};

// Prints what comes of the files in the order in which they were named, however they end.
class BatchPrinter : public BatchListener {
  public:
    BatchPrinter(SubcommandContext& context, const BatchOptions& options, size_t files, bool hasSeveral)
        : context_(context),
          options_(options),
          lines_(context.output),
          files_(files),
          hasSeveral_(hasSeveral),
          progress_(context.host.StartProgress("Batch", files * stepsOfFile)) {}

    void Started(size_t) override { ShowProgress(); }
    void Moved(size_t index, double share, std::string_view) override {
        files_[index].share = share;
        ShowProgress();
    }
    void TakeText(size_t index, std::string_view text) override {
        if (!options_.json) files_[index].text += text;
    }
    void Finished(size_t index, const FileEnd& end) override {
        files_[index].end = end;
        files_[index].share = 1.0;
        if (end.outcome != Outcome::done) files_[index].text.clear();
        ShowProgress();
        for (; next_ < files_.size() && files_[next_].end; ++next_) Print(files_[next_]);
    }
    void Log(std::string_view text) override { context_.host.Log(text); }
    bool WasCancelled() override { return WasInterrupted(); }

    // After an interrupt there may be some behind one that was not begun, which have their records, too.
    void PrintRest(const std::vector<PlannedFile>& planned, const std::string& listName) {
        for (; next_ < files_.size(); ++next_) {
            File& file = files_[next_];
            if (!file.end) {
                const std::string record = ChainRecord(NotBegun(planned[next_]), listName, false);
                file.end = FileEnd{};
                file.end->outcome = Outcome::cancelled;
                file.end->record = file.end->full = record;
            }
            Print(file);
        }
        lines_.Finish();
    }
    std::vector<std::string> records;
    std::set<std::string> importsUsed;
    size_t failed = 0, leftOut = 0, before = 0;

  private:
    struct File {
        std::string text;
        double share = 0.0;
        std::optional<FileEnd> end;
    };

    void ShowProgress() {
        double sum = 0.0;
        for (const File& file : files_) sum += file.share;
        progress_->Update(static_cast<uint64_t>(sum * stepsOfFile));
    }

    void Print(File& file) {
        FileEnd& end = *file.end;
        records.push_back(end.record);
        importsUsed.merge(end.importsUsed);
        if (options_.json) lines_.Write(end.full + "\n");
        if (!file.text.empty()) PrintText(end, std::exchange(file.text, {}));
        if (!end.errors.empty()) TellUser(end.errors);
        failed += end.outcome == Outcome::failed;
        leftOut += end.outcome == Outcome::leftOut && !end.isNamedTwice;
        before += end.wasDoneBefore;
    }
    void PrintText(const FileEnd& end, const std::string& text) {
        if (StandardOutput::IsTerminal()) progress_.reset(), progress_ = TerminalHost::SilentProgress();
        if (hasSeveral_) lines_.Write((hasText_ ? "\r\n" : "") + end.file.string() + "\r\n");
        lines_.Write(text);
        hasText_ = true;
    }

    SubcommandContext& context_;
    const BatchOptions& options_;
    LineFeeds lines_;
    std::vector<File> files_;
    const bool hasSeveral_;
    std::unique_ptr<Progress> progress_;
    size_t next_ = 0;
    bool hasText_ = false;
};

class BatchCommand : public Subcommand {
  public:
    std::string Name() const override { return "batch"; }
    std::string Summary() const override { return "run a list of operations over recordings"; }
    std::vector<std::string> Examples() const override {
        return {"kymora batch chain.kymr-batch day1/*.edf --write-new --report day1.json",
                "kymora batch chain.kymr-batch day1/*.edf --write-new --resume",
                "kymora batch --make chain.kymr-batch smooth.kymr-cfg detect.kymr-cfg",
                "kymora batch --list chain.kymr-batch --json",
                "kymora batch --collect all.json day1.json day2.json"};
    }
    std::vector<CommandOption> Options() override {
        return {
            {"FILE", "",
             "the list of operations (.kymr-batch, or the .kymr-cfg of a single one), then the recordings; "
             "with --make the settings, with --collect the reports",
             &options_.names},
            {"--write-new", "",
             "keep the result of each FILE beside it as FILE_tr.kymr-dat, whatever stands there",
             &options_.writeNew},
            {"--jobs", "N", "files that are worked on at once (as many as there are processors)",
             &options_.jobs},
            {"--resume", "",
             "leave out what the journal beside the list tells was done and is unchanged since",
             &options_.resume},
            {"--report", "OUT.json", "write what became of each FILE", &options_.report},
            {"--json", "", "print an object for each FILE, with all that its operations have found",
             &options_.json},
            {"--make", "LIST", "write a list of saved settings (.kymr-cfg) in the order given",
             &options_.make},
            {"--list", "LIST", "print the operations of a list with their settings", &options_.list},
            {"--collect", "OUT.json", "make one report of several", &options_.collect}};
    }
    void Run(SubcommandContext& context) override {
        if (int{options_.make.has_value()} + int{options_.list.has_value()} +
                int{options_.collect.has_value()} >
            1)
            throw CommandError(exitUsage, "--make, --list and --collect exclude each other.");
        if (options_.make) return Make(context);
        if (options_.list) return List(context);
        if (options_.collect) return Collect(context);
        RunBatch(context);
    }

  private:
    // --- lists ---

    CMultiBatch Load(SubcommandContext& context, const std::string& path) const {
        try {
            context.files.Open(path, OpenMode::readOnly);
        } catch (const FileError& error) {
            throw CommandError(exitCannotOpen, error.what());
        }
        CMultiBatch list;
        if (!LoadMultiBatch(context.session, list, path)) throw CommandError(exitFailed, "");
        return list;
    }

    void Make(SubcommandContext& context) const {
        if (options_.names.empty())
            throw CommandError(exitUsage, "--make needs the settings: FILE.kymr-cfg.");
        if (FoldedExtension(*options_.make) != std::string(".") + multiBatchExtension)
            throw CommandError(exitUsage, "LIST takes the extension .kymr-batch.");
        CMultiBatch list;
        for (const std::string& name : options_.names) {
            CMultiBatch part = Load(context, name);
            while (part.Count() > 0) list.Add(part.Take(0));
        }
        context.MayReplace(*options_.make);
        if (!SaveMultiBatch(context.session, list, *options_.make)) throw CommandError(exitFailed, "");
    }

    void List(SubcommandContext& context) const {
        const CMultiBatch list = Load(context, *options_.list);
        if (!options_.json) return ListText(context, list);
        JsonWriter json(context.output);
        json.BeginObject();
        json.Member("list", *options_.list);
        json.Key("operations");
        json.BeginArray();
        for (size_t i = 0; i < list.Count(); ++i) {
            json.BeginObject(JsonWriter::Form::oneLine);
            json.Member("operation", list.Item(i).ClassName());
            json.Member("title", list.Name(i));
            json.Key("settings");
            WriteSettings(json, list.Item(i));
            json.EndObject();
        }
        json.EndArray();
        json.EndObject();
        json.Finish();
    }

    static void ListText(SubcommandContext& context, const CMultiBatch& list) {
        LineFeeds lines(context.output);
        for (size_t i = 0; i < list.Count(); ++i) {
            std::string text;
            list.Item(i).GetParamText(text);
            while (text.ends_with('\n') || text.ends_with('\r')) text.pop_back();
            lines.Write(fmt::format("{}{}. {} ({})\r\n{}\r\n", i == 0 ? "" : "\r\n", i + 1, list.Name(i),
                                    list.Item(i).ClassName(), text));
        }
        lines.Finish();
    }

    void Collect(SubcommandContext& context) const {
        if (options_.names.empty())
            throw CommandError(exitUsage, "--collect needs the reports: REPORT.json.");
        std::vector<std::string> records;
        for (const std::string& name : options_.names) {
            try {
                for (std::string& record : ReadReport(context.files, name))
                    records.push_back(std::move(record));
            } catch (const std::exception& error) {
                throw CommandError(exitCannotOpen, error.what());
            }
        }
        CheckReport(context, *options_.collect);
        AskForOthers(context, records);
        WriteReport(context.files, *options_.collect, records);
    }

    // Where the names of OUT and of a report were left out or mixed up, records would be lost.
    void AskForOthers(SubcommandContext& context, const std::vector<std::string>& records) const {
        if (!context.files.Stamp(*options_.collect)) return;
        for (const std::string& record : ReadReport(context.files, *options_.collect))
            if (std::ranges::find(records, record) == records.end())
                return context.MayReplace(*options_.collect);
    }

    // A report of an earlier run is replaced; anything else may be worth more.
    void CheckReport(SubcommandContext& context, const std::string& path) const {
        if (FoldedExtension(path) != ".json")
            throw CommandError(exitUsage, "A report takes the extension .json.");
        for (const std::string& name : options_.names)
            if (context.IsOneFile(name, path))
                throw CommandError(exitUsage, path + " is named and read here.");
        try {
            TemporaryFile(context.files, path);
        } catch (const FileError& error) {
            throw CommandError(exitFailed, error.what());
        }
        if (!context.files.Stamp(path)) return;
        try {
            ReadReport(context.files, path);
        } catch (const std::exception&) {
            context.MayReplace(path);
        }
    }

    // --- the run ---

    void RunBatch(SubcommandContext& context) {
        if (options_.jobs && (*options_.jobs < 1 || *options_.jobs > mostJobs))
            throw CommandError(exitUsage, fmt::format("--jobs takes a number from 1 to {}.", mostJobs));
        if (options_.names.empty()) throw CommandError(exitUsage, "The list of operations is required.");
        const std::string listName = options_.names.front();
        CMultiBatch list = Load(context, listName);
        if (options_.names.size() < 2) throw CommandError(exitUsage, "FILE is required behind the list.");
        if (list.Count() == 0) throw CommandError(exitFailed, emptyToDoText);
        list.m_bWriteNewFile = options_.writeNew;
        if (options_.report) CheckReport(context, *options_.report);

        BatchJournal journal(listName);
        const bool changes = list.WhatItAffects() != Affects::nothing;
        ChainSettings settings{list, context.session, context.imports};
        settings.resumes = options_.resume;
        settings.journal = changes ? &journal : nullptr;
        settings.hasResults = options_.json;
        BatchWork work{settings, listName};
        work.plan = PlanChain(context.files, list, {options_.names.begin() + 1, options_.names.end()});
        if (const std::string fault = list.SeveralFilesFault(); !fault.empty() && work.plan.CountRun() > 1)
            throw CommandError(exitUsage, fault);
        AskToReplace(context, work.plan, journal);
        work.jobs = HowMany(work.plan.CountRun());
        if (work.jobs > 1) work.program = context.session.program;
        const size_t run = work.plan.CountRun(), named = work.plan.CountNamed();

        const std::vector<PlannedFile> planned = work.plan.files;
        BatchPrinter printer(context, options_, planned.size(), planned.size() > 1);
        BatchWorkers workers(std::move(work), context.files, printer);
        while (workers.Step(pollMs)) {
        }
        printer.PrintRest(planned, listName);
        if (options_.report) WriteReport(context.files, *options_.report, printer.records);
        if (WasInterrupted()) throw Cancelled();
        if (printer.before < run) TellOfImports(context, printer);  // else none was read
        if (printer.before > 0)
            context.host.Notice(
                "BatchResumed", Host::usualTitle,
                fmt::format("{} of {} files were done before and are unchanged.", printer.before, named));
        if (printer.failed > 0)
            throw CommandError(exitFailed, fmt::format("{} of {} files failed.", printer.failed, run));
        if (printer.leftOut > 0)
            throw CommandError(exitFailed,
                               fmt::format("{} of {} files were left out.", printer.leftOut, named));
    }

    size_t HowMany(size_t files) const {
        const size_t wanted = options_.jobs ? static_cast<size_t>(*options_.jobs)
                                            : std::max(1u, std::thread::hardware_concurrency());
        return std::max<size_t>(1, std::min(wanted, files));
    }

    // Of foreign files in place, whose native files stand there already.
    void AskToReplace(SubcommandContext& context, RunPlan& plan, const BatchJournal& journal) const {
        if (plan.keep != Keep::inPlace) return;
        for (PlannedFile& planned : plan.files) {
            if (!planned.IsRun() || planned.IsInPlace() || !context.files.Stamp(planned.target)) continue;
            if (options_.resume && journal.IsResult(context.files, planned.target)) continue;
            if (context.host.Confirm("The file " + planned.target.string() + " exists. Replace it?"))
                continue;
            planned.why = PlannedFile::Why::mayNotReplace;
            RunInItsPlace(plan, planned);
        }
    }

    // The native file that was left out for the result runs itself when there is none.
    static void RunInItsPlace(RunPlan& plan, const PlannedFile& refused) {
        for (PlannedFile& planned : plan.files)
            if (planned.why == PlannedFile::Why::sameTarget && planned.IsInPlace() &&
                planned.target == refused.target)
                planned.why = PlannedFile::Why::isRun;
    }

    static void TellOfImports(SubcommandContext& context, const BatchPrinter& printer) {
        for (const auto& [key, value] : context.imports)
            if (!printer.importsUsed.contains(key))
                TellUser("--import " + key + ": no reader of these files takes it.");
    }

    BatchOptions options_;
};

class BatchWorkerCommand : public Subcommand {
  public:
    std::string Name() const override { return batchWorkerWord; }
    std::string Summary() const override { return "work for a batch that is under way"; }
    bool IsHidden() const override { return true; }
    std::vector<std::string> Examples() const override { return {}; }
    std::vector<CommandOption> Options() override { return {}; }
    void Run(SubcommandContext&) override { ServeBatch(WasInterrupted); }
};

}  // namespace

std::unique_ptr<Subcommand> MakeBatchCommand() { return std::make_unique<BatchCommand>(); }
std::unique_ptr<Subcommand> MakeBatchWorkerCommand() { return std::make_unique<BatchWorkerCommand>(); }

}  // namespace kymora
