#pragma once
// "Cluster events": clusters of events by any of their parameters, by a mixture of Gaussians whose number of
// classes is searched, or by an outside program.

#include "eventanalysis/event_parameters.h"
#include "sorting/clustered_events.h"
#include "sorting/outside_clusters.h"

namespace kymora {

class CClusterCtrl : public CClusteredEventsDlg {
  public:
    CClusterCtrl() : CClusteredEventsDlg(usesChannel2 | usesTrace) {}
    const char* ClassName() const override { return "CClusterCtrl"; }
    const char* Title() const override { return "Cluster events"; }
    const char* ActionLabel() const override { return "Cluster"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;

    std::string m_strParameters = "PC1 wt, PC2 wt, PC3 wt";
    bool m_bOutside = false;
    // Empty: that of the options. No record of settings holds it: a file from elsewhere must not run
    // programs.
    std::string m_strCommand;

  protected:
    void Describe(ParamList& list) override;
    bool ReadsParentTrace() const override { return true; }
    bool ReadsTrace() const override;
    std::string CheckSettings() override;
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;
    std::vector<GraphAxis> Columns() const override;

  private:
    class Job;
    bool HasParameter(bool (*test)(EvParam)) const;
    void ChooseParameters();
    void TakeRows(Job& job);
    bool StartOutside(Job& job);
};

// The parameters of a list of names or positions, parted by commas or semicolons. Throws
// std::invalid_argument, whose words name what is none or has no values for single events.
std::vector<EvParam> ParseEvParams(std::string_view text);

}  // namespace kymora
