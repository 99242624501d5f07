#include "import/axon_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace kymora {

namespace {

constexpr const char* episodeText = "Episode trigger point.";
constexpr const char* joinedText = "\r\n\r\nConcatenated sweeps: start marked by events in channel a.\r\n";

struct AxonClock {
    int year, month, day, hour, minute, second;
};

// Nothing for a date or time that cannot be.
std::optional<AxonClock> ClockOf(const AxonHeader& header) {
    const auto seconds = static_cast<int>(header.timeMs / 1000);
    const AxonClock clock{header.date / 10000, header.date / 100 % 100, header.date % 100,
                          seconds / 3600,      seconds / 60 % 60,       seconds % 60};
    const bool isKnown = header.timeMs >= 0 && IsDate(clock.year, clock.month, clock.day) &&
                         IsTime(clock.hour, clock.minute, clock.second);
    return isKnown ? std::optional(clock) : std::nullopt;
}

// "16/11/2018 (d/m/y) at 16:57:14"; empty where it is not known.
std::string CreatedText(const AxonHeader& header) {
    const auto clock = ClockOf(header);
    if (!clock) return {};
    return fmt::format("{}/{}/{} (d/m/y) at {:02}:{:02}:{:02}", clock->day, clock->month, clock->year,
                       clock->hour, clock->minute, clock->second);
}

std::string SweepText(const AxonHeader& header) {
    const int64_t length = header.segments.front().length;
    return fmt::format("{} sweeps of {:.2f} ms ({} samples per channel)\r\n", header.segments.size(),
                       static_cast<double>(length) * header.interval * 1e-3, length);
}

std::string ModeText(const AxonHeader& header) {
    switch (header.mode) {
    case AxonMode::variableLength:
        return fmt::format(
            "Acquisition mode: variable-length event-detection\r\n{} variable-length "
            "segments\r\nPre- and post-trigger length: {} samples per channel\r\n\tNote: Display is "
            "concatenated (gaps closed).\r\n",
            header.segments.size(), header.preTrigger);
    case AxonMode::fixedLength:
        return fmt::format(
            "Acquisition mode: fixed-length event-detection\r\n{}Pre-trigger length: {} samples per "
            "channel\r\n\tNote: sweeps may overlap.\r\n\tDisplay is concatenated (gaps "
            "closed).\r\n",
            SweepText(header), header.preTrigger);
    case AxonMode::gapFree:
        return "Acquisition mode: gap free\r\n\t (standard chart type)\r\n";
    case AxonMode::oscilloscope:
        return "Acquisition mode: high-speed oscilloscope\r\n";
    case AxonMode::episodic:
        return "Acquisition mode: episodic stimulation\r\n" + SweepText(header);
    }
    return {};
}

std::string CommentOf(const AxonHeader& header) {
    std::string text;
    if (const std::string created = CreatedText(header); !created.empty())
        text = "Created: " + created + "\r\n";
    text += ModeText(header);
    if (!header.segments.empty()) text += joinedText;
    if (!header.comment.empty()) text += header.comment + "\r\n";
    if (!header.protocol.empty()) text += "Protocol: " + header.protocol + "\r\n";
    for (const std::string& line : header.protocolLines) text += line + "\r\n";
    return text;
}

// Tags are timed by the clock of the experiment. One between two sweeps goes to the end of the first.
int32_t TagPosition(const AxonHeader& header, double time) {
    const auto samplesUpTo = [&](double seconds) {
        return std::llround(std::clamp(seconds * 1e6 / header.interval, 0.0, double{longestRecording} - 1.0));
    };
    if (header.segments.empty()) return static_cast<int32_t>(samplesUpTo(time));
    const auto behind =
        std::upper_bound(header.segments.begin(), header.segments.end(), time,
                         [](double t, const AxonSegment& segment) { return t < segment.start; });
    if (behind == header.segments.begin()) return 0;
    const AxonSegment& segment = *std::prev(behind);
    return static_cast<int32_t>(segment.first +
                                std::min<int64_t>(samplesUpTo(time - segment.start), segment.length - 1));
}

ForeignEvents TagsOf(const AxonHeader& header) {
    ForeignEvents tags{"Tags", "Tags of the recording"};
    for (const AxonTag& tag : header.tags)
        tags.events.push_back(MakeEvent(TagPosition(header, tag.time), tag.text));
    return tags;
}

void AddChannels(const AxonHeader& header, ForeignRecording& recording) {
    const int bytes = header.isFloat ? 4 : 2;
    const size_t count = header.channels.size();
    for (size_t i = 0; i < count; ++i) {
        const AxonChannel& channel = header.channels[i];
        ForeignTrace& trace = recording.traces.emplace_back(ForeignTrace{channel.name, channel.units, {}});
        trace.source.type = header.isFloat ? NumberType::f32 : NumberType::i16;
        trace.source.order = header.order;
        trace.source.stride = static_cast<uint32_t>(bytes) * static_cast<uint32_t>(count);
        if (!header.isFloat) trace.source.scales = {{channel.gain, channel.offset}};
        trace.source.Add(0, header.samples, header.dataStart + static_cast<uint64_t>(bytes) * i);
    }
}

}  // namespace

std::vector<std::pair<std::string, std::string>> CAxonDetails::Rows() const {
    const bool isGapFree = header_.segments.empty();
    std::vector<std::pair<std::string, std::string>> rows{
        {"File type", "Axon binary file, version " + header_.versionText},
        {"Type", isGapFree ? "Gap free" : "Episodic"}};
    if (!isGapFree) rows.emplace_back("Sweeps", std::to_string(header_.segments.size()));
    if (const std::string created = CreatedText(header_); !created.empty())
        rows.emplace_back("Created", created);
    if (!header_.creator.empty()) rows.emplace_back("Recorded with", header_.creator);
    if (!header_.protocol.empty()) rows.emplace_back("Protocol", header_.protocol);
    rows.emplace_back("Tags", std::to_string(header_.tags.size()));
    return rows;
}

ForeignRecording CAxonDoc::ReadRecording(const DataFile& file) {
    const AxonHeader header = ReadAxonHeader(file);
    if (header.samples > longestRecording) throw OpenError(tooLongText);
    ForeignRecording recording;
    recording.interval = header.interval / 1000.0;
    AddChannels(header, recording);
    recording.comment = CommentOf(header);
    recording.details = CAxonDetails(header).Rows();
    if (const auto clock = ClockOf(header)) {
        recording.startClock = static_cast<double>(header.timeMs);
        recording.startDate = DayOf(clock->year, clock->month, clock->day);
    }
    recording.warnings = header.warnings;
    if (header.isCut)
        recording.warnings.push_back("This file is cut off: it holds fewer samples than its header says.");
    if (!header.segments.empty()) {
        recording.episodic = true;
        std::vector<int64_t> starts;
        for (const AxonSegment& segment : header.segments) starts.push_back(segment.first);
        recording.events.push_back(EpisodeMarks(episodeText, starts));
    }
    if (!header.tags.empty()) recording.events.push_back(TagsOf(header));
    return recording;
}

}  // namespace kymora
