#pragma once
// Builds summaries of the open recordings in the background and reads long stretches for their views, on a
// thread of its own with documents of its own (second_look.h). All functions are for the thread that owns
// the service and the documents; none of them waits for the other thread, but for the destructor, which waits
// until that has stopped: a few milliseconds.

#include <atomic>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "import/second_look.h"
#include "summaries/summary_folder.h"

namespace kymora {

struct SummarySettings {
    std::filesystem::path folder;              // where summaries are kept; empty: nowhere
    uint64_t folderBytes = uint64_t{1} << 30;  // all of them together
    int64_t leastSamples = 4'000'000;          // of all traces; shorter recordings are read as fast
    uint64_t mostBytes = uint64_t{64} << 20;   // of one summary, which is also held to a fiftieth of its file
};

// One stretch that a view waits for.
using BinTicket = uint64_t;
inline constexpr BinTicket noTicket = 0;

struct BinAnswer {
    enum class State {
        working,
        ready,
        failed,  // or cancelled: the file cannot be read again, or is not what it was
    };
    State state = State::failed;
    double share = 0.0;  // of the work that is done
    Bins bins;           // when it is ready
};

class SummaryService {
  public:
    // `files` is used from both threads at once, as the disk can be.
    SummaryService(FileSystem& files, SummarySettings settings);
    ~SummaryService();
    SummaryService(const SummaryService&) = delete;
    SummaryService& operator=(const SummaryService&) = delete;

    // A view shows the document: its summary is looked up, or building begins. Documents without a file, and
    // short ones, are left alone. The document is not touched by the other thread; only its path and settings
    // count.
    void Attach(CDataDoc& doc);
    // A view is gone; with the last one all work for the document ends.
    void Detach(const CDataDoc& doc);
    // The samples are others now, or were written anew.
    void SamplesChanged(CDataDoc& doc);

    // The summary, for the calling thread; null while there is none. It lives until the next call for this
    // document.
    Summary* Find(CDataDoc& doc);
    // The summary turned out to be damaged: it is made again.
    void Damaged(CDataDoc& doc);
    // Share of the summary that is built, 1 when it is there; less than 0 when none is made.
    double BuiltShare(const CDataDoc& doc) const;

    // Asks for the bins of 2^level samples from `from` on. noTicket when nobody but the caller can read them.
    BinTicket Request(CDataDoc& doc, int64_t from, int level);
    // An answer that is not `working` ends the ticket.
    BinAnswer Take(BinTicket ticket);
    void Cancel(BinTicket ticket);

  private:
    enum class State {
        building,
        complete,
        changed,  // the file is not as it was; a save of our own explains it later, or nothing does
        failed,
        unwanted,  // there is to be no summary; requests are served all the same
    };
    struct Entry;
    struct Wish;

    std::shared_ptr<Entry> MakeEntry(const CDataDoc& doc) const;
    std::shared_ptr<Entry> EntryOf(const CDataDoc& doc) const;
    std::shared_ptr<Entry> CurrentEntry(CDataDoc& doc);
    void Insert(std::shared_ptr<Entry> entry);
    void Drop(const std::shared_ptr<Entry>& entry);

    // --- the other thread ---
    void Work();
    void Step(Entry& entry, Wish* wish);
    void Serve(Entry& entry, Wish& wish, const SummaryKey& key);
    void Build(Entry& entry, const SummaryKey& key);
    void HaveBlocks(Entry& entry, const SummaryKey& key);
    CDataDoc* DocumentOf(Entry& entry);
    void ReadChunks(Entry& entry, CDataDoc& doc, std::span<const int64_t> chunks, bool withHelper);
    bool BuildFor(Entry& entry, Wish& wish, CDataDoc& doc);
    void Complete(Entry& entry, std::shared_ptr<Summary> forOwner);
    void SetState(Entry& entry, State state);
    std::shared_ptr<Wish> NextWish() const;
    std::shared_ptr<Entry> NextBuild() const;
    void CloseIdle();

    FileSystem& files_;
    SummarySettings settings_;
    SummaryFolder folder_;

    mutable std::mutex mutex_;  // guards what follows
    std::condition_variable news_;
    bool stopping_ = false;
    std::deque<std::shared_ptr<Entry>> entries_;  // the one that was used last in front
    std::deque<std::shared_ptr<Wish>> wishes_;    // the newest in front
    BinTicket lastTicket_ = noTicket;

    std::thread worker_;
};

}  // namespace kymora
