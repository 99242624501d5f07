#pragma once
// "Remove exponential drop": takes a drift that an exponential, or the sum of two, describes out of traces.

#include "fitting/fit_time_const_base.h"
#include "operations/write_recording.h"

namespace kymora {

inline constexpr int64_t mostDriftSamples = 100'000;  // a trace has fewer

// The two fits of a trace, and the one that was chosen: the lower Bayesian criterion.
struct DriftFit {
    std::array<RelaxationFit, 2> fits;  // single, double
    int chosen = -1;                    // -1: neither came to numbers
    const Relaxation& Curve() const { return fits[static_cast<size_t>(chosen)].curve; }
};

// Starts as StartOfRelaxation has them, from means over `average` ms at either end. A fit that fails is tried
// again with a tenth of its step, while that is above 0.001.
DriftFit FitDrift(std::span<const double> t, std::span<const double> y, double average, double fitTime,
                  const FitControl& control, const FitPoll& poll = {});

class CRemoveExpDrift : public CFitTimeConstBase {
  public:
    CRemoveExpDrift();
    const char* ClassName() const override { return "CRemoveExpDrift"; }
    const char* Title() const override { return "Remove exponential drop"; }
    const char* ActionLabel() const override { return "OK"; }
    Affects WhatItAffects() const override { return Affects::traces; }
    bool RunsLive() const override { return false; }
    bool WritesNewFile() const override { return m_bNewFile; }
    WrittenFile WriteFile(Session& session, const std::filesystem::path& path, bool keepsSource) override;
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    void CheckChangeDoc(CDataDoc* doc) override;
    bool HasResultText() const override { return true; }
    bool TellsWhatItFound() const override { return true; }
    void WriteResult(const TextSink& sink) override;
    std::vector<Result> Results() override;
    std::optional<Graph> GetGraph() override;

    enum Removal : int32_t { divide = 0, subtract = 1 };
    std::string m_strTraces = "1";
    int32_t m_nAddMode = 1;  // 0: traces are replaced, 1: others are added
    bool m_bNewFile = false;
    int32_t m_nRemoval = subtract;
    double m_dAverageTime = 0.0;  // ms before the end of the fit; 0: the last sample

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    void ForgetFound() override { m_done.clear(); }
    void AddStretches(RelaxationJob&) override {}

  private:
    struct Done {
        int trace = 0;
        DriftFit fit;
        double first = 0.0;   // the first value of the trace
        std::string refused;  // why it is left as it is; empty where it was transformed
    };
    std::vector<int> Traces() const;
    SampleSpan FitSpan() const;  // its last sample included
    double FitTime() const;
    Done FitTrace(int trace, const FitPoll& poll);
    std::string LogText() const;
    std::string ReportText() const;
    WrittenRecording WriteChanged(CArchive& archive, const std::filesystem::path& target);

    std::vector<Done> m_done;
    std::filesystem::path m_doneIn;
    // What the window draws: the first trace of the list with its fits, until settings or data are others.
    struct Shown {
        std::vector<std::byte> settings;
        FitSamples data;
        std::optional<DriftFit> fit;
    };
    std::optional<Shown> m_shown;
    const Shown& TakeShown();
};

}  // namespace kymora
