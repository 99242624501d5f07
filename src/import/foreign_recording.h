#pragma once
// What the reader of a foreign format has found in a file, as a value: the document makes its model of it.

#include <chrono>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "document/trace_signals.h"
#include "events/event.h"
#include "import/stored_channels.h"

namespace kymora {

struct ForeignTrace {
    std::string label;
    std::string units;
    ChannelSource source;
};

struct ForeignEvents {
    std::string label;
    std::string comment;
    std::vector<CEventKM> events{};  // in any order
    int channel = -1;                // where they go; the first free one where it is not given
    int parentTrace = -1;
};

struct ForeignRecording {
    double interval = 1.0;  // ms
    std::vector<ForeignTrace> traces{};
    std::vector<ForeignEvents> events{};
    std::vector<TraceSignal> signals{};  // of each trace, where only some of the file are chosen
    bool episodic = false;
    // Samples, of a recording of events only, or where the last sample of a slow trace lasts longer than
    // itself.
    int64_t lengthWithoutTraces = 0;
    std::string comment{};
    std::optional<double> startClock{};  // ms since midnight
    std::optional<std::chrono::sys_days> startDate{};
    // The numbers of the file for its details: what, and its value.
    std::vector<std::pair<std::string, std::string>> details{};
    std::vector<std::string> warnings{};  // for the user
    std::string log{};
};

// An event of one sample.
CEventKM MakeEvent(int32_t position, std::string_view label = {});

// The marks of episodes that begin at `starts`, for channel a. `labels` may be shorter.
ForeignEvents EpisodeMarks(const std::string& text, const std::vector<int64_t>& starts,
                           const std::vector<std::string>& labels = {});

// What headers state may be anything.
bool IsDate(int year, int month, int day);
// Nothing for what is no date.
std::optional<std::chrono::sys_days> DayOf(int year, int month, int day);
bool IsTime(int hour, int minute, int second);

inline constexpr const char* tooManyChannelsText =
    "There are more than 128 data channels in this file. Kymora can only handle 128";

}  // namespace kymora
