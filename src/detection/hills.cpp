#include "detection/hills.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <limits>
#include <unordered_map>

namespace kymora {

namespace {

// The samples of a run in blocks, the last of which stays. Valleys are read with the sign reversed.
class HillSamples {
  public:
    static constexpr int64_t longBlock = 16384, shortBlock = 256;

    HillSamples(const ReadSamples& read, HillKind kind, const TurningRun& run, int64_t blockLength)
        : read_(read),
          reverses_(kind == HillKind::valleys),
          blockLength_(blockLength),
          first_(run.first.at),
          last_(run.last.at) {}

    // The position of the first sample in [from, to) that `holds`, or `to`.
    template <typename Holds>
    int64_t First(int64_t from, int64_t to, Holds holds) {
        while (from < to && !holds(At(from))) ++from;
        return from;
    }
    // The position of the last one, or from - 1.
    template <typename Holds>
    int64_t Last(int64_t from, int64_t to, Holds holds) {
        do --to;
        while (to >= from && !holds(At(to)));
        return to;
    }
    double At(int64_t position) {
        if (position < start_ || position >= start_ + std::ssize(values_)) Read(position);
        const float value = values_[static_cast<size_t>(position - start_)];
        return reverses_ ? -value : value;
    }

  private:
    void Read(int64_t position) {
        start_ = std::max(first_, position - position % blockLength_);
        values_.resize(static_cast<size_t>(std::min(last_ + 1, start_ + blockLength_) - start_));
        read_(start_, values_);
    }

    const ReadSamples& read_;
    bool reverses_;
    int64_t blockLength_, first_, last_;
    int64_t start_ = 0;
    std::vector<float> values_;
};

template <typename Take>
void ForEachHill(const TurningRun& run, Take take) {
    for (size_t i = run.startsWithPeak ? 2 : 1; i + 1 < run.points.size(); i += 2) take(i);
}

double LevelAt(float trough, float peak, double percent) {
    return (double{peak} - trough) * percent / 100.0 + trough;
}

int64_t OnsetOf(HillSamples& samples, const Hill& hill, const HillRule& rule) {
    if (rule.upSlope >= 100.0) return hill.peak.at;
    if (rule.upSlope <= 0.0) return hill.left.at;
    const double level = LevelAt(hill.left.value, hill.peak.value, rule.upSlope);
    if (rule.from == SlopeFrom::edge)
        return samples.First(hill.left.at, hill.peak.at, [=](double value) { return value > level; });
    const int64_t below =
        samples.Last(hill.left.at, hill.peak.at, [=](double value) { return value <= level; });
    return std::max<int64_t>(below + 1, hill.left.at);
}

int64_t OffsetOf(HillSamples& samples, const Hill& hill, const HillRule& rule) {
    const int64_t behindPeak = int64_t{hill.peak.at} + 1;
    if (rule.downSlope >= 100.0) return behindPeak;
    if (rule.downSlope <= 0.0) return hill.right.at;
    const double level = LevelAt(hill.right.value, hill.peak.value, rule.downSlope);
    if (rule.from == SlopeFrom::edge)
        return samples.Last(behindPeak, hill.right.at, [=](double value) { return value > level; }) + 1;
    return samples.First(behindPeak, hill.right.at, [=](double value) { return value <= level; });
}

// For each peak the lowest value between it and the next higher one on the side from which the points come,
// or the end of the run there. `at(i)` is point i counted from that side.
template <typename At>
std::vector<float> LowestBefore(size_t count, bool startsWithPeak, float end, At at) {
    struct Higher {
        float peak, lowest;
    };
    std::vector<Higher> higher;
    std::vector<float> lowest;
    for (size_t i = startsWithPeak ? 0 : 1; i < count; i += 2) {
        float low = i > 0 ? at(i - 1).value : end;
        if (i <= 1) low = std::min(low, end);
        while (!higher.empty() && higher.back().peak <= at(i).value) {
            low = std::min(low, higher.back().lowest);
            higher.pop_back();
        }
        higher.push_back({at(i).value, low});
        lowest.push_back(low);
    }
    return lowest;
}

// Of all peaks of a run, in order: J. Virtanen et al., SciPy 1.0, Nature Methods 2020,
// signal.peak_prominences.
std::vector<double> ProminencesOf(const TurningRun& run) {
    const auto& points = run.points;
    const size_t count = points.size();
    const std::vector<float> left =
        LowestBefore(count, run.startsWithPeak, run.first.value, [&](size_t i) { return points[i]; });
    const std::vector<float> right = LowestBefore(count, run.IsPeak(count - 1), run.last.value,
                                                  [&](size_t i) { return points[count - 1 - i]; });
    std::vector<double> prominences;
    for (size_t k = 0; k < left.size(); ++k) {
        const TurningPoint& peak = points[2 * k + (run.startsWithPeak ? 0 : 1)];
        prominences.push_back(double{peak.value} - std::max(left[k], right[left.size() - 1 - k]));
    }
    return prominences;
}

// Where a straight line from a sample at or below the level to its neighbour above it crosses it.
double CrossingAt(HillSamples& samples, int64_t below, int64_t above, double level) {
    const double low = samples.At(below), high = samples.At(above);
    const auto step = static_cast<double>(above - below);
    return static_cast<double>(below) + step * (level - low) / (high - low);
}

// Finds the nearest of the points that lies at or below a level, by a tree of minima: O(log n).
class LowPoints {
  public:
    explicit LowPoints(std::span<const TurningPoint> points)
        : leaves_(std::bit_ceil(points.size())),
          lowest_(2 * leaves_, std::numeric_limits<float>::infinity()) {
        for (size_t i = 0; i < points.size(); ++i) lowest_[leaves_ + i] = points[i].value;
        for (size_t node = leaves_; node-- > 1;)
            lowest_[node] = std::min(lowest_[2 * node], lowest_[2 * node + 1]);
    }
    // Before or behind a point.
    std::optional<size_t> Before(size_t point, double level) const { return Nearest(point, level, 1); }
    std::optional<size_t> Behind(size_t point, double level) const { return Nearest(point, level, 0); }

