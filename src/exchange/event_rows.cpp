#include "exchange/event_rows.h"

#include <algorithm>
#include <charconv>
#include <cmath>

#include <fmt/format.h>

#include "import/text_rows.h"
#include "numerics/rounding.h"

namespace kymora {

namespace {

constexpr int64_t rowsPerUpdate = 4096;
constexpr std::string_view blanks = " \t\v\f\r\n";

// Cuts the next cell off a row; empty when there is none.
std::string_view NextCell(std::string_view& row) {
    constexpr std::string_view separators = "\t\n";
    row.remove_prefix(std::min(row.find_first_not_of(separators), row.size()));
    const std::string_view cell = row.substr(0, row.find_first_of(separators));
    row.remove_prefix(cell.size());
    return cell;
}

std::optional<double> TimeOfCell(std::string_view cell, char decimalSeparator) {
    if (cell.size() > 2 && cell.front() == '"') cell.remove_prefix(1);
    return LeadingNumber(cell, decimalSeparator);
}

// With a decimal point in place of a comma, where the number has no point already.
std::string WithPoint(std::string_view text) {
    std::string number(text);
    if (number.find('.') != std::string::npos) return number;
    if (const size_t comma = number.find(','); comma != std::string::npos) number[comma] = '.';
    return number;
}

// What may stand behind a number without making another one of it: nothing, a blank, or a unit.
bool IsTail(std::string_view rest) {
    constexpr std::string_view others = "%\"'";
    if (rest.empty()) return true;
    const char c = rest[0];
    const bool isLetter =
        (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || static_cast<unsigned char>(c) >= 0x80;
    return (isLetter && c != 'x' && c != 'X') || blanks.find(c) != std::string_view::npos ||
           others.find(c) != std::string_view::npos;
}

class Faults {
  public:
    Faults(EventRows& rows, Host& host) : rows_(rows), host_(host) {}
    void Add(RowFault fault, int64_t row) {
        const std::string text = RowFaultText(fault, row);
        host_.Log(text);
        if (static_cast<size_t>(rows_.faultCount++) < EventRows::mostFaultsShown) rows_.faults += text;
    }
    void Finish() {
        const int64_t more = rows_.faultCount - static_cast<int64_t>(EventRows::mostFaultsShown);
        if (more > 0)
            rows_.faults += fmt::format("{} more {} skipped.\n", more, more == 1 ? "row was" : "rows were");
    }

  private:
    EventRows& rows_;
    Host& host_;
};

bool StartsEarlier(const CEventKM& a, const CEventKM& b) { return a.onPosition < b.onPosition; }

}  // namespace

std::string RowFaultText(RowFault fault, int64_t row) {
    switch (fault) {
    case RowFault::incomplete:
        return fmt::format("Incomplete row {}. Skipping.\n", row);
    case RowFault::reversed:
        return fmt::format(
            "ERROR in text row {}: the Off-time should be later than the On-time.  Skipping.\n", row);
    case RowFault::outOfRange:
        return fmt::format(
            "ERROR in text row {}: a time is negative, or later than the longest recording.  Skipping.\n",
            row);
    case RowFault::none:
        break;
    }
    return {};
}

std::optional<double> LeadingNumber(std::string_view text, char decimalSeparator) {
    text.remove_prefix(std::min(text.find_first_not_of(blanks), text.size()));
    std::string pointed;
    if (decimalSeparator == ',' && text.find(',') != std::string_view::npos) text = pointed = WithPoint(text);
    if (text.size() > 1 && text[0] == '+' && text[1] != '-') text.remove_prefix(1);
    double value = 0.0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc()) return {};
    if (!std::isfinite(value) || !IsTail(text.substr(static_cast<size_t>(end - text.data())))) return {};
    return value;
}

RowFault ReadEventRow(std::string_view row, double sampleInterval, char decimalSeparator, CEventKM& event) {
    const auto on = TimeOfCell(NextCell(row), decimalSeparator);
    const auto off = on ? TimeOfCell(NextCell(row), decimalSeparator) : std::nullopt;
    if (!off) return RowFault::incomplete;
    const int64_t first = RoundHalfAway64(*on / sampleInterval);
    int64_t end = RoundHalfAway64(*off / sampleInterval);
    if (end < first) return RowFault::reversed;
    if (first < 0 || end > longestRecording) return RowFault::outOfRange;
    if (end == first && ++end > longestRecording) return RowFault::outOfRange;
    event.onPosition = static_cast<int32_t>(first);
    event.offPosition = static_cast<int32_t>(end);
    event.eventLabel = EventLabel(UnquotedCell(NextCell(row)));
    return RowFault::none;
}

EventRows ReadEventRows(TextReader& reader, const CDataDoc& doc) {
    EventRows rows;
    Faults faults(rows, doc.GetHost());
    const double interval = doc.sampleInterval;
    const char separator = doc.GetSession().decimalSeparator;
    ProgressScope progress(doc.GetHost(), "Reading events", reader.Length());
    std::string line;
    // Empty rows wait until another row shows that they do not end the text.
    int64_t emptyFrom = 0;
    for (int64_t row = 1; reader.NextLine(line); ++row) {
        if (row % rowsPerUpdate == 0 && !progress.GoesOn(reader.BytesRead())) {
            rows.wasCancelled = true;
            return rows;
        }
        if (line.find_first_not_of(blanks) == std::string::npos) {
            if (emptyFrom == 0) emptyFrom = row;
            continue;
        }
        for (; emptyFrom != 0 && emptyFrom < row; ++emptyFrom) faults.Add(RowFault::incomplete, emptyFrom);
        emptyFrom = 0;
        CEventKM event;
        const RowFault fault = ReadEventRow(line, interval, separator, event);
        if (fault == RowFault::none)
            rows.events.push_back(std::move(event));
        else
            faults.Add(fault, row);
    }
    faults.Finish();
    return rows;
}

bool AddEvents(CEventChan& channel, std::vector<CEventKM> events) {
    if (channel.IsLocked()) return false;
    if (!channel.IsInOrder()) {
        for (CEventKM& event : events) channel.AddEvent(std::move(event));
        return true;
    }
    std::stable_sort(events.begin(), events.end(), StartsEarlier);
    if (events.empty()) return true;
    // Only what lies behind the first new event changes its place.
    const int at = channel.PlaceFor(events.front().onPosition);
    const int count = channel.GetNumEvents() - at;
    std::vector<CEventKM> behind = channel.Splice(at, count, {});
    std::vector<CEventKM> merged;
    merged.reserve(behind.size() + events.size());
    std::merge(std::make_move_iterator(behind.begin()), std::make_move_iterator(behind.end()),
               std::make_move_iterator(events.begin()), std::make_move_iterator(events.end()),
               std::back_inserter(merged), StartsEarlier);
    channel.Splice(at, 0, std::move(merged));
    return true;
}

}  // namespace kymora
