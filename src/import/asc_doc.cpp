#include "import/asc_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

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
            return;
        }
        lines.push_back(rest.substr(0, end));
        rest.remove_prefix(end + 1);
    }
}

// --- opening ---

bool CAscDoc::Load(OpenFor) {
    if (!IsTextFileName(filePath)) {
        Refuse("You must select a .asc, .csv or .txt file");
        return false;
    }
    std::unique_ptr<DataFile> file;
    try {
        RememberStamp(filePath);
        file = GetSession().files.Open(filePath, OpenMode::readOnly);
    } catch (const FileError& error) {
        Refuse(std::string("Couldn't open file\n") + error.what());
        return false;
    }
    TextReader reader(*file);
    if (!LoadText(reader)) return false;
    FillModel();
    ReadOwnSideCar();
    return true;
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

void CAscDoc::Refuse(const std::string& text) const { GetHost().Message(text); }

bool CAscDoc::LoadText(TextReader& reader) {
    {
        const Head head(reader);
        if (!SettleLayout(head)) return false;
    }
    Outcome outcome = ReadRows(reader);
    if (outcome == Outcome::points) {
        openCancelled = !GetHost().Confirm(pointsText);
        if (openCancelled) return false;
        decimal_ = '.';
        decimalIsStated_ = true;
        reader.Rewind();
        outcome = ReadRows(reader);
    }
    if (outcome == Outcome::done) TellInterval();
    return outcome == Outcome::done;
}

void CAscDoc::TellInterval() {
    Session& session = GetSession();
    if (session.askForDetails || session.ImportSetting("sampleInterval")) return;
    Notify(
        "TextFileInterval",
        fmt::format("No sample interval is given for {}; {} ms is used. The command line takes another one, "
                    "with --import sampleInterval=MS.",
                    filePath.filename().string(), layout_.sampleInterval));
}

bool CAscDoc::SettleLayout(const Head& head) {
    Session& session = GetSession();
    layout_ = session.textFile;
    decimal_ = session.decimalSeparator;
    try {
        const std::optional<char> stated = TakeTextSettings(session, layout_);
        decimalIsStated_ = stated.has_value();
        decimal_ = stated.value_or(decimal_);
    } catch (const TextSettingError& error) {
        session.importSettingRefused = true;
        Refuse(error.what());
        return false;
    }
    if (session.askForDetails) return AskLayout(head);
    if (layout_.skipRows < 0) layout_.skipRows = GuessSkipRows(head, layout_.skipColumns);
    return true;
}

bool CAscDoc::AskLayout(const Head& head) {
    Session& session = GetSession();
    TextFileQuestion question;
    question.preview = TextPreview(head.lines);
    for (const char* key : textLayoutKeys)
        if (session.ImportSetting(key)) question.known.insert(key);
    if (layout_.skipRows < 0) {
        layout_.skipRows = GuessSkipRows(head, layout_.skipColumns);
        question.guess = [this, &head](int skipColumns) { return GuessSkipRows(head, skipColumns); };
    }
    if (question.known.size() == std::size(textLayoutKeys)) return true;
    openCancelled = !AskTextFile(session, question, layout_);
    if (openCancelled) return false;
    // What the user did not answer is no default for the next file.
    TextFileDefaults& kept = session.textFile;
    const auto isAnswered = [&](const char* key) { return question.known.count(key) == 0; };
    if (isAnswered("sampleInterval")) kept.sampleInterval = layout_.sampleInterval;
    if (isAnswered("skipRows")) kept.skipRows = layout_.skipRows;
    if (isAnswered("skipColumns")) kept.skipColumns = layout_.skipColumns;
    if (isAnswered("labelRow")) kept.labelRow = layout_.labelRow;
    if (isAnswered("dataInColumns")) kept.dataInColumns = layout_.dataInColumns;
    return true;
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

CAscDoc::Outcome CAscDoc::ReadRows(TextReader& reader) {
    const RowFormat format = Format();
    TextSampleReader rows(format, layout_.dataInColumns);
    const auto parser = std::make_unique<RowParser>(format, rows);
    const bool taken = Feed(reader, *parser);
    if (openCancelled) return Outcome::failed;
    if (!taken && parser->FaultRow() != 0) {
        if (parser->SeemsToUsePoints() && !decimalIsStated_) return Outcome::points;
        Refuse(fmt::format("Error reading datum as float: row {}, text: '{}'", parser->FaultRow(),
                           parser->FaultText()));
        return Outcome::failed;
    }
    if (TellProblem(rows)) return Outcome::failed;
    samples_ = rows.Samples();
    comment_ = rows.Comment();
    labels_ = layout_.labelRow > 0 ? rows.Labels() : std::vector<std::string>();
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
    return Outcome::done;
}

// False when the parser or the user wants no more.
bool CAscDoc::Feed(TextReader& reader, RowParser& parser) {
    ProgressScope progress(GetHost(), "Reading text", reader.Length(), bytesWithoutProgress);
    for (;;) {
        const std::string_view piece = reader.NextPiece();
        if (piece.empty()) return parser.Finish();
        if (!parser.Take(piece)) return false;
        openCancelled = !progress.GoesOn(reader.BytesRead());
        if (openCancelled) return false;
    }
}

bool CAscDoc::TellProblem(TextSampleReader& rows) const {
    switch (rows.Check()) {
    case TextSampleReader::Problem::none:
        return false;
    case TextSampleReader::Problem::noTraces:
        Refuse(noTracesText);
        return true;
    case TextSampleReader::Problem::tooManyTraces:
        Refuse(fmt::format(tooManyTracesText, rows.ProblemNumber()));
        return true;
    case TextSampleReader::Problem::raggedRow:
        Refuse(fmt::format(raggedRowText, rows.ProblemNumber()));
        return true;
    case TextSampleReader::Problem::tooLong:
        Refuse(tooLongText);
        return true;
    }
    return true;
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

std::map<std::string, std::string> CAscDoc::SettingsToReopen() const {
    std::map<std::string, std::string> settings = GetSession().importSettings;
    settings["sampleInterval"] = fmt::format("{}", layout_.sampleInterval);
    settings["skipRows"] = std::to_string(layout_.skipRows);
    settings["skipColumns"] = std::to_string(layout_.skipColumns);
    settings["labelRow"] = std::to_string(layout_.labelRow);
    settings["dataInColumns"] = layout_.dataInColumns ? "1" : "0";
    if (decimalIsStated_ || decimal_ != '.') settings["decimalSeparator"] = std::string(1, decimal_);
    return settings;
}

std::function<std::unique_ptr<CDataDoc>(Session&)> CAscDoc::TwinMaker() const {
    return [samples = samples_, path = filePath, layout = layout_](Session& session) {
        auto twin = std::make_unique<CAscDoc>(session);
        twin->filePath = path;
        twin->samples_ = samples;
        twin->layout_ = layout;
        twin->FillModel();
        twin->AllocateBuffers();
        return twin;
    };
}

}  // namespace kymora
