// The parameters of the spike sorter.

#include <fmt/format.h>

#include <cmath>

#include "host/user_numbers.h"
#include "numerics/rounding.h"
#include "sorting/find_shapes.h"
#include "templates/raised_trace.h"
#include "templates/template_wave.h"

namespace kymora {

namespace {

constexpr double mostWindowMs = 1e5;
constexpr int32_t fewestWindowSamples = 6;
constexpr int32_t mostWindowSamples = 1 << 20;
constexpr const char* shortSpikeWindowText = "The display window holds fewer than 6 samples: make it longer.";
constexpr const char* longWindowText =
    "The display window holds more than 1,048,576 values: make it shorter.";
constexpr const char* outsideText = "The {} window does not lie within the display window.";

}  // namespace

// --- the window ---

void CFindShapes::Describe(ParamList& list) {
    list.Page("Source");
    DescribeSource(list);
    list.Find("channel1")->Tip("Source event channel for spikes");
    list.Traces("traces", "Traces", m_traces)
        .Tip("Traces whose waveforms stand side by side, for electrodes that see the same units; none: the "
             "parent trace alone");
    DescribeReading(list);
    list.Page("Clusters");
    DescribeClusters(list);
    list.Page("Templates");
    DescribeTemplates(list);
    list.Page("Assign");
    DescribeAssignment(list);
    DescribeUnits(list);
    list.Page("Output");
    DescribeOutput(list);
}

void CFindShapes::DescribeReading(ParamList& list) {
    list.Group("Waveforms");
    list.Number("windowStart", "Window start", m_dWindowStart)
        .Unit("ms")
        .Limits(-mostWindowMs, 0)
        .Tip("Start of the display window, from the onset of the event");
    list.Number("windowEnd", "Window end", m_dWindowEnd)
        .Unit("ms")
        .Limits(0, mostWindowMs)
        .Tip("End of the display window, from the onset of the event");
    list.Integer("spikesToProcess", "Spikes to process", m_nSpikesToProcess)
        .Limits(-1, std::numeric_limits<int32_t>::max())
        .Tip("Set/show number of spikes to process. -1 means process all.");
    list.Integer("frequencyMultiplier", "Frequency multiplier", m_nFrequencyMultiplier)
        .Limits(1, greatestRaise)
        .Tip("Frequency multiplier for optimal alignment.");
    list.Flag("alignPeaks", "Align on peaks", m_bAlignPeaks)
        .Tip("Align destination events on peaks within source events.");
    list.Choice("polarity", "Polarity", m_nPolarity, {"up", "down", "either"})
        .Tip("Which peaks spikes have: above the mean of the noise, below it, or whatever lies furthest from "
             "it in the window");
}

void CFindShapes::DescribeClusters(ParamList& list) {
    list.Group("Clusters");
    list.Text("loadSet", "Load set", m_strLoadSet)
        .Tip("Load template parameter set from kymr-cfg file, skip clustering");
    list.Number("pcaStart", "PCA start", m_dPcaStart)
        .Unit("ms")
        .Limits(-mostWindowMs, mostWindowMs)
        .Tip("Start of the segment of which the principal components are computed, from the alignment point; "
             "start and end 0: the whole window");
    list.Number("pcaEnd", "PCA end", m_dPcaEnd)
        .Unit("ms")
        .Limits(-mostWindowMs, mostWindowMs)
        .Tip("End of that segment");
    list.Integer("desiredClusters", "Clusters", m_nDesiredClusters)
        .Limits(0, 1000)
        .Tip("How many clusters to look for. 0 means auto search.");
}

void CFindShapes::DescribeTemplates(ParamList& list) {
    list.Group("Templates");
    list.Text("merge", "Merge", m_strMerge)
        .Tip("Clusters that are merged into one, which keeps the first number: 1+3 2+4");
    list.Text("edits", "Edits", m_strEdits)
        .Tip("What was done to clusters in the window after that, in its order: 1+3 merges, and "
             "2@1,2:0.5,1;2,1;1,3 takes out of cluster 2 what lies in the outline of these corners among "
             "components 1 and 2, as a new cluster");
    list.Text("ignore", "Ignore", m_strIgnore).Tip("Clusters that are left out of sorting");
    list.Text("mixed", "Mixed", m_strMixed).Tip("Clusters that are compounds of others, and not units");
    list.Number("minimumClusterShare", "Minimum share", m_dMinimumClusterShare)
        .Unit("%")
        .Limits(0, 100)
        .Tip("Clusters with a smaller share of the spikes count as mixed");
    list.Number("analysisStart", "Analysis start", m_dAnalysisStart)
        .Unit("ms")
        .Limits(-mostWindowMs, mostWindowMs)
        .Tip("Start of the analysis window, from the alignment point; start and end 0: the whole window");
    list.Number("analysisEnd", "Analysis end", m_dAnalysisEnd)
        .Unit("ms")
        .Limits(-mostWindowMs, mostWindowMs)
        .Tip("End of the analysis window");
    list.Text("analysisWindows", "Windows", m_strAnalysisWindows)
        .Tip("Analysis windows of single clusters: 2:-0.4:0.6 is that of cluster 2, in ms from the alignment "
             "point");
    list.Number("errThresh", "Error threshold", m_fErrThresh)
        .Limits(0, mostFloat)
        .Tip("Variance ratio up to which a waveform is a template's own; 0: median + 3 robust s.d. of the "
             "ratios of each cluster's own spikes");
    list.Text("errThresholds", "Thresholds", m_strErrThresholds)
        .Tip("Thresholds of single clusters in their order, such as 2.5 0 3; 0 leaves one as it is");
}

void CFindShapes::DescribeAssignment(ParamList& list) {
    list.Group("Mixture library");
    list.Integer("maxComponents", "Components", m_nMaxComponents)
        .Limits(2, mostMixed)
        .Spin()
        .Tip("Compound spikes in library can contain up to 3 components. 2: Compound spikes in library "
             "restricted to 2 components (use if memory restricted).");
    list.Flag("autoAssign", "Auto-assign", m_bAutoAssign)
        .Tip("Look up in the library what meets no template alone");
    list.Number("multiplier", "Threshold multiplier", m_dMultiplier)
        .Limits(0, 1e6)
        .Step(0.1)
        .Tip("Set the threshold multiplier for auot-assignment.");
    list.Number("mergeWithin", "Merge within", m_dMergeWithin)
        .Unit("ms")
        .Limits(0, mostWindowMs)
        .Tip("Of events of one unit that lie so close together the one that fits better stays");
    list.Group("Frequency");
    list.Flag("autoAssignFrequency", "Test frequency", m_bAutoAssignFrequency)
        .Tip("Auto-assign waveforms to templates IF error is less than thresh*mult, AND resulting "
             "frequencies are within outlier windows.");
    list.Number("confidence", "Confidence", m_dConfidence)
        .Unit("MAD")
        .Limits(0, 1e6)
        .Tip("Set the confidence limits (*MAD) for the LOWESS trendline. These define the unassign outlier "
             "threshold: frequencies above this level can be Selected for unassigning.");
    list.Flag("unassignOutliers", "Unassign outliers", m_bUnassignOutliers)
        .Tip("Take out the worse of two events of a unit that follow each other too fast");
    list.Text("unassign", "Unassign", m_strUnassign)
        .Tip("Numbers of spikes that are to belong to no unit, or not to one: 12 17:2");
    list.Text("assign", "Assign", m_strAssign)
        .Tip("Spikes that are taken for units whatever their error: 12:3 17:1+2; 0 means best fit");
}

void CFindShapes::DescribeUnits(ParamList& list) {
    list.Group("Units");
    list.Number("refractory", "Refractory time", m_dRefractory)
        .Unit("ms")
        .Limits(0, mostWindowMs)
        .Step(0.1)
        .Tip("Two spikes of one neuron do not follow each other faster: shorter intervals of a unit are "
             "counted as violations");
    list.Integer("proposal", "Merge proposal", m_nProposal)
        .Limits(1, std::numeric_limits<int32_t>::max())
        .Spin()
        .Tip("The pair of units whose cross-correlogram the graph shows: 1 is the most alike, and the last "
             "one where there are fewer");
}

void CFindShapes::DescribeOutput(ParamList& list) {
    DescribeDestination(list);
    list.Find("destination")
        ->Tip("Destination event channel for sorted spikes: of the first unit; those of the others follow");
    list.Flag("writeUnassigned", "Write unassigned", m_bWriteUnassigned)
        .Tip("Write the spikes of no unit into the channel behind those of the units");
    list.Text("saveLibrary", "Save library", m_strSaveLibrary)
        .Tip("Save the template mixture library to file.");
    list.Text("saveSet", "Save set", m_strSaveSet)
        .Tip("Save windows, thresholds, flags and templates to a kymr-cfg file");
    list.Text("exportFolder", "Export folder", m_strExportFolder)
        .Tip("Save the sorting as the text and NumPy files that tools for manual curation read, in this "
             "folder; their clusters come back by Import sorting");
    list.Choice("stopAfter", "Stop after", m_nStopAfter, {"all", "read", "cluster", "templates"})
        .Tip("The last step that is done; only after all of them are channels written");
}

// --- what they say ---

ReadSettings CFindShapes::Reading() const {
    const double interval = Document()->sampleInterval;
    ReadSettings reading;
    reading.traces = Traces();
    reading.start = std::max(RoundHalfAway(m_dWindowStart / interval), -mostWindowSamples);
    reading.length = std::min(RoundHalfAway(m_dWindowEnd / interval), mostWindowSamples) - reading.start;
    reading.multiplier = m_nFrequencyMultiplier;
    reading.alignPeaks = m_bAlignPeaks;
    reading.polarity = static_cast<Polarity>(m_nPolarity);
    return reading;
}

WaveSegment CFindShapes::SegmentOf(const ReadSettings& reading, double start, double end) const {
    const WaveShape shape = reading.Shape();
    if (start == 0.0 && end == 0.0) return shape.Whole();
    const double valueMs = Document()->sampleInterval / shape.multiplier;
    const int64_t first = shape.centre + RoundHalfAway64(start / valueMs);
    const int64_t last = shape.centre + RoundHalfAway64(end / valueMs);
    if (first < 0 || last > shape.count || last - first < 2) return {0, 0};
    return {static_cast<int32_t>(first), static_cast<int32_t>(last - first)};
}

std::string CFindShapes::WindowFault() const {
    if (!IsRaise(m_nFrequencyMultiplier)) return raiseFaultText;
    const ReadSettings reading = Reading();
    if (reading.length < fewestWindowSamples || reading.start <= -reading.length) return shortSpikeWindowText;
    if (int64_t{reading.length} * reading.multiplier * std::ssize(reading.traces) > mostWindowSamples)
        return longWindowText;
    if (SegmentOf(reading, m_dPcaStart, m_dPcaEnd).count == 0) return fmt::format(outsideText, "PCA");
    if (SegmentOf(reading, m_dAnalysisStart, m_dAnalysisEnd).count == 0)
        return fmt::format(outsideText, "analysis");
    return {};
}

SortSettings CFindShapes::Sorting() const {
    SortSettings settings;
    settings.reading = Reading();
    settings.components = SegmentOf(settings.reading, m_dPcaStart, m_dPcaEnd);
    settings.desiredClusters = m_nDesiredClusters;
    settings.analysis = SegmentOf(settings.reading, m_dAnalysisStart, m_dAnalysisEnd);
    settings.threshold = m_fErrThresh;
    settings.thresholds = ReadThresholds(m_strErrThresholds);
    for (const ClusterTimes& own : ReadTimes(m_strAnalysisWindows)) {
        settings.windows.push_back({own.cluster, SegmentOf(settings.reading, own.start, own.end)});
        if (settings.windows.back().window.count == 0) throw JobRefused(fmt::format(outsideText, "analysis"));
    }
    settings.ignored = ReadNumbers(m_strIgnore, "clusters");
    settings.mixed = ReadNumbers(m_strMixed, "clusters");
    settings.merged = ReadGroups(m_strMerge);
    settings.edits = ReadEdits(m_strEdits);
    // What was merged may be flagged afterwards; what is flagged goes into no other.
    const auto isFlagged = [&](int32_t id) {
        return std::ranges::count(settings.ignored, id) + std::ranges::count(settings.mixed, id) > 0;
    };
    for (const std::vector<int32_t>& group : settings.merged)
        if (std::any_of(group.begin() + 1, group.end(), isFlagged)) throw JobRefused(flaggedMergeText);
    settings.minimumShare = m_dMinimumClusterShare;
    settings.maxComponents = m_nMaxComponents;
    settings.assign = {m_dMultiplier, m_dMergeWithin, m_bAutoAssignFrequency, m_dConfidence};
    settings.autoAssign = m_bAutoAssign;
    settings.unassignOutliers = m_bUnassignOutliers;
    settings.unassigned = ReadTaken(m_strUnassign);
    settings.assigned = ReadGiven(m_strAssign);
    settings.stopAfter = static_cast<SortStep>(m_nStopAfter);
    return settings;
}

void CFindShapes::GetParamText(std::string& text) {
    CEventBaseDlg::GetParamText(text);
    text += "Traces:";
    for (const int trace : Traces()) text += fmt::format(" {}", trace + 1);
    text += fmt::format("\r\nDisplay window: {:f} to {:f} ms\r\nFrequency multiplier: {}\r\n", m_dWindowStart,
                        m_dWindowEnd, m_nFrequencyMultiplier);
    static constexpr const char* polarities[] = {"up", "down", "either"};
    text += m_bAlignPeaks
                ? fmt::format("Aligned on peaks: {}\r\n", polarities[static_cast<size_t>(m_nPolarity)])
                : "Not aligned on peaks\r\n";
    text += m_strLoadSet.empty() ? fmt::format("Desired clusters: {}\r\n", m_nDesiredClusters)
                                 : fmt::format("Template parameter set: {}\r\n", m_strLoadSet);
    const auto name = [&](const char* what, const std::string& list) {
        if (!list.empty()) text += fmt::format("{}: {}\r\n", what, list);
    };
    if (m_dPcaStart != 0.0 || m_dPcaEnd != 0.0)
        text += fmt::format("PCA window: {:f} to {:f} ms\r\n", m_dPcaStart, m_dPcaEnd);
    if (m_dAnalysisStart != 0.0 || m_dAnalysisEnd != 0.0)
        text += fmt::format("Analysis window: {:f} to {:f} ms\r\n", m_dAnalysisStart, m_dAnalysisEnd);
    if (m_fErrThresh > 0.0f) text += fmt::format("Error threshold: {:f}\r\n", m_fErrThresh);
    name("Error thresholds", m_strErrThresholds);
    name("Merged", m_strMerge);
    name("Edits", m_strEdits);
    name("Analysis windows", m_strAnalysisWindows);
    name("Ignored", m_strIgnore);
    name("Mixed", m_strMixed);
    if (m_dMinimumClusterShare > 0.0)
        text += fmt::format("Minimum cluster share: {:f} %\r\n", m_dMinimumClusterShare);
    text +=
        fmt::format("Components in library: {}\r\nThreshold multiplier: {:f}\r\nMerge within: {:f} ms\r\n",
                    m_nMaxComponents, m_dMultiplier, m_dMergeWithin);
    if (m_bAutoAssignFrequency) text += "Frequencies tested\r\n";
    if (!m_bAutoAssign) text += "No auto-assignment\r\n";
    if (m_bUnassignOutliers) text += "Outliers unassigned\r\n";
    name("Unassigned", m_strUnassign);
    name("Assigned", m_strAssign);
    if (m_bAutoAssignFrequency || m_bUnassignOutliers)
        text += fmt::format("Confidence limits (*MAD): {:f}\r\n", m_dConfidence);
}

}  // namespace kymora
