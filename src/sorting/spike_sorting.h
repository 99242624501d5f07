#pragma once
// The state of a sorting, from candidate spikes to the events of units, in steps: reading, components and
// clusters, templates, library, assignment, unassignment. A step can be done anew, which forgets what the
// later ones have made of it. The object is a value: a copy is a way back, and shares waveforms and
// libraries.

#include <array>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "sorting/mixture_library.h"
#include "sorting/unit_templates.h"
#include "statistics/gaussian_clusters.h"

namespace kymora {

inline constexpr size_t weightCount = 3;  // principal components that are kept of each spike

// A place among two components.
struct WeightPoint {
    double x = 0.0, y = 0.0;
    bool operator==(const WeightPoint&) const = default;
};

// By the rule of even and odd: a line upwards from the place crosses the outline an odd number of times. The
// last corner is joined to the first.
bool IsEnclosed(std::span<const WeightPoint> outline, double x, double y);

// Types of spikes beside those of clusters, which count from 1.
inline constexpr int32_t unassignedType = 0;
inline constexpr int32_t decomposedType = -2;

// What a spike was taken for. `entry` holds its one cluster or those of the compound, with the delays of
// their alignment points from its own.
struct SortedSpike {
    int32_t id = unassignedType;
    double ratio = 0.0;  // variance ratio; of an unassigned spike that of the best single template, if any
    MixtureEntry entry;
    // Components that are events: their alignment points lie within the display window, since what lies
    // beyond is seen by its flank alone, and they were not unassigned again.
    std::array<bool, mostMixed> isEvent{};

    // "0", "3", "1+2", "1+2+3"
    std::string Text() const;
};

// The best single template of a spike.
struct SpikeFit {
    int32_t id = 0;  // 0 without a template
    double ratio = std::numeric_limits<double>::quiet_NaN();
};

struct AssignSettings {
    double multiplier = 1.0;      // of the thresholds, for what meets no template alone
    double mergeWithinMs = 0.3;   // of events of one unit, one is left
    bool testsFrequency = false;  // no unit may become faster than its trend allows
    double confidence = 3.0;      // MADs above the trend
};

// An event of a unit.
struct UnitEvent {
    int64_t place = 0;  // of the alignment point, values at the raised rate from the start of the recording
    size_t spike = 0;
    size_t component = 0;  // of the spike's entry
    double ratio = 0.0;
};

// Of events no farther apart than `near` places the one that fits better stays, the first of equals. They
// ascend afterwards.
void LeaveBest(std::vector<UnitEvent>& events, int64_t near);

class SpikeSorting {
  public:
    // --- reading ---
    // False where a trace has no noise between the windows; nothing is kept then but the measure.
    bool Read(SampleReader& samples, const SpikeSource& source, const ReadSettings& settings,
              ProgressSource& progress);
    bool IsRead() const { return waves_ && waves_->Count() > 0; }
    const SpikeWaves& Waves() const { return *waves_; }
    const ReadSettings& Reading() const { return reading_; }
    double SampleInterval() const { return sampleInterval_; }
    double PlacesPerSecond() const { return 1000.0 / sampleInterval_ * waves_->shape.multiplier; }
    // Where a value at the raised rate lies, samples: the onset of the spike that it belongs to, moved by a
    // whole number of samples.
    int64_t SampleAt(int64_t place, size_t spike) const;
    // Values at the raised rate, rounded.
    int64_t PlacesOf(double ms) const;

    // --- components and clusters ---
    // Of the segment of the display window, by NIPALS, each trace in units of its noise relative to that of
    // the first. Lines about it are appended to the log. Throws Cancelled.
    void FindComponents(WaveSegment segment, ProgressSource& progress, std::string* log = nullptr);
    // Three of each spike; not-a-numbers for those that are not used.
    const std::vector<std::array<float, 3>>& Weights() const { return weights_; }
    // Clusters of the weights, numbered from 1 by falling number of spikes. Where none are found, all is as
    // it was. Throws Cancelled.
    GaussianClusters::State FindClusters(int desired, ProgressSource& progress, std::string* log = nullptr);
    // The number of clusters that the search began with, where there are too few spikes for the usual one;
    // else 0.
    int StartedWithFewer() const { return startedWithFewer_; }
    // The cluster in which each spike was first placed; 0 for those that are not used.
    const std::vector<int32_t>& FirstIds() const { return ids_; }

