#pragma once
// "Detect Spikes by Threshold": a rule that is tuned on a short stretch of data and then run over the
// analysis region. Each accepted spike becomes an event of one sample.

#include <optional>
#include <vector>

#include "detection/spike_rules.h"
#include "detection/spike_series.h"
#include "operations/event_base_dlg.h"

namespace kymora {

enum class SpikeType { abs = 0, peakToPeak = 1 };

// All that says which samples are spikes.
struct SpikeRule {
    SpikeSeriesSettings series;
    SpikeType type = SpikeType::abs;
    SpikeLevels levels;
    OutlierDirection direction = OutlierDirection::both;
    int64_t refractory = 0, window = 0;  // samples
};

class CSpikeDetectThresh : public CEventWndBaseDlg {
  public:
    CSpikeDetectThresh() : CEventWndBaseDlg(usesTrace | usesDestination | usesText) {}
    const char* ClassName() const override { return "CSpikeDetectThresh"; }
    const char* Title() const override { return "Detect Spikes by Threshold"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    void CheckChangeView(DocumentView* view) override;
    void OnUpdate(UpdateHint hint) override;
    // The series that the rule sees, with levels and spikes.
    std::optional<Graph> GetGraph() override;
    std::vector<ViewGuide> Guides() override;
    bool CanLookAhead() const override { return true; }
    bool HasResultText() const override { return true; }
    void WriteResult(const TextSink& sink) override;
    std::vector<Result> Results() override;

    SpikeStatistics m_statistics;  // of the series shown
    SpikeLevels m_levels;
    float m_fRefractory = 0.0f, m_fSpikeWindow = 2.0f;  // ms
    int32_t m_nType = 0;
    int32_t m_nSource = 0;
    int32_t m_nDirection = 0;
    float m_fMultiplier = 6.0f;
    float m_fAlpha = 0.01f;
    bool m_bPostFilter = false;
    float m_fCutoff = 10.0f;  // Hz
    int32_t m_nTransform = 0;
    float m_fDisplayStart = 0.0f, m_fDisplayDuration = 0.0f;  // ms; a duration of 0 takes what the view shows
    int32_t m_nHalfWindow = 1;                                // samples
    double m_dHalfWindowTime = 1.0;                           // ms
    int32_t m_nIterations = 1;

    // Spikes of the stretch shown, as sample positions.
    const std::vector<int64_t>& PreviewSpikes();

  protected:
    void Describe(ParamList& list) override;
    void ForgetFound() override { m_found.reset(); }
    std::unique_ptr<OperationJob> MakeJob() override;
    std::vector<std::byte> RerunSettings(const OperationJob& job) override;
    bool FinishFound(CEventChan& chan, const EventJob& job, size_t which) override;
    void TakeFound(const EventJob& job) override;
    void AppendReport(std::string& text, const EventJob& job) override;
    void OnParentTraceChanged() override { m_isStale = true; }

  private:
    bool Is(SpikeType type) const { return m_nType == static_cast<int32_t>(type); }
    bool Is(SpikeLevelSource source) const { return m_nSource == static_cast<int32_t>(source); }

    // The window; spike_detect_thresh_fields.cpp.
    void DescribeRule(ParamList& list);
    void DescribeLevels(ParamList& list);
    void DescribeSeries(ParamList& list);
    void DescribePreview(ParamList& list);
    std::string MeanText();
    std::string MedianText();
    std::string PercentileText();
    void AddSeries(GraphPane& pane, const std::vector<float>& series, const char* name,
                   uint32_t colour) const;

    void TakeDisplayDefaults();
    SampleSpan DisplaySpan() const;
    SpikeSeriesSettings SeriesSettings() const;
    int64_t Samples(double ms) const;
    void TakeHalfWindow();
    // Makes the series, the levels and the spikes of the stretch shown, if anything has changed. False when
    // there is nothing to show. Throws FileError.
    bool UpdatePreview();
    // The same for a window that shows it; a failure goes to the log.
    bool ShowPreview();
    void MakePreviewSeries(const std::vector<float>& samples);
    SpikeRule Rule() const;
    void KeepDetectionSettings(CEventChan& chan) const;

    bool m_isStale = true;
    bool m_hasOwnStart = false;     // the user has set the display start
    bool m_isUsual = false;         // start and duration are what the view showed
    int32_t m_nShownTransform = 0;  // the last one that does something
    SampleSpan m_shown;             // the stretch of the preview
    std::vector<float> m_transformed, m_filtered;
    std::vector<int64_t> m_previewSpikes;
    struct Found {
        SpikeLevels levels;
        int64_t count;
    };
    std::optional<Found> m_found;  // by the last run
};

}  // namespace kymora
