#include "display/live/live_traces.h"

#include <algorithm>
#include <cmath>

namespace kymora {

namespace {

constexpr double mostBinsAcross = 8192.0;  // more than screens have columns
constexpr int64_t mostRing = 20000;

}  // namespace

void LiveTraces::Begin(const ScanFormat& format, double scansAcross, int columns, bool restarts) {
    format_ = format;
    scansAcross_ = std::max(scansAcross, 1.0);
    restarts_ = restarts;
    scansPerBin_ = std::max<int64_t>(1, static_cast<int64_t>(scansAcross_ / mostBinsAcross));
    scans_ = made_ = 0;
    // A column more than is shown, which the first one that is shown is joined to.
    ring_ = static_cast<size_t>(std::min<int64_t>(
        mostRing, std::llround(1.2 * scansAcross_ / static_cast<double>(scansPerBin_)) + 8));
    bins_.assign(ring_ * format.channels, Bin());
    scale_.clear();
    zero_.clear();
    for (size_t c = 0; c < format.channels; ++c) {
        const auto [step, zero] = format.ToVolts(c);
        scale_.push_back(step);
        zero_.push_back(zero);
    }
    SetColumns(columns);
}

void LiveTraces::SetColumns(int columns) { columns_ = std::max(columns, 1); }

// --- samples ---

void LiveTraces::MakeRoom(int64_t bin) {
    made_ = std::max(made_, bin + 1 - static_cast<int64_t>(ring_));
    for (; made_ <= bin; ++made_)
        for (size_t trace = 0; trace < Traces(); ++trace) BinAt(trace, made_) = Bin();
}

void LiveTraces::Add(std::span<const std::byte> scans) {
    const size_t scanBytes = format_.ScanBytes();
    const auto count = static_cast<int64_t>(scans.size() / scanBytes);
    for (int64_t done = 0; done < count;) {
        const int64_t bin = scans_ / scansPerBin_;
        const int64_t here = std::min(count - done, (bin + 1) * scansPerBin_ - scans_);
        MakeRoom(bin);
        for (size_t trace = 0; trace < Traces(); ++trace) {
            Bin& into = BinAt(trace, bin);
            const std::byte* sample =
                scans.data() + static_cast<size_t>(done) * scanBytes + trace * format_.bytesPerSample;
            for (int64_t i = 0; i < here; ++i, sample += scanBytes) {
                const int32_t code = format_.Code(sample);
                into.low = std::min(into.low, code);
                into.high = std::max(into.high, code);
            }
        }
        scans_ += here;
        done += here;
    }
}

void LiveTraces::Pass(int64_t scans) {
    if (scans <= 0) return;
    scans_ += scans;
    MakeRoom((scans_ - 1) / scansPerBin_);
}

// --- columns ---

int64_t LiveTraces::ColumnOf(int64_t scan) const {
    return static_cast<int64_t>(std::floor(static_cast<double>(scan) * columns_ / scansAcross_));
}

int64_t LiveTraces::FirstColumn() const {
    const int64_t last = LastColumn();
    if (restarts_) return last - last % columns_;
    return std::max<int64_t>(0, last - columns_ + 1);
}

int64_t LiveTraces::OldestBin() const {
    return std::max<int64_t>(0, BinCount() - static_cast<int64_t>(ring_));
}

int64_t LiveTraces::FirstBinOf(int64_t column) const {
    auto bin = static_cast<int64_t>(static_cast<double>(column) * scansAcross_ / columns_) / scansPerBin_;
    while (bin > 0 && ColumnOf((bin - 1) * scansPerBin_) >= column) --bin;
    while (ColumnOf(bin * scansPerBin_) < column) ++bin;
    return bin;
}

LiveTraces::Bin LiveTraces::Fold(size_t trace, int64_t first, int64_t end) const {
    Bin all;
    for (int64_t bin = std::max(first, OldestBin()); bin < std::min(end, BinCount()); ++bin) {
        all.low = std::min(all.low, BinAt(trace, bin).low);
        all.high = std::max(all.high, BinAt(trace, bin).high);
    }
    return all;
}

std::optional<RowSpan> LiveTraces::OwnRows(size_t trace, int64_t column, const AxisScale& rows) const {
    const auto row = [&](int32_t code) { return rows.ToPixel(VoltsOf(code, trace)); };
    const int64_t first = FirstBinOf(column), end = FirstBinOf(column + 1);
    if (first < end) {
        const Bin own = Fold(trace, first, end);
        if (own.IsEmpty()) return {};
        const auto [top, bottom] = std::minmax({row(own.low), row(own.high)});
        return RowSpan{top, bottom};
    }
    // Between two samples: on the line from one to the other.
    if (first == 0) return {};
    const Bin before = Fold(trace, first - 1, first), behind = Fold(trace, first, first + 1);
    if (before.IsEmpty() || behind.IsEmpty()) return {};
    const int64_t left = ColumnOf((first - 1) * scansPerBin_), right = ColumnOf(first * scansPerBin_);
    const double share = static_cast<double>(column - left) / static_cast<double>(right - left);
    const int y = RoundHalfAway(row(before.low) + share * (row(behind.low) - row(before.low)));
    return RowSpan{y, y};
}

std::optional<RowSpan> LiveTraces::Span(size_t trace, int64_t column, const AxisScale& rows) const {
    auto span = OwnRows(trace, column, rows);
    const bool isSweepStart = column <= 0 || (restarts_ && column % columns_ == 0);
    if (!span || isSweepStart) return span;
    if (const auto before = OwnRows(trace, column - 1, rows)) {
        if (span->top > before->bottom + 1) span->top = before->bottom + 1;
        if (span->bottom < before->top - 1) span->bottom = before->top - 1;
    }
    return span;
}

LiveTraces::Range LiveTraces::RangeOf(size_t trace) const {
    // Where sweeps restart, the last one is still to be seen.
    const int64_t oldest = std::max<int64_t>(0, LastColumn() - columns_ + 1);
    const Bin all = Fold(trace, FirstBinOf(oldest), BinCount());
    if (all.IsEmpty()) return {};
    const auto [low, high] = std::minmax({VoltsOf(all.low, trace), VoltsOf(all.high, trace)});
    return {low, high};
}

}  // namespace kymora
