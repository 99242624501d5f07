#include "document/float_doc.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include <fmt/format.h>

#include "archive/text_encoding.h"
#include "document/gap_notice.h"
#include "document/history_steps.h"
#include "document/metadata_io.h"
#include "document/native_writer.h"
#include "document/save_journal.h"
#include "document/temporary_file.h"
#include "host/file_names.h"
#include "host/open_fault.h"
#include "numerics/fnv.h"

namespace kymora {
namespace {

constexpr int firstTailVersion = firstVersionSavedInPlace;
constexpr size_t scratchBytes = size_t{1} << 18;
constexpr int64_t copiedAtOnce = int64_t{1} << 21;  // samples

constexpr const char* inUseReason = "another window or program has it open";

void ReadTimebase(CArchive& archive, CDataDoc& doc) {
    doc.sampleInterval = archive.Read<double>();
    if (!std::isfinite(doc.sampleInterval) || doc.sampleInterval <= 0.0)
        throw ArchiveError(
            fmt::format("The file states a sample interval of {} ms, which cannot be.", doc.sampleInterval));
    doc.traceCount = archive.Read<int32_t>();
    if (doc.traceCount < 1 || doc.traceCount > maxTraces) {
        const int32_t stated = doc.traceCount;
        doc.traceCount = 0;
        throw ArchiveError(fmt::format("The file states {} traces; a recording has 1 to 128.", stated));
    }
}

// An episodic file needs boundary events in channel 'a', the first of them at the start.
void RepairEpisodes(CDataDoc& doc) {
    if (!doc.episodic) return;
    CEventChan& boundaries = doc.eventChannels[0];
    if (boundaries.GetNumEvents() == 0) {
        doc.Notify("NoBoundaryMarkRemoveEpisodicFlag",
                   "This file is flagged internally as Episodic, but there are no events in channel 'a' to "
                   "mark boundaries. The Episodic flag will be removed.\n\nSave this file to lock in the "
                   "change.");
        doc.episodic = false;
        doc.episodicStored = 0;
        return;
    }
    if (boundaries.Events()[0].onPosition <= 0) return;
    doc.Notify("EpisodicNoStartBoundaryMark",
               "This file is flagged internally as Episodic, but there is no event in channel 'a' marking "
               "the start. An event will be inserted.\n\nSave this file to lock in the change.");
    CEventKM start{0, 2, 0.0f, 1, 0, "0: auto-insert"};
    // The boundary channel is the one that is usually locked.
    const bool locked = boundaries.channelLocked;
    boundaries.channelLocked = false;
    boundaries.AddEvent(std::move(start));
    boundaries.channelLocked = locked;
}

}  // namespace

// --- reading ---

void CFloatDoc::Serialize(CArchive& archive) {
    if (archive.IsStoring()) {
        GetHost().Message(
            "Internal error. CFloatDoc::Serialize reports IsStoring. Please inform the author.");
        return;
    }
    const uint64_t start = archive.Position();
    metadata::TellVersion(GetHost(), archive.Read<int16_t>());
    for (const bool skimming : {true, false}) {
        archive.Seek(start);
        archive.SetSkimming(skimming);
        LoadAll(archive);
    }
}

void CFloatDoc::LoadAll(CArchive& archive) {
    fileVersion = archive.Read<int16_t>();
    if (fileVersion >= firstTailVersion) {
        LoadHead(archive);
        archive.Seek(tailOffset);
        LoadTail(archive);
    } else {
        LoadOldHead(archive);
    }
}

void CFloatDoc::LoadHead(CArchive& archive) {
    ReadTimebase(archive, *this);
    for (int t = 0; t < traceCount; ++t) {
        RunList runs(archive.ReadRunList());
        if (runs.Length() > longestRecording) throw ArchiveError(tooLongText);
        validRuns[static_cast<size_t>(t)] = std::move(runs);
    }
    UpdateGapFlags();
    uint64_t offset = archive.Position();
    headEnd_ = offset;
    for (int t = 0; t < traceCount; ++t) {
        traceFileOffset[static_cast<size_t>(t)] = offset;
        offset += static_cast<uint64_t>(GetStoredCount(t)) * sizeof(float);
    }
    tailOffset = offset;
}

void CFloatDoc::LoadOldHead(CArchive& archive) {
    fileComment = archive.ReadString();
    ReadTimebase(archive, *this);
    const auto samples = archive.Read<int32_t>();
    if (samples < 0) throw ArchiveError("The file states a negative number of samples.");
    SetLength(samples);
    if (fileVersion < 18) legacyEventCode = archive.Read<int32_t>();
    metadata::RebuildGrid(*this);
    LoadSharedRows(archive);
    dataStart = static_cast<int32_t>(std::min<uint64_t>(archive.Position(), 0x7FFFFFFF));
    archive.CheckRoom(static_cast<uint64_t>(samples), static_cast<size_t>(traceCount) * sizeof(float),
                      "samples of each trace");
}

void CFloatDoc::LoadTail(CArchive& archive) {
    archive.ReadString();  // "start FltTail", not tested
    fileComment = archive.ReadString();
    if (fileVersion > 37) historyLog = archive.ReadString();
    if (fileVersion > 38)
        metadata::LoadGrid(archive, *this, true);
    else
        metadata::RebuildGrid(*this);
    LoadSharedRows(archive);
}

// What the tail and the head of the oldest versions have in common.
void CFloatDoc::LoadSharedRows(CArchive& archive) {
    metadata::LoadViewTimes(archive, view, fileVersion);
    if (fileVersion > 16) episodicStored = archive.Read<int32_t>();
    episodic = episodicStored != 0;
    metadata::LoadTraces(archive, *this, fileVersion);
    const auto extras = metadata::LoadViewRows(archive, *this, fileVersion);
    metadata::LoadOverlaysAndChannels(archive, *this, fileVersion);
    if (extras.hasDrawMode) SetAllDrawModes(extras.drawMode);
    if (!archive.IsSkimming()) RepairEpisodes(*this);
    metadata::LoadScaleBars(archive, *this, fileVersion);
    if (fileVersion > 7) archive.ReadString();  // the guard string, not tested
    for (int c = 0; c < maxEventChannels; ++c)
        if (GetNumEvents(c) == 0)
            eventChannels[static_cast<size_t>(c)].SetDisplayPosition(DefaultDisplayPosition(c));
}

// --- opening ---

void CFloatDoc::Load() {
    constexpr int attempts = 3;
    for (int attempt = 1;; ++attempt) {
        OpenSampleFile();
        // Of the file that is read here, which need not be the one that has its name by now.
        RememberStamp(filePath, sampleFile->Stamp());
        const FileStamp before = sampleFile->Stamp();
        // Without the lock another program may save while the metadata is read; then they are read again.
        const auto disturbed = [&] { return !ownsFile_ && !(sampleFile->Stamp() == before); };
        try {
            CArchive archive(*sampleFile, CArchive::Mode::load);
            Serialize(archive);
            if (!disturbed()) break;
        } catch (const ArchiveError&) {
            if (!disturbed()) throw;
        }
        if (attempt == attempts)
            throw OpenError("The file " + filePath.string() +
                            " is being saved by another program. Try again in a moment.");
        ResetModel();
    }
    sampleStride = traceCount * static_cast<int32_t>(sizeof(float));
    for (TraceSettings& trace : traces) trace.traceGain = 1.0;
    if (ownsFile_ && fileVersion >= firstTailVersion)
        fingerprint_ = FileFingerprint(*sampleFile, {headEnd_, tailOffset});
    SumMetadata();
}

// Opens the file, for itself when it is to be edited, and sees to what an interrupted save left.
void CFloatDoc::OpenSampleFile() {
    FileSystem& files = GetSession().files;
    sampleFile.reset();
    ownsFile_ = false;
    const auto openReadOnly = [&](const std::string& reason) {
        sampleFile = files.Open(filePath, OpenMode::readOnly);
        openedReadOnly = true;
        readOnlyReason = reason;
    };
    openedReadOnly = false;
    readOnlyReason.clear();
    try {
        if (GetOpening().request.purpose == OpenFor::reading) {
            openReadOnly("it was opened for reading");
        } else {
            try {
                // Who waited while another program put its version in place has locked a file that is gone.
                for (int attempt = 0; attempt == 0 || (attempt < 10 && !IsAtItsPlace()); ++attempt) {
                    sampleFile = files.Open(filePath, OpenMode::readWrite);
                    ownsFile_ = sampleFile->TryLock();
                }
            } catch (const FileError&) {
                GetHost().Log("Couldn't open " + filePath.string() +
                              " for read/write, trying read only (may be on CD)\n");
                openReadOnly("it cannot be written");
            }
            if (!openedReadOnly && !ownsFile_) openReadOnly(inUseReason);
        }
    } catch (const FileError& error) {
        throw OpenError(OpenFaultText(
            "Couldn't open file " + filePath.string() + " for read/write or just read.", error));
    }
    try {
        HandleJournal();
    } catch (const FileError& error) {
        ReadBesideJournal(error.what());
    }
}

// The journal of an interrupted save cannot be read, or not be dealt with: the recording is shown as it was
// before that save, or as it is, and not changed.
void CFloatDoc::ReadBesideJournal(const std::string& reason) {
    openedReadOnly = true;
    ownsFile_ = false;
    readOnlyReason = "the safety copy of an interrupted save could not be dealt with";
    GetHost().Message(
        "The safety copy " + JournalPath(GetSession().files, filePath).string() +
        " of an interrupted save could not be dealt with. The recording is opened for reading only.\n" +
        reason);
    try {
        auto seen = ViewThroughJournal(GetSession().files, filePath,
                                       GetSession().files.Open(filePath, OpenMode::readOnly));
        if (seen) sampleFile = std::move(seen);
    } catch (const FileError&) {  // it is read as it stands
    }
}

// A save was cut off, or is under way in another program. Only the owner of the file repairs it; everybody
// else sees it as it was before that save.
void CFloatDoc::HandleJournal() {
    FileSystem& files = GetSession().files;
    switch (InspectJournal(files, filePath, *sampleFile)) {
    case JournalState::none:
        return;
    case JournalState::incomplete:
        if (ownsFile_) files.Remove(JournalPath(files, filePath));
        return;
    case JournalState::finished:
        if (!ownsFile_) return;
        sampleFile->Sync();
        RetireJournal(files, filePath);
        return;
    case JournalState::foreign:
        return PassOverForeignJournal();
    case JournalState::complete:
        break;
    }
    if (ownsFile_ && IsJournalInUse(files, filePath)) {
        openedReadOnly = true;
        ownsFile_ = false;
        readOnlyReason = inUseReason;
    }
    if (ownsFile_) {
        UndoFromJournal(files, filePath, *sampleFile);
        GetHost().Message("The last save of " + filePath.string() +
                          " was interrupted. The file has been put back to its state before that save.");
        return;
    }
    auto seen = ViewThroughJournal(files, filePath, std::move(sampleFile));
    // A journal that is gone by now belonged to a save that has just ended.
    sampleFile = seen ? std::move(seen) : files.Open(filePath, OpenMode::readOnly);
}

// The file is another one than that of the journal, such as an older version from a backup.
void CFloatDoc::PassOverForeignJournal() {
    FileSystem& files = GetSession().files;
    const std::string journal = JournalPath(files, filePath).string();
    const std::string notUsed =
        "The safety copy " + journal +
        " of an interrupted save belongs to another version of this recording, or is damaged, and was "
        "not used.";
    if (!ownsFile_ || IsJournalInUse(files, filePath)) {
        GetHost().Log(notUsed + "\n");
        return;
    }
    try {
        const auto kept = SetJournalAside(files, filePath);
        GetHost().Message(notUsed + "\nIt is kept as " + kept.filename().string() +
                          ", which can be deleted when that version is not needed.");
    } catch (const FileError& error) {
        openedReadOnly = true;
        readOnlyReason = "a safety copy of another version stands beside it";
        GetHost().Message(notUsed + "\nMove it away to be able to save.\n" + error.what());
    }
}

void CFloatDoc::AfterLoad() {
    Session& session = GetSession();
    const bool showsDetails = GetOpening().request.talk <= OpenTalk::shows;
    if (openedReadOnly && readOnlyReason == inUseReason)
        Tell("The file " + filePath.string() +
             " is already open in another window or program. It is opened here for reading only; changes "
             "can be saved under another name.");
    if (hasGaps && !noData && showsDetails) NoticeGaps(GetHost());
    bool declined = false;
    if (showsDetails && !session.skipFileDetails) {
        const FileDetails details{fileVersion, filePath.filename().string(), fileComment,   traceCount,
                                  GetLength(), TimeOf(GetLength()),          sampleInterval};
        declined = !GetHost().AcceptFileDetails(details, session.skipFileDetails);
    }
    if (declined) throw OpenDeclined();
}

// --- samples ---

void CFloatDoc::ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) {
    if (fileVersion < firstTailVersion) return ReadInterleaved(storedIndex, pieces);
    for (const StoredRead& piece : pieces) {
        const std::span<std::byte> bytes = std::as_writable_bytes(piece.values);
        const uint64_t offset = traceFileOffset[static_cast<size_t>(piece.trace)] +
                                static_cast<uint64_t>(storedIndex) * sizeof(float);
        ReadWhole(*sampleFile, offset, bytes);
    }
}

