#include "curves/gauss_newton.h"

#include <algorithm>
#include <cmath>

#include "statistics/student_series.h"

namespace kymora {

namespace {

constexpr size_t stretch = 1024;  // points that are evaluated together
constexpr double zeroStep = 0.0001, relativeStep = 1.0 / 1000;
constexpr int successesToStop = 3;
constexpr double confidence = 0.05;
constexpr double leastGain = 1e-12;      // of chi-square
constexpr double mostOffset = 0.001;     // relative, of a minimum
constexpr double mostRoughOffset = 0.1;  // of one that roundings hide
constexpr double mostRounding = 8.0;     // roundings of the greatest value, as the residual of a perfect fit
constexpr double leastDamping = 1e-7, firstDamping = 1e-3, mostDamping = 1e16, dampingFactor = 10.0;

bool AreFinite(std::span<const double> values) {
    return std::ranges::all_of(values, [](double v) { return std::isfinite(v); });
}

// The rows of derivatives and residuals of a stretch of points: row k is that of the k-th free parameter, the
// last one that of the residuals.
class Rows {
  public:
    Rows(FitModel& model, std::span<const double> y, double sd, std::span<const size_t> free,
         std::vector<double> parameters, bool isCentral = false)
        : model_(model),
          y_(y),
          sd_(sd),
          free_(free),
          isCentral_(isCentral),
          parameters_(std::move(parameters)),
          fit_(stretch),
          changed_(stretch),
          rows_((free.size() + 1) * stretch) {}

    size_t Fill(size_t first) {
        const size_t count = std::min(stretch, y_.size() - first);
        const std::span fit(fit_.data(), count), changed(changed_.data(), count);
        model_.Values(parameters_, first, fit);
        for (size_t k = 0; k < free_.size(); ++k) {
            double& parameter = parameters_[free_[k]];
            const double saved = parameter, by = saved == 0.0 ? zeroStep : saved * relativeStep;
            parameter = saved + by;
            model_.Values(parameters_, first, changed);
            if (isCentral_) {
                parameter = saved - by;
                below_.resize(count);
                model_.Values(parameters_, first, below_);
            }
            parameter = saved;
            for (size_t i = 0; i < count; ++i)
                Row(k)[i] = isCentral_ && std::isfinite(below_[i])
                                ? (changed[i] - below_[i]) / (2.0 * by * sd_)
                                : (changed[i] - fit[i]) / (by * sd_);
        }
        for (size_t i = 0; i < count; ++i) Row(free_.size())[i] = (y_[first + i] - fit[i]) / sd_;
        return count;
    }
    double* Row(size_t k) { return rows_.data() + k * stretch; }
    const std::vector<double>& Fit() const { return fit_; }

