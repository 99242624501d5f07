#pragma once
// Principal components of rows of samples: the directions along which waveforms differ most, and how far each
// goes along them. Two ways: by nonlinear iterative partial least squares, one component after the other
// (H. Wold, in Multivariate Analysis, ed. P. R. Krishnaiah, 1966, 391-420; P. Geladi and B. R. Kowalski,
// Anal. Chim. Acta 185, 1986, 1-17), and by the eigenvectors of the covariance matrix (I. T. Jolliffe,
// Principal Component Analysis, 2nd edition 2002, chapter 3).
//
// All is computed in double.

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace kymora {

enum class Centring {
    mean = 0,       // each column less its mean
    meanAndSd = 1,  // and divided by its s.d. (n - 1), unless that is no greater than 2.220446049250313e-16
};

struct NipalsOptions {
    size_t components = 3;
    Centring centring = Centring::mean;
    double tolerance = 0.001;  // of the squared changes of the unit loading from pass to pass, summed
};

struct PrincipalComponents {
    size_t columns = 0, components = 0;
    std::vector<double> means, scales;  // of the columns; what was taken away and divided by
    std::vector<double> loadings;       // components x columns, each of unit length
    // rows x components. NIPALS: the scores with their sign reversed. Covariance: the scores.
    std::vector<double> weights;
    std::vector<double> variances;  // of the scores (n - 1), by component
    double totalVariance = 0.0;     // of all columns as they were centred
    std::vector<int> passes;        // of each component; NIPALS alone

    std::span<const double> Loading(size_t component) const {
        return std::span(loadings).subspan(component * columns, columns);
    }
    double Weight(size_t row, size_t component) const { return weights[row * components + component]; }
};

// Told after each pass of a component, counted from 0: how many passes it took so far, from 1, and the change
// of the loading. False abandons.
using NipalsPoll = std::function<bool(size_t component, int pass, double change)>;
// Told how much of the sums over the rows is made, 0 to 1. Ends the work by an exception.
using RowsDone = std::function<void(double done)>;

// So many rows or columns, whichever are fewer, are as many as the covariance way takes: its eigenvectors
// are found in one piece, which nobody can end.
inline constexpr size_t mostEigenvectors = 480;

// `rows` holds complete rows of `columns` values (at least 1 each), all finite. Component c begins with row c
// of the residual, or where that is 0 with the row of the greatest length. Where nothing is left of the data
// the weights and loadings of that component and the later ones are 0. Nothing where the poll abandons.
std::optional<PrincipalComponents> FindComponentsByNipals(std::span<const float> rows, size_t columns,
                                                          const NipalsOptions& options,
                                                          const NipalsPoll& poll = {},
                                                          const RowsDone& rowsDone = {});

// As many components as are wished and there are columns, by falling variance. The largest loading of each,
// the first of equals, is positive. At least 2 rows, of finite values. Where there are fewer rows than
// columns the eigenvectors are those of the products of the rows, from which the same loadings come; loadings
// and weights of components without variance are then 0.
PrincipalComponents FindComponentsByCovariance(std::span<const float> rows, size_t columns, size_t components,
                                               const RowsDone& rowsDone = {});

// The lines for the log: of each pass, and of the passes that each component took.
std::string NipalsPassText(int pass, double change);
std::string NipalsPassesText(const PrincipalComponents& found);

}  // namespace kymora
