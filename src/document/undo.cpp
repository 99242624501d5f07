#include "document/undo.h"

#include <algorithm>
#include <set>

#include "document/data_doc.h"

namespace kymora {

namespace {

constexpr size_t mostSteps = 200;
constexpr size_t mostBytes = size_t{256} << 20;

// Memory of a list, of the texts in it and of what its items hold besides.
size_t BytesOf(const CMarker& marker) { return sizeof marker + marker.m_strLabel.capacity(); }
size_t BytesOf(const CAnnotation& annotation) { return sizeof annotation + annotation.m_strLabel.capacity(); }
size_t BytesOf(const ScaleBar& bar) { return sizeof bar + bar.m_strUnits.capacity(); }

template <typename Item>
size_t BytesOf(const std::vector<Item>& list) {
    size_t bytes = sizeof list;
    for (const Item& item : list) bytes += BytesOf(item);
    return bytes;
}

size_t BytesOf(const ScaleBarGroup& group) { return BytesOf(group.single) + BytesOf(group.list); }

template <typename Item, size_t count>
size_t BytesOf(const std::array<Item, count>& items) {
    size_t bytes = 0;
    for (const Item& item : items) bytes += BytesOf(item);
    return bytes;
}

// A member of the document that is swapped whole.
template <typename T, T CDataDoc::*member>
class MemberChange : public UndoChange {
  public:
    explicit MemberChange(const CDataDoc& doc) : held_(doc.*member) {}
    void Swap(CDataDoc& doc) override { std::swap(doc.*member, held_); }
    bool IsChange(const CDataDoc& doc) const override { return !(doc.*member == held_); }
    size_t Bytes() const override { return BytesOf(held_); }

  private:
    T held_;
};

using MarkersChange = MemberChange<std::vector<CMarker>, &CDataDoc::markers>;
using AnnotationsChange =
    MemberChange<std::array<std::vector<CAnnotation>, maxTraces>, &CDataDoc::traceAnnotations>;
using ScaleBarsChange = MemberChange<std::array<ScaleBarGroup, 2>, &CDataDoc::scaleBars>;

// A channel with its events, or its settings alone.
class ChannelChange : public UndoChange {
  public:
    ChannelChange(const CDataDoc& doc, int channel, bool withEvents)
        : channel_(static_cast<size_t>(channel)),
          withEvents_(withEvents),
          held_(withEvents ? doc.eventChannels[channel_] : doc.eventChannels[channel_].WithoutEvents()) {}
    void Swap(CDataDoc& doc) override {
        CEventChan& chan = doc.eventChannels[channel_];
        if (!withEvents_) chan.SwapEvents(held_);  // twice swapped, they stay where they are
        std::swap(chan, held_);
    }
    bool IsChange(const CDataDoc& doc) const override {
        const CEventChan& chan = doc.eventChannels[channel_];
        return !chan.HasSameSettings(held_) ||
               (withEvents_ && (chan.Events() != held_.Events() || chan.EventExtra() != held_.EventExtra()));
    }
    size_t Bytes() const override { return held_.Events().size() * sizeof(CEventKM) + sizeof held_; }
    int Channel() const override { return static_cast<int>(channel_); }

  private:
    size_t channel_;
    bool withEvents_;
    CEventChan held_;
};

// A stretch of events that another stretch has taken the place of.
class EventSplice : public UndoChange {
  public:
    EventSplice(int channel, int at, std::vector<CEventKM> before, int count,
                std::vector<std::array<float, 3>> extraBefore)
        : channel_(static_cast<size_t>(channel)),
          at_(at),
          count_(count),
          held_(std::move(before)),
          extra_(std::move(extraBefore)) {}
    void Swap(CDataDoc& doc) override {
        CEventChan& chan = doc.eventChannels[channel_];
        auto extra = chan.EventExtra();
        const auto restored = static_cast<int>(held_.size());
        held_ = chan.Splice(at_, count_, std::move(held_));
        count_ = restored;
        chan.SetEventExtra(std::move(extra_));
        extra_ = std::move(extra);
    }
    bool IsChange(const CDataDoc&) const override { return true; }
    size_t Bytes() const override {
        return held_.size() * sizeof(CEventKM) + extra_.size() * 3 * sizeof(float);
    }
    int Channel() const override { return static_cast<int>(channel_); }

  private:
    size_t channel_;
    int at_, count_;
    std::vector<CEventKM> held_;
    std::vector<std::array<float, 3>> extra_;
};

// Says in the history that a step was taken back or done again.
class HistoryNote : public UndoChange {
  public:
    explicit HistoryNote(std::string name) : name_(std::move(name)) {}
    void Swap(CDataDoc& doc) override {
        doc.historyLog += (undone_ ? "Redo: " : "Undo: ") + name_ + "\r\n\r\n";
        undone_ = !undone_;
    }
    bool IsChange(const CDataDoc&) const override { return true; }
    size_t Bytes() const override { return sizeof *this + name_.capacity(); }

