#include "templates/match_finder.h"

#include "numerics/rounding.h"

namespace kymora {

MatchList::Came MatchList::Add(const TemplateCandidate& candidate) {
    const int32_t on = RoundHalfAway(static_cast<double>(candidate.bin) / multiplier_);
    const TemplateMatch match{on, on + length_, candidate.bin, candidate.value};
    if (matches_.empty() || on >= matches_.back().off) {
        matches_.push_back(match);
        return Came::added;
    }
    if (!IsBetter(match.value, matches_.back().value, better_)) {
        ++dropped_;
        return Came::dropped;
    }
    ++replaced_;
    matches_.back() = match;
    return Came::replacedLast;
}

}  // namespace kymora
