#pragma once
// "Frequency multiplier": a spike, or a stretch of a region, at a multiple of its sample rate, beside the
// samples that it is made from. Nothing of the recording is changed.

#include "operations/event_base_dlg.h"

namespace kymora {

inline constexpr int64_t mostRaisedValues = 4'000'000;

// A stretch of samples and the same raised.
struct RaisedStretch {
    double startMs = 0.0, interval = 1.0;  // of the given samples, ms
    int multiplier = 1;                    // 1 where it could not be raised
    std::vector<float> given, raised;

    double TimeOf(size_t raisedIndex) const {
        return startMs + static_cast<double>(raisedIndex) * interval / multiplier;
    }
};

class CFreqMult : public CEventWndBaseDlg {
  public:
    CFreqMult() : CEventWndBaseDlg(usesChannel1 | usesTrace) {}
    const char* ClassName() const override { return "CFreqMult"; }
    const char* Title() const override { return "Frequency multiplier"; }

    Affects WhatItAffects() const override { return Affects::nothing; }
    bool RunsLive() const override { return true; }
    bool FollowsView() const override { return !IsOfSpike() && m_nRegionMode == regionVisible; }
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    bool HasResultText() const override { return true; }
    void WriteResult(const TextSink& sink) override;
    std::vector<Result> Results() override;
    std::optional<Graph> GetGraph() override;
    void CheckChangeDoc(CDataDoc* doc) override;

    enum Source : int32_t { ofSpike = 0, ofRegion = 1 };

    int32_t m_nSource = ofSpike;
    int32_t m_nSpikeId = 1;      // of the channel's events, from 1
    int32_t m_nHalfWindow = 16;  // samples on both sides of the spike's middle
    int32_t m_nFrequencyMultiplier = 4;
    bool m_bExtended = true;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    void ForgetFound() override { m_found = {}; }
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;

  private:
    bool IsOfSpike() const { return m_nSource == ofSpike; }
    void DescribeStretch(ParamList& list);
    int SpikeCount() const;
    // Within the valid samples around the spike.
    SampleSpan SpikeSpan() const;

    RaisedStretch m_found;
    std::string m_units;
};

}  // namespace kymora
