#include "eventedit/insert_random_point_process.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace kymora {

namespace {

constexpr uint32_t randomProcessVersion = 1;
constexpr double greatestTime = 1e12;       // ms
constexpr int64_t mostPoints = 20'000'000;  // of one run: beyond it memory ends
// A sample, less the rounding of the digits in which an interval is told.
constexpr double leastMean = 1.0 - 1e-6;
constexpr double leastShape = 0.05, greatestShape = 1e6;

class RandomPointJob : public EventJob {
  public:
    RandomProcess process;
    int64_t most = 0;      // events of a channel
    int64_t expected = 0;  // events of all channels, about
    std::mt19937 random;

    int64_t Samples() const override { return expected; }

    void Compute(SampleReader&, JobContext& context) override {
        ProgressScope progress(context, title, static_cast<uint64_t>(expected), samplesAtOnce);
        int64_t made = 0;
        for (Found& channel : found) {
            const std::vector<int32_t> onsets =
                DrawOnsets(process, region.Count(), std::min(most, mostPoints + 1), random, [&](int64_t now) {
                    progress.At(static_cast<uint64_t>(std::min(expected, made + now)));
                });
            made += std::ssize(onsets);
            if (made > mostPoints) throw JobRefused(fmt::format(tooManyPointsText, made, mostPoints));
            channel.events.resize(onsets.size());
            for (size_t i = 0; i < onsets.size(); ++i) {
                channel.events[i].onPosition = region.first + onsets[i];
                channel.events[i].offPosition = region.first + onsets[i] + 1;
            }
        }
    }
};

}  // namespace

void CEventInsertRandomPointProcess::Serialize(CArchive& archive) {
    CEventWndBaseDlg::Serialize(archive);
    ExchangeVersion(archive, randomProcessVersion, ClassName());
    Exchange(archive, m_nCountMode);
    Exchange(archive, m_nCount);
    Exchange(archive, m_nDistribution);
    for (double* value : {&m_dMean, &m_dShape, &m_dSd, &m_dMinimum, &m_dMaximum}) Exchange(archive, *value);
    Exchange(archive, m_nStartRule);
    Exchange(archive, m_dStartTime);
    Exchange(archive, m_nChannelCount);
    Exchange(archive, m_dDeadTime);
}

// Also in the terminal the first press replaces nothing.
void CEventInsertRandomPointProcess::CheckChangeDoc(CDataDoc* doc) {
    const bool isOther = doc != Document();
    CEventWndBaseDlg::CheckChangeDoc(doc);
    if (isOther && doc && IsAttended()) SuggestSettings();
}

// --- the report ---

std::string CEventInsertRandomPointProcess::RegionWords() const {
    switch (m_nRegionMode) {
    case regionWholeFile:
        return "Whole file\r\n";
    case regionVisible: {
        const TimeSpan seen = SeenTimes();
        return fmt::format("Visible screen\r\n\tStart = {:f}, End = {:f}\r\n", seen.start, seen.end);
    }
    default:
        return fmt::format("User time: start = {:f}, end = {:f}\r\n", m_dRegionStart, m_dRegionEnd);
    }
}

std::string CEventInsertRandomPointProcess::DistributionWords() const {
    switch (static_cast<IntervalLaw>(m_nDistribution)) {
    case IntervalLaw::poisson:
        return fmt::format("Poisson, mean = {:f}\r\n", m_dMean);
    case IntervalLaw::gamma:
        return fmt::format("Gamma, mean = {:f}, shape = {:f}\r\n", m_dMean, m_dShape);
    case IntervalLaw::gaussian:
        return fmt::format("Gaussian, mean = {:f}, s.d. = {:f}\r\n", m_dMean, m_dSd);
    case IntervalLaw::uniform:
        return fmt::format("Uniform\r\nInterval: minimum = {:f}, maximum = {:f}\r\n", m_dMinimum, m_dMaximum);
    case IntervalLaw::regular:
        break;
    }
    return fmt::format("Regular, interval = {:f}, start time = {:f}\r\n", m_dMean, m_dStartTime);
}

