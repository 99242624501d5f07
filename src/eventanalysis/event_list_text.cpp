#include "eventanalysis/event_list_text.h"

#include <cmath>
#include <limits>

#include "document/text_table.h"
#include "eventanalysis/event_list_cells.h"
#include "eventanalysis/event_trace_values.h"
#include "eventanalysis/event_values.h"

namespace kymora {
namespace {

constexpr double noValue = std::numeric_limits<double>::quiet_NaN();

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

class EventListWriter {
  public:
    EventListWriter(CDataDoc& doc, const CEventBlock& block, const EventListOptions& options,
                    const EventListSink& sink);
    bool Write() { return WriteHeading() && WriteRows(); }

  private:
    bool WriteHeading();
    bool WriteRows();
    bool EndLine();
    void AppendEventCell(EventListColumn column, const EventPlace& place);
    void AppendTraceCells(const EventPlace& place);
    void MeasurePartners(const EventPlace& place);
    double NumberOf(EventListColumn column, const EventPlace& place);
    void AppendNumber(ColumnForm form, double value);
    double Weight(size_t component, const EventPlace& place) const;
    const CEventKM& EventOf(const EventPlace& place) const {
        return block_.Channel1().Channel()->Events()[static_cast<size_t>(place.index)];
    }

    CDataDoc& doc_;
    const CEventBlock& block_;
    const EventListSink& sink_;
    double timeUnit_;  // ms
    std::vector<int> traces_;
    std::vector<EventListColumn> before_, ofTrace_, behind_;  // the columns that are on
    EventSampleReader reader_;
    PartnerEvents partner_;
    bool statsWanted_ = false;
    int statsCount_ = 0;
    Spread statsIntervals_, statsDurations_;  // ms
    std::string row_;
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

EventListWriter::EventListWriter(CDataDoc& doc, const CEventBlock& block, const EventListOptions& options,
                                 const EventListSink& sink)
    : doc_(doc),
      block_(block),
      sink_(sink),
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
}

bool EventListWriter::EndLine() {
    row_ += "\r\n";
    const bool goOn = sink_(row_);
    row_.clear();
    return goOn;
}

bool EventListWriter::WriteHeading() {
    row_ = "Event parameters: ";
    for (const EventListColumn column : before_) (row_ += InfoOf(column).heading) += '\t';
    for (size_t t = 0; t < traces_.size(); ++t) {
        const std::string number = traces_.size() > 1 ? " (" + std::to_string(traces_[t] + 1) + ")" : "";
        for (const EventListColumn column : ofTrace_) ((row_ += InfoOf(column).heading) += number) += '\t';
    }
    for (const EventListColumn column : behind_) (row_ += InfoOf(column).heading) += '\t';
    return EndLine();
}

bool EventListWriter::WriteRows() {
    return ForEachEvent(block_, [this](const EventPlace& place) {
        if (statsWanted_) MeasurePartners(place);
        for (const EventListColumn column : before_) AppendEventCell(column, place);
        if (!ofTrace_.empty()) AppendTraceCells(place);
        for (const EventListColumn column : behind_) AppendEventCell(column, place);
        return EndLine();
    });
}

void EventListWriter::MeasurePartners(const EventPlace& place) {
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

double EventListWriter::Weight(size_t component, const EventPlace& place) const {
    const auto& rows = block_.Channel1().Channel()->EventExtra();
    const auto i = static_cast<size_t>(place.index);
    return i < rows.size() ? rows[i][component] : noValue;
}

void EventListWriter::AppendNumber(ColumnForm form, double value) {
    if (form == ColumnForm::count)
        AppendCountCell(row_, static_cast<int64_t>(value));
    else
        AppendValueCell(row_, form == ColumnForm::time ? value / timeUnit_ : value);
}

// Times in milliseconds.
double EventListWriter::NumberOf(EventListColumn column, const EventPlace& place) {
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

void EventListWriter::AppendEventCell(EventListColumn column, const EventPlace& place) {
    switch (column) {
    case EventListColumn::id:
        return AppendIdCell(row_, int64_t{place.index} + 1);
    case EventListColumn::tagged:
        row_ += EventOf(place).eventTag != 0 ? "T\t" : "F\t";
        return;
    case EventListColumn::label:
        if (!EventOf(place).eventLabel.empty()) row_ += CellText(EventOf(place).eventLabel);
        row_ += '\t';
        return;
    case EventListColumn::colour:
        return AppendColourCell(row_, EventOf(place).eventColour);
    case EventListColumn::interval:
        if (!place.hasPrevious) return AppendValueCell(row_, -1.0);
        break;
    default:
        break;
    }
    AppendNumber(InfoOf(column).form, NumberOf(column, place));
}

void EventListWriter::AppendTraceCells(const EventPlace& place) {
    reader_.Load(place.block, place.k);
    size_t slot = 0;
    for (const int trace : traces_) {
        EventTraceValues values(trace < 0 ? EventSamples{} : reader_.Samples(slot++), doc_.sampleInterval);
        for (const EventListColumn column : ofTrace_) {
            const EventListColumnInfo& info = InfoOf(column);
            const double value = column == EventListColumn::timeOfMaximum   ? values.TimeOfMaximum()
                                 : column == EventListColumn::timeOfMinimum ? values.TimeOfMinimum()
                                                                            : values.Value(info.param);
            AppendNumber(info.form, value);
        }
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
    return EventListWriter(doc, block, options, sink).Write();
}

}  // namespace kymora
