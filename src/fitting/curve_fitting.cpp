#include "fitting/curve_fitting.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "fitting/ready_equations.h"
#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr uint32_t curveFittingVersion = 1;
constexpr size_t pollEvery = 1024;  // points
constexpr uint64_t shortFit = 200;  // stretches of so many points: it shows no progress
constexpr size_t curvePoints = 2000, mostDrawn = 8000;
constexpr double mostIterations = 500.0;
constexpr const char* noTailText = "Failed to converge in routine GCF";
constexpr const char* limitsText =
    "The limits take parameters with numbers, for example \"a>0, c<100\"; {} is none.";
constexpr const char* fixedText =
    "Fixed parameters are letters of the equation, for example \"b d\"; {} is none.";
constexpr const char* allFixedText = "All parameters are fixed: there is nothing to fit.";

std::string LetterOf(size_t i) { return std::string(1, static_cast<char>('a' + i)); }

std::string OrEmpty(double value, int decimals = 6) {
    return !std::isfinite(value) ? std::string() : fmt::format("{:.{}f}", value, decimals);
}
ResultValue OrNothing(double value) { return std::isfinite(value) ? ResultValue(value) : ResultValue(); }

// Words between blanks, commas and semicolons.
std::vector<std::string> WordsOf(const std::string& text) {
    std::vector<std::string> words;
    constexpr const char* between = " ,;\t\r\n";
    for (size_t at = 0; (at = text.find_first_not_of(between, at)) != std::string::npos;) {
        const size_t end = std::min(text.find_first_of(between, at), text.size());
        words.push_back(text.substr(at, end - at));
        at = end;
    }
    return words;
}

// Of many points those with the least and the greatest y of each stretch, so that a drawn line looks the
// same.
void AddThinned(GraphLayer& layer, std::span<const double> x, std::span<const double> y) {
    if (x.size() <= mostDrawn) {
        layer.x.assign(x.begin(), x.end());
        layer.y.assign(y.begin(), y.end());
        return;
    }
    const size_t stretch = (x.size() * 2 + mostDrawn - 1) / mostDrawn;
    for (size_t first = 0; first < x.size(); first += stretch) {
        const auto part = y.subspan(first, std::min(stretch, y.size() - first));
        const auto [low, high] = std::ranges::minmax_element(part);
        for (const auto at : {std::min(low, high), std::max(low, high)}) {
            layer.x.push_back(x[first + static_cast<size_t>(at - part.begin())]);
            layer.y.push_back(*at);
        }
    }
}

}  // namespace

// --- the job ---

int64_t CurveFitJob::Samples() const {
    // An evaluation costs some times as much as reading a sample.
    return count * (fitted.Parameters() + 1) * control.mostIterations / 2;
}

void CurveFitJob::Compute(SampleReader& samples, JobContext& context) {
    if (!stretches.empty()) return FitEach(samples, context);
    if (read) points = read(samples);
    if (points->y.empty()) throw JobRefused("There are no data to fit.");
    start = StartFor(points->x, points->y);
    const uint64_t total =
        (points->y.size() + pollEvery - 1) / pollEvery * static_cast<size_t>(control.mostIterations);
    ProgressScope progress(context, "Fitting", total, shortFit);
    uint64_t done = 0;
    EquationModel model(fitted, points->x);
    parameters = start;
    isFitted = FitCurve(model, points->y, control, parameters, result,
                        [&] { progress.At(std::min(++done, total)); });
}

std::vector<double> CurveFitJob::StartFor(std::span<const double> x, std::span<const double> y) const {
    const ReadyEquation* ready = FindReadyEquation(equation, 't');
    if (!ready) ready = FindReadyEquation(equation, 'x');
    return guesses && ready ? ready->guess(x, y) : start;
}

