// Where the levels of the threshold detector come from, and the lines that show them.

#include <fmt/format.h>

#include <algorithm>

#include "detection/event_threshold.h"

namespace kymora {

namespace {

// 0x00BBGGRR
constexpr uint32_t red = 0x0000FF, blue = 0xFF0000, green = 0x00A000;
constexpr uint32_t magenta = 0xFF00FF, cyan = 0xD0C000, orange = 0x0080FF;
constexpr uint32_t grey = 0x808080;
constexpr int64_t progressFrom = 1000;  // longer spans are searched with a progress box

}  // namespace

// --- what the window shows ---

// Levels and multipliers: the offset is the onset, on both sides. Percentiles have a rule of their own.
void CEventThreshold::FollowOnset() {
    if (!m_bOffsetEqualsOnset || UsesPercentiles()) return;
    m_fOffMult = m_fOnMult;
    if (UsesStatistics()) return;
    m_levels.OffPos = m_levels.OnPos;
    m_levels.OffNeg = m_levels.OnNeg;
}

void CEventThreshold::UpdateLevels() {
    FollowOnset();
    if (!Document() || !View() || m_bInBatch || m_isMeasuring || !UsesStatistics()) return;
    if (m_nTrace >= Document()->traceCount) return;
    m_isMeasuring = true;
    try {
        MeasureLevels(m_nTrace, ChooseStats(false), false);
    } catch (const FileError& error) {
        // A run will tell it.
        GetHost().Log(std::string(error.what()) + "\n");
    }
    m_isMeasuring = false;
}

std::vector<ViewGuide> CEventThreshold::Guides() {
    UpdateLevels();
    std::vector<ViewGuide> guides;
    const CDataDoc* doc = Document();
    if (!doc || m_nTrace >= doc->traceCount) return guides;
    const auto level = [&](bool isUsed, float at, uint32_t colour, const char* name) {
        if (isUsed && std::isfinite(at))
            guides.push_back({ViewGuide::Kind::level, m_nTrace, at, colour, name});
    };
    level(TestsPositive(), m_levels.OnPos, red, "on +ve");
    level(TestsPositive(), m_levels.OffPos, blue, "off +ve");
    level(TestsPositive() && m_bLimitLogicUsed, m_levels.LimitPos, green, "limit +ve");
    level(TestsNegative(), m_levels.OnNeg, magenta, "on -ve");
    level(TestsNegative(), m_levels.OffNeg, cyan, "off -ve");
    level(TestsNegative() && m_bLimitLogicUsed, m_levels.LimitNeg, orange, "limit -ve");
    if (UsesMultipliers() && Is(StatsSource::mostInactive) && m_search.trace == m_nTrace) {
        const int64_t end = m_statistics.First() + m_statistics.CountAsked();
        guides.push_back(
            {ViewGuide::Kind::time, m_nTrace, doc->TimeOf(m_statistics.First()), grey, "least active"});
        guides.push_back({ViewGuide::Kind::time, m_nTrace, doc->TimeOf(end), grey, {}});
    }
    return guides;
}

// --- the stretch ---

void CEventThreshold::Warn(std::string_view words) {
    if (!m_bInBatch) return Tell(words);
    // A line of the process errors has an end of its own.
    if (words.ends_with("\r\n")) words.remove_suffix(2);
    Refuse(words);
}

CEventThreshold::StatsChoice CEventThreshold::ChooseStats(bool talks) {
    StatsChoice choice;
    choice.source = static_cast<StatsSource>(m_nStatsSource);
    if (choice.source != StatsSource::taggedEvent) return choice;
    choice.channel = FindStatsChannel(talks);
    if (choice.channel >= 0) {
        choice.event = FindTaggedEvent(choice.channel, talks);
        return choice;
    }
    if (talks) Tell(fmt::format(noStatsEventsText, Document()->filePath.string(), Title()));
    // Outside a batch the user sees what is used instead; a batch asks each file anew.
    if (talks && !m_bInBatch) m_nStatsSource = static_cast<int32_t>(StatsSource::userTimes);
    choice.source = StatsSource::userTimes;
    return choice;
}

// The stats channel, or else the first one with events; -1 when there is none.
int CEventThreshold::FindStatsChannel(bool talks) {
    const CDataDoc& doc = *Document();
    if (doc.GetNumEvents(m_nStatsChannel) > 0) return m_nStatsChannel;
    for (int channel = 0; channel < maxEventChannels; ++channel) {
        if (doc.GetNumEvents(channel) == 0) continue;
        if (talks)
            Warn(fmt::format(otherStatsChannelText, ChannelName(m_nStatsChannel), ChannelName(channel)));
        return channel;
    }
    return -1;
}

// The event with the tag, or else the first one.
SampleSpan CEventThreshold::FindTaggedEvent(int channel, bool talks) {
    const auto& events = Document()->eventChannels[static_cast<size_t>(channel)].Events();
    auto found = std::find_if(events.begin(), events.end(), [this](const CEventKM& event) {
        return std::to_string(event.eventTag) == m_strStatsTag;
    });
    if (found == events.end()) {
        found = events.begin();
        if (talks && !m_strStatsTag.empty())
            Tell(fmt::format(noStatsTagText, Document()->filePath.string(), Title(), m_strStatsTag));
    }
    return {found->onPosition, found->offPosition};
}

SampleSpan CEventThreshold::StatsSpan(int trace, const StatsChoice& choice, bool talks) {
    const CDataDoc& doc = *Document();
    switch (choice.source) {
    case StatsSource::wholeFile:
        return {0, static_cast<int32_t>(doc.GetTraceLength(trace))};
    case StatsSource::visibleView:
        return HeldTo(doc, VisibleSpan(doc, View()));
    case StatsSource::userTimes:
        return HeldTo(doc, {doc.PositionOf(m_dStatsStart), doc.PositionOf(m_dStatsEnd)});
    case StatsSource::taggedEvent:
        return HeldTo(doc, choice.event);
    case StatsSource::mostInactive:
        break;
    }
    return FindLeastActive(trace, talks);
}

SampleSpan CEventThreshold::FindLeastActive(int trace, bool talks) {
    CDataDoc& doc = *Document();
    const SampleSpan span = HeldTo(doc, VisibleSpan(doc, View()));
    const int64_t count = int64_t{span.end} - span.first;
    const int64_t window = std::max<int64_t>(1, doc.PositionOf(static_cast<double>(m_fInactiveDuration)));
    const bool isKnown = m_search.trace == trace && m_search.span == span && m_search.window == window;
    if (!isKnown || (m_search.isCancelled && talks)) {
        std::unique_ptr<Progress> progress;
        if (count > progressFrom)
            progress = GetHost().StartProgress(searchLabel, static_cast<uint64_t>(count));
        const int64_t start = FindLeastActiveWindow(doc, trace, span.first, count, window, progress.get());
        const bool isCancelled = start == noWindow;
        m_search = {trace, span, window, isCancelled ? span.first : start, isCancelled};
        progress.reset();
        if (isCancelled) Warn(searchCancelledText);
    }
    const int64_t end = std::min<int64_t>(m_search.start + window, span.end);
    return {static_cast<int32_t>(m_search.start), static_cast<int32_t>(end)};
}

// --- the levels ---

bool CEventThreshold::MeasureLevels(int trace, const StatsChoice& choice, bool talks) {
    const SampleSpan span = StatsSpan(trace, choice, talks);
    m_statistics.SetStretch(*Document(), trace, span.first, int64_t{span.end} - span.first);
    if (talks && m_statistics.IsTruncated() && !m_hasTruncated) {
        m_hasTruncated = true;
        Warn(fmt::format(tooManyStatisticsSamplesText, m_statistics.CountAsked(), mostStatisticsSamples));
    }
    if (UsesPercentiles()) {
        if (m_statistics.Percentile(0, m_fOnPercentile).count == 0) return false;
        TakePercentiles();
        return true;
    }
    const bool isMean = Is(ThresholdSource::meanSd);
    if ((isMean ? m_statistics.Mean().count : m_statistics.Robust().count) == 0) return false;
    const double middle = isMean ? m_statistics.Mean().mean : m_statistics.Robust().median;
    const double spread = isMean ? m_statistics.Mean().sd : m_statistics.Robust().robustSd;
    const auto around = [&](float multiplier, float& positive, float& negative) {
        positive = static_cast<float>(middle + multiplier * spread);
        negative = static_cast<float>(middle - multiplier * spread);
    };
    around(m_fOnMult, m_levels.OnPos, m_levels.OnNeg);
    around(m_fOffMult, m_levels.OffPos, m_levels.OffNeg);
    around(m_fLimitMult, m_levels.LimitPos, m_levels.LimitNeg);
    return true;
}

void CEventThreshold::TakePercentiles() {
    const PercentileValues& on = m_statistics.Percentile(0, m_fOnPercentile);
    m_levels.OnNeg = on.low;
    m_levels.OnPos = on.high;
    if (m_bOffsetEqualsOnset) {
        // The negative offset keeps what it was: the two sides are not alike here.
        m_levels.OffPos = m_levels.OnPos;
    } else {
        const PercentileValues& off = m_statistics.Percentile(1, m_fOffPercentile);
        m_levels.OffNeg = off.low;
        m_levels.OffPos = off.high;
    }
    if (!m_bLimitLogicUsed) return;
    const PercentileValues& limit = m_statistics.Percentile(2, m_fLimitPercentile);
    m_levels.LimitNeg = limit.low;
    m_levels.LimitPos = limit.high;
}

}  // namespace kymora