// Versions below 22: one sample of every trace after the other.
void CFloatDoc::ReadInterleaved(int64_t storedIndex, std::span<const StoredRead> pieces) {
    const auto stride = static_cast<size_t>(traceCount);
    const size_t rows = std::max<size_t>(scratchBytes / (stride * sizeof(float)), 1);
    std::vector<float> scratch(rows * stride);
    const size_t count = pieces[0].values.size();
    for (size_t done = 0; done < count; done += rows) {
        const size_t n = std::min(rows, count - done);
        const auto bytes = std::as_writable_bytes(std::span(scratch.data(), n * stride));
        const uint64_t row = static_cast<uint64_t>(storedIndex) + done;
        ReadWhole(*sampleFile, static_cast<uint64_t>(dataStart) + row * static_cast<uint64_t>(sampleStride),
                  bytes);
        for (const StoredRead& piece : pieces)
            for (size_t i = 0; i < n; ++i)
                piece.values[done + i] = scratch[i * stride + static_cast<size_t>(piece.trace)];
    }
}

void CFloatDoc::WriteTraceData(CArchive& archive, int trace) {
    if (fileVersion < firstTailVersion) return CDataDoc::WriteTraceData(archive, trace);
    const int64_t total = GetStoredCount(trace);
    const double gain = traces[static_cast<size_t>(trace)].traceGain;
    if (gain == 1.0) {
        for (int64_t done = 0; done < total;) {
            const int64_t part = std::min(total - done, copiedAtOnce);
            archive.WriteFrom(*sampleFile,
                              traceFileOffset[static_cast<size_t>(trace)] +
                                  static_cast<uint64_t>(done) * sizeof(float),
                              static_cast<uint64_t>(part) * sizeof(float));
            done += part;
            ReportCopied(part);
        }
        return;
    }
    std::vector<float> block(bufferSize);
    for (int64_t done = 0; done < total;) {
        const std::span<float> part(block.data(),
                                    static_cast<size_t>(std::min<int64_t>(total - done, bufferSize)));
        const StoredRead piece{trace, part};
        ReadStored(done, {&piece, 1});
        if (gain != 1.0)
            for (float& value : part) value = static_cast<float>(value / gain);
        archive.WriteRaw(std::as_bytes(part));
        done += static_cast<int64_t>(part.size());
        ReportCopied(static_cast<int64_t>(part.size()));
    }
}

