#include "import/asc_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "archive/text_encoding.h"
#include "archive/text_reader.h"
#include "document/side_car.h"
#include "import/text_file_form.h"
#include "import/text_settings.h"

namespace kymora {

namespace {

// What the guess looks at.
constexpr size_t mostHeadLines = 1000;
constexpr size_t mostHeadBytes = 1 << 20;
constexpr uint64_t bytesWithoutProgress = 1 << 20;

constexpr const char* noTracesText = "WARNING: no data channels read. Check skip rows or skip columns.";
constexpr const char* tooManyTracesText = "WARNING: There appear to be {} traces in this file, Kymora cannot "
                                          "handle more than 128.\n(Make sure your "
                                          "traces are in column format, with each row a sample.)";
constexpr const char* raggedRowText = "The number of samples in file row {} is different from previous "
                                      "rows.\nAll rows must have the same number "
                                      "of samples. Aborting load.";
constexpr const char* pointsText =
    "This file seems to use '.' as the decimal separator (the locale uses ','). Continue, using '.' as "
    "separator?";

bool IsTextFileName(const std::filesystem::path& path) {
    const std::string name = FoldCase(path.string());
    for (const char* extension : {".asc", ".csv", ".txt"})
        if (name.find(extension) != std::string::npos) return true;
    return false;
}

}  // namespace

// The first lines of a file.
struct CAscDoc::Head {
    explicit Head(TextReader& reader);
    std::string text;
    std::vector<std::string_view> lines;
    bool isWholeFile = false;
};

CAscDoc::Head::Head(TextReader& reader) {
    bool atEnd = false;
    while (text.size() < mostHeadBytes && !atEnd) {
        const std::string_view piece = reader.NextPiece();
        text += piece;
        atEnd = piece.empty();
    }
    reader.Rewind();
    std::string_view rest = text;
    while (!rest.empty() && lines.size() < mostHeadLines) {
        const size_t end = rest.find('\n');
        if (end == std::string_view::npos) {
            // The last cell of a line that goes on is cut.
            const size_t lastCell = atEnd ? rest.size() : std::min(rest.find_last_of(",;\t "), rest.size());
            lines.push_back(rest.substr(0, lastCell));
            isWholeFile = atEnd;
            return;
        }
        lines.push_back(rest.substr(0, end));
        rest.remove_prefix(end + 1);
    }
    isWholeFile = atEnd && rest.empty();
}

// --- opening ---

void CAscDoc::Load() {
    if (!IsTextFileName(filePath)) throw OpenError("You must select a .asc, .csv or .txt file");
    RememberStamp(filePath);
    const std::unique_ptr<DataFile> file = OpenReadOnly();
    TextReader reader(*file);
    LoadText(reader);
    FillModel();
    ReadOwnSideCar();
}

void CAscDoc::ReadOwnSideCar() {
    const SideCarResult sideCar = ReadSideCar(*this);
    if (sideCar == SideCarResult::damaged) {
        ResetModel();
        FillModel();
    }
    if (sideCar != SideCarResult::read) return;
    ScaleUnknownTraces(*this);
    // Made without a label row, or with fewer traces, the side-car has no labels for those nobody has seen.
    for (size_t t = 0; t < labels_.size(); ++t)
        if (traces[t].traceAutoscale != 0 && traces[t].traceLabel.empty()) traces[t].traceLabel = labels_[t];
}

// What does not lead to a table is asked for again, with the reason.
void CAscDoc::LoadText(TextReader& reader) {
    const Head head(reader);
    SettleLayout(head);
    bool isAsked = GetOpening().Asks() && AskLayout(head, {});
    for (;;) {
        try {
            ReadTable(reader);
            break;
        } catch (const OpenError& error) {
            if (!isAsked) throw;
            GetHost().Log(fmt::format("{}: {}\n", filePath.string(), error.what()));
            isAsked = AskLayout(head, error.what());
            reader.Rewind();
        }
    }
    if (isAsked) KeepAnswers(head);
    TellInterval();
}

void CAscDoc::ReadTable(TextReader& reader) {
    if (ReadRows(reader)) return;
    if (!GetHost().Confirm(pointsText)) throw OpenDeclined();
    decimal_ = '.';
    decimalIsStated_ = true;
    reader.Rewind();
    ReadRows(reader);
}

void CAscDoc::TellInterval() {
    if (GetOpening().Asks() || CurrentOpening().Setting("sampleInterval")) return;
    Notify(
        "TextFileInterval",
        fmt::format("No sample interval is given for {}; {} ms is used. The command line takes another one, "
                    "with --import sampleInterval=MS.",
                    filePath.filename().string(), layout_.sampleInterval));
}

void CAscDoc::SettleLayout(const Head& head) {
    layout_ = GetSession().textFile;
    const std::optional<char> stated = TakeTextSettings(CurrentOpening(), layout_);
    decimalIsStated_ = stated.has_value();
    decimal_ = stated.value_or(GetSession().decimalSeparator);
    ProposeRows(head);
    ProposeLabelRow(head);
}

// The number of traces that the head of the file gives with the layout as it stands; 0 where it cannot be
// read like that.
int CAscDoc::TracesInHead(const Head& head) const {
    const RowFormat format = Format();
    TextSampleReader rows(format, layout_.dataInColumns);
    const auto parser = std::make_unique<RowParser>(format, rows);
    const size_t whole = head.isWholeFile ? head.lines.size() : head.lines.size() - 1;
    bool goesOn = true;
    for (size_t i = 0; i < whole && goesOn; ++i) goesOn = parser->Take(head.lines[i]) && parser->Take("\n");
    const bool isRead = goesOn && parser->Finish();
    if (!isRead && parser->FaultRow() != 0) return 0;
    return rows.Check() == TextSampleReader::Problem::none ? rows.Samples()->Traces() : 0;
}

// The rows and columns that were skipped in the last file, unless they do not fit this one: the file cannot
// be read so, or a guess that fitted that one leaves out rows that hold data.
void CAscDoc::ProposeRows(const Head& head) {
    const auto guess = [&] { layout_.skipRows = GuessSkipRows(head, layout_.skipColumns); };
    rowsAreGuessed_ = layout_.skipRows < 0;
    if (rowsAreGuessed_) guess();
    if (IsSettled("skipRows") || head.lines.empty()) return;
    const bool leavesOutData =
        !layout_.isStated && layout_.skipRows > GuessSkipRows(head, layout_.skipColumns);
    if (!leavesOutData && TracesInHead(head) > 0) return;
    rowsAreGuessed_ = true;
    guess();
    if (IsSettled("skipColumns") || layout_.skipColumns == 0 || TracesInHead(head) > 0) return;
    const int columns = std::exchange(layout_.skipColumns, 0);
    guess();
    if (TracesInHead(head) > 0) return;
    layout_.skipColumns = columns;
    guess();
}

// The row of labels of the last file, unless it holds data or other numbers of labels here: then the last row
// of the top, where that one fits.
void CAscDoc::ProposeLabelRow(const Head& head) {
    if (layout_.labelRow == 0 || IsSettled("labelRow") || !layout_.dataInColumns) return;
    const auto traceCountInHead = static_cast<size_t>(TracesInHead(head));
    const RowFormat format = Format();
    const auto fits = [&](int row) {
        if (row < 1 || static_cast<size_t>(row) > head.lines.size()) return false;
        const std::span line(&head.lines[static_cast<size_t>(row) - 1], 1);
        const bool holdsData = row > layout_.skipRows && CountTopRows(line, format) == 0;
        return !holdsData && !LabelsOfLine(line[0], format, traceCountInHead).empty();
    };
    if (traceCountInHead == 0 || fits(layout_.labelRow)) return;
    layout_.labelRow = fits(layout_.skipRows) ? layout_.skipRows : 0;
}

// False where there is nothing to ask.
bool CAscDoc::AskLayout(const Head& head, const std::string& fault) {
    TextFileQuestion question;
    question.preview = TextPreview(head.lines);
    question.fault = fault;
    for (const char* key : textLayoutKeys)
        if (IsSettled(key)) question.known.insert(key);
    if (rowsAreGuessed_ && fault.empty())
        question.guess = [this, &head](int skipColumns) { return GuessSkipRows(head, skipColumns); };
    if (question.known.size() == std::size(textLayoutKeys)) return false;
    if (!AskTextFile(GetSession(), question, layout_)) throw OpenDeclined();
    return true;
}

// What the user did not answer is no default for the next file.
void CAscDoc::KeepAnswers(const Head& head) {
    TextFileDefaults& kept = GetSession().textFile;
    if (!IsSettled("sampleInterval")) kept.sampleInterval = layout_.sampleInterval;
    if (!IsSettled("skipRows")) {
        kept.skipRows = layout_.skipRows;
        kept.isStated = layout_.skipRows != GuessSkipRows(head, layout_.skipColumns);
    }
    if (!IsSettled("skipColumns")) kept.skipColumns = layout_.skipColumns;
    if (!IsSettled("labelRow")) kept.labelRow = layout_.labelRow;
    if (!IsSettled("dataInColumns")) kept.dataInColumns = layout_.dataInColumns;
}

// The rows before the first that holds data. Where no whole row looks like data, dates or labels may stand in
// the columns that are skipped.
int CAscDoc::GuessSkipRows(const Head& head, int skipColumns) const {
    RowFormat formats[] = {decimalIsStated_ && decimal_ == '.' ? RowFormat::Points()
                                                               : RowFormat::Of(decimal_),
                           RowFormat::Points()};
    const size_t formatCount = decimal_ == ',' && !decimalIsStated_ ? 2 : 1;
    for (const int64_t skipped : {int64_t{0}, int64_t{skipColumns}}) {
        size_t rows = head.lines.size();
        for (size_t i = 0; i < formatCount; ++i) {
            formats[i].skipColumns = skipped;
            rows = std::min(rows, CountTopRows(head.lines, formats[i]));
        }
        if (rows < head.lines.size()) return static_cast<int>(rows);
    }
    return static_cast<int>(head.lines.size());
}

RowFormat CAscDoc::Format() const {
    RowFormat format = decimalIsStated_ && decimal_ == '.' ? RowFormat::Points() : RowFormat::Of(decimal_);
    format.skipRows = layout_.skipRows;
    format.skipColumns = layout_.skipColumns;
    (layout_.dataInColumns ? format.labelRow : format.labelColumn) = layout_.labelRow;
    return format;
}

// False where the numbers seem to have points, which the user has to say.
bool CAscDoc::ReadRows(TextReader& reader) {
    const RowFormat format = Format();
    TextSampleReader rows(format, layout_.dataInColumns);
    const auto parser = std::make_unique<RowParser>(format, rows);
    if (!Feed(reader, *parser) && parser->FaultRow() != 0) {
        if (parser->SeemsToUsePoints() && !decimalIsStated_) return false;
        throw OpenError(fmt::format("Error reading datum as float: row {}, text: '{}'", parser->FaultRow(),
                                    parser->FaultText()));
    }
    TakeTable(rows);
    if (layout_.labelRow > 0 && labels_.empty()) Tell(labelCountText);
    if (parser->OddRow() != 0)
        Tell(fmt::format(
            "Row {} has its empty cells in other places than the rows before it. Several separators "
            "count as one, so that its values may lie in the wrong columns.",
            parser->OddRow()));
    if (parser->HollowRow() != 0)
        Tell(
            fmt::format("Row {} has separators and no values. It was passed over, so that what follows comes "
                        "earlier by a sample.",
                        parser->HollowRow()));
    return true;
}

// False when the parser wants no more.
bool CAscDoc::Feed(TextReader& reader, RowParser& parser) {
    ProgressScope progress(GetHost(), "Reading text", reader.Length(), bytesWithoutProgress);
    for (;;) {
        const std::string_view piece = reader.NextPiece();
        if (piece.empty()) return parser.Finish();
        if (!parser.Take(piece)) return false;
        if (!progress.GoesOn(reader.BytesRead())) throw OpenDeclined();
    }
}

void CAscDoc::TakeTable(TextSampleReader& rows) {
    switch (rows.Check()) {
    case TextSampleReader::Problem::none:
        break;
    case TextSampleReader::Problem::noTraces:
        throw OpenError(noTracesText);
    case TextSampleReader::Problem::tooManyTraces:
        throw OpenError(fmt::format(tooManyTracesText, rows.ProblemNumber()));
    case TextSampleReader::Problem::raggedRow:
        throw OpenError(fmt::format(raggedRowText, rows.ProblemNumber()));
    case TextSampleReader::Problem::tooLong:
        throw OpenError(tooLongText);
    }
    samples_ = rows.Samples();
    comment_ = rows.Comment();
    labels_ = layout_.labelRow > 0 ? rows.Labels() : std::vector<std::string>();
}

// --- the model ---

void CAscDoc::FillModel() {
    sampleInterval = layout_.sampleInterval;
    traceCount = samples_->Traces();
    SetLength(samples_->Length());
    for (size_t t = 0; t < static_cast<size_t>(traceCount); ++t) {
        traces[t].traceAutoscale = 1;
        if (t < labels_.size()) traces[t].traceLabel = labels_[t];
    }
    fileComment = comment_;
}

void CAscDoc::ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) {
    for (const StoredRead& piece : pieces) samples_->Read(piece.trace, storedIndex, piece.values);
}

Reopening CAscDoc::ToReopen() const {
    Reopening again = CDataDoc::ToReopen();
    ImportSettings& settings = again.settings;
    settings["sampleInterval"] = fmt::format("{}", layout_.sampleInterval);
    settings["skipRows"] = std::to_string(layout_.skipRows);
    settings["skipColumns"] = std::to_string(layout_.skipColumns);
    settings["labelRow"] = std::to_string(layout_.labelRow);
    settings["dataInColumns"] = layout_.dataInColumns ? "1" : "0";
    if (decimalIsStated_ || decimal_ != '.') settings["decimalSeparator"] = std::string(1, decimal_);
    again.twin = [samples = samples_, path = filePath, layout = layout_](Session& session) {
        auto twin = std::make_unique<CAscDoc>(session);
        twin->filePath = path;
        twin->samples_ = samples;
        twin->layout_ = layout;
        twin->FillModel();
        twin->AllocateBuffers();
        return twin;
    };
    return again;
}

}  // namespace kymora
