#pragma once
// Small recordings of systems with many channels, laid out field by field from the published layouts.

#include "import/format_samples.h"
#include "support/bytes.h"

namespace kymora::test {

inline std::vector<int16_t> Words(size_t count, uint32_t seed) {
    std::mt19937 random(seed);
    std::vector<int16_t> words(count);
    for (int16_t& word : words) word = static_cast<int16_t>(random());
    return words;
}

inline std::vector<std::byte> BytesOfWords(const std::vector<int16_t>& words) {
    const auto bytes = std::as_bytes(std::span(words));
    return {bytes.begin(), bytes.end()};
}

// --- SpikeGLX ---

// Channels 1 and 2 of a probe, 2 of the slow band and the status word, of which gains belong to the acquired
// channels.
inline FormatSample GlxSample(size_t scans) {
    const std::string meta =
        "typeThis=imec\r\nnSavedChans=4\r\nfileSizeBytes=7\r\nimSampRate=30000.390639\r\nimAiRangeMax=0.6\r\n"
        "imDatPrb_type=0\r\nsnsApLfSy=2,1,1\r\nacqApLfSy=3,3,1\r\nsnsSaveChanSubset=1:2,5,6\r\n"
        "fileCreateTime=2026-11-09T03:25:07\r\n~imroTbl=(0,3)(0 0 0 500 250 1)(1 0 0 250 125 1)(2 0 0 1000 "
        "50 1)\r\n~snsChanMap=(3,3,1)(AP1;1:0)(AP2;2:1)(LF2;5:2)(SY0;6:3)\r\n";
    FormatSample sample{"SpikeGLX", "x.ap.bin", {}, {{"channels", "1-4"}, {"digital", "none"}}};
    sample.interval = 1000.0 / 30000.390639;
    const auto words = Words(scans * 4, 5);
    const double gains[] = {250, 1000, 50};
    sample.values.resize(4);
    for (size_t i = 0; i < words.size(); ++i) {
        const size_t c = i % 4;
        const float number = c == 3 ? static_cast<uint16_t>(words[i]) : words[i];
        sample.values[c].push_back(c == 3 ? number : number * static_cast<float>(0.6 / 512 / gains[c] * 1e6));
    }
    sample.bytes = BytesOfWords(words);
    sample.beside = {{"x.ap.meta", BytesOf(meta)}};
    sample.refused = {0, 7};
    return sample;
}

// --- Intan ---

struct IntanBuilder {
    Bytes out;

