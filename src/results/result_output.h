#pragma once
// Results as JSON and as CSV.

#include <span>

#include "results/json_writer.h"
#include "results/result.h"

namespace kymora {

// An array of {"name", "values": {NAME: value}, "columns": [{"name", "unit"}], "rows": [[...], ...]} in one
// line. What does not exist is null. False when `goOn`, which is asked for each row, wanted no more.
bool WriteJson(JsonWriter& json, std::span<const Result> results, const std::function<bool()>& goOn);

// How a CSV goes on from one recording to the next.
struct CsvPart {
    std::string file;         // told in a first column; empty: none
    bool hasHeadings = true;  // false: the rows of a single table go on
};

// Tables by RFC 4180: a line of headings, with the unit in brackets, and a line for each row; of a result
// without a table its values, as a row of the names and a row of the numbers. An empty line stands between
// results. Lines end in CR LF, numbers have a point, and what does not exist is an empty cell. False as
// above.
bool WriteCsv(OutputSink& sink, std::span<const Result> results, const CsvPart& part,
              const std::function<bool()>& goOn);

}  // namespace kymora
