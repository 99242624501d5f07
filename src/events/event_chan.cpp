#include "events/event_chan.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <iterator>
#include <tuple>

#include "host/host.h"

namespace kymora {
namespace {

constexpr size_t mostCommentCharacters = 1999;

int64_t Duration(const CEventKM& event) { return int64_t{event.offPosition} - event.onPosition; }

// Cuts behind a number of characters, never inside one.
void CutToCharacters(std::string& text, size_t most) {
    if (text.size() <= most) return;
    size_t characters = 0;
    for (size_t at = 0; at < text.size(); ++at) {
        const bool startsCharacter = (static_cast<unsigned char>(text[at]) & 0xC0) != 0x80;
        if (startsCharacter && ++characters > most) {
            text.resize(at);
            return;
        }
    }
}

std::string FormatComment(const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, again);
    va_end(again);
    if (length <= 0) return {};
    std::string text(static_cast<size_t>(length) + 1, '\0');
    std::vsnprintf(text.data(), text.size(), format, arguments);
    text.pop_back();
    CutToCharacters(text, mostCommentCharacters);
    return text;
}

}  // namespace

void CEventChan::SetDisplayPosition(double fraction) {
    if (fraction >= 1.0)
        displayPosition_ = greatestDisplayPosition;
    else if (fraction > 0.0)
        displayPosition_ = fraction;
    else
        displayPosition_ = leastDisplayPosition;
}

bool CEventChan::SetEventExtra(std::vector<std::array<float, 3>> rows) {
    if (rows.size() != events_.size()) return false;
    eventExtra_ = std::move(rows);
    return true;
}

bool CEventChan::IsLocked() const {
    if (channelLocked && !suppressLockWarning && ownerDoc) ownerDoc->GetHost().Message(lockedChannelText);
    return channelLocked;
}

// --- order ---

// 1 when the event at the index starts before the one ahead of it, else 0.
int CEventChan::DescentsAt(size_t index) const {
    if (index == 0 || index >= events_.size()) return 0;
    return events_[index].onPosition < events_[index - 1].onPosition ? 1 : 0;
}

void CEventChan::InsertAt(size_t index, CEventKM event) {
    longestEvent_ = std::max(longestEvent_, Duration(event));
    descents_ -= DescentsAt(index);
    events_.insert(events_.begin() + static_cast<std::ptrdiff_t>(index), std::move(event));
    descents_ += DescentsAt(index) + DescentsAt(index + 1);
}

// Takes note of a change of many events.
void CEventChan::Remeasure() {
    eventExtra_.clear();
    descents_ = 0;
    longestEvent_ = 0;
    for (size_t i = 0; i < events_.size(); ++i) {
        descents_ += DescentsAt(i);
        longestEvent_ = std::max(longestEvent_, Duration(events_[i]));
    }
}

void CEventChan::AppendLoaded(CEventKM event) {
    longestEvent_ = std::max(longestEvent_, Duration(event));
    events_.push_back(std::move(event));
    if (!eventExtra_.empty()) eventExtra_.push_back({});
    descents_ += DescentsAt(events_.size() - 1);
}

// --- edits ---

bool CEventChan::AddEvent(CEventKM event) {
    if (IsLocked()) return false;
    eventExtra_.clear();
    const auto place = static_cast<size_t>(PlaceFor(event.onPosition));
    if (place == events_.size())
        AppendLoaded(std::move(event));
    else
        InsertAt(place, std::move(event));
    return true;
}

int CEventChan::PlaceFor(int32_t onPosition) const {
    if (onPosition == -1 || events_.empty() || onPosition >= events_.back().onPosition) return GetNumEvents();
    const auto startsLater = [=](const CEventKM& other) { return other.onPosition > onPosition; };
    const auto place = IsInOrder()
                           ? std::partition_point(events_.begin(), events_.end(),
                                                  [&](const CEventKM& other) { return !startsLater(other); })
                           : std::find_if(events_.begin(), events_.end(), startsLater);
    return static_cast<int>(place - events_.begin());
}