  private:
    // Up until a neighbour on the side that is sought holds one, and down to that one of it which is nearest.
    std::optional<size_t> Nearest(size_t point, double level, size_t nearSide) const {
        size_t node = leaves_ + point;
        while (node > 1 && (node % 2 != nearSide || lowest_[node ^ 1] > level)) node /= 2;
        if (node <= 1) return {};
        for (node ^= 1; node < leaves_;) {
            const size_t near = 2 * node + nearSide;
            node = lowest_[near] <= level ? near : near ^ 1;
        }
        return node - leaves_;
    }

    size_t leaves_;
    std::vector<float> lowest_;  // of the nodes from 1 on; the leaves are the points
};

// A long stretch of samples, from the one nearest to the peaks outwards. Many peaks may share it: the lowest
// value of what was gone through is kept for each part, so that all of them go through it once.
class Flank {
  public:
    // `end` is behind the last sample; `way` is 1 or -1.
    Flank(int64_t from, int64_t end, int64_t way) : from_(from), end_(end), way_(way) {}

    // The first sample at or below a level, or the end. `samples` are read on and on, `few` here and there.
    int64_t FirstBelow(HillSamples& samples, HillSamples& few, double level) {
        const auto isAbove = [=](float lowest) { return lowest > level; };
        auto part = static_cast<int64_t>(std::ranges::partition_point(lowest_, isAbove) - lowest_.begin());
        while (part == std::ssize(lowest_) && StartOf(part) != end_) {
            double lowest = lowest_.empty() ? std::numeric_limits<double>::infinity() : lowest_.back();
            for (int64_t at = StartOf(part); at != StartOf(part + 1); at += way_)
                lowest = std::min(lowest, samples.At(at));
            lowest_.push_back(static_cast<float>(lowest));
            if (lowest > level) ++part;
        }
        int64_t at = StartOf(part);
        while (at != end_ && few.At(at) > level) at += way_;
        return at;
    }

  private:
    static constexpr int64_t partLength = 256;
    int64_t StartOf(int64_t part) const {
        return from_ + way_ * std::min(part * partLength, (end_ - from_) * way_);
    }

    int64_t from_, end_, way_;
    std::vector<float> lowest_;  // from the beginning to the end of each part
};

// Widths of the hills of a run. The turning points lead to the flanks on which the signal first falls to the
// level; only their samples are read, those of each side in blocks of their own, since wide hills next to
// each other share them.
class Widths {
  public:
    Widths(const ReadSamples& read, HillKind kind, const TurningRun& run)
        : run_(run), low_(run.points), left_(read, kind, run), right_(read, kind, run) {}

    double At(size_t peak, double level) {
        const auto& points = run_.points;
        const auto left = low_.Before(peak, level), right = low_.Behind(peak, level);
        // Beyond the outermost points lies the rest of the run.
        const size_t last = points.size() - 1;
        const int64_t leftBelow =
            left ? left_.FirstBelow(points[*left + 1].at - 1, points[*left].at - 1, -1, level)
                 : left_.FirstBelow(points[1].at - 1, run_.first.at - 1, -1, level);
        const int64_t rightBelow =
            right ? right_.FirstBelow(points[*right - 1].at, points[*right].at + 1, 1, level)
                  : right_.FirstBelow(points[last - 1].at, run_.last.at + 1, 1, level);
        return CrossingAt(*right_.last, rightBelow, rightBelow - 1, level) -
               CrossingAt(*left_.last, leftBelow, leftBelow + 1, level);
    }

