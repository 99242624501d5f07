#include "cli/info_json.h"

#include "import/formats.h"
#include "recording/acq_doc.h"
#include "results/json_writer.h"
#include "results/number_text.h"

namespace kymora {
namespace {

using JsonForm = JsonWriter::Form;

uint32_t DefaultColour(int channel) {
    // The first channels take the colours of the traces of the same number.
    return channel < 16 ? TraceSettings::Default(channel).traceColour : CEventChan().channelColour;
}

void WriteHead(JsonWriter& json, const CDataDoc& doc, std::string_view path) {
    json.Member("path", path);
    json.Member("type", FileTypeClassName(doc.GetFileType()));
    json.Member("typeCode", doc.GetFileType());
    json.Member("fileVersion", doc.fileVersion);
    json.Member("sampleInterval", doc.sampleInterval);
    json.Member("traceCount", doc.traceCount);
    json.Member("length", doc.GetLength());
    json.Member("durationMs", doc.TimeOf(doc.GetLength()));
    json.Member("hasGaps", doc.hasGaps);
    json.Member("episodic", doc.episodic);
    json.Member("noData", doc.noData);
    json.Member("comment", doc.fileComment);
    json.Member("history", doc.historyLog);
    json.Member("viewStart", doc.view.viewStart);
    json.Member("viewEnd", doc.view.viewEnd);
    json.Member("timeUnit", doc.view.timeUnit);
    json.Member("dataDisplayFraction", doc.view.dataDisplayFraction);
}

// What only a recording file tells; nothing of others.
void WriteRecordingHead(JsonWriter& json, const CDataDoc& doc) {
    const auto* const recording = dynamic_cast<const CAcqDoc*>(&doc);
    if (!recording) return;
    json.Key("recording");
    json.BeginObject();
    json.Member("recordingType", static_cast<int>(recording->m_eRecordingType));
    json.Member("name", RecordingTypeName(recording->m_eRecordingType));
    json.Member("recordingVersion", static_cast<int>(recording->m_nRecFileVersion));
    json.Member("timeStart", recording->m_timeStart);
    json.Member("bytesPerSample", static_cast<int>(recording->BytesPerSample()));
    json.Member("resolutionBits", recording->m_nResolutionBits);
    if (!recording->IsWave()) {
        json.Member("maker", recording->m_strMaker);
        json.Member("boardName", recording->m_strBoardName);
        json.Member("voltHigh", recording->m_fVoltHigh);
        json.Member("voltLow", recording->m_fVoltLow);
        json.Member("encoding", static_cast<int64_t>(recording->m_nEncoding));
    }
    json.EndObject();
}

void WriteGrid(JsonWriter& json, const Grid& grid) {
    json.Key("grid");
    json.BeginObject();
    json.Member("rows", grid.gridRows);
    json.Member("columns", grid.gridColumns);
    json.Member("spareA", grid.gridSpareA);
    json.Member("spareB", grid.gridSpareB);
    json.Member("spareC", grid.gridSpareC);
    json.Key("cells");
    json.BeginArray(JsonForm::oneLine);
    for (const int32_t cell : grid.gridCells) json.Value(cell);
    json.EndArray();
    json.EndObject();
}

void WriteTrace(JsonWriter& json, const CDataDoc& doc, int slot) {
    const TraceSettings& trace = doc.traces[static_cast<size_t>(slot)];
    json.BeginObject();
    json.Member("number", slot + 1);
    json.Member("label", trace.traceLabel);
    json.Member("units", trace.traceUnits);
    json.Member("axisLabel", trace.axisLabel);
    json.Member("axisTop", trace.axisTop);
    json.Member("axisBottom", trace.axisBottom);
    json.Member("autoscale", trace.traceAutoscale != 0);
    json.Member("order", trace.traceOrder);
    json.Member("visible", trace.traceVisible != 0);
    json.Member("colour", ColourText(trace.traceColour));
    json.Member("gain", trace.traceGain);
    json.Member("storedCount", doc.GetStoredCount(slot));
    json.Key("validRuns");
    json.BeginArray(JsonForm::oneLine);
    for (const uint32_t run : doc.validRuns[static_cast<size_t>(slot)].Runs()) json.Value(run);
    json.EndArray();
    json.EndObject();
}

void WriteTraces(JsonWriter& json, const CDataDoc& doc) {
    json.Key("traces");
    json.BeginArray();
    for (int slot = 0; slot < doc.traceCount; ++slot) WriteTrace(json, doc, slot);
    json.EndArray();
}

void WriteMarkers(JsonWriter& json, const CDataDoc& doc) {
    json.Key("markers");
    json.BeginArray();
    for (const CMarker& marker : doc.markers) {
        json.BeginObject(JsonForm::oneLine);
        json.Member("timeMs", marker.m_dTime);
        json.Member("label", marker.m_strLabel);
        json.EndObject();
    }
    json.EndArray();
}

void WriteAnnotation(JsonWriter& json, const CAnnotation& annotation, int slot) {
    json.BeginObject();
    json.Member("trace", slot + 1);
    json.Member("timeMs", annotation.m_dTime);
    json.Member("value", annotation.m_fValue);
    json.Member("label", annotation.m_strLabel);
    json.Member("colour", ColourText(annotation.m_crColour));
    json.Key("font");
    json.BeginObject(JsonForm::oneLine);
    json.Member("face", annotation.m_logFont.FaceName());
    json.Member("height", annotation.m_logFont.height);
    json.Member("weight", annotation.m_logFont.weight);
    json.Member("italic", annotation.m_logFont.italic != 0);
    json.EndObject();
    json.EndObject();
}

void WriteAnnotations(JsonWriter& json, const CDataDoc& doc) {
    json.Key("annotations");
    json.BeginArray();
    for (int slot = 0; slot < maxTraces; ++slot)
        for (const CAnnotation& annotation : doc.traceAnnotations[static_cast<size_t>(slot)])
            WriteAnnotation(json, annotation, slot);
    json.EndArray();
}

void WriteScaleBar(JsonWriter& json, const ScaleBar& bar, int slot) {
    json.BeginObject();
    json.Member("length", bar.m_fLength);
    json.Member("x", bar.m_fXFrac);
    json.Member("y", bar.m_fYFrac);
    json.Member("width", bar.m_nWidth);
    json.TraceNumber("trace", slot);
    json.Member("showText", bar.m_bShowText != 0);
    json.Member("colour", ColourText(bar.m_crText));
    json.Member("units", bar.m_strUnits);
    json.EndObject();
}

void WriteScaleBars(JsonWriter& json, const CDataDoc& doc) {
    json.Key("scaleBars");
    json.BeginObject();
    json.Key("horizontal");
    // A horizontal bar belongs to no trace; it measures time.
    if (doc.scaleBars[0].single.m_nWidth > 0)
        WriteScaleBar(json, doc.scaleBars[0].single, -1);
    else
        json.Null();
    json.Key("vertical");
    json.BeginArray();
    for (const ScaleBar& bar : doc.scaleBars[1].list) WriteScaleBar(json, bar, bar.m_nTrace);
    json.EndArray();
    json.EndObject();
}

void WriteChannel(JsonWriter& json, const CDataDoc& doc, int number) {
    const CEventChan& channel = doc.eventChannels[static_cast<size_t>(number)];
    json.BeginObject();
    json.Member("number", number);
    json.Member("name", ChannelName(number));
    json.Member("label", channel.channelLabel);
    json.Member("comment", channel.channelComment);
    json.Member("method", channel.detectionMethod);
    json.Member("methodName", channel.GetDetectionMethodName());
    json.Member("locked", channel.channelLocked);
    json.Member("visible", channel.channelVisible != 0);
    json.Member("drawMode", channel.channelDrawMode);
    json.TraceNumber("parentTrace", channel.parentTrace);
    json.Member("colour", ColourText(channel.channelColour));
    json.Member("colourAlt", ColourText(channel.channelColourAlt));
    json.Member("displayPosition", channel.GetDisplayPosition());
    json.Member("count", channel.GetNumEvents());
    json.EndObject();
}

void WriteChannels(JsonWriter& json, const CDataDoc& doc) {
    json.Key("eventChannels");
    json.BeginArray();
    for (int c = 0; c < maxEventChannels; ++c)
        if (IsChannelUsed(doc, c)) WriteChannel(json, doc, c);
    json.EndArray();
}

}  // namespace

bool IsChannelUsed(const CDataDoc& doc, int number) {
    const CEventChan& channel = doc.eventChannels[static_cast<size_t>(number)];
    const CEventChan plain;
    const bool plainPosition = channel.GetDisplayPosition() == CDataDoc::DefaultDisplayPosition(number) ||
                               channel.GetDisplayPosition() == plain.GetDisplayPosition();
    const bool plainColour =
        channel.channelColour == DefaultColour(number) || channel.channelColour == plain.channelColour;
    return channel.GetNumEvents() != 0 || !channel.channelLabel.empty() || !channel.channelComment.empty() ||
           channel.detectionMethod != plain.detectionMethod || channel.channelLocked || !plainColour ||
           channel.channelColourAlt != plain.channelColourAlt ||
           channel.channelVisible != plain.channelVisible ||
           channel.channelDrawMode != plain.channelDrawMode || channel.parentTrace != plain.parentTrace ||
           !plainPosition;
}

void WriteInfoJson(OutputSink& sink, const CDataDoc& doc, std::string_view path) {
    JsonWriter json(sink);
    json.BeginObject();
    WriteHead(json, doc, path);
    WriteRecordingHead(json, doc);
    WriteGrid(json, doc.grid);
    WriteTraces(json, doc);
    WriteMarkers(json, doc);
    WriteAnnotations(json, doc);
    WriteScaleBars(json, doc);
    WriteChannels(json, doc);
    json.EndObject();
    json.Finish();
}

}  // namespace kymora
