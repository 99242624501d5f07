#pragma once
// "Wavelets": the discrete wavelet transform of what lies in the analysis region, band by band, and what is
// left of the samples when coefficients are edited.

#include "frequency/mass_edit_dwt.h"
#include "operations/event_base_dlg.h"

namespace kymora {

inline constexpr const char* tooNarrowForCoefficientsText = "Note: view too narrow to show all coefficients";

// The transform of a stretch, before and after its coefficients were edited.
struct WaveletView {
    std::optional<WaveletRun> run;       // with the coefficients as edited
    std::vector<float> before, after;    // samples
    double start = 0.0, interval = 1.0;  // ms
    std::string unit;
    ThresholdOutcome outcome;

    // Of level j, one coefficient stands for 2^j samples.
    size_t SamplesOf(const WaveletBand& band) const { return size_t{1} << band.level; }
    double StartOf(const WaveletBand& band, size_t i) const {  // ms
        return start + static_cast<double>(i * SamplesOf(band)) * interval;
    }
    // Coefficients that begin before the end of the stretch; those behind are of its extension.
    size_t CountOf(const WaveletBand& band) const;
    // Hz
    double LowOf(const WaveletBand& band) const {
        return band.isSmooth ? 0.0 : 500.0 / interval / double(SamplesOf(band));
    }
    double HighOf(const WaveletBand& band) const {
        return (band.isSmooth ? 500.0 : 1000.0) / interval / double(SamplesOf(band));
    }
    double PowerOf(const WaveletBand& band) const;  // the sum of the squares
    std::span<const float> Coefficients(const WaveletBand& band) const {
        return std::span(run->values).subspan(band.first, band.count);
    }
};

class CDWTAnalysis : public CEventWndBaseDlg {
  public:
    CDWTAnalysis() : CEventWndBaseDlg(usesTrace) { m_nRegionMode = regionVisible; }
    const char* ClassName() const override { return "CDWTAnalysis"; }
    const char* Title() const override { return "Wavelets"; }

    Affects WhatItAffects() const override { return Affects::nothing; }
    bool RunsLive() const override { return true; }
    bool FollowsView() const override { return m_nRegionMode == regionVisible; }
    bool HasResultText() const override { return true; }
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    void WriteResult(const TextSink& sink) override;
    std::vector<Result> Results() override;
    std::optional<Graph> GetGraph() override;

    int32_t m_nWavelet = 2;
    int32_t m_nDisplay = 0;  // 0 relative power, 1 coefficients
    bool m_bLogPower = true;
    CMassEditDWT m_edit;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    // A refusal leaves the graph as it stood.
    void ForgetFound() override {}
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;

  private:
    bool ShowsPower() const { return m_nDisplay == 0; }
    void WriteSamples(const TextSink& sink) const;
    GraphPane SignalPane() const;
    GraphPane PowerPane() const;
    GraphPane CoefficientPane() const;

    WaveletView m_found;
};

}  // namespace kymora