bool CEventChan::AddEvent(int32_t on, int32_t off, float value, int32_t tag, uint32_t colour) {
    CEventKM event;
    event.onPosition = on;
    event.offPosition = off;
    event.eventValue = value;
    event.eventTag = tag;
    event.eventColour = colour;
    return AddEvent(std::move(event));
}

bool CEventChan::ReplaceEvent(int index, CEventKM event) {
    if (IsLocked() || !HasIndex(index)) return false;
    eventExtra_.clear();
    const auto i = static_cast<size_t>(index);
    longestEvent_ = std::max(longestEvent_, Duration(event));
    descents_ -= DescentsAt(i) + DescentsAt(i + 1);
    events_[i] = std::move(event);
    descents_ += DescentsAt(i) + DescentsAt(i + 1);
    return true;
}

bool CEventChan::DeleteEvent(int index) {
    if (IsLocked() || !HasIndex(index)) return false;
    eventExtra_.clear();
    const auto i = static_cast<size_t>(index);
    descents_ -= DescentsAt(i) + DescentsAt(i + 1);
    events_.erase(events_.begin() + index);
    descents_ += DescentsAt(i);
    return true;
}

bool CEventChan::DeleteAll() {
    if (IsLocked()) return false;
    events_.clear();
    Remeasure();
    return true;
}

bool CEventChan::Clear() {
    if (!DeleteAll()) return false;
    parentTrace = -1;
    channelLabel.clear();
    channelComment.clear();
    detectionMethod = methodManual;
    channelFlag = 0;
    templateData = {};
    channelDrawMode = 2;
    return true;
}

template <typename Predicate>
bool CEventChan::DeleteWhere(Predicate drop) {
    if (IsLocked()) return false;
    const auto kept = std::remove_if(events_.begin(), events_.end(), drop);
    if (kept == events_.end()) return true;
    events_.erase(kept, events_.end());
    Remeasure();
    return true;
}

bool CEventChan::DeleteRange(int32_t from, int32_t to) {
    return DeleteWhere([from, to](const CEventKM& event) {
        return (event.onPosition >= from && event.onPosition < to) ||
               (event.offPosition > from && event.offPosition < to);
    });
}

bool CEventChan::KeepTagged() {
    return DeleteWhere([](const CEventKM& event) { return event.eventTag == 0; });
}

bool CEventChan::DeleteTagged() {
    return DeleteWhere([](const CEventKM& event) { return event.eventTag != 0; });
}

bool CEventChan::ClearLabels() {
    if (IsLocked()) return false;
    for (CEventKM& event : events_) event.eventLabel.clear();
    return true;
}

bool CEventChan::SetLabelAndTag(int index, std::string_view label, int32_t tag) {
    if (IsLocked() || !HasIndex(index)) return false;
    CEventKM& event = events_[static_cast<size_t>(index)];
    event.eventLabel = EventLabel(label);
    event.eventTag = tag;
    return true;
}

bool CEventChan::FilterByGap(int32_t minGap, int32_t minDuration, int32_t maxDuration) {
    if (IsLocked()) return false;
    if (events_.empty()) return true;
    size_t last = 0;  // the event that is absorbing
    // How far it absorbs: from its own end, which does not move on with what it takes in.
    int64_t reach = int64_t{events_[0].offPosition} + minGap;
    for (size_t i = 1; i < events_.size(); ++i) {
        CEventKM& into = events_[last];
        CEventKM& next = events_[i];
        // In a channel out of order the next event may lie far ahead; it is no part of this one.
        if (next.onPosition >= into.onPosition && next.onPosition < reach) {
            into.offPosition = std::max(into.offPosition, next.offPosition);
            continue;
        }
        reach = int64_t{next.offPosition} + minGap;
        if (++last != i) events_[last] = std::move(next);
    }
    if (++last < events_.size()) {
        events_.erase(events_.begin() + static_cast<std::ptrdiff_t>(last), events_.end());
        Remeasure();
    }
    if (minDuration <= 1 && maxDuration == INT32_MAX) return true;
    return DeleteWhere([minDuration, maxDuration](const CEventKM& event) {
        return Duration(event) < minDuration || Duration(event) > maxDuration;
    });
}

