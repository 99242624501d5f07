#include "import/edf_timeline.h"

#include <algorithm>

#include "document/data_doc.h"
#include "numerics/rounding.h"

namespace kymora {

EdfTimeline::EdfTimeline(int64_t samplesPerRecord, double recordDuration, double sampleInterval,
                         int64_t mostGaps)
    : samplesPerRecord_(samplesPerRecord),
      recordDuration_(recordDuration),
      sampleInterval_(sampleInterval),
      mostGaps_(mostGaps) {}

void EdfTimeline::AddContiguous(int64_t records) {
    const int64_t room = (longestRecording - end_) / samplesPerRecord_ + 1;
    if (records > room) tooLong_ = true;
    records_ += std::min(records, room);
    end_ += std::min(records, room) * samplesPerRecord_;
    if (end_ > longestRecording) tooLong_ = true;
    runEndRecords_.back() = records_;
}

void EdfTimeline::AddRecord(std::optional<double> start) {
    if (tooLong_ || tooManyGaps_) return;
    if (!start) {
        ++unknown_;
        start = records_ == 0 ? 0.0 : lastStart_ + recordDuration_;
    }
    if (records_ == 0) anchorStart_ = *start;
    if (records_ > 0 && *start < lastStart_) {
        anchorStart_ = *start;
        anchor_ = end_;
        ++overlaps_;
    }
    lastStart_ = *start;
    const int64_t offset = RoundHalfAway64((*start - anchorStart_) * 1000.0 / sampleInterval_);
    PlaceRecord(std::min(offset, longestRecording) + anchor_);
}

void EdfTimeline::PlaceRecord(int64_t position) {
    if (position < end_) ++overlaps_;
    if (position <= end_) return AddContiguous(1);
    if (position >= longestRecording) {
        tooLong_ = true;
        return;
    }
    if (static_cast<int64_t>(runEndRecords_.size()) > mostGaps_) {
        tooManyGaps_ = true;
        return;
    }
    closed_.push_back(static_cast<uint32_t>(end_ - runStart_));
    closed_.push_back(static_cast<uint32_t>(position - end_));
    runEndRecords_.push_back(records_);
    runStart_ = end_ = position;
    AddContiguous(1);
}

std::vector<uint32_t> EdfTimeline::Runs() const {
    std::vector<uint32_t> runs;
    runs.reserve(closed_.size() + 1);
    runs = closed_;
    runs.push_back(static_cast<uint32_t>(std::min(end_, longestRecording) - runStart_));
    return runs;
}

}  // namespace kymora
