#pragma once
// The joint peri-stimulus time histogram of two trains (A. M. H. J. Aertsen, G. L. Gerstein, M. K. Habib and
// G. Palm, J. Neurophysiol. 61, 900 (1989)): how often both fire in each pair of bins around a stimulus, how
// often chance would have them, and how much the difference means. Positions are samples and ascend; equal
// ones are allowed.

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "numerics/poll.h"

namespace kymora {

// What would be seen if the trains had nothing to do with each other but the stimulus.
enum class JointPredictor {
    product,  // of the two histograms
    shift,    // the spikes of the reference with those of the target around the next stimulus
    shuffle,  // the same with those around every other stimulus, on average
};

struct JointPsthPlan {
    int bins = 50;               // of each axis, from 2
    int64_t binSamples = 1;      // from 1
    int preBins = 0;             // before the stimulus, from 0
    bool isPerStimulus = false;  // counts are divided by the number of stimuli
    JointPredictor predictor = JointPredictor::product;
};

// bins x bins values, reference bin by reference bin, each of them target bin by target bin.
using JointMatrix = std::vector<double>;

enum class JointForm { raw, predictor, corrected, normalized, surprise };
inline constexpr size_t jointForms = 5;

struct JointPsth {
    int bins = 0;
    int64_t stimuli = 0;
    std::vector<double> target, reference;      // counts, or counts for each stimulus
    std::vector<double> targetSd, referenceSd;  // of the count from stimulus to stimulus; 0 for one stimulus
    std::array<JointMatrix, jointForms> forms;
    // Cells of which the surprise tells nothing: neither a spike nor one to be expected.
    std::vector<bool> isEmpty;

    const JointMatrix& Of(JointForm form) const { return forms[static_cast<size_t>(form)]; }
    size_t At(int referenceBin, int targetBin) const {
        return static_cast<size_t>(referenceBin) * static_cast<size_t>(bins) + static_cast<size_t>(targetBin);
    }
    // The value as it is shown; not-a-number for a surprise that tells nothing.
    double Shown(JointForm form, int referenceBin, int targetBin) const;
};

// A spike belongs to a stimulus where it lies from `preBins` bins before it up to, not including, `bins` bins
// behind that. Windows that overlap see the same spikes. Throws Cancelled when the poll ends it.
JointPsth MakeJointPsth(std::span<const int64_t> stimuli, std::span<const int64_t> target,
                        std::span<const int64_t> reference, const JointPsthPlan& plan, const Poll& poll = {});

// ln P(X <= count) - ln P(X > count) of a Poisson variable: positive where the count is more than chance
// makes it, negative where it is less. A mean of 0 is taken as 0.00001. Finite.
double JointSurprise(int64_t count, double mean);

// A diagonal holds the cells whose target bin lies so many bins behind their reference bin.
double SumOfDiagonal(const JointPsth& joint, JointForm form, int diagonal);
// The diagonals from lower to upper, added up by their time: element k of diagonal d at |d| + k. Diagonals
// that do not exist add nothing, nor do cells that tell nothing. A half window smooths it by four moving
// averages.
std::vector<double> CoincidenceOf(const JointPsth& joint, JointForm form, int lower, int upper,
                                  int smoothHalfWindow);
// The means of the diagonals from -(bins / 2) + 1 to bins / 2 - 1.
std::vector<double> JointCorrelogram(const JointPsth& joint, JointForm form);
inline int FarthestDiagonal(int bins) { return bins / 2 - 1; }

}  // namespace kymora