// --- copies ---

bool CEventChan::CopySettings(const CEventChan& source) {
    if (IsLocked()) return false;
    detectionMethod = source.detectionMethod;
    parentTrace = source.parentTrace;
    channelLabel = source.channelLabel;
    channelComment = source.channelComment;
    channelColour = source.channelColour;
    channelColourAlt = source.channelColourAlt;
    channelVisible = source.channelVisible;
    channelDrawMode = source.channelDrawMode;
    templateData = source.templateData;
    detection = source.detection;
    return true;
}

bool CEventChan::CopyEvents(const CEventChan& source) {
    if (IsLocked()) return false;
    if (&source == this) return true;
    events_ = source.events_;
    if (!source.IsInOrder())
        std::stable_sort(events_.begin(), events_.end(),
                         [](const CEventKM& a, const CEventKM& b) { return a.onPosition < b.onPosition; });
    Remeasure();
    return true;
}

CEventChan CEventChan::WithoutEvents() const {
    CEventChan copy(ownerDoc);
    copy.CopySettings(*this);
    copy.channelFlag = channelFlag;
    copy.channelOptionB = channelOptionB;
    copy.displayPosition_ = displayPosition_;
    copy.channelLocked = channelLocked;
    return copy;
}

bool CEventChan::Copy(const CEventChan& source) {
    if (!CopySettings(source)) return false;
    if (&source == this) return true;
    // The copy keeps the source's order, also where that is not by time: the rows of the table go with the
    // events.
    events_ = source.events_;
    Remeasure();
    eventExtra_ = source.eventExtra_;
    return true;
}

void CEventChan::SetComment(const char* format, ...) {
    if (IsLocked()) return;
    std::va_list arguments;
    va_start(arguments, format);
    channelComment = FormatComment(format, arguments);
    va_end(arguments);
}

void CEventChan::AppendComment(const char* format, ...) {
    if (IsLocked()) return;
    std::va_list arguments;
    va_start(arguments, format);
    channelComment += FormatComment(format, arguments);
    va_end(arguments);
}

// --- for undo ---

std::vector<CEventKM> CEventChan::Splice(int at, int count, std::vector<CEventKM> with) {
    const auto first = events_.begin() + at;
    std::vector<CEventKM> taken(std::make_move_iterator(first), std::make_move_iterator(first + count));
    if (with.size() == taken.size()) {
        std::move(with.begin(), with.end(), first);
    } else {
        events_.erase(first, first + count);
        events_.insert(events_.begin() + at, std::make_move_iterator(with.begin()),
                       std::make_move_iterator(with.end()));
    }
    Remeasure();
    return taken;
}

void CEventChan::SwapEvents(CEventChan& other) {
    std::swap(events_, other.events_);
    std::swap(eventExtra_, other.eventExtra_);
    std::swap(descents_, other.descents_);
    std::swap(longestEvent_, other.longestEvent_);
}

bool CEventChan::HasSameSettings(const CEventChan& other) const {
    const auto settings = [](const CEventChan& chan) {
        return std::tie(chan.detectionMethod, chan.channelLocked, chan.channelLabel, chan.channelComment,
                        chan.channelColour, chan.channelColourAlt, chan.channelFlag, chan.channelVisible,
                        chan.channelOptionB, chan.channelDrawMode, chan.parentTrace, chan.templateData,
                        chan.detection, chan.displayPosition_);
    };
    return settings(*this) == settings(other);
}

}  // namespace kymora
