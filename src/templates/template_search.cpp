#include "templates/template_search.h"

#include <fmt/format.h>

#include <algorithm>
#include <deque>

namespace kymora {

namespace {

// Steps whose measures are made at once: so many that no more terms than these are summed between two looks
// at whether to go on.
constexpr size_t termsAtOnce = 1 << 24, fewestSteps = 64;
// An adaptive template may become another one at any step, and those behind it are measured anew.
constexpr size_t fewestAdaptiveSteps = 32, mostAdaptiveSteps = 4096;
// A step costs about as many samples as its bins have this in them, or as this, where it comes from a
// transform.
constexpr int64_t binsPerSample = 64, samplesPerTransformStep = 8;

// The matches whose mean is the template.
class AdaptiveMean {
  public:
    explicit AdaptiveMean(size_t size) : size_(size) {}

    void DropLast() {
        if (holdsLast_) waves_.pop_back();
        holdsLast_ = false;
    }
    void Add(std::vector<float> wave) {
        if (waves_.size() == size_) waves_.pop_front();
        waves_.push_back(std::move(wave));
        holdsLast_ = true;
    }
    // True where `values` has become another template.
    bool Renew(std::vector<float>& values) const {
        if (waves_.size() < size_) return false;
        std::vector<float> mean(values.size());
        for (size_t i = 0; i < mean.size(); ++i) {
            double sum = 0.0;
            for (const auto& wave : waves_) sum += wave[i];
            mean[i] = static_cast<float>(sum / static_cast<double>(size_));
        }
        if (!(PeakToPeak(mean) > 0.0)) return false;
        values = std::move(mean);
        return true;
    }

  private:
    size_t size_;
    std::deque<std::vector<float>> waves_;
    bool holdsLast_ = false;  // the newest one is that of the last match
};

// The data end.
void EndRun(CandidateRun& run, SearchFound& found) {
    if (run.Best() && ++found.open == 1) found.firstOpen = *run.Best();
    run.Break();
}

class Search {
  public:
    Search(SampleSpan region, const TemplateSearch& search, ProgressScope& progress, const SearchWatch& watch)
        : search_(search),
          watch_(watch),
          progress_(progress),
          region_(region),
          values_(search.values),
          error_(values_),
          scaled_(values_),
          run_(search.GetBetter(), search.threshold),
          list_(search.GetBetter(), search.multiplier, search.length),
          mean_(static_cast<size_t>(std::max(1, search.adaptiveAverage))) {}

    SearchFound Run(RaisedTrace& trace) {
        const auto multiplier = int64_t{search_.multiplier};
        trace.ForEachPiece(region_.first * multiplier, region_.end * multiplier,
                           [&](const RaisedTrace::Piece& piece) {
                               Take(piece);
                               return true;
                           });
        TakeGathered();
        EndRun(run_, found_);
        ReportAt(region_.end);
        found_.matches = list_.Take();
        found_.replaced = list_.CountReplaced();
        found_.dropped = list_.CountDropped();
        found_.steps = scaled_.CountMeasured();
        found_.stepsAtFloor = scaled_.CountAtFloor();
        return std::move(found_);
    }

  private:
    size_t Bins() const { return values_.size(); }
    bool IsAdaptive() const { return search_.type == TemplateType::adaptive; }

    void Take(const RaisedTrace::Piece& piece) {
        if (!piece.continues) {
            TakeGathered();
            EndRun(run_, found_);
            samples_.clear();
            continues_ = false;
        }
        if (samples_.empty()) firstBin_ = piece.firstBin;
        samples_.insert(samples_.end(), piece.values.begin(), piece.values.end());
        // A transform of few steps takes as long as one of many.
        const bool isTransformed =
            search_.type == TemplateType::scaled && Bins() > ScaledTemplate::mostDirectBins;
        if (isTransformed && samples_.size() + 1 < Bins() + scaled_.StepsAtOnce()) return poll_();
        TakeGathered();
    }

    void TakeGathered() {
        if (samples_.size() < Bins()) return;
        const size_t steps = samples_.size() - Bins() + 1;
        size_t atOnce = StepsAtOnce();
        for (size_t done = 0; done < steps;) {
            const size_t count = std::min(atOnce, steps - done);
            const size_t taken = TakeSteps(firstBin_ + static_cast<int64_t>(done), done, count);
            if (IsAdaptive()) atOnce = NextAtOnce(taken == count);
            done += taken;
            ReportAt((firstBin_ + static_cast<int64_t>(done)) / search_.multiplier);
        }
        samples_.erase(samples_.begin(), samples_.begin() + static_cast<std::ptrdiff_t>(steps));
        firstBin_ += static_cast<int64_t>(steps);
    }

    size_t StepsAtOnce() const {
        if (search_.type == TemplateType::scaled) return scaled_.StepsAtOnce();
        const size_t most = std::clamp(termsAtOnce / Bins(), fewestSteps, stepsSummed);
        return IsAdaptive() ? std::min(adaptiveSteps_, most) : most;
    }

    // Throws Cancelled.
    void ReportAt(int64_t sample) {
        const int64_t done = std::clamp<int64_t>(sample - region_.first, reported_, region_.Count());
        progress_.Step(static_cast<uint64_t>(done - reported_));
        reported_ = done;
    }

    size_t NextAtOnce(bool wasUsed) {
        adaptiveSteps_ = std::clamp(wasUsed ? 2 * adaptiveSteps_ : adaptiveSteps_ / 2, fewestAdaptiveSteps,
                                    mostAdaptiveSteps);
        return StepsAtOnce();
    }

