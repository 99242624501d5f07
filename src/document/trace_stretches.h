#pragma once
// Where the samples of a trace neighbour each other: what no kernel looks beyond.

#include <vector>

#include "document/data_doc.h"

namespace kymora {

// Neighbouring samples from `start` up to but not including `end`.
struct TraceStretch {
    int64_t start = 0, end = 0;
    int64_t Count() const { return end - start; }
    bool operator==(const TraceStretch&) const = default;
};

// Of a recording with gaps the valid runs of the trace that hold samples; of an episodic one the episodes;
// else the whole trace.
std::vector<TraceStretch> StretchesOf(const CDataDoc& doc, int trace);

// The same, cut at the episodes of a recording with gaps, too: no value lies between two samples there.
std::vector<TraceStretch> UnbrokenStretches(const CDataDoc& doc, int trace);

// From each boundary to the next. Boundaries that are out of order or outside the recording divide nothing.
std::vector<TraceStretch> Episodes(const CDataDoc& doc);

}  // namespace kymora
