#pragma once
// What an operation has found, as data: named values and a table. CSV and JSON are made from it, for the
// window, the terminal and the remote control alike; a text whose form is fixed the operation writes itself.

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <variant>
#include <vector>

namespace kymora {

// Nothing stands for a value that does not exist. Not-a-numbers and infinities are told as such in a text,
// and do not exist in CSV and JSON.
using ResultValue = std::variant<std::monostate, int64_t, float, double, std::string>;

// As the heading of the text calls it; the unit is empty where there is none.
struct ResultColumn {
    std::string name;
    std::string unit;
    bool operator==(const ResultColumn&) const = default;
};

// Takes a row of a table, which holds until the call ends; false when it wants no more.
using ResultRowSink = std::function<bool(std::span<const ResultValue>)>;

struct Result {
    std::string name;
    std::vector<std::pair<std::string, ResultValue>> values;
    std::vector<ResultColumn> columns;
    // Makes the rows, one at a time, from the recording as it is when they are asked for: a table of millions
    // takes no memory. False when the sink wanted no more. Empty where there is no table. Throws FileError.
    std::function<bool(const ResultRowSink&)> rows;

    // A table of a few rows that are kept.
    void SetRows(std::vector<std::vector<ResultValue>> kept);
};

}  // namespace kymora
