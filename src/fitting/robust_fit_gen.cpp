#include "fitting/robust_fit_gen.h"

#include <fmt/format.h>

#include <algorithm>

#include "kernels/smooth_lowess.h"

namespace kymora {

namespace {

constexpr uint32_t robustFitVersion = 1;
constexpr int mostDegree = 20, mostRounds = 10;
constexpr size_t curveSteps = 2000;
constexpr const char* tooFewText =
    "A polynomial of degree {} needs at least {} points with different X; there are "
    "too few.";
constexpr const char* shortTableText = "The table has {} points, fewer than the window of {}.";

}  // namespace

void CRobustFitGen::Serialize(CArchive& archive) {
    CTableFitDlg::Serialize(archive);
    ExchangeVersion(archive, robustFitVersion, ClassName());
    for (int32_t* number : {&m_nType, &m_nDegree, &m_nHalfWindow, &m_nIterations}) Exchange(archive, *number);
    Exchange(archive, m_dThreshold);
}

void CRobustFitGen::Describe(ParamList& list) {
    DescribeTable(list);
    list.Group("Fit");
    list.Choice("type", "Type", m_nType, {"smooth", "polynomial"})
        .Buttons()
        .Tip("A local fit around each point, in the order of X; One polynomial through all points");
    list.Integer("degree", "Degree", m_nDegree)
        .Limits(0, mostDegree)
        .Tip("Of the polynomial, or of the local ones of the smooth");
    list.Integer("halfWindow", "Half window", m_nHalfWindow)
        .Unit("points")
        .Limits(1, static_cast<double>(mostTableRows))
        .Tip("Points on each side of the one that is smoothed")
        .EnabledIf([this] { return m_nType == smooth; });
    list.Integer("iterations", "Robust iterations", m_nIterations)
        .Limits(0, mostRounds)
        .Tip("So many times the fit is done again with less weight for points far from it; 0: least squares");
    list.Number("threshold", "Outlier threshold", m_dThreshold)
        .Limits(0.1, 1000.0)
        .Tip("Points so many times the median distance away from the fit do not count")
        .EnabledIf([this] { return m_nIterations > 0; });
    DescribeDecimals(list);
}

void CRobustFitGen::GetParamText(std::string& text) {
    CTableFitDlg::GetParamText(text);
    text += m_nType == smooth ? fmt::format("Smooth, half window {} points\r\n", m_nHalfWindow)
                              : std::string("Polynomial\r\n");
    text += fmt::format("Degree: {}\r\nRobust iterations: {}, threshold {:g}\r\n", m_nDegree, m_nIterations,
                        m_dThreshold);
}

bool CRobustFitGen::FitSmooth(Found& found) {
    const std::vector<double>& y = found.points->y;
    const int64_t window = 2 * int64_t{m_nHalfWindow} + 1;
    if (std::ssize(y) < window) {
        Refuse(fmt::format(shortTableText, y.size(), window));
        return false;
    }
    found.fit.resize(y.size());
    const LowessSettings settings{m_nHalfWindow, {m_nDegree, m_nIterations, m_dThreshold}};
    if (!SmoothLOWESS(y, settings, found.fit, GetHost())) throw Cancelled();
    return true;
}

bool CRobustFitGen::FitPolynomial(Found& found) {
    ProgressScope progress(GetHost(), "Fitting", static_cast<uint64_t>(m_nIterations) + 1);
    try {
        found.polynomial =
            FitReweightedPolynomial(found.points->x, found.points->y, m_nDegree, m_nIterations, m_dThreshold,
                                    [&, round = uint64_t{0}]() mutable { progress.At(round++); });
    } catch (const Cancelled&) {
        throw;
    } catch (const std::runtime_error&) {
        Refuse(fmt::format(tooFewText, m_nDegree, m_nDegree + 1));
        return false;
    }
    found.fit = found.polynomial.fit;
    found.outliers = std::ranges::count(found.polynomial.weights, 0.0);
    return true;
}

bool CRobustFitGen::Analyse(UndoScope&) {
    Found found;
    bool wasSorted = false;
    found.points = ReadTable(wasSorted);
    if (wasSorted) Tell(sortedText);
    if (!(m_nType == smooth ? FitSmooth(found) : FitPolynomial(found))) return false;
    m_found = std::move(found);
    return true;
}

void CRobustFitGen::WriteResult(const TextSink& sink) {
    if (!m_found) return;
    for (const double coefficient : m_found->polynomial.coefficients)
        if (!sink(fmt::format("{:g}\r\n", coefficient))) return;
    if (!sink("x\ty_raw\ty_fit\r\n")) return;
    for (size_t i = 0; i < m_found->fit.size(); ++i)
        if (!sink(fmt::format("{:.{}f}\t{:.{}f}\t{:.{}f}\r\n", m_found->points->x[i], m_nDecimals,
                              m_found->points->y[i], m_nDecimals, m_found->fit[i], m_nDecimals)))
            return;
}

std::vector<Result> CRobustFitGen::Results() {
    if (!m_found) return {};
    std::vector<Result> all;
    const ReweightedPolynomial& polynomial = m_found->polynomial;
    if (!polynomial.coefficients.empty()) {
        Result coefficients{Title(),
                            {{"degree", int64_t{m_nDegree}},
                             {"residualSD", polynomial.residualSd},
                             {"outliers", m_found->outliers}},
                            {{"power", ""}, {"coefficient", ""}},
                            {}};
        std::vector<std::vector<ResultValue>> rows;
        for (size_t k = 0; k < polynomial.coefficients.size(); ++k)
            rows.push_back({static_cast<int64_t>(k), polynomial.coefficients[k]});
        coefficients.SetRows(std::move(rows));
        all.push_back(std::move(coefficients));
    }
    Result points{"points", {}, {{"x", ""}, {"raw", ""}, {"fit", ""}}, {}};
    points.rows = [this](const ResultRowSink& sink) {
        for (size_t i = 0; i < m_found->fit.size(); ++i) {
            const ResultValue row[] = {m_found->points->x[i], m_found->points->y[i], m_found->fit[i]};
            if (!sink(row)) return false;
        }
        return true;
    };
    all.push_back(std::move(points));
    return all;
}

std::optional<Graph> CRobustFitGen::GetGraph() {
    GraphPane pane{"fit"};
    pane.x.title = "x";
    pane.y.title = "y";
    if (const FitPointsRef table = ShownTable()) {
        GraphLayer raw{LayerKind::points, "data", GraphColour(0)};
        raw.x = table->x;
        raw.y = table->y;
        pane.layers.push_back(std::move(raw));
        if (m_found && m_found->points == table) {
            GraphLayer curve{LayerKind::curve, "fit", GraphColour(1)};
            if (m_found->polynomial.coefficients.empty()) {
                curve.x = table->x;
                curve.y = m_found->fit;
            } else {
                const double from = table->x.front(), width = table->x.back() - from;
                for (size_t i = 0; i <= curveSteps; ++i) {
                    curve.x.push_back(from + width * static_cast<double>(i) / curveSteps);
                    curve.y.push_back(m_found->polynomial.At(curve.x.back()));
                }
            }
            pane.layers.push_back(std::move(curve));
        }
    }
    return Graph{{std::move(pane)}};
}

}  // namespace kymora
