#include "summaries/summary_service.h"

#include <algorithm>

#include "summaries/summary_entry.h"

namespace kymora {

namespace {

constexpr uint64_t fileShare = 50;  // a summary takes at most this part of its file

std::optional<SummaryShape> PlanFor(const LookSource& info, const SummarySettings& settings) {
    if (info.length * info.Traces() < settings.leastSamples) return {};
    return SummaryShape::Plan(info.Traces(), info.length,
                              std::min(settings.mostBytes, info.stamp.length / fileShare));
}

}  // namespace

SummaryService::SummaryService(FileSystem& files, SummarySettings settings)
    : files_(files),
      settings_(std::move(settings)),
      folder_(files, settings_.folder, settings_.folderBytes),
      worker_([this] { Work(); }) {}

SummaryService::~SummaryService() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
        for (const auto& entry : entries_) entry->stop = true;
        for (const auto& wish : wishes_) wish->cancelled = true;
    }
    news_.notify_all();
    worker_.join();
}

// --- documents come and go ---

std::shared_ptr<SummaryService::Entry> SummaryService::MakeEntry(const CDataDoc& doc) const {
    auto info = LookSource::Of(doc, files_);
    if (!info || info->length * info->Traces() < settings_.leastSamples) return nullptr;
    auto entry = std::make_shared<Entry>(doc, std::move(*info));
    entry->key = {entry->info.resolvedPath, entry->info.Description(), entry->info.stamp};
    entry->shape = PlanFor(entry->info, settings_);
    if (!entry->shape) entry->state = State::unwanted;
    return entry;
}

void SummaryService::Attach(CDataDoc& doc) {
    if (const auto entry = EntryOf(doc)) {
        ++entry->views;
        return;
    }
    if (auto entry = MakeEntry(doc)) Insert(std::move(entry));
}

void SummaryService::Insert(std::shared_ptr<Entry> entry) {
    if (entry->shape) {
        entry->found = folder_.Find(entry->key);
        if (entry->found) {
            entry->state = State::complete;
            entry->share = 1.0;
        }
    }
    {
        const std::lock_guard lock(mutex_);
        entries_.push_front(std::move(entry));
    }
    news_.notify_all();
}

void SummaryService::Detach(const CDataDoc& doc) {
    const auto entry = EntryOf(doc);
    if (entry && --entry->views <= 0) Drop(entry);
}

void SummaryService::Drop(const std::shared_ptr<Entry>& entry) {
    entry->stop = true;
    const std::lock_guard lock(mutex_);
    std::erase(entries_, entry);
    for (const auto& wish : wishes_)
        if (wish->entry == entry) {
            wish->cancelled = true;
            wish->state = BinAnswer::State::failed;
        }
}

void SummaryService::SamplesChanged(CDataDoc& doc) {
    const auto old = EntryOf(doc);
    const int views = old ? old->views : 1;
    if (old) Drop(old);
    auto entry = MakeEntry(doc);
    if (!entry) return;
    entry->views = views;
    Insert(std::move(entry));
}

std::shared_ptr<SummaryService::Entry> SummaryService::EntryOf(const CDataDoc& doc) const {
    const std::lock_guard lock(mutex_);
    for (const auto& entry : entries_)
        if (entry->doc == &doc) return entry;
    return nullptr;
}

// The entry, when it is still one of the document and its file as they are.
std::shared_ptr<SummaryService::Entry> SummaryService::CurrentEntry(CDataDoc& doc) {
    auto entry = EntryOf(doc);
    if (!entry) return nullptr;
    if (!entry->info.HasGainsOf(doc)) {
        SamplesChanged(doc);
        entry = EntryOf(doc);
        if (!entry) return nullptr;
    }
    const auto stamp = files_.Stamp(entry->info.resolvedPath);
    const std::lock_guard lock(mutex_);
    if (stamp && *stamp == entry->key.stamp) return entry;
    // A save of our own leaves the samples in their place.
    const bool ownSave = stamp && doc.RememberedStamp(doc.filePath) == stamp &&
                         stamp->inode == entry->key.stamp.inode && stamp->device == entry->key.stamp.device;
    if (!ownSave) {
        entry->state = State::changed;
        return nullptr;
    }
    folder_.Restamp(entry->key, *stamp);
    entry->key.stamp = *stamp;
    if (entry->state == State::changed)
        entry->state = entry->found || entry->arrived ? State::complete : State::building;
    news_.notify_all();
    return entry;
}

// --- what the owner asks ---

Summary* SummaryService::Find(CDataDoc& doc) {
    const auto entry = CurrentEntry(doc);
    if (!entry) return nullptr;
    const std::lock_guard lock(mutex_);
    if (entry->arrived) entry->found = std::move(entry->arrived);
    entry->arrived.reset();
    return entry->state == State::complete ? entry->found.get() : nullptr;
}

void SummaryService::Damaged(CDataDoc& doc) {
    if (const auto entry = EntryOf(doc)) folder_.Discard(entry->key);
    SamplesChanged(doc);
}

double SummaryService::BuiltShare(const CDataDoc& doc) const {
    const auto entry = EntryOf(doc);
    if (!entry || !entry->shape) return -1.0;
    const std::lock_guard lock(mutex_);
    return entry->state == State::building || entry->state == State::complete ? entry->share.load() : -1.0;
}

BinTicket SummaryService::Request(CDataDoc& doc, int64_t from, int level) {
    const auto entry = CurrentEntry(doc);
    if (!entry) return noTicket;
    auto wish = std::make_shared<Wish>();
    wish->entry = entry;
    wish->from = from;
    wish->level = level;
    {
        const std::lock_guard lock(mutex_);
        if (entry->state == State::failed || entry->state == State::changed) return noTicket;
        wish->ticket = ++lastTicket_;
        wishes_.push_front(wish);
        std::erase(entries_, entry);  // the document that the user works with comes first
        entries_.push_front(entry);
    }
    news_.notify_all();
    return wish->ticket;
}

BinAnswer SummaryService::Take(BinTicket ticket) {
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(wishes_.begin(), wishes_.end(),
                                    [ticket](const auto& wish) { return wish->ticket == ticket; });
    if (found == wishes_.end()) return {};
    BinAnswer answer{(*found)->state, (*found)->share, {}};
    if (answer.state == BinAnswer::State::working) return answer;
    answer.bins = std::move((*found)->bins);
    wishes_.erase(found);
    return answer;
}

void SummaryService::Cancel(BinTicket ticket) {
    const std::lock_guard lock(mutex_);
    const auto found = std::find_if(wishes_.begin(), wishes_.end(),
                                    [ticket](const auto& wish) { return wish->ticket == ticket; });
    if (found == wishes_.end()) return;
    (*found)->cancelled = true;
    wishes_.erase(found);
}

}  // namespace kymora
