#include "exchange/pasted_recording.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <new>

#include "archive/archive.h"
#include "document/axis_limits.h"
#include "document/float_doc.h"
#include "document/native_writer.h"
#include "exchange/pasted_table.h"
#include "host/quiet_host.h"

namespace kymora {

namespace {

constexpr size_t pieceBytes = size_t{1} << 22;

struct MissingNumbers {
    int64_t count = 0;
    int64_t firstRow = -1;  // of the samples, from 0
};

void DescribeTraces(CDataDoc& doc, const PastedRecording& recording) {
    doc.sampleInterval = recording.sampleInterval;
    doc.traceCount = recording.samples.Columns();
    for (size_t t = 0; t < static_cast<size_t>(doc.traceCount); ++t) {
        doc.traces[t].traceAutoscale = 1;
        doc.traces[t].axisLabel = fmt::format("Ax {}", t + 1);
        if (t < recording.labels.size()) doc.traces[t].traceLabel = recording.labels[t];
        doc.validRuns[t] = recording.runs;
    }
    doc.UpdateGapFlags();
    doc.view.viewEnd = doc.GetEndTime();
    doc.fileComment = recording.comment;
    doc.AppendNewRecordHistory(recording.history);
}

void WriteTrace(CArchive& archive, const PastedRecording& recording, int trace, CDataDoc& doc,
                MissingNumbers& missing, const std::function<void(size_t)>& written) {
    AxisLimits limits;
    int64_t row = 0;
    recording.ForBlocks(trace, [&](std::span<const float> block) {
        for (size_t i = 0; i < block.size(); ++i) {
            if (!std::isnan(block[i])) continue;
            if (missing.count++ == 0) missing.firstRow = row + static_cast<int64_t>(i);
        }
        row += static_cast<int64_t>(block.size());
        limits.Include(block);
        archive.WriteRaw(std::as_bytes(block));
        written(block.size());
    });
    limits.Give(doc.traces[static_cast<size_t>(trace)]);
}

// Reads all but the samples, as an opening does. Throws ArchiveError for what would not open.
void ProveNative(FileSystem& files, DataFile& file) {
    QuietHost quiet;
    Session session(quiet, files);
    CFloatDoc doc(session);
    CArchive archive(file, CArchive::Mode::load);
    doc.Serialize(archive);
}

void WriteBlock(Session& session, uint64_t size, const std::filesystem::path& path,
                const std::function<void(CArchive&, uint64_t at, size_t count)>& writePiece) {
    WriteFileAtomically(session.files, path, [&](CArchive& archive) {
        ProgressScope progress(session.host, "Writing", size);
        for (uint64_t at = 0; at < size; at += pieceBytes) {
            progress.At(at);
            writePiece(archive, at, static_cast<size_t>(std::min<uint64_t>(pieceBytes, size - at)));
        }
        archive.Flush();
        ProveNative(session.files, archive.File());
    });
}

}  // namespace

void WritePasted(Session& session, const PastedRecording& recording, const std::filesystem::path& path) {
    CFloatDoc doc(session);
    DescribeTraces(doc, recording);
    MissingNumbers missing;
    WriteFileAtomically(session.files, path, [&](CArchive& archive) {
        ProgressScope progress(session.host, "Writing",
                               static_cast<uint64_t>(recording.Rows()) *
                                   static_cast<uint64_t>(doc.traceCount));
        WriteHead(archive, doc);
        for (int t = 0; t < doc.traceCount; ++t)
            WriteTrace(archive, recording, t, doc, missing, [&](size_t count) { progress.Step(count); });
        WriteTail(archive, doc, doc.fileComment);
    });
    if (missing.count > 0)
        session.host.Message(fmt::format(
            "The data have no number at {} of {} samples, first in sample {} of a trace. A view ends where "
            "the "
            "first trace has no number.",
            missing.count, recording.Rows() * doc.traceCount, missing.firstRow + 1));
}

bool ReadTelling(Session& session, const std::function<void()>& read) {
    try {
        read();
        return true;
    } catch (const Cancelled&) {
    } catch (const TableError& error) {
        session.host.Failure(error.what());
    } catch (const FileError& error) {
        session.host.Failure(error.what());
    } catch (const std::bad_alloc&) {
        session.host.Failure("There is not enough memory for the data.");
    }
    return false;
}

bool BeginsAsNativeFile(const DataFile& file) {
    std::array<std::byte, 12> head{};
    if (file.ReadAt(0, head) < head.size()) return false;
    const auto at = [&](size_t i) { return std::to_integer<int>(head[i]); };
    const bool isVersion = at(1) == 0 && at(0) >= 1 && at(0) <= currentFileVersion;
    // Text in units of 16 bits may begin with the same two bytes, and goes on with zeros in every other
    // place.
    const bool isWideText = at(3) == 0 && at(5) == 0 && at(7) == 0 && at(9) == 0;
    return isVersion && !isWideText;
}

void WriteNativeBlock(Session& session, std::span<const std::byte> block, const std::filesystem::path& path) {
    WriteBlock(session, block.size(), path, [&](CArchive& archive, uint64_t at, size_t count) {
        archive.WriteRaw(block.subspan(static_cast<size_t>(at), count));
    });
}

void WriteNativeBlock(Session& session, const DataFile& block, const std::filesystem::path& path) {
    WriteBlock(session, block.Length(), path,
               [&](CArchive& archive, uint64_t at, size_t count) { archive.WriteFrom(block, at, count); });
}

}  // namespace kymora