    IntanBuilder& Text(std::string_view text) {
        out.I32(static_cast<int64_t>(2 * text.size()));
        for (const char c : text) out.I16(c);
        return *this;
    }
    IntanBuilder& Channel(const char* native, const char* custom, int order, int type, bool isOn = true) {
        Text(native).Text(custom);
        out.I16(static_cast<int16_t>(order)).I16(0).I16(static_cast<int16_t>(type)).I16(isOn).I16(0).I16(0);
        out.I16(0).I16(0).I16(0).I16(0).I32(0).I32(0);
        return *this;
    }
    // Of an RHD file at 2000 Hz with a note, one temperature sensor and analog inputs from 0 V up.
    IntanBuilder& Rhd(int major) {
        out.I32(static_cast<int32_t>(0xC6912702u)).I16(static_cast<int16_t>(major)).I16(3);
        out.F32(2000).I16(0).F32(1).F32(0.1f).F32(7500).F32(1).F32(0.1f).F32(7500).I16(1).F32(0).F32(0);
        Text("slice 3").Text("").Text("").out.I16(1).I16(0);
        if (major >= 2) Text("A-000");
        return *this;
    }
};

// Blocks of every kind of signal; 1000 samples are missing before the fourth. The groups hold what is not
// recorded, too.
inline FormatSample RhdSample(int major, size_t blocks) {
    const size_t n = major >= 2 ? 128 : 60;
    IntanBuilder header;
    header.Rhd(major).out.I16(3);
    header.Text("Port A").Text("A").out.I16(1).I16(4).I16(3);
    header.Channel("A-000", "tip", 0, 0).Channel("A-001", "", 1, 0, false).Channel("A-AUX1", "", 2, 1);
    header.Channel("A-002", "", 2, 0);
    header.Text("Port B").Text("B").out.I16(0).I16(9).I16(9);
    header.Text("Board").Text("").out.I16(1).I16(3).I16(0);
    header.Channel("VDD", "", 0, 2).Channel("ADC", "", 0, 3).Channel("DIN-03", "gate", 3, 4);
    FormatSample sample{fmt::format("Intan RHD {}", major), "x.rhd", {}, {{"channels", "1-6"}}, 0.5};
    // Amplifiers, auxiliary, supply, temperature, board; what is slower lasts `steps` samples.
    const size_t steps[] = {1, 1, 4, n, n, 1};
    std::vector<std::vector<float>> own(6);
    std::vector<int64_t> times;
    std::mt19937 random(2);
    Bytes& out = header.out;
    for (size_t b = 0; b < blocks; ++b) {
        const int64_t time = static_cast<int64_t>(b * n) - 30 + (b >= 3 ? 1000 : 0);
        for (size_t i = 0; i < n; ++i) out.I32(time + static_cast<int64_t>(i));
        for (size_t c = 0; c < 6; ++c)
            for (size_t i = 0; i < n / steps[c]; ++i) {
                const auto word = static_cast<uint16_t>(random());
                out.I16(static_cast<int16_t>(word));
                own[c].push_back(c < 2    ? static_cast<float>(word * 0.195 - 32768 * 0.195)
                                 : c == 2 ? word * 37.4e-6f
                                 : c == 3 ? word * 74.8e-6f
                                 : c == 4 ? static_cast<int16_t>(word) * 0.01f
                                          : word * 50.354e-6f);
            }
        for (size_t i = 0; i < n; ++i) out.I16(b == 1 && i >= 10 && i < 20 ? 8 : 0);
    }
    sample.bytes = out.data;
    sample.refused = {0, 4, 60, 300};
    for (size_t c = 0; c < 6; ++c) {
        std::vector<float>& values = sample.values.emplace_back();
        const size_t perRun = 3 * n / steps[c];
        for (size_t i = 0; i < own[c].size(); ++i) {
            const bool isLast = i + 1 == own[c].size() || i + 1 == perRun;
            const float a = own[c][i], b = isLast ? a : own[c][i + 1];
            for (size_t j = 0; j < steps[c]; ++j)
                values.push_back(j == 0 ? a
                                        : a + (b - a) * static_cast<float>(j) / static_cast<float>(steps[c]));
            if (i + 1 == perRun) values.insert(values.end(), 1000, inGap);
        }
    }
    return sample;
}

// --- Open Ephys ---

// An array of whole numbers of `width` bytes, or of texts.
inline std::vector<std::byte> Npy(char kind, size_t width, const std::vector<int64_t>& numbers,
                                  const std::string& texts = {}) {
    const size_t count = kind == 'S' ? texts.size() / width : numbers.size();
    std::string header = fmt::format("{{'descr': '{}{}{}', 'fortran_order': False, 'shape': ({},), }}",
                                     width == 1 || kind == 'S' ? '|' : '<', kind, width, count);
    header.resize((header.size() + 10 + 63) / 64 * 64 - 11, ' ');
    std::string text =
        std::string("\x93NUMPY\x01\0", 8) + static_cast<char>(header.size() + 1) + '\0' + header + "\n";
    std::vector<std::byte> bytes = BytesOf(text + texts);
    for (const int64_t number : numbers) {
        const auto* raw = reinterpret_cast<const std::byte*>(&number);
        bytes.insert(bytes.end(), raw, raw + width);
    }
    return bytes;
}

// Numbers from 5000 on, of which 40 are missing behind the first third and 700 behind the second.
inline FormatSample OebinSample(size_t samples) {
    FormatSample sample{
        "Open Ephys", "structure.oebin", {}, {{"channels", "1-3"}, {"stream", "Board-100.Probe"}}};
    sample.interval = 1000.0 / 2500;
    sample.samplesIn = "continuous/Board-100.Probe/continuous.dat";
    const auto words = Words(3 * samples, 9);
    const double factors[] = {0.195, 0.195, 1.5e-4};
    std::vector<int64_t> numbers;
    sample.values.resize(3);
    for (size_t i = 0; i < samples; ++i) {
        const size_t gap = i == samples / 3 ? 40 : i == 2 * samples / 3 ? 700 : 0;
        numbers.push_back(numbers.empty() ? 5000 : numbers.back() + 1 + static_cast<int64_t>(gap));
        for (size_t c = 0; c < 3; ++c) {
            sample.values[c].insert(sample.values[c].end(), gap, inGap);
            sample.values[c].push_back(static_cast<float>(words[3 * i + c]) * static_cast<float>(factors[c]));
        }
    }
    sample.bytes = BytesOf(R"({"GUI version": "0.6.4", "continuous": [
        {"folder_name": "Board-100.Probe/", "sample_rate": 2500, "stream_name": "Probe", "channels": [
            {"channel_name": "CH1", "bit_volts": 0.195, "units": "uV"}, {"channel_name": "CH2", "bit_volts": 0.195},
            {"channel_name": "ADC1", "bit_volts": 1.5e-4, "units": ""}]},
        {"folder_name": "Slow-101/", "sample_rate": 10, "stream_name": "Slow",
            "channels": [{"channel_name": "CH1", "bit_volts": 2}]}],
        "events": [{"folder_name": "Board-100.Probe/TTL/", "channel_name": "Camera", "stream_name": "Probe"},
            {"folder_name": "MessageCenter/", "channel_name": "Messages"}],
        "spikes": [{"folder_name": "Board-100.Probe/Tetrode 1/", "name": "Tetrode 1", "stream_name": "Probe"}]})");
    std::string texts = "drug on";
    texts.resize(16, '\0');
    texts += "wash";
    texts.resize(32, '\0');
    sample.beside = {
        {sample.samplesIn, BytesOfWords(words)},
        {"continuous/Board-100.Probe/sample_numbers.npy", Npy('i', 8, numbers)},
        {"continuous/Slow-101/continuous.dat", BytesOfWords({1, 2, 3, 4, 5, 6})},
        {"events/Board-100.Probe/TTL/states.npy", Npy('i', 2, {-4, 1, 2, -1, -2, 2})},
        {"events/Board-100.Probe/TTL/sample_numbers.npy", Npy('i', 8, {5001, 5003, 5004, 5010, 5020, 5030})},
        {"events/MessageCenter/text.npy", Npy('S', 16, {}, texts)},
        {"events/MessageCenter/sample_numbers.npy", Npy('i', 8, {5007, 5250})},
        {"spikes/Board-100.Probe/Tetrode 1/sample_numbers.npy", Npy('i', 8, {5002, 5012})},
        {"spikes/Board-100.Probe/Tetrode 1/clusters.npy", Npy('u', 2, {0, 3})}};
    sample.refused = {0, 40, 400};
    return sample;
}

