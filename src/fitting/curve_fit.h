#pragma once
// "Curve fit": an equation of the time, typed by the user, fitted to a stretch of a trace. The curve may be
// taken out of the data.

#include "fitting/curve_fitting.h"
#include "operations/event_base_dlg.h"
#include "operations/write_recording.h"

namespace kymora {

class CCurveFit : public CEventWndBaseDlg {
  public:
    CCurveFit();
    const char* ClassName() const override { return "CCurveFit"; }
    const char* Title() const override { return "Curve fit"; }
    const char* ActionLabel() const override { return "Fit"; }
    bool NeedsRoom() const override { return true; }
    Affects WhatItAffects() const override { return m_bSubtract ? Affects::traces : Affects::nothing; }
    bool WritesNewFile() const override { return m_bNewFile; }
    WrittenFile WriteFile(Session& session, const std::filesystem::path& path, bool keepsSource) override;
    bool FollowsView() const override { return m_nRegionMode == regionVisible; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    void OnUpdate(UpdateHint hint) override;
    bool HasResultText() const override { return true; }
    void WriteResult(const TextSink& sink) override;
    std::vector<Result> Results() override;
    std::optional<Graph> GetGraph() override;
    std::vector<std::byte> UsedSettings() override {
        return m_fit.AsBefore([this] { return Settings(); });
    }

    CurveFitting m_fit{'t', "a + b * t"};
    bool m_bEachEvent = false;  // a fit to each event of channel 1, in the place of the region
    bool m_bSubtract = false;   // the fit is done to take the curve out of the data
    int32_t m_nAddMode = 1;     // 0: the trace is replaced, 1: another one is added
    bool m_bNewFile = false;
    bool m_bAddNoise = false;  // normal, to each sample from which the curve was taken
    double m_dNoiseSD = 1.0;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    void ForgetFound() override { m_fit.Forget(); }
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;
    std::vector<std::byte> RerunSettings(const OperationJob& job) override;

  private:
    // The stretch that is fitted, its last sample included.
    SampleSpan FitSpan() const;
    TimeSpan FitTimes() const;
    FitPointsRef PointsOf(FitSamples samples) const;
    FitPointsRef ShownPoints();
    void Reload();
    void SubtractNow();
    bool TakeFit(CurveFitJob& job);
    WrittenRecording WriteSubtracted(CArchive& archive, const std::filesystem::path& target);
    void AddEvents(CurveFitJob& job) const;
    void DescribeCommands(ParamList& list);
    void DescribeSubtraction(ParamList& list);

    // Of the fit.
    SampleSpan m_fitted;
    int32_t m_nFittedTrace = -1;
    // What is drawn, until data or stretch are others.
    struct Shown {
        SampleSpan span;
        int32_t trace = 0;
        FitPointsRef points;  // null: too many, or none
    };
    std::optional<Shown> m_shown;
};

}  // namespace kymora
