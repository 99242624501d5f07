#pragma once
// The annotations of an EDF+ file as events of a recording.

#include <cstdint>
#include <deque>

#include "document/run_list.h"
#include "events/event_label.h"
#include "import/edf_annotations.h"

namespace kymora {

// The time axis of the recording. It begins with the first data record; onsets count from the start that the
// header tells, which is `startMark` earlier.
struct EdfTimeAxis {
    double sampleInterval = 1.0;  // ms
    double startMark = 0.0;       // s, of the first record; 0 where the file does not tell it
};

// Whether an annotation can be an event of the recording.
enum class TalFate { shown, negative, beforeStart, tooLate, inGap };

struct EdfSpan {
    TalFate fate = TalFate::shown;
    int32_t on = 0;   // sample position; valid when shown
    int32_t off = 0;  // exclusive
};

// Onset and duration in samples, at least one. Gaps are tested where `gaps` is not null; the mark of a
// record's start is never tested, because it belongs to its record.
EdfSpan PlaceEdfTal(const EdfTalPlace& place, const EdfTal& tal, const EdfTimeAxis& axis,
                    const RunList* gaps);

struct EdfEvent {
    int32_t on = 0;
    int32_t off = 0;
    int32_t signal = -1;  // of the annotation signals; -1 for the mark of a record's start
    int32_t order = 0;    // among the TALs that are no such marks, hidden ones included
    EventLabel label;
};

// Collects events in the file's order, until they take more memory than they may.
class EdfEventCollector {
  public:
    EdfEventCollector(double sampleInterval, uint64_t mostBytes)
        : axis_{sampleInterval}, bytesLeft_(mostBytes) {}

    // The recording begins at a later record: what ends before it is left out.
    void StartAt(double startMark) {
        axis_.startMark = startMark;
        isPart_ = true;
    }
    // False when no more can be taken.
    bool Take(const EdfTalPlace& place, const EdfTal& tal);
    // Takes out the events that lie in gaps.
    void HideInGaps(const RunList& runs);

    std::deque<EdfEvent>& Events() { return events_; }
    const std::deque<EdfEvent>& Events() const { return events_; }
    int64_t TalCount() const { return talCount_; }  // without the marks of the records' starts
    bool AnyHidden() const { return anyHidden_; }
    bool IsComplete() const { return complete_; }
    // End of the last event; 0 when there is none.
    int32_t LastEnd() const { return lastEnd_; }
    // Its start mark is known as soon as the first record was seen.
    const EdfTimeAxis& Axis() const { return axis_; }

  private:
    EdfTimeAxis axis_;
    uint64_t bytesLeft_;
    std::deque<EdfEvent> events_;
    int64_t talCount_ = 0;
    int32_t lastEnd_ = 0;
    bool isPart_ = false;
    bool anyHidden_ = false;
    bool complete_ = true;
};

// Adds the entry of a TAL to the list of annotations.
void AppendEdfListText(std::string& list, const EdfTalPlace& place, const EdfTal& tal, TalFate fate);

}  // namespace kymora
