#include "exchange/edf_writer.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstring>

#include "document/native_writer.h"
#include "exchange/edf_plan.h"
#include "exchange/whole_numbers.h"
#include "import/edf_doc.h"

namespace kymora {

namespace {

constexpr size_t blockBytes = 256;  // of the header, and for each signal
constexpr size_t mostToldTraces = 16;
constexpr size_t startRoom = 32;  // bytes that tell when a record begins
constexpr int64_t longestFieldNumber = 99999999;

struct SignalScale {
    std::string low, high;  // the physical limits as fields
    double physicalLow = 0.0;
    int32_t digitalLow = 0, digitalHigh = 0;
    double step = 1.0;  // physical units for a number

    NumberScale Numbers() const {
        return {physicalLow, 1.0 / step, static_cast<double>(digitalLow), static_cast<double>(digitalLow),
                static_cast<double>(digitalHigh)};
    }
};

// The annotations of one event channel; the first list also tells when records begin.
struct AnnotationSignal {
    int channel = -1;
    int next = 0;         // event
    size_t bytes = 0;     // in a record
    int64_t numbers = 0;  // the same in samples
};

// "0.1 uV"; where they differ, with the numbers of the traces.
std::string StepsText(const std::vector<std::string>& steps) {
    if (std::all_of(steps.begin(), steps.end(), [&](const std::string& step) { return step == steps[0]; }))
        return steps[0];
    std::string text;
    for (size_t t = 0; t < std::min(steps.size(), mostToldTraces); ++t)
        text += fmt::format("{}{} (trace {})", t == 0 ? "" : ", ", steps[t], t + 1);
    return text + (steps.size() > mostToldTraces ? ", ..." : "");
}

class EdfExport {
  public:
    EdfExport(CDataDoc& doc, EdfForm form)
        : doc_(doc), source_(dynamic_cast<CEDFDoc*>(&doc)), isBdf_(form == EdfForm::bdf), reader_(doc) {}
    void Prepare(ProgressScope& progress);
    void Write(CArchive& archive, ProgressScope& progress);
    std::vector<std::string> notes;

  private:
    int64_t NumberBytes() const { return isBdf_ ? 3 : 2; }
    const char* Name() const { return isBdf_ ? "BDF" : "EDF"; }
    SignalScale ScaleOf(int trace, const TraceExtremes& extremes) const;
    bool KeepSourceScale(int trace, const TraceExtremes& extremes, SignalScale& scale) const;
    void PlanRecords();
    void PlanAnnotations();
    void TakeStart();
    void TakeIdentity();
    std::string Onset(int64_t position) const;
    std::string AnnotationOf(int channel, const CEventKM& event) const;
    std::string Header() const;
    void WriteRecords(CArchive& archive, ProgressScope& progress);
    void PutSamples(std::span<const float> values, const SignalScale& scale, std::byte* to);
    void PutAnnotations(int64_t position, std::byte* to);

