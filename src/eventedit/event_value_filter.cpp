#include "eventedit/event_value_filter.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "statistics/statistics.h"

namespace kymora {

namespace {

constexpr uint32_t valueFilterVersion = 2;
constexpr const char* noWeightsOfSourceText =
    "The events of channel {} have no weights of principal components. They come from the sorting of spikes.";
constexpr const char* noParentTraceText = "Event channel {} has no parent trace. \"{}\" is measured in one.";
constexpr const char* noTaggedEventText =
    "No event of channel {} has the tag '{}'. Choose another tag or channel for the limit.";
constexpr const char* noTaggedValueText =
    "The event with tag '{}' in channel {} has no value of \"{}\". Choose another one for the limit.";
constexpr const char* limitOrderText = "The minimum limit must be less than the maximum limit.";

constexpr const char* sideNames[] = {"minimum", "maximum"};
constexpr const char* sideLabels[] = {"Minimum", "Maximum"};

// What has values: not what displays make, nor what no part of the program measures yet.
bool IsOffered(EvParam param) {
    const bool isMade = param != EvParam::autoCorrelation && param != EvParam::crossCorrelation &&
                        (param < EvParam::valueAtTimeA || param > EvParam::waveletC);
    return isMade && param != EvParam::none && !HasNoEventValues(param);
}

const std::vector<EvParam>& Offered() {
    static const std::vector<EvParam> offered = [] {
        std::vector<EvParam> params;
        for (int i = 0; i < evParamCount; ++i)
            if (const auto param = static_cast<EvParam>(i); IsOffered(param)) params.push_back(param);
        return params;
    }();
    return offered;
}

}  // namespace

EvParam CEventValueFilter::Parameter() const {
    return CEvParamCombo::FromStoredValue(m_nParameter).value_or(EvParam::onDuration);
}

bool CEventValueFilter::Uses(size_t side) const {
    return m_nLimit != static_cast<int32_t>(side == 0 ? ValueLimit::maximum : ValueLimit::minimum);
}

bool CEventValueFilter::UsesMultipliers() const {
    return Is(ValueLimitSource::mean) || Is(ValueLimitSource::median) || Is(ValueLimitSource::tagged);
}

// --- settings ---

void CEventValueFilter::Serialize(CArchive& archive) {
    CEventFilterDlg::Serialize(archive);
    const uint32_t version = ExchangeVersion(archive, valueFilterVersion, ClassName());
    Exchange(archive, m_nParameter);
    Exchange(archive, m_nLimit);
    Exchange(archive, m_nLimitSource);
    for (float& limit : m_fLimit) Exchange(archive, limit);
    for (auto* pair : {&m_dMultiplier, &m_dPercentile})
        for (double& value : *pair) ExchangeWidened(archive, value, version < 2);
    for (std::string& tag : m_strTag) Exchange(archive, tag);
    Exchange(archive, m_nTagChannel);
}

void CEventValueFilter::Describe(ParamList& list) {
    DescribeSource(list);
    list.Find("channel2")
        ->Tip("Event channel with which parameters of two channels are measured")
        .EnabledIf([this] { return NeedsTwoChannels(Parameter()); });
    DescribeParameter(list);
    DescribeLimits(list);
    DescribeTarget(list);
}

void CEventValueFilter::DescribeParameter(ParamList& list) {
    list.Group("Value");
    std::vector<std::string> names;
    for (const EvParam param : Offered()) names.emplace_back(EvParamName(param));
    Field& parameter = list.Choice("parameter", "Parameter", m_nParameter, std::move(names))
                           .Tip("Select the event parameter type by which to filter");
    // Kept is the number in the list of all parameters.
    parameter.load = [this](Field& field) {
        const auto& offered = Offered();
        field.choice =
            static_cast<int>(std::find(offered.begin(), offered.end(), Parameter()) - offered.begin());
    };
    parameter.store = [this](const Field& field) {
        m_nParameter = CEvParamCombo::StoredValue(Offered()[static_cast<size_t>(field.choice)]);
    };
    parameter.load(parameter);
    list.Choice("limit", "Limit", m_nLimit, {"minimum", "maximum", "both"})
        .Buttons()
        .Tip("Event value must be greater than the minimum limit for acceptance; Event value must be less "
             "than "
             "the maximum limit for acceptance; or both");
}

void CEventValueFilter::DescribeLimits(ParamList& list) {
    list.Choice("limitSource", "Limit source", m_nLimitSource,
                {"direct value", "mean +/- s.d. * mult", "median +/- robust s.d. * mult", "value percentile",
                 "tagged event * mult"})
        .Buttons()
        .Tip("Enter the value limits explicitly; Calculate value limits from mean +/- sd * multiplier of "
             "event "
             "values; Calculate value limits from median +/- robust sd * multiplier of event values; "
             "Calculate "
             "value limits from percentiles of event values; Calculate value limits from value of tagged "
             "event "
             "* multiplier");
    const auto numbers = [&](const char* key, const char* column, auto& values, double least, double most,
                             const char* tip, const std::function<bool()>& isUsed) {
        for (size_t side = 0; side < 2; ++side)
            list.Number(std::string(sideNames[side]) + key, fmt::format("{} {}", sideLabels[side], column),
                        values[side])
                .Limits(least, most)
                .Cell(sideLabels[side], column)
                .Tip(fmt::format(fmt::runtime(tip), side == 0 ? "above" : "below"))
                .EnabledIf([this, side, isUsed] { return Uses(side) && isUsed(); });
    };
    numbers("", "limit", m_fLimit, -mostFloat, mostFloat, "The value of an event must be {} this",
            [this] { return Is(ValueLimitSource::direct); });
    numbers("Multiplier", "multiplier", m_dMultiplier, -1e6, 1e6,
            "Times the s.d., or the value of the tagged event: the value of an event must be {} that",
            [this] { return UsesMultipliers(); });
    numbers("Percentile", "percentile", m_dPercentile, 0.0, 100.0,
            "The value of an event must be {} that at this percentile of all",
            [this] { return Is(ValueLimitSource::percentile); });
    for (size_t side = 0; side < 2; ++side)
        list.Text(std::string(sideNames[side]) + "Tag", fmt::format("{} tag", sideLabels[side]),
                  m_strTag[side])
            .Cell(sideLabels[side], "tag")
            .Tip("Tag of the event from whose value the limit is made")
            .EnabledIf([this, side] { return Uses(side) && Is(ValueLimitSource::tagged); });
    list.Channel("tagChannel", "Channel of tags", m_nTagChannel)
        .Tip("Event channel in which the tagged events are")
        .Shows([this] { return EventCountText(Document(), m_nTagChannel); })
        .EnabledIf([this] { return Is(ValueLimitSource::tagged); });
}

std::vector<int> CEventValueFilter::Sources() const {
    std::vector<int> sources{m_nChannel1};
    if (NeedsTwoChannels(Parameter())) sources.push_back(m_nChannel2);
    if (Is(ValueLimitSource::tagged)) sources.push_back(m_nTagChannel);
    return sources;
}

bool CEventValueFilter::AreLimitsCrossed() const {
    if (!Uses(0) || !Uses(1)) return false;
    if (Is(ValueLimitSource::percentile)) return !(m_dPercentile[0] < m_dPercentile[1]);
    return Is(ValueLimitSource::direct) && !(m_fLimit[0] < m_fLimit[1]);
}

std::string CEventValueFilter::CheckSettings() {
    const CDataDoc* doc = Document();
    if (doc && NeedsParentTrace(Parameter()))
        for (const int channel : Is(ValueLimitSource::tagged) ? std::vector<int>{m_nChannel1, m_nTagChannel}
                                                              : std::vector<int>{m_nChannel1})
            if (const int parent = doc->GetParentTrace(channel); parent < 0 || parent >= doc->traceCount)
                return fmt::format(noParentTraceText, ChannelName(channel), EvParamName(Parameter()));
    const EvParam param = Parameter();
    if (doc && param >= EvParam::pcWeight1 && param <= EvParam::pcWeight3 &&
        Channel(m_nChannel1).EventExtra().empty())
        return fmt::format(noWeightsOfSourceText, ChannelName(m_nChannel1));
    return AreLimitsCrossed() ? limitOrderText : CEventFilterDlg::CheckSettings();
}

// --- values and limits ---

void CEventValueFilter::ForgetFound() {
    CEventFilterDlg::ForgetFound();
    m_found.reset();
}

CEventBlock CEventValueFilter::BlockOf(int channel) const {
    CDataDoc& doc = *Document();
    CEventBlock block(doc, channel, NeedsTwoChannels(Parameter()) ? m_nChannel2 : -1,
                      doc.GetParentTrace(channel));
    block.AddBlock(0, static_cast<int32_t>(doc.GetLength()));
    block.FillEvs();
    return block;
}

std::vector<float> CEventValueFilter::ValuesOf(const CEventBlock& block) const {
    std::vector<float> values;
    CollateEventData(*Document(), Parameter(), block, values);
    return values;
}

// An event that begins outside the recording has no value, and no not-a-number lies beyond a limit.
std::optional<std::vector<uint8_t>> CEventValueFilter::Keeps(const EventsByOnset& events) {
    const CEventBlock block = BlockOf(m_nChannel1);
    const std::vector<float> values = ValuesOf(block);
    if (!FindLimits(values)) return std::nullopt;
    const auto [minimum, maximum] = *m_found;
    std::vector<uint8_t> keeps(static_cast<size_t>(events.Size()));
    const auto first = static_cast<size_t>(std::max(0, block.RankOf(0, 0)));
    for (size_t k = 0; k < values.size(); ++k)
        keeps[first + k] =
            !std::isnan(values[k]) && (!Uses(0) || values[k] > minimum) && (!Uses(1) || values[k] < maximum);
    return keeps;
}

bool CEventValueFilter::FindLimits(const std::vector<float>& values) {
    std::array<float, 2> limits = m_fLimit;
    std::vector<float> finite;
    if (!Is(ValueLimitSource::direct)) AppendFinite(values, finite);
    const auto around = [&](double middle, double spread) {
        limits = {static_cast<float>(middle - spread * m_dMultiplier[0]),
                  static_cast<float>(middle + spread * m_dMultiplier[1])};
    };
    if (Is(ValueLimitSource::mean)) {
        const MeanSd measured = GetMeanSd(finite);
        around(measured.mean, measured.sd);
    } else if (Is(ValueLimitSource::median)) {
        const MedianRobustSd measured = GetMedianRobustSd(finite);
        around(measured.median, measured.robustSd);
    } else if (Is(ValueLimitSource::percentile)) {
        for (size_t side = 0; side < 2; ++side) {
            limits[side] = std::numeric_limits<float>::quiet_NaN();
            if (finite.empty()) continue;
            const auto place = finite.begin() + (PercentileRank(std::ssize(finite), m_dPercentile[side]) - 1);
            std::nth_element(finite.begin(), place, finite.end());
            limits[side] = *place;
        }
    }
    m_found = limits;
    if (!Is(ValueLimitSource::tagged)) return true;
    return (!Uses(0) || FindTaggedLimit(0)) && (!Uses(1) || FindTaggedLimit(1));
}

bool CEventValueFilter::FindTaggedLimit(size_t side) {
    const std::string& tag = m_strTag[side];
    const CEventBlock block = BlockOf(m_nTagChannel);
    const EventsByOnset& events = block.Channel1();
    int rank = 0;
    while (rank < events.Size() &&
           (events[rank].eventTag == 0 || std::to_string(events[rank].eventTag) != tag))
        ++rank;
    if (rank == events.Size()) {
        Refuse(fmt::format(noTaggedEventText, ChannelName(m_nTagChannel), tag));
        return false;
    }
    const std::vector<float> values = ValuesOf(block);
    const int k = rank - std::max(0, block.RankOf(0, 0));
    const bool hasValue = k >= 0 && k < std::ssize(values) && std::isfinite(values[static_cast<size_t>(k)]);
    if (!hasValue) {
        Refuse(fmt::format(noTaggedValueText, tag, ChannelName(m_nTagChannel), EvParamName(Parameter())));
        return false;
    }
    (*m_found)[side] = static_cast<float>(values[static_cast<size_t>(k)] * m_dMultiplier[side]);
    return true;
}

// --- what is told ---

void CEventValueFilter::GetParamText(std::string& text) {
    CEventFilterDlg::GetParamText(text);
    if (NeedsTwoChannels(Parameter()))
        text += fmt::format("Event channel 2: {}\r\n", ChannelName(m_nChannel2));
    const auto [minimum, maximum] = m_found.value_or(m_fLimit);
    text += fmt::format("Filter by: {}\r\n\tLimit: ", EvParamName(Parameter()));
    if (Uses(0) && Uses(1))
        text += fmt::format("Minimum = {:f} and maximum = {:f}", minimum, maximum);
    else
        text += Uses(0) ? fmt::format("Minimum = {:f}", minimum) : fmt::format("Maximum = {:f}", maximum);
    static constexpr const char* sources[] = {"direct value\r\n\t\t", "mean +/- s.d. * mult\r\n",
                                              "median +/- robust s.d. * mult\r\n", "value percentile\r\n",
                                              "tagged event\r\n"};
    text += fmt::format("\r\n\tLimit source: {}", sources[std::clamp(m_nLimitSource, 0, 4)]);
    if (Is(ValueLimitSource::percentile))
        text += fmt::format("\t\tpercentile: on {:f}, off {:f}\r\n", m_dPercentile[0], m_dPercentile[1]);
    const std::string id = ChannelName(m_nTagChannel);
    if (Is(ValueLimitSource::tagged))
        text +=
            fmt::format("\t\tmin tag: {}, id {}\tmax tag: {}, id {}\r\n", m_strTag[0], id, m_strTag[1], id);
    if (UsesMultipliers())
        text += fmt::format("\t\tmult: min {:f}, max {:f}\r\n", m_dMultiplier[0], m_dMultiplier[1]);
}

std::vector<Result> CEventValueFilter::Results() {
    std::vector<Result> results = CEventFilterDlg::Results();
    if (results.empty() || !m_found) return results;
    for (size_t side = 0; side < 2; ++side)
        if (Uses(side)) results.front().values.emplace_back(sideLabels[side], (*m_found)[side]);
    return results;
}

std::string CEventValueFilter::RunSummary() const {
    std::string text = CEventFilterDlg::RunSummary();
    if (text.empty() || !m_found || Is(ValueLimitSource::direct)) return text;
    for (size_t side = 0; side < 2; ++side)
        if (Uses(side)) text += fmt::format(", {} {:g}", sideNames[side], (*m_found)[side]);
    return text;
}

}  // namespace kymora
