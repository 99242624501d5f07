// The texts and tables of a histogram.

#include <fmt/format.h>

#include <cmath>

#include "histograms/histogram.h"

namespace kymora {

namespace {

// The unit in brackets at the end of a label.
std::pair<std::string, std::string> NameAndUnit(const std::string& label) {
    const size_t open = label.rfind(" (");
    if (open == std::string::npos || !label.ends_with(")")) return {label, {}};
    return {label.substr(0, open), label.substr(open + 2, label.size() - open - 3)};
}

std::string StatisticsText(const HistInput& input, const HistFound& found) {
    const CHist& hist = found.hist;
    const auto counts = static_cast<int64_t>(hist.InRange());
    if (input.kind == HistInput::Kind::timeBins)
        return fmt::format(
            "counts in hist\t{}\r\nmean val in time bins\t{:f}\r\ns.d. of vals in time bins\t{:f}\r\n",
            counts, found.stats.mean, found.stats.sd);
    if (counts < 2)
        return fmt::format(
            "counts below hist\t{}\tcounts above hist\t{}\r\ncounts in hist\t{}\r\nNeed at least 2 items in "
            "histogram for stats\r\n",
            static_cast<int64_t>(hist.below), static_cast<int64_t>(hist.above), counts);
    return fmt::format(
        "mean val in hist\t{:f}\r\ns.d. of vals in hist\t{:f}\r\ncounts in hist\t{}\r\ncounts below "
        "\t{}\r\ncounts above\t{}\r\n",
        found.stats.mean, found.stats.sd, counts, static_cast<int64_t>(hist.below),
        static_cast<int64_t>(hist.above));
}

std::string CircularText(const CircularStatistics& circular) {
    switch (circular.state) {
    case CircularStatistics::State::tooFew:
        return {};
    case CircularStatistics::State::noMean:
        return "CIRCULAR STATISTICS: no mean (vector lengths zero)\r\n";
    case CircularStatistics::State::found:
        break;
    }
    return fmt::format(
        "CIRCULAR STATISTICS\r\nmean\t{:f}\r\ns.d.\t{:f}\r\nvector strength\t{:f}\r\np\t{:f}\r\n",
        circular.mean, circular.sd, circular.vectorStrength, circular.p);
}

// What the share of short intervals is called.
std::string ShortIntervals(const HistSettings& settings) {
    return fmt::format("% of intervals < {:g} ms", settings.refractory);
}

std::string ChanceText(const HistInput& input, const HistFound::Chance& chance, const PsthSettings& psth) {
    const char* effect = input.isPsth ? "stimulus effect" : "correlation";
    std::string text = fmt::format("Analysis dur: {:.4f} s, counts: {}\r\nPoisson:\r\nExpected counts/bin if "
                                   "no {}: {:.2f}\r\n99% confidence "
                                   "limits:\r\n\tlower: {:.2f}\tupper: {:.2f}\r\n",
                                   chance.duration, chance.counts, effect, chance.poisson.expected,
                                   chance.poisson.lower, chance.poisson.upper);
    if (chance.bootstrap)
        text += fmt::format("Bootstrap ({} runs):\r\nExpected counts/bin if no {}: {:f}\r\n99% confidence "
                            "limits:\r\n\tlower: "
                            "{}\tupper: {}\r\n",
                            psth.bootstrapRuns, effect, chance.bootstrap->expected,
                            static_cast<int64_t>(chance.bootstrap->lower),
                            static_cast<int64_t>(chance.bootstrap->upper));
    if (!chance.warning.empty()) text += chance.warning + "\r\n";
    return text;
}

Result BarsResult(const HistInput& input, const HistFound& found, const HistSettings& settings) {
    Result result;
    result.name = "Histogram";
    const CHist& hist = found.hist;
    const bool isTime = input.kind == HistInput::Kind::timeBins;
    const auto [name, unit] = NameAndUnit(input.label);
    result.values = {{"bin width", isTime ? input.width : settings.Width()},
                     {"counts below histogram", hist.below},
                     {"counts above histogram", hist.above}};
    const std::string rowUnit = isTime ? "ms" : unit;
    result.columns = {{"lower bound", rowUnit}, {"upper bound", rowUnit}, {"count", ""}, {"displayed", ""}};
    const bool hasSd = !found.averageSd.empty();
    if (hasSd) result.columns.push_back({"s.d.", ""});
    std::vector<std::vector<ResultValue>> rows;
    for (size_t i = 0; i < hist.counts.size(); ++i) {
        const auto bin = static_cast<int>(i);
        const double lower = isTime ? found.starts[i] : hist.grid.Edge(bin);
        const double upper = isTime ? lower + input.width : hist.grid.Edge(bin + 1);
        rows.push_back({lower, upper, hist.counts[i], found.shown[i]});
        if (hasSd) rows.back().push_back(found.averageSd[i]);
    }
    result.SetRows(std::move(rows));
    return result;
}

Result TableOf(const char* name, const char* first, const char* second, const std::vector<double>& x,
               const std::vector<double>& y) {
    Result result;
    result.name = name;
    result.columns = {{first, ""}, {second, ""}};
    std::vector<std::vector<ResultValue>> rows;
    for (size_t i = 0; i < x.size(); ++i) rows.push_back({x[i], y[i]});
    result.SetRows(std::move(rows));
    return result;
}

Result MixtureResult(const HistFound& found, const CFitHistMixtures& mix) {
    Result result;
    result.name = "PDF mix";
    result.values = {{"LL", found.report->logLikelihood},
                     {"relLL", found.report->relativeLogLikelihood},
                     {"AICC", found.report->aicc},
                     {"BIC", found.report->bic}};
    if (found.logLikeBefore) {
        result.values.emplace_back("-LogLike before", *found.logLikeBefore);
        result.values.emplace_back("-LogLike after", *found.logLikeAfter);
    }
    result.columns = {{"component", ""}, {"proportion", ""}, {"mean", ""}, {"s.d.", ""}};
    std::vector<std::vector<ResultValue>> rows;
    for (size_t i = 0; i < static_cast<size_t>(mix.components); ++i)
        rows.push_back({static_cast<int64_t>(i + 1), mix.proportion[i], mix.mean[i], mix.sd[i]});
    result.SetRows(std::move(rows));
    return result;
}

Result ChanceResult(const HistInput& input, const HistFound::Chance& chance) {
    Result result;
    result.name = input.isPsth ? "Peri-stimulus statistics" : "Correlogram statistics";
    const auto add = [&](const std::string& kind, const CountLimits& limits) {
        result.values.emplace_back(kind + " expected counts/bin", limits.expected);
        result.values.emplace_back(kind + " lower", limits.lower);
        result.values.emplace_back(kind + " upper", limits.upper);
    };
    result.values = {{"Analysis dur", chance.duration},
                     {"counts", chance.counts},
                     {input.isPsth ? "stimuli" : "counts 2", chance.stimuli}};
    add("Poisson", chance.poisson);
    if (chance.bootstrap) add("Bootstrap", *chance.bootstrap);
    if (!chance.warning.empty())
        result.values.emplace_back("WARNING", chance.warning.substr(chance.warning.find(": ") + 2));
    return result;
}

Result JitterResult(const BinGrid& grid, const JitterBand& band) {
    Result result;
    result.name = "Jitter band";
    result.columns = {{"from", ""}, {"to", ""}, {"expected", ""}, {"lower", ""}, {"upper", ""}};
    std::vector<std::vector<ResultValue>> rows;
    for (size_t i = 0; i < band.lower.size(); ++i) {
        const int bin = static_cast<int>(i);
        rows.push_back({grid.Edge(bin), grid.Edge(bin + 1), band.expected[i], band.lower[i], band.upper[i]});
    }
    result.SetRows(std::move(rows));
    return result;
}

}  // namespace

std::string CHist::CopyText() const {
    std::string text = fmt::format("Count <\t{:f}\t{}\n", grid.minimum, static_cast<int64_t>(below));
    for (size_t i = 0; i < counts.size(); ++i)
        text += fmt::format("Count bin LB\t{:f}\t{:f}\n", grid.Edge(static_cast<int>(i)), counts[i]);
    return text + fmt::format("Count >=\t{:f}\t{}\n", grid.maximum, static_cast<int64_t>(above));
}

std::string HistExport(const HistFound& found) {
    const CHist& hist = found.hist;
    if (!found.starts.empty()) {
        std::string text = "time\tcount\r\n";
        for (size_t i = 0; i < hist.counts.size(); ++i)
            text += fmt::format("{:f}\t{:f}\r\n", found.starts[i], hist.counts[i]);
        return text;
    }
    std::string text =
        fmt::format("Counts above histogram = {}\r\nCounts below histogram = {}\r\nBin width = {:f}\r\nupper "
                    "bound\tcount (>= "
                    "lower, < upper)\r\n",
                    static_cast<int64_t>(hist.above), static_cast<int64_t>(hist.below), hist.grid.Width());
    for (size_t i = 0; i < hist.counts.size(); ++i)
        text += fmt::format("{:f}\t{:f}\r\n", hist.grid.Edge(static_cast<int>(i) + 1), hist.counts[i]);
    return text;
}

std::string FitTable(const HistPart& part) {
    const HistFound& found = part.found;
    std::string text;
    for (size_t i = 0; i < found.shown.size(); ++i) {
        const double middle = found.starts.empty() ? found.hist.grid.Middle(static_cast<int>(i))
                                                   : found.starts[i] + part.input.width / 2.0;
        if (std::isfinite(found.shown[i])) text += fmt::format("{:.12g}\t{:.12g}\n", middle, found.shown[i]);
    }
    return text;
}

std::string DensityText(const HistFound& found) {
    std::string text = "x\ty\r\n";
    for (size_t i = 0; i < found.density.size(); ++i)
        text += fmt::format("{:f}\t{:f}\r\n", found.densityX[i], found.density[i]);
    return text;
}

std::string HistText(const HistPart& part) {
    const auto& [input, settings, psth, found] = part;
    std::string text;
    if (input.totals) {
        const auto& [points, all] = *input.totals;
        text = fmt::format("number of points: {}\nmean = {:f}, s.d. = {:f}, n = {}\n", points, all.mean,
                           all.sd, all.count);
    }
    text += StatisticsText(input, found);
    if (found.circular) text += CircularText(*found.circular);
    if (found.chance) text += ChanceText(input, *found.chance, psth);
    if (found.intervals && found.intervals->count > 0) {
        const IntervalStatistics& train = *found.intervals;
        text += fmt::format("CV\t{:f}\r\nCV2\t{:f}\r\nLV\t{:f}\r\n{}\t{:f}\r\n", train.cv, train.cv2,
                            train.lv, ShortIntervals(settings), 100.0 * train.shareBelow);
    }
    if (found.knuth) text += fmt::format("optimal number of bins\t{}\r\n", found.knuth->best);
    if (!found.density.empty()) text += fmt::format("KDE bandwidth\t{:f}\r\n", found.bandwidth);
    if (!found.report) return text;
    if (found.logLikeBefore)
        text += fmt::format("-LogLike before = {:f}\n-LogLike after = {:f}\n", *found.logLikeBefore,
                            *found.logLikeAfter);
    text += "component\tproportion\tmean\ts.d.\r\n";
    for (size_t i = 0; i < static_cast<size_t>(settings.mix.components); ++i)
        text += fmt::format("{}\t{:f}\t{:f}\t{:f}\r\n", i + 1, settings.mix.proportion[i],
                            settings.mix.mean[i], settings.mix.sd[i]);
    return text + fmt::format("LL = {:f}, relLL = {:f}, AICC = {:f}, BIC = {:f}\n",
                              found.report->logLikelihood, found.report->relativeLogLikelihood,
                              found.report->aicc, found.report->bic);
}

std::vector<Result> HistResults(const HistPart& part) {
    const auto& [input, settings, psth, found] = part;
    std::vector<Result> results;
    Result& stats = results.emplace_back();
    stats.name = "Descriptive statistics";
    const bool isTime = input.kind == HistInput::Kind::timeBins;
    const bool hasStats = isTime || found.hist.InRange() >= 2.0;
    stats.values = {
        {isTime ? "mean val in time bins" : "mean val in hist", hasStats ? found.stats.mean : noStatistic},
        {isTime ? "s.d. of vals in time bins" : "s.d. of vals in hist",
         hasStats ? found.stats.sd : noStatistic},
        {"counts in hist", found.hist.InRange()}};
    if (input.totals) {
        stats.values.emplace_back("number of points", input.totals->first);
        stats.values.emplace_back("mean", input.totals->second.mean);
        stats.values.emplace_back("s.d.", input.totals->second.sd);
        stats.values.emplace_back("n", input.totals->second.count);
    }
    if (!isTime) {
        stats.values.emplace_back("counts below", found.hist.below);
        stats.values.emplace_back("counts above", found.hist.above);
    }
    results.push_back(BarsResult(input, found, settings));
    if (found.circular && found.circular->state != CircularStatistics::State::tooFew) {
        Result& circular = results.emplace_back();
        circular.name = "Circular statistics";
        circular.values = {{"mean", found.circular->mean},
                           {"s.d.", found.circular->sd},
                           {"vector strength", found.circular->vectorStrength},
                           {"p", found.circular->p},
                           {"mean (degrees)", found.circular->meanDegrees},
                           {"n", found.circular->count}};
    }
    if (found.intervals) {
        Result& train = results.emplace_back();
        train.name = "Interval statistics";
        train.values = {{"CV", found.intervals->cv},
                        {"CV2", found.intervals->cv2},
                        {"LV", found.intervals->lv},
                        {ShortIntervals(settings), 100.0 * found.intervals->shareBelow},
                        {"intervals", found.intervals->count}};
    }
    if (found.chance) results.push_back(ChanceResult(input, *found.chance));
    if (found.chance && found.chance->jitter)
        results.push_back(JitterResult(found.hist.grid, *found.chance->jitter));
    if (found.knuth) results[0].values.emplace_back("optimal number of bins", int64_t{found.knuth->best});
    if (found.knuth && settings.showLogP) {
        std::vector<double> numbers;
        for (size_t i = 0; i < found.knuth->logP.size(); ++i) numbers.push_back(static_cast<double>(i + 1));
        results.push_back(TableOf("LogP of bin number", "bin number", "LogP", numbers, found.knuth->logP));
    }
    if (!found.density.empty()) {
        results.push_back(TableOf("KDE", "x", "y", found.densityX, found.density));
        results.back().values = {{"bandwidth", found.bandwidth}};
    }
    if (found.report) results.push_back(MixtureResult(found, settings.mix));
    return results;
}

}  // namespace kymora
