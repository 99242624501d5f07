#pragma once
// Rows of a table as text: from a spreadsheet, whose cells lie between tabs, or from a program that writes
// its cells between commas or semicolons.

#include <cstdint>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "archive/text_reader.h"
#include "host/session.h"

namespace kymora {

// What the text is refused for; what() is told to the user.
class TableError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

inline constexpr size_t previewRows = 20;
// A longer row is refused: what stands behind it is not read.
inline constexpr size_t longestRow = size_t{1} << 20;  // bytes

// What a text looks like before it is read.
struct TableOutline {
    std::vector<std::string> first;  // rows of the preview
    int64_t rows = 0;                // blank ones at the end do not count
    bool IsEmpty() const { return rows == 0; }
};
// Goes through the whole text, from its start. Throws FileError.
TableOutline Outline(TextReader& text);

struct TableFormat {
    char separator = '\t';
    char decimal = '.';
};
// Cells lie between tabs. A text without any has them between semicolons, or else commas, if each of its
// rows of data holds one; a comma that is the decimal separator does not count. Where the locale has decimal
// commas and the numbers have points, the user is asked; nothing when the answer is to give up.
std::optional<TableFormat> AskTableFormat(Session& session, std::span<const std::string> first);

// Rows at the top that are no data, as in text files.
int32_t GuessTopRows(std::span<const std::string> first);

// The cells of a row. Several separators are one, and none counts at the ends of the row. A cell in double
// quotes may hold separators.
class TableRow {
  public:
    // False for a row that holds nothing but blanks and separators; it has no cells.
    bool Split(std::string_view line, char separator);
    std::span<const std::string_view> Cells() const { return cells_; }
    // The same for two rows whose empty cells stand in the same places.
    uint64_t Places() const { return places_; }
    bool StartsEmpty() const { return startsEmpty_; }

  private:
    std::vector<std::string_view> cells_;
    uint64_t places_ = 0;
    bool startsEmpty_ = false;
};

bool IsBlankRow(std::string_view line);
// Blanks and quotes around the text of a cell taken away.
std::string PlainCell(std::string_view cell);
// False for a cell that is no number from its first character to its last.
bool CellNumber(std::string_view cell, char decimal, double& value);
// Cut where it is too long to be shown in a message or a grid.
std::string ShownCell(std::string_view cell, size_t most = 40);

// Row by row through a text, from its start, with a progress that the user may cancel.
class TableReader {
  public:
    TableReader(Session& session, TextReader& text, std::string_view label);
    // False at the end. Throws TableError for a row that is too long, Cancelled, and FileError.
    bool Next(std::string_view& line);
    int64_t Row() const { return row_; }  // of the last line, counted from 1

  private:
    TextReader& text_;
    ProgressScope progress_;
    std::string line_;
    int64_t row_ = 0;
};

// Asks once whether to go on with rows whose empty cells stand in other places than those of the first row:
// their values may lie in the wrong columns.
class EmptyCellCheck {
  public:
    explicit EmptyCellCheck(Session& session) : session_(session) {}
    // Throws Cancelled when the user gives up.
    void Look(const TableRow& row, int64_t number);

  private:
    Session& session_;
    std::optional<uint64_t> places_;
    bool asked_ = false;
};

std::string NotANumberText(int64_t row, std::string_view cell);

}  // namespace kymora