// --- a file that another program has written ---

void CFloatDoc::SumMetadata() {
    metadataSum_.reset();
    const OpenRequest& request = GetOpening().request;
    const bool isShown = request.talk != OpenTalk::logs || request.fileAlone;
    if (fileVersion < firstTailVersion || !isShown) return;
    Fnv1a sum;
    std::vector<std::byte> bytes(scratchBytes);
    try {
        for (uint64_t at = tailOffset;;) {
            const size_t count = sampleFile->ReadAt(at, bytes);
            if (count == 0) break;
            sum.Add(std::span(bytes).first(count));
            at += count;
        }
        metadataSum_ = sum.Value();
    } catch (const FileError&) {  // it counts as changed
    }
}

bool CFloatDoc::HasMetadataOf(const CDataDoc& fresh) const {
    const auto& other = static_cast<const CFloatDoc&>(fresh);
    return fileVersion == other.fileVersion && metadataSum_ && metadataSum_ == other.metadataSum_;
}

// Where the lock that is held counts, another document needs none.
OpenFor CFloatDoc::ReloadPurpose() const {
    return ownsFile_ && IsAtItsPlace() ? OpenFor::reading : GetOpening().request.purpose;
}

void CFloatDoc::TakeReader(std::unique_ptr<CDataDoc> reader) {
    auto& fresh = static_cast<CFloatDoc&>(*reader);
    if (!HasMetadataOf(fresh)) TakeMetadata(fresh);
    const FileStamp mine = sampleFile->Stamp(), its = fresh.sampleFile->Stamp();
    const bool isSameFile = mine.inode == its.inode && mine.device == its.device;
    if (!ownsFile_ || !isSameFile) {
        sampleFile = std::move(fresh.sampleFile);
        ownsFile_ = fresh.ownsFile_;
        openedReadOnly = fresh.openedReadOnly;
        readOnlyReason = fresh.readOnlyReason;
    }
    fileVersion = fresh.fileVersion;
    headEnd_ = fresh.headEnd_;
    tailOffset = fresh.tailOffset;
    traceFileOffset = fresh.traceFileOffset;
    dataStart = fresh.dataStart;
    sampleStride = fresh.sampleStride;
    metadataSum_ = fresh.metadataSum_;
    if (ownsFile_ && fileVersion >= firstTailVersion)
        fingerprint_ = FileFingerprint(*sampleFile, {headEnd_, tailOffset});
    TakeExtent(fresh);
}

