#pragma once
// Counting values into bins of equal width, and the forms in which counts are shown. Minimum, maximum and
// width have the unit of the values.
//
// The rule: a value below the minimum is below, one at or beyond the maximum is above. Every other goes to
// bin floor((value - minimum) / width), where a quotient within 1e-6 of the next whole number counts as that
// number, and the index is held to the last bin. Values come from single precision: 0.7 ms is 0.69999999 in
// it, and in bins of 0.1 ms belongs into bin 7. Infinities are below or above. A not-a-number is no value; it
// is counted apart.

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace kymora {

inline constexpr int mostBins = 10'000'000;
inline constexpr double binTolerance = 1e-6;  // of the width of a bin

struct BinGrid {
    int count = 50;
    double minimum = 0.0;
    double maximum = 1.0;

    double Width() const { return (maximum - minimum) / count; }
    // Edge i, from 0 to count; the last is the maximum itself.
    double Edge(int i) const { return i == count ? maximum : minimum + i * Width(); }
    double Middle(int i) const { return minimum + (i + 0.5) * Width(); }
    bool Holds(double value) const { return value >= minimum && value < maximum; }
    bool operator==(const BinGrid&) const = default;
};

// Why no values can be counted into a grid.
enum class GridFault {
    none,
    count,   // not 1 to 10,000,000
    limits,  // not finite, or their difference is not
    order,   // the minimum is not below the maximum
    width,   // so small that neighbouring edges are one number
};
GridFault FaultOf(const BinGrid& grid);

// The number of bins at which they have the width, or the next smaller one, from the minimum to the maximum:
// the range divided by the width, rounded, at least 1. None where the grid would have a fault.
std::optional<int> BinCountForWidth(double minimum, double maximum, double width);

// Bin of a value that the grid holds.
inline int BinOf(const BinGrid& grid, double value) {
    const double quotient = (value - grid.minimum) / grid.Width() + binTolerance;
    return quotient < grid.count ? static_cast<int>(quotient) : grid.count - 1;
}

// Counts of values that arrive block by block. Doubles, exact to 2^53, since other heights of bars than
// counts go the same ways.
class Histogram {
  public:
    // A grid with a fault has no bins: all values are below it.
    explicit Histogram(const BinGrid& grid);

    void Add(std::span<const double> values);
    void Add(std::span<const float> values);

    const BinGrid& Grid() const { return grid_; }
    std::span<const double> Counts() const { return {slots_.data(), bins_}; }
    double Below() const { return slots_[bins_]; }
    double Above() const { return slots_[bins_ + 1]; }
    double NotNumbers() const { return slots_[bins_ + 2]; }
    double InRange() const;  // the sum of the counts

  private:
    template <typename Value>
    void AddValues(std::span<const Value> values);

    BinGrid grid_;
    size_t bins_ = 0;
    std::vector<double> slots_;  // the bins, below, above, not-a-numbers
};

Histogram GetHistogram(std::span<const double> values, const BinGrid& grid);

// Each count with those before it; `before` counts too, such as the values below the range.
std::vector<double> CumulativeCounts(std::span<const double> counts, double before = 0.0);

// The forms in which counts are shown.
enum class CountDisplay { count, percent, density, lnCount, sqrtCount, lnHz };

// A count as it is shown; `inRange` is the sum of the counts in the histogram, `width` that of a bin. Per
// cent and density refer to that sum, and are 0 where it is 0. The logarithm of no counts is a not-a-number:
// there is no bar. ln(Hz) is ln(count / width in seconds), with the width in ms.
double DisplayedCount(CountDisplay display, double count, double inRange, double width);

// A probability density (per unit of the values) in the same form, for a curve over the bars: the count
// density x inRange x width would have.
double DisplayedDensity(CountDisplay display, double density, double inRange, double width);

}  // namespace kymora
