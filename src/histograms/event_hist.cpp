#include "histograms/event_hist.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "eventanalysis/event_parameters.h"

namespace kymora {

namespace {

constexpr uint32_t eventHistVersion = 3;
constexpr const char* noParentText = "Event channel {} has no parent trace. \"{}\" is measured in one.";
constexpr const char* noWeightsText =
    "The events of channel {} have no weights of principal components. They come from the sorting of spikes.";
constexpr const char* timeBinText = "The time bin is {:g} ms, a whole number of samples, and not {:g} ms.";
constexpr const char* shortTimeBinText = "The time bin is shorter than a sample. Choose a longer one.";
constexpr const char* noTimeBinsText =
    "The analysis region is shorter than a time bin. Choose a shorter one.";
constexpr double correlogramReach = 100.0;  // ms
constexpr int64_t valuesOfTrace = 40;       // samples that an event has, about

struct Offered {
    EvParam param;
    const char* label;  // of the x axis; %u is the unit of the trace
};

// What can be shown, in the order of the list, with the label of its axis.
constexpr Offered offered[] = {
    {EvParam::interval, "interval (ms)"},
    {EvParam::dutyCycle, "duty cycle"},
    {EvParam::frequency, "event freq (Hz)"},
    {EvParam::frequencyInBin, "event freq (Hz)"},
    {EvParam::time, "time (ms)"},
    {EvParam::timeElapsed, "time (ms)"},
    {EvParam::onDuration, "event dur (ms)"},
    {EvParam::gapDuration, "gap dur (ms)"},
    {EvParam::peakToPeak, "pk2pk amp (%u)"},
    {EvParam::peakToPeakDuration, "pk2pk dur (ms)"},
    {EvParam::maxToMinTime, "MaxT-MinT (ms)"},
    {EvParam::maximum, "max amp (%u)"},
    {EvParam::minimum, "min amp (%u)"},
    {EvParam::average, "average (%u)"},
    {EvParam::standardDeviation, "s.d."},
    {EvParam::median, "median (%u)"},
    {EvParam::mad, "MAD (%u)"},
    {EvParam::robustSd, "robust s.d."},
    {EvParam::area, "area (%u.ms)"},
    {EvParam::areaReBase, "area re base (%u.ms)"},
    {EvParam::slope, "slope (%u/s)"},
    {EvParam::rms, "RMS (%u)"},
    {EvParam::variable, "event variable"},
    {EvParam::phaseIn, "phase"},
    {EvParam::phaseNear, "phase"},
    {EvParam::psth, "time (ms)"},
    {EvParam::latencyFromPrevious, "latency (ms)"},
    {EvParam::latencyFromNearest, "latency (ms)"},
    {EvParam::latencyFromPair, "latency (ms)"},
    {EvParam::countWithin, "counts in bin"},
    {EvParam::countFrom, "counts in bin"},
    {EvParam::countInBin, "counts in bin"},
    {EvParam::distributionCount, "counts in bin"},
    {EvParam::rhythmIndex, "A rhythm idx"},
    {EvParam::rhythmPeriod, "A rhythm period (ms)"},
    {EvParam::pcWeight1, "prin comp 1"},
    {EvParam::pcWeight2, "prin comp 2"},
    {EvParam::pcWeight3, "prin comp 3"},
    {EvParam::autoCorrelation, "auto-correlogram (ms)"},
    {EvParam::crossCorrelation, "cross-correlogram (ms)"},
};

std::vector<std::string> OfferedNames() {
    std::vector<std::string> names;
    for (const Offered& one : offered) names.emplace_back(EvParamName(one.param));
    return names;
}

int PlaceOf(EvParam param) {
    const auto* found = std::find_if(std::begin(offered), std::end(offered),
                                     [param](const Offered& one) { return one.param == param; });
    return found == std::end(offered) ? 0 : static_cast<int>(found - std::begin(offered));
}

std::string LabelOf(EvParam param, const std::string& unit) {
    std::string label = offered[PlaceOf(param)].label;
    if (const size_t at = label.find("%u"); at != std::string::npos)
        label.replace(at, 2, unit.empty() ? "mV" : unit);
    return label;
}

}  // namespace

EvParam CEventHist::Parameter() const {
    return CEvParamCombo::FromStoredValue(m_nParameter).value_or(EvParam::interval);
}

bool CEventHist::IsCorrelogram() const {
    return Is(EvParam::psth) || Is(EvParam::autoCorrelation) || Is(EvParam::crossCorrelation);
}

// --- description ---

void CEventHist::Serialize(CArchive& archive) {
    CEventAnalRgnBase::Serialize(archive);
    const uint32_t version = ExchangeVersion(archive, eventHistVersion, ClassName());
    Exchange(archive, m_nParameter);
    m_hist.Exchange(archive);
    for (bool* flag : {&m_psth.average, &m_psth.preStimulusOnly, &m_psth.bootstrap}) Exchange(archive, *flag);
    Exchange(archive, m_psth.bootstrapRuns);
    Exchange(archive, m_strFile);
    m_hist.ExchangeFurther(archive);
    Exchange(archive, m_psth.raster);
    if (version > 1)
        m_hist.ExchangeWholeWidths(archive);
    else
        m_hist.isByCount = m_hist.binCount != HistSettings{}.binCount;
    if (version > 2) Exchange(archive, m_psth.jitter);
}

void CEventHist::GetParamText(std::string& text) {
    CEventAnalRgnBase::GetParamText(text);
    if (m_strFile.empty()) {
        text += fmt::format("Parameter: {}\r\n", EvParamName(Parameter()));
        if (NeedsTwoChannels(Parameter()))
            text += fmt::format("Event channel 2: {}\r\n", ChannelName(m_nChannel2));
        if (HasTimeBin()) text += fmt::format("Time bin: {:g} ms\r\n", m_hist.timeBin);
    }
    AppendHistText(text);
}

void CEventHist::Describe(ParamList& list) {
    DescribeSource(list);
    list.Find("channel2")->EnabledIf([this] { return UsesChannel2(); });
    list.Find("channels")
        ->Tip("Channels whose histograms stand side by side (of cross-correlograms, those of all "
              "pairs); empty: that of event channel 1");
    Field& parameter = list.Choice("parameter", "Parameter", m_nParameter, OfferedNames())
                           .Tip("What is measured of each event")
                           .EnabledIf([this] { return m_strFile.empty(); });
    // Kept is the number in the list of all parameters.
    parameter.load = [this](Field& field) { field.choice = PlaceOf(Parameter()); };
    parameter.store = [this](const Field& field) {
        m_nParameter = CEvParamCombo::StoredValue(offered[field.choice].param);
    };
    parameter.load(parameter);
    parameter.OnChange([this] { m_hist.mix.isSet = false; });
    list.Number("timeBin", "Time bin", m_hist.timeBin)
        .Unit("ms")
        .Limits(1e-6, 1e12)
        .Tip("Width of the bins of time in which events are counted")
        .EnabledIf([this] { return HasTimeBin(); });
    list.Number("refractory", "Refractory line", m_hist.refractory)
        .Unit("ms")
        .Limits(0.0, 1e9)
        .Tip("The share of intervals that are shorter is told")
        .EnabledIf([this] { return Is(EvParam::interval); });
    list.Flag("circular", "Rose", m_hist.circular).Tip("Show circular (rose) phase plot").EnabledIf([this] {
        return IsPhase();
    });
    m_hist.DescribeBins(list, Words());
    // Bars that stand at times have no range of values, and lags no logarithm.
    for (const char* key :
         {"autoRange", "minimum", "maximum", "binCount", "binWidth", "optimalBins", "cumulative", "rug"})
        list.Find(key)->EnabledIf([this] { return !IsInTimeBins(); });
    list.Find("log")->EnabledIf([this] { return !IsInTimeBins() && !IsCorrelogram(); });
    list.Group("By chance");
    list.Flag("averagePsth", "Avg PSTH", m_psth.average)
        .Tip("Histogram shows average counts/bin/stimulus +/- s.d.")
        .EnabledIf([this] { return IsCorrelogram(); });
    list.Flag("preStimulusOnly", "Pre-stimulus only", m_psth.preStimulusOnly)
        .Tip("Calculate mean and confidence limits from pre-stimulus data only")
        .EnabledIf([this] { return Is(EvParam::psth); });
    list.Flag("raster", "Raster", m_psth.raster)
        .Tip("A row of events for each stimulus, above the histogram")
        .EnabledIf([this] { return Is(EvParam::psth) && m_channels.size() < 2; });
    list.Flag("bootstrap", "Bootstrap", m_psth.bootstrap)
        .Tip("Calculate mean and confidence limits from bootstrap")
        .EnabledIf([this] { return IsCorrelogram(); });
    list.Integer("bootstrapRuns", "Runs", m_psth.bootstrapRuns)
        .Limits(1, 1000000)
        .Tip(
            "So many times the events are put at random into the region, or within the windows of the jitter")
        .EnabledIf([this] { return IsCorrelogram() && (m_psth.bootstrap || m_psth.jitter > 0.0); });
    list.Number("jitter", "Jitter", m_psth.jitter)
        .Unit("ms")
        .Limits(0.0, 1e9)
        .Tip("Draws the band that holds 99% of the counts of each bin when the events of channel 1 fall "
             "anywhere "
             "within windows so long: what goes beyond it is precise to less than that. 0: no band")
        .EnabledIf([this] { return IsCorrelogram() && !Is(EvParam::autoCorrelation); });
    m_hist.DescribeOverlays(list, Words());
    DescribeRegion(list);
    DescribeFile(list);
    DescribeSaving(list);
}

std::string CEventHist::CheckSettings() {
    if (std::string fault = CEventAnalRgnBase::CheckSettings(); !fault.empty()) return fault;
    const CDataDoc* doc = Document();
    if (!doc || !m_strFile.empty()) return {};
    std::vector<int> channels = SourceChannels();
    if (UsesChannel2()) channels.push_back(m_nChannel2);
    for (const int channel : channels)
        if (doc->GetNumEvents(channel) == 0)
            return fmt::format("There are no events in channel {}.", ChannelName(channel));
    for (const int channel : SourceChannels())
        if (NeedsParentTrace(Parameter()) && doc->GetParentTrace(channel) < 0)
            return fmt::format(noParentText, ChannelName(channel), EvParamName(Parameter()));
    const bool isWeight = Parameter() >= EvParam::pcWeight1 && Parameter() <= EvParam::pcWeight3;
    for (const int channel : SourceChannels())
        if (isWeight && doc->eventChannels[static_cast<size_t>(channel)].EventExtra().empty())
            return fmt::format(noWeightsText, ChannelName(channel));
    return {};
}

// --- values ---

// The channels that the user has set come back, whatever happens meanwhile.
class CEventHist::ChannelsKept {
  public:
    explicit ChannelsKept(CEventHist& hist) : hist_(hist), one_(hist.m_nChannel1), two_(hist.m_nChannel2) {}
    ~ChannelsKept() {
        hist_.m_nChannel1 = one_;
        hist_.m_nChannel2 = two_;
    }
    ChannelsKept(const ChannelsKept&) = delete;
    ChannelsKept& operator=(const ChannelsKept&) = delete;

