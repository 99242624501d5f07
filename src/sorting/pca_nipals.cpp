#include "sorting/pca_nipals.h"

#include <fmt/format.h>

#include <algorithm>

#include "numerics/decimal.h"

namespace kymora {

namespace {

constexpr uint32_t nipalsVersion = 1, covarianceVersion = 1;
constexpr int passesWithoutAsking = 500;
constexpr const char* abandonedText =
    "The components have not converged in 500 iterations. Nothing was written. Raise the tolerance.";

}  // namespace

// --- CPCANipals ---

NipalsOptions CPCANipals::Settings(size_t rows) const {
    return {std::min(Components(), rows), static_cast<Centring>(m_nCentring), DecimalOf(m_fTolerance)};
}

CComponentsDlg::Method CPCANipals::MakeMethod() const {
    return [components = Components(), centring = static_cast<Centring>(m_nCentring),
            tolerance = DecimalOf(m_fTolerance)](const WaveformRows& rows, const RowsDone& rowsDone,
                                                 std::string& log) {
        const auto poll = [&](size_t, int pass, double change) {
            rowsDone(1.0);
            log += NipalsPassText(pass, change);
            return pass <= passesWithoutAsking || change <= tolerance;
        };
        auto found =
            FindComponentsByNipals(rows.values, rows.columns,
                                   {std::min(components, rows.Count()), centring, tolerance}, poll, rowsDone);
        if (found) log += NipalsPassesText(*found);
        return found;
    };
}

// From the beginning once more, and the user says at each pass beyond the first 500 whether it goes on.
std::optional<PrincipalComponents> CPCANipals::FindWithUser(const WaveformRows& rows) {
    if (!IsAttended()) throw JobRefused(abandonedText);
    const NipalsOptions options = Settings(rows.Count());
    return FindComponentsByNipals(rows.values, rows.columns, options, [&](size_t, int pass, double change) {
        return pass <= passesWithoutAsking || change <= options.tolerance ||
               GetHost().Confirm(noConvergenceText, Title());
    });
}

void CPCANipals::Describe(ParamList& list) {
    DescribeEvents(list);
    list.Group("Method");
    list.Number("tolerance", "Tolerance", m_fTolerance)
        .Limits(0.0, 4.0)
        .Step(0.001)
        .Tip("A component has converged when the squared changes of its loadings add up to no more");
    list.Choice("centring", "Centring", m_nCentring, {"mean", "mean and s.d."})
        .Buttons()
        .Tip("Each sample of the window less its mean; The same, in units of its s.d.");
    DescribeComponents(list);
}

void CPCANipals::Serialize(CArchive& archive) {
    CComponentsDlg::Serialize(archive);
    ExchangeVersion(archive, nipalsVersion, ClassName());
    Exchange(archive, m_fTolerance);
    Exchange(archive, m_nCentring);
    ExchangeEvents(archive);
}

void CPCANipals::GetParamText(std::string& text) {
    CComponentsDlg::GetParamText(text);
    text += fmt::format("Tolerance: {}\r\nCentring: {}\r\n", m_fTolerance,
                        m_nCentring == static_cast<int32_t>(Centring::mean) ? "mean" : "mean and s.d.");
}

// --- CPrincipalComponentAnalysis ---

CComponentsDlg::Method CPrincipalComponentAnalysis::MakeMethod() const {
    return [components = Components()](const WaveformRows& rows, const RowsDone& rowsDone, std::string&) {
        if (std::min(rows.Count(), rows.columns) > mostEigenvectors)
            throw JobRefused(fmt::format(tooWideText, rows.columns, mostEigenvectors));
        return std::optional(FindComponentsByCovariance(rows.values, rows.columns,
                                                        std::min(components, rows.Count()), rowsDone));
    };
}

void CPrincipalComponentAnalysis::Describe(ParamList& list) {
    DescribeEvents(list);
    DescribeComponents(list);
}

void CPrincipalComponentAnalysis::Serialize(CArchive& archive) {
    CComponentsDlg::Serialize(archive);
    ExchangeVersion(archive, covarianceVersion, ClassName());
    ExchangeEvents(archive);
}

}  // namespace kymora
