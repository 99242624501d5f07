#pragma once
// The time model of a trace: runs of valid samples and of gap in turn, entry 0 being a valid run even if it
// is 0. A sample position counts gap samples too; a stored index counts only the valid ones.

#include <cstdint>
#include <span>
#include <vector>

namespace kymora {

class RunList {
  public:
    RunList() : RunList(std::vector<uint32_t>{0}) {}
    // An empty list becomes a single run of 0.
    explicit RunList(std::vector<uint32_t> runs);

    std::span<const uint32_t> Runs() const { return runs_; }
    int Size() const { return static_cast<int>(runs_.size()); }
    uint32_t operator[](int i) const { return runs_[static_cast<size_t>(i)]; }
    bool operator==(const RunList& other) const { return runs_ == other.runs_; }

    int64_t Length() const { return length_; }       // samples, gaps included
    int64_t StoredCount() const { return stored_; }  // valid samples
    int NumValidBlocks() const { return (Size() + 1) / 2; }

    // Adds samples to entry 0, as a growing recording does.
    void SetFirstRun(uint32_t samples);

    struct Place {
        int run = 0;               // index of the run that holds the position; Size() past the end
        int64_t runStart = 0;      // position of its first sample
        int64_t storedBefore = 0;  // valid samples in all earlier runs
        bool valid = false;        // the run is a valid one
    };
    // The run that holds a position >= 0; runs of 0 hold none. Logarithmic but for at most 64 steps.
    Place Find(int64_t position) const;
    // The place of run i, for 0 <= i <= Size().
    Place PlaceOf(int i) const;
    // Valid samples in [from, to), both held to the list's extent.
    int64_t CountValid(int64_t from, int64_t to) const;

  private:
    struct Checkpoint {
        int64_t start = 0;
        int64_t stored = 0;
    };
    static constexpr int stride = 64;

    void Index();
    int64_t ValidBefore(int64_t position) const;

    std::vector<uint32_t> runs_;
    std::vector<Checkpoint> checkpoints_;  // of run 0, 64, 128 ...
    int64_t length_ = 0;
    int64_t stored_ = 0;
};

// Makes a list of runs: `count` samples go behind those of `runs`, which begins as {0}. Neighbours of one
// kind become one run, and none of 0 is made behind the first.
void AddRun(std::vector<uint32_t>& runs, bool isValid, int64_t count);

}  // namespace kymora