  private:
    std::string name_;
    bool undone_ = false;
};

}  // namespace

// --- the stack ---

bool UndoStack::Move(std::deque<Step>& from, std::deque<Step>& to) {
    if (from.empty()) return false;
    Step step = std::move(from.back());
    from.pop_back();
    for (auto change = step.changes.rbegin(); change != step.changes.rend(); ++change) (*change)->Swap(doc_);
    std::reverse(step.changes.begin(), step.changes.end());
    const bool marks = step.marksDocument;
    to.push_back(std::move(step));
    if (marks) doc_.FollowUndo();
    doc_.UpdateAllViews(UpdateHint::events);
    doc_.UpdateAllViews(UpdateHint::settings);
    return true;
}

std::string UndoStack::UndoName() const {
    if (!done_.empty()) return done_.back().name;
    return before_ ? before_->name : std::string();
}

std::string UndoStack::RedoName() const {
    if (!undone_.empty()) return undone_.back().name;
    return after_ ? after_->name : std::string();
}

// Not from under an edit, nor from under an operation that counts on these samples.
bool UndoStack::MayExchange() const {
    if (doc_.operationsAtWork > 0) doc_.GetHost().Message(operationAtWorkText);
    return !doc_.openUndoScope && doc_.operationsAtWork == 0;
}

bool UndoStack::Undo() {
    if (!done_.empty()) return Move(done_, undone_);
    return before_ && MayExchange() && before_->Exchange(doc_);
}

bool UndoStack::Redo() {
    if (!undone_.empty()) return Move(undone_, done_);
    return after_ && MayExchange() && after_->Exchange(doc_);
}

void UndoStack::ForgetRedo() {
    undone_.clear();
    after_.reset();
}

void UndoStack::Clear() {
    done_.clear();
    undone_.clear();
    bottom_ = steps_;
    ForgetSaved();
}

void UndoStack::Push(std::string name, std::vector<std::unique_ptr<UndoChange>> changes, bool marksDocument) {
    ForgetRedo();
    size_t bytes = 0;
    for (const auto& change : changes) bytes += change->Bytes();
    done_.push_back({std::move(name), std::move(changes), bytes, marksDocument, ++steps_});
    size_t total = 0;
    for (const Step& step : done_) total += step.bytes;
    while (done_.size() > 1 && (done_.size() > mostSteps || total > mostBytes)) {
        total -= done_.front().bytes;
        if (done_.front().marksDocument) bottom_ = done_.front().number;
        done_.pop_front();
    }
}

uint64_t UndoStack::StateNumber() const {
    const auto last =
        std::find_if(done_.rbegin(), done_.rend(), [](const Step& step) { return step.marksDocument; });
    return last == done_.rend() ? bottom_ : last->number;
}

bool UndoStack::IsAtSaved() const {
    return savedAt_ && savedAt_->number == StateNumber() && savedAt_->history == doc_.historyLog.size();
}

void UndoStack::MarkSaved() { savedAt_ = Saved{StateNumber(), doc_.historyLog.size()}; }

void UndoStack::ForgetView(const DocumentView& view) {
    for (std::deque<Step>* steps : {&done_, &undone_}) {
        for (Step& step : *steps) {
            const size_t gone =
                std::erase_if(step.changes, [&](const auto& change) { return change->ConcernsView(view); });
            // The steps do not tell any more what lies between here and there.
            if (gone > 0 && step.marksDocument) ForgetSaved();
        }
        std::erase_if(*steps, [](const Step& step) { return step.changes.empty(); });
    }
}

// --- the scope ---

UndoScope::UndoScope(CDataDoc& doc, std::string name)
    : doc_(doc), name_(std::move(name)), outer_(doc.openUndoScope) {
    if (outer_) return;
    doc_.openUndoScope = this;
    if (!doc_.IsModified()) doc_.Undo().MarkSaved();
}

UndoScope::~UndoScope() {
    if (outer_) return;
    doc_.openUndoScope = nullptr;
    std::erase_if(changes_, [this](const auto& change) { return !change->IsChange(doc_); });
    if (changes_.empty()) return;
    doc_.Undo().Push(std::move(name_), std::move(changes_), marksDocument_);
    if (marksDocument_) doc_.FollowUndo();
}

void UndoScope::Keep(std::unique_ptr<UndoChange> change) {
    if (outer_) return outer_->Keep(std::move(change));
    changes_.push_back(std::move(change));
}

void UndoScope::KeepMarkers() {
    if (outer_) return outer_->KeepMarkers();
    if (!std::exchange(keptMarkers_, true)) Keep(std::make_unique<MarkersChange>(doc_));
}

void UndoScope::KeepAnnotations() {
    if (outer_) return outer_->KeepAnnotations();
    if (!std::exchange(keptAnnotations_, true)) Keep(std::make_unique<AnnotationsChange>(doc_));
}

void UndoScope::KeepScaleBars() {
    if (outer_) return outer_->KeepScaleBars();
    if (!std::exchange(keptScaleBars_, true)) Keep(std::make_unique<ScaleBarsChange>(doc_));
}

void UndoScope::KeepChannel(int channel) {
    if (outer_) return outer_->KeepChannel(channel);
    if (std::find(keptChannels_.begin(), keptChannels_.end(), channel) != keptChannels_.end()) return;
    keptChannels_.push_back(channel);
    Keep(std::make_unique<ChannelChange>(doc_, channel, true));
}

void UndoScope::KeepChannelSettings(int channel) {
    if (outer_) return outer_->KeepChannelSettings(channel);
    if (std::find(keptSettings_.begin(), keptSettings_.end(), channel) != keptSettings_.end()) return;
    keptSettings_.push_back(channel);
    Keep(std::make_unique<ChannelChange>(doc_, channel, false));
}

void UndoScope::NoteInHistory() { Keep(std::make_unique<HistoryNote>(outer_ ? outer_->name_ : name_)); }

std::vector<int> UndoScope::Channels() const {
    std::set<int> channels;
    for (const auto& change : changes_)
        if (change->Channel() >= 0) channels.insert(change->Channel());
    return {channels.begin(), channels.end()};
}

void UndoScope::PutBack() {
    std::erase_if(changes_, [](const auto& change) { return dynamic_cast<HistoryNote*>(change.get()); });
    for (auto change = changes_.rbegin(); change != changes_.rend(); ++change) (*change)->Swap(doc_);
    changes_.clear();
}

bool UndoScope::AddEvent(int channel, CEventKM event) {
    if (!doc_.HasChannel(channel)) return false;
    CEventChan& chan = doc_.eventChannels[static_cast<size_t>(channel)];
    auto extra = chan.EventExtra();
    const int at = chan.PlaceFor(event.onPosition);
    if (!chan.AddEvent(std::move(event))) return false;
    Keep(std::make_unique<EventSplice>(channel, at, std::vector<CEventKM>(), 1, std::move(extra)));
    return true;
}

bool UndoScope::DeleteEvent(int channel, int index) {
    const CEventKM* event = doc_.GetEvent(channel, index);
    if (!event) return false;
    CEventChan& chan = doc_.eventChannels[static_cast<size_t>(channel)];
    std::vector<CEventKM> before{*event};
    auto extra = chan.EventExtra();
    if (!chan.DeleteEvent(index)) return false;
    Keep(std::make_unique<EventSplice>(channel, index, std::move(before), 0, std::move(extra)));
    return true;
}

bool UndoScope::ReplaceEvent(int channel, int index, CEventKM event) {
    const CEventKM* old = doc_.GetEvent(channel, index);
    if (!old) return false;
    CEventChan& chan = doc_.eventChannels[static_cast<size_t>(channel)];
    if (event.onPosition != old->onPosition)
        return DeleteEvent(channel, index) && AddEvent(channel, std::move(event));
    std::vector<CEventKM> before{*old};
    auto extra = chan.EventExtra();
    if (!chan.ReplaceEvent(index, std::move(event))) return false;
    Keep(std::make_unique<EventSplice>(channel, index, std::move(before), 1, std::move(extra)));
    return true;
}

bool UndoScope::SpliceEvents(int channel, int at, int count, std::vector<CEventKM> with) {
    if (!doc_.HasChannel(channel)) return false;
    CEventChan& chan = doc_.eventChannels[static_cast<size_t>(channel)];
    if (at < 0 || count < 0 || at > chan.GetNumEvents() - count || chan.IsLocked()) return false;
    const auto old = std::span(chan.Events()).subspan(static_cast<size_t>(at), static_cast<size_t>(count));
    if (std::equal(old.begin(), old.end(), with.begin(), with.end())) return true;
    const bool staysInPlace =
        std::equal(old.begin(), old.end(), with.begin(), with.end(), [](const auto& a, const auto& b) {
            return a.onPosition == b.onPosition && a.offPosition == b.offPosition;
        });
    auto extra = chan.EventExtra();
    const auto placed = static_cast<int>(with.size());
    auto before = chan.Splice(at, count, std::move(with));
    if (staysInPlace) chan.SetEventExtra(extra);
    Keep(std::make_unique<EventSplice>(channel, at, std::move(before), placed, std::move(extra)));
    return true;
}

}  // namespace kymora
