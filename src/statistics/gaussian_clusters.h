#pragma once
// Clusters of rows of numbers: a mixture of Gaussian classes fitted by expectation maximisation, whose number
// of classes is searched downward from many by merging the two whose union costs least, by a criterion of
// minimal description length (A. P. Dempster, N. M. Laird and D. B. Rubin, J. R. Stat. Soc. B 39, 1977;
// J. Rissanen, Ann. Stat. 11, 1983).
//
// With N rows of M values and P parameters a class (1 + M + M (M + 1) / 2, or 1 + 2M with diagonal
// covariances):
// - R, the mean variance of the columns / 100000, is added to the diagonals of all covariances.
// - At most Kmax = (N M + 1) / P - 1 classes; where the initial number is above Kmax / 2, it becomes that, at
//   least 1.
// - Seeds: equal weights, the covariance of all rows (divisor N), and the means at rows floor(i (N - 1) / (K
// - 1)).
// - Steps of expectation and maximisation until the log-likelihood L grows by no more than 0.01 P ln(N M). A
// class
//   that loses its members keeps its mean and covariance with weight 0, and is merged first.
// - Criterion: -L + (K P - 1) ln(N M) / 2; the classes of the lowest one are kept.
// - Distance of classes i and j: N / 2 (w ln|C| - wi ln|Ci| - wj ln|Cj|), w and C of the pooled class. The
// first
//   smallest of the pairs i < j is merged.
// Equal rows give equal numbers, none of which is ever a not-a-number.

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "statistics/distribution_mixture.h"

namespace kymora {

struct GaussianClass {
    double weight = 0.0;       // 0 to 1; those of all classes add up to 1
    std::vector<double> mean;  // M
    std::vector<double>
        covariance;  // M x M, row by row; beside the diagonal 0 where covariances are diagonal
};

struct ClusterOptions {
    int desired = 0;  // number of classes; 0 searches for it. The initial number is not exceeded.
    int initial = 20;
    bool full = true;  // covariances, or diagonal ones
};

struct GaussianClusters {
    enum class State {
        found,
        noRows,    // no row without a not-a-number or an infinity
        singular,  // a covariance has no inverse, as with rows that are all the same
        cancelled,
    };
    State state = State::noRows;
    bool reducedInitial = false;  // there are too few rows for the initial number of classes
    int started = 0;              // with so many classes
    std::vector<GaussianClass> classes;
    // For each row its class, counted from 0: that of the largest posterior, the first of equals. Rows that
    // are left out, being no finite numbers, have 0 too; `leftOut` lists them, ascending. Empty unless found.
    std::vector<int> ids;
    std::vector<size_t> leftOut;
    double logLikelihood = 0.0;
    double criterion = 0.0;
    // The classes, counted from 1, whose covariance has no inverse, where that has ended the search: one that
    // is not its own mirror image holds not-a-numbers, as of values that are too large to be squared; another
    // has an eigenvalue that is not positive.
    std::vector<int> notSymmetric, notPositive;
};

// Asked in every step, and within one over many rows, with the number of classes at work; false ends the
// search.
using ClusterPoll = std::function<bool(int classes)>;

// Rows one after the other, `columns` (at least 1) values each; what does not fill a row does not count.
GaussianClusters FindGaussianClusters(std::span<const double> rows, size_t columns,
                                      const ClusterOptions& options = {}, const ClusterPoll& poll = {});

// Classes of one dimension as a mixture, in the order of their means. Of more than four the first four are
// taken, the fourth with 1 minus the proportions of the others.
Mixture MixtureOfClasses(const std::vector<GaussianClass>& classes);

}  // namespace kymora
