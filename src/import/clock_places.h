#pragma once
// Where events that state their times lie among samples whose blocks state theirs, by one clock that may have
// been set back in between.

#include <cstddef>
#include <cstdint>
#include <vector>

namespace kymora {

// Samples that follow one another.
struct ClockStretch {
    int64_t time = 0;      // tick of the first sample
    int64_t position = 0;  // of it, in the recording
    int64_t samples = 0;
    double samplesPerTick = 1.0;
};

class ClockPlaces {
  public:
    // How far a list of events has been followed.
    struct Follower {
        size_t epoch = 0;
        bool hasLast = false;
        double last = 0.0;
    };

    ClockPlaces() = default;
    explicit ClockPlaces(double ticksPerSecond) : ticksPerSecond_(ticksPerSecond) {}

    // In the order of the samples. A clock that has been set back begins a new epoch.
    void Add(const ClockStretch& stretch, bool isSetBack);
    // In the recording, of what happened at `tick`: events come in the order of their file, in which a time
    // that falls tells of the next epoch. -1 before the first sample.
    int64_t Place(double tick, Follower& follower) const;
    // By how many ticks a time may lie before the end of what precedes it without the clock being set back.
    double Slack() const;

  private:
    struct Epoch {
        size_t begin = 0, end = 0;  // indexes of stretches
        double firstTick = 0.0, endTick = 0.0;
    };
    double SlackOf(const Epoch& epoch) const;

    double ticksPerSecond_ = 1.0;
    std::vector<ClockStretch> stretches_;
    std::vector<Epoch> epochs_;
};

}  // namespace kymora
