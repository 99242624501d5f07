#pragma once
// The spike sorter: splits a channel of candidate spikes into a channel for each neuron. Clusters of the
// waveforms make templates; what meets none of them alone is looked up in a library of all the compounds that
// they make when they overlap.

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "operations/event_base_dlg.h"
#include "sorting/merge_proposals.h"
#include "sorting/sort_run.h"
#include "sorting/unit_quality.h"

namespace kymora {

inline constexpr const char* fewSpikesText =
    "I doubt that the wizard will work successfully with fewer than 20 spikes.";
// Takes the number of spikes.
inline constexpr const char* manySpikesText =
    "This will process {} spikes, which might take a while. Are all settings correct to continue?";
inline constexpr const char* sortedChannelText =
    "The selected channel appears to be sorted already. OK to overwrite existing events?";
inline constexpr const char* overwriteEventsText =
    "You will overwrite an event channel that already contains events. Continue?";
inline constexpr const char* noEmptyChannelsText =
    "You do not have any empty event channels in which to store results.";
inline constexpr const char* sourceInRangeText =
    "The source channel lies among the channels that the units are written to. OK to overwrite its events?";
// Takes the folder.
inline constexpr const char* overwriteFolderText = "{} holds a sorting already. OK to overwrite it?";

// Of channelFlag: the channel holds what the sorter made.
inline constexpr int32_t sortedChannelFlag = 1;

class CFindShapes : public CEventBaseDlg {
  public:
    CFindShapes();
    const char* ClassName() const override { return "CFindShapes"; }
    const char* Title() const override { return "Spike sorter"; }
    const char* ActionLabel() const override { return "Finish"; }

    void Serialize(CArchive& archive) override;
    void GetParamText(std::string& text) override;
    Affects WhatItAffects() const override { return m_nStopAfter == 0 ? Affects::events : Affects::nothing; }
    std::string SeveralFilesFault() const override;
    void CheckChangeDoc(CDataDoc* doc) override;
    std::string RunSummary() const override;
    std::vector<Result> Results() override;
    bool HasResultText() const override { return true; }
    void WriteResult(const TextSink& sink) override;
    std::optional<Graph> GetGraph() override;

    std::vector<int> m_traces;            // from 0, side by side in one row; none: the parent trace alone
    double m_dWindowStart, m_dWindowEnd;  // ms from the onset
    int32_t m_nSpikesToProcess = -1;
    int32_t m_nFrequencyMultiplier = 1;
    bool m_bAlignPeaks = true;
    int32_t m_nPolarity = 0;                    // Polarity
    double m_dPcaStart = 0.0, m_dPcaEnd = 0.0;  // ms; both 0: the whole window
    int32_t m_nDesiredClusters = 0;
    double m_dAnalysisStart = 0.0, m_dAnalysisEnd = 0.0;  // the same
    float m_fErrThresh = 0.0f;
    std::string m_strErrThresholds, m_strIgnore, m_strMixed, m_strMerge;
    std::string m_strEdits, m_strAnalysisWindows;  // sort_lists.h
    double m_dMinimumClusterShare = 0.0;           // percent
    int32_t m_nMaxComponents = 2;
    double m_dMultiplier;
    double m_dMergeWithin = 0.3;  // ms
    bool m_bAutoAssignFrequency = false;
    double m_dConfidence = 3.0;  // MADs
    bool m_bAutoAssign = true;
    bool m_bUnassignOutliers = false;
    std::string m_strUnassign, m_strAssign;
    bool m_bWriteUnassigned = false;
    std::string m_strSaveLibrary, m_strSaveSet, m_strLoadSet, m_strExportFolder;
    int32_t m_nStopAfter = 0;    // SortStep
    double m_dRefractory = 2.0;  // ms
    int32_t m_nProposal = 1;     // the pair whose correlogram the graph shows, the most alike being 1

  protected:
    void Describe(ParamList& list) override;
    std::string CheckSettings() override;
    bool ReadsParentTrace() const override { return true; }
    bool ReadsTrace() const override { return m_traces.empty(); }
    // The source may lie among the channels that are written; that is asked when their number is known.
    bool MayWriteSource() const override { return true; }
    void ForgetFound() override { m_done.reset(); }
    std::unique_ptr<OperationJob> MakeJob() override;
    bool Write(OperationJob& job, UndoScope& undo) override;
    void AppendReport(std::string& text, const EventJob& job) override;
    bool FinishFound(CEventChan& chan, const EventJob& job, size_t which) override;
    std::vector<std::byte> RerunSettings(const OperationJob& job) override;

    // The settings; find_shapes_fields.cpp.
    void DescribeReading(ParamList& list);
    void DescribeClusters(ParamList& list);
    void DescribeTemplates(ParamList& list);
    void DescribeAssignment(ParamList& list);
    void DescribeUnits(ParamList& list);
    void DescribeOutput(ParamList& list);
    std::vector<int> Traces() const { return m_traces.empty() ? std::vector<int>{m_nTrace} : m_traces; }
    ReadSettings Reading() const;
    // Of the display window, between two times; all of it where both are 0.
    WaveSegment SegmentOf(const ReadSettings& reading, double start, double end) const;
    // Throws JobRefused for lists that are none.
    SortSettings Sorting() const;
    std::string WindowFault() const;
    // What is sorted, as the settings say: the set is read. Asks nothing. Throws JobRefused.
    struct Task {
        SpikeSource source;
        SortSettings settings;
    };
    Task MakeTask() const;
    // The next run writes this sorting, which its settings would make, instead of making it.
    void UseSorting(SpikeSorting sorting, int64_t outliers) { m_byHand = {std::move(sorting), outliers}; }
    // The settings of a set that is loaded are told as its own.
    void TakeReading(const ReadSettings& reading);
    bool AsksForMany(size_t spikes);
    // Throws FileError and Cancelled.
    void SaveLibraryTo(const std::filesystem::path& path, const MixtureLibraries& library);
    std::string TraceUnits(int trace) const;

  private:
    struct Job;

    // What it shows; find_shapes_results.cpp.
    Result SortingResult() const;
    Result ClusterResult() const;
    Result TemplateResult() const;
    Result LibraryResult() const;
    Result SpikeResult() const;
    Result SimilarityResult() const;
    double TimeOfPlace(int64_t place, size_t spike) const;
    GraphPane TemplatePane() const;
    GraphPane ErrorPane() const;
    bool HasTemplates() const { return !m_done->sorting.Fits().empty(); }

    std::string FilesFault() const;
    std::string SetFault() const;
    bool MayReplaceFiles();
    bool MayWrite(const Job& job);
    void AddUnits(Job& job) const;
    bool MayExport();
    void WriteFiles(const Job& job);
    void WriteLabels(const Job& job);

    struct Done {
        SpikeSorting sorting;
        ReadSettings reading;
        int64_t outliers = 0;
        std::vector<UnitQuality> units;
        std::vector<MergeProposal> merges;
    };
    std::optional<Done> m_done;  // by the last run
    std::optional<std::pair<SpikeSorting, int64_t>> m_byHand;
};

}  // namespace kymora
