#include "trains/joint_psth.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "host/progress.h"
#include "numerics/moving_average.h"
#include "statistics/poisson_tail.h"

namespace kymora {

namespace {

constexpr double leastMean = 0.00001;
constexpr int smoothings = 4;

struct BinCount {
    int bin = 0;
    double count = 0.0;
};

// The spikes of one train around one stimulus after the other.
class WindowWalk {
  public:
    WindowWalk(std::span<const int64_t> spikes, const JointPsthPlan& plan)
        : spikes_(spikes), plan_(plan), sums_(static_cast<size_t>(plan.bins)), squares_(sums_.size()) {}

    // The bins that hold spikes, ascending.
    const std::vector<BinCount>& GoTo(int64_t stimulus) {
        const int64_t start = stimulus - plan_.preBins * plan_.binSamples;
        const int64_t end = start + plan_.bins * plan_.binSamples;
        while (next_ < spikes_.size() && spikes_[next_] < start) ++next_;
        counts_.clear();
        for (size_t i = next_; i < spikes_.size() && spikes_[i] < end; ++i) {
            const int bin = static_cast<int>((spikes_[i] - start) / plan_.binSamples);
            if (counts_.empty() || counts_.back().bin != bin) counts_.push_back({bin, 0.0});
            counts_.back().count += 1.0;
        }
        for (const BinCount& one : counts_) {
            sums_[static_cast<size_t>(one.bin)] += one.count;
            squares_[static_cast<size_t>(one.bin)] += one.count * one.count;
        }
        return counts_;
    }
    const std::vector<double>& Sums() const { return sums_; }
    // Divisor n - 1. The sums are whole numbers, so that no variance is negative.
    std::vector<double> Deviations(double stimuli) const {
        std::vector<double> sds(sums_.size());
        for (size_t i = 0; i < sds.size() && stimuli > 1.0; ++i)
            sds[i] = std::sqrt((stimuli * squares_[i] - sums_[i] * sums_[i]) / stimuli / (stimuli - 1.0));
        return sds;
    }

  private:
    std::span<const int64_t> spikes_;
    const JointPsthPlan& plan_;
    size_t next_ = 0;
    std::vector<BinCount> counts_;
    std::vector<double> sums_, squares_;
};

void AddPairs(JointMatrix& matrix, size_t bins, const std::vector<BinCount>& reference,
              const std::vector<BinCount>& target) {
    for (const BinCount& row : reference) {
        double* cells = matrix.data() + static_cast<size_t>(row.bin) * bins;
        for (const BinCount& column : target) cells[column.bin] += row.count * column.count;
    }
}

// Pairs of spikes around all stimuli, and where a shift is wanted, those that it makes.
class PairCount {
  public:
    explicit PairCount(const JointPsthPlan& plan)
        : bins_(static_cast<size_t>(plan.bins)),
          seen_(bins_ * bins_),
          shifted_(plan.predictor == JointPredictor::shift ? seen_.size() : 0) {}

    void Add(const std::vector<BinCount>& reference, const std::vector<BinCount>& target) {
        AddPairs(seen_, bins_, reference, target);
        if (shifted_.empty()) return;
        if (isFirst_)
            firstTarget_ = target;
        else
            AddPairs(shifted_, bins_, lastReference_, target);
        isFirst_ = false;
        lastReference_ = reference;
    }
    const JointMatrix& Seen() const { return seen_; }
    // Once all are there: the last stimulus is followed by the first one.
    const JointMatrix& Shifted() {
        if (!shifted_.empty()) AddPairs(shifted_, bins_, lastReference_, firstTarget_);
        return shifted_;
    }

  private:
    size_t bins_;
    JointMatrix seen_, shifted_;
    bool isFirst_ = true;
    std::vector<BinCount> firstTarget_, lastReference_;
};

// Fills all forms from the pairs that were seen and, of a shift, those that chance made.
class JointForms {
  public:
    JointForms(const JointPsthPlan& plan, JointPsth& joint, const JointMatrix& seen,
               const JointMatrix& shifted)
        : plan_(plan),
          joint_(joint),
          seen_(seen),
          shifted_(shifted),
          stimuli_(static_cast<double>(joint.stimuli)),
          per_(plan.isPerStimulus && joint.stimuli > 0 ? stimuli_ : 1.0) {}

    void FillRow(size_t row) {
        auto& [raw, predictor, corrected, normalized, surprise] = joint_.forms;
        const auto bins = static_cast<size_t>(joint_.bins);
        for (size_t column = 0; column < bins; ++column) {
            const size_t at = row * bins + column;
            const double seen = seen_[at], chance = ChanceAt(row, column);
            joint_.isEmpty[at] = seen == 0.0 && chance == 0.0;
            surprise[at] = JointSurprise(static_cast<int64_t>(seen), chance);
            raw[at] = seen / per_;
            // For each stimulus that is the product of both histograms for each stimulus.
            predictor[at] = chance / per_;
            corrected[at] = raw[at] - predictor[at];
            const double sds = joint_.referenceSd[row] * joint_.targetSd[column];
            normalized[at] = sds > 0.0 ? corrected[at] / sds : 0.0;
        }
    }
    void DividePsths() {
        for (auto* psth : {&joint_.target, &joint_.reference})
            for (double& height : *psth) height /= per_;
    }

