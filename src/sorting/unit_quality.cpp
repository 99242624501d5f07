#include "sorting/unit_quality.h"

#include <Eigen/Cholesky>
#include <algorithm>
#include <cmath>
#include <numbers>

#include "statistics/statistics.h"

namespace kymora {

namespace {

constexpr size_t fewestIsolated = 4;
constexpr size_t spikesToPollDistances = 16;
constexpr double percentOfAll = 100.0;

using Vector = Eigen::Vector3d;

Vector VectorOf(const SpikeWeights& weights) {
    return {double{weights[0]}, double{weights[1]}, double{weights[2]}};
}

// The probability that the sum of three squared normal deviates is above x.
double ChiSquareTail3(double x) {
    return std::erfc(std::sqrt(x / 2.0)) + std::sqrt(2.0 * x / std::numbers::pi) * std::exp(-x / 2.0);
}

// Spikes of the unit, evenly taken where there are too many.
std::vector<size_t> SomeOf(std::span<const int32_t> ids, int32_t unit) {
    std::vector<size_t> all, some;
    for (size_t i = 0; i < ids.size(); ++i)
        if (ids[i] == unit) all.push_back(i);
    const size_t kept = std::min(all.size(), mostSilhouetteSpikes);
    for (size_t k = 0; k < kept; ++k) some.push_back(all[k * all.size() / kept]);
    return some;
}

// --- of a sorting ---

// What each spike counts as, with the id of the one unit that it is.
std::vector<int32_t> IdsOfSpikes(const SpikeSorting& sorting) {
    std::vector<int32_t> ids = sorting.FirstIds();
    for (size_t i = 0; i < sorting.Types().size(); ++i) {
        const int32_t type = sorting.Types()[i].id;
        ids[i] = type == decomposedType ? leftOutId : type;
    }
    for (size_t i = 0; i < ids.size(); ++i)
        if (!sorting.Waves().isUsed[i]) ids[i] = leftOutId;
    return ids;
}

struct TemplatePeak {
    int trace = 0;
    int32_t at = 0;  // value of the display window
};

TemplatePeak PeakOfTemplate(const cCluster& cluster, const SpikeWaves& waves) {
    TemplatePeak peak;
    double farthest = -1.0;
    const WaveSegment window = cluster.Window();
    for (int t = 0; t < waves.shape.traces; ++t) {
        const SpikeNoise& noise = waves.noise[static_cast<size_t>(t)];
        const double sd = noise.Sd() > 0.0 ? noise.Sd() : 1.0;
        const auto wave = waves.shape.OfTrace(cluster.m_vfFullTmpl, t);
        for (int32_t i = window.first; i < window.End(); ++i) {
            const double away = std::abs(double{wave[static_cast<size_t>(i)]} - noise.mean) / sd;
            if (!(away > farthest)) continue;
            farthest = away;
            peak = {t, i};
        }
    }
    return peak;
}

double SnrOf(const cCluster& cluster, const SpikeWaves& waves) {
    double most = noStatistic;
    for (int t = 0; t < waves.shape.traces; ++t) {
        const auto wave = waves.shape.OfTrace(cluster.m_vfFullTmpl, t)
                              .subspan(static_cast<size_t>(cluster.m_iTmplStartRelDisp),
                                       static_cast<size_t>(cluster.m_nTmplSamp));
        const double sd = waves.noise[static_cast<size_t>(t)].Sd();
        if (wave.empty() || !(sd > 0.0)) continue;
        const auto [least, greatest] = std::ranges::minmax(wave);
        const double snr = (double{greatest} - double{least}) / (2.0 * sd);
        if (!(snr <= most)) most = snr;
    }
    return most;
}

double AmplitudeOf(const SpikeSorting& sorting, const UnitEvent& event, const TemplatePeak& peak) {
    const SpikeWaves& waves = sorting.Waves();
    const WaveShape& shape = waves.shape;
    const MixtureEntry entry = sorting.Types().empty() ? MixtureEntry{} : sorting.Types()[event.spike].entry;
    const int32_t delay = sorting.Types().empty() ? 0 : entry.delays[event.component];
    const auto isInside = [&](int32_t at) { return at >= 0 && at < shape.count; };
    const int32_t at = peak.at + delay;
    if (!isInside(at)) return noStatistic;
    const double mean = waves.noise[static_cast<size_t>(peak.trace)].mean;
    double value = double{shape.OfTrace(waves.Row(event.spike), peak.trace)[static_cast<size_t>(at)]} - mean;
    for (size_t c = 0; !sorting.Types().empty() && c < static_cast<size_t>(entry.Components()); ++c) {
        const int32_t other = at - entry.delays[c];
        if (c == event.component || !isInside(other)) continue;
        const cCluster& cluster = sorting.Clusters()[static_cast<size_t>(entry.ids[c]) - 1];
        value -= double{shape.OfTrace(cluster.m_vfFullTmpl, peak.trace)[static_cast<size_t>(other)]} - mean;
    }
    return value;
}

void MeasureAmplitudes(UnitQuality& unit, const SpikeSorting& sorting, std::span<const UnitEvent> events) {
    const TemplatePeak peak =
        PeakOfTemplate(sorting.Clusters()[static_cast<size_t>(unit.id) - 1], sorting.Waves());
    double sum = 0.0, squares = 0.0, count = 0.0;
    for (const UnitEvent& event : events) {
        const double value = AmplitudeOf(sorting, event, peak);
        unit.amplitudes.push_back({event.place, event.spike, value});
        if (!std::isfinite(value)) continue;
        sum += value;
        ++count;
    }
    unit.meanAmplitude = count > 0.0 ? sum / count : noStatistic;
    for (const SpikeAmplitude& one : unit.amplitudes)
        if (std::isfinite(one.value))
            squares += (one.value - unit.meanAmplitude) * (one.value - unit.meanAmplitude);
    unit.sdAmplitude = count > 1.0 ? std::sqrt(squares / (count - 1.0)) : noStatistic;
}

}  // namespace

// --- the measures ---

UnitIsolation IsolationOf(std::span<const SpikeWeights> weights, std::span<const int32_t> ids, int32_t id) {
    const UnitIsolation none{noStatistic, noStatistic};
    const auto count = static_cast<size_t>(std::ranges::count(ids, id));
    if (count < fewestIsolated) return none;
    Vector mean = Vector::Zero();
    for (size_t i = 0; i < ids.size(); ++i)
        if (ids[i] == id) mean += VectorOf(weights[i]);
    mean /= static_cast<double>(count);
    Eigen::Matrix3d covariance = Eigen::Matrix3d::Zero();
    for (size_t i = 0; i < ids.size(); ++i) {
        if (ids[i] != id) continue;
        const Vector away = VectorOf(weights[i]) - mean;
        covariance += away * away.transpose();
    }
    covariance /= static_cast<double>(count) - 1.0;
    const Eigen::LLT<Eigen::Matrix3d> factor(covariance);
    if (factor.info() != Eigen::Success) return none;

    std::vector<double> distances;
    double sum = 0.0;
    for (size_t i = 0; i < ids.size(); ++i) {
        if (ids[i] == id || ids[i] == leftOutId) continue;
        distances.push_back(factor.matrixL().solve(VectorOf(weights[i]) - mean).squaredNorm());
        sum += ChiSquareTail3(distances.back());
    }
    UnitIsolation isolation{noStatistic, sum / static_cast<double>(count)};
    if (distances.size() >= count) {
        const auto nth = distances.begin() + static_cast<std::ptrdiff_t>(count) - 1;
        std::ranges::nth_element(distances, nth);
        isolation.distance = *nth;
    }
    return isolation;
}

std::vector<double> SilhouettesOf(std::span<const SpikeWeights> weights, std::span<const int32_t> ids,
                                  std::span<const int32_t> units, ProgressSource& progress) {
    std::vector<Vector> points;
    std::vector<size_t> unitOf, counts;
    for (size_t u = 0; u < units.size(); ++u) {
        const std::vector<size_t> some = SomeOf(ids, units[u]);
        for (const size_t i : some) points.push_back(VectorOf(weights[i]));
        unitOf.insert(unitOf.end(), some.size(), u);
        counts.push_back(some.size());
    }
    std::vector<double> sums(points.size() * units.size());  // of the distances from a point to each unit
    ProgressScope scope(progress, "Measuring units", points.size());
    for (size_t i = 0; i < points.size(); ++i) {
        if (i % spikesToPollDistances == 0) scope.At(i);
        for (size_t k = 0; k < i; ++k) {
            const double distance = (points[i] - points[k]).norm();
            sums[i * units.size() + unitOf[k]] += distance;
            sums[k * units.size() + unitOf[i]] += distance;
        }
    }
    std::vector<double> silhouettes(units.size());
    const auto populated = std::ranges::count_if(counts, [](size_t count) { return count > 0; });
    for (size_t i = 0; i < points.size(); ++i) {
        const size_t own = unitOf[i];
        if (counts[own] < 2) continue;  // a spike alone has 0
        double nearest = std::numeric_limits<double>::infinity();
        for (size_t u = 0; u < units.size(); ++u)
            if (u != own && counts[u] > 0)
                nearest = std::min(nearest, sums[i * units.size() + u] / static_cast<double>(counts[u]));
        const double within = sums[i * units.size() + own] / static_cast<double>(counts[own] - 1);
        const double greater = std::max(within, nearest);
        if (greater > 0.0)
            silhouettes[own] += (nearest - within) / greater / static_cast<double>(counts[own]);
    }
    for (size_t u = 0; u < units.size(); ++u)
        if (counts[u] == 0 || populated < 2) silhouettes[u] = noStatistic;
    return silhouettes;
}

int64_t CountShortIntervals(std::span<const int64_t> places, double limit) {
    int64_t count = 0;
    for (size_t i = 1; i < places.size(); ++i)
        if (static_cast<double>(places[i] - places[i - 1]) < limit) ++count;
    return count;
}

// --- of a sorting ---

std::vector<std::vector<UnitEvent>> EventsOfClusters(const SpikeSorting& sorting, double mergeWithinMs) {
    if (!sorting.Types().empty()) return sorting.Events(mergeWithinMs);
    std::vector<std::vector<UnitEvent>> units(sorting.Clusters().size());
    const std::vector<int32_t>& ids = sorting.FirstIds();
    for (size_t i = 0; i < ids.size(); ++i)
        if (ids[i] > 0)
            units[static_cast<size_t>(ids[i]) - 1].push_back({sorting.Waves().places[i], i, 0, 0.0});
    for (std::vector<UnitEvent>& events : units) {
        std::ranges::stable_sort(events, {}, &UnitEvent::place);
        LeaveBest(events, sorting.PlacesOf(mergeWithinMs));
    }
    return units;
}

double RefractoryPlaces(const SpikeSorting& sorting, double refractoryMs) {
    constexpr double rounding = 1e-6;  // an interval of just this time is none below it
    return refractoryMs / sorting.SampleInterval() * sorting.Waves().shape.multiplier - rounding;
}

std::vector<UnitQuality> MeasureUnits(const SpikeSorting& sorting, double mergeWithinMs, double refractoryMs,
                                      ProgressSource& progress) {
    std::vector<UnitQuality> qualities;
    const std::vector<int32_t> ids = IdsOfSpikes(sorting);
    const double limit = RefractoryPlaces(sorting, refractoryMs);
    const auto events = EventsOfClusters(sorting, mergeWithinMs);
    for (size_t k = 0; k < events.size(); ++k) {
        const cCluster& cluster = sorting.Clusters()[k];
        if (!cluster.IsUnit()) continue;
        UnitQuality& unit = qualities.emplace_back();
        unit.id = static_cast<int32_t>(k) + 1;
        unit.events = std::ssize(events[k]);
        unit.snr = SnrOf(cluster, sorting.Waves());
        std::vector<int64_t> places;
        for (const UnitEvent& event : events[k]) places.push_back(event.place);
        unit.violations = CountShortIntervals(places, limit);
        unit.violationShare = unit.events > 1 ? percentOfAll * static_cast<double>(unit.violations) /
                                                    static_cast<double>(unit.events - 1)
                                              : noStatistic;
        MeasureAmplitudes(unit, sorting, events[k]);
        unit.isolation = {noStatistic, noStatistic};
        unit.silhouette = noStatistic;
    }
    if (sorting.Weights().empty()) return qualities;
    std::vector<int32_t> units;
    for (UnitQuality& unit : qualities) {
        units.push_back(unit.id);
        unit.isolation = IsolationOf(sorting.Weights(), ids, unit.id);
    }
    const std::vector<double> silhouettes = SilhouettesOf(sorting.Weights(), ids, units, progress);
    for (size_t i = 0; i < qualities.size(); ++i) qualities[i].silhouette = silhouettes[i];
    return qualities;
}

}  // namespace kymora
