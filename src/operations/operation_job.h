#pragma once
// The middle of the three phases of an operation. A job is made on the interface thread with all that it
// needs of document and view, by value (CBatchBaseDlg::Prepare). It computes on a reader of samples and knows
// no document, no view and no host, so that any thread may do it. What it has found stays in it until the
// interface thread writes it into the recording (CBatchBaseDlg::Conclude).

#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "document/sample_reader.h"
#include "events/event.h"
#include "host/progress.h"

namespace kymora {

// Jobs that read no more are done at once, where the user waits; longer ones show progress.
inline constexpr int64_t samplesAtOnce = 5'000'000;

// Thrown by a job that cannot be done; what() is told to the user.
class JobRefused : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// What a job asks of whoever has it done.
class JobContext : public ProgressSource {
  public:
    // A word to the user on the way; the job goes on.
    virtual void Warn(std::string_view words) = 0;
    // Lines for the log, which nobody has to see.
    virtual void Log(std::string_view) {}
};

// Nobody hears what a job has to say.
class UnheardContext : public JobContext {
  public:
    std::unique_ptr<Progress> StartProgress(std::string_view, uint64_t) override {
        class None : public Progress {
            bool Update(uint64_t) override { return true; }
        };
        return std::make_unique<None>();
    }
    void Warn(std::string_view) override {}
};

class OperationJob {
  public:
    virtual ~OperationJob() = default;
    // How many samples it reads, about.
    virtual int64_t Samples() const { return 0; }
    // Throws FileError, JobRefused, or Cancelled.
    virtual void Compute(SampleReader&, JobContext&) {}

    // A cancel has ended it early, and what it has found until then is its result.
    bool isTruncated = false;

    // Event channels on which it counts, none of which may change meanwhile: those into which its result will
    // be written, and those from which it comes.
    std::vector<int> writes, reads;
};

// A stretch of samples; `end` is exclusive. Both are -1 without a document.
struct SampleSpan {
    int32_t first = -1;
    int32_t end = -1;
    int64_t Count() const { return int64_t{end} - first; }
    bool operator==(const SampleSpan&) const = default;
};

// ms
struct TimeSpan {
    double start = 0.0;
    double end = 0.0;
};

// A job that finds events.
class EventJob : public OperationJob {
  public:
    // What becomes of one channel.
    struct Found {
        int channel = 0, parentTrace = 0;
        std::vector<CEventKM> events;  // ascending, in the region
        std::string description;
    };
    std::string title;  // of the operation
    TimeSpan seen;      // of the recording when the run began
    SampleSpan region;
    bool keepsOutside = false;  // events outside the region stay
    int32_t method = 0;         // DetectionMethod
    std::vector<Found> found;   // all but the events are there from the beginning

    int64_t Samples() const override { return region.Count() * static_cast<int64_t>(found.size()); }
    // Of a look ahead, without what a run measures before it.
    virtual int64_t LookSamples() const { return EventJob::Samples(); }
};

}  // namespace kymora
