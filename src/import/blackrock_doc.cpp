#include "import/blackrock_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>
#include <map>
#include <optional>

#include "archive/text_encoding.h"
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

// Up to the first zero; of bytes or of UTF-16.
std::string CommentText(const FileFields& fields, size_t at, size_t length, bool isWide) {
    if (!isWide) return fields.Text(at, length);
    std::u16string units;
    for (size_t i = 0; i + 2 <= length; i += 2) {
        const uint16_t unit = fields.U16(at + i);
        if (unit == 0) break;
        units.push_back(static_cast<char16_t>(unit));
    }
    return WideToText(units);
}

}  // namespace

int CBlackrockDoc::FirstStreamNumber() const {
    const std::string name = filePath.filename().string();
    return !name.empty() && name.back() >= '1' && name.back() <= '9' ? name.back() - '0' : 0;
}

std::vector<DataStream> CBlackrockDoc::ReadStreams(const DataFile& file) {
    channels_.clear();
    pieces_.clear();
    warnings_.clear();
    comment_.clear();
    clock_.reset();
    date_.reset();
    blockBytes_ = 0;
    perBlock_ = 0;
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
    times_ = ClockPlaces(resolution_);
    times_.Add({0, 0, length_, rate_ / resolution_}, false);
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
        date_ = DayOf(year, month, day);
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
    if (WalkEqualBlocks(file)) return;
    const uint64_t rowBytes = 2 * channels_.size(), headLength = 5 + static_cast<uint64_t>(timeBytes_);
    const size_t mostPieces = MostRuns(file.Length(), std::min<size_t>(channels_.size(), maxTraces));
    const std::string name = filePath.filename().string();
    times_ = ClockPlaces(resolution_);
    // The heads of small blocks are read many at a time.
    constexpr uint64_t smallBlock = 16 << 10, bytesAtOnce = 64 << 10;
    std::optional<FileFields> held;
    uint64_t heldAt = 0, before = bytesAtOnce;
    for (uint64_t at = dataAt_; at + headLength <= file.Length();) {
        if (!held || at < heldAt || at + headLength > heldAt + held->Length()) {
            const uint64_t wanted = before < smallBlock ? bytesAtOnce : headLength;
            held.emplace(file, at, std::min(wanted, file.Length() - at));
            heldAt = at;
        }
        const auto head = static_cast<size_t>(at - heldAt);
        if (held->U8(head) != 1) {
            warnings_.push_back(fmt::format(
                "{} is damaged: at byte {} no data block begins. The {} bytes from there on are left out.",
                name, at, file.Length() - at));
            break;
        }
        // Damaged times may be any; differences of these are numbers all the same.
        const int64_t time = timeBytes_ == 8 ? std::clamp(held->I64(head + 1), -farthestTime, farthestTime)
                                             : int64_t{held->U32(head + 1)};
        const uint64_t stated = held->U32(head + static_cast<size_t>(headLength) - 4);
        at += headLength;
        const uint64_t there = (file.Length() - at) / rowBytes;
        // Of a file that was not closed the last block states none.
        const auto count = static_cast<int64_t>(stated == 0 ? there : std::min(stated, there));
        if (stated > there)
            warnings_.push_back(fmt::format(
                "{} ends early: its last data block states {} samples and holds {}.", name, stated, there));
        AddPiece(time, count, at);
        before = headLength + static_cast<uint64_t>(count) * rowBytes;
        at += static_cast<uint64_t>(count) * rowBytes;
        if (pieces_.size() > mostPieces)
            throw OpenError("This recording has more or longer gaps than can be handled.");
        if (count == 0) break;
    }
    if (pieces_.empty()) length_ = 0;
}

// Behind a gap, or where the clock was set back, right behind what there is.
void CBlackrockDoc::AddPiece(int64_t time, int64_t count, uint64_t offset) {
    if (count == 0) return;
    const double samplesPerTick = rate_ / resolution_;
    bool isSetBack = false;
    if (!pieces_.empty()) {
        const auto elapsed = static_cast<double>(time - lastTime_);
        const double end = static_cast<double>(pieces_.back().count) / samplesPerTick;
        const double late = (elapsed - end) * samplesPerTick;
        isSetBack = elapsed < 0.0 || elapsed < end - times_.Slack();
        if (!isSetBack && late > 0.0) length_ += std::llround(std::min(late, 1e15));
        if (length_ > int64_t{1} << 52)
            throw OpenError("This recording has more or longer gaps than can be handled.");
    }
    pieces_.push_back({length_, count, offset});
    times_.Add({time, length_, count, samplesPerTick}, isSetBack);
    lastTime_ = time;
    length_ += count;
}

