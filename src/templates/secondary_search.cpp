#include "templates/secondary_search.h"

namespace kymora {

SecondarySearch::SecondarySearch(SampleReader& samples, const Sought& sought, int spareBins, int64_t slack)
    : what_(sought.what),
      place_(sought.place),
      slack_(slack),
      raised_(samples, sought.trace, sought.stretches, sought.what.multiplier, spareBins,
              2 * slack + std::ssize(sought.what.values)),
      error_(what_.values),
      scaled_(what_.values) {}

std::optional<SecondaryMatch> SecondarySearch::Find(int64_t primaryBin, ProgressScope& progress) {
    const int64_t expected = primaryBin + place_;
    const int64_t from = std::max<int64_t>(0, expected - slack_);
    const int64_t end = expected + slack_ + std::ssize(what_.values);
    std::optional<SecondaryMatch> best;
    std::vector<float> row;
    int64_t first = from;
    const auto search = [&] {
        if (row.size() >= what_.values.size()) Measure(row, first - expected, best);
    };
    raised_.ForEachPiece(from, end, [&](const RaisedTrace::Piece& piece) {
        progress.Step(0);
        if (!piece.continues) {
            search();
            row.clear();
            first = piece.firstBin;
        }
        row.insert(row.end(), piece.values.begin(), piece.values.end());
        return true;
    });
    search();
    return best;
}

void SecondarySearch::Measure(std::span<const float> row, int64_t firstLag,
                              std::optional<SecondaryMatch>& best) {
    measures_.resize(row.size() - what_.values.size() + 1);
    if (what_.type == TemplateType::scaled)
        scaled_.Measure(row, measures_, what_.threshold);
    else
        error_.Measure(row, measures_);
    const Better better = what_.GetBetter();
    for (size_t k = 0; k < measures_.size(); ++k) {
        const float value = measures_[k];
        if (IsBetter(value, what_.threshold, better) && (!best || IsBetter(value, best->value, better)))
            best = {value, firstLag + static_cast<int64_t>(k)};
    }
}

}  // namespace kymora
