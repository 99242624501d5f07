#pragma once
// "Insert regular-random point process": events of one sample at intervals that are drawn, or all equal.

#include "eventedit/random_process.h"
#include "operations/event_base_dlg.h"

namespace kymora {

inline constexpr const char* uniformOrderText = "The minimum value needs to be less than the maximum value.";
inline constexpr const char* shortMeanText = "The mean interval must be at least one sample ({:.9g} ms).";
inline constexpr const char* longDeadTimeText = "Hardly any interval would be as long as the dead time. Make "
                                                "the dead time shorter than the mean interval, "
                                                "or than the maximum of a uniform distribution.";
inline constexpr const char* lateStartText = "The start time lies behind the end of the analysis region.";
inline constexpr const char* tooManyPointsText =
    "This would make about {} events; {} can be made at once. Choose longer intervals, a shorter region or "
    "fewer channels.";

class CEventInsertRandomPointProcess : public CEventWndBaseDlg {
  public:
    CEventInsertRandomPointProcess() : CEventWndBaseDlg(usesDestination | usesText) {}
    const char* ClassName() const override { return "CEventInsertRandomPointProcess"; }
    const char* Title() const override { return "Insert regular-random point process"; }
    const char* ActionLabel() const override { return "Insert"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    std::vector<Result> Results() override;

    bool IsFixedCount() const { return m_nCountMode == 0; }

    int32_t m_nCountMode = 1;  // a fixed number, or as many as the region takes
    int32_t m_nCount = 100;
    int32_t m_nDistribution = 0;                   // IntervalLaw
    double m_dMean = 100.0;                        // ms
    double m_dShape = 2.0;                         // gamma
    double m_dSd = 10.0;                           // Gaussian, ms
    double m_dMinimum = 50.0, m_dMaximum = 150.0;  // uniform, ms
    int32_t m_nStartRule = 0;                      // StartRule
    double m_dStartTime = 0.0;                     // ms from the start of the region
    int32_t m_nChannelCount = 1;
    double m_dDeadTime = 0.0;  // ms

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    std::unique_ptr<OperationJob> MakeJob() override;
    bool ReportsOnEach() const override { return true; }
    void TakeFound(const EventJob& job) override;
    bool Write(OperationJob& job, UndoScope& undo) override;
    void ForgetFound() override { m_counts.clear(); }

  private:
    bool Is(IntervalLaw law) const { return m_nDistribution == static_cast<int32_t>(law); }
    // In samples.
    RandomProcess Process() const;
    void DescribeIntervals(ParamList& list);
    std::string RegionWords() const;
    std::string DistributionWords() const;
    std::string StartWords() const;
    void TellShort();

    std::vector<int64_t> m_counts;  // events of each channel, by the last run
};

}  // namespace kymora
