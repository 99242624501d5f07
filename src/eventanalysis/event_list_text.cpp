#include "eventanalysis/event_list_text.h"

#include <cmath>
#include <limits>

#include "document/text_table.h"
#include "eventanalysis/event_list_cells.h"
#include "eventanalysis/event_trace_values.h"
#include "eventanalysis/event_values.h"
#include "results/number_text.h"

namespace kymora {
namespace {

bool IsTraceColumn(EventListColumn column) { return InfoOf(column).source == EventListSource::trace; }

// Mean and s.d. (n - 1; 0 for a single value) of values that are asked for twice.
struct Spread {
    double mean = noValue;
    double sd = noValue;
};
template <typename ValueAt>
Spread SpreadOf(int count, ValueAt valueAt) {
    if (count <= 0) return {};
    double sum = 0.0;
    for (int i = 0; i < count; ++i) sum += valueAt(i);
    const double mean = sum / count;
    double squares = 0.0;
    for (int i = 0; i < count; ++i) squares += (valueAt(i) - mean) * (valueAt(i) - mean);
    return {mean, count == 1 ? 0.0 : std::sqrt(squares / (count - 1))};
}

// A column as it stands in the table: those of traces once for each of them.
struct PlacedColumn {
    EventListColumn column;
    int trace = -1;  // of the trace columns; -1 where there is none
};

// The rows of a list, in the order of its columns. Numbers are doubles, also counts.
class EventListRows {
  public:
    EventListRows(CDataDoc& doc, const CEventBlock& block, const EventListOptions& options);

    std::span<const PlacedColumn> Columns() const { return columns_; }
    size_t TraceCount() const { return traces_.size(); }
    template <typename Sink>
    bool Each(Sink sink);

  private:
    void TakeEventCells(std::span<const EventListColumn> columns, const EventPlace& place);
    void TakeTraceCells();
    void MeasurePartners(const EventPlace& place);
    ResultValue ValueOf(EventListColumn column, const EventPlace& place);
    double NumberOf(EventListColumn column, const EventPlace& place);
    double InUnit(EventListColumn column, double value) const {
        return InfoOf(column).form == ColumnForm::time ? value / timeUnit_ : value;
    }
    double Weight(size_t component, const EventPlace& place) const;
    const CEventKM& EventOf(const EventPlace& place) const {
        return block_.Channel1().Channel()->Events()[static_cast<size_t>(place.index)];
    }

