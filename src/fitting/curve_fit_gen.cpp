#include "fitting/curve_fit_gen.h"

namespace kymora {

namespace {

constexpr uint32_t curveFitGenVersion = 1;

}  // namespace

void CCurveFitGen::Serialize(CArchive& archive) {
    CTableFitDlg::Serialize(archive);
    ExchangeVersion(archive, curveFitGenVersion, ClassName());
    m_fit.Exchange(archive);
    Exchange(archive, m_bSort);
    Exchange(archive, m_bContinuous);
}

void CCurveFitGen::GetParamText(std::string& text) {
    CTableFitDlg::GetParamText(text);
    m_fit.AppendText(text);
}

void CCurveFitGen::Describe(ParamList& list) {
    DescribeTable(list);
    list.Flag("sort", "Sort by X", m_bSort).Tip("Sort the X, Y values by ascending X order");
    m_fit.DescribeEquation(list);
    list.Action("reset", "Reset", [this] { m_fit.Reset(); }).Tip("Set all parameters to 1");
    list.Action("restore", "Restore", [this] { m_fit.Restore(); })
        .Tip("Brings the parameters back that stood before the latest fit");
    list.Action("guessNow", "Guess",
                [this] {
                    if (const FitPointsRef points = ShownTable()) m_fit.Guess(*points);
                })
        .Tip("Sets the parameters of a ready equation as the data suggest")
        .EnabledIf([this] { return m_fit.CanGuess(); });
    m_fit.DescribeIterations(list);
    m_fit.DescribeFurther(list);
    m_fit.DescribeTest(list);
    DescribeDecimals(list);
    list.Flag("continuous", "Continuous curve", m_bContinuous)
        .Tip("Show Y fit as a continuous curve, else just at raw X values");
}

std::unique_ptr<OperationJob> CCurveFitGen::MakeJob() {
    auto job = m_fit.MakeJob();
    bool wasSorted = false;
    job->points = ReadTable(wasSorted);
    job->count = std::ssize(job->points->x);
    if (wasSorted) Tell(sortedText);
    return job;
}

bool CCurveFitGen::Write(OperationJob& job, UndoScope&) {
    if (m_fit.Take(static_cast<CurveFitJob&>(job))) return true;
    Refuse(notConvergedText);
    return false;
}

std::optional<Graph> CCurveFitGen::GetGraph() {
    const FitPointsRef table = ShownTable();
    if (!table) return m_fit.GetEmptyGraph();
    FitPoints shown = *table;
    shown.showsCurve = m_bContinuous;
    return m_fit.GetGraph(&shown);
}

}  // namespace kymora
