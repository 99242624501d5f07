#pragma once
// A job at work on a thread of its own, with its own look at the recording's file. All functions are for the
// thread that made it.

#include <atomic>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>

#include "document/data_doc.h"
#include "import/second_look.h"
#include "operations/operation_job.h"

namespace kymora {

inline constexpr const char* changedMeanwhileText =
    "The recording was changed while the operation ran. Nothing was written. Run it again.";

// What a job counts on: the samples, and the events of some channels. Tells whether they are still the same.
class JobBasis {
  public:
    JobBasis(const CDataDoc& doc, const OperationJob& job);
    bool Holds(const CDataDoc& doc) const;

  private:
    double sampleInterval_;
    std::vector<double> gains_;
    std::vector<RunList> runs_;
    std::vector<std::pair<int, CEventChan>> channels_;
};

class JobWorker {
  public:
    // Begins the work. The job outlives the worker. What it finds will be written, and the recording waits
    // for that, or is only shown, and nothing waits.
    enum class For { writing, showing };
    JobWorker(CDataDoc& doc, OperationJob& job, LookSource source, For purpose = For::writing);
    // Cancels, and waits until the thread has stopped.
    ~JobWorker();
    JobWorker(const JobWorker&) = delete;
    JobWorker& operator=(const JobWorker&) = delete;

    // How a second look at the document's samples is taken; nothing where there is none, and the job is to be
    // done here.
    static std::optional<LookSource> SourceOf(const CDataDoc& doc);

    struct State {
        std::string label;  // empty until the job has begun to count
        std::string part;   // which part is at hand, if it has several
        uint64_t done = 0, total = 0;
    };
    State Now() const;
    bool IsDone() const { return isDone_; }
    // Asks it to stop, which it does soon.
    void Cancel() { stop_ = true; }
    // The same, and no part of what it has found is wanted.
    void Discard() {
        isDiscarded_ = true;
        Cancel();
    }
    // Waits for the end, passes on to `context` what the job had to say, and throws what it threw, or
    // JobRefused where the recording is not what it was. Does the job here where the file could not be
    // opened again.
    void Take(JobContext& context);

  private:
    class Context;
    void Work();

    CDataDoc& doc_;  // not for the other thread
    FileSystem& files_;
    OperationJob& job_;
    LookSource source_;
    JobBasis basis_;
    const For purpose_;
    std::atomic<bool> stop_ = false, isDone_ = false;
    bool isDiscarded_ = false;
    bool isUnreadable_ = false;  // this and the next are read after the end
    std::exception_ptr failure_;

    mutable std::mutex mutex_;  // guards what follows
    State state_;
    std::vector<std::string> warnings_, log_;

    std::thread thread_;
};

}  // namespace kymora