  private:
    struct Side {
        Side(const ReadSamples& read, HillKind kind, const TurningRun& run)
            : samples(read, kind, run, HillSamples::longBlock),
              few(read, kind, run, HillSamples::shortBlock) {}

        int64_t FirstBelow(int64_t from, int64_t end, int64_t way, double level) {
            constexpr int64_t shortLength = 1024;
            if ((end - from) * way <= shortLength) {
                last = &samples;
                while (from != end && samples.At(from) > level) from += way;
                return from;
            }
            last = &few;
            return flanks.try_emplace(from, from, end, way).first->second.FirstBelow(samples, few, level);
        }

        HillSamples samples, few;
        HillSamples* last = &samples;               // those that were read last
        std::unordered_map<int64_t, Flank> flanks;  // that are long, by their first sample
    };

    const TurningRun& run_;
    LowPoints low_;
    Side left_, right_;
};

// Values as they were read.
void Reverse(Hill& hill) {
    for (TurningPoint* point : {&hill.peak, &hill.left, &hill.right}) point->value = -point->value;
}

bool IsAccepted(const Hill& hill, const HillRule& rule) {
    if (hill.LeftHeight() < rule.excludeMolehills || hill.RightHeight() < rule.excludeMolehills) return false;
    if (!rule.absolute) return true;
    return hill.peak.value >= (rule.kind == HillKind::valleys ? -*rule.absolute : *rule.absolute);
}

template <typename ValueOf>
std::vector<double> HillValues(std::span<const TurningRun> runs, ValueOf valueOf) {
    std::vector<double> values;
    for (const TurningRun& run : runs)
        ForEachHill(run, [&](size_t i) { values.push_back(valueOf(&run.points[i])); });
    return values;
}

}  // namespace

double Hill::LeftHeight() const { return std::fabs(double{peak.value} - left.value); }
double Hill::RightHeight() const { return std::fabs(double{peak.value} - right.value); }
double Hill::Height() const { return std::min(LeftHeight(), RightHeight()); }

float GreatestMergedHeight(std::span<const TurningRun> runs) {
    float greatest = 0.0f;
    std::vector<float> behind;  // of each point, the lowest trough after it
    for (const TurningRun& run : runs) {
        const auto none = std::numeric_limits<float>::infinity();
        behind.assign(run.points.size(), none);
        for (size_t i = run.points.size(); i-- > 1;)
            behind[i - 1] = run.IsPeak(i) ? behind[i] : std::min(behind[i], run.points[i].value);
        float before = none;
        for (size_t i = 0; i < run.points.size(); ++i) {
            const float value = run.points[i].value;
            if (!run.IsPeak(i))
                before = std::min(before, value);
            else if (before < none && behind[i] < none)
                greatest = std::max(greatest, value - std::max(before, behind[i]));
        }
    }
    return greatest;
}

std::vector<double> HillHeights(std::span<const TurningRun> runs) {
    return HillValues(runs, [](const TurningPoint* peak) {
        return double{peak->value} - double{std::max(peak[-1].value, peak[1].value)};
    });
}

std::vector<double> HillPeaks(std::span<const TurningRun> runs) {
    return HillValues(runs, [](const TurningPoint* peak) { return double{peak->value}; });
}

std::vector<Hill> HillsOf(std::span<const TurningRun> runs, const HillRule& rule, const ReadSamples& read,
                          const GoesOn& goesOn) {
    std::vector<Hill> hills;
    size_t done = 0;
    for (const TurningRun& run : runs) {
        if (run.HillCount() == 0) continue;
        HillSamples samples(read, rule.kind, run, HillSamples::longBlock);
        Widths widths(read, rule.kind, run);
        const std::vector<double> prominences = ProminencesOf(run);
        for (size_t i = run.startsWithPeak ? 2 : 1; i + 1 < run.points.size(); i += 2) {
            if (goesOn && !goesOn(done++)) return hills;
            Hill hill;
            hill.left = run.points[i - 1];
            hill.peak = run.points[i];
            hill.right = run.points[i + 1];
            if (!IsAccepted(hill, rule)) continue;
            hill.on = OnsetOf(samples, hill, rule);
            hill.off = OffsetOf(samples, hill, rule);
            hill.prominence = prominences[i / 2];
            hill.halfWidth = widths.At(i, hill.peak.value - hill.prominence / 2.0);
            if (rule.kind == HillKind::valleys) Reverse(hill);
            hills.push_back(hill);
        }
    }
    return hills;
}

bool HasDuration(const Hill& hill, const HillRule& rule) {
    return hill.Duration() >= rule.minimumDuration && hill.Duration() <= rule.maximumDuration;
}

}  // namespace kymora
