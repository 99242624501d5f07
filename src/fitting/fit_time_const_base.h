#pragma once
// The frame of fits of relaxations (curves/relaxation.h) to stretches of a trace: parameters, job, texts,
// tables and the two graphs. An operation says which stretches.

#include <optional>

#include "curves/relaxation.h"
#include "fitting/fit_samples.h"
#include "operations/event_base_dlg.h"

namespace kymora {

inline constexpr const char* noStepText = "The step factor must be above 0.";
inline constexpr const char* averageTooLongText =
    "The time to average is greater than the fit region. Resetting.";
inline constexpr const char* akaikeTip =
    "Shows the Akaike Information Criterion; lower values indicate models "
    "with better relative fit.";

class RelaxationJob : public OperationJob {
  public:
    struct Stretch {
        int id = 0;  // of its event, from 1; 0 for none
        SampleSpan span;
        std::string skipped;  // why it cannot be used; empty when it can
    };
    struct Fitted {
        int id = 0;
        RelaxationFit fit;
        Relaxation start;  // where it began
    };
    int trace = 0;
    double interval = 1.0, originMs = 0.0;
    std::vector<Stretch> stretches;
    bool averages = false;  // one fit to the mean of all, else one to each
    RelaxationControl control;
    double averageTime = 0.0, fitTime = 0.0;  // for the starts, ms
    Relaxation given;                         // starts of the user's own
    bool startsFromData = true;
    std::vector<Fitted> fits;
    FitSamples shown;   // what the last one was fitted to
    FitSamples around;  // and what lies around it, where it was no mean
    int count = 0;      // stretches that were used

    int64_t Samples() const override;
    void Compute(SampleReader& samples, JobContext& context) override;

  private:
    void ReadAround(SampleReader& samples, SampleSpan span);
    Relaxation StartFor(const FitSamples& data) const;
};

class CFitTimeConstBase : public CEventBaseDlg {
  public:
    explicit CFitTimeConstBase(unsigned uses) : CEventBaseDlg(uses) {}
    const char* ActionLabel() const override { return "Fit"; }
    Affects WhatItAffects() const override { return Affects::nothing; }
    bool RunsLive() const override { return true; }
    bool HasResultText() const override { return true; }
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    void WriteResult(const TextSink& sink) override;
    std::vector<Result> Results() override;
    std::optional<Graph> GetGraph() override;
    std::vector<std::byte> UsedSettings() override;

    double m_dFitStart = 0.0, m_dFitEnd = 100.0;  // ms
    double m_dAvgTime = 5.0;                      // ms at either end, of which the starts are means
    int32_t m_nModel = 0;                         // RelaxationModel
    bool m_bStartFromData = true;
    double m_dV0 = 0.0, m_dVInf = 0.0, m_dTau = 10.0, m_dTau1 = 100.0, m_dWeight = 0.5;
    bool m_bFixV0 = false, m_bFixVInf = false;
    int32_t m_nMaxIter = 50;
    double m_dTolPercent = 0.1, m_dStep = 1.0;
    int32_t m_nMethod = 1;  // 0: a step that fails ends the fit, 1: it is damped

  protected:
    void DescribeFitRegion(ParamList& list, const char* fromWhat);
    void DescribeModel(ParamList& list);
    void DescribeIterations(ParamList& list, double mostIterations);
    std::string CheckSettings() override;
    void ForgetFound() override { m_found.reset(); }
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;

    // The stretches to be fitted. Throws JobRefused.
    virtual void AddStretches(RelaxationJob& job) = 0;
    virtual bool IsBatch() const { return false; }
    Relaxation Given() const;
    RelaxationControl Control() const;
    // From the first sample to the last one, which takes part; not held to the recording.
    SampleSpan SpanFrom(double originMs) const;

  private:
    void Begin(const Relaxation& start);
    void SetLines(GraphPane& pane) const;
    void TellVague();
    std::string RowText(const RelaxationJob::Fitted& fitted) const;

    double m_dStartAvg = 0.0, m_dEndAvg = 0.0;  // the averaging times as places
    std::unique_ptr<RelaxationJob> m_found;
    // Where the last run began, and what it left: whoever has set something since begins there.
    struct Used {
        Relaxation start, left;
    };
    std::optional<Used> m_used;
    unsigned m_ownStarts = 0;  // what the user has set since the starts came from the data
};

// "Time constant": of one stretch of a trace.
class CFitTimeConst : public CFitTimeConstBase {
  public:
    CFitTimeConst() : CFitTimeConstBase(usesTrace) {}
    const char* ClassName() const override { return "CFitTimeConst"; }
    const char* Title() const override { return "Time constant"; }
    // What is seen, where nobody has set anything.
    void SuggestSettings() override;
    std::vector<ViewGuide> Guides() override;

  protected:
    void Describe(ParamList& list) override;
    void AddStretches(RelaxationJob& job) override;
};

// "Time constants after events": of the mean of stretches at events, or of each.
class CTimeConstLog : public CFitTimeConstBase {
  public:
    CTimeConstLog() : CFitTimeConstBase(usesChannel1 | usesTrace) {}
    const char* ClassName() const override { return "CTimeConstLog"; }
    const char* Title() const override { return "Time constants after events"; }
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    int32_t m_nStartEvent = 1;  // from 1
    int32_t m_nAverages = 1;
    bool m_bBatch = false;  // each event alone

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    void AddStretches(RelaxationJob& job) override;
    bool IsBatch() const override { return m_bBatch; }
};

}  // namespace kymora
