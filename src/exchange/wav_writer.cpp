#include "exchange/wav_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "document/native_writer.h"
#include "exchange/export_source.h"
#include "exchange/whole_numbers.h"
#include "numerics/rounding.h"

namespace kymora {

namespace {

constexpr double fullScale = 32767.0;
constexpr uint32_t sizeElsewhere = 0xFFFFFFFF;  // in RF64

// The bytes of chunks; a body of odd length is followed by a byte that does not count.
class ChunkBytes {
  public:
    void Number(uint64_t value, int bytes) {
        for (int i = 0; i < bytes; ++i) bytes_ += static_cast<char>(value >> (8 * i) & 0xFF);
    }
    void Text(std::string_view text) { bytes_ += text; }
    void Chunk(std::string_view id, const ChunkBytes& body) {
        Text(id);
        Number(body.bytes_.size(), 4);
        Text(body.bytes_);
        if (body.bytes_.size() % 2 != 0) Number(0, 1);
    }
    const std::string& Bytes() const { return bytes_; }

  private:
    std::string bytes_;
};

class WavExport {
  public:
    WavExport(CDataDoc& doc, WavNumbers numbers, uint64_t largestRiff)
        : doc_(doc), isPcm_(numbers == WavNumbers::pcm16), largestRiff_(largestRiff) {
        for (int t = 0; t < doc.traceCount; ++t) length_ = std::max(length_, doc.GetTraceLength(t));
    }
    void Prepare(ProgressScope& progress);
    void Write(CArchive& archive, ProgressScope& progress);
    int64_t Length() const { return length_; }
    std::vector<std::string> notes;

  private:
    uint64_t FrameBytes() const { return (isPcm_ ? 2u : 4u) * static_cast<uint64_t>(doc_.traceCount); }
    ChunkBytes Format() const;
    ChunkBytes Info() const;
    void AddCues(ChunkBytes& chunks) const;
    std::string Head() const;
    template <typename Number>
    void WriteSamples(CArchive& archive, ProgressScope& progress);

