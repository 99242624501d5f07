#pragma once
// "Cluster Traces by Principle Components": whole traces as items. The samples of a stretch are the row of
// each trace; traces of like courses come into one cluster. Nothing of the recording is changed.

#include "operations/event_base_dlg.h"
#include "sorting/cluster_run.h"
#include "sorting/component_views.h"

namespace kymora {

inline constexpr const char* fewValuesText = "You need at least 10 values to cluster.";
inline constexpr const char* fewTracesText =
    "You need at least as many traces as your requested number of PCs.";
inline constexpr size_t leastItems = 10;

class CClusterTraces : public CEventWndBaseDlg {
  public:
    CClusterTraces() : CEventWndBaseDlg(0) {}
    const char* ClassName() const override { return "CClusterTraces"; }
    const char* Title() const override { return "Cluster Traces by Principle Components"; }
    const char* ActionLabel() const override { return "Cluster"; }
    Affects WhatItAffects() const override { return Affects::nothing; }

    void CheckChangeDoc(CDataDoc* doc) override;
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    std::vector<Result> Results() override;
    std::optional<Graph> GetGraph() override;
    bool HasResultText() const override { return true; }
    // The report of the clusters, and the weights of each trace.
    void WriteResult(const TextSink& sink) override;

    std::vector<int> m_traces;  // from 0; none: all
    int32_t m_nComponents = 3;
    ClusterSettings m_clusters;
    int32_t m_nGraphX = 1, m_nGraphY = 2;  // the components that the graph shows, from 1

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    void ForgetFound() override { m_found.reset(); }
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;

  private:
    class Job;
    struct Found {
        std::vector<int> traces, ids;
        std::vector<double> weights, variances;
        double totalVariance = 0.0;
        size_t samples = 0, components = 0;
        GaussianClusters clusters;
    };
    std::vector<int> Traces() const;

    std::optional<Found> m_found;
};

// Principal components of rows of any length, of which only the products are kept: their weights, each
// component's largest one (the first of equals) positive, and the variances (n - 1) of all rows. `products`
// is size x size: sums over the columns of the products of two rows, less the means of the columns.
struct RowWeights {
    std::vector<double> weights;    // size x components
    std::vector<double> variances;  // of the components
    double totalVariance = 0.0;
};
RowWeights WeightsOfProducts(std::span<const double> products, size_t size, size_t components);

}  // namespace kymora
