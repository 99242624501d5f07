#include "display/overlays/cursor_table.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "document/file_identity.h"
#include "document/native_writer.h"
#include "drawing/number_labels.h"

namespace kymora {

namespace {

constexpr const char* tableSaveFilter = "comma-separated values (*.csv)|*.csv||";
constexpr const char* unitOfFrequency = "Hz";

std::vector<double> Less(const std::vector<double>& a, const std::vector<double>& b) {
    std::vector<double> difference;
    for (size_t i = 0; i < a.size(); ++i) difference.push_back(a[i] - b[i]);
    return difference;
}

CursorDifference Between(const CursorReading& from, const CursorReading& to) {
    const double time = to.time - from.time;
    const double frequency = time != 0.0 ? 1000.0 / std::abs(time) : std::numeric_limits<double>::quiet_NaN();
    return {from.line, to.line, time, frequency, Less(to.values, from.values)};
}

std::vector<CursorDifference> StepsOf(const std::vector<CursorReading>& cursors, int from) {
    const auto fixed = std::ranges::find(cursors, from, &CursorReading::line);
    std::vector<CursorDifference> steps;
    for (size_t i = 0; i < cursors.size(); ++i) {
        if (fixed == cursors.end() && i > 0) steps.push_back(Between(cursors[i - 1], cursors[i]));
        if (fixed != cursors.end() && cursors[i].line != from) steps.push_back(Between(*fixed, cursors[i]));
    }
    return steps;
}

std::vector<CursorReading> ReadVertical(const PlotContext& context, const std::vector<int>& traces) {
    CDatumLines& lines = *context.cursors;
    std::vector<CursorReading> readings;
    for (int line = 0; line < lines.VertCount(); ++line) {
        CursorReading reading{line, lines.MovingVertTime(line), {}};
        const std::vector<float>& samples = lines.MovingSamples(line);
        for (const int trace : traces)
            reading.values.push_back(static_cast<double>(samples[static_cast<size_t>(trace)]));
        readings.push_back(std::move(reading));
    }
    std::ranges::stable_sort(readings, {}, &CursorReading::time);
    return readings;
}

std::vector<CursorReading> ReadHorizontal(const PlotContext& context, const std::vector<int>& traces) {
    const CDatumLines& lines = *context.cursors;
    std::vector<CursorReading> readings;
    for (int line = 0; line < lines.HorzCount(); ++line) {
        CursorReading reading{line, std::numeric_limits<double>::quiet_NaN(), {}};
        for (const int trace : traces) reading.values.push_back(lines.MovingHorzValue(line, trace));
        readings.push_back(std::move(reading));
    }
    std::ranges::stable_sort(readings, std::greater(),
                             [&](const CursorReading& reading) { return lines.MovingHorzY(reading.line); });
    return readings;
}

// --- texts ---

std::string ValueCell(double value) { return std::isfinite(value) ? fmt::format("{:.7g}", value) : "-"; }

std::string TimeCell(const PlotContext& context, double timeMs) {
    const int unit = context.settings.m_nTimeUnit;
    return fmt::format("{:.{}f}", timeMs / TimeUnitFactor(unit), unit == 0 ? 3 : 6);
}

std::string FrequencyCell(double hz) { return std::isfinite(hz) ? fmt::format("{:.6g}", hz) : "-"; }

std::string HeadingOf(const CDataDoc& doc, int trace) {
    const TraceSettings& settings = doc.traces[static_cast<size_t>(trace)];
    std::string text = std::to_string(trace + 1);
    if (!settings.traceLabel.empty()) text += ": " + settings.traceLabel;
    if (!settings.traceUnits.empty()) text += " (" + settings.traceUnits + ")";
    return text;
}

struct TableWriter {
    const PlotContext& context;
    CursorTable& table;