void CurveFitJob::FitEach(SampleReader& samples, JobContext& context) {
    ProgressScope progress(context, "Fitting", stretches.size());
    for (const Stretch& stretch : stretches) {
        progress.Step(1);
        Each fit{stretch.id, start, {}, false};
        const FitSamples data = readEach(samples, stretch.span);
        if (!data.y.empty()) {
            EquationModel model(fitted, data.t);
            fit.parameters = StartFor(data.t, data.y);
            fit.isFitted =
                FitCurve(model, data.y, control, fit.parameters, fit.result, [&] { progress.Step(0); });
        }
        each.push_back(std::move(fit));
    }
}

// --- settings ---

CurveFitting::CurveFitting(char variable, std::string equation)
    : m_strEquation(std::move(equation)), m_variable(variable), m_parsed(variable) {
    Reset();
    m_dParamSaved = m_dParam;
}

void CurveFitting::Exchange(CArchive& archive) {
    ExchangeVersion(archive, curveFittingVersion, "CurveFitting");
    kymora::Exchange(archive, m_strEquation);
    for (auto* values : {&m_dParam, &m_dParamSaved})
        for (double& value : *values) kymora::Exchange(archive, value);
    kymora::Exchange(archive, m_nMaxIter);
    for (double* value : {&m_dTolPercent, &m_dStep, &m_dDataSD, &m_dTest}) kymora::Exchange(archive, *value);
    kymora::Exchange(archive, m_nMethod);
    kymora::Exchange(archive, m_nReady);
    kymora::Exchange(archive, m_bGuess);
    kymora::Exchange(archive, m_strFixed);
    kymora::Exchange(archive, m_strLimits);
}

void CurveFitting::DescribeEquation(ParamList& list) {
    list.Group("Equation");
    std::vector<std::string> names{"own equation"};
    for (const ReadyEquation& ready : ReadyEquations()) names.emplace_back(ready.name);
    list.Choice("ready", "Ready equation", m_nReady, std::move(names))
        .Tip(
            "Puts a usual equation into the line below, has the starts guessed from the data, and steps that "
            "fail damped")
        .Linked({"equation", "guess", "damping"})
        .OnChange([this] {
            m_bGuess = m_nReady > 0;
            if (!m_bGuess) return;
            m_strEquation = ReadyEquations()[static_cast<size_t>(m_nReady) - 1].Of(m_variable);
            m_nMethod = static_cast<int32_t>(FitMethod::damped);
        });
    list.Text("equation", "Equation", m_strEquation)
        .Tip(fmt::format("A function of {} with parameters a, b, c .. up to h, for example a + b*exp(-{}/c)",
                         m_variable, m_variable))
        .Linked({"ready"})
        .OnChange([this] {
            const ReadyEquation* ready = FindReadyEquation(m_strEquation, m_variable);
            m_nReady = ready ? static_cast<int32_t>(ready - ReadyEquations().data()) + 1 : 0;
        });
    const int used = Parsed().Parameters();
    for (size_t i = 0; i < m_dParam.size(); ++i)
        list.Number(LetterOf(i), LetterOf(i), m_dParam[i])
            .Tip("Where the fit begins, and then what was fitted")
            .Linked({"guess"})
            .OnChange([this] { m_bGuess = false; })
            .EnabledIf([i, used] { return used == 0 || static_cast<int>(i) < used; })
            .Shows([this, i] { return ErrorText(i); });
    // Behind the values, of which each turns it off.
    list.Flag("guess", "Guess starts from the data", m_bGuess)
        .Tip(
            "A fit of a ready equation begins with values that are guessed from the data, and not with those "
            "above")
        .EnabledIf([this] { return CanGuess(); });
}

