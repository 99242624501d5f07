// Detection and statistics, each against a floor measured in the same run: the block read of the same
// samples, or the way in which a textbook writes them.

#include <algorithm>
#include <cmath>
#include <random>

#include "bench_files.h"
#include "detection/spike_rules.h"
#include "detection/threshold_detector.h"
#include "document/sample_scan.h"
#include "document/sample_statistics.h"
#include "numerics/least_active_window.h"

namespace kymora::bench {
namespace {

constexpr int64_t longLength = 100'000'000;
double kept = 0.0;  // what keeps results from being optimised away

// The noise of MakeNative is uniform within +-2.147.
int64_t Detect(CDataDoc& doc, const ThresholdRule& rule) {
    ThresholdDetector detector(rule);
    std::vector<DetectedSpan> events;
    ScanSamples(doc, 0, 0, doc.GetLength(), [&](std::span<const float> samples) {
        detector.Take(samples, events);
        return true;
    });
    detector.Finish(events);
    return static_cast<int64_t>(events.size());
}

void Detection(Session& session, const Folder& folder) {
    const auto path = folder / "detect.kymr-dat";
    MakeNative(session, path, 1, longLength, 0, false);
    CFloatDoc doc(session);
    if (!doc.OnOpenDocument(path)) std::abort();
    const double read = Seconds(3, [&] {
        ScanSamples(doc, 0, 0, longLength, [](std::span<const float> samples) {
            kept += samples[0];
            return true;
        });
    });
    std::printf("block read of 100 million samples: %.0f million a second\n", longLength / 1e6 / read);
    const auto report = [&](const char* what, const ThresholdRule& rule) {
        int64_t events = 0;
        const double took = Seconds(3, [&] { events = Detect(doc, rule); });
        std::printf("detection, %s: %.2f of the block read (goal: 0.4); %lld events\n", what, read / took,
                    static_cast<long long>(events));
    };
    ThresholdRule rule;
    rule.direction = OnsetDirection::both;
    rule.levels = {3, 3, 4, -3, -3, -4};
    report("no sample beyond the levels", rule);
    rule.levels = {2.1474f, 2.1474f, 4, -2.1474f, -2.1474f, -4};
    report("one sample in 20,000 beyond them", rule);
    rule.levels = {2.126f, 2.126f, 4, -2.126f, -2.126f, -4};
    rule.limitLogicUsed = true;
    report("one sample in 100 beyond them, limits used", rule);
    rule.levels = {-3, -3, 4, -4, -4, -4};
    report("one event of all samples", rule);
}

// --- statistics of as many samples as the dialogs take
// -------------------------------------------------------

std::vector<float> Noise(size_t count) {
    std::mt19937 random(1);
    std::normal_distribution<float> normal(5.0f, 1.0f);
    std::vector<float> samples(count);
    for (float& value : samples) value = normal(random);
    return samples;
}

double TextbookMedian(std::vector<float>& v) {
    const auto middle = v.begin() + static_cast<std::ptrdiff_t>(v.size() / 2);
    std::nth_element(v.begin(), middle, v.end());
    const double upper = *middle;
    std::nth_element(v.begin(), middle - 1, v.end());
    return (upper + *(middle - 1)) / 2;
}

void Statistics() {
    const std::vector<float> samples = Noise(mostStatisticsSamples);
    const auto report = [](const char* what, double took, double floor) {
        std::printf("%s of 2 million samples: %.1f ms, %.2f x the textbook's\n", what, took * 1e3,
                    took / floor);
    };
    const double plainMean = Seconds(5, [&] {
        double sum = 0.0, squares = 0.0;
        for (const float value : samples) sum += value;
        const double mean = sum / static_cast<double>(samples.size());
        for (const float value : samples) squares += (value - mean) * (value - mean);
        kept += std::sqrt(squares / static_cast<double>(samples.size() - 1));
    });
    report("mean and s.d.", Seconds(5, [&] { kept += GetMeanSd(samples).sd; }), plainMean);
    const double plainMedian = Seconds(5, [&] {
        std::vector<float> copy = samples;
        const double median = TextbookMedian(copy);
        for (float& value : copy) value = static_cast<float>(std::fabs(value - median));
        kept += TextbookMedian(copy) / 0.6745;
    });
    report("median and robust s.d. (goal: 2)",
           Seconds(5, [&] { kept += GetMedianRobustSd(samples).robustSd; }), plainMedian);
    for (const double percent : {1.0, 5.0}) {
        const auto k = static_cast<std::ptrdiff_t>(PercentileRank(mostStatisticsSamples, percent));
        const double selected = Seconds(5, [&] {
            std::vector<float> copy = samples;
            std::nth_element(copy.begin(), copy.begin() + k - 1, copy.end());
            kept += copy[static_cast<size_t>(k - 1)];
            std::nth_element(copy.begin(), copy.end() - k, copy.end());
            kept += copy[copy.size() - static_cast<size_t>(k)];
        });
        const std::string what = "both values at " + std::to_string(static_cast<int>(percent)) + " percent";
        report(what.c_str(), Seconds(5, [&] { kept += GetPercentileValues(samples, percent).low; }),
               selected);
    }
}

// --- the least active window
// ---------------------------------------------------------------------------------

int64_t PlainLeastActive(const std::vector<float>& samples, size_t n) {
    double sum = 0.0, best = 0.0;
    int64_t start = -1;
    for (size_t i = 0; i < samples.size(); ++i) {
        if (i >= n) sum -= samples[i - n];
        sum += samples[i];
        if (i + 1 < n) continue;
        const double mean = sum / static_cast<double>(n);
        double squares = 0.0;
        for (size_t k = i + 1 - n; k <= i; ++k) squares += (samples[k] - mean) * (samples[k] - mean);
        if (start >= 0 && !(squares < best)) continue;
        best = squares;
        start = static_cast<int64_t>(i + 1 - n);
    }
    return start;
}

void LeastActive() {
    const std::vector<float> all = Noise(20'000'000);
    const std::vector<float> some(all.begin(), all.begin() + 1'000'000);
    const auto search = [](const std::vector<float>& samples, size_t n) {
        LeastActiveWindow window(static_cast<int64_t>(n));
        for (size_t at = 0; at < samples.size(); at += scanBlock)
            window.Add(std::span(samples).subspan(at, std::min<size_t>(scanBlock, samples.size() - at)));
        return window.Start();
    };
    for (const size_t n : {size_t{100}, size_t{1000}}) {
        int64_t byRule = 0, found = 0;
        const double plain = Seconds(1, [&] { byRule = PlainLeastActive(some, n); });
        const double took = Seconds(3, [&] { found = search(some, n); });
        std::printf("least active %zu of a million samples: %.0f times as fast as the rule%s\n", n,
                    plain / took, byRule == found ? ", same window" : ", ANOTHER WINDOW");
    }
    for (const size_t n : {size_t{1000}, size_t{1'000'000}})
        std::printf("least active %zu of 20 million samples: %.2f s\n", n,
                    Seconds(1, [&] { kept += static_cast<double>(search(all, n)); }));
}

void SpikeRules() {
    const std::vector<float> samples = Noise(10'000'000);
    const double abs = Seconds(3, [&] {
        AbsSpikeRule rule({9, 1}, OutlierDirection::both, 20);
        rule.Take(samples);
        kept += static_cast<double>(rule.Finish().size());
    });
    const double peaks = Seconds(3, [&] {
        PeakToPeakSpikeRule rule({9, 1}, 40, 20);
        rule.Take(samples);
        kept += static_cast<double>(rule.Finish().size());
    });
    std::printf("spike rules: absolute %.0f, peak to peak %.0f million samples a second\n", 10 / abs,
                10 / peaks);
}

}  // namespace
}  // namespace kymora::bench

int main() {
    using namespace kymora;
    QuietHost host;
    DiskFileSystem files;
    Session session(host, files);
    const bench::Folder folder;
    bench::Detection(session, folder);
    bench::Statistics();
    bench::LeastActive();
    bench::SpikeRules();
    std::printf("[%g]\n", bench::kept);
    return 0;
}
