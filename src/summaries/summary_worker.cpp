// The other thread of the summary service. It works in steps of some milliseconds, so that what the user
// waits for comes before what does not hurry, and an end is at once.

#include <algorithm>
#include <chrono>
#include <future>

#include "summaries/summary_bins.h"
#include "summaries/summary_entry.h"

namespace kymora {

namespace {

constexpr auto quickOpen = std::chrono::milliseconds(20);
constexpr size_t chunksAtOnce = 8;  // of a waiting view

}  // namespace

void SummaryService::Work() {
    std::unique_lock lock(mutex_);
    while (!stopping_) {
        const auto wish = NextWish();
        auto entry = wish ? wish->entry : NextBuild();
        if (!entry) {
            CloseIdle();
            news_.wait(lock);
            continue;
        }
        lock.unlock();
        Step(*entry, wish.get());
        entry.reset();  // a dropped document closes outside of the lock
        lock.lock();
    }
}

std::shared_ptr<SummaryService::Wish> SummaryService::NextWish() const {
    for (const auto& wish : wishes_)
        if (wish->state == BinAnswer::State::working) return wish;
    return nullptr;
}

std::shared_ptr<SummaryService::Entry> SummaryService::NextBuild() const {
    for (const auto& entry : entries_)
        if (entry->state == State::building || (entry->state == State::complete && entry->builder))
            return entry;
    return nullptr;
}

// Nobody waits for anything: the files need not stay open.
void SummaryService::CloseIdle() {
    for (const auto& entry : entries_) {
        entry->source.reset();
        entry->secondSource.reset();
        if (entry->isKept || !entry->lookedUp) entry->own.reset();
    }
}

void SummaryService::SetState(Entry& entry, State state) {
    const std::lock_guard lock(mutex_);
    entry.state = state;
    if (state == State::building || state == State::complete) return;
    for (const auto& wish : wishes_)
        if (wish->entry.get() == &entry) wish->state = BinAnswer::State::failed;
}

void SummaryService::Step(Entry& entry, Wish* wish) {
    SummaryKey key;
    {
        const std::lock_guard lock(mutex_);
        key = entry.key;
    }
    try {
        if (files_.Stamp(key.path) != key.stamp) return SetState(entry, State::changed);
        if (wish)
            Serve(entry, *wish, key);
        else
            Build(entry, key);
    } catch (const SummaryError&) {
        // The kept file went bad: the samples are read again.
        folder_.Discard(key);
        entry.own.reset();
        entry.builder.reset();
        entry.lookedUp = true;
        SetState(entry, State::building);
    } catch (const std::exception&) {
        SetState(entry, State::failed);
    }
}

// --- building ---

// Makes sure that there is a summary to work on, from the folder or from nothing.
void SummaryService::HaveBlocks(Entry& entry, const SummaryKey& key) {
    if (!entry.own && entry.builder) entry.own = entry.builder->GetSummary();
    if (entry.own) return;
    const bool wasComplete = [&] {
        const std::lock_guard lock(mutex_);
        return entry.state == State::complete;
    }();
    if (wasComplete || !entry.lookedUp) entry.own = folder_.Find(key);
    entry.lookedUp = true;
    if (entry.own) {
        entry.isKept = true;
        if (!wasComplete) Complete(entry, folder_.Find(key));
        return;
    }
    entry.builder = std::make_unique<SummaryBuilder>(*entry.shape);
    entry.own = entry.builder->GetSummary();
}

void SummaryService::Complete(Entry& entry, std::shared_ptr<Summary> forOwner) {
    if (!forOwner) return;
    entry.share = 1.0;
    const std::lock_guard lock(mutex_);
    entry.arrived = std::move(forOwner);
    if (entry.state == State::building) entry.state = State::complete;
}

CDataDoc* SummaryService::DocumentOf(Entry& entry) {
    const auto start = std::chrono::steady_clock::now();
    const bool opens = !entry.source;
    if (opens) entry.source = std::make_unique<SecondLook>(files_, entry.info, entry.stop);
    CDataDoc* doc = entry.source->Document();
    if (opens) entry.opensQuickly = std::chrono::steady_clock::now() - start < quickOpen;
    return doc;
}

// A helper takes every other chunk, with a document of its own, where somebody waits and opening is quick.
void SummaryService::ReadChunks(Entry& entry, CDataDoc& doc, std::span<const int64_t> chunks,
                                bool withHelper) {
    SummaryBuilder& builder = *entry.builder;
    const auto readEvery = [&](CDataDoc& from, size_t first, size_t step) {
        for (size_t i = first; i < chunks.size() && !entry.stop; i += step)
            builder.ReadChunk(from, chunks[i]);
    };
    CDataDoc* second = nullptr;
    if (withHelper && entry.opensQuickly && chunks.size() > 1 && std::thread::hardware_concurrency() > 1) {
        if (!entry.secondSource)
            entry.secondSource = std::make_unique<SecondLook>(files_, entry.info, entry.stop);
        second = entry.secondSource->Document();
    }
    if (second) {
        auto helper = std::async(std::launch::async, readEvery, std::ref(*second), size_t{1}, size_t{2});
        readEvery(doc, 0, 2);
        helper.get();
    } else {
        readEvery(doc, 0, 1);
    }
    if (entry.stop) return;  // nobody asks any more
    for (const int64_t chunk : chunks) builder.SetDone(chunk);
    entry.share = static_cast<double>(builder.ChunksDone()) / static_cast<double>(builder.ChunkCount());
    if (builder.IsComplete()) Complete(entry, builder.GetSummary());
}

void SummaryService::Build(Entry& entry, const SummaryKey& key) {
    HaveBlocks(entry, key);
    if (!entry.builder) return;
    if (!entry.builder->IsComplete()) {
        CDataDoc* doc = DocumentOf(entry);
        if (!doc) return SetState(entry, State::failed);
        const int64_t chunk = entry.builder->FirstMissing(0, entry.info.length);
        return ReadChunks(entry, *doc, {&chunk, 1}, false);
    }
    // From now on the blocks are in the folder, and the memory is free again; or it keeps them.
    Complete(entry, entry.own);
    if (folder_.Store(key, *entry.builder->GetSummary())) {
        Complete(entry, folder_.Find(key));
        entry.own.reset();
        entry.isKept = true;
    }
    entry.builder.reset();
}

// --- what views wait for ---

// Builds the next chunks that a wish needs; true when it needs none any more. So a view's first look at a
// whole recording and the building of its summary are one pass over the file.
bool SummaryService::BuildFor(Entry& entry, Wish& wish, CDataDoc& doc) {
    if (!entry.builder) return true;
    const int64_t to = std::min(wish.from + SamplesPerBin(wish.level) * binCount, entry.info.length);
    const int64_t length = entry.builder->ChunkLength();
    std::vector<int64_t> chunks;
    for (int64_t at = wish.from; at < to && chunks.size() < chunksAtOnce;) {
        const int64_t chunk = entry.builder->FirstMissing(at, to);
        if (chunk < 0) break;
        chunks.push_back(chunk);
        at = (chunk + 1) * length;
    }
    if (chunks.empty()) return true;
    ReadChunks(entry, doc, chunks, true);
    wish.share =
        static_cast<double>((chunks.back() + 1) * length - wish.from) / static_cast<double>(to - wish.from);
    return false;
}

void SummaryService::Serve(Entry& entry, Wish& wish, const SummaryKey& key) {
    CDataDoc* doc = DocumentOf(entry);
    if (!doc) return SetState(entry, State::failed);
    Bins bins;
    bool read = false;
    if (entry.shape && SummaryServes(*entry.shape, wish.from, wish.level)) {
        HaveBlocks(entry, key);
        if (!BuildFor(entry, wish, *doc)) return;
        read = ReadBinsFromSummary(*doc, *entry.own, wish.from, wish.level, &wish, bins);
    } else {
        read = ReadBins(*doc, wish.from, wish.level, &wish, bins);
    }
    const std::lock_guard lock(mutex_);
    if (wish.state != BinAnswer::State::working) return;
    wish.bins = std::move(bins);
    wish.state = read ? BinAnswer::State::ready : BinAnswer::State::failed;
}

}  // namespace kymora