// Blocks of as many samples each, as those of a clock of nanoseconds, which hold one, and whose times jitter.
// Few of them are looked at. False where they are not equal or too large to matter.
bool CBlackrockDoc::WalkEqualBlocks(const DataFile& file) {
    constexpr uint64_t largeBlock = 64 << 10;
    const uint64_t headLength = 5 + static_cast<uint64_t>(timeBytes_);
    const uint64_t rowBytes = 2 * channels_.size();
    if (file.Length() < dataAt_ + headLength) return false;
    const uint32_t each = FileFields(file, dataAt_, headLength).U32(static_cast<size_t>(headLength) - 4);
    const uint64_t bytes = headLength + each * rowBytes;
    if (each == 0 || bytes > largeBlock) return false;
    const bool isJittery = each == 1 && timeBytes_ == 8 && resolution_ >= 1e9;
    const auto blocks = static_cast<int64_t>((file.Length() - dataAt_) / bytes);
    const uint64_t rest = (file.Length() - dataAt_) % bytes;
    if (blocks < 2 && !isJittery) return false;
    bool areEqual = true;
    const auto time = [&](int64_t block) {
        std::array<std::byte, 13> head{};
        ReadWhole(file, dataAt_ + static_cast<uint64_t>(block) * bytes,
                  std::span(head).first(static_cast<size_t>(headLength)));
        uint32_t count = 0;
        std::memcpy(&count, head.data() + headLength - 4, sizeof count);
        if (head[0] != std::byte{1} || count != each) areEqual = false;
        int64_t ticks = 0;
        std::memcpy(&ticks, head.data() + 1, static_cast<size_t>(timeBytes_));
        return std::clamp(ticks, -farthestTime, farthestTime);
    };
    for (const int64_t block : {int64_t{1}, blocks / 3, blocks / 2, blocks - 1})
        if (block < blocks) time(block);
    if (!areEqual) return false;
    const double period = resolution_ / rate_;
    const size_t mostRuns = MostRuns(file.Length(), std::min<size_t>(channels_.size(), maxTraces));
    const BlockClock clock{period * each, 1.0 / period, isJittery ? period : 0.5 * period};
    std::vector<BlockRun> runs;
    try {
        const BlockTimes found(blocks, each, clock, mostRuns, time);
        if (!areEqual || (!isJittery && found.Overlaps() > 0)) return false;
        runs = found.Runs();
    } catch (const OpenError&) {
        if (areEqual) throw;
        return false;
    }
    blockBytes_ = bytes;
    perBlock_ = each;
    times_ = ClockPlaces(resolution_);
    // The clock of the samples is not that of the times: events lie between times that are not far apart.
    const int64_t step = std::max<int64_t>(blocks / 4096, 1);
    for (size_t r = 0; r < runs.size(); ++r) {
        const int64_t end = r + 1 < runs.size() ? runs[r + 1].block : blocks;
        pieces_.push_back({runs[r].position, (end - runs[r].block) * each,
                           dataAt_ + static_cast<uint64_t>(runs[r].block) * bytes + headLength});
        length_ = pieces_.back().position + pieces_.back().count;
        for (int64_t at = runs[r].block, from = time(at);;) {
            const int64_t to = std::min(at + step, end - 1);
            const int64_t toTime = to > at ? time(to) : from;
            const auto elapsed = static_cast<double>(toTime - from);
            const bool isTold = isJittery && elapsed > 0.0;
            times_.Add({from, runs[r].position + (at - runs[r].block) * each,
                        std::max<int64_t>(to - at, 1) * each,
                        isTold ? static_cast<double>((to - at) * each) / elapsed : 1.0 / period},
                       false);
            if (to == at) break;
            at = to;
            from = toTime;
        }
    }
    // What lies behind the last whole one may be a shorter one.
    const uint64_t at = file.Length() - rest;
    lastTime_ = time(blocks - 1);
    const uint64_t there = rest > headLength ? (rest - headLength) / rowBytes : 0;
    bool isCut = rest > headLength;
    if (there > 0) {
        const FileFields head(file, at, headLength);
        const uint64_t stated = head.U32(static_cast<size_t>(headLength) - 4);
        const uint64_t count = stated == 0 ? there : std::min(stated, there);
        if (head.U8(0) == 1) {
            isCut = stated > there;
            const int64_t ticks =
                timeBytes_ == 8 ? std::clamp(head.I64(1), -farthestTime, farthestTime) : int64_t{head.U32(1)};
            const double late = static_cast<double>(ticks - lastTime_) / period - each;
            if (late > 0.5) length_ += std::llround(std::min(late, 1e15));
            pieces_.push_back({length_, static_cast<int64_t>(count), at + headLength});
            times_.Add({ticks, length_, static_cast<int64_t>(count), 1.0 / period}, false);
            length_ += static_cast<int64_t>(count);
        }
    }
    if (isCut)
        warnings_.push_back(fmt::format("{} ends early: {} bytes behind its last whole data block are {}.",
                                        filePath.filename().string(), rest,
                                        there > 0 ? "shown as far as they go" : "left out"));
    return true;
}

