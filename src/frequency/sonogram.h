#pragma once
// "Spectrogram": how the power spectrum of a trace changes along it. Each column is the mean spectrum of a
// few overlapping segments.

#include "frequency/time_frequency_grid.h"
#include "frequency/trace_segments.h"
#include "operations/event_base_dlg.h"

namespace kymora {

inline constexpr int64_t mostColumnsOfItself = 1000;
inline constexpr int64_t mostSonogramCells = 10'000'000;
inline constexpr const char* tooLittleForSonogramText =
    "There are not enough selected data for sonogram analysis. Abandoning.";
inline constexpr const char* ridiculousAveragesText =
    "The number of averages has got ridiculous. Reduce specified end time (or contact author).";
inline constexpr const char* noBinCountText = "Bin number of frequency intervals must be power of 2";

class CSonogram : public CEventBaseDlg {
  public:
    CSonogram() : CEventBaseDlg(usesTrace) {}
    const char* ClassName() const override { return "CSonogram"; }
    const char* Title() const override { return "Spectrogram"; }

    Affects WhatItAffects() const override { return Affects::nothing; }
    bool RunsLive() const override { return true; }
    bool FollowsView() const override { return m_bFollowView; }
    bool HasResultText() const override { return true; }
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    void WriteResult(const TextSink& sink) override;
    std::vector<Result> Results() override;
    std::optional<Graph> GetGraph() override;

    int32_t m_nBins = 64;
    int32_t m_nWindow = 1;
    int32_t m_nOverlapShift = 1;
    int32_t m_nAveragesPerColumn = 1;
    int32_t m_nColumns = 0;     // 0: as many as fit, mostColumnsOfItself at most
    double m_dStartTime = 0.0;  // ms
    bool m_bFollowView = true;  // the view says what the start is, and up to where columns fit
    int32_t m_nDensity = 0;
    int32_t m_nDisplay = 1;  // 0 power, 1 log power
    bool m_bSurface = false;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    // A refusal leaves the graph as it stood.
    void ForgetFound() override {}
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;

  private:
    // Samples from the start of a segment to that of the next.
    int64_t Step() const { return (int64_t{2} * m_nBins) >> m_nOverlapShift; }
    // The columns from the first sample on, up to `end`.
    int64_t ColumnsUpTo(int64_t first, int64_t end);
    double Shown(float power) const { return ShownPower(power, m_nDisplay == 1); }
    GraphPane ColourPane() const;
    GraphPane SurfacePane() const;

    TimeFrequencyGrid m_found;
};

}  // namespace kymora
