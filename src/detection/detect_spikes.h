#pragma once
// "Detect Outliers": the simple detector. Samples beyond a number of standard deviations from the mean, both
// measured between two vertical cursors.

#include "detection/outlier_detector.h"
#include "document/sample_statistics.h"
#include "operations/event_base_dlg.h"

namespace kymora {

inline constexpr const char* noEmptyChannelText =
    "There are no empty event channels to store results in. Cancelling.";
inline constexpr const char* channelNotEmptyText =
    "The destination channel is not empty. Choose another destination.";

// Of a stretch of noise.
struct NoiseLevels {
    double mean = 0.0, sd = 0.0;
    float upper = 0.0f, lower = 0.0f;
};

class CDetectSpikes : public CEventWndBaseDlg {
  public:
    CDetectSpikes() : CEventWndBaseDlg(usesTrace | usesDestination | usesText) {}
    const char* ClassName() const override { return "CDetectSpikes"; }
    const char* Title() const override { return "Detect Outliers"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    void CheckChangeView(DocumentView* view) override;
    void OnUpdate(UpdateHint hint) override;
    void OnCurChanged() override;
    std::vector<ViewGuide> Guides() override;
    bool CanLookAhead() const override { return true; }
    std::vector<Result> Results() override;

    double m_dNoiseStart = 0.0,
           m_dNoiseEnd = 100.0;  // ms; where the cursors of the view stand, if it has two
    float m_fMultiplier = 5.0f;
    int32_t m_nDirection = 0;
    // As they were last measured.
    double m_dNoiseMean = -1.0, m_dNoiseSD = -1.0;
    float m_fUpper = 0.0f, m_fLower = 0.0f;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    void ForgetFound() override { m_found.reset(); }
    std::unique_ptr<OperationJob> MakeJob() override;
    void TakeFound(const EventJob& job) override;
    void OnParentTraceChanged() override { UpdateLevels(); }

  private:
    struct Found {
        NoiseLevels levels;
        int64_t count;  // of events
    };
    std::optional<Found> m_found;  // by the last run

    int FirstEmptyChannel() const;
    // Leaves a channel that got a result, or events from elsewhere, unless the user has chosen it.
    void TakeEmptyChannel();
    void TakeCursors();
    // What the window shows. Does nothing without a view.
    void UpdateLevels();
    SampleSpan NoiseSpan() const;
    void TakeLevels(const NoiseLevels& levels);
    std::string NoiseText() const;
};

}  // namespace kymora
