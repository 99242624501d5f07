// The spike sorter. The floor of a query is one look at every entry of the library; that of a library is
// filling its rows once.

#include <cmath>
#include <random>

#include "bench_files.h"
#include "operations/operation_job.h"
#include "sorting/mixture_library.h"

using namespace kymora;
using namespace kymora::bench;

namespace {

constexpr int values = 64;

// Templates of one shape with other sizes, widths and after-potentials.
std::vector<cCluster> Templates(int count) {
    std::vector<cCluster> clusters(static_cast<size_t>(count));
    for (int k = 0; k < count; ++k) {
        cCluster& cluster = clusters[static_cast<size_t>(k)];
        cluster.m_nTmplSamp = values;
        cluster.m_iCount = 100;
        for (int i = 0; i < values; ++i) {
            const double x = (i - 24.0) / (3.0 + k), late = (i - 34.0 - k) / 6.0;
            cluster.m_vfFullTmpl.push_back(static_cast<float>((k % 2 == 0 ? -20.0 : 14.0) * std::exp(-x * x) +
                                                              (5.0 + k) * std::exp(-late * late)));
        }
    }
    return clusters;
}

void Library(int limit, Polarity polarity, double goal) {
    SpikeWaves waves;
    waves.shape = {values, 24, 1, 1};
    waves.noise = {{0.0, 1.0, 2000}};
    const std::vector<cCluster> clusters = Templates(5);
    UnheardContext unheard;
    std::optional<MixtureLibraries> built;
    const double took =
        Seconds(2, [&] { built = MixtureLibraries::Build(clusters, waves, limit, polarity, unheard); });
    std::vector<std::vector<float>> rows;
    const double floor = Seconds(2, [&] {
        rows.clear();
        for (const MixtureLibrary& library : built->Libraries())
            for (const MixtureEntry& entry : library.entries) rows.push_back(built->RowOf(entry));
    });
    std::printf("library of 5 templates, %d values, up to %d components, polarity %d: %zu entries, %.0f MB "
                "(%.0f expected): %.3f s (goal %.0f); its rows alone: %.3f s, ratio %.2f\n",
                values, limit, static_cast<int>(polarity), built->Entries(),
                static_cast<double>(built->Bytes()) / 1e6,
                MixtureLibraries::ExpectedBytes(clusters, waves.shape, limit) / 1e6, took, goal, floor,
                took / floor);

    std::mt19937 random(5);
    std::normal_distribution<float> noise;
    constexpr int queries = 200;
    std::vector<std::vector<float>> asked;
    for (int i = 0; i < queries; ++i) {
        asked.push_back(rows[random() % rows.size()]);
        for (float& x : asked.back()) x += noise(random);
    }
    size_t found = 0;
    const double search = Seconds(2, [&] {
        for (const auto& row : asked) found += built->Search(row).size();
    });
    double sum = 0.0;
    const double all = Seconds(1, [&] {
        for (const auto& row : asked) {
            float best = 1e30f;
            for (const auto& entry : rows) {
                float distance = 0.0f;
                for (size_t i = 0; i < entry.size(); ++i)
                    distance += (row[i] - entry[i]) * (row[i] - entry[i]);
                best = std::min(best, distance);
            }
            sum += static_cast<double>(best);
        }
    });
    std::printf("  a query: %.3f ms; a look at every entry: %.3f ms, ratio %.3f (%zu, %.0f)\n",
                1e3 * search / queries, 1e3 * all / queries, search / all, found, sum);
}

}  // namespace

int main() {
    Library(2, Polarity::up, 3);
    Library(3, Polarity::up, 3);
    Library(3, Polarity::either, 3);
    return 0;
}
