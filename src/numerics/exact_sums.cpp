#include "numerics/exact_sums.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace kymora {

namespace {

constexpr int digitBits = 32;
constexpr uint64_t digitMask = 0xffffffff;
constexpr int leastSquareExponent = -298;

template <size_t size>
void CarryDigits(std::array<int64_t, size>& digits) {
    int64_t carry = 0;
    for (size_t i = 0; i + 1 < size; ++i) {
        const int64_t digit = digits[i] + carry;
        digits[i] = digit & static_cast<int64_t>(digitMask);
        carry = digit >> digitBits;
    }
    digits.back() += carry;
}

}  // namespace

// A number is a mantissa of 24 bits, shifted by its exponent; its square one of 48 bits by twice as much.
void ExactSums::Put(float number, int64_t sign) {
    const auto bits = std::bit_cast<uint32_t>(number);
    const uint32_t exponent = bits >> 23 & 0xff;
    const uint64_t mantissa = (bits & 0x7fffff) | (exponent == 0 ? 0 : 0x800000);
    const uint32_t shift = exponent == 0 ? 0 : exponent - 1;
    const uint64_t value = mantissa << shift % digitBits;
    const int64_t itsSign = bits >> 31 != 0 ? -sign : sign;
    int64_t* digit = &sum_[shift / digitBits];
    digit[0] += itsSign * static_cast<int64_t>(value & digitMask);
    digit[1] += itsSign * static_cast<int64_t>(value >> digitBits);

    const uint32_t twice = 2 * shift, rest = twice % digitBits;
    const uint64_t square = mantissa * mantissa;
    const uint64_t low = (square & digitMask) << rest, high = (square >> digitBits) << rest;
    digit = &squares_[twice / digitBits];
    digit[0] += sign * static_cast<int64_t>(low & digitMask);
    digit[1] += sign * static_cast<int64_t>((low >> digitBits) + (high & digitMask));
    digit[2] += sign * static_cast<int64_t>(high >> digitBits);
}

void ExactSums::Carry() {
    CarryDigits(sum_);
    CarryDigits(squares_);
}

// With the sum S and the sum Q of the squares of n numbers: n Q - S x S.
ExactSums::Squares ExactSums::SquaredDeviations(int64_t count) const {
    std::array<int64_t, 10> sum = sum_;
    if (sum.back() < 0) {
        for (int64_t& digit : sum) digit = -digit;
        CarryDigits(sum);
    }
    size_t first = 0, end = sum.size();
    while (first < end && sum[first] == 0) ++first;
    while (end > first && sum[end - 1] == 0) --end;
    Squares product{};
    for (size_t i = first; i < end; ++i) {
        uint64_t carry = 0;
        for (size_t j = first; j < end; ++j) {
            carry += static_cast<uint64_t>(sum[i]) * static_cast<uint64_t>(sum[j]) + product[i + j];
            product[i + j] = static_cast<uint32_t>(carry);
            carry >>= digitBits;
        }
        if (i + end < product.size()) product[i + end] = static_cast<uint32_t>(carry);
    }
    Squares squares{};
    uint64_t carry = 0;
    int64_t borrow = 0;
    for (size_t i = 0; i < squares.size(); ++i) {
        carry += static_cast<uint64_t>(squares_[i]) * static_cast<uint64_t>(count);
        borrow += static_cast<int64_t>(carry & digitMask) - static_cast<int64_t>(product[i]);
        squares[i] = static_cast<uint32_t>(borrow & static_cast<int64_t>(digitMask));
        carry >>= digitBits;
        borrow >>= digitBits;
    }
    return squares;
}

bool ExactSums::IsLess(const Squares& one, const Squares& other) {
    return std::lexicographical_compare(one.rbegin(), one.rend(), other.rbegin(), other.rend());
}

double ExactSums::ToDouble(const Squares& squares) {
    double value = 0.0;
    for (size_t i = squares.size(); i-- > 0;) value = std::ldexp(value, digitBits) + squares[i];
    return std::ldexp(value, leastSquareExponent);
}

}  // namespace kymora
