// The file buffer and the block reads of a document.

#include <algorithm>
#include <cstring>
#include <limits>

#include "document/data_doc.h"

namespace kymora {
namespace {

constexpr float notANumber = std::numeric_limits<float>::quiet_NaN();

void Fill(std::span<const TraceBlock> blocks, size_t at, size_t count, float value, uint8_t valid) {
    for (const TraceBlock& block : blocks) {
        std::fill_n(block.values.begin() + static_cast<std::ptrdiff_t>(at), count, value);
        if (!block.valid.empty()) std::memset(block.valid.data() + at, valid, count);
    }
}

}  // namespace

// --- block reads ---

void CDataDoc::ReadBlocks(int64_t from, std::span<const TraceBlock> blocks) {
    if (blocks.empty()) return;
    const size_t count = blocks[0].values.size();
    if (noData) return Fill(blocks, 0, count, 0.0f, 0);
    int64_t length = GetLength();
    if (!sharedRuns_)  // a trace can be longer than the first, from which the recording has its length
        for (const TraceBlock& block : blocks) length = std::max(length, GetTraceLength(block.trace));
    const int64_t end = from + static_cast<int64_t>(count);
    const int64_t first = std::clamp<int64_t>(from, 0, length);
    const int64_t last = std::clamp<int64_t>(end, first, length);
    const auto before = static_cast<size_t>(std::clamp<int64_t>(-from, 0, static_cast<int64_t>(count)));
    const auto inside = static_cast<size_t>(last - first);
    if (before != 0) Fill(blocks, 0, before, notANumber, 0);
    if (before + inside < count) Fill(blocks, before + inside, count - before - inside, notANumber, 0);
    if (inside == 0) return;
    if (!hasGaps) {
        ReadValid(first, before, inside, blocks);
        return;
    }
    std::vector<TraceBlock> parts(blocks.begin(), blocks.end());
    for (TraceBlock& part : parts) {
        part.values = part.values.subspan(before, inside);
        if (!part.valid.empty()) part.valid = part.valid.subspan(before, inside);
    }
    if (sharedRuns_) {
        ReadRuns(first, parts);
    } else {
        for (const TraceBlock& part : parts) ReadRuns(first, {&part, 1});
    }
}

// Fills blocks of traces with one run list, run by run.
void CDataDoc::ReadRuns(int64_t from, std::span<const TraceBlock> blocks) {
    const RunList& runs = Runs(blocks[0].trace);
    const size_t count = blocks[0].values.size();
    RunList::Place place = runs.Find(from);
    int64_t into = from - place.runStart;
    for (size_t at = 0; at < count;) {
        if (place.run >= runs.Size()) return Fill(blocks, at, count - at, 0.0f, 0);
        const int64_t run = runs[place.run];
        const auto n = static_cast<size_t>(std::min<int64_t>(run - into, static_cast<int64_t>(count - at)));
        const bool valid = place.run % 2 == 0;
        if (n != 0) {
            if (valid)
                ReadValid(place.storedBefore + into, at, n, blocks);
            else
                Fill(blocks, at, n, 0.0f, 0);
        }
        at += n;
        into = 0;
        if (valid) place.storedBefore += run;
        ++place.run;
    }
}

// Reads valid samples into [at, at + count) of the blocks and divides them by the gains.
void CDataDoc::ReadValid(int64_t storedIndex, size_t at, size_t count, std::span<const TraceBlock> blocks) {
    std::array<StoredRead, maxTraces> pieces;
    for (size_t first = 0; first < blocks.size(); first += pieces.size()) {
        const size_t n = std::min(pieces.size(), blocks.size() - first);
        for (size_t i = 0; i < n; ++i)
            pieces[i] = {blocks[first + i].trace, blocks[first + i].values.subspan(at, count)};
        Reader().ReadStored(storedIndex, {pieces.data(), n});
    }
    for (const TraceBlock& block : blocks) {
        const double gain = traces[static_cast<size_t>(block.trace)].traceGain;
        if (gain != 1.0)
            for (float& value : block.values.subspan(at, count)) value = static_cast<float>(value / gain);
        if (!block.valid.empty()) std::memset(block.valid.data() + at, 1, count);
    }
}

// --- the window ---

void CDataDoc::AllocateBuffers() {
    const auto count = static_cast<size_t>(traceCount);
    fileBuffer_.assign(count, {});
    validBuffer_.assign(count, {});
    window_.fill(nullptr);
    readPosition = bufferStart = 0;
    UpdateReadable();
}

void CDataDoc::UpdateReadable() {
    const int64_t left = GetLength() - bufferStart;
    readableInWindow_ =
        noData || fileBuffer_.empty() ? 0 : static_cast<uint32_t>(std::clamp<int64_t>(left, 0, bufferSize));
    fastInWindow_ = std::min<uint32_t>(readableInWindow_, bufferSize - 1);
}

void CDataDoc::FillFileBuf() {
    if (readPosition < 0 || readPosition >= GetLength()) return;
    bufferStart = readPosition;
    window_.fill(nullptr);
    UpdateReadable();
}

// Reads the window of one trace.
const float* CDataDoc::FillTrace(int trace) {
    auto& values = fileBuffer_.at(static_cast<size_t>(trace));
    auto& valid = validBuffer_[static_cast<size_t>(trace)];
    values.resize(bufferSize);
    if (hasGaps) valid.assign(bufferSize, 0);
    const auto inside = static_cast<size_t>(std::clamp<int64_t>(GetLength() - bufferStart, 0, bufferSize));
    std::fill(values.begin() + static_cast<std::ptrdiff_t>(inside), values.end(), 0.0f);
    try {
        ReadBlock(trace, bufferStart, {values.data(), inside}, {valid.data(), hasGaps ? inside : 0});
    } catch (const FileError& error) {
        std::fill(values.begin(), values.end(), 0.0f);
        std::fill(valid.begin(), valid.end(), uint8_t{0});
        GetHost().Log(std::string(error.what()) + "\n");
    }
    return window_[static_cast<size_t>(trace)] = values.data();
}

std::span<const uint8_t> CDataDoc::ValidBuffer(int trace) {
    Window(trace);
    return validBuffer_[static_cast<size_t>(trace)];
}

void CDataDoc::SetReadPosition(int32_t position) {
    readPosition = position;
    if (position < bufferStart || position - static_cast<int64_t>(bufferStart) >= bufferSize) FillFileBuf();
}

void CDataDoc::Advance() {
    if (readPosition < std::numeric_limits<int32_t>::max()) SetReadPosition(readPosition + 1);
}

double CDataDoc::ReadNextSlow(int trace) {
    const auto inWindow = static_cast<uint32_t>(readPosition - bufferStart);
    double value = noData ? 0.0 : notANumber;
    if (inWindow < readableInWindow_) value = Window(trace)[inWindow];
    Advance();
    return value;
}

double CDataDoc::ReadNextChecked(int trace, uint8_t& valid) {
    valid = IsValidAt(trace) ? 1 : 0;
    return ReadNext(trace);
}

bool CDataDoc::ReadNextAll(std::span<float> values, std::span<uint8_t> flags) {
    if (noData) {
        values[0] = 0.0f;
        flags[0] = 0;
        Advance();
        return false;
    }
    const bool allValid = AreAllValid(flags);
    const auto inWindow = static_cast<uint32_t>(readPosition - bufferStart);
    for (int t = 0; t < traceCount; ++t)
        values[static_cast<size_t>(t)] = inWindow < readableInWindow_ ? Window(t)[inWindow] : notANumber;
    Advance();
    return allValid;
}

double CDataDoc::ReadAt(int trace, int32_t position, uint8_t& valid) {
    const int32_t keep = readPosition;
    SetReadPosition(position);
    const double value = ReadNextChecked(trace, valid);
    SetReadPosition(keep);
    return value;
}

bool CDataDoc::IsValidAt(int trace) {
    const auto inWindow = static_cast<uint32_t>(readPosition - bufferStart);
    if (inWindow >= readableInWindow_) return false;
    return !hasGaps || ValidBuffer(trace)[inWindow] != 0;
}

bool CDataDoc::AreAllValid(std::span<uint8_t> flags) {
    bool all = traceCount > 0;
    for (int t = 0; t < traceCount; ++t) {
        flags[static_cast<size_t>(t)] = IsValidAt(t) ? 1 : 0;
        all = all && flags[static_cast<size_t>(t)] != 0;
    }
    return all;
}

std::vector<float> CDataDoc::GetValidDataFromFileBuf(int trace, int32_t start, int32_t count) {
    if (count > bufferSize) {
        GetHost().Message(
            "WARNING: internal error. CDataDoc::GetValidDataFromFileBuf attempting to read more then "
            "bufferSize data points. Contact the author.");
        return {notANumber};
    }
    const auto wanted = static_cast<size_t>(std::max(count, 0));
    if (start < 0 || start >= GetLength()) return std::vector<float>(wanted, notANumber);
    readPosition = start;
    FillFileBuf();
    const auto buffer = FileBuffer(trace);
    const auto valid = ValidBuffer(trace);
    std::vector<float> samples;
    samples.reserve(wanted);
    for (size_t i = 0; i < wanted; ++i)
        if (!hasGaps || valid[i] != 0) samples.push_back(buffer[i]);
    return samples;
}

std::vector<float> CDataDoc::ReadVector(int trace, int32_t count) {
    std::vector<float> samples(static_cast<size_t>(std::max(count, 0)));
    ReadBlock(trace, readPosition, samples);
    SetReadPosition(static_cast<int32_t>(std::min<int64_t>(int64_t{readPosition} + count, longestRecording)));
    return samples;
}

// --- writing samples ---

void CDataDoc::WriteTraceData(CArchive& archive, int trace) {
    std::vector<float> block(bufferSize);
    for (int run = 0; run < GetNumRuns(trace); run += 2) {
        int64_t start = 0;
        int64_t end = 0;
        GetRunSpan(trace, run, start, end);
        while (start < end) {
            const std::span<float> part(block.data(),
                                        static_cast<size_t>(std::min<int64_t>(end - start, bufferSize)));
            ReadBlock(trace, start, part);
            archive.WriteRaw(std::as_bytes(part));
            start += static_cast<int64_t>(part.size());
            ReportCopied(static_cast<int64_t>(part.size()));
        }
    }
}

void CDataDoc::WriteValidOnly(CArchive& archive, int trace, int32_t count) {
    std::vector<float> values(bufferSize);
    std::vector<uint8_t> valid(bufferSize);
    for (int64_t left = count; left > 0;) {
        const auto n = static_cast<size_t>(std::min<int64_t>(left, bufferSize));
        ReadBlock(trace, readPosition, {values.data(), n}, {valid.data(), n});
        size_t kept = 0;
        for (size_t i = 0; i < n; ++i)
            if (valid[i] != 0) values[kept++] = values[i];
        archive.WriteRaw(std::as_bytes(std::span(values.data(), kept)));
        SetReadPosition(static_cast<int32_t>(readPosition + static_cast<int64_t>(n)));
        left -= static_cast<int64_t>(n);
    }
}

}  // namespace kymora