std::string CEventInsertRandomPointProcess::StartWords() const {
    switch (static_cast<StartRule>(m_nStartRule)) {
    case StartRule::fixed:
        return fmt::format("Start at fixed time {:f}\r\n", m_dStartTime);
    case StartRule::expectation:
        return fmt::format("Start time expectation relative to {:f}\r\n", m_dStartTime);
    case StartRule::uniform:
        break;
    }
    return fmt::format("Start time uniform random 0 - {:f}\r\n", m_dStartTime);
}

void CEventInsertRandomPointProcess::GetParamText(std::string& text) {
    CEventBaseDlg::GetParamText(text);
    if (m_nChannelCount > 1) text += fmt::format("Number of channels: {}\r\n", m_nChannelCount);
    // A fixed number ends with the region, too.
    if (IsFixedCount()) text += fmt::format("Fixed number: {}\r\n", m_nCount);
    text += RegionWords();
    text += "Distribution type: " + DistributionWords();
    if (m_dDeadTime > 0.0 && !Is(IntervalLaw::regular))
        text += fmt::format("Dead time: {:f}\r\n", m_dDeadTime);
    text += StartWords();
}

// --- the parameters ---

void CEventInsertRandomPointProcess::Describe(ParamList& list) {
    list.Group("Number of events");
    list.Choice("countMode", "Count", m_nCountMode, {"fixed number", "as many as the region takes"})
        .Buttons()
        .Tip("So many events, or events up to the end of the region");
    list.Integer("count", "Fixed number", m_nCount)
        .Limits(1, static_cast<double>(mostPoints))
        .EnabledIf([this] { return IsFixedCount(); })
        .Tip("Where the region ends before, there are fewer, which is told");
    DescribeRegion(list);
    DescribeIntervals(list);
    list.Group("First event");
    list.Choice("startRule", "Start", m_nStartRule,
                {"fixed time", "expectation relative to time", "uniform random up to time"})
        .Buttons()
        .Tip(
            "First event occurs at start time. First event occurs at start time adjusted by value drawn from "
            "distribution, relative to mean of distribution. First event occurs at random time between start "
            "of data region and start time (uniform distribution).");
    list.Number("startTime", "Start time", m_dStartTime)
        .Unit("ms")
        .Limits(0.0, greatestTime)
        .Tip("From the start of the region");
    DescribeDestination(list);
    list.Integer("channelCount", "Channels", m_nChannelCount)
        .Limits(1, maxEventChannels)
        .Spin()
        .Tip("Number of event channels to write, advancing destination by 1 each time. NOTE: will overwrite "
             "any channel contents.");
}

void CEventInsertRandomPointProcess::DescribeIntervals(ParamList& list) {
    const auto isAnyOf = [this](std::initializer_list<IntervalLaw> laws) {
        return std::any_of(laws.begin(), laws.end(), [this](IntervalLaw law) { return Is(law); });
    };
    const auto interval = [&](const char* key, const char* label, double& value, double least) -> Field& {
        return list.Number(key, label, value).Unit("ms").Limits(least, greatestTime);
    };
    list.Group("Intervals");
    list.Choice("distribution", "Distribution", m_nDistribution,
                {"Poisson", "Gamma", "Gaussian", "Uniform", "Regular"})
        .Buttons()
        .With(&Field::buttonColumns, 3)
        .Tip("Of a Poisson process, whose intervals are exponential. Event intervals follow a gamma "
             "distribution with specified mean and shape. Or a Gaussian distribution, a uniform one, or one "
             "interval that is always the same");
    interval("mean", "Mean", m_dMean, 0.0)
        .EnabledIf([this] { return !Is(IntervalLaw::uniform); })
        .Tip("Mean interval; of a regular process, the interval");
    list.Number("shape", "Shape", m_dShape)
        .Limits(leastShape, greatestShape)
        .EnabledIf([this] { return Is(IntervalLaw::gamma); })
        .Tip("Of the gamma distribution: 1 is a Poisson process, more is more regular, less comes in bursts");
    interval("sd", "S.d.", m_dSd, 0.0)
        .EnabledIf([this] { return Is(IntervalLaw::gaussian); })
        .Tip("Of the Gaussian distribution; intervals below one sample are drawn again");
    interval("minimum", "Minimum", m_dMinimum, 0.0).EnabledIf([this] { return Is(IntervalLaw::uniform); });
    interval("maximum", "Maximum", m_dMaximum, 0.0).EnabledIf([this] { return Is(IntervalLaw::uniform); });
    interval("deadTime", "Dead time", m_dDeadTime, 0.0)
        .EnabledIf([isAnyOf] { return !isAnyOf({IntervalLaw::regular}); })
        .Tip("Refractory time: shorter intervals are drawn again, so that the mean grows");
}

