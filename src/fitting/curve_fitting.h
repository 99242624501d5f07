#pragma once
// What the fits of an equation share, whatever their data are: the settings with their description and their
// place in a record, the job, and the report, tables and graph of what was found.

#include <array>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "fitting/fit_equation.h"
#include "fitting/fit_samples.h"
#include "graphs/graph.h"
#include "operations/batch_base_dlg.h"

namespace kymora {

inline constexpr const char* notConvergedText =
    "Curve fit failed to converge, generating a not-a-number error with trial parameter values. Set better "
    "initial values or reduce step size.";
inline constexpr const char* noDataText = "no data file";
inline constexpr size_t mostFitPoints = 20'000'000;

// The data of a fit.
struct FitPoints {
    std::vector<double> x, y;  // finite, of one length
    std::string xTitle = "x", xUnit, yTitle = "y", yUnit;
    bool isCurve = true;     // the raw data are drawn as a line, else as points
    bool showsCurve = true;  // the fit is drawn between the points, too
};
using FitPointsRef = std::shared_ptr<const FitPoints>;

class CurveFitJob : public OperationJob {
  public:
    CurveFitJob(char variable, const std::string& equation) : fitted(variable) {
        fitted.ParseEquation(equation);
    }

    FitPointsRef points;
    // Where the points are samples: reads them, on the thread of the job.
    std::function<FitPointsRef(SampleReader&)> read;
    int64_t count = 0;  // of points, about
    // In their place stretches, each of which is fitted alone.
    struct Stretch {
        int id = 0;  // of its event, from 1
        SampleSpan span;
    };
    std::vector<Stretch> stretches;
    std::function<FitSamples(SampleReader&, SampleSpan)> readEach;
    struct Each {
        int id = 0;
        std::vector<double> parameters;
        CurveFitResult result;
        bool isFitted = false;
    };
    std::vector<Each> each;
    FitEquation fitted;
    FitControl control;
    bool guesses = false;
    std::string equation;
    std::vector<double> start, parameters;
    CurveFitResult result;
    bool isFitted = false;  // false: no number came of it

    int64_t Samples() const override;
    void Compute(SampleReader& samples, JobContext& context) override;

  private:
    std::vector<double> StartFor(std::span<const double> x, std::span<const double> y) const;
    void FitEach(SampleReader& samples, JobContext& context);
};

enum class FitMethod : int32_t { plain = 0, damped = 1 };

class CurveFitting {
  public:
    CurveFitting(char variable, std::string equation);

    // --- settings ---
    std::string m_strEquation;
    std::array<double, mostFitParameters> m_dParam, m_dParamSaved;
    int32_t m_nMaxIter = 10;
    double m_dTolPercent = 0.001;
    double m_dStep = 1.0;
    double m_dDataSD = 1.0;
    int32_t m_nMethod = static_cast<int32_t>(FitMethod::plain);
    int32_t m_nReady = 0;     // 0: an equation of the user's own, else that of the list, from 1
    bool m_bGuess = false;    // a fit of a ready equation begins with starts guessed from the data
    std::string m_strFixed;   // parameters that stay as they are: "b d"
    std::string m_strLimits;  // "a>0, c<100"
    double m_dTest = 0.0;     // a place at which the curve is told

    void DescribeEquation(ParamList& list);
    void DescribeIterations(ParamList& list);
    void DescribeFurther(ParamList& list);
    // "t = 5: 2.25"
    void DescribeTest(ParamList& list);
    void Exchange(CArchive& archive);
    // Why nothing can be fitted as it is set; empty when it can.
    std::string Fault() const;
    void AppendText(std::string& text) const;

    // --- commands ---
    void Reset();    // all parameters to 1
    void Restore();  // the parameters before the latest fit
    void Guess(const FitPoints& points);
    bool CanGuess() const;

    // --- the fit ---
    std::unique_ptr<CurveFitJob> MakeJob() const;
    // Takes over what the job has found. False where nothing came of it: the parameters are those with which
    // the last iteration began.
    bool Take(CurveFitJob& job);
    // With the parameters with which the latest fit began, until it is forgotten or others are set.
    template <typename Does>
    auto AsBefore(Does does) {
        const auto fitted = m_dParam;
        if (m_left && m_left->equation == m_strEquation && m_left->parameters == m_dParam)
            m_dParam = m_dParamSaved;
        auto result = does();
        m_dParam = fitted;
        return result;
    }
    void Forget() {
        m_found.reset();
        m_left.reset();
        m_each.clear();
    }
    // The equation and the parameters are those of the fit.
    bool HasFit() const;
    const CurveFitResult* FitResult() const { return m_found ? &m_found->result : nullptr; }
    const FitPoints* Points() const { return m_found ? m_found->points.get() : nullptr; }
    // The curve as it is set, and the starts of the latest fit.
    double Evaluate(double at) const;
    const std::array<double, mostFitParameters>& Starts() const { return m_dParamSaved; }

    // --- what is shown ---
    void WriteReport(const TextSink& sink, int xDecimals, int decimals) const;
    std::vector<Result> Results(const std::string& title) const;
    // Of points as they are now, with the curve as it is set; null: the axes alone.
    Graph GetGraph(const FitPoints* points) const;
    // Where there is nothing to fit.
    Graph GetEmptyGraph() const {
        Graph graph = GetGraph(nullptr);
        graph.panes.front().title = noDataText;
        return graph;
    }

  private:
    struct Found {
        FitPointsRef points;
        FitControl control;
        std::string equation;
        CurveFitResult result;
    };
    std::string ControlOf(FitControl& control) const;
    std::string ParseLimits(FitControl& control) const;
    FitEquation& Parsed() const;
    std::vector<double> Values() const;
    void ForPoints(const std::function<bool(size_t, const FitPoint&)>& take) const;
    void AddTables(std::vector<Result>& results) const;
    std::string ParametersReport() const;
    std::string ErrorText(size_t parameter) const;
    void WriteEach(const TextSink& sink) const;
    Result EachTable(const std::string& title) const;

    char m_variable;
    std::optional<Found> m_found;
    struct Left {
        std::string equation;
        std::array<double, mostFitParameters> parameters;
    };
    std::optional<Left> m_left;             // by the latest fit
    std::vector<CurveFitJob::Each> m_each;  // of the latest run over stretches; empty after any other
    std::string m_eachEquation;
    // The equation as it was last looked at.
    mutable FitEquation m_parsed;
    mutable std::string m_parsedText, m_parsedFault;
    mutable bool m_isParsed = false;
};

}  // namespace kymora
