#pragma once
// How far a long operation has come, and whether it is to stop.

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string_view>

namespace kymora {

// Progress of one long operation. Destroying it takes the progress box or bar away.
class Progress {
  public:
    virtual ~Progress() = default;
    // Reports that `done` of the total are done; false asks the operation to stop.
    virtual bool Update(uint64_t done) = 0;
};

// Whoever shows progress: a host, or what watches a job on another thread.
class ProgressSource {
  public:
    virtual ~ProgressSource() = default;
    // Never null. `total` is the number of steps that Update counts.
    virtual std::unique_ptr<Progress> StartProgress(std::string_view label, uint64_t total) = 0;
};

// Thrown by long work that the user cancelled.
class Cancelled : public std::runtime_error {
  public:
    Cancelled() : std::runtime_error("Cancelled.") {}
};

// The progress of one piece of work, from its making to its end.
class ProgressScope {
  public:
    // Work of no more than `without` steps shows none and is never asked to stop.
    ProgressScope(ProgressSource& source, std::string_view label, uint64_t total, uint64_t without = 0)
        : progress_(without != 0 && total <= without ? nullptr : source.StartProgress(label, total)) {}

    // So many are done; false asks to stop.
    bool GoesOn(uint64_t done) { return !progress_ || progress_->Update(done); }
    // The same for work that ends by an exception: so many are done, or so many more. Both throw Cancelled.
    void At(uint64_t done) {
        done_ = done;
        if (!GoesOn(done)) throw Cancelled();
    }
    void Step(uint64_t more) { At(done_ + more); }
    // For what asks by itself; null where nothing is shown.
    Progress* Get() const { return progress_.get(); }

  private:
    std::unique_ptr<Progress> progress_;
    uint64_t done_ = 0;
};

}  // namespace kymora
