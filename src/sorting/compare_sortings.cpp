#include "sorting/compare_sortings.h"

#include <fmt/format.h>

#include <algorithm>

#include "host/user_numbers.h"

namespace kymora {

namespace {

constexpr uint32_t compareVersion = 1;
constexpr const char* noTruthText = "Name the channels of the known spikes and those of the sorted ones.";
constexpr const char* inBothText = "Event channel {} is among the known and the sorted ones.";

}  // namespace

void CCompareSortings::Serialize(CArchive& archive) {
    CBatchBaseDlg::Serialize(archive);
    ExchangeVersion(archive, compareVersion, ClassName());
    Exchange(archive, m_truth);
    Exchange(archive, m_sorted);
    Exchange(archive, m_dTolerance);
}

void CCompareSortings::Describe(ParamList& list) {
    list.Group("Sortings");
    list.Channels("truth", "Known spikes", m_truth).Tip("Event channels of the known units, one for each");
    list.Channels("sorted", "Sorted spikes", m_sorted).Tip("Event channels of the sorted units");
    list.Number("tolerance", "Tolerance", m_dTolerance)
        .Unit("ms")
        .Limits(0, 1e6)
        .Step(0.1)
        .Tip("A sorted spike is a known one where their onsets are no farther apart");
}

void CCompareSortings::GetParamText(std::string& text) {
    text += fmt::format("Known: {}\r\nSorted: {}\r\nTolerance: {:f} ms\r\n", ListText(m_truth, ChannelName),
                        ListText(m_sorted, ChannelName), m_dTolerance);
}

void CCompareSortings::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) ForgetFound();
    CBatchBaseDlg::CheckChangeDoc(doc);
}

std::string CCompareSortings::CheckSettings() {
    if (m_truth.empty() || m_sorted.empty()) return noTruthText;
    for (const int channel : m_truth)
        if (std::ranges::count(m_sorted, channel) > 0) return fmt::format(inBothText, ChannelName(channel));
    return {};
}

struct CCompareSortings::Job : OperationJob {
    std::vector<std::vector<int64_t>> truth, sorted;
    int64_t tolerance = 0;
    SortingScores scores;

    void Compute(SampleReader&, JobContext& context) override {
        ProgressScope progress(context, "Comparing", truth.size() * sorted.size());
        scores = ScoreSorting(truth, sorted, tolerance, [&] { progress.Step(1); });
    }
};

std::unique_ptr<OperationJob> CCompareSortings::MakeJob() {
    const CDataDoc& doc = *Document();
    auto job = std::make_unique<Job>();
    const auto take = [&](const std::vector<int>& channels, std::vector<std::vector<int64_t>>& trains) {
        for (const int channel : channels) {
            std::vector<int64_t>& train = trains.emplace_back();
            for (const CEventKM& event : doc.eventChannels[static_cast<size_t>(channel)].Events())
                train.push_back(event.onPosition);
            std::ranges::sort(train);
            job->reads.push_back(channel);
        }
    };
    take(m_truth, job->truth);
    take(m_sorted, job->sorted);
    // Onsets are whole samples: a tolerance between two of them is the smaller one.
    job->tolerance = static_cast<int64_t>(m_dTolerance / doc.sampleInterval + 1e-9);
    return job;
}

bool CCompareSortings::Write(OperationJob& job, UndoScope&) {
    m_found = {m_truth, m_sorted, std::move(static_cast<Job&>(job).scores)};
    return true;
}

void CCompareSortings::WriteResult(const TextSink& sink) {
    if (!m_found) return;
    const SortingScores& scores = m_found->scores;
    if (!sink("known\tsorted\tmatched\trecall\tprecision\tF1\r\n")) return;
    for (size_t i = 0; i < scores.pairs.size(); ++i)
        for (size_t k = 0; k < scores.pairs[i].size(); ++k) {
            const PairScore& pair = scores.pairs[i][k];
            if (!sink(fmt::format("{}\t{}\t{}\t{:.4f}\t{:.4f}\t{:.4f}\r\n", ChannelName(m_found->truth[i]),
                                  ChannelName(m_found->sorted[k]), pair.matched, pair.recall, pair.precision,
                                  pair.f1)))
                return;
        }
    sink(fmt::format("Mean F1 of the known units:\t{:.4f}\r\n", scores.MeanF1()));
}

std::vector<Result> CCompareSortings::Results() {
    if (!m_found) return {};
    const SortingScores& scores = m_found->scores;
    Result pairs{
        "pairs",
        {{"mean F1", scores.MeanF1()}},
        {{"truth", {}}, {"sorted", {}}, {"matched", {}}, {"recall", {}}, {"precision", {}}, {"F1", {}}},
        {}};
    Result units{
        "units", {}, {{"truth", {}}, {"spikes", {}}, {"missed", {}}, {"sorted", {}}, {"F1", {}}}, {}};
    Result sorted{"sorted", {}, {{"sorted", {}}, {"spikes", {}}, {"without a known spike", {}}}, {}};
    std::vector<std::vector<ResultValue>> pairRows, unitRows, sortedRows;
    for (size_t i = 0; i < scores.pairs.size(); ++i) {
        const std::string truth = ChannelName(m_found->truth[i]);
        for (size_t k = 0; k < scores.pairs[i].size(); ++k) {
            const PairScore& pair = scores.pairs[i][k];
            pairRows.push_back(
                {truth, ChannelName(m_found->sorted[k]), pair.matched, pair.recall, pair.precision, pair.f1});
        }
        const int partner = scores.partners[i];
        unitRows.push_back({truth, scores.truthCounts[i], scores.missed[i], {}, {}});
        if (partner < 0) continue;
        unitRows.back()[3] = ChannelName(m_found->sorted[static_cast<size_t>(partner)]);
        unitRows.back()[4] = scores.pairs[i][static_cast<size_t>(partner)].f1;
    }
    for (size_t k = 0; k < scores.sortedCounts.size(); ++k)
        sortedRows.push_back({ChannelName(m_found->sorted[k]), scores.sortedCounts[k], scores.nowhere[k]});
    pairs.SetRows(std::move(pairRows));
    units.SetRows(std::move(unitRows));
    sorted.SetRows(std::move(sortedRows));
    return {std::move(pairs), std::move(units), std::move(sorted)};
}

}  // namespace kymora
