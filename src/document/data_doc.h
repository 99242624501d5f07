#pragma once
// The central object of the system: one open recording. A recording is a set of up to 128 traces that share
// one sample interval and one time axis, with up to 999 event channels, markers, annotations, scale bars, a
// comment, a history and the display settings saved with the file. Every file format is a subclass that fills
// this model; every view, transform, detector and analysis reads it.
//
// Positions are samples from the start of the recording, gaps included; times are milliseconds. Traces and
// channels are numbered from 0.

#include <array>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <vector>

#include "archive/archive.h"
#include "document/document_view.h"
#include "document/file_facts.h"
#include "document/file_identity.h"
#include "document/file_type.h"
#include "document/history_steps.h"
#include "document/open_request.h"
#include "document/overlays.h"
#include "document/run_list.h"
#include "document/sample_reader.h"
#include "document/stored_settings.h"
#include "document/trace_signals.h"
#include "document/undo.h"
#include "events/event_chan.h"
#include "host/session.h"

namespace kymora {

inline constexpr int64_t longestRecording = 0x7FFFFFFF;

enum class SaveOutcome {
    saved,
    failed,
    changedOutside,  // by another program, whose version stays; the samples are those that were opened
};

class CDataDoc : public EventChanOwner, public SampleReader {
  public:
    explicit CDataDoc(Session& session);
    virtual ~CDataDoc();
    CDataDoc(const CDataDoc&) = delete;
    CDataDoc& operator=(const CDataDoc&) = delete;

    // --- the four operations of the formats ---

    // Writes the valid samples of a trace as f32 to a storing archive, gains applied.
    virtual void WriteTraceData(CArchive& archive, int trace);
    virtual int GetFileType() const { return typeBase; }
    // Moves the window so that it begins at readPosition. Past the end it holds 0.0. The window of a trace is
    // read when it is first asked for: a reader of one trace does not pay for the others.
    virtual void FillFileBuf();
    // (length - 1) x sampleInterval, ms.
    virtual double GetEndTime() const;
    // The time of day at which the recording begins, in ms since midnight; nothing where the file does not
    // tell.
    virtual std::optional<double> GetStartClock() const { return {}; }

    // --- opening, saving, closing ---

    // Opens and fills the document. A failure is told to the user and answers false; the document is then
    // unusable.
    bool OnOpenDocument(const std::filesystem::path& path, OpenRequest request = {});
    // What came of that.
    const Opening& GetOpening() const { return opening_; }
    virtual Reopening ToReopen() const { return {opening_.request.settings}; }
    // A native file saves in place; any other writes its side-car. Whatever failed or was refused, the user
    // was told of.
    virtual SaveOutcome Save();
    bool OnSaveDocument() { return Save() == SaveOutcome::saved; }
    // Say something about the recording that opens, which is good to know and no failure: to the user, or in
    // the log where the request says so.
    void Tell(std::string_view text);
    void Notify(std::string_view key, std::string_view text);
    // Asks about operations at work and about unsaved changes; true when the document may close.
    bool SaveModified();
    // The first of the two questions alone.
    bool MayLeaveOperations();
    bool IsModified() const { return modified_; }
    // Set: changed by something that cannot be taken back. Not set: this state is the saved one, and undoing
    // to it makes the document unmodified again.
    void SetModifiedFlag(bool modified = true);
    // The steps that can be undone say it themselves.
    void FollowUndo() { modified_ = !undo_.IsAtSaved(); }

    // What the user can take back.
    UndoStack& Undo() { return undo_; }
    UndoScope* openUndoScope = nullptr;  // the outermost one at work

    void AddView(DocumentView& view);
    void RemoveView(DocumentView& view);
    void UpdateAllViews(UpdateHint hint);
    // New rows of events stand in all views above the traces.
    void MakeRoomForRows(float traces);
    // Copies the state of the first view to the model, just before a save. `otherViewActive` says that the
    // user is working in the view of another document.
    void GetDisplaySettingsFromView(bool otherViewActive = false);
    // What a view hands back when it closes.
    void StoreDisplaySettings(const DisplaySettings& settings);

    Session& GetSession() const { return session_; }
    Host& GetHost() const override { return session_.host; }

    // --- a file that goes on after it was opened: import/reload.h ---

