#include "exchange/new_contiguous.h"

#include <fmt/format.h>

#include <limits>

#include "document/native_writer.h"
#include "document/new_file.h"
#include "host/form.h"
#include "import/text_rows.h"

namespace kymora {

namespace {

constexpr uint32_t contiguousVersion = 1;
constexpr const char* contiguousHistory = "File: New: From clipboard: Contiguous data\r\n\r\n";
constexpr const char* contiguousComment = "Data from clipboard.\r\n";
constexpr const char* newNameTitle = "New file name";

// Takes up the rows of a table.
class ContiguousRows {
  public:
    ContiguousRows(Session& session, TableFormat table, const ReadDataFormat& format)
        : table_(table), format_(format), emptyCells_(session) {}

    void Take(std::string_view line, int64_t number) {
        const bool isBlank = !row_.Split(line, table_.separator);
        if (!isBlank) lastRow_ = number;
        if (number == format_.labelRow) TakeLabels();
        if (number <= format_.skipRows) return;
        // Blank rows around the data are nothing; one within is a row without columns.
        if (isBlank && blankRow_ == 0) blankRow_ = number;
        if (isBlank) return;
        if (columns_ == 0)
            Begin();
        else if (blankRow_ != 0)
            RefuseWidth(blankRow_, 0);
        blankRow_ = 0;
        if (row_.Cells().size() != columns_) RefuseWidth(number, row_.Cells().size());
        emptyCells_.Look(row_, number);
        AddSamples(number);
    }

    PastedRecording Finish(Session& session) {
        if (lastRow_ == 0) throw TableError(noDataReadText);
        if (lastRow_ <= format_.skipRows) throw TableError("You have skipped all the data rows! Abandoning.");
        if (samples_.Rows() == 0) throw TableError(noDataReadText);
        PastedRecording recording;
        recording.sampleInterval = format_.sampleInterval;
        recording.runs = RunList({static_cast<uint32_t>(samples_.Rows())});
        recording.samples = std::move(samples_);
        recording.comment = contiguousComment;
        recording.history = contiguousHistory;
        if (format_.labelRow > 0 && labels_.size() != columns_)
            session.host.Message(labelCountText);
        else if (format_.labelRow > 0)
            for (const size_t column : kept_) recording.labels.push_back(labels_[column]);
        return recording;
    }

  private:
    void TakeLabels() {
        for (const std::string_view cell : row_.Cells()) labels_.push_back(PlainCell(cell));
    }

    // The first row of data says how many columns there are.
    void Begin() {
        columns_ = row_.Cells().size();
        kept_ = format_.Kept(columns_);
        if (kept_.empty()) throw TableError("You have skipped all the data columns! Abandoning.");
        if (kept_.size() > static_cast<size_t>(maxTraces)) throw TableError(tableTooWideText);
        values_.resize(kept_.size());
        samples_ = SampleBlocks(static_cast<int>(kept_.size()));
    }

    void AddSamples(int64_t number) {
        for (size_t i = 0; i < kept_.size(); ++i) {
            const std::string_view cell = row_.Cells()[kept_[i]];
            double value = 0.0;
            if (!CellNumber(cell, table_.decimal, value)) throw TableError(NotANumberText(number, cell));
            values_[i] = value;
        }
        if (samples_.Rows() == longestRecording)
            throw TableError(
                fmt::format("There are more than {} rows in the data. Abandoning.", longestRecording));
        samples_.Append(values_);
    }

    [[noreturn]] void RefuseWidth(int64_t number, size_t columns) const {
        throw TableError(
            fmt::format("Row {} has {} columns, previous rows had {} columns. Need same number in each row. "
                        "Abandoning.",
                        number, columns, columns_));
    }