void CurveFitting::DescribeIterations(ParamList& list) {
    list.Group("Iterations");
    list.Integer("maxIter", "Most iterations", m_nMaxIter).Limits(1, mostIterations).Tip("1 to 500");
    list.Number("tolPercent", "Unchanged below", m_dTolPercent)
        .Unit("%")
        .Limits(0.0, 100.0)
        .Tip("Three iterations in which every parameter changes by less end the fit");
    list.Number("step", "Step factor", m_dStep)
        .Limits(0.0, 100.0)
        .Tip("The factor on each step: below 1 a fit goes slower, and is less likely to leave the range");
    list.Number("dataSD", "SD of data", m_dDataSD)
        .Limits(0.0, std::numeric_limits<double>::max())
        .Tip("The standard deviation of each data point: chi-square and its probability refer to it");
    const auto ofFit = [this](auto text) {
        return [this, text] { return m_found ? text(m_found->result) : std::string(); };
    };
    list.Note("iterDone", "Done", ofFit([](const CurveFitResult& fit) {
                  return fmt::format("{} iterations, {}", fit.iterations,
                                     fit.hasConverged
                                         ? "converged"
                                         : fmt::format("not converged: last change {:.3g} %", fit.maxChange));
              }));
    list.Note("residualSD", "SD of residuals", ofFit([](const CurveFitResult& fit) {
                  return fmt::format("{:.5g} (= SD of data if good fit)", fit.residualSd);
              }));
    list.Note("chiSq", "Chi-square", ofFit([](const CurveFitResult& fit) {
                  const std::string tail =
                      std::isnan(fit.tail) ? std::string(noTailText) : fmt::format("p = {:.3g}", fit.tail);
                  const std::string share =
                      std::isfinite(fit.rSquared) ? fmt::format("; r*r = {:.4f}", fit.rSquared) : "";
                  return fmt::format("{:.5g}, {}{}", fit.chiSquare, tail, share);
              }));
}

void CurveFitting::DescribeFurther(ParamList& list) {
    list.Group("Further");
    list.Choice("damping", "Where steps fail", m_nMethod, {"end the fit", "damp them (Levenberg-Marquardt)"})
        .Tip("A step that makes the fit worse or no number ends it, or is made smaller until it makes it "
             "better");
    list.Text("fixed", "Fixed parameters", m_strFixed)
        .Tip("Parameters that stay as they are, for example b d");
    list.Text("limits", "Limits", m_strLimits).Tip("Limits of parameters, for example a>0, c<100");
}

void CurveFitting::DescribeTest(ParamList& list) {
    const bool isOfTime = m_variable == 't';
    list.Number(isOfTime ? "testT" : "testX", isOfTime ? "Test t" : "Test x", m_dTest)
        .Tip("A place at which the value of the equation is told")
        .Shows([this] {
            const double value = Evaluate(m_dTest);
            return Parsed().Parameters() == 0 ? std::string() : fmt::format("gives {:.7g}", value);
        });
}

std::string CurveFitting::ErrorText(size_t parameter) const {
    if (!HasFit()) return {};
    const CurveFitResult& result = m_found->result;
    const auto at = std::ranges::find(result.free, parameter);
    if (at == result.free.end()) return "fixed";
    const auto i = static_cast<size_t>(at - result.free.begin());
    return fmt::format("\u00b1 {:.3g}, p {:.1g}", result.Error(i), result.Probability(i));
}

FitEquation& CurveFitting::Parsed() const {
    if (!m_isParsed || m_parsedText != m_strEquation) {
        m_parsedFault = m_parsed.ParseEquation(m_strEquation);
        m_parsedText = m_strEquation;
        m_isParsed = true;
    }
    return m_parsed;
}

