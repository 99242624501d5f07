#pragma once
// The time axis of an EDF recording: which data records follow each other, and where a gap lies between them.

#include <cstdint>
#include <optional>
#include <vector>

namespace kymora {

class EdfTimeline {
  public:
    // Seconds per record and milliseconds per sample. With more than `mostGaps` gaps the recording is too
    // ragged to be opened, and the rest of it is not taken in.
    EdfTimeline(int64_t samplesPerRecord, double recordDuration, double sampleInterval, int64_t mostGaps);

    // Adds records that follow without a gap.
    void AddContiguous(int64_t records);
    // Adds a record by its start time in seconds; nothing when the file does not tell it, and it follows on
    // then.
    //
    // A record's place is counted from the first record's start, so that rounding does not add up. A record
    // that begins before the last one's end makes no gap; one that begins before the last one's start means
    // that the clock was set back, and later starts count from there.
    void AddRecord(std::optional<double> start);

    // Run lengths, valid and gap in turn, at most the longest recording in all.
    std::vector<uint32_t> Runs() const;
    // For each valid run the number of records up to its end.
    const std::vector<int64_t>& RunEndRecords() const { return runEndRecords_; }
    int64_t Records() const { return records_; }
    int64_t Overlaps() const { return overlaps_; }
    int64_t Unknown() const { return unknown_; }
    int64_t End() const { return end_; }  // position behind the last record
    bool IsTooLong() const { return tooLong_; }
    bool HasTooManyGaps() const { return tooManyGaps_; }

  private:
    void PlaceRecord(int64_t position);

    int64_t samplesPerRecord_;
    double recordDuration_;
    double sampleInterval_;
    int64_t mostGaps_;

    std::vector<uint32_t> closed_;  // runs and gaps before the run that still grows
    std::vector<int64_t> runEndRecords_{0};
    int64_t runStart_ = 0;  // position of the run that still grows
    int64_t end_ = 0;       // position behind the last record
    int64_t records_ = 0;
    double anchorStart_ = 0.0;  // s, of the record from which places are counted
    int64_t anchor_ = 0;        // its position
    double lastStart_ = 0.0;    // s
    int64_t overlaps_ = 0;
    int64_t unknown_ = 0;
    bool tooLong_ = false;
    bool tooManyGaps_ = false;
};

}  // namespace kymora
