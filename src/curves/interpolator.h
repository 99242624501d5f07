#pragma once
// Curves through fixed points, whose x increase strictly. Between two points each is a polynomial of third
// degree at most; outside the points it goes on as a straight line with the slope that it has at its end.

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace kymora {

// By number, wherever one is chosen.
enum class InterpolatorKind : int32_t { gaps, linear, cubicSpline, catmullRom, modifiedAkima, bezier, pchip };
inline constexpr int interpolatorKinds = 7;

class Interpolator {
  public:
    virtual ~Interpolator() = default;
    virtual double operator()(double x) const = 0;
    // The values at `first` x `interval`, (`first` + 1) x `interval` and so on. The segments are gone through
    // from the first to the last, without a search for each place.
    virtual void Fill(int64_t first, double interval, std::span<float> to) const = 0;
};

// The curve of a kind through points. Null for `gaps`, which is none. What has too few points is thrown as
// std::logic_error with the words of the kind.
std::unique_ptr<Interpolator> MakeInterpolator(InterpolatorKind kind, std::span<const double> x,
                                               std::span<const double> y);
// Why so many points make no curve of the kind; empty when they do.
std::string InterpolatorFault(InterpolatorKind kind, size_t points);

// Segments a + b dx + c dx^2 + d dx^3, with dx from the point at which a segment begins.
class PowerCurve : public Interpolator {
  public:
    double operator()(double x) const override;
    void Fill(int64_t first, double interval, std::span<float> to) const override;

  protected:
    struct Segment {
        double x = 0.0, a = 0.0, b = 0.0, c = 0.0, d = 0.0;
        double At(double at) const {
            const double dx = at - x;
            return a + b * dx + c * dx * dx + d * dx * dx * dx;
        }
    };
    std::vector<double> x_;
    // The line before the first point, what lies between the points, and the line behind the last one.
    std::vector<Segment> segments_;
};

// Straight segments.
class LinearInterpolator : public PowerCurve {
  public:
    // Throws std::invalid_argument for fewer than two points.
    LinearInterpolator(std::span<const double> x, std::span<const double> y);
};

// The natural spline: its second derivative is 0 at both ends.
class CubicSpline : public PowerCurve {
  public:
    CubicSpline() = default;
    CubicSpline(std::span<const double> x, std::span<const double> y) { SetPoints(x, y); }
    // Throws std::invalid_argument for fewer than two points.
    void SetPoints(std::span<const double> x, std::span<const double> y);
    // Throws std::logic_error while there are no points.
    double operator()(double x) const override;
};

// Segments of which the values and the slopes at both ends are known.
class HermiteCurve : public Interpolator {
  public:
    HermiteCurve() = default;
    HermiteCurve(std::span<const double> x, std::span<const double> y, std::vector<double> slopes);
    double operator()(double x) const override;
    void Fill(int64_t first, double interval, std::span<float> to) const override;

  protected:
    size_t Size() const { return x_.size(); }
    double Between(size_t segment, double x) const;
    double Outside(size_t point, double x) const { return y_[point] + slopes_[point] * (x - x_[point]); }

    std::vector<double> x_, y_, slopes_;
};

// The slope at a point is that between its neighbours; at an end, that of the segment there.
class CatmullRomSpline : public HermiteCurve {
  public:
    CatmullRomSpline() = default;
    CatmullRomSpline(std::span<const double> x, std::span<const double> y) { SetPoints(x, y); }
    // Throws std::invalid_argument for fewer than four points.
    void SetPoints(std::span<const double> x, std::span<const double> y);
    // Throws std::logic_error while there are no points.
    double operator()(double x) const override;
};

}  // namespace kymora
