#pragma once
// A batch of one list over many files, with a file for each of several processes: a fault in one of them, or
// its end, costs its own file and no other.

#include <deque>
#include <functional>
#include <set>

#include "batch/chain_run.h"

namespace kymora {

// The subcommand that a worker is.
inline constexpr const char* batchWorkerWord = "batch-worker";

struct BatchWork {
    ChainSettings settings;
    std::string listName;  // for the records
    RunPlan plan;
    // Files of windows of the caller that hold nothing unsaved.
    std::set<std::filesystem::path> shown{};
    size_t jobs = 1;
    // The program that the workers are; empty: the work is done here, one file after the other.
    std::filesystem::path program{};
};

// What became of a file.
struct FileEnd {
    std::filesystem::path file{};
    bool isNamedTwice = false;
    Outcome outcome = Outcome::failed;
    bool wasDoneBefore = false;
    std::optional<std::filesystem::path> output{};
    std::string errors{};                 // ProcessErrors
    std::vector<std::string> messages{};  // the same, each for itself
    std::string record{};                 // of a report, an object of JSON
    std::string full{};                   // with what was found, where that was asked for
    std::set<std::string> importsUsed{};
    std::exception_ptr error{};  // what ended it, where the work was done here
};

// Each is called in the order in which it happens, with the number of the file in the plan.
class BatchListener {
  public:
    virtual ~BatchListener() = default;
    virtual void Started(size_t) {}
    // 0 to 1, and what is done at present.
    virtual void Moved(size_t, double, std::string_view) {}
    // A piece of the text of operations that list.
    virtual void TakeText(size_t, std::string_view) {}
    virtual void Finished(size_t index, const FileEnd& end) = 0;
    virtual void Log(std::string_view) {}
    // The batch is to end; what is at work is given up.
    virtual bool WasCancelled() = 0;
};

class BatchWorkers {
  public:
    BatchWorkers(BatchWork work, FileSystem& files, BatchListener& listener);
    ~BatchWorkers();  // ends what is at work
    BatchWorkers(const BatchWorkers&) = delete;
    BatchWorkers& operator=(const BatchWorkers&) = delete;

    // Goes on with what there is to do, and waits no longer than so many milliseconds for news. False when
    // all is done or was given up; files behind a cancel were not begun and are not told of.
    bool Step(int milliseconds);

  private:
    class Worker;
    class Here;
    void StepHere();
    void Hire();
    bool GiveWork(Worker& worker);
    void Attend(int milliseconds);
    void Take(Worker& worker, std::string_view line);
    void Bury(Worker& worker);
    FileEnd LostFile(size_t index, std::string why) const;
    std::string SetupLine() const;

    BatchWork work_;
    FileSystem& files_;
    BatchListener& listener_;
    std::deque<size_t> waiting_;
    std::set<size_t> handedOn_;  // whose worker ended before it began with them
    std::vector<std::unique_ptr<Worker>> workers_;
    bool isCancelled_ = false;
};

// The other side: takes the setup and then files from standard input, and tells what becomes of them on
// standard output, until there are no more. Answers the exit code.
int ServeBatch(const std::function<bool()>& wasInterrupted);

}  // namespace kymora
