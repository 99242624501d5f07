#pragma once
// Small files of other systems, laid out byte by byte from the published layouts.

#include "import/format_samples.h"

namespace kymora::test {

// Fields at places of their own, and zeros between.
class FileImage {
  public:
    bool isBig = false;
    std::vector<std::byte> data;

    template <typename T>
    FileImage& Put(size_t at, T value) {
        std::byte raw[sizeof(T)];
        std::memcpy(raw, &value, sizeof value);
        if (isBig) std::reverse(raw, raw + sizeof(T));
        return Bytes(at, raw);
    }
    FileImage& I16(size_t at, int value) { return Put(at, static_cast<int16_t>(value)); }
    FileImage& I32(size_t at, int64_t value) { return Put(at, static_cast<int32_t>(value)); }
    FileImage& F32(size_t at, double value) { return Put(at, static_cast<float>(value)); }
    FileImage& F64(size_t at, double value) { return Put(at, value); }
    FileImage& U8(size_t at, int value) { return Put(at, static_cast<uint8_t>(value)); }
    FileImage& Text(size_t at, std::string_view text) { return Bytes(at, std::as_bytes(std::span(text))); }
    FileImage& Pascal(size_t at, std::string_view text) {
        return U8(at, static_cast<int>(text.size())).Text(at + 1, text);
    }
    template <typename T>
    FileImage& Numbers(size_t at, const std::vector<T>& numbers) {
        for (size_t i = 0; i < numbers.size(); ++i) Put(at + i * sizeof(T), numbers[i]);
        return *this;
    }
    FileImage& Bytes(size_t at, std::span<const std::byte> bytes) {
        data.resize(std::max(data.size(), at + bytes.size()));
        std::copy(bytes.begin(), bytes.end(), data.begin() + static_cast<std::ptrdiff_t>(at));
        return *this;
    }
};

inline std::vector<int16_t> Noise16(size_t count, uint32_t seed) {
    std::mt19937 random(seed);
    std::vector<int16_t> numbers(count);
    for (int16_t& number : numbers) number = static_cast<int16_t>(random());
    return numbers;
}

// --- Spike2 ---

class SonImage : public FileImage {
  public:
    // 20 us ticks of revision 3, or of revision 9 on a Macintosh.
    explicit SonImage(int slots, bool large = false) : slots_(slots), large_(large) {
        isBig = large;
        I16(0, large ? 9 : 3).Text(2, "(C) CED 87").I16(20, 20).I16(22, 2).I16(30, slots).F64(44, 1e-6);
        I32(40, 5000).U8(53, 7).U8(54, 25).U8(55, 3).U8(56, 9).U8(57, 11).I16(58, 2026);
        if (large) I16(38, 0x0101);
        for (int c = 1; c <= slots; ++c) I32(Record(c) + 6, -1);
        data.resize((512 + 140 * static_cast<size_t>(slots) + 511) / 512 * 512);
    }
    size_t Record(int channel) const { return 512 + 140 * static_cast<size_t>(channel - 1); }
    SonImage& Channel(int channel, int kind, std::string_view title, int step = 0, int extra = 0) {
        const size_t at = Record(channel);
        U8(at + 122, kind)
            .Pascal(at + 108, title)
            .I16(at + 16, extra)
            .I32(at + 102, step)
            .I16(at + 106, channel);
        Pascal(at + 26, "No comment").F32(at + 124, 2.5).F32(at + 128, -0.75).Pascal(at + 132, " mV");
        I16(at + 138, large_ ? 0 : step / 2);
        return *this;
    }
    // Adds a block behind all others and answers where its items begin.
    size_t Block(int channel, int start, int end, int count, size_t bytes) {
        const size_t record = Record(channel), at = data.size(), unit = large_ ? 512 : 1;
        data.resize(at + (20 + bytes + 511) / 512 * 512);
        int16_t blocks = 0;
        std::memcpy(&blocks, data.data() + record + 14, 2);
        if (isBig) blocks = static_cast<int16_t>(__builtin_bswap16(static_cast<uint16_t>(blocks)));
        if (blocks == 0)
            I32(record + 6, static_cast<int64_t>(at / unit));
        else
            I32(last_[static_cast<size_t>(channel)] + 4, static_cast<int64_t>(at / unit));
        I16(record + 14, blocks + 1);
        I32(at, -1)
            .I32(at + 4, -1)
            .I32(at + 8, start)
            .I32(at + 12, end)
            .I16(at + 16, channel)
            .I16(at + 18, count);
        last_[static_cast<size_t>(channel)] = at;
        return at + 20;
    }
    void Wave(int channel, int start, int step, const std::vector<int16_t>& numbers) {
        const int count = static_cast<int>(numbers.size());
        Numbers(Block(channel, start, start + (count - 1) * step, count, 2 * numbers.size()), numbers);
    }

