#include "exchange/read_data_form.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

namespace kymora {

namespace {

constexpr size_t mostColumnsShown = 200;
constexpr size_t longestCellShown = 24;

// The first rows of a table, taken apart.
struct Preview {
    std::vector<std::vector<std::string>> cells;
    std::vector<size_t> widths;  // of each row, also of what is not shown
    size_t columns = 0;          // shown
    int64_t rows = 0;            // of the whole table
};

Preview MakePreview(const TableOutline& outline, TableFormat table) {
    Preview preview;
    preview.rows = outline.rows;
    TableRow row;
    for (const std::string& line : outline.first) {
        row.Split(line, table.separator);
        const auto shown = row.Cells().first(std::min(row.Cells().size(), mostColumnsShown));
        std::vector<std::string> cells;
        for (const std::string_view cell : shown)
            cells.push_back(ShownCell(PlainCell(cell), longestCellShown));
        preview.columns = std::max(preview.columns, cells.size());
        preview.widths.push_back(row.Cells().size());
        preview.cells.push_back(std::move(cells));
    }
    return preview;
}

// Columns of the first row of data; of the last row that is known, when all of those are skipped.
size_t DataColumns(const Preview& preview, const ReadDataFormat& format) {
    for (size_t row = static_cast<size_t>(std::max(format.skipRows, 0)); row < preview.widths.size(); ++row)
        if (preview.widths[row] != 0) return preview.widths[row];
    return preview.widths.empty() ? 0 : preview.widths.back();
}

std::string RowName(int32_t row, const ReadDataFormat& format) {
    return row == format.labelRow ? fmt::format("{} labels", row) : std::to_string(row);
}

// Shows what the numbers of the form mean for the table.
void Follow(Form& form, const Preview& preview) {
    const ReadDataFormat format = ReadDataFormatFrom(form);
    Field& grid = form["data"];
    grid.choices = {"Row"};
    int trace = 0;
    for (size_t column = 0; column < preview.columns; ++column)
        grid.choices.push_back(format.Keeps(column) ? fmt::format("{}: Ax {}", column + 1, ++trace)
                                                    : std::to_string(column + 1));
    grid.rows.clear();
    for (size_t row = 0; row < preview.cells.size(); ++row) {
        grid.rows.push_back({RowName(static_cast<int32_t>(row) + 1, format)});
        grid.rows.back().insert(grid.rows.back().end(), preview.cells[row].begin(), preview.cells[row].end());
        grid.rows.back().resize(preview.columns + 1);
    }
    grid.dimmed = [format](size_t row, size_t column) {
        const auto number = static_cast<int64_t>(row) + 1;
        if (number == format.labelRow) return column > 0 && !format.Keeps(column - 1);
        return number <= format.skipRows || (column > 0 && !format.Keeps(column - 1));
    };
    form["rowCount"].text = std::to_string(std::max<int64_t>(preview.rows - format.skipRows, 0));
    form["columnCount"].text = std::to_string(format.Kept(DataColumns(preview, format)).size());
}

void AddCount(Form& form, const char* key, const char* label, int32_t value, double greatest,
              const char* toolTip) {
    form.AddInteger(key, label, value, toolTip).Limits(0.0, greatest).Spin();
}

void AddFormatFields(Form& form, const ReadDataFormat& start) {
    constexpr double most = std::numeric_limits<int32_t>::max();
    AddCount(form, "skipRows", "Top rows to skip", start.skipRows, most,
             "Rows above the data, such as headings");
    AddCount(form, "skipColumns", "Left columns to skip", start.skipColumns, most,
             "Columns before the data, such as times or frame numbers");
    AddCount(form, "labelRow", "Use row as labels (0 = no labels)", start.labelRow, most, labelRowTip);
    AddCount(form, "x", "X", start.beforeX, mostColumnsBetween,
             "X Y column data: columns to skip before each X column");
    AddCount(form, "y", "Y", start.beforeY, mostColumnsBetween,
             "X Y column data: columns to skip between each X column and its Y column");
    AddCount(form, "skip", "skip", start.behindY, mostColumnsBetween,
             "X Y column data: columns to skip behind each Y column");
}

}  // namespace

bool ReadDataFormat::Keeps(size_t column) const {
    const auto left = static_cast<size_t>(std::max(skipColumns, 0));
    if (column < left) return false;
    const auto x = static_cast<size_t>(beforeX);
    const size_t y = x + 1 + static_cast<size_t>(beforeY);
    const size_t place = (column - left) % (y + 1 + static_cast<size_t>(behindY));
    return place == x || place == y;
}

std::vector<size_t> ReadDataFormat::Kept(size_t columns) const {
    std::vector<size_t> kept;
    for (size_t column = 0; column < columns; ++column)
        if (Keeps(column)) kept.push_back(column);
    return kept;
}

void ReadDataFormat::SetDeepLabCut() {
    skipRows = 3;
    skipColumns = 1;
    beforeX = beforeY = 0;
    behindY = 1;
}

Form MakeReadDataForm(const TableOutline& outline, TableFormat table, const ReadDataFormat& start) {
    const auto preview = std::make_shared<const Preview>(MakePreview(outline, table));
    Form form("Read Data Format");
    form.AddTable("data", {}, {}, "Data");
    AddFormatFields(form, start);
    form.AddAction(
        "dlc", "DLC",
        [preview](Form& asked) {
            ReadDataFormat format = ReadDataFormatFrom(asked);
            format.SetDeepLabCut();
            asked["skipRows"].number = format.skipRows;
            asked["skipColumns"].number = format.skipColumns;
            asked["x"].number = format.beforeX;
            asked["y"].number = format.beforeY;
            asked["skip"].number = format.behindY;
            Follow(asked, *preview);
        },
        deepLabCutTip);
    form.AddNumber("sampleInterval", "Sample interval (ms)", start.sampleInterval,
                   "The time from one row to the next")
        .Limits(leastPastedInterval, greatestPastedInterval);
    form.AddNote("rowCount", "", "n rows");
    form.AddNote("columnCount", "", "n cols");
    form.onChange = [preview](Form& asked) { Follow(asked, *preview); };
    form.validate = [](const Form& asked) -> std::string {
        return asked.Integer("labelRow") > asked.Integer("skipRows") ? labelRowFault : "";
    };
    Follow(form, *preview);
    return form;
}

ReadDataFormat ReadDataFormatFrom(const Form& form) {
    ReadDataFormat format;
    format.sampleInterval = form.Number("sampleInterval");
    format.skipRows = form.Integer("skipRows");
    format.skipColumns = form.Integer("skipColumns");
    format.labelRow = form.Integer("labelRow");
    // While the user types, a count may be beyond its limits.
    const auto between = [&](const char* key) {
        return std::clamp(form.Integer(key), 0, mostColumnsBetween);
    };
    format.beforeX = between("x");
    format.beforeY = between("y");
    format.behindY = between("skip");
    return format;
}

}  // namespace kymora