    const FileFacts& Facts() const { return facts_; }
    FileFacts& Facts() { return facts_; }
    // The model is what the file tells, and the user's additions are about to take its place. Only the first
    // call of an opening counts.
    void NoteFacts();
    // Of the first `count` stored samples of each trace, without gains. Throws FileError.
    uint64_t SumOfBeginning(int64_t count);
    // Whether the file holds all that users add. Else it is never written.
    virtual bool KeepsAllInFile() const { return false; }
    // Whether all but the samples stands in its file as it does in that of `fresh`.
    virtual bool HasMetadataOf(const CDataDoc& /*fresh*/) const { return true; }
    // For what a document is opened that TakeReader gets.
    virtual OpenFor ReloadPurpose() const { return OpenFor::reading; }
    // Goes on with the file as another document of this class has read it: with its samples, and where
    // HasMetadataOf is false with all that stands in it. Positions, and what the user has, stay otherwise.
    virtual void TakeReader(std::unique_ptr<CDataDoc> fresh);
    // The document that reads the file: this one, or the last that was taken.
    CDataDoc& Reader() { return reader_ ? *reader_ : *this; }
    const CDataDoc& Reader() const { return reader_ ? *reader_ : *this; }

    // --- the model ---
    std::filesystem::path filePath;  // as the user gave it; compare paths with SamePath
    int32_t fileVersion = currentFileVersion;
    bool inOpen = false;
    bool openedReadOnly = false;  // may not be saved in place; readOnlyReason says why
    std::string readOnlyReason;

    double sampleInterval = 1.0;  // ms
    int32_t traceCount = 0;
    bool episodic = false;
    int32_t episodicStored = 0;  // the flag as the file holds it; non-zero when episodic
    bool hasGaps = false;
    bool noData = false;
    std::array<RunList, maxTraces> validRuns;
    std::array<TraceSettings, maxTraces> traces;
    std::vector<double> Gains() const;  // of the traces there are
    std::array<std::vector<CAnnotation>, maxTraces> traceAnnotations;
    std::vector<TraceSignal> traceSignals;  // of each trace; empty where all signals of the file are traces
    std::vector<AbsentTrace> absentTraces;  // what the side-car keeps for other signals
    std::vector<CMarker> markers;           // ascending in time
    bool markersLocked = false;             // the mouse cannot drag them; no file keeps it
    std::vector<CEventChan> eventChannels;  // always 999
    StoredView view;
    Grid grid;
    std::array<ScaleBarGroup, 2> scaleBars;  // 0 the horizontal bar's group, 1 the vertical bars'
    std::string fileComment;
    std::string historyLog;
    int32_t legacyEventCode = 0;
    int32_t dataStart = 0;     // versions below 22: offset of the samples
    int32_t sampleStride = 0;  // versions below 22: bytes from sample to sample of a trace
    std::array<uint64_t, maxTraces> traceFileOffset{};  // versions 22 and above
    uint64_t tailOffset = 0;
    std::filesystem::path pendingRewritePath;
    std::filesystem::path
        damagedSideCar;  // a side-car that could not be read; a save keeps it under another name

    double GetSampleInterval() const override { return sampleInterval; }
    // The end of the viewport with which a recording opens that stores none, ms; it begins at 0.
    double UsualViewEnd() const;
    double TimeOf(int64_t position) const { return static_cast<double>(position) * sampleInterval; }
    // Rounded half away from zero.
    int32_t PositionOf(double timeMs) const;

    // --- runs ---
    int64_t GetLength() const { return validRuns[0].Length(); }
    int64_t GetTraceLength(int trace) const override { return Runs(trace).Length(); }
    int64_t GetStoredCount(int trace) const { return Runs(trace).StoredCount(); }
    int GetNumRuns(int trace) const { return Runs(trace).Size(); }
    uint32_t GetRun(int trace, int i) const { return Runs(trace)[i]; }
    int GetNumValidBlocks(int trace) const { return Runs(trace).NumValidBlocks(); }
    // Start and exclusive end of run i; true for a valid run, false for a gap or an index past the end.
    bool GetRunSpan(int trace, int i, int64_t& start, int64_t& end) const;
    int64_t CountValid(int trace, int64_t from, int64_t to) const override {
        return Runs(trace).CountValid(from, to);
    }
    bool HasGaps() const override { return hasGaps; }
    bool HasNoData() const override { return noData; }
    // Validity at readPosition.
    bool IsValidAt(int trace);
    // One flag per trace for readPosition; false if any is invalid.
    bool AreAllValid(std::span<uint8_t> flags);
    // Every trace becomes one run of n; above 0x7FFFFFFF the user is told and n is held to it.
    void SetLength(int64_t n);
    // Lengthens a growing recording: entry 0 of trace 0 grows, and every trace takes that value.
    void ExtendLength(int64_t samples);
    // Sets hasGaps and noData from the run lists.
    void UpdateGapFlags();
    // Shortest episode, or shortest non-zero valid run, or the whole length, in samples.
    int64_t ShortestSection() const;