std::string CurveFitting::ParseLimits(FitControl& control) const {
    const auto count = static_cast<size_t>(Parsed().Parameters());
    if (WordsOf(m_strLimits).empty()) return {};
    constexpr double endless = std::numeric_limits<double>::infinity();
    control.bounds.assign(count, {-endless, endless});
    std::string text = m_strLimits;
    for (const char* sign : {"<", ">"})  // blanks around a sign go
        for (size_t at = text.find(sign); at != std::string::npos; at = text.find(sign, at + 1)) {
            while (at + 1 < text.size() && (text[at + 1] == ' ' || text[at + 1] == '='))
                text.erase(at + 1, 1);
            while (at > 0 && text[at - 1] == ' ') text.erase(--at, 1);
        }
    for (const std::string& word : WordsOf(text)) {
        const bool isOfParameter = word.size() > 2 && word[0] >= 'a' &&
                                   static_cast<size_t>(word[0] - 'a') < count &&
                                   (word[1] == '<' || word[1] == '>');
        const auto limit = isOfParameter ? ParseNumber(word.substr(2)) : std::nullopt;
        if (!limit) return fmt::format(limitsText, word);
        auto& [low, high] = control.bounds[static_cast<size_t>(word[0] - 'a')];
        (word[1] == '<' ? high : low) = *limit;
    }
    for (size_t i = 0; i < count; ++i) {
        const auto [low, high] = control.bounds[i];
        if (low > high) return fmt::format("No value of {} lies within its limits.", LetterOf(i));
        const bool isWithin = m_dParam[i] >= low && m_dParam[i] <= high;
        if (!isWithin && !(m_bGuess && CanGuess()))
            return fmt::format("{} begins at {:g}, which is not within its limits.", LetterOf(i),
                               m_dParam[i]);
    }
    return {};
}

std::string CurveFitting::ControlOf(FitControl& control) const {
    if (Parsed().Parameters() == 0) return m_parsedFault;
    if (!(m_dStep > 0.0)) return "The step factor must be above 0.";
    if (!(m_dDataSD > 0.0)) return "The SD of the data must be above 0.";
    control = {m_nMaxIter,
               m_dTolPercent,
               m_dStep,
               m_dDataSD,
               m_nMethod == static_cast<int32_t>(FitMethod::damped),
               {},
               {}};
    const auto count = static_cast<size_t>(Parsed().Parameters());
    for (const std::string& word : WordsOf(m_strFixed)) {
        const bool isOne = word.size() == 1 && word[0] >= 'a' && static_cast<size_t>(word[0] - 'a') < count;
        if (!isOne) return fmt::format(fixedText, word);
        control.isFixed.resize(count);
        control.isFixed[static_cast<size_t>(word[0] - 'a')] = 1;
    }
    if (!control.isFixed.empty() && std::ranges::count(control.isFixed, 0) == 0) return allFixedText;
    for (size_t i = 0; i < count; ++i)
        if (!std::isfinite(m_dParam[i])) return fmt::format("{} is no number.", LetterOf(i));
    return ParseLimits(control);
}

std::string CurveFitting::Fault() const {
    FitControl control;
    return ControlOf(control);
}

void CurveFitting::AppendText(std::string& text) const {
    text += fmt::format("Equation: {}\r\nStart:", m_strEquation);
    for (int i = 0; i < Parsed().Parameters(); ++i)
        text +=
            fmt::format(" {} = {:.10g}", LetterOf(static_cast<size_t>(i)), m_dParam[static_cast<size_t>(i)]);
    text += fmt::format("\r\nMost iterations: {}, unchanged below {:g} %, step {:g}, SD of data {:g}\r\n",
                        m_nMaxIter, m_dTolPercent, m_dStep, m_dDataSD);
    if (m_nMethod == static_cast<int32_t>(FitMethod::damped)) text += "Steps that fail are damped\r\n";
    if (!m_strFixed.empty()) text += fmt::format("Fixed: {}\r\n", m_strFixed);
    if (!m_strLimits.empty()) text += fmt::format("Limits: {}\r\n", m_strLimits);
}

// --- commands ---

void CurveFitting::Reset() { m_dParam.fill(1.0); }
void CurveFitting::Restore() { m_dParam = m_dParamSaved; }
bool CurveFitting::CanGuess() const { return FindReadyEquation(m_strEquation, m_variable) != nullptr; }

void CurveFitting::Guess(const FitPoints& points) {
    const ReadyEquation* ready = FindReadyEquation(m_strEquation, m_variable);
    if (ready && !points.x.empty()) std::ranges::copy(ready->guess(points.x, points.y), m_dParam.begin());
}

// --- the fit ---

std::vector<double> CurveFitting::Values() const {
    return {m_dParam.begin(), m_dParam.begin() + Parsed().Parameters()};
}

