#pragma once
// Spikes above a level while a recording is made: for the eye, nothing of it is kept.

#include <cstdint>
#include <deque>
#include <optional>
#include <span>

#include "acquisition/scan_format.h"

namespace kymora {

struct LiveSpikeSettings {
    size_t trace = 0;         // of those that are recorded, from 0
    double level = 0.5;       // V, behind the amplifier's gain
    bool isFalling = false;   // the level is reached from above
    double deadTimeMs = 1.0;  // after a spike, in which there is no other
};

class LiveSpikes {
  public:
    // Forgets what was found; scans count from 0 again.
    void Begin(const ScanFormat& format, double sampleIntervalMs);
    // Counts anew from here on.
    void Set(const LiveSpikeSettings& settings);
    const LiveSpikeSettings& Settings() const { return settings_; }

    void Add(std::span<const std::byte> scans);
    // A spike that begins in what passes is not found.
    void Pass(int64_t scans);

    int64_t Count() const { return count_; }
    // The scans of spikes, of the last ones that were found.
    const std::deque<int64_t>& Recent() const { return recent_; }
    // Spikes each second during the last second, or what there was of it; 0 before the first scan.
    double Rate() const;

  private:
    static constexpr size_t mostRecent = 20000;

    ScanFormat format_;
    double interval_ = 1.0;
    LiveSpikeSettings settings_;
    int64_t scans_ = 0, since_ = 0, count_ = 0;
    int64_t deadUntil_ = 0;
    std::optional<bool> wasBeyond_;
    std::deque<int64_t> recent_;
};

}  // namespace kymora
