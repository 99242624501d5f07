#include "statistics/gaussian_clusters.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <numeric>

namespace kymora {

namespace {

constexpr size_t blockRows = 128;
constexpr size_t lanes = 4;
static_assert(blockRows % lanes == 0);
constexpr size_t rowsBetweenPolls = 256 * blockRows;

// A class with what its densities need and what a pass over the rows sums up for it.
struct WorkingClass {
    GaussianClass shape;
    std::vector<double> whitening;  // inverse of the Cholesky factor: M x M lower, or M reciprocal s.d.s
    double logDeterminant = 0.0;
    double logFactor = 0.0;  // ln weight + the logarithm of the density at the mean

    double members = 0.0;            // sum of the posteriors
    std::vector<double> deviations;  // M: sums of posterior x deviation from the mean
    std::vector<double> products;    // M x M lower: of deviation x deviation; or M squares
};

// The finite rows column by column, as deviations from the means of the columns, which keeps digits.
class RowTable {
  public:
    RowTable(std::span<const double> rows, size_t columns) : columns_(columns) {
        for (size_t row = 0; row * columns + columns <= rows.size(); ++row) {
            const auto values = rows.subspan(row * columns, columns);
            const bool finite =
                std::all_of(values.begin(), values.end(), [](double v) { return std::isfinite(v); });
            (finite ? kept_ : leftOut_).push_back(row);
        }
        values_.resize(columns * kept_.size());
        for (size_t c = 0; c < columns; ++c) {
            // From the first row on, so that a column without spread is exactly that.
            const double base = kept_.empty() ? 0.0 : rows[kept_.front() * columns + c];
            double sum = 0.0;
            for (const size_t row : kept_) sum += rows[row * columns + c] - base;
            const double mean = kept_.empty() ? 0.0 : base + sum / static_cast<double>(kept_.size());
            means_.push_back(mean);
            for (size_t i = 0; i < kept_.size(); ++i)
                values_[c * kept_.size() + i] = rows[kept_[i] * columns + c] - mean;
        }
    }

    size_t Rows() const { return kept_.size(); }
    size_t Columns() const { return columns_; }
    const double* Column(size_t column) const { return values_.data() + column * kept_.size(); }
    double MeanOf(size_t column) const { return means_[column]; }
    const std::vector<size_t>& Kept() const { return kept_; }
    const std::vector<size_t>& LeftOut() const { return leftOut_; }

    // Sum of the products of two columns / the number of rows.
    double Covariance(size_t a, size_t b) const {
        const double* first = Column(a);
        const double* second = Column(b);
        return std::inner_product(first, first + Rows(), second, 0.0) / static_cast<double>(Rows());
    }

  private:
    size_t columns_;
    std::vector<double> values_;
    std::vector<double> means_;
    std::vector<size_t> kept_;
    std::vector<size_t> leftOut_;
};

// Lower Cholesky factor of a symmetric matrix, in place; false where it has none.
bool Factorise(std::vector<double>& matrix, size_t size) {
    for (size_t i = 0; i < size; ++i)
        for (size_t j = 0; j <= i; ++j) {
            double sum = matrix[i * size + j];
            for (size_t k = 0; k < j; ++k) sum -= matrix[i * size + k] * matrix[j * size + k];
            if (i != j) {
                matrix[i * size + j] = sum / matrix[j * size + j];
                continue;
            }
            if (!(sum > 0.0) || !std::isfinite(sum)) return false;
            matrix[i * size + i] = std::sqrt(sum);
        }
    return true;
}

// Inverse of a lower triangle, in place.
void InvertLower(std::vector<double>& matrix, size_t size) {
    for (size_t i = 0; i < size; ++i) {
        matrix[i * size + i] = 1.0 / matrix[i * size + i];
        for (size_t j = 0; j < i; ++j) {
            double sum = 0.0;
            for (size_t k = j; k < i; ++k) sum += matrix[i * size + k] * matrix[k * size + j];
            matrix[i * size + j] = -sum * matrix[i * size + i];
        }
    }
}

class ClusterSearch {
  public:
    ClusterSearch(const RowTable& table, const ClusterOptions& options, const ClusterPoll& poll)
        : table_(table), options_(options), poll_(poll), size_(table.Columns()) {
        const double n = static_cast<double>(table.Rows());
        const double m = static_cast<double>(size_);
        parameters_ = options.full ? 1.0 + m + 0.5 * m * (m + 1.0) : 1.0 + 2.0 * m;
        logValues_ = std::log(n * m);
    }

