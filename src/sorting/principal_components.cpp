#include "sorting/principal_components.h"

#include <fmt/format.h>

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>

namespace kymora {

namespace {

constexpr size_t rowsAtOnce = 4;
constexpr size_t productsAtOnce = 1 << 20;  // between two words about how far it is
constexpr size_t rowsToldOf = 1024;
constexpr Eigen::Index columnsAtOnce = 256;
// The squared length of a residual that is rounding alone, in parts of that of the data: samples are single.
constexpr double nothingLeft = 1e-13;

double Dot(std::span<const double> a, std::span<const double> b) {
    return std::inner_product(a.begin(), a.end(), b.begin(), 0.0);
}

void AddScaled(std::span<double> to, double factor, std::span<const double> from) {
    for (size_t i = 0; i < to.size(); ++i) to[i] += factor * from[i];
}

// Rows less the means of their columns, and in units of their s.d.s where that is wished.
class CentredRows {
  public:
    CentredRows(std::span<const float> rows, size_t columns, Centring centring)
        : rows_(rows), columns_(columns), means_(columns), scales_(columns, 1.0) {
        const auto count = static_cast<double>(Count());
        for (size_t r = 0; r < Count(); ++r)
            for (size_t c = 0; c < columns; ++c) means_[c] += static_cast<double>(rows[r * columns + c]);
        for (double& mean : means_) mean /= count;
        if (centring == Centring::mean || Count() < 2) return;
        std::vector<double> squares(columns);
        for (size_t r = 0; r < Count(); ++r)
            for (size_t c = 0; c < columns; ++c) {
                const double deviation = static_cast<double>(rows[r * columns + c]) - means_[c];
                squares[c] += deviation * deviation;
            }
        for (size_t c = 0; c < columns; ++c) {
            const double sd = std::sqrt(squares[c] / (count - 1.0));
            if (sd > std::numeric_limits<double>::epsilon()) scales_[c] = sd;
        }
    }

    size_t Count() const { return rows_.size() / columns_; }
    size_t Columns() const { return columns_; }
    const std::vector<double>& Means() const { return means_; }
    const std::vector<double>& Scales() const { return scales_; }
    void Take(size_t row, std::span<double> to) const {
        const float* from = &rows_[row * columns_];
        for (size_t c = 0; c < columns_; ++c) to[c] = (static_cast<double>(from[c]) - means_[c]) / scales_[c];
    }

    // Sums of the products of columns: columns x columns, all of it.
    std::vector<double> Products(const RowsDone& rowsDone) const {
        std::vector<double> sums(columns_ * columns_), some(rowsAtOnce * columns_);
        const size_t toldEvery = std::max<size_t>(1, productsAtOnce / (columns_ * columns_)) * rowsAtOnce;
        for (size_t row = 0; row < Count(); row += rowsAtOnce) {
            if (rowsDone && row % toldEvery == 0)
                rowsDone(static_cast<double>(row) / static_cast<double>(Count()));
            std::ranges::fill(some, 0.0);
            for (size_t i = 0; i < std::min(rowsAtOnce, Count() - row); ++i)
                Take(row + i, std::span(some).subspan(i * columns_, columns_));
            AddProducts(some, sums);
        }
        for (size_t a = 0; a < columns_; ++a)
            for (size_t b = 0; b < a; ++b) sums[a * columns_ + b] = sums[b * columns_ + a];
        return sums;
    }

  private:
    // Of the upper triangle. Several rows at once spare most loads and stores of the sums.
    void AddProducts(std::span<const double> some, std::span<double> sums) const {
        const double *x0 = some.data(), *x1 = x0 + columns_, *x2 = x1 + columns_, *x3 = x2 + columns_;
        for (size_t a = 0; a < columns_; ++a) {
            const double f0 = x0[a], f1 = x1[a], f2 = x2[a], f3 = x3[a];
            double* to = &sums[a * columns_];
            for (size_t b = a; b < columns_; ++b)
                to[b] += (f0 * x0[b] + f1 * x1[b]) + (f2 * x2[b] + f3 * x3[b]);
        }
    }

    std::span<const float> rows_;
    size_t columns_;
    std::vector<double> means_, scales_;
};

// The residual behind the components that were found, in two forms: its rows, or where there are more rows
// than columns the products of its columns, from which the loadings come without another look at the rows.
class Residual {
  public:
    Residual(const CentredRows& rows, const RowsDone& rowsDone) : rows_(rows), row_(rows.Columns()) {
        if (rows.Count() >= rows.Columns()) {
            products_ = rows.Products(rowsDone);
        } else {
            values_.resize(rows.Count() * rows.Columns());
            for (size_t r = 0; r < rows.Count(); ++r) rows.Take(r, RowOf(r));
        }
        first_ = SquaredLength();
    }

    double SquaredLength() const {
        if (!values_.empty()) return Dot(values_, values_);
        double trace = 0.0;
        for (size_t c = 0; c < rows_.Columns(); ++c) trace += products_[c * rows_.Columns() + c];
        return trace;
    }
    double FirstSquaredLength() const { return first_; }
    bool IsNothing(double squares) const { return !(squares > nothingLeft * first_); }

