// Curves of each kind through 100,000 points, at 5,000,000 positions of a trace, against a memory copy of the
// samples. Making the curve counts, too.

#include <random>

#include "bench_files.h"
#include "curves/interpolator.h"

namespace kymora::bench {
namespace {

constexpr size_t pointCount = 100'000, positions = 5'000'000, blockLength = 65536;
constexpr double interval = 0.1;  // ms
constexpr double wantedMs = 70.0;

struct Points {
    std::vector<double> x, y;
    Points() {
        std::mt19937 random(3);
        std::uniform_real_distribution<double> step(0.1, 2.0), value(-1.0, 1.0);
        const double scale = static_cast<double>(positions) * interval / (1.05 * pointCount);
        for (double at = 0.0; x.size() < pointCount; at += scale * step(random)) {
            x.push_back(at);
            y.push_back(value(random));
        }
    }
};

// As samples are written.
void FillAll(InterpolatorKind kind, const Points& points, std::vector<float>& samples) {
    const auto curve = MakeInterpolator(kind, points.x, points.y);
    for (size_t at = 0; at < positions; at += blockLength)
        curve->Fill(static_cast<int64_t>(at), interval,
                    std::span(samples).subspan(at, std::min(blockLength, positions - at)));
}

// With a search for each position.
void SearchAll(InterpolatorKind kind, const Points& points, std::vector<float>& samples) {
    const auto curve = MakeInterpolator(kind, points.x, points.y);
    for (size_t at = 0; at < positions; ++at)
        samples[at] = static_cast<float>((*curve)(static_cast<double>(at) * interval));
}

void Run() {
    const Points points;
    std::vector<float> samples(positions), copy(positions);
    const double copyTime = Seconds(5, [&] { std::copy(samples.begin(), samples.end(), copy.begin()); });
    std::printf("memory copy of 5 million floats: %.2f ms; wanted: %.0f ms\n", copyTime * 1e3, wantedMs);
    const char* names[] = {"", "linear", "cubic spline", "Catmull-Rom", "modified Akima", "Bezier", "PCHIP"};
    for (int kind = 1; kind < interpolatorKinds; ++kind) {
        const auto chosen = static_cast<InterpolatorKind>(kind);
        const double made = Seconds(3, [&] { MakeInterpolator(chosen, points.x, points.y); });
        const double filled = Seconds(5, [&] { FillAll(chosen, points, samples); });
        const double searched = Seconds(2, [&] { SearchAll(chosen, points, copy); });
        std::printf(
            "%-15s %6.1f ms, of which %5.1f to make it; %5.1f x the copy; with searches %.1f x as long\n",
            names[kind], filled * 1e3, made * 1e3, filled / copyTime, searched / filled);
    }
}

}  // namespace
}  // namespace kymora::bench

int main() { kymora::bench::Run(); }
