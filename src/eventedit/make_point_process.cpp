#include "eventedit/make_point_process.h"

#include <fmt/format.h>

#include "eventedit/retimed_events.h"
#include "eventedit/source_job.h"

namespace kymora {

namespace {

constexpr uint32_t pointVersion = 1;
constexpr const char* methodWords[] = {"", "C of G trace", "Max of trace", "Min of trace"};

class PointJob : public SourceJob {
  public:
    using SourceJob::SourceJob;
    PointOfEvent point = PointOfEvent::fraction;
    double fraction = 0.0;

    int64_t Without() const { return counts.front().second; }

    void Compute(SampleReader& samples, JobContext& context) override {
        EventTrace values(samples, std::max(0, trace));
        std::vector<EventEnds> ends;
        ends.reserve(source.Events().size());
        int64_t without = 0;
        EachEvent(context, [&](const EventsByOnset& events, int rank) {
            const auto at = trace < 0 ? std::optional(PointAtFraction(events[rank], fraction))
                                      : PointInTrace(events[rank], point, values);
            without += !at;
            ends.push_back({at.value_or(0), int64_t{at.value_or(0)} + 1, at.has_value()});
        });
        found.front().events = Retime(EventsByOnset(source), ends).events;
        counts = {{"Without samples", without}};
    }
};

}  // namespace

void CMakePointProcess::Serialize(CArchive& archive) {
    CEventEditDlg::Serialize(archive);
    ExchangeVersion(archive, pointVersion, ClassName());
    Exchange(archive, m_nMethod);
    Exchange(archive, m_dFraction);
    Exchange(archive, m_nTrace);
}

void CMakePointProcess::GetParamText(std::string& text) {
    CEventEditDlg::GetParamText(text);
    text += ReadsTrace() ? fmt::format("{} {}\r\n", methodWords[m_nMethod], m_nTrace + 1)
                         : fmt::format("Relative fraction: {:f}\r\n", m_dFraction);
}

void CMakePointProcess::Describe(ParamList& list) {
    DescribeSource(list);
    list.Find("trace")->Tip("Trace in whose samples the point of each event is looked for").EnabledIf([this] {
        return ReadsTrace();
    });
    list.Group("Point");
    list.Choice("method", "Point", m_nMethod,
                {"fraction of the duration", "centre of gravity", "maximum", "minimum"})
        .Buttons()
        .With(&Field::buttonColumns, 2)
        .Linked({"fraction", "trace"})
        .Tip("Each event becomes one sample: at a part of its duration, at the centre of gravity of the "
             "samples "
             "above its smallest one, or at its largest or smallest sample");
    list.Number("fraction", "Relative fraction", m_dFraction)
        .Limits(0.0, 1.0)
        .EnabledIf([this] { return !ReadsTrace(); })
        .Tip("Of the duration: 0 is the start of the event, 1 its last sample");
    DescribeTarget(list);
}

// A recording without samples has fractions all the same.
std::string CMakePointProcess::CheckSettings() {
    const CDataDoc* doc = Document();
    if (doc && ReadsTrace() && m_nTrace >= doc->traceCount) return noSuchTraceText;
    return CEventEditDlg::CheckSettings();
}

std::unique_ptr<EventEditJob> CMakePointProcess::NewJob() const {
    return std::make_unique<PointJob>(Document()->GetSession().random);
}

bool CMakePointProcess::Edit(EventEditJob& edit) {
    auto& job = static_cast<PointJob&>(edit);
    const CEventChan& source = Channel(m_nChannel1);
    job.Take(source, ReadsTrace() ? m_nTrace : -1);
    job.reads = {m_nChannel1};
    job.point = static_cast<PointOfEvent>(m_nMethod);
    job.fraction = m_dFraction;
    job.method = methodPointProcess;
    job.found.front().parentTrace = ReadsTrace() ? m_nTrace : source.parentTrace;
    return true;
}

bool CMakePointProcess::Write(OperationJob& job, UndoScope& undo) {
    if (!CEventEditDlg::Write(job, undo)) return false;
    const int64_t without = static_cast<PointJob&>(job).Without();
    if (without > 0)
        Tell(fmt::format("{} without samples in trace {} {} left out.", EventsText(without), m_nTrace + 1,
                         without == 1 ? "was" : "were"));
    return true;
}

}  // namespace kymora
