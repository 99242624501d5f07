#pragma once
// The events of a block as a table, in text and as data: a heading and a row for each event.

#include <array>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "eventanalysis/event_list_columns.h"
#include "results/result.h"

namespace kymora {

struct EventListOptions {
    std::array<bool, eventListColumnCount> columns{};
    bool seconds = false;     // times in seconds, else milliseconds
    std::vector<int> traces;  // from 0; the traces of the trace columns. Empty: the block's parent trace

    bool Has(EventListColumn column) const { return columns[static_cast<size_t>(column)]; }
    void Set(EventListColumn column, bool on = true) { columns[static_cast<size_t>(column)] = on; }
    // True when any column that is on has this source.
    bool Uses(EventListSource source) const;
};

// Takes a line with its end; false when it wants no more.
using EventListSink = std::function<bool(std::string_view)>;

// Writes the heading and then a row for each event of a filled block, one call for each; no more than a row
// is held. Cells end with a tab and lines with CR LF. Numbers are those of CollateEventData, in double
// precision; a cell without an answer is "nan". The interval of a row is the one that ends with its event,
// and -1 for the first event of a block, in either unit of time. With several traces all trace columns are
// written for the first, then for the next. False when the sink wanted no more. Throws FileError.
bool WriteEventList(CDataDoc& doc, const CEventBlock& block, const EventListOptions& options,
                    const EventListSink& sink);

// The same as data. The interval of the first event of a block does not exist, counts are whole numbers, a
// colour is "#rrggbb", and labels are as they stand. Units are those of times and of the traces.
std::vector<ResultColumn> EventListColumnNames(CDataDoc& doc, const CEventBlock& block,
                                               const EventListOptions& options);
bool EachEventListRow(CDataDoc& doc, const CEventBlock& block, const EventListOptions& options,
                      const ResultRowSink& sink);

}  // namespace kymora
