#pragma once
// Tables of numbers in text: what a number looks like, where the cells of a row end, which lines at the top
// are no data, and a parser that reads any amount of text piece by piece.

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace kymora {

inline constexpr const char* labelCountText =
    "The number of trace labels read from the specified label row does not match the number of data "
    "columns.\n"
    "Check that there are no empty cells or separator tokens ('tab' or ',') within the labels.";

// How rows are laid out. Several separators in a row are one. A cell in quotes may hold separators; doubled
// quotes within are one.
struct RowFormat {
    std::string separators = ",\t ";
    char decimal = '.';
    int64_t skipColumns = 0;  // cells of each row, from the left, that are no data
    int64_t skipRows = 0;     // rows at the top that are no data
    int64_t labelRow = 0;     // counted from 1; no data wherever it stands; 0 for none
    int64_t labelColumn = 0;  // the same of the cells of a row

    // What separates labels: blanks do not, as a rule.
    std::string LabelSeparators() const;
    // The usual layouts of a locale with this decimal separator.
    static RowFormat Of(char decimal);
    // Numbers with points, whatever the locale: comma and semicolon both separate.
    static RowFormat Points();
};

// The number that a text is as a whole: "12", "+2", ".5", "1e-3", "NaN", "inf". What is too large for a
// double becomes infinite. Nothing for any other text.
std::optional<double> ReadNumber(std::string_view text, char decimal = '.');

// The text of a cell in double quotes, in which doubled ones stand for themselves; any other cell as it is.
std::string UnquotedCell(std::string_view cell);

// The cells of one line without their quotes.
std::vector<std::string> SplitCells(std::string_view line, std::string_view separators);

// The lines before the table: before the first that holds data, or before the data behind the last heading
// where all numbers above belong to that heading. All, where no line holds data. A line holds data as far as
// one can tell when there is something in it, and every character is a digit, ".", "-", ",", ";" or white
// space, or stands in a cell that is a number.
size_t CountTopRows(std::span<const std::string_view> lines, const RowFormat& format);

// The labels in a line: split at tab and comma or semicolon, else also at blanks; without the columns that
// are skipped, else whole. None where no way gives as many as there are.
std::vector<std::string> LabelsOfLine(std::string_view line, const RowFormat& format, size_t count);

// Takes what the parser finds. An answer of false ends the parsing.
class RowSink {
  public:
    virtual ~RowSink() = default;
    // The next values of a row, which is counted from 1 in the text; up to mostValuesAtOnce come in one call.
    // Rows without a cell do not come.
    virtual bool TakeValues(int64_t row, std::span<const double> values, bool endsRow) = 0;
    // A row of the top, or that of the labels; no more than the first MiB of it.
    virtual bool TakeLine(int64_t, std::string_view) { return true; }
    // The cell in the column of the labels.
    virtual bool TakeLabel(std::string_view) { return true; }
};

class RowParser {
  public:
    static constexpr size_t mostValuesAtOnce = 4096;

    RowParser(const RowFormat& format, RowSink& sink);

    // Parses a piece of text with "\n" as line ends, which may be cut anywhere. False when the sink wants no
    // more, or at a cell that is no number; nothing may follow then.
    bool Take(std::string_view piece);
    // What was left without a line end.
    bool Finish();

    // A cell that is no number: its row, counted from 1, and its text, shortened; row 0: there was none.
    int64_t FaultRow() const { return faultRow_; }
    const std::string& FaultText() const { return faultText_; }
    // The first row that has its empty cells (two separators that are no blanks) in other places than the
    // first row of values; 0: there is none. Its values may lie in the wrong columns.
    int64_t OddRow() const { return oddRow_; }
    // The first row between others that has separators and no cell; 0: there is none.
    int64_t HollowRow() const { return hollowRow_; }
    // The fault is one of a decimal separator: with points the cell is several numbers, or one and no number
    // with a comma came before.
    bool SeemsToUsePoints() const { return seemsToUsePoints_; }

  private:
    enum Kind : uint8_t { inside, blank, separator, lineEnd };
    Kind KindOf(char c) const { return kinds_[static_cast<unsigned char>(c)]; }
    bool IsTextRow() const { return row_ <= format_.skipRows || row_ == format_.labelRow; }

    const char* TakeText(const char* p, const char* end);
    const char* TakeCells(const char* p, const char* end);
    const char* FinishPending(const char* p, const char* end);
    const char* CellEnd(const char* p, const char* end) const;
    const char* FastNumber(const char* p, double& value);
    bool TakeCell(std::string_view text);
    bool AddValue(double value);
    bool EndRow();
    void CloseCell();
    void CheckPlaces();
    bool EndText();
    bool Refuse(std::string_view text);

    RowFormat format_;
    RowSink& sink_;
    std::array<Kind, 256> kinds_{};
    int64_t plainFrom_ = 0;  // the cells from here on are values
    int64_t row_ = 1;
    int64_t cell_ = 0;           // cells of the row so far
    size_t count_ = 0;           // values of the row that wait
    bool isBehindCell_ = false;  // no separator has come since the last cell
    int64_t emptyCells_ = 0;     // since the last cell
    uint64_t places_ = 0;        // of the row's empty cells, as one number
    std::optional<uint64_t> firstPlaces_;
    int64_t oddRow_ = 0, hollowRow_ = 0;
    int64_t waitingHollowRow_ = 0;  // nothing has come behind it so far
    bool textBegun_ = false;
    bool sawDecimal_ = false;
    std::string text_;     // of a row that is no data
    std::string pending_;  // of a cell that a piece cut
    int64_t faultRow_ = 0;
    std::string faultText_;
    bool seemsToUsePoints_ = false;
    std::array<double, mostValuesAtOnce> values_;
};

}  // namespace kymora
