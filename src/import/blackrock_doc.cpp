#include "import/blackrock_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "import/digital_lines.h"

namespace kymora {

namespace {

constexpr double ticksPerSecond = 30000.0;  // that periods count, whatever the clock
constexpr size_t mostNsxChannels = 65536, channelBytes = 66, headBytes = 314;
constexpr uint64_t mostNevHeader = 16 << 20, mostPacketBytes = 65536;
constexpr size_t mostElectrodes = 900;
constexpr int64_t farthestTime = int64_t{1} << 61;

double RateOf(uint32_t period) {
    if (period == 0) throw OpenError("This Blackrock file states a period of 0.");
    return ticksPerSecond / period;
}

}  // namespace

int CBlackrockDoc::FirstStreamNumber() const {
    const std::string name = filePath.filename().string();
    return !name.empty() && name.back() >= '1' && name.back() <= '9' ? name.back() - '0' : 0;
}

std::vector<DataStream> CBlackrockDoc::ReadStreams(const DataFile& file) {
    channels_.clear();
    pieces_.clear();
    anchors_.clear();
    comment_.clear();
    clock_.reset();
    blockBytes_ = 0;
    length_ = 0;
    const std::string id(FileFields(file, 0, 8).Bytes(0, 8));
    if (id == "NEURALSG") {
        ReadOldHeader(file);
    } else if (id == "NEURALCD" || id == "BRSMPGRP") {
        ReadHeader(file);
        WalkBlocks(file);
    } else {
        throw OpenError("This file does not begin as a Blackrock file does.");
    }
    if (length_ <= 0) throw OpenError(fmt::format("{} holds no data.", filePath.filename().string()));
    DataStream stream{"Blackrock", rate_, length_};
    for (const Channel& channel : channels_) stream.channels.push_back({channel.label, channel.units});
    return {stream};
}

// Of version 2.1, which states no scales.
void CBlackrockDoc::ReadOldHeader(const DataFile& file) {
    const FileFields head(file, 0, 32);
    rate_ = RateOf(head.U32(24));
    resolution_ = ticksPerSecond;
    version_ = "2.1";
    const uint32_t count = head.U32(28);
    if (count < 1 || count > mostNsxChannels)
        throw OpenError("The header of this Blackrock file is damaged.");
    const FileFields ids(file, 32, 4 * uint64_t{count});
    for (size_t c = 0; c < count; ++c)
        channels_.push_back({fmt::format("Electrode {}", ids.U32(4 * c)), {}, {}});
    dataAt_ = 32 + 4 * uint64_t{count};
    length_ = static_cast<int64_t>((file.Length() - dataAt_) / (2 * uint64_t{count}));
    pieces_ = {{0, length_, dataAt_}};
    anchors_ = {{0, 0}};
}

void CBlackrockDoc::ReadHeader(const DataFile& file) {
    const FileFields head(file, 0, headBytes);
    version_ = fmt::format("{}.{}", head.U8(8), head.U8(9));
    timeBytes_ = head.U8(8) >= 3 ? 8 : 4;
    comment_ = head.Text(30, 256);
    rate_ = RateOf(head.U32(286));
    resolution_ = head.U32(290);
    const uint32_t count = head.U32(310);
    if (count < 1 || count > mostNsxChannels || resolution_ < 1.0)
        throw OpenError("The header of this Blackrock file is damaged.");
    const int year = head.U16(294), month = head.U16(296), day = head.U16(300);
    const int hour = head.U16(302), minute = head.U16(304), second = head.U16(306);
    if (IsDate(year, month, day) && IsTime(hour, minute, second)) {
        clock_ = ((hour * 60.0 + minute) * 60.0 + second) * 1000.0 + head.U16(308) % 1000;
        comment_ = fmt::format("Recorded on {}-{:02}-{:02} at {:02}:{:02}:{:02} UTC\r\n{}", year, month, day,
                               hour, minute, second, comment_);
    }
    const FileFields list(file, headBytes, channelBytes * uint64_t{count});
    for (size_t c = 0; c < count; ++c) AddChannel(list, c * channelBytes);
    dataAt_ = std::max<uint64_t>(head.U32(10), headBytes + channelBytes * uint64_t{count});
}

void CBlackrockDoc::AddChannel(const FileFields& header, size_t at) {
    Channel channel{header.Text(at + 4, 16), header.Text(at + 30, 16), {}};
    if (channel.label.empty()) channel.label = fmt::format("Electrode {}", header.U16(at + 2));
    const double leastNumber = header.I16(at + 22), greatestNumber = header.I16(at + 24);
    const double least = header.I16(at + 26), greatest = header.I16(at + 28);
    const double factor = (greatest - least) / (greatestNumber - leastNumber);
    if (std::isfinite(factor) && factor != 0.0) {
        channel.scale.factor = factor;
        channel.scale.offset = least - leastNumber * factor;
        // Limits that are even leave no offset but what rounding makes.
        if (std::fabs(channel.scale.offset) < 1e-9 * std::fabs(greatest - least)) channel.scale.offset = 0.0;
    } else {
        channel.units.clear();
    }
    channels_.push_back(std::move(channel));
}

void CBlackrockDoc::WalkBlocks(const DataFile& file) {
    const uint64_t rowBytes = 2 * channels_.size(), headLength = 5 + static_cast<uint64_t>(timeBytes_);
    const size_t mostPieces = MostRuns(file.Length(), std::min<size_t>(channels_.size(), maxTraces));
    for (uint64_t at = dataAt_; at + headLength <= file.Length();) {
        const FileFields head(file, at, headLength);
        if (head.U8(0) != 1) break;
        // Damaged times may be any; differences of these are numbers all the same.
        const int64_t time =
            timeBytes_ == 8 ? std::clamp(head.I64(1), -farthestTime, farthestTime) : int64_t{head.U32(1)};
        const uint64_t stated = head.U32(headLength - 4);
        at += headLength;
        const uint64_t held = (file.Length() - at) / rowBytes;
        if (pieces_.empty() && stated == 1 && timeBytes_ == 8 && resolution_ >= 1e9) return WalkSamples(file);
        // Of a file that was not closed the last block states none.
        const auto count = static_cast<int64_t>(stated == 0 ? held : std::min(stated, held));
        if (anchors_.empty() || time < anchors_.back().time) {
            anchors_.push_back({time, length_});
        } else {
            const double elapsed = static_cast<double>(time - anchors_.back().time) * rate_ / resolution_;
            length_ =
                std::max<int64_t>(length_, anchors_.back().position + std::llround(std::min(elapsed, 1e15)));
        }
        if (count > 0) pieces_.push_back({length_, count, at});
        length_ += count;
        at += static_cast<uint64_t>(count) * rowBytes;
        if (pieces_.size() > mostPieces)
            throw OpenError("This recording has more or longer gaps than can be handled.");
        if (count == 0) break;
    }
    if (pieces_.empty()) length_ = 0;
}

// Of a clock of nanoseconds: every block holds one sample, and its time jitters.
void CBlackrockDoc::WalkSamples(const DataFile& file) {
    blockBytes_ = 13 + 2 * channels_.size();
    const auto blocks = static_cast<int64_t>((file.Length() - dataAt_) / blockBytes_);
    const auto time = [&](int64_t block) {
        int64_t ticks = 0;
        ReadWhole(file, dataAt_ + static_cast<uint64_t>(block) * blockBytes_ + 1,
                  std::as_writable_bytes(std::span(&ticks, 1)));
        return ticks;
    };
    const double period = resolution_ / rate_;
    const size_t mostRuns = MostRuns(file.Length(), std::min<size_t>(channels_.size(), maxTraces));
    const auto runs = BlockTimes(blocks, 1, {period, 1.0 / period, period}, mostRuns, time).Runs();
    for (size_t r = 0; r < runs.size(); ++r) {
        const int64_t end = r + 1 < runs.size() ? runs[r + 1].block : blocks;
        pieces_.push_back({runs[r].position, end - runs[r].block,
                           dataAt_ + static_cast<uint64_t>(runs[r].block) * blockBytes_ + 13});
        length_ = pieces_.back().position + pieces_.back().count;
    }
    if (blocks > 0) anchors_ = {{time(0), 0}};
}

ForeignRecording CBlackrockDoc::ReadStream(const StreamChoice& choice) {
    ForeignRecording recording;
    recording.interval = 1000.0 / rate_;
    for (const int place : choice.channels) {
        const Channel& channel = channels_[static_cast<size_t>(place)];
        ForeignTrace& trace = recording.traces.emplace_back(ForeignTrace{channel.label, channel.units, {}});
        trace.source.stride = static_cast<uint32_t>(blockBytes_ > 0 ? blockBytes_ : 2 * channels_.size());
        trace.source.scales = {channel.scale};
        for (const Piece& piece : pieces_)
            trace.source.Add(piece.position, piece.count, piece.offset + 2 * static_cast<uint64_t>(place));
    }
    AddEvents(recording, choice.from);
    recording.comment =
        "Blackrock, version " + version_ + "\r\n" + comment_ + (comment_.empty() ? "" : "\r\n");
    recording.startClock = clock_;
    recording.details = {{"File type", "Blackrock NSx, version " + version_},
                         {"Channels in the file", std::to_string(channels_.size())},
                         {"Pieces", std::to_string(pieces_.size())}};
    return recording;
}

// Of an event's time; -1 before the samples.
int64_t CBlackrockDoc::PositionOf(double seconds, size_t anchor) const {
    const Anchor& from = anchors_[std::min(anchor, anchors_.size() - 1)];
    const double behind = (seconds - static_cast<double>(from.time) / resolution_) * rate_;
    return behind < -0.5 ? -1 : from.position + std::llround(std::clamp(behind, 0.0, 1e15));
}

void CBlackrockDoc::AddEvents(ForeignRecording& recording, int64_t from) const {
    std::filesystem::path path = filePath;
    const auto file = FindBeside(GetSession().files, path.replace_extension(".nev"));
    if (!file || file->Length() < 336) return;
    const FileFields head(*file, 0, 336);
    const std::string_view id = head.Bytes(0, 8);
    const uint64_t headerBytes = head.U32(12), packetBytes = head.U32(16);
    const double resolution = head.U32(20);
    if ((id != "NEURALEV" && id != "BREVENTS") || packetBytes < 12 || packetBytes > mostPacketBytes ||
        headerBytes < 336 || headerBytes > std::min(mostNevHeader, file->Length()) || resolution < 1.0)
        return;
    const size_t timeBytes = id == "BREVENTS" ? 8 : 4;
    if (packetBytes < timeBytes + 6) return;
    std::map<int, std::string> labels;
    const FileFields extended(*file, 336, headerBytes - 336);
    for (size_t at = 0; at + 32 <= extended.Length(); at += 32)
        if (extended.Bytes(at, 8) == "NEUEVLBL") labels[extended.U16(at + 8)] = extended.Text(at + 10, 16);
    ForeignEvents digital{"Digital", "Digital inputs; the value is the word"}, comments{"Comments", {}};
    std::map<int, ForeignEvents> spikes;
    double last = 0.0;
    size_t anchor = 0;
    const uint64_t held = (file->Length() - headerBytes) / packetBytes;
    const uint64_t packets = std::min<uint64_t>(held, mostForeignEvents);
    WarnOfEventsLeftOut(recording, "Events of " + path.filename().string(), packets, held);
    std::map<int, uint64_t> withoutChannel;  // spikes of electrodes
    const uint64_t atOnce = std::max<uint64_t>((1 << 20) / packetBytes, 1);
    for (uint64_t p = 0; p < packets; p += atOnce) {
        const uint64_t n = std::min(atOnce, packets - p);
        const FileFields fields(*file, headerBytes + p * packetBytes, n * packetBytes);
        for (size_t at = 0; at < n * packetBytes; at += packetBytes) {
            const double ticks = timeBytes == 8 ? static_cast<double>(fields.I64(at)) : fields.U32(at);
            const double seconds = ticks / resolution;
            // Packets are not quite in order; only a clock that begins again falls by more than a second.
            if (seconds < last - 1.0) ++anchor;
            last = seconds;
            const int64_t position = PositionOf(seconds, anchor);
            const size_t body = at + timeBytes + 2;
            const int kind = fields.U16(at + timeBytes);
            ForeignEvents* to = nullptr;
            std::string label;
            float value = 0.0f;
            if (kind == 0) {
                to = &digital;
                value = fields.U16(body + 2);
            } else if (kind == 0xFFFF) {
                to = &comments;
                label = fields.Text(std::min(body + 6, at + packetBytes),
                                    packetBytes - std::min<size_t>(timeBytes + 8, packetBytes));
            } else if (kind <= 2048 && spikes.size() >= mostElectrodes && !spikes.contains(kind)) {
                ++withoutChannel[kind];
            } else if (kind <= 2048) {
                to = &spikes[kind];
                value = fields.U8(body);
            }
            if (!to) continue;
            const size_t before = to->events.size();
            AddPlaced(to->events, position, position + 1, from, label);
            if (to->events.size() > before) to->events.back().eventValue = value;
        }
    }
    uint64_t leftOut = 0;
    for (const auto& [electrode, count] : withoutChannel) leftOut += count;
    if (leftOut > 0)
        recording.warnings.push_back(fmt::format("{} spikes of {} electrodes, from electrode {} to {}, are "
                                                 "left out: those of {} others are shown.",
                                                 leftOut, withoutChannel.size(),
                                                 withoutChannel.begin()->first,
                                                 withoutChannel.rbegin()->first, mostElectrodes));
    for (ForeignEvents* found : {&digital, &comments})
        if (!found->events.empty()) recording.events.push_back(std::move(*found));
    for (auto& [electrode, found] : spikes) {
        if (found.events.empty()) continue;
        const auto label = labels.find(electrode);
        found.label = label != labels.end() && !label->second.empty()
                          ? label->second
                          : fmt::format("Electrode {}", electrode);
        found.comment = fmt::format("Spikes of electrode {}; the value is the unit", electrode);
        recording.events.push_back(std::move(found));
    }
}

}  // namespace kymora
