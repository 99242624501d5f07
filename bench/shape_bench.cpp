// Events by shape, each against a floor measured in the same run: the block read of the same samples, or the
// textbook form of the same arithmetic.

#include <algorithm>
#include <bit>
#include <cmath>
#include <random>

#include "bench_files.h"
#include "detection/hills.h"
#include "document/sample_scan.h"
#include "numerics/window_squares.h"
#include "numerics/window_sums.h"
#include "spectra/autocorrelation.h"

namespace kymora::bench {
namespace {

constexpr int64_t longLength = 50'000'000;
double kept = 0.0;  // what keeps results from being optimised away

// --- hills ---

// The sample of a slow wave of some thousand samples, with or without noise that turns all the time.
float SlowSample(size_t i, float noise) {
    return static_cast<float>(std::sin(static_cast<double>(i % 6283) * 1e-3)) + noise;
}

std::vector<TurningRun> Search(SampleReader& doc, int64_t count) {
    TurningPointSearch search(false);
    search.StartAt(0, count);
    ScanSamples(doc, 0, 0, count, [&](std::span<const float> values) {
        search.Take(values);
        return true;
    });
    return search.Finish();
}

void TurningPoints(Session& session, const Folder& folder) {
    const auto path = folder / "turn.kymr-dat";
    MakeNative(session, path, 1, longLength, 0, false);
    CFloatDoc doc(session);
    if (!doc.OnOpenDocument(path)) std::abort();
    const double read = Seconds(3, [&] {
        ScanSamples(doc, 0, 0, longLength, [](std::span<const float> values) {
            kept += values[0];
            return true;
        });
    });
    const double noisy = Seconds(3, [&] { kept += static_cast<double>(Search(doc, longLength).size()); });
    std::printf("turning points of white noise, two in three samples: %.2f of the block read\n",
                read / noisy);
    // The same read, and a slow wave in the place of what was read.
    std::vector<float> wave(static_cast<size_t>(scanBlock) * 64);
    for (size_t i = 0; i < wave.size(); ++i) wave[i] = SlowSample(i, 0.0f);
    const double slow = Seconds(3, [&] {
        TurningPointSearch search(false);
        size_t at = 0;
        ScanSamples(doc, 0, 0, longLength, [&](std::span<const float> values) {
            if (at + values.size() > wave.size()) at = 0;
            search.Take(std::span(wave).subspan(at, values.size()));
            at += values.size();
            return true;
        });
        kept += static_cast<double>(search.Finish().size());
    });
    std::printf("turning points of a slow wave: %.2f of the block read (goal: 0.4)\n", read / slow);
}

// The pair that is smallest is looked for again each time.
void Merging() {
    std::mt19937 random(2);
    std::normal_distribution<float> normal(0.0f, 0.3f);
    std::vector<float> samples;
    for (size_t i = 0; i < 750'000; ++i) samples.push_back(SlowSample(i, normal(random)));
    TurningPointSearch search(false);
    search.Take(samples);
    const std::vector<TurningRun> runs = search.Finish();
    std::vector<float> values;
    for (const TurningPoint& point : runs[0].points) values.push_back(point.value);
    const double sorted = Seconds(3, [&] {
        std::vector<float> copy = values;
        std::ranges::sort(copy);
        kept += copy[0];
    });
    size_t left = 0;
    const double took = Seconds(3, [&] {
        TurningRun run = runs[0];
        MergeFoothills(run, 1.5);
        left = run.points.size();
    });
    std::printf("merging %zu turning points to %zu: %.1f ms, %.2f of sorting them (goal: 300 ms)\n",
                values.size(), left, took * 1e3, took / sorted);
    const ReadSamples read = [&](int64_t from, std::span<float> to) {
        std::ranges::copy(std::span(samples).subspan(static_cast<size_t>(from), to.size()), to.begin());
    };
    const double all = Seconds(3, [&] {
        TurningPointSearch again(false);
        again.Take(samples);
        std::vector<TurningRun> merged = again.Finish();
        MergeFoothills(merged[0], 1.5);
        kept += static_cast<double>(HillsOf(merged, {}, read).size());
    });
    std::printf("hills of these %zu samples, with bounds, prominences and widths: %.1f ms\n", samples.size(),
                all * 1e3);
}

// Peaks of one height on a plateau: the half widths of all end on the same two slopes.
void SharedFlanks() {
    constexpr size_t slope = 2'000'000;
    std::vector<float> samples;
    for (size_t i = 0; i < slope; ++i) samples.push_back(static_cast<float>(i) / slope);
    for (size_t i = 0; i < slope; ++i) samples.push_back(i % 20 == 10 ? 1.2f : 1.1f);
    for (size_t i = slope; i > 0; --i) samples.push_back(static_cast<float>(i) / slope);
    samples.insert(samples.begin(), 0.1f);
    samples.push_back(0.1f);
    TurningPointSearch search(false);
    search.Take(samples);
    const std::vector<TurningRun> runs = search.Finish();
    const ReadSamples read = [&](int64_t from, std::span<float> to) {
        std::ranges::copy(std::span(samples).subspan(static_cast<size_t>(from), to.size()), to.begin());
    };
    size_t hills = 0;
    const double took = Seconds(3, [&] { hills = HillsOf(runs, {}, read).size(); });
    std::printf("%zu hills whose half widths share two slopes of 2 million samples: %.0f ms\n", hills,
                took * 1e3);
}

// --- activity ---

template <typename Search>
double TimeOf(std::span<const float> samples, int64_t n, double (Search::*result)() const) {
    return Seconds(2, [&] {
        Search search(n);
        for (size_t at = 0; at < samples.size(); at += 1024)
            search.Add(samples.subspan(at, std::min<size_t>(1024, samples.size() - at)));
        kept += (search.*result)();
    });
}

// In noise few windows are near to each other; in a periodic signal very many are equal.
void Activity() {
    std::mt19937 random(1);
    std::normal_distribution<float> normal(5.0f, 1.0f);
    std::vector<float> noise(10'000'000), sine(noise.size()), square(noise.size());
    for (size_t i = 0; i < noise.size(); ++i) {
        noise[i] = normal(random);
        sine[i] = static_cast<float>(std::sin(static_cast<double>(i % 50) * 0.125663706));
        square[i] = i % 2 == 0 ? 0.1f : 0.3f;
    }
    double shortest[2] = {};
    for (const int64_t n : {101, 1000, 100'003, 1'000'000}) {
        const double squares = TimeOf(noise, n, &WindowSquares::GreatestSquares);
        const double sums = TimeOf(noise, n, &WindowSums::GreatestSum);
        if (shortest[0] == 0.0) shortest[0] = squares, shortest[1] = sums;
        std::printf("least and most active %lld of 10 million samples: %.2f s, %.2f of a window of 101; sums "
                    "%.2f s, %.2f\n",
                    static_cast<long long>(n), squares, squares / shortest[0], sums, sums / shortest[1]);
        std::printf("the same of a sine of 50 samples %.2f s, of two values in turn %.2f s\n",
                    TimeOf(sine, n, &WindowSquares::GreatestSquares),
                    TimeOf(square, n, &WindowSquares::GreatestSquares));
    }
}

// --- rhythm in data ---

void PlainFftForm(std::span<const float> x, std::vector<double>& re, std::vector<double>& im,
                  const Radix2Fft& fft) {
    double mean = 0.0;
    for (const float value : x) mean += value;
    mean /= static_cast<double>(x.size());
    std::ranges::fill(re, 0.0);
    std::ranges::fill(im, 0.0);
    for (size_t i = 0; i < x.size(); ++i) re[i] = x[i] - mean;
    fft.Forward(re, im);
    for (size_t k = 0; k < re.size(); ++k) re[k] = re[k] * re[k] + im[k] * im[k];
    std::ranges::fill(im, 0.0);
    fft.Inverse(re, im);
    kept += re[1] / re[0];
}

void Rhythms() {
    std::mt19937 random(3);
    std::normal_distribution<float> normal(0.0f, 0.5f);
    for (const size_t window : {1000, 4000, 30'000}) {
        const size_t lags = window / 2, count = 100;
        std::vector<float> samples;
        for (size_t i = 0; i < window + count * 10; ++i)
            samples.push_back(
                static_cast<float>(std::sin(static_cast<double>(i) * 40.0 / static_cast<double>(window))) +
                normal(random));
        const size_t length = std::bit_ceil(window + lags);
        const auto fft = Radix2Fft::Of(length);
        std::vector<double> re(length), im(length);
        const double plain = Seconds(5, [&] {
            for (size_t i = 0; i < count; ++i)
                PlainFftForm(std::span(samples).subspan(10 * i, window), re, im, *fft);
        });
        const double took = Seconds(5, [&] {
            Autocorrelator autocorrelator(window, lags);
            for (size_t i = 0; i < count; ++i) {
                const auto from = samples.begin() + static_cast<std::ptrdiff_t>(10 * i);
                kept += RhythmOf(autocorrelator,
                                 std::vector<float>(from, from + static_cast<std::ptrdiff_t>(window)),
                                 RhythmPreprocess{true, 5, 1})
                            .index;
            }
        });
        std::printf("rhythm of windows of %zu samples, rectified and smoothed: %.2f of the plain FFT form "
                    "(goal: 1.5)\n",
                    window, took / plain);
    }
}

}  // namespace
}  // namespace kymora::bench

int main() {
    using namespace kymora;
    QuietHost host;
    DiskFileSystem files;
    Session session(host, files);
    const bench::Folder folder;
    bench::TurningPoints(session, folder);
    bench::Merging();
    bench::SharedFlanks();
    bench::Activity();
    bench::Rhythms();
    std::printf("[%g]\n", bench::kept);
    return 0;
}
