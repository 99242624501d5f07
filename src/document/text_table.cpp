#include "document/text_table.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>

#include "archive/text_encoding.h"

namespace kymora {

namespace {

__extension__ typedef unsigned __int128 Wide;

constexpr uint64_t million = 1000000;
constexpr double leastUnusual = 1e13;  // a million times more still fits 64 bits

// Writes the digits of 0 to 99 of every two decimals.
constexpr auto digitPairs = [] {
    std::array<char, 200> pairs{};
    for (size_t i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

void PutPair(char* to, uint64_t number) { std::memcpy(to, &digitPairs[2 * number], 2); }

// A million times the number, exactly, then rounded to whole with halves to even.
uint64_t RoundedMillionths(double magnitude) {
    constexpr int fractionBits = 52;
    constexpr uint64_t fraction = (uint64_t{1} << fractionBits) - 1;
    const auto bits = std::bit_cast<uint64_t>(magnitude);
    const auto stored = static_cast<int>(bits >> fractionBits);
    const uint64_t mantissa = stored == 0 ? bits & fraction : (bits & fraction) | (fraction + 1);
    // A million is 5^6 times 2^6; a mantissa times 5^6 is below 2^67.
    const Wide product = Wide{mantissa} * 15625;
    const int shift = 1075 - std::max(stored, 1) - 6;  // at least 3 below leastUnusual
    if (shift > 68) return 0;                          // less than a half
    const auto whole = static_cast<uint64_t>(product >> shift);
    const Wide rest = product & ((Wide{1} << shift) - 1), half = Wide{1} << (shift - 1);
    return whole + (rest > half || (rest == half && whole % 2 != 0) ? 1 : 0);
}

// Answers the end of the digits.
char* PutWhole(char* to, uint64_t number) {
    char digits[20];
    char* first = std::end(digits);
    for (; number >= 100; number /= 100) PutPair(first -= 2, number % 100);
    if (number >= 10)
        PutPair(first -= 2, number);
    else
        *--first = static_cast<char>('0' + number);
    const auto count = static_cast<size_t>(std::end(digits) - first);
    std::memcpy(to, first, count);
    return to + count;
}

}  // namespace

char* WriteFixed(char* to, double value) {
    const double magnitude = std::abs(value);
    if (!(magnitude < leastUnusual)) {
        if (std::isnan(value)) return std::copy_n("nan", 3, to);
        return std::to_chars(to, to + fixedRoom, value, std::chars_format::fixed, 6).ptr;
    }
    if (std::signbit(value)) *to++ = '-';
    const uint64_t millionths = RoundedMillionths(magnitude);
    to = PutWhole(to, millionths / million);
    const uint64_t decimals = millionths % million;
    *to++ = '.';
    PutPair(to, decimals / 10000);
    PutPair(to + 2, decimals / 100 % 100);
    PutPair(to + 4, decimals % 100);
    return to + 6;
}

void AppendFixed(std::string& to, double value) {
    char text[fixedRoom];
    to.append(text, WriteFixed(text, value));
}

std::string CellText(std::string_view text) {
    std::string cell(text);
    for (char& c : cell)
        if (c == '\t' || c == '\n' || c == '\r') c = ' ';
    return ToDisplayText(cell);
}

}  // namespace kymora
