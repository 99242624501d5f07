#include "document/metadata_io.h"

#include <algorithm>

#include <fmt/format.h>

#include "document/object_array.h"
#include "numerics/rounding.h"

namespace kymora::metadata {
namespace {

constexpr int recordSlots(int version) { return version < 30 ? 16 : maxTraces; }

constexpr size_t leastAnnotationBytes(int version) { return leastMarkerBytes + 8 + (version < 35 ? 60 : 92); }
constexpr size_t leastOldAnnotationBytes = leastMarkerBytes + 12 + 60;

// One field list serves both directions: the archive form of a value is stated once.
struct Loader {
    CArchive& archive;
    template <typename T>
    void operator()(T& value) const {
        value = archive.Read<T>();
    }
    void operator()(std::string& text) const { text = archive.ReadString(); }
};

struct Storer {
    CArchive& archive;
    template <typename T>
    void operator()(const T& value) const {
        archive.Write<T>(value);
    }
    void operator()(const std::string& text) const { archive.WriteString(text); }
};

template <typename Io, typename Trace>
void TraceFields(const Io& io, Trace& trace, int version, bool sideCar) {
    io(trace.traceAutoscale);
    io(trace.axisTop);
    io(trace.axisBottom);
    if (version != 1 || sideCar) io(trace.traceOrder);
    if (version > 3 || sideCar) io(trace.traceLabel);
    if (version > 38) io(trace.traceUnits);
    if (version > 10) io(trace.axisLabel);
    if (version > 12) io(trace.traceColour);
    if (version > 24) io(trace.traceVisible);
    if (version > 47) {
        io(trace.traceExtraA);
        io(trace.traceExtraB);
    }
}

// `drawMode` is what versions 29 to 31 hold in the midst of the flags.
template <typename Io, typename View, typename DrawMode>
void ViewFields(const Io& io, View& view, int version, DrawMode& drawMode) {
    if (version > 24) {
        io(view.axisGroupCount);
        io(view.axisMode);
    }
    if (version > 28) {
        io(view.expandContractFocus);
        if (version < 32) io(drawMode);
        io(view.showEvents);
        io(view.showEventChanLabels);
        if (version > 45) io(view.showEventLabels);
        io(view.showMarkers);
        io(view.showScaleBars);
        io(view.showTraceAnnotations);
        io(view.showTraceLabels);
        if (version > 42) io(view.showTraceIds);
        io(view.scrollStepPercent);
        io(view.showGrid);
        io(view.showAxes);
        io(view.showSlider);
        io(view.dataDisplayFraction);
    }
    if (version > 35) io(view.timeUnit);
    if (version > 42) io(view.timebaseMode);
    if (version > 43) io(view.spareSetting);
    if (version > 47) {
        io(view.vertAxisSigFigs);
        io(view.formatOption);
    }
}

size_t TraceSlotFor(const CDataDoc& doc, int trace) {
    return static_cast<size_t>(std::clamp(trace, 0, std::max(doc.traceCount - 1, 0)));
}

void LoadMarkers(CArchive& archive, CDataDoc& doc, int version, ObjectArrayReader& objects) {
    if (version >= 7) {
        const uint32_t count = archive.ReadItemCount(leastMarkerBytes, "markers");
        if (!archive.IsSkimming()) doc.markers.reserve(count);
        for (uint32_t i = 0; i < count; ++i) {
            CMarker marker = LoadMarker(archive);
            if (!archive.IsSkimming()) doc.markers.push_back(std::move(marker));
        }
    } else if (version >= 3) {
        objects.ReadArray([&](CAnnotation object) { doc.markers.push_back(std::move(object)); });
    }
    const auto earlier = [](const CMarker& a, const CMarker& b) { return a.m_dTime < b.m_dTime; };
    // A time that is not a number has no place in an order; such markers go to the end.
    const auto isNumber = [](const CMarker& m) { return m.m_dTime == m.m_dTime; };
    auto numbers = doc.markers.end();
    if (!std::all_of(doc.markers.begin(), doc.markers.end(), isNumber))
        numbers = std::stable_partition(doc.markers.begin(), doc.markers.end(), isNumber);
    if (!std::is_sorted(doc.markers.begin(), numbers, earlier))
        std::stable_sort(doc.markers.begin(), numbers, earlier);
    if (version >= 23) doc.view.showMarkerFlag = archive.ReadBool();
}

void LoadAnnotations(CArchive& archive, CDataDoc& doc, int version, ObjectArrayReader& objects) {
    const auto take = [&](CAnnotation annotation) {
        if (archive.IsSkimming()) return;
        const size_t slot = TraceSlotFor(doc, annotation.m_nTrace);
        annotation.m_nTrace = static_cast<int>(slot);
        doc.traceAnnotations[slot].push_back(std::move(annotation));
    };
    if (version >= 27) {
        for (int slot = 0; slot < recordSlots(version); ++slot) {
            const uint32_t count = archive.ReadItemCount(leastAnnotationBytes(version), "annotations");
            auto& list = doc.traceAnnotations[static_cast<size_t>(slot)];
            for (uint32_t i = 0; i < count; ++i) {
                CAnnotation annotation = LoadAnnotation(archive, version);
                if (archive.IsSkimming()) continue;
                annotation.m_nTrace = slot;
                list.push_back(std::move(annotation));
            }
        }
    } else if (version >= 7) {
        const uint32_t count = archive.ReadItemCount(leastOldAnnotationBytes, "annotations");
        for (uint32_t i = 0; i < count; ++i) take(LoadOldAnnotation(archive));
    } else if (version == 6) {
        objects.ReadArray(take);
    }
    if (version >= 23) doc.view.showAnnotationFlag = archive.ReadBool();
}

// Versions 1 to 6: ten arrays of raw 24-byte records, one for each of the first ten channels.
void LoadWaveformEvents(CArchive& archive, CDataDoc& doc) {
    for (int c = 0; c < 10; ++c) {
        CEventChan& channel = doc.eventChannels[static_cast<size_t>(c)];
        const uint32_t count = archive.ReadCount();
        archive.CheckRoom(count, 24, "events");
        if (archive.IsSkimming()) {
            archive.Skip(uint64_t{count} * 24);
            continue;
        }
        for (uint32_t i = 0; i < count; ++i) {
            channel.parentTrace = archive.Read<int32_t>();
            CEventKM event;
            event.onPosition = doc.PositionOf(archive.Read<float>());
            event.offPosition = doc.PositionOf(archive.Read<float>());
            event.eventValue = archive.Read<float>();
            archive.Read<uint32_t>();
            archive.Read<uint32_t>();
            channel.AppendLoaded(std::move(event));
        }
    }
}

void ReportOrderFaults(CDataDoc& doc, EventOrderFault kind, const std::vector<int>& channels) {
    if (channels.empty()) return;
    std::string names;
    for (const int c : channels) names += (names.empty() ? "" : ", ") + ChannelName(c);
    doc.GetHost().Message(EventOrderMessage(kind) + "\n(Event channels: " + names + ")");
}

template <typename Item, typename StoreItem>
void StoreInRange(CArchive& archive, const std::vector<Item>& items, const StoredPart& part,
                  StoreItem store) {
    const auto held = [&](const Item& item) { return part.Holds(item.m_dTime); };
    archive.Write<int32_t>(static_cast<int32_t>(std::count_if(items.begin(), items.end(), held)));
    for (const Item& item : items) {
        if (!held(item)) continue;
        Item moved = item;
        moved.m_dTime = part.Moved(item.m_dTime);
        store(archive, moved);
    }
}

}  // namespace

void TellVersion(Host& host, int version) {
    if (version > currentFileVersion)
        host.Message(
            fmt::format("Problem: The file version you are trying to read is {}, which is greater than the "
                        "current maximum file version ({}) supported by this version of Kymora.\nTry "
                        "updating to the most recent version of Kymora by downloading it from the support "
                        "website.",
                        version, currentFileVersion));
    if (version < 0)
        host.Message(
            fmt::format("Problem: file version read as {}, which is not on the recognised list (1 - {}).",
                        version, currentFileVersion));
}

// --- grid and view ---

void LoadGrid(CArchive& archive, CDataDoc& doc, bool withSpareC) {
    Grid& grid = doc.grid;
    grid.gridRows = archive.Read<int32_t>();
    grid.gridColumns = archive.Read<int32_t>();
    grid.gridSpareA = archive.Read<int32_t>();
    grid.gridSpareB = archive.Read<int32_t>();
    if (withSpareC) grid.gridSpareC = archive.Read<int32_t>();
    if (grid.gridRows < 0 || grid.gridColumns < 0)
        throw ArchiveError("The file states a grid with a negative number of rows or columns.");
    const uint64_t cells = static_cast<uint64_t>(grid.gridRows) * static_cast<uint64_t>(grid.gridColumns);
    archive.CheckRoom(cells, sizeof(int32_t), "cells of a grid");
    if (archive.IsSkimming()) return archive.Skip(cells * sizeof(int32_t));
    grid.gridCells.resize(cells);
    archive.ReadRaw(std::as_writable_bytes(std::span(grid.gridCells)));
}

void StoreGrid(CArchive& archive, const Grid& grid, bool withSpareC) {
    archive.Write<int32_t>(grid.gridRows);
    archive.Write<int32_t>(grid.gridColumns);
    archive.Write<int32_t>(grid.gridSpareA);
    archive.Write<int32_t>(grid.gridSpareB);
    if (withSpareC) archive.Write<int32_t>(grid.gridSpareC);
    archive.WriteRaw(std::as_bytes(std::span(grid.gridCells)));
}

void RebuildGrid(CDataDoc& doc) {
    for (size_t i = 0; i < doc.grid.gridCells.size(); ++i)
        doc.grid.gridCells[i] = i < static_cast<size_t>(doc.traceCount) ? static_cast<int32_t>(i) : -1;
}

void LoadViewTimes(CArchive& archive, StoredView& view, int version) {
    view.viewStart = archive.Read<double>();
    if (version > 17) view.viewEnd = archive.Read<double>();
}

void StoreViewTimes(CArchive& archive, const CDataDoc& doc, SampleRange range) {
    // A section begins at its own time 0 and is shown whole.
    archive.Write<double>(range.IsWhole() ? doc.view.viewStart : 0.0);
    archive.Write<double>(range.IsWhole() ? doc.view.viewEnd : doc.TimeOf(int64_t{range.end} - range.start));
}

ViewRowExtras LoadViewRows(CArchive& archive, CDataDoc& doc, int version) {
    ViewRowExtras extras;
    extras.hasDrawMode = version >= 29 && version <= 31;
    ViewFields(Loader{archive}, doc.view, version, extras.drawMode);
    if (version > 28 && !archive.IsSkimming())
        doc.GetSession().options.expandContractFocus = doc.view.expandContractFocus;
    return extras;
}

void StoreViewRows(CArchive& archive, const StoredView& view, int version) {
    const int32_t drawMode = 0;
    ViewFields(Storer{archive}, view, version, drawMode);
}

// --- traces ---

void LoadTraces(CArchive& archive, CDataDoc& doc, int version, bool sideCar) {
    for (int slot = 0; slot < recordSlots(version); ++slot)
        TraceFields(Loader{archive}, doc.traces[static_cast<size_t>(slot)], version, sideCar);
    const TraceSettings unused;
    for (int slot = doc.traceCount; slot < maxTraces; ++slot) {
        TraceSettings& trace = doc.traces[static_cast<size_t>(slot)];
        trace.traceAutoscale = 0;
        trace.axisTop = unused.axisTop;
        trace.axisBottom = unused.axisBottom;
        if (version != 1 || sideCar) trace.traceOrder = slot;
        if (version > 3 || sideCar) trace.traceLabel.clear();
        trace.traceVisible = 1;
    }
}

void StoreTraces(CArchive& archive, const CDataDoc& doc, int version) {
    for (int slot = 0; slot < recordSlots(version); ++slot)
        TraceFields(Storer{archive}, doc.traces[static_cast<size_t>(slot)], version, false);
}

TraceSettings LoadTrace(CArchive& archive, int version) {
    TraceSettings trace;
    TraceFields(Loader{archive}, trace, version, true);
    return trace;
}

void StoreTrace(CArchive& archive, const TraceSettings& trace, int version) {
    TraceFields(Storer{archive}, trace, version, true);
}

// --- overlays and channels ---

void LoadChannels(CArchive& archive, CDataDoc& doc, int version) {
    std::vector<int> negative;
    std::vector<int> disordered;
    const auto note = [&](int c, EventOrderFault fault) {
        if (fault == EventOrderFault::negativePosition) negative.push_back(c);
        if (fault == EventOrderFault::outOfOrder) disordered.push_back(c);
    };
    if (version < 7) {
        LoadWaveformEvents(archive, doc);
        for (int c = 0; c < 10; ++c) note(c, doc.eventChannels[static_cast<size_t>(c)].CheckOrder());
    } else {
        const int count = version >= 28 ? maxEventChannels : letterChannels;
        for (int c = 0; c < count; ++c)
            note(c, doc.eventChannels[static_cast<size_t>(c)].Load(archive, version));
    }
    for (CEventChan& channel : doc.eventChannels)
        channel.parentTrace = std::min(channel.parentTrace, doc.traceCount - 1);
    ReportOrderFaults(doc, EventOrderFault::negativePosition, negative);
    ReportOrderFaults(doc, EventOrderFault::outOfOrder, disordered);
}

StoredPart::StoredPart(const CDataDoc& doc, SampleRange samples)
    : samples(samples), startMs(doc.TimeOf(samples.start)), endMs(doc.TimeOf(samples.end)) {}

void LoadMarkers(CArchive& archive, CDataDoc& doc, int version) {
    ObjectArrayReader objects(archive);
    LoadMarkers(archive, doc, version, objects);
}

void LoadAnnotations(CArchive& archive, CDataDoc& doc, int version) {
    ObjectArrayReader objects(archive);
    LoadAnnotations(archive, doc, version, objects);
}

void LoadOverlaysAndChannels(CArchive& archive, CDataDoc& doc, int version) {
    ObjectArrayReader objects(archive);
    LoadMarkers(archive, doc, version, objects);
    LoadAnnotations(archive, doc, version, objects);
    LoadChannels(archive, doc, version);
}

CEventChan ChannelInPart(const CEventChan& channel, const StoredPart& part) {
    const SampleRange range = part.samples;
    CEventChan cut = channel.WithoutEvents();
    for (const CEventKM& event : channel.Events()) {
        if (event.offPosition < range.start) continue;
        if (event.onPosition > range.end) {
            if (channel.IsInOrder()) break;
            continue;
        }
        CEventKM moved = event;
        moved.onPosition = std::max(event.onPosition, range.start) - range.start;
        moved.offPosition = std::min(event.offPosition, range.end) - range.start;
        if (part.keepsEmptyEvents || moved.offPosition > moved.onPosition) cut.AppendLoaded(std::move(moved));
    }
    return cut;
}

void StoreMarkers(CArchive& archive, const CDataDoc& doc, const StoredPart& part) {
    StoreInRange(archive, doc.markers, part, StoreMarker);
    archive.WriteBool(doc.view.showMarkerFlag);
}

void StoreAnnotations(CArchive& archive, const CDataDoc& doc, const StoredPart& part) {
    for (const auto& list : doc.traceAnnotations) StoreInRange(archive, list, part, StoreAnnotation);
    archive.WriteBool(doc.view.showAnnotationFlag);
}

void StoreChannels(CArchive& archive, const CDataDoc& doc, const StoredPart& part, int version) {
    for (const CEventChan& channel : doc.eventChannels) {
        if (part.IsWhole())
            channel.Store(archive, version);
        else
            ChannelInPart(channel, part).Store(archive, version);
    }
}

void StoreOverlaysAndChannels(CArchive& archive, const CDataDoc& doc, SampleRange range, int version) {
    const StoredPart part(doc, range);
    StoreMarkers(archive, doc, part);
    StoreAnnotations(archive, doc, part);
    StoreChannels(archive, doc, part, version);
}

// --- scale bars ---

void LoadScaleBars(CArchive& archive, CDataDoc& doc, int version) {
    if (version >= 24) doc.scaleBars[0] = ScaleBarGroup::Load(archive, version);
    if (version > 25) doc.scaleBars[1] = ScaleBarGroup::Load(archive, version);
}

void StoreScaleBars(CArchive& archive, const CDataDoc& doc, int version) {
    for (const ScaleBarGroup& group : doc.scaleBars) group.Store(archive, version);
}

}  // namespace kymora::metadata
