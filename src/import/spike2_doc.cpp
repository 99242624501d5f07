#include "import/spike2_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numeric>

#include "graphs/graph.h"
#include "import/son_file.h"

namespace kymora {

namespace {

constexpr float sonDivisor = 6553.6f;       // of the format's scaling
constexpr int64_t greatestRatio = 1000000;  // of the longest sample interval to the shortest
constexpr int unitColours = 8;              // of GraphColour

constexpr const char* notSon64Text = "Error opening file. Is this really a 64-bit Spike2 file?";
constexpr const char* noReader64Text =
    "{} is a 64-bit Spike2 file. The layout of these files is not published, so Kymora cannot read them.\n"
    "In Spike2, choose File > Export As and write a 32-bit Spike2 file (.smr) or a MATLAB file (.mat), which "
    "Kymora reads.";
constexpr const char* realWaveText =
    "Kymora has detected a RealWave channel type. At the moment this is not suppported. Please contact the "
    "author to discuss possibilities.";
constexpr const char* slowWaveMarkText =
    "Kymora cannot read CED Spike wavemark channels recorded at a reduced sample rate. Please contact the "
    "author if this is a problem.";
constexpr const char* noWaveformText =
    "There are no waveform data channels in this file. Creating a read-only 0-filled dummy.";
constexpr const char* ratioText =
    "Kymora seems to have detected a huge difference in channel sample rates, which it cannot handle. Reduce "
    "this difference and/or contact the author for advice.";
constexpr const char* tooManyColoursText =
    "There are too many wavemark event colours for each to be different. Contact the author if this is a "
    "problem.";

// What the log says of a channel.
std::string KindText(const SonChannel& channel, bool fallStandsBefore) {
    const int n = channel.number;
    switch (channel.kind) {
    case SonKind::off:
        return fmt::format("chan {} OFF\n", n);
    case SonKind::adc:
        return fmt::format("chan {} ADC data\n", n);
    case SonKind::eventFall:
        return fmt::format("chan {} EventFall, Event times (falling edges)\n", n);
    case SonKind::eventRise:
        if (fallStandsBefore)
            return fmt::format("chan {} EventRise or Fall (rise if not preceded by fall trace)\n", n);
        return fmt::format("chan {} EventRise, Event times (rising edges)\n", n);
    case SonKind::eventBoth:
        return fmt::format("chan {} EventBoth, Event times (both edges)\n", n);
    case SonKind::marker:
        return fmt::format("chan {} Marker, Event time plus 4 8-bit codes\n", n);
    case SonKind::adcMark:
        return fmt::format("chan {} AdcMark data\n", n);
    case SonKind::realMark:
        return fmt::format("chan {} RealMark, Marker plus float numbers\n", n);
    case SonKind::textMark:
        return fmt::format("chan {} TextMark, Marker plus text string\n", n);
    case SonKind::realWave:
        return fmt::format("chan {} RealWave, waveform of float numbers \n", n);
    }
    return fmt::format("chan {} unknown kind\n", n);
}

// The codes of a marker: the first alone where the others are 0. What can be printed stands as a character,
// but for the blank, which could not be seen.
std::string CodesText(const FileFields& items, size_t at) {
    const auto codeText = [&](size_t i) {
        const uint8_t code = items.U8(at + i);
        return code > 0x20 && code < 0x7F ? std::string(1, static_cast<char>(code))
                                          : fmt::format("{:02X}", code);
    };
    const bool isAlone = items.U8(at + 1) == 0 && items.U8(at + 2) == 0 && items.U8(at + 3) == 0;
    if (isAlone) return codeText(0);
    return codeText(0) + " " + codeText(1) + " " + codeText(2) + " " + codeText(3);
}

class SonReader {
  public:
    explicit SonReader(const DataFile& file)
        : file_(file),
          header_(ReadSonHeader(file)),
          channels_(ReadSonChannels(file, header_)),
          walk_(file, header_) {}

    ForeignRecording Read();

