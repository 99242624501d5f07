#pragma once
// A recording file (.kymr-rec), opened for reading or being recorded.
//
// An opened file is never written: what the user adds goes into its side-car. Its samples stay on the disk.
// What a crash or a cut has left of a file still opens, as far as its samples go, and the user is told.
//
// A document that records has a temporary file with the layout of a recording from its first byte: head, a
// scan count of 0, and the scans as they come. What will stand behind them stands beside it meanwhile. Its
// threads: the interface thread calls everything but StoreScans and FlushScans, which belong to storage
// threads, between WriteAcqFileStart and the end of that thread. Only StoredScans may be asked while it runs,
// and samples below it may be read. The storage thread has ended before any save begins.

#include <atomic>
#include <limits>
#include <mutex>

#include "recording/provisional_tail.h"
#include "recording/recording_samples.h"
#include "recording/recording_tail.h"

namespace kymora {

// What a file lacks that opened all the same.
enum class RecordingFault {
    none,
    unfinished,  // its scan count was never written; the scans were counted
    shortened,   // it holds fewer scans than it states
    noTail,      // what stands behind the samples cannot be read
    miscounted,  // its tail does not stand where the scan count says; the scans before it were counted
};

class CAcqDoc : public CDataDoc, public RecordingHeader {
  public:
    using CDataDoc::CDataDoc;
    ~CAcqDoc() override;

    int GetFileType() const override { return typeRecording; }
    // In the time zone of this machine.
    std::optional<double> GetStartClock() const override;
    RecordingFault Fault() const { return fault_; }
    // Whether the file holds settings and events that can be read.
    bool HasTail() const { return hasTail_; }
    const RecordingTailState& TailState() const { return tailState_; }

    // The head and the samples as the model has them now, for who writes them elsewhere.
    RecordingHeader CurrentHeader() const;
    const DataFile& SampleFile() const { return *static_cast<const CAcqDoc&>(Reader()).sampleFile; }

    // --- recording: acq_recording.cpp ---

    // Begins a recording: makes the temporary file in the folder (an empty one is the system's) and writes
    // its head, with this moment as the start. The model's settings of channels go into it; what an earlier
    // recording has left unsaved is gone. False where there is no such file, which the user was told. Throws
    // FileError.
    bool WriteAcqFileStart(const std::filesystem::path& folder = {});
    // The time of the first scan, where a recording waited for it; the file has it with the next scans or at
    // the end.
    void SetStartTime(int64_t seconds);
    // Storage thread: appends whole scans. Throws FileError; nothing of them counts then.
    void StoreScans(std::span<const std::byte> scans);
    // Another thread beside it: returns when what was stored has reached the disk. Throws FileError.
    void FlushScans();
    // Settings, markers and events as they are now, for who opens what a crash has left: they reach the disk
    // with the next scans.
    void KeepTail();
    // The same at once, while no thread stores.
    void FlushTail() { provisionalTail_.Flush(ProvisionalTail::Durable::no); }
    // Of the present recording, on any thread.
    int64_t StoredScans() const { return storedScans_; }
    // Gives the model the length of what was stored, for views.
    void TakeStoredScans();
    // Ends the recording as a whole file of this name: writes scan count and tail and renames. Throws
    // FileError; the temporary file then holds all samples as before.
    void FinishRecording(const std::filesystem::path& target);
    // The temporary file; empty when there is none.
    const std::filesystem::path& TemporaryPath() const { return temporaryPath_; }
    // Removes the temporary file with its samples.
    void DiscardRecording();

    int64_t m_timeFirst = 0;  // of an append series, the start of the first recording; seconds since 1970
    int64_t m_timeLast = 0;   // the start of the present recording

  protected:
    void Load() override;
    void ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) override;
    virtual Preamble GetPreamble() const { return Preamble::full; }
    // Whether the name says that it is such a file.
    virtual bool TakesName(const std::string& foldedPath) const;

  private:
    void Serialize(CArchive& archive);
    void TakePreambleSetting();
    void ReadOwnSideCar();
    void MeasureScans(uint32_t field);
    void FillModel();
    void FindTail(std::string& reason);
    bool TakeMovedTail();
    std::optional<uint64_t> TryTail(DataFile& file, uint64_t at, std::string& reason);
    void FindProvisionalTail();
    void LoadModel();
    void LoadBare();
    void LoadTail();
    void TakeNewerTail();
    void TellFault(const std::string& reason);

    RecordingTailState tailState_;
    RecordingFault fault_ = RecordingFault::none;
    int64_t statedScans_ = 0, scans_ = 0, scansThere_ = 0;
    uint64_t tailAt_ = 0;
    bool hasTail_ = false;
    std::unique_ptr<DataFile> leftTail_;  // beside the samples, of a recording that was not finished
    uint64_t leftTailAt_ = 0;
    uint64_t replacedSideCar_ = 0;  // 0: none
    std::unique_ptr<RecordingSamples> samples_;

    // While recording.
    void WriteNewStart();

    static constexpr int64_t noNewStart = std::numeric_limits<int64_t>::min();
    std::filesystem::path temporaryPath_;
    ProvisionalTail provisionalTail_;
    std::mutex fileAccess_;  // between the storage thread and who saves
    std::atomic<int64_t> storedScans_{0}, newStart_{noNewStart};
};

inline constexpr const char* selectRecordingText = "You must select a .kymr-rec file";

// What tells the contents of a recording's side-car from others; nothing where it has none.
std::optional<uint64_t> SideCarSum(FileSystem& files, const std::filesystem::path& recording);
// Behind the tail of a recording that was written anew together with its side-car stands this, with the sum
// of the side-car that was there before: where that one is still there, the tail is newer.
inline constexpr const char* replacedSideCarMark = "in place of side-car";

// Whether an event may be the mark of an episode. One that a part ends with has no length.
bool IsEpisodeMark(const CEventKM& event);
// Whether the events of a channel mark the beginnings of recordings that were appended to each other.
bool MarksEpisodes(const CEventChan& channel);
// The event that marks the beginning of a recording at this scan, so many seconds after the first one's.
CEventKM EpisodeMark(int32_t scan, int64_t seconds);

}  // namespace kymora
