#pragma once
// The parts that the tail of a native file, the head of the oldest files and the side-car have in common,
// each read and written under the rules of a file version.

#include "archive/archive.h"
#include "document/data_doc.h"
#include "document/native_writer.h"

namespace kymora::metadata {

// The message for a version that this program does not know; the load goes on all the same.
void TellVersion(Host& host, int version);

void LoadGrid(CArchive& archive, CDataDoc& doc, bool withSpareC);
void StoreGrid(CArchive& archive, const Grid& grid, bool withSpareC);
// For versions that store no grid: the cells hold the traces in order, the rest -1.
void RebuildGrid(CDataDoc& doc);

// viewStart and, where the version has it, viewEnd.
void LoadViewTimes(CArchive& archive, StoredView& view, int version);
void StoreViewTimes(CArchive& archive, const CDataDoc& doc, SampleRange range);

// 16 records below version 30, else 128. Slots from traceCount on are reset. Side-cars hold order and label
// in every version.
void LoadTraces(CArchive& archive, CDataDoc& doc, int version, bool sideCar = false);
void StoreTraces(CArchive& archive, const CDataDoc& doc, int version);

// One record as a side-car holds it.
TraceSettings LoadTrace(CArchive& archive, int version);
void StoreTrace(CArchive& archive, const TraceSettings& trace, int version);

// The view's rows from the axis groups to the format option.
struct ViewRowExtras {
    bool hasDrawMode = false;  // versions 29 to 31 state one draw mode for all channels
    int32_t drawMode = 0;
};
ViewRowExtras LoadViewRows(CArchive& archive, CDataDoc& doc, int version);
void StoreViewRows(CArchive& archive, const StoredView& view, int version);

// What of a recording goes into a file: all of it, or a part. Of a part, what has a time is kept from
// `startMs` to `endMs`, both included, and moved by the start; events are cut at the first and the last
// sample.
struct StoredPart {
    StoredPart() = default;  // the whole
    StoredPart(const CDataDoc& doc, SampleRange samples);
    StoredPart(SampleRange samples, double startMs, double endMs)
        : samples(samples), startMs(startMs), endMs(endMs) {}
    bool IsWhole() const { return samples.IsWhole(); }
    bool Holds(double timeMs) const { return IsWhole() || (timeMs >= startMs && timeMs <= endMs); }
    double Moved(double timeMs) const { return IsWhole() ? timeMs : timeMs - startMs; }

    SampleRange samples{};
    double startMs = 0.0;
    double endMs = 0.0;
    bool keepsEmptyEvents = false;  // those that are cut to no length, as a part of a recording file does
};

// Markers, annotations with their flags, and event channels. Markers that are out of order are sorted; what
// is wrong with the order of events is told to the user once for each kind.
void LoadOverlaysAndChannels(CArchive& archive, CDataDoc& doc, int version);
void StoreOverlaysAndChannels(CArchive& archive, const CDataDoc& doc, SampleRange range, int version);

// One after the other, for files in which something stands between them. The version is 7 or above.
void LoadMarkers(CArchive& archive, CDataDoc& doc, int version);
void LoadAnnotations(CArchive& archive, CDataDoc& doc, int version);
void LoadChannels(CArchive& archive, CDataDoc& doc, int version);
void StoreMarkers(CArchive& archive, const CDataDoc& doc, const StoredPart& part);
void StoreAnnotations(CArchive& archive, const CDataDoc& doc, const StoredPart& part);
void StoreChannels(CArchive& archive, const CDataDoc& doc, const StoredPart& part, int version);

void LoadScaleBars(CArchive& archive, CDataDoc& doc, int version);
void StoreScaleBars(CArchive& archive, const CDataDoc& doc, int version);

// A channel's events in a part: positions relative to its start, events that cross an end cut there.
CEventChan ChannelInPart(const CEventChan& channel, const StoredPart& part);

inline constexpr const char* guardString = "guard string";

}  // namespace kymora::metadata