ForeignRecording CBlackrockDoc::ReadStream(const StreamChoice& choice) {
    ForeignRecording recording;
    recording.interval = 1000.0 / rate_;
    for (const int place : choice.channels) {
        const Channel& channel = channels_[static_cast<size_t>(place)];
        ForeignTrace& trace = recording.traces.emplace_back(ForeignTrace{channel.label, channel.units, {}});
        trace.source.stride = static_cast<uint32_t>(perBlock_ == 1 ? blockBytes_ : 2 * channels_.size());
        if (perBlock_ > 1) {
            trace.source.perBlock = perBlock_;
            trace.source.blockBytes = blockBytes_;
        }
        trace.source.scales = {channel.scale};
        for (const Piece& piece : pieces_)
            trace.source.Add(piece.position, piece.count, piece.offset + 2 * static_cast<uint64_t>(place));
    }
    recording.warnings = warnings_;
    AddEvents(recording, choice.from);
    recording.comment =
        "Blackrock, version " + version_ + "\r\n" + comment_ + (comment_.empty() ? "" : "\r\n");
    recording.startClock = clock_;
    recording.startDate = date_;
    recording.details = {{"File type", "Blackrock NSx, version " + version_},
                         {"Channels in the file", std::to_string(channels_.size())},
                         {"Pieces", std::to_string(pieces_.size())}};
    return recording;
}

void CBlackrockDoc::AddEvents(ForeignRecording& recording, int64_t from) const {
    std::filesystem::path path = filePath;
    auto file = FindBeside(GetSession().files, path.replace_extension(".nev"));
    if (!file) file = FindBeside(GetSession().files, path.replace_extension(".NEV"));
    if (!file) return;
    const std::string name = path.filename().string();
    const auto leaveOut = [&] {
        recording.warnings.push_back(fmt::format(
            "{} stands beside this recording and is damaged or of another system: it is not read.", name));
    };
    if (file->Length() < 336) return leaveOut();
    const FileFields head(*file, 0, 336);
    const std::string_view id = head.Bytes(0, 8);
    const uint64_t headerBytes = head.U32(12), packetBytes = head.U32(16);
    const double resolution = head.U32(20);
    if ((id != "NEURALEV" && id != "BREVENTS") || packetBytes < 12 || packetBytes > mostPacketBytes ||
        headerBytes < 336 || headerBytes > std::min(mostNevHeader, file->Length()) || resolution < 1.0)
        return leaveOut();
    const size_t timeBytes = id == "BREVENTS" ? 8 : 4;
    if (packetBytes < timeBytes + 6) return leaveOut();
    if ((file->Length() - headerBytes) % packetBytes != 0)
        recording.warnings.push_back(fmt::format("{} ends within an event, which is left out.", name));
    std::map<int, std::string> labels;
    const FileFields extended(*file, 336, headerBytes - 336);
    for (size_t at = 0; at + 32 <= extended.Length(); at += 32)
        if (extended.Bytes(at, 8) == "NEUEVLBL") labels[extended.U16(at + 8)] = extended.Text(at + 10, 16);
    ForeignEvents digital{"Digital", "Digital inputs; the value is the word"}, comments{"Comments", {}};
    std::map<int, ForeignEvents> spikes;
    ClockPlaces::Follower follower;
    uint64_t early = 0;
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
            const int64_t position = times_.Place(ticks * (resolution_ / resolution), follower);
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
                const size_t textAt = std::min(body + 6, at + packetBytes);
                label = CommentText(fields, textAt, at + packetBytes - textAt, fields.U8(body) == 1);
            } else if (kind <= 2048 && spikes.size() >= mostElectrodes && !spikes.contains(kind)) {
                ++withoutChannel[kind];
            } else if (kind <= 2048) {
                to = &spikes[kind];
                value = fields.U8(body);
            }
            if (!to) continue;
            if (position < 0) ++early;
            const size_t before = to->events.size();
            AddPlaced(to->events, position, position + 1, from, label);
            if (to->events.size() > before) to->events.back().eventValue = value;
        }
    }
    if (early > 0)
        recording.warnings.push_back(
            fmt::format("{} events of {} lie before the first sample and are left out.", early, name));
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
