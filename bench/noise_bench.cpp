// Local DC, noise cycles, the chain of three steps, and short stretches at a multiple of their rate, each
// against a floor measured in the same run.

#include <cstring>
#include <random>

#include "bench_files.h"
#include "kernels/conditioning.h"
#include "kernels/local_dc.h"
#include "kernels/noise_cycles.h"
#include "spectra/interpolate_fft.h"

namespace kymora::bench {
namespace {

constexpr size_t length = 5'000'000;
constexpr int rounds = 5;

struct Bench {
    std::vector<float> in = std::vector<float>(length);
    std::vector<float> out = std::vector<float>(length);

    Bench() {
        std::mt19937 random(1);
        std::normal_distribution<float> normal(0.0f, 1.0f);
        for (float& value : in) value = normal(random);
    }
};

template <typename Does>
void Report(Bench& bench, const char* what, const char* goal, Does does) {
    const double copy =
        Seconds(20, [&] { std::memcpy(bench.out.data(), bench.in.data(), length * sizeof(float)); });
    const double took = Seconds(rounds, does);
    std::printf("%-40s %5.2f ns a sample, %5.1f copies%s\n", what, took / length * 1e9, took / copy, goal);
}

void Run() {
    Bench bench;
    for (const int64_t half : {5, 500, 500'000})
        Report(bench, ("local DC, h = " + std::to_string(half)).c_str(), "",
               [&] { RemoveLocalDC(bench.in, half, bench.out); });
    for (const double dt : {0.05, 0.1, 1.0}) {
        const NoiseCycleSettings settings{20.0, dt, 50, {}};
        const NoiseCycleSettings limited{20.0, dt, 50, 7.0f};
        const std::string at = std::to_string(settings.Length()) + " samples a cycle";
        Report(bench, ("de-buzz, " + at).c_str(), " (goal 12 ns)",
               [&] { SubtractNoiseCycles(bench.in, settings, bench.out); });
        Report(bench, ("de-buzz with limits, " + at).c_str(), " (goal 12 ns)",
               [&] { SubtractNoiseCycles(bench.in, limited, bench.out); });
    }
    for (const int64_t half : {5, 500'000}) {
        ConditioningSettings settings;
        settings.rectify = RectifyType::fullWave;
        settings.smooths = true;
        settings.halfWindow = half;
        Report(bench, ("rectify and smooth, h = " + std::to_string(half)).c_str(), "",
               [&] { Condition(bench.in, settings, bench.out); });
    }
    const std::span<const float> spike = std::span<const float>(bench.in).first(32);
    float kept = 0.0f;
    const double took = Seconds(20, [&] {
        for (int i = 0; i < 1000; ++i) kept += InterpolateExtended(spike, 4)[7];
    });
    std::printf("extended multiplier, 32 samples times 4: %.1f us (goal 12)%s\n", took * 1e3,
                kept == 0.0f ? "?" : "");
}

}  // namespace
}  // namespace kymora::bench

int main() { kymora::bench::Run(); }