std::unique_ptr<CurveFitJob> CurveFitting::MakeJob() const {
    auto job = std::make_unique<CurveFitJob>(m_variable, m_strEquation);
    ControlOf(job->control);
    job->equation = m_strEquation;
    job->start = Values();
    job->guesses = m_bGuess && CanGuess();
    return job;
}

bool CurveFitting::Take(CurveFitJob& job) {
    m_found.reset();
    m_each = std::move(job.each);
    m_eachEquation = job.equation;
    if (!m_each.empty()) return true;
    m_dParamSaved = m_dParam;
    std::ranges::copy(job.start, m_dParamSaved.begin());
    std::ranges::copy(job.parameters, m_dParam.begin());
    m_left = {m_eachEquation, m_dParam};
    if (!job.isFitted) return false;
    m_found = {std::move(job.points), std::move(job.control), std::move(job.equation), std::move(job.result)};
    return true;
}

bool CurveFitting::HasFit() const {
    return m_found && m_found->equation == m_strEquation && m_found->result.parameters == Values();
}

double CurveFitting::Evaluate(double at) const { return Parsed().Evaluate(m_dParam, at); }

// --- what is shown ---

void CurveFitting::ForPoints(const std::function<bool(size_t, const FitPoint&)>& take) const {
    FitEquation equation(m_variable);
    equation.ParseEquation(m_found->equation);
    EquationModel model(equation, m_found->points->x);
    ForFitPoints(model, m_found->points->y, m_found->control, m_found->result, take);
}

void CurveFitting::WriteReport(const TextSink& sink, int xDecimals, int decimals) const {
    if (!m_each.empty()) return WriteEach(sink);
    if (!m_found) return;
    if (!sink("x\ty_raw\ty_fit\tresid (raw-fit)\tSEest\tY_fit Lo\tY_fit Hi\r\n")) return;
    bool goesOn = true;
    ForPoints([&](size_t i, const FitPoint& point) {
        goesOn = sink(fmt::format("{:.{}f}\t{:.{}f}\t{:.{}f}\t{:.{}f}\t{}\t{}\t{}\r\n", m_found->points->x[i],
                                  xDecimals, m_found->points->y[i], decimals, point.fit, decimals,
                                  point.residual, decimals, OrEmpty(point.error, decimals),
                                  OrEmpty(point.low, decimals), OrEmpty(point.high, decimals)));
        return goesOn;
    });
    if (goesOn) sink(ParametersReport());
}

std::string CurveFitting::ParametersReport() const {
    const CurveFitResult& result = m_found->result;
    const size_t free = result.free.size();
    std::string text =
        fmt::format("Corr. Coeff. = {}\tr*r = {}\r\n", OrEmpty(result.R()), OrEmpty(result.rSquared));
    text += fmt::format("RMS Error = {:f}\td.f. = {}\r\n\r\n", result.rms, result.freedom);
    text += "Parameter Estimates...\r\n";
    for (size_t i = 0; i < free; ++i)
        text +=
            fmt::format("p{} = {:f}\t+/- {}\tp = {}\r\n", result.free[i], result.parameters[result.free[i]],
                        OrEmpty(result.Error(i)), OrEmpty(result.Probability(i)));
    text += "\r\nCovariance Matrix Terms and Error-Correlations...\r\n";
    for (size_t i = 0; i < free; ++i)
        for (size_t j = i; j < free; ++j) {
            text += fmt::format("B({},{}) = {}", result.free[i], result.free[j],
                                OrEmpty(result.Covariance(i, j)));
            text += i == j ? "\r\n" : fmt::format("\tr = {}\r\n", OrEmpty(result.Correlation(i, j)));
        }
    return text;
}

