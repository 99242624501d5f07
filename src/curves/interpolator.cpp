#include "curves/interpolator.h"

// Boost's header calls isnan without saying where from.
#include <math.h>  // NOLINT(modernize-deprecated-headers,hicpp-deprecated-headers)

#include <algorithm>
#include <boost/math/interpolators/makima.hpp>
#include <boost/math/interpolators/pchip.hpp>
#include <cmath>
#include <stdexcept>

namespace kymora {

namespace {

using Points = std::span<const double>;

constexpr const char* fewForLinear = "Linear: x and y must have the same size and at least two points.";
constexpr const char* fewForCubic = "CubicSpline: x and y must have the same size and at least two points.";
constexpr const char* fewForCatmullRom =
    "CatmullRomSpline: x and y must have the same size and at least four points.";
constexpr const char* fewForBezier = "Bezier: x and y must have the same size and at least four points.";

void Require(Points x, Points y, size_t least, const char* words) {
    if (x.size() != y.size() || x.size() < least) throw std::invalid_argument(words);
}

// How many points lie at a place or before it: the segment that holds the place, counted from the line before
// the first point.
size_t PointsUpTo(Points x, double place) {
    return static_cast<size_t>(std::upper_bound(x.begin(), x.end(), place) - x.begin());
}

// Calls `take(segment, begin, end)` for each segment with the places begin to end - 1 of (first + k) x
// interval that lie on it, from the left to the right.
template <typename Take>
void ForSegments(Points x, int64_t first, double interval, size_t count, Take take) {
    const auto start = static_cast<double>(first);
    const auto place = [&](size_t k) { return (start + static_cast<double>(k)) * interval; };
    size_t segment = PointsUpTo(x, place(0));
    for (size_t begin = 0; begin < count; ++segment) {
        size_t end = count;
        if (segment < x.size()) {
            const double guess = std::ceil(x[segment] / interval) - start;
            end = static_cast<size_t>(
                std::clamp(guess, static_cast<double>(begin), static_cast<double>(count)));
            while (end < count && place(end) < x[segment]) ++end;
            while (end > begin && place(end - 1) >= x[segment]) --end;
        }
        if (end > begin) take(segment, begin, end);
        begin = end;
    }
}

// to[k] = curve(place of k) for a stretch of places, which fit an int32 so that they are made into doubles
// several at a time.
template <typename Curve>
void FillStretch(int64_t first, double interval, std::span<float> to, size_t begin, size_t end, Curve curve) {
    const double start = static_cast<double>(first) + static_cast<double>(begin);
    const auto count = static_cast<int32_t>(end - begin);
    float* values = to.data() + begin;
    for (int32_t k = 0; k < count; ++k)
        values[k] = static_cast<float>(curve((start + static_cast<double>(k)) * interval));
}

}  // namespace

// --- power form ---

double PowerCurve::operator()(double x) const { return segments_[PointsUpTo(x_, x)].At(x); }

void PowerCurve::Fill(int64_t first, double interval, std::span<float> to) const {
    ForSegments(x_, first, interval, to.size(), [&](size_t segment, size_t begin, size_t end) {
        const Segment s = segments_[segment];
        FillStretch(first, interval, to, begin, end, [&](double x) { return s.At(x); });
    });
}

LinearInterpolator::LinearInterpolator(Points x, Points y) {
    Require(x, y, 2, fewForLinear);
    x_.assign(x.begin(), x.end());
    segments_.resize(x.size() + 1);
    for (size_t i = 0; i + 1 < x.size(); ++i)
        segments_[i + 1] = {x[i], y[i], (y[i + 1] - y[i]) / (x[i + 1] - x[i])};
    segments_.front() = segments_[1];
    segments_.back() = {x.back(), y.back(), segments_[x.size() - 1].b};
}

void CubicSpline::SetPoints(Points x, Points y) {
    Require(x, y, 2, fewForCubic);
    const size_t n = x.size() - 1;  // segments
    std::vector<double> h(n), mu(n + 1), z(n + 1), c(n + 1);
    for (size_t i = 0; i < n; ++i) h[i] = x[i + 1] - x[i];
    // The tridiagonal system of the second derivatives: down, and up again.
    for (size_t i = 1; i < n; ++i) {
        const double right = 3.0 / h[i] * (y[i + 1] - y[i]) - 3.0 / h[i - 1] * (y[i] - y[i - 1]);
        const double l = 2.0 * (x[i + 1] - x[i - 1]) - h[i - 1] * mu[i - 1];
        mu[i] = h[i] / l;
        z[i] = (right - h[i - 1] * z[i - 1]) / l;
    }
    x_.assign(x.begin(), x.end());
    segments_.assign(n + 2, {});
    for (size_t i = n; i-- > 0;) {
        c[i] = z[i] - mu[i] * c[i + 1];
        const double b = (y[i + 1] - y[i]) / h[i] - h[i] * (c[i + 1] + 2.0 * c[i]) / 3.0;
        segments_[i + 1] = {x[i], y[i], b, c[i], (c[i + 1] - c[i]) / (3.0 * h[i])};
    }
    segments_.front() = {x[0], y[0], segments_[1].b};
    const Segment last = segments_[n];
    const double step = h[n - 1];
    segments_.back() = {x[n], y[n], last.b + 2.0 * last.c * step + 3.0 * last.d * step * step};
}

double CubicSpline::operator()(double x) const {
    if (segments_.empty()) throw std::logic_error("CubicSpline: No data set.");
    return PowerCurve::operator()(x);
}

// --- values and slopes ---

HermiteCurve::HermiteCurve(Points x, Points y, std::vector<double> slopes)
    : x_(x.begin(), x.end()), y_(y.begin(), y.end()), slopes_(std::move(slopes)) {}

namespace {

// Between two points: the form in which Boost.Math evaluates it, so that its interpolators give their bits.
struct HermiteSegment {
    double x0, y0, s0, y1, s1, dx;
    double At(double x) const {
        const double t = (x - x0) / dx;
        return (1 - t) * (1 - t) * (y0 * (1 + 2 * t) + s0 * (x - x0)) +
               t * t * (y1 * (3 - 2 * t) + dx * s1 * (t - 1));
    }
};

}  // namespace

double HermiteCurve::Between(size_t segment, double x) const {
    const size_t i = segment - 1;
    return HermiteSegment{x_[i], y_[i], slopes_[i], y_[i + 1], slopes_[i + 1], x_[i + 1] - x_[i]}.At(x);
}

double HermiteCurve::operator()(double x) const {
    const size_t segment = PointsUpTo(x_, x);
    if (segment == 0) return Outside(0, x);
    return segment == Size() ? Outside(Size() - 1, x) : Between(segment, x);
}

void HermiteCurve::Fill(int64_t first, double interval, std::span<float> to) const {
    ForSegments(x_, first, interval, to.size(), [&](size_t segment, size_t begin, size_t end) {
        if (segment == 0 || segment == Size()) {
            const size_t point = segment == 0 ? 0 : Size() - 1;
            FillStretch(first, interval, to, begin, end, [&](double x) { return Outside(point, x); });
            return;
        }
        const size_t i = segment - 1;
        const HermiteSegment s{x_[i], y_[i], slopes_[i], y_[i + 1], slopes_[i + 1], x_[i + 1] - x_[i]};
        FillStretch(first, interval, to, begin, end, [&](double x) { return s.At(x); });
    });
}

void CatmullRomSpline::SetPoints(Points x, Points y) {
    Require(x, y, 4, fewForCatmullRom);
    const size_t n = x.size();
    std::vector<double> slopes(n);
    for (size_t i = 0; i < n; ++i) {
        const size_t before = i == 0 ? 0 : i - 1, behind = std::min(i + 1, n - 1);
        slopes[i] = (y[behind] - y[before]) / (x[behind] - x[before]);
    }
    static_cast<HermiteCurve&>(*this) = HermiteCurve(x, y, std::move(slopes));
}

double CatmullRomSpline::operator()(double x) const {
    if (Size() == 0) throw std::logic_error("CatmullRomSpline: Not enough points set.");
    return HermiteCurve::operator()(x);
}

namespace {

// The slopes that an interpolator of Boost.Math has at its points; at a point its derivative is the slope.
template <typename Interpolates>
std::unique_ptr<Interpolator> WithSlopesOf(Points x, Points y) {
    const Interpolates curve({x.begin(), x.end()}, {y.begin(), y.end()});
    std::vector<double> slopes(x.size());
    std::transform(x.begin(), x.end(), slopes.begin(), [&](double at) { return curve.prime(at); });
    return std::make_unique<HermiteCurve>(x, y, std::move(slopes));
}

// Bezier segments whose handles stand at a third of the way to the next point, on the tangents of parabolas
// through three neighbouring points: x is then even along a segment, and the segment a Hermite one.
std::vector<double> ParabolaSlopes(Points x, Points y) {
    const size_t n = x.size();
    std::vector<double> slopes(n);
    const auto step = [&](size_t i) { return x[i + 1] - x[i]; };
    const auto rise = [&](size_t i) { return (y[i + 1] - y[i]) / step(i); };
    for (size_t i = 1; i + 1 < n; ++i)
        slopes[i] = (step(i) * rise(i - 1) + step(i - 1) * rise(i)) / (step(i - 1) + step(i));
    const auto atEnd = [&](size_t end, size_t next) {
        return rise(end) + (rise(end) - rise(next)) * step(end) / (step(end) + step(next));
    };
    slopes[0] = atEnd(0, 1);
    slopes[n - 1] = atEnd(n - 2, n - 3);
    return slopes;
}

}  // namespace

std::unique_ptr<Interpolator> MakeInterpolator(InterpolatorKind kind, Points x, Points y) {
    namespace boosted = boost::math::interpolators;
    switch (kind) {
    case InterpolatorKind::gaps:
        break;
    case InterpolatorKind::linear:
        return std::make_unique<LinearInterpolator>(x, y);
    case InterpolatorKind::cubicSpline:
        return std::make_unique<CubicSpline>(x, y);
    case InterpolatorKind::catmullRom:
        return std::make_unique<CatmullRomSpline>(x, y);
    case InterpolatorKind::modifiedAkima:
        return WithSlopesOf<boosted::makima<std::vector<double>>>(x, y);
    case InterpolatorKind::bezier:
        Require(x, y, 4, fewForBezier);
        return std::make_unique<HermiteCurve>(x, y, ParabolaSlopes(x, y));
    case InterpolatorKind::pchip:
        return WithSlopesOf<boosted::pchip<std::vector<double>>>(x, y);
    }
    return nullptr;
}

std::string InterpolatorFault(InterpolatorKind kind, size_t points) {
    constexpr double places[] = {0.0, 1.0, 2.0, 3.0};
    const Points tried(places, std::min(points, std::size(places)));
    try {
        MakeInterpolator(kind, tried, tried);
        return {};
    } catch (const std::logic_error& error) {
        return error.what();
    }
}

}  // namespace kymora