    TableFormat table_;
    const ReadDataFormat& format_;
    EmptyCellCheck emptyCells_;
    TableRow row_;
    size_t columns_ = 0;  // of the table; 0 before its first row of data
    std::vector<size_t> kept_;
    std::vector<double> values_;
    std::vector<std::string> labels_;
    SampleBlocks samples_;
    int64_t lastRow_ = 0;   // that is not blank
    int64_t blankRow_ = 0;  // the first one behind the last row of data
};

std::optional<std::filesystem::path> PasteBlock(Session& session, std::span<const std::byte> block,
                                                std::span<CDataDoc* const> open) {
    session.host.Log("got Netlumen clipboard format\n");
    if (block.size() >= firstRefusedBlockSize) {
        session.host.Failure(blockTooLargeText);
        return {};
    }
    const auto path = AskNewFileName(session, newNameTitle, open);
    if (!path) return {};
    return WriteNewFile(session, *path, [&] { WriteNativeBlock(session, block, *path); });
}

// The settings of the last time, with the rows to skip as this table has them.
ReadDataFormat StartFormat(const Session& session, CPasteContiguousData& last, const TableOutline& outline) {
    const auto kept = session.operationSettings.find(last.ClassName());
    if (kept != session.operationSettings.end()) {
        try {
            last.TakeSettings(kept->second);
        } catch (const ArchiveError&) {  // the defaults do as well
            last.m_Format = {};
        }
    }
    ReadDataFormat format = last.m_Format;
    format.skipRows = GuessTopRows(outline.first);
    if (format.labelRow > format.skipRows) format.labelRow = 0;
    return format;
}

std::optional<std::filesystem::path> PasteTable(Session& session, const std::string& clipboard,
                                                std::span<CDataDoc* const> open) {
    TextReader text{std::string_view(clipboard)};
    const TableOutline outline = Outline(text);
    if (outline.IsEmpty()) {
        session.host.Failure(noDataReadText);
        return {};
    }
    const auto table = AskTableFormat(session, outline.first);
    if (!table) return {};
    CPasteContiguousData settings;
    Form form = MakeReadDataForm(outline, *table, StartFormat(session, settings, outline));
    if (!session.host.AskForm(form)) return {};
    settings.m_Format = ReadDataFormatFrom(form);
    PastedRecording recording;
    if (!ReadTelling(session, [&] { recording = ReadContiguous(session, text, *table, settings.m_Format); }))
        return {};
    session.operationSettings[settings.ClassName()] = settings.Settings();
    const auto path = AskNewFileName(session, newNameTitle, open);
    if (!path) return {};
    return WriteNewFile(session, *path, [&] { WritePasted(session, recording, *path); });
}

}  // namespace

PastedRecording ReadContiguous(Session& session, TextReader& text, TableFormat table,
                               const ReadDataFormat& format) {
    ContiguousRows rows(session, table, format);
    {
        TableReader reader(session, text, "Reading");
        std::string_view line;
        while (reader.Next(line)) rows.Take(line, reader.Row());
    }
    return rows.Finish(session);
}

std::optional<std::filesystem::path> PasteContiguousData(Session& session, std::span<CDataDoc* const> open) {
    try {
        if (const auto block = session.host.ReadClipboard(recordingFormat))
            return PasteBlock(session, *block, open);
        return PasteTable(session, session.host.ReadClipboardText(), open);
    } catch (const ClipboardError& error) {
        session.host.Failure(error.what());
        return {};
    }
}

// --- the operation of the terminal ---

void CPasteContiguousData::Describe(ParamList& list) {
    constexpr double most = std::numeric_limits<int32_t>::max();
    DescribeFile(
        list, "A text file with the table, in the place of the clipboard; or a whole native file, which is "
              "copied");
    list.Number("sampleInterval", "Sample interval (ms)", m_Format.sampleInterval)
        .Unit("ms")
        .Limits(leastPastedInterval, greatestPastedInterval)
        .Tip("The time from one row to the next");
    list.Integer("skipRows", "Top rows to skip", m_Format.skipRows)
        .Limits(-1, most)
        .Tip("Rows above the data, such as headings; -1 counts those at the top that are no numbers");
    list.Integer("skipColumns", "Left columns to skip", m_Format.skipColumns)
        .Limits(0, most)
        .Tip("Columns before the data, such as times or frame numbers");
    list.Integer("labelRow", "Use row as labels (0 = no labels)", m_Format.labelRow)
        .Limits(0, most)
        .Tip(labelRowTip);
    list.Group("X Y column data");
    list.Integer("x", "X", m_Format.beforeX)
        .Limits(0, mostColumnsBetween)
        .Tip("Columns to skip before each X column");
    list.Integer("y", "Y", m_Format.beforeY)
        .Limits(0, mostColumnsBetween)
        .Tip("Columns to skip between each X column and its Y column");
    list.Integer("skip", "skip", m_Format.behindY)
        .Limits(0, mostColumnsBetween)
        .Tip("Columns to skip behind each Y column");
}

std::string CPasteContiguousData::CheckSettings() {
    return m_Format.skipRows >= 0 && m_Format.labelRow > m_Format.skipRows ? labelRowFault : "";
}

void CPasteContiguousData::Serialize(CArchive& archive) {
    CNewRecordingDlg::Serialize(archive);
    ExchangeVersion(archive, contiguousVersion, ClassName());
    Exchange(archive, m_Format.sampleInterval);
    for (int32_t* number : {&m_Format.skipRows, &m_Format.skipColumns, &m_Format.labelRow, &m_Format.beforeX,
                            &m_Format.beforeY, &m_Format.behindY})
        Exchange(archive, *number);
}

void CPasteContiguousData::GetParamText(std::string& text) {
    text += fmt::format(
        "Sample interval: {:.9g} ms\r\nTop rows to skip: {}\r\nLeft columns to skip: {}\r\nLabel row: {}\r\n"
        "X: {}, Y: {}, skip: {}\r\n",
        m_Format.sampleInterval, m_Format.skipRows, m_Format.skipColumns, m_Format.labelRow, m_Format.beforeX,
        m_Format.beforeY, m_Format.behindY);
}

bool CPasteContiguousData::WriteRecording(Session& session, const std::filesystem::path& out) {
    return WriteFromFile(session, [&](const DataFile& file) {
        if (!BeginsAsNativeFile(file)) {
            TextReader text(file);
            return WriteTable(session, text, out);
        }
        if (file.Length() >= firstRefusedBlockSize) {
            session.host.Failure(blockTooLargeText);
            return false;
        }
        return WriteNewFile(session, out, [&] { WriteNativeBlock(session, file, out); }).has_value();
    });
}

bool CPasteContiguousData::WriteTable(Session& session, TextReader& text,
                                      const std::filesystem::path& out) const {
    const TableOutline outline = Outline(text);
    const auto table = AskTableFormat(session, outline.first);
    if (!table) return false;
    ReadDataFormat format = m_Format;
    if (format.skipRows < 0) format.skipRows = GuessTopRows(outline.first);
    if (format.labelRow > format.skipRows) {
        session.host.Failure(labelRowFault);
        return false;
    }
    PastedRecording recording;
    return ReadTelling(session, [&] { recording = ReadContiguous(session, text, *table, format); }) &&
           WriteNewFile(session, out, [&] { WritePasted(session, recording, out); }).has_value();
}

}  // namespace kymora