    void Measure(size_t at, std::span<float> to) {
        const auto samples = std::span(samples_).subspan(at, to.size() + Bins() - 1);
        if (search_.type == TemplateType::scaled)
            scaled_.Measure(samples, to, search_.threshold, poll_);
        else if (watch_.measures)
            error_.Measure(samples, to);
        else
            error_.Measure(samples, to, search_.threshold);
    }

    // The steps from samples_[at] on; answers how many of them were taken before the template became another
    // one.
    size_t TakeSteps(int64_t firstBin, size_t at, size_t count) {
        measures_.resize(count);
        Measure(at, measures_);
        size_t taken = 0;
        for (bool isSame = true; isSame && taken < count; ++taken) {
            const int64_t bin = firstBin + static_cast<int64_t>(taken);
            const auto candidate = run_.Take(bin, measures_[taken]);
            if (IsAdaptive() && run_.Best() && run_.Best()->bin == bin) {
                const auto from = samples_.begin() + static_cast<std::ptrdiff_t>(at + taken);
                bestWave_.assign(from, from + static_cast<std::ptrdiff_t>(Bins()));
            }
            if (candidate) isSame = !Emit(*candidate);
        }
        if (watch_.measures) watch_.measures({firstBin, std::span(measures_).first(taken), continues_});
        continues_ = true;
        return taken;
    }

    // True where the template has become another one.
    bool Emit(const TemplateCandidate& candidate) {
        if (watch_.accepts && !watch_.accepts(candidate)) return false;
        ++found_.candidates;
        const MatchList::Came came = list_.Add(candidate);
        if (!IsAdaptive() || came == MatchList::Came::dropped) return false;
        if (came == MatchList::Came::replacedLast) mean_.DropLast();
        mean_.Add(std::move(bestWave_));
        if (!mean_.Renew(values_)) return false;
        error_ = TemplateError(values_);
        return true;
    }

    const TemplateSearch& search_;
    const SearchWatch& watch_;
    ProgressScope& progress_;
    SampleSpan region_;
    std::vector<float> values_;  // the template as it stands
    TemplateError error_;
    ScaledTemplate scaled_;
    CandidateRun run_;
    MatchList list_;
    AdaptiveMean mean_;
    std::vector<float> samples_;  // that the next windows need, from firstBin_ on
    int64_t firstBin_ = 0;
    ScaledTemplate::Poll poll_ = [this] { progress_.Step(0); };
    std::vector<float> measures_, bestWave_;
    size_t adaptiveSteps_ = fewestAdaptiveSteps;
    int64_t reported_ = 0;  // samples
    bool continues_ = false;
    SearchFound found_;
};

}  // namespace

SearchFound SearchTrace(RaisedTrace& trace, SampleSpan region, const TemplateSearch& search,
                        ProgressScope& progress, const SearchWatch& watch) {
    return Search(region, search, progress, watch).Run(trace);
}

std::string OpenRunsText(const SearchFound& found, int multiplier, double sampleInterval) {
    if (found.open == 0) return {};
    const bool isOne = found.open == 1;
    return fmt::format(
        "{} still open where the data end, and {} best place so far is at {:.10g} ms. A match is "
        "an event where the data go on until it no longer passes: let the region end later",
        isOne ? "1 match is" : fmt::format("{} matches are", found.open),
        isOne ? "makes no event: its" : "make no events: the first one's",
        static_cast<double>(found.firstOpen.bin) / multiplier * sampleInterval);
}

int64_t SearchWork(const TemplateSearch& search, int64_t samples) {
    const auto bins = static_cast<int64_t>(search.values.size());
    const bool isTransformed =
        search.type == TemplateType::scaled && search.values.size() > ScaledTemplate::mostDirectBins;
    const int64_t perStep =
        isTransformed ? samplesPerTransformStep : std::max<int64_t>(1, bins / binsPerSample);
    return samples * search.multiplier * perStep;
}

// --- kept measures ---

void KeptMeasures::Take(const MeasuredSteps& steps) {
    count_ += std::ssize(steps.values);
    if (!isWhole_ || count_ > mostSteps) {
        isWhole_ = false;
        runs_.clear();
        return;
    }
    if (!steps.continues || runs_.empty()) runs_.push_back({steps.firstBin, {}});
    std::vector<float>& values = runs_.back().values;
    values.insert(values.end(), steps.values.begin(), steps.values.end());
}

SearchFound KeptMeasures::Find(SampleSpan region, const TemplateSearch& search) const {
    const int64_t first = int64_t{region.first} * search.multiplier;
    const int64_t end = int64_t{region.end} * search.multiplier - std::ssize(search.values) + 1;
    CandidateRun open(search.GetBetter(), search.threshold);
    MatchList list(search.GetBetter(), search.multiplier, search.length);
    SearchFound found;
    for (const Run& run : runs_) {
        const int64_t from = std::max(first, run.firstBin);
        const int64_t to = std::min(end, run.firstBin + std::ssize(run.values));
        for (int64_t bin = from; bin < to; ++bin)
            if (const auto candidate = open.Take(bin, run.values[static_cast<size_t>(bin - run.firstBin)])) {
                ++found.candidates;
                list.Add(*candidate);
            }
        EndRun(open, found);
    }
    found.matches = list.Take();
    found.replaced = list.CountReplaced();
    found.dropped = list.CountDropped();
    return found;
}

std::vector<float> KeptMeasures::LocalBests(Better better) const {
    std::vector<float> found;
    LocalBest best(better);
    for (const Run& run : runs_)
        for (size_t i = 0; i < run.values.size(); ++i)
            if (const auto value = best.Take(run.values[i], i == 0)) found.push_back(*value);
    return found;
}

}  // namespace kymora
