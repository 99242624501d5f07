#pragma once
// Recording files (.kymr-rec, .dtx), put together byte by byte from the tables of their layouts.

#include <random>

#include "support/native_builder.h"

namespace kymora::test {

struct RecordingRecipe {
    uint32_t type = 1;
    unsigned version = 48, recordingVersion = 1;
    bool shortPreamble = false;  // wave layout without a recording version
    int64_t time = 1700000000;
    float high = 10.0f, low = -10.0f;
    uint32_t encoding = 0;
    int32_t bits = 16;  // of a wave, 8 or 16
    uint32_t channels = 2;
    double interval = 0.5;  // ms; of a wave, a whole rate
    double gain = 1.0;
    std::vector<uint32_t> codes = {0, 65535, 100, 200, 32767, 32768, 1,  2,  3,  4,
                                   5, 6,     7,   8,   9,     10,    11, 12, 13, 14};
    std::optional<uint32_t> stated{};  // in place of the number of scans, or of data bytes
    bool tail = true;
    bool ownMarks = false;  // the tail begins and ends with the words that the program writes
    std::vector<std::pair<int, int>> channelA{};

    bool IsWave() const { return type == 0; }
    unsigned Width() const { return IsWave() ? static_cast<unsigned>(bits) / 8 : encoding == 2 ? 4 : 2; }
    size_t Scans() const { return codes.size() / channels; }
};

struct BuiltRecording {
    Bytes file;
    size_t dataStart = 0, tailAt = 0;
};

inline void BuildRecordingHead(Bytes& b, const RecordingRecipe& r) {
    b.U16(r.version);
    if (!r.shortPreamble) b.U16(r.recordingVersion);
    b.U32(r.type);
    if (r.IsWave()) {
        while (b.Size() < 22) b.U8(0);
        const auto rate = static_cast<uint32_t>(1000.0 / r.interval + 0.5);
        b.U16(r.channels).U32(rate).U32(rate * r.channels * r.Width()).U16(r.channels * r.Width());
        b.U16(static_cast<unsigned>(r.bits));
        for (const char c : std::string("data")) b.U8(static_cast<unsigned char>(c));
        return;
    }
    b.Wide(u"DataTranslation").Narrow("DT9816").Raw<int64_t>(r.time).F32(r.high).F32(r.low).U32(r.encoding);
    b.I32(r.bits).U32(r.channels).F64(r.interval);
    for (uint32_t c = 0; c < std::min(r.channels, 100u); ++c) b.F64(r.gain);
    b.Wide(u"any words");
}

inline void BuildCodes(Bytes& b, const std::vector<uint32_t>& codes, unsigned width) {
    for (const uint32_t code : codes)
        width == 1 ? b.U8(code & 0xFF) : width == 2 ? b.U16(code & 0xFFFF) : b.U32(code);
}

inline void BuildRecordingTail(Bytes& b, const RecordingRecipe& r) {
    b.Wide(r.ownMarks ? u"end of data" : u"ignored").Wide(u"a comment");
    if (r.IsWave()) b.Raw<int64_t>(r.time);
    b.F64(0.5).F64(4.5);
    for (uint32_t c = 0; c < r.channels; ++c) {
        if (!r.IsWave()) b.U32(c == 1 ? 0 : 1);
        b.F64(5.0 + c).F64(-5.0 - c);
        if (!r.IsWave()) b.U32(70 + c);
        b.Wide(c == 0 ? u"left nerve" : u"").Wide(u"label").U32(0x010203).U32(c);
        if (!r.IsWave()) b.F32(1.5f);
    }
    if (r.IsWave()) {
        for (uint32_t i = 0; i < 12; ++i) b.U32(900 + i);
        b.F32(0.75f).U32(77);
    }
    const auto mark = [&](std::u16string_view words) {
        if (!r.IsWave()) b.Wide(words);
    };
    mark(u"m");
    b.I32(1).F64(2.5).Wide(u"mark").U8(1);
    mark(u"a");
    for (int slot = 0; slot < 128; ++slot) {
        b.I32(slot == 0 ? 1 : 0);
        if (slot != 0) continue;
        b.F64(3.0).Wide(u"note").F32(1.25f).U32(0x0000FF);
        BuildFont(b, true);
    }
    b.U8(0);
    mark(u"e");
    NativeRecipe events;
    events.settled = true;
    events.channelA = r.channelA;
    BuildChannels(b, static_cast<int>(r.version), events);
    b.Wide(r.ownMarks ? u"end of file" : u"the end");
}

inline BuiltRecording BuildRecording(const RecordingRecipe& r) {
    BuiltRecording built;
    BuildRecordingHead(built.file, r);
    const size_t scans = r.Scans();
    built.file.U32(
        r.stated.value_or(static_cast<uint32_t>(r.IsWave() ? scans * r.channels * r.Width() : scans)));
    built.dataStart = built.file.Size();
    BuildCodes(built.file, r.codes, r.Width());
    built.tailAt = built.file.Size();
    if (r.tail) BuildRecordingTail(built.file, r);
    return built;
}

// The value of a code, worked out in double precision: with factors that are powers of two it is exact.
inline float VoltsOf(const RecordingRecipe& r, uint32_t code) {
    if (r.IsWave())
        return static_cast<float>(r.bits == 8 ? static_cast<int>(code & 0xFF) - 128
                                              : static_cast<int16_t>(code));
    const double codes = static_cast<double>(uint32_t{1} << r.bits);
    const double factor = (static_cast<double>(r.high) - r.low) / codes;
    if (r.encoding == 1) {
        double number = code & ((uint32_t{1} << r.bits) - 1);
        if (number >= codes / 2) number -= codes;
        return static_cast<float>(number * factor + (r.high + r.low) / 2.0);
    }
    return static_cast<float>((r.encoding == 2 ? code : code & 0xFFFF) * factor + r.low);
}

inline std::vector<uint32_t> RandomCodes(size_t count, uint32_t below) {
    std::mt19937 random(5);
    std::vector<uint32_t> codes(count);
    for (uint32_t& code : codes) code = random() % below;
    return codes;
}

// The older form of a board's recording.
inline Bytes BuildDtx(const RecordingRecipe& r, bool guardBefore, bool countsAll = false) {
    Bytes b;
    b.U16(r.version).U32(1).Raw<int64_t>(r.time).F32(r.high).F32(r.low).U32(r.encoding).I32(r.bits);
    b.F64(static_cast<double>(r.Scans()) * r.interval)
        .I32(static_cast<int64_t>(countsAll ? r.codes.size() : r.Scans()))
        .F64(r.interval);
    for (int c = 0; c < 16; ++c) b.F64(r.gain);
    if (guardBefore) b.Wide(u"guard string");
    BuildCodes(b, r.codes, r.Width());
    if (!guardBefore) b.Wide(u"guard string");
    return b;
}

}  // namespace kymora::test
