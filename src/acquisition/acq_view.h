#pragma once
// The half of a recording interface that does not depend on its source: document, pipes, storage thread, and
// the way of samples to the display. It has no window; one, the terminal or a test drives it by an event loop
// and hears of it as an observer. Everything here is called on the interface thread.

#include <filesystem>
#include <memory>
#include <optional>

#include "acquisition/acq_messages.h"
#include "acquisition/disk_watch.h"
#include "acquisition/storage_thread.h"
#include "recording/acq_doc.h"
#include "recording/acquisition_settings.h"

namespace kymora {

enum class AcqState : int {
    recording = 0,
    episode = 1,          // of a repeating series
    triggered = 2,        // the armed trigger has fired; recording
    armed = 3,            // waiting for the trigger
    betweenEpisodes = 4,  // of a repeating series
    displayPaused = 5,    // recording
    displayOnly = 6,      // running without storage
    idle = 7,
};

// Who shows a recording.
class AcqObserver {
  public:
    virtual ~AcqObserver() = default;
    virtual void OnStateChanged() {}
    // A new recording has begun, in a new document.
    virtual void OnBegun() {}
    // Scans to be drawn behind those before.
    virtual void OnScans(std::span<const std::byte>) {}
    // The display is paused, and so many scans passed it.
    virtual void OnScansPassed(int64_t) {}
    // The display has fallen behind: it goes on at this scan, of all since the beginning.
    virtual void OnSkipped(int64_t) {}
    // A file was saved, or appended to.
    virtual void OnSaved(const std::filesystem::path&) {}
};

class CAcqView : protected AcqEventLoop::Target {
  public:
    CAcqView(Session& session, AcqEventLoop& loop);
    ~CAcqView() override;
    CAcqView(const CAcqView&) = delete;
    CAcqView& operator=(const CAcqView&) = delete;

    AcquisitionSettings m_settings;
    bool m_bDisplayOnly = false;              // samples are not written
    int m_nDisplayWidth = 0;                  // pixels; 0: there is no display
    std::filesystem::path m_temporaryFolder;  // of the samples; empty: the system's

    // Before a start.
    void SetObserver(AcqObserver* observer) { m_pObserver = observer; }
    AcqState State() const;
    bool IsIdle() const { return State() == AcqState::idle; }
    // Samples are being taken, or waited for.
    bool IsRunning() const { return m_pStorage != nullptr; }

    CAcqDoc& Document() { return *m_pDoc; }
    // What was changed in the document beside its samples is there after a crash, too.
    void KeepTail();
    const ScanFormat& Format() const { return m_format; }
    int64_t ScansPerSweep() const { return m_nScansPerSweep; }
    size_t BufferScans() const { return m_nBufferScans; }
    int64_t StoredScans() const;
    // Scans that came before the first one that is stored: an internal trigger lets them go. 0 until it
    // comes.
    int64_t ScansLetGo() const;
    // How much of the storage pipe is filled, 0 to 1.
    double PipeFill() const;
    // How long the disk lasts for these settings, s; nothing where that is not known.
    std::optional<double> DiskSeconds() const;
    // Whether the last recording ended otherwise than it should have.
    bool HasFailed() const { return m_bFailed; }

    // In place of the question for a name; empty: it is asked. And what may be replaced there.
    std::filesystem::path m_saveAs;
    std::optional<FileStamp> m_saveAsStamp;

    // --- buttons; false where nothing came of it, which the user was told ---
    virtual bool OnAcqStart() = 0;
    virtual void OnAcqStop() = 0;
    // The same, and nothing begins by itself afterwards.
    virtual void StopForGood() = 0;
    virtual bool OnSave() = 0;
    // The pause button: the display stands, the recording goes on.
    void OnPause();
    // Nothing more is appended to the file.
    virtual void OnDone() {}
    virtual const char* StartButton() const { return "Start"; }
    virtual const char* SaveButton() const { return "Save"; }

    // Nothing runs, and nothing will begin by itself.
    virtual bool HasEnded() const { return IsIdle(); }
    // Recordings that have gone into the present file.
    virtual int AppendCount() const { return 0; }
    // Settings may be changed now.
    virtual bool MayChangeSettings() const { return HasEnded(); }
    // Samples were stored, and are in no file yet.
    bool HasUnsaved() const { return m_bUnsaved; }
    // Gives up what was recorded and is in no file.
    virtual void GiveUp();
    // The same for when the next recording begins or this interface ends: nobody needs it any more, also
    // where it could not be saved.
    void LetGo() { m_bSaveFailed = false; }
    // What is asked before other settings count that the present data do not fit; null: nothing.
    virtual const char* ClearQuestion(const AcquisitionSettings&) const { return nullptr; }