  private:
    CEventHist& hist_;
    int32_t one_, two_;
};

// Correlograms of several channels are a grid of all pairs: in each row those of one channel.
bool CEventHist::MakeInput(HistJob& job) {
    const std::vector<int> channels = SourceChannels();
    if (channels.size() < 2) return AddInput(job);
    const bool isGrid = Is(EvParam::crossCorrelation);
    const auto count = static_cast<int>(channels.size());
    job.columns = isGrid ? count : static_cast<int>(std::ceil(std::sqrt(count)));
    const ChannelsKept kept(*this);
    for (const int channel : channels) {
        m_nChannel1 = channel;
        for (const int other : isGrid ? channels : std::vector{m_nChannel2}) {
            m_nChannel2 = other;
            if (!AddInput(job)) return false;
            HistInput& input = job.parts.back().input;
            input.name = ChannelName(channel);
            if (isGrid)
                input.name = channel == other ? "auto " + input.name : ChannelName(other) + "->" + input.name;
            if (isGrid && channel == other) input.trains = Trains::same;
        }
    }
    return true;
}

bool CEventHist::AddInput(HistJob& job) {
    // A region that was turned round has been put right, and the user told.
    if (!RetrieveData() && !RetrieveData()) return false;
    if (Block().GetNumBlocks() == 0) {
        Refuse(fmt::format(emptyGateText, ChannelName(m_nGateChannel)));
        return false;
    }
    HistInput& input = AddPart(job).input;
    const EvParam param = Parameter();
    const int parent = Document()->GetParentTrace(m_nChannel1);
    const std::string unit = parent < 0 ? "" : Document()->traces[static_cast<size_t>(parent)].traceUnits;
    input.name = EvParamName(param);
    input.label = LabelOf(param, unit);
    job.reads.push_back(m_nChannel1);
    if (NeedsTwoChannels(param)) job.reads.push_back(m_nChannel2);
    job.work += Block().GetTotalEvents() * (NeedsParentTrace(param) ? valuesOfTrace : 1);
    if (IsCorrelogram()) {
        TakeTrains(input);
        return true;
    }
    return IsInTimeBins() ? TakeTimeBins(input) : TakeValues(input);
}

bool CEventHist::TakeValues(HistInput& input) {
    const EvParam param = Parameter();
    std::vector<float> values;
    if (param == EvParam::distributionCount) {
        if (!TakeTimeBins(input)) return false;
        input.kind = HistInput::Kind::values;
        input.Take(std::move(input.counts));
        input.starts.clear();
        input.isWhole = true;
    } else {
        CollateEventData(*Document(), param, Block(), values);
        input.Take({values.begin(), values.end()});
    }
    input.isInterval = param == EvParam::interval;
    input.isPhase = IsPhase();
    if (param == EvParam::phaseIn) input.naturalRange = {0.0, 1.0};
    if (param == EvParam::phaseNear) input.naturalRange = {-0.5, 0.5};
    input.canBePoisson =
        param == EvParam::countWithin || param == EvParam::countFrom || param == EvParam::distributionCount;
    return true;
}

bool CEventHist::TakeTimeBins(HistInput& input) {
    input.kind = HistInput::Kind::timeBins;
    input.isRate = Parameter() == EvParam::frequencyInBin;
    const CDataDoc& doc = *Document();
    const double samples = SamplesInBin(m_hist.timeBin, doc.sampleInterval);
    if (!(samples >= 1.0)) {
        Refuse(shortTimeBinText);
        return false;
    }
    input.width = samples * doc.sampleInterval;
    if (std::abs(input.width - m_hist.timeBin) > 1e-9 * m_hist.timeBin)
        Tell(fmt::format(timeBinText, input.width, m_hist.timeBin));
    std::vector<float> counts;
    CalcEventDistrib(doc, Block(), m_hist.timeBin, counts);
    if (counts.empty()) {
        Refuse(noTimeBinsText);
        return false;
    }
    input.counts.assign(counts.begin(), counts.end());
    for (const SampleBlock& block : Block().Blocks())
        for (int64_t bin = 0; bin < block.length / static_cast<int64_t>(samples); ++bin)
            input.starts.push_back(doc.TimeOf(block.first + bin * static_cast<int64_t>(samples)));
    return true;
}

void CEventHist::TakeTrains(HistInput& input) const {
    input.kind = HistInput::Kind::lags;
    input.isPsth = Is(EvParam::psth);
    input.naturalRange = {-correlogramReach, correlogramReach};
    const CDataDoc& doc = *Document();
    const CEventBlock& block = Block();
    input.channel1 = m_nChannel1;
    std::vector<std::pair<double, int32_t>> events;
    for (int b = 0; b < block.GetNumBlocks(); ++b)
        for (int k = 0; k < block.GetNumEvents(b); ++k)
            events.emplace_back(doc.TimeOf(block.GetOn(b, k)), block.GetIndex(b, k));
    std::sort(events.begin(), events.end());
    for (const auto& [time, index] : events) {
        input.times1.push_back(time);
        input.events1.push_back(index);
    }
    const bool isAuto = Is(EvParam::autoCorrelation);
    if (isAuto) {
        input.times2 = input.times1;
    } else {
        for (int b = 0; b < block.GetNumBlocks(); ++b)
            for (int k = 0; k < block.GetNumEvents2(b); ++k)
                input.times2.push_back(doc.TimeOf(block.GetOn2(b, k)));
    }
    input.trains = isAuto ? Trains::same : Trains::different;
    std::sort(input.times2.begin(), input.times2.end());
    // Blocks of a gate may overlap; time counts once.
    std::vector<TimeStretch> all;
    for (const SampleBlock& one : block.Blocks())
        all.push_back({doc.TimeOf(one.first), doc.TimeOf(int64_t{one.first} + one.length)});
    std::sort(all.begin(), all.end(), [](const auto& a, const auto& b) { return a.start < b.start; });
    for (const TimeStretch& one : all) {
        if (input.region.empty() || one.start > input.region.back().end)
            input.region.push_back(one);
        else
            input.region.back().end = std::max(input.region.back().end, one.end);
    }
}

}  // namespace kymora
