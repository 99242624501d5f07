#pragma once
// "Threshold Event": the full detector. Onset, offset and limit levels on both sides of the signal, typed or
// taken from statistics of a stretch of data, with a filter of the events by time.

#include <optional>
#include <vector>

#include "detection/level_meter.h"
#include "operations/event_base_dlg.h"

namespace kymora {

inline constexpr const char* statsOrderText =
    "The end analysis point must be after the start analysis point. Restoring original value.";
inline constexpr const char* hiddenTraceText =
    "Note: you are analysing a trace that is not visible in the main view. Continue?";
inline constexpr const char* noStatisticsText =
    "There are no samples in the stretch of data from which statistics are to be calculated.";
inline constexpr const char* noStatsEventsText =
    "Attempted to calculate statistics from an event channel with no events. 'User time' used instead.\r\n";
// Takes the tag.
inline constexpr const char* noStatsTagText = "Can't find event with tag '{}'. Used first event instead.\r\n";
// Takes two channels.
inline constexpr const char* otherStatsChannelText =
    "There are no events in channel {}, using channel {} instead.\r\n";

enum class StatsSource { wholeFile = 0, visibleView = 1, userTimes = 2, taggedEvent = 3, mostInactive = 4 };

class CEventThreshold : public CEventWndBaseDlg {
  public:
    CEventThreshold() : CEventWndBaseDlg(usesTrace | usesDestination | usesText) {}
    const char* ClassName() const override { return "CEventThreshold"; }
    const char* Title() const override { return "Threshold Event"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    bool CanLookAhead() const override { return true; }
    void CheckChangeDoc(CDataDoc* doc) override;
    void CheckChangeView(DocumentView* view) override;
    void OnUpdate(UpdateHint hint) override;
    void ViewChangedHorzDisp() override;
    // The levels in force on the trace, and the ends of the least active window.
    std::vector<ViewGuide> Guides() override;
    // The levels and the number of events of each trace that the last run has analysed; of a single one also
    // as named values.
    std::vector<Result> Results() override;

    int32_t m_nOnsetDirection = 0;
    int32_t m_nLimitLogic = 0;
    bool m_bLimitLogicUsed = false;
    int32_t m_nThresholdSource = 0;
    int32_t m_nStatsSource = static_cast<int32_t>(StatsSource::userTimes);
    double m_dStatsStart = 0.0, m_dStatsEnd = 10.0;                             // ms
    float m_fMinimumOff = 0.0f, m_fMinimumOn = 0.0f, m_fMaximumOn = 100000.0f;  // ms
    float m_fOnMult = 5.0f, m_fOffMult = 5.0f, m_fLimitMult = 6.0f;
    float m_fOnPercentile = 5.0f, m_fOffPercentile = 5.0f, m_fLimitPercentile = 5.0f;
    bool m_bOffsetEqualsOnset = true;
    int32_t m_nStatsChannel = 0;
    std::string m_strStatsTag;
    bool m_bAllTraces = false;
    float m_fInactiveDuration = 10.0f;  // ms
    bool m_bOnlyClearWithinRegion = false;
    ThresholdLevels m_levels;  // typed, or as they were last measured

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    std::unique_ptr<OperationJob> MakeJob() override;
    void ForgetFound() override { m_analysed.clear(); }
    bool WouldStumble() const override { return !AreStatsTimesRight(); }
    bool ShapeFound(CEventChan& chan, const EventJob& job) override;
    bool FinishFound(CEventChan& chan, const EventJob& job, size_t which) override;
    void TakeFound(const EventJob& job) override;
    std::vector<std::byte> RerunSettings(const OperationJob& job) override;
    void AppendReport(std::string& text, const EventJob& job) override;
    // A message, or a line of the report.
    void Warn(std::string_view words) override;
    // The same with the file and the title, also as a message.
    void WarnOfFile(std::string_view words);
    void OnEventChanChanged(int channel) override;
    void OnParentTraceChanged() override { UpdateLevels(); }

  private:
    struct Job;
    // Where the statistics come from in one run, after the fallbacks.
    struct StatsChoice {
        StatsSource source = StatsSource::userTimes;
        SampleSpan event;  // of the source taggedEvent
        int channel = 0;   // that holds it
    };

    bool Is(ThresholdSource source) const { return m_nThresholdSource == static_cast<int32_t>(source); }
    bool Is(StatsSource source) const { return m_nStatsSource == static_cast<int32_t>(source); }
    bool TestsPositive() const { return m_nOnsetDirection != 1; }
    bool TestsNegative() const { return m_nOnsetDirection != 0; }
    bool UsesStatistics() const { return !Is(ThresholdSource::direct); }
    bool UsesMultipliers() const {
        return Is(ThresholdSource::meanSd) || Is(ThresholdSource::medianRobustSd);
    }
    bool UsesPercentiles() const { return Is(ThresholdSource::percentile); }
    std::string Units() const;
    double GreatestTime() const;

    // The window; event_threshold_fields.cpp.
    void DescribeDetection(ParamList& list);
    void DescribeLevels(ParamList& list);
    void DescribeStatistics(ParamList& list);
    void DescribeTimeFilter(ParamList& list);
    std::string StatisticsText() const;

    // The levels; event_threshold_levels.cpp.
    void FollowOnset();
    // What the window shows: measures where it has to, without a word. Does nothing without a view.
    void UpdateLevels();
    // The stretch that the statistics of a trace come from. `talks`: the user is told what the user should
    // know.
    StatsChoice ChooseStats(bool talks);
    int FindStatsChannel(bool talks);
    SampleSpan FindTaggedEvent(int channel, bool talks);
    // That stretch, or the one in which the least active window is looked for.
    SampleSpan StatsSpan(int trace, const StatsChoice& choice) const;
    LevelSettings MeterSettings() const;

    // The run.
    bool MayAnalyseTrace();
    bool AreStatsTimesRight() const;
    bool CheckStatsTimes();
    void KeepDetectionSettings(CEventChan& chan, int trace, const ThresholdLevels& levels) const;
    ThresholdRule Rule() const;

    // What the report calls the levels, with their values.
    using NamedLevels = std::vector<std::pair<std::string, ResultValue>>;
    NamedLevels LevelsInUse(const ThresholdLevels& levels) const;

    void AppendLevelText(std::string& text) const;
    void AppendReport(std::string& text, const StatsChoice& choice) const;
    void AppendStatsText(std::string& text, const StatsChoice& choice) const;

    // Of the last run.
    struct Analysed {
        int trace = 0, channel = 0;
        NamedLevels levels;
    };
    std::vector<Analysed> m_analysed;

    LevelMeter m_meter;
    bool m_isMeasuring = false;
    double m_dGoodStatsEnd = 10.0;
};

}  // namespace kymora
