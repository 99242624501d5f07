// Running order statistics against sorting, and the heaps against the same rules with plain swaps.

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>
#include <stdexcept>

#include "numerics/running_order.h"

namespace kymora {
namespace {

// The rules word by word: three tables, and entries that change places one step at a time.
class PlainOrder {
  public:
    PlainOrder(int n, int k) : n_(n), k_(k), data_(Size(n)), pos_(Size(n)), heap_(Size(n)) {
        for (int i = 0; i < n; ++i) heap_[Size(i)] = pos_[Size(i)] = n - 1 - i;
    }
    float Push(float sample) {
        data_[Size(index_)] = sample;
        const int start = pos_[Size(index_)];
        if (!Sift(start, true)) Sift(start, false);
        index_ = (index_ + 1) % n_;
        return At(k_ - 1);
    }

  private:
    static size_t Size(int i) { return static_cast<size_t>(i); }
    float At(int p) const { return data_[Size(heap_[Size(p)])]; }
    void Swap(int p, int q) {
        std::swap(heap_[Size(p)], heap_[Size(q)]);
        pos_[Size(heap_[Size(p)])] = p;
        pos_[Size(heap_[Size(q)])] = q;
    }
    // Walks as long as the entry passes its neighbour on the way: on the high side of the k-th towards
    // greater ones, on the low side towards lower ones.
    bool Sift(int p, bool high) {
        bool moved = false;
        for (;; moved = true) {
            const auto passes = [&](int a, int b) { return high ? At(a) < At(b) : At(a) > At(b); };
            int next = 0;
            if (high ? p < k_ - 1 : p > k_ - 1) {
                next = high ? (p + k_ + 1) >> 1 : ((p + k_) >> 1) - 1;
            } else {
                next = high ? 2 * p - k_ + 2 : 2 * p - k_;
                if (next < 0 || next >= n_) return moved;
                const int other = high ? next + 1 : next - 1;
                if (other >= 0 && other < n_ && passes(next, other)) next = other;
            }
            if (!passes(p, next)) return moved;
            Swap(p, next);
            p = next;
        }
    }

    int n_, k_;
    int index_ = 0;
    std::vector<float> data_;
    std::vector<int> pos_, heap_;
};

TEST(RunningOrder, IsTheKthLargestOfTheWindow) {
    std::mt19937 random(3);
    for (const int n : {1, 2, 3, 4, 5, 8, 21, 100})
        for (int k = 1; k <= n; k += n < 10 ? 1 : 13) {
            RunningOrder order(static_cast<size_t>(n), static_cast<size_t>(k));
            std::vector<float> window(static_cast<size_t>(n), 0.0f);
            for (int i = 0; i < 400; ++i) {
                // Many ties in the first half, few in the second.
                const auto sample = static_cast<float>(random() % (i < 200 ? 7 : 1000)) - 3.0f;
                window.erase(window.begin());
                window.push_back(sample);
                std::vector<float> sorted = window;
                std::sort(sorted.rbegin(), sorted.rend());
                ASSERT_EQ(order.Push(sample), sorted[static_cast<size_t>(k - 1)])
                    << n << " " << k << " " << i;
            }
        }
}

TEST(RunningOrder, FollowsTheRulesForSamplesThatAreNoNumbers) {
    std::mt19937 random(4);
    const float special[] = {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(),
                             -std::numeric_limits<float>::infinity()};
    for (const int n : {1, 2, 3, 7, 20})
        for (int k = 1; k <= n; ++k) {
            RunningOrder order(static_cast<size_t>(n), static_cast<size_t>(k));
            PlainOrder plain(n, k);
            for (int i = 0; i < 500; ++i) {
                const auto draw = random();
                const float sample = draw % 8 < 3 ? special[draw % 8] : static_cast<float>(draw % 50);
                const float expected = plain.Push(sample);
                const float found = order.Push(sample);
                ASSERT_TRUE(found == expected || (std::isnan(found) && std::isnan(expected)))
                    << n << " " << k << " " << i;
            }
        }
}

TEST(RunningOrder, RefusesRanksOutsideTheWindow) {
    EXPECT_THROW(RunningOrder(0, 1), std::invalid_argument);
    EXPECT_THROW(RunningOrder(5, 0), std::invalid_argument);
    EXPECT_THROW(RunningOrder(5, 6), std::invalid_argument);
}

TEST(SortedWindow, KeepsAllRanksAndPutsNotANumbersLast) {
    std::mt19937 random(5);
    for (const size_t n : {1u, 2u, 5u, 33u}) {
        SortedWindow window(n);
        std::vector<float> plain(n, 0.0f);
        for (int i = 0; i < 300; ++i) {
            const auto draw = random() % 12;
            plain.erase(plain.begin());
            plain.push_back(draw == 0 ? std::numeric_limits<float>::quiet_NaN() : static_cast<float>(draw));
            window.Push(plain.back());
            std::vector<float> numbers;
            for (const float value : plain)
                if (!std::isnan(value)) numbers.push_back(value);
            std::sort(numbers.begin(), numbers.end());
            for (size_t at = 0; at < n; ++at) {
                if (at < numbers.size())
                    ASSERT_EQ(window.At(at), numbers[at]);
                else
                    ASSERT_TRUE(std::isnan(window.At(at)));
            }
            const float oldest = window.Newest(n - 1);
            ASSERT_TRUE(oldest == plain[0] || std::isnan(plain[0]));
        }
    }
}

}  // namespace
}  // namespace kymora
