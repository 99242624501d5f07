#pragma once
// The graphs of the pages of a sorting at work.

#include "graphs/graph.h"
#include "sorting/sorter_session.h"

namespace kymora {

// What the graphs need beside the sorting.
struct SorterLook {
    std::string units;     // of the first trace
    double startMs = 0.0;  // of the recording
    int channel = 0;       // of the source
    double refractoryMs = 2.0;
    double confidence = 3.0;  // MADs
    bool showsTrend = true;
    // Cursors of the segment of the components, and of the analysis window of the primary cluster, ms from
    // the alignment point.
    double componentStart = 0.0, componentEnd = 0.0;
    double analysisStart = 0.0, analysisEnd = 0.0;
};

// Panes: "waveforms"; with "components" where there are any, and cursors that set pcaStart and pcaEnd.
Graph WaveformGraph(const SorterSession& session, const SorterLook& look, bool hasComponents);
// Panes: "templates" with the cursors ownStart and ownEnd of the primary cluster, "errors" with the line
// ownThreshold, "components", which takes outlines, "correlogram".
Graph TemplateGraph(const SorterSession& session, const SorterLook& look);
// Panes: "spike" with the unassigned spike over its candidate, "frequency" with what it would become.
Graph AssignGraph(const SorterSession& session, const SorterLook& look);
// Panes: "frequency" of the primary cluster, which takes outlines, "spike" of the rank, "correlogram".
Graph UnassignGraph(const SorterSession& session, const SorterLook& look);

// Where the events of "frequency" lie: time in seconds and frequency in Hz, for all but the first.
std::vector<WeightPoint> FrequencyPlaces(const SorterSession& session, const SorterLook& look);

}  // namespace kymora
