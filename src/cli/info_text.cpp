#include "cli/info_text.h"

#include <fmt/format.h>

#include "cli/info_json.h"
#include "import/formats.h"
#include "recording/acq_doc.h"
#include "results/aligned_table.h"
#include "results/number_text.h"

namespace kymora {
namespace {

constexpr size_t listedGaps = 10;

std::string Number(double value) {
    std::string text;
    AppendTime(text, value);
    return text;
}

std::string Line(std::string_view name, std::string_view value) {
    return fmt::format("{:<17}{}\n", name, value);
}

std::string Duration(double ms) {
    const std::string clock = ClockText(ms);
    return Number(ms) + " ms" + (clock.empty() ? "" : " (" + clock + ")");
}

std::string Paragraph(std::string_view name, std::string_view text) {
    if (text.empty()) return "";
    std::string shown = "\n" + std::string(name) + "\n";
    while (!text.empty()) {
        const size_t end = text.find('\n');
        std::string line = TerminalLine(text.substr(0, end));
        line.erase(line.find_last_not_of(' ') + 1);
        shown += line.empty() ? "\n" : "  " + line + "\n";
        text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    }
    shown.erase(shown.find_last_not_of('\n') + 1);
    return shown + "\n";
}

// "DataTranslation: General Purpose, board DT9816, 16 bits from -10 to 10 V"; empty for no recording file.
std::string RecordedBy(const CDataDoc& doc) {
    const auto* const recording = dynamic_cast<const CAcqDoc*>(&doc);
    if (!recording) return {};
    std::string text(RecordingTypeName(recording->m_eRecordingType));
    if (!recording->m_strBoardName.empty())
        text += (text.empty() ? "board " : ", board ") + TerminalLine(recording->m_strBoardName);
    text += fmt::format("{}{} bits", text.empty() ? "" : ", ", recording->m_nResolutionBits);
    if (!recording->IsWave())
        text +=
            fmt::format(" from {} to {} V", Number(recording->m_fVoltLow), Number(recording->m_fVoltHigh));
    return text;
}

std::string Head(const CDataDoc& doc, std::string_view path) {
    std::string properties;
    for (const auto& [set, name] : {std::pair{doc.episodic, "episodic"},
                                    {doc.hasGaps, "with gaps"},
                                    {doc.noData, "events only, no samples"}})
        if (set) properties += (properties.empty() ? "" : ", ") + std::string(name);
    std::string text = Line("File", TerminalLine(path));
    text +=
        Line("Type", fmt::format("{} (version {})", FileTypeClassName(doc.GetFileType()), doc.fileVersion));
    text += Line("Sample interval", fmt::format("{} ms ({} Hz)", Number(doc.sampleInterval),
                                                Number(1000.0 / doc.sampleInterval)));
    text += Line("Length", fmt::format("{} samples", doc.GetLength()));
    text += Line("Duration", Duration(doc.TimeOf(doc.GetLength())));
    if (const std::string recorded = RecordedBy(doc); !recorded.empty())
        text += Line("Recorded by", recorded);
    if (!properties.empty()) text += Line("Properties", properties);
    if (doc.view.viewEnd > 0.0)
        text += Line("Stored view",
                     fmt::format("{} to {} ms", Number(doc.view.viewStart), Number(doc.view.viewEnd)));
    return text;
}

std::string Traces(const CDataDoc& doc) {
    AlignedTable table("rllrrrr");
    table.Add({"No.", "Label", "Units", "Axis from", "to", "Samples", "Blocks"});
    for (int slot = 0; slot < doc.traceCount; ++slot) {
        const TraceSettings& trace = doc.traces[static_cast<size_t>(slot)];
        table.Add({std::to_string(slot + 1), TerminalLine(trace.traceLabel), TerminalLine(trace.traceUnits),
                   Number(trace.axisBottom), Number(trace.axisTop), std::to_string(doc.GetStoredCount(slot)),
                   std::to_string(doc.GetNumValidBlocks(slot))});
    }
    return fmt::format("\nTraces ({})\n", doc.traceCount) + table.Text();
}

// The gaps of one trace; those of further traces only where they differ from the first's.
std::string GapsOf(const CDataDoc& doc, int slot) {
    AlignedTable table("rr");
    table.Add({"from (ms)", "to (ms)"});
    size_t count = 0;
    int64_t start = 0;
    int64_t end = 0;
    for (int i = 1; i < doc.GetNumRuns(slot); i += 2) {
        doc.GetRunSpan(slot, i, start, end);
        if (end > start && ++count <= listedGaps)
            table.Add({Number(doc.TimeOf(start)), Number(doc.TimeOf(end))});
    }
    if (count == 0) return "";
    std::string text = fmt::format("\nGaps of trace {} ({})\n", slot + 1, count) + table.Text();
    if (count > listedGaps) text += fmt::format("  and {} more\n", count - listedGaps);
    return text;
}

std::string Gaps(const CDataDoc& doc) {
    if (!doc.hasGaps) return "";
    std::string text;
    for (int slot = 0; slot < doc.traceCount; ++slot)
        if (slot == 0 || !(doc.validRuns[static_cast<size_t>(slot)] == doc.validRuns[0]))
            text += GapsOf(doc, slot);
    return text;
}

std::string Channels(const CDataDoc& doc) {
    AlignedTable table("lrlll");
    table.Add({"Channel", "Events", "Label", "Method", ""});
    bool any = false;
    for (int c = 0; c < maxEventChannels; ++c) {
        if (!IsChannelUsed(doc, c)) continue;
        const CEventChan& channel = doc.eventChannels[static_cast<size_t>(c)];
        table.Add({ChannelDisplayName(c), std::to_string(channel.GetNumEvents()),
                   TerminalLine(channel.channelLabel), channel.GetDetectionMethodName(),
                   channel.channelLocked ? "locked" : ""});
        any = true;
    }
    return any ? "\nEvent channels\n" + table.Text() : "";
}

std::string Overlays(const CDataDoc& doc) {
    AlignedTable table("lrl");
    for (const CMarker& marker : doc.markers)
        table.Add({"Marker", Number(marker.m_dTime) + " ms", TerminalLine(marker.m_strLabel)});
    for (int slot = 0; slot < maxTraces; ++slot)
        for (const CAnnotation& annotation : doc.traceAnnotations[static_cast<size_t>(slot)])
            table.Add({fmt::format("Annotation of trace {}", slot + 1), Number(annotation.m_dTime) + " ms",
                       TerminalLine(annotation.m_strLabel)});
    const std::string rows = table.Text();
    return rows.empty() ? "" : "\nMarkers and annotations\n" + rows;
}

}  // namespace

std::string InfoText(const CDataDoc& doc, std::string_view path) {
    return Head(doc, path) + Traces(doc) + Gaps(doc) + Channels(doc) + Overlays(doc) +
           Paragraph("Comment", doc.fileComment) + Paragraph("History", doc.historyLog);
}

}  // namespace kymora
