#pragma once
// Of all windows of n neighbouring samples those with the least and the greatest sum, the earliest of equals.
// The running sum keeps what a double rounds away, so that equal windows of a long recording stay equal.

#include <cstdint>
#include <span>
#include <vector>

namespace kymora {

class WindowSums {
  public:
    // Windows of `length` samples, at least 1.
    explicit WindowSums(int64_t length);

    // The next sample is the one at this position, and does not neighbour those before.
    void StartAt(int64_t position);
    // The next samples, from position 0 on. A window with a sample that is no finite number does not take
    // part.
    void Add(std::span<const float> samples);

    // Where the windows start, or -1 when none was complete; and their sums.
    int64_t LeastStart() const { return least_.start; }
    int64_t GreatestStart() const { return greatest_.start; }
    double LeastSum() const { return least_.sum.high; }
    double GreatestSum() const { return greatest_.sum.high; }

  private:
    // The unevaluated sum of two doubles (Dekker, Numer. Math. 1971): `low` is what `high` has rounded away.
    struct LongSum {
        double high = 0.0, low = 0.0;
        void Add(double value);
        bool operator<(const LongSum& other) const {
            return high < other.high || (high == other.high && low < other.low);
        }
    };
    struct Best {
        int64_t start = -1;
        LongSum sum;
    };

    std::vector<float> ring_;
    size_t oldest_ = 0, taken_ = 0;
    int64_t position_ = 0;
    LongSum sum_;
    Best least_, greatest_;
};

}  // namespace kymora
