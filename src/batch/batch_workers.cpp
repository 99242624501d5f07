#include "batch/batch_workers.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include "batch/hex_text.h"
#include "host/disk_file_system.h"
#include "host/memory_file_system.h"
#include "host/quiet_host.h"

extern char** environ;

namespace kymora {

namespace {

using nlohmann::json;

constexpr double leastShareStep = 0.002;
constexpr size_t bytesAtOnce = 65536;
constexpr int mostReads = 64;  // in a step

std::string Line(const json& message) {
    return message.dump(-1, ' ', false, json::error_handler_t::replace) + "\n";
}

bool WriteAll(int handle, std::string_view text) {
    while (!text.empty()) {
        const ssize_t n = ::write(handle, text.data(), text.size());
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        text.remove_prefix(static_cast<size_t>(n));
    }
    return true;
}

FileEnd EndOf(const ChainReport& report, const std::string& listName, bool hasResults) {
    FileEnd end{report.planned.file, report.planned.why == PlannedFile::Why::namedTwice,
                report.outcome,      report.wasDoneBefore,
                report.output,       ProcessErrors(report)};
    for (const RunMessage& message : report.messages) end.messages.push_back(message.text);
    end.record = ChainRecord(report, listName, false);
    if (hasResults) end.full = ChainRecord(report, listName, true);
    end.importsUsed = report.importsUsed;
    end.error = report.error;
    return end;
}

json ToJson(const FileEnd& end) {
    return {{"file", ToHex(end.file.string())},
            {"twice", end.isNamedTwice},
            {"outcome", static_cast<int>(end.outcome)},
            {"before", end.wasDoneBefore},
            {"output", end.output ? json(ToHex(end.output->string())) : json()},
            {"errors", end.errors},
            {"messages", end.messages},
            {"record", end.record},
            {"full", end.full},
            {"imports", end.importsUsed}};
}

FileEnd FromJson(const json& text) {
    FileEnd end;
    end.file = FromHex(text.at("file").get<std::string>());
    end.isNamedTwice = text.at("twice");
    end.outcome = static_cast<Outcome>(text.at("outcome").get<int>());
    end.wasDoneBefore = text.at("before");
    if (text.at("output").is_string()) end.output = FromHex(text.at("output").get<std::string>());
    end.errors = text.at("errors");
    end.messages = text.at("messages").get<std::vector<std::string>>();
    end.record = text.at("record");
    end.full = text.at("full");
    end.importsUsed = text.at("imports").get<std::set<std::string>>();
    return end;
}

json ToJson(const BinaryFileDefaults& defaults) {
    return {{"traces", defaults.binaryTraces},
            {"interval", defaults.binaryInterval},
            {"type", defaults.binaryType},
            {"used", defaults.binaryUseDefault}};
}

json ToJson(const TextFileDefaults& defaults) {
    return {{"skipRows", defaults.skipRows},       {"isStated", defaults.isStated},
            {"skipColumns", defaults.skipColumns}, {"labelRow", defaults.labelRow},
            {"interval", defaults.sampleInterval}, {"inColumns", defaults.dataInColumns}};
}

TextFileDefaults TextOf(const json& text) {
    return {text.at("skipRows"), text.at("isStated"), text.at("skipColumns"),
            text.at("labelRow"), text.at("interval"), text.at("inColumns")};
}

BinaryFileDefaults BinaryOf(const json& text) {
    return {text.at("traces"), text.at("interval"), text.at("type"), text.at("used")};
}

PlannedFile PlannedOf(const json& text) {
    return {FromHex(text.at("file").get<std::string>()), FromHex(text.at("target").get<std::string>()),
            static_cast<PlannedFile::Why>(text.at("why").get<int>()),
            FromHex(text.at("other").get<std::string>())};
}

std::string HowItEnded(int status) {
    if (WIFSIGNALED(status)) return fmt::format("signal {}", WTERMSIG(status));
    return fmt::format("exit code {}", WIFEXITED(status) ? WEXITSTATUS(status) : -1);
}

std::string EndedText(const std::string& how) {
    return fmt::format("The process that worked on this file has ended before its time ({}). The file is as "
                       "it was.",
                       how);
}

}  // namespace

// --- those who ask for the work ---

// One end of a pipe, closed at the latest with the object.
class WorkerPipe {
  public:
    WorkerPipe() = default;
    ~WorkerPipe() { Close(); }
    WorkerPipe(const WorkerPipe&) = delete;
    WorkerPipe& operator=(const WorkerPipe&) = delete;

