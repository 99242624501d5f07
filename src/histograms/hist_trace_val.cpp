#include "histograms/hist_trace_val.h"

#include <fmt/format.h>

#include <algorithm>

#include "document/sample_scan.h"

namespace kymora {

namespace {

constexpr uint32_t traceHistVersion = 1;
constexpr const char* gapsKey = "WarnGapsTraceValueHistogram";
constexpr const char* gapsText =
    "This file contains gaps in the data, during which acquisition was switched off.\n\nGaps between data "
    "are shown "
    "as zero-valued grey data in the main view. Gap data do not contribute to the histogram.";
constexpr const char* flatText = "The data in this trace have no variability and histogram analysis is "
                                 "inappropriate.\nThe S.D. will be set to a "
                                 "holding value of 1.";
constexpr const char* endText = "The specified end time is after the end of the file: truncating.";
constexpr const char* startText = "Start time must be before end time. Adjusting";
constexpr const char* noValuesText = "There are no values in the analysis region.";

// The finite samples of stretches of a trace, read as often as they are asked for.
struct TraceSource {
    std::vector<SampleSpan> spans;
    int trace = 0;

    template <typename Take>
    void Read(SampleReader& samples, Take take) const {
        for (const SampleSpan& span : spans)
            ScanValidSamples(samples, trace, span.first, span.Count(), [&](std::span<float> block) {
                const auto end =
                    std::remove_if(block.begin(), block.end(), [](float v) { return !std::isfinite(v); });
                take(std::span<const float>(block.begin(), end));
                return true;
            });
    }
    void ReadWide(SampleReader& samples, const std::function<void(std::span<const double>)>& take) const {
        std::vector<double> wide;
        Read(samples, [&](std::span<const float> values) {
            wide.assign(values.begin(), values.end());
            take(wide);
        });
    }
};

}  // namespace

void CHistTraceVal::Serialize(CArchive& archive) {
    CEventAnalRgnBase::Serialize(archive);
    ExchangeVersion(archive, traceHistVersion, ClassName());
    m_hist.Exchange(archive);
    Exchange(archive, m_strFile);
    m_hist.ExchangeFurther(archive);
}

void CHistTraceVal::GetParamText(std::string& text) {
    CEventAnalRgnBase::GetParamText(text);
    if (m_strFile.empty()) text += fmt::format("Trace: {}\r\n", m_nTrace + 1);
    AppendHistText(text);
}

void CHistTraceVal::Describe(ParamList& list) {
    DescribeSource(list);
    m_hist.DescribeBins(list, Words());
    m_hist.DescribeOverlays(list, Words());
    DescribeRegion(list);
    DescribeFile(list);
    DescribeSaving(list);
}

std::vector<SampleSpan> CHistTraceVal::TakeSpans() {
    CDataDoc& doc = *Document();
    if (m_nRegionMode == regionUserSet) {
        if (!(m_dRegionStart < m_dRegionEnd)) {
            Tell(startText);
            m_dRegionEnd = m_dRegionStart + resetRegionMs;
        }
        // Where a sample after the last one would be.
        const double fileEnd = doc.TimeOf(doc.GetLength());
        if (m_dRegionEnd > fileEnd) {
            Tell(endText);
            m_dRegionEnd = fileEnd;
        }
    }
    std::vector<SampleSpan> spans =
        RegionSpans(doc, View(), {m_nRegionMode, m_dRegionStart, m_dRegionEnd, m_nGateChannel});
    // Events of a gate may overlap; a sample counts once.
    std::sort(spans.begin(), spans.end(), [](const auto& a, const auto& b) { return a.first < b.first; });
    int32_t end = 0;
    for (SampleSpan& span : spans) {
        span.first = std::max(span.first, end);
        span.end = end = std::max(span.end, span.first);
    }
    return spans;
}

bool CHistTraceVal::MakeInput(HistJob& job) {
    CDataDoc& doc = *Document();
    TraceSource source{TakeSpans(), m_nTrace};
    for (const SampleSpan& span : source.spans) job.work += span.Count();
    if (doc.HasGaps()) IsAttended() ? void(GetHost().Notice(gapsKey, Title(), gapsText)) : Tell(gapsText);
    const std::string& unit = doc.traces[static_cast<size_t>(m_nTrace)].traceUnits;
    HistInput& input = AddPart(job).input;
    input.name = "trace value";
    input.label = fmt::format("trace value ({})", unit.empty() ? "mV" : unit);
    input.mostKept = mostTraceValues;
    input.canBePoisson = true;
    // The job's reader is known when it runs.
    job.read = [source, points = job.work](SampleReader& samples, HistInput& input, const Poll& poll) {
        input.each = [source, &samples](const auto& take) { source.ReadWide(samples, take); };
        MeanSdSum all;
        source.Read(samples, [&](std::span<const float> values) {
            if (!IsWanted(poll, 0.0)) throw Cancelled();
            all.Add(values);
        });
        MeanSd stats = all.Result();
        if (stats.count == 0) throw JobRefused(noValuesText);
        if (stats.count > 1 && stats.sd == 0.0) {
            input.messages.emplace_back(flatText);
            stats.sd = 1.0;
        }
        input.totals = {points, stats};
    };
    return true;
}

}  // namespace kymora