    // --- the file buffer ---
    int32_t readPosition = 0;
    int32_t bufferStart = 0;
    // The window of a trace: bufferSize samples from bufferStart on.
    std::span<const float> FileBuffer(int trace) { return {Window(trace), bufferSize}; }
    // Their validity; only where hasGaps is set.
    std::span<const uint8_t> ValidBuffer(int trace);

    void SetReadPosition(int32_t position);
    // The sample at readPosition; then advances by one, as the other reads do. Past the end: not-a-number.
    double ReadNext(int trace) {
        const auto inWindow = static_cast<uint32_t>(readPosition - bufferStart);
        const float* window = window_[static_cast<size_t>(trace)];
        if (inWindow < fastInWindow_ && window != nullptr) {
            ++readPosition;
            return window[inWindow];
        }
        return ReadNextSlow(trace);
    }
    double ReadNextChecked(int trace, uint8_t& valid);
    // One sample of every trace; true when all are valid. With noData only the first value and flag are
    // written.
    bool ReadNextAll(std::span<float> values, std::span<uint8_t> flags);
    // Reads one sample elsewhere and puts readPosition back.
    double ReadAt(int trace, int32_t position, uint8_t& valid);
    std::vector<float> GetValidDataFromFileBuf(int trace, int32_t start, int32_t count);
    // Throws FileError, unlike the reads through the window, which give zeros and a line in the log.
    std::vector<float> ReadVector(int trace, int32_t count);
    // Reads `count` samples in sequence and writes the valid ones.
    void WriteValidOnly(CArchive& archive, int trace, int32_t count);

    // --- block reads, on which everything fast is built ---

    // Without moving the window.
    void ReadBlocks(int64_t from, std::span<const TraceBlock> blocks) override;
    // The extremes of what ReadBlocks would give for [from, from + count), which lies within the recording,
    // from formats that can tell them without making every sample and hold no not-a-number. False from all
    // others, with nothing done. Throws FileError.
    bool FoldBlocks(int64_t from, int64_t count, FoldSlots slots, std::span<const TraceFold> folds);
    // The same for many short stretches of one trace, in ascending order.
    bool FoldStretches(int trace, std::span<const FoldStretch> stretches);

    // --- traces, markers, channels ---

    // Moves every per-trace entry from slot 126 down to `slot` one place up; traceCount is the caller's to
    // change.
    void InsertTrace(int slot);
    // Removes the annotations of a trace and moves those of higher slots down.
    void DeleteTrace(int slot);
    // Goes behind all markers with a time not above its own.
    void InsertMarker(CMarker marker);

    bool HasChannel(int channel) const { return channel >= 0 && channel < maxEventChannels; }
    int GetNumEvents(int channel) const;
    // Null outside the channel or the document.
    const CEventKM* GetEvent(int channel, int index) const;
    int32_t GetOn(int channel, int index) const;   // -1 when there is no such event
    int32_t GetOff(int channel, int index) const;  // -1 when there is no such event
    int32_t GetParentTrace(int channel) const;     // -1 when there is no such channel
    bool AddEvent(int channel, CEventKM event);
    // Where a channel above 'z' has events, the session offers numbers instead of letters.
    void OfferChannelsInUse();
    // Operations that compute for it on other threads, and the channels into which they will write.
    int operationsAtWork = 0;
    std::multiset<int> channelsAtWork;
    // It has no events, none are on their way, and no lock keeps them out.
    bool IsFreeChannel(int channel) const;
    // The lowest free channel, or -1.
    int FirstFreeChannel() const;
    static double DefaultDisplayPosition(int channel);
    static uint32_t DefaultChannelColour(int channel, Palette palette = Palette::system);
    void ResetDefaultPositions();
    void SetAllDrawModes(int32_t drawMode);

    // --- history ---

    // The date line of a new record ("%A, %B %d, %Y, %H:%M:%S\r\n") and of a save-as ("%A, %B %d, %Y\r\n").
    std::string HistoryDateLine(bool withTime) const;
    void AppendSaveAsHistory();
    void AppendNewRecordHistory(std::string_view entry);
    // The steps of its operations: those of the file beside it, which is read when they are first asked for,
    // and those that were noted since.
    const HistorySteps& Steps();
    void NoteStep(HistoryStep step);
    bool HasNotedSteps() const { return hasNotedSteps_; }

    // --- saving: what keeps other writers' work ---

    // Counts samples that a long write has copied and throws Cancelled when the user has had enough.
    void ReportCopied(int64_t samples);
    // Lends a progress to the copying of samples until it is called with null.
    void BeginCopy(Progress* progress);

