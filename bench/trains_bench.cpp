// Trains against trains, each part against the plain way that it stands for.

#include <algorithm>
#include <boost/math/special_functions/gamma.hpp>
#include <cmath>
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
#include "numerics/vector_state.h"
#include "trains/joint_psth.h"
#include "trains/sojourn_fit.h"
#include "trains/train_correlation.h"

using namespace kymora;
using namespace kymora::bench;

namespace {

std::vector<int64_t> Train(unsigned seed, size_t count, int64_t length) {
    std::mt19937 random(seed);
    std::uniform_int_distribution<int64_t> place(0, length - 1);
    std::vector<int64_t> train(count);
    for (int64_t& at : train) at = place(random);
    std::sort(train.begin(), train.end());
    return train;
}

// A plain pair: for each event a search in the other train.
double PlainTiling(const std::vector<int64_t>& a, const std::vector<int64_t>& b, int64_t reach,
                   int64_t length) {
    const auto share = [&](const std::vector<int64_t>& train) {
        int64_t covered = 0, end = 0;
        for (const int64_t at : train) {
            covered += std::min(length, at + reach + 1) - std::max(end, at - reach);
            end = std::min(length, at + reach + 1);
        }
        return static_cast<double>(covered) / static_cast<double>(length);
    };
    const auto met = [&](const std::vector<int64_t>& train, const std::vector<int64_t>& other) {
        size_t count = 0;
        for (const int64_t at : train) {
            const auto next = std::lower_bound(other.begin(), other.end(), at - reach);
            count += next != other.end() && *next <= at + reach;
        }
        return static_cast<double>(count) / static_cast<double>(train.size());
    };
    const double ta = share(a), tb = share(b), pa = met(a, b), pb = met(b, a);
    return 0.5 * ((pa - tb) / (1.0 - pa * tb) + (pb - ta) / (1.0 - pb * ta));
}

void Tiling() {
    constexpr int64_t length = 60'000'000, reach = 1000;
    const std::vector<TrainStretch> region{{0, length}};
    std::vector<std::vector<int64_t>> trains;
    for (unsigned seed = 0; seed < 60; ++seed) trains.push_back(Train(seed, 10'000, length));
    double sum = 0.0, plainSum = 0.0;
    const double plain = Seconds(1, [&] {
        for (size_t i = 0; i < trains.size(); ++i)
            for (size_t k = i + 1; k < trains.size(); ++k)
                plainSum += PlainTiling(trains[i], trains[k], reach, length);
    });
    const double took = Seconds(3, [&] {
        std::vector<CoveredTrain> covered;
        for (const auto& train : trains) covered.push_back(CoverTrain(train, -reach, reach, region));
        sum = 0.0;
        for (const double one : TilingOfAll(covered)) sum += one;
    });
    std::printf(
        "tiling coefficients of 60 trains of 10,000 events: %.0f ms (goal: 250), %.2f of pair by pair [%g]\n",
        took * 1e3, took / plain, sum - plainSum);
}

void Joint() {
    std::vector<int64_t> stimuli, target, reference;
    std::mt19937 random(1);
    std::uniform_int_distribution<int64_t> place(0, 19'999);
    for (int64_t i = 0; i < 1000; ++i) {
        stimuli.push_back(i * 40'000);
        for (int k = 0; k < 20; ++k) {
            target.push_back(i * 40'000 + place(random));
            reference.push_back(i * 40'000 + place(random));
        }
    }
    std::sort(target.begin(), target.end());
    std::sort(reference.begin(), reference.end());
    double sum = 0.0;
    const double took = Seconds(5, [&] {
        sum += MakeJointPsth(stimuli, target, reference, {200, 100, 0}).Of(JointForm::normalized)[0];
    });
    std::printf("JPSTH of 1,000 stimuli with 20 x 20 spikes and 200 bins: %.1f ms (goal: 15) [%g]\n",
                took * 1e3, sum);
}

void Surprise() {
    constexpr int cells = 200 * 200;
    std::vector<int64_t> counts(cells);
    std::vector<double> means(cells);
    std::mt19937 random(2);
    for (int i = 0; i < cells; ++i) {
        means[static_cast<size_t>(i)] = 1.0 + 0.0005 * i;
        counts[static_cast<size_t>(i)] =
            std::poisson_distribution<int64_t>(means[static_cast<size_t>(i)])(random);
    }
    double sum = 0.0, plainSum = 0.0;
    const double plain = Seconds(3, [&] {
        for (size_t i = 0; i < cells; ++i) {
            const double above = boost::math::gamma_p(static_cast<double>(counts[i] + 1), means[i]);
            const double within = boost::math::gamma_q(static_cast<double>(counts[i] + 1), means[i]);
            plainSum += std::log(within) - std::log(above);
        }
    });
    const double took = Seconds(5, [&] {
        for (size_t i = 0; i < cells; ++i) sum += JointSurprise(counts[i], means[i]);
    });
    std::printf(
        "surprise of 200 x 200 cells: %.2f ms (goal: 5), %.2f of two incomplete gamma functions [%g]\n",
        took * 1e3, took / plain, sum / 5 - plainSum / 3);
}

void Sojourns() {
    std::mt19937 random(3);
    std::vector<double> durations;
    for (int i = 0; i < 10'000; ++i)
        durations.push_back(
            0.1 * std::ceil(10.0 * std::exponential_distribution<double>(i % 3 == 0 ? 0.5 : 0.02)(random)));
    double mean = 0.0;
    const double took = Seconds(
        1, [&] { mean = FitSojourns(StartOfSojourns(3, durations), durations).mixture.components[0].mean; });
    std::printf("three exponentials fitted to 10,000 sojourns: %.0f ms [%g]\n", took * 1e3, mean);
}

void Redraw() {
    std::mt19937 random(4);
    std::uniform_real_distribution<double> latency(0.0, 1000.0);
    Graph graph;
    GraphPane& pane = graph.panes.emplace_back();
    GraphLayer& marks = pane.layers.emplace_back();
    marks.kind = LayerKind::raster;
    for (int row = 1; row <= 1000; ++row)
        for (int k = 0; k < 1000; ++k) {
            marks.x.push_back(latency(random));
            marks.y.push_back(row);
            marks.colours.push_back(k % 2 == 0 ? 0x0000FF : 0xFF0000);
        }
#ifdef KYMORA_DESKTOP
    QImage image(560, 300, QImage::Format_RGB32);
    const double took = Seconds(7, [&] {
        QPainter painter(&image);
        PainterDevice device(painter);
        const PixelRect area{0, 0, image.width(), image.height()};
        const auto places = PlaceGraph(device, graph, WholeGraph(graph), area);
        PaintGraph(device, graph, places, area, {});
    });
    std::printf("redraw of a raster of a million marks in two colours: %.1f ms (goal: 16)\n", took * 1e3);
#endif
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
    Tiling();
    Joint();
    Surprise();
    Sojourns();
    Redraw();
}
