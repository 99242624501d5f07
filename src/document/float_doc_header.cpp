// The model of a recording that is going to be written: a copy of another's, with traces added.

#include <algorithm>

#include "document/float_doc.h"
#include "document/metadata_io.h"

namespace kymora {
namespace {

constexpr const char* addedMark = " *";

// The settings that belong to an axis, and stand at its number; all others belong to the trace.
void CopyAxis(const TraceSettings& from, TraceSettings& to) {
    to.traceAutoscale = from.traceAutoscale;
    to.axisTop = from.axisTop;
    to.axisBottom = from.axisBottom;
    to.axisLabel = from.axisLabel;
    to.traceVisible = from.traceVisible;
}

std::string DefaultAxisLabel(size_t axis) { return TraceSettings::Default(static_cast<int>(axis)).axisLabel; }

// Puts a copy of an axis behind it. `before` are the settings without it.
void InsertAxis(std::array<TraceSettings, maxTraces>& traces,
                const std::array<TraceSettings, maxTraces>& before, size_t source) {
    for (size_t axis = 0; axis < traces.size(); ++axis) {
        const size_t from = axis <= source ? axis : axis - 1;
        CopyAxis(before[from], traces[axis]);
        if (before[from].axisLabel == DefaultAxisLabel(from)) traces[axis].axisLabel = DefaultAxisLabel(axis);
    }
}

// As RebuildGrid leaves it.
bool HasTracesInOrder(const Grid& grid, int32_t traceCount) {
    for (size_t i = 0; i < grid.gridCells.size(); ++i)
        if (grid.gridCells[i] != (i < static_cast<size_t>(traceCount) ? static_cast<int32_t>(i) : -1))
            return false;
    return true;
}

// Gives the trace behind `source` a cell where the source has one. A grid of a single cell is that of a
// recording for which nobody has laid one out, and stays.
void InsertInGrid(CDataDoc& doc, int32_t source, bool inOrder) {
    Grid& grid = doc.grid;
    auto& cells = grid.gridCells;
    for (int32_t& cell : cells)
        if (cell > source) ++cell;
    const bool hasCell = std::find(cells.begin(), cells.end(), source) != cells.end();
    if (!hasCell || cells.size() < 2) return;
    if (std::find(cells.begin(), cells.end(), -1) == cells.end()) {
        ++grid.gridRows;
        cells.resize(cells.size() + static_cast<size_t>(grid.gridColumns), -1);
    }
    *std::find(cells.begin(), cells.end(), -1) = source + 1;
    if (inOrder) metadata::RebuildGrid(doc);
}

}  // namespace

void CFloatDoc::CopyHeader(const CDataDoc& from) {
    fileVersion = currentFileVersion;
    sampleInterval = from.sampleInterval;
    traceCount = from.traceCount;
    episodic = from.episodic;
    episodicStored = from.episodicStored;
    validRuns = from.validRuns;
    traces = from.traces;
    for (TraceSettings& trace : traces) trace.traceGain = 1.0;
    traceAnnotations = from.traceAnnotations;
    markers = from.markers;
    markersLocked = from.markersLocked;
    eventChannels = from.eventChannels;
    for (CEventChan& channel : eventChannels) channel.ownerDoc = this;
    view = from.view;
    grid = from.grid;
    scaleBars = from.scaleBars;
    fileComment = from.fileComment;
    historyLog = from.historyLog;
    UpdateGapFlags();
}

void CFloatDoc::AddTraces(std::span<const uint8_t> flags) {
    for (int trace = std::min(traceCount, static_cast<int>(flags.size())) - 1; trace >= 0; --trace)
        if (flags[static_cast<size_t>(trace)] != 0) AddTraceBehind(trace);
    UpdateGapFlags();
}

void CFloatDoc::AddTraceBehind(int source) {
    const auto isTrace = [&](int32_t n) { return n >= 0 && n < traceCount; };
    // A view draws a trace whose axis does not exist on the axis of its own number.
    for (int t = 0; t < traceCount; ++t)
        if (int32_t& axis = traces[static_cast<size_t>(t)].traceOrder; !isTrace(axis)) axis = t;
    const auto before = traces;
    const int32_t sourceAxis = before[static_cast<size_t>(source)].traceOrder;
    const bool gridInOrder = HasTracesInOrder(grid, traceCount);

    InsertTrace(source + 1);
    ++traceCount;
    for (int t = 0; t < maxTraces; ++t) {
        const auto slot = static_cast<size_t>(t);
        const size_t from = t <= source ? slot : slot - 1;
        traces[slot] = before[from];
        const int32_t axis = before[from].traceOrder;
        traces[slot].traceOrder = t >= traceCount ? t : axis > sourceAxis ? axis + 1 : axis;
        for (CAnnotation& annotation : traceAnnotations[slot]) annotation.m_nTrace = t;
    }
    TraceSettings& added = traces[static_cast<size_t>(source) + 1];
    added.traceOrder = sourceAxis + 1;
    added.traceLabel += addedMark;
    traceAnnotations[static_cast<size_t>(source) + 1].clear();
    validRuns[static_cast<size_t>(source) + 1] = validRuns[static_cast<size_t>(source)];
    InsertAxis(traces, before, static_cast<size_t>(sourceAxis));
    InsertInGrid(*this, source, gridInOrder);

    for (CEventChan& channel : eventChannels) {
        if (channel.parentTrace > source) ++channel.parentTrace;
        if (channel.detection.templateTrace > source) ++channel.detection.templateTrace;
    }
    for (ScaleBar& bar : scaleBars[1].list)
        if (bar.m_nTrace > source) ++bar.m_nTrace;
}

}  // namespace kymora
