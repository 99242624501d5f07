#include "eventedit/event_freq_filter.h"

#include <fmt/format.h>

#include "eventedit/interval_filter.h"

namespace kymora {

namespace {

constexpr uint32_t freqFilterVersion = 1;
constexpr double longestAverage = 1e12;  // ms

}  // namespace

void CEventFreqFilter::Serialize(CArchive& archive) {
    CEventFilterDlg::Serialize(archive);
    ExchangeVersion(archive, freqFilterVersion, ClassName());
    Exchange(archive, m_nMinIntervalCount);
    Exchange(archive, m_fMaxAverageInterval);
    Exchange(archive, m_fMinAverageInterval);
    Exchange(archive, m_fMaxCv);
}

void CEventFreqFilter::GetParamText(std::string& text) {
    text += fmt::format("Enclosing  channel: {}\r\nFilter channel: {}\r\nDestination channel: {}\r\n",
                        ChannelName(m_nChannel1), ChannelName(m_nChannel2), ChannelName(m_nDestination));
    text += fmt::format("\tMinimum interval count = {}\r\n\tMaximum average interval = {:f}\r\n",
                        m_nMinIntervalCount, m_fMaxAverageInterval);
    text += fmt::format("\tMinimum average interval = {:f}\r\n\tMaximum coefficient of variation = {:f}\r\n",
                        m_fMinAverageInterval, m_fMaxCv);
}

void CEventFreqFilter::Describe(ParamList& list) {
    DescribeSource(list);
    list.Find("channel1")
        ->With(&Field::label, std::string("Enclosing channel"))
        .Tip("Event channel that is filtered: its events enclose others, as bursts do their spikes");
    list.Find("channel2")
        ->With(&Field::label, std::string("Filter channel"))
        .Tip("Event channel whose intervals within each enclosing event decide");
    list.Group("Intervals of the filter channel");
    list.Integer("minIntervalCount", "Minimum interval count", m_nMinIntervalCount)
        .Limits(1, 1e9)
        .Tip("An enclosing event with fewer intervals in it is left out");
    list.Number("maxAverageInterval", "Maximum average interval", m_fMaxAverageInterval)
        .Unit("ms")
        .Limits(0.0, longestAverage)
        .Tip("An enclosing event whose intervals are longer on average is left out");
    list.Number("minAverageInterval", "Minimum average interval", m_fMinAverageInterval)
        .Unit("ms")
        .Limits(0.0, longestAverage)
        .Tip("An enclosing event whose intervals are shorter on average is left out");
    list.Number("maxCv", "Maximum coefficient of variation", m_fMaxCv)
        .Unit("%")
        .Limits(0.0, 1e9)
        .Tip("An enclosing event whose intervals vary more (s.d. / mean) is left out");
    DescribeTarget(list);
}

std::string CEventFreqFilter::CheckSettings() {
    if (m_fMinAverageInterval > m_fMaxAverageInterval) return averageOrderText;
    return CEventFilterDlg::CheckSettings();
}

std::optional<std::vector<uint8_t>> CEventFreqFilter::Keeps(const EventsByOnset& events) {
    const IntervalLimits limits{m_nMinIntervalCount, m_fMinAverageInterval, m_fMaxAverageInterval, m_fMaxCv};
    return ChooseByIntervals(events, EventsByOnset(Channel(m_nChannel2)), limits, Document()->sampleInterval);
}

}  // namespace kymora
