#pragma once
// A sorting at work: what each step has made, the way back, and what of it is looked at. It knows no document
// and no window.
//
// All that a user does is a change of the settings (sort_run.h). A step is computed from the one before and
// from the part of the settings that it depends on, and stays until that part changes; so what is seen is
// what a run with these settings makes. A state is kept whole for undo, and shares what it has in common with
// others.

#include <array>
#include <memory>
#include <string>
#include <vector>

#include "sorting/firing_trend.h"
#include "sorting/sort_run.h"

namespace kymora {

// What of a sorting is looked at. Clusters and ranks count from 1.
struct SorterView {
    int32_t primary = 1, comparison = 2;
    int32_t across = 1, up = 2;       // components
    int32_t unassigned = 1;           // rank among the unassigned spikes
    std::vector<int32_t> candidate;   // templates; none: the best fit
    int32_t rank = 1;                 // of the event of the primary cluster, the worst first
    std::vector<UnitEvent> selected;  // of its events
};

// Intervals of a train that are shorter than the refractory time.
struct RefractoryCount {
    int64_t intervals = 0, violations = 0;
};

class SorterSession {
  public:
    enum class Step : size_t { read, clusters, templates, library, assigned };
    static constexpr size_t stepCount = 5;

    struct Wish {
        SpikeSource source;
        SortSettings settings;
        std::vector<std::byte> record;  // of the settings as their owner keeps them
    };

    // --- steps ---
    // Computes what is not there for these settings, up to a step; what later steps have made of others is
    // gone. A change that is named, or that takes a result away, can be undone. All is as it was where it
    // throws, as RunSorting does. Answers the lines for the log.
    std::vector<std::string> Bring(Step to, const std::string& name, Wish wish, SampleReader& samples,
                                   JobContext& context);
    bool Has(Step step) const { return Made(step) != nullptr; }
    // What is there of a step is what these settings would make.
    bool IsMadeOf(Step step, const SpikeSource& source, const SortSettings& settings) const;
    const SpikeSorting& At(Step step) const { return *Made(step); }
    // The last step that is there. There is one.
    const SpikeSorting& Last() const;
    const SortSettings& Settings() const { return state_.settings; }
    const SpikeSource& Source() const { return state_.source; }
    int64_t Outliers() const { return state_.outliers; }
    void Clear();

    // --- the way back ---
    // What it would take back; empty for nothing.
    std::string UndoName() const { return undo_.empty() ? std::string() : undo_.back().name; }
    std::string RedoName() const { return redo_.empty() ? std::string() : redo_.back().name; }
    // Answer the record of the state that is there again.
    const std::vector<std::byte>& Undo() { return Exchange(undo_, redo_); }
    const std::vector<std::byte>& Redo() { return Exchange(redo_, undo_); }

    // --- what it tells ---
    SorterView view;
    // Puts what is looked at to where something is.
    void HoldView();
    // Spikes with a waveform that belong to no unit.
    std::vector<size_t> Unassigned() const;
    // Spikes that no template has within its threshold.
    int64_t WithoutTemplate() const;
    // Events of the primary cluster as they are assigned, ascending.
    const std::vector<UnitEvent>& Events() const { return EventsOf(view.primary); }
    const std::vector<UnitEvent>& EventsOf(int32_t cluster) const;
    // The same, the worst fit first.
    std::vector<UnitEvent> RankedEvents() const;
    FiringTrend Trend(int32_t cluster) const;
    // Those events of the primary cluster that follow others too fast.
    std::vector<UnitEvent> Outlying(double confidence) const;
    // Times of a cluster's events, ms, ascending: as they are assigned, before that as they were first
    // placed.
    std::vector<double> Times(int32_t cluster) const;
    RefractoryCount Refractory(int32_t cluster, double ms) const;
    // What the unassigned spike that is looked at might be; nothing without one, or where the library has no
    // such entry.
    std::optional<MixtureLibraries::Match> Candidate() const;

  private:
    using Result = std::shared_ptr<const SpikeSorting>;
    struct State {
        std::string name;  // of the change that led away from it
        SpikeSource source;
        SortSettings settings;
        std::vector<std::byte> record;
        std::array<Result, stepCount> results;
        int64_t outliers = 0;
    };

    const Result& Made(Step step) const { return state_.results[static_cast<size_t>(step)]; }
    // The sorting whose events are shown.
    const SpikeSorting& WithTrains() const;
    // The events of a cluster as they are assigned, before that as they were first placed.
    const std::vector<UnitEvent>& TrainOf(int32_t cluster) const;
    const std::vector<std::byte>& Exchange(std::vector<State>& from, std::vector<State>& to);
    void Changed();

    State state_;
    std::vector<State> undo_, redo_;
    mutable std::vector<std::vector<UnitEvent>> trains_;  // of the clusters, while they are the same
    mutable bool hasTrains_ = false;
};

}  // namespace kymora
