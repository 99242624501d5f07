#include "transforms/change_timebase.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace kymora {

namespace {

constexpr uint32_t timebaseVersion = 1;
constexpr double leastInterval = 1e-7, greatestInterval = 1e7;  // ms
constexpr double msPerSecond = 1000.0;
constexpr const char* endsBeforeText = "The result ends at {:.9g} ms, before this stretch.";

// In ms. As few digits as give the frequency back, which 1000 / 3 does not in fourteen.
double IntervalOf(double frequency) {
    const double interval = msPerSecond / frequency, tidy = TidyNumber(interval);
    return msPerSecond / tidy == frequency ? tidy : interval;
}

// All that has a time stays at its samples.
class TimebasePlan : public RecordingPlan {
  public:
    TimebasePlan(CDataDoc& doc, double interval) : doc_(doc), interval_(interval) {}

    double SampleInterval() const override { return interval_; }
    RunList Runs(int trace) const override { return doc_.validRuns[static_cast<size_t>(trace)]; }
    void WriteSamples(int trace, RewriteSink& sink) override { sink.CopyTrace(doc_, trace); }
    bool Place(CEventKM&) const override { return true; }
    std::optional<double> TimeOf(double timeMs) const override {
        return timeMs / doc_.sampleInterval * interval_;
    }

  private:
    CDataDoc& doc_;
    double interval_;
};

}  // namespace

void CChangeTimebase::CheckChangeDoc(CDataDoc* doc) {
    CRewriteDlg::CheckChangeDoc(doc);
    if (!doc || m_bIsSet) return;
    m_dNewSampleInterval = doc->sampleInterval;
    m_dNewSampleFrequency = TidyNumber(msPerSecond / m_dNewSampleInterval);
}

void CChangeTimebase::Serialize(CArchive& archive) {
    CRewriteDlg::Serialize(archive);
    ExchangeVersion(archive, timebaseVersion, ClassName());
    Exchange(archive, m_dNewSampleInterval);
    Exchange(archive, m_dNewSampleFrequency);
    if (!archive.IsStoring()) m_bIsSet = true;
}

void CChangeTimebase::Describe(ParamList& list) {
    list.Group("Timebase");
    list.Number("newSampleInterval", "New sample interval", m_dNewSampleInterval)
        .Unit("ms")
        .Limits(leastInterval, greatestInterval)
        .Tip("The desired interval between samples")
        .Linked({"newSampleFrequency"})
        .OnChange([this] {
            m_bIsSet = true;
            if (m_dNewSampleInterval > 0.0)
                m_dNewSampleFrequency = TidyNumber(msPerSecond / m_dNewSampleInterval);
        });
    list.Number("newSampleFrequency", "New sample frequency", m_dNewSampleFrequency)
        .Unit("Hz")
        .Limits(msPerSecond / greatestInterval, msPerSecond / leastInterval)
        .Tip("The desired sample frequency")
        .Linked({"newSampleInterval"})
        .OnChange([this] {
            m_bIsSet = true;
            if (m_dNewSampleFrequency > 0.0) m_dNewSampleInterval = IntervalOf(m_dNewSampleFrequency);
        });
    DescribeOutput(list);
}

void CChangeTimebase::GetParamText(std::string& text) {
    CRewriteDlg::GetParamText(text);
    text += fmt::format("New sample interval:\t{:f}\r\nNew sample frequency:\t{:f}\r\n", m_dNewSampleInterval,
                        m_dNewSampleFrequency);
}

void CChangeTimebase::OnNeedData(PreviewData& data) {
    CDataDoc& doc = *Document();
    MakePreview(doc, data, [&](PreviewTalk&) {
        const double step = m_dNewSampleInterval / doc.sampleInterval;
        const auto length = static_cast<double>(doc.GetLength());
        const auto resultAt = [&](int64_t position) {
            return std::min(length, std::ceil(static_cast<double>(position) / step - positionTolerance));
        };
        const double first = resultAt(data.start), last = resultAt(data.start + data.count);
        if (RefuseLongPreview(data, last - first)) return;
        data.transformed.resize(static_cast<size_t>(last - first));
        doc.ReadBlock(data.trace, static_cast<int64_t>(first), data.transformed);
        data.firstResult = first * step;
        data.resultStep = step;
        data.isTransformed = true;
        if (first == length)
            data.message = fmt::format(endsBeforeText, (length - 1.0) * m_dNewSampleInterval);
        else if (first == last)
            data.message = noResultHereText;
    });
}

std::unique_ptr<RecordingPlan> CChangeTimebase::MakePlan(CDataDoc& doc) {
    return std::make_unique<TimebasePlan>(doc, m_dNewSampleInterval);
}

}  // namespace kymora
