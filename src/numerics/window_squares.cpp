#include "numerics/window_squares.h"

#include <algorithm>
#include <cfloat>
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
        const double out = samples_[index - length_] - level_;
        const double in = samples_[index] - level_;
        deviations_ += in - out;
        squares_ -= out * out;
        squares_ += in * in;
        squaresSeen_ += in * in;
        if (++steps_ >= length_) Anchor(index + 1);
    }
    Bound(index + 1);
}

void WindowSquares::Anchor(size_t end) {
    const auto window = std::span(samples_).subspan(end - length_, length_);
    double sum = 0.0;
    for (const float value : window) sum += value;
    level_ = sum / static_cast<double>(length_);
    deviations_ = squares_ = 0.0;
    for (const float value : window) {
        const double deviation = value - level_;
        deviations_ += deviation;
        squares_ += deviation * deviation;
    }
    squaresSeen_ = squares_;
    steps_ = 0;
}

// With exact sums S of the deviations from a level and Q of their squares, the squared deviations from the
// mean sum to Q - S * S / n. Every addition rounds by at most a half epsilon of its result. S and Q see at
// most 3 n additions, none of a greater result than sqrt(2 n squaresSeen) and squaresSeen; the factor of 16
// has room for their product and for what is added here.
void WindowSquares::Bound(size_t end) {
    const double n = static_cast<double>(length_);
    const double value = squares_ - deviations_ * deviations_ / n;
    const double error = 16.0 * DBL_EPSILON * (3.0 * n + 8.0) * squaresSeen_;
    // Sums that an artefact has passed through say little.
    if (error > 1e-3 * value && steps_ != 0) {
        Anchor(end);
        return Bound(end);
    }
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
