#include "exchange/mat_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <set>

#include "archive/text_encoding.h"
#include "document/native_writer.h"
#include "exchange/export_source.h"
#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr uint64_t mostVariableBytes = 0x7FFFFFFF;
constexpr size_t fieldNameBytes = 32, mostNameBytes = 63;

enum Element : uint32_t {
    elementInt8 = 1,
    elementInt32 = 5,
    elementUInt16 = 4,
    elementUInt32 = 6,
    elementSingle = 7,
    elementDouble = 9,
    elementMatrix = 14
};
enum ArrayClass : uint32_t {
    classCell = 1,
    classStruct = 2,
    classChar = 4,
    classDouble = 6,
    classSingle = 7
};

std::string TagBytes(uint32_t type, uint64_t bytes) {
    const uint32_t tag[] = {type, static_cast<uint32_t>(bytes)};
    return {reinterpret_cast<const char*>(tag), sizeof tag};
}

// Elements begin at multiples of eight bytes.
std::string ElementBytes(uint32_t type, std::string_view bytes) {
    std::string all = TagBytes(type, bytes.size());
    all += bytes;
    all.append((8 - bytes.size() % 8) % 8, '\0');
    return all;
}

template <typename Number>
std::string NumberBytes(std::span<const Number> numbers) {
    return {reinterpret_cast<const char*>(numbers.data()), numbers.size_bytes()};
}

// What stands before the contents of an array.
std::string ArrayHead(ArrayClass kind, size_t rows, size_t columns, std::string_view name) {
    const uint32_t flags[] = {kind, 0};
    const int32_t sizes[] = {static_cast<int32_t>(rows), static_cast<int32_t>(columns)};
    return ElementBytes(elementUInt32, NumberBytes<uint32_t>(flags)) +
           ElementBytes(elementInt32, NumberBytes<int32_t>(sizes)) + ElementBytes(elementInt8, name);
}

std::string Text(std::string_view name, std::string_view text) {
    const std::u16string units = TextToWide(text);
    return ElementBytes(elementMatrix, ArrayHead(classChar, units.empty() ? 0 : 1, units.size(), name) +
                                           ElementBytes(elementUInt16, NumberBytes<char16_t>(units)));
}

std::string Doubles(std::span<const double> numbers) {
    return ElementBytes(elementMatrix, ArrayHead(classDouble, numbers.size(), 1, {}) +
                                           ElementBytes(elementDouble, NumberBytes<double>(numbers)));
}

std::string Cells(const std::vector<std::string>& texts) {
    std::string all = ArrayHead(classCell, texts.size(), 1, {});
    for (const std::string& text : texts) all += Text({}, text);
    return ElementBytes(elementMatrix, all);
}

// Of one structure; its fields follow.
std::string StructHead(std::string_view name, const std::vector<const char*>& fields) {
    const int32_t each[] = {static_cast<int32_t>(fieldNameBytes)};
    std::string names;
    for (const char* field : fields) {
        std::string padded(field);
        padded.resize(fieldNameBytes, '\0');
        names += padded;
    }
    return ArrayHead(classStruct, 1, 1, name) + TagBytes(4u << 16 | elementInt32, 0).substr(0, 4) +
           NumberBytes<int32_t>(each) + ElementBytes(elementInt8, names);
}

