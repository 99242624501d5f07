#pragma once
// All that one, two or three templates make when they overlap at every relative delay, and the search for the
// entry that a waveform is.
//
// Each template is taken less the mean of the noise. With N values in the window, template a lies with its
// alignment point on value N of a buffer of 2N, b on d = N/3 .. 5N/3, c on 1 .. 2N - 3; what falls outside is
// cut. The peak of the sum is sought from each of these points. The sum is entered where all of them find one
// peak, as the window around that.

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "host/progress.h"
#include "sorting/nearest_wave.h"
#include "sorting/unit_templates.h"

namespace kymora {

inline constexpr int mostMixed = 3;
inline constexpr const char* libraryMemoryText =
    "Unable to allocate sufficient memory for mixture library.\nTry to reduce memory requirements by "
    "reducing sample rate or template size.";

struct MixtureEntry {
    std::array<int32_t, mostMixed> ids{-1, -1, -1};  // clusters from 1, ascending; -1 for none
    // From the peak of the sum to the alignment point of each, values at the raised rate.
    std::array<int32_t, mostMixed> delays{0, 0, 0};
    // The values of the row that lie within the buffer; the others are 0.
    WaveSegment inBuffer;

    int Components() const { return ids[1] < 0 ? 1 : ids[2] < 0 ? 2 : 3; }
    auto operator<=>(const MixtureEntry&) const = default;
};

// Of one template, one pair, or all triples.
struct MixtureLibrary {
    std::vector<MixtureEntry> entries;
    WaveSegment window;  // from the earliest start to the latest end of its components'
    std::shared_ptr<const NearestWave> waves;

    int Components() const { return entries.front().Components(); }
};

class MixtureLibraries {
  public:
    // Compounds of up to `limit` (2 or 3) units; every cluster with spikes has a library of its own. The
    // clusters stay as they were then. Throws Cancelled, and JobRefused with libraryMemoryText where it would
    // take more than `mostBytes`.
    static MixtureLibraries Build(std::vector<cCluster> clusters, const SpikeWaves& waves, int limit,
                                  Polarity polarity, ProgressSource& progress,
                                  size_t mostBytes = size_t{4} << 30);

    const std::vector<MixtureLibrary>& Libraries() const { return libraries_; }
    size_t Entries() const;
    size_t Bytes() const;
    // No more than this is taken while they are built.
    static double ExpectedBytes(std::span<const cCluster> clusters, const WaveShape& shape, int limit);

    // The row of an entry, in units of the traces and less the mean of the noise.
    std::vector<float> RowOf(const MixtureEntry& entry) const;

    struct Match {
        MixtureEntry entry;
        double ratio = 0.0;  // variance ratio over the window of its library
    };
    // The nearest entry of each library to a row, the smallest ratio first; of equal ones that of the smaller
    // library. Libraries whose entries do not pass the test are left out.
    std::vector<Match> Search(std::span<const float> row,
                              const std::function<bool(const MixtureLibrary&)>& takes = {}) const;

  private:
    MixtureLibraries(std::vector<cCluster> clusters, const SpikeWaves& waves, Polarity polarity);

    std::vector<int32_t> Units() const;
    WaveSegment WindowOf(std::span<const int32_t> ids) const;
    std::vector<float> WindowValues(std::span<const float> row, WaveSegment window) const;
    void AddLibrary(std::vector<MixtureEntry> entries, std::span<const int32_t> ids);
    void Store(MixtureLibrary& library, ProgressScope& progress) const;
    void AddTemplate(std::span<float> buffer, int32_t id, int32_t at) const;
    std::optional<MixtureEntry> EntryOf(std::span<const float> buffer, std::array<int32_t, mostMixed> ids,
                                        std::array<int32_t, mostMixed> points) const;
    std::vector<MixtureEntry> PairEntries(int32_t a, int32_t b, ProgressScope& progress) const;
    std::vector<MixtureEntry> TripleEntries(ProgressScope& progress) const;

    WaveShape shape_;
    std::vector<SpikeNoise> noise_;
    Polarity polarity_;
    std::vector<cCluster> clusters_;
    std::vector<std::vector<float>> templates_;  // of each cluster, less the mean of the noise
    std::vector<MixtureLibrary> libraries_;
};

}  // namespace kymora
