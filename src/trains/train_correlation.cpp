#include "trains/train_correlation.h"

#include <cmath>
#include <limits>

#include "host/progress.h"

namespace kymora {

namespace {

// (share - chance) / (1 - share chance); a train that covers everything and is always met tells no more.
double TilingTerm(double share, double chance) {
    const double rest = 1.0 - share * chance;
    return rest > 0.0 ? (share - chance) / rest : 1.0;
}

double ShareWithin(std::span<const int64_t> onsets, std::span<const TrainStretch> coverage) {
    return static_cast<double>(CountWithin(onsets, coverage)) / static_cast<double>(onsets.size());
}

}  // namespace

CoveredTrain CoverTrain(std::span<const int64_t> onsets, int64_t from, int64_t to,
                        std::span<const TrainStretch> region) {
    CoveredTrain train;
    train.onsets = PositionsWithin(onsets, region);
    train.coverage = CoverageOf(train.onsets, from, to, region);
    if (const int64_t all = LengthOf(region); all > 0)
        train.share = static_cast<double>(LengthOf(train.coverage)) / static_cast<double>(all);
    return train;
}

CorrelationIndex IndexOf(const CoveredTrain& reference, std::span<const int64_t> other) {
    using State = CorrelationIndex::State;
    CorrelationIndex found;
    if (reference.onsets.empty()) {
        found.state = State::noReference;
        return found;
    }
    found.total = static_cast<int64_t>(other.size());
    if (found.total < 1) {
        found.state = State::noOther;
        return found;
    }
    const auto total = static_cast<double>(found.total);
    found.inside = CountWithin(other, reference.coverage);
    found.expected = total * reference.share;
    const double elsewhere = (1.0 - reference.share) * total;
    if (found.expected < leastExpected)
        found.state = State::tooFewWithin;
    else if (elsewhere < leastExpected)
        found.state = State::tooFewElsewhere;
    if (found.state != State::found) return found;
    const auto inside = static_cast<double>(found.inside);
    found.index = inside / found.expected;
    const auto part = [](double seen, double expected) {
        const double deviation = std::fabs(seen - expected) - 0.5;
        return deviation * deviation / expected;
    };
    const double chiSquared = part(inside, found.expected) + part(total - inside, elsewhere);
    found.p = std::erfc(std::sqrt(chiSquared / 2.0));
    return found;
}

double TilingCoefficient(const CoveredTrain& a, const CoveredTrain& b) {
    const double ofA = ShareWithin(a.onsets, b.coverage), ofB = ShareWithin(b.onsets, a.coverage);
    return 0.5 * (TilingTerm(ofA, b.share) + TilingTerm(ofB, a.share));
}

std::vector<double> TilingOfAll(std::span<const CoveredTrain> trains, const Poll& poll) {
    std::vector<double> all;
    for (size_t i = 0; i + 1 < trains.size(); ++i) {
        for (size_t k = i + 1; k < trains.size(); ++k) {
            if (!IsWanted(poll, static_cast<double>(i) / static_cast<double>(trains.size())))
                throw Cancelled();
            const bool isThere = !trains[i].onsets.empty() && !trains[k].onsets.empty();
            all.push_back(isThere ? TilingCoefficient(trains[i], trains[k])
                                  : std::numeric_limits<double>::quiet_NaN());
        }
    }
    return all;
}

std::vector<double> TilingAgainstLag(const CoveredTrain& a, std::span<const int64_t> b, int64_t halfWindow,
                                     std::span<const int64_t> lags, std::span<const TrainStretch> region,
                                     const Poll& poll) {
    std::vector<double> all;
    std::vector<int64_t> moved(b.size());
    for (const int64_t lag : lags) {
        if (!IsWanted(poll, static_cast<double>(all.size()) / static_cast<double>(lags.size())))
            throw Cancelled();
        for (size_t i = 0; i < b.size(); ++i) moved[i] = b[i] - lag;
        const CoveredTrain other = CoverTrain(moved, -halfWindow, halfWindow, region);
        const bool isThere = !a.onsets.empty() && !other.onsets.empty();
        all.push_back(isThere ? TilingCoefficient(a, other) : std::numeric_limits<double>::quiet_NaN());
    }
    return all;
}

}  // namespace kymora
