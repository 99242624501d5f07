#pragma once
// The sum of single-precision numbers and that of their squares without any rounding, as long integers:
// numbers can be taken away again, and two sums that are equal are found so.

#include <array>
#include <cstdint>

namespace kymora {

class ExactSums {
  public:
    // Finite numbers, fewer than 2^30 between two calls of Carry.
    void Add(float number) { Put(number, 1); }
    void TakeAway(float number) { Put(number, -1); }
    // Brings the digits into their only form, in which equal sums compare equal.
    void Carry();
    bool operator==(const ExactSums&) const = default;

    // A whole number of 2^-298, least digit first, in base 2^32.
    using Squares = std::array<uint32_t, 20>;
    // `count` times the squared deviations of so many numbers (below 2^31) from their mean; after Carry.
    Squares SquaredDeviations(int64_t count) const;
    static bool IsLess(const Squares& one, const Squares& other);
    static double ToDouble(const Squares& squares);

  private:
    void Put(float number, int64_t sign);

    // Digits of 32 bits, least first, in units of 2^-149 and 2^-298; the last one has the sign.
    std::array<int64_t, 10> sum_{};
    std::array<int64_t, 20> squares_{};
};

}  // namespace kymora