// A name that MATLAB takes for a variable, unlike all others.
std::string VariableName(std::set<std::string>& taken, const std::string& label,
                         const std::string& otherwise) {
    std::string name;
    for (const char c : AsciiText(label)) {
        const bool isPlain = (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
        name += isPlain ? c : '_';
    }
    while (!name.empty() && name.back() == '_') name.pop_back();
    if (name.empty()) name = otherwise;
    if (name[0] == '_' || (name[0] >= '0' && name[0] <= '9')) name = "x" + name;
    name.resize(std::min(name.size(), mostNameBytes - 6));
    std::string unique = name;
    for (int n = 2; !taken.insert(unique).second; ++n) unique = fmt::format("{}_{}", name, n);
    return unique;
}

class MatExport {
  public:
    explicit MatExport(CDataDoc& doc) : doc_(doc) {}
    uint64_t Steps() const;
    // Before anything is written.
    void Check() const;
    void Write(CArchive& archive, ProgressScope& progress);
    std::vector<std::string> notes;

  private:
    int Traces() const { return doc_.noData ? 0 : doc_.traceCount; }
    void WriteTrace(CArchive& archive, int trace, ProgressScope& progress);
    std::string Events(int channel);

    CDataDoc& doc_;
    std::set<std::string> names_{"comment"};
    int64_t missing_ = 0;
};

uint64_t MatExport::Steps() const {
    uint64_t steps = 0;
    for (int t = 0; t < Traces(); ++t) steps += static_cast<uint64_t>(doc_.GetTraceLength(t));
    return steps;
}

void MatExport::Check() const {
    if (Traces() == 0 && ExportChannels(doc_).empty())
        throw FileError("The recording holds no samples and no events that a MATLAB file could hold.", 0);
    constexpr uint64_t room = 1 << 20;  // for what describes the trace
    for (int t = 0; t < Traces(); ++t)
        if (static_cast<uint64_t>(doc_.GetTraceLength(t)) * sizeof(float) > mostVariableBytes - room)
            throw FileError(
                "A trace of this recording takes more than 2 GB, which a variable of a MATLAB file of "
                "version 5 cannot hold. Write .nwb, or take a part of the recording.",
                0);
}

void Append(CArchive& archive, std::string_view bytes) { archive.WriteRaw(std::as_bytes(std::span(bytes))); }

void MatExport::Write(CArchive& archive, ProgressScope& progress) {
    std::string head = "MATLAB 5.0 MAT-file, written by Kymora";
    head.resize(124, ' ');
    head += std::string("\x00\x01IM", 4);
    Append(archive, head);
    Append(archive, Text("comment", ToDisplayText(doc_.fileComment)));
    for (int t = 0; t < Traces(); ++t) WriteTrace(archive, t, progress);
    for (const int c : ExportChannels(doc_)) Append(archive, Events(c));
    if (missing_ != 0) notes.push_back(fmt::format("{} samples of gaps became \"not a number\".", missing_));
    if (!doc_.markers.empty()) notes.push_back("Markers are not written.");
}

void MatExport::WriteTrace(CArchive& archive, int trace, ProgressScope& progress) {
    const TraceSettings& settings = doc_.traces[static_cast<size_t>(trace)];
    const auto count = static_cast<uint64_t>(doc_.GetTraceLength(trace));
    const double seconds[] = {doc_.sampleInterval / 1000.0};
    const std::string name = VariableName(names_, settings.traceLabel, fmt::format("trace{}", trace + 1));
    const std::string values =
        ArrayHead(classSingle, count, 1, {}) + TagBytes(elementSingle, count * sizeof(float));
    const uint64_t padded = (count * sizeof(float) + 7) / 8 * 8;
    const std::string body = StructHead(name, {"title", "units", "interval", "values"}) +
                             Text({}, ToDisplayText(settings.traceLabel)) +
                             Text({}, ToDisplayText(settings.traceUnits)) + Doubles(seconds) +
                             TagBytes(elementMatrix, values.size() + padded) + values;
    if (body.size() + padded > mostVariableBytes) throw FileError("The label of a trace is too long.", 0);
    Append(archive, TagBytes(elementMatrix, body.size() + padded) + body);
    std::vector<float> samples(exportBlockSamples);
    std::vector<uint8_t> valid(exportBlockSamples);
    for (uint64_t at = 0; at < count; at += exportBlockSamples) {
        const auto n = static_cast<size_t>(std::min<uint64_t>(exportBlockSamples, count - at));
        doc_.ReadBlock(trace, static_cast<int64_t>(at), std::span(samples).first(n),
                       std::span(valid).first(n));
        for (size_t i = 0; i < n; ++i) {
            if (valid[i] != 0) continue;
            samples[i] = std::numeric_limits<float>::quiet_NaN();
            ++missing_;
        }
        archive.WriteRaw(std::as_bytes(std::span(samples).first(n)));
        progress.Step(n);
    }
    Append(archive, std::string(padded - count * sizeof(float), '\0'));
}

// Labels and values only where there are any.
std::string MatExport::Events(int channel) {
    std::vector<double> times, ends, values;
    std::vector<std::string> labels;
    bool hasLabels = false, hasValues = false;
    for (int i = 0; i < doc_.GetNumEvents(channel); ++i) {
        const CEventKM& event = *doc_.GetEvent(channel, i);
        times.push_back(doc_.TimeOf(event.onPosition) / 1000.0);
        ends.push_back(doc_.TimeOf(event.offPosition) / 1000.0);
        values.push_back(static_cast<double>(event.eventValue));
        labels.push_back(ToDisplayText(event.eventLabel.View()));
        hasLabels = hasLabels || !labels.back().empty();
        hasValues = hasValues || event.eventValue != 0.0f;
    }
    const std::string& label = doc_.eventChannels[static_cast<size_t>(channel)].channelLabel;
    std::vector<const char*> fields{"title", "times", "ends"};
    std::string body = Text({}, ToDisplayText(label)) + Doubles(times) + Doubles(ends);
    if (hasValues) fields.push_back("numbers"), body += Doubles(values);
    if (hasLabels) fields.push_back("labels"), body += Cells(labels);
    body = StructHead(VariableName(names_, label, "events_" + ChannelName(channel)), fields) + body;
    if (body.size() > mostVariableBytes)
        throw FileError(
            "The events of a channel take more than 2 GB, which a variable of a MATLAB file cannot hold.", 0);
    return ElementBytes(elementMatrix, body);
}

}  // namespace

std::vector<std::string> WriteMatFile(CDataDoc& doc, const std::filesystem::path& path) {
    MatExport output(doc);
    output.Check();
    ProgressScope progress(doc.GetHost(), "Writing MATLAB file", output.Steps());
    WriteFileAtomically(doc.GetSession().files, path,
                        [&](CArchive& archive) { output.Write(archive, progress); });
    return std::move(output.notes);
}

}  // namespace kymora