    CDataDoc& doc_;
    const CEventBlock& block_;
    double timeUnit_;  // ms
    std::vector<int> traces_;
    std::vector<EventListColumn> before_, ofTrace_, behind_;  // the columns that are on
    std::vector<PlacedColumn> columns_;
    EventSampleReader reader_;
    size_t event_ = 0;  // of those of the block
    PartnerEvents partner_;
    bool statsWanted_ = false;
    int statsCount_ = 0;
    Spread statsIntervals_, statsDurations_;  // ms
    std::vector<ResultValue> row_;
};

std::vector<int> TracesOf(const CDataDoc& doc, const CEventBlock& block, const EventListOptions& options) {
    std::vector<int> traces = options.traces;
    if (traces.empty()) traces.push_back(block.parentTrace);
    for (int& trace : traces)
        if (trace < 0 || trace >= doc.traceCount) trace = -1;
    return traces;
}

std::vector<int> ThoseThatExist(std::vector<int> traces) {
    std::erase(traces, -1);
    return traces;
}

EventListRows::EventListRows(CDataDoc& doc, const CEventBlock& block, const EventListOptions& options)
    : doc_(doc),
      block_(block),
      timeUnit_(options.seconds ? 1000.0 : 1.0),
      traces_(TracesOf(doc, block, options)),
      reader_(doc, block, ThoseThatExist(traces_)),
      partner_(block.Channel2()) {
    for (int i = 0; i < eventListColumnCount; ++i) {
        const auto column = static_cast<EventListColumn>(i);
        if (!options.Has(column)) continue;
        if (IsTraceColumn(column))
            ofTrace_.push_back(column);
        else
            (column < EventListColumn::peakToPeak ? before_ : behind_).push_back(column);
        statsWanted_ |= column >= EventListColumn::statsCount && column <= EventListColumn::statsDurationSd;
    }
    for (const EventListColumn column : before_) columns_.push_back({column});
    for (const int trace : traces_)
        for (const EventListColumn column : ofTrace_) columns_.push_back({column, trace});
    for (const EventListColumn column : behind_) columns_.push_back({column});
}

template <typename Sink>
bool EventListRows::Each(Sink sink) {
    event_ = 0;
    return ForEachEvent(block_, [&](const EventPlace& place) {
        row_.clear();
        if (statsWanted_) MeasurePartners(place);
        TakeEventCells(before_, place);
        if (!ofTrace_.empty()) TakeTraceCells();
        TakeEventCells(behind_, place);
        ++event_;
        return sink(std::span<const ResultValue>(row_));
    });
}

void EventListRows::TakeEventCells(std::span<const EventListColumn> columns, const EventPlace& place) {
    for (const EventListColumn column : columns) row_.push_back(ValueOf(column, place));
}

void EventListRows::MeasurePartners(const EventPlace& place) {
    const EventsByOnset& events = block_.Channel2();
    const auto within = partner_.Within(place.on, place.off);
    const auto interval = [&](int i) {
        return SamplesBetween(events.On(within.first + i), events.On(within.first + i + 1)) *
               doc_.sampleInterval;
    };
    const auto duration = [&](int i) {
        return SamplesBetween(events.On(within.first + i), events.Off(within.first + i)) *
               doc_.sampleInterval;
    };
    statsCount_ = within.Count();
    statsIntervals_ = SpreadOf(statsCount_ - 1, interval);
    statsDurations_ = SpreadOf(statsCount_, duration);
}

double EventListRows::Weight(size_t component, const EventPlace& place) const {
    const auto& rows = block_.Channel1().Channel()->EventExtra();
    const auto i = static_cast<size_t>(place.index);
    return i < rows.size() ? rows[i][component] : noValue;
}

// Times in milliseconds.
double EventListRows::NumberOf(EventListColumn column, const EventPlace& place) {
    switch (column) {
    case EventListColumn::sampleCount:
        return SamplesBetween(place.on, place.off);
    case EventListColumn::interval:
        return SamplesBetween(place.previousOn, place.on) * doc_.sampleInterval;
    case EventListColumn::variable:
        return EventOf(place).eventValue;
    case EventListColumn::statsCount:
        return statsCount_;
    case EventListColumn::statsIntervalMean:
        return statsIntervals_.mean;
    case EventListColumn::statsIntervalSd:
        return statsIntervals_.sd;
    case EventListColumn::statsDurationMean:
        return statsDurations_.mean;
    case EventListColumn::statsDurationSd:
        return statsDurations_.sd;
    case EventListColumn::pcWeight1:
        return Weight(0, place);
    case EventListColumn::pcWeight2:
        return Weight(1, place);
    case EventListColumn::pcWeight3:
        return Weight(2, place);
    default:
        break;
    }
    const EventListColumnInfo& info = InfoOf(column);
    return info.source == EventListSource::channel2 ? PartnerValue(doc_, info.param, partner_, place)
                                                    : TimingValue(doc_, info.param, place);
}

ResultValue EventListRows::ValueOf(EventListColumn column, const EventPlace& place) {
    switch (column) {
    case EventListColumn::id:
        return int64_t{place.index} + 1;
    case EventListColumn::tagged:
        return EventOf(place).eventTag != 0 ? "T" : "F";
    case EventListColumn::label:
        return std::string(EventOf(place).eventLabel.View());
    case EventListColumn::colour:
        return int64_t{EventOf(place).eventColour};
    case EventListColumn::interval:
        if (!place.hasPrevious) return std::monostate();
        break;
    default:
        break;
    }
    return InUnit(column, NumberOf(column, place));
}

void EventListRows::TakeTraceCells() {
    reader_.Load(event_);
    size_t slot = 0;
    for (const int trace : traces_) {
        EventTraceValues values(trace < 0 ? EventSamples{} : reader_.Samples(slot++), doc_.sampleInterval);
        for (const EventListColumn column : ofTrace_) {
            const double value = column == EventListColumn::timeOfMaximum ? values.TimeOfMaximum()
                                 : column == EventListColumn::timeOfMinimum
                                     ? values.TimeOfMinimum()
                                     : values.Value(InfoOf(column).param);
            row_.push_back(InUnit(column, value));
        }
    }
}

// --- the text ---

std::string HeadingOf(const PlacedColumn& placed, size_t traceCount) {
    const std::string heading = InfoOf(placed.column).heading;
    const bool tellsTrace = IsTraceColumn(placed.column) && traceCount > 1;
    return tellsTrace ? heading + " (" + std::to_string(placed.trace + 1) + ")" : heading;
}

void AppendTextCell(std::string& line, EventListColumn column, const ResultValue& value) {
    switch (column) {
    case EventListColumn::id:
        return AppendIdCell(line, std::get<int64_t>(value));
    case EventListColumn::tagged:
        line += std::get<std::string>(value) + "\t";
        return;
    case EventListColumn::label:
        if (const auto& label = std::get<std::string>(value); !label.empty()) line += CellText(label);
        line += '\t';
        return;
    case EventListColumn::colour:
        return AppendColourCell(line, static_cast<uint32_t>(std::get<int64_t>(value)));
    default:
        break;
    }
    constexpr double noInterval = -1.0;  // in either unit of time
    const double* number = std::get_if<double>(&value);
    if (InfoOf(column).form == ColumnForm::count)
        AppendCountCell(line, static_cast<int64_t>(*number));
    else
        AppendValueCell(line, number ? *number : noInterval);
}

// --- as data ---

std::string UnitOf(const CDataDoc& doc, const PlacedColumn& placed, bool seconds) {
    using enum EventListColumn;
    if (InfoOf(placed.column).form == ColumnForm::time) return seconds ? "s" : "ms";
    if (placed.column == frequency) return "Hz";
    if (placed.trace < 0) return {};
    const std::string& units = doc.traces[static_cast<size_t>(placed.trace)].traceUnits;
    switch (placed.column) {
    case peakToPeak:
    case maximum:
    case minimum:
    case mean:
    case standardDeviation:
    case median:
    case robustSd:
    case rms:
        return units;
    case area:
    case areaReBase:
        return units.empty() ? "ms" : units + " ms";
    case slope:
        return units.empty() ? "1/s" : units + "/s";
    default:
        return {};
    }
}

// A cell as others read it.
void MakePlain(EventListColumn column, ResultValue& value) {
    if (column == EventListColumn::colour) {
        value = ColourText(static_cast<uint32_t>(std::get<int64_t>(value)));
    } else if (const double* number = std::get_if<double>(&value)) {
        if (!std::isfinite(*number))
            value = std::monostate();
        else if (InfoOf(column).form == ColumnForm::count)
            value = static_cast<int64_t>(*number);
    }
}

}  // namespace

bool EventListOptions::Uses(EventListSource source) const {
    for (int i = 0; i < eventListColumnCount; ++i)
        if (columns[static_cast<size_t>(i)] && InfoOf(static_cast<EventListColumn>(i)).source == source)
            return true;
    return false;
}

bool WriteEventList(CDataDoc& doc, const CEventBlock& block, const EventListOptions& options,
                    const EventListSink& sink) {
    EventListRows rows(doc, block, options);
    std::string line = "Event parameters: ";
    for (const PlacedColumn& placed : rows.Columns()) line += HeadingOf(placed, rows.TraceCount()) + "\t";
    line += "\r\n";
    if (!sink(line)) return false;
    return rows.Each([&](std::span<const ResultValue> row) {
        line.clear();
        for (size_t i = 0; i < row.size(); ++i) AppendTextCell(line, rows.Columns()[i].column, row[i]);
        line += "\r\n";
        return sink(line);
    });
}

std::vector<ResultColumn> EventListColumnNames(CDataDoc& doc, const CEventBlock& block,
                                               const EventListOptions& options) {
    const EventListRows rows(doc, block, options);
    std::vector<ResultColumn> columns;
    for (const PlacedColumn& placed : rows.Columns())
        columns.push_back({HeadingOf(placed, rows.TraceCount()), UnitOf(doc, placed, options.seconds)});
    return columns;
}

bool EachEventListRow(CDataDoc& doc, const CEventBlock& block, const EventListOptions& options,
                      const ResultRowSink& sink) {
    EventListRows rows(doc, block, options);
    std::vector<ResultValue> plain;
    return rows.Each([&](std::span<const ResultValue> row) {
        plain.assign(row.begin(), row.end());
        for (size_t i = 0; i < plain.size(); ++i) MakePlain(rows.Columns()[i].column, plain[i]);
        return sink(plain);
    });
}

}  // namespace kymora
