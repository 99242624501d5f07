#pragma once
// "Rhythm in data": slides an autocorrelation along a trace and marks where it shows a rhythm. Times are ms.

#include <optional>
#include <vector>

#include "detection/rhythm_search.h"
#include "operations/event_base_dlg.h"

namespace kymora {

inline constexpr const char* longRhythmWindowText =
    "The sliding window is longer than the analysis region. Choose a shorter one.";
inline constexpr const char* noRhythmWindowText = "The analysis region has no stretch as long as the sliding "
                                                  "window without a gap, the boundary of an episode "
                                                  "or a sample that is no number. Choose a shorter one.";
inline constexpr const char* shortRhythmWindowText = "The sliding window is shorter than 3 samples after the "
                                                     "reduction of the sample rate. Choose a longer one.";
inline constexpr const char* shortRhythmStepText =
    "The step is shorter than one sample. Choose a longer one.";
inline constexpr const char* shortRhythmLagText =
    "The maximum lag is shorter than one sample after the reduction of the sample rate. Choose a longer one.";
// Takes the lag that is used, in ms.
inline constexpr const char* longRhythmLagText =
    "The maximum lag is not shorter than the sliding window. {:g} ms is used instead.";

// Samples of a time that is not rounded: what is a whole number of samples but for 1e-9 is that number.
int64_t WholeSamplesIn(double time, double sampleInterval);

class CEventOsc : public CEventWndBaseDlg {
  public:
    CEventOsc() : CEventWndBaseDlg(usesTrace | usesDestination | usesText) {}
    const char* ClassName() const override { return "CEventOsc"; }
    const char* Title() const override { return "Rhythm in data"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    bool CanLookAhead() const override { return true; }
    // Index and period of each step of the last run.
    std::vector<Result> Results() override;
    std::string RunSummary() const override;
    // The same of the last run or of what is seen.
    std::optional<Graph> GetGraph() override;

    double m_dSlidingWindow = 1000.0, m_dMaximumLag = 500.0, m_dStep = 100.0;  // ms
    double m_dThreshold = 0.3;                                                 // of the index, 0 to 1
    double m_dMinimumPeriod = 0.0;                                             // ms
    bool m_bRectify = false;
    double m_dSmoothHalfWindow = 0.0;  // ms
    int32_t m_nReduceFactor = 1;
    bool m_bStorePeriod = true;
    double m_dMinimumPeakToPeak = 0.0;  // units of the trace
    double m_dMinimumDuration = 0.0;    // ms
    bool m_bRefine = false;
    bool m_bShowFrequency = false;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    std::unique_ptr<OperationJob> MakeJob() override;
    void ForgetFound() override { m_found = {}; }
    void TakeLook(const EventJob& job) override;
    void TakeFound(const EventJob& job) override;
    bool FinishFound(CEventChan& chan, const EventJob& job, size_t which) override;

  private:
    struct Job;
    RhythmSettings Rule() const;
    std::string Units() const;
    // Of a period in samples, as it is shown: ms, or Hz.
    double Shown(double period) const;
    ResultColumn PeriodColumn() const;
    GraphPane IndexPane() const;
    GraphPane PeriodPane() const;
    double MiddleOf(const RhythmStep& step) const;

    std::vector<RhythmStep> m_shown;  // what the graph shows
    int64_t m_shownWindow = 0;
    // Of the last run.
    struct Outcome {
        std::vector<RhythmStep> steps;
        size_t found = 0, tooSmall = 0, tooShort = 0;
    } m_found;
};

}  // namespace kymora