// --- saving ---

SaveOutcome CFloatDoc::Save() {
    GetHost().Log("In OnSaveDocument for flt files\n");
    if (openedReadOnly || GetSession().files.IsReadOnly(filePath)) {
        GetHost().Message("This file has the ReadOnly property set. Use Save As to save to a new file." +
                          (readOnlyReason.empty() ? "" : "\n(" + readOnlyReason + ")"));
        return SaveOutcome::failed;
    }
    try {
        if (fileVersion < firstTailVersion)
            return SaveOldVersion() ? SaveOutcome::saved : SaveOutcome::failed;
        return SaveInPlace();
    } catch (const ResultKept& kept) {
        GetHost().Failure(kept.what());
    } catch (const FileError& error) {
        GetHost().Failure("The file was not saved.\n" + std::string(error.what()));
        if (fileVersion >= firstTailVersion && HoldsItsSamples() && !IsUnchanged())
            return SaveOutcome::changedOutside;
    } catch (const Cancelled&) {
        GetHost().Log("The save was cancelled.\n");
    }
    return SaveOutcome::failed;
}

bool CFloatDoc::IsAtItsPlace() const {
    const auto onDisk = GetSession().files.Stamp(filePath);
    const FileStamp opened = sampleFile->Stamp();
    return onDisk && onDisk->inode == opened.inode && onDisk->device == opened.device;
}

