#include "eventedit/event_time_filter.h"

#include <fmt/format.h>

#include <algorithm>

namespace kymora {

namespace {

constexpr uint32_t timeFilterVersion = 2;
constexpr double greatestTimeSamples = 2147483547.0;

// What the filter has joined and left out.
struct TimeFilterCounts {
    int64_t joined = 0, tooShort = 0, tooLong = 0;
};

// By the channel's own rule, which is that of the threshold detector.
std::vector<CEventKM> FilterByTime(const CEventChan& source, int32_t minimumOff, int32_t minimumOn,
                                   int32_t maximumOn, TimeFilterCounts& counts) {
    CEventChan chan;
    chan.CopyEvents(source);  // in order, whatever the source is
    chan.FilterByGap(minimumOff, 0, INT32_MAX);
    counts.joined = source.GetNumEvents() - chan.GetNumEvents();
    std::vector<CEventKM> events = chan.Splice(0, chan.GetNumEvents(), {});
    const bool limits = minimumOn > 1 || maximumOn < INT32_MAX;
    std::erase_if(events, [&](const CEventKM& event) {
        const int64_t duration = int64_t{event.offPosition} - event.onPosition;
        const bool isShort = limits && duration < minimumOn;
        const bool isLong = duration > maximumOn;
        counts.tooShort += isShort;
        counts.tooLong += isLong && !isShort;
        return isShort || isLong;
    });
    return events;
}

}  // namespace

void CEventTimeFilter::Serialize(CArchive& archive) {
    CEventEditDlg::Serialize(archive);
    const uint32_t version = ExchangeVersion(archive, timeFilterVersion, ClassName());
    for (double* time : {&m_dMinimumOff, &m_dMinimumOn, &m_dMaximumOn}) {
        ExchangeWidened(archive, *time, version < 2);
        // The float of the greatest time lies above it.
        if (version < 2) *time = std::min(*time, greatestTimeSamples);
    }
}

void CEventTimeFilter::GetParamText(std::string& text) {
    text += fmt::format("Source channel: {}\r\nDestination channel: {}\r\n", ChannelName(m_nChannel1),
                        ChannelName(m_nDestination));
    text +=
        fmt::format("\tMinimum off time = {:f}\r\n\tMinimum on time = {:f}\r\n\tMaximum on time = {:f}\r\n",
                    m_dMinimumOff, m_dMinimumOn, m_dMaximumOn);
}

void CEventTimeFilter::Describe(ParamList& list) {
    DescribeSource(list);
    const double most = greatestTimeSamples * (Document() ? Document()->sampleInterval : 1.0);
    list.Group("Time");
    list.Number("minimumOffTime", "Minimum off time", m_dMinimumOff)
        .Unit("ms")
        .Limits(0.0, most)
        .Tip("Events that are separated by less become one, with all that the first one has; with 0, only "
             "those that overlap");
    list.Number("minimumOnTime", "Minimum on time", m_dMinimumOn)
        .Unit("ms")
        .Limits(0.0, most)
        .Tip("Events that are shorter are left out");
    list.Number("maximumOnTime", "Maximum on time", m_dMaximumOn)
        .Unit("ms")
        .Limits(0.0, most)
        .Tip("Event must be SHORTER than this for it to be accepted. It must not be longer: one of just this "
             "duration is accepted, too");
    DescribeTarget(list);
}

std::string CEventTimeFilter::CheckSettings() {
    return m_dMinimumOn > m_dMaximumOn ? onTimeOrderText : CEventEditDlg::CheckSettings();
}

bool CEventTimeFilter::Edit(EventEditJob& job) {
    const CDataDoc& doc = *Document();
    const CEventChan& source = Channel(m_nChannel1);
    const auto samples = [&](double time) { return doc.PositionOf(time); };
    TimeFilterCounts counts;
    job.found.front().events =
        FilterByTime(source, samples(m_dMinimumOff), samples(m_dMinimumOn), samples(m_dMaximumOn), counts);
    job.sourceEvents = source.GetNumEvents();
    job.counts = {{"Joined", counts.joined}, {"Too short", counts.tooShort}, {"Too long", counts.tooLong}};
    return true;
}

}  // namespace kymora
