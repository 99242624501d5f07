#include "sorting/spike_sorting.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "numerics/rounding.h"
#include "sorting/cluster_run.h"
#include "sorting/firing_trend.h"
#include "sorting/principal_components.h"

namespace kymora {

namespace {

constexpr NipalsOptions componentOptions{3, Centring::mean, 1e-9};
constexpr size_t spikesToPollFits = 256;
constexpr size_t spikesToPollSearch = 8;

}  // namespace

bool IsEnclosed(std::span<const WeightPoint> outline, double x, double y) {
    bool isWithin = false;
    for (size_t i = 0, k = outline.size() - 1; i < outline.size(); k = i++) {
        const WeightPoint &a = outline[i], &b = outline[k];
        if ((a.x > x) != (b.x > x) && y < a.y + (x - a.x) / (b.x - a.x) * (b.y - a.y)) isWithin = !isWithin;
    }
    return isWithin;
}

std::string SortedSpike::Text() const {
    if (id != decomposedType) return std::to_string(id);
    std::string text;
    for (size_t i = 0; i < entry.ids.size() && entry.ids[i] >= 0; ++i)
        text += fmt::format("{}{}", i == 0 ? "" : "+", entry.ids[i]);
    return text;
}

void LeaveBest(std::vector<UnitEvent>& events, int64_t near) {
    std::ranges::stable_sort(events, {}, &UnitEvent::ratio);
    std::set<int64_t> taken;
    std::erase_if(events, [&](const UnitEvent& event) {
        const auto next = taken.lower_bound(event.place - near);
        if (next != taken.end() && *next <= event.place + near) return true;
        taken.insert(event.place);
        return false;
    });
    std::ranges::sort(events, {}, &UnitEvent::place);
}

// --- reading ---

bool SpikeSorting::Read(SampleReader& samples, const SpikeSource& source, const ReadSettings& settings,
                        ProgressSource& progress) {
    auto waves = std::make_shared<const SpikeWaves>(ReadSpikeWaves(samples, source, settings, progress));
    ForgetClusters();
    weights_.clear();
    reading_ = settings;
    sampleInterval_ = source.sampleInterval;
    waves_ = std::move(waves);
    return IsRead();
}

int64_t SpikeSorting::SampleAt(int64_t place, size_t spike) const {
    const int64_t onset = waves_->onsets[spike];
    const int multiplier = waves_->shape.multiplier;
    return onset + RoundHalfAway64(static_cast<double>(place - onset * multiplier) / multiplier);
}

int64_t SpikeSorting::PlacesOf(double ms) const {
    return RoundHalfAway64(ms / sampleInterval_ * waves_->shape.multiplier);
}

void SpikeSorting::ForgetClusters() {
    ids_.clear();
    clusters_.clear();
    startedWithFewer_ = 0;
    ForgetFits();
}

void SpikeSorting::ForgetFits() {
    fits_.clear();
    libraries_.reset();
    types_.clear();
}

// --- components and clusters ---

void SpikeSorting::FindComponents(WaveSegment segment, ProgressSource& progress, std::string* log) {
    const WaveShape& shape = waves_->shape;
    std::vector<float> rows;
    for (size_t i = 0; i < waves_->Count(); ++i) {
        if (!waves_->isUsed[i]) continue;
        for (int t = 0; t < shape.traces; ++t) {
            const double sd = waves_->noise[static_cast<size_t>(t)].Sd();
            const double scale = t > 0 && sd > 0.0 ? waves_->noise[0].Sd() / sd : 1.0;
            for (const float value :
                 shape.OfTrace(waves_->Row(i), t)
                     .subspan(static_cast<size_t>(segment.first), static_cast<size_t>(segment.count)))
                rows.push_back(static_cast<float>(value * scale));
        }
    }
    const size_t columns = static_cast<size_t>(segment.count) * static_cast<size_t>(shape.traces);
    ProgressScope scope(progress, "SS-wiz: PCA", componentOptions.components);
    const auto found = FindComponentsByNipals(rows, columns, componentOptions,
                                              [&](size_t component, int pass, double change) {
                                                  scope.At(component);
                                                  if (log) *log += NipalsPassText(pass, change);
                                                  return true;
                                              });
    if (log) *log += NipalsPassesText(*found);
    const float none = std::numeric_limits<float>::quiet_NaN();
    ForgetClusters();
    weights_.assign(waves_->Count(), {none, none, none});
    for (size_t i = 0, row = 0; i < waves_->Count(); ++i) {
        if (!waves_->isUsed[i]) continue;
        for (size_t c = 0; c < 3; ++c) weights_[i][c] = static_cast<float>(found->Weight(row, c));
        ++row;
    }
}

GaussianClusters::State SpikeSorting::FindClusters(int desired, ProgressSource& progress, std::string* log) {
    std::vector<double> rows;
    for (size_t i = 0; i < weights_.size(); ++i)
        if (waves_->isUsed[i]) rows.insert(rows.end(), weights_[i].begin(), weights_[i].end());
    ClusterOptions options;
    options.desired = desired;
    ProgressScope scope(progress, "Clustering", static_cast<uint64_t>(options.initial));
    const GaussianClusters found = FindGaussianClusters(rows, 3, options, [&](int classes) {
        if (scope.Get()) scope.Get()->SetPart(fmt::format("Refining cluster {}", classes));
        scope.At(static_cast<uint64_t>(std::max(0, options.initial - classes)));
        return true;
    });
    if (log) *log += ClusterLog(found);
    if (found.state != GaussianClusters::State::found) return found.state;

    std::vector<size_t> counts(found.classes.size());
    for (const int id : found.ids) ++counts[static_cast<size_t>(id)];
    std::vector<size_t> order(counts.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::ranges::stable_sort(order, std::greater{}, [&](size_t i) { return counts[i]; });
    std::vector<int32_t> numbers(order.size());
    for (size_t i = 0; i < order.size(); ++i) numbers[order[i]] = static_cast<int32_t>(i) + 1;
    ForgetClusters();
    startedWithFewer_ = found.reducedInitial ? found.started : 0;
    ids_.assign(waves_->Count(), 0);
    for (size_t i = 0, row = 0; i < ids_.size(); ++i)
        if (waves_->isUsed[i]) ids_[i] = numbers[static_cast<size_t>(found.ids[row++])];
    // A class without a spike is none.
    clusters_.resize(counts.size() - static_cast<size_t>(std::ranges::count(counts, size_t{0})));
    for (size_t i = 0; i < clusters_.size(); ++i) {
        const WaveSegment whole = waves_->shape.Whole();
        clusters_[i].m_iTmplStartRelDisp = whole.first;
        clusters_[i].m_nTmplSamp = whole.count;
        MakeTemplate(static_cast<int32_t>(i) + 1);
    }
    return found.state;
}

// --- templates ---

void SpikeSorting::MakeTemplate(int32_t id) {
    cCluster& cluster = clusters_[static_cast<size_t>(id) - 1];
    cluster.m_vfFullTmpl = MeanRow(*waves_, ids_, id);
    cluster.m_iCount = static_cast<int32_t>(std::ranges::count(ids_, id));
}

void SpikeSorting::UseTemplates(std::vector<cCluster> clusters) {
    ForgetClusters();
    clusters_ = std::move(clusters);
    ids_.assign(waves_->Count(), 0);
}

void SpikeSorting::Merge(int32_t into, int32_t id) {
    std::ranges::replace(ids_, id, into);
    MakeTemplate(into);
    MakeTemplate(id);
    ForgetFits();
}

std::vector<size_t> SpikeSorting::Enclosed(int32_t id, size_t across, size_t up,
                                           std::span<const WeightPoint> outline) const {
    std::vector<size_t> enclosed;
    for (size_t i = 0; i < weights_.size(); ++i)
        if (waves_->isUsed[i] && (id == 0 || ids_[i] == id) &&
            IsEnclosed(outline, weights_[i][across], weights_[i][up]))
            enclosed.push_back(i);
    return enclosed;
}

int32_t SpikeSorting::MoveToNew(std::span<const size_t> spikes) {
    const auto id = static_cast<int32_t>(clusters_.size()) + 1;
    cCluster made;
    made.m_iTmplStartRelDisp = waves_->shape.Whole().first;
    made.m_nTmplSamp = waves_->shape.count;
    clusters_.push_back(std::move(made));
    std::set<int32_t> changed{id};
    for (const size_t spike : spikes) {
        changed.insert(ids_[spike]);
        ids_[spike] = id;
    }
    for (const int32_t cluster : changed)
        if (cluster > 0) MakeTemplate(cluster);
    ForgetFits();
    return id;
}

void SpikeSorting::SetFlags(int32_t id, bool isMixed, bool isIgnored) {
    cCluster& cluster = clusters_[static_cast<size_t>(id) - 1];
    cluster.m_bMixedTmpl = isMixed;
    cluster.m_bIgnore = isIgnored;
    libraries_.reset();
    types_.clear();
}

void SpikeSorting::SetWindow(int32_t id, WaveSegment window) {
    cCluster& cluster = clusters_[static_cast<size_t>(id) - 1];
    cluster.m_iTmplStartRelDisp = window.first;
    cluster.m_nTmplSamp = window.count;
    ForgetFits();
}

void SpikeSorting::SetThreshold(int32_t id, float threshold) {
    cCluster& cluster = clusters_[static_cast<size_t>(id) - 1];
    cluster.m_fErrThresh = threshold;
    cluster.m_dHistMaxX = 4.0 * threshold;
    types_.clear();
}

void SpikeSorting::SetAutomaticThresholds() {
    for (int32_t id = 1; HasCluster(id); ++id) SetThreshold(id, AutomaticThreshold(Ratios(id, true)));
}

std::vector<double> SpikeSorting::Ratios(int32_t id, bool ofItsOwn) const {
    const cCluster& cluster = clusters_[static_cast<size_t>(id) - 1];
    std::vector<double> ratios;
    for (size_t i = 0; i < waves_->Count(); ++i)
        if (waves_->isUsed[i] && (!ofItsOwn || ids_[i] == id))
            ratios.push_back(VarianceRatio(waves_->Row(i), cluster.m_vfFullTmpl, waves_->shape,
                                           cluster.Window(), waves_->noise));
    return ratios;
}

void SpikeSorting::FindFits(ProgressSource& progress) {
    std::vector<SpikeFit> fits(waves_->Count());
    ProgressScope scope(progress, "Fitting templates", fits.size());
    for (size_t i = 0; i < fits.size(); ++i) {
        if (i % spikesToPollFits == 0) scope.At(i);
        if (!waves_->isUsed[i]) continue;
        for (size_t k = 0; k < clusters_.size(); ++k) {
            const cCluster& cluster = clusters_[k];
            if (cluster.m_iCount == 0) continue;
            const double ratio = VarianceRatio(waves_->Row(i), cluster.m_vfFullTmpl, waves_->shape,
                                               cluster.Window(), waves_->noise);
            if (fits[i].id == 0 || ratio < fits[i].ratio) fits[i] = {static_cast<int32_t>(k) + 1, ratio};
        }
    }
    fits_ = std::move(fits);
}

int64_t SpikeSorting::Fitted(int32_t id) const {
    const float threshold = clusters_[static_cast<size_t>(id) - 1].m_fErrThresh;
    return std::ranges::count_if(fits_,
                                 [&](const SpikeFit& fit) { return fit.id == id && fit.ratio < threshold; });
}

// --- assignment ---

void SpikeSorting::BuildLibrary(int limit, ProgressSource& progress) {
    libraries_ = std::make_shared<const MixtureLibraries>(
        MixtureLibraries::Build(clusters_, *waves_, limit, reading_.polarity, progress));
    types_.clear();
}

void SpikeSorting::AssignPure() {
    types_.assign(waves_->Count(), {});
    for (size_t i = 0; i < types_.size(); ++i) {
        const SpikeFit& fit = fits_[i];
        types_[i].ratio = fit.ratio;
        if (fit.id == 0) continue;
        const cCluster& best = clusters_[static_cast<size_t>(fit.id) - 1];
        if (!best.IsUnit() || !(fit.ratio < best.m_fErrThresh)) continue;
        types_[i].id = fit.id;
        types_[i].entry.ids[0] = fit.id;
        types_[i].entry.inBuffer = waves_->shape.Whole();
        types_[i].isEvent[0] = true;
    }
}

// The events of each unit as they are found, for the test of frequencies.
class SpikeSorting::TrainsOfUnits {
  public:
    TrainsOfUnits(const SpikeSorting& sorting, const AssignSettings& settings)
        : settings_(settings), near_(sorting.PlacesOf(settings.mergeWithinMs)) {
        if (!settings.testsFrequency) return;
        for (const auto& events : sorting.Events(settings.mergeWithinMs)) {
            std::vector<int64_t> places;
            for (const UnitEvent& event : events) places.push_back(event.place);
            trends_.emplace_back(places, sorting.PlacesPerSecond());
            trains_.emplace_back(places.begin(), places.end());
        }
    }
    // An event of the unit at this place would follow another too fast, or be followed so.
    bool IsTooFast(int32_t id, int64_t place) const {
        if (!settings_.testsFrequency) return false;
        const std::set<int64_t>& train = trains_[static_cast<size_t>(id) - 1];
        const FiringTrend& trend = trends_[static_cast<size_t>(id) - 1];
        const auto next = train.lower_bound(place);
        const bool hasNext = next != train.end(), hasBefore = next != train.begin();
        const int64_t before = hasBefore ? *std::prev(next) : 0;
        if ((hasNext && *next - place <= near_) || (hasBefore && place - before <= near_))
            return false;  // the same event
        return (hasBefore && trend.IsTooFast(before, place, settings_.confidence)) ||
               (hasNext && trend.IsTooFast(place, *next, settings_.confidence));
    }
    void Add(int32_t id, int64_t place) {
        if (settings_.testsFrequency) trains_[static_cast<size_t>(id) - 1].insert(place);
    }

  private:
    AssignSettings settings_;
    int64_t near_;
    std::vector<FiringTrend> trends_;
    std::vector<std::set<int64_t>> trains_;
};

std::vector<float> SpikeSorting::RowLessMean(size_t spike) const {
    std::vector<float> row(waves_->Row(spike).begin(), waves_->Row(spike).end());
    for (size_t j = 0; j < row.size(); ++j)
        row[j] -= static_cast<float>(waves_->noise[j / static_cast<size_t>(waves_->shape.count)].mean);
    return row;
}

std::vector<MixtureLibraries::Match> SpikeSorting::Matches(size_t spike) const {
    return libraries_->Search(RowLessMean(spike), [&](const MixtureLibrary& library) {
        return clusters_[static_cast<size_t>(library.entries.front().ids[0]) - 1].IsUnit();
    });
}

std::optional<MixtureLibraries::Match> SpikeSorting::MatchOf(size_t spike,
                                                             std::span<const int32_t> ids) const {
    std::array<int32_t, mostMixed> wanted{-1, -1, -1};
    std::ranges::copy(ids, wanted.begin());
    const std::vector<float> row = RowLessMean(spike);
    std::optional<MixtureLibraries::Match> best;
    for (const MixtureLibrary& library : libraries_->Libraries())
        for (const MixtureEntry& entry : library.entries) {
            if (entry.ids != wanted) continue;
            const double ratio =
                VarianceRatio(row, libraries_->RowOf(entry), waves_->shape, library.window, waves_->noise);
            if (!best || ratio < best->ratio) best = {entry, ratio};
        }
    return best;
}

void SpikeSorting::SetType(SortedSpike& type, const MixtureLibraries::Match& match) const {
    const auto count = static_cast<size_t>(match.entry.Components());
    type = {count == 1 ? match.entry.ids[0] : decomposedType, match.ratio, match.entry, {}};
    for (size_t c = 0; c < count; ++c) {
        const int32_t point = waves_->shape.centre + match.entry.delays[c];
        type.isEvent[c] = point >= 0 && point < waves_->shape.count;
    }
}

void SpikeSorting::Assign(size_t spike, const MixtureLibraries::Match& match) {
    SetType(types_[spike], match);
}

void SpikeSorting::AssignCompounds(const AssignSettings& settings, ProgressSource& progress) {
    const auto clusterOf = [&](int32_t id) -> const cCluster& {
        return clusters_[static_cast<size_t>(id) - 1];
    };
    std::vector<SortedSpike> types = types_;
    TrainsOfUnits trains(*this, settings);
    ProgressScope scope(progress, "Searching mixture library", types.size());
    for (size_t i = 0; i < types.size(); ++i) {
        if (i % spikesToPollSearch == 0) scope.At(i);
        SortedSpike& type = types[i];
        if (!waves_->isUsed[i] || type.id != unassignedType) continue;
        const SpikeFit& fit = fits_[i];
        if (fit.id != 0 && clusterOf(fit.id).m_bIgnore && fit.ratio <= clusterOf(fit.id).m_fErrThresh)
            continue;
        const auto matches = Matches(i);
        if (matches.empty()) continue;
        const MixtureEntry& entry = matches.front().entry;
        const double ratio = matches.front().ratio;
        const auto count = static_cast<size_t>(entry.Components());
        SortedSpike taken = type;
        SetType(taken, matches.front());
        bool isAccepted = true;
        for (size_t c = 0; c < count; ++c)
            isAccepted =
                isAccepted && ratio <= clusterOf(entry.ids[c]).m_fErrThresh * settings.multiplier &&
                !(taken.isEvent[c] && trains.IsTooFast(entry.ids[c], waves_->places[i] + entry.delays[c]));
        if (!isAccepted) continue;
        for (size_t c = 0; c < count; ++c)
            if (taken.isEvent[c]) trains.Add(entry.ids[c], waves_->places[i] + entry.delays[c]);
        type = taken;
    }
    types_ = std::move(types);
}

std::vector<std::vector<UnitEvent>> SpikeSorting::Events(double mergeWithinMs) const {
    std::vector<std::vector<UnitEvent>> units(clusters_.size());
    for (size_t i = 0; i < types_.size(); ++i) {
        const SortedSpike& type = types_[i];
        if (type.id == unassignedType) continue;
        for (size_t c = 0; c < static_cast<size_t>(type.entry.Components()); ++c)
            if (type.isEvent[c])
                units[static_cast<size_t>(type.entry.ids[c]) - 1].push_back(
                    {waves_->places[i] + type.entry.delays[c], i, c, type.ratio});
    }
    for (std::vector<UnitEvent>& events : units) LeaveBest(events, PlacesOf(mergeWithinMs));
    return units;
}

// --- unassignment ---

void SpikeSorting::ForgetType(size_t spike) {
    const double ratio = fits_[spike].ratio;
    types_[spike] = {};
    types_[spike].ratio = ratio;
}

void SpikeSorting::Unassign(size_t spike, double mergeWithinMs) {
    const SortedSpike type = types_[spike];
    if (type.id == unassignedType) return;
    for (size_t c = 0; c < static_cast<size_t>(type.entry.Components()); ++c)
        if (type.isEvent[c]) UnassignFrom(spike, type.entry.ids[c], mergeWithinMs);
    ForgetType(spike);
}

void SpikeSorting::UnassignFrom(size_t spike, int32_t id, double mergeWithinMs) {
    const SortedSpike type = types_[spike];
    if (type.id == unassignedType) return;
    std::set<int64_t> places;
    for (size_t c = 0; c < static_cast<size_t>(type.entry.Components()); ++c)
        if (type.entry.ids[c] == id && type.isEvent[c])
            places.insert(waves_->places[spike] + type.entry.delays[c]);
    RemoveEvents(id, places, PlacesOf(mergeWithinMs));
}

// Of a unit those at the places, and those near one that were left out beside it.
void SpikeSorting::RemoveEvents(int32_t id, const std::set<int64_t>& places, int64_t near) {
    for (size_t i = 0; i < types_.size(); ++i) {
        SortedSpike& type = types_[i];
        if (type.id == unassignedType) continue;
        bool hasOne = false;
        for (size_t c = 0; c < static_cast<size_t>(type.entry.Components()); ++c) {
            const int64_t place = waves_->places[i] + type.entry.delays[c];
            const auto next = places.lower_bound(place - near);
            if (type.entry.ids[c] == id && next != places.end() && *next <= place + near)
                type.isEvent[c] = false;
            hasOne = hasOne || type.isEvent[c];
        }
        if (!hasOne) ForgetType(i);
    }
}

int64_t SpikeSorting::UnassignOutliers(double confidence, double mergeWithinMs) {
    int64_t outliers = 0;
    const auto units = Events(mergeWithinMs);
    for (size_t k = 0; k < units.size(); ++k) {
        std::vector<int64_t> places;
        std::vector<double> errors;
        for (const UnitEvent& event : units[k]) {
            places.push_back(event.place);
            errors.push_back(event.ratio);
        }
        std::set<int64_t> fast;
        for (const size_t i : FindFastOutliers(places, errors, PlacesPerSecond(), confidence))
            fast.insert(places[i]);
        if (!fast.empty()) RemoveEvents(static_cast<int32_t>(k) + 1, fast, PlacesOf(mergeWithinMs));
        outliers += std::ssize(fast);
    }
    return outliers;
}

}  // namespace kymora
