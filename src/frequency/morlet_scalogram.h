#pragma once
// "Morlet scalogram": power by time and frequency, with octaves of one height: high frequencies are told
// exactly in time, low ones in frequency.

#include "frequency/time_frequency_grid.h"
#include "operations/event_base_dlg.h"

namespace kymora {

inline constexpr int64_t mostScalogramSamples = 2'000'000;

class CMorletScalogram : public CEventWndBaseDlg {
  public:
    CMorletScalogram() : CEventWndBaseDlg(usesTrace) { m_nRegionMode = regionVisible; }
    const char* ClassName() const override { return "CMorletScalogram"; }
    const char* Title() const override { return "Morlet scalogram"; }

    Affects WhatItAffects() const override { return Affects::nothing; }
    bool RunsLive() const override { return true; }
    bool FollowsView() const override { return m_nRegionMode == regionVisible; }
    bool HasResultText() const override { return true; }
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    void WriteResult(const TextSink& sink) override { m_found.WriteText(sink); }
    std::vector<Result> Results() override;
    std::optional<Graph> GetGraph() override;

    double m_dLowest = 0.0, m_dHighest = 0.0;  // Hz; 0: as the region and the sample rate allow
    int32_t m_nVoices = 8;                     // frequencies of an octave
    double m_dOmega = 6.0;
    int32_t m_nDisplay = 1;  // 0 power, 1 log power

  protected:
    void Describe(ParamList& list) override;
    // A refusal leaves the graph as it stood.
    void ForgetFound() override {}
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;

  private:
    TimeFrequencyGrid m_found;
    double m_dFoundOmega = 6.0;
};

}  // namespace kymora