// --- Neuralynx ---

struct NcsRecord {
    int64_t time = 0;  // us
    uint32_t valid = 512;
};

inline std::vector<std::byte> Ncs(const std::string& name, const std::vector<NcsRecord>& records,
                                  const std::vector<int16_t>& words, const char* more = "") {
    Bytes out;
    out.data = BytesOf("######## Neuralynx Data File Header\r\n-AcqEntName " + name +
                       "\r\n-SamplingFrequency 1000\r\n-ADBitVolts 0.000000061035\r\n-TimeCreated 2026/11/09 "
                       "03:25:07\r\n" +
                       more);
    out.data.resize(16384);
    for (size_t r = 0; r < records.size(); ++r) {
        out.Raw(records[r].time).U32(0).U32(1000).U32(records[r].valid);
        for (size_t i = 0; i < 512; ++i) out.I16(words[512 * r + i]);
    }
    return out.data;
}

// A pause cuts the third record short; the second channel begins 512 samples late. A clock that runs a little
// fast, and jitters by a microsecond.
inline FormatSample NcsSample() {
    FormatSample sample{"Neuralynx", "x.ncs", {}, {{"channels", "1-2"}}};
    constexpr int64_t period = 512050;
    std::vector<NcsRecord> records;
    for (int64_t r = 0; r < 60; ++r)
        records.push_back({7000000 + r * period + (r >= 3 ? 2000000 : 0) + r % 2});
    records[2].valid = 100;
    const auto words = Words(512 * 60, 4);
    sample.bytes = Ncs("CSC10", records, words);
    sample.samplesIn = "CSC2.ncs";
    const std::vector<NcsRecord> late(records.begin() + 1, records.end());
    const std::vector<int16_t> lateWords(words.begin() + 512, words.end());
    sample.beside = {{"CSC2.ncs", Ncs("CSC2", late, lateWords, "-InputInverted True\r\n")}};
    // The rate of the first two records, which lie between no gap.
    const double rate = 512 * 1e6 / (2 * period / 2);
    sample.interval = 1000.0 / rate;
    sample.values.resize(2);
    const auto factor = static_cast<float>(0.000000061035 * 1e6);
    for (size_t r = 0; r < 60; ++r) {
        if (r == 3)
            for (auto& values : sample.values) values.insert(values.end(), 412 + 2000, inGap);
        for (size_t i = 0; i < records[r].valid; ++i) {
            const float value = words[512 * r + i] * factor;
            sample.values[0].push_back(r == 0 ? inGap : value);
            sample.values[1].push_back(value);
        }
    }
    sample.refused = {0, 100, 16384, 17000};
    return sample;
}

