// The search for templates, against the plain loops of the same sums.

#include <cmath>
#include <random>

#include "bench_files.h"
#include "numerics/window_distances.h"
#include "numerics/window_dots.h"
#include "templates/template_search.h"

namespace kymora::bench {
namespace {

constexpr size_t length = 4'000'000;
double kept = 0.0;  // what keeps results from being optimised away

std::vector<float> Template(size_t bins) {
    std::vector<float> values(bins);
    for (size_t i = 0; i < bins; ++i) {
        const double phase = static_cast<double>(i) / static_cast<double>(bins - 1);
        values[i] = static_cast<float>(60.0 * std::sin(6.2831853 * phase) * std::exp(-2.0 * phase));
    }
    return values;
}

// Noise with a wave in it every 2,000 samples.
std::vector<float> Trace(const std::vector<float>& wave) {
    std::mt19937 random(1);
    std::normal_distribution<float> normal(0.0f, 9.0f);
    std::vector<float> samples(length);
    for (float& value : samples) value = normal(random);
    for (size_t at = 1000; at + wave.size() < length; at += std::max<size_t>(2000, 3 * wave.size()))
        for (size_t i = 0; i < wave.size(); ++i) samples[at + i] += wave[i];
    return samples;
}

// Many windows at once, one bin of the template after the other: what a compiler makes vectors of.
template <typename Term>
double PlainLoop(const std::vector<float>& wave, const std::vector<float>& samples, Term term) {
    constexpr size_t block = 1024;
    std::vector<double> wide(samples.begin(), samples.end());
    std::vector<double> row(wave.begin(), wave.end());
    std::vector<float> results(samples.size() - wave.size() + 1);
    return Seconds(3, [&] {
        double sums[block];
        for (size_t at = 0; at < results.size(); at += block) {
            const size_t count = std::min(block, results.size() - at);
            std::fill(sums, sums + count, 0.0);
            for (size_t i = 0; i < row.size(); ++i) {
                const double value = row[i];
                const double* sample = wide.data() + at + i;
                for (size_t k = 0; k < count; ++k) sums[k] += term(sample[k], value);
            }
            for (size_t k = 0; k < count; ++k) results[at + k] = static_cast<float>(sums[k]);
        }
        kept += results[17];
    });
}

void Fixed() {
    const auto wave = Template(60);
    const auto samples = Trace(wave);
    const double plain = PlainLoop(wave, samples, [](double a, double b) { return std::abs(a - b); });
    TemplateError error(wave);
    std::vector<float> results(samples.size() - wave.size() + 1);
    const auto measure = [&](float limit) {
        return Seconds(3, [&] {
            for (size_t at = 0; at < results.size(); at += stepsSummed) {
                const size_t count = std::min(stepsSummed, results.size() - at);
                error.Measure(std::span(samples).subspan(at, count + wave.size() - 1),
                              std::span(results).subspan(at, count), limit);
            }
            kept += results[17];
        });
    };
    std::printf("fixed, 60 bins: plain loop %.0f million steps a second\n", length / 1e6 / plain);
    std::printf("fixed, all measures: %.2f of the plain loop (goal: 1.0)\n",
                measure(std::numeric_limits<float>::infinity()) / plain);
    for (const float limit : {10.0f, 15.0f, 20.0f, 25.0f})
        std::printf("fixed, left early above %2.0f %% (an empty baseline has %.0f): %.2f of the plain loop "
                    "(goal: 0.3)\n",
                    limit, error.OfFlatWindow(), measure(limit) / plain);
}

// What the formulas say of each step: the dot product in full, and running sums.
double PlainCriterion(const std::vector<float>& wave, const std::vector<float>& samples) {
    const double bins = static_cast<double>(wave.size()), height = PeakToPeak(wave);
    double se = 0.0, see = 0.0;
    std::vector<float> unit(wave);
    for (float& value : unit) {
        value = static_cast<float>(value / height);
        se += value;
        see += double{value} * value;
    }
    std::vector<double> dots(samples.size() - wave.size() + 1);
    std::vector<float> results(dots.size());
    const double dotsTook = PlainLoop(unit, samples, [](double a, double b) { return a * b; });
    return dotsTook + Seconds(3, [&] {
               double sd = 0.0, sdd = 0.0;
               for (size_t i = 0; i + 1 < wave.size(); ++i)
                   sd += samples[i], sdd += double{samples[i]} * samples[i];
               for (size_t k = 0; k < results.size(); ++k) {
                   const double newest = samples[k + wave.size() - 1], oldest = samples[k], sed = dots[k];
                   sd += newest, sdd += newest * newest;
                   const double scale = (sed - se * sd / bins) / (see - se * se / bins);
                   const double offset = (sd - scale * se) / bins;
                   const double sse = scale * scale * see + sdd + bins * offset * offset -
                                      2 * (scale * sed + offset * sd - scale * offset * se);
                   results[k] = static_cast<float>(scale / std::sqrt(std::max(sse, 1e-6) / (bins - 1)));
                   sd -= oldest, sdd -= oldest * oldest;
               }
               kept += results[17];
           });
}

void Scaled() {
    for (const size_t bins : {20u, 60u, 100u, 250u, 300u, 600u, 2000u}) {
        const auto wave = Template(bins);
        const auto samples = Trace(wave);
        const double plain = PlainLoop(wave, samples, [](double a, double b) { return a * b; });
        ScaledTemplate scaled(wave);
        std::vector<float> results(samples.size() - wave.size() + 1);
        const double took = Seconds(3, [&] {
            scaled.Measure(samples, results, 20.0f);
            kept += results[17];
        });
        std::printf("scaled, %4zu bins: %.2f of the plain loops%s; %.2f of the dot products alone\n", bins,
                    took / PlainCriterion(wave, samples), bins <= 100 ? " (goal: 0.5)" : "", took / plain);
    }
}

}  // namespace
}  // namespace kymora::bench

int main() {
    kymora::bench::Fixed();
    kymora::bench::Scaled();
    return kymora::bench::kept == 1.0 ? 1 : 0;
}