  private:
    FitModel& model_;
    std::span<const double> y_;
    double sd_;
    std::span<const size_t> free_;
    bool isCentral_;  // differences to both sides
    std::vector<double> parameters_, fit_, changed_, below_, rows_;
};

class Fitter {
  public:
    Fitter(FitModel& model, std::span<const double> y, const FitControl& control,
           std::vector<double>& parameters, CurveFitResult& result, const FitPoll& poll)
        : model_(model), y_(y), control_(control), parameters_(parameters), result_(result), poll_(poll) {
        result_ = {};
        result_.points = y.size();
        for (size_t k = 0; k < parameters.size(); ++k)
            if (control.isFixed.empty() || control.isFixed[k] == 0) result_.free.push_back(k);
        result_.inverse.assign(Free() * Free(), 0.0);
        result_.freedom = static_cast<int>(
            std::clamp<int64_t>(std::ssize(y) - static_cast<int64_t>(Free()), 1, 1'000'000'000));
        double sum = 0.0;
        for (const double value : y) sum += value;
        yMean_ = sum / static_cast<double>(y.size());
    }

    bool Run() {
        int successes = 0;
        for (int iteration = 0; iteration < control_.mostIterations; ++iteration) {
            const std::vector<double> before = parameters_;
            if (!Once() || !AreFinite(parameters_)) {
                parameters_ = before;
                return false;
            }
            result_.maxChange = 0.0;
            bool isUnchanged = true;
            for (const size_t k : result_.free) {
                const double change = ChangePercent(before[k], aim_[k]);
                result_.maxChange = std::max(result_.maxChange, change);
                if (!(change < control_.tolerancePercent)) isUnchanged = false;
            }
            result_.iterations = iteration + 1;
            if (result_.isStuck) break;
            if (isUnchanged && ++successes == successesToStop) break;
        }
        result_.hasConverged = successes == successesToStop;
        result_.parameters = parameters_;
        Finish();
        return true;
    }

  private:
    size_t Free() const { return result_.free.size(); }
    size_t Columns() const { return Free() + 1; }

    // A parameter that has come to exactly 0 has changed without measure.
    static double ChangePercent(double before, double now) {
        if (before == now) return 0.0;
        const double change = std::fabs(100.0 * (before - now) / now);
        return std::isnan(change) ? std::numeric_limits<double>::infinity() : change;
    }

    bool Once() {
        result_.priorCovariance = result_.inverse;
        for (double& term : result_.priorCovariance) term *= result_.rms * result_.rms;
        result_.before = parameters_;
        const double yMean = yMean_;
        Accumulate();
        if (!std::isfinite(result_.chiSquare)) return false;
        Step();
        if (!gains_ && !isCentral_) {
            // The error of differences to one side may be all that is left.
            isCentral_ = true;
            yMean_ = yMean;
            Accumulate();
            Step();
        }
        if (gains_) return true;
        aim_ = parameters_ = result_.before;
        result_.isStuck = !IsMinimum();
        return true;
    }

    void Step() {
        std::vector<double> solved = matrix_;
        GaussJordan(solved, Free());
        for (size_t i = 0; i < Free(); ++i)
            for (size_t j = 0; j < Free(); ++j) result_.inverse[i * Free() + j] = solved[i * Columns() + j];
        if (!control_.bounds.empty()) {
            solved = WithinBounds();
            GaussJordan(solved, Free());
        }
        aim_ = Stepped(solved);
        if (!control_.damps || (damping_ == 0.0 && IsBetter(aim_)))
            parameters_ = aim_;
        else
            Damped();
    }

    // The normal equations without the parameters that stand at a limit which they would leave.
    std::vector<double> WithinBounds() const {
        std::vector<double> matrix = matrix_;
        for (size_t i = 0; i < Free() && !control_.bounds.empty(); ++i) {
            const auto [least, most] = control_.bounds[result_.free[i]];
            const double value = result_.before[result_.free[i]], slope = matrix_[i * Columns() + Free()];
            if (!(value <= least && slope < 0.0) && !(value >= most && slope > 0.0)) continue;
            for (size_t j = 0; j < Columns(); ++j) matrix[i * Columns() + j] = 0.0;
            for (size_t j = 0; j < Free(); ++j) matrix[j * Columns() + i] = 0.0;
            matrix[i * Columns() + i] = 1.0;
        }
        return matrix;
    }

    // By the relative offset, and by a wider one as far as rounded values hide it: with these a fit comes
    // near a minimum and not to it. Residuals that are roundings have none to find.
    bool IsMinimum() const {
        double greatest = 0.0;
        for (const double value : y_) greatest = std::max(greatest, std::fabs(value));
        const double rounding = model_.Rounding() * greatest / control_.dataSd;
        if (result_.chiSquare <= static_cast<double>(y_.size()) * std::pow(mostRounding * rounding, 2))
            return true;
        const std::vector<double> within = WithinBounds();
        std::vector<double> solved = within;
        GaussJordan(solved, Free());
        // Of chi-square: what the step gains, and what roundings of residuals and derivatives hide of that.
        double gain = 0.0, hidden = rounding * std::sqrt(result_.chiSquare);
        for (size_t i = 0; i < Free(); ++i) {
            gain += solved[i * Columns() + Free()] * within[i * Columns() + Free()];
            const double by = std::fabs(result_.before[result_.free[i]]) * relativeStep;
            const double away = rounding / (by > 0.0 ? by : zeroStep);
            hidden += solved[i * Columns() + i] * away * away * result_.chiSquare;
        }
        const auto offset = [&](double part) {
            return std::sqrt(part / static_cast<double>(Free())) / result_.rms;
        };
        return offset(gain) < std::max(mostOffset, std::min(offset(mostRounding * hidden), mostRoughOffset));
    }

    // The sums of one pass over the points.
    void Accumulate() {
        const size_t columns = Columns();
        matrix_.assign(Free() * columns, 0.0);
        result_.chiSquare = 0.0;
        double fitSum = 0.0, spread = 0.0;
        const double weight = 1.0 / (control_.dataSd * control_.dataSd);
        Rows rows(model_, y_, control_.dataSd, result_.free, parameters_, isCentral_);
        for (size_t first = 0; first < y_.size();) {
            if (poll_) poll_();
            const size_t count = rows.Fill(first);
            for (size_t i = 0; i < count; ++i) {
                fitSum += rows.Fit()[i] * weight;
                const double away = y_[first + i] - yMean_;
                spread += away * away * weight;
            }
            const double* residuals = rows.Row(Free());
            for (size_t i = 0; i < count; ++i) result_.chiSquare += residuals[i] * residuals[i];
            for (size_t i = 0; i < Free(); ++i)
                for (size_t j = i; j < columns; ++j) {
                    const double *left = rows.Row(i), *right = rows.Row(j);
                    double sum = 0.0;
                    for (size_t n = 0; n < count; ++n) sum += left[n] * right[n];
                    matrix_[i * columns + j] += sum;
                }
            first += count;
        }
        for (size_t i = 0; i < Free(); ++i)
            for (size_t j = 0; j < i; ++j) matrix_[i * columns + j] = matrix_[j * columns + i];
        const auto n = static_cast<double>(y_.size());
        const double variance = spread / n;
        result_.rSquared = (variance - result_.chiSquare / n) / variance;
        result_.rms = std::sqrt(result_.chiSquare / result_.freedom);
        yMean_ = fitSum / (weight * n);
    }

    std::vector<double> Stepped(const std::vector<double>& solved) const {
        std::vector<double> stepped = parameters_;
        for (size_t i = 0; i < Free(); ++i) {
            double& parameter = stepped[result_.free[i]];
            parameter += control_.step * solved[i * Columns() + Free()];
            if (control_.bounds.empty()) continue;
            const auto [least, most] = control_.bounds[result_.free[i]];
            if (!std::isnan(parameter)) parameter = std::clamp(parameter, least, most);
        }
        return stepped;
    }

    double SumOfSquares(std::span<const double> parameters) const {
        double sum = 0.0;
        std::vector<double> values(stretch);
        for (size_t first = 0; first < y_.size(); first += stretch) {
            if (poll_) poll_();
            const std::span part(values.data(), std::min(stretch, y_.size() - first));
            model_.Values(parameters, first, part);
            for (size_t i = 0; i < part.size(); ++i) {
                const double residual = (y_[first + i] - part[i]) / control_.dataSd;
                sum += residual * residual;
            }
        }
        return sum;
    }

    // A gain that cannot be told from rounding ends the way: derivatives by differences lead around the
    // minimum for ever.
    bool IsBetter(std::span<const double> candidate) {
        if (!AreFinite(candidate)) return false;
        const double sum = SumOfSquares(candidate);
        gains_ = result_.chiSquare - sum > leastGain * result_.chiSquare;
        return sum <= result_.chiSquare;
    }

    void Damped() {
        ++result_.damped;
        if (damping_ == 0.0) damping_ = firstDamping;
        const std::vector<double> within = WithinBounds();
        for (; damping_ <= mostDamping; damping_ *= dampingFactor) {
            std::vector<double> solved = within;
            for (size_t i = 0; i < Free(); ++i) {
                double& diagonal = solved[i * Columns() + i];
                diagonal += damping_ * (diagonal == 0.0 ? 1.0 : diagonal);
            }
            GaussJordan(solved, Free());
            const std::vector<double> candidate = Stepped(solved);
            if (!IsBetter(candidate)) continue;
            parameters_ = candidate;
            damping_ = damping_ / dampingFactor < leastDamping ? 0.0 : damping_ / dampingFactor;
            return;
        }
        damping_ = 0.0;
        gains_ = false;
    }

    void Finish() {
        result_.tail = UpperGamma(result_.freedom / 2.0, result_.chiSquare / 2.0);
        result_.residualSd = control_.dataSd * std::sqrt(SumOfSquares(parameters_) / result_.freedom);
    }

    FitModel& model_;
    std::span<const double> y_;
    const FitControl& control_;
    std::vector<double>& parameters_;
    CurveFitResult& result_;
    const FitPoll& poll_;
    double yMean_ = 0.0;  // of the curve, of the iteration before
    double damping_ = 0.0;
    bool gains_ = true;        // the last step that was tried made the fit better
    bool isCentral_ = false;   // derivatives by differences to both sides
    std::vector<double> aim_;  // where the plain step leads
    std::vector<double> matrix_;
};

}  // namespace

void GaussJordan(std::span<double> matrix, size_t rows) {
    if (rows == 0) return;
    const size_t columns = matrix.size() / rows;
    const auto at = [&](size_t i, size_t j) -> double& { return matrix[i * columns + j]; };
    for (size_t i = 0; i < rows; ++i) {
        const double pivot = std::exchange(at(i, i), 1.0);
        for (size_t j = 0; j < columns; ++j) at(i, j) /= pivot;
        for (size_t k = 0; k < rows; ++k) {
            if (k == i) continue;
            const double held = std::exchange(at(k, i), 0.0);
            for (size_t j = 0; j < columns; ++j) at(k, j) -= held * at(i, j);
        }
    }
}

double CurveFitResult::Correlation(size_t i, size_t j) const {
    const size_t n = free.size();
    return inverse[i * n + j] / std::sqrt(inverse[i * n + i] * inverse[j * n + j]);
}
double CurveFitResult::Error(size_t i) const { return std::sqrt(inverse[i * free.size() + i]) * rms; }
double CurveFitResult::Probability(size_t i) const {
    return StudentTwoSided(parameters[free[i]] / Error(i), freedom);
}
double CurveFitResult::R() const {
    return rSquared >= 0.0 ? std::sqrt(rSquared) : std::numeric_limits<double>::quiet_NaN();
}

bool FitCurve(FitModel& model, std::span<const double> y, const FitControl& control,
              std::vector<double>& parameters, CurveFitResult& result, const FitPoll& poll) {
    return Fitter(model, y, control, parameters, result, poll).Run();
}

void ForFitPoints(FitModel& model, std::span<const double> y, const FitControl& control,
                  const CurveFitResult& result, const std::function<bool(size_t, const FitPoint&)>& take) {
    const double t = StudentQuantile(confidence, result.freedom);
    const size_t free = result.free.size();
    Rows rows(model, y, control.dataSd, result.free, result.before);
    for (size_t first = 0; first < y.size();) {
        const size_t count = rows.Fill(first);
        for (size_t n = 0; n < count; ++n) {
            double variance = 0.0;
            for (size_t i = 0; i < free; ++i)
                for (size_t j = i; j < free; ++j)
                    variance += (i == j ? 1.0 : 2.0) * result.priorCovariance[i * free + j] * rows.Row(i)[n] *
                                rows.Row(j)[n];
            FitPoint point;
            point.fit = rows.Fit()[n];
            point.residual = y[first + n] - point.fit;
            point.error = std::sqrt(variance) * control.dataSd;
            point.low = point.fit - t * point.error;
            point.high = point.fit + t * point.error;
            if (!take(first + n, point)) return;
        }
        first += count;
    }
}

}  // namespace kymora
