#include "batch/chain_run.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>

#include "archive/archive.h"
#include "batch/run_record.h"
#include "document/side_car.h"
#include "document/staged_files.h"
#include "host/memory_file_system.h"
#include "host/sha256.h"
#include "operations/settings_json.h"
#include "results/result_output.h"

namespace kymora {

namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
    return std::chrono::duration<double>(Clock::now() - start).count();
}

class KeptText : public OutputSink {
  public:
    void Write(std::string_view piece) override { text += piece; }
    std::string text;
};

// Without the line end.
std::string JsonText(const std::function<void(JsonWriter&)>& write) {
    KeptText sink;
    JsonWriter json(sink);
    write(json);
    json.Finish();
    while (sink.text.ends_with('\n')) sink.text.pop_back();
    return std::move(sink.text);
}

// The host of a recording of a batch. Nobody is asked: what a reader or a save has to say is kept for the
// report, and questions take the answer that changes nothing.
class ChainHost : public Host {
  public:
    ChainHost(ChainWatcher& watcher, size_t steps) : watcher_(watcher), steps_(steps) {}

    bool BeginStep(size_t step, std::string_view title) {
        step_ = step;
        title_ = title;
        return Update(0.0, {});
    }
    bool WasCancelled() const { return isCancelled_; }
    std::vector<std::string> TakeMessages() { return std::exchange(messages_, {}); }

    void Message(std::string_view text, std::string_view) override { messages_.emplace_back(text); }
    bool Confirm(std::string_view text, std::string_view title) override {
        Message(text, title);
        return false;
    }
    bool Notice(std::string_view, std::string_view, std::string_view text) override {
        Log(std::string(text) + "\n");
        return true;
    }
    std::optional<std::filesystem::path> ChooseSaveFile(const FileRequest&) override { return std::nullopt; }
    bool AcceptFileDetails(const FileDetails&, bool&) override { return true; }
    std::unique_ptr<Progress> StartProgress(std::string_view, uint64_t total) override {
        return std::make_unique<Part>(*this, total);
    }
    void Log(std::string_view text) override { watcher_.Log(text); }

  private:
    // A long operation, as its share of the whole.
    class Part : public Progress {
      public:
        Part(ChainHost& host, uint64_t total) : host_(host), total_(std::max<uint64_t>(total, 1)) {}
        bool Update(uint64_t done) override {
            return host_.Update(static_cast<double>(std::min(done, total_)) / static_cast<double>(total_),
                                part_);
        }
        void SetPart(std::string_view part) override { part_ = part; }

      private:
        ChainHost& host_;
        uint64_t total_;
        std::string part_;
    };

    bool Update(double share, std::string_view part) {
        const double all = (static_cast<double>(step_) + share) / static_cast<double>(steps_);
        if (!watcher_.Update(all, LabelWithPart(title_, part))) isCancelled_ = true;
        return !isCancelled_;
    }

    ChainWatcher& watcher_;
    const size_t steps_;
    size_t step_ = 0;
    std::string title_;
    bool isCancelled_ = false;
    std::vector<std::string> messages_;
};

// One operation of the list over the file as the ones before it have left it.
class StepRun : public RunCaller {
  public:
    StepRun(const ChainSettings& settings, CBatchBaseDlg& item, Session& session, ChainHost& host,
            ChainWatcher& watcher, bool isFirst)
        : settings_(settings),
          item_(item),
          session_(session),
          host_(host),
          watcher_(watcher),
          isFirst_(isFirst) {}

    ChainStep Run(const RunPlan& plan) {
        step_.report = std::move(RunFiles(plan, *this).files.front());
        step_.report.block = nullptr;
        return std::move(step_);
    }

    std::set<std::string> importsUsed;