    // Through the residual and back: X' X v.
    std::vector<double> ThereAndBack(std::span<const double> vector) const {
        const size_t columns = rows_.Columns();
        std::vector<double> to(columns);
        if (values_.empty()) {
            for (size_t c = 0; c < columns; ++c)
                to[c] = Dot(std::span(products_).subspan(c * columns, columns), vector);
        } else {
            for (size_t r = 0; r < rows_.Count(); ++r) AddScaled(to, Dot(RowOf(r), vector), RowOf(r));
        }
        return to;
    }

    // Row `wanted`, or the longest one where nothing is left of it.
    std::vector<double> TrialVector(size_t wanted) {
        std::vector<double> trial(rows_.Columns());
        if (wanted < rows_.Count()) {
            TakeRow(wanted, trial);
            if (!IsNothing(Dot(trial, trial) * static_cast<double>(rows_.Count()))) return trial;
        }
        size_t longest = 0;
        double most = -1.0;
        for (size_t r = 0; r < rows_.Count(); ++r) {
            TakeRow(r, row_);
            if (const double length = Dot(row_, row_); length > most) {
                most = length;
                longest = r;
            }
        }
        TakeRow(longest, trial);
        return trial;
    }

    // Takes the component away: X - (X p) p'.
    void Subtract(std::span<const double> loading) {
        found_.emplace_back(loading.begin(), loading.end());
        if (!values_.empty()) {
            for (size_t r = 0; r < rows_.Count(); ++r) AddScaled(RowOf(r), -Dot(RowOf(r), loading), loading);
            return;
        }
        const size_t columns = rows_.Columns();
        const std::vector<double> image = ThereAndBack(loading);
        const double variance = Dot(image, loading);
        for (size_t a = 0; a < columns; ++a)
            for (size_t b = 0; b < columns; ++b)
                products_[a * columns + b] +=
                    loading[a] * (variance * loading[b] - image[b]) - image[a] * loading[b];
    }

    void TakeRow(size_t row, std::span<double> to) const {
        rows_.Take(row, to);
        for (const std::vector<double>& loading : found_) AddScaled(to, -Dot(to, loading), loading);
    }

  private:
    std::span<double> RowOf(size_t row) {
        return std::span(values_).subspan(row * rows_.Columns(), rows_.Columns());
    }
    std::span<const double> RowOf(size_t row) const {
        return std::span(values_).subspan(row * rows_.Columns(), rows_.Columns());
    }