    // --- templates ---
    const std::vector<cCluster>& Clusters() const { return clusters_; }
    bool HasCluster(int32_t id) const { return id >= 1 && id <= std::ssize(clusters_); }
    // Takes templates from elsewhere in place of clusters of its own. Each is a row.
    void UseTemplates(std::vector<cCluster> clusters);
    // Joins the second cluster to the first, which then has the spikes of both. Both exist, and differ.
    void Merge(int32_t into, int32_t id);
    // The spikes that an outline encloses among two components (from 0): those first placed in the cluster,
    // or in any (0).
    std::vector<size_t> Enclosed(int32_t id, size_t across, size_t up,
                                 std::span<const WeightPoint> outline) const;
    // Makes a new cluster of spikes, behind the others, and answers its number.
    int32_t MoveToNew(std::span<const size_t> spikes);
    void SetFlags(int32_t id, bool isMixed, bool isIgnored);
    void SetWindow(int32_t id, WaveSegment window);
    void SetThreshold(int32_t id, float threshold);
    // Gives every cluster the threshold that its own spikes suggest.
    void SetAutomaticThresholds();
    // Variance ratios to the template of a cluster: of the spikes first placed in it, or of all that are
    // used.
    std::vector<double> Ratios(int32_t id, bool ofItsOwn) const;
    // Of each spike. Throws Cancelled.
    void FindFits(ProgressSource& progress);
    const std::vector<SpikeFit>& Fits() const { return fits_; }
    // Spikes whose best template is that of the cluster, with an error within its threshold.
    int64_t Fitted(int32_t id) const;

    // --- library and assignment ---
    // Throws Cancelled and JobRefused.
    void BuildLibrary(int limit, ProgressSource& progress);
    bool HasLibrary() const { return libraries_ != nullptr; }
    const MixtureLibraries& Library() const { return *libraries_; }
    // Spikes whose best template is a unit's, with an error below its threshold. Needs the fits.
    void AssignPure();
    // The others, by the library. Throws Cancelled.
    void AssignCompounds(const AssignSettings& settings, ProgressSource& progress);
    // What the library has for a spike, of the units, the best first.
    std::vector<MixtureLibraries::Match> Matches(size_t spike) const;
    // The best entry of just these clusters (ascending); nothing where the library has none.
    std::optional<MixtureLibraries::Match> MatchOf(size_t spike, std::span<const int32_t> ids) const;
    // Takes a spike for an entry, whatever its error.
    void Assign(size_t spike, const MixtureLibraries::Match& match);
    const std::vector<SortedSpike>& Types() const { return types_; }
    // Of the units, by cluster from 0, ascending; of events closer than `mergeWithinMs` the one that fits
    // better stays.
    std::vector<std::vector<UnitEvent>> Events(double mergeWithinMs) const;

    // --- unassignment ---
    // With the events of the same units that were left out beside its own within `mergeWithinMs`.
    void Unassign(size_t spike, double mergeWithinMs);
    // Only its event in one cluster; the spike is unassigned when it has no other.
    void UnassignFrom(size_t spike, int32_t id, double mergeWithinMs);
    // Of each unit the events that make it fire too fast. Answers their number.
    int64_t UnassignOutliers(double confidence, double mergeWithinMs);

  private:
    void ForgetClusters();
    void ForgetFits();
    void MakeTemplate(int32_t id);
    std::vector<float> RowLessMean(size_t spike) const;
    void SetType(SortedSpike& type, const MixtureLibraries::Match& match) const;
    void ForgetType(size_t spike);
    void RemoveEvents(int32_t id, const std::set<int64_t>& places, int64_t near);

    class TrainsOfUnits;

    ReadSettings reading_;
    double sampleInterval_ = 1.0;  // ms
    std::shared_ptr<const SpikeWaves> waves_;
    std::vector<std::array<float, 3>> weights_;
    int startedWithFewer_ = 0;
    std::vector<int32_t> ids_;
    std::vector<cCluster> clusters_;
    std::vector<SpikeFit> fits_;
    std::shared_ptr<const MixtureLibraries> libraries_;
    std::vector<SortedSpike> types_;
};

}  // namespace kymora
