// The arithmetic of histograms, each part against the plain loop that it stands for.

#include <algorithm>
#include <cmath>
#include <numbers>
#include <random>

#ifdef KYMORA_DESKTOP
#include <QGuiApplication>
#include <QImage>
#include <QPainter>

#include "drawing/windows/painter_device.h"
#endif

#include "bench_files.h"
#include "graphs/graph_painter.h"
#include "graphs/graph_scale.h"
#include "histograms/event_hist.h"
#include "histograms/histogram.h"
#include "numerics/vector_state.h"
#include "statistics/binning.h"
#include "statistics/correlogram.h"
#include "statistics/gaussian_clusters.h"
#include "statistics/kernel_density.h"
#include "statistics/knuth_bins.h"

using namespace kymora;
using namespace kymora::bench;

namespace {

// Intervals of two kinds, as a train of bursts has them.
std::vector<double> Intervals(size_t count) {
    std::mt19937 random(1);
    std::exponential_distribution<double> pause(1.0 / 80.0);
    std::normal_distribution<double> within(8.0, 1.5);
    std::vector<double> values(count);
    for (size_t i = 0; i < count; ++i)
        values[i] = static_cast<float>(i % 3 == 0 ? pause(random) : within(random));
    return values;
}

void Bins() {
    const std::vector<double> values = Intervals(1'000'000);
    const BinGrid grid{1000, 0.0, 200.0};
    std::vector<double> counts(1000);
    double outside = 0.0;
    const double plain = Seconds(9, [&] {
        const double width = grid.Width();
        for (const double value : values) {
            if (!(value >= grid.minimum && value < grid.maximum)) {
                ++outside;
                continue;
            }
            const auto bin = static_cast<size_t>((value - grid.minimum) / width + binTolerance);
            ++counts[std::min<size_t>(bin, 999)];
        }
    });
    const double took = Seconds(9, [&] { outside += GetHistogram(values, grid).Above(); });
    std::printf("a million intervals into 1,000 bins: %.2f ms, %.2f of a plain loop (goal: 1) [%g]\n",
                took * 1e3, took / plain, outside);
}

void Knuth() {
    const std::vector<double> values = Intervals(100'000);
    int best = 0;
    const double took = Seconds(5, [&] { best = FindKnuthBins(values, 200).best; });
    std::printf("Knuth's bins of 100,000 values to 200: %.1f ms (goal: 40); best %d\n", took * 1e3, best);
}

void Densities() {
    const std::vector<double> values = Intervals(100'000);
    const std::vector<double> points = EvenPoints(0.0, 200.0, 512);
    const double h = KernelDensity(values).FindBandwidth({BandwidthRule::silverman}).value;
    std::vector<double> plainly(points.size());
    const double plain = Seconds(1, [&] {
        const double factor =
            1.0 / (std::sqrt(2.0 * std::numbers::pi) * h * static_cast<double>(values.size()));
        for (size_t i = 0; i < points.size(); ++i) {
            double sum = 0.0;
            for (const double v : values) {
                const double u = (points[i] - v) / h;
                sum += std::exp(-0.5 * u * u);
            }
            plainly[i] = factor * sum;
        }
    });
    std::vector<double> densities;
    const double took =
        Seconds(5, [&] { densities = KernelDensity(values).At(points, Kernel::gaussian, h); });
    double error = 0.0;
    double peak = 0.0;
    for (size_t i = 0; i < points.size(); ++i) {
        error = std::max(error, std::fabs(densities[i] - plainly[i]));
        peak = std::max(peak, plainly[i]);
    }
    std::printf(
        "Gaussian density of 100,000 values at 512 points: %.1f ms, %.4f of the plain sum (goal: 0.1), "
        "within %.1e of the peak\n",
        took * 1e3, took / plain, error / peak);
}

void Bandwidths() {
    // Two humps, of which every rule makes something.
    std::mt19937 random(4);
    std::normal_distribution<double> normal(0.0, 1.0);
    std::vector<double> values(100'000);
    for (size_t i = 0; i < values.size(); ++i)
        values[i] = i % 3 == 0 ? 6.0 + 0.5 * normal(random) : normal(random);
    const std::pair<const char*, BandwidthRule> rules[] = {{"AMISE fast", BandwidthRule::amiseFast},
                                                           {"AMISE safe", BandwidthRule::amiseSafe},
                                                           {"Sheather-Jones", BandwidthRule::sheatherJones}};
    for (const auto& [name, rule] : rules) {
        Bandwidth found;
        const double search = Seconds(3, [&] { found = KernelDensity(values).FindBandwidth({rule}); });
        const char* refused = found.problem == BandwidthProblem::none ? "" : ", refused";
        std::printf("%s bandwidth of 100,000 values: %.0f ms (goal: 1000); %g%s\n", name, search * 1e3,
                    found.value, refused);
    }
}

void Correlograms() {
    std::mt19937 random(2);
    const auto train = [&random] {
        std::vector<double> times(100'000);
        for (double& time : times) time = 1e-3 * static_cast<double>(random() % 1'000'000'000);
        std::sort(times.begin(), times.end());
        return times;
    };
    const std::vector<double> one = train();
    const std::vector<double> two = train();
    for (const double window : {100.0, 1000.0}) {
        double pairs = 0.0;
        const BinGrid grid{200, -window, window};
        const double took =
            Seconds(3, [&] { pairs = GetCorrelogram(one, two, Trains::different, grid).InRange(); });
        std::printf(
            "cross-correlogram of 100,000 x 100,000 events within %g ms: %.1f ms, %.0f pairs, %.1f ns a "
            "pair (goal: 60)\n",
            window, took * 1e3, pairs, took / pairs * 1e9);
    }
}

void Clusters() {
    std::mt19937 random(3);
    std::normal_distribution<double> normal(0.0, 1.0);
    for (const double apart : {8.0, 3.0}) {
        std::vector<double> rows;
        for (int i = 0; i < 20'000; ++i) {
            const int cloud = static_cast<int>(random() % 6);
            for (int c = 0; c < 3; ++c)
                rows.push_back(apart * ((cloud + 2 * c * (cloud % 2)) % 6) + normal(random));
        }
        size_t classes = 0;
        int steps = 0;
        const double took = Seconds(3, [&] {
            steps = 0;
            classes = FindGaussianClusters(rows, 3, {}, [&steps](int) { return ++steps > 0; }).classes.size();
        });
        std::printf(
            "order search of 20,000 x 3, six clouds %g s.d. apart: %.2f s (goal: 0.5); %zu classes, %d "
            "steps\n",
            apart, took, classes, steps);
    }
}

// What a drag of a line costs: the values are there, all else is made anew.
void Redraw() {
    HistPart asked;
    asked.input.Take(Intervals(1'000'000));
    asked.input.label = "interval (ms)";
    asked.input.isInterval = true;
    asked.settings.autoRange = false;
    asked.settings.maximum = 200.0;
    asked.settings.binCount = 1000;
    std::mt19937 random(1);
    size_t bars = 0;
    const double once = Seconds(10, [&] {
        HistPart part = asked;
        AnalyseHistogram(part, random, {});
        bars = HistGraph({&part, 1}, 1).panes[0].layers[0].y.size();
    });
    std::printf("a million intervals binned, described and made a graph: %.1f ms (goal: 16, with painting); "
                "%zu bars\n",
                once * 1e3, bars);
#ifdef KYMORA_DESKTOP
    AnalyseHistogram(asked, random, {});
    const Graph graph = HistGraph({&asked, 1}, 1);
    for (const double ratio : {1.0, 2.0}) {
        QImage image(QSize(700, 600) * ratio, QImage::Format_RGB32);
        image.setDevicePixelRatio(ratio);
        const double painting = Seconds(20, [&] {
            QPainter painter(&image);
            PainterDevice device(painter);
            const PixelRect area{0, 0, 700, 600};
            PaintGraph(device, graph, PlaceGraph(device, graph, WholeGraph(graph), area), area, {});
        });
        std::printf("  its painting at ratio %.0f: %.1f ms\n", ratio, painting * 1e3);
    }
#endif
}

// What an edit of a setting costs, from the events of the recording on.
void Edit() {
    constexpr int count = 1'000'000, step = 40;
    QuietHost host;
    DiskFileSystem files;
    Session session(host, files);
    ModelDoc doc(session, 1, int64_t{count} * step);
    for (int i = 0; i < count; ++i) doc.eventChannels[0].AddEvent(i * step + i % 7, i * step + 10 + i % 10);
    CEventHist histogram;
    histogram.CheckChangeDoc(&doc);
    const double once = Seconds(5, [&] {
        if (!histogram.Run()) std::printf("refused\n");
    });
    std::printf("an edit over a million events of a recording: %.1f ms (goal: 50)\n", once * 1e3);
}

}  // namespace

int main(int argc, char** argv) {
#ifdef KYMORA_DESKTOP
    qputenv("QT_QPA_PLATFORM", "offscreen");
    QGuiApplication application(argc, argv);
    ClearVectorState();  // as the program does
#else
    (void)argc;
    (void)argv;
#endif
    Bins();
    Knuth();
    Densities();
    Bandwidths();
    Correlograms();
    Clusters();
    Redraw();
    Edit();
}
