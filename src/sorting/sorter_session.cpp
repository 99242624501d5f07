#include "sorting/sorter_session.h"

#include <algorithm>
#include <tuple>

#include "sorting/unit_quality.h"

namespace kymora {

namespace {

constexpr size_t mostUndoSteps = 40;
constexpr const char* changedSettingsName = "Change of settings";

// The settings on which a step depends, but for those of the steps before it.
bool IsSameFor(SorterSession::Step step, const SortSettings& a, const SortSettings& b) {
    using Step = SorterSession::Step;
    switch (step) {
    case Step::read:
        return a.reading == b.reading;
    case Step::clusters: {
        const auto part = [](const SortSettings& s) {
            return std::tie(s.components, s.desiredClusters, s.set);
        };
        return part(a) == part(b);
    }
    case Step::templates: {
        const auto part = [](const SortSettings& s) {
            return std::tie(s.merged, s.edits, s.analysis, s.windows, s.threshold, s.thresholds, s.ignored,
                            s.mixed, s.minimumShare);
        };
        return part(a) == part(b);
    }
    case Step::library:
        return a.maxComponents == b.maxComponents;
    case Step::assigned: {
        const auto part = [](const SortSettings& s) {
            return std::tie(s.assign.multiplier, s.assign.mergeWithinMs, s.assign.testsFrequency,
                            s.assign.confidence, s.autoAssign, s.unassignOutliers, s.unassigned, s.assigned);
        };
        return part(a) == part(b);
    }
    }
    return false;
}

bool IsSameSource(const SpikeSource& a, const SpikeSource& b) {
    const auto isSame = [](const std::vector<TraceStretch>& x, const std::vector<TraceStretch>& y) {
        return std::ranges::equal(x, y, [](const TraceStretch& p, const TraceStretch& q) {
            return p.start == q.start && p.end == q.end;
        });
    };
    return a.onsets == b.onsets && a.offsets == b.offsets && a.sampleInterval == b.sampleInterval &&
           std::ranges::equal(a.stretches, b.stretches, isSame);
}

void Compute(SorterSession::Step step, SpikeSorting& sorting, const SpikeSource& source,
             const SortSettings& settings, SampleReader& samples, JobContext& context, SortRun& run) {
    using Step = SorterSession::Step;
    switch (step) {
    case Step::read:
        return ReadSpikes(sorting, samples, source, settings, context, run);
    case Step::clusters:
        return ClusterSpikes(sorting, settings, context, run);
    case Step::templates:
        return MakeTemplates(sorting, settings, context);
    case Step::library:
        return BuildLibrary(sorting, settings, context, run);
    case Step::assigned:
        return AssignSpikes(sorting, settings, context, run);
    }
}

}  // namespace

// --- steps ---

bool SorterSession::IsMadeOf(Step step, const SpikeSource& source, const SortSettings& settings) const {
    if (!Has(step) || !IsSameSource(source, state_.source)) return false;
    for (size_t i = 0; i <= static_cast<size_t>(step); ++i)
        if (!IsSameFor(static_cast<Step>(i), settings, state_.settings)) return false;
    return true;
}

std::vector<std::string> SorterSession::Bring(Step to, const std::string& name, Wish wish,
                                              SampleReader& samples, JobContext& context) {
    State next;
    SortRun run;
    bool isKept = true, losesResult = false;
    Result made;
    for (size_t i = 0; i < stepCount; ++i) {
        const auto step = static_cast<Step>(i);
        isKept = isKept && IsMadeOf(step, wish.source, wish.settings);
        losesResult = losesResult || (!isKept && Has(step));
        if (isKept) {
            made = Made(step);
            if (step == Step::assigned) next.outliers = state_.outliers;
        } else if (step <= to) {
            SpikeSorting sorting = made ? *made : SpikeSorting();
            Compute(step, sorting, wish.source, wish.settings, samples, context, run);
            made = std::make_shared<const SpikeSorting>(std::move(sorting));
            if (step == Step::assigned) next.outliers = run.outliers;
        } else {
            continue;
        }
        next.results[i] = made;
    }
    next.source = std::move(wish.source);
    next.settings = std::move(wish.settings);
    next.record = std::move(wish.record);
    if (!name.empty() || losesResult) {
        state_.name = name.empty() ? changedSettingsName : name;
        undo_.push_back(std::move(state_));
        if (undo_.size() > mostUndoSteps) undo_.erase(undo_.begin());
        redo_.clear();
    }
    state_ = std::move(next);
    Changed();
    return run.notes;
}

const SpikeSorting& SorterSession::Last() const {
    size_t last = 0;
    for (size_t i = 0; i < stepCount; ++i)
        if (state_.results[i]) last = i;
    return *state_.results[last];
}

void SorterSession::Clear() {
    state_ = {};
    undo_.clear();
    redo_.clear();
    Changed();
}

// --- the way back ---

const std::vector<std::byte>& SorterSession::Exchange(std::vector<State>& from, std::vector<State>& to) {
    State back = std::move(from.back());
    from.pop_back();
    state_.name = back.name;
    to.push_back(std::move(state_));
    state_ = std::move(back);
    Changed();
    return state_.record;
}

void SorterSession::Changed() {
    hasTrains_ = false;
    view.selected.clear();
    HoldView();
}

// --- what it tells ---

void SorterSession::HoldView() {
    if (!Has(Step::clusters) || Last().Clusters().empty()) return;
    const auto clusters = static_cast<int32_t>(Last().Clusters().size());
    view.primary = std::clamp(view.primary, 1, clusters);
    view.comparison = std::clamp(view.comparison, 1, clusters);
    const auto within = [](int32_t rank, size_t count) {
        return std::clamp(rank, 1, std::max(1, static_cast<int32_t>(count)));
    };
    if (!Has(Step::assigned)) return;
    view.unassigned = within(view.unassigned, Unassigned().size());
    view.rank = within(view.rank, Events().size());
    std::erase_if(view.candidate, [&](int32_t id) { return id < 1 || id > clusters; });
}

std::vector<size_t> SorterSession::Unassigned() const {
    std::vector<size_t> spikes;
    if (!Has(Step::assigned)) return spikes;
    const SpikeSorting& sorting = At(Step::assigned);
    for (size_t i = 0; i < sorting.Types().size(); ++i)
        if (sorting.Waves().isUsed[i] && sorting.Types()[i].id == unassignedType) spikes.push_back(i);
    return spikes;
}

int64_t SorterSession::WithoutTemplate() const {
    if (!Has(Step::templates)) return 0;
    const SpikeSorting& sorting = At(Step::templates);
    int64_t count = static_cast<int64_t>(sorting.Waves().Used());
    for (int32_t id = 1; sorting.HasCluster(id); ++id) count -= sorting.Fitted(id);
    return count;
}

const SpikeSorting& SorterSession::WithTrains() const {
    return At(Has(Step::assigned) ? Step::assigned : Has(Step::templates) ? Step::templates : Step::clusters);
}

const std::vector<UnitEvent>& SorterSession::TrainOf(int32_t cluster) const {
    static const std::vector<UnitEvent> none;
    if (!Has(Step::clusters)) return none;
    if (!std::exchange(hasTrains_, true))
        trains_ = EventsOfClusters(WithTrains(), state_.settings.assign.mergeWithinMs);
    const auto i = static_cast<size_t>(cluster) - 1;
    return i < trains_.size() ? trains_[i] : none;
}

const std::vector<UnitEvent>& SorterSession::EventsOf(int32_t cluster) const {
    static const std::vector<UnitEvent> none;
    return Has(Step::assigned) ? TrainOf(cluster) : none;
}

std::vector<UnitEvent> SorterSession::RankedEvents() const {
    std::vector<UnitEvent> ranked = Events();
    std::ranges::stable_sort(ranked, std::greater{}, &UnitEvent::ratio);
    return ranked;
}

FiringTrend SorterSession::Trend(int32_t cluster) const {
    std::vector<int64_t> places;
    for (const UnitEvent& event : EventsOf(cluster)) places.push_back(event.place);
    return FiringTrend(places, Has(Step::assigned) ? At(Step::assigned).PlacesPerSecond() : 1.0);
}

std::vector<UnitEvent> SorterSession::Outlying(double confidence) const {
    std::vector<int64_t> places;
    std::vector<double> errors;
    for (const UnitEvent& event : Events()) {
        places.push_back(event.place);
        errors.push_back(event.ratio);
    }
    std::vector<UnitEvent> outlying;
    if (places.empty()) return outlying;
    for (const size_t i : FindFastOutliers(places, errors, At(Step::assigned).PlacesPerSecond(), confidence))
        outlying.push_back(Events()[i]);
    return outlying;
}

std::vector<double> SorterSession::Times(int32_t cluster) const {
    std::vector<double> times;
    for (const UnitEvent& event : TrainOf(cluster))
        times.push_back(static_cast<double>(event.place) * 1000.0 / WithTrains().PlacesPerSecond());
    return times;
}

RefractoryCount SorterSession::Refractory(int32_t cluster, double ms) const {
    std::vector<int64_t> places;
    for (const UnitEvent& event : TrainOf(cluster)) places.push_back(event.place);
    if (places.size() < 2) return {};
    return {std::ssize(places) - 1, CountShortIntervals(places, RefractoryPlaces(WithTrains(), ms))};
}

std::optional<MixtureLibraries::Match> SorterSession::Candidate() const {
    const std::vector<size_t> spikes = Unassigned();
    const auto i = static_cast<size_t>(view.unassigned) - 1;
    if (i >= spikes.size()) return std::nullopt;
    const SpikeSorting& sorting = At(Step::assigned);
    if (!view.candidate.empty()) {
        std::vector<int32_t> ids = view.candidate;
        std::ranges::sort(ids);
        return sorting.MatchOf(spikes[i], ids);
    }
    const auto matches = sorting.Matches(spikes[i]);
    return matches.empty() ? std::nullopt : std::optional(matches.front());
}

}  // namespace kymora