    bool BeginFile(size_t) override { return true; }
    bool WasCancelled() const override { return host_.WasCancelled(); }
    void CheckFile(const PlannedFile& planned) override {
        if (!session_.files.Stamp(planned.file)) throw std::runtime_error("There is no such file.");
    }
    CDataDoc* Open(const PlannedFile& planned) override {
        const bool isChanged = item_.WhatItAffects() != Affects::nothing && planned.IsInPlace();
        OpenRequest request(isChanged ? OpenFor::editing : OpenFor::reading, OpenTalk::logs);
        if (isFirst_) request.settings = settings_.imports;
        request.callerTells = true;
        Opened opened = OpenRecording(session_, planned.file, request);
        if (isFirst_) importsUsed = opened.opening.settingsUsed;
        if (!opened.document) throw std::runtime_error(opened.opening.fault);
        doc_ = std::move(opened.document);
        return doc_.get();
    }
    void Close(const std::filesystem::path&) override { doc_.reset(); }
    std::unique_ptr<CBatchBaseDlg> MakeBlock(CDataDoc* doc, RunMessages& messages) override {
        session_.Seed(settings_.like.seed);
        auto block = FindOperation(item_.ClassName())->make();
        block->SendMessagesTo(&messages);
        block->TakeSettings(item_.Settings());
        block->SettingsWereChosen();
        block->CheckChangeDoc(doc);
        return block;
    }
    Session& GetSession() override { return session_; }
    std::vector<std::string> TakeMessages() override { return host_.TakeMessages(); }
    void TakeResult(CBatchBaseDlg& block, const PlannedFile&) override {
        if (block.WhatItAffects() != Affects::nothing || !block.HasResultText()) return;
        block.WriteResult([&](std::string_view piece) { return watcher_.TakeText(piece); });
    }
    void Finished(FileReport& report) override {
        step_.record = JsonText([&](JsonWriter& json) { WriteStep(json, report); });
        if (settings_.hasResults)
            step_.results = JsonText([&](JsonWriter& json) {
                const bool hasFound = report.IsDone() && report.block;
                WriteJson(json, hasFound ? report.block->Results() : std::vector<Result>(),
                          [this] { return !host_.WasCancelled(); });
            });
    }

  private:
    void WriteStep(JsonWriter& json, FileReport& report) {
        json.BeginObject(JsonWriter::Form::oneLine);
        json.Member("operation", item_.ClassName());
        json.Key("settings");
        WriteUsedSettings(json, report.block ? *report.block : item_);
        json.Member("seconds", report.seconds);
        WriteChannels(json, report);
        WriteMessages(json, report.messages);
        json.EndObject();
    }

    const ChainSettings& settings_;
    CBatchBaseDlg& item_;
    Session& session_;
    ChainHost& host_;
    ChainWatcher& watcher_;
    const bool isFirst_;
    std::unique_ptr<CDataDoc> doc_;
    ChainStep step_;
};

class ChainRun {
  public:
    ChainRun(const ChainSettings& settings, const PlannedFile& planned, FileSystem& files,
             ChainWatcher& watcher, bool isShown)
        : settings_(settings),
          planned_(planned),
          files_(files),
          staged_(files, planned.target, isShown),
          watcher_(watcher),
          host_(watcher, settings.list.Count()),
          session_(host_, staged_) {
        report_.planned = planned;
        const Session& like = settings.like;
        session_.options = like.options;
        session_.textFile = like.textFile;
        session_.binaryFile = like.binaryFile;
        session_.decimalSeparator = like.decimalSeparator;
        session_.now = like.now;
    }

    ChainReport Run() {
        const auto start = Clock::now();
        try {
            if (planned_.IsRun())
                Work();
            else
                LeaveOut();
        } catch (const Cancelled&) {
            report_.outcome = Outcome::cancelled;
        } catch (const std::exception& error) {
            report_.error = std::current_exception();
            report_.outcome = Outcome::failed;
            Say(error.what());
        }
        report_.seconds = SecondsSince(start);
        return std::move(report_);
    }

  private:
    void LeaveOut() {
        report_.outcome = Outcome::leftOut;
        Say(LeftOutText(planned_));
    }

    void Work() {
        if (!files_.Stamp(planned_.file)) throw std::runtime_error("There is no such file.");
        const bool isKept = settings_.list.WhatItAffects() != Affects::nothing;
        if (isKept && settings_.resumes && settings_.journal && WasDoneBefore()) return;
        if (isKept && settings_.journal) sourceSum_ = SumOfSource();
        for (size_t i = 0; i < settings_.list.Count(); ++i)
            if (!RunStep(i)) return;
        if (staged_.HasTarget()) Keep();
        report_.outcome = Outcome::done;
    }

    bool WasDoneBefore() {
        const JournalEntry* entry =
            settings_.journal->FindDone(files_, WorkOf(settings_), planned_.target, planned_.IsInPlace(),
                                        [this] { return SumOfSource(); });
        if (!entry) return false;
        report_.wasDoneBefore = true;
        report_.outcome = Outcome::done;
        report_.output = planned_.target;
        report_.sha256 = entry->result;
        for (const std::string& record : entry->operations) report_.steps.push_back({{}, record, {}});
        return true;
    }