RandomProcess CEventInsertRandomPointProcess::Process() const {
    const double interval = Document()->sampleInterval;
    RandomProcess process;
    process.law = static_cast<IntervalLaw>(m_nDistribution);
    process.mean = m_dMean / interval;
    process.shape = m_dShape;
    process.sd = m_dSd / interval;
    process.minimum = m_dMinimum / interval;
    process.maximum = m_dMaximum / interval;
    process.deadTime = m_dDeadTime / interval;
    process.rule = static_cast<StartRule>(m_nStartRule);
    process.start = m_dStartTime / interval;
    return process;
}

std::string CEventInsertRandomPointProcess::CheckSettings() {
    if (Is(IntervalLaw::uniform) && !(m_dMinimum < m_dMaximum)) return uniformOrderText;
    const std::string fault = CEventWndBaseDlg::CheckSettings();
    if (!fault.empty() || !Document()) return fault;
    const RandomProcess process = Process();
    if (process.Mean() < leastMean) return fmt::format(shortMeanText, Document()->sampleInterval);
    if (!process.IsDrawable()) return longDeadTimeText;
    if (m_nDestination + m_nChannelCount > maxEventChannels) return noSuchChannelText;
    for (int i = 0; i < m_nChannelCount; ++i)
        if (Document()->eventChannels[static_cast<size_t>(m_nDestination + i)].channelLocked)
            return lockedChannelText;
    return {};
}

// --- the run ---

std::unique_ptr<OperationJob> CEventInsertRandomPointProcess::MakeJob() {
    auto job = std::make_unique<RandomPointJob>();
    if (!TakeRegion(*job)) return nullptr;
    job->process = Process();
    const auto length = static_cast<double>(job->region.Count());
    if (job->process.rule != StartRule::uniform && job->process.start >= length) {
        Refuse(lateStartText);
        return nullptr;
    }
    const double fits = std::ceil(length / job->process.Mean());
    job->most = IsFixedCount() ? m_nCount : job->region.Count();
    job->expected = static_cast<int64_t>(std::min(fits, static_cast<double>(job->most)) * m_nChannelCount);
    if (job->expected > mostPoints) {
        Refuse(fmt::format(tooManyPointsText, job->expected, mostPoints));
        return nullptr;
    }
    job->random = Document()->GetSession().random;
    job->method = methodPointProcess;
    for (int i = 0; i < m_nChannelCount; ++i) AddTarget(*job, m_nDestination + i, -1, m_strDescription);
    return job;
}

void CEventInsertRandomPointProcess::TakeFound(const EventJob& job) {
    for (const EventJob::Found& found : job.found) m_counts.push_back(std::ssize(found.events));
}

bool CEventInsertRandomPointProcess::Write(OperationJob& job, UndoScope& undo) {
    if (!CEventWndBaseDlg::Write(job, undo)) return false;
    Document()->GetSession().random = static_cast<RandomPointJob&>(job).random;
    TellShort();
    return true;
}

void CEventInsertRandomPointProcess::TellShort() {
    if (!IsFixedCount()) return;
    const auto isShort = [this](int64_t count) { return count < m_nCount; };
    const auto channels = std::count_if(m_counts.begin(), m_counts.end(), isShort);
    if (channels == 0) return;
    const auto first = std::find_if(m_counts.begin(), m_counts.end(), isShort);
    const auto channel = m_nDestination + static_cast<int>(first - m_counts.begin());
    std::string text = fmt::format("The analysis region ends before {}: event channel {} has {}",
                                   EventsText(m_nCount), ChannelName(channel), *first);
    if (channels > 1) text += fmt::format(", and {} more fewer, too", channels - 1);
    Tell(text + ".");
}

std::vector<Result> CEventInsertRandomPointProcess::Results() {
    if (m_counts.empty()) return {};
    Result result;
    result.name = Title();
    int64_t all = 0;
    for (const int64_t count : m_counts) all += count;
    result.values = {{"Channels", static_cast<int64_t>(m_counts.size())}, {"Events", all}};
    return {std::move(result)};
}

}  // namespace kymora
