#include "sorting/sorter_sheet.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "document/file_identity.h"
#include "numerics/rounding.h"
#include "operations/save_text.h"

namespace kymora {

namespace {

constexpr const char* setFilter = "config (*.kymr-cfg)|*.kymr-cfg||";
constexpr const char* changedSourceText = "The recording has changed since the spikes were read. Read again.";
constexpr const char* notHereText = "ERROR: should not be here. Contact author.";

// Numbers as the lists of settings keep them.
double InList(double value) { return std::stod(fmt::format("{:g}", value)); }

}  // namespace

// --- what it works on ---

void CSorterSheet::CheckChangeDoc(CDataDoc* doc) {
    const bool isOther = doc != Document();
    CFindShapes::CheckChangeDoc(doc);
    if (!isOther || m_isPlain) return;
    m_session.Clear();
    m_readKey.clear();
    m_clusterKey.clear();
    m_page = sourcePage;
    m_isUnwritten = false;
    // They were of another sorting.
    ForgetHandWork();
    m_strSaveLibrary.clear();
    m_strSaveSet.clear();
    m_strLoadSet.clear();
}

bool CSorterSheet::HasHandWork() const {
    for (const std::string* list : {&m_strMerge, &m_strEdits, &m_strIgnore, &m_strMixed, &m_strErrThresholds,
                                    &m_strAnalysisWindows, &m_strUnassign, &m_strAssign})
        if (!list->empty()) return true;
    return m_bUnassignOutliers;
}

void CSorterSheet::ForgetHandWork() {
    for (std::string* list : {&m_strMerge, &m_strEdits, &m_strIgnore, &m_strMixed, &m_strErrThresholds,
                              &m_strAnalysisWindows, &m_strUnassign, &m_strAssign})
        list->clear();
    m_bUnassignOutliers = m_bAutoAssign = false;
}

bool CSorterSheet::MayForgetHandWork() {
    if (!m_session.Has(Step::clusters)) return true;
    if (HasHandWork() && !GetHost().Confirm(losesWorkText)) return false;
    return true;
}

// --- steps ---

std::string CSorterSheet::ReadKey() const {
    std::string key = fmt::format("{} {} {} {} {} {} {}", m_nChannel1, m_nSpikesToProcess, m_dWindowStart,
                                  m_dWindowEnd, m_nFrequencyMultiplier, m_bAlignPeaks, m_nPolarity);
    for (const int trace : Traces()) key += fmt::format(" {}", trace);
    return key;
}

std::string CSorterSheet::ClusterKey() const {
    return fmt::format("{} {} {}", m_dPcaStart, m_dPcaEnd, m_nDesiredClusters);
}

void CSorterSheet::Bring(Step to, const std::string& name) {
    if (const std::string fault = Validate(); !fault.empty()) throw JobRefused(fault);
    Task task = MakeTask();
    Here here(*this);
    try {
        const auto lines = m_session.Bring(
            to, name, {std::move(task.source), std::move(task.settings), Settings()}, *Document(), here);
        for (const std::string& line : lines) GetHost().Log(line);
    } catch (const Cancelled&) {
        throw JobRefused(userCancelledText);
    }
    m_readKey = ReadKey();
    m_clusterKey = m_session.Has(Step::clusters) ? ClusterKey() : std::string();
    m_isUnwritten = true;
    LoadPrimary();
}

void CSorterSheet::Edit(const std::string& name, Step to, const std::function<void()>& change) {
    const std::vector<std::byte> before = Settings();
    try {
        change();
        Bring(to, name);
    } catch (...) {
        TakeSettings(before);
        LoadPrimary();
        throw;
    }
}

void CSorterSheet::Read() {
    if (!MayForgetHandWork()) return;
    if (!AsksForMany(MakeTask().source.onsets.size())) return;
    Edit("Read", Step::read, [&] {
        if (m_session.Has(Step::clusters)) ForgetHandWork();
        m_strLoadSet.clear();
        // The cursors stand at the ends of the window, from where they are dragged.
        const ReadSettings reading = Reading();
        const double start = InList(reading.start * Document()->sampleInterval);
        const double end = InList((reading.start + reading.length) * Document()->sampleInterval);
        const auto place = [&](double& from, double& to) {
            const bool isWhole = from == 0.0 && to == 0.0;
            if (isWhole || from < start || to > end) std::tie(from, to) = std::tie(start, end);
        };
        place(m_dPcaStart, m_dPcaEnd);
        place(m_dAnalysisStart, m_dAnalysisEnd);
    });
}

// By a tenth of the window.
void CSorterSheet::Shift(int steps) {
    const double interval = Document()->sampleInterval;
    const int64_t samples = RoundHalfAway64((m_dWindowEnd - m_dWindowStart) / 10.0 / interval);
    const double by = static_cast<double>(steps * std::max<int64_t>(1, samples)) * interval;
    if (m_dWindowStart + by > 0.0 || m_dWindowEnd + by < 0.0)
        throw JobRefused("The display window takes in the onset of the event.");
    m_dWindowStart += by;
    m_dWindowEnd += by;
}

void CSorterSheet::Cluster() {
    if (!m_session.Has(Step::read)) throw JobRefused(notReadText);
    if (const std::string fault = ReadFault(); !fault.empty()) throw JobRefused(fault);
    if (!MayForgetHandWork()) return;
    Edit("Cluster", Step::clusters, [&] {
        if (m_session.Has(Step::clusters)) ForgetHandWork();
        m_strLoadSet.clear();
    });
}

void CSorterSheet::LoadSet() {
    if (!MayForgetHandWork()) return;
    const auto files = GetHost().ChooseOpenFiles({"Load template parameter set", setFilter, "kymr-cfg", {}});
    if (files.empty()) return;
    try {
        const SortingSet set = ReadSortingSet(Document()->GetSession(), files.front());
        Edit("Load set", Step::templates, [&] {
            ForgetHandWork();
            m_strLoadSet = files.front().string();
            TakeReading(set.reading);
            m_dMinimumClusterShare = 0.0;
            m_dPcaStart = m_dPcaEnd = m_dAnalysisStart = m_dAnalysisEnd = 0.0;
        });
    } catch (const ArchiveError& fault) {
        throw JobRefused(fault.what());
    }
    m_page = templatesPage;
}

// --- pages ---

void CSorterSheet::GoTo(int page) {
    if (page < 0 || page >= pageCount) throw JobRefused(notHereText);
    for (int before = m_page; before < page; ++before)
        if (const std::string fault = Params().PageFault(before); !fault.empty()) throw JobRefused(fault);
    if (page == templatesPage) Bring(Step::templates, {});
    if (page > templatesPage) Bring(Step::assigned, {});
    m_page = page;
    if (page == unassignPage && !m_session.EventsOf(m_session.view.primary).size())
        m_session.view.primary = FirstUnit();
    LoadPrimary();
}

int32_t CSorterSheet::FirstUnit() const {
    for (int32_t id = 1; m_session.Last().HasCluster(id); ++id)
        if (!m_session.EventsOf(id).empty()) return id;
    return 1;
}

bool CSorterSheet::Finish() {
    GetHost().Log(fmt::format("clicked Finish, active index = {}\n", m_page));
    if (m_page < assignPage) m_bAutoAssign = true;
    m_nStopAfter = static_cast<int32_t>(SortStep::all);
    if (m_session.Has(Step::read)) {
        Bring(Step::assigned, {});
        UseSorting(m_session.At(Step::assigned), m_session.Outliers());
    }
    if (!Run()) return false;
    m_isUnwritten = false;
    return true;
}

// --- the way back ---

void CSorterSheet::TakeRecord(const std::vector<std::byte>& record) {
    // The first state has none.
    if (!record.empty()) TakeSettings(record);
    m_readKey = m_session.Has(Step::read) ? ReadKey() : std::string();
    m_clusterKey = m_session.Has(Step::clusters) ? ClusterKey() : std::string();
    // What a later page shows is not there any more.
    const bool hasPage =
        m_page <= pcaPage ? m_page == sourcePage || m_session.Has(Step::read) : m_session.Has(Step::clusters);
    if (!hasPage) m_page = m_session.Has(Step::read) ? pcaPage : sourcePage;
    if (m_page >= templatesPage) Bring(m_page == templatesPage ? Step::templates : Step::assigned, {});
    LoadPrimary();
}

void CSorterSheet::Undo() {
    if (!m_session.UndoName().empty()) TakeRecord(m_session.Undo());
}

void CSorterSheet::Redo() {
    if (!m_session.RedoName().empty()) TakeRecord(m_session.Redo());
}

// --- clusters by hand ---

bool CSorterSheet::HasPrimary() const {
    return m_session.Has(Step::templates) && m_session.Last().HasCluster(m_session.view.primary);
}

const cCluster& CSorterSheet::Primary() const {
    return m_session.Last().Clusters()[static_cast<size_t>(m_session.view.primary) - 1];
}

void CSorterSheet::LoadPrimary() {
    m_session.HoldView();
    m_strCandidate = m_session.view.candidate.empty() ? "0" : [&] {
        std::string text = GivenText(std::vector{GivenSpike{1, m_session.view.candidate}});
        return text.substr(text.find(':') + 1);
    }();
    if (!HasPrimary()) return;
    const cCluster& cluster = Primary();
    const WaveShape& shape = m_session.Last().Waves().shape;
    const double valueMs = m_session.Last().SampleInterval() / shape.multiplier;
    m_fOwnThreshold = cluster.m_fErrThresh;
    m_dOwnStart = InList((cluster.m_iTmplStartRelDisp - shape.centre) * valueMs);
    m_dOwnEnd = InList((cluster.Window().End() - shape.centre) * valueMs);
    m_bOwnIgnore = cluster.m_bIgnore;
    m_bOwnMixed = cluster.m_bMixedTmpl;
}

// Merges that come behind an outline stand behind it in the list, too.
void CSorterSheet::Merge() {
    const int32_t into = m_session.view.primary, from = m_session.view.comparison;
    if (!HasPrimary() || !m_session.Last().HasCluster(from)) throw JobRefused(noComparisonText);
    if (into == from) throw JobRefused(sameTemplatesText);
    const cCluster& other = m_session.Last().Clusters()[static_cast<size_t>(from) - 1];
    if (other.m_iCount == 0 || Primary().m_iCount == 0) throw JobRefused(noComparisonText);
    if (!Primary().IsUnit() || !other.IsUnit()) throw JobRefused(flaggedMergeText);
    if (!m_strLoadSet.empty()) throw JobRefused("Templates of a loaded set have no spikes to merge.");
    Edit("Merge", Step::templates, [&] {
        std::string& list = m_strEdits.empty() ? m_strMerge : m_strEdits;
        list += fmt::format("{}{}+{}", list.empty() ? "" : " ", into, from);
        std::vector<GivenSpike> given = ReadGiven(m_strAssign);
        for (GivenSpike& spike : given) std::ranges::replace(spike.clusters, from, into);
        m_strAssign = GivenText(given);
    });
}

void CSorterSheet::SetFlags(bool isMixed, bool isIgnored) {
    if (!HasPrimary()) return;
    const int32_t primary = m_session.view.primary;
    Edit("Flag", Step::templates, [&] {
        // What is flagged by its share is named as well, so that one of them can be taken back.
        std::vector<int32_t> mixed, ignored;
        for (int32_t id = 1; m_session.Last().HasCluster(id); ++id) {
            const cCluster& cluster = m_session.Last().Clusters()[static_cast<size_t>(id) - 1];
            if (cluster.m_iCount == 0) continue;
            if (id == primary ? isMixed : cluster.m_bMixedTmpl) mixed.push_back(id);
            if (id == primary ? isIgnored : cluster.m_bIgnore) ignored.push_back(id);
        }
        m_dMinimumClusterShare = 0.0;
        m_strMixed = NumbersText(mixed);
        m_strIgnore = NumbersText(ignored);
    });
}

void CSorterSheet::SetOwnThreshold() {
    if (!HasPrimary()) return;
    const float threshold = m_fOwnThreshold;
    Edit("Threshold", Step::templates, [&] {
        std::vector<float> thresholds = ReadThresholds(m_strErrThresholds);
        thresholds.resize(std::max(thresholds.size(), static_cast<size_t>(m_session.view.primary)));
        thresholds[static_cast<size_t>(m_session.view.primary) - 1] = threshold;
        m_strErrThresholds = ThresholdsText(thresholds);
    });
}

void CSorterSheet::SetOwnWindow() {
    if (!HasPrimary()) return;
    const ClusterTimes own{m_session.view.primary, InList(m_dOwnStart), InList(m_dOwnEnd)};
    Edit("Analysis window", Step::templates, [&] {
        std::vector<ClusterTimes> times = ReadTimes(m_strAnalysisWindows);
        std::erase_if(times, [&](const ClusterTimes& item) { return item.cluster == own.cluster; });
        times.push_back(own);
        m_strAnalysisWindows = TimesText(times);
    });
}

void CSorterSheet::TakeOutline(std::string_view pane, const std::vector<WeightPoint>& outline) {
    if (outline.size() < 3) return;
    if (pane == "frequency") {
        // As it is drawn, over powers of ten.
        const auto drawn = [](const WeightPoint& at) { return WeightPoint{at.x, std::log10(at.y)}; };
        std::vector<WeightPoint> corners;
        for (const WeightPoint& corner : outline) corners.push_back(drawn(corner));
        const auto places = FrequencyPlaces(m_session, Look());
        auto& selected = m_session.view.selected;
        for (size_t i = 0; i < places.size(); ++i) {
            const WeightPoint place = drawn(places[i]);
            if (!IsEnclosed(corners, place.x, place.y)) continue;
            const UnitEvent& event = m_session.Events()[i + 1];
            // Points that are selected already are let go.
            if (std::erase_if(selected, [&](const UnitEvent& one) { return one.place == event.place; }) == 0)
                selected.push_back(event);
        }
        return;
    }
    if (!HasPrimary() || m_page != templatesPage) return;
    if (!m_strLoadSet.empty()) throw JobRefused("Templates of a loaded set have no spikes to split.");
    ClusterEdit edit;
    edit.cluster = m_nOutlineOf == 0 ? m_session.view.primary : 0;
    edit.across = static_cast<size_t>(m_session.view.across) - 1;
    edit.up = static_cast<size_t>(m_session.view.up) - 1;
    for (const WeightPoint& corner : outline) edit.outline.push_back({InList(corner.x), InList(corner.y)});
    const size_t taken = m_session.Last().Enclosed(edit.cluster, edit.across, edit.up, edit.outline).size();
    if (taken == 0) throw JobRefused("There are no spikes of the cluster within the outline.");
    if (edit.cluster > 0 && static_cast<int32_t>(taken) == Primary().m_iCount)
        throw JobRefused("The outline holds all spikes of the cluster: nothing would be left of it.");
    Edit(edit.cluster > 0 ? "Split" : "New cluster", Step::templates,
         [&] { m_strEdits += (m_strEdits.empty() ? "" : " ") + EditText(edit); });
    m_session.view.comparison = static_cast<int32_t>(m_session.Last().Clusters().size());
    LoadPrimary();
}

// --- spikes by hand ---

void CSorterSheet::AssignSpike() {
    const std::vector<size_t> spikes = m_session.Unassigned();
    if (spikes.empty()) throw JobRefused(allAssignedText);
    const auto match = m_session.Candidate();
    if (!match) throw JobRefused("The mixture library has no compound of these templates.");
    const auto spike = static_cast<int32_t>(spikes[static_cast<size_t>(m_session.view.unassigned) - 1]) + 1;
    Edit("Assign", Step::assigned, [&] {
        std::vector<TakenSpike> taken = ReadTaken(m_strUnassign);
        std::erase_if(taken, [&](const TakenSpike& item) { return item.spike == spike; });
        m_strUnassign = TakenText(taken);
        std::vector<GivenSpike> given = ReadGiven(m_strAssign);
        std::erase_if(given, [&](const GivenSpike& item) { return item.spike == spike; });
        given.push_back({spike, {}});
        for (int c = 0; c < match->entry.Components(); ++c)
            given.back().clusters.push_back(match->entry.ids[static_cast<size_t>(c)]);
        m_strAssign = GivenText(given);
    });
    // The next spike is another one.
    m_session.view.candidate.clear();
    LoadPrimary();
}

void CSorterSheet::AutoAssign() {
    Edit("Auto-assign", Step::assigned, [&] { m_bAutoAssign = true; });
}

void CSorterSheet::SelectOutliers() {
    if (!m_session.Has(Step::assigned)) return;
    m_session.view.selected = m_session.Outlying(m_dConfidence);
    if (m_session.view.selected.empty())
        throw JobRefused(fmt::format("Cluster {} has no outliers.", m_session.view.primary));
}

void CSorterSheet::SelectRank() {
    const std::vector<UnitEvent> ranked = m_session.RankedEvents();
    const auto rank = static_cast<size_t>(m_session.view.rank) - 1;
    if (rank >= ranked.size()) return;
    auto& selected = m_session.view.selected;
    const int64_t place = ranked[rank].place;
    if (std::erase_if(selected, [&](const UnitEvent& one) { return one.place == place; }) == 0)
        selected.push_back(ranked[rank]);
}

// Of a compound only the event in this cluster.
void CSorterSheet::UnassignSelected() {
    const std::vector<UnitEvent> selected = m_session.view.selected;
    if (selected.empty()) throw JobRefused("Select the spikes first: by dragging round them, or by rank.");
    const int32_t cluster = m_session.view.primary;
    const std::vector<UnitEvent> events = m_session.Events();
    Edit("Unassign", Step::assigned, [&] {
        std::vector<TakenSpike> taken = ReadTaken(m_strUnassign);
        std::vector<GivenSpike> given = ReadGiven(m_strAssign);
        for (const UnitEvent& event : selected) {
            const auto spike = static_cast<int32_t>(event.spike) + 1;
            const bool isCompound = m_session.Last().Types()[event.spike].id == decomposedType;
            taken.push_back({spike, isCompound ? cluster : 0});
            if (!isCompound)
                std::erase_if(given, [&](const GivenSpike& item) { return item.spike == spike; });
        }
        m_strUnassign = TakenText(taken);
        m_strAssign = GivenText(given);
    });
    for (const UnitEvent& event : selected) {
        const auto at = std::ranges::lower_bound(events, event.place, {}, &UnitEvent::place);
        GetHost().Log(fmt::format("removing spk rel id {} abs id {} from cluster {}\n",
                                  at - events.begin() + 1, event.spike + 1, cluster));
    }
}

// --- files ---

void CSorterSheet::CheckName(const std::filesystem::path& path) const {
    if (IsSameFile(Document()->GetSession().files, path, Document()->filePath))
        throw JobRefused(recordingItselfText);
}

void CSorterSheet::SaveLibrary() {
    if (!m_session.Has(Step::library)) throw JobRefused("There is no mixture library yet.");
    const auto path =
        GetHost().ChooseSaveFile({"Save mixture library", "Text (*.txt)|*.txt||", "txt", "library.txt"});
    if (!path) return;
    CheckName(*path);
    SaveLibraryTo(*path, m_session.At(Step::library).Library());
}

void CSorterSheet::SaveSet() {
    if (!m_session.Has(Step::templates)) throw JobRefused("There are no templates yet.");
    const auto path =
        GetHost().ChooseSaveFile({saveSortingSetTitle, setFilter, "kymr-cfg", "SpikeSort.kymr-cfg"});
    if (!path) return;
    CheckName(*path);
    WriteSortingSet(Document()->GetSession(),
                    {m_session.Settings().reading, Document()->sampleInterval,
                     static_cast<int32_t>(Traces().size()), m_session.At(Step::templates).Clusters()},
                    *path);
}

}  // namespace kymora
