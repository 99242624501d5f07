// What template recognition tells of what it has found.

#include <fmt/format.h>

#include <algorithm>

#include "host/user_numbers.h"
#include "templates/pattern_recognition.h"

namespace kymora {

namespace {

std::string TypeText(int32_t type, int32_t average) {
    if (type == static_cast<int32_t>(TemplateType::scaled)) return "optimally scaled\r\n";
    return type == static_cast<int32_t>(TemplateType::adaptive)
               ? fmt::format("adaptive, average {}\r\n", average)
               : "fixed\r\n";
}

GraphLayer WaveLayer(std::span<const float> values, double interval, const char* name, uint32_t colour) {
    GraphLayer layer{LayerKind::curve, name, colour};
    layer.y.assign(values.begin(), values.end());
    for (size_t i = 0; i < values.size(); ++i) layer.x.push_back(static_cast<double>(i) * interval);
    return layer;
}

constexpr uint32_t paleColour = 0xC8C8C8;

}  // namespace

// --- the report ---

void CPatternRecognition::GetParamText(std::string& text) {
    AppendRegionText(text);
    if (m_bAllTraces)
        text += "Analysed all traces, events start at channel: ";
    else
        text += fmt::format("Parent trace: {}\r\nDestination event channel: ", m_nTrace + 1);
    text += ChannelName(m_nDestination) + "\r\n";
    if (m_template.IsDefined()) text += m_strOrigin;
    text += "Template type:\t" + TypeText(m_nTemplateType, m_nAdaptiveAverage);
    text += fmt::format("Frequency multiplier:\t{}\r\n", m_nFrequencyMultiplier);
    text += IsScaled() ? fmt::format("Goodness-of-fit:\t{:f}\r\n", m_fGoodnessOfFit)
                       : fmt::format("Allowed error:\t{:f}\r\n", m_fAllowedError);
    text += fmt::format("Minimum peak-to-peak:\t{:f}\r\n", m_fMinimumPeakToPeak);
}

void CPatternRecognition::AppendReport(std::string& text, const EventJob& job) {
    GetParamText(text);
    const auto& done = static_cast<const PatternJob&>(job);
    int64_t matches = 0;
    for (const PatternFound& found : done.matched) matches += std::ssize(found.search.matches);
    text += fmt::format("Count of matches:\t{}\r\n", matches);
}

// --- texts and tables ---

std::string CPatternRecognition::ListText() const {
    std::string text = "Template waveform\r\n";
    for (size_t i = 0; i < m_template.values.size(); ++i)
        text += fmt::format("{:3d}\t{:.2f}\r\n", i, m_template.values[i]);
    return text;
}

// Of the first trace in which a match was left open.
std::string CPatternRecognition::OpenText() const {
    for (const Found& found : m_found)
        if (found.pattern.search.open > 0)
            return OpenRunsText(found.pattern.search, m_template.multiplier, Document()->sampleInterval);
    return {};
}

std::string CPatternRecognition::RunSummary() const {
    int64_t overlapping = 0, tooSmall = 0;
    for (const Found& found : m_found) {
        overlapping += found.pattern.search.replaced + found.pattern.search.dropped;
        tooSmall += found.pattern.tooSmall;
    }
    std::string text;
    if (overlapping > 0) text = fmt::format("{} dropped for overlap", overlapping);
    const auto add = [&](const std::string& more) { text += (text.empty() ? "" : ", ") + more; };
    if (tooSmall > 0) add(fmt::format("{} too small", tooSmall));
    if (const std::string open = OpenText(); !open.empty()) add(open.substr(0, open.find(',')));
    return text;
}

void CPatternRecognition::WriteResult(const TextSink& sink) {
    if (m_found.empty()) return;
    if (!sink(m_strOrigin)) return;
    for (const Found& found : m_found) {
        const std::string where = m_found.size() > 1 ? fmt::format("Trace {}, channel {}: ", found.trace + 1,
                                                                   ChannelName(found.channel))
                                                     : std::string();
        if (!sink(fmt::format("{}{} matches\r\n", where, found.pattern.search.matches.size()))) return;
        if (!sink(IsScaled() ? "onset (ms)\tgoodness-of-fit\tscale\toffset\r\n"
                             : "onset (ms)\terror (%)\r\n"))
            return;
        for (size_t i = 0; i < found.pattern.search.matches.size(); ++i) {
            const TemplateMatch& match = found.pattern.search.matches[i];
            std::string row = fmt::format("{:.10g}\t{}", Document()->TimeOf(match.on), match.value);
            if (IsScaled()) {
                const TemplateFit& fit = found.pattern.fits[i];
                row += fmt::format("\t{:.7g}\t{:.7g}", fit.scale, fit.offset);
            }
            if (!sink(row + "\r\n")) return;
        }
    }
}

std::vector<Result> CPatternRecognition::Results() {
    if (m_found.empty() || !Document()) return {};
    Result wave{"template waveform",
                {{"bins", static_cast<int64_t>(m_template.values.size())},
                 {"frequency multiplier", int64_t{m_template.multiplier}},
                 {"length", int64_t{m_template.length}},
                 {"trace", int64_t{m_template.trace} + 1},
                 {"start", m_template.startMs},
                 {"end", m_template.endMs},
                 {"error of an empty baseline", TemplateError(m_template.values).OfFlatWindow()}},
                {{"bin", {}}, {"value", Units()}},
                {}};
    std::vector<std::vector<ResultValue>> bins;
    for (size_t i = 0; i < m_template.values.size(); ++i)
        bins.push_back({static_cast<int64_t>(i), m_template.values[i]});
    wave.SetRows(std::move(bins));
    int64_t count = 0, dropped = 0, tooSmall = 0;
    for (const Found& found : m_found) {
        count += std::ssize(found.pattern.search.matches);
        dropped += found.pattern.search.replaced + found.pattern.search.dropped;
        tooSmall += found.pattern.tooSmall;
    }
    Result matches{
        "matches",
        {{"matches", count}, {"dropped for overlap", dropped}, {"below minimum peak-to-peak", tooSmall}},
        {{"trace", {}},
         {"channel", {}},
         {"onset", "ms"},
         {IsScaled() ? "goodness-of-fit" : "error", IsScaled() ? "" : "%"},
         {"scale", Units()},
         {"offset", Units()}},
        {}};
    matches.rows = [this](const ResultRowSink& sink) {
        for (const Found& found : m_found)
            for (size_t i = 0; i < found.pattern.search.matches.size(); ++i) {
                const TemplateMatch& match = found.pattern.search.matches[i];
                ResultValue row[] = {int64_t{found.trace} + 1,
                                     ChannelName(found.channel),
                                     Document()->TimeOf(match.on),
                                     match.value,
                                     {},
                                     {}};
                if (i < found.pattern.fits.size()) {
                    row[4] = found.pattern.fits[i].scale;
                    row[5] = found.pattern.fits[i].offset;
                }
                if (!sink(row)) return false;
            }
        return true;
    };
    return {std::move(wave), std::move(matches)};
}

// --- the graph ---

GraphPane CPatternRecognition::TemplatePane() const {
    GraphPane pane{"template"};
    pane.title = "Template";
    pane.x = {"time", "ms"};
    pane.y = {"value", Units()};
    if (!m_template.IsDefined() || !Document()) return pane;
    const double interval = Document()->sampleInterval / m_template.multiplier;
    if (m_found.size() == 1) {
        const MatchedWaves& waves = m_found[0].pattern.waves;
        for (size_t i = 0; i < waves.first.size(); ++i)
            pane.layers.push_back(WaveLayer(waves.first[i], interval, i == 0 ? "matches" : "", paleColour));
        if (waves.count > 0)
            pane.layers.push_back(WaveLayer(waves.Mean(), interval, "mean of matches", GraphColour(1)));
    }
    pane.layers.push_back(WaveLayer(m_template.values, interval, "template", GraphColour(0)));
    return pane;
}

std::optional<Graph> CPatternRecognition::GetGraph() {
    Graph graph{{TemplatePane()}};
    if (m_kept && m_kept->histogram && m_kept->search.type == Type())
        graph.panes.push_back(m_kept->histogram->Pane(Type(), Threshold()));
    return graph;
}

}  // namespace kymora