    GaussianClusters Run() {
        using State = GaussianClusters::State;
        GaussianClusters result;
        result.leftOut = table_.LeftOut();
        if (table_.Rows() == 0) return result;
        const int first = FirstCount();
        result.reducedInitial = first != options_.initial;
        result.started = first;
        result.state = State::singular;
        if (!Seed(static_cast<size_t>(first))) {
            TellFaults(result);
            return result;
        }
        result.state = Search(static_cast<size_t>(std::max(1, options_.desired)), result);
        if (result.state == State::singular) TellFaults(result);
        if (result.state == State::found) Finish(result);
        return result;
    }

  private:
    int FirstCount() const {
        const double most =
            std::trunc((static_cast<double>(table_.Rows() * size_) + 1.0) / parameters_ - 1.0) / 2.0;
        const int initial = std::max(1, options_.initial);
        return initial > most ? std::max(1, static_cast<int>(most)) : initial;
    }

    bool Seed(size_t count) {
        GaussianClass all;
        all.weight = 1.0 / static_cast<double>(count);
        all.covariance.assign(size_ * size_, 0.0);
        double variances = 0.0;
        for (size_t i = 0; i < size_; ++i) {
            for (size_t j = 0; j <= i; ++j)
                if (options_.full || i == j)
                    all.covariance[i * size_ + j] = all.covariance[j * size_ + i] = table_.Covariance(i, j);
            variances += all.covariance[i * size_ + i];
        }
        regulariser_ = variances / static_cast<double>(size_) / 100000.0;
        for (size_t i = 0; i < size_; ++i) all.covariance[i * size_ + i] += regulariser_;
        for (size_t k = 0; k < count; ++k) {
            const size_t row = count == 1 ? 0 : k * (table_.Rows() - 1) / (count - 1);
            all.mean.clear();
            for (size_t i = 0; i < size_; ++i) all.mean.push_back(table_.Column(i)[row]);
            classes_.push_back({all});
        }
        return regulariser_ > 0.0 && PrepareAll();
    }

    GaussianClusters::State Search(size_t desired, GaussianClusters& best) {
        using State = GaussianClusters::State;
        for (bool isFirst = true;; isFirst = false) {
            const State state = Refine();
            if (state != State::found) return state;
            const double criterion =
                0.5 * (static_cast<double>(classes_.size()) * parameters_ - 1.0) * logValues_ -
                logLikelihood_;
            if (isFirst || options_.desired > 0 || criterion < best.criterion) Keep(criterion, best);
            if (classes_.size() <= desired) return State::found;
            if (!MergeNearest()) return State::singular;
        }
    }

    void Keep(double criterion, GaussianClusters& best) const {
        best.criterion = criterion;
        best.logLikelihood = logLikelihood_;
        best.classes.clear();
        for (const WorkingClass& one : classes_) best.classes.push_back(one.shape);
    }

    GaussianClusters::State Refine() {
        using State = GaussianClusters::State;
        const double limit = 0.01 * parameters_ * logValues_;
        for (double before = -std::numeric_limits<double>::infinity();; before = logLikelihood_) {
            if (poll_ && !poll_(static_cast<int>(classes_.size()))) return State::cancelled;
            if (!Expect()) return State::cancelled;
            if (!(logLikelihood_ - before > limit)) return State::found;
            if (!Maximise()) return State::singular;
        }
    }

    // --- densities ---

    bool Prepare(WorkingClass& one) const {
        one.logDeterminant = 0.0;
        if (options_.full) {
            one.whitening = one.shape.covariance;
            if (!Factorise(one.whitening, size_)) return false;
            for (size_t i = 0; i < size_; ++i)
                one.logDeterminant += 2.0 * std::log(one.whitening[i * size_ + i]);
            InvertLower(one.whitening, size_);
        } else {
            one.whitening.clear();
            for (size_t i = 0; i < size_; ++i) {
                const double variance = one.shape.covariance[i * size_ + i];
                if (!(variance > 0.0) || !std::isfinite(variance)) return false;
                one.logDeterminant += std::log(variance);
                one.whitening.push_back(1.0 / std::sqrt(variance));
            }
        }
        const double atMean =
            -0.5 * (static_cast<double>(size_) * std::log(2.0 * std::numbers::pi) + one.logDeterminant);
        one.logFactor = std::log(one.shape.weight) + atMean;
        return std::isfinite(one.logDeterminant);
    }

    bool PrepareAll() {
        return std::all_of(classes_.begin(), classes_.end(),
                           [this](WorkingClass& one) { return Prepare(one); });
    }

