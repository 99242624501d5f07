#include "trains/event_correl_idx.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr uint32_t correlIdxVersion = 1;
constexpr uint64_t correlationPollParts = 1000;
constexpr const char* twoChannelsText = "Select at least two event channels.";
constexpr const char* lagStepText =
    "The step of the lags must be a sample or more, and no more than the range.";
constexpr const char* manyLagsText =
    "There would be more than 10,000 lags. Choose a larger step or a smaller range.";
constexpr double mostLagsOfPair = 10000.0;
constexpr size_t mostNamedPairs = 8;  // in the legend of lags

const char* StarsOf(double p) {
    if (p < 0.001) return "\t***";
    if (p < 0.01) return "\t**";
    return p < 0.05 ? "\t*" : "";
}

size_t PairCountOf(int32_t mode, size_t channels) {
    return mode == correlationIndex ? channels * (channels - 1) : channels * (channels - 1) / 2;
}

}  // namespace

template <typename Take>
void CEventCorrelIdx::Found::ForPairs(Take take) const {
    size_t which = 0;
    for (size_t first = 0; first < names.size(); ++first)
        for (size_t second = mode == correlationIndex ? 0 : first + 1; second < names.size(); ++second)
            if (first != second && !take(first, second, which++)) return;
}

// --- parameters ---

void CEventCorrelIdx::Serialize(CArchive& archive) {
    CTrainsBase::Serialize(archive);
    ExchangeVersion(archive, correlIdxVersion, ClassName());
    Exchange(archive, m_nMode);
    for (double* time : {&m_dStart, &m_dEnd, &m_dHalfWindow, &m_dLagRange, &m_dLagStep})
        Exchange(archive, *time);
}

// The channels that hold events, as far as a table of them can be read.
void CEventCorrelIdx::SuggestSettings() {
    constexpr size_t mostSuggested = 10;
    if (!Document() || !m_channels.empty()) return;
    for (int channel = 0; channel < maxEventChannels && m_channels.size() < mostSuggested; ++channel)
        if (Document()->GetNumEvents(channel) > 0) m_channels.push_back(channel);
}

void CEventCorrelIdx::Describe(ParamList& list) {
    constexpr double farthest = 1e9;
    list.Group("Source");
    list.Channels("channels", "Channels", m_channels)
        .Tip("Event channels, each of which is compared with each other one");
    list.Group("Correlation");
    list.Choice("mode", "Measure", m_nMode, {"correlation index", "STTC"})
        .Buttons()
        .Tip("The share of events within a window around those of a reference, against what chance puts "
             "there; or "
             "the spike time tiling coefficient, which does not depend on rates");
    const auto isIndex = [this] { return m_nMode == correlationIndex; };
    const auto isTiling = [this] { return m_nMode == tilingCoefficient; };
    list.Number("start", "start", m_dStart)
        .Unit("ms")
        .Limits(-farthest, farthest)
        .Tip("Start time of correlation window relative to events in refence channel")
        .EnabledIf(isIndex);
    list.Number("end", "end", m_dEnd)
        .Unit("ms")
        .Limits(-farthest, farthest)
        .Tip("End time of correlation window relative to events in reference channel")
        .EnabledIf(isIndex);
    list.Number("halfWindow", "+/-", m_dHalfWindow)
        .Unit("ms")
        .Limits(0, farthest)
        .Tip("Half-window duration for STTC calculation")
        .EnabledIf(isTiling);
    list.Number("lagRange", "Lags to +/-", m_dLagRange)
        .Unit("ms")
        .Limits(0, farthest)
        .Tip("Also show the coefficient with each second channel moved by lags up to this one; 0: do not")
        .EnabledIf(isTiling);
    list.Number("lagStep", "in steps of", m_dLagStep)
        .Unit("ms")
        .Limits(0, farthest)
        .Tip("Between neighbouring lags")
        .EnabledIf([this] { return HasLags(); });
    DescribeRegion(list);
}

std::string CEventCorrelIdx::CheckSettings() {
    if (std::string fault = CTrainsBase::CheckSettings(); !fault.empty()) return fault;
    if (m_channels.size() < 2) return twoChannelsText;
    if (m_nMode == correlationIndex && !(m_dStart < m_dEnd)) return regionOrderText;
    if (!Document() || !HasLags()) return {};
    if (InSamples(m_dLagStep) < 1 || m_dLagStep > m_dLagRange) return lagStepText;
    return 2.0 * m_dLagRange / m_dLagStep > mostLagsOfPair ? manyLagsText : std::string();
}

void CEventCorrelIdx::GetParamText(std::string& text) {
    if (m_nMode == correlationIndex)
        text += fmt::format("Correlation index from {:g} to {:g} ms\r\n", m_dStart, m_dEnd);
    else
        text += fmt::format("STTC +/- {:g} ms\r\n", m_dHalfWindow);
    CTrainsBase::GetParamText(text);
}

void CEventCorrelIdx::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) m_found.reset();
    CTrainsBase::CheckChangeDoc(doc);
}