    int Handle() const { return handle_; }
    void Close() {
        if (handle_ >= 0) ::close(std::exchange(handle_, -1));
    }
    static void MakePipe(WorkerPipe& readEnd, WorkerPipe& writeEnd) {
        std::array<int, 2> ends{};
        if (::pipe2(ends.data(), O_CLOEXEC) != 0) throw FileError(std::strerror(errno), errno);
        readEnd.handle_ = ends[0];
        writeEnd.handle_ = ends[1];
    }

  private:
    int handle_ = -1;
};

// A process with a pipe to it and one from it.
class BatchWorkers::Worker {
  public:
    explicit Worker(const std::filesystem::path& program) {
        WorkerPipe in, out;  // the worker's
        WorkerPipe::MakePipe(in, to_);
        WorkerPipe::MakePipe(from_, out);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, in.Handle(), STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&actions, out.Handle(), STDOUT_FILENO);
        std::string name = program.string(), command = batchWorkerWord;
        std::array<char*, 3> arguments{name.data(), command.data(), nullptr};
        const int error =
            ::posix_spawn(&process_, name.c_str(), &actions, nullptr, arguments.data(), environ);
        posix_spawn_file_actions_destroy(&actions);
        if (error != 0) throw FileError(fmt::format("{}: {}", name, std::strerror(error)), error);
    }
    ~Worker() {
        to_.Close();
        from_.Close();
        if (process_ > 0) ::kill(process_, SIGTERM);
        Wait();
    }
    Worker(const Worker&) = delete;
    Worker& operator=(const Worker&) = delete;

    bool Send(std::string_view line) { return WriteAll(to_.Handle(), line); }
    // There is no more work.
    void Close() { to_.Close(); }
    void Interrupt() const { ::kill(process_, SIGTERM); }
    int Source() const { return from_.Handle(); }
    bool HasNews() const {
        pollfd source{from_.Handle(), POLLIN, 0};
        return ::poll(&source, 1, 0) > 0;
    }
    // Takes what is there; false at the end.
    bool Read() {
        std::array<char, bytesAtOnce> bytes;
        const ssize_t n = ::read(from_.Handle(), bytes.data(), bytes.size());
        if (n > 0) text_.append(bytes.data(), static_cast<size_t>(n));
        return n > 0 || (n < 0 && errno == EINTR);
    }
    std::optional<std::string> NextLine() {
        const size_t end = text_.find('\n', searched_);
        if (end == std::string::npos) {
            searched_ = text_.size();
            return {};
        }
        std::string line = text_.substr(0, end);
        text_.erase(0, end + 1);
        searched_ = 0;
        return line;
    }
    int Wait() {
        int status = 0;
        while (process_ > 0 && ::waitpid(process_, &status, 0) < 0 && errno == EINTR) {
        }
        process_ = -1;
        return status;
    }

    std::optional<size_t> file;  // at work
    bool hasBegun = false;       // with it

  private:
    pid_t process_ = -1;
    WorkerPipe to_, from_;
    std::string text_;
    size_t searched_ = 0;
};

// Watches a file that is done in this process.
class BatchWorkers::Here : public ChainWatcher {
  public:
    Here(BatchListener& listener, size_t index) : listener_(listener), index_(index) {}
    bool Update(double share, std::string_view part) override {
        listener_.Moved(index_, share, part);
        return !listener_.WasCancelled();
    }
    void Log(std::string_view text) override { listener_.Log(text); }
    bool TakeText(std::string_view text) override {
        listener_.TakeText(index_, text);
        return !listener_.WasCancelled();
    }

  private:
    BatchListener& listener_;
    size_t index_;
};

BatchWorkers::BatchWorkers(BatchWork work, FileSystem& files, BatchListener& listener)
    : work_(std::move(work)), files_(files), listener_(listener) {
    for (size_t i = 0; i < work_.plan.files.size(); ++i) waiting_.push_back(i);
    // One that ended is noticed by what its pipe answers.
    if (!work_.program.empty()) ::signal(SIGPIPE, SIG_IGN);
}

BatchWorkers::~BatchWorkers() = default;

bool BatchWorkers::Step(int milliseconds) {
    if (!isCancelled_ && listener_.WasCancelled()) {
        isCancelled_ = true;
        waiting_.clear();
        for (const auto& worker : workers_) worker->Interrupt();
    }
    if (work_.program.empty()) {
        StepHere();
        return !waiting_.empty();
    }
    Hire();
    if (workers_.empty()) return false;
    Attend(milliseconds);
    return !workers_.empty() || !waiting_.empty();
}

void BatchWorkers::StepHere() {
    if (waiting_.empty()) return;
    const size_t index = waiting_.front();
    waiting_.pop_front();
    listener_.Started(index);
    Here watcher(listener_, index);
    const PlannedFile& planned = work_.plan.files[index];
    const ChainReport report =
        RunChain(work_.settings, planned, files_, watcher, work_.shown.contains(planned.file));
    listener_.Finished(index, EndOf(report, work_.listName, work_.settings.hasResults));
}