    bool IsSymmetric(const GaussianClass& one) const {
        for (size_t i = 0; i < size_; ++i)
            for (size_t j = 0; j <= i; ++j)
                if (!(one.covariance[i * size_ + j] == one.covariance[j * size_ + i])) return false;
        return true;
    }

    void TellFaults(GaussianClusters& result) {
        for (size_t k = 0; k < classes_.size(); ++k)
            if (!Prepare(classes_[k]))
                (IsSymmetric(classes_[k].shape) ? result.notPositive : result.notSymmetric)
                    .push_back(static_cast<int>(k) + 1);
    }

    using Block = std::array<double, blockRows>;
    // The rows of a block that belong to a class by more than nothing, and their posteriors.
    struct Members {
        size_t count = 0;
        std::array<uint32_t, blockRows> rows;
        Block shares;
    };

    // Log-density plus log-weight of a class at rows of a block.
    void LogDensities(const WorkingClass& one, size_t first, size_t count, Block& logs) const {
        switch (options_.full ? size_ : 0) {
        case 1:
            return LogDensitiesOf<1>(one, first, count, logs);
        case 2:
            return LogDensitiesOf<2>(one, first, count, logs);
        case 3:
            return LogDensitiesOf<3>(one, first, count, logs);
        default:
            break;
        }
        Block squares{};
        Block place;
        for (size_t i = 0; i < size_; ++i) {
            place.fill(0.0);
            for (size_t j = options_.full ? 0 : i; j <= i; ++j) {
                const double factor = one.whitening[options_.full ? i * size_ + j : i];
                const double* column = table_.Column(j) + first;
                const double mean = one.shape.mean[j];
                for (size_t row = 0; row < count; ++row) place[row] += factor * (column[row] - mean);
            }
            for (size_t row = 0; row < count; ++row) squares[row] += place[row] * place[row];
        }
        for (size_t row = 0; row < count; ++row) logs[row] = one.logFactor - 0.5 * squares[row];
    }

    // The same with the sums of a few columns written out by the compiler.
    template <size_t columns>
    void LogDensitiesOf(const WorkingClass& one, size_t first, size_t count, Block& logs) const {
        std::array<const double*, columns> from;
        std::array<double, columns> mean;
        std::array<double, columns * columns> whitening;
        std::copy_n(one.whitening.begin(), whitening.size(), whitening.begin());
        for (size_t j = 0; j < columns; ++j) {
            from[j] = table_.Column(j) + first;
            mean[j] = one.shape.mean[j];
        }
        const double logFactor = one.logFactor;
        for (size_t row = 0; row < count; ++row) {
            double squares = 0.0;
            for (size_t i = 0; i < columns; ++i) {
                double place = 0.0;
                for (size_t j = 0; j <= i; ++j)
                    place += whitening[i * columns + j] * (from[j][row] - mean[j]);
                squares += place * place;
            }
            logs[row] = logFactor - 0.5 * squares;
        }
    }

    // --- steps ---

    // One pass: the log-likelihood, and the sums from which the maximisation makes the next classes. False
    // where it was ended.
    bool Expect() {
        for (WorkingClass& one : classes_) {
            one.members = 0.0;
            one.deviations.assign(size_, 0.0);
            one.products.assign(options_.full ? size_ * size_ : size_, 0.0);
        }
        logs_.resize(classes_.size());
        logLikelihood_ = 0.0;
        for (size_t first = 0; first < table_.Rows(); first += blockRows) {
            const bool isAsked = poll_ && first > 0 && first % rowsBetweenPolls == 0;
            if (isAsked && !poll_(static_cast<int>(classes_.size()))) return false;
            ExpectBlock(first, std::min(blockRows, table_.Rows() - first));
        }
        return true;
    }

    void ExpectBlock(size_t first, size_t count) {
        constexpr double negligible = -40.0;  // e^-40 is lost beside 1
        Block most;
        most.fill(-std::numeric_limits<double>::infinity());
        for (size_t k = 0; k < classes_.size(); ++k) {
            LogDensities(classes_[k], first, count, logs_[k]);
            for (size_t row = 0; row < count; ++row)
                most[row] = logs_[k][row] > most[row] ? logs_[k][row] : most[row];
        }
        Block sums{};
        for (Block& logs : logs_)
            for (size_t row = 0; row < count; ++row) {
                const double below = logs[row] - most[row];
                logs[row] = below > negligible ? std::exp(below) : 0.0;
                sums[row] += logs[row];
            }
        for (size_t row = 0; row < count; ++row) {
            logLikelihood_ += most[row] + std::log(sums[row]);
            sums[row] = 1.0 / sums[row];
        }
        for (size_t k = 0; k < classes_.size(); ++k) AddMembers(classes_[k], first, count, logs_[k], sums);
    }

