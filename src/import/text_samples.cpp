#include "import/text_samples.h"

#include "document/data_doc.h"

namespace kymora {

namespace {

constexpr size_t mostCommentBytes = 1 << 20;

}  // namespace

void TextSamples::Read(int trace, int64_t from, std::span<float> to) const {
    if (tables_.size() == 1)
        tables_[0].Read(trace, from, to);
    else
        tables_[static_cast<size_t>(trace)].Read(0, from, to);
}

TextSampleReader::TextSampleReader(const RowFormat& format, bool dataInColumns)
    : format_(format), dataInColumns_(dataInColumns), samples_(std::make_shared<TextSamples>()) {}

bool TextSampleReader::Fail(Problem problem, int64_t number) {
    problem_ = problem;
    problemNumber_ = number;
    return false;
}

bool TextSampleReader::TakeValues(int64_t row, std::span<const double> values, bool endsRow) {
    valuesInRow_ += static_cast<int64_t>(values.size());
    const bool goOn =
        dataInColumns_ ? TakeSampleRow(row, values, endsRow) : TakeTraceRow(row, values, endsRow);
    if (!endsRow) return goOn;
    valuesInRow_ = 0;
    ++rowsTaken_;
    return goOn;
}

bool TextSampleReader::TakeSampleRow(int64_t row, std::span<const double> values, bool endsRow) {
    TextSamples& samples = *samples_;
    if (rowsTaken_ == 0) {
        // A row that does not come in one piece has more values than there can be traces; they are counted.
        if (!endsRow) return true;
        if (valuesInRow_ > maxTraces) return Fail(Problem::tooManyTraces, valuesInRow_);
        if (valuesInRow_ == 0) return Fail(Problem::noTraces, 0);
        samples.traces_ = static_cast<int>(valuesInRow_);
        samples.tables_.emplace_back(samples.traces_);
    }
    if (!endsRow || valuesInRow_ != samples.traces_) return Fail(Problem::raggedRow, row);
    if (samples.length_ == longestRecording) return Fail(Problem::tooLong, row);
    samples.tables_[0].Append(values);
    ++samples.length_;
    return true;
}

// Traces that are too many are counted and not kept.
bool TextSampleReader::TakeTraceRow(int64_t row, std::span<const double> values, bool endsRow) {
    TextSamples& samples = *samples_;
    const bool isFirst = rowsTaken_ == 0;
    if (isFirst && valuesInRow_ > longestRecording) return Fail(Problem::tooLong, row);
    if (!isFirst && valuesInRow_ > samples.length_) return Fail(Problem::raggedRow, row);
    if (rowsTaken_ < maxTraces) {
        if (static_cast<int64_t>(samples.tables_.size()) == rowsTaken_)
            samples.tables_.emplace_back(1, samples.length_);
        samples.tables_.back().Append(values);
    }
    if (!endsRow) return true;
    if (valuesInRow_ == 0) return Fail(Problem::noTraces, 0);
    if (!isFirst && valuesInRow_ != samples.length_) return Fail(Problem::raggedRow, row);
    samples.length_ = valuesInRow_;
    samples.traces_ = static_cast<int>(samples.tables_.size());
    return true;
}

bool TextSampleReader::TakeLine(int64_t row, std::string_view line) {
    if (row == format_.labelRow) labelLine_ = line;
    if (row <= format_.skipRows && comment_.size() + line.size() < mostCommentBytes)
        comment_.append(line).append("\r\n");
    return true;
}

bool TextSampleReader::TakeLabel(std::string_view label) {
    if (labelColumn_.size() < maxTraces) labelColumn_.emplace_back(label);
    return true;
}

TextSampleReader::Problem TextSampleReader::Check() {
    if (problem_ != Problem::none) return problem_;
    if (rowsTaken_ == 0) Fail(Problem::noTraces, 0);
    if (!dataInColumns_ && rowsTaken_ > maxTraces) Fail(Problem::tooManyTraces, rowsTaken_);
    return problem_;
}

std::vector<std::string> TextSampleReader::Labels() const {
    const auto count = static_cast<size_t>(samples_->Traces());
    if (dataInColumns_) return LabelsOfLine(labelLine_, format_, count);
    return labelColumn_.size() == count ? labelColumn_ : std::vector<std::string>();
}

}  // namespace kymora