    const CentredRows& rows_;
    std::vector<double> row_, products_, values_;
    std::vector<std::vector<double>> found_;
    double first_ = 0.0;
};

PrincipalComponents Prepared(const CentredRows& rows, size_t components) {
    PrincipalComponents result;
    result.columns = rows.Columns();
    result.components = components;
    result.means = rows.Means();
    result.scales = rows.Scales();
    result.loadings.assign(components * rows.Columns(), 0.0);
    result.weights.assign(rows.Count() * components, 0.0);
    result.variances.assign(components, 0.0);
    return result;
}

// How often the trial vector of a component went through the residual; nothing where the poll abandons.
std::optional<int> Iterate(const Residual& residual, size_t component, double tolerance,
                           const NipalsPoll& poll, std::vector<double>& vector) {
    int passes = 0;
    for (double change = 1.0; change > tolerance || passes == 0;) {
        std::vector<double> next = residual.ThereAndBack(vector);
        const double length = std::sqrt(Dot(next, next));
        // The trial vector lies across all that is left.
        if (!(length > 0.0)) {
            std::ranges::fill(vector, 0.0);
            return passes;
        }
        change = 0.0;
        for (size_t c = 0; c < next.size(); ++c) {
            next[c] /= length;
            change += (next[c] - vector[c]) * (next[c] - vector[c]);
        }
        vector = std::move(next);
        ++passes;
        if (poll && !poll(component, passes, change)) return {};
    }
    return passes;
}

// A loading with its largest value, the first of equals, turned to be positive.
void PutLoading(PrincipalComponents& result, size_t component, std::span<const double> vector) {
    const auto largest = std::max_element(vector.begin(), vector.end(),
                                          [](double a, double b) { return std::fabs(a) < std::fabs(b); });
    const double sign = *largest < 0.0 ? -1.0 : 1.0;
    for (size_t i = 0; i < vector.size(); ++i)
        result.loadings[component * result.columns + i] = sign * vector[i];
}

// Of the covariance matrix. Eigenvalues come in rising order.
void TakeEigenvectors(const CentredRows& rows, double divisor, const RowsDone& rowsDone,
                      PrincipalComponents& result) {
    const std::vector<double> products = rows.Products(rowsDone);
    const auto size = static_cast<Eigen::Index>(rows.Columns());
    const Eigen::MatrixXd covariance =
        Eigen::Map<const Eigen::MatrixXd>(products.data(), size, size) / divisor;
    const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(covariance);
    result.totalVariance = covariance.trace();
    for (size_t c = 0; c < result.components; ++c) {
        const Eigen::Index at = size - 1 - static_cast<Eigen::Index>(c);
        result.variances[c] = std::max(0.0, solver.eigenvalues()[at]);
        const Eigen::VectorXd vector = solver.eigenvectors().col(at);
        PutLoading(result, c, {vector.data(), rows.Columns()});
    }
}

// Of the products of the rows, which have the same eigenvalues but for those of 0.
void TakeEigenvectorsOfRows(const CentredRows& rows, double divisor, const RowsDone& rowsDone,
                            PrincipalComponents& result) {
    const auto size = static_cast<Eigen::Index>(rows.Count());
    const auto columns = static_cast<Eigen::Index>(rows.Columns());
    Eigen::MatrixXd centred(columns, size);  // a row of the data in each column
    for (Eigen::Index r = 0; r < size; ++r)
        rows.Take(static_cast<size_t>(r), {centred.col(r).data(), rows.Columns()});
    Eigen::MatrixXd products = Eigen::MatrixXd::Zero(size, size);
    for (Eigen::Index c = 0; c < columns; c += columnsAtOnce) {
        if (rowsDone) rowsDone(static_cast<double>(c) / static_cast<double>(columns));
        const auto some = centred.middleRows(c, std::min(columnsAtOnce, columns - c));
        products += some.transpose() * some / divisor;
    }
    const Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd> solver(products);
    result.totalVariance = products.trace();
    for (size_t c = 0; c < std::min(result.components, rows.Count()); ++c) {
        const Eigen::Index at = size - 1 - static_cast<Eigen::Index>(c);
        const double variance = solver.eigenvalues()[at];
        if (!(variance > nothingLeft * result.totalVariance)) return;
        result.variances[c] = variance;
        const Eigen::VectorXd vector = (centred * solver.eigenvectors().col(at)).normalized();
        PutLoading(result, c, {vector.data(), rows.Columns()});
    }
}

}  // namespace

std::optional<PrincipalComponents> FindComponentsByNipals(std::span<const float> rows, size_t columns,
                                                          const NipalsOptions& options,
                                                          const NipalsPoll& poll, const RowsDone& rowsDone) {
    const CentredRows centred(rows, columns, options.centring);
    PrincipalComponents result = Prepared(centred, options.components);
    result.passes.assign(options.components, 0);
    Residual residual(centred, rowsDone);
    const double divisor = std::max(1.0, static_cast<double>(centred.Count()) - 1.0);
    result.totalVariance = residual.FirstSquaredLength() / divisor;
    size_t found = 0;
    for (; found < options.components && !residual.IsNothing(residual.SquaredLength()); ++found) {
        std::vector<double> loading = residual.TrialVector(found);
        const auto passes = Iterate(residual, found, options.tolerance, poll, loading);
        if (!passes) return {};
        result.passes[found] = *passes;
        std::ranges::copy(loading, result.loadings.begin() + static_cast<std::ptrdiff_t>(found * columns));
        residual.Subtract(loading);
    }
    std::vector<double> row(columns);
    for (size_t r = 0; r < centred.Count(); ++r) {
        if (rowsDone && r % rowsToldOf == 0) rowsDone(1.0);
        centred.Take(r, row);
        for (size_t c = 0; c < found; ++c) {
            const double score = Dot(row, result.Loading(c));
            AddScaled(row, -score, result.Loading(c));
            result.weights[r * result.components + c] = -score;
            result.variances[c] += score * score / divisor;
        }
    }
    return result;
}

PrincipalComponents FindComponentsByCovariance(std::span<const float> rows, size_t columns, size_t components,
                                               const RowsDone& rowsDone) {
    const CentredRows centred(rows, columns, Centring::mean);
    PrincipalComponents result = Prepared(centred, std::min(components, columns));
    const double divisor = std::max(1.0, static_cast<double>(centred.Count()) - 1.0);
    centred.Count() < columns ? TakeEigenvectorsOfRows(centred, divisor, rowsDone, result)
                              : TakeEigenvectors(centred, divisor, rowsDone, result);
    std::vector<double> row(columns);
    for (size_t r = 0; r < centred.Count(); ++r) {
        if (rowsDone && r % rowsToldOf == 0) rowsDone(1.0);
        centred.Take(r, row);
        for (size_t c = 0; c < result.components; ++c)
            result.weights[r * result.components + c] = Dot(row, result.Loading(c));
    }
    return result;
}

std::string NipalsPassText(int pass, double change) {
    return fmt::format("iter = {}, sum = {:f}\n", pass, change);
}

std::string NipalsPassesText(const PrincipalComponents& found) {
    std::string text;
    for (size_t c = 0; c < found.components; ++c)
        text += fmt::format("did {} iterations for PC {}\n", found.passes[c], c);
    return text;
}

}  // namespace kymora
