#include "eventedit/interval_filter.h"

#include <cmath>

namespace kymora {

namespace {

__extension__ using Wide = unsigned __int128;

// Sums of the squared intervals up to each onset. Whole numbers, so that what lies before an event costs its
// own intervals no digits.
std::vector<uint64_t> SquaresUpTo(const EventsByOnset& events) {
    std::vector<uint64_t> sums;
    sums.reserve(static_cast<size_t>(events.Size()));
    uint64_t sum = 0;
    for (int rank = 0; rank < events.Size(); ++rank) {
        const auto interval =
            rank == 0 ? 0 : static_cast<uint64_t>(int64_t{events.On(rank)} - events.On(rank - 1));
        sum += interval * interval;
        sums.push_back(sum);
    }
    return sums;
}

// s.d. / mean of n intervals with this sum and sum of squares.
double VariationOf(int64_t n, uint64_t sum, uint64_t squares) {
    if (n < 2 || sum == 0) return 0.0;
    const Wide deviations = Wide{squares} * static_cast<uint64_t>(n) - Wide{sum} * sum;  // times n
    const double mean = static_cast<double>(sum) / static_cast<double>(n);
    const double variance =
        static_cast<double>(deviations) / (static_cast<double>(n) * static_cast<double>(n - 1));
    return std::sqrt(variance) / mean;
}

}  // namespace

std::vector<uint8_t> ChooseByIntervals(const EventsByOnset& enclosing, const EventsByOnset& others,
                                       const IntervalLimits& limits, double sampleInterval) {
    const std::vector<uint64_t> squares = SquaresUpTo(others);
    std::vector<uint8_t> chosen(static_cast<size_t>(enclosing.Size()));
    int first = 0;
    for (int rank = 0; rank < enclosing.Size(); ++rank) {
        first = others.FirstFrom(enclosing.On(rank), first);
        const int last = others.FirstFrom(enclosing.Off(rank), first) - 1;
        const int64_t n = int64_t{last} - first;
        if (n < 1 || n < limits.minimumCount) continue;
        const auto sum = static_cast<uint64_t>(int64_t{others.On(last)} - others.On(first));
        const auto average =
            static_cast<float>(static_cast<double>(sum) * sampleInterval / static_cast<double>(n));
        const double variation =
            VariationOf(n, sum, squares[static_cast<size_t>(last)] - squares[static_cast<size_t>(first)]);
        chosen[static_cast<size_t>(rank)] = average >= limits.minimumAverage &&
                                            average <= limits.maximumAverage &&
                                            static_cast<float>(100.0 * variation) <= limits.maximumCv;
    }
    return chosen;
}

}  // namespace kymora
