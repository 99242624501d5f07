// The smoothers, each against a memory copy of the same floats or in multiply-adds a second, in memory and on
// streams.

#include <cstring>
#include <random>

#include "bench_files.h"
#include "kernels/memory_scratch.h"
#include "kernels/run_reader.h"
#include "kernels/smooth_average.h"
#include "kernels/smooth_gauss.h"
#include "kernels/smooth_lowess.h"
#include "kernels/smooth_order.h"
#include "kernels/smooth_savgol.h"

namespace kymora::bench {
namespace {

constexpr size_t shortLength = 5'000'000;
constexpr size_t longLength = 50'000'000;
constexpr int rounds = 5;

// White noise, the hardest case for running medians: every sample may belong anywhere in the window.
std::vector<float> Noise(size_t count) {
    std::mt19937 random(1);
    std::normal_distribution<float> normal(0.0f, 1.0f);
    std::vector<float> samples(count);
    for (float& value : samples) value = normal(random);
    return samples;
}

struct Bench {
    std::vector<float> in = Noise(longLength);
    std::vector<float> out = std::vector<float>(longLength);
    std::span<const float> shortIn = std::span<const float>(in).first(shortLength);
    std::span<float> shortOut = std::span(out).first(shortLength);
    MemoryScratch scratch;  // what is timed is the kernel, not the disk
    QuietHost host;
};

// Measured anew for each smoother: other work on the machine slows both.
double CopySeconds(Bench& bench) {
    return Seconds(20, [&] { std::memcpy(bench.out.data(), bench.in.data(), shortLength * sizeof(float)); });
}

// `goal` in copies of the same floats, or in million results a second. `multiplyAdds` for each result.
struct Goal {
    double copies = 0.0;
    double multiplyAdds = 0.0;
    double millions = 0.0;
};

template <typename Memory, typename Streamed>
void Report(Bench& bench, const char* what, const Goal& goal, int times, Memory inMemory, Streamed streamed) {
    const double copy = CopySeconds(bench);
    const double took = Seconds(times, [&] { inMemory(bench.shortIn, bench.shortOut); });
    // Of the same floats, since 50 million do not fit in the processor's cache as 5 million may; what is slow
    // in itself does not feel that.
    const double longMemory =
        took > 0.5 ? took * longLength / shortLength : Seconds(2, [&] { inMemory(bench.in, bench.out); });
    const double longTook = Seconds(std::min(times, 2), [&] {
        SpanSource source(bench.in);
        SpanSink sink(bench.out);
        streamed(source, static_cast<int64_t>(longLength), sink);
    });
    std::printf("%-34s %7.1f copies", what, took / copy);
    if (goal.copies > 0.0) std::printf(" (goal %.0f)", goal.copies);
    if (goal.multiplyAdds > 0.0)
        std::printf(", %.1f billion multiply-adds a second (goal 2)",
                    goal.multiplyAdds * shortLength / took / 1e9);
    std::printf(", %.2f million results a second", shortLength / 1e6 / took);
    if (goal.millions > 0.0) std::printf(" (goal %.1f)", goal.millions);
    std::printf("; streamed 50 million: %.2f of the form in memory (goal 1.5)\n", longTook / longMemory);
}

void Averages(Bench& bench) {
    for (const int64_t half : {5, 50, 5000}) {
        const AverageSettings settings{half, 1};
        Report(
            bench, ("moving average, h = " + std::to_string(half)).c_str(), {15.0}, rounds,
            [&](std::span<const float> in, std::span<float> out) { SmoothAverage(in, settings, out); },
            [&](auto& source, int64_t n, auto& sink) {
                SmoothAverage(source, n, settings, sink, bench.scratch);
            });
    }
}

void Orders(Bench& bench) {
    const auto report = [&](const char* what, const OrderSettings& settings, double goal) {
        Report(
            bench, what, {goal}, goal > 0 ? 5 : 1,
            [&](std::span<const float> in, std::span<float> out) { SmoothOrder(in, settings, out); },
            [&](auto& source, int64_t n, auto& sink) {
                SmoothOrder(source, n, settings, sink, bench.scratch);
            });
    };
    report("moving median, h = 50", {OrderMode::median, 50}, 300);
    report("moving median, h = 5000", {OrderMode::median, 5000}, 600);
    report("moving percentile 10, h = 50", {OrderMode::percentile, 50, 10}, 0);
    report("explicit percentile 10, h = 50", {OrderMode::explicitPercentile, 50, 10}, 0);
    report("explicit percentile 10, h = 5000", {OrderMode::explicitPercentile, 5000, 10}, 0);
}

void Convolutions(Bench& bench) {
    for (const float cutoff : {1000.0f, 100.0f}) {
        const GaussSettings settings{cutoff, 0.05};
        const auto length = static_cast<double>(GaussLength(GaussSigma(settings)));
        Report(
            bench, ("Gaussian, " + std::to_string(static_cast<int>(length)) + " coefficients").c_str(),
            {0, length}, rounds,
            [&](std::span<const float> in, std::span<float> out) { SmoothGauss(in, settings, out); },
            [&](auto& source, int64_t n, auto& sink) { SmoothGauss(source, n, settings, sink); });
    }
    for (const int64_t half : {10, 100}) {
        const SavgolSettings settings{half, 3};
        Report(
            bench, ("Savitzky-Golay, h = " + std::to_string(half)).c_str(),
            {0, static_cast<double>(2 * half + 1)}, rounds,
            [&](std::span<const float> in, std::span<float> out) { SmoothSavgol(in, settings, out); },
            [&](auto& source, int64_t n, auto& sink) { SmoothSavgol(source, n, settings, sink); });
    }
}

void Lowess(Bench& bench) {
    for (const int robustRounds : {0, 1, 4}) {
        const LowessSettings settings{10, {2, robustRounds, 6.0}};
        Report(
            bench, ("LOWESS, h = 10, robust rounds " + std::to_string(robustRounds)).c_str(),
            {0, 0, robustRounds == 1 ? 0.5 : 0.0}, 1,
            [&](std::span<const float> in, std::span<float> out) {
                SmoothLOWESS(in, settings, out, bench.host);
            },
            [&](auto& source, int64_t n, auto& sink) {
                SmoothLOWESS(source, n, settings, sink, bench.host);
            });
    }
}

}  // namespace
}  // namespace kymora::bench

int main() {
    using namespace kymora::bench;
    Bench bench;
    std::printf("memory copy of 5 million floats: %.2f ms\n", CopySeconds(bench) * 1e3);
    Averages(bench);
    Orders(bench);
    Convolutions(bench);
    Lowess(bench);
    std::printf("[%g]\n", static_cast<double>(bench.out[longLength / 2]));
    return 0;
}
