#include "sorting/mixture_library.h"

#include <fmt/format.h>

#include <algorithm>

#include "operations/operation_job.h"

namespace kymora {

namespace {

// Of b beside a, both included, and of a third.
struct Delays {
    int32_t first, last;
    int32_t Count() const { return last - first + 1; }
};
Delays DelaysOfSecond(int32_t n) { return {2 * n / 6, 2 * n - 2 * n / 6}; }
Delays DelaysOfThird(int32_t n) { return {1, 2 * n - 3}; }

void DropEqual(std::vector<MixtureEntry>& entries) {
    std::ranges::sort(entries);
    entries.erase(std::unique(entries.begin(), entries.end()), entries.end());
}

}  // namespace

MixtureLibraries::MixtureLibraries(std::vector<cCluster> clusters, const SpikeWaves& waves, Polarity polarity)
    : shape_(waves.shape), noise_(waves.noise), polarity_(polarity), clusters_(std::move(clusters)) {
    const auto count = static_cast<size_t>(shape_.count);
    for (const cCluster& cluster : clusters_) {
        std::vector<float>& wave = templates_.emplace_back(cluster.m_vfFullTmpl);
        for (size_t i = 0; i < wave.size(); ++i) wave[i] -= static_cast<float>(noise_[i / count].mean);
    }
    for (SpikeNoise& noise : noise_) noise.mean = 0.0;
}

std::vector<int32_t> MixtureLibraries::Units() const {
    std::vector<int32_t> units;
    for (size_t i = 0; i < clusters_.size(); ++i)
        if (clusters_[i].IsUnit()) units.push_back(static_cast<int32_t>(i) + 1);
    return units;
}

WaveSegment MixtureLibraries::WindowOf(std::span<const int32_t> ids) const {
    int32_t first = shape_.count, end = 0;
    for (const int32_t id : ids) {
        const WaveSegment window = clusters_[static_cast<size_t>(id) - 1].Window();
        first = std::min(first, window.first);
        end = std::max(end, window.End());
    }
    return {first, std::max(0, end - first)};
}

double MixtureLibraries::ExpectedBytes(std::span<const cCluster> clusters, const WaveShape& shape,
                                       int limit) {
    const auto units = static_cast<double>(std::ranges::count_if(clusters, &cCluster::IsUnit));
    const double seconds = DelaysOfSecond(shape.count).Count(), thirds = DelaysOfThird(shape.count).Count();
    const double pairs = units * (units - 1.0) / 2.0 * seconds;
    const double triples = limit > 2 ? pairs * std::max(0.0, units - 2.0) * std::max(0.0, thirds) : 0.0;
    const size_t each = NearestWave::BytesOfOne(shape.RowLength()) + 2 * sizeof(MixtureEntry);
    return (static_cast<double>(clusters.size()) + pairs + triples) * static_cast<double>(each);
}

MixtureLibraries MixtureLibraries::Build(std::vector<cCluster> clusters, const SpikeWaves& waves, int limit,
                                         Polarity polarity, ProgressSource& progress, size_t mostBytes) {
    if (ExpectedBytes(clusters, waves.shape, limit) > static_cast<double>(mostBytes))
        throw JobRefused(libraryMemoryText);
    try {
        MixtureLibraries made(std::move(clusters), waves, polarity);
        const std::vector<int32_t> units = made.Units();
        const size_t pairs = units.size() * (units.size() - 1) / 2;
        {
            ProgressScope scope(progress, "Building mixture library", pairs + 1);
            for (size_t i = 0; i < made.clusters_.size(); ++i) {
                const int32_t id = static_cast<int32_t>(i) + 1;
                if (made.clusters_[i].m_iCount > 0)
                    made.AddLibrary({{{id, -1, -1}, {}, waves.shape.Whole()}}, {{id}});
            }
            size_t number = 0;
            for (size_t i = 0; i < units.size(); ++i)
                for (size_t k = i + 1; k < units.size(); ++k) {
                    if (scope.Get()) scope.Get()->SetPart(fmt::format("Library {} of {}.", ++number, pairs));
                    made.AddLibrary(made.PairEntries(units[i], units[k], scope), {{units[i], units[k]}});
                    scope.Step(1);
                }
            if (limit > 2 && units.size() > 2) made.AddLibrary(made.TripleEntries(scope), units);
        }
        ProgressScope scope(progress, "Storing mixture library.", made.libraries_.size());
        for (size_t i = 0; i < made.libraries_.size(); ++i) {
            if (scope.Get())
                scope.Get()->SetPart(
                    fmt::format("Storing mixture library {} of {}.", i + 1, made.libraries_.size()));
            made.Store(made.libraries_[i], scope);
            scope.Step(1);
        }
        return made;
    } catch (const std::bad_alloc&) {
        throw JobRefused(libraryMemoryText);
    }
}

void MixtureLibraries::AddLibrary(std::vector<MixtureEntry> entries, std::span<const int32_t> ids) {
    DropEqual(entries);
    if (!entries.empty()) libraries_.push_back({std::move(entries), WindowOf(ids), nullptr});
}

void MixtureLibraries::Store(MixtureLibrary& library, ProgressScope& progress) const {
    std::vector<float> waves;
    const size_t length = static_cast<size_t>(library.window.count) * static_cast<size_t>(shape_.traces);
    waves.reserve(library.entries.size() * length);
    for (size_t i = 0; i < library.entries.size(); ++i) {
        if (i % 4096 == 0) progress.Step(0);
        const std::vector<float> values = WindowValues(RowOf(library.entries[i]), library.window);
        waves.insert(waves.end(), values.begin(), values.end());
    }
    library.waves = std::make_shared<const NearestWave>(std::move(waves), length, [&] { progress.Step(0); });
}

// In s.d. of the noise, so that traces count alike.
std::vector<float> MixtureLibraries::WindowValues(std::span<const float> row, WaveSegment window) const {
    std::vector<float> values;
    values.reserve(static_cast<size_t>(window.count) * static_cast<size_t>(shape_.traces));
    for (int t = 0; t < shape_.traces; ++t) {
        const auto scale = static_cast<float>(1.0 / noise_[static_cast<size_t>(t)].Sd());
        for (const float value : shape_.OfTrace(row, t).subspan(static_cast<size_t>(window.first),
                                                                static_cast<size_t>(window.count)))
            values.push_back(value * scale);
    }
    return values;
}

// --- sums of templates ---

// With its alignment point on value `at` of each trace of the buffer.
void MixtureLibraries::AddTemplate(std::span<float> buffer, int32_t id, int32_t at) const {
    const std::vector<float>& wave = templates_[static_cast<size_t>(id) - 1];
    const auto traces = static_cast<size_t>(shape_.traces);
    const auto length = static_cast<int32_t>(buffer.size() / traces);
    const int32_t from = at - shape_.centre;
    const int32_t first = std::max(0, from), end = std::min(length, from + shape_.count);
    for (size_t t = 0; t < traces; ++t) {
        float* to = buffer.data() + t * static_cast<size_t>(length);
        const float* values = wave.data() + t * static_cast<size_t>(shape_.count);
        for (int32_t i = first; i < end; ++i) to[i] += values[i - from];
    }
}

// Where the peak that is found from each of the points is one.
std::optional<MixtureEntry> MixtureLibraries::EntryOf(std::span<const float> buffer,
                                                      std::array<int32_t, mostMixed> ids,
                                                      std::array<int32_t, mostMixed> points) const {
    const WaveShape sum{2 * shape_.count, shape_.count, shape_.traces, shape_.multiplier};
    std::optional<size_t> peak;
    for (size_t i = 0; i < ids.size() && ids[i] >= 0; ++i) {
        const auto found = FindRowPeak(buffer, sum, noise_, static_cast<size_t>(points[i]), polarity_);
        if (!found || (peak && *peak != *found)) return std::nullopt;
        peak = found;
        if (polarity_ == Polarity::either) break;  // it is the same from everywhere
    }
    std::array<std::pair<int32_t, int32_t>, mostMixed> parts;
    size_t count = 0;
    for (; count < ids.size() && ids[count] >= 0; ++count)
        parts[count] = {ids[count], points[count] - static_cast<int32_t>(*peak)};
    std::sort(parts.begin(), parts.begin() + static_cast<std::ptrdiff_t>(count));
    MixtureEntry entry;
    for (size_t i = 0; i < count; ++i) {
        entry.ids[i] = parts[i].first;
        entry.delays[i] = parts[i].second;
    }
    const int32_t start = static_cast<int32_t>(*peak) - shape_.centre;  // of the row in the buffer
    const int32_t first = std::max(0, -start), end = std::min(shape_.count, sum.count - start);
    entry.inBuffer = {first, end - first};
    return entry;
}

std::vector<MixtureEntry> MixtureLibraries::PairEntries(int32_t a, int32_t b, ProgressScope& progress) const {
    std::vector<MixtureEntry> entries;
    const int32_t n = shape_.count;
    std::vector<float> first(2 * shape_.RowLength()), buffer;
    AddTemplate(first, a, n);
    const Delays delays = DelaysOfSecond(n);
    for (int32_t d = delays.first; d <= delays.last; ++d) {
        progress.Step(0);
        buffer = first;
        AddTemplate(buffer, b, d);
        if (const auto entry = EntryOf(buffer, {a, b, -1}, {n, d, 0})) entries.push_back(*entry);
    }
    return entries;
}

std::vector<MixtureEntry> MixtureLibraries::TripleEntries(ProgressScope& progress) const {
    std::vector<MixtureEntry> entries;
    const int32_t n = shape_.count;
    const Delays seconds = DelaysOfSecond(n), thirds = DelaysOfThird(n);
    const std::vector<int32_t> units = Units();
    std::vector<float> first(2 * shape_.RowLength()), pair, buffer;
    for (const int32_t a : units)
        for (const int32_t b : units) {
            if (b <= a) continue;
            std::ranges::fill(first, 0.0f);
            AddTemplate(first, a, n);
            for (int32_t d = seconds.first; d <= seconds.last; ++d) {
                progress.Step(0);
                pair = first;
                AddTemplate(pair, b, d);
                for (const int32_t c : units) {
                    if (c == a || c == b) continue;
                    for (int32_t e = thirds.first; e <= thirds.last; ++e) {
                        buffer = pair;
                        AddTemplate(buffer, c, e);
                        if (const auto entry = EntryOf(buffer, {a, b, c}, {n, d, e}))
                            entries.push_back(*entry);
                    }
                }
            }
        }
    return entries;
}

std::vector<float> MixtureLibraries::RowOf(const MixtureEntry& entry) const {
    std::vector<float> row(shape_.RowLength());
    for (size_t i = 0; i < entry.ids.size() && entry.ids[i] >= 0; ++i)
        AddTemplate(row, entry.ids[i], shape_.centre + entry.delays[i]);
    for (int t = 0; t < shape_.traces; ++t) {
        const auto trace = row.begin() + std::ptrdiff_t{t} * shape_.count;
        std::fill(trace, trace + entry.inBuffer.first, 0.0f);
        std::fill(trace + entry.inBuffer.End(), trace + shape_.count, 0.0f);
    }
    return row;
}

// --- the search ---

std::vector<MixtureLibraries::Match>
MixtureLibraries::Search(std::span<const float> row,
                         const std::function<bool(const MixtureLibrary&)>& takes) const {
    std::vector<Match> matches;
    for (const MixtureLibrary& library : libraries_) {
        if (takes && !takes(library)) continue;
        const auto nearest = library.waves->Find(WindowValues(row, library.window));
        const MixtureEntry& entry = library.entries[nearest.row];
        matches.push_back({entry, VarianceRatio(row, RowOf(entry), shape_, library.window, noise_)});
    }
    std::ranges::stable_sort(matches, {}, &Match::ratio);
    return matches;
}

size_t MixtureLibraries::Entries() const {
    size_t entries = 0;
    for (const MixtureLibrary& library : libraries_) entries += library.entries.size();
    return entries;
}

size_t MixtureLibraries::Bytes() const {
    size_t bytes = 0;
    for (const MixtureLibrary& library : libraries_)
        bytes += library.waves->Bytes() + library.entries.size() * sizeof(MixtureEntry);
    return bytes;
}

}  // namespace kymora
