// The lowest and highest of stretches of samples, from formats that tell them quickly.

#include <algorithm>

#include "document/data_doc.h"

namespace kymora {

namespace {

void MarkActive(FoldSlots slots, int64_t count, std::span<const TraceFold> folds) {
    const int64_t first = slots.into / slots.length;
    const int64_t last = (slots.into + count - 1) / slots.length;
    for (const TraceFold& fold : folds)
        if (!fold.active.empty())
            std::fill(fold.active.begin() + first, fold.active.begin() + last + 1, uint8_t{1});
}

}  // namespace

bool CDataDoc::FoldBlocks(int64_t from, int64_t count, FoldSlots slots, std::span<const TraceFold> folds) {
    if (noData || !Reader().CanFold()) return false;
    if (count <= 0 || folds.empty()) return true;
    HandGainsToReader();
    if (!hasGaps) {
        Reader().FoldStored(from, count, slots, folds);
        MarkActive(slots, count, folds);
    } else if (sharedRuns_) {
        FoldRuns(from, count, slots, folds);
    } else {
        for (const TraceFold& fold : folds) FoldRuns(from, count, slots, {&fold, 1});
    }
    return true;
}

bool CDataDoc::FoldStretches(int trace, std::span<const FoldStretch> stretches) {
    if (noData || !Reader().CanFold()) return false;
    HandGainsToReader();
    if (!hasGaps) {
        Reader().FoldStoredStretches(trace, stretches);
        for (const FoldStretch& stretch : stretches)
            if (stretch.count > 0) *stretch.active = 1;
        return true;
    }
    const RunList& runs = Runs(trace);
    std::vector<FoldStretch> stored;
    for (const FoldStretch& stretch : stretches) {
        const int64_t end = stretch.from + stretch.count;
        RunList::Place place = runs.Find(stretch.from);
        for (int64_t at = stretch.from; at < end && place.run < runs.Size();) {
            const int64_t run = runs[place.run];
            const int64_t n = std::min(place.runStart + run, end) - at;
            const bool valid = place.run % 2 == 0;
            if (valid && n > 0) {
                stored.push_back(
                    {place.storedBefore + at - place.runStart, n, stretch.low, stretch.high, stretch.active});
                *stretch.active = 1;
            }
            at += n;
            place.runStart += run;
            if (valid) place.storedBefore += run;
            ++place.run;
        }
    }
    Reader().FoldStoredStretches(trace, stored);
    return true;
}

// Folds traces with one run list, valid run by valid run.
void CDataDoc::FoldRuns(int64_t from, int64_t count, FoldSlots slots, std::span<const TraceFold> folds) {
    const RunList& runs = Runs(folds[0].trace);
    RunList::Place place = runs.Find(from);
    int64_t into = from - place.runStart;
    for (int64_t at = 0; at < count && place.run < runs.Size(); ++place.run) {
        const int64_t run = runs[place.run];
        const int64_t n = std::min(run - into, count - at);
        const bool valid = place.run % 2 == 0;
        if (n > 0 && valid) {
            const FoldSlots part{slots.into + at, slots.length};
            Reader().FoldStored(place.storedBefore + into, n, part, folds);
            MarkActive(part, n, folds);
        }
        at += n;
        into = 0;
        if (valid) place.storedBefore += run;
    }
}

}  // namespace kymora
