#include "import/son_file.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "document/open_request.h"

namespace kymora {

namespace {

constexpr size_t sonHeaderBytes = 512, sonRecordBytes = 140, blockHead = 20;
constexpr int mostSonChannels = 451;
constexpr int64_t blockUnit = 512;  // of pointers from revision 9 on
constexpr int revisionWithTimeBase = 6, revisionOfLargeFiles = 9;
constexpr const char* notOpenedText = "Error CED File not opened";
constexpr const char* blocksOverlapText = "Its blocks lie upon each other.";

[[noreturn]] void Refuse(const std::string& why) { throw OpenError(std::string(notOpenedText) + "\n" + why); }

bool IsRevision(int number) { return number >= 1 && number <= revisionOfLargeFiles; }

// Windows files are little-endian, those of a Macintosh big-endian throughout.
ByteOrder OrderOf(const DataFile& file) {
    if (file.Length() < sonHeaderBytes) Refuse("It is too short for a Spike2 file.");
    const FileFields little(file, 0, sonHeaderBytes);
    if (little.Bytes(2, 10) != "(C) CED 87") Refuse("It does not begin as Spike2 files do.");
    if (IsRevision(little.I16(0))) return ByteOrder::little;
    if (IsRevision(FileFields(file, 0, sonHeaderBytes, ByteOrder::big).I16(0))) return ByteOrder::big;
    Refuse("It was written by a revision of Spike2 that is not known.");
}

// "No comment" is what the recording program writes where there is none.
std::string CommentText(std::string text) { return text == "No comment" ? std::string() : text; }

SonChannel ChannelOf(const FileFields& table, size_t at, const SonHeader& header) {
    SonChannel channel;
    channel.kind = static_cast<SonKind>(table.U8(at + 122));
    const bool isLarge = header.revision >= revisionOfLargeFiles;
    channel.firstBlock = table.I32(at + 6);
    if (isLarge && channel.firstBlock > 0) channel.firstBlock *= blockUnit;
    channel.blocks = table.U16(at + 14) + (isLarge ? int64_t{table.U16(at + 20)} << 16 : 0);
    channel.extraBytes = table.U16(at + 16);
    channel.preTrigger = table.I16(at + 18);
    channel.blockBytes = table.U16(at + 22);
    channel.itemsPerBlock = table.U16(at + 24);
    channel.comment = CommentText(table.PascalText(at + 26, 71));
    channel.port = table.I16(at + 106);
    channel.title = table.PascalText(at + 108, 9);
    const bool hasScale = channel.kind == SonKind::adc || channel.kind == SonKind::adcMark;
    if (hasScale) {
        channel.scale = table.F32(at + 124);
        channel.offset = table.F32(at + 128);
        channel.units = table.PascalText(at + 132, 5);
        if (header.revision < revisionWithTimeBase)
            channel.step = int64_t{table.U16(at + 138)} * header.ticksPerAdc;
        else
            channel.step = table.I32(at + 102);
    }
    if (channel.kind == SonKind::adcMark && header.revision >= revisionWithTimeBase)
        channel.interleaved = std::max<int>(table.U16(at + 138), 1);
    if (channel.kind == SonKind::eventBoth) channel.startsLow = table.U8(at + 124) != 0;
    return channel;
}

}  // namespace

SonHeader ReadSonHeader(const DataFile& file) {
    SonHeader header;
    header.order = OrderOf(file);
    const FileFields fields(file, 0, sonHeaderBytes, header.order);
    header.revision = fields.I16(0);
    const bool hasTimeBase = header.revision >= revisionWithTimeBase;
    const double unit = hasTimeBase ? fields.F64(44) : 1e-6;
    header.unitsPerTick = fields.U16(20);
    header.tick = header.unitsPerTick * unit;
    if (!(header.tick > 0.0) || !std::isfinite(header.tick))
        Refuse("Its header states no length of a clock tick.");
    const double perMs = 1e-3 / unit, whole = std::round(perMs);
    header.unitsPerMs = std::fabs(perMs - whole) <= 1e-12 * perMs ? whole : perMs;
    header.ticksPerAdc = fields.U16(22);
    header.channels = fields.I16(30);
    if (header.channels < 1 || header.channels > mostSonChannels) Refuse("Its table of channels is damaged.");
    header.lastTick = fields.I32(40);
    header.hundredths = fields.U8(52);
    header.second = fields.U8(53);
    header.minute = fields.U8(54);
    header.hour = fields.U8(55);
    header.day = fields.U8(56);
    header.month = fields.U8(57);
    header.year = fields.U16(58);
    header.pads = fields.U8(60) != 0;
    for (size_t line = 0; line < 5; ++line) {
        const std::string text = CommentText(fields.PascalText(112 + 80 * line, 79));
        if (!text.empty()) header.comments.push_back(text);
    }
    return header;
}

std::vector<SonChannel> ReadSonChannels(const DataFile& file, const SonHeader& header) {
    const FileFields table(file, sonHeaderBytes, sonRecordBytes * static_cast<size_t>(header.channels),
                           header.order);
    std::vector<SonChannel> channels;
    for (int k = 0; k < header.channels; ++k) {
        channels.push_back(ChannelOf(table, sonRecordBytes * static_cast<size_t>(k), header));
        channels.back().number = k + 1;
    }
    return channels;
}

int SonItemBytes(const SonHeader& header, const SonChannel& channel) {
    switch (channel.kind) {
    case SonKind::adc:
        return 2;
    case SonKind::marker:
    case SonKind::adcMark:
    case SonKind::realMark:
    case SonKind::textMark: {
        const int bytes = 8 + channel.extraBytes;
        return header.pads ? (bytes + 3) / 4 * 4 : bytes;
    }
    default:
        return 4;
    }
}

double SonMilliseconds(const SonHeader& header, int64_t ticks) {
    return static_cast<double>(ticks) * header.unitsPerTick / header.unitsPerMs;
}

// Waveforms go on behind their last sample; blocks of events may share a tick.
bool SonBlockWalk::LeadsOn(const SonChannel& channel, const SonBlock& last, const SonBlock& next) const {
    if (channel.kind != SonKind::adc) return next.start >= last.start;
    return next.start > last.start + (last.count - 1) * channel.step;
}

std::vector<SonBlock> SonBlockWalk::BlocksOf(const SonChannel& channel) {
    std::vector<SonBlock> blocks;
    const auto itemBytes = static_cast<uint64_t>(SonItemBytes(header_, channel));
    const uint64_t size = file_.Length(),
                   tableEnd = sonHeaderBytes + sonRecordBytes * static_cast<size_t>(header_.channels);
    int64_t at = channel.firstBlock;
    int64_t seen = 0;
    bool turnsBack = false;
    for (; at > 0; ++seen) {
        const auto offset = static_cast<uint64_t>(at);
        if (offset < tableEnd)
            Refuse(fmt::format("A block of channel {} lies in its header.", channel.number));
        if (offset > size || size - offset < blockHead) break;
        const FileFields head(file_, offset, blockHead, header_.order);
        // Behind the stated number only what calls itself the channel's is taken for it.
        const int owner = (head.U16(16) & 0xFF) | (head.U16(16) & 0x200) >> 1;
        if (seen >= channel.blocks && owner != channel.number) break;
        const uint64_t stated = head.U16(18);
        const bool fits =
            (channel.itemsPerBlock == 0 || stated <= static_cast<uint64_t>(channel.itemsPerBlock)) &&
            (channel.blockBytes == 0 ||
             blockHead + stated * itemBytes <= static_cast<uint64_t>(channel.blockBytes));
        if (!fits)
            Refuse(fmt::format("A block of channel {} holds more than its size allows.", channel.number));
        const uint64_t count = std::min<uint64_t>(stated, (size - offset - blockHead) / itemBytes);
        const SonBlock block{offset + blockHead, head.I32(8), static_cast<int>(count)};
        turnsBack = !blocks.empty() && !LeadsOn(channel, blocks.back(), block);
        if (turnsBack) break;
        const uint64_t bytes = blockHead + count * itemBytes;
        if (bytes > bytesLeft_) Refuse(blocksOverlapText);
        bytesLeft_ -= bytes;
        extents_.push_back({offset, offset + bytes});
        if (count > 0) blocks.push_back(block);
        if (count < stated) break;
        at = head.I32(4);
        if (at > 0 && header_.revision >= revisionOfLargeFiles) at *= blockUnit;
    }
    if (turnsBack)
        turned_.push_back(channel.number);
    else if (channel.firstBlock >= 0)
        lost_ += std::max<int64_t>(channel.blocks - seen, 0);
    return blocks;
}

void SonBlockWalk::CheckApart() {
    std::sort(extents_.begin(), extents_.end(),
              [](const Extent& a, const Extent& b) { return a.begin < b.begin; });
    for (size_t i = 1; i < extents_.size(); ++i)
        if (extents_[i].begin < extents_[i - 1].end) Refuse(blocksOverlapText);
    extents_.clear();
}

}  // namespace kymora
