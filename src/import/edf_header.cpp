#include "import/edf_header.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>

#include "archive/text_encoding.h"

namespace kymora {

namespace {

constexpr size_t blockBytes = 256;  // of the file header, and of each signal's

// Walks through fixed-width fields.
class FieldReader {
  public:
    explicit FieldReader(std::span<const std::byte> bytes) : bytes_(bytes) {}

    std::span<const std::byte> Raw(size_t width) {
        const auto field = bytes_.subspan(at_, width);
        at_ += width;
        return field;
    }
    // Bytes as text, without the blanks that fill the field.
    std::string Text(size_t width) {
        auto field = Raw(width);
        while (!field.empty() && (field.back() == std::byte{' '} || field.back() == std::byte{0}))
            field = field.first(field.size() - 1);
        return NarrowToText(field);
    }
    int32_t Integer(size_t width) { return EdfInteger(Text(width)); }
    double Real(size_t width) { return EdfReal(Text(width)); }

  private:
    std::span<const std::byte> bytes_;
    size_t at_ = 0;
};

std::vector<std::byte> ReadHeaderBytes(const DataFile& file, uint64_t from, size_t count) {
    std::vector<std::byte> bytes(count);
    bytes.resize(file.ReadAt(from, bytes));
    return bytes;
}

// What may stand before a number in the C library's conversions: blanks and a plus sign.
std::string_view NumberPart(std::string_view field) {
    const size_t first = field.find_first_not_of(" \t\r\n\v\f");
    if (first == std::string_view::npos) return {};
    field.remove_prefix(first);
    if (field.size() > 1 && field[0] == '+' && field[1] != '-') field.remove_prefix(1);
    return field;
}

// Whether the numbers have 24 bits.
bool Is24Bit(std::span<const std::byte> start) {
    std::string version = NarrowToText(start.first(std::min<size_t>(start.size(), 8)));
    if (version == "0       ") return false;
    if (start.size() >= 8 && start[0] == std::byte{0xFF} && version.ends_with("BIOSEMI")) return true;
    version = version.substr(0, version.find('\0'));
    throw OpenError(fmt::format("Unrecognized EDF format version string: {}.", version));
}

EdfType TypeOf(std::string reserved) {
    for (char& c : reserved)
        if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
    if (reserved.find("+C") != std::string::npos) return EdfType::continuous;
    if (reserved.find("+D") != std::string::npos) return EdfType::discontinuous;
    return EdfType::plain;
}

EdfScale ScaleOf(const EdfSignal& signal, std::vector<std::string>& notes) {
    const double range = static_cast<double>(signal.digitalMaximum) - signal.digitalMinimum;
    const double scale = (signal.physicalMaximum - signal.physicalMinimum) / range;
    if (range == 0.0 || !std::isfinite(scale)) {
        notes.push_back(fmt::format("the limits of signal \"{}\" give no scale; its stored numbers are shown",
                                    signal.label));
        return {};
    }
    if (scale == 0.0)
        notes.push_back(fmt::format("the physical limits of signal \"{}\" are equal", signal.label));
    return {static_cast<double>(signal.digitalMinimum), scale, signal.physicalMinimum};
}

// Each field of the signal headers stands for all signals before the next field begins.
void ReadSignals(FieldReader& fields, EdfHeader& header) {
    auto& signals = header.signals;
    for (auto& s : signals) s.label = fields.Text(16);
    for (auto& s : signals) s.transducer = fields.Text(80);
    for (auto& s : signals) s.dimension = fields.Text(8);
    for (auto& s : signals) s.physicalMinimum = fields.Real(8);
    for (auto& s : signals) s.physicalMaximum = fields.Real(8);
    for (auto& s : signals) s.digitalMinimum = fields.Integer(8);
    for (auto& s : signals) s.digitalMaximum = fields.Integer(8);
    for (auto& s : signals) s.prefilter = fields.Text(80);
    for (auto& s : signals) s.samplesPerRecord = fields.Integer(8);
}

void DeriveSignals(EdfHeader& header) {
    for (size_t i = 0; i < header.signals.size(); ++i) {
        EdfSignal& signal = header.signals[i];
        signal.isAnnotations =
            signal.label.find(std::string(header.Name()) + " Annotations") != std::string::npos;
        // An annotation signal without bytes would only cost time in every record.
        if (!signal.isAnnotations)
            header.ordinarySignals.push_back(static_cast<int>(i));
        else if (signal.samplesPerRecord > 0)
            header.annotationSignals.push_back(static_cast<int>(i));
        signal.sliceOffset = header.bytesPerRecord;
        header.bytesPerRecord += header.NumberBytes() * std::max<int64_t>(signal.samplesPerRecord, 0);
        if (!signal.isAnnotations) signal.scale = ScaleOf(signal, header.notes);
    }
}

// A recorder that was cut off leaves -1, or a number of records that it had meant to write.
void CountRecords(EdfHeader& header, int32_t stated, uint64_t fileLength) {
    const int64_t bytes = static_cast<int64_t>(fileLength) - header.headerLength;
    const int64_t held = header.bytesPerRecord > 0 ? bytes / header.bytesPerRecord : 0;
    if (stated == 0 || held == 0)
        throw OpenError(fmt::format("This {} file holds no data records.", header.Name()));
    header.dataRecords = stated > 0 ? std::min<int64_t>(stated, held) : held;
    header.missingRecords = std::max<int64_t>(stated - header.dataRecords, 0);
    if (header.dataRecords != stated)
        header.notes.push_back(
            fmt::format("the header states {} data records; the file holds {}, which are read", stated,
                        header.dataRecords));
    for (EdfSignal& signal : header.signals)
        signal.samplesInFile = header.dataRecords * std::max<int64_t>(signal.samplesPerRecord, 0);
}

}  // namespace

std::string EdfTypeText(const EdfHeader& header) {
    const std::string name = header.Name();
    switch (header.type) {
    case EdfType::continuous:
        return name + "+ continuous record";
    case EdfType::discontinuous:
        return name + "+ discontinuous record (concatenated)";
    default:
        return name + " continuous record";
    }
}

int32_t EdfInteger(std::string_view field) {
    const std::string_view number = NumberPart(field);
    int32_t value = 0;
    std::from_chars(number.data(), number.data() + number.size(), value);
    return value;
}

double EdfReal(std::string_view field) {
    std::string number(NumberPart(field));
    std::replace(number.begin(), number.end(), ',', '.');
    double value = 0.0;
    std::from_chars(number.data(), number.data() + number.size(), value);
    return std::isfinite(value) ? value : 0.0;
}

EdfHeader ReadEdfHeader(const DataFile& file) {
    const std::vector<std::byte> start = ReadHeaderBytes(file, 0, blockBytes);
    EdfHeader header;
    header.is24Bit = Is24Bit(start);
    const std::string endsEarly = fmt::format("This {} file ends within its header", header.Name());
    if (start.size() < blockBytes) throw OpenError(endsEarly + ".");

    FieldReader fields(start);
    header.version = fields.Text(8);
    header.patient = fields.Text(80);
    header.recording = fields.Text(80);
    header.startDate = fields.Text(8);
    header.startTime = fields.Text(8);
    const int32_t statedLength = fields.Integer(8);
    header.type = TypeOf(fields.Text(44));
    const int32_t statedRecords = fields.Integer(8);
    header.recordDuration = fields.Real(8);
    const int32_t signalCount = fields.Integer(4);
    if (signalCount < 1)
        throw OpenError(
            fmt::format("The header of this {} file gives {} signals.", header.Name(), signalCount));

    header.headerLength = static_cast<int64_t>(blockBytes) * (signalCount + 1);
    if (static_cast<uint64_t>(header.headerLength) > file.Length())
        throw OpenError(fmt::format("{}, which gives {} signals.", endsEarly, signalCount));
    if (statedLength != header.headerLength)
        header.notes.push_back(fmt::format("the header states a length of {} bytes; {} signals make it {}",
                                           statedLength, signalCount, header.headerLength));
    const std::vector<std::byte> rest =
        ReadHeaderBytes(file, blockBytes, blockBytes * static_cast<size_t>(signalCount));
    if (rest.size() < blockBytes * static_cast<size_t>(signalCount)) throw OpenError(endsEarly + ".");
    header.signals.resize(static_cast<size_t>(signalCount));
    FieldReader signalFields(rest);
    ReadSignals(signalFields, header);
    DeriveSignals(header);
    CountRecords(header, statedRecords, file.Length());
    return header;
}

}  // namespace kymora
