#pragma once
// Makes the bytes of EDF and BDF files from the published layout, right or wrong in any field.

#include <cstdint>
#include <string>
#include <vector>

#include "support/bytes.h"

namespace kymora::test {

struct EdfBuilderSignal {
    std::string label = "EEG";
    std::string dimension = "uV";
    std::string physicalMin = "-100", physicalMax = "100";
    std::string digitalMin = "-1000", digitalMax = "1000";
    int samplesPerRecord = 10;
    std::vector<int32_t> samples;      // of all records in turn; zeros behind them
    std::vector<std::string> records;  // or the bytes of each record, zeros behind them
    std::string statedSamples;         // the header's text where it differs
};

class EdfBuilder {
  public:
    bool is24Bit = false;
    std::string version = "0", patient = "X X X X", recording = "Startdate X X X X";
    std::string reserved;  // "EDF+C", "EDF+D"
    std::string duration = "1";
    int recordCount = 1;
    std::string statedRecords, statedLength, statedSignals;  // the header's texts where they differ
    std::vector<EdfBuilderSignal> signalRows;

    EdfBuilder& Add(EdfBuilderSignal signal) {
        signalRows.push_back(std::move(signal));
        return *this;
    }
    // Samples 0, step, 2 x step ... as stored numbers.
    EdfBuilder& AddRamp(const std::string& label, int samplesPerRecord, int step = 1) {
        EdfBuilderSignal signal;
        signal.label = label;
        signal.samplesPerRecord = samplesPerRecord;
        for (int i = 0; i < samplesPerRecord * recordCount; ++i) signal.samples.push_back(i * step);
        return Add(std::move(signal));
    }
    // One text for each record; "|" stands for the byte 20, "~" for 21 and "$" for 0.
    EdfBuilder& AddAnnotations(std::vector<std::string> records, int samplesPerRecord = 30) {
        EdfBuilderSignal signal;
        signal.label = is24Bit ? "BDF Annotations" : "EDF Annotations";
        signal.dimension.clear();
        signal.physicalMin = "-1", signal.physicalMax = "1";
        signal.digitalMin = "-32768", signal.digitalMax = "32767";
        signal.samplesPerRecord = samplesPerRecord;
        for (std::string& text : records)
            for (char& c : text) c = c == '|' ? '\x14' : c == '~' ? '\x15' : c == '$' ? '\0' : c;
        signal.records = std::move(records);
        return Add(std::move(signal));
    }

    std::vector<std::byte> Build() const {
        Bytes out;
        const size_t n = signalRows.size();
        const auto stated = [](const std::string& text, size_t value) {
            return text.empty() ? std::to_string(value) : text;
        };
        Field(out,
              is24Bit ? "\xFF"
                        "BIOSEMI"
                      : version,
              8);
        Field(out, patient, 80);
        Field(out, recording, 80);
        Field(out, "01.02.03", 8);
        Field(out, "04.05.06", 8);
        Field(out, stated(statedLength, 256 * (n + 1)), 8);
        Field(out, reserved, 44);
        Field(out, stated(statedRecords, static_cast<size_t>(recordCount)), 8);
        Field(out, duration, 8);
        Field(out, stated(statedSignals, n), 4);
        for (const auto& s : signalRows) Field(out, s.label, 16);
        for (size_t i = 0; i < n; ++i) Field(out, "AgCl", 80);
        for (const auto& s : signalRows) Field(out, s.dimension, 8);
        for (const auto& s : signalRows) Field(out, s.physicalMin, 8);
        for (const auto& s : signalRows) Field(out, s.physicalMax, 8);
        for (const auto& s : signalRows) Field(out, s.digitalMin, 8);
        for (const auto& s : signalRows) Field(out, s.digitalMax, 8);
        for (size_t i = 0; i < n; ++i) Field(out, "HP:0.1Hz", 80);
        for (const auto& s : signalRows)
            Field(out, stated(s.statedSamples, static_cast<size_t>(s.samplesPerRecord)), 8);
        for (size_t i = 0; i < n; ++i) Field(out, "", 32);
        for (int record = 0; record < recordCount; ++record)
            for (const auto& s : signalRows) Slice(out, s, static_cast<size_t>(record));
        return out.data;
    }

  private:
    static void Field(Bytes& out, std::string text, size_t width) {
        text.resize(width, ' ');
        for (const char c : text) out.U8(static_cast<unsigned char>(c));
    }
    void Slice(Bytes& out, const EdfBuilderSignal& s, size_t record) const {
        const auto count = static_cast<size_t>(s.samplesPerRecord);
        if (!s.records.empty()) {
            std::string text = record < s.records.size() ? s.records[record] : std::string();
            text.resize((is24Bit ? 3 : 2) * count, '\0');
            for (const char c : text) out.U8(static_cast<unsigned char>(c));
            return;
        }
        for (size_t i = record * count; i < (record + 1) * count; ++i) {
            const int32_t number = i < s.samples.size() ? s.samples[i] : 0;
            if (is24Bit)
                out.U8(number & 0xFF).I16(static_cast<int16_t>(number >> 8));
            else
                out.I16(static_cast<int16_t>(number));
        }
    }
};

}  // namespace kymora::test
