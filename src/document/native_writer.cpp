#include "document/native_writer.h"

#include "document/history_steps.h"
#include "document/metadata_io.h"
#include "document/save_journal.h"
#include "document/temporary_file.h"

namespace kymora {
namespace {

constexpr size_t copyBufferSize = size_t{1} << 20;

// Lends the document a progress for the time of a long write.
class CopyProgress {
  public:
    explicit CopyProgress(CDataDoc& doc) : doc_(doc) {
        uint64_t samples = 0;
        for (int t = 0; t < doc.traceCount; ++t) samples += static_cast<uint64_t>(doc.GetStoredCount(t));
        progress_ = doc.GetHost().StartProgress("Writing", samples);
        doc.BeginCopy(progress_.get());
    }
    void AtTrace(int trace) const {
        progress_->SetPart(
            PartText("trace", static_cast<size_t>(trace) + 1, static_cast<size_t>(doc_.traceCount)));
    }
    ~CopyProgress() { doc_.BeginCopy(nullptr); }
    CopyProgress(const CopyProgress&) = delete;
    CopyProgress& operator=(const CopyProgress&) = delete;

  private:
    CDataDoc& doc_;
    std::unique_ptr<Progress> progress_;
};

}  // namespace

void WriteHead(CArchive& archive, const CDataDoc& doc, int version) {
    archive.Write<int16_t>(static_cast<int16_t>(version));
    archive.Write<double>(doc.sampleInterval);
    archive.Write<int32_t>(doc.traceCount);
    for (int t = 0; t < doc.traceCount; ++t)
        archive.WriteRunList(doc.validRuns[static_cast<size_t>(t)].Runs());
}

void WriteHead(CArchive& archive, const CDataDoc& doc, int32_t newTraceCount,
               std::span<const uint8_t> addedAfter) {
    archive.Write<int16_t>(static_cast<int16_t>(currentFileVersion));
    archive.Write<double>(doc.sampleInterval);
    archive.Write<int32_t>(newTraceCount);
    for (size_t t = 0; t < static_cast<size_t>(doc.traceCount); ++t) {
        archive.WriteRunList(doc.validRuns[t].Runs());
        if (t < addedAfter.size() && addedAfter[t] != 0) archive.WriteRunList(doc.validRuns[t].Runs());
    }
}

void WriteTail(CArchive& archive, const CDataDoc& doc, std::string_view comment, SampleRange range,
               int version) {
    const StoredView& view = doc.view;
    archive.WriteString("start FltTail");
    archive.WriteString(comment);
    if (version > 37) archive.WriteString(doc.historyLog);
    if (version > 38) metadata::StoreGrid(archive, doc.grid, true);
    metadata::StoreViewTimes(archive, doc, range);
    archive.Write<int32_t>(!doc.episodic ? 0 : doc.episodicStored != 0 ? doc.episodicStored : 1);
    metadata::StoreTraces(archive, doc, version);
    metadata::StoreViewRows(archive, view, version);
    metadata::StoreOverlaysAndChannels(archive, doc, range, version);
    metadata::StoreScaleBars(archive, doc, version);
    archive.WriteString(metadata::guardString);
}

void WriteFileAtomically(FileSystem& files, const std::filesystem::path& path,
                         const std::function<void(CArchive&)>& write) {
    WriteFileAtomically(files, path, files.Stamp(path), write);
}

void WriteFileAtomically(FileSystem& files, const std::filesystem::path& path,
                         const std::optional<FileStamp>& expected,
                         const std::function<void(CArchive&)>& write) {
    WriteContentAtomically(files, path, expected, [&](DataFile& file) {
        CArchive archive(file, CArchive::Mode::store, 0, copyBufferSize);
        write(archive);
        archive.Close();
    });
}

void WriteContentAtomically(FileSystem& files, const std::filesystem::path& path,
                            const std::optional<FileStamp>& expected,
                            const std::function<void(DataFile&)>& write) {
    // Where the name is a link, the file that it leads to is replaced, not the link.
    TemporaryFile temporary(files, files.Resolve(path));
    temporary.Expect(expected);
    try {
        write(temporary.File());
        temporary.MoveToTarget();
    } catch (const ResultKept&) {
        throw;
    } catch (const FileError& error) {
        throw FileError(temporary.InWordsOfUser(error.what(), path), error.systemError);
    }
}

void TellJournalSetAside(Session& session, const std::filesystem::path& path) {
    if (const auto kept = SetForeignJournalAside(session.files, path))
        session.host.Message(
            "Beside " + path.string() +
            " stood the safety copy of an interrupted save of another recording. It is kept as " +
            kept->filename().string() + ".");
}

void WriteNativeFile(CDataDoc& doc, const std::filesystem::path& path, int version) {
    const CopyProgress progress(doc);
    TellJournalSetAside(doc.GetSession(), path);
    WriteFileAtomically(doc.GetSession().files, path, [&](CArchive& archive) {
        WriteHead(archive, doc, version);
        for (int t = 0; t < doc.traceCount; ++t) {
            progress.AtTrace(t);
            doc.WriteTraceData(archive, t);
        }
        WriteTail(archive, doc, doc.fileComment, {}, version);
    });
    // An interrupted save of the file that stood here is none of the new one's concern.
    FileSystem& files = doc.GetSession().files;
    if (files.Stamp(JournalPath(files, path))) RetireJournal(files, path);
    WriteSteps(doc.GetSession(), StepsPath(files, path), version > 37 ? doc.historyLog : std::string(),
               doc.Steps());
}

void SaveAs(CDataDoc& doc, const std::filesystem::path& path, int version) {
    doc.GetDisplaySettingsFromView();
    const std::string history = doc.historyLog;
    doc.AppendSaveAsHistory();
    try {
        WriteNativeFile(doc, path, version);
    } catch (...) {
        doc.historyLog = history;
        throw;
    }
    doc.historyLog = history;
}

}  // namespace kymora
