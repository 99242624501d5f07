#include "import/reload_events.h"

#include <algorithm>
#include <array>

namespace kymora {

namespace {

constexpr int noPlace = -1;

// The channel of the file as it was known: the same number and label, else the same label.
const FileFacts::Channel* FindKnown(const FileFacts& facts, const FileFacts::Channel& now,
                                    const std::vector<const FileFacts::Channel*>& used) {
    const FileFacts::Channel* found = nullptr;
    for (const FileFacts::Channel& known : facts.channels) {
        if (known.label != now.label || std::ranges::count(used, &known) > 0) continue;
        if (known.number == now.number) return &known;
        if (!found) found = &known;
    }
    return found;
}

bool StartsEarlier(const CEventKM& a, const CEventKM& b) { return a.onPosition < b.onPosition; }

}  // namespace

FileEventGrowth::FileEventGrowth(const CDataDoc& doc, const CDataDoc& fresh, int64_t lengthBefore)
    : channels(fresh.Facts().channels), lengthBefore_(lengthBefore) {
    for (FileFacts::Channel& now : channels)
        Compare(doc, fresh.eventChannels[static_cast<size_t>(now.number)], now);
}

void FileEventGrowth::Compare(const CDataDoc& doc, const CEventChan& channel, FileFacts::Channel& now) {
    const FileFacts::Channel* known = FindKnown(doc.Facts(), now, used_);
    used_.push_back(known);
    const std::span<const FileFacts::Event> before =
        known ? std::span(known->events) : std::span<FileFacts::Event>();
    std::vector<uint8_t> isTaken(before.size());
    Addition addition;
    addition.isNew = known == nullptr;
    const auto take = [&](auto isSame, const FileFacts::Event& event) -> const FileFacts::Event* {
        const FileFacts::Event first{event.on, event.label, std::numeric_limits<int32_t>::min()};
        for (auto at = std::ranges::lower_bound(before, first);
             at != before.end() && at->on == event.on && at->label == event.label; ++at) {
            uint8_t& taken = isTaken[static_cast<size_t>(at - before.begin())];
            if (taken == 0 && isSame(*at)) {
                taken = 1;
                return &*at;
            }
        }
        return nullptr;
    };
    std::vector<const CEventKM*> others;
    for (const CEventKM& event : channel.Events()) {
        const FileFacts::Event seen = FileFacts::Event::Of(event);
        if (!take([&](const FileFacts::Event& it) { return it == seen; }, seen)) others.push_back(&event);
    }
    for (const CEventKM* event : others) {
        const auto wasCut = [&](const FileFacts::Event& it) {
            return it.off >= lengthBefore_ - 1 && it.off < event->offPosition;
        };
        if (const auto* cut = take(wasCut, FileFacts::Event::Of(*event)))
            addition.longer.push_back({*cut, event->offPosition});
        else if (known || doc.Facts().knowsAllEvents || event->onPosition >= lengthBefore_)
            addition.events.push_back(*event);
    }
    now.place = known ? known->place : PlaceFor(doc, now);
    if (addition.events.empty() && addition.longer.empty()) return;
    if (now.place == noPlace) {
        leftOut_ += addition.events.size();
        return;
    }
    addition.place = now.place;
    addition.label = channel.channelLabel;
    addition.comment = channel.channelComment;
    addition.parentTrace = channel.parentTrace;
    std::ranges::stable_sort(addition.events, StartsEarlier);
    count_ += addition.events.size();
    anyLonger_ = anyLonger_ || !addition.longer.empty();
    additions_.push_back(std::move(addition));
}

// Where the file has it, unless somebody else is there.
int FileEventGrowth::PlaceFor(const CDataDoc& doc, const FileFacts::Channel& now) const {
    const auto isSpoken = [&](int place) {
        const auto isThere = [place](const FileFacts::Channel& channel) { return channel.place == place; };
        return std::ranges::any_of(doc.Facts().channels, isThere) ||
               std::ranges::any_of(additions_, [place](const Addition& it) { return it.place == place; });
    };
    const bool isItsOwn = !doc.Facts().knowsAllEvents &&
                          doc.eventChannels[static_cast<size_t>(now.number)].channelLabel == now.label;
    if (isItsOwn || (doc.IsFreeChannel(now.number) && !isSpoken(now.number))) return now.number;
    for (int c = 0; c < maxEventChannels; ++c)
        if (doc.IsFreeChannel(c) && !isSpoken(c)) return c;
    return noPlace;
}

void FileEventGrowth::Apply(CDataDoc& doc, bool marks) {
    if (additions_.empty()) return;
    UndoScope scope(doc, "Reload");
    if (!marks) scope.LeaveUnmodified();
    for (const Addition& addition : additions_) Merge(scope, doc, addition);
}

// A lock guards what is there, and that stays as it is. So do the rows of an extra table.
void FileEventGrowth::Merge(UndoScope& scope, CDataDoc& doc, const Addition& addition) {
    CEventChan& channel = doc.eventChannels[static_cast<size_t>(addition.place)];
    if (addition.isNew && channel.GetNumEvents() == 0) {
        scope.KeepChannelSettings(addition.place);
        channel.channelLabel = addition.label;
        channel.channelComment = addition.comment;
        channel.parentTrace = addition.parentTrace;
    }
    using Row = std::pair<CEventKM, std::array<float, 3>>;
    const auto& extra = channel.EventExtra();
    std::vector<Row> rows;
    for (size_t i = 0; i < channel.Events().size(); ++i)
        rows.push_back({channel.Events()[i], extra.empty() ? std::array<float, 3>() : extra[i]});
    size_t first = rows.size();
    for (const Longer& longer : addition.longer) {
        const auto isIt = [&](const Row& row) { return FileFacts::Event::Of(row.first) == longer.before; };
        const auto found = std::ranges::find_if(rows, isIt);
        if (found == rows.end()) continue;  // the user has made another of it, or none
        found->first.offPosition = longer.off;
        first = std::min(first, static_cast<size_t>(found - rows.begin()));
    }
    const auto end = static_cast<std::ptrdiff_t>(rows.size());
    for (const CEventKM& event : addition.events) rows.push_back({event, {}});
    if (channel.IsInOrder() && !addition.events.empty()) {
        const auto isEarlier = [](const Row& a, const Row& b) { return StartsEarlier(a.first, b.first); };
        const auto at =
            std::upper_bound(rows.begin(), rows.begin() + end, rows[static_cast<size_t>(end)], isEarlier);
        first = std::min(first, static_cast<size_t>(at - rows.begin()));
        std::inplace_merge(rows.begin(), rows.begin() + end, rows.end(), isEarlier);
    }
    std::vector<CEventKM> with;
    std::vector<std::array<float, 3>> table;
    for (size_t i = 0; i < rows.size(); ++i) {
        if (!extra.empty()) table.push_back(rows[i].second);
        if (i >= first) with.push_back(rows[i].first);
    }
    const bool isLocked = std::exchange(channel.channelLocked, false);
    scope.SpliceEvents(addition.place, static_cast<int>(first),
                       channel.GetNumEvents() - static_cast<int>(first), std::move(with));
    if (!table.empty()) channel.SetEventExtra(std::move(table));
    channel.channelLocked = isLocked;
}

}  // namespace kymora
