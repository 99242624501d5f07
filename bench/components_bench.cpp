// Principal components and clusters of waveforms. The floor of the components is the covariance matrix and
// its eigenvectors by Eigen, and the weights by one product of matrices.

#include <Eigen/Eigenvalues>

#include <cmath>
#include <random>

#include "bench_files.h"
#include "sorting/principal_components.h"
#include "statistics/gaussian_clusters.h"

using namespace kymora;
using namespace kymora::bench;

namespace {

// Spikes of three shapes in noise.
std::vector<float> Waves(size_t rows, size_t columns) {
    std::mt19937 random(5);
    std::normal_distribution<float> noise(0.0f, 1.0f);
    std::vector<float> values(rows * columns);
    for (size_t r = 0; r < rows; ++r) {
        const double width = 3.0 + 2.0 * static_cast<double>(r % 3),
                     height = 6.0 + 3.0 * static_cast<double>(r % 3);
        for (size_t c = 0; c < columns; ++c) {
            const double at = (static_cast<double>(c) - 16.0) / width;
            values[r * columns + c] = static_cast<float>(height * std::exp(-at * at)) + noise(random);
        }
    }
    return values;
}

// As a user of the library would write it, in double as the rest.
double ByEigen(const std::vector<float>& values, size_t rows, size_t columns) {
    using Rows = Eigen::Matrix<float, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
    Eigen::MatrixXd data = Eigen::Map<const Rows>(values.data(), static_cast<Eigen::Index>(rows),
                                                  static_cast<Eigen::Index>(columns))
                               .cast<double>();
    const Eigen::RowVectorXd mean = data.colwise().mean();
    data.rowwise() -= mean;
    Eigen::MatrixXd covariance = Eigen::MatrixXd::Zero(data.cols(), data.cols());
    covariance.selfadjointView<Eigen::Lower>().rankUpdate(data.transpose(),
                                                          1.0 / static_cast<double>(rows - 1));
    const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(covariance);
    const Eigen::MatrixXd weights = data * solver.eigenvectors().rightCols(3);
    return weights(0, 2);
}

void Components(size_t rows, size_t columns) {
    const std::vector<float> values = Waves(rows, columns);
    double first = 0.0, other = 0.0;
    std::vector<int> passes;
    const double floor = Seconds(5, [&] { other = ByEigen(values, rows, columns); });
    const double nipals = Seconds(5, [&] {
        const auto found = FindComponentsByNipals(values, columns, {});
        first = found->Weight(0, 0);
        passes = found->passes;
    });
    double covariance = 0.0;
    covariance = Seconds(5, [&] { FindComponentsByCovariance(values, columns, 3); });
    std::printf(
        "three components of %zu x %zu: NIPALS %.1f ms (%d + %d + %d passes), covariance %.1f ms, Eigen "
        "%.1f ms; NIPALS / Eigen %.2f (goal: 1); weights %.4f and %.4f\n",
        rows, columns, nipals * 1e3, passes[0], passes[1], passes[2], covariance * 1e3, floor * 1e3,
        nipals / floor, first, other);
}

// What cannot be ended at once.
void Eigenvectors() {
    const std::vector<float> values = Waves(mostEigenvectors, mostEigenvectors);
    double longest = 0.0;
    const double took = Seconds(1, [&] {
        auto last = std::chrono::steady_clock::now();
        const auto tell = [&](double) {
            const auto now = std::chrono::steady_clock::now();
            longest = std::max(longest, std::chrono::duration<double>(now - last).count());
            last = now;
        };
        FindComponentsByCovariance(values, mostEigenvectors, 3, tell);
    });
    std::printf(
        "components of %zu x %zu by covariance: %.2f s, the longest time without a word up to %.2f s\n",
        mostEigenvectors, mostEigenvectors, took, longest);
}

// Weights of many events, and how long it takes until the search can be ended.
void Clusters(size_t rows, size_t columns) {
    const std::vector<float> waves = Waves(rows, 48);
    const PrincipalComponents found = FindComponentsByCovariance(waves, 48, columns);
    double longest = 0.0;
    auto last = std::chrono::steady_clock::now();
    size_t classes = 0;
    const double took = Seconds(1, [&] {
        last = std::chrono::steady_clock::now();
        classes = FindGaussianClusters(found.weights, columns, {}, [&](int) {
                      const auto now = std::chrono::steady_clock::now();
                      longest = std::max(longest, std::chrono::duration<double>(now - last).count());
                      last = now;
                      return true;
                  }).classes.size();
    });
    std::printf(
        "clusters of %zu x %zu: %.2f s, %zu classes; %.3f s at most before it can be ended (goal: 0.2)\n",
        rows, columns, took, classes, longest);
}

}  // namespace

int main() {
    Components(100'000, 48);
    Components(10'000, 192);
    Eigenvectors();
    Clusters(20'000, 3);
    Clusters(200'000, 3);
    Clusters(200'000, 10);
}
