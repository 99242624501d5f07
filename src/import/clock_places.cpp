#include "import/clock_places.h"

#include <algorithm>
#include <cmath>

namespace kymora {

void ClockPlaces::Add(const ClockStretch& stretch, bool isSetBack) {
    if (epochs_.empty() || isSetBack)
        epochs_.push_back({stretches_.size(), 0, static_cast<double>(stretch.time), 0.0});
    stretches_.push_back(stretch);
    Epoch& epoch = epochs_.back();
    epoch.end = stretches_.size();
    epoch.endTick =
        static_cast<double>(stretch.time) + static_cast<double>(stretch.samples) / stretch.samplesPerTick;
}

// Events are not quite in order, and blocks not quite on time.
double ClockPlaces::SlackOf(const Epoch& epoch) const {
    return std::min(ticksPerSecond_, (epoch.endTick - epoch.firstTick) / 10.0);
}

double ClockPlaces::Slack() const { return epochs_.empty() ? 0.0 : SlackOf(epochs_.back()); }

int64_t ClockPlaces::Place(double tick, Follower& follower) const {
    if (epochs_.empty()) return -1;
    if (follower.epoch + 1 < epochs_.size()) {
        const Epoch& now = epochs_[follower.epoch];
        const Epoch& next = epochs_[follower.epoch + 1];
        const bool hasFallen = follower.hasLast && tick < follower.last - SlackOf(now);
        const bool isOfNext =
            tick > now.endTick + SlackOf(now) && tick >= next.firstTick && tick <= next.endTick;
        if (hasFallen || isOfNext) ++follower.epoch;
    }
    follower.last = tick;
    follower.hasLast = true;
    const Epoch& epoch = epochs_[follower.epoch];
    const auto begin = stretches_.begin() + static_cast<std::ptrdiff_t>(epoch.begin);
    const auto end = stretches_.begin() + static_cast<std::ptrdiff_t>(epoch.end);
    auto next = std::upper_bound(begin, end, tick, [](double at, const ClockStretch& stretch) {
        return at < static_cast<double>(stretch.time);
    });
    const ClockStretch& stretch = next == begin ? *begin : *(next - 1);
    if (next == begin) ++next;
    const double behind = (tick - static_cast<double>(stretch.time)) * stretch.samplesPerTick;
    if (behind < -0.5 && follower.epoch == 0) return -1;
    const int64_t position = stretch.position + std::llround(std::clamp(behind, 0.0, 1e15));
    return next == stretches_.end() ? position : std::min(position, next->position);
}

}  // namespace kymora