    // Of the file, and of what the user has beside a foreign one.
    std::string SumOfSource() {
        std::string sum = Sha256Of(*files_.Open(planned_.file, OpenMode::readOnly));
        if (const auto beside = FindSideCar(files_, planned_.file); beside && *beside != planned_.file)
            sum += "+" + Sha256Of(*files_.Open(*beside, OpenMode::readOnly));
        return sum;
    }

    // The first one that changes something makes the target, the later ones change it.
    RunPlan PlanStep(CBatchBaseDlg& item) const {
        const Affects affects = item.WhatItAffects();
        const bool isMade = staged_.HasTarget();
        const bool inPlace = isMade || planned_.IsInPlace();
        RunPlan plan{affects, kymora::Keep::nowhere};
        if (affects != Affects::nothing) plan.keep = inPlace ? kymora::Keep::inPlace : KeepOfFirst();
        const std::filesystem::path& file = inPlace ? staged_.Target() : planned_.file;
        plan.files = {{file, affects == Affects::nothing ? file : staged_.Target()}};
        return plan;
    }
    kymora::Keep KeepOfFirst() const {
        return settings_.list.m_bWriteNewFile ? kymora::Keep::writeNew : kymora::Keep::inPlace;
    }

    bool RunStep(size_t i) {
        CBatchBaseDlg& item = settings_.list.Item(i);
        if (!host_.BeginStep(i, item.Title())) throw Cancelled();
        StepRun run(settings_, item, session_, host_, watcher_, !staged_.HasTarget());
        ChainStep step = run.Run(PlanStep(item));
        report_.importsUsed.merge(run.importsUsed);
        report_.messages.insert(report_.messages.end(), step.report.messages.begin(),
                                step.report.messages.end());
        report_.outcome = step.report.outcome;
        report_.error = step.report.error;
        const bool isDone = step.report.IsDone();
        report_.steps.push_back(std::move(step));
        return isDone;
    }

    void Keep() {
        report_.sha256 = Sha256Of(staged_.Staged());
        if (settings_.journal) {
            const auto fault = settings_.journal->Note(
                {WorkOf(settings_), sourceSum_, planned_.target, report_.sha256, RecordsOfSteps()},
                planned_.IsInPlace());
            if (fault) Say(*fault);
        }
        if (host_.WasCancelled()) throw Cancelled();
        staged_.Commit();
        report_.output = planned_.target;
    }

    std::vector<std::string> RecordsOfSteps() const {
        std::vector<std::string> records;
        for (const ChainStep& step : report_.steps) records.push_back(step.record);
        return records;
    }

    void Say(std::string text) { report_.messages.push_back({RunMessage::From::run, std::move(text), {}}); }

    const ChainSettings& settings_;
    const PlannedFile planned_;
    FileSystem& files_;
    StagedFiles staged_;
    ChainWatcher& watcher_;
    ChainHost host_;
    Session session_;
    ChainReport report_;
    std::string sourceSum_;
};

// Of a file that an operation reads beside the recording; empty where it reads none.
std::string SumOfReadFile(CBatchBaseDlg& item, FileSystem& files) {
    ParamList params = item.Params();
    const Field* file = params.Find("file");
    const std::string name = file && file->kind == FieldKind::text ? file->ValueText() : std::string();
    return name.empty() || !files.Stamp(name) ? "" : Sha256Of(*files.Open(name, OpenMode::readOnly));
}

const char* OutcomeName(const ChainReport& report) {
    switch (report.outcome) {
    case Outcome::done:
        return report.wasDoneBefore ? "done before" : "done";
    case Outcome::leftOut:
        return "left out";
    case Outcome::cancelled:
        return "cancelled";
    case Outcome::failed:
        break;
    }
    return "failed";
}

// The text with its lines one below the other.
std::string OneBelowOther(std::string_view text) {
    std::string lines;
    for (const char c : text) {
        if (c == '\r') continue;
        lines += c == '\n' ? std::string("\r\n\t") : std::string(1, c);
    }
    while (lines.ends_with("\r\n\t")) lines.resize(lines.size() - 3);
    return lines;
}

}  // namespace

