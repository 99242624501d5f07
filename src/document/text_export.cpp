#include "document/text_export.h"

#include <algorithm>

#include "archive/text_encoding.h"
#include "document/native_writer.h"
#include "document/text_table.h"

namespace kymora {
namespace {

constexpr int64_t blockRows = 16384;
constexpr size_t flushedAtOnce = 1 << 18;  // characters

std::string WithPlainLineEnds(std::string_view text) {
    std::string plain;
    for (size_t i = 0; i < text.size(); ++i)
        if (!(text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n')) plain += text[i];
    return ToDisplayText(plain);
}

class TextExport {
  public:
    TextExport(CDataDoc& doc, CArchive& archive) : doc_(doc), archive_(archive) {
        for (int c = 0; c < maxEventChannels; ++c)
            if (doc.GetNumEvents(c) != 0) channels_.push_back(c);
        samples_ = doc.GetLength();
        rows_ = samples_;
        for (const int c : channels_) rows_ = std::max<int64_t>(rows_, doc.GetNumEvents(c));
        const size_t rowRoom =
            (static_cast<size_t>(doc.traceCount) + 2 * channels_.size()) * (fixedRoom + 1) + 1;
        buffer_.resize(rowRoom + flushedAtOnce);
        end_ = buffer_.data();
    }

    void Write() {
        WriteHeading();
        const auto count = static_cast<size_t>(doc_.traceCount);
        std::vector<std::vector<float>> values(count, std::vector<float>(blockRows));
        std::vector<std::vector<uint8_t>> valid(count, std::vector<uint8_t>(blockRows));
        ProgressScope progress(doc_.GetHost(), "Writing text", static_cast<uint64_t>(rows_));
        for (int64_t at = 0; at < rows_; at += blockRows) {
            progress.At(static_cast<uint64_t>(at));
            const auto rows = static_cast<size_t>(std::min(blockRows, rows_ - at));
            const auto inside = static_cast<size_t>(std::clamp<int64_t>(samples_ - at, 0, blockRows));
            std::vector<TraceBlock> blocks;
            for (size_t t = 0; t < count; ++t)
                blocks.push_back(
                    {static_cast<int>(t), {values[t].data(), inside}, {valid[t].data(), inside}});
            if (inside != 0) doc_.ReadBlocks(at, blocks);
            for (size_t row = 0; row < rows; ++row) {
                if (row < inside) PutSamples(blocks, row);
                PutEvents(at + static_cast<int64_t>(row));
                if (end_ > buffer_.data() + flushedAtOnce) Flush();
            }
        }
        Flush();
    }

  private:
    void WriteHeading() {
        // Letters only while every channel that is listed has one.
        const bool letters = doc_.GetSession().options.eventChannelMode == letterChannels &&
                             (channels_.empty() || channels_.back() < letterChannels);
        std::string text = WithPlainLineEnds(doc_.fileComment) + "\nSample interval:\t";
        AppendFixed(text, doc_.sampleInterval);
        text += "\nNumber of data channels:\t" + std::to_string(doc_.traceCount);
        text += "\nNumber of samples per data channel:\t" + std::to_string(samples_) + "\n";
        for (int t = 1; t <= doc_.traceCount; ++t) text += "Data trace " + std::to_string(t) + "\t";
        for (const int c : channels_) {
            const std::string name =
                letters ? std::string(1, static_cast<char>('a' + c)) : std::to_string(c + 1);
            text += "Event channel " + name + ": ";
            text += CellText(doc_.eventChannels[static_cast<size_t>(c)].channelLabel) + "\t\t";
        }
        text += '\n';
        for (int t = 0; t < doc_.traceCount; ++t)
            text += CellText(doc_.traces[static_cast<size_t>(t)].traceLabel) + "\t";
        for (size_t i = 0; i < channels_.size(); ++i) text += "on time\tduration\t";
        text += '\n';
        archive_.WriteRaw(std::as_bytes(std::span(text)));
    }

    void PutSamples(const std::vector<TraceBlock>& blocks, size_t row) {
        for (const TraceBlock& block : blocks) PutCell(block.valid[row] != 0 ? block.values[row] : 0.0f);
    }

    void PutEvents(int64_t row) {
        for (const int c : channels_) {
            if (row < doc_.GetNumEvents(c)) {
                const CEventKM& event = *doc_.GetEvent(c, static_cast<int>(row));
                PutCell(doc_.TimeOf(event.onPosition));
                PutCell(doc_.TimeOf(int64_t{event.offPosition} - event.onPosition));
            } else {
                *end_++ = '\t';
                *end_++ = '\t';
            }
        }
        *end_++ = '\n';
    }

    void PutCell(double value) {
        end_ = WriteFixed(end_, value);
        *end_++ = '\t';
    }

    void Flush() {
        archive_.WriteRaw(std::as_bytes(std::span(buffer_.data(), end_)));
        end_ = buffer_.data();
    }

    CDataDoc& doc_;
    CArchive& archive_;
    std::vector<int> channels_;  // those with events
    int64_t samples_ = 0;
    int64_t rows_ = 0;
    std::vector<char> buffer_;  // room for one row behind what is written at once
    char* end_ = nullptr;       // of what stands in it
};

}  // namespace

void WriteTextExport(CDataDoc& doc, const std::filesystem::path& path) {
    WriteFileAtomically(doc.GetSession().files, path,
                        [&](CArchive& archive) { TextExport(doc, archive).Write(); });
}

bool ExportAsText(CDataDoc& doc, const std::filesystem::path& path) {
    Host& host = doc.GetHost();
    if (doc.hasGaps && !host.Confirm(textExportGapText)) return false;
    try {
        WriteTextExport(doc, path);
        return true;
    } catch (const FileError& error) {
        host.Failure(std::string("The file was not written.\n") + error.what());
        return false;
    }
}

}  // namespace kymora
