#include "sorting/spike_waves.h"

#include <algorithm>
#include <cmath>
#include <numeric>

#include "spectra/interpolate_fft.h"

namespace kymora {

namespace {

constexpr int64_t spareSamples = 10;  // on both sides of what is raised
constexpr uint64_t spikesToPoll = 64;

// Reads rows by themselves: candidates are few beside the samples of a recording.
class WaveReader {
  public:
    WaveReader(SampleReader& samples, const SpikeSource& source, const ReadSettings& settings)
        : samples_(samples), source_(source), settings_(settings), shape_(settings.Shape()) {}

    // The row whose centre lies at the place. False where some of it is not there.
    bool Read(int64_t place, std::span<float> row) {
        const auto count = static_cast<size_t>(shape_.count);
        for (size_t t = 0; t < settings_.traces.size(); ++t)
            if (!ReadTrace(t, place - shape_.centre, row.subspan(t * count, count))) return false;
        return true;
    }

  private:
    bool ReadTrace(size_t which, int64_t firstBin, std::span<float> to) {
        if (firstBin < 0) return false;
        const int64_t m = settings_.multiplier;
        const int64_t first = firstBin / m, end = (firstBin + std::ssize(to) - 1) / m + 1;
        const auto& stretches = source_.stretches[which];
        const auto at = std::ranges::upper_bound(stretches, first, {}, &TraceStretch::end);
        if (at == stretches.end() || at->start > first || at->end < end) return false;
        const int64_t spare = m > 1 ? spareSamples : 0;
        const int64_t from = std::max(at->start, first - spare);
        read_.resize(static_cast<size_t>(std::min(at->end, end + spare) - from));
        samples_.ReadBlock(settings_.traces[which], from, read_);
        // Spare samples up to the first that is no finite number.
        const auto isFinite = [](float x) { return std::isfinite(x); };
        const auto inner = read_.begin() + (first - from), outer = read_.begin() + (end - from);
        if (!std::all_of(inner, outer, isFinite)) return false;
        const auto begin = std::find_if_not(std::reverse_iterator(inner), read_.rend(), isFinite).base();
        const std::span<const float> whole(begin, std::find_if_not(outer, read_.end(), isFinite));
        std::span<const float> values = whole;
        if (m > 1) {
            InterpolateExtended(whole, settings_.multiplier, raised_);
            values = raised_;
        }
        const int64_t offset = firstBin - (from + (begin - read_.begin())) * m;
        std::ranges::copy(values.subspan(static_cast<size_t>(offset), to.size()), to.begin());
        return true;
    }

    SampleReader& samples_;
    const SpikeSource& source_;
    const ReadSettings& settings_;
    WaveShape shape_;
    std::vector<float> read_, raised_;
};

// Where the row of a spike is to lie, so that its peak is in its centre; nothing where it has none inside.
std::optional<int64_t> AlignedPlace(const SpikeWaves& waves, std::span<const float> row, int64_t place,
                                    Polarity polarity) {
    const WaveShape& shape = waves.shape;
    const auto peak = FindRowPeak(row, shape, waves.noise, static_cast<size_t>(shape.centre), polarity);
    if (!peak || *peak == 0 || *peak + 1 == static_cast<size_t>(shape.count)) return std::nullopt;
    return place + static_cast<int64_t>(*peak) - shape.centre;
}

}  // namespace

size_t SpikeWaves::Used() const { return static_cast<size_t>(std::ranges::count(isUsed, uint8_t{1})); }

std::optional<size_t> FindRowPeak(std::span<const float> row, const WaveShape& shape,
                                  std::span<const SpikeNoise> noise, size_t centre, Polarity polarity) {
    std::optional<size_t> found;
    double farthest = -1.0;
    for (int t = 0; t < shape.traces; ++t) {
        const SpikeNoise& beside = noise[static_cast<size_t>(t)];
        const std::span<const float> wave = shape.OfTrace(row, t);
        const auto peak = FindSpikePeak(wave, centre, static_cast<float>(beside.mean), polarity);
        if (!peak) continue;
        if (shape.traces == 1) return peak;
        const double away = beside.variance > 0.0 ? std::abs(wave[*peak] - beside.mean) / beside.Sd() : 0.0;
        if (!(away > farthest)) continue;
        farthest = away;
        found = peak;
    }
    return found;
}

SpikeWaves ReadSpikeWaves(SampleReader& samples, const SpikeSource& source, const ReadSettings& settings,
                          ProgressSource& progress) {
    SpikeWaves waves;
    waves.shape = settings.Shape();
    std::vector<size_t> order(source.onsets.size());
    std::iota(order.begin(), order.end(), size_t{0});
    std::ranges::stable_sort(order, {}, [&](size_t i) { return source.onsets[i]; });
    std::vector<int32_t> ascending;
    for (const size_t i : order) ascending.push_back(source.onsets[i]);
    for (size_t t = 0; t < settings.traces.size(); ++t)
        waves.noise.push_back(EstimateNoise(samples, settings.traces[t], source.stretches[t], ascending,
                                            settings.start, settings.length));
    if (std::ranges::any_of(waves.noise, [](const SpikeNoise& noise) { return noise.count == 0; }))
        return waves;

    const size_t count = order.size(), length = waves.shape.RowLength();
    waves.values.resize(count * length);
    waves.places.resize(count);
    waves.onsets = source.onsets;
    waves.isUsed.resize(count);
    WaveReader reader(samples, source, settings);
    ProgressScope scope(progress, "Reading spikes", count);
    for (size_t done = 0; done < count; ++done) {
        if (done % spikesToPoll == 0) scope.At(done);
        const size_t i = order[done];
        const auto row = std::span(waves.values).subspan(i * length, length);
        waves.places[i] = int64_t{source.onsets[i]} * settings.multiplier;
        bool isUsed = reader.Read(waves.places[i], row);
        if (isUsed && settings.alignPeaks) {
            const auto place = AlignedPlace(waves, row, waves.places[i], settings.polarity);
            if (!place) ++waves.withoutPeak;
            isUsed = place && (*place == waves.places[i] || reader.Read(*place, row));
            if (isUsed) waves.places[i] = *place;
        }
        waves.isUsed[i] = isUsed ? 1 : 0;
        if (!isUsed) std::ranges::fill(row, 0.0f);
    }
    return waves;
}

}  // namespace kymora