    // Channels that are on, from 0, at most those that the source has.
    std::vector<int> ActiveChannels() const;
    // What a document says of the source.
    virtual void FillDocument(CAcqDoc& doc) const = 0;
    // Takes over the format of the source and of the settings as they are, while it is idle.
    virtual void TakeFormat() = 0;
    // Axes that nobody has set reach as far as the source.
    void SpanUnsetAxes();
    // Of what traces show.
    virtual std::string Unit() const { return "V"; }
    // The next start begins several recordings.
    virtual bool IsSeries() const { return false; }
    const std::string& StatusText() const { return m_strStatus; }

  protected:
    // As long as a disk may stall before samples are lost, and a second for what the stall itself holds up.
    static constexpr double pipeSeconds = 6.0;
    static constexpr size_t leastStoreSlots = 64, displaySlots = 32;
    static constexpr double usualBufferMs = 20.0, longestBufferMs = 500.0;

    Session& GetSession() const { return m_session; }
    Host& GetHost() const { return m_session.host; }
    AcqEventLoop& Loop() const { return m_loop; }
    void SetState(AcqState state);
    // False, told to the user, while another interface records.
    bool MayRecord();
    double FrequencyKHz() const { return 1.0 / m_settings.m_dSampleInterval; }
    // False, told to the user, where the disk has no room.
    bool CheckDisk();
    // Warns of a disk that will be full, and answers whether the recording has to stop for it.
    bool IsDiskFull();
    static constexpr const char* diskFullText =
        "The disk is almost full. Recording stopped; what came until now is stored.";
    static constexpr const char* someSkippedText =
        "Some data were skipped in the real-time display but all data were stored successfully.";
    static constexpr int watchMs = 1000;  // between looks at the disk
    // False, told to the user, where m_saveAs is another file than it was at the start.
    bool MaySaveAs();
    double BytesPerSecond() const;
    void Fail(std::string_view text);

    // m_nScansPerSweep, m_nScanBytes and m_nSweepBytes of the settings. False, told to the user, where a
    // recording cannot be that long.
    bool ComputeSweep();
    // As many scans as a buffer should have, so that the display moves and a crash loses little.
    size_t WantedBufferScans() const;
    // So long a stall of the disk the storage pipe holds, s of recorded time.
    virtual double PipeSeconds() const { return pipeSeconds; }
    // Makes pipes of such buffers. False, told to the user, where the display would stand still.
    bool MakePipes(size_t bufferScans);
    // Opens the temporary file, unless samples are not written, and starts the storage thread.
    bool BeginStorage(AcqState state, std::unique_ptr<InternalTrigger> trigger);
    // Stores what the pipe still holds, and removes pipes and thread. The source has stopped.
    void EndStorage();
    // How many stored scans came before the internal trigger; nothing where it did not come.
    std::optional<int64_t> ScansBeforeTrigger() const;
    // Removes the temporary file, where there is one.
    void DiscardSamples();
    // What a document says of the active channels, whatever the source.
    void FillTraces(CAcqDoc& doc) const;
    void OnDataReady(uint32_t count);

    std::unique_ptr<CAcqDoc> m_pDoc;
    AcqMailbox m_mailbox;
    std::unique_ptr<CPipe> m_pStorePipe, m_pDisplayPipe;
    std::unique_ptr<StorageThread> m_pStorage;
    ScanFormat m_format;
    int64_t m_nScansPerSweep = 0;
    uint64_t m_nScanBytes = 2, m_nSweepBytes = 0;
    size_t m_nBufferScans = 0;
    std::atomic<bool> m_bSkippedDisplay{false};
    bool m_bSkippedAny = false;                // during this recording
    int64_t m_nScansCame = 0;                  // to the display, drawn or not
    uint64_t m_nLetGo = 0;                     // bytes, of the recording that has ended
    std::optional<uint64_t> m_nBeforeTrigger;  // bytes, of the recording that has ended
    bool m_bFailed = false;
    bool m_bUnsaved = false;
    bool m_bWarnedOfDisk = false;
    std::string m_strStatus;
    bool m_bSaveFailed = false;  // the samples stay in their temporary file
    AcqObserver* m_pObserver = nullptr;

  private:
    class DocumentStore;

    void WaitForStorage();

    Session& m_session;
    AcqEventLoop& m_loop;
    std::unique_ptr<DocumentStore> m_pStore;
    AcqState m_beforePause = AcqState::recording;
};

}  // namespace kymora
