#pragma once
// "Hill-valley analysis": finds the hills or valleys of a slow signal from its turning points. Heights and
// levels are in the units of the trace, times in ms. The value of an event is the height of the shorter side.

#include <array>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "detection/hills.h"
#include "operations/event_base_dlg.h"

namespace kymora {

inline constexpr int64_t mostPreviewedSamples = 5'000'000;
inline constexpr const char* previewTooBigText =
    "Cannot preview more than 5 million samples. Expand main display if you want to see a preview";
inline constexpr const char* filteringHillsLabel =
    "Filtering peaks and troughs. Click Cancel to truncate analysis.";

// A height threshold that may be a multiple of the s.d. of the heights that were seen.
struct HillThreshold {
    double value = 0.0;
    bool isBySd = false;
    double multiplier = 1.0;
};

// What the histograms show of hills.
struct HillShapes {
    std::vector<float> rawHeights, heights;  // of the shorter sides, before merging and after it
    std::vector<float> durations;            // ms, before the filter by duration
    float greatestHeight = 0.0f;             // that merging can leave
    std::array<double, 3> thresholds{};      // in force, in the order of the settings
};

class CEventHillAnalysis : public CEventWndBaseDlg {
  public:
    CEventHillAnalysis() : CEventWndBaseDlg(usesTrace | usesDestination | usesText) {}
    const char* ClassName() const override { return "CEventHillAnalysis"; }
    const char* Title() const override { return "Hill-valley analysis"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    void SettingsWereChosen() override;
    bool CanLookAhead() const override { return true; }
    const char* TooMuchToLookAt(int64_t samples) const override {
        return samples > mostPreviewedSamples ? previewTooBigText : nullptr;
    }
    // The absolute threshold.
    std::vector<ViewGuide> Guides() override;
    // The hills of the last run.
    std::vector<Result> Results() override;
    std::string RunSummary() const override;
    // Histograms of heights and durations, of the last run or of what is seen.
    std::optional<Graph> GetGraph() override;

    int32_t m_nDirection = 0;                                   // of HillKind
    double m_dUpSlope = usualSlope, m_dDownSlope = usualSlope;  // %
    int32_t m_nMeasureFrom = 0;                                 // of SlopeFrom
    enum Threshold : size_t { mergeFoothills, excludeMolehills, absolutePeak };
    std::array<HillThreshold, 3> m_thresholds{{{0.0, false, 10.0}, {}, {}}};  // units of the trace
    bool m_bUseAbsolute = false;
    bool m_bRobustStatistics = true, m_bAddMean = true;
    double m_dMinimumDuration = 0.0, m_dMaximumDuration = 1e6;  // ms
    bool m_bRawHistogram = true, m_bMergedHistogram = true, m_bDurationHistogram = true;
    bool m_bLogCounts = false;
    int32_t m_nBinCount = 50;

  protected:
    void Describe(ParamList& list) override;
    std::unique_ptr<OperationJob> MakeJob() override;
    void OnParentTraceChanged() override;
    void ForgetFound() override { m_found.reset(); }
    bool Write(OperationJob& job, UndoScope& undo) override;
    void TakeLook(const EventJob& job) override;
    void TakeFound(const EventJob& job) override;
    bool FinishFound(CEventChan& chan, const EventJob& job, size_t which) override;
    std::vector<std::byte> RerunSettings(const OperationJob& job) override;
    void AppendReport(std::string& text, const EventJob& job) override;

  private:
    struct Job;
    bool IsBySd() const;
    bool Uses(size_t threshold) const { return threshold != absolutePeak || m_bUseAbsolute; }
    HillRule Rule() const;
    // The stretch whose heights the thresholds come from, where that is not the region itself.
    std::optional<SampleSpan> HeightsSpan(SampleSpan region) const;
    std::string Units() const;
    double GreatestTime() const;
    // Heights that were not set for this recording are none of it.
    void TakeHeightsOf(const std::string& recording);
    void StopBySd(size_t which);

    // event_hill_analysis_fields.cpp
    void DescribeHeights(ParamList& list);
    void DescribeHistograms(ParamList& list);
    std::string ThresholdsText() const;
    GraphPane HeightPane() const;
    GraphPane DurationPane() const;

    std::array<bool, 3> m_isHeightSet{};  // for this recording, by the user or a file that the user named
    std::string m_heightsOf;              // the recording
    // Those of other recordings, which are taken again there.
    struct Heights {
        std::array<double, 3> values{};
        std::array<bool, 3> isSet{};
    };
    std::map<std::string, Heights> m_otherHeights;

    // What the graph shows: of the last run, or of the look ahead after it.
    HillShapes m_shown;
    // Of the last run.
    struct Outcome {
        std::vector<Hill> hills;
        // Of so many hills, those that merging, the heights and the durations have taken away.
        size_t all = 0, merged = 0, tooLow = 0, tooShortOrLong = 0;
        std::array<double, 3> thresholds{};
        bool isTruncated = false;
    };
    std::optional<Outcome> m_found;
    // Why a run has found nothing; empty where it has.
    std::string WhyNone() const;
};

}  // namespace kymora
