#pragma once
// The events of channel 2 as seen from those of channel 1. The events of channel 1 are asked about in
// ascending order of onset; every search goes on from where the last one ended, so that a whole channel costs
// one pass over both. Each question may be asked of some events and left out for others.

#include <cstdint>
#include <limits>

#include "eventanalysis/events_by_onset.h"

namespace kymora {

class PartnerEvents {
  public:
    // What is asked keeps pointing to the events, which must live as long.
    explicit PartnerEvents(const EventsByOnset& channel2) : events_(channel2), size_(channel2.Size()) {}

    static constexpr double noAnswer = std::numeric_limits<double>::quiet_NaN();

    // Where in the cycle of channel 2 (onset to next onset) the position lies, 0 to below 1. None before the
    // first onset, from the last one on, and where channel 2 has fewer than two events.
    double Phase(int32_t at);
    // Samples from the latest onset at or before the position; none before the first.
    double LatencyFromPrevious(int32_t at);
    // Samples from the nearest onset, negative when that comes later; of two as near, the later one.
    double LatencyFromNearest(int32_t at);
    // Samples from the onset of the event that has this index in channel 2.
    double LatencyFromPair(int32_t at, int index) const;

    // Ranks [first, end).
    struct Range {
        int first = 0;
        int end = 0;
        int Count() const { return end - first; }
    };
    // The events within [on, off]: from the first that does not begin before `on` to the first that ends
    // behind `off`, where the count stops.
    Range Within(int32_t on, int32_t off);
    // The number of onsets in [on, end).
    int CountFrom(int32_t on, int64_t end);

  private:
    // The rank of the latest onset at or before the position, or -1.
    int LatestBefore(int32_t at);

    const EventsByOnset& events_;
    int size_;
    int latest_ = -1;
    int nearest_ = 0;
    int within_ = 0;
    int from_ = 0;
    Range lastRange_;
    int32_t lastOff_ = std::numeric_limits<int32_t>::max();
};

}  // namespace kymora
