#pragma once
// Small recordings of every format that can be read, laid out byte by byte, with the values that they hold.

#include <fmt/format.h>

#include <cstring>
#include <functional>
#include <random>

#include "document/open_request.h"
#include "support/edf_builder.h"
#include "support/native_builder.h"
#include "support/recording_builder.h"

namespace kymora::test {

// Stands in the values where a recording has a gap.
inline constexpr float inGap = -1.25e30f;

struct FormatSample {
    std::string name;
    std::string fileName;
    std::vector<std::byte> bytes;
    ImportSettings settings;
    double interval = 1.0;
    std::vector<std::vector<float>> values;  // of each trace, along the time axis
    std::vector<size_t> refused;             // lengths to which the file is cut, and does not open
    bool folds = false;
    std::vector<std::pair<std::string, std::vector<std::byte>>> beside{};  // files that belong to it
    std::string samplesIn{};  // the one of them that holds the samples; empty: the file that opens
};

inline std::vector<std::byte> BytesOf(std::string_view text) {
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

// --- text ---

// Traces as columns with a head of two rows, or as rows behind their names.
inline FormatSample TextSample(const std::string& fileName, bool inColumns, char decimal, size_t length) {
    constexpr size_t traces = 3;
    const std::string separator = decimal == ',' ? ";" : ",";
    FormatSample sample{fmt::format("text {} {}", inColumns ? "columns" : "rows", decimal),
                        fileName,
                        {},
                        {{"sampleInterval", "0.125"}, {"labelRow", "1"}},
                        0.125};
    std::mt19937 random(3);
    std::vector<std::vector<std::string>> cells(traces);
    sample.values.resize(traces);
    for (size_t t = 0; t < traces; ++t)
        for (size_t i = 0; i < length; ++i) {
            const float value = static_cast<float>(static_cast<int32_t>(random())) * 1e-4f;
            std::string cell = fmt::format("{:.9g}", value);
            std::replace(cell.begin(), cell.end(), '.', decimal);
            sample.values[t].push_back(value);
            cells[t].push_back(cell);
        }
    std::string text = inColumns ? "a" + separator + "b" + separator + "c\n" : "";
    for (size_t row = 0; row < (inColumns ? length : traces); ++row) {
        if (!inColumns) text += fmt::format("trace{}{}", row, separator);
        for (size_t i = 0; i < (inColumns ? traces : length); ++i)
            text += (i == 0 ? "" : separator) + (inColumns ? cells[i][row] : cells[row][i]);
        text += '\n';
    }
    if (decimal == ',') sample.settings["decimalSeparator"] = ",";
    if (!inColumns) sample.settings["dataInColumns"] = "0", sample.settings["skipColumns"] = "1";
    sample.bytes = BytesOf(text);
    sample.refused = {0, 3};
    return sample;
}

inline std::vector<FormatSample> TextSamples() {
    return {TextSample("x.csv", true, '.', 40000), TextSample("x.asc", false, '.', 40000),
            TextSample("x.txt", true, ',', 500)};
}

// --- raw binary ---

template <typename T>
FormatSample BinarySample(const char* type, int traces, size_t length) {
    FormatSample sample{
        fmt::format("binary {} of {}", type, traces),
        "x.bin",
        {},
        {{"binaryType", type}, {"binaryTraces", std::to_string(traces)}, {"binaryInterval", "0.05"}},
        0.05};
    std::mt19937 random(static_cast<uint32_t>(traces));
    const auto count = static_cast<size_t>(traces);
    sample.values.assign(count, std::vector<float>(length));
    std::vector<T> numbers(length * count);
    for (size_t i = 0; i < numbers.size(); ++i) {
        numbers[i] = static_cast<T>(static_cast<int32_t>(random()));
        if constexpr (!std::is_integral_v<T>) numbers[i] = static_cast<T>(numbers[i] * 1e-5);
        sample.values[i % count][i / count] = static_cast<float>(numbers[i]);
    }
    sample.bytes.resize(numbers.size() * sizeof(T));
    std::memcpy(sample.bytes.data(), numbers.data(), sample.bytes.size());
    sample.refused = {0, count * sizeof(T) - 1};
    sample.folds = std::is_integral_v<T>;
    return sample;
}

// Every number of traces has a way of its own to be taken apart.
inline std::vector<FormatSample> BinarySamples() {
    std::vector<FormatSample> samples;
    for (int traces = 1; traces <= 16; ++traces) {
        const size_t length = traces % 5 == 0 ? 36000 : 700;
        samples.push_back(BinarySample<int16_t>("int16", traces, length));
        samples.push_back(BinarySample<int32_t>("int32", traces, length));
        samples.push_back(BinarySample<float>("float", traces, length));
        samples.push_back(BinarySample<double>("double", traces, length));
    }
    return samples;
}

// --- EDF ---

// Numbers of 16 bits, or of 24.
inline EdfBuilderSignal EdfNoise(int samplesPerRecord, int records, uint32_t seed, bool is24Bit = false) {
    std::mt19937 random(seed);
    EdfBuilderSignal signal;
    signal.samplesPerRecord = samplesPerRecord;
    for (int i = 0; i < samplesPerRecord * records; ++i)
        signal.samples.push_back(static_cast<int32_t>(random()) >> (is24Bit ? 8 : 16));
    return signal;
}

// A recording of one block and of the default scales but for the second signal, which stands upside down. A
// slower signal runs straight from sample to sample of its own.
inline FormatSample EdfSample(const std::string& name, int records, const std::vector<int>& samplesPerRecord,
                              const std::vector<size_t>& chosen, bool is24Bit = false) {
    EdfBuilder builder;
    builder.is24Bit = is24Bit;
    builder.recordCount = records;
    for (const int count : samplesPerRecord)
        builder.Add(EdfNoise(count, records, static_cast<uint32_t>(builder.signalRows.size() + 1), is24Bit));
    builder.signalRows[1].physicalMin = "250.5", builder.signalRows[1].physicalMax = "-3.25";
    FormatSample sample{(is24Bit ? "BDF " : "EDF ") + name, is24Bit ? "x.bdf" : "x.edf", builder.Build()};
    int64_t common = 1;
    for (const size_t signal : chosen) {
        common = std::lcm(common, samplesPerRecord[signal]);
        sample.settings["signals"] += fmt::format("{} ", signal + 1);
    }
    sample.interval = 1000.0 / static_cast<double>(common);
    for (const size_t index : chosen) {
        const EdfBuilderSignal& signal = builder.signalRows[index];
        const int64_t factor = common / signal.samplesPerRecord;
        const double low = std::stod(signal.physicalMin), high = std::stod(signal.physicalMax);
        const double scale = (high - low) / 2000.0;
        std::vector<float> values;
        for (size_t s = 0; s < signal.samples.size(); ++s) {
            const auto a = static_cast<float>(signal.samples[s]);
            const auto b = static_cast<float>(signal.samples[std::min(s + 1, signal.samples.size() - 1)]);
            for (int64_t i = 0; i < factor; ++i) {
                const float number = (b - a) * static_cast<float>(i) / static_cast<float>(factor) + a;
                values.push_back(static_cast<float>((static_cast<double>(number) + 1000.0) * scale + low));
            }
        }
        sample.values.push_back(std::move(values));
    }
    sample.refused = {0, 100, 255, 256 * (samplesPerRecord.size() + 1)};
    sample.folds = true;
    return sample;
}

// Records of 100 samples with gaps of 1.5 and 10.5 of them between.
inline FormatSample EdfWithGaps() {
    EdfBuilder builder;
    builder.recordCount = 5;
    builder.reserved = "EDF+D";
    builder.Add(EdfNoise(100, 5, 7));
    builder.AddAnnotations({"+0||$", "+1||$", "+3.5||$", "+4.5||$", "+16||$+16.2|x|$"});
    FormatSample sample{"EDF with gaps", "x.edf", builder.Build(), {}, 10.0};
    std::vector<float>& values = sample.values.emplace_back();
    for (size_t i = 0; i < 500; ++i) {
        if (i == 200) values.insert(values.end(), 150, inGap);
        if (i == 400) values.insert(values.end(), 1050, inGap);
        const double number = builder.signalRows[0].samples[i];
        values.push_back(static_cast<float>((number + 1000.0) * 0.1 - 100.0));
    }
    sample.refused = {0, 255, 700, 768};
    sample.folds = true;
    return sample;
}

inline std::vector<FormatSample> EdfSamples() {
    return {EdfSample("of many tiny records", 5000, {1, 1, 2}, {0, 2}),
            EdfSample("of small records", 300, {200, 50, 100}, {0, 1, 2}),
            EdfSample("of records read in parts", 3, {6000, 150000, 3000}, {0, 1, 2}),
            EdfSample("of one long record", 1, {100000, 40, 50000}, {0, 2}),
            EdfSample("of four rates", 40, {120, 120, 40, 7}, {0, 1, 2, 3}),
            EdfWithGaps()};
}

inline std::vector<FormatSample> BdfSamples() {
    return {EdfSample("of many tiny records", 5000, {1, 1, 2}, {0, 2}, true),
            EdfSample("of records read in parts", 3, {6000, 150000, 3000}, {0, 1, 2}, true),
            EdfSample("of 40 signals", 90, std::vector<int>(40, 10), {0, 1, 2, 37, 38}, true)};
}

// --- the native file ---

inline FormatSample NativeSample(const char* fileName, int version, std::vector<std::vector<uint32_t>> runs) {
    NativeRecipe recipe;
    recipe.version = version;
    recipe.runs = runs;
    const BuiltNative built = BuildNative(recipe);
    FormatSample sample{fmt::format("native version {}, {} runs", version, runs[0].size()),
                        fileName,
                        built.file.data,
                        {},
                        0.5};
    for (size_t t = 0; t < runs.size(); ++t) {
        std::vector<float>& values = sample.values.emplace_back();
        int64_t stored = 0;
        for (size_t run = 0; run < runs[t].size(); ++run)
            for (uint32_t i = 0; i < runs[t][run]; ++i)
                values.push_back(run % 2 == 0 ? BuiltSample(static_cast<int>(t), stored++) : inGap);
    }
    sample.refused = {0, 1, 40, built.headEnd + 7, built.tailOffset + 9, built.file.Size() - 1};
    return sample;
}

inline std::vector<FormatSample> NativeSamples() {
    return {NativeSample("x.kymr-dat", 48, {{40000}, {40000}}),
            NativeSample("x.kymr-dat", 48, {{4, 3, 500, 40000, 30}, {10, 40000, 527}}),
            NativeSample("x.flt", 30, {{10}, {10}})};
}

// --- recordings ---

inline FormatSample RecordingSample(const std::string& name, RecordingRecipe recipe, size_t scans) {
    const uint32_t below = recipe.IsWave() || recipe.encoding != 0 ? 1u << recipe.bits : 65536u;
    recipe.codes = RandomCodes(scans * recipe.channels, below);
    const BuiltRecording built = BuildRecording(recipe);
    FormatSample sample{name, "x.kymr-rec", built.file.data, {}, recipe.interval};
    for (uint32_t c = 0; c < recipe.channels; ++c) {
        std::vector<float>& values = sample.values.emplace_back();
        for (size_t i = c; i < recipe.codes.size(); i += recipe.channels)
            values.push_back(VoltsOf(recipe, recipe.codes[i]));
    }
    sample.refused = {0, 3, 17, 39};
    return sample;
}

inline std::vector<FormatSample> RecordingSamples() {
    return {RecordingSample("board, offset binary",
                            {.type = 1, .high = 8, .low = -8, .bits = 12, .channels = 3}, 36000),
            RecordingSample("board, offset binary of 16 bits",
                            {.type = 4, .high = 1, .low = -1, .channels = 1}, 500),
            RecordingSample("board, two's complement of 16 bits", {.encoding = 1, .channels = 16}, 700),
            RecordingSample("board, two's complement of 12 bits",
                            {.high = 4, .low = 0, .encoding = 1, .bits = 12}, 40000),
            RecordingSample("refractory", {.type = 2, .encoding = 2, .bits = 16, .channels = 5}, 900),
            RecordingSample("refractory, automatic",
                            {.type = 3, .high = 8, .low = -8, .encoding = 2, .bits = 24, .channels = 1}, 900),
            RecordingSample("wave, bytes", {.type = 0, .bits = 8, .channels = 1}, 36000),
            RecordingSample("wave, words, stereo", {.type = 0, .bits = 16, .channels = 2}, 36000)};
}

inline std::vector<FormatSample> DtxSamples() {
    std::vector<FormatSample> samples;
    for (const bool guardBefore : {true, false}) {
        RecordingRecipe recipe{
            .version = 36, .encoding = guardBefore ? 1u : 0u, .channels = guardBefore ? 4u : 1u};
        recipe.codes = RandomCodes(3000 * recipe.channels, 65536);
        FormatSample sample{"dtx", "x.dtx", BuildDtx(recipe, guardBefore).data, {}, recipe.interval};
        for (uint32_t c = 0; c < recipe.channels; ++c) {
            std::vector<float>& values = sample.values.emplace_back();
            for (size_t i = c; i < recipe.codes.size(); i += recipe.channels)
                values.push_back(VoltsOf(recipe, recipe.codes[i]));
        }
        sample.refused = {0, 40, 170};
        samples.push_back(sample);
    }
    return samples;
}

// By the class that reads them; nothing for one that nobody has laid out.
inline std::vector<FormatSample> SamplesOfFormat(std::string_view className) {
    if (className == "CAscDoc") return TextSamples();
    if (className == "CBinaryDoc") return BinarySamples();
    if (className == "CEDFDoc") return EdfSamples();
    if (className == "CBDFDoc") return BdfSamples();
    if (className == "CFloatDoc") return NativeSamples();
    if (className == "CAcqDoc") return RecordingSamples();
    if (className == "CDtxDoc") return DtxSamples();
    return {};
}

}  // namespace kymora::test
