#pragma once
// "De-buzz": takes mains noise, or another periodic interference, out of a trace by a template of its cycles.

#include <functional>

#include "kernels/noise_cycles.h"
#include "transforms/transform_dlg.h"

namespace kymora {

inline constexpr const char* allSweepsOutsideText =
    "All sweeps will be outside cursor limits. Suggest reduce gain until most sweeps are fully within the "
    "trace window. Removing limit cursors.";
inline constexpr const char* manySweepsOutsideText =
    "There are a large number of rejected sweeps in the average. Suggest reduce gain until most sweeps are "
    "fully within the trace window. Removing limit cursors.";
inline constexpr const char* fewSweepsText = "Unable to read requested number of sweeps. Reducing.";

class CDebuzz : public CTransformTraceDlg {
  public:
    CDebuzz() : CTransformTraceDlg("De-buzz") {}
    const char* ClassName() const override { return "CDebuzz"; }
    const char* Title() const override { return "De-buzz"; }

    // A list of the cycles is no transform. A window has the picture of them in its place.
    Affects WhatItAffects() const override { return ListsCycles() ? Affects::nothing : Affects::traces; }
    void CheckChangeDoc(CDataDoc* doc) override;
    void CheckChangeView(DocumentView* view) override;
    void OnUpdate(UpdateHint hint) override;
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    WrittenFile WriteFile(Session& session, const std::filesystem::path& path, bool keepsSource) override;
    KernelOutcome TransformBlock(const TransformRun& run, std::span<const float> input,
                                 std::span<float> output) override;
    KernelOutcome TransformBlock(const TransformRun& run, const SourceMaker& source,
                                 FloatSink& output) override;
    // The first cycles over each other, with the template and the limits, which can be dragged.
    std::optional<Graph> GetGraph() override;
    bool HasResultText() const override { return ListsCycles(); }
    void WriteResult(const TextSink& sink) override;
    std::vector<Result> Results() override;

    int32_t m_nTrace = 0;                    // from 0; the trace list follows
    double m_dInterval = 20.0;               // of the noise, ms
    int32_t m_nCycles = 50;                  // in the average
    int32_t m_nPerAvg = 100;                 // told in the report and used by nothing
    bool m_bLimits = false;                  // cycles have to lie within the limits
    float m_fUpper = 0.0f, m_fLower = 0.0f;  // only their distance counts
    // 1 lists the cycles in place of a transform. In a window it is always 0.
    int32_t m_nReport = 0;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    bool Analyse(UndoScope&) override { return true; }

  private:
    // What the window shows: the first cycles of the trace.
    struct Sweeps {
        // Of what they are: trace, interval, cycles.
        int32_t trace = -1, cycles = 0;
        double interval = 0.0;
        std::vector<std::vector<float>> samples;
        bool areAll = false;            // no more can be read
        float low = 0.0f, high = 1.0f;  // of their finite samples
    };
    struct Display {
        double bottom = 0.0, top = 1.0;
    };
    struct Cycle {
        int64_t number = 0, start = 0;  // in the trace; position of the first sample
        std::span<const float> samples;
    };

    bool ListsCycles() const { return m_nReport != 0 && !View(); }
    NoiseCycleSettings KernelSettings() const;
    bool HasTrace() const;  // of a recording that is there
    int64_t MaxCycles() const;
    // Hands the cycles of all runs of the trace to take(cycle) until it answers false; the answer then is
    // false.
    bool ForEachCycle(const std::function<bool(const Cycle&)>& take) const;
    const Sweeps& Shown();
    int CountAccepted();
    Display Displayed();

    void DescribeNoise(ParamList& list);
    void DescribeLimits(ParamList& list);
    void FollowTrace() { m_strTraceList = std::to_string(m_nTrace + 1); }
    void HoldCycles(bool tells);
    void PlaceLimits();
    void ChangeGain(double by);
    void AddSweeps(GraphPane& pane);
    KernelOutcome Conclude(const TransformRun& run, const NoiseCycleOutcome& outcome);

    Sweeps m_sweeps;
    double m_dGain = 1.0;  // of the window's picture
    bool m_wasTold = false;
    std::string m_strNote;  // of the last run
};

}  // namespace kymora