std::vector<Result> CurveFitting::Results(const std::string& title) const {
    if (!m_each.empty()) return {EachTable(title)};
    if (!m_found) return {};
    const CurveFitResult& result = m_found->result;
    Result summary;
    summary.name = title;
    summary.values = {{"equation", m_found->equation},
                      {"points", static_cast<int64_t>(result.points)},
                      {"iterDone", int64_t{result.iterations}},
                      {"converged", result.hasConverged ? std::string("yes") : std::string("no")},
                      {"maxChange", OrNothing(result.maxChange)},
                      {"chiSq", OrNothing(result.chiSquare)},
                      {"rmsError", OrNothing(result.rms)},
                      {"df", int64_t{result.freedom}},
                      {"r", OrNothing(result.R())},
                      {"r2", OrNothing(result.rSquared)},
                      {"prob", OrNothing(result.tail)},
                      {"residualSD", OrNothing(result.residualSd)},
                      {"valueAtTest", OrNothing(Evaluate(m_dTest))}};
    if (result.damped > 0) summary.values.emplace_back("damped", int64_t{result.damped});
    std::vector<Result> all{std::move(summary)};
    AddTables(all);
    return all;
}

void CurveFitting::WriteEach(const TextSink& sink) const {
    const size_t count = m_each.front().parameters.size();
    std::string head = "id";
    for (size_t k = 0; k < count; ++k) head += fmt::format("\t{}\t+/-", LetterOf(k));
    if (!sink(head + "\trms\tr*r\titer\r\n")) return;
    for (const CurveFitJob::Each& fit : m_each) {
        std::string row = fmt::format("{} failed to converge; skipping.\r\n", fit.id);
        if (fit.isFitted) {
            row = std::to_string(fit.id);
            for (size_t k = 0; k < count; ++k) {
                const auto at = std::ranges::find(fit.result.free, k) - fit.result.free.begin();
                const bool isFree = at < std::ssize(fit.result.free);
                row +=
                    fmt::format("\t{:f}\t{}", fit.parameters[k],
                                isFree ? OrEmpty(fit.result.Error(static_cast<size_t>(at))) : std::string());
            }
            row += fmt::format("\t{:f}\t{}\t{}\r\n", fit.result.rms, OrEmpty(fit.result.rSquared),
                               fit.result.iterations);
        }
        if (!sink(row)) return;
    }
}

Result CurveFitting::EachTable(const std::string& title) const {
    const size_t count = m_each.front().parameters.size();
    Result table{title, {{"equation", m_eachEquation}}, {{"id", ""}}, {}};
    for (size_t k = 0; k < count; ++k) table.columns.push_back({LetterOf(k), ""});
    for (size_t k = 0; k < count; ++k) table.columns.push_back({LetterOf(k) + " error", ""});
    for (const char* name : {"rms", "r2", "iterations", "converged"}) table.columns.push_back({name, ""});
    std::vector<std::vector<ResultValue>> rows;
    for (const CurveFitJob::Each& fit : m_each) {
        std::vector<ResultValue> row(table.columns.size());
        row[0] = int64_t{fit.id};
        row.back() = std::string(!fit.isFitted ? "failed" : fit.result.hasConverged ? "yes" : "no");
        if (fit.isFitted) {
            for (size_t k = 0; k < count; ++k) row[1 + k] = OrNothing(fit.parameters[k]);
            for (size_t i = 0; i < fit.result.free.size(); ++i)
                row[1 + count + fit.result.free[i]] = OrNothing(fit.result.Error(i));
            row[1 + 2 * count] = OrNothing(fit.result.rms);
            row[2 + 2 * count] = OrNothing(fit.result.rSquared);
            row[3 + 2 * count] = int64_t{fit.result.iterations};
        }
        rows.push_back(std::move(row));
    }
    table.SetRows(std::move(rows));
    return table;
}

