#pragma once
// Which signals of its file the traces of a recording are, for formats of which only some signals become
// traces, and the way of stored settings back to the traces that they belong to.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "document/overlays.h"
#include "document/stored_settings.h"

namespace kymora {

class CDataDoc;

// A signal of the file.
struct TraceSignal {
    int32_t index = -1;  // in the file, from 0; -1 where nobody knows
    std::string label;   // that the file gives it, whatever the user calls the trace

    bool operator==(const TraceSignal&) const = default;
    // "5 \"ECG\"", counted from 1.
    std::string Name() const;
};

// What the side-car holds for a signal that is no trace now. A save keeps it.
struct AbsentTrace {
    TraceSignal signal;
    TraceSettings settings;
    std::vector<CAnnotation> annotations;
    std::vector<ScaleBar> bars;
    std::vector<int32_t> channels;  // whose parent it is
};

// Where in `inFile` each of `wanted` is, or -1: the signal of its index and label; else the only one of its
// label, where the file was made anew with more or fewer signals.
std::vector<int> FindSignals(std::span<const TraceSignal> wanted, std::span<const TraceSignal> inFile);

// Where in `inFile` traces with such labels are, if they stand there in this order and there is one way
// only; else empty.
std::vector<int> FindInOrder(std::span<const std::string> labels, std::span<const TraceSignal> inFile);

// Where the settings belong that a side-car has put into the slots of a recording.
struct StoredPlaces {
    std::vector<TraceSignal> sources;  // of the slots that were in use
    std::vector<int> traces;           // the trace that each of them is now, or -1
    std::vector<AbsentTrace> absent;   // what the side-car holds beside them
    std::vector<int> absentTraces;     // the trace that each of them is now, or -1
};

// Moves settings, annotations, vertical scale bars and the parents of channels to the traces that they belong
// to. Traces without any get those of `fresh`, one for each trace; what belongs to no trace goes to
// doc.absentTraces, in the order of the places.
void MoveToTraces(CDataDoc& doc, const StoredPlaces& places, std::span<const TraceSettings> fresh);

}  // namespace kymora