RunPlan PlanChain(FileSystem& files, const CMultiBatch& list, std::vector<std::filesystem::path> names) {
    const Affects affects = list.WhatItAffects();
    RunRequest request{affects, Keep::nowhere, std::move(names)};
    if (affects != Affects::nothing) request.keep = list.m_bWriteNewFile ? Keep::writeNew : Keep::inPlace;
    request.runsFirst = true;
    return PlanRun(files, request);
}

std::string WorkOf(const ChainSettings& settings) {
    Sha256 sum;
    for (size_t i = 0; i < settings.list.Count(); ++i) {
        sum.Add(settings.list.Item(i).Settings());
        sum.Add(SumOfReadFile(settings.list.Item(i), settings.like.files));
    }
    sum.Add(fmt::format("{} {}\n", settings.list.m_bWriteNewFile != 0, settings.like.seed));
    for (const auto& [key, value] : settings.imports) sum.Add(key + "=" + value + "\n");
    return sum.Hex();
}

ChainReport RunChain(const ChainSettings& settings, const PlannedFile& planned, FileSystem& files,
                     ChainWatcher& watcher, bool isShown) {
    return ChainRun(settings, planned, files, watcher, isShown).Run();
}

ChainReport NotBegun(const PlannedFile& planned) {
    ChainReport report;
    report.planned = planned;
    report.outcome = Outcome::cancelled;
    report.messages.push_back({RunMessage::From::run, "Not begun.", {}});
    return report;
}

std::string LeftOutText(const PlannedFile& planned) {
    const std::string target = planned.target.filename().string();
    if (planned.why == PlannedFile::Why::namedTwice) return "Named twice; it is run once.";
    if (planned.why == PlannedFile::Why::replacesNamed)
        return fmt::format("Left out: its result would replace {}, which is to be processed itself.", target);
    if (planned.why == PlannedFile::Why::mayNotReplace)
        return fmt::format("Left out: {} exists and was not to be replaced.", target);
    if (planned.why == PlannedFile::Why::unsaved)
        return "This file has unsaved changes in its window. Save it or close it, and run it again; it was "
               "left as it is.";
    if (planned.why == PlannedFile::Why::changedOutside)
        return "This file was changed by another program since it was opened. It was left as it is.";
    if (planned.why == PlannedFile::Why::targetShown)
        return fmt::format("Left out: {} is open in a window. Close it, and run this file again.", target);
    if (planned.why == PlannedFile::Why::asksHow)
        return "Left out: a text does not tell how it is laid out, and nobody can be asked. Open it and save "
               "it in kymr-dat format.";
    return fmt::format("Left out: {} goes to the same file {}.", planned.other.filename().string(), target);
}

std::string ChainRecord(const ChainReport& report, const std::string& listName, bool hasResults) {
    return JsonText([&](JsonWriter& json) {
        json.BeginObject(JsonWriter::Form::oneLine);
        json.Member("list", listName);
        json.Member("file", report.planned.file.string());
        json.Member("outcome", OutcomeName(report));
        json.Key("output");
        report.output ? json.Value(report.output->string()) : json.Null();
        json.Key("sha256");
        report.output ? json.Value(report.sha256) : json.Null();
        json.Member("seconds", report.seconds);
        json.Key("operations");
        json.BeginArray();
        for (const ChainStep& step : report.steps) {
            std::string record = step.record;
            if (hasResults && !step.results.empty())
                record.replace(record.size() - 1, 1, ", \"results\": " + step.results + "}");
            json.Raw(record);
        }
        json.EndArray();
        WriteMessages(json, report.messages);
        json.EndObject();
    });
}

// What an operation or a host has told in several pieces stands below one name.
std::string ProcessErrors(const ChainReport& report) {
    using From = RunMessage::From;
    const std::string name = report.planned.file.string();
    std::string lines;
    const RunMessage* before = nullptr;
    for (const RunMessage& message : report.messages) {
        const bool isPiece = message.from == From::operation || message.from == From::host;
        const bool goesOn = isPiece && before && before->from == message.from;
        lines += goesOn ? "\t" : name + "\r\n\t";
        lines += message.from == From::refusal ? message.title + ": " + OneBelowOther(message.text)
                                               : OneBelowOther(message.text);
        lines += "\r\n";
        before = &message;
    }
    return lines;
}

}  // namespace kymora