  private:
    int slots_;
    bool large_;
    std::array<size_t, 512> last_{};
};

inline float SonValue(int16_t number) { return static_cast<float>(number) * 2.5f / 6553.6f + -0.75f; }

// Appends a run of numbers, each of which lasts steps / per samples, as the rule of the format draws it out.
inline void DrawOut(std::vector<float>& values, const std::vector<int16_t>& numbers, int steps, int per,
                    size_t length) {
    for (size_t i = 0; i < length; ++i) {
        const size_t at = i * static_cast<size_t>(per) / static_cast<size_t>(steps);
        const auto j = static_cast<float>(i * static_cast<size_t>(per) % static_cast<size_t>(steps));
        const float a = SonValue(numbers[at]), b = SonValue(numbers[std::min(at + 1, numbers.size() - 1)]);
        values.push_back(j == 0.0f ? a : a + (b - a) * j / static_cast<float>(steps));
    }
}

// Channels of three rates. The first two have a gap and begin a little late; 500 samples of 4 ticks lie
// before what follows the gap.
inline FormatSample SonSample(bool large) {
    FormatSample sample{large ? "SON 9, big-endian" : "SON 3", "x.smr", {}, {}, 0.08};
    SonImage image(32, large);
    const auto fast = Noise16(250, 1), slow = Noise16(82, 2), odd = Noise16(200, 3);
    const auto part = [](const std::vector<int16_t>& all, size_t from, size_t to) {
        return std::vector<int16_t>(all.begin() + static_cast<std::ptrdiff_t>(from),
                                    all.begin() + static_cast<std::ptrdiff_t>(to));
    };
    image.Channel(1, 1, "fast", 4).Channel(3, 1, "slow", 12).Channel(7, 1, "odd", 10);
    image.Wave(1, 1, 4, part(fast, 0, 100));
    image.Wave(3, 5, 12, part(slow, 0, 66));
    image.Wave(1, 401, 4, part(fast, 100, 200));
    image.Wave(7, 0, 10, odd);
    image.Wave(1, 2001, 4, part(fast, 200, 250));
    image.Wave(3, 2005, 12, part(slow, 66, 82));
    sample.values.resize(3);
    auto &a = sample.values[0], &b = sample.values[1], &c = sample.values[2];
    DrawOut(a, part(fast, 0, 200), 1, 1, 200);
    a.resize(500, inGap);
    DrawOut(a, part(fast, 200, 250), 1, 1, 50);
    DrawOut(b, part(slow, 0, 66), 3, 1, 198);
    b.resize(500, inGap);
    DrawOut(b, part(slow, 66, 82), 3, 1, 48);
    b.resize(550, inGap);
    DrawOut(c, odd, 5, 2, 500);
    c.resize(550, inGap);
    sample.bytes = image.data;
    sample.refused = {0, 100, 511, 900};
    return sample;
}

// --- CFS ---

// Two frames of 600 and 400 samples; 16-bit numbers and single precision ones lie in turn.
inline FormatSample CfsSample() {
    FormatSample sample{"CFS", "x.cfs", {}, {}, 0.1};
    FileImage image;
    constexpr int variables = 3;
    const size_t head = 178 + 2 * 48 + 36 + (variables + 1) * 36, section = 30 + 2 * 24 + 40;
    image.Text(0, "CEDFILE\"")
        .Text(26, "03:25:07")
        .Text(34, "09/11/26")
        .I16(42, 2)
        .I16(44, 0)
        .I16(46, variables);
    image.I16(48, static_cast<int>(head)).I16(50, static_cast<int>(section)).I16(56, 2).Pascal(60, "a cell");
    for (int c = 0; c < 2; ++c) {
        const size_t at = 178 + 48 * static_cast<size_t>(c);
        image.Pascal(at, c == 0 ? "Current" : "Voltage").Pascal(at + 22, "pA").Pascal(at + 32, "ms");
        image.U8(at + 42, c == 0 ? 2 : 5).U8(at + 43, 0).I16(at + 44, 6);
    }
    const char* names[variables] = {"Start", "Comment", "Drug"};
    const int types[variables] = {5, 7, 7}, offsets[variables + 1] = {0, 4, 20, 40};
    for (size_t v = 0; v <= variables; ++v) {
        const size_t at = 178 + 96 + 36 * (v + 1);
        if (v < variables)
            image.Pascal(at, names[v]).U8(at + 22, types[v]).Pascal(at + 24, v == 0 ? "s" : "");
        image.I16(at + 34, offsets[v]);
    }
    size_t at = head;
    sample.values.resize(2);
    std::vector<int32_t> table;
    for (const int points : {600, 400}) {
        const auto numbers = Noise16(2 * static_cast<size_t>(points), static_cast<uint32_t>(points));
        const size_t dataAt = at, dataBytes = 6 * static_cast<size_t>(points);
        const double scale = points == 600 ? 0.5 : 0.125;
        for (int i = 0; i < points; ++i) {
            const size_t place = dataAt + 6 * static_cast<size_t>(i), n = 2 * static_cast<size_t>(i);
            image.I16(place, numbers[n]).F32(place + 2, numbers[n + 1] * 0.25);
            sample.values[0].push_back(static_cast<float>(numbers[n] * scale - 3.0));
            sample.values[1].push_back(static_cast<float>(numbers[n + 1] * 0.25));
        }
        at += dataBytes;
        image.I32(at, table.empty() ? 0 : table.back()).I32(at + 4, static_cast<int64_t>(dataAt));
        image.I32(at + 8, static_cast<int64_t>(dataBytes));
        image.I32(at + 30, 0).I32(at + 34, points).F32(at + 38, scale).F32(at + 42, -3.0).F32(at + 46, 0.1);
        image.I32(at + 54, 2).I32(at + 58, points).F32(at + 62, 1.0).F32(at + 70, 0.1);
        image.F32(at + 78, points == 600 ? 0.0 : 1.5)
            .Pascal(at + 82, points == 600 ? "" : "wash")
            .Pascal(at + 98, "TTX");
        image.data.resize(at + section);
        table.push_back(static_cast<int32_t>(at));
        at += section;
    }
    image.I32(52, table.back()).I32(134, static_cast<int64_t>(at)).Numbers(at, table);
    image.I32(22, static_cast<int64_t>(image.data.size()));
    sample.bytes = image.data;
    sample.refused = {0, 8, 177, head - 1, head + 100};
    return sample;
}

// --- Axon ---

// Version 1: two channels on ports 3 and 0, 40 us each, in sweeps of 300 and 200 samples and half a second
// apart.
inline FormatSample AbfSample1(int mode) {
    FormatSample sample{fmt::format("ABF 1, mode {}", mode), "x.abf", {}, {}, 0.04};
    FileImage image;
    const auto numbers = Noise16(1000, 5);
    image.Text(0, "ABF ").F32(4, 1.83).I16(8, mode).I32(10, 1000).I16(14, 2).I32(16, 2).I32(20, 20261109);
    image.I32(24, 12307).I16(366, 250).I32(40, 12).I32(44, 30).I32(48, 2).I32(92, 20).I32(96, 2);
    image.I16(120, 2)
        .F32(122, 20.0)
        .F32(130, 20.0)
        .I32(142, 40)
        .F32(244, 16.0)
        .I32(252, 32768)
        .I16(410, 3)
        .I16(412, 0);
    image.Text(442 + 30, "Vm        ").Text(602 + 24, " mV     ").F32(730 + 12, 2.0).F32(922 + 12, 0.125);
    image.F32(986 + 12, 25.0).I16(4512 + 6, 1).F32(4576 + 12, 4.0).Text(5154, "slice 3");
    image.Text(442, "Im        ").Text(602, "pA      ").F32(730, 1.0).F32(922, 0.5);
    image.Numbers(12 * 512 + 4, numbers);
    image.I32(20 * 512, 0).I32(20 * 512 + 4, 600).I32(20 * 512 + 8, 25000).I32(20 * 512 + 12, 400);
    image.I32(30 * 512, 25100)
        .Text(30 * 512 + 4, "drug on  ")
        .I32(30 * 512 + 64, 20000)
        .Text(30 * 512 + 68, "between");
    sample.values.resize(2);
    for (size_t i = 0; i < 500; ++i) {
        const double step = 16.0 / 32768.0;
        sample.values[0].push_back(static_cast<float>(numbers[2 * i] * (step / (0.125 * 2.0 * 4.0)) + 25.0));
        sample.values[1].push_back(static_cast<float>(numbers[2 * i + 1] * (step / 0.5)));
    }
    sample.bytes = image.data;
    sample.bytes.resize(30 * 512 + 128);
    sample.refused = {0, 3, 2000, 12 * 512 + 4};
    return sample;
}

// Version 2, floating point or not, with a text table.
inline FormatSample AbfSample2(bool isFloat, int channels) {
    FormatSample sample{fmt::format("ABF 2 of {}", channels), "x.abf", {}, {}, 0.1};
    FileImage image;
    const auto count = static_cast<size_t>(channels), samples = 700 * count;
    const auto numbers = Noise16(samples, 6);
    const auto section = [&](size_t at, int block, size_t bytes, size_t entries) {
        image.I32(at, block)
            .I32(at + 4, static_cast<int64_t>(bytes))
            .Put<int64_t>(at + 8, static_cast<int64_t>(entries));
    };
    image.Text(0, "ABF2").U8(6, 6).U8(7, 2).I32(12, 3).I32(16, -1).I32(20, -1).I16(30, isFloat ? 1 : 0);
    section(76, 1, 512, 1);
    section(92, 2, 128, count);
    section(220, 20, 100, 1);
    section(236, 21, isFloat ? 4 : 2, samples);
    image.I16(512, 3).F32(514, 100.0).F32(512 + 110, 8.0).I32(512 + 118, 32768);
    for (size_t c = 0; c < count; ++c) {
        const size_t at = 1024 + 128 * c;
        image.I16(at, static_cast<int>(c))
            .F32(at + 28, 1.0)
            .F32(at + 40, 0.25)
            .F32(at + 44, c == 0 ? -2.0 : 0.0);
        image.I32(at + 74, c == 0 ? 1 : 3).I32(at + 78, 2);
    }
    image.Text(20 * 512, "SSCH").I32(20 * 512 + 8, 3).Text(20 * 512 + 44, std::string_view("Vm\0mV\0\0", 7));
    for (size_t i = 0; i < samples; ++i)
        if (isFloat)
            image.F32(21 * 512 + 4 * i, numbers[i] * 0.5);
        else
            image.I16(21 * 512 + 2 * i, numbers[i]);
    sample.values.resize(count);
    for (size_t i = 0; i < samples; ++i)
        sample.values[i % count].push_back(static_cast<float>(isFloat ? numbers[i] * 0.5
                                                                      : numbers[i] * (8.0 / 32768.0 / 0.25) +
                                                                            (i % count == 0 ? -2.0 : 0.0)));
    sample.bytes = image.data;
    sample.refused = {0, 75, 512, 1024, 21 * 512};
    return sample;
}

// --- audio ---

inline FormatSample WavSample(int tag, int bytes, int channels, bool isBig = false) {
    FormatSample sample{
        fmt::format("wave {}, {} bytes, {} channels", tag, bytes, channels), "x.wav", {}, {}, 0.125};
    FileImage image;
    image.isBig = isBig;
    const size_t count = static_cast<size_t>(channels) * 1500,
                 blockBytes = static_cast<size_t>(bytes * channels);
    const auto numbers = Noise16(count, static_cast<uint32_t>(bytes));
    image.Text(0, isBig ? "RIFX" : "RIFF").Text(8, "WAVE").Text(12, "LIST").I32(16, 15).Text(20, "INFO");
    image.Text(24, "ICMT")
        .I32(28, 3)
        .Text(32, "abc")
        .Text(36, "fmt ")
        .I32(40, 16)
        .I16(44, tag)
        .I16(46, channels);
    image.I32(48, 8000)
        .I32(52, static_cast<int64_t>(8000 * blockBytes))
        .I16(56, static_cast<int>(blockBytes));
    image.I16(58, 8 * bytes)
        .Text(60, "data")
        .I32(64, static_cast<int64_t>(count * static_cast<size_t>(bytes)));
    sample.values.resize(static_cast<size_t>(channels));
    for (size_t i = 0; i < count; ++i) {
        const size_t at = 68 + i * static_cast<size_t>(bytes);
        float value = numbers[i];
        if (tag == 3 && bytes == 4) image.F32(at, value = numbers[i] * 0.37f);
        if (tag == 3 && bytes == 8) image.F64(at, numbers[i]);
        if (tag == 1 && bytes == 1)
            image.U8(at, (numbers[i] & 0xFF)), value = static_cast<float>((numbers[i] & 0xFF) - 128);
        if (tag == 1 && bytes == 2) image.I16(at, numbers[i]);
        if (tag == 1 && bytes == 4)
            image.I32(at, numbers[i] * 65536LL), value = static_cast<float>(numbers[i]) * 65536.0f;
        if (tag == 1 && bytes == 3) {
            const int wide = numbers[i] * 256 + 77;
            for (int b = 0; b < 3; ++b)
                image.U8(at + static_cast<size_t>(isBig ? 2 - b : b), wide >> (8 * b) & 0xFF);
            value = static_cast<float>(wide);
        }
        sample.values[i % static_cast<size_t>(channels)].push_back(value);
    }
    sample.bytes = image.data;
    sample.refused = {0, 11, 40, 68};
    return sample;
}

// --- AxoGraph ---

// Two channels of two sweeps in turn, as a digitized file or one of AxoGraph X.
inline FormatSample AxographSample(bool isX) {
    FormatSample sample{isX ? "AxoGraph X" : "AxoGraph 2", isX ? "x.axgx" : "x.axgd", {}, {}, 0.5};
    FileImage image;
    image.isBig = true;
    image.Text(0, isX ? "axgx" : "AxGr");
    size_t at = isX ? 12 : 8;
    if (isX)
        image.I32(4, 4).I32(8, 5);
    else
        image.I16(4, 2).I16(6, 5);
    sample.values.resize(2);
    for (int c = 0; c < 5; ++c) {
        const int points = c < 3 ? 900 : 300;
        const std::string title = c == 0 ? "Time (s)" : c % 2 == 1 ? "Current (A)" : "Vm (V)";
        image.I32(at, points);
        at += 4;
        if (isX) {
            image.I32(at, c == 0 ? 9 : 10).I32(at + 4, static_cast<int64_t>(2 * title.size()));
            for (size_t i = 0; i < title.size(); ++i) image.I16(at + 8 + 2 * i, title[i]);
            at += 8 + 2 * title.size();
            image.F64(at, c == 0 ? 0.0005 : 0.25 * c).F64(at + 8, c == 0 ? 0.0005 : 7.0);
            at += 16;
        } else {
            image.Pascal(at, title).F32(at + 80, c == 0 ? 0.0 : 0.25 * c);
            if (c == 0) image.F32(at + 84, 0.0005);
            at += c == 0 ? 88 : 84;
        }
        if (c == 0) continue;
        for (const int16_t number : Noise16(static_cast<size_t>(points), static_cast<uint32_t>(c))) {
            image.I16(at, number);
            at += 2;
            sample.values[c % 2 == 1 ? 0 : 1].push_back(
                static_cast<float>(number * (0.25 * c) + (isX ? 7.0 : 0.0)));
        }
    }
    sample.bytes = image.data;
    sample.refused = {0, 4, 60};
    return sample;
}

// --- WinDaq ---

inline FormatSample WdqSample(bool isFine) {
    FormatSample sample{isFine ? "WinDaq, 16 bits" : "WinDaq, 14 bits", "x.wdq", {}, {}, 2.5};
    FileImage image;
    const auto numbers = Noise16(2400, 8);
    image.I16(0, 3).U8(4, 110).U8(5, 36).I16(6, 1156).I32(8, 4800).I32(12, 16).I16(16, 12).F64(28, 0.0025);
    image.I32(36, 1000000000).I16(100, isFine ? 2 : 0).I16(1154, static_cast<int16_t>(0x8001));
    for (size_t c = 0; c < 3; ++c)
        image.F64(110 + 36 * c + 8, 0.5).F64(110 + 36 * c + 16, -1.0).Text(110 + 36 * c + 24, "mmHg");
    image.Numbers(1156, numbers);
    // A marker of time 5 at scan 9 with a comment, and one without at scan 700.
    image.I32(5956, isFine ? 27 : 9)
        .I32(5960, 5)
        .I32(5964, static_cast<int32_t>(0x80000000u | 12))
        .I32(5968, isFine ? -2100 : -700);
    image.Text(5972, std::string_view("Aorta\0\0LV\0\0\0", 12)).Text(5984, "clamp");
    image.data.resize(5990);
    sample.values.resize(3);
    for (size_t i = 0; i < numbers.size(); ++i) {
        const double number = isFine ? numbers[i] * 0.25 : std::floor(numbers[i] / 4.0);
        sample.values[i % 3].push_back(static_cast<float>(number * 0.5 - 1.0));
    }
    sample.bytes = image.data;
    sample.refused = {0, 110, 1155, 1157};
    return sample;
}

// --- MATLAB ---

// Version 5, one column and one matrix of three rows, which is wider than high; version 4 with its bytes
// turned.
inline FormatSample MatSample(bool isOld) {
    FormatSample sample{isOld ? "MATLAB 4" : "MATLAB 5", "x.mat", {}, {{"sampleInterval", "0.25"}}, 0.25};
    FileImage image;
    const auto numbers = Noise16(4000, 9);
    sample.values.resize(4);
    for (size_t i = 0; i < 1000; ++i) {
        sample.values[0].push_back(numbers[i]);
        for (size_t t = 0; t < 3; ++t) sample.values[t + 1].push_back(numbers[1000 + 3 * i + t] * 0.5f);
    }
    if (isOld) {
        image.isBig = true;
        image.I32(0, 1030).I32(4, 1000).I32(8, 1).I32(16, 2).Text(20, "A");
        for (size_t i = 0; i < 1000; ++i) image.I16(22 + 2 * i, numbers[i]);
        image.I32(2022, 1000).I32(2026, 3).I32(2030, 1000).I32(2038, 2).Text(2042, "M").U8(2043, 0);
        for (size_t i = 0; i < 3000; ++i) image.F64(2044 + 8 * i, numbers[1000 + i] * 0.5);
        sample.refused = {0, 19, 30, 1000};
    } else {
        image.Text(0, "MATLAB 5.0 MAT-file, made by hand").I16(124, 0x100).Text(126, "IM");
        const auto matrix = [&](size_t at, char name, int kind, int rows, int columns, int type,
                                size_t bytes) {
            image.I32(at, 14)
                .I32(at + 4, static_cast<int64_t>(48 + bytes))
                .I32(at + 8, 6)
                .I32(at + 12, 8)
                .I32(at + 16, kind);
            image.I32(at + 24, 5).I32(at + 28, 8).I32(at + 32, rows).I32(at + 36, columns);
            image.I32(at + 40, 0x10001)
                .U8(at + 44, name)
                .I32(at + 48, type)
                .I32(at + 52, static_cast<int64_t>(bytes));
        };
        matrix(128, 'A', 10, 1000, 1, 3, 2000);
        image.Numbers(184, std::vector<int16_t>(numbers.begin(), numbers.begin() + 1000));
        matrix(2184, 'M', 6, 3, 1000, 7, 12000);
        for (size_t i = 0; i < 3000; ++i) image.F32(2240 + 4 * i, numbers[1000 + i] * 0.5);
        sample.refused = {0, 19, 100, 150, 1000};
    }
    sample.bytes = image.data;
    return sample;
}

inline std::vector<FormatSample> ForeignSamples(std::string_view className) {
    if (className == "CSpike2Doc") return {SonSample(false), SonSample(true)};
    if (className == "CCEDDoc") return {CfsSample()};
    if (className == "CAxonDoc")
        return {AbfSample1(5), AbfSample1(3), AbfSample2(false, 3), AbfSample2(true, 2),
                AbfSample2(false, 20)};
    if (className == "CWavDoc")
        return {WavSample(1, 1, 3),  WavSample(1, 2, 2), WavSample(1, 3, 1),       WavSample(1, 4, 2),
                WavSample(3, 4, 18), WavSample(3, 8, 1), WavSample(1, 2, 2, true), WavSample(1, 3, 2, true)};
    if (className == "CAxographDoc") return {AxographSample(false), AxographSample(true)};
    if (className == "CPicoMatDoc") return {MatSample(false), MatSample(true)};
    if (className == "CDataQDoc") return {WdqSample(false), WdqSample(true)};
    return {};
}

}  // namespace kymora::test
