#pragma once
// "Principal Component Analysis and Clustering (optional multi-trace)": the waveforms of one or several
// traces around each event, end to end, as one row; their components, and the clusters of the weights.

#include "sorting/clustered_events.h"
#include "sorting/waveform_rows.h"

namespace kymora {

inline constexpr const char* fewEventsForPcsText =
    "You need at least as many events as your requested number of PCs.";
inline constexpr size_t mostVarianceEvents = 400;

class CNTrodePCA : public CClusteredEventsDlg {
  public:
    CNTrodePCA() : CClusteredEventsDlg(0) { m_strDescription = "PCA clusters"; }
    const char* ClassName() const override { return "CNTrodePCA"; }
    const char* Title() const override {
        return "Principal Component Analysis and Clustering (optional multi-trace)";
    }

    void CheckChangeDoc(CDataDoc* doc) override;
    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    std::vector<Result> Results() override;
    std::optional<Graph> GetGraph() override;
    // The report of the components, that of the clusters, and the weights of each event.
    void WriteResult(const TextSink& sink) override;

    std::vector<int> m_traces;                         // from 0; none: the trace of the channel
    double m_dWindowStart = -0.5, m_dWindowEnd = 1.0;  // ms, from the onset
    int32_t m_nComponents = 3;
    bool m_bShowVariance = true;

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    void ForgetFound() override;
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;
    std::vector<GraphAxis> Columns() const override { return WeightAxes(static_cast<size_t>(m_nComponents)); }

  private:
    class Job;
    struct Components {
        PrincipalComponents found;     // of all events
        PrincipalComponents variance;  // of the first ones; none unless it is wished
        WindowTimes times;
        size_t events = 0;
    };
    std::vector<int> Traces() const;
    std::string VarianceReport() const;
    void WriteExport(const TextSink& sink) const;
    void Export();

    std::optional<Components> m_components;
};

}  // namespace kymora
