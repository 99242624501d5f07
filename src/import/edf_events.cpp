#include "import/edf_events.h"

#include <algorithm>

#include "document/data_doc.h"
#include "numerics/rounding.h"

namespace kymora {

namespace {

// An event while it is collected, sorted and put into a channel whose list may have to grow.
constexpr uint64_t bytesPerEvent = 140;
constexpr uint64_t bytesPerLabel = 64;  // and its text

const char* NoteOf(TalFate fate) {
    switch (fate) {
    case TalFate::negative:
        return "\t*** NOTE: This annotation has a negative start time and cannot be shown as an event in the "
               "Kymora "
               "display. ***\r\n";
    case TalFate::inGap:
        return "\t*** NOTE: This annotation occurs within a gap in the recording and cannot be shown as an "
               "event in "
               "the Kymora display. ***\r\n";
    case TalFate::beforeStart:
        return "\t*** NOTE: This annotation lies before the first data record and cannot be shown as an "
               "event in the Kymora display. ***\r\n";
    case TalFate::tooLate:
        return "\t*** NOTE: This annotation lies beyond the longest possible recording and cannot be shown "
               "as an "
               "event in the Kymora display. ***\r\n";
    default:
        return "\r\n";
    }
}

bool IsInGap(const RunList& runs, int32_t position) {
    if (position >= runs.Length()) return false;
    return !runs.Find(position).valid;
}

}  // namespace

EdfSpan PlaceEdfTal(const EdfTalPlace& place, const EdfTal& tal, const EdfTimeAxis& axis,
                    const RunList* gaps) {
    EdfSpan span;
    const int64_t on = RoundHalfAway64((tal.start - axis.startMark) * 1000.0 / axis.sampleInterval);
    // An onset that has fewer digits than the start mark may lie less than a sample before it.
    if (on < 0 || tal.start < std::min(axis.startMark, 0.0)) {
        span.fate = tal.start < 0.0 ? TalFate::negative : TalFate::beforeStart;
        return span;
    }
    if (on >= longestRecording) {
        span.fate = TalFate::tooLate;
        return span;
    }
    const int64_t length = std::clamp<int64_t>(RoundHalfAway64(tal.duration * 1000.0 / axis.sampleInterval),
                                               1, longestRecording - on);
    span.on = static_cast<int32_t>(on);
    span.off = static_cast<int32_t>(on + length);
    if (gaps && !place.IsTimeKeeping() && IsInGap(*gaps, span.on)) span.fate = TalFate::inGap;
    return span;
}

bool EdfEventCollector::Take(const EdfTalPlace& place, const EdfTal& told) {
    if (!complete_) return false;
    const bool mark = place.IsTimeKeeping();
    if (mark && place.record == 0 && !isPart_) axis_.startMark = told.start;
    EdfTal tal = told;
    if (const double early = axis_.startMark - tal.start;
        isPart_ && !mark && early > 0.0 && early < tal.duration) {
        tal.start = axis_.startMark;
        tal.duration -= early;
    }
    const int64_t order = talCount_;
    if (!mark) ++talCount_;
    const EdfSpan span = PlaceEdfTal(place, tal, axis_, nullptr);
    if (span.fate != TalFate::shown) {
        anyHidden_ = anyHidden_ || !isPart_ || span.fate != TalFate::beforeStart;
        return true;
    }
    const std::string label = JoinEdfTexts(tal);
    const uint64_t bytes = bytesPerEvent + (label.empty() ? 0 : bytesPerLabel + label.size());
    complete_ = bytes <= bytesLeft_;
    if (!complete_) return false;
    bytesLeft_ -= bytes;
    lastEnd_ = std::max(lastEnd_, span.off);
    events_.push_back({span.on, span.off, mark ? -1 : place.signal,
                       static_cast<int32_t>(std::min(order, longestRecording)), EventLabel(label)});
    return true;
}

void EdfEventCollector::HideInGaps(const RunList& runs) {
    if (runs.Size() < 2) return;
    const auto hidden = std::remove_if(events_.begin(), events_.end(), [&](const EdfEvent& event) {
        return event.signal >= 0 && IsInGap(runs, event.on);
    });
    anyHidden_ = anyHidden_ || hidden != events_.end();
    events_.erase(hidden, events_.end());
}

void AppendEdfListText(std::string& list, const EdfTalPlace& place, const EdfTal& tal, TalFate fate) {
    list.append("TAL: ").append(std::to_string(place.index)).append("\r\n");
    list.append("Start: ").append(tal.startText).append(" s\r\n");
    if (!tal.durationText.empty()) list.append("Duration: ").append(tal.durationText).append(" s\r\n");
    for (const std::string_view text : tal.texts) list.append(": ").append(EdfAnnotationText(text));
    if (!tal.texts.empty() || fate != TalFate::shown) list += NoteOf(fate);
}

}  // namespace kymora
