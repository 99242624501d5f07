#pragma once
// The spike sorter step by step: the parameters of CFindShapes on five pages, with what the user does by hand
// between them. All of it becomes settings, so that "Finish" writes what the terminal would with them.

#include "sorting/find_shapes.h"
#include "sorting/sorter_graphs.h"

namespace kymora {

inline constexpr const char* quickInstructionsText = "Press F1 for Quick Instructions";
inline constexpr const char* noClustersYetText = "You have not got any clusters yet. Click Cluster.";
inline constexpr const char* readAgainText =
    "The settings have changed since the spikes were read. Read again.";
inline constexpr const char* clusterAgainText =
    "The settings have changed since the clusters were found. Click Cluster again.";
inline constexpr const char* losesWorkText = "The clusters will have other numbers. What was merged, split, "
                                             "flagged, set and assigned by hand is lost, "
                                             "but for Undo. Continue?";
inline constexpr const char* leaveSorterText =
    "The sorting has not been written. It is lost when the sorter is closed. Close it?";
inline constexpr const char* allAssignedText = "All events have been assigned. Finish or Cancel";
inline constexpr const char* userCancelledText = "User cancelled.";

class CSorterSheet : public CFindShapes {
  public:
    enum Page { sourcePage, pcaPage, templatesPage, assignPage, unassignPage, pageCount };

    void CheckChangeDoc(CDataDoc* doc) override;
    void WriteResult(const TextSink& sink) override;
    std::optional<Graph> GetGraph() override;

    // All parameters as they stand, without anything to be done by hand: for settings that are asked for.
    void SetPlain() { m_isPlain = true; }
    bool IsPlain() const { return m_isPlain; }

    // --- pages ---
    int CurrentPage() const { return m_page; }
    // Computes what the page shows. Throws JobRefused in words for the user; the page stays then.
    void GoTo(int page);
    std::string Prompt() const;
    std::string QuickInstructions() const;
    // Does what is missing, and writes. False where it was refused or cancelled; the user was told.
    bool Finish();
    // There is something that closing would lose.
    bool HasUnwritten() const { return m_isUnwritten; }

    // --- by hand; all throw JobRefused ---
    void TakeOutline(std::string_view pane, const std::vector<WeightPoint>& outline);
    void Undo();
    void Redo();
    const SorterSession& Session() const { return m_session; }

  protected:
    void Describe(ParamList& list) override;

  private:
    using Step = SorterSession::Step;

    // sorter_sheet_pages.cpp
    void DescribeSourcePage(ParamList& list);
    void DescribePcaPage(ParamList& list);
    void DescribeTemplatesPage(ParamList& list);
    void DescribeCluster(ParamList& list);
    void DescribeAssignPage(ParamList& list);
    void DescribeUnassignPage(ParamList& list);
    void DescribeKeys(ParamList& list);
    void DescribeComponents(ParamList& list, const char* across, const char* up);
    std::string ReadNote() const;
    std::string ClusterNote() const;
    std::string CountNote() const;
    std::string DifferenceNote() const;
    std::string RefractoryNote() const;
    std::string AssignNote() const;
    std::string UnassignNote() const;
    std::string ReadFault() const;
    std::string ClusterFault() const;
    void WriteClusters(const TextSink& sink) const;
    void WriteCandidates(const TextSink& sink) const;
    void WriteRanks(const TextSink& sink) const;

    // The settings on which reading depends, as a text; the same for what clusters depend on.
    std::string ReadKey() const;
    std::string ClusterKey() const;
    SorterLook Look() const;
    const cCluster& Primary() const;
    bool HasPrimary() const;
    void LoadPrimary();
    int32_t ClusterCount() const;

    void Bring(Step to, const std::string& name);
    // Changes settings and computes anew; where that is refused, all is as it was.
    void Edit(const std::string& name, Step to, const std::function<void()>& change);
    bool HasHandWork() const;
    void ForgetHandWork();
    // False where the user wants to keep what was done by hand.
    bool MayForgetHandWork();
    void TakeRecord(const std::vector<std::byte>& record);

    void Read();
    void Shift(int steps);
    void Cluster();
    void LoadSet();
    void Merge();
    void SetFlags(bool isMixed, bool isIgnored);
    void SetOwnThreshold();
    void SetOwnWindow();
    void AssignSpike();
    void AutoAssign();
    void SelectOutliers();
    void SelectRank();
    void UnassignSelected();
    void CheckName(const std::filesystem::path& path) const;
    int32_t FirstUnit() const;
    void SaveLibrary();
    void SaveSet();

    SorterSession m_session;
    int m_page = sourcePage;
    bool m_isPlain = false, m_isUnwritten = false;
    std::string m_readKey, m_clusterKey;
    // What the fields of the primary cluster show.
    float m_fOwnThreshold = 0.0f;
    double m_dOwnStart = 0.0, m_dOwnEnd = 0.0;  // ms
    bool m_bOwnIgnore = false, m_bOwnMixed = false;
    int32_t m_nOutlineOf = 0;  // of the primary cluster, or of all
    bool m_bShowTrend = true;
    std::string m_strCandidate = "0", m_strOutline;
};

}  // namespace kymora
