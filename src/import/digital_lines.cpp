#include "import/digital_lines.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>

#include "document/data_doc.h"

namespace kymora {

void AddPlaced(std::vector<CEventKM>& events, int64_t on, int64_t off, int64_t from, std::string_view label) {
    if (on >= from + longestRecording || on < 0 || off <= from) return;
    CEventKM& event = events.emplace_back();
    event.onPosition = static_cast<int32_t>(std::max<int64_t>(on - from, 0));
    event.offPosition =
        static_cast<int32_t>(std::clamp<int64_t>(off - from, event.onPosition, longestRecording));
    event.eventLabel = label;
}

DigitalLines::DigitalLines(std::vector<std::string> names, int64_t from)
    : words_((names.size() + 15) / 16), from_(from) {
    for (std::string& name : names) lines_.push_back({{std::move(name), {}}});
}

void DigitalLines::Change(int64_t position, size_t word, uint16_t bits) {
    auto changed = static_cast<uint16_t>(words_[word] ^ bits);
    words_[word] = bits;
    for (; changed != 0; changed = static_cast<uint16_t>(changed & (changed - 1))) {
        const int bit = std::countr_zero(changed);
        const size_t line = word * 16 + static_cast<size_t>(bit);
        if (line < lines_.size()) TakeLine(position, line, (bits >> bit & 1) != 0);
    }
}

void DigitalLines::TakeLine(int64_t position, size_t line, bool isHigh) {
    Line& taken = lines_[line];
    if (isHigh && taken.rose < 0) taken.rose = position;
    if (!isHigh && taken.rose >= 0) Close(taken, position);
}

void DigitalLines::Close(Line& line, int64_t end) {
    if (count_ < mostForeignEvents) {
        AddPlaced(line.found.events, line.rose, std::max(end, line.rose + 1), from_);
        lastEnd_ = end;
    }
    line.rose = -1;
    ++count_;
}

void DigitalLines::Finish(ForeignRecording& recording, int64_t end, const std::string& comment,
                          const std::string& what) {
    for (Line& line : lines_) {
        if (line.rose >= 0) Close(line, end);
        if (line.found.events.empty()) continue;
        line.found.comment = comment;
        recording.events.push_back(std::move(line.found));
    }
    if (!IsFull()) return;
    recording.warnings.push_back(fmt::format(
        "{} change too often. The first {} of their events are shown; those that end after {:.9g} s are left "
        "out.",
        what, mostForeignEvents, static_cast<double>(lastEnd_ - from_) * recording.interval / 1000.0));
}

void WarnOfEventsLeftOut(ForeignRecording& recording, const std::string& what, uint64_t shown, uint64_t all) {
    if (shown < all)
        recording.warnings.push_back(
            fmt::format("{}: the first {} of {} are shown, and the last {} are left out.", what, shown, all,
                        all - shown));
}

}  // namespace kymora
