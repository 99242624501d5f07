#include "templates/diagnostic_traces.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>

#include "document/axis_limits.h"
#include "document/float_doc.h"
#include "document/native_writer.h"
#include "document/temporary_file.h"
#include "numerics/rounding.h"

namespace kymora {

namespace {

constexpr size_t rowSize = 1 << 15;  // values that go to the scratch file at once
constexpr int64_t writtenAtOnce = 1 << 15;
constexpr const char* matchTitle = "Template match file";

}  // namespace

// --- the goodness of fit ---

GoodnessTrace::GoodnessTrace(CDataDoc& doc, int trace, const TemplateSearch& search,
                             const std::filesystem::path& folder)
    : doc_(doc),
      trace_(trace),
      type_(search.type),
      multiplier_(search.multiplier),
      file_(OpenScratchFile(doc.GetSession().files, folder)) {}

GoodnessTrace::~GoodnessTrace() = default;

void GoodnessTrace::Take(const MeasuredSteps& steps) {
    for (size_t i = 0; i < steps.values.size(); ++i) {
        const int64_t sample =
            RoundHalfAway64(static_cast<double>(steps.firstBin + static_cast<int64_t>(i)) / multiplier_);
        if (sample != sample_) {
            Put(sample_);
            sample_ = sample;
            best_ = steps.values[i];
        } else if (IsBetter(steps.values[i], best_, BetterOf(type_))) {
            best_ = steps.values[i];
        }
    }
}

void GoodnessTrace::Put(int64_t sample) {
    if (sample < 0) return;
    if (sample != rowStart_ + std::ssize(row_) || row_.size() >= rowSize) {
        Flush();
        rowStart_ = sample;
    }
    const float errorAsGoodness = best_ == 0.0f ? 0.0f : 100.0f / best_;
    row_.push_back(type_ == TemplateType::scaled ? best_ : errorAsGoodness);
}

// Neighbouring samples are stored one behind the other.
void GoodnessTrace::Flush() {
    if (row_.empty()) return;
    const auto place = doc_.validRuns[static_cast<size_t>(trace_)].Find(rowStart_);
    const int64_t stored = place.storedBefore + (rowStart_ - place.runStart);
    file_->WriteAt(static_cast<uint64_t>(stored) * sizeof(float), std::as_bytes(std::span(row_)));
    row_.clear();
}

void GoodnessTrace::Read(int64_t first, std::span<float> to) {
    Put(std::exchange(sample_, -1));
    Flush();
    std::ranges::fill(to, 0.0f);
    file_->ReadAt(static_cast<uint64_t>(first) * sizeof(float), std::as_writable_bytes(to));
}

// --- the fitted template ---

void FillFitted(std::span<const TemplateMatch> matches, std::span<const TemplateFit> fits,
                const TemplateSearch& search, int64_t first, std::span<float> to) {
    const ScaledTemplate scaled(search.values);
    const int64_t end = first + std::ssize(to);
    std::ranges::fill(to, 0.0f);
    auto at = std::ranges::partition_point(matches, [&](const TemplateMatch& m) { return m.off <= first; });
    for (; at != matches.end() && at->on < end; ++at) {
        const TemplateFit& fit = fits[static_cast<size_t>(at - matches.begin())];
        for (int64_t p = std::max<int64_t>(first, at->on); p < std::min<int64_t>(end, at->off); ++p) {
            const int64_t bin =
                std::clamp<int64_t>(p * search.multiplier - at->bin, 0, std::ssize(scaled.Unit()) - 1);
            to[static_cast<size_t>(p - first)] =
                static_cast<float>(fit.scale * scaled.Unit()[static_cast<size_t>(bin)] + fit.offset);
        }
    }
}

// --- a recording with more traces ---

namespace {

void AddTrace(CFloatDoc& result, const AddedTrace& added) {
    std::vector<uint8_t> last(static_cast<size_t>(result.traceCount));
    last.back() = 1;
    result.AddTraces(last);
    const auto slot = static_cast<size_t>(result.traceCount) - 1;
    TraceSettings& trace = result.traces[slot];
    trace.traceLabel = added.label;
    trace.traceUnits = added.units;
    trace.axisLabel.clear();
    trace.traceColour = TraceSettings::Default(static_cast<int>(slot)).traceColour;
    trace.traceVisible = 1;
    // The axis is the one that the trace is drawn on.
    TraceSettings& axis =
        result.traces[static_cast<size_t>(std::clamp<int>(trace.traceOrder, 0, result.traceCount - 1))];
    axis.traceAutoscale = added.axisTop > added.axisBottom ? 0 : 1;
    if (axis.traceAutoscale != 0) {
        trace.traceAutoscale = 1;
    } else {
        axis.axisBottom = added.axisBottom;
        axis.axisTop = added.axisTop;
    }
    result.validRuns[slot] = result.validRuns[static_cast<size_t>(added.source)];
    result.UpdateGapFlags();
}

void WriteAdded(CArchive& archive, const CDataDoc& doc, const AddedTrace& added, ProgressScope& progress) {
    std::vector<float> values;
    int64_t stored = 0;
    for (int run = 0; run < doc.GetNumRuns(added.source); ++run) {
        int64_t start = 0, end = 0;
        if (!doc.GetRunSpan(added.source, run, start, end)) continue;
        for (int64_t at = start; at < end; at += std::ssize(values)) {
            values.resize(static_cast<size_t>(std::min(writtenAtOnce, end - at)));
            added.fill(stored, at, values);
            archive.WriteRaw(std::as_bytes(std::span(values)));
            stored += std::ssize(values);
            progress.Step(values.size());
        }
    }
}

}  // namespace

WrittenRecording WriteWithTraces(CArchive& archive, CDataDoc& doc, std::span<const AddedTrace> added) {
    CFloatDoc result(doc.GetSession());
    result.CopyHeader(doc);
    for (const AddedTrace& trace : added) AddTrace(result, trace);
    WriteHead(archive, result);
    int64_t copied = 0, made = 0;
    for (int t = 0; t < doc.traceCount; ++t) copied += doc.GetStoredCount(t);
    for (const AddedTrace& trace : added) made += doc.GetStoredCount(trace.source);
    {
        ProgressScope progress(doc.GetHost(), "Copying traces", static_cast<uint64_t>(copied));
        for (int t = 0; t < doc.traceCount; ++t) {
            progress.AtTrace(static_cast<size_t>(t) + 1, static_cast<size_t>(doc.traceCount));
            doc.WriteTraceData(archive, t);
            progress.Step(static_cast<uint64_t>(doc.GetStoredCount(t)));
        }
    }
    ProgressScope progress(doc.GetHost(), "Writing traces", static_cast<uint64_t>(made));
    for (const AddedTrace& trace : added) WriteAdded(archive, doc, trace, progress);
    WriteTail(archive, result, result.fileComment);
    return {true, {}, result.historyLog, doc.Steps()};
}

// --- the matches alone ---

void WriteMatches(CDataDoc& doc, const EventJob::Found& found, const std::string& report,
                  const std::filesystem::path& path) {
    Session& session = doc.GetSession();
    int64_t samples = 0;
    for (const CEventKM& event : found.events) samples += event.offPosition - event.onPosition;
    CFloatDoc result(session);
    const TraceSettings& source = doc.traces[static_cast<size_t>(found.parentTrace)];
    result.sampleInterval = doc.sampleInterval;
    result.traceCount = 1;
    TraceSettings& trace = result.traces[0];
    trace.traceLabel = "match";
    trace.axisLabel = "match to template";
    trace.traceUnits = source.traceUnits;
    trace.axisTop = source.axisTop;
    trace.axisBottom = source.axisBottom;
    result.SetLength(samples);
    result.UpdateGapFlags();
    result.view.viewEnd = result.GetEndTime();
    result.fileComment = "Trace derived from matches to template";
    result.AppendNewRecordHistory(
        fmt::format("{}\r\nSource file: {}\r\n{}\r\n", matchTitle, doc.filePath.string(), report));
    CEventChan& channel = result.eventChannels[static_cast<size_t>(found.channel)];
    channel.parentTrace = 0;
    WriteFileAtomically(session.files, path, [&](CArchive& archive) {
        WriteHead(archive, result);
        ProgressScope progress(session.host, matchTitle, static_cast<uint64_t>(samples));
        std::vector<float> values;
        int32_t at = 0;
        for (CEventKM event : found.events) {
            values.resize(static_cast<size_t>(event.offPosition - event.onPosition));
            doc.ReadBlock(found.parentTrace, event.onPosition, values);
            archive.WriteRaw(std::as_bytes(std::span(values)));
            event.onPosition = at;
            event.offPosition = at += static_cast<int32_t>(values.size());
            channel.AppendLoaded(std::move(event));
            progress.Step(values.size());
        }
        WriteTail(archive, result, result.fileComment);
    });
}

}  // namespace kymora