std::string BatchWorkers::SetupLine() const {
    const ChainSettings& settings = work_.settings;
    return Line({{"list", ToHex(work_.settings.list.Record())},
                 {"name", ToHex(work_.listName)},
                 {"writeNew", settings.list.m_bWriteNewFile != 0},
                 {"seed", settings.like.seed},
                 {"decimal", std::string(1, settings.like.decimalSeparator)},
                 {"bootstrap", settings.like.options.bootstrapReps},
                 {"clusterCommand", ToHex(settings.like.options.clusterCommand)},
                 {"binary", ToJson(settings.like.binaryFile)},
                 {"text", ToJson(settings.like.textFile)},
                 {"palette", settings.like.options.palette},
                 {"focus", settings.like.options.expandContractFocus},
                 {"channels", settings.like.options.eventChannelMode},
                 {"imports", settings.imports},
                 {"resumes", settings.resumes},
                 {"journal", settings.journal ? json(ToHex(settings.journal->List().string())) : json()},
                 {"results", settings.hasResults}});
}

void BatchWorkers::Hire() {
    while (workers_.size() < std::min(work_.jobs, workers_.size() + waiting_.size())) {
        std::unique_ptr<Worker> worker;
        try {
            worker = std::make_unique<Worker>(work_.program);
        } catch (const FileError& error) {
            // The system has no room for so many; those that are there do the work.
            if (!workers_.empty()) return static_cast<void>(work_.jobs = workers_.size());
            const size_t index = waiting_.front();
            waiting_.pop_front();
            listener_.Started(index);
            listener_.Finished(
                index,
                LostFile(index, fmt::format("No process could be started for this file: {}", error.what())));
            continue;
        }
        worker->Send(SetupLine());
        GiveWork(*worker);
        workers_.push_back(std::move(worker));
    }
}

bool BatchWorkers::GiveWork(Worker& worker) {
    if (waiting_.empty()) {
        worker.Close();
        return false;
    }
    const size_t index = waiting_.front();
    waiting_.pop_front();
    const PlannedFile& planned = work_.plan.files[index];
    worker.file = index;
    worker.hasBegun = false;
    listener_.Started(index);
    // One that has ended meanwhile is noticed when it is read.
    worker.Send(Line({{"file", ToHex(planned.file.string())},
                      {"target", ToHex(planned.target.string())},
                      {"why", static_cast<int>(planned.why)},
                      {"other", ToHex(planned.other.string())},
                      {"shown", work_.shown.contains(planned.file)}}));
    return true;
}

void BatchWorkers::Attend(int milliseconds) {
    std::vector<pollfd> sources;
    for (const auto& worker : workers_) sources.push_back({worker->Source(), POLLIN, 0});
    if (::poll(sources.data(), sources.size(), milliseconds) <= 0) return;
    for (size_t i = sources.size(); i-- > 0;) {
        if (sources[i].revents == 0) continue;
        Worker& worker = *workers_[i];
        bool goesOn = true;
        for (int reads = 0; goesOn && reads < mostReads && (reads == 0 || worker.HasNews()); ++reads) {
            goesOn = worker.Read();
            while (const auto line = worker.NextLine()) Take(worker, *line);
        }
        if (goesOn) continue;
        Bury(worker);
        workers_.erase(workers_.begin() + static_cast<std::ptrdiff_t>(i));
    }
}

void BatchWorkers::Take(Worker& worker, std::string_view line) {
    const json message = json::parse(line, nullptr, false);
    if (!message.is_object() || !worker.file) return;
    const size_t index = *worker.file;
    worker.hasBegun = true;
    if (message.contains("share"))
        listener_.Moved(index, message["share"], message["part"].get<std::string>());
    if (message.contains("text")) listener_.TakeText(index, FromHex(message["text"].get<std::string>()));
    if (message.contains("log")) listener_.Log(message["log"].get<std::string>());
    if (!message.contains("end")) return;
    worker.file.reset();
    FileEnd end = FromJson(message["end"]);
    // Somebody else told it to end; another one takes its place.
    const bool wasStopped = end.outcome == Outcome::cancelled && !isCancelled_ && !listener_.WasCancelled();
    if (wasStopped) end = LostFile(index, EndedText("it was told to end"));
    listener_.Finished(index, end);
    if (wasStopped)
        worker.Close();
    else
        GiveWork(worker);
}

FileEnd BatchWorkers::LostFile(size_t index, std::string why) const {
    ChainReport report;
    report.planned = work_.plan.files[index];
    report.outcome = isCancelled_ ? Outcome::cancelled : Outcome::failed;
    if (!isCancelled_) report.messages.push_back({RunMessage::From::run, std::move(why), {}});
    return EndOf(report, work_.listName, work_.settings.hasResults);
}