bool CFloatDoc::IsUnchanged() const {
    return IsAtItsPlace() && GetSession().files.Stamp(filePath) == RememberedStamp(filePath);
}

bool CFloatDoc::HoldsItsSamples() const {
    return fileVersion < firstTailVersion ||
           (sampleFile->Length() >= tailOffset &&
            FileFingerprint(*sampleFile, {headEnd_, tailOffset}) == fingerprint_);
}

// Whether the file on disk is the one that was opened, and free of changes that nobody agreed to lose.
SaveOutcome CFloatDoc::MaySaveOverSource() {
    const bool isWhole = HoldsItsSamples();
    if (!isWhole || !IsAtItsPlace()) {
        GetHost().Message(
            "The file " + filePath.string() +
            " was moved, deleted or replaced since it was opened. Use Save As to save to a new file.");
        return isWhole ? SaveOutcome::changedOutside : SaveOutcome::failed;
    }
    return MayOverwrite(filePath) ? SaveOutcome::saved : SaveOutcome::changedOutside;
}

SaveOutcome CFloatDoc::SaveInPlace() {
    FileSystem& files = GetSession().files;
    // A journal that is still here belongs to a save whose undoing failed; without it the old state would be
    // lost.
    if (InspectJournal(files, filePath, *sampleFile) == JournalState::complete) {
        UndoFromJournal(files, filePath, *sampleFile);
        RememberStamp(filePath);
    }
    const FileStamp seen = sampleFile->Stamp();
    if (const SaveOutcome may = MaySaveOverSource(); may != SaveOutcome::saved) return may;
    GetDisplaySettingsFromView();
    SweepTemporaries(files, files.Resolve(filePath).parent_path());
    NewMetadata metadata;
    const auto version = static_cast<int16_t>(currentFileVersion);
    std::memcpy(metadata.head.data(), &version, sizeof version);
    std::memcpy(metadata.head.data() + sizeof version, &sampleInterval, sizeof sampleInterval);
    metadata.writeTail = [this](CArchive& archive) { WriteTail(archive, *this, fileComment); };
    // Before it: a power cut between the two leaves steps that mean nothing yet, and none is missing.
    SaveSteps(*this);
    try {
        SaveThroughJournal(files, filePath, *sampleFile, {headEnd_, tailOffset}, metadata, seen);
    } catch (const ChangedMeanwhile&) {
        throw;
    } catch (...) {
        // What was put back has another time of modification.
        if (IsAtItsPlace()) RememberStamp(filePath, sampleFile->Stamp());
        throw;
    }
    if (!IsAtItsPlace()) KeepBeside();
    fileVersion = currentFileVersion;
    SumMetadata();
    RememberStamp(filePath);
    SetModifiedFlag(false);
    return SaveOutcome::saved;
}