    void Add(std::vector<std::string> first, const std::vector<double>& values, bool isDifference) const {
        for (const double value : values) first.push_back(ValueCell(value));
        table.rows.push_back({std::move(first), isDifference});
    }
    void AddAll(bool isVert, const std::vector<CursorReading>& cursors,
                const std::vector<CursorDifference>& steps) const {
        for (const CursorReading& cursor : cursors) {
            Add({CursorName(isVert, cursor.line), isVert ? TimeCell(context, cursor.time) : "", ""},
                cursor.values, false);
            for (const CursorDifference& step : steps)
                if (step.to == cursor.line)
                    Add({CursorName(isVert, step.to) + " \u2212 " + CursorName(isVert, step.from),
                         isVert ? TimeCell(context, step.time) : "",
                         isVert ? FrequencyCell(step.frequency) : ""},
                        step.values, true);
        }
    }
};

template <typename Cell>
std::string Separated(const CursorTable& table, char separator, std::string_view lineEnd, Cell cell) {
    std::string text;
    const auto line = [&](const std::vector<std::string>& cells) {
        for (size_t i = 0; i < cells.size(); ++i) {
            if (i > 0) text += separator;
            text += cell(cells[i]);
        }
        text += lineEnd;
    };
    line(table.headings);
    for (const CursorTable::Row& row : table.rows) line(row.cells);
    return text;
}

std::string NeighbourText(const PlotContext& context, bool isVert, const CursorReading& from,
                          const CursorReading& to, size_t value) {
    const CursorDifference step = Between(from, to);
    if (!isVert)
        return fmt::format("{} from {}", ValueCell(step.values[value]), CursorName(false, from.line));
    return fmt::format("{} {} {} {} ({} {})", TimeCell(context, std::abs(step.time)),
                       TimeUnitName(context.settings.m_nTimeUnit), step.time < 0.0 ? "before" : "after",
                       CursorName(true, from.line), FrequencyCell(step.frequency), unitOfFrequency);
}

}  // namespace

std::string CursorName(bool isVert, int line) { return fmt::format("{}:{}", isVert ? 'V' : 'H', line + 1); }

CursorMeasures MeasureCursors(const CKymoraView& view) {
    const PlotContext context = view.Plot();
    CursorMeasures measures;
    for (int trace = 0; trace < context.doc.traceCount; ++trace)
        if (context.IsTraceShown(trace)) measures.traces.push_back(trace);
    measures.vertical = ReadVertical(context, measures.traces);
    measures.horizontal = ReadHorizontal(context, measures.traces);
    measures.verticalSteps = StepsOf(measures.vertical, context.cursors->m_pairs.vertFrom);
    measures.horizontalSteps = StepsOf(measures.horizontal, context.cursors->m_pairs.horzFrom);
    return measures;
}

CursorTable TableOf(const PlotContext& context, const CursorMeasures& measures) {
    CursorTable table;
    table.headings = {"Cursor", fmt::format("Time ({})", TimeUnitName(context.settings.m_nTimeUnit)),
                      fmt::format("1/time ({})", unitOfFrequency)};
    for (const int trace : measures.traces) table.headings.push_back(HeadingOf(context.doc, trace));
    const TableWriter writer{context, table};
    writer.AddAll(true, measures.vertical, measures.verticalSteps);
    writer.AddAll(false, measures.horizontal, measures.horizontalSteps);
    return table;
}

std::string TabSeparated(const CursorTable& table) {
    return Separated(table, '\t', "\n", [](std::string cell) {
        std::ranges::replace_if(
            cell, [](char c) { return c == '\t' || c == '\n' || c == '\r'; }, ' ');
        return cell;
    });
}

std::string CommaSeparated(const CursorTable& table) {
    return Separated(table, ',', "\r\n", [](const std::string& cell) {
        if (cell.find_first_of(",\"\r\n") == std::string::npos) return cell;
        std::string quoted = "\"";
        for (const char c : cell) quoted += c == '"' ? std::string("\"\"") : std::string(1, c);
        return quoted + "\"";
    });
}

void SaveCursorTable(CKymoraView& view) {
    Session& session = view.GetSession();
    const std::filesystem::path source = view.GetDocument().filePath;
    std::filesystem::path suggestion = source;
    suggestion.replace_filename(source.stem().string() + " cursors.csv");
    const auto chosen =
        session.host.ChooseSaveFile({"Save table of cursors", tableSaveFilter, "csv", suggestion});
    if (!chosen) return;
    if (SamePath(*chosen, source))
        return session.host.Message("That is the recording itself. Choose another name.");
    const std::string text = CommaSeparated(TableOf(view.Plot(), MeasureCursors(view)));
    try {
        WriteFileAtomically(session.files, *chosen, [&](CArchive& archive) {
            archive.WriteRaw(std::as_bytes(std::span(text.data(), text.size())));
        });
    } catch (const FileError& error) {
        session.host.Failure(std::string("The table was not saved.\n") + error.what());
    }
}

std::string CursorStatus(const CKymoraView& view, bool isVert, int line) {
    const PlotContext context = view.Plot();
    const CursorMeasures measures = MeasureCursors(view);
    const auto& cursors = isVert ? measures.vertical : measures.horizontal;
    const auto own = std::ranges::find(cursors, line, &CursorReading::line);
    if (own == cursors.end()) return {};
    // A horizontal line is read on the axis in whose band it lies.
    const int axis = context.GetNearestAxis(isVert ? -1 : context.cursors->MovingHorzY(line));
    const auto trace =
        std::ranges::find_if(measures.traces, [&](int t) { return context.AxisOf(t) == axis; });
    if (!isVert && trace == measures.traces.end()) return {};
    const auto value = static_cast<size_t>(trace - measures.traces.begin());
    std::string text =
        CursorName(isVert, line) + ": " +
        (isVert ? TimeCell(context, own->time) + " " + TimeUnitName(context.settings.m_nTimeUnit)
                : ValueCell(own->values[value]) + " " +
                      context.doc.traces[static_cast<size_t>(*trace)].traceUnits);
    if (own != cursors.begin()) text += ", " + NeighbourText(context, isVert, *std::prev(own), *own, value);
    if (std::next(own) != cursors.end())
        text += ", " + NeighbourText(context, isVert, *std::next(own), *own, value);
    return text;
}

}  // namespace kymora