    // Remembers the state of the file that a save would replace.
    void RememberStamp(const std::filesystem::path& path);
    void RememberStamp(const std::filesystem::path& path, const FileStamp& stamp) { stamps_[path] = stamp; }
    std::optional<FileStamp> RememberedStamp(const std::filesystem::path& path) const;
    // True when the file is as it was remembered, or the user agrees to write over the changes.
    bool MayOverwrite(const std::filesystem::path& path);
    bool MayDescribeSource();

  protected:
    // One piece of a trace's stored samples.
    struct StoredRead {
        int trace = 0;
        std::span<float> values;
    };
    // Fills the model from the file at filePath, as the opening says. Called with the defaults in place;
    // throws OpenError, OpenDeclined, ArchiveError or FileError.
    virtual void Load() = 0;
    // What comes after the model is filled and before the views are told; throws the same.
    virtual void AfterLoad() {}
    Opening& CurrentOpening() { return opening_; }
    // The file at filePath, for readers that never write it. Throws OpenError.
    std::unique_ptr<DataFile> OpenReadOnly() const;
    // Reads stored samples (gaps not counted) from `storedIndex` on, without gains. All pieces have one
    // length, and none reaches past the stored samples of its trace. The spans arrive with any content; what
    // cannot be read is set to 0.0.
    virtual void ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) = 0;
    // Whether FoldStored does anything. The samples of a format that folds are all numbers.
    virtual bool CanFold() const { return false; }
    // Widens the slots by `count` stored samples from `storedIndex` on, with the gains applied.
    virtual void FoldStored(int64_t storedIndex, int64_t count, FoldSlots into,
                            std::span<const TraceFold> folds) {
        (void)storedIndex, (void)count, (void)into, (void)folds;
    }
    // The same for stretches that begin at stored samples.
    virtual void FoldStoredStretches(int trace, std::span<const FoldStretch> stretches) {
        (void)trace, (void)stretches;
    }
    // Back to the defaults of a new document, but for path, file and session.
    void ResetModel();
    // Makes room for the window of the model as it stands, and puts it at position 0.
    void AllocateBuffers();
    // Parts of TakeReader: length, gaps and interval; and all that is no sample, which ends undo.
    void TakeExtent(const CDataDoc& fresh);
    void TakeMetadata(CDataDoc& fresh);

    std::unique_ptr<DataFile> sampleFile;

  private:
    const RunList& Runs(int trace) const { return validRuns[static_cast<size_t>(trace)]; }
    double ReadNextSlow(int trace);
    bool TryToOpen();
    void NoteBeginning();
    void HandGainsToReader();
    void Advance();
    void UpdateReadable();
    const float* Window(int trace) {
        const float* window = window_[static_cast<size_t>(trace)];
        return window != nullptr ? window : FillTrace(trace);
    }
    const float* FillTrace(int trace);
    void ReadRuns(int64_t from, std::span<const TraceBlock> blocks);
    void ReadValid(int64_t storedIndex, size_t at, size_t count, std::span<const TraceBlock> blocks);
    void FoldRuns(int64_t from, int64_t count, FoldSlots slots, std::span<const TraceFold> folds);

    Session& session_;
    Opening opening_;
    bool modified_ = false;
    UndoStack undo_{*this};
    std::vector<DocumentView*> views_;
    std::vector<std::vector<float>> fileBuffer_;     // [trace][bufferSize], empty until it is needed
    std::vector<std::vector<uint8_t>> validBuffer_;  // the same where hasGaps is set
    std::array<const float*, maxTraces> window_{};   // the traces whose window has been read
    uint32_t readableInWindow_ = 0;  // samples of the window that lie before the end of the recording
    uint32_t fastInWindow_ = 0;      // those of them after which the window stays where it is
    std::map<std::filesystem::path, std::optional<FileStamp>> stamps_;
    HistorySteps steps_;
    bool hasReadSteps_ = true;  // a recording without a file has none
    bool hasNotedSteps_ = false;
    Progress* copyProgress_ = nullptr;
    int64_t copiedSamples_ = 0;
    bool sharedRuns_ = true;  // all traces have one run list
    FileFacts facts_;
    bool hasNotedFacts_ = false;
    std::unique_ptr<CDataDoc> reader_;
};

inline constexpr const char* operationAtWorkText =
    "An operation is still at work on this recording. Wait until it is done, or cancel it in its window.";
// Takes the name of the file.
inline constexpr const char* closesAtWorkText =
    "An operation is still at work on {}.\nClick OK to close it, and what the operation finds is lost.";
inline constexpr const char* tooLongText =
    "This file is too long to be handled by Kymora. Please contact the author.";

// The questions about all documents that are to close, those with changes named in one box. False leaves all
// of them as they are.
bool MayClose(Host& host, const std::vector<CDataDoc*>& docs);

}  // namespace kymora