// --- Blackrock ---

// Two channels, of -8191 to 8191 uV and of 0 to 5000 mV, behind the fields of a head.
inline Bytes NsxHead(const char* id, int major, uint32_t period, uint32_t resolution) {
    Bytes out;
    const auto text = [&](std::string_view said, size_t width) {
        std::string padded(said);
        padded.resize(width, '\0');
        for (const char c : padded) out.U8(static_cast<unsigned char>(c));
    };
    text(id, 8);
    out.U8(static_cast<unsigned>(major)).U8(0).U32(314 + 2 * 66);
    text("1 kS/s", 16), text("slice 3", 256);
    out.U32(period).U32(resolution).I16(2026).I16(11).I16(1).I16(9).I16(3).I16(25).I16(7).I16(250).U32(2);
    for (const int c : {0, 1}) {
        text("CC", 2), out.I16(c + 7), text(c == 0 ? "chan7" : "", 16), out.U8(1).U8(1);
        out.I16(-32764).I16(32764).I16(c == 0 ? -8191 : 0).I16(c == 0 ? 8191 : 5000);
        text(c == 0 ? "uV" : "mV", 16), text("", 20);
    }
    return out;
}

// Blocks of 4000 and 3000 samples with 500 missing between; or one block for each, of a clock of nanoseconds
// that jitters, with 20 missing.
inline FormatSample NsxSample(bool isPtp) {
    const size_t first = isPtp ? 40 : 4000, second = isPtp ? 60 : 3000, gap = isPtp ? 20 : 500;
    FormatSample sample{
        isPtp ? "Blackrock, nanoseconds" : "Blackrock", isPtp ? "x.ns5" : "x.ns2", {}, {}, 1.0};
    sample.settings = {{"channels", "1-2"}};
    Bytes out = NsxHead(isPtp ? "BRSMPGRP" : "NEURALCD", isPtp ? 3 : 2, 30, isPtp ? 1000000000 : 30000);
    const auto words = Words(2 * (first + second), 6);
    sample.values.resize(2);
    for (size_t i = 0; i < first + second; ++i) {
        const size_t position = i + (i < first ? 0 : gap);
        if (isPtp)
            out.U8(1)
                .Raw(static_cast<int64_t>(1700000000000000000 + static_cast<int64_t>(position) * 1000000 +
                                          static_cast<int64_t>(i * 7919 % 2000)))
                .U32(1);
        else if (i == 0 || i == first)
            out.U8(1)
                .U32(static_cast<uint32_t>(900 + 30 * position))
                .U32(static_cast<uint32_t>(i == 0 ? first : second));
        out.I16(words[2 * i]).I16(words[2 * i + 1]);
        if (i == first)
            for (auto& values : sample.values) values.insert(values.end(), gap, inGap);
        sample.values[0].push_back(words[2 * i] * static_cast<float>(16382.0 / 65528));
        const double factor = 5000.0 / 65528;
        sample.values[1].push_back(static_cast<float>(words[2 * i + 1] * factor + 32764 * factor));
    }
    sample.bytes = out.data;
    sample.refused = {0, 7, 313, 400, 446};
    return sample;
}

inline std::vector<FormatSample> StreamSamples(std::string_view className) {
    if (className == "CSpikeGlxDoc") return {GlxSample(40000)};
    if (className == "CIntanDoc") return {RhdSample(1, 40), RhdSample(2, 300)};
    if (className == "COpenEphysDoc") return {OebinSample(30000)};
    if (className == "CNeuralynxDoc") return {NcsSample()};
    if (className == "CBlackrockDoc") return {NsxSample(false), NsxSample(true)};
    return {};
}

}  // namespace kymora::test