// --- the run ---

struct CEventCorrelIdx::Job : OperationJob {
    std::vector<std::vector<int64_t>> trains;
    std::vector<TrainStretch> region;
    int64_t from = 0, to = 0;  // samples after an event
    std::vector<int64_t> lags;
    Found found;

    int64_t Samples() const override {
        int64_t events = 0;
        for (const auto& train : trains) events += static_cast<int64_t>(train.size());
        const auto others = static_cast<int64_t>(trains.size() * (1 + lags.size()));
        return events * others;
    }
    void Compute(SampleReader&, JobContext& context) override {
        ProgressScope progress(context, "Comparing trains", correlationPollParts);
        const auto poll = [&](double done) {
            return progress.GoesOn(static_cast<uint64_t>(done * static_cast<double>(correlationPollParts)));
        };
        std::vector<CoveredTrain> covered;
        for (const auto& train : trains) {
            if (!IsWanted(poll, 0.0)) throw Cancelled();
            covered.push_back(CoverTrain(train, from, to, region));
        }
        if (found.mode == tilingCoefficient) found.tilings = TilingOfAll(covered, poll);
        const auto pairs = static_cast<double>(PairCountOf(found.mode, trains.size()));
        found.ForPairs([&](size_t first, size_t second, size_t which) {
            const double done = static_cast<double>(which) / pairs;
            if (!IsWanted(poll, done)) throw Cancelled();
            if (found.mode == correlationIndex)
                found.indices.push_back(IndexOf(covered[first], covered[second].onsets));
            else if (!lags.empty())
                found.tilingsAtLags.push_back(TilingAgainstLag(covered[first], trains[second], to, lags,
                                                               region,
                                                               [&](double) { return IsWanted(poll, done); }));
            return true;
        });
    }
};

std::unique_ptr<OperationJob> CEventCorrelIdx::MakeJob() {
    auto job = std::make_unique<Job>();
    job->region = TakeStretches();
    if (job->region.empty()) return nullptr;
    const CDataDoc& doc = *Document();
    const bool isTiling = m_nMode == tilingCoefficient;
    job->from = InSamples(isTiling ? -m_dHalfWindow : m_dStart);
    job->to = InSamples(isTiling ? m_dHalfWindow : m_dEnd);
    job->found.mode = m_nMode;
    for (const int channel : m_channels) {
        job->trains.push_back(OnsetsOf(doc, channel));
        job->found.names.push_back(NameByMode(doc, channel));
        job->reads.push_back(channel);
    }
    if (!HasLags()) return job;
    const int64_t step = InSamples(m_dLagStep);
    for (int64_t k = -InSamples(m_dLagRange) / step; k <= InSamples(m_dLagRange) / step; ++k) {
        job->lags.push_back(k * step);
        job->found.lags.push_back(InMs(k * step));
    }
    return job;
}

bool CEventCorrelIdx::Write(OperationJob& job, UndoScope&) {
    m_found = std::move(static_cast<Job&>(job).found);
    return true;
}

// --- texts and tables ---

std::string CEventCorrelIdx::IndexLine(const CorrelationIndex& one, size_t reference, size_t other) const {
    const std::string& a = m_found->names[reference];
    const std::string& b = m_found->names[other];
    using State = CorrelationIndex::State;
    switch (one.state) {
    case State::noReference:
        return fmt::format("no events in chan {}", a);
    case State::noOther:
        return fmt::format("no events in chan {}", b);
    case State::tooFewWithin:
        return fmt::format("too few {} events expected within window of {} events ", b, a);
    case State::tooFewElsewhere:
        return fmt::format("too few {} events expected NOT within window of {} events ", b, a);
    default:
        return fmt::format("{:.4f}\t{:.4f}{}", one.index, one.p, StarsOf(one.p));
    }
}

void CEventCorrelIdx::WriteResult(const TextSink& sink) {
    if (!m_found) return;
    const auto& names = m_found->names;
    std::string line;
    if (m_found->mode == correlationIndex) {
        if (!sink("Reference\tother\tIndex\tp\tsig\r\n")) return;
        m_found->ForPairs([&](size_t reference, size_t other, size_t which) {
            return sink(names[reference] + "\t" + names[other] + "\t" +
                        IndexLine(m_found->indices[which], reference, other) + "\r\n");
        });
        return;
    }
    line = "\t";
    for (size_t i = 1; i < names.size(); ++i) line += names[i] + "\t";
    if (!sink(line + "\r\n")) return;
    size_t which = 0;
    for (size_t row = 0; row + 1 < names.size(); ++row) {
        line = names[row] + "\t" + std::string(row, '\t');
        for (size_t column = row + 1; column < names.size(); ++column) {
            const double value = m_found->tilings[which++];
            line += std::isnan(value) ? "No events\t" : fmt::format("{:f}\t", value);
        }
        if (!sink(line + "\r\n")) return;
    }
}