    void AddMembers(WorkingClass& one, size_t first, size_t count, const Block& shares,
                    const Block& factors) {
        Members members;
        for (size_t row = 0; row < count; ++row) {
            members.rows[members.count] = static_cast<uint32_t>(first + row);
            members.shares[members.count] = shares[row] * factors[row];
            members.count += shares[row] > 0.0 ? 1 : 0;
        }
        if (members.count == 0) return;
        switch (options_.full ? size_ : 0) {
        case 1:
            return AddMembersOf<1>(one, members);
        case 2:
            return AddMembersOf<2>(one, members);
        case 3:
            return AddMembersOf<3>(one, members);
        default:
            break;
        }
        std::vector<double>& deviation = deviation_;
        deviation.resize(size_);
        for (size_t i = 0; i < members.count; ++i) {
            const double share = members.shares[i];
            one.members += share;
            for (size_t a = 0; a < size_; ++a) {
                deviation[a] = table_.Column(a)[members.rows[i]] - one.shape.mean[a];
                const double part = share * deviation[a];
                one.deviations[a] += part;
                if (!options_.full) {
                    one.products[a] += part * deviation[a];
                    continue;
                }
                for (size_t b = 0; b <= a; ++b) one.products[a * size_ + b] += part * deviation[b];
            }
        }
    }

    // The same for a few columns, in lanes that are added up at the end.
    template <size_t columns>
    void AddMembersOf(WorkingClass& one, Members& members) const {
        using Lane = std::array<double, lanes>;
        Lane sums{};
        std::array<Lane, columns> firsts{};
        std::array<Lane, columns * columns> seconds{};
        while (members.count % lanes != 0) {
            members.rows[members.count] = members.rows[0];
            members.shares[members.count++] = 0.0;
        }
        std::array<const double*, columns> from;
        for (size_t a = 0; a < columns; ++a) from[a] = table_.Column(a);
        for (size_t i = 0; i < members.count; i += lanes) {
            std::array<Lane, columns> away, parts;
            for (size_t a = 0; a < columns; ++a)
                for (size_t l = 0; l < lanes; ++l) {
                    away[a][l] = from[a][members.rows[i + l]] - one.shape.mean[a];
                    parts[a][l] = members.shares[i + l] * away[a][l];
                    firsts[a][l] += parts[a][l];
                }
            for (size_t l = 0; l < lanes; ++l) sums[l] += members.shares[i + l];
            for (size_t a = 0; a < columns; ++a)
                for (size_t b = 0; b <= a; ++b)
                    for (size_t l = 0; l < lanes; ++l)
                        seconds[a * columns + b][l] += parts[a][l] * away[b][l];
        }
        const auto total = [](const Lane& lane) { return std::accumulate(lane.begin(), lane.end(), 0.0); };
        one.members += total(sums);
        for (size_t a = 0; a < columns; ++a) {
            one.deviations[a] += total(firsts[a]);
            for (size_t b = 0; b <= a; ++b) one.products[a * columns + b] += total(seconds[a * columns + b]);
        }
    }

    bool Maximise() {
        for (WorkingClass& one : classes_) {
            one.shape.weight = one.members / static_cast<double>(table_.Rows());
            if (!(one.members > 0.0)) continue;
            std::vector<double>& step = one.deviations;
            for (double& value : step) value /= one.members;
            for (size_t a = 0; a < size_; ++a) {
                one.shape.mean[a] += step[a];
                for (size_t b = options_.full ? 0 : a; b <= a; ++b) {
                    const double product = one.products[options_.full ? a * size_ + b : a];
                    double covariance = product / one.members - step[a] * step[b];
                    if (a == b) covariance = std::max(0.0, covariance) + regulariser_;
                    one.shape.covariance[a * size_ + b] = one.shape.covariance[b * size_ + a] = covariance;
                }
            }
        }
        return PrepareAll();
    }

    // --- merging ---

