// Stored numbers to values, against one number after the other.

#include "import/number_conversion.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace kymora::test {
namespace {

std::vector<std::byte> Noise(size_t bytes) {
    std::vector<std::byte> noise(bytes);
    uint32_t draw = 7;
    for (std::byte& byte : noise) byte = static_cast<std::byte>((draw = draw * 1664525u + 1013904223u) >> 24);
    return noise;
}

int WordAt(NumberType type, const std::byte* from) {
    const int word = std::to_integer<int>(from[0]) + 256 * std::to_integer<int>(from[1]);
    if (type == NumberType::u16) return word;
    const int number = word < 32768 ? word : word - 65536;
    return type == NumberType::i14 ? static_cast<int>(std::floor(number / 4.0)) : number;
}

TEST(NumberConversion, WordsSideBySideBecomeWhatEachIs) {
    constexpr size_t channels = 11;  // no multiple of what is taken at once
    constexpr int64_t count = 37, stride = 26;
    const auto bytes = Noise(stride * count + 16);
    for (const NumberType type : {NumberType::i16, NumberType::i14, NumberType::u16})
        for (const double offset : {0.0, -32768 * 0.195, 1.5}) {
            const ValueScale scale{0.195, offset};
            std::vector<std::vector<float>> together(channels, std::vector<float>(count)), alone = together;
            std::vector<float*> to;
            for (auto& values : together) to.push_back(values.data());
            ConvertNeighbours(type, bytes.data() + 1, stride, count,
                              std::vector<StepScale>(channels, StepsOf(scale)), to);
            for (size_t c = 0; c < channels; ++c) {
                const std::byte* const from = bytes.data() + 1 + 2 * c;
                ConvertNumbers(type, ByteOrder::little, from, {stride}, count, scale, alone[c].data());
                for (int64_t i = 0; i < count; ++i) {
                    const auto at = static_cast<size_t>(i);
                    const double exact = WordAt(type, from + i * stride) * 0.195 + offset;
                    EXPECT_NEAR(together[c][at], exact, 3e-7 * std::fabs(exact));
                    EXPECT_EQ(together[c][at], alone[c][at]);
                }
            }
        }
}

TEST(NumberConversion, BlocksFollowOneAnother) {
    const auto bytes = Noise(400);
    std::vector<float> values(23);
    ConvertNumbers(NumberType::i16, ByteOrder::little, bytes.data(), {4, 5, 36}, 23, {}, values.data());
    for (size_t i = 0; i < values.size(); ++i)
        EXPECT_EQ(values[i], WordAt(NumberType::i16, bytes.data() + i / 5 * 36 + i % 5 * 4));
}

TEST(NumberConversion, DividedValuesAreThoseOfADivision) {
    std::vector<int16_t> numbers;
    for (int n = -32768; n < 32768; ++n) numbers.push_back(static_cast<int16_t>(n));
    std::vector<float> values(numbers.size());
    for (const float factor : {1.0f, 2.5f, -0.3f, 1.2345e-7f, 1e-20f})
        for (const float divisor : {6553.6f, 3.0f, 1.1f}) {
            ConvertNumbers(NumberType::i16, ByteOrder::little, std::as_bytes(std::span(numbers)).data(), {2},
                           std::ssize(numbers), {factor, 0.37, divisor}, values.data());
            for (size_t i = 0; i < numbers.size(); ++i)
                ASSERT_EQ(values[i], static_cast<float>(numbers[i]) * factor / divisor + 0.37f);
        }
}

}  // namespace
}  // namespace kymora::test
