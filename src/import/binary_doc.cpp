#include "import/binary_doc.h"

#include <fmt/format.h>

#include "archive/text_encoding.h"
#include "document/side_car.h"

namespace kymora {

void CBinaryDoc::Load() {
    if (FoldCase(filePath.string()).find(".bin") == std::string::npos)
        throw OpenError("You must select a .bin file");
    sampleFile = OpenReadOnly();
    if (sampleFile->Length() == 0) throw OpenError(fmt::format("{} is empty.", filePath.filename().string()));
    ChooseFormat();
    MeasureFile();
    reader_ = std::make_unique<BinarySampleReader>(*sampleFile, format_.layout);
    FillModel();
    ReadOwnSideCar();
}

void CBinaryDoc::ChooseFormat() {
    CBinaryFormat format(GetSession(), CurrentOpening());
    const bool asks = GetOpening().Asks();
    const std::string name = filePath.filename().string();
    if (asks && !format.IsSettled() && !format.Ask(*sampleFile, name)) throw OpenDeclined();
    format_ = format.Format();
    if (!asks && format.IsGuess())
        Tell(fmt::format("{} is read as {} trace(s) of the type \"{}\", {} ms from sample to sample. The "
                         "command line says otherwise with --import binaryTraces=N, binaryType=TYPE and "
                         "binaryInterval=MS.",
                         name, format_.layout.traces,
                         binaryTypes[static_cast<size_t>(format_.layout.type)].text, format_.interval));
}

void CBinaryDoc::MeasureFile() {
    const uint64_t size = sampleFile->Length();
    const auto stride = static_cast<uint64_t>(format_.layout.Stride());
    if (size < stride)
        throw OpenError(fmt::format("{} holds {} bytes. One sample of each of {} traces takes {}.",
                                    filePath.filename().string(), size, format_.layout.traces, stride));
    if (size % stride != 0)
        Tell("It seems that not all channels contain the same number of samples. Discarding remainder.");
    length_ = static_cast<int64_t>(size / stride);
    if (length_ > longestRecording) {
        Tell(tooLongText);
        length_ = longestRecording;
    }
}

void CBinaryDoc::FillModel() {
    sampleInterval = format_.interval;
    traceCount = format_.layout.traces;
    for (int t = 0; t < traceCount; ++t) traces[static_cast<size_t>(t)].traceAutoscale = 1;
    SetLength(length_);
}

void CBinaryDoc::ReadOwnSideCar() {
    const SideCarResult sideCar = ReadSideCar(*this);
    if (sideCar == SideCarResult::damaged) {
        ResetModel();
        FillModel();
    }
    if (sideCar == SideCarResult::read) ScaleUnknownTraces(*this);
}

void CBinaryDoc::ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) {
    if (pieces.empty()) return;
    std::vector<BinaryPiece> parts;
    for (const StoredRead& piece : pieces) parts.push_back({piece.trace, piece.values.data()});
    reader_->Read(storedIndex, static_cast<int64_t>(pieces[0].values.size()), parts);
}

void CBinaryDoc::FoldStored(int64_t storedIndex, int64_t count, FoldSlots slots,
                            std::span<const TraceFold> folds) {
    std::vector<BinaryFold> parts;
    for (const TraceFold& fold : folds)
        parts.push_back({fold.trace, traces[static_cast<size_t>(fold.trace)].traceGain, fold.low, fold.high});
    reader_->Fold(storedIndex, count, slots, parts);
}

void CBinaryDoc::FoldStoredStretches(int trace, std::span<const FoldStretch> stretches) {
    reader_->FoldStretches(trace, traces[static_cast<size_t>(trace)].traceGain, stretches);
}

Reopening CBinaryDoc::ToReopen() const {
    Reopening again = CDataDoc::ToReopen();
    ImportSettings& settings = again.settings;
    settings["binaryTraces"] = std::to_string(format_.layout.traces);
    settings["binaryInterval"] = fmt::format("{}", format_.interval);  // reads back as the same number
    settings["binaryType"] = std::to_string(static_cast<int>(format_.layout.type));
    return again;
}

}  // namespace kymora
