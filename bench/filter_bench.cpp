// Filters against the plain loop of the same arithmetic, and dot products in multiply-adds a second on each
// instruction set that the machine has.

#include <cmath>
#include <numbers>
#include <random>

#include "bench_files.h"
#include "kernels/fir.h"
#include "kernels/memory_scratch.h"
#include "kernels/recursive.h"
#include "kernels/run_reader.h"
#include "kernels/section_filter.h"
#include "kernels/smooth_savgol.h"
#include "numerics/window_dots.h"

namespace kymora::bench {
namespace {

constexpr size_t length = 5'000'000;
constexpr int rounds = 7;

struct Bench {
    std::vector<float> in = std::vector<float>(length), out = std::vector<float>(length);
    Bench() {
        std::mt19937 random(1);
        std::normal_distribution<float> normal(0.0f, 1.0f);
        for (float& value : in) value = normal(random);
    }
};

// The filters as a textbook has them.
__attribute__((noinline)) void PlainLowPass(const std::vector<float>& in, double x, std::vector<float>& out) {
    float before = 0.0f;
    for (size_t i = 0; i < in.size(); ++i) {
        auto y = static_cast<float>((1.0 - x) * in[i]);
        y = static_cast<float>(y + x * before);
        before = out[i] = y;
    }
}

__attribute__((noinline)) void PlainNarrowBand(const std::vector<float>& in, const RecursiveSettings& filter,
                                               std::vector<float>& out) {
    const std::vector<double>&b = filter.forward, &a = filter.feedback;
    const double b0 = b[0], b1 = b[1], b2 = b[2], a1 = a[1], a2 = a[2];
    float x1 = 0.0f, x2 = 0.0f, y1 = 0.0f, y2 = 0.0f;
    for (size_t i = 0; i < in.size(); ++i) {
        auto y = static_cast<float>(b0 * in[i]);
        y = static_cast<float>(y + b1 * x1);
        y = static_cast<float>(y + b2 * x2);
        y = static_cast<float>(y + a1 * y1);
        y = static_cast<float>(y + a2 * y2);
        x2 = std::exchange(x1, in[i]);
        y2 = std::exchange(y1, y);
        out[i] = y;
    }
}

void Recursions(Bench& bench) {
    const RecursiveSettings oneWay = RcFilter(RcType::lowPass, 3.1831, 0.05, false);
    const RecursiveSettings bothWays = RcFilter(RcType::lowPass, 3.1831, 0.05, true);
    const RecursiveSettings narrow = NarrowBand(NarrowBandType::stop, 50, narrowBandWidth, 0.05);
    const auto filter = [&](const RecursiveSettings& settings) {
        return Seconds(rounds, [&] { FilterRecursive(bench.in, settings, bench.out); });
    };
    const double plainRc =
        Seconds(rounds, [&] { PlainLowPass(bench.in, std::exp(-0.05 / 3.1831), bench.out); });
    const double rc = filter(oneWay);
    std::printf("RC one way                    %6.2f ns a sample, %.2f of the plain loop (goal 1.2)\n",
                rc * 1e9 / length, rc / plainRc);
    const double both = filter(bothWays);
    std::printf("RC both ways                  %6.2f ns a sample, %.2f of one way (goal 2.2)\n",
                both * 1e9 / length, both / rc);
    const double plainNarrow = Seconds(rounds, [&] { PlainNarrowBand(bench.in, narrow, bench.out); });
    const double band = filter(narrow);
    std::printf("narrow band                   %6.2f ns a sample, %.2f of the plain loop (goal 1.2)\n",
                band * 1e9 / length, band / plainNarrow);
}

void Sections(Bench& bench) {
    for (const int order : {2, 4, 10}) {
        const std::vector<Section> sections =
            DesignSections(SectionDesign::butterworth, SectionBand::lowPass, order, 0, 0.05);
        const auto took = [&](bool isBidirectional) {
            const SectionFilterSettings settings{sections, isBidirectional};
            return Seconds(3, [&] { FilterSections(bench.in, settings, bench.out); }) * 1e9 / length;
        };
        std::printf("Butterworth of order %-2d        %6.2f ns a sample one way, %.2f both ways\n", order,
                    took(false), took(true));
    }
}

void Convolutions(Bench& bench) {
    constexpr const char* names[] = {"16 bytes", "32 bytes", "64 bytes"};
    const std::vector<double> row = FirCoefficients({0, 1000, 200, FirBand::pass, FirWindow::hann, 0, 0.05});
    const std::vector<float> single(row.begin(), row.end());
    constexpr size_t part = 1'000'000;
    const double products = static_cast<double>(row.size()) * part / 1e9;
    for (int set = 0; set <= static_cast<int>(WidestInstructionSet()); ++set) {
        const auto widest = static_cast<InstructionSet>(set);
        const auto to = std::span(bench.out).first(part);
        const double wide = Seconds(rounds, [&] {
            for (size_t at = 0; at < part; at += 8000)
                WindowDots(row, std::span<const float>(bench.in).subspan(at), 1.0, to.subspan(at, 8000),
                           DotOrder::newestFirst, widest);
        });
        const double narrow = Seconds(rounds, [&] { WindowDots(single, bench.in, to, widest); });
        std::printf("dot products, vectors of %s: %5.1f billion multiply-adds a second, single %5.1f\n",
                    names[set], products / wide, products / narrow);
    }
    const double fir = Seconds(rounds, [&] { FilterFir(bench.in, row, bench.out); });
    std::printf("FIR of order 200              %6.2f billion multiply-adds a second (goal 4)\n",
                static_cast<double>(row.size()) * length / 1e9 / fir);
    const SavgolSettings savgol{50, 3};
    const double smooth = Seconds(rounds, [&] { SmoothSavgol(bench.in, savgol, bench.out); });
    std::printf("Savitzky-Golay of 101 points  %6.2f billion multiply-adds a second (goal 8)\n",
                101.0 * length / 1e9 / smooth);
}

}  // namespace
}  // namespace kymora::bench

int main() {
    using namespace kymora::bench;
    Bench bench;
    Recursions(bench);
    Sections(bench);
    Convolutions(bench);
    std::printf("[%g]\n", static_cast<double>(bench.out[length / 2]));
    return 0;
}