std::vector<Result> CEventCorrelIdx::Results() {
    if (!m_found) return {};
    std::vector<Result> all;
    all.push_back(m_found->mode == correlationIndex ? IndexResult() : TilingResult());
    if (!m_found->lags.empty()) all.push_back(LagResult());
    return all;
}

Result CEventCorrelIdx::IndexResult() const {
    Result result{"correlation index",
                  {},
                  {{"reference", {}},
                   {"other", {}},
                   {"events", {}},
                   {"inside", {}},
                   {"expected", {}},
                   {"index", {}},
                   {"p", {}},
                   {"note", {}}},
                  {}};
    result.rows = [this](const ResultRowSink& sink) {
        bool goesOn = true;
        m_found->ForPairs([&](size_t reference, size_t other, size_t which) {
            const CorrelationIndex& one = m_found->indices[which];
            std::vector<ResultValue> row{m_found->names[reference], m_found->names[other]};
            row.resize(8);
            if (one.state != CorrelationIndex::State::noReference) row[2] = one.total;
            if (one.state == CorrelationIndex::State::found) {
                row[3] = one.inside;
                row[4] = one.expected;
                row[5] = one.index;
                row[6] = one.p;
            } else {
                std::string note = IndexLine(one, reference, other);
                while (note.ends_with(' ')) note.pop_back();
                row[7] = std::move(note);
            }
            return goesOn = sink(row);
        });
        return goesOn;
    };
    return result;
}

Result CEventCorrelIdx::TilingResult() const {
    Result result{"STTC", {}, {{"first", {}}, {"second", {}}, {"STTC", {}}}, {}};
    result.rows = [this](const ResultRowSink& sink) {
        bool goesOn = true;
        m_found->ForPairs([&](size_t first, size_t second, size_t which) {
            const std::vector<ResultValue> row{m_found->names[first], m_found->names[second],
                                               m_found->tilings[which]};
            return goesOn = sink(row);
        });
        return goesOn;
    };
    return result;
}

Result CEventCorrelIdx::LagResult() const {
    Result result{"STTC against lag", {}, {{"first", {}}, {"second", {}}, {"lag", "ms"}, {"STTC", {}}}, {}};
    result.rows = [this](const ResultRowSink& sink) {
        bool goesOn = true;
        m_found->ForPairs([&](size_t first, size_t second, size_t which) {
            for (size_t i = 0; goesOn && i < m_found->lags.size(); ++i) {
                const std::vector<ResultValue> row{m_found->names[first], m_found->names[second],
                                                   m_found->lags[i], m_found->tilingsAtLags[which][i]};
                goesOn = sink(row);
            }
            return goesOn;
        });
        return goesOn;
    };
    return result;
}

// --- graph ---

std::optional<Graph> CEventCorrelIdx::GetGraph() {
    if (!m_found) return Graph{{GraphPane{"pairs"}}};
    Graph graph{{PairsPane()}};
    if (!m_found->lags.empty()) graph.panes.push_back(LagPane());
    return graph;
}

GraphPane CEventCorrelIdx::PairsPane() const {
    const bool isIndex = m_found->mode == correlationIndex;
    const size_t count = m_found->names.size();
    GraphPane pane{"pairs", isIndex ? "Correlation index" : "Spike time tiling coefficient"};
    pane.x.title = isIndex ? "other" : "channel";
    pane.y.title = isIndex ? "reference" : "channel";
    pane.x.names = pane.y.names = m_found->names;
    GraphLayer matrix{LayerKind::matrix, isIndex ? "index" : "STTC"};
    matrix.columns = count;
    matrix.x = matrix.y2 = {0.0, static_cast<double>(count)};
    matrix.y.assign(count * count, std::numeric_limits<double>::quiet_NaN());
    m_found->ForPairs([&](size_t first, size_t second, size_t which) {
        if (isIndex) {
            const CorrelationIndex& one = m_found->indices[which];
            if (one.state == CorrelationIndex::State::found) matrix.y[first * count + second] = one.index;
        } else {
            matrix.y[first * count + second] = matrix.y[second * count + first] = m_found->tilings[which];
        }
        return true;
    });
    pane.layers.push_back(std::move(matrix));
    return pane;
}

GraphPane CEventCorrelIdx::LagPane() const {
    GraphPane pane{"lags"};
    pane.x = {"lag of the second", "ms", false, std::pair(m_found->lags.front(), m_found->lags.back())};
    pane.y.title = "STTC";
    const bool areNamed = m_found->tilingsAtLags.size() <= mostNamedPairs;
    m_found->ForPairs([&](size_t first, size_t second, size_t which) {
        GraphLayer curve{LayerKind::curve, "", GraphColour(which)};
        if (areNamed) curve.name = m_found->names[first] + "-" + m_found->names[second];
        curve.isSilent = !areNamed;
        curve.x = m_found->lags;
        curve.y = m_found->tilingsAtLags[which];
        pane.layers.push_back(std::move(curve));
        return true;
    });
    pane.lines.push_back({true, 0.0, GraphColour(6), "", "", false});
    return pane;
}

}  // namespace kymora
