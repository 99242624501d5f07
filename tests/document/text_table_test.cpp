#include "document/text_table.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdio>
#include <random>

namespace kymora::test {
namespace {

// The digits of the C library are the truth.
void ExpectAsPrinted(double value) {
    if (std::isnan(value)) return;
    char printed[fixedRoom + 1], written[fixedRoom];
    const int length = std::snprintf(printed, sizeof printed, "%f", value);
    const auto count = static_cast<size_t>(WriteFixed(written, value) - written);
    ASSERT_EQ(std::string_view(written, count), std::string_view(printed, static_cast<size_t>(length)));
}

TEST(TextTable, NumbersHaveExactlyTheDigitsOfPrintf) {
    for (const double value :
         {0.0, -0.0, 1e13, -1e13, 9999999999999.999, 5e-7, -5e-7, 4.9999999e-7, 5e-324, 1e300, 0.9999995,
          0.9999994999, 1.7976931348623157e308, -1.7976931348623157e308, HUGE_VAL})
        ExpectAsPrinted(value);
    std::mt19937_64 random(3);
    for (int i = 0; i < 60000 && !::testing::Test::HasFatalFailure(); ++i) {
        const uint64_t bits = random();
        ExpectAsPrinted(std::bit_cast<float>(static_cast<uint32_t>(bits)));
        ExpectAsPrinted(std::bit_cast<double>(bits));
        // Of the size that samples and times have.
        const uint64_t exponent = 1023 - 60 + bits % 110;
        ExpectAsPrinted(std::bit_cast<double>((random() & 0x800fffffffffffff) | exponent << 52));
        // Halves of the last digit: to even.
        ExpectAsPrinted(static_cast<double>(static_cast<int32_t>(bits)) /
                        static_cast<double>(1 << (bits >> 32) % 24));
    }
}

TEST(TextTable, WhatIsNoNumberHasNoSign) {
    std::string text;
    AppendFixed(text, NAN);
    AppendFixed(text, -NAN);
    EXPECT_EQ(text, "nannan");
}

}  // namespace
}  // namespace kymora::test
