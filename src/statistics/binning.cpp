#include "statistics/binning.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

#include "numerics/rounding.h"
#include "statistics/statistics.h"

namespace kymora {

GridFault FaultOf(const BinGrid& grid) {
    if (grid.count < 1 || grid.count > mostBins) return GridFault::count;
    if (!std::isfinite(grid.minimum) || !std::isfinite(grid.maximum)) return GridFault::limits;
    if (!std::isfinite(grid.maximum - grid.minimum)) return GridFault::limits;
    if (!(grid.minimum < grid.maximum)) return GridFault::order;
    const double width = grid.Width();
    if (!(grid.minimum + width > grid.minimum) || !(grid.maximum - width < grid.maximum))
        return GridFault::width;
    return GridFault::none;
}

std::optional<int> BinCountForWidth(double minimum, double maximum, double width) {
    if (!(width > 0.0) || !std::isfinite(width)) return {};
    const int64_t count = std::max<int64_t>(1, RoundHalfAway64((maximum - minimum) / width));
    if (count > mostBins) return {};
    const BinGrid grid{static_cast<int>(count), minimum, maximum};
    if (FaultOf(grid) != GridFault::none) return {};
    return grid.count;
}

Histogram::Histogram(const BinGrid& grid) : grid_(grid) {
    if (FaultOf(grid) == GridFault::none) bins_ = static_cast<size_t>(grid.count);
    slots_.assign(bins_ + 3, 0.0);
}

template <typename Value>
void Histogram::AddValues(std::span<const Value> values) {
    // Places first and counts second: the first loop chooses without branches, so that it takes wide
    // registers.
    constexpr size_t piece = 1024;
    std::array<int32_t, piece> slot;
    const double minimum = grid_.minimum;
    const double maximum = grid_.maximum;
    const double width = grid_.Width();
    const double below = static_cast<double>(bins_);
    const double last = below - 1.0;
    const double above = below + 1.0;
    const double notNumber = below + 2.0;
    double* slots = slots_.data();
    if (bins_ == 0) {
        for (const Value value : values) slots[value == value ? 0 : 2] += 1.0;
        return;
    }
    for (size_t at = 0; at < values.size(); at += piece) {
        const size_t count = std::min(piece, values.size() - at);
        const Value* from = values.data() + at;
        for (size_t i = 0; i < count; ++i) {
            const double value = from[i];
            double place = (value - minimum) / width + binTolerance;
            place = place < last ? place : last;
            place = value >= minimum ? place : below;
            place = value >= maximum ? above : place;
            place = value == value ? place : notNumber;
            slot[i] = static_cast<int32_t>(place);
        }
        for (size_t i = 0; i < count; ++i) slots[slot[i]] += 1.0;
    }
}

void Histogram::Add(std::span<const double> values) { AddValues(values); }
void Histogram::Add(std::span<const float> values) { AddValues(values); }

double Histogram::InRange() const {
    const auto counts = Counts();
    return std::accumulate(counts.begin(), counts.end(), 0.0);
}

Histogram GetHistogram(std::span<const double> values, const BinGrid& grid) {
    Histogram histogram(grid);
    histogram.Add(values);
    return histogram;
}

std::vector<double> CumulativeCounts(std::span<const double> counts, double before) {
    std::vector<double> sums(counts.begin(), counts.end());
    for (double& sum : sums) before = sum += before;
    return sums;
}

double DisplayedCount(CountDisplay display, double count, double inRange, double width) {
    constexpr double secondsPerMs = 1e-3;
    switch (display) {
    case CountDisplay::percent:
        return inRange > 0.0 ? 100.0 * count / inRange : 0.0;
    case CountDisplay::density:
        return inRange > 0.0 ? count / (inRange * width) : 0.0;
    case CountDisplay::lnCount:
        return count > 0.0 ? std::log(count) : noStatistic;
    case CountDisplay::sqrtCount:
        return std::sqrt(count);
    case CountDisplay::lnHz:
        return count > 0.0 ? std::log(count / (width * secondsPerMs)) : noStatistic;
    case CountDisplay::count:
        break;
    }
    return count;
}

double DisplayedDensity(CountDisplay display, double density, double inRange, double width) {
    return DisplayedCount(display, density * inRange * width, inRange, width);
}

}  // namespace kymora