void BatchWorkers::Bury(Worker& worker) {
    const int status = worker.Wait();
    if (!worker.file) return;
    // It was told to end after the file before; another one takes this.
    const bool isUntouched = !worker.hasBegun && WIFEXITED(status) && WEXITSTATUS(status) == 0;
    if (isUntouched && !isCancelled_ && handedOn_.insert(*worker.file).second)
        waiting_.push_front(*worker.file);
    else
        listener_.Finished(*worker.file, LostFile(*worker.file, EndedText(HowItEnded(status))));
}

// --- those who do it ---

namespace {

// Tells on standard output what a file's run is at.
class Serving : public ChainWatcher {
  public:
    explicit Serving(const std::function<bool()>& wasInterrupted) : wasInterrupted_(wasInterrupted) {}

    void Begin() { told_ = -1.0, part_.clear(); }
    bool Update(double share, std::string_view part) override {
        if (share < told_ + leastShareStep && part == part_) return GoesOn();
        told_ = share;
        part_ = part;
        return Tell({{"share", share}, {"part", part_}});
    }
    void Log(std::string_view text) override { Tell({{"log", text}}); }
    bool TakeText(std::string_view text) override {
        return Tell({{"text", ToHex(std::as_bytes(std::span(text)))}});
    }
    // False also when nobody hears it any more.
    bool Tell(const json& message) {
        isHeard_ = isHeard_ && WriteAll(STDOUT_FILENO, Line(message));
        return GoesOn();
    }
    bool GoesOn() const { return isHeard_ && !wasInterrupted_(); }

  private:
    const std::function<bool()>& wasInterrupted_;
    double told_ = -1.0;
    std::string part_;
    bool isHeard_ = true;
};

class LineReader {
  public:
    explicit LineReader(const std::function<bool()>& wasInterrupted) : wasInterrupted_(wasInterrupted) {}
    std::optional<std::string> Next() {
        for (;;) {
            if (const size_t end = text_.find('\n'); end != std::string::npos) {
                std::string line = text_.substr(0, end);
                text_.erase(0, end + 1);
                return line;
            }
            std::array<char, bytesAtOnce> bytes;
            const ssize_t n = wasInterrupted_() ? 0 : ::read(STDIN_FILENO, bytes.data(), bytes.size());
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) return {};
            text_.append(bytes.data(), static_cast<size_t>(n));
        }
    }

  private:
    const std::function<bool()>& wasInterrupted_;
    std::string text_;
};

std::vector<std::byte> BytesOf(const std::string& text) {
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

}  // namespace

int ServeBatch(const std::function<bool()>& wasInterrupted) {
    LineReader lines(wasInterrupted);
    const auto first = lines.Next();
    if (!first) return 0;
    const json setup = json::parse(*first);
    QuietHost host;
    DiskFileSystem files;
    Session session(host, files);
    session.Seed(setup.at("seed"));
    session.decimalSeparator = setup.at("decimal").get<std::string>().at(0);
    session.options.bootstrapReps = setup.at("bootstrap");
    session.options.clusterCommand = FromHex(setup.at("clusterCommand").get<std::string>());
    session.binaryFile = BinaryOf(setup.at("binary"));
    session.textFile = TextOf(setup.at("text"));
    session.options.palette = setup.at("palette");
    session.options.expandContractFocus = setup.at("focus");
    session.options.eventChannelMode = setup.at("channels");
    CMultiBatch list;
    MemoryFile record;
    record.Bytes() = BytesOf(FromHex(setup.at("list").get<std::string>()));
    CArchive archive(record, CArchive::Mode::load);
    list.Serialize(archive);
    list.m_bWriteNewFile = setup.at("writeNew").get<bool>();
    std::optional<BatchJournal> journal;
    if (setup.at("journal").is_string()) journal.emplace(FromHex(setup.at("journal").get<std::string>()));
    ChainSettings settings{list, session};
    settings.imports = setup.at("imports").get<ImportSettings>();
    settings.resumes = setup.at("resumes");
    settings.journal = journal ? &*journal : nullptr;
    settings.hasResults = setup.at("results");
    const std::string listName = FromHex(setup.at("name").get<std::string>());
    Serving watcher(wasInterrupted);
    while (const auto line = lines.Next()) {
        const json request = json::parse(*line);
        watcher.Begin();
        watcher.Update(0.0, {});
        const ChainReport report =
            RunChain(settings, PlannedOf(request), files, watcher, request.at("shown"));
        watcher.Tell({{"end", ToJson(EndOf(report, listName, settings.hasResults))}});
        if (!watcher.GoesOn()) break;
    }
    return 0;
}

}  // namespace kymora
