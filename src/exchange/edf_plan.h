#pragma once
// What an EDF+ file (Kemp and Olivan 2003) is made of, before it is written: physical limits that fit the
// fields of its header, and data records of one length for runs of samples of any.

#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "exchange/export_source.h"

namespace kymora {

// A number as a header field of eight characters, and what a reader makes of it.
struct EdfField {
    std::string text;
    double value = 0.0;
};

// A field not above (`up`: not below) `x`. Without exponent where that is off by no more than `tolerance`.
EdfField EdfLimit(double x, bool up, double tolerance);

// The physical limits of a signal. They enclose the extremes and differ.
struct EdfLimits {
    EdfField low, high;
};
EdfLimits EdfLimitsFor(const TraceExtremes& extremes);

struct EdfRecords {
    int64_t samples = 0;    // per record
    EdfField duration;      // s
    int64_t count = 0;      // records
    int64_t filled = 0;     // samples at the ends of runs that only fill a record
    double interval = 0.0;  // ms, as the file has it
    double driftMs = 0.0;   // by how far that puts the end of the recording elsewhere
};

// The length of the records that keeps the interval to half a sample over the whole, fills up as little as
// can be, and is the longest of those below 61,440 bytes. `frameBytes` are those of one sample of all
// signals, `interval` is in ms. Nothing where gaps are too short for what would be filled up.
std::optional<EdfRecords> ChooseEdfRecords(std::span<const ExportRun> runs, double interval,
                                           int64_t frameBytes);

// Seconds with up to nine decimals, without zeros behind them.
std::string EdfSeconds(double seconds);

}  // namespace kymora
