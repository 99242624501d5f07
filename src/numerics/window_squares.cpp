#include "numerics/window_squares.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kymora {

WindowSquares::WindowSquares(int64_t length)
    : length_(static_cast<size_t>(std::max<int64_t>(length, 1))),
      leastUpper_(std::numeric_limits<double>::infinity()),
      greatestLower_(-1.0) {}

void WindowSquares::StartAt(int64_t position) {
    JudgeCandidates();
    samples_.clear();
    taken_ = sumsEnd_ = 0;
    position_ = position;
}

void WindowSquares::Add(std::span<const float> samples) {
    // Two windows are kept before one is dropped, so that moving them costs little for each sample.
    if (samples_.size() > 2 * length_) {
        const size_t dropped = samples_.size() - length_;
        samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(dropped));
        sumsEnd_ = sumsEnd_ >= dropped + length_ ? sumsEnd_ - dropped : 0;
    }
    while (!samples.empty()) {
        const auto end = std::ranges::find_if_not(samples, [](float value) { return std::isfinite(value); });
        const auto finite = static_cast<size_t>(end - samples.begin());
        TakeStretch(samples.first(finite));
        samples = samples.subspan(finite);
        if (samples.empty()) break;
        StartAt(position_ + 1);
        samples = samples.subspan(1);
    }
    JudgeCandidates();
}

void WindowSquares::TakeStretch(std::span<const float> samples) {
    const size_t first = samples_.size();
    samples_.insert(samples_.end(), samples.begin(), samples.end());
    for (size_t i = first; i < samples_.size(); ++i) TakeOne(i);
    position_ += static_cast<int64_t>(samples.size());
}

void WindowSquares::TakeOne(size_t index) {
    if (taken_ < length_) {
        if (++taken_ < length_) return;
        Anchor(index + 1);
    } else {
        // The same values as before, and the same result: not better than an earlier one.
        if (samples_[index] == samples_[index - length_]) return;
        deviations_.Step(samples_[index - length_], samples_[index]);
        if (deviations_.Steps() >= length_) Anchor(index + 1);
    }
    Bound(index + 1);
}

void WindowSquares::Anchor(size_t end) {
    const auto window = std::span(samples_).subspan(end - length_, length_);
    double sum = 0.0;
    for (const float value : window) sum += value;
    deviations_.Anchor(window, sum / static_cast<double>(length_));
}

void WindowSquares::Bound(size_t end) {
    if (deviations_.IsBlurred()) Anchor(end);
    const double value = deviations_.Value(), error = deviations_.Error();
    const Candidate candidate{end, std::max(0.0, value - error), std::max(0.0, value) + error};
    if (candidate.lower > leastUpper_ && candidate.upper < greatestLower_) return;
    leastUpper_ = std::min(leastUpper_, candidate.upper);
    greatestLower_ = std::max(greatestLower_, candidate.lower);
    candidates_.push_back(candidate);
}

void WindowSquares::JudgeCandidates() {
    for (const Candidate& candidate : candidates_)
        if (candidate.lower <= leastUpper_ || candidate.upper >= greatestLower_) Judge(candidate);
    candidates_.clear();
}

void WindowSquares::Judge(const Candidate& candidate) {
    MoveSumsTo(candidate.end);
    if (least_.start >= 0 && (sums_ == least_.sums || sums_ == greatest_.sums)) return;
    const auto count = static_cast<int64_t>(length_);
    const ExactSums::Squares squares = sums_.SquaredDeviations(count);
    const bool isLeast = least_.start < 0 || ExactSums::IsLess(squares, least_.squares);
    const bool isGreatest = greatest_.start < 0 || ExactSums::IsLess(greatest_.squares, squares);
    if (!isLeast && !isGreatest) return;
    // Candidates are judged before more samples come: the last one taken is that before position_.
    const int64_t start = position_ - static_cast<int64_t>(samples_.size() - candidate.end) - count;
    const double rounded = ExactSums::ToDouble(squares) / static_cast<double>(length_);
    if (isLeast) least_ = {start, sums_, squares, rounded};
    if (isGreatest) greatest_ = {start, sums_, squares, rounded};
}

// Goes on from the window that was judged before, unless that takes longer than summing anew.
void WindowSquares::MoveSumsTo(size_t end) {
    if (sumsEnd_ == 0 || end - sumsEnd_ > length_ / 2) {
        constexpr size_t addedAtOnce = 1 << 20;
        sums_ = {};
        for (size_t i = end - length_; i < end; ++i) {
            sums_.Add(samples_[i]);
            if (i % addedAtOnce == 0) sums_.Carry();
        }
    } else {
        for (size_t i = sumsEnd_; i < end; ++i) {
            if (samples_[i] == samples_[i - length_]) continue;
            sums_.Add(samples_[i]);
            sums_.TakeAway(samples_[i - length_]);
        }
    }
    sumsEnd_ = end;
    sums_.Carry();
}

}  // namespace kymora
