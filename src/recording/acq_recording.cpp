// A recording while it is made: its temporary file.

#include <cerrno>
#include <unistd.h>

#include <fmt/format.h>

#include "document/native_writer.h"
#include "host/memory_file_system.h"
#include "recording/acq_doc.h"
#include "recording/recording_recovery.h"
#include "recording/recording_writer.h"

namespace kymora {

namespace {

constexpr const char* noTemporaryPathText = "Unable to generate temporary file path. Please contact author.";
constexpr const char* noTemporaryFileNameText =
    "Unable to generate temporary file name. Please contact author.";
constexpr const char* temporaryNotOpenedText = "Could not open allocated temporary storage file "
                                               "{}.\r\nPlease specify file explicitly. It will be used and "
                                               "deleted during acquisition.";
constexpr const char* needsTemporaryText = "You need a temporary file for data acquisition.";
constexpr int mostNames = 1000;

std::filesystem::path NameOfNumber(const std::filesystem::path& folder, int n) {
    return folder / fmt::format("{}{:x}-{}{}", leftRecordingStart, ::getpid(), n, recordingExtension);
}

struct NewRecording {
    std::unique_ptr<DataFile> file;
    std::filesystem::path path;
};

void WriteStart(DataFile& file, RecordingHeader& header) {
    CArchive archive(file, CArchive::Mode::store);
    StoreRecordingHeader(archive, header);
    archive.Write<uint32_t>(0);  // the scan count is not known yet
    archive.Close();
}

// A crash of the machine leaves the name, too. Where that cannot be had, recording is better than not.
void SyncName(FileSystem& files, const std::filesystem::path& path) {
    try {
        files.SyncFolderOf(path);
    } catch (const FileError&) {
    }
}

// The file has its head before it has a name, so that whatever is found under such a name opens.
NewRecording MakeInFolder(FileSystem& files, const std::filesystem::path& folder, RecordingHeader& header,
                          std::filesystem::path& tried) {
    for (int n = 0;; ++n) {
        NewRecording made{nullptr, tried = NameOfNumber(folder, n)};
        if (n >= mostNames) return {};
        if (files.Stamp(made.path)) continue;
        try {
            made.file = files.OpenUnnamed(made.path, false);
            const bool isNamed = !made.file;
            if (isNamed) made.file = files.Open(made.path, OpenMode::createNew);
            WriteStart(*made.file, header);
            made.file->TryLock();
            if (!isNamed) made.file->LinkAs(made.path);
            SyncName(files, made.path);
            return made;
        } catch (const FileError& error) {
            if (error.systemError != EEXIST) throw;
        }
    }
}

NewRecording AskForFile(Session& session, const std::filesystem::path& tried, const FileError& error,
                        RecordingHeader& header) {
    session.host.Log(std::string(error.what()) + "\n");
    session.host.Message(fmt::format(fmt::runtime(temporaryNotOpenedText), tried.string()));
    const auto chosen =
        session.host.ChooseSaveFile({"Temporary file", "temporary (.dat)|*.dat|all files|*.*||", "dat", {}});
    if (!chosen) {
        session.host.Message(needsTemporaryText);
        return {};
    }
    const OpenMode mode = session.files.Stamp(*chosen) ? OpenMode::readWrite : OpenMode::createNew;
    NewRecording made{session.files.Open(*chosen, mode), *chosen};
    made.file->Truncate(0);
    WriteStart(*made.file, header);
    made.file->TryLock();
    return made;
}

NewRecording MakeTemporary(Session& session, const std::filesystem::path& folder, RecordingHeader& header) {
    const auto wanted = folder.empty() ? TemporaryFolder() : folder;
    if (wanted.empty()) {
        session.host.Message(noTemporaryPathText);
        return {};
    }
    std::filesystem::path tried;
    try {
        NewRecording made = MakeInFolder(session.files, wanted, header, tried);
        if (!made.file) session.host.Message(noTemporaryFileNameText);
        return made;
    } catch (const FileError& error) {
        return AskForFile(session, tried, error, header);
    }
}

}  // namespace

bool CAcqDoc::WriteAcqFileStart(const std::filesystem::path& folder) {
    GetHost().Log("In CAcqDoc::WriteAcqFileStart()\n");
    DiscardRecording();
    if (m_eRecordingType == RecordingType::refractoryManual ||
        m_eRecordingType == RecordingType::refractoryAutomatic)
        m_nEncoding = wideSamples;
    m_timeStart = m_timeLast = GetSession().now();
    RecordingHeader header = CurrentHeader();
    NewRecording made = MakeTemporary(GetSession(), folder, header);
    if (!made.file) return false;
    static_cast<RecordingHeader&>(*this) = header;
    sampleFile = std::move(made.file);
    temporaryPath_ = filePath = std::move(made.path);
    samples_ = std::make_unique<RecordingSamples>(*sampleFile, *this);
    sampleInterval = m_dSampleInterval;
    traceCount = static_cast<int32_t>(m_nChannels);
    TakeStoredScans();
    provisionalTail_.Begin(GetSession().files, temporaryPath_);
    KeepTail();
    FlushTail();
    return true;
}

void CAcqDoc::FlushScans() {
    provisionalTail_.Flush(ProvisionalTail::Durable::yes);
    sampleFile->Sync();
}

void CAcqDoc::KeepTail() {
    MemoryFile memory;
    CArchive archive(memory, CArchive::Mode::store);
    StoreRecordingTail(archive, *this, *this, tailState_, {});
    archive.Close();
    provisionalTail_.Set(std::move(memory.Bytes()));
}

void CAcqDoc::SetStartTime(int64_t seconds) {
    m_timeStart = m_timeLast = seconds;
    newStart_ = seconds;
}

// Whoever has the file to himself.
void CAcqDoc::WriteNewStart() {
    const int64_t start = newStart_.exchange(noNewStart);
    if (start != noNewStart && m_nTimeAt > 0)
        sampleFile->WriteAt(m_nTimeAt, std::as_bytes(std::span(&start, 1)));
}

void CAcqDoc::StoreScans(std::span<const std::byte> scans) {
    const auto count = static_cast<int64_t>(scans.size() / ScanBytes());
    const std::scoped_lock alone(fileAccess_);
    FieldOf(storedScans_ + count);
    WriteNewStart();
    sampleFile->WriteAt(m_nDataStart + static_cast<uint64_t>(storedScans_) * ScanBytes(), scans);
    storedScans_ += count;
}

void CAcqDoc::TakeStoredScans() {
    SetLength(storedScans_);
    AllocateBuffers();
}

void CAcqDoc::FinishRecording(const std::filesystem::path& target) {
    const std::scoped_lock alone(fileAccess_);
    FileSystem& files = GetSession().files;
    SetLength(storedScans_);
    const uint32_t field = FieldOf(storedScans_);
    CheckNoSideCar(files, target);
    WriteNewStart();
    CArchive archive(*sampleFile, CArchive::Mode::store, m_nFileHeaderEnd);
    archive.Write<uint32_t>(field);
    archive.Seek(m_nDataStart + static_cast<uint64_t>(storedScans_) * ScanBytes());
    StoreRecordingTail(archive, *this, *this, tailState_, {});
    archive.Close();
    sampleFile->Truncate(archive.Position());  // of an attempt that wrote more
    sampleFile->Sync();
    provisionalTail_.End();
    RemoveProvisionalTail(files, temporaryPath_);
    files.CopyPermissions(target, temporaryPath_);
    try {
        files.Rename(temporaryPath_, target);
        files.SyncFolderOf(target);
    } catch (const FileError& error) {
        if (error.systemError != EXDEV) throw;
        WriteFileAtomically(files, target,
                            [&](CArchive& to) { to.WriteFrom(*sampleFile, 0, sampleFile->Length()); });
        files.Remove(temporaryPath_);
    }
    temporaryPath_.clear();
    filePath = target;
    RememberStamp(target);
    try {  // without the lock, so that nobody is kept from the file any more
        auto finished = files.Open(target, OpenMode::readOnly);
        samples_ = std::make_unique<RecordingSamples>(*finished, *this);
        sampleFile = std::move(finished);
    } catch (const FileError&) {  // the one that is open reads as well
    }
}

void CAcqDoc::DiscardRecording() {
    const std::filesystem::path left = std::exchange(temporaryPath_, {});
    storedScans_ = 0;
    newStart_ = noNewStart;
    if (left.empty()) return;
    provisionalTail_.End();
    RemoveProvisionalTail(GetSession().files, left);
    GetSession().files.Remove(left);
}

}  // namespace kymora
