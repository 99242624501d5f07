#pragma once
// "Import sorting": the clusters that a tool for manual curation has left in a folder, a channel each.

#include "operations/event_base_dlg.h"
#include "sorting/curation_files.h"

namespace kymora {

class CImportSorting : public CEventBaseDlg {
  public:
    CImportSorting();
    const char* ClassName() const override { return "CImportSorting"; }
    const char* Title() const override { return "Import sorting"; }
    const char* ActionLabel() const override { return "Import"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    std::vector<Result> Results() override;
    std::string RunSummary() const override;

    std::string m_strFolder;
    bool m_bWithNoise = false;
    double m_dDuration = 1.0;  // ms, of an event

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    void ForgetFound() override { m_imported.clear(); }
    bool Analyse(UndoScope& undo) override;

  private:
    struct Cluster {
        int64_t id = 0;
        std::string group;
        std::vector<CEventKM> events;
    };
    void ChooseFolder();
    std::vector<Cluster> ClustersOf(const CuratedSpikes& spikes) const;
    bool MayWrite(const std::vector<Cluster>& clusters);
    void WriteCluster(int channel, const Cluster& cluster, UndoScope& undo);

    struct Imported {
        int64_t id = 0;
        std::string group;
        int64_t events = 0;
        int channel = 0;
    };
    std::vector<Imported> m_imported;
};

}  // namespace kymora
