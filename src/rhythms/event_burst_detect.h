#pragma once
// "Burst detect": bursts of events, by Poisson surprise, by rank surprise, by two limits of intervals, or by
// the limit that the histogram of log intervals suggests.

#include "rhythms/event_group_dlg.h"
#include "rhythms/interval_bursts.h"

namespace kymora {

inline constexpr const char* tooFewForManualText =
    "Insufficient events within analysis region of source channel.\r\n";
inline constexpr const char* tooFewIntervalsText = "Not enough events within the analysis region";
inline constexpr const char* tooFewSourceEventsText = "You need at least 2 events in the source channel";
inline constexpr const char* noCutText = "The intervals fall into no two groups of short and long ones: "
                                         "there is no limit between them. Choose another "
                                         "method, or a longer max in-burst interval.";
inline constexpr const char* oneSampleText =
    "All events of a block begin at one sample. The block was left out.";
inline constexpr const char* endedEarlyText =
    "The search was cancelled. The bursts that it had found until then stand.";

enum class BurstMethod { poisson = 0, rank = 1, manual = 2, logIntervals = 3 };

class CEventBurstDetect : public CEventGroupDlg {
  public:
    const char* ClassName() const override { return "CEventBurstDetect"; }
    const char* Title() const override { return "Burst detect"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    std::optional<Graph> GetGraph() override;

    float m_fSurprise = 2.0f;
    int32_t m_nMethod = static_cast<int32_t>(BurstMethod::poisson);
    float m_fMaxInBurst = 100.0f;   // ms; of the manual method: the longest that opens a burst
    float m_fPercentile = 90.0f;    // of the intervals
    float m_fMaxWithin = 100.0f;    // ms
    float m_fMinInterBurst = 0.0f;  // ms
    float m_fMinDuration = 0.0f;    // ms
    int32_t m_nMinEvents = 3;
    bool m_bFilter = true;
    bool m_bLogHistogram = true;
    // Of the graph: the lines of the limits, and the limit that the histogram suggests.
    bool m_bShowLimits = true, m_bShowCut = true;
    bool m_bUsePercentile = false;

    // Sets both longest intervals to the percentile of the intervals. False where there are too few, which
    // the user was told.
    bool TakePercentile();

  protected:
    void Describe(ParamList& list) override;
    std::unique_ptr<OperationJob> MakeJob() override;
    bool FinishFound(CEventChan& chan, const EventJob& job, size_t which) override;
    void TakeFound(const EventJob& job) override;
    const char* ResultName() const override { return "Bursts"; }
    std::vector<ResultColumn> GroupColumns() const override;
    std::vector<ResultValue> GroupValues(const EventTrain& train, const EventStretch& events) const override;

  private:
    class Job;

    std::unique_ptr<OperationJob> MakeSearch();
    bool Is(BurstMethod method) const { return m_nMethod == static_cast<int32_t>(method); }
    bool IsSurprise() const { return Is(BurstMethod::poisson) || Is(BurstMethod::rank); }
    bool Filters() const { return m_bFilter || !IsSurprise(); }
    void DescribeIntervals(ParamList& list);
    void DescribeFilter(ParamList& list);
    void AddLines(GraphPane& pane, std::span<const double> intervals) const;

    std::optional<double> m_cut;  // of the last run by log intervals, ms
};

}  // namespace kymora
