#include "recording/recording_tail.h"

#include <algorithm>
#include <cmath>

namespace kymora {

namespace {

constexpr const char* markersMark = "doing markers";
constexpr const char* annotationsMark = "doing annotations";
constexpr const char* eventsMark = "doing events";

size_t ChannelCount(const RecordingHeader& header) { return header.m_nChannels; }

void LoadAxis(CArchive& archive, TraceSettings& trace) {
    const auto top = archive.Read<double>();
    const auto bottom = archive.Read<double>();
    if (std::isfinite(top) && std::isfinite(bottom) && top != bottom) {
        trace.axisTop = top;
        trace.axisBottom = bottom;
        trace.traceAutoscale = 0;
    }
}

void StoreAxis(CArchive& archive, const TraceSettings& trace) {
    archive.Write<double>(trace.axisTop);
    archive.Write<double>(trace.axisBottom);
}

// The note on a channel is what stands along its axis.
void LoadNames(CArchive& archive, TraceSettings& trace) {
    if (std::string note = archive.ReadString(); !note.empty()) trace.axisLabel = std::move(note);
    trace.traceLabel = archive.ReadString();
    trace.traceColour = archive.Read<uint32_t>();
}

void StoreNames(CArchive& archive, const TraceSettings& trace, size_t channel) {
    const bool isOwn = trace.axisLabel != TraceSettings::Default(static_cast<int>(channel)).axisLabel;
    archive.WriteString(isOwn ? trace.axisLabel : "");
    archive.WriteString(trace.traceLabel);
    archive.Write<uint32_t>(trace.traceColour);
}

void LoadPlace(CArchive& archive, TraceSettings& trace, const RecordingHeader& header) {
    const auto place = archive.Read<uint32_t>();
    if (place < header.m_nChannels) trace.traceOrder = static_cast<int32_t>(place);
}

void LoadViewTimes(CArchive& archive, StoredView& view) {
    const auto start = archive.Read<double>();
    const auto end = archive.Read<double>();
    if (!std::isfinite(start) || !std::isfinite(end) || end <= start) return;
    view.viewStart = start;
    view.viewEnd = end;
}

void StoreViewTimes(CArchive& archive, const CDataDoc& doc, const metadata::StoredPart& part) {
    const StoredView& view = doc.view;
    const double end = view.viewEnd > view.viewStart ? view.viewEnd : std::max(doc.GetEndTime(), 0.0);
    archive.Write<double>(part.IsWhole() ? view.viewStart : 0.0);
    archive.Write<double>(part.IsWhole() ? end : part.endMs - part.startMs);
}

void LoadBoardChannels(CArchive& archive, CDataDoc& doc, const RecordingHeader& header,
                       RecordingTailState& state) {
    for (size_t c = 0; c < ChannelCount(header); ++c) {
        TraceSettings& trace = doc.traces[c];
        trace.traceVisible = archive.Read<uint32_t>() != 0 ? 1 : 0;
        LoadAxis(archive, trace);
        state.identity[c] = archive.Read<uint32_t>();
        LoadNames(archive, trace);
        LoadPlace(archive, trace, header);
        state.scale[c] = archive.Read<float>();
    }
}

void StoreBoardChannels(CArchive& archive, const CDataDoc& doc, const RecordingHeader& header,
                        const RecordingTailState& state) {
    for (size_t c = 0; c < ChannelCount(header); ++c) {
        const TraceSettings& trace = doc.traces[c];
        archive.Write<uint32_t>(trace.traceVisible != 0 ? 1 : 0);
        StoreAxis(archive, trace);
        archive.Write<uint32_t>(state.identity[c]);
        StoreNames(archive, trace, c);
        archive.Write<uint32_t>(static_cast<uint32_t>(trace.traceOrder));
        archive.Write<float>(state.scale[c]);
    }
}

void LoadWaveChannels(CArchive& archive, CDataDoc& doc, const RecordingHeader& header) {
    for (size_t c = 0; c < ChannelCount(header); ++c) {
        LoadAxis(archive, doc.traces[c]);
        LoadNames(archive, doc.traces[c]);
        LoadPlace(archive, doc.traces[c], header);
    }
}

void StoreWaveChannels(CArchive& archive, const CDataDoc& doc, const RecordingHeader& header) {
    for (size_t c = 0; c < ChannelCount(header); ++c) {
        StoreAxis(archive, doc.traces[c]);
        StoreNames(archive, doc.traces[c], c);
        archive.Write<uint32_t>(static_cast<uint32_t>(doc.traces[c].traceOrder));
    }
}

void LoadWaveView(CArchive& archive, RecordingTailState& state) {
    for (uint32_t& field : state.waveView) field = archive.Read<uint32_t>();
    state.waveViewScale = archive.Read<float>();
    state.waveViewState = archive.Read<uint32_t>();
}

void StoreWaveView(CArchive& archive, const RecordingTailState& state) {
    for (const uint32_t field : state.waveView) archive.Write<uint32_t>(field);
    archive.Write<float>(state.waveViewScale);
    archive.Write<uint32_t>(state.waveViewState);
}

}  // namespace

RecordingTailState::RecordingTailState() {
    for (uint32_t c = 0; c < mostRecordingChannels; ++c) identity[c] = c;
    scale.fill(1.0f);
}

void LoadRecordingTail(CArchive& archive, CDataDoc& doc, RecordingHeader& header, RecordingTailState& state) {
    const bool isWave = header.IsWave();
    const auto passMark = [&] { archive.ReadString(); };
    const auto passBoardMark = [&] {
        if (!isWave) passMark();
    };
    passMark();
    doc.fileComment = archive.ReadString();
    if (isWave) header.m_timeStart = archive.Read<int64_t>();
    LoadViewTimes(archive, doc.view);
    if (isWave) {
        LoadWaveChannels(archive, doc, header);
        LoadWaveView(archive, state);
    } else {
        LoadBoardChannels(archive, doc, header, state);
    }
    passBoardMark();
    metadata::LoadMarkers(archive, doc, header.m_nFileVersion);
    passBoardMark();
    metadata::LoadAnnotations(archive, doc, header.m_nFileVersion);
    passBoardMark();
    metadata::LoadChannels(archive, doc, header.m_nFileVersion);
    passMark();
}

void StoreRecordingTail(CArchive& archive, const CDataDoc& doc, const RecordingHeader& header,
                        const RecordingTailState& state, const metadata::StoredPart& part) {
    const bool isWave = header.IsWave();
    const auto boardMark = [&](const char* mark) {
        if (!isWave) archive.WriteString(mark);
    };
    archive.WriteString(dataEndMark);
    archive.WriteString(doc.fileComment);
    if (isWave) archive.Write<int64_t>(header.m_timeStart);
    StoreViewTimes(archive, doc, part);
    if (isWave) {
        StoreWaveChannels(archive, doc, header);
        StoreWaveView(archive, state);
    } else {
        StoreBoardChannels(archive, doc, header, state);
    }
    boardMark(markersMark);
    metadata::StoreMarkers(archive, doc, part);
    boardMark(annotationsMark);
    metadata::StoreAnnotations(archive, doc, part);
    boardMark(eventsMark);
    metadata::StoreChannels(archive, doc, part, currentFileVersion);
    archive.WriteString(fileEndMark);
}

}  // namespace kymora
