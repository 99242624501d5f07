#pragma once
// A recording as the files of other systems take it: where it holds samples, their extremes, blocks without
// anything that is no number, and what is told of its events.

#include <chrono>
#include <optional>
#include <string>
#include <vector>

#include "document/data_doc.h"

namespace kymora {

inline constexpr int64_t exportBlockSamples = 16384;  // of each trace at once

// Positions, the end exclusive.
struct ExportRun {
    int64_t start = 0, end = 0;
    bool operator==(const ExportRun&) const = default;
};

// Where one trace or more hold samples; neighbours that touch are one run.
std::vector<ExportRun> SampledRuns(const CDataDoc& doc);

struct TraceExtremes {
    double low = 0.0, high = 0.0;  // of the samples that are numbers; both 0 where there is none
};
// Steps `progress` by the length of the recording. Throws FileError or Cancelled.
std::vector<TraceExtremes> FindExtremes(CDataDoc& doc, ProgressScope& progress);

// Reads all traces at once. What is no sample, or no number, becomes 0.
class ExportReader {
  public:
    explicit ExportReader(CDataDoc& doc);
    // `count` is at most exportBlockSamples, or the room that was made. Throws FileError.
    void Read(int64_t from, int64_t count);
    void MakeRoom(int64_t samples);
    std::span<float> Values(int trace) { return values_[static_cast<size_t>(trace)]; }
    // Samples within the runs that became 0 so far, of all traces.
    int64_t Replaced() const { return replaced_; }

  private:
    CDataDoc& doc_;
    std::vector<std::vector<float>> values_;
    std::vector<std::vector<uint8_t>> valid_;
    int64_t replaced_ = 0;
};

// The channels with events that are no marks of where data records begin.
std::vector<int> ExportChannels(const CDataDoc& doc);
// The label of an event, or of its channel, or "Event b": valid UTF-8 without control characters.
std::string ExportEventText(const CDataDoc& doc, int channel, const CEventKM& event);
// The day on which the recording begins; nothing where it does not tell.
std::optional<std::chrono::sys_days> StartDay(const CDataDoc& doc);
// What such forms keep beside samples, units, and events with a text each.
struct KeptByForm {
    bool channels = false;  // which events are of one channel
    bool start = false;     // the date and time
    bool comment = false;
};
// A line that tells what else the recording has; empty where that is nothing.
std::string NotKeptText(const CDataDoc& doc, const KeptByForm& kept);
// Text in the characters of ASCII, as header fields take it: "uV" for microvolts.
std::string AsciiText(std::string_view text);

}  // namespace kymora