    CDataDoc& doc_;
    const CEDFDoc* source_;
    bool isBdf_;
    ExportReader reader_;
    std::vector<ExportRun> runs_;
    std::vector<SignalScale> scales_;
    EdfRecords records_;
    std::vector<AnnotationSignal> annotations_;
    int64_t recordBytes_ = 0;
    int64_t startSeconds_ = 0;    // of the day
    double startFraction_ = 0.0;  // s
    std::string patient_, recording_, startDate_;
    std::vector<int16_t> narrow_;
    std::vector<int32_t> wide_;
};

// Signals that were read from a file of such numbers are written with the same ones.
bool EdfExport::KeepSourceScale(int trace, const TraceExtremes& extremes, SignalScale& scale) const {
    const auto t = static_cast<size_t>(trace);
    if (!source_ || source_->ChosenSignals().empty() || doc_.traces[t].traceGain != 1.0) return false;
    const EdfSignal& signal = source_->Header().Signal(source_->ChosenSignals()[t]);
    SignalScale kept{fmt::format("{}", signal.physicalMinimum),
                     fmt::format("{}", signal.physicalMaximum),
                     signal.physicalMinimum,
                     signal.digitalMinimum,
                     signal.digitalMaximum,
                     signal.scale.scale};
    const double half = std::fabs(kept.step) / 2;  // values are rounded to single precision
    const auto [low, high] = std::minmax(signal.physicalMinimum, signal.physicalMaximum);
    for (auto [text, value] :
         {std::pair(&kept.low, signal.physicalMinimum), std::pair(&kept.high, signal.physicalMaximum)}) {
        if (text->size() <= 8) continue;
        const EdfField field = EdfLimit(value, false, 0.0);
        if (field.value != value) return false;
        *text = field.text;
    }
    if (kept.step == 0.0) return false;
    if (kept.digitalLow < scale.digitalLow || kept.digitalHigh > scale.digitalHigh) return false;
    if (kept.digitalLow >= kept.digitalHigh || extremes.low < low - half || extremes.high > high + half)
        return false;
    scale = std::move(kept);
    return true;
}

SignalScale EdfExport::ScaleOf(int trace, const TraceExtremes& extremes) const {
    SignalScale scale;
    scale.digitalHigh = isBdf_ ? (1 << 23) - 1 : 32767;
    scale.digitalLow = -scale.digitalHigh - 1;
    if (KeepSourceScale(trace, extremes, scale)) return scale;
    const EdfLimits limits = EdfLimitsFor(extremes);
    scale.low = limits.low.text;
    scale.high = limits.high.text;
    scale.physicalLow = limits.low.value;
    scale.step =
        (limits.high.value - limits.low.value) / (static_cast<double>(scale.digitalHigh) - scale.digitalLow);
    return scale;
}

void EdfExport::Prepare(ProgressScope& progress) {
    runs_ = SampledRuns(doc_);
    if (runs_.empty())
        throw FileError(fmt::format("The recording holds no samples that an {} file could hold.", Name()), 0);
    const std::vector<TraceExtremes> extremes = FindExtremes(doc_, progress);
    std::vector<std::string> steps;
    bool isCut = false;
    for (int t = 0; t < doc_.traceCount; ++t) {
        const TraceSettings& settings = doc_.traces[static_cast<size_t>(t)];
        scales_.push_back(ScaleOf(t, extremes[static_cast<size_t>(t)]));
        steps.push_back(fmt::format("{:.3g} {}", std::fabs(scales_.back().step), settings.traceUnits));
        isCut =
            isCut || AsciiText(settings.traceLabel).size() > 16 || AsciiText(settings.traceUnits).size() > 8;
    }
    notes.push_back(fmt::format("The samples are numbers of {} bits in steps of {}.", isBdf_ ? 24 : 16,
                                StepsText(steps)));
    if (isCut) notes.push_back("Labels longer than 16 characters, or units longer than 8, were cut.");
    TakeStart();
    TakeIdentity();
    if (std::string text = NotKeptText(doc_, {.channels = true, .start = true}); !text.empty())
        notes.push_back(std::move(text));
    PlanRecords();
    PlanAnnotations();
}

void EdfExport::PlanRecords() {
    const auto records = ChooseEdfRecords(runs_, doc_.sampleInterval, NumberBytes() * doc_.traceCount);
    if (!records)
        throw FileError(fmt::format("The gaps of this recording are too short, or its sample interval too "
                                    "small, for the data records of an {} file.",
                                    Name()),
                        0);
    records_ = *records;
    reader_.MakeRoom(std::max(records_.samples, exportBlockSamples));
    if (records_.driftMs > doc_.sampleInterval / 2)
        notes.push_back(
            fmt::format("The sample interval became {:.12g} ms instead of {:.12g} ms, as eight characters "
                        "tell it; at the end of the recording this makes {:.3g} ms.",
                        records_.interval, doc_.sampleInterval, records_.driftMs));
    if (records_.filled != 0)
        notes.push_back(fmt::format(
            "{} samples were added, which repeat the last one before, to fill the last data record{}.",
            records_.filled, runs_.size() == 1 ? "" : " before each gap"));
}

// Channels get the room that all records together need, and one more annotation, so that those of a burst
// spread over later records.
void EdfExport::PlanAnnotations() {
    std::vector<int> channels = ExportChannels(doc_);
    if (channels.empty()) channels.push_back(-1);
    recordBytes_ = records_.samples * NumberBytes() * doc_.traceCount;
    for (const int c : channels) {
        size_t total = 0, largest = 0;
        for (int i = 0; c >= 0 && i < doc_.GetNumEvents(c); ++i) {
            const size_t bytes = AnnotationOf(c, *doc_.GetEvent(c, i)).size();
            total += bytes;
            largest = std::max(largest, bytes);
        }
        const auto count = static_cast<size_t>(records_.count);
        AnnotationSignal signal{c};
        const size_t needed = (total + count - 1) / count + largest + (annotations_.empty() ? startRoom : 0);
        signal.numbers = (static_cast<int64_t>(needed) + NumberBytes() - 1) / NumberBytes();
        signal.bytes = static_cast<size_t>(signal.numbers * NumberBytes());
        if (signal.numbers > longestFieldNumber)
            throw FileError(fmt::format("The labels of the events are too long for an {} file.", Name()), 0);
        recordBytes_ += static_cast<int64_t>(signal.bytes);
        annotations_.push_back(signal);
    }
}

void EdfExport::TakeStart() {
    const double start = std::max(doc_.GetStartClock().value_or(0.0), 0.0) / 1000.0;
    startSeconds_ = static_cast<int64_t>(start) % 86400;
    startFraction_ = start - std::floor(start);
}

// The fields of the older form follow those that EDF+ asks for, of which they tell none.
void EdfExport::TakeIdentity() {
    patient_ = "X X X X";
    std::string date = "X";
    startDate_ = "01.01.85";
    if (const auto told = StartDay(doc_)) {
        const std::chrono::year_month_day day(*told);
        const int year = static_cast<int>(day.year());
        const auto month = static_cast<unsigned>(day.month()), inMonth = static_cast<unsigned>(day.day());
        constexpr std::string_view names = "JANFEBMARAPRMAYJUNJULAUGSEPOCTNOVDEC";
        date = fmt::format("{:02}-{}-{:04}", inMonth, names.substr(3 * (month - 1), 3), year);
        const bool hasTwoDigits = year >= 1985 && year <= 2084;
        startDate_ = fmt::format("{:02}.{:02}.{}", inMonth, month,
                                 hasTwoDigits ? fmt::format("{:02}", year % 100) : "yy");
    }
    recording_ = "Startdate " + date + " X X X";
    if (!source_) return;
    const EdfHeader& header = source_->Header();
    const bool isPlus = header.type != EdfType::plain;
    if (!StartDay(doc_)) startDate_ = header.startDate;
    const auto take = [&](std::string& field, const std::string& told, bool asItIs) {
        if (asItIs)
            field = told;
        else if (!told.empty())
            field += " " + told;
    };
    take(patient_, header.patient, isPlus);
    take(recording_, header.recording, isPlus || header.recording.starts_with("Startdate "));
    if (AsciiText(patient_).size() > 80 || AsciiText(recording_).size() > 80)
        notes.push_back("What the file tells of the patient or the recording was cut to 80 characters.");
}

std::string EdfExport::Onset(int64_t position) const {
    return "+" + EdfSeconds(static_cast<double>(position) * records_.interval / 1000.0 + startFraction_);
}

std::string EdfExport::AnnotationOf(int channel, const CEventKM& event) const {
    if (event.onPosition < 0) return {};  // it has no place
    std::string tal = Onset(event.onPosition);
    const int64_t length = int64_t{event.offPosition} - event.onPosition;
    if (length > 1) tal += "\x15" + EdfSeconds(static_cast<double>(length) * records_.interval / 1000.0);
    tal += "\x14" + ExportEventText(doc_, channel, event) + "\x14";
    return tal + '\0';
}

std::string EdfExport::Header() const {
    std::string header;
    const auto field = [&](std::string_view text, size_t width) {
        std::string ascii = AsciiText(text);
        ascii.resize(width, ' ');
        header += ascii;
    };
    const size_t signals = scales_.size() + annotations_.size();
    const bool isContinuous = runs_.size() == 1 && runs_[0].start == 0;
    if (isBdf_)
        header += "\xFF"
                  "BIOSEMI";
    else
        field("0", 8);
    field(patient_, 80);
    field(recording_, 80);
    field(startDate_, 8);
    field(fmt::format("{:02}.{:02}.{:02}", startSeconds_ / 3600, startSeconds_ / 60 % 60, startSeconds_ % 60),
          8);
    field(std::to_string(blockBytes * (signals + 1)), 8);
    field(fmt::format("{}+{}", Name(), isContinuous ? 'C' : 'D'), 44);
    field(std::to_string(records_.count), 8);
    field(records_.duration.text, 8);
    field(std::to_string(signals), 4);
    // Each field stands for all signals before the next one.
    const auto forAll = [&](size_t width, auto ofTrace, auto ofAnnotations) {
        for (size_t t = 0; t < scales_.size(); ++t) field(ofTrace(t), width);
        for (const AnnotationSignal& signal : annotations_) field(ofAnnotations(signal), width);
    };
    const auto text = [](std::string value) { return [value](const auto&) { return value; }; };
    const int32_t top = isBdf_ ? (1 << 23) - 1 : 32767;
    forAll(
        16, [&](size_t t) { return doc_.traces[t].traceLabel; }, text(Name() + std::string(" Annotations")));
    const auto ofSignal = [&](std::string EdfSignal::*told) {
        return [this, told](size_t t) {
            const bool isKnown = source_ && t < source_->ChosenSignals().size();
            return isKnown ? source_->Header().Signal(source_->ChosenSignals()[t]).*told : std::string();
        };
    };
    forAll(80, ofSignal(&EdfSignal::transducer), text(""));
    forAll(
        8, [&](size_t t) { return doc_.traces[t].traceUnits; }, text(""));
    forAll(
        8, [&](size_t t) { return scales_[t].low; }, text("-1"));
    forAll(
        8, [&](size_t t) { return scales_[t].high; }, text("1"));
    forAll(
        8, [&](size_t t) { return std::to_string(scales_[t].digitalLow); }, text(std::to_string(-top - 1)));
    forAll(
        8, [&](size_t t) { return std::to_string(scales_[t].digitalHigh); }, text(std::to_string(top)));
    forAll(80, ofSignal(&EdfSignal::prefilter), text(""));
    forAll(8, text(std::to_string(records_.samples)),
           [](const AnnotationSignal& signal) { return std::to_string(signal.numbers); });
    forAll(32, text(""), text(""));
    return header;
}

// One signal of as many records as the values fill; `to` is its part of the first.
void EdfExport::PutSamples(std::span<const float> values, const SignalScale& scale, std::byte* to) {
    const auto each = static_cast<size_t>(records_.samples);
    narrow_.resize(isBdf_ ? 0 : values.size());
    wide_.resize(isBdf_ ? values.size() : 0);
    if (isBdf_)
        ToWholeNumbers(values, scale.Numbers(), wide_.data());
    else
        ToWholeNumbers(values, scale.Numbers(), narrow_.data());
    for (size_t at = 0; at < values.size(); at += each, to += recordBytes_) {
        if (isBdf_)
            PackInt24(std::span(wide_).subspan(at, each), to);
        else
            std::ranges::copy(std::as_bytes(std::span(narrow_).subspan(at, each)), to);
    }
}

void EdfExport::PutAnnotations(int64_t position, std::byte* to) {
    for (AnnotationSignal& signal : annotations_) {
        std::string text;
        if (&signal == &annotations_.front()) text = Onset(position) + "\x14\x14" + '\0';
        while (signal.channel >= 0 && signal.next < doc_.GetNumEvents(signal.channel)) {
            const std::string tal = AnnotationOf(signal.channel, *doc_.GetEvent(signal.channel, signal.next));
            if (text.size() + tal.size() > signal.bytes) break;
            text += tal;
            ++signal.next;
        }
        std::memcpy(to, text.data(), text.size());
        to += signal.bytes;
    }
}

void EdfExport::WriteRecords(CArchive& archive, ProgressScope& progress) {
    constexpr int64_t mostBlockBytes = 4 << 20;  // unless one record is longer
    const int64_t n = records_.samples;
    const int64_t atOnce =
        std::max<int64_t>(std::min(exportBlockSamples / n, mostBlockBytes / recordBytes_), 1);
    const auto sliceBytes = static_cast<size_t>(n * NumberBytes());
    std::vector<std::byte> block;
    for (const ExportRun& run : runs_)
        for (int64_t at = run.start; at < run.end;) {
            const int64_t held = std::min(atOnce * n, run.end - at);
            const int64_t count = (held + n - 1) / n;
            reader_.Read(at, held);
            block.assign(static_cast<size_t>(count * recordBytes_), std::byte{0});
            std::byte* to = block.data();
            for (int t = 0; t < doc_.traceCount; ++t, to += sliceBytes) {
                const auto values = reader_.Values(t).first(static_cast<size_t>(count * n));
                std::fill(values.begin() + held, values.end(), values[static_cast<size_t>(held - 1)]);
                PutSamples(values, scales_[static_cast<size_t>(t)], to);
            }
            for (int64_t r = 0; r < count; ++r) PutAnnotations(at + r * n, to + r * recordBytes_);
            archive.WriteRaw(block);
            at += held;
            progress.Step(static_cast<uint64_t>(held));
        }
}

void EdfExport::Write(CArchive& archive, ProgressScope& progress) {
    const std::string header = Header();
    archive.WriteRaw(std::as_bytes(std::span(header)));
    WriteRecords(archive, progress);
    if (reader_.Replaced() != 0)
        notes.push_back(
            fmt::format("{} samples that were gaps of some traces only, or no numbers, became 0 or the limit "
                        "nearest to it.",
                        reader_.Replaced()));
}

}  // namespace

std::vector<std::string> WriteEdfFile(CDataDoc& doc, const std::filesystem::path& path, EdfForm form) {
    EdfExport output(doc, form);
    ProgressScope progress(doc.GetHost(), form == EdfForm::bdf ? "Writing BDF+" : "Writing EDF+",
                           2 * static_cast<uint64_t>(doc.GetLength()));
    output.Prepare(progress);
    WriteFileAtomically(doc.GetSession().files, path,
                        [&](CArchive& archive) { output.Write(archive, progress); });
    return std::move(output.notes);
}

}  // namespace kymora