    WorkingClass Pooled(const WorkingClass& i, const WorkingClass& j) const {
        WorkingClass pooled{i.shape};
        const double weight = pooled.shape.weight = i.shape.weight + j.shape.weight;
        if (!(weight > 0.0)) return pooled;
        const double shareOfI = i.shape.weight / weight;
        const double shareOfJ = j.shape.weight / weight;
        std::vector<double> apart(size_);
        for (size_t a = 0; a < size_; ++a) {
            apart[a] = j.shape.mean[a] - i.shape.mean[a];
            pooled.shape.mean[a] += shareOfJ * apart[a];
        }
        for (size_t a = 0; a < size_; ++a)
            for (size_t b = 0; b < size_; ++b) {
                if (!options_.full && a != b) continue;
                const size_t at = a * size_ + b;
                pooled.shape.covariance[at] = shareOfI * i.shape.covariance[at] +
                                              shareOfJ * j.shape.covariance[at] +
                                              shareOfI * shareOfJ * apart[a] * apart[b];
            }
        return pooled;
    }

    // What the pooled class costs; nothing at all where one of the two has lost its members.
    double DistanceOf(const WorkingClass& i, const WorkingClass& j, const WorkingClass& pooled) const {
        if (i.shape.weight == 0.0 || j.shape.weight == 0.0) return -std::numeric_limits<double>::infinity();
        return static_cast<double>(table_.Rows()) / 2.0 *
               (pooled.shape.weight * pooled.logDeterminant - i.shape.weight * i.logDeterminant -
                j.shape.weight * j.logDeterminant);
    }

    bool MergeNearest() {
        double least = std::numeric_limits<double>::infinity();
        size_t bestI = 0;
        size_t bestJ = 1;
        WorkingClass best;
        for (size_t i = 0; i < classes_.size(); ++i)
            for (size_t j = i + 1; j < classes_.size(); ++j) {
                WorkingClass pooled = Pooled(classes_[i], classes_[j]);
                if (!Prepare(pooled)) return false;
                const double distance = DistanceOf(classes_[i], classes_[j], pooled);
                if (!(distance < least)) continue;
                least = distance;
                bestI = i;
                bestJ = j;
                best = std::move(pooled);
            }
        classes_[bestI] = std::move(best);
        classes_.erase(classes_.begin() + static_cast<std::ptrdiff_t>(bestJ));
        return true;
    }

    // --- the end ---

    // Ids by the classes that were kept, and their means where the rows lie.
    void Finish(GaussianClusters& result) {
        classes_.clear();
        for (const GaussianClass& shape : result.classes) classes_.push_back({shape});
        PrepareAll();
        result.ids.assign(table_.Kept().size() + table_.LeftOut().size(), 0);
        for (size_t first = 0; first < table_.Rows(); first += blockRows) {
            const size_t count = std::min(blockRows, table_.Rows() - first);
            Block most;
            most.fill(-std::numeric_limits<double>::infinity());
            Block logs;
            for (size_t k = 0; k < classes_.size(); ++k) {
                LogDensities(classes_[k], first, count, logs);
                for (size_t row = 0; row < count; ++row) {
                    if (!(logs[row] > most[row])) continue;
                    most[row] = logs[row];
                    result.ids[table_.Kept()[first + row]] = static_cast<int>(k);
                }
            }
        }
        for (GaussianClass& shape : result.classes)
            for (size_t i = 0; i < size_; ++i) shape.mean[i] += table_.MeanOf(i);
    }

    const RowTable& table_;
    const ClusterOptions& options_;
    const ClusterPoll& poll_;
    size_t size_;
    double parameters_;
    double logValues_;
    double regulariser_ = 0.0;
    double logLikelihood_ = 0.0;
    std::vector<WorkingClass> classes_;
    std::vector<Block>
        logs_;  // of each class: log-densities of a block, then what is proportional to posteriors
    std::vector<double> deviation_;
};

}  // namespace

GaussianClusters FindGaussianClusters(std::span<const double> rows, size_t columns,
                                      const ClusterOptions& options, const ClusterPoll& poll) {
    const RowTable table(rows, std::max<size_t>(1, columns));
    return ClusterSearch(table, options, poll).Run();
}

Mixture MixtureOfClasses(const std::vector<GaussianClass>& classes) {
    Mixture mixture;
    for (const GaussianClass& one : classes)
        mixture.components.push_back({one.weight, one.mean[0], std::sqrt(one.covariance[0])});
    std::stable_sort(mixture.components.begin(), mixture.components.end(),
                     [](const MixtureComponent& a, const MixtureComponent& b) { return a.mean < b.mean; });
    if (mixture.components.size() <= mostComponents) return mixture;
    mixture.components.resize(mostComponents);
    double rest = 1.0;
    for (size_t i = 0; i + 1 < mostComponents; ++i) rest -= mixture.components[i].proportion;
    mixture.components.back().proportion = std::max(0.0, rest);
    return mixture;
}

}  // namespace kymora
