// What the pages of the spike sorter ask, say and show.

#include <fmt/format.h>

#include <algorithm>

#include "host/user_numbers.h"
#include "sorting/sorter_sheet.h"

namespace kymora {

namespace {

constexpr const char* pageTitles[] = {"Source", "PCA", "Select templates", "Assign", "Unassign"};
constexpr const char* prompts[] = {
    "Set parameters; Read.", "Set limits for PCA by dragging cursors; Cluster.",
    "Define spike template parameters by dragging limit cursors and setting error threshold.",
    "Assign the spikes that meet no template alone.", "Take back what does not belong to a unit; Finish."};
constexpr const char* instructions[] = {
    "1. Choose the channel of candidate spikes, the trace, and the window around each spike.\n"
    "2. Choose an empty destination: each unit gets a channel from there on.\n"
    "3. Read. The waveforms are shown over each other with their mean.\n"
    "4. Next.\n",
    "1. Drag the two cursors in the waveforms to where spikes differ.\n"
    "2. Set the number of clusters, or 0 for an automatic search, and click Cluster.\n"
    "   Or load a set of templates from another recording.\n"
    "3. Look at any two components. Next.\n",
    "1. Go through the clusters with Primary. The same one as Comparison shows its autocorrelogram.\n"
    "2. Merge two clusters that are one unit: the comparison goes into the primary.\n"
    "3. Split: drag round points of the primary cluster among the components.\n"
    "4. Flag a cluster as Mixed if it is a compound of others, as Ignore to leave it out.\n"
    "5. Drag the cursors of the analysis window and the line of the error threshold.\n"
    "6. Next builds the library of compounds and allocates what meets one template.\n",
    "1. Auto-assign looks up all other spikes in the library.\n"
    "2. Go through what is left with Waveform, and see it over its best fit or the templates that you "
    "name.\n"
    "3. Assign takes the spike for what is shown.\n"
    "4. Next.\n",
    "1. Go through the units. Frequencies above the dashed line are outliers.\n"
    "2. Drag round points to select them, or select by rank, the worst fit first.\n"
    "3. Unassign takes the selected events back.\n"
    "4. Finish writes a channel for each unit.\n"};
constexpr const char* keysText =
    "\nAlt with the underlined letter presses a button; Tab goes from field to field, and the arrows go "
    "through "
    "their numbers. Ctrl+Z takes a step back, Ctrl+Y does it again. In a graph, Tab goes to its lines and "
    "the "
    "arrows move them; S drags round points, Z zooms to a rectangle, M moves what is seen.\n";
constexpr double percent = 100.0;
constexpr int noPage = -1;
constexpr size_t mostListed = 200;

void Hide(ParamList& list, std::initializer_list<std::string_view> keys) {
    std::erase_if(list.fields, [&](const Field& field) { return std::ranges::count(keys, field.key) > 0; });
}

}  // namespace

std::string CSorterSheet::Prompt() const {
    if (m_page >= assignPage && m_session.Has(Step::assigned) && m_session.Unassigned().empty())
        return allAssignedText;
    return prompts[m_page];
}

std::string CSorterSheet::QuickInstructions() const { return std::string(instructions[m_page]) + keysText; }

SorterLook CSorterSheet::Look() const {
    SorterLook look;
    look.units = TraceUnits(Traces().front());
    look.startMs = Document()->TimeOf(0);
    look.channel = m_nChannel1;
    look.refractoryMs = m_dRefractory;
    look.confidence = m_dConfidence;
    look.showsTrend = m_bShowTrend;
    look.componentStart = m_dPcaStart;
    look.componentEnd = m_dPcaEnd;
    look.analysisStart = m_dOwnStart;
    look.analysisEnd = m_dOwnEnd;
    return look;
}

std::optional<Graph> CSorterSheet::GetGraph() {
    if (m_isPlain) return std::nullopt;
    if (!Document()) return Graph{};
    switch (m_page) {
    case sourcePage:
        return WaveformGraph(m_session, Look(), false);
    case pcaPage:
        return WaveformGraph(m_session, Look(), true);
    case templatesPage:
        return TemplateGraph(m_session, Look());
    case assignPage:
        return AssignGraph(m_session, Look());
    default:
        return UnassignGraph(m_session, Look());
    }
}

// --- what they ask ---

void CSorterSheet::Describe(ParamList& list) {
    if (m_isPlain) return CFindShapes::Describe(list);
    list.Page(pageTitles[sourcePage], [this] { return ReadFault(); });
    DescribeSourcePage(list);
    list.Page(pageTitles[pcaPage], [this] { return ClusterFault(); });
    DescribePcaPage(list);
    list.Page(pageTitles[templatesPage]);
    DescribeTemplatesPage(list);
    list.Page(pageTitles[assignPage]);
    DescribeAssignPage(list);
    list.Page(pageTitles[unassignPage]);
    DescribeUnassignPage(list);
    DescribeKeys(list);
    Hide(list, {"loadSet", "merge", "edits", "ignore", "mixed", "errThresholds", "analysisWindows",
                "unassign", "assign", "autoAssign", "saveLibrary", "saveSet", "stopAfter"});
}

void CSorterSheet::DescribeSourcePage(ParamList& list) {
    DescribeSource(list);
    list.Find("channel1")->Tip("Source event channel for spikes");
    list.Traces("traces", "Traces", m_traces)
        .Tip("Traces whose waveforms stand side by side, for electrodes that see the same units; none: the "
             "parent trace alone");
    DescribeReading(list);
    list.Action("shiftEarlier", "&Earlier", [this] { Shift(-1); }).Tip("Shift display region earlier");
    list.Action("shiftLater", "La&ter", [this] { Shift(1); }).Tip("Shift display region later");
    list.Action("read", "&Read", [this] { Read(); }).Tip("Read the waveforms of the spikes, and align them");
    list.Note("readNote", "", [this] { return ReadNote(); });
    DescribeDestination(list);
    list.Find("destination")
        ->Tip("Destination event channel for sorted spikes: of the first unit; those of the others follow");
}

void CSorterSheet::DescribeComponents(ParamList& list, const char* across, const char* up) {
    list.Integer(across, "Across", m_session.view.across)
        .Limits(1, weightCount)
        .Spin()
        .Tip("Principal component along the horizontal axis");
    list.Integer(up, "Up", m_session.view.up)
        .Limits(1, weightCount)
        .Spin()
        .Tip("Principal component along the vertical axis");
}

void CSorterSheet::DescribePcaPage(ParamList& list) {
    DescribeClusters(list);
    list.Action("cluster", "&Cluster", [this] { Cluster(); }).Tip("Start cluster analysis").EnabledIf([this] {
        return m_session.Has(Step::read);
    });
    list.Action("loadSetFile", "Load s&et...", [this] { LoadSet(); })
        .Tip("Load template parameter set from kymr-cfg file, skip clustering");
    list.Note("clusterNote", "", [this] { return ClusterNote(); });
    list.Group("Components");
    DescribeComponents(list, "across", "up");
}

// --- templates ---

void CSorterSheet::DescribeTemplatesPage(ParamList& list) {
    DescribeCluster(list);
    DescribeTemplates(list);
    for (const char* key : {"minimumClusterShare", "analysisStart", "analysisEnd", "errThresh"})
        list.Find(key)->OnChange([this] {
            if (m_session.Has(Step::clusters)) Edit("Change of settings", Step::templates, [] {});
        });
    list.Group("Components");
    DescribeComponents(list, "splitAcross", "splitUp");
    list.Choice("outlineOf", "Drag round", m_nOutlineOf, {"primary cluster", "all clusters"})
        .Tip("Whose points an outline among the components takes out as a new cluster");
    list.Text("outline", "Outline", m_strOutline)
        .Tip("The corners of an outline among the components, for those who do not drag: 0.5,1;2,1;1,3");
    list.Action("splitCluster", "S&plit",
                [this] { TakeOutline("components", ReadEdits("0@1,1:" + m_strOutline).front().outline); })
        .Tip("Take what lies within the outline out of the cluster, as a new one")
        .EnabledIf([this] { return HasPrimary() && !m_strOutline.empty(); });
    DescribeUnits(list);
    Hide(list, {"proposal"});
}

// As many as fields may name; before there are any, they keep what they begin with.
int32_t CSorterSheet::ClusterCount() const {
    const size_t count = m_session.Has(Step::clusters) ? m_session.Last().Clusters().size() : 0;
    return count == 0 ? SorterView().comparison : static_cast<int32_t>(count);
}

void CSorterSheet::DescribeCluster(ParamList& list) {
    const auto hasPrimary = [this] { return HasPrimary(); };
    const int32_t clusters = ClusterCount();
    list.Group("Cluster");
    list.Integer("primary", "Primary", m_session.view.primary)
        .Limits(1, clusters)
        .Spin()
        .Tip("The cluster that is looked at and changed")
        .OnChange([this] { LoadPrimary(); });
    list.Integer("comparison", "Comparison", m_session.view.comparison)
        .Limits(1, clusters)
        .Spin()
        .Tip("The cluster with which it is compared; the same one: its autocorrelogram")
        .OnChange([this] { LoadPrimary(); });
    list.Note("counts", "Spikes", [this] { return CountNote(); })
        .Tip("Shows the number of waveforms originally identified within the cluster. Shows the number of "
             "waveforms that best meet the error threshold of the current template.");
    list.Note("unfitted", "No template",
              [this] {
                  return m_session.Has(Step::templates) ? std::to_string(m_session.WithoutTemplate()) : "";
              })
        .Tip("Total number of spikes not fitting any template");
    list.Note("difference", "Difference", [this] { return DifferenceNote(); })
        .Tip("Relative difference between primary cluster template and comparative cluster template (small "
             "means similar)");
    list.Note("violations", "Refractory", [this] { return RefractoryNote(); })
        .Tip("Intervals of the primary cluster that are shorter than the refractory time. Candidates within "
             "\"Merge within\" of each other count as one spike");
    list.Number("ownThreshold", "Threshold", m_fOwnThreshold)
        .Limits(0, mostFloat)
        .Tip("Error threshold of the primary cluster. The distribution of the error of all the spikes "
             "relative "
             "to this template.")
        .EnabledIf(hasPrimary)
        .OnChange([this] { SetOwnThreshold(); });
    list.Number("ownStart", "Window start", m_dOwnStart)
        .Unit("ms")
        .Tip("Start of the analysis window of the primary cluster, from the alignment point")
        .EnabledIf(hasPrimary)
        .OnChange([this] { SetOwnWindow(); });
    list.Number("ownEnd", "Window end", m_dOwnEnd)
        .Unit("ms")
        .Tip("End of the analysis window of the primary cluster")
        .EnabledIf(hasPrimary)
        .OnChange([this] { SetOwnWindow(); });
    list.Flag("ownIgnore", "&Ignore", m_bOwnIgnore)
        .Tip("Leave the primary cluster out of sorting")
        .EnabledIf(hasPrimary)
        .OnChange([this] { SetFlags(m_bOwnMixed, m_bOwnIgnore); });
    list.Flag("ownMixed", "Mi&xed", m_bOwnMixed)
        .Tip("The primary cluster is a compound of others, and not a unit")
        .EnabledIf(hasPrimary)
        .OnChange([this] { SetFlags(m_bOwnMixed, m_bOwnIgnore); });
    list.Action("mergeClusters", "&Merge", [this] { Merge(); })
        .Tip("Merge the comparison cluster into the primary one")
        .EnabledIf(hasPrimary);
}

// --- spikes ---

void CSorterSheet::DescribeAssignPage(ParamList& list) {
    list.Group("Unassigned spike");
    const auto count = static_cast<int32_t>(m_session.Unassigned().size());
    list.Integer("unassigned", "Waveform", m_session.view.unassigned)
        .Limits(1, std::max(1, count))
        .Spin()
        .Tip("Select the unassigned waveform to examine for possible allocation.")
        .Shows([count] { return fmt::format("of {}", count); });
    list.Text("candidate", "Template", m_strCandidate)
        .Tip("Select the template to which the unassigned waveform might be allocated. 0 means best fit. 1+2 "
             "is "
             "a compound.")
        .OnChange([this] {
            std::vector<int32_t> ids;
            const auto given = ReadGiven("1:" + m_strCandidate);
            if (!given.empty()) ids = given.front().clusters;
            for (const int32_t id : ids)
                if (!m_session.Last().HasCluster(id))
                    throw JobRefused(fmt::format("There is no cluster {}.", id));
            m_session.view.candidate = ids;
        });
    list.Action("assignSpike", "&Assign", [this] { AssignSpike(); })
        .Tip("Assign the waveform to the template(s) selected in the list.");
    DescribeAssignment(list);
    Hide(list, {"confidence", "unassignOutliers"});
    list.Action("autoAssignAll", "A&uto-assign", [this] { AutoAssign(); })
        .Tip("Auto-assign waveforms to templates IF error is less than thresh*mult");
    list.Note("assignNote", "", [this] { return AssignNote(); });
}

void CSorterSheet::DescribeUnassignPage(ParamList& list) {
    const int32_t clusters = ClusterCount();
    list.Group("Unit");
    list.Integer("unit", "Unit", m_session.view.primary)
        .Limits(1, clusters)
        .Spin()
        .Tip("The unit that is looked at")
        .OnChange([this] {
            m_session.view.selected.clear();
            LoadPrimary();
        });
    const auto events = static_cast<int32_t>(m_session.Events().size());
    list.Integer("rank", "Rank", m_session.view.rank)
        .Limits(1, std::max(1, events))
        .Spin()
        .Tip("Select/show the waveform within the template which has this rank in the fit order (worst "
             "lowest).")
        .Shows([events] { return fmt::format("of {}", events); });
    list.Note("unassignNote", "", [this] { return UnassignNote(); });
    list.Action("selectOutliers", "Select &outliers", [this] { SelectOutliers(); })
        .Tip("Select the events that follow others too fast");
    list.Action("selectRank", "Select &rank", [this] { SelectRank(); })
        .Tip("Select the waveform of this rank, OR unselect it");
    list.Action("unassignSelected", "&Unassign", [this] { UnassignSelected(); })
        .Tip("Take the selected events back. Select points in the frequency graph by dragging round them OR "
             "unselect selected points.");
    list.Group("Frequency");
    list.Flag("showTrend", "Show tren&d", m_bShowTrend)
        .Tip("Show a robust trendline fit to the frequency graph.");
    list.Number("confidence", "Confidence", m_dConfidence)
        .Unit("MAD")
        .Limits(0, 1e6)
        .Tip("Set the confidence limits (*MAD) for the LOWESS trendline. These define the unassign outlier "
             "threshold: frequencies above this level can be Selected for unassigning.");
    list.Flag("unassignOutliers", "Unassign outliers of &all units", m_bUnassignOutliers)
        .Tip("Take out the worse of two events of a unit that follow each other too fast")
        .OnChange([this] {
            if (m_session.Has(Step::assigned)) Edit("Unassign outliers", Step::assigned, [] {});
        });
    list.Group("Output");
    list.Flag("writeUnassigned", "&Write unassigned", m_bWriteUnassigned)
        .Tip("Write the spikes of no unit into the channel behind those of the units");
    list.Text("exportFolder", "Export folder", m_strExportFolder)
        .Tip("Save the sorting as the text and NumPy files that tools for manual curation read, in this "
             "folder; their clusters come back by Import sorting");
    list.Action("saveLibraryFile", "Save li&brary...", [this] { SaveLibrary(); })
        .Tip("Save the template mixture library to file.");
    list.Action("saveSetFile", "Save s&et...", [this] { SaveSet(); })
        .Tip("Save windows, thresholds, flags and templates to a kymr-cfg file");
}

// Of the buttons that stand on no page.
void CSorterSheet::DescribeKeys(ParamList& list) {
    const auto add = [&](const char* key, std::function<void()> does) {
        list.Action(key, key, std::move(does)).With(&Field::page, noPage);
    };
    add("undo", [this] { Undo(); });
    add("redo", [this] { Redo(); });
    add("back", [this] { GoTo(std::max(0, m_page - 1)); });
    add("next", [this] { GoTo(m_page + 1); });
}

// --- what they say ---

std::string CSorterSheet::ReadFault() const {
    if (!m_session.Has(Step::read)) return notReadText;
    return m_readKey == ReadKey() ? std::string() : readAgainText;
}

std::string CSorterSheet::ClusterFault() const {
    if (std::string fault = ReadFault(); !fault.empty()) return fault;
    if (!m_strLoadSet.empty()) return {};
    if (!m_session.Has(Step::clusters)) return noClustersYetText;
    return m_clusterKey == ClusterKey() ? std::string() : clusterAgainText;
}

std::string CSorterSheet::ReadNote() const {
    if (!m_session.Has(Step::read)) return {};
    const SpikeWaves& waves = m_session.At(Step::read).Waves();
    std::string text = fmt::format("{} read", EventsText(static_cast<int64_t>(waves.Used())));
    if (waves.Used() < waves.Count()) text += fmt::format(", {} refused", waves.Count() - waves.Used());
    for (const SpikeNoise& noise : waves.noise)
        text += fmt::format("; noise {:.4g} ± {:.4g}", noise.mean, noise.Sd());
    return text;
}

std::string CSorterSheet::ClusterNote() const {
    if (!m_strLoadSet.empty()) return fmt::format("Templates of {}", m_strLoadSet);
    if (!m_session.Has(Step::clusters)) return {};
    std::string text;
    for (const cCluster& cluster : m_session.At(Step::clusters).Clusters())
        text += fmt::format("{}{}", text.empty() ? "Clusters of " : ", ", cluster.m_iCount);
    return text + " spikes";
}

std::string CSorterSheet::CountNote() const {
    if (!HasPrimary()) return {};
    const int32_t count = Primary().m_iCount;
    const auto used = static_cast<double>(std::max<size_t>(1, m_session.Last().Waves().Used()));
    return fmt::format("{} {:.1f}%-> {}", count, percent * count / used,
                       m_session.At(Step::templates).Fitted(m_session.view.primary));
}

std::string CSorterSheet::DifferenceNote() const {
    if (!HasPrimary() || !m_session.Last().HasCluster(m_session.view.comparison)) return {};
    const cCluster& other = m_session.Last().Clusters()[static_cast<size_t>(m_session.view.comparison) - 1];
    if (Primary().m_iCount == 0 || other.m_iCount == 0) return "merged away";
    return fmt::format("{:.4g}", RelativeDifference(Primary(), other, m_session.Last().Waves().shape));
}

std::string CSorterSheet::RefractoryNote() const {
    if (!HasPrimary()) return {};
    const RefractoryCount count = m_session.Refractory(m_session.view.primary, m_dRefractory);
    if (count.intervals == 0) return "no intervals";
    // In one line, so that what stands below keeps its place.
    return fmt::format("{} of {} ({:.1f} %)", count.violations, count.intervals,
                       percent * static_cast<double>(count.violations) /
                           static_cast<double>(count.intervals));
}

std::string CSorterSheet::AssignNote() const {
    if (!m_session.Has(Step::assigned)) return {};
    const SortCounts counts = CountSpikes(m_session.At(Step::assigned));
    const int64_t refused = counts.spikes - counts.used;
    return fmt::format("{} pure, {} decomposed, {} unassigned", counts.pure, counts.decomposed,
                       counts.unassigned - refused) +
           (refused > 0 ? fmt::format(", {} refused", refused) : std::string());
}

std::string CSorterSheet::UnassignNote() const {
    if (!m_session.Has(Step::assigned)) return {};
    return fmt::format("{}, {} selected", EventsText(std::ssize(m_session.Events())),
                       m_session.view.selected.size());
}

// --- the list beside them ---

void CSorterSheet::WriteResult(const TextSink& sink) {
    if (m_isPlain) return CFindShapes::WriteResult(sink);
    if (m_page == templatesPage && m_session.Has(Step::templates)) return WriteClusters(sink);
    if (m_page == assignPage) return WriteCandidates(sink);
    if (m_page == unassignPage) return WriteRanks(sink);
}

void CSorterSheet::WriteClusters(const TextSink& sink) const {
    if (!sink("cluster\tcount\tfitted\tthreshold\tviolations\tflags\r\n")) return;
    const SpikeSorting& sorting = m_session.Last();
    for (int32_t id = 1; sorting.HasCluster(id); ++id) {
        const cCluster& cluster = sorting.Clusters()[static_cast<size_t>(id) - 1];
        if (cluster.m_iCount == 0) continue;
        const RefractoryCount count = m_session.Refractory(id, m_dRefractory);
        if (!sink(fmt::format("{}\t{}\t{}\t{:.3f}\t{}\t{}{}\r\n", id, cluster.m_iCount, sorting.Fitted(id),
                              cluster.m_fErrThresh, count.violations, cluster.m_bIgnore ? "Ignore " : "",
                              cluster.m_bMixedTmpl ? "Mixed" : "")))
            return;
    }
}

void CSorterSheet::WriteCandidates(const TextSink& sink) const {
    const std::vector<size_t> spikes = m_session.Unassigned();
    const auto rank = static_cast<size_t>(m_session.view.unassigned) - 1;
    if (rank >= spikes.size()) {
        if (m_session.Has(Step::assigned)) sink(std::string(allAssignedText) + "\r\n");
        return;
    }
    if (!sink("template\tvariance ratio\tthreshold\r\n")) return;
    const SpikeSorting& sorting = m_session.At(Step::assigned);
    for (const MixtureLibraries::Match& match : sorting.Matches(spikes[rank])) {
        SortedSpike type;
        type.id = match.entry.Components() == 1 ? match.entry.ids[0] : decomposedType;
        type.entry = match.entry;
        double threshold = std::numeric_limits<double>::infinity();
        for (int c = 0; c < match.entry.Components(); ++c)
            threshold = std::min<double>(
                threshold,
                sorting.Clusters()[static_cast<size_t>(match.entry.ids[static_cast<size_t>(c)]) - 1]
                    .m_fErrThresh);
        if (!sink(fmt::format("{}\t{:.3f}\t{:.3f}\r\n", type.Text(), match.ratio, threshold))) return;
    }
}

void CSorterSheet::WriteRanks(const TextSink& sink) const {
    if (!m_session.Has(Step::assigned)) return;
    if (!sink("rank\t#ID\ttime (ms)\tvariance ratio\ttype\r\n")) return;
    const SpikeSorting& sorting = m_session.At(Step::assigned);
    const std::vector<UnitEvent> ranked = m_session.RankedEvents();
    for (size_t i = 0; i < std::min(ranked.size(), mostListed); ++i) {
        const double time = Document()->TimeOf(sorting.SampleAt(ranked[i].place, ranked[i].spike));
        if (!sink(fmt::format("{}\t{}\t{:.3f}\t{:.3f}\t{}\r\n", i + 1, ranked[i].spike + 1, time,
                              ranked[i].ratio, sorting.Types()[ranked[i].spike].Text())))
            return;
    }
    if (ranked.size() > mostListed) sink(fmt::format("... and {} more\r\n", ranked.size() - mostListed));
}

}  // namespace kymora