    CDataDoc& doc_;
    bool isPcm_;
    uint64_t largestRiff_;
    int64_t length_ = 0;
    uint32_t rate_ = 0;   // Hz
    double scale_ = 1.0;  // the value of the number 1
};

void WavExport::Prepare(ProgressScope& progress) {
    if (doc_.noData || length_ == 0)
        throw FileError("The recording holds no samples that a wave audio file could hold.", 0);
    const double rate = 1000.0 / doc_.sampleInterval;
    if (!(rate >= 0.5) || rate > 4294967295.0)
        throw FileError(fmt::format("A wave audio file cannot hold a sample rate of {:.6g} Hz.", rate), 0);
    rate_ = static_cast<uint32_t>(RoundHalfAway64(rate));
    if (std::fabs(rate_ - rate) > 1e-9 * rate)
        notes.push_back(fmt::format("The sample rate became {} Hz instead of {:.9g} Hz: it is a whole number "
                                    "in such files.",
                                    rate_, rate));
    if (std::string text = NotKeptText(doc_, {.comment = true}); !text.empty())
        notes.push_back(std::move(text));
    if (!isPcm_) return;
    double largest = 0.0;
    for (const TraceExtremes& extremes : FindExtremes(doc_, progress))
        largest = std::max({largest, std::fabs(extremes.low), std::fabs(extremes.high)});
    if (largest > 0.0) scale_ = largest / fullScale;
    notes.push_back(fmt::format("The samples are numbers of 16 bits. One of them is {:.9g} units of the "
                                "trace, of all traces; the file's comment says it.",
                                scale_));
}

ChunkBytes WavExport::Format() const {
    ChunkBytes format;
    const auto channels = static_cast<uint64_t>(doc_.traceCount);
    format.Number(isPcm_ ? 1 : 3, 2);
    format.Number(channels, 2);
    format.Number(rate_, 4);
    format.Number(std::min<uint64_t>(rate_ * FrameBytes(), 0xFFFFFFFF), 4);
    format.Number(FrameBytes(), 2);
    format.Number(isPcm_ ? 16 : 32, 2);
    if (!isPcm_) format.Number(0, 2);
    return format;
}

// What the form has no place for, as a comment.
ChunkBytes WavExport::Info() const {
    std::string text;
    for (int t = 0; t < doc_.traceCount; ++t) {
        const TraceSettings& trace = doc_.traces[static_cast<size_t>(t)];
        text += fmt::format("Channel {}: {} [{}]\r\n", t + 1, trace.traceLabel, trace.traceUnits);
    }
    if (isPcm_) text += fmt::format("Value of the number 1: {:.9g}\r\n", scale_);
    text += doc_.fileComment;
    ChunkBytes comment, list;
    comment.Text(text);
    comment.Number(0, 1);
    list.Text("INFO");
    list.Chunk("ICMT", comment);
    return list;
}

void WavExport::AddCues(ChunkBytes& chunks) const {
    ChunkBytes cues, list;
    uint64_t count = 0;
    ChunkBytes points;
    list.Text("adtl");
    for (const int c : ExportChannels(doc_))
        for (int i = 0; i < doc_.GetNumEvents(c); ++i) {
            const CEventKM& event = *doc_.GetEvent(c, i);
            if (event.onPosition < 0) continue;  // it has no place
            const auto at = static_cast<uint64_t>(event.onPosition);
            ++count;
            points.Number(count, 4);
            points.Number(at, 4);
            points.Text("data");
            points.Number(0, 8);
            points.Number(at, 4);
            ChunkBytes label, length;
            label.Number(count, 4);
            label.Text(ExportEventText(doc_, c, event));
            label.Number(0, 1);
            list.Chunk("labl", label);
            length.Number(count, 4);
            length.Number(static_cast<uint64_t>(std::max(event.offPosition - event.onPosition, 1)), 4);
            length.Text("rgn ");
            length.Number(0, 8);
            list.Chunk("ltxt", length);
        }
    if (count == 0) return;
    cues.Number(count, 4);
    cues.Text(points.Bytes());
    chunks.Chunk("cue ", cues);
    chunks.Chunk("LIST", list);
}

// All that stands before the samples.
std::string WavExport::Head() const {
    ChunkBytes chunks, head;
    chunks.Chunk("fmt ", Format());
    if (!isPcm_) {
        ChunkBytes fact;
        fact.Number(static_cast<uint64_t>(length_), 4);
        chunks.Chunk("fact", fact);
    }
    chunks.Chunk("LIST", Info());
    AddCues(chunks);
    const uint64_t data = static_cast<uint64_t>(length_) * FrameBytes();
    const uint64_t all = 4 + chunks.Bytes().size() + 8 + data + data % 2;
    const bool isLarge = all > largestRiff_;
    head.Text(isLarge ? "RF64" : "RIFF");
    head.Number(isLarge ? sizeElsewhere : all, 4);
    head.Text("WAVE");
    if (isLarge) {
        ChunkBytes sizes;
        sizes.Number(all + 36, 8);
        sizes.Number(data, 8);
        sizes.Number(static_cast<uint64_t>(length_), 8);
        sizes.Number(0, 4);
        head.Chunk("ds64", sizes);
    }
    head.Text(chunks.Bytes());
    head.Text("data");
    head.Number(isLarge ? sizeElsewhere : data, 4);
    return head.Bytes();
}

template <typename Number>
void WavExport::WriteSamples(CArchive& archive, ProgressScope& progress) {
    const auto channels = static_cast<size_t>(doc_.traceCount);
    ExportReader reader(doc_);
    std::vector<Number> frames(channels * exportBlockSamples);
    const NumberScale scale{0.0, 1.0 / scale_, 0.0, -fullScale, fullScale};
    std::vector<int16_t> numbers(isPcm_ ? exportBlockSamples : 0);
    for (int64_t at = 0; at < length_; at += exportBlockSamples) {
        const auto count = static_cast<size_t>(std::min(exportBlockSamples, length_ - at));
        reader.Read(at, static_cast<int64_t>(count));
        for (size_t c = 0; c < channels; ++c) {
            const auto values = reader.Values(static_cast<int>(c)).first(count);
            if constexpr (std::is_same_v<Number, float>) {
                for (size_t i = 0; i < count; ++i) frames[i * channels + c] = values[i];
            } else {
                ToWholeNumbers(values, scale, numbers.data());
                for (size_t i = 0; i < count; ++i) frames[i * channels + c] = numbers[i];
            }
        }
        archive.WriteRaw(std::as_bytes(std::span(frames).first(count * channels)));
        progress.Step(count);
    }
    if (const int64_t gaps = reader.Replaced(); gaps != 0)
        notes.push_back(fmt::format("{} samples that were gaps, or no numbers, became 0.", gaps));
}

void WavExport::Write(CArchive& archive, ProgressScope& progress) {
    const std::string head = Head();
    archive.WriteRaw(std::as_bytes(std::span(head)));
    if (isPcm_)
        WriteSamples<int16_t>(archive, progress);
    else
        WriteSamples<float>(archive, progress);
}

}  // namespace

std::vector<std::string> WriteWavFile(CDataDoc& doc, const std::filesystem::path& path, WavNumbers numbers,
                                      uint64_t largestRiff) {
    WavExport output(doc, numbers, largestRiff);
    const uint64_t passes = numbers == WavNumbers::pcm16 ? 2 : 1;
    ProgressScope progress(doc.GetHost(), "Writing wave audio",
                           passes * static_cast<uint64_t>(output.Length()));
    output.Prepare(progress);
    WriteFileAtomically(doc.GetSession().files, path,
                        [&](CArchive& archive) { output.Write(archive, progress); });
    return std::move(output.notes);
}

}  // namespace kymora
