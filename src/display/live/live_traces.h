#pragma once
// The traces of a recording under way, as a picture of them needs them: minima and maxima of the stretch that
// is shown, in a ring, and from them the pixels of each column. A column is told from the bins alone, so that
// columns that come one by one make the same picture as all of them at once.
//
// Scans count from the beginning of the recording. Columns do, too: column c stands at x = c modulo the
// width where sweeps restart, and moves to the left where they scroll.

#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <vector>

#include "acquisition/scan_format.h"
#include "drawing/draw_device.h"

namespace kymora {

// Rows of one trace in one column, both included.
struct RowSpan {
    int top = 0, bottom = 0;
    bool operator==(const RowSpan&) const = default;
};

class LiveTraces {
  public:
    // Forgets what there is. So many scans (at least 1) are shown on so many columns (at least 1) at a time;
    // `restarts` says whether sweeps begin anew at the left.
    void Begin(const ScanFormat& format, double scansAcross, int columns, bool restarts);
    // The same scans on another number of columns.
    void SetColumns(int columns);

    // Whole scans behind those before.
    void Add(std::span<const std::byte> scans);
    // So many scans pass without being shown.
    void Pass(int64_t scans);

    int Columns() const { return columns_; }
    size_t Traces() const { return format_.channels; }
    int64_t Scans() const { return scans_; }
    bool Restarts() const { return restarts_; }
    double ScansAcross() const { return scansAcross_; }

    // The column of a scan.
    int64_t ColumnOf(int64_t scan) const;
    // The first column that is shown, and the one of the newest scan; both 0 before the first scan.
    int64_t FirstColumn() const;
    int64_t LastColumn() const { return scans_ > 0 ? ColumnOf(scans_ - 1) : 0; }
    // The first column that further scans may change; at or before the last. A bin that still grows stands in
    // the column of its first scan.
    int64_t OpenColumn() const { return scans_ > 0 ? ColumnOf((BinCount() - 1) * scansPerBin_) : 0; }

    // What the trace covers in a column: the rows between its minimum and maximum, joined to the column
    // before. Nothing where there is no sample. `rows` maps values (V) to rows.
    std::optional<RowSpan> Span(size_t trace, int64_t column, const AxisScale& rows) const;

    struct Range {
        double low = std::numeric_limits<double>::infinity();
        double high = -std::numeric_limits<double>::infinity();
        bool IsEmpty() const { return low > high; }
    };
    // Lowest and highest value (V) of what is shown.
    Range RangeOf(size_t trace) const;

  private:
    struct Bin {
        int32_t low = std::numeric_limits<int32_t>::max();
        int32_t high = std::numeric_limits<int32_t>::min();
        bool IsEmpty() const { return low > high; }
    };

    double VoltsOf(int32_t code, size_t trace) const { return code * scale_[trace] + zero_[trace]; }
    Bin& BinAt(size_t trace, int64_t bin) { return bins_[trace * ring_ + static_cast<size_t>(bin) % ring_]; }
    const Bin& BinAt(size_t trace, int64_t bin) const {
        return bins_[trace * ring_ + static_cast<size_t>(bin) % ring_];
    }
    int64_t BinCount() const { return (scans_ + scansPerBin_ - 1) / scansPerBin_; }
    int64_t OldestBin() const;
    // The first bin whose column is this one or a later one.
    int64_t FirstBinOf(int64_t column) const;
    void MakeRoom(int64_t bin);
    Bin Fold(size_t trace, int64_t first, int64_t end) const;
    std::optional<RowSpan> OwnRows(size_t trace, int64_t column, const AxisScale& rows) const;

    ScanFormat format_;
    double scansAcross_ = 1.0;
    int columns_ = 1;
    bool restarts_ = false;
    int64_t scansPerBin_ = 1;
    int64_t scans_ = 0;
    int64_t made_ = 0;  // bins that were made ready in the ring
    size_t ring_ = 1;   // bins of each trace
    std::vector<Bin> bins_;
    std::vector<double> scale_, zero_;  // from code to volts
};

}  // namespace kymora