// Another file took this one's place while it was saved: what was saved has no name any more.
void CFloatDoc::KeepBeside() {
    FileSystem& files = GetSession().files;
    const auto kept = FreeResultName(files, filePath);
    WriteFileAtomically(
        files, kept, [this](CArchive& archive) { archive.WriteFrom(*sampleFile, 0, sampleFile->Length()); });
    throw ResultKept(filePath, kept);
}

bool CFloatDoc::SaveOldVersion() {
    const auto suggestion = NameInstead(filePath, ".kymr-dat");
    const auto chosen = GetHost().ChooseSaveFile(
        {"Save in the current format", "Kymora (*.kymr-dat)|*.kymr-dat||", "kymr-dat", suggestion});
    if (!chosen) return false;
    if (SamePath(*chosen, filePath)) {
        GetHost().Message("Choose another name: the file itself is needed until its conversion is complete.");
        return false;
    }
    if (IsBeingEdited(GetSession().files, *chosen)) {
        GetHost().Message("The file " + chosen->string() + " is open. Choose another name.");
        return false;
    }
    if (MaySaveOverSource() != SaveOutcome::saved) return false;
    GetDisplaySettingsFromView();
    WriteNativeFile(*this, *chosen);
    pendingRewritePath = *chosen;
    RememberStamp(filePath);
    SetModifiedFlag(false);
    return true;
}

bool IsBeingEdited(FileSystem& files, const std::filesystem::path& path) {
    if (!files.Stamp(path)) return false;
    try {
        return !files.Open(path, OpenMode::readOnly)->TryLock();
    } catch (const FileError&) {
        return false;  // writing says what is wrong with it
    }
}

bool FinishRewrite(Session& session, const std::filesystem::path& oldPath,
                   const std::filesystem::path& newPath, const std::optional<FileStamp>& oldStamp) {
    const std::string extension = FoldedExtension(oldPath);
    if (extension != ".flt" && extension != ".kymr-dat") {
        session.host.Message(
            "ABORTING: program attempting to delete non-FLT or non- kymr-dat file - this should not "
            "happen. Alert author");
        return false;
    }
    const auto target = NameInstead(oldPath, ".kymr-dat");
    FileSystem& files = session.files;
    try {
        const bool targetIsOther = target != oldPath && target != newPath && files.Stamp(target).has_value();
        if (targetIsOther) throw FileError(target.string() + " exists already", 0);
        if (!(files.Stamp(oldPath) == oldStamp))
            throw FileError(oldPath.string() + " was changed meanwhile", 0);
        // The new file takes its place first, so that at every moment one of the two is there.
        if (target != newPath) {
            files.Rename(newPath, target);
            const auto steps = StepsPath(files, newPath);
            if (files.Stamp(steps)) files.Rename(steps, StepsPath(files, target));
        }
        files.SyncFolderOf(target);
        if (target != oldPath) {
            files.Remove(oldPath);
            files.SyncFolderOf(oldPath);
        }
    } catch (const FileError& error) {
        session.host.Log(std::string(error.what()) + "\n");
        session.host.Message(
            "File re-write failed for some reason. Keeping original. Please inform the author of "
            "circumstances.");
        return false;
    }
    return true;
}

}  // namespace kymora
