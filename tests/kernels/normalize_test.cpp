// Normalisation to extremes and to a resting value.

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "kernel_fixture.h"
#include "kernels/normalize.h"
#include "kernels/run_reader.h"

namespace kymora {
namespace {

using Samples = std::vector<float>;

struct Result {
    NormalizeOutcome outcome;
    Samples samples;
};

Result NormalizedInMemory(const Samples& input, const NormalizeSettings& settings) {
    Result result{{}, Samples(input.size())};
    result.outcome = Normalize(input, settings, result.samples);
    return result;
}

Result NormalizedStreamed(const Samples& input, const NormalizeSettings& settings,
                          const KernelPoll& goOn = {}) {
    const SourceMaker make = [&] { return std::make_unique<VectorSource>(input); };
    VectorSink sink;
    const NormalizeOutcome outcome =
        Normalize(make, static_cast<int64_t>(input.size()), settings, sink, goOn);
    return {outcome, sink.samples};
}

NormalizeSettings Extremes(NormType type) {
    NormalizeSettings settings;
    settings.type = type;
    return settings;
}

NormalizeSettings DeltaF(F0Method method) {
    NormalizeSettings settings;
    settings.type = NormType::deltaF;
    settings.method = method;
    return settings;
}

TEST(NormalizeTest, ToTheExtremes) {
    // What is no number has no part in them.
    const std::tuple<NormType, Samples, Samples> cases[] = {
        {NormType::zeroToOne, {2, 4, -2, 6, 0}, {0.5f, 0.75f, 0, 1, 0.25f}},
        {NormType::minusOneToOne, {2, 4, -2, 6, 0}, {0, 0.5f, -1, 1, -0.5f}},
        {NormType::maxToOne, {2, 4, -2, 8, 0}, {0.25f, 0.5f, -0.25f, 1, 0}},
        {NormType::maxToOne, {3, 3, 3}, {1, 1, 1}},
        {NormType::zeroToOne, {notANumber, 0, 4, notANumber, 1}, {notANumber, 0, 1, notANumber, 0.25f}}};
    for (const auto& [type, input, output] : cases)
        EXPECT_TRUE(AreSame(NormalizedInMemory(input, Extremes(type)).samples, output))
            << static_cast<int>(type);
}

TEST(NormalizeTest, AConstantHasNoRange) {
    for (const NormType type : {NormType::zeroToOne, NormType::minusOneToOne}) {
        for (const Result& result :
             {NormalizedInMemory(Samples(4, 3), Extremes(type)), NormalizedStreamed({7}, Extremes(type)),
              NormalizedStreamed({0, 9e-8f}, Extremes(type))}) {
            EXPECT_FALSE(result.outcome.isDone);
            EXPECT_STREQ(result.outcome.message,
                         "The data range is very close to 0, so normalization will fail");
        }
        EXPECT_TRUE(NormalizedInMemory({0, 1.1e-7f}, Extremes(type)).outcome.isDone);
    }
}

TEST(NormalizeTest, ToTheAverageOfTheUsersTimes) {
    NormalizeSettings settings = DeltaF(F0Method::userTimes);
    settings.sampleInterval = 0.5;
    settings.f0Start = 0.8f;     // sample 2 after rounding
    settings.f0Duration = 1.2f;  // 2 samples
    EXPECT_EQ(NormalizedInMemory({9, 9, 1, 3, 8}, settings).outcome.f0, 2.0f);
    settings.f0Duration = 100;  // uses what there is
    EXPECT_EQ(NormalizedInMemory({9, 9, 1, 3, 8}, settings).outcome.f0, 4.0f);
    settings.f0Duration = 0.1f;  // one sample at least
    EXPECT_EQ(NormalizedInMemory({9, 9, 1, 3, 8}, settings).outcome.f0, 1.0f);
    for (const Result& result :
         {NormalizedInMemory({9, 9}, settings), NormalizedStreamed({9, 9}, settings)}) {
        EXPECT_FALSE(result.outcome.isDone);
        EXPECT_TRUE(result.samples == Samples(result.samples.size()));
        EXPECT_STREQ(result.outcome.message,
                     "The user-specified duration of the average is longer than the recording/episode.");
    }
    EXPECT_TRUE(NormalizedInMemory({9, 9, 7}, settings).outcome.isDone);
}

TEST(NormalizeTest, TheUsersTimesCountGapsThatAreLeftOut) {
    const std::vector<uint32_t> runs = {3, 5, 4, 2, 6};  // samples 0-2, 8-11, 14-19
    const std::pair<NormalizedStretch, NormalizedStretch> stretches[] = {
        {{1, 2}, {1, 2}}, {{2, 7}, {2, 2}},   {{4, 2}, {3, 0}},
        {{9, 7}, {4, 5}}, {{25, 3}, {13, 0}}, {{0, 100}, {0, 13}}};
    for (const auto& [with, without] : stretches) {
        EXPECT_EQ(WithoutGaps(with, runs).first, without.first) << with.first;
        EXPECT_EQ(WithoutGaps(with, runs).count, without.count) << with.first;
    }
    NormalizeSettings settings = DeltaF(F0Method::userTimes);
    settings.validRuns = runs;
    settings.f0Start = 5;
    settings.f0Duration = 2;
    EXPECT_FALSE(NormalizedInMemory(Samples(13, 1.0f), settings).outcome.isDone) << "nothing but a gap";
}

TEST(NormalizeTest, ToAValue) {
    NormalizeSettings settings = DeltaF(F0Method::explicitValue);
    settings.f0Value = 4;
    settings.f0Offset = 100;   // neither of these
    settings.background = 50;  // belongs to this method
    const Result result = NormalizedInMemory({4, 8, 2}, settings);
    EXPECT_EQ(result.samples, (Samples{0, 1, -0.5f}));
    EXPECT_EQ(result.outcome.f0, 4.0f);
}

// The two forms have always said it differently.
TEST(NormalizeTest, AnAverageNearZeroIsRefused) {
    const std::string words =
        "he average value is very close to 0, so normalization will fail. Suggest increase F0 offset.";
    const NormalizeSettings settings = DeltaF(F0Method::whole);
    EXPECT_EQ(NormalizedInMemory({-1, 1}, settings).outcome.message, words);
    const Result streamed = NormalizedStreamed({-1, 1}, settings);
    EXPECT_EQ(streamed.outcome.message, "T" + words);
    EXPECT_FALSE(streamed.outcome.isDone);
    EXPECT_TRUE(streamed.samples.empty());
    EXPECT_TRUE(NormalizedInMemory({-1, 1.1f}, settings).outcome.isDone);
}

TEST(NormalizeTest, ANotANumberInTheAverageIsToldToTheLog) {
    const Result result = NormalizedInMemory({1, notANumber, 2}, DeltaF(F0Method::whole));
    EXPECT_TRUE(AreSame(result.samples, Samples(3, notANumber)));
    EXPECT_STREQ(result.outcome.note, averageNotFiniteText);
    EXPECT_STREQ(NormalizedInMemory({1, 2}, DeltaF(F0Method::whole)).outcome.note, "");
    NormalizeSettings settings = DeltaF(F0Method::explicitValue);
    EXPECT_TRUE(AreSame(NormalizedInMemory({1, notANumber, 2}, settings).samples, {0, notANumber, 1}));
}

// The percentile of the window around each sample, by sorting it.
Samples PlainPercentile(const Samples& w, size_t half, int percentile, float offset) {
    const size_t window = 2 * half + 1;
    const auto rank = static_cast<size_t>(
        std::max(1.0, std::floor(static_cast<double>(window) * (100 - percentile) / 100.0 + 0.5)));
    Samples output(w.size());
    for (size_t i = 0; i < w.size(); ++i) {
        const size_t centre = std::clamp(i, half, w.size() - 1 - half);
        Samples sorted(&w[centre - half], &w[centre - half] + window);
        std::sort(sorted.begin(), sorted.end(), std::greater<>());
        const float baseline = sorted[rank - 1];
        output[i] = (w[i] - baseline) / (baseline + offset);
    }
    return output;
}

TEST(NormalizeTest, PercentileBaseline) {
    NormalizeSettings settings = DeltaF(F0Method::percentile);
    settings.f0Offset = 0.5f;
    settings.background = 2.0f;
    for (const size_t half : {0, 1, 7, 49})
        for (const int percentile : {0, 8, 50, 93, 100})
            for (const size_t length : {1, 2, 3, 15, 99, 500}) {
                SCOPED_TRACE(std::to_string(half) + " " + std::to_string(percentile) + " " +
                             std::to_string(length));
                settings.halfWindow = static_cast<int>(half);
                settings.percentile = percentile;
                Samples less = NoiseRun(length);
                for (const Result& result :
                     {NormalizedInMemory(less, settings), NormalizedStreamed(less, settings)}) {
                    EXPECT_EQ(result.outcome.isDone, length > 2 * half);
                    EXPECT_STREQ(result.outcome.note, length > 2 * half ? "" : runShorterThanWindowText);
                    EXPECT_FALSE(result.outcome.f0.has_value());
                }
                if (length <= 2 * half) continue;
                const Samples made = NormalizedInMemory(less, settings).samples;
                EXPECT_EQ(NormalizedStreamed(less, settings).samples, made);
                for (float& value : less) value -= settings.background;
                EXPECT_EQ(made, PlainPercentile(less, half, percentile, 0.5f));
            }
}

TEST(NormalizeTest, LowestAverage) {
    NormalizeSettings settings = DeltaF(F0Method::lowestAverage);
    settings.halfWindow = 1;
    settings.background = 1;
    settings.f0Offset = 1;
    // The windows' sums, less the background, are 12 9 6 9 12: F0 = 2, the denominator 3.
    const Samples input = {5, 6, 4, 2, 3, 7, 5};
    for (const Result& result : {NormalizedInMemory(input, settings), NormalizedStreamed(input, settings)}) {
        EXPECT_EQ(result.outcome.f0, 2.0f);
        EXPECT_EQ(result.samples, (Samples{2 / 3.0f, 1, 1 / 3.0f, -1 / 3.0f, 0, 4 / 3.0f, 2 / 3.0f}));
    }
    EXPECT_TRUE(NormalizedInMemory({5, 6, 4}, settings).outcome.isDone);
    EXPECT_FALSE(NormalizedInMemory({5, 6}, settings).outcome.isDone);
    EXPECT_FALSE(NormalizedStreamed(input, settings, [](int64_t) { return false; }).outcome.isDone);
}

// Noise with a dip: both forms find the region that a plain search in double finds.
TEST(NormalizeTest, LowestAverageOfALongRun) {
    Samples input = NoiseRun(50000);
    for (size_t i = 31000; i < 31300; ++i) input[i] -= 20;
    constexpr size_t window = 201;
    double lowest = 1e300;
    for (size_t start = 0; start + window <= input.size(); ++start)
        lowest = std::min(lowest, std::accumulate(&input[start], &input[start] + window, 0.0) / window);
    NormalizeSettings settings = DeltaF(F0Method::lowestAverage);
    settings.halfWindow = 100;
    EXPECT_NEAR(NormalizedInMemory(input, settings).outcome.f0.value(), lowest, 1e-3);
    int64_t polled = 0;
    const Result streamed = NormalizedStreamed(input, settings, [&](int64_t) { return ++polled > 0; });
    EXPECT_NEAR(streamed.outcome.f0.value(), lowest, 1e-5);
    EXPECT_GT(polled, 5);
}

TEST(NormalizeTest, StreamsGiveWhatMemoryGives) {
    for (int kind = 0; kind < 7; ++kind)
        for (const size_t length : runLengths) {
            NormalizeSettings settings;
            settings.type = static_cast<NormType>(std::min(kind, 3));
            settings.method = static_cast<F0Method>(std::max(kind - 3, 0));
            settings.f0Start = 3;
            settings.halfWindow = 2;
            const Samples input = NoiseRun(length);
            const Result memory = NormalizedInMemory(input, settings),
                         streamed = NormalizedStreamed(input, settings);
            EXPECT_EQ(memory.outcome.isDone, streamed.outcome.isDone) << kind << " " << length;
            EXPECT_EQ(memory.outcome.f0, streamed.outcome.f0) << kind << " " << length;
            EXPECT_TRUE(!memory.outcome.isDone || AreSame(memory.samples, streamed.samples))
                << kind << length;
        }
}

}  // namespace
}  // namespace kymora
