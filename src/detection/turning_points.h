#pragma once
// The turning points of runs of samples: peaks and troughs in turn. A plateau turns at its first sample; the
// ends of a run are no turning points.

#include <cstdint>
#include <span>
#include <vector>

namespace kymora {

struct TurningPoint {
    int32_t at = 0;  // position, samples
    float value = 0.0f;
    bool operator==(const TurningPoint&) const = default;
};

// Those of one run of neighbouring finite samples.
struct TurningRun {
    std::vector<TurningPoint> points;
    bool startsWithPeak = false;
    // The ends of the run. Their values are those of the samples there, or of lower ones beyond the outermost
    // peaks that merging has taken away.
    TurningPoint first, last;

    bool IsPeak(size_t i) const { return (i % 2 == 0) == startsWithPeak; }
    // How many peaks have a trough on both sides.
    size_t HillCount() const;
    bool operator==(const TurningRun&) const = default;
};

// Finds them in samples that arrive block by block, whatever the blocks.
class TurningPointSearch {
  public:
    // `reverses`: with the signs of all values reversed, so that troughs are peaks.
    explicit TurningPointSearch(bool reverses) : reverses_(reverses) {}

    // The run ends, and another begins at this position with the next sample. About so many samples are to
    // come, for which memory is laid out.
    void StartAt(int64_t position, int64_t count = 0);
    // The next samples. One that is no finite number ends a run, and the next finite one begins another.
    void Take(std::span<const float> samples);
    // Ends the last run. Runs without any hill are left out.
    std::vector<TurningRun> Finish();

  private:
    void TakeFinite(std::span<const float> samples);
    void TakeMasked(const float* samples, size_t count);
    void TakeTurns(uint64_t rises, uint64_t steps, const float* samples);
    void TakeStep(size_t index, bool isUp, const float* samples);
    // Of samples that begin at position_.
    TurningPoint PointAt(size_t index, const float* samples) const;
    void MakeRoom(size_t count);
    void EndRun();
    float Value(float sample) const { return reverses_ ? -sample : sample; }

    bool reverses_;
    int64_t position_ = 0;  // of the next sample
    int64_t end_ = 0;       // where they are likely to end
    bool isOpen_ = false;
    float before_ = 0.0f;  // the last sample of the open run, as it was read
    enum class Way { none, up, down } way_ = Way::none;
    TurningPoint step_;  // the last sample that differs from the one before it
    TurningRun run_;
    std::vector<TurningRun> runs_;
};

// Takes away, smallest height first, the pair of the lower of two neighbouring peaks and the trough between
// them whose height is below `height`, until there is none; of equal heights the earliest. What one pair
// leaves behind does not depend on when others go, so the list is gone through once: O(n).
//
// Towards the ends of a run there is no neighbour. The first peak keeps the lowest trough that lay before it,
// and the last one that behind it (of equals the last), unless it is lower than `height` above that: then it
// has none on that side.
void MergeFoothills(TurningRun& run, double height);

}  // namespace kymora