  private:
    double ChanceAt(size_t row, size_t column) const {
        const size_t at = row * static_cast<size_t>(joint_.bins) + column;
        const double product = joint_.reference[row] * joint_.target[column];
        switch (plan_.predictor) {
        case JointPredictor::shift:
            return shifted_[at];
        case JointPredictor::shuffle:
            return stimuli_ > 1.0 ? (product - seen_[at]) / (stimuli_ - 1.0) : 0.0;
        default:
            return stimuli_ > 0.0 ? product / stimuli_ : 0.0;
        }
    }

    const JointPsthPlan& plan_;
    JointPsth& joint_;
    const JointMatrix &seen_, &shifted_;
    double stimuli_, per_;
};

// Calls take(k, value) for the elements of a diagonal.
template <typename Take>
void ForDiagonal(const JointPsth& joint, JointForm form, int diagonal, Take take) {
    const int offset = std::abs(diagonal);
    for (int k = 0; k + offset < joint.bins; ++k) {
        const double value =
            diagonal >= 0 ? joint.Shown(form, k, k + offset) : joint.Shown(form, k + offset, k);
        if (!std::isnan(value)) take(k, value);
    }
}

}  // namespace

JointPsth MakeJointPsth(std::span<const int64_t> stimuli, std::span<const int64_t> target,
                        std::span<const int64_t> reference, const JointPsthPlan& plan, const Poll& poll) {
    JointPsth joint;
    joint.bins = plan.bins;
    joint.stimuli = static_cast<int64_t>(stimuli.size());
    const auto count = static_cast<double>(stimuli.size());
    const size_t bins = static_cast<size_t>(plan.bins), cells = bins * bins;
    for (JointMatrix& form : joint.forms) form.resize(cells);
    joint.isEmpty.resize(cells);

    WindowWalk targets(target, plan), references(reference, plan);
    PairCount pairs(plan);
    for (size_t i = 0; i < stimuli.size(); ++i) {
        if (!IsWanted(poll, static_cast<double>(i) / count)) throw Cancelled();
        pairs.Add(references.GoTo(stimuli[i]), targets.GoTo(stimuli[i]));
    }
    joint.targetSd = targets.Deviations(count);
    joint.referenceSd = references.Deviations(count);
    joint.target = targets.Sums();
    joint.reference = references.Sums();

    JointForms forms(plan, joint, pairs.Seen(), pairs.Shifted());
    for (size_t row = 0; row < bins; ++row) {
        if (!IsWanted(poll, 1.0)) throw Cancelled();
        forms.FillRow(row);
    }
    forms.DividePsths();
    return joint;
}

double JointPsth::Shown(JointForm form, int referenceBin, int targetBin) const {
    const size_t at = At(referenceBin, targetBin);
    if (form == JointForm::surprise && isEmpty[at]) return std::numeric_limits<double>::quiet_NaN();
    return Of(form)[at];
}

// The smaller of the two probabilities has all its digits, the other one is its complement.
double JointSurprise(int64_t count, double mean) {
    const double m = mean > 0.0 ? mean : leastMean;
    if (m < static_cast<double>(count) + 1.0) {
        const double above = LogPoissonTail(count + 1, m);
        return std::log1p(-std::exp(above)) - above;
    }
    const double within = LogPoissonHead(count, m);
    return within - std::log1p(-std::exp(within));
}

double SumOfDiagonal(const JointPsth& joint, JointForm form, int diagonal) {
    double sum = 0.0;
    ForDiagonal(joint, form, diagonal, [&](int, double value) { sum += value; });
    return sum;
}

std::vector<double> CoincidenceOf(const JointPsth& joint, JointForm form, int lower, int upper,
                                  int smoothHalfWindow) {
    std::vector<double> sums(static_cast<size_t>(joint.bins));
    const int most = joint.bins - 1;
    for (int d = std::max(lower, -most); d <= std::min(upper, most); ++d)
        ForDiagonal(joint, form, d, [&](int k, double value) {
            sums[static_cast<size_t>(k) + static_cast<size_t>(std::abs(d))] += value;
        });
    if (smoothHalfWindow <= 0) return sums;
    const std::vector<float> plain(sums.begin(), sums.end());
    const auto smooth = GetMovingAverageIter(plain, smoothings, static_cast<size_t>(smoothHalfWindow));
    return {smooth.begin(), smooth.end()};
}

std::vector<double> JointCorrelogram(const JointPsth& joint, JointForm form) {
    std::vector<double> means;
    const int farthest = FarthestDiagonal(joint.bins);
    for (int d = -farthest; d <= farthest; ++d)
        means.push_back(SumOfDiagonal(joint, form, d) / (joint.bins - std::abs(d)));
    return means;
}

}  // namespace kymora
