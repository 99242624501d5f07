#include "eventanalysis/partner_events.h"

#include <algorithm>
#include <cstdlib>

namespace kymora {
namespace {

double Between(int32_t from, int32_t to) { return static_cast<double>(int64_t{to} - from); }

}  // namespace

int PartnerEvents::LatestBefore(int32_t at) {
    while (latest_ + 1 < size_ && events_.On(latest_ + 1) <= at) ++latest_;
    return latest_;
}

double PartnerEvents::Phase(int32_t at) {
    const int j = LatestBefore(at);
    if (j < 0 || j + 1 >= size_) return noAnswer;
    const int32_t start = events_.On(j);
    return Between(start, at) / Between(start, events_.On(j + 1));
}

double PartnerEvents::LatencyFromPrevious(int32_t at) {
    const int j = LatestBefore(at);
    return j < 0 ? noAnswer : Between(events_.On(j), at);
}

double PartnerEvents::LatencyFromNearest(int32_t at) {
    if (size_ == 0) return noAnswer;
    const auto distance = [&](int j) { return std::llabs(int64_t{at} - events_.On(j)); };
    while (nearest_ + 1 < size_ && distance(nearest_ + 1) <= distance(nearest_)) ++nearest_;
    return Between(events_.On(nearest_), at);
}

double PartnerEvents::LatencyFromPair(int32_t at, int index) const {
    if (index < 0 || index >= size_) return noAnswer;
    return Between(events_.Channel()->Events()[static_cast<size_t>(index)].onPosition, at);
}

PartnerEvents::Range PartnerEvents::Within(int32_t on, int32_t off) {
    while (within_ < size_ && events_.On(within_) < on) ++within_;
    // All that ended before the last event's end does so before a later one's, too.
    int end = off >= lastOff_ ? std::max(within_, lastRange_.end) : within_;
    while (end < size_ && events_.Off(end) <= off && events_.On(end) <= off) ++end;
    lastOff_ = off;
    return lastRange_ = {within_, end};
}

int PartnerEvents::CountFrom(int32_t on, int64_t end) {
    from_ = events_.FirstFrom(on, from_);
    return events_.FirstFrom(end, from_) - from_;
}

}  // namespace kymora
