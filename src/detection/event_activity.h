#pragma once
// "Activity level": the stretch of a trace in which most happens, and that in which least does.

#include <array>
#include <optional>
#include <vector>

#include "operations/event_base_dlg.h"

namespace kymora {

inline constexpr int64_t leastActivityWindow = 5;  // samples
inline constexpr const char* shortActivityWindowText =
    "Time window contains fewer than 5 samples. Abandoned analysis.";
inline constexpr const char* longActivityWindowText =
    "The time window is longer than the analysis region. Choose a shorter one.";
inline constexpr const char* noActivityWindowText = "The analysis region has no stretch as long as the time "
                                                    "window without a gap, the boundary of an episode or "
                                                    "a sample that is no number. Choose a shorter one.";

class CEventActivity : public CEventWndBaseDlg {
  public:
    CEventActivity() : CEventWndBaseDlg(usesTrace | usesDestination | usesText) {}
    const char* ClassName() const override { return "CEventActivity"; }
    const char* Title() const override { return "Activity level"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    bool CanLookAhead() const override { return true; }
    // The windows of the last run, with the value of the measure.
    std::vector<Result> Results() override;

    enum Kind : int32_t { high = 0, low = 1, highAndLow = 2 };
    enum Measure : int32_t { squaredDeviations = 0, sumOfValues = 1 };

    double m_dTimeWindow = 1000.0;  // ms
    int32_t m_nKind = highAndLow;
    int32_t m_nMeasure = squaredDeviations;

  protected:
    void Describe(ParamList& list) override;
    std::unique_ptr<OperationJob> MakeJob() override;
    void ForgetFound() override { m_extremes.clear(); }
    bool FinishFound(CEventChan& chan, const EventJob& job, size_t which) override;
    void TakeFound(const EventJob& job) override;

  private:
    struct Job;
    // A window and what was measured in it.
    struct Extreme {
        const char* name = "";  // "Min" or "Max"
        int64_t start = -1, count = 0;
        double value = 0.0;
    };
    std::vector<Extreme> m_extremes;
};

}  // namespace kymora
