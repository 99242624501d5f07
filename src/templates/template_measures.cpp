#include "templates/template_measures.h"

#include <algorithm>
#include <bit>
#include <cmath>

#include "numerics/window_distances.h"
#include "numerics/window_dots.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

namespace kymora {

namespace {

constexpr double lostShare = 1e-6;  // of a sum of squares that is left when a sample goes
constexpr double leastSquaredError = 1e-6;
// Of all squares in a transform: where less than this is in a window, rounding counts.
constexpr double leastTransformShare = 1e-14;
constexpr size_t leastTransform = 4096;
// The length of transforms in templates; of great ones, whose transforms take much memory.
constexpr size_t binsPerTransform = 4, greatBinsPerTransform = 2, greatBins = 1 << 16;
// Products between two polls.
constexpr size_t termsBetweenPolls = 1 << 22;
// Sums in full take no more terms than so many times those of a transform.
constexpr size_t termsPerTransformTerm = 32;
// A bound on sums that rounding cannot take below an error that counts.
constexpr double limitMargin = 1.0 + 1e-6;
// A criterion from a transform is this near to the one summed in full where both are of one size.
constexpr float nearThreshold = 1e-3f;
// The same where its window is no near perfect fit, with a squared error of this share of its squares at
// least.
constexpr float nearCriterion = 1e-6f;
constexpr double perfectShare = 1e-6;

// About the median of the samples, which no single one moves.
double MiddleOf(std::span<const float> samples) {
    constexpr size_t stride = 16;
    std::vector<float> some;
    for (size_t i = 0; i < samples.size(); i += stride) some.push_back(samples[i]);
    const auto middle = some.begin() + static_cast<std::ptrdiff_t>(some.size() / 2);
    std::ranges::nth_element(some, middle);
    return *middle;
}

std::vector<double> Widened(std::span<const float> values) { return {values.begin(), values.end()}; }

}  // namespace

double PeakToPeak(std::span<const float> values) {
    if (values.empty()) return 0.0;
    const auto [least, greatest] = std::ranges::minmax(values);
    return double{greatest} - double{least};
}

// --- the error ---

TemplateError::TemplateError(std::span<const float> values)
    : row_(Widened(values)),
      percent_(static_cast<double>(values.size()) * PeakToPeak(values) / 2.0 / 100.0) {}

void TemplateError::Measure(std::span<const float> samples, std::span<float> to, float limit) {
    if (to.empty()) return;
    wide_.assign(samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(to.size() + row_.size() - 1));
    sums_.resize(to.size());
    WindowDistances(row_, wide_, sums_, double{limit} * percent_ * limitMargin);
    for (size_t k = 0; k < to.size(); ++k) to[k] = static_cast<float>(sums_[k] / percent_);
}

// The median is nearest to all values.
float TemplateError::OfFlatWindow() const {
    std::vector<double> sorted = row_;
    const auto middle = sorted.begin() + static_cast<std::ptrdiff_t>(sorted.size() / 2);
    std::ranges::nth_element(sorted, middle);
    double sum = 0.0;
    for (const double value : row_) sum += std::abs(value - *middle);
    return static_cast<float>(sum / percent_);
}

// --- the scaled template ---
//
// With the mean taken off the template, its sum is zero, and scale, offset and squared error of the least
// squares fit need the window's dot product with it, its sum and its sum of squares alone. What is common to
// all samples is taken off them first, since it would take digits from the sums.

ScaledTemplate::ScaledTemplate(std::span<const float> values) : unit_(Widened(values)) {
    const double height = PeakToPeak(values);
    unitMean_ = 0.0;
    for (double& value : unit_) unitMean_ += value /= height;
    unitMean_ /= static_cast<double>(unit_.size());
    double squares = 0.0;
    for (const double value : unit_) {
        centred_.push_back(value - unitMean_);
        squares += centred_.back() * centred_.back();
    }
    perSquares_ = 1.0 / squares;
    perBin_ = 1.0 / static_cast<double>(unit_.size());
    perFreeBin_ = 1.0 / (static_cast<double>(unit_.size()) - 1.0);
    const size_t bins = unit_.size();
    if (bins > mostDirectBins)
        length_ =
            std::max(leastTransform,
                     std::bit_ceil((bins > greatBins ? greatBinsPerTransform : binsPerTransform) * bins));
}

double ScaledTemplate::SquaredError(double dot, double sum, double squares) const {
    return squares - sum * sum * perBin_ - dot * dot * perSquares_;
}

float ScaledTemplate::CriterionOf(double dot, double squaredError) const {
    const double error = squaredError > leastSquaredError ? squaredError : leastSquaredError;
    return static_cast<float>(dot * perSquares_ / std::sqrt(error * perFreeBin_));
}

TemplateFit ScaledTemplate::FitOf(std::span<const float> window) const {
    const auto bins = static_cast<double>(unit_.size());
    double mean = 0.0;
    for (const float value : window) mean += value;
    mean /= bins;
    double dot = 0.0, sum = 0.0, squares = 0.0;
    for (size_t i = 0; i < window.size(); ++i) {
        const double value = window[i] - mean;
        dot += centred_[i] * value;
        sum += value;
        squares += value * value;
    }
    TemplateFit fit;
    fit.scale = dot * perSquares_;
    fit.offset = mean + sum / bins - fit.scale * unitMean_;
    fit.criterion = CriterionOf(dot, SquaredError(dot, sum, squares));
    return fit;
}

size_t ScaledTemplate::StepsAtOnce() const {
    return length_ == 0 ? stepsSummed : 2 * (length_ - unit_.size() + 1);
}

void ScaledTemplate::Measure(std::span<const float> samples, std::span<float> to, float exactAbove,
                             const Poll& poll) {
    const size_t atOnce = StepsAtOnce();
    for (size_t done = 0; done < to.size(); done += atOnce) {
        const size_t count = std::min(atOnce, to.size() - done);
        MeasureSome(samples.subspan(done, count + unit_.size() - 1), to.subspan(done, count), exactAbove,
                    poll);
    }
}

void ScaledTemplate::MeasureSome(std::span<const float> samples, std::span<float> to, float exactAbove,
                                 const Poll& poll) {
    const double middle = MiddleOf(samples);
    wide_.resize(samples.size());
    for (size_t i = 0; i < samples.size(); ++i) wide_[i] = samples[i] - middle;
    dots_.resize(to.size());
    if (poll) poll();
    FindSums(to.size(), poll);
    FindDots(to.size(), poll);
    FindCriteria(to);
    measured_ += std::ssize(to);
    if (length_ > 0) SumInFull(samples, to, exactAbove, poll);
}

void ScaledTemplate::SumInFull(std::span<const float> samples, std::span<float> to, float above,
                               const Poll& poll) {
    const size_t bins = unit_.size();
    const float near = above - nearThreshold * (1.0f + std::abs(above));
    const size_t most = termsPerTransformTerm * length_ * static_cast<size_t>(std::bit_width(length_)) / bins;
    std::vector<size_t> steps;
    for (size_t k = 0; k < to.size() && steps.size() <= most; ++k)
        if (to[k] > near) steps.push_back(k);
    if (steps.size() > most) steps = StepsThatDecide(to, above);
    steps.resize(std::min(steps.size(), most));
    size_t terms = 0;
    for (const size_t k : steps) {
        to[k] = FitOf(samples.subspan(k, bins)).criterion;
        if (terms += bins; terms < termsBetweenPolls) continue;
        terms = 0;
        if (poll) poll();
    }
}

// Of the steps above the threshold those whose rounding counts: near it, near the best of a run, and of a
// near perfect fit.
std::vector<size_t> ScaledTemplate::StepsThatDecide(std::span<const float> to, float above) const {
    std::vector<size_t> steps;
    const auto margin = [](float value) { return nearCriterion * (1.0f + std::abs(value)); };
    const float least = above - margin(above);
    const auto isPerfect = [&](size_t k) {
        return SquaredError(dots_[k], sums_[k], squares_[k]) < perfectShare * squares_[k];
    };
    for (size_t from = 0; from < to.size();) {
        size_t end = from;
        for (; end < to.size() && to[end] > least; ++end) {
        }
        const float best = end > from ? *std::max_element(to.begin() + static_cast<std::ptrdiff_t>(from),
                                                          to.begin() + static_cast<std::ptrdiff_t>(end))
                                      : least;
        for (size_t k = from; k < end; ++k)
            if (to[k] <= above + margin(above) || to[k] >= best - margin(best) || isPerfect(k))
                steps.push_back(k);
        from = end + 1;
    }
    return steps;
}

// Of every window the sum of its samples and of their squares. Each step waits for the one before it: this
// takes longer than the products of a short template, and nothing else may wait with it.
void ScaledTemplate::FindSums(size_t count, const Poll& poll) {
    const size_t bins = unit_.size();
    sums_.resize(count);
    squares_.resize(count);
    const double* const wide = wide_.data();
    double* const sums = sums_.data();
    double* const allSquares = squares_.data();
    size_t terms = 0;
    for (size_t k = 0; k < count;) {
        double sum = 0.0, squares = 0.0;
        for (size_t i = k; i + 1 < k + bins; ++i) {
            sum += wide[i];
            squares += wide[i] * wide[i];
        }
        if (terms += bins; terms >= termsBetweenPolls) {
            terms = 0;
            if (poll) poll();
        }
        const size_t end = std::min(count, k + stepsSummed);
        // What is left of a sum that a single sample has made has lost its digits: it is summed anew.
        for (bool isSound = true; isSound && k < end; ++k) {
            const double newest = wide[k + bins - 1], oldest = wide[k];
            const double newSum = sum + newest, newSquares = squares + newest * newest;
            sums[k] = newSum;
            allSquares[k] = newSquares;
            sum = newSum - oldest;
            squares = newSquares - oldest * oldest;
            isSound = !(squares < lostShare * newSquares);
        }
    }
}

// As CriterionOf and SquaredError, two at once.
void ScaledTemplate::FindCriteria(std::span<float> to) {
    size_t k = 0;
#ifdef __SSE2__
    const __m128d perBin = _mm_set1_pd(perBin_), perSquares = _mm_set1_pd(perSquares_);
    const __m128d perFreeBin = _mm_set1_pd(perFreeBin_), least = _mm_set1_pd(leastSquaredError);
    __m128i above = _mm_setzero_si128();  // less the number of those that are not at the floor
    for (; k + 2 <= to.size(); k += 2) {
        const __m128d dot = _mm_loadu_pd(&dots_[k]), sum = _mm_loadu_pd(&sums_[k]);
        const __m128d ofMean = _mm_mul_pd(_mm_mul_pd(sum, sum), perBin);
        const __m128d ofFit = _mm_mul_pd(_mm_mul_pd(dot, dot), perSquares);
        const __m128d error = _mm_sub_pd(_mm_sub_pd(_mm_loadu_pd(&squares_[k]), ofMean), ofFit);
        above = _mm_add_epi64(above, _mm_castpd_si128(_mm_cmpge_pd(error, least)));
        const __m128d standard = _mm_sqrt_pd(_mm_mul_pd(_mm_max_pd(error, least), perFreeBin));
        const __m128 criteria = _mm_cvtpd_ps(_mm_div_pd(_mm_mul_pd(dot, perSquares), standard));
        _mm_storel_epi64(reinterpret_cast<__m128i*>(&to[k]), _mm_castps_si128(criteria));
    }
    int64_t counts[2];
    _mm_storeu_si128(reinterpret_cast<__m128i*>(counts), above);
    atFloor_ += static_cast<int64_t>(k) + counts[0] + counts[1];
#endif
    for (; k < to.size(); ++k) {
        const double error = SquaredError(dots_[k], sums_[k], squares_[k]);
        to[k] = CriterionOf(dots_[k], error);
        atFloor_ += error >= leastSquaredError ? 0 : 1;
    }
}

void ScaledTemplate::FindDots(size_t count, const Poll& poll) {
    const size_t bins = unit_.size();
    if (length_ == 0) return WindowDots(centred_, wide_, std::span(dots_).first(count));
    if (!plan_) {
        auto plan = Radix2Fft::Of(length_);
        if (poll) poll();
        spectrumRe_.assign(length_, 0.0);
        spectrumIm_.assign(length_, 0.0);
        std::ranges::copy(centred_, spectrumRe_.begin());
        plan->Forward(spectrumRe_, spectrumIm_, poll);
        re_.resize(length_);
        im_.resize(length_);
        plan_ = std::move(plan);
    }
    const size_t results = 2 * (length_ - bins + 1);
    for (size_t at = 0; at < count; at += results) TransformDots(at, std::min(count, at + results), poll);
}

// Two stretches go through one transform, as its real and its imaginary part. Rounding leaves a small share
// of their greatest samples everywhere. Windows that are too small for that hold none of these: they take
// their results from another transform, of the samples that are no greater than theirs, and so on.
void ScaledTemplate::TransformDots(size_t from, size_t end, const Poll& poll) {
    const size_t stretch = length_ - unit_.size() + 1;
    double limit = std::numeric_limits<double>::infinity();  // of squares: what is below it is to be done
    for (bool isDone = false; !isDone;) {
        // A running sum may have rounded to below one of its terms.
        const double least = leastTransformShare * LoadForTransform(from, 2.0 * limit);
        Convolve(poll);
        isDone = true;
        for (size_t k = from; k < end; ++k) {
            if (!(squares_[k] < limit)) continue;
            const size_t at = k - from;
            dots_[k] = at < stretch ? re_[at] : im_[at - stretch];
            if (least > 0.0 && squares_[k] < least) isDone = false;
        }
        limit = least;
    }
}

// Samples whose squares are not below the limit are left out. Answers the sum of the other squares.
double ScaledTemplate::LoadForTransform(size_t from, double limit) {
    double all = 0.0;
    const auto load = [&](size_t at, std::vector<double>& to) {
        for (size_t i = 0; i < length_; ++i) {
            const double value = at + i < wide_.size() ? wide_[at + i] : 0.0;
            const double square = value * value;
            const bool isIn = square < limit;
            to[i] = isIn ? value : 0.0;
            all += isIn ? square : 0.0;
        }
    };
    load(from, re_);
    load(from + length_ - unit_.size() + 1, im_);
    return all;
}

void ScaledTemplate::Convolve(const Poll& poll) {
    if (poll) poll();
    plan_->Forward(re_, im_, poll);
    for (size_t i = 0; i < length_; ++i) {
        const double re = re_[i], im = im_[i];
        re_[i] = re * spectrumRe_[i] + im * spectrumIm_[i];
        im_[i] = im * spectrumRe_[i] - re * spectrumIm_[i];
    }
    plan_->Inverse(re_, im_, poll);
}

}  // namespace kymora
