#pragma once
// The frame of the operations that cluster events: the destination gets a copy of the events, each with its
// cluster from 1 as its value (0: none) and the cluster's colour, and with the weights on principal
// components that the events have.

#include <array>

#include "eventanalysis/event_anal_rgn_base.h"
#include "sorting/cluster_run.h"
#include "sorting/component_views.h"

namespace kymora {

// A job that gives each event of `found.front()` a class.
class ClusterJob : public EventJob {
  public:
    ClusterSettings settings;
    std::vector<int32_t> indices;  // of the events in their channel
    std::vector<double> onsets;    // ms
    std::vector<double> rows;      // numbers of each event, row by row; those of none are not-a-numbers
    size_t columns = 0;
    std::vector<std::array<float, 3>> extra;
    GaussianClusters clusters;
    std::vector<std::string> words;  // that a run which goes on has to tell

    // Clustering takes as long as reading so many, about.
    int64_t Samples() const override { return std::ssize(indices) * int64_t{settings.initial} * 50; }
    void Compute(SampleReader&, JobContext& context) override {
        clusters = RunClusters(rows, columns, settings, context);
        words = ClusterWords(clusters, settings);
    }
};

class CClusteredEventsDlg : public CEventAnalRgnBase {
  public:
    explicit CClusteredEventsDlg(unsigned uses);

    void CheckChangeDoc(CDataDoc* doc) override;
    std::vector<Result> Results() override;
    std::optional<Graph> GetGraph() override;
    bool HasResultText() const override { return true; }
    void WriteResult(const TextSink& sink) override;
    std::string RunSummary() const override;

    ClusterSettings m_clusters;
    int32_t m_nGraphX = 1, m_nGraphY = 2;  // the columns that the graph shows, from 1

  protected:
    void DescribeClusters(ParamList& list);
    void DescribeGraph(ParamList& list);
    void ForgetFound() override { m_found.reset(); }
    void OnEventChanChanged(int channel) override;
    // The names of the columns as the settings stand.
    virtual std::vector<GraphAxis> Columns() const = 0;
    // Takes the events of the block into the job.
    void TakeEvents(ClusterJob& job);
    bool Write(OperationJob& job, UndoScope& undo) override;
    bool FinishFound(CEventChan& chan, const EventJob& job, size_t which) override;
    void AppendReport(std::string& text, const EventJob& job) override;

    struct Found {
        std::vector<GraphAxis> columns;
        std::vector<double> rows;
        std::vector<int> ids;
        std::vector<int32_t> indices;
        std::vector<double> onsets;
        std::vector<GaussianClass> classes;
    };
    const std::optional<Found>& LastFound() const { return m_found; }
    Result EventTable() const;

  private:
    std::optional<Found> m_found;
};

}  // namespace kymora
