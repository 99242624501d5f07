#include "eventedit/event_adjust_times.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "eventedit/source_job.h"

namespace kymora {

namespace {

constexpr uint32_t adjustVersion = 2;
constexpr double greatestShift = 1e9;  // ms

// Start and end that a kind begins with: nothing is moved, or the peak at half its height.
using UsualOfKinds = std::array<double, 4>;
constexpr UsualOfKinds usualStart{0.0, 0.0, 0.0, 50.0}, usualEnd{0.0, 0.0, 1.0, 50.0};

void TakeUsual(double& value, const UsualOfKinds& usual, int32_t before, int32_t now) {
    const auto of = [&](int32_t kind) { return usual[static_cast<size_t>(std::clamp(kind, 0, 3))]; };
    if (value == of(before)) value = of(now);
}

class AdjustJob : public SourceJob {
  public:
    using SourceJob::SourceJob;
    AdjustedBy by;
    int64_t length = 0;

    int64_t Deleted() const { return counts.front().second; }

    void Compute(SampleReader& samples, JobContext& context) override {
        EventTrace values(samples, std::max(0, trace));
        std::vector<EventEnds> ends;
        ends.reserve(source.Events().size());
        int64_t without = 0, deleted = 0;
        EachEvent(context, [&](const EventsByOnset& events, int rank) {
            ends.push_back(HeldEnds(EndsOf(events[rank], values, without), length));
            deleted += !ends.back().stays;
        });
        RetimedEvents made = Retime(EventsByOnset(source), ends);
        found.front().events = std::move(made.events);
        extra = std::move(made.extra);
        counts = {{"Deleted", deleted}};
        if (trace >= 0) counts.emplace_back("Without samples", without);
    }

  private:
    EventEnds EndsOf(const CEventKM& event, EventTrace& values, int64_t& without) {
        if (trace < 0) return AdjustedEnds(event, by, normals_);
        const auto bracketed = BracketPeak(event, values, by.start, by.end);
        without += !bracketed;
        return bracketed.value_or(EventEnds{event.onPosition, event.offPosition});
    }

