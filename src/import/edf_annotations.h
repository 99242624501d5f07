#pragma once
// Time-stamped annotation lists (TALs) of EDF+ files: an onset, perhaps a duration, and any number of texts.

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "import/edf_header.h"

namespace kymora {

// One TAL. The texts look into the bytes that were parsed.
struct EdfTal {
    std::string_view startText;  // as the file has it, with its sign
    std::string_view durationText;
    double start = 0.0;                   // s
    double duration = 0.0;                // s; 0 when there is none
    std::vector<std::string_view> texts;  // of one byte or more each, as the file has them
};

// Parses the TAL that `bytes` hold, without the zero that ends it. False when they hold none: no onset, a
// number that is none, or no separator behind them. A last text without its separator counts.
bool ParseEdfTal(std::string_view bytes, EdfTal& tal);

// An annotation's text for the user: UTF-8 as the format has it, or Windows-1252 where it is no valid UTF-8.
std::string EdfAnnotationText(std::string_view bytes);
// All texts of a TAL in one, joined by "; ".
std::string JoinEdfTexts(const EdfTal& tal);

// Where a TAL stands in the file. All numbers count from 0; `index` counts damaged TALs too.
struct EdfTalPlace {
    int64_t record = 0;
    int signal = 0;  // of the annotation signals
    int index = 0;   // in its signal's part of the record
    // The first TAL of the first annotation signal tells when the record starts.
    bool IsTimeKeeping() const { return signal == 0 && index == 0; }
};

// Sees one TAL after the other; false leaves out the rest of its signal's part of the record.
using EdfTalVisitor = std::function<bool(const EdfTalPlace&, const EdfTal&)>;

// Visits the TALs of the file record by record. `goOn` is asked after every thousand records; the walk stops
// and answers false when it says so. `damaged` counts what could not be parsed; after a hundred
// thousand of them a part of a record is left at its first one. Memory does not grow with the file. Throws
// FileError.
bool ForEachEdfTal(const DataFile& file, const EdfHeader& header, const EdfTalVisitor& visit,
                   const std::function<bool(int64_t record)>& goOn, int64_t& damaged);

}  // namespace kymora
