#include "numerics/least_active_window.h"

#include <algorithm>
#include <cfloat>
#include <cmath>
#include <limits>

namespace kymora {

LeastActiveWindow::LeastActiveWindow(int64_t length)
    : length_(static_cast<size_t>(std::max<int64_t>(length, 1))),
      leastUpper_(std::numeric_limits<double>::infinity()) {}

bool LeastActiveWindow::Add(std::span<const float> samples, const Poll& goOn) {
    // Two windows are kept before one is dropped, so that moving them costs little for each sample.
    if (samples_.size() > 2 * length_)
        samples_.erase(samples_.begin(), samples_.end() - static_cast<std::ptrdiff_t>(length_));
    for (size_t at = 0; at < samples.size(); at += pollInterval) {
        if (goOn && !goOn(position_)) return false;
        auto slice = samples.subspan(at, std::min(pollInterval, samples.size() - at));
        while (!slice.empty()) {
            const auto end =
                std::find_if(slice.begin(), slice.end(), [](float value) { return !std::isfinite(value); });
            const auto finite = static_cast<size_t>(end - slice.begin());
            TakeStretch(slice.first(finite));
            slice = slice.subspan(finite);
            if (slice.empty()) break;
            Restart();
            ++position_;
            slice = slice.subspan(1);
        }
    }
    JudgeCandidates();
    return true;
}

void LeastActiveWindow::Restart() {
    JudgeCandidates();
    samples_.clear();
    taken_ = sameFor_ = 0;
    sum_ = sumError_ = 0.0;
}

void LeastActiveWindow::TakeStretch(std::span<const float> samples) {
    const size_t first = samples_.size();
    samples_.insert(samples_.end(), samples.begin(), samples.end());
    for (size_t i = first; i < samples_.size(); ++i) TakeOne(i);
    position_ += static_cast<int64_t>(samples.size());
}

void LeastActiveWindow::TakeOne(size_t index) {
    const double newest = samples_[index];
    sameFor_ = index != 0 && sameFor_ != 0 && samples_[index - 1] == samples_[index] ? sameFor_ + 1 : 1;
    if (taken_ < length_) {
        sum_ += newest;
        sumError_ += DBL_EPSILON * std::fabs(sum_);
        if (++taken_ < length_) return;
        Anchor(index + 1);
    } else {
        const double oldest = samples_[index - length_];
        const double before = sum_;
        sum_ -= oldest;
        sumError_ += DBL_EPSILON * std::fabs(sum_);
        sum_ += newest;
        sumError_ += DBL_EPSILON * std::fabs(sum_);
        deviations_.Step(oldest, newest);
        if (deviations_.Steps() >= length_) Anchor(index + 1);
        // A flat stretch: the window before had the same samples and the same mean, hence the same result.
        if (sameFor_ > length_ && sum_ == before) return;
    }
    Bound(index + 1);
}

void LeastActiveWindow::Anchor(size_t end) {
    deviations_.Anchor(std::span(samples_).subspan(end - length_, length_),
                       sum_ / static_cast<double>(length_));
}

// From a mean that is off by e the squared deviations sum to n * e * e more than from the true one.
void LeastActiveWindow::Bound(size_t end) {
    const double n = static_cast<double>(length_);
    // New sums cost no more than the rule would.
    if (deviations_.IsBlurred()) Anchor(end);
    const double value = deviations_.Value(), error = deviations_.Error();
    const double byRule = 2.0 * DBL_EPSILON * (n + 8.0);  // relative error of the rule's own summing
    const double lower = std::max(0.0, value - error) * (1.0 - byRule);
    if ((bestStart_ >= 0 && lower >= bestSquares_) || lower > leastUpper_) return;
    const double meanError = (sumError_ + DBL_EPSILON * std::fabs(sum_)) / n;
    const double upper = (std::max(0.0, value) + error + 2.0 * n * meanError * meanError) * (1.0 + byRule);
    leastUpper_ = std::min(leastUpper_, upper);
    candidates_.push_back({end, sum_, lower});
}

void LeastActiveWindow::JudgeCandidates() {
    for (const Candidate& candidate : candidates_)
        if (candidate.bound <= leastUpper_) Judge(candidate);
    candidates_.clear();
    leastUpper_ = std::numeric_limits<double>::infinity();
}

void LeastActiveWindow::Judge(const Candidate& candidate) {
    const bool first = bestStart_ < 0;
    if (!first && candidate.bound >= bestSquares_) return;
    const double squares =
        SquaresOf(candidate, first ? std::numeric_limits<double>::infinity() : bestSquares_);
    if (!first && squares >= bestSquares_) return;
    bestSquares_ = squares;
    bestStart_ = StartOf(candidate);
}

// The rule itself. Sums of squares only grow, so it may stop at a result that is too large.
double LeastActiveWindow::SquaresOf(const Candidate& candidate, double stopAt) const {
    constexpr size_t piece = 256;
    const double mean = candidate.sum / static_cast<double>(length_);
    double squares = 0.0;
    for (size_t i = candidate.end - length_; i < candidate.end;) {
        for (const size_t stop = std::min(candidate.end, i + piece); i < stop; ++i) {
            const double deviation = samples_[i] - mean;
            squares += deviation * deviation;
        }
        if (squares >= stopAt) break;
    }
    return squares;
}

// Candidates are judged before more samples come: the last sample taken is the one before position_.
int64_t LeastActiveWindow::StartOf(const Candidate& candidate) const {
    return position_ - static_cast<int64_t>(samples_.size() - candidate.end) - static_cast<int64_t>(length_);
}

}  // namespace kymora
