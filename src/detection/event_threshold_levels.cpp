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
    if (!Document() || !View() || !IsAttended() || m_isMeasuring || !UsesStatistics()) return;
    if (m_nTrace >= Document()->traceCount) return;
    m_isMeasuring = true;
    try {
        Here here(*this);
        const LevelSettings settings = MeterSettings();
        const SampleSpan stretch = StatsSpan(m_nTrace, ChooseStats(false));
        m_meter.Seek(*Document(), m_nTrace, stretch, settings.window, here, false);
        m_meter.Measure(*Document(), settings, m_levels);
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
    const auto level = [&](bool isUsed, float at, uint32_t colour, const char* name, const char* parameter) {
        if (isUsed && std::isfinite(at))
            guides.push_back({ViewGuide::Kind::level, m_nTrace, at, colour, name, parameter});
    };
    level(TestsPositive(), m_levels.OnPos, red, "on +ve", "onPos");
    level(TestsPositive(), m_levels.OffPos, blue, "off +ve", "offPos");
    level(TestsPositive() && m_bLimitLogicUsed, m_levels.LimitPos, green, "limit +ve", "limitPos");
    level(TestsNegative(), m_levels.OnNeg, magenta, "on -ve", "onNeg");
    level(TestsNegative(), m_levels.OffNeg, cyan, "off -ve", "offNeg");
    level(TestsNegative() && m_bLimitLogicUsed, m_levels.LimitNeg, orange, "limit -ve", "limitNeg");
    if (UsesMultipliers() && Is(StatsSource::mostInactive) && m_meter.HasSearched(m_nTrace)) {
        const int64_t first = m_meter.Statistics().First();
        const int64_t end = first + m_meter.Statistics().CountAsked();
        guides.push_back({ViewGuide::Kind::time, m_nTrace, doc->TimeOf(first), grey, "least active"});
        guides.push_back({ViewGuide::Kind::time, m_nTrace, doc->TimeOf(end), grey, {}});
    }
    return guides;
}

// --- the stretch ---

void CEventThreshold::Warn(std::string_view words) {
    if (IsAttended()) return Tell(words);
    // In a report the file and the title stand before each text, and its line has an end of its own.
    if (words.ends_with("\r\n")) words.remove_suffix(2);
    Refuse(words);
}

void CEventThreshold::WarnOfFile(std::string_view words) {
    if (!IsAttended()) return Warn(words);
    Tell(fmt::format("{}\r\n\t{}: {}", Document()->filePath.string(), Title(), words));
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
    if (talks) WarnOfFile(noStatsEventsText);
    // Outside a batch the user sees what is used instead; a batch asks each file anew.
    if (talks && IsAttended()) m_nStatsSource = static_cast<int32_t>(StatsSource::userTimes);
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
        if (talks && !m_strStatsTag.empty()) WarnOfFile(fmt::format(noStatsTagText, m_strStatsTag));
    }
    return {found->onPosition, found->offPosition};
}

SampleSpan CEventThreshold::StatsSpan(int trace, const StatsChoice& choice) const {
    const CDataDoc& doc = *Document();
    switch (choice.source) {
    case StatsSource::wholeFile:
        return {0, static_cast<int32_t>(doc.GetTraceLength(trace))};
    case StatsSource::userTimes:
        return HeldTo(doc, {doc.PositionOf(m_dStatsStart), doc.PositionOf(m_dStatsEnd)});
    case StatsSource::taggedEvent:
        return HeldTo(doc, choice.event);
    case StatsSource::visibleView:
    case StatsSource::mostInactive:
        break;
    }
    return HeldTo(doc, VisibleSpan(doc, View()));
}

LevelSettings CEventThreshold::MeterSettings() const {
    LevelSettings settings{static_cast<ThresholdSource>(m_nThresholdSource),
                           {m_fOnMult, m_fOffMult, m_fLimitMult},
                           {m_fOnPercentile, m_fOffPercentile, m_fLimitPercentile},
                           m_bOffsetEqualsOnset,
                           m_bLimitLogicUsed,
                           0};
    if (Is(StatsSource::mostInactive))
        settings.window =
            std::max<int64_t>(1, Document()->PositionOf(static_cast<double>(m_fInactiveDuration)));
    return settings;
}

}  // namespace kymora
