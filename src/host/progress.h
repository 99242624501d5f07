#pragma once
// How far a long operation has come, and whether it is to stop.

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

namespace kymora {

// Progress of one long operation. Destroying it takes the progress box or bar away.
class Progress {
  public:
    virtual ~Progress() = default;
    // Reports that `done` of the total are done; false asks the operation to stop.
    virtual bool Update(uint64_t done) = 0;
    // Which part of the work is at hand, told behind its label: "trace 2 of 16". Empty at first.
    virtual void SetPart(std::string_view) {}
};

// "trace 2 of 16"; empty where there is one alone.
inline std::string PartText(std::string_view kind, size_t number, size_t count) {
    if (count <= 1) return {};
    return std::string(kind) + " " + std::to_string(number) + " of " + std::to_string(count);
}

// The label of a progress with the part behind it.
inline std::string LabelWithPart(std::string_view label, std::string_view part) {
    return std::string(label) + (part.empty() || label.empty() ? "" : ", ") + std::string(part);
}

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
    // The `number`-th of `count` traces is at hand.
    void AtTrace(size_t number, size_t count) {
        if (progress_) progress_->SetPart(PartText("trace", number, count));
    }
    // For what asks by itself; null where nothing is shown.
    Progress* Get() const { return progress_.get(); }

  private:
    std::unique_ptr<Progress> progress_;
    uint64_t done_ = 0;
};

}  // namespace kymora
