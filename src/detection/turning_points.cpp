#include "detection/turning_points.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include "numerics/large_pages.h"

namespace kymora {

namespace {

constexpr size_t stepsAtOnce = 64;

// Bit i is set where sample i is above the one before it, or below it.
struct StepMasks {
    uint64_t up = 0, down = 0;
};

// Of 64 samples and the one before them.
StepMasks StepsOf(const float* samples) {
    StepMasks masks;
#ifdef __SSE2__
    for (size_t i = 0; i < stepsAtOnce; i += 4) {
        const __m128 now = _mm_loadu_ps(samples + i), before = _mm_loadu_ps(samples + i - 1);
        masks.up |= static_cast<uint64_t>(_mm_movemask_ps(_mm_cmpgt_ps(now, before))) << i;
        masks.down |= static_cast<uint64_t>(_mm_movemask_ps(_mm_cmplt_ps(now, before))) << i;
    }
#else
    for (size_t i = 0; i < stepsAtOnce; ++i) {
        masks.up |= static_cast<uint64_t>(samples[i] > samples[i - 1]) << i;
        masks.down |= static_cast<uint64_t>(samples[i] < samples[i - 1]) << i;
    }
#endif
    return masks;
}

// Whether none of 64 samples is on the other side of the one before it, without a branch for each.
bool GoesOneWay(const float* samples, bool isUp) {
    uint32_t against = 0;
    if (isUp)
        for (size_t i = 0; i < stepsAtOnce; ++i)
            against |= static_cast<uint32_t>(samples[i] < samples[i - 1]);
    else
        for (size_t i = 0; i < stepsAtOnce; ++i)
            against |= static_cast<uint32_t>(samples[i] > samples[i - 1]);
    return against == 0;
}

// Nearly always all of them are.
size_t EndOfFinite(std::span<const float> samples) {
    uint32_t others = 0;
    for (const float sample : samples)
        others |= static_cast<uint32_t>(!(std::fabs(sample) <= std::numeric_limits<float>::max()));
    if (others == 0) return samples.size();
    return static_cast<size_t>(
        std::ranges::find_if(samples, [](float sample) { return !std::isfinite(sample); }) - samples.begin());
}

}  // namespace

size_t TurningRun::HillCount() const {
    const size_t troughs = (points.size() + (startsWithPeak ? 0 : 1)) / 2;
    return troughs == 0 ? 0 : troughs - 1;
}

void TurningPointSearch::StartAt(int64_t position, int64_t count) {
    EndRun();
    position_ = position;
    end_ = position + count;
}

void TurningPointSearch::Take(std::span<const float> samples) {
    while (!samples.empty()) {
        const size_t finite = EndOfFinite(samples);
        TakeFinite(samples.first(finite));
        if (finite == samples.size()) return;
        EndRun();
        ++position_;
        samples = samples.subspan(finite + 1);
    }
}

void TurningPointSearch::TakeFinite(std::span<const float> samples) {
    if (samples.empty()) return;
    if (!isOpen_) {
        isOpen_ = true;
        run_.first = {static_cast<int32_t>(position_), Value(samples[0])};
    } else if (samples[0] != before_) {
        TakeStep(0, (samples[0] > before_) != reverses_, samples.data());
    }
    before_ = samples.back();
    const int64_t start = position_;
    for (size_t at = 1; at < samples.size(); at += stepsAtOnce) {
        position_ = start + static_cast<int64_t>(at);
        TakeMasked(&samples[at], std::min(stepsAtOnce, samples.size() - at));
    }
    position_ = start + static_cast<int64_t>(samples.size());
}

// Samples behind the first of a run.
void TurningPointSearch::TakeMasked(const float* samples, size_t count) {
    constexpr size_t last = stepsAtOnce - 1;
    if (count == stepsAtOnce && way_ != Way::none && samples[last] != samples[last - 1] &&
        GoesOneWay(samples, (way_ == Way::up) != reverses_)) {
        step_ = PointAt(last, samples);
        return;
    }
    StepMasks masks;
    if (count == stepsAtOnce) {
        masks = StepsOf(samples);
    } else {
        // Behind the last one nothing steps up or down.
        std::array<float, stepsAtOnce + 1> rest;
        rest.fill(samples[count - 1]);
        std::copy_n(samples - 1, count + 1, rest.begin());
        masks = StepsOf(&rest[1]);
    }
    TakeTurns(reverses_ ? masks.down : masks.up, masks.up | masks.down, samples);
}

// Of 64 samples, which steps go up among all steps.
void TurningPointSearch::TakeTurns(uint64_t rises, uint64_t steps, const float* samples) {
    if (steps == 0) return;
    const bool wasUp = way_ == Way::none ? (rises >> std::countr_zero(steps) & 1) != 0 : way_ == Way::up;
    // A plateau goes on as what led to it.
    uint64_t ups = rises, known = steps;
    for (size_t width = 1; width < stepsAtOnce; width *= 2) {
        ups |= ups << width & ~known;
        known |= known << width;
    }
    if (wasUp) ups |= ~known;
    std::array<TurningPoint, stepsAtOnce> found;
    size_t count = 0;
    const uint64_t turns = ups ^ (ups << 1 | (wasUp ? 1 : 0));
    for (uint64_t left = turns; left != 0; left &= left - 1) {
        const uint64_t earlier = steps & ((left & (~left + 1)) - 1);
        found[count++] = earlier == 0 ? step_ : PointAt(std::bit_width(earlier) - 1, samples);
    }
    if (count != 0) {
        if (run_.points.empty()) run_.startsWithPeak = wasUp;
        MakeRoom(count);
        run_.points.insert(run_.points.end(), found.begin(),
                           found.begin() + static_cast<std::ptrdiff_t>(count));
    }
    way_ = ups >> (stepsAtOnce - 1) != 0 ? Way::up : Way::down;
    step_ = PointAt(std::bit_width(steps) - 1, samples);
}

void TurningPointSearch::TakeStep(size_t index, bool isUp, const float* samples) {
    const Way way = isUp ? Way::up : Way::down;
    if (way_ != Way::none && way_ != way) {
        if (run_.points.empty()) run_.startsWithPeak = way_ == Way::up;
        MakeRoom(1);
        run_.points.push_back(step_);
    }
    way_ = way;
    step_ = PointAt(index, samples);
}

// Most of the time goes into memory that is touched for the first time. A list that grows by doubling touches
// twice as much as it needs; one that turns at all goes on to turn as often.
void TurningPointSearch::MakeRoom(size_t count) {
    constexpr size_t fewPoints = 4096, greatestGrowth = 16, spareShare = 16;
    std::vector<TurningPoint>& points = run_.points;
    if (points.size() < fewPoints || points.capacity() - points.size() >= count) return;
    const auto sofar = static_cast<double>(position_ - run_.first.at) + static_cast<double>(stepsAtOnce);
    const double rest = std::max(0.0, static_cast<double>(end_ - position_));
    const double all = static_cast<double>(points.size() + count) * (1.0 + rest / sofar);
    const size_t likely = static_cast<size_t>(all) + static_cast<size_t>(all) / spareShare;
    const size_t doubled = 2 * (points.size() + count);
    points.reserve(std::clamp(likely, doubled, std::max(doubled, greatestGrowth * points.size())));
    AdviseLargePages(points.data(), points.capacity() * sizeof(TurningPoint));
}

TurningPoint TurningPointSearch::PointAt(size_t index, const float* samples) const {
    return {static_cast<int32_t>(position_ + static_cast<int64_t>(index)), Value(samples[index])};
}

void TurningPointSearch::EndRun() {
    run_.last = {static_cast<int32_t>(position_ - 1), Value(before_)};
    if (isOpen_ && run_.HillCount() > 0) runs_.push_back(std::move(run_));
    run_ = {};
    isOpen_ = false;
    way_ = Way::none;
}

std::vector<TurningRun> TurningPointSearch::Finish() {
    EndRun();
    return std::move(runs_);
}

// Without the outermost troughs the points begin and end with a peak. Those that stay are kept in front. With
// a, b, c, d in turn, the pair b, c goes where it is the smallest of the three steps, that is where one of a
// and d reaches beyond it on each side. Of two equal peaks the earlier is the lower one, and of two equal
// troughs the shallower one: that is the pair that comes first.
void MergeFoothills(TurningRun& run, double height) {
    std::vector<TurningPoint>& points = run.points;
    if (!(height > 0.0) || run.HillCount() == 0) return;
    constexpr float none = std::numeric_limits<float>::infinity();
    TurningPoint before{0, none}, behind{0, none};
    if (!run.IsPeak(points.size() - 1)) {
        behind = points.back();
        points.pop_back();
    }
    if (!run.startsWithPeak) {
        before = points.front();
        points.erase(points.begin());
    }
    size_t kept = 0;
    const auto isPeak = [](size_t i) { return i % 2 == 0; };
    const auto isLow = [&](size_t peak, size_t trough) {
        return double{points[peak].value} - points[trough].value < height;
    };
    for (size_t i = 0; i < points.size(); ++i) {
        const TurningPoint next = points[i];
        while (kept >= 2) {
            const size_t b = kept - 2, c = kept - 1;
            if (isPeak(b)) {
                const bool isInner = b == 0 || points[c].value > points[b - 1].value;
                if (!isInner || points[b].value > next.value || !isLow(b, c)) break;
                if (b == 0 && points[c].value <= before.value) before = points[c];
            } else if (points[c].value >= points[b - 1].value || points[b].value < next.value ||
                       !isLow(c, b)) {
                break;
            }
            kept -= 2;
        }
        points[kept++] = next;
    }
    while (kept >= 3 && points[kept - 1].value < points[kept - 3].value && isLow(kept - 1, kept - 2)) {
        if (points[kept - 2].value < behind.value) behind = points[kept - 2];
        kept -= 2;
    }
    points.resize(kept);
    run.first.value = std::min(run.first.value, before.value);
    run.last.value = std::min(run.last.value, behind.value);
    run.startsWithPeak = !(points.front().value - double{before.value} >= height);
    if (points.back().value - double{behind.value} >= height) points.push_back(behind);
    if (!run.startsWithPeak) points.insert(points.begin(), before);
}

}  // namespace kymora
