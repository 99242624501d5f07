#pragma once
// From the measure of each step to events: neighbouring steps that pass the threshold are one candidate, its
// best step is the event, and of two events that overlap the better one stays.

#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

namespace kymora {

// Whether small measures are good ones, as errors are, or great ones, as criteria are.
enum class Better { smaller, larger };
inline bool IsBetter(float one, float other, Better better) {
    return better == Better::smaller ? one < other : one > other;
}

// The best step of neighbouring ones that pass.
struct TemplateCandidate {
    int64_t bin = 0;  // where its window begins
    float value = 0.0f;
};

// Takes step after step. Steps pass that are strictly better than the threshold. A run of them that is
// still open where the data end makes no candidate.
class CandidateRun {
  public:
    CandidateRun(Better better, float threshold) : better_(better), threshold_(threshold) {}

    // A candidate where this step is the first behind a run.
    std::optional<TemplateCandidate> Take(int64_t bin, float value) {
        if (IsBetter(value, threshold_, better_)) {
            if (!best_ || IsBetter(value, best_->value, better_)) best_ = {bin, value};
            return {};
        }
        return std::exchange(best_, std::nullopt);
    }
    // The data end.
    void Break() { best_.reset(); }
    const std::optional<TemplateCandidate>& Best() const { return best_; }

  private:
    Better better_;
    float threshold_;
    std::optional<TemplateCandidate> best_;  // of the open run
};

// The best measures of all hills, or of all valleys, whatever the threshold: the first step of each plateau
// that is better than its neighbours. The ends of a run are none.
class LocalBest {
  public:
    explicit LocalBest(Better better) : better_(better) {}
    // `isFirst`: a run begins with this step. Answers the value where the step before ended a best one.
    std::optional<float> Take(float value, bool isFirst) {
        std::optional<float> found;
        if (!isFirst && IsBetter(last_, value, better_) && isRising_) found = last_;
        if (isFirst)
            isRising_ = false;
        else if (value != last_)
            isRising_ = IsBetter(value, last_, better_);
        last_ = value;
        return found;
    }

  private:
    Better better_;
    float last_ = 0.0f;
    bool isRising_ = false;
};

struct TemplateMatch {
    int32_t on = 0, off = 0;  // samples
    int64_t bin = 0;          // where its window begins
    float value = 0.0f;       // its error or criterion
};

// Matches in the order in which their runs end.
class MatchList {
  public:
    enum class Came { added, replacedLast, dropped };
    // `length` is that of an event, in samples.
    MatchList(Better better, int multiplier, int32_t length)
        : better_(better), multiplier_(multiplier), length_(length) {}

    // Of two that overlap the better one stays, the earlier one of equals.
    Came Add(const TemplateCandidate& candidate);
    const std::vector<TemplateMatch>& Matches() const { return matches_; }
    std::vector<TemplateMatch> Take() { return std::move(matches_); }
    int64_t CountReplaced() const { return replaced_; }
    int64_t CountDropped() const { return dropped_; }

  private:
    Better better_;
    int multiplier_;
    int32_t length_;
    std::vector<TemplateMatch> matches_;
    int64_t replaced_ = 0, dropped_ = 0;
};

}  // namespace kymora
