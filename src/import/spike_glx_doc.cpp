#include "import/spike_glx_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "import/digital_lines.h"

namespace kymora {

namespace {

constexpr size_t rowBytesAtOnce = 1 << 20;
constexpr uint64_t rowsBetweenUpdates = 1 << 22;
constexpr uint16_t syncBit = 1u << 6;  // of a probe's status word; the others are no lines

}  // namespace

std::vector<DataStream> CSpikeGlxDoc::ReadStreams(const DataFile& file) {
    FileSystem& files = GetSession().files;
    std::filesystem::path meta = filePath, data = filePath;
    const bool isMeta = FoldedExtension(filePath) == ".meta";
    std::filesystem::path& other = isMeta ? data : meta;
    other.replace_extension(isMeta ? ".bin" : ".meta");
    if (!FindBeside(files, other))
        if (auto upper = other; FindBeside(files, upper.replace_extension(isMeta ? ".BIN" : ".META")))
            other = upper;
    const std::string name = meta.filename().string();
    if (isMeta) {
        meta_ = std::make_unique<SpikeGlxMeta>(ReadTextFile(file, name), name);
        sampleFile = OpenBeside(files, data);
    } else {
        meta_ = std::make_unique<SpikeGlxMeta>(ReadTextFile(*OpenBeside(files, meta), name), name);
    }
    const size_t columns = meta_->Columns().size();
    scans_ = static_cast<int64_t>(sampleFile->Length() / (2 * columns));
    DataStream stream{meta_->Type(), meta_->Rate(), scans_};
    for (const GlxColumn& column : meta_->Columns()) stream.channels.push_back({column.label, column.units});
    if (!meta_->DigitalColumns().empty()) stream.digitalBytes = sampleFile->Length();
    return {stream};
}

ForeignRecording CSpikeGlxDoc::ReadStream(const StreamChoice& choice) {
    ForeignRecording recording;
    recording.interval = 1000.0 / meta_->Rate();
    const auto stride = static_cast<uint32_t>(2 * meta_->Columns().size());
    for (const int place : choice.channels) {
        const GlxColumn& column = meta_->Columns()[static_cast<size_t>(place)];
        ForeignTrace& trace = recording.traces.emplace_back(ForeignTrace{column.label, column.units, {}});
        const bool isWord = column.kind == GlxKind::digital || column.kind == GlxKind::sync;
        trace.source.type = isWord ? NumberType::u16 : NumberType::i16;
        trace.source.stride = stride;
        trace.source.scales = {{column.factor}};
        trace.source.Add(0, scans_, 2 * static_cast<uint64_t>(place));
    }
    recording.warnings = meta_->Warnings();
    const double stated = meta_->Number("fileSizeBytes").value_or(0.0);
    const uint64_t held = sampleFile->Length(), rowBytes = 2 * meta_->Columns().size();
    if (static_cast<double>(held) < stated)
        recording.warnings.push_back(fmt::format(
            "The samples end early: their file holds {} of the {:.0f} bytes that its text states.", held,
            stated));
    else if (held % rowBytes != 0)
        recording.warnings.push_back(fmt::format(
            "The last {} bytes of the samples are no whole row and are left out.", held % rowBytes));
    if (choice.digital) ReadDigital(recording, choice.from);
    const std::string& created = meta_->Text("fileCreateTime");
    recording.comment = "SpikeGLX";
    if (const std::string& probe = meta_->Text("imDatPrb_pn"); !probe.empty())
        recording.comment += ", probe " + probe;
    if (!created.empty()) recording.comment += ", created " + created;
    recording.comment += "\r\n";
    if (const auto first = meta_->Number("firstSample"))
        recording.comment += fmt::format("First sample of the run: {:.0f}\r\n", *first);
    if (const std::string& notes = meta_->Text("userNotes"); !notes.empty())
        recording.comment += notes + "\r\n";
    int year = 0, month = 0, day = 0, hour = 0, minute = 0, second = 0;
    if (std::sscanf(created.c_str(), "%4d-%2d-%2dT%2d:%2d:%2d", &year, &month, &day, &hour, &minute,
                    &second) == 6 &&
        IsTime(hour, minute, second)) {
        recording.startClock = ((hour * 60.0 + minute) * 60.0 + second) * 1000.0;
        recording.startDate = DayOf(year, month, day);
    }
    recording.details = {{"File type", "SpikeGLX, " + meta_->Type()},
                         {"Saved channels", meta_->Text("snsSaveChanSubset")},
                         {"Stated bytes", meta_->Text("fileSizeBytes")}};
    return recording;
}

void CSpikeGlxDoc::ReadDigital(ForeignRecording& recording, int64_t from) {
    const size_t rowBytes = 2 * meta_->Columns().size();
    const size_t rowsAtOnce = std::max<size_t>(rowBytesAtOnce / rowBytes, 1);
    const std::vector<size_t>& words = meta_->DigitalColumns();
    DigitalLines lines(meta_->LineNames(), from);
    std::vector<std::byte> bytes(rowsAtOnce * rowBytes);
    std::unique_ptr<Progress> progress;
    const auto all = static_cast<uint64_t>(scans_);
    for (uint64_t row = 0, told = 0; row < all && !lines.IsFull();) {
        const size_t rows = static_cast<size_t>(std::min<uint64_t>(rowsAtOnce, all - row));
        ReadWhole(*sampleFile, row * rowBytes, std::span(bytes).first(rows * rowBytes));
        for (size_t w = 0; w < words.size(); ++w) {
            const bool isSync = meta_->Columns()[words[w]].kind == GlxKind::sync;
            const std::byte* at = bytes.data() + 2 * words[w];
            for (size_t r = 0; r < rows; ++r, at += rowBytes) {
                uint16_t bits = 0;
                std::memcpy(&bits, at, sizeof bits);
                if (isSync) bits &= syncBit;
                lines.TakeWord(static_cast<int64_t>(row + r), w, bits);
            }
        }
        row += rows;
        if (row - told >= rowsBetweenUpdates / words.size()) {
            told = row;
            if (!GoesOn(progress, "Reading digital lines", row, all)) throw OpenDeclined();
        }
    }
    lines.Finish(recording, scans_, "Digital line", "The digital lines of this file");
}

}  // namespace kymora
