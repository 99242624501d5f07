#pragma once
// "Spectrum": the power spectrum of a trace, the cross-spectrum of two, or their coherence, of what lies in
// the analysis region; with the view's region it follows the view.

#include "frequency/time_frequency_grid.h"
#include "frequency/trace_segments.h"
#include "operations/event_base_dlg.h"

namespace kymora {

inline constexpr int leastLog2Bins = 6, greatestLog2Bins = 20;
inline constexpr const char* tooLittleForSpectrumText =
    "There are not enough data displayed for spectral analysis with the minimum frequency resolution (65 "
    "bins).\nIncrease the viewport duration to at least {:.0f} ms.";
inline constexpr const char* resolutionReducedText = "The requested frequency resolution is too high for the "
                                                     "amount of data; reducing it.\nIncrease the viewport "
                                                     "duration (><) if you want higher frequency resolution.";
inline constexpr const char* tooLittleForAveragesText =
    "Not enough data for spectral analysis. Cancelling timebase expansion.";

// A spectrum with what belongs to it; all values are linear.
struct TraceSpectrum {
    SpectrumSettings settings;
    std::string nameA, nameB;  // of the traces
    std::string unit;          // of the values
    SegmentGrid grid;          // the segments that there are room for
    double interval = 1.0;     // ms
    int64_t averages = 0;      // segments that count
    int64_t broken = 0;        // segments with a gap or a boundary, which do not
    int64_t periodograms = 0;  // of the segments that count: one of each, or as many as there are tapers
    double independent = 0.0;  // segments' worth, beside their overlap
    std::vector<double> values, phase, gain;

    bool IsPower() const { return settings.mode == SpectrumMode::spectrum; }
    bool IsCoherence() const { return settings.mode == SpectrumMode::coherence; }
    double FrequencyOf(size_t bin) const {  // Hz
        return static_cast<double>(bin) * (1000.0 / interval) * 0.5 / static_cast<double>(settings.bins);
    }
    double TimeNeeded() const { return static_cast<double>(grid.End() - grid.first) * interval; }  // ms
    // Hz
    float Resolution() const {
        return static_cast<float>(1000.0 / interval / (2.0 * static_cast<double>(settings.bins)));
    }
    // The 95 % band of a bin; of powers, and of coherences of more than one periodogram.
    bool HasBand() const { return IsPower() || (IsCoherence() && periodograms > 1); }
    std::pair<double, double> BandOf(size_t bin) const;
};

class CSpectrumAnalDlg : public CEventWndBaseDlg {
  public:
    CSpectrumAnalDlg() : CEventWndBaseDlg(0) { m_nRegionMode = regionVisible; }
    const char* ClassName() const override { return "CSpectrumAnalDlg"; }
    const char* Title() const override { return "Spectrum"; }

    Affects WhatItAffects() const override { return Affects::nothing; }
    bool RunsLive() const override { return true; }
    bool FollowsView() const override { return m_nRegionMode == regionVisible; }
    bool HasResultText() const override { return true; }
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    void SuggestSettings() override;
    void WriteResult(const TextSink& sink) override;
    std::vector<Result> Results() override;
    std::optional<Graph> GetGraph() override;

    int32_t m_nTraceB = 1;  // m_nTrace is trace A
    int32_t m_nMode = 0;    // SpectrumMode
    int32_t m_nLog2Bins = 6;
    int32_t m_nWindow = 1;
    int32_t m_nOverlapShift = 1;
    int32_t m_nTargetAverages = 4;  // a wish, which sets the region once there is a recording
    int32_t m_nDensity = 0;         // 0 power, 1 density
    int32_t m_nTrend = 0;           // SegmentTrend
    bool m_bLogX = false, m_bLogY = false;
    bool m_bShowCritical = true;
    int32_t m_nP05 = 1;  // 0: of 1 %, 1: of 5 %
    bool m_bConfidence = false;
    bool m_bPhase = false;                         // phase and gain beside the coherence
    bool m_bBand = false;                          // power and peak between two frequencies
    double m_dBandLow = 0.0, m_dBandHigh = 100.0;  // Hz

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    // A refusal leaves the graph as it stood.
    void ForgetFound() override {}
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;

  private:
    // What lies between the two frequencies.
    struct Band {
        double power = 0.0;
        std::optional<size_t> peak;  // bin
    };
    bool IsMode(SpectrumMode mode) const { return m_nMode == static_cast<int32_t>(mode); }
    bool ShowsBand() const { return m_bBand && m_found.IsPower() && !m_found.values.empty(); }
    void DescribeTraces(ParamList& list);
    void DescribeSegments(ParamList& list);
    void DescribeAxes(ParamList& list);
    void DescribeBand(ParamList& list);
    void DescribeFound(ParamList& list);
    void DescribeSaving(ParamList& list);
    void WishAverages();
    void TakeUpWish();
    std::string DropUnmetWish();
    Band BandFound() const;
    std::optional<double> Critical() const;
    GraphPane SpectrumPane() const;
    GraphPane BesidePane(const char* name, const char* unit, const std::vector<double>& values) const;
    GraphAxis FrequencyAxis() const;
    std::string SettingsText() const;

    TraceSpectrum m_found;
    bool m_isWishOpen = false;  // it was set, and the region is not yet as it wants it
};

}  // namespace kymora
