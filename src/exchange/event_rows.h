#pragma once
// Events as rows of text: on time and off time in milliseconds and, if there is one, a label, separated by
// tabs. Several tabs in a row count as one, and so do those at the start of a row.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "archive/text_reader.h"
#include "document/data_doc.h"

namespace kymora {

enum class RowFault {
    none,
    incomplete,  // a time is missing or is no number
    reversed,    // it ends before it starts
    outOfRange,  // a time is negative, or beyond the longest recording
};
// What the user is told of row `row`, counted from 1; with a line end.
std::string RowFaultText(RowFault fault, int64_t row);

// The number that a text begins with. It is read in double precision: a single one would misplace events by
// samples from a quarter of a minute on at a thousandth of a millisecond. Signs, points, commas and colons
// behind it make it none, because it would be read as another number than the one that stands there; letters
// such as a unit do not. With a decimal comma the point is taken as well.
std::optional<double> LeadingNumber(std::string_view text, char decimalSeparator = '.');

// Fills times and label from a row. An event that ends on the sample where it starts gets one sample.
RowFault ReadEventRow(std::string_view row, double sampleInterval, char decimalSeparator, CEventKM& event);

struct EventRows {
    // The first faults are kept to be shown; all are logged.
    static constexpr size_t mostFaultsShown = 20;

    std::vector<CEventKM> events;  // in the order of the rows
    std::string faults;            // lines for the user; empty without faults
    int64_t faultCount = 0;
    bool wasCancelled = false;
};
// Reads all rows with the interval of the recording. Empty rows at the end of the text are none. Throws
// FileError.
EventRows ReadEventRows(TextReader& reader, const CDataDoc& doc);

// Adds events as AddEvent does one by one, in one go where the channel is in order; there, events without a
// position (-1) come before the others. False when it is locked, which the user was told.
bool AddEvents(CEventChan& channel, std::vector<CEventKM> events);

}  // namespace kymora
