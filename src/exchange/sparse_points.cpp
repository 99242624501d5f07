#include "exchange/sparse_points.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "exchange/sparse_samples.h"

namespace kymora {

namespace {

constexpr int64_t leastPoints = 3;

// Takes up the rows of a table.
class SparseRows {
  public:
    SparseRows(Session& session, TableFormat table)
        : session_(session), table_(table), emptyCells_(session) {}

    void Take(std::string_view line, int64_t number) {
        // Blank rows around the data are nothing; one within is a row without columns.
        if (!row_.Split(line, table_.separator)) {
            if (blankRow_ == 0) blankRow_ = number;
            return;
        }
        if (columns_ != 0 && blankRow_ != 0) RefuseWidth(blankRow_, 0);
        blankRow_ = 0;
        const bool isFirst = !hasRows_;
        hasRows_ = true;
        if (isFirst && IsHeading()) return TakeHeading();
        if (columns_ == 0) Begin(number);
        if (row_.Cells().size() != columns_) RefuseWidth(number, row_.Cells().size());
        emptyCells_.Look(row_, number);
        TakeTime(number);
        TakeValues(number);
    }

    SparsePoints Finish() {
        if (static_cast<int64_t>(points_.times.size()) < leastPoints || columns_ < 2)
            throw TableError(
                "Clipboard data must contain at least 3 valid time and data values. Abandoning paste.");
        if (hasHeading_ && labels_.size() + 1 != columns_)
            session_.host.Message("Number of trace labels in header line does not match number of data "
                                  "columns. Trace labels will not be used.");
        else
            points_.labels = std::move(labels_);
        return std::move(points_);
    }

  private:
    // Its first cell is no number. Where that cell is empty, the next one tells.
    bool IsHeading() const {
        double value = 0.0;
        return !CellNumber(row_.Cells()[0], table_.decimal, value);
    }

    // The cell above the times is no label; it may be empty.
    void TakeHeading() {
        hasHeading_ = true;
        const auto cells = row_.Cells().subspan(row_.StartsEmpty() ? 0 : 1);
        for (const std::string_view cell : cells) labels_.push_back(PlainCell(cell));
    }

    void Begin(int64_t number) {
        columns_ = row_.Cells().size();
        if (columns_ > static_cast<size_t>(maxTraces) + 1) throw TableError(tableTooWideText);
        points_.firstRow = number;
        points_.values = SampleBlocks(static_cast<int>(columns_ - 1));
        values_.resize(columns_ - 1);
        points_.smallestStep = std::numeric_limits<double>::max();  // no step is known
    }

    void TakeTime(int64_t number) {
        const std::string_view cell = row_.Cells()[0];
        double time = 0.0;
        if (!CellNumber(cell, table_.decimal, time) || !std::isfinite(time))
            throw TableError(NotANumberText(number, cell));
        if (time < 0.0)
            throw TableError("Time values in clipboard data must be non-negative. Abandoning paste.");
        if (!points_.times.empty()) {
            const double previous = points_.times.back();
            if (time <= previous)
                throw TableError(
                    fmt::format("Time at row {} ({:.3f}) is not greater than previous time ({:.3f}). "
                                "Time must be strictly increasing. Abandoning paste.",
                                number, time, previous));
            points_.smallestStep = std::min(points_.smallestStep, time - previous);
        }
        points_.times.push_back(time);
    }

    void TakeValues(int64_t number) {
        for (size_t i = 0; i < values_.size(); ++i) {
            const std::string_view cell = row_.Cells()[i + 1];
            double value = 0.0;
            if (!CellNumber(cell, table_.decimal, value)) throw TableError(NotANumberText(number, cell));
            values_[i] = value;
            if (points_.rowWithoutNumber == 0 && !std::isfinite(static_cast<float>(value)))
                points_.rowWithoutNumber = number;
        }
        points_.values.Append(values_);
    }

    [[noreturn]] void RefuseWidth(int64_t number, size_t columns) const {
        throw TableError(
            fmt::format("Number of columns ({}) in row {} of clipboard data does not match first "
                        "data row with {} columns. Abandoning paste.",
                        columns, number, columns_));
    }

    Session& session_;
    TableFormat table_;
    EmptyCellCheck emptyCells_;
    TableRow row_;
    int64_t blankRow_ = 0;  // the first one behind the last row of data
    bool hasRows_ = false, hasHeading_ = false;
    size_t columns_ = 0;  // of the table, with the times; 0 before its first row of data
    std::vector<double> values_;
    std::vector<std::string> labels_;
    SparsePoints points_;
};

constexpr const char* unitNames[] = {"ms", "s", "min"};

}  // namespace

std::vector<double> SparsePoints::TimesMs(double factor) const {
    std::vector<double> ms(times.begin(), times.end());
    for (double& time : ms) time *= factor;
    return ms;
}

std::vector<float> SparsePoints::Values(int column) const {
    std::vector<float> all(static_cast<size_t>(values.Rows()));
    values.Read(column, 0, all);
    return all;
}

std::vector<std::string> SparseTimeUnits() { return {std::begin(unitNames), std::end(unitNames)}; }

double SparseTimeFactor(int32_t unit) { return unit == 0 ? 1.0 : unit == 1 ? 1000.0 : 60000.0; }

int64_t FirstCollision(const SparsePoints& points, double factor, double interval) {
    int64_t before = -1, index = 0;
    for (const double time : points.times) {
        const int64_t position = SparsePosition(time * factor, interval);
        if (position == before) return index;
        before = position;
        ++index;
    }
    return -1;
}

std::string CurveFault(const SparsePoints& points, size_t count, const FillSettings& fill) {
    if (!fill.IsCurve()) return {};
    const int64_t rowBehind = points.firstRow + static_cast<int64_t>(count);
    if (points.rowWithoutNumber != 0 && points.rowWithoutNumber < rowBehind)
        return fmt::format(
            "Row {} holds a value that is infinite or not a number, through which no curve goes. "
            "Leave that row out, or mark the gaps as inactive.",
            points.rowWithoutNumber);
    return InterpolatorFault(fill.Kind(), count);
}

SparsePoints ReadSparse(Session& session, TextReader& text, TableFormat table) {
    SparseRows rows(session, table);
    {
        TableReader reader(session, text, "Reading");
        std::string_view line;
        while (reader.Next(line)) rows.Take(line, reader.Row());
    }
    return rows.Finish();
}

std::optional<SparsePoints> AskSparsePoints(Session& session, TextReader& text) {
    const TableOutline outline = Outline(text);
    const auto table = AskTableFormat(session, outline.first);
    if (!table) return {};
    std::optional<SparsePoints> points;
    ReadTelling(session, [&] { points = ReadSparse(session, text, *table); });
    return points;
}

}  // namespace kymora
