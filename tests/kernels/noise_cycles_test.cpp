// Noise cycles taken out of runs, against the rules word by word.

#include "kernels/noise_cycles.h"

#include <gtest/gtest.h>

#include <deque>
#include <numbers>
#include <string>

#include "kernels/smooth_fixture.h"
#include "numerics/rounding.h"

namespace kymora {
namespace {

using Samples = std::vector<float>;

struct Cleaned {
    NoiseCycleOutcome outcome;
    Samples values;
};

Cleaned Memory(const Samples& run, const NoiseCycleSettings& settings) {
    Cleaned cleaned;
    cleaned.values.resize(run.size(), -12345.0f);
    cleaned.outcome = SubtractNoiseCycles(run, settings, cleaned.values);
    return cleaned;
}

Cleaned Stream(const Samples& run, const NoiseCycleSettings& settings) {
    Cleaned cleaned;
    VectorSink sink;
    const SourceMaker source = [&] { return std::make_unique<VectorSource>(run); };
    cleaned.outcome = SubtractNoiseCycles(source, static_cast<int64_t>(run.size()), settings, sink);
    cleaned.values = sink.samples;
    return cleaned;
}

// Mains noise of a period in ms on other noise, with a jolt in every seventh cycle.
Samples Buzz(size_t count, double period, double dt) {
    Samples run = NoiseRun(count);
    for (size_t i = 0; i < count; ++i) {
        const double cycle = static_cast<double>(i) * dt / period;
        run[i] += static_cast<float>(20.0 * std::sin(2.0 * std::numbers::pi * cycle));
        if (static_cast<int64_t>(cycle) % 7 == 3) run[i] += static_cast<float>(i % 2 == 0 ? 60 : -60);
    }
    return run;
}

// As the rules tell it, with the whole run at hand.
Samples Told(const Samples& in, const NoiseCycleSettings& settings) {
    Samples out = in;
    const auto n = static_cast<int64_t>(in.size()), length = settings.Length();
    const auto start = [&](int64_t j) {
        return RoundHalfAway64(static_cast<double>(j) * settings.interval / settings.sampleInterval);
    };
    const auto at = [&](int64_t j) { return Samples(in.begin() + start(j), in.begin() + start(j) + length); };
    int64_t next = 0;
    const auto find = [&]() -> Samples {
        while (start(next) + length <= n) {
            const Samples cycle = at(next++);
            const auto [low, high] = std::minmax_element(cycle.begin(), cycle.end());
            if (!settings.greatest || *high - *low <= *settings.greatest) return cycle;
        }
        return {};
    };
    std::deque<Samples> queue;
    std::vector<double> sum(static_cast<size_t>(length)), average = sum;
    double offset = 0.0;
    const auto add = [&](const Samples& cycle) {
        queue.push_back(cycle);
        for (size_t k = 0; k < cycle.size(); ++k) sum[k] += cycle[k];
    };
    const auto mean = [&] {
        double total = 0.0;
        for (size_t k = 0; k < sum.size(); ++k)
            total += average[k] = sum[k] / static_cast<double>(queue.size());
        offset = total / static_cast<double>(length);
    };
    while (static_cast<int>(queue.size()) < settings.cycles) {
        const Samples cycle = find();
        if (cycle.empty()) break;
        add(cycle);
    }
    if (queue.empty()) return {};
    mean();
    for (int64_t j = 0; start(j) < n; ++j) {
        for (int64_t k = 0; k < length && start(j) + k < n; ++k) {
            const auto i = static_cast<size_t>(start(j) + k);
            out[i] = static_cast<float>(in[i] - average[static_cast<size_t>(k)] + offset);
        }
        if (j != next - static_cast<int64_t>(queue.size() / 2)) continue;
        const Samples cycle = find();
        if (cycle.empty()) continue;
        for (size_t k = 0; k < cycle.size(); ++k) sum[k] -= queue.front()[k];
        add(cycle);
        queue.pop_front();
        mean();
    }
    return out;
}

TEST(NoiseCycles, BothFormsFollowTheRulesBitByBit) {
    for (const auto& [period, dt] : {std::pair(20.0, 0.5), {20.0, 0.3}, {20.0, 0.1}, {1000.0 / 60, 0.05}})
        for (const size_t n : {400, 401, 8192, 20011})
            for (const int cycles : {1, 2, 5})
                for (const std::optional<float> greatest : {std::optional<float>(), std::optional(80.0f)}) {
                    const NoiseCycleSettings settings{period, dt, cycles, greatest};
                    SCOPED_TRACE(std::to_string(period) + " " + std::to_string(dt) + " " + std::to_string(n) +
                                 " " + std::to_string(cycles));
                    const Samples run = Buzz(n, period, dt);
                    const Samples told = Told(run, settings);
                    const Cleaned memory = Memory(run, settings), streamed = Stream(run, settings);
                    ASSERT_EQ(memory.outcome.isDone, !told.empty());
                    if (told.empty()) continue;
                    ASSERT_EQ(memory.values, told);
                    const bool hasAll = memory.outcome.found == cycles;
                    ASSERT_EQ(streamed.outcome.isDone, hasAll);
                    ASSERT_STREQ(streamed.outcome.message, hasAll ? "" : tooFewCyclesText);
                    ASSERT_TRUE(!hasAll || streamed.values == told);
                }
}

TEST(NoiseCycles, CyclesOfAPeriodThatIsNoWholeNumberOfSamples) {
    const struct {
        double interval, dt;
        int64_t length;
        std::vector<int64_t> starts;
    } cases[] = {{20, 0.5, 40, {0, 40, 80}},
                 {20, 0.3, 67, {0, 67, 133, 200}},
                 // No fraction of two is a tenth, so that there is a rest.
                 {20, 0.1, 201, {0, 200, 400}},
                 {1, 1, 1, {0, 1, 2}}};
    for (const auto& [interval, dt, length, starts] : cases) {
        const NoiseCycleSettings settings{interval, dt, 1, {}};
        EXPECT_EQ(settings.Length(), length) << dt;
        for (size_t j = 0; j < starts.size(); ++j)
            EXPECT_EQ(settings.StartOf(static_cast<int64_t>(j)), starts[j]) << dt;
    }
    EXPECT_EQ(NoiseCycleSettings::Range(3.0f, 3.0f), 0.001f);
    EXPECT_EQ(NoiseCycleSettings::Range(3.0f, -1.0f), 4.0f);
}

// What has the period of the template goes, what has not stays.
TEST(NoiseCycles, NoiseGoesAndTheRestStays) {
    const NoiseCycleSettings settings{20.0, 0.1, 50, {}};
    Samples run, wanted;
    for (int i = 0; i < 50000; ++i) {
        const double t = i * 0.1;
        wanted.push_back(static_cast<float>(-65.0 + std::sin(2.0 * std::numbers::pi * t / 333.0)));
        run.push_back(wanted.back() +
                      static_cast<float>(5.0 * std::pow(std::sin(2.0 * std::numbers::pi * t / 20.0), 3.0)));
    }
    const Samples cleaned = Memory(run, settings).values;
    for (size_t i = 0; i < run.size(); ++i) ASSERT_NEAR(cleaned[i], wanted[i], 0.1f) << i;
}

TEST(NoiseCycles, RunsThatGiveNoTemplate) {
    const NoiseCycleSettings settings{10.0, 1.0, 3, {}};
    for (const size_t n : {0, 1, 2, 9}) {
        const Samples run = NoiseRun(n);
        for (const Cleaned& cleaned : {Memory(run, settings), Stream(run, settings)}) {
            EXPECT_EQ(cleaned.values, run);
            EXPECT_TRUE(cleaned.outcome.isDone);
            EXPECT_EQ(cleaned.outcome.isCopied, n > 0);
        }
    }
    // A cycle that ends with the run is whole.
    EXPECT_EQ(Memory(NoiseRun(29), settings).outcome.found, 2);
    EXPECT_EQ(Memory(NoiseRun(30), settings).outcome.found, 3);
    NoiseCycleSettings narrow = settings;
    narrow.greatest = 1e-6f;
    for (const Cleaned& cleaned : {Memory(NoiseRun(100), narrow), Stream(NoiseRun(100), narrow)}) {
        EXPECT_FALSE(cleaned.outcome.isDone);
        EXPECT_STREQ(cleaned.outcome.message, "No noise cycle lies within the limits.");
    }
}

TEST(NoiseCycles, SamplesThatAreNoNumbersStayAlone) {
    const NoiseCycleSettings settings{10.0, 1.0, 3, {}};
    for (const float bad : {notANumber, std::numeric_limits<float>::infinity()}) {
        Samples run = NoiseRun(200);
        run[15] = bad;
        run[100] = bad;
        const Samples cleaned = Memory(run, settings).values;
        EXPECT_TRUE(AreSame(cleaned, Stream(run, settings).values));
        for (size_t i = 0; i < run.size(); ++i)
            EXPECT_EQ(std::isfinite(cleaned[i]), i != 15 && i != 100) << i;
    }
}

}  // namespace
}  // namespace kymora
