#pragma once
// "Rhythm in events": stretches of a channel in which the interval between events is regular.

#include "rhythms/event_group_dlg.h"
#include "rhythms/regular_stretches.h"

namespace kymora {

// Takes the least number of intervals.
inline constexpr const char* tooFewWindowsText =
    "There must be at least 2 x the sliding window event intervals in the analysis region (i.e. {} intervals "
    "or "
    "more).\nReduce sliding window count or increase analysis region.";

class CEventRhythmDetect : public CEventGroupDlg {
  public:
    CEventRhythmDetect();
    const char* ClassName() const override { return "CEventRhythmDetect"; }
    const char* Title() const override { return "Rhythm in events"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    // The intervals, and their rolling variation with the limit, against time.
    std::optional<Graph> GetGraph() override;

    int32_t m_nSlidingWindow = 5;  // intervals
    double m_dMaxCv = 0.3;
    bool m_bUseLimits = false, m_bLocalEpisodes = true;
    double m_dSdMultiple = 3.0;
    int32_t m_nMinCycles = 3;
    double m_dMaxInterval = 1e6, m_dMinInterval = 0.0;  // ms
    bool m_bMergeGaps = false;
    double m_dAllowedGap = 1.5;  // mean periods
    bool m_bRequireTest = false;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    std::unique_ptr<OperationJob> MakeJob() override;
    bool FinishFound(CEventChan& chan, const EventJob& job, size_t which) override;
    const char* ResultName() const override { return "Rhythm episodes"; }
    std::vector<ResultColumn> GroupColumns() const override;
    std::vector<ResultValue> GroupValues(const EventTrain& train, const EventStretch& events) const override;

  private:
    class Job;
    RegularSettings Rule() const;
};

}  // namespace kymora