void CurveFitting::AddTables(std::vector<Result>& all) const {
    const CurveFitResult& result = m_found->result;
    const size_t free = result.free.size();
    Result parameters{"parameters", {}, {{"name", ""}, {"estimate", ""}, {"error", ""}, {"p", ""}}, {}};
    std::vector<std::vector<ResultValue>> rows;
    for (size_t k = 0; k < result.parameters.size(); ++k) {
        const auto at = std::ranges::find(result.free, k) - result.free.begin();
        const auto i = static_cast<size_t>(at);
        if (i < free)
            rows.push_back({LetterOf(k), OrNothing(result.parameters[k]), OrNothing(result.Error(i)),
                            OrNothing(result.Probability(i))});
        else
            rows.push_back({LetterOf(k), OrNothing(result.parameters[k]), {}, {}});
    }
    parameters.SetRows(std::move(rows));
    all.push_back(std::move(parameters));
    for (const bool isCovariance : {true, false}) {
        Result matrix{isCovariance ? "covariance" : "correlation", {}, {{"name", ""}}, {}};
        for (const size_t k : result.free) matrix.columns.push_back({LetterOf(k), ""});
        rows.clear();
        for (size_t i = 0; i < free; ++i) {
            std::vector<ResultValue> row{LetterOf(result.free[i])};
            for (size_t j = 0; j < free; ++j)
                row.push_back(OrNothing(isCovariance ? result.Covariance(i, j) : result.Correlation(i, j)));
            rows.push_back(std::move(row));
        }
        matrix.SetRows(std::move(rows));
        all.push_back(std::move(matrix));
    }
    const FitPoints& data = *m_found->points;
    Result points{"points",
                  {},
                  {{data.xTitle, data.xUnit},
                   {"raw", data.yUnit},
                   {"fit", data.yUnit},
                   {"residual", data.yUnit},
                   {"SEest", data.yUnit},
                   {"low", data.yUnit},
                   {"high", data.yUnit}},
                  {}};
    points.rows = [this](const ResultRowSink& sink) {
        bool goesOn = true;
        ForPoints([&](size_t i, const FitPoint& point) {
            const ResultValue row[] = {m_found->points->x[i],  m_found->points->y[i],
                                       OrNothing(point.fit),   OrNothing(point.residual),
                                       OrNothing(point.error), OrNothing(point.low),
                                       OrNothing(point.high)};
            goesOn = sink(row);
            return goesOn;
        });
        return goesOn;
    };
    all.push_back(std::move(points));
}

Graph CurveFitting::GetGraph(const FitPoints* points) const {
    Graph graph;
    graph.sharesX = true;
    GraphPane fit{"fit"}, residuals{"residuals"};
    fit.y.title = "y";
    residuals.y.title = "residual";
    if (points && !points->x.empty()) {
        for (GraphPane* pane : {&fit, &residuals}) {
            pane->x = {points->xTitle, points->xUnit};
            pane->y.unit = points->yUnit;
        }
        fit.y.title = points->yTitle;
        GraphLayer raw{points->isCurve ? LayerKind::curve : LayerKind::points, "data", GraphColour(0)};
        AddThinned(raw, points->x, points->y);
        fit.layers.push_back(std::move(raw));
        if (Parsed().Parameters() > 0) {
            std::vector<double> left;
            for (size_t i = 0; i < points->x.size(); ++i)
                left.push_back(points->y[i] - Evaluate(points->x[i]));
            GraphLayer away{points->isCurve ? LayerKind::curve : LayerKind::points, "", GraphColour(0)};
            AddThinned(away, points->x, left);
            residuals.layers.push_back(std::move(away));
            residuals.lines.push_back({false, 0.0, GraphColour(1), ""});
            const auto [from, to] = std::ranges::minmax(points->x);
            GraphLayer curve{points->showsCurve ? LayerKind::curve : LayerKind::points,
                             HasFit() ? "fit" : "equation", GraphColour(1)};
            if (points->showsCurve)
                for (size_t i = 0; i <= curvePoints; ++i)
                    curve.x.push_back(from + (to - from) * static_cast<double>(i) / curvePoints);
            else
                curve.x = points->x;
            for (const double at : curve.x) curve.y.push_back(Evaluate(at));
            fit.layers.push_back(std::move(curve));
        }
    }
    graph.panes = {std::move(fit), std::move(residuals)};
    return graph;
}

}  // namespace kymora