    NormalDraws normals_{random};
};

}  // namespace

void CEventAdjustTimes::Serialize(CArchive& archive) {
    CEventEditDlg::Serialize(archive);
    const uint32_t version = ExchangeVersion(archive, adjustVersion, ClassName());
    Exchange(archive, m_nKind);
    for (double* value : {&m_dStart, &m_dEnd, &m_dSd}) ExchangeWidened(archive, *value, version < 2);
    m_nKindOfValues = m_nKind;
}

void CEventAdjustTimes::GetParamText(std::string& text) {
    CEventEditDlg::GetParamText(text);
    switch (static_cast<TimeAdjustment>(m_nKind)) {
    case TimeAdjustment::offset:
        text += fmt::format("Offset adjustment (+/- ms)\r\n\tTime = T + {:f}\tS.D. = {:f}\r\n\t", m_dStart,
                            m_dSd);
        break;
    case TimeAdjustment::ends:
        text += fmt::format("Adjust start and/or end (+/- ms)\r\n\tStart time = T + {:f}\r\n\tEnd time = T + "
                            "{:f}\r\n\tS.D.  = "
                            "{:f}\r\n\t",
                            m_dStart, m_dEnd, m_dSd);
        break;
    case TimeAdjustment::relative:
        text += fmt::format(
            "Adjust relative to event duration (+/- fraction)\r\n\tStart time = T + {:f}\r\n\tEnd time = t + "
            "{:f} ",
            m_dStart, m_dEnd);
        break;
    case TimeAdjustment::bracketPeak:
        text += fmt::format(
            "Bracket peak\r\n\tParent trace = {}\r\n\tRising slope % = {:f}\r\n\tFalling slope % = {:f}",
            Document() ? Document()->GetParentTrace(m_nChannel1) + 1 : 0, m_dStart, m_dEnd);
        break;
    }
}

void CEventAdjustTimes::TakeUsualValues() {
    if (!m_isStartChosen) TakeUsual(m_dStart, usualStart, m_nKindOfValues, m_nKind);
    if (!m_isEndChosen) TakeUsual(m_dEnd, usualEnd, m_nKindOfValues, m_nKind);
    m_nKindOfValues = m_nKind;
}

const char* CEventAdjustTimes::WhatIsAdded() const {
    if (Is(TimeAdjustment::relative)) return "x duration";
    if (Is(TimeAdjustment::bracketPeak)) return "% of slope";
    return Is(TimeAdjustment::offset) ? "ms, both ends" : "ms";
}

void CEventAdjustTimes::Describe(ParamList& list) {
    DescribeSource(list);
    list.Group("Adjustment");
    list.Choice("kind", "Adjustment", m_nKind,
                {"offset", "start and end", "relative to duration", "bracket peak"})
        .Buttons()
        .With(&Field::buttonColumns, 2)
        .Linked({"start", "end"})
        .OnChange([this] { TakeUsualValues(); })
        .Tip("Both ends are moved by one time; each end by a time of its own; both ends are set at parts of "
             "the "
             "duration from the old start; or they are set where the peak of the parent trace rises and "
             "falls");
    list.Number("start", "Start", m_dStart)
        .OnChange([this] { m_isStartChosen = true; })
        .Limits(-greatestShift, greatestShift)
        .Shows([this] { return std::string(WhatIsAdded()); })
        .Tip("Start time = current start time + so many ms, or + this part of the duration; of a peak, Start "
             "time = rising slope %. Set start/end positions as %age of trough-to-peak slope");
    list.Number("end", "End", m_dEnd)
        .OnChange([this] { m_isEndChosen = true; })
        .Limits(-greatestShift, greatestShift)
        .Shows([this] { return std::string(WhatIsAdded()); })
        .EnabledIf([this] { return !Is(TimeAdjustment::offset); })
        .Tip("End time = current end time + so many ms, or current start time + this part of the duration; "
             "of a "
             "peak, End time = falling slope %. Set start/end positions as %age of trough-to-peak slope");
    list.Number("sd", "Random s.d.", m_dSd)
        .Unit("ms")
        .Limits(0.0, greatestShift)
        .EnabledIf([this] { return m_nKind < static_cast<int32_t>(TimeAdjustment::relative); })
        .Tip("Add random offset to new time value. Gaussian with this SD (only applies to absolute "
             "adjustment).");
    DescribeTarget(list);
}

std::string CEventAdjustTimes::CheckSettings() {
    const CDataDoc* doc = Document();
    if (doc && Is(TimeAdjustment::bracketPeak)) {
        const int parent = doc->GetParentTrace(m_nChannel1);
        if (parent < 0 || parent >= doc->traceCount)
            return fmt::format(noPeakTraceText, ChannelName(m_nChannel1));
    }
    return CEventEditDlg::CheckSettings();
}

std::unique_ptr<EventEditJob> CEventAdjustTimes::NewJob() const {
    return std::make_unique<AdjustJob>(Document()->GetSession().random);
}

bool CEventAdjustTimes::Edit(EventEditJob& edit) {
    auto& job = static_cast<AdjustJob&>(edit);
    const CEventChan& source = Channel(m_nChannel1);
    const bool isPeak = Is(TimeAdjustment::bracketPeak);
    job.Take(source, isPeak ? source.parentTrace : -1);
    job.reads = {m_nChannel1};
    job.length = Document()->GetLength();
    // Absolute times in samples.
    const double unit = isPeak ? 100.0 : Is(TimeAdjustment::relative) ? 1.0 : Document()->sampleInterval;
    job.by = {static_cast<TimeAdjustment>(m_nKind), m_dStart / unit, m_dEnd / unit, m_dSd / unit};
    return true;
}

bool CEventAdjustTimes::Write(OperationJob& job, UndoScope& undo) {
    if (!CEventEditDlg::Write(job, undo)) return false;
    const auto& done = static_cast<AdjustJob&>(job);
    Document()->GetSession().random = done.random;
    if (done.Deleted() > 0)
        Tell(EventsText(done.Deleted()) + " would not end after the start, within the recording, and " +
             (done.Deleted() == 1 ? "was" : "were") + " deleted.");
    return true;
}

}  // namespace kymora