  private:
    void CollectWaveforms();
    void AddWaveform(const SonChannel& channel, const std::vector<SonBlock>& blocks);
    void AddEvents(const SonChannel& channel);
    void AddEdges(const FileFields& items, int count, ForeignEvents& found);
    void AddMarkers(const SonChannel& channel, const FileFields& items, int count, ForeignEvents& found);
    void Mark(CEventKM& event, const SonChannel& channel, const FileFields& items, size_t at);
    uint32_t ColourOf(int code);
    int32_t PositionOf(int64_t tick) const;
    void Describe();

    const DataFile& file_;
    SonHeader header_;
    std::vector<SonChannel> channels_;
    SonBlockWalk walk_;
    ForeignRecording recording_;
    std::vector<const SonChannel*> waves_;  // of the traces
    std::vector<std::vector<SonBlock>> waveBlocks_;
    int64_t base_ = 1;  // ticks of a sample of the recording
    bool levelIsLow_ = true;
    std::map<int, uint32_t> colours_;  // of the codes that were met
};

ForeignRecording SonReader::Read() {
    bool fallStandsBefore = false;
    for (const SonChannel& channel : channels_) {
        recording_.log += KindText(channel, fallStandsBefore);
        fallStandsBefore = fallStandsBefore || channel.kind == SonKind::eventFall;
        if (channel.kind == SonKind::realWave) recording_.warnings.push_back(realWaveText);
    }
    CollectWaveforms();
    for (const SonChannel& channel : channels_) AddEvents(channel);
    walk_.CheckApart();
    if (walk_.Lost() > 0)
        recording_.warnings.push_back(fmt::format(
            "This file is damaged or cut off: {} of its blocks cannot be found. What stands before them is "
            "shown.",
            walk_.Lost()));
    if (!walk_.Turned().empty())
        recording_.warnings.push_back(fmt::format("This file is damaged: the blocks of channel {} lead back "
                                                  "to earlier times. What stands before that is shown.",
                                                  fmt::join(walk_.Turned(), ", ")));
    Describe();
    return std::move(recording_);
}

// Samples lie on the grid of the fastest channel. Conversions are staggered: what a channel starts later by
// less than one of its own samples is its offset, which is not shown.
void SonReader::CollectWaveforms() {
    int64_t slowest = 0;
    for (const SonChannel& channel : channels_) {
        if (channel.kind != SonKind::adc) continue;
        std::vector<SonBlock> blocks = walk_.BlocksOf(channel);
        if (blocks.empty()) continue;
        if (channel.step <= 0)
            throw OpenError(
                fmt::format("Channel {} of this file states no time between its samples.", channel.number));
        base_ = waves_.empty() ? channel.step : std::min(base_, channel.step);
        slowest = std::max(slowest, channel.step);
        waves_.push_back(&channel);
        waveBlocks_.push_back(std::move(blocks));
    }
    if (waves_.size() > maxTraces) throw OpenError(tooManyChannelsText);
    recording_.interval = SonMilliseconds(header_, base_);
    if (waves_.empty()) {
        recording_.warnings.push_back(noWaveformText);
        recording_.lengthWithoutTraces = int64_t{std::max(header_.lastTick, 0)} + 1;
        return;
    }
    if (slowest / base_ > greatestRatio) throw OpenError(ratioText);
    int64_t earliest = longestRecording, latest = 0;
    for (size_t i = 0; i < waves_.size(); ++i) {
        AddWaveform(*waves_[i], waveBlocks_[i]);
        const int64_t end = recording_.traces.back().source.End();
        earliest = std::min(earliest, end);
        latest = std::max(latest, end);
    }
    recording_.log += fmt::format("Earliest end = {}, Latest end = {}\n", earliest, latest);
    for (size_t i = 0; i < waves_.size(); ++i)
        if (const int64_t end = recording_.traces[i].source.End(); end < latest)
            recording_.log += fmt::format("Chan {} OFF for remainder of FileBufSize, starting at {}\n",
                                          waves_[i]->number, end);
    waveBlocks_.clear();
}

void SonReader::AddWaveform(const SonChannel& channel, const std::vector<SonBlock>& blocks) {
    ForeignTrace trace{channel.title, channel.units};
    ChannelSource& source = trace.source;
    source.order = header_.order;
    const int64_t common = std::gcd(channel.step, base_);
    source.steps = channel.step / common;
    source.per = base_ / common;
    const bool hasScale =
        std::isfinite(channel.scale) && channel.scale != 0.0f && std::isfinite(channel.offset);
    if (hasScale)
        source.scales = {{channel.scale, channel.offset, sonDivisor}};
    else
        recording_.warnings.push_back(fmt::format(
            "Channel {} ({}) states a scale of {} and an offset of {}. Its numbers are shown as they stand.",
            channel.number, channel.title, channel.scale, channel.offset));
    const int64_t first = std::max<int64_t>(blocks[0].start, 0);
    const int64_t stagger = first < channel.step ? first : first % channel.step;
    int64_t end = 0;  // tick of the last sample
    for (const SonBlock& block : blocks) {
        const bool goesOn = source.samples > 0 && block.start - end <= channel.step;
        const int64_t ticks = std::max<int64_t>(block.start - stagger, 0);
        source.Add(goesOn ? 0 : (ticks + base_ / 2) / base_, block.count, block.items);
        end = (goesOn ? end + channel.step : int64_t{block.start}) + (block.count - 1) * channel.step;
    }
    recording_.traces.push_back(std::move(trace));
}

int32_t SonReader::PositionOf(int64_t tick) const {
    return static_cast<int32_t>((std::max<int64_t>(tick, 0) + base_ / 2) / base_);
}

void SonReader::AddEvents(const SonChannel& channel) {
    if (channel.kind < SonKind::eventFall || channel.kind > SonKind::textMark) return;
    ForeignEvents found{channel.title, channel.comment};
    if (channel.kind == SonKind::adcMark) {
        if (channel.step != base_ && !recording_.traces.empty()) {
            recording_.warnings.push_back(slowWaveMarkText);
            return;
        }
        if (!found.comment.empty()) found.comment += "\r\n";
        found.comment += fmt::format("wavemark: pre-trig samples = {}", channel.preTrigger);
        const auto source = std::find_if(waves_.begin(), waves_.end(), [&](const SonChannel* wave) {
            return channel.port >= 0 && wave->port == channel.port;
        });
        if (source != waves_.end()) found.parentTrace = static_cast<int>(source - waves_.begin());
    }
    levelIsLow_ = channel.startsLow;
    const int bytes = SonItemBytes(header_, channel);
    for (const SonBlock& block : walk_.BlocksOf(channel)) {
        const FileFields items(file_, block.items,
                               static_cast<uint64_t>(bytes) * static_cast<uint64_t>(block.count),
                               header_.order);
        if (channel.kind == SonKind::eventBoth)
            AddEdges(items, block.count, found);
        else
            AddMarkers(channel, items, block.count, found);
    }
    if (channel.kind == SonKind::eventBoth && !levelIsLow_) {
        if (found.events.empty()) found.events.push_back(MakeEvent(0));  // high throughout
        CEventKM& open = found.events.back();
        open.offPosition = std::max(PositionOf(header_.lastTick), open.onPosition + 1);
    }
    recording_.events.push_back(std::move(found));
}

// A rise opens an event and a fall closes it. Where the first edge is a fall, the line has been high from the
// beginning.
void SonReader::AddEdges(const FileFields& items, int count, ForeignEvents& found) {
    for (int i = 0; i < count; ++i) {
        const int32_t at = PositionOf(items.I32(4 * static_cast<size_t>(i)));
        if (levelIsLow_) {
            found.events.push_back(MakeEvent(at, "CED Event Rise"));
        } else {
            if (found.events.empty()) found.events.push_back(MakeEvent(0, "CED Event Fall"));
            CEventKM& open = found.events.back();
            open.offPosition = std::max(at, open.onPosition + 1);
        }
        levelIsLow_ = !levelIsLow_;
    }
}

void SonReader::AddMarkers(const SonChannel& channel, const FileFields& items, int count,
                           ForeignEvents& found) {
    const auto bytes = static_cast<size_t>(SonItemBytes(header_, channel));
    for (int i = 0; i < count; ++i) {
        const size_t at = bytes * static_cast<size_t>(i);
        CEventKM event = MakeEvent(PositionOf(items.I32(at)));
        if (channel.kind >= SonKind::marker) Mark(event, channel, items, at);
        found.events.push_back(std::move(event));
    }
}

void SonReader::Mark(CEventKM& event, const SonChannel& channel, const FileFields& items, size_t at) {
    const size_t codes = at + 4, extra = at + 8;
    const auto extraBytes = static_cast<size_t>(channel.extraBytes);
    if (channel.kind == SonKind::textMark) {
        event.eventLabel = items.Text(extra, extraBytes);
        return;
    }
    if (channel.kind != SonKind::adcMark) event.eventLabel = CodesText(items, codes);
    if (channel.kind == SonKind::realMark && extraBytes >= 4) event.eventValue = items.F32(extra);
    if (channel.kind != SonKind::adcMark) return;
    const int64_t points = std::max<int64_t>(channel.extraBytes / 2 / channel.interleaved, 1);
    const int64_t length = points * std::max<int64_t>(channel.step, base_) / base_;
    event.offPosition = static_cast<int32_t>(std::min<int64_t>(event.onPosition + length, longestRecording));
    const int code = items.U8(codes);
    event.eventValue = static_cast<float>(code);
    event.eventColour = ColourOf(code);
}

// Unsorted spikes, of code 0, have the colour of their channel.
uint32_t SonReader::ColourOf(int code) {
    if (code == 0) return 0;
    const auto [place, isNew] = colours_.try_emplace(code, 0);
    if (!isNew) return place->second;
    place->second = GraphColour(static_cast<size_t>(code) - 1);
    const auto twins = std::count_if(colours_.begin(), colours_.end(), [&](const auto& other) {
        return other.first != code && (other.first - code) % unitColours == 0;
    });
    const auto& said = recording_.warnings;
    if (twins > 0 && std::find(said.begin(), said.end(), tooManyColoursText) == said.end())
        recording_.warnings.push_back(tooManyColoursText);
    return place->second;
}

void SonReader::Describe() {
    const SonHeader& h = header_;
    std::string& comment = recording_.comment;
    for (const std::string& line : h.comments) comment += line + "\r\n";
    if (IsDate(h.year, h.month, h.day) && IsTime(h.hour, h.minute, h.second)) {
        comment +=
            fmt::format("{}:{}:{} on {}-{}-{}\r\n", h.hour, h.minute, h.second, h.day, h.month, h.year);
        recording_.startDate = DayOf(h.year, h.month, h.day);
        recording_.startClock = ((h.hour * 60.0 + h.minute) * 60.0 + h.second) * 1000.0 + h.hundredths * 10.0;
    }
    for (size_t t = 0; t < waves_.size(); ++t)
        if (const SonChannel& wave = *waves_[t]; !wave.comment.empty())
            comment += fmt::format("Trace {} ({}): {}\r\n", t + 1, wave.title, wave.comment);
    recording_.details = {{"File type", fmt::format("Spike2, 32 bit, revision {}", h.revision)},
                          {"Clock tick", fmt::format("{:.6g} us", h.tick * 1e6)},
                          {"Channels in use", std::to_string(std::count_if(channels_.begin(), channels_.end(),
                                                                           [](const SonChannel& c) {
                                                                               return c.kind != SonKind::off;
                                                                           }))},
                          {"Event channels", std::to_string(recording_.events.size())}};
}

}  // namespace

ForeignRecording CSpike2Doc::ReadRecording(const DataFile& file) { return SonReader(file).Read(); }

ForeignRecording CSpike64Doc::ReadRecording(const DataFile& file) {
    if (file.Length() == 0) throw OpenError("This file is empty.");
    constexpr size_t markBytes = 12;
    const bool isSmall =
        file.Length() >= markBytes && FileFields(file, 0, markBytes).Bytes(2, 10) == "(C) CED 87";
    if (isSmall) throw OpenError(notSon64Text);
    throw OpenError(fmt::format(noReader64Text, filePath.filename().string()));
}

}  // namespace kymora
