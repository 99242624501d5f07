#include "sorting/find_shapes.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "document/file_identity.h"
#include "document/native_writer.h"
#include "document/trace_stretches.h"
#include "document/undo.h"
#include "host/user_numbers.h"
#include "operations/save_text.h"
#include "results/archive_output.h"
#include "rhythms/event_group_dlg.h"
#include "sorting/curation_files.h"

namespace kymora {

namespace {

constexpr uint32_t findShapesVersion = 3;
constexpr int32_t fewSpikes = 20;
constexpr int64_t manySpikes = 50000;
constexpr const char* rangePastEndText =
    "The {} channels of the units do not fit behind event channel {}. Choose an earlier destination.";
constexpr const char* oneFileText =
    "The library, the set and the folder are those of one recording: sort several without saving them.";
constexpr const char* noLibraryText = "There is no mixture library yet where the sorting stops.";
constexpr const char* noClustersToExportText = "There are no clusters yet where the sorting stops.";
constexpr const char* noTemplatesText = "There are no templates yet where the sorting stops.";
constexpr const char* oneNameText = "The library and the set need a file each.";
constexpr const char* setAsItIsText =
    "The templates of a loaded set are used as they stand: merge, edits, analysisStart, analysisEnd and "
    "minimumClusterShare are those of clusters.";
constexpr const char* otherSetText =
    "The set of {} is of {} trace(s) at an interval of {:g} ms, and does not fit this recording.";

}  // namespace

// --- settings ---

CFindShapes::CFindShapes()
    : CEventBaseDlg(usesChannel1 | usesTrace | usesDestination),
      m_dWindowStart(-1.0),
      m_dWindowEnd(1.0),
      m_dMultiplier(2.0) {
    m_nDestination = 1;
}

void CFindShapes::Serialize(CArchive& archive) {
    CEventBaseDlg::Serialize(archive);
    const uint32_t version = ExchangeVersion(archive, findShapesVersion, ClassName());
    ExchangeTrace(archive);
    Exchange(archive, m_traces);
    Exchange(archive, m_dWindowStart);
    Exchange(archive, m_dWindowEnd);
    Exchange(archive, m_nSpikesToProcess);
    Exchange(archive, m_nFrequencyMultiplier);
    Exchange(archive, m_bAlignPeaks);
    Exchange(archive, m_nPolarity);
    Exchange(archive, m_dPcaStart);
    Exchange(archive, m_dPcaEnd);
    Exchange(archive, m_nDesiredClusters);
    Exchange(archive, m_dAnalysisStart);
    Exchange(archive, m_dAnalysisEnd);
    Exchange(archive, m_fErrThresh);
    for (std::string* list : {&m_strErrThresholds, &m_strIgnore, &m_strMixed, &m_strMerge})
        Exchange(archive, *list);
    Exchange(archive, m_dMinimumClusterShare);
    Exchange(archive, m_nMaxComponents);
    Exchange(archive, m_dMultiplier);
    Exchange(archive, m_dMergeWithin);
    Exchange(archive, m_bAutoAssignFrequency);
    Exchange(archive, m_dConfidence);
    Exchange(archive, m_bUnassignOutliers);
    Exchange(archive, m_strUnassign);
    Exchange(archive, m_bWriteUnassigned);
    for (std::string* file : {&m_strSaveLibrary, &m_strSaveSet, &m_strLoadSet}) Exchange(archive, *file);
    Exchange(archive, m_nStopAfter);
    if (version < 2) return;
    Exchange(archive, m_dRefractory);
    Exchange(archive, m_nProposal);
    Exchange(archive, m_strExportFolder);
    if (version < 3) return;
    for (std::string* list : {&m_strEdits, &m_strAnalysisWindows, &m_strAssign}) Exchange(archive, *list);
    Exchange(archive, m_bAutoAssign);
}

std::string CFindShapes::SeveralFilesFault() const {
    const bool savesNone = m_strSaveLibrary.empty() && m_strSaveSet.empty() && m_strExportFolder.empty();
    return savesNone ? std::string() : oneFileText;
}

// The same events, without writing files again.
std::vector<std::byte> CFindShapes::RerunSettings(const OperationJob& job) {
    const std::string library = std::exchange(m_strSaveLibrary, {}), set = std::exchange(m_strSaveSet, {}),
                      folder = std::exchange(m_strExportFolder, {});
    std::vector<std::byte> record = CEventBaseDlg::RerunSettings(job);
    m_strSaveLibrary = library;
    m_strSaveSet = set;
    m_strExportFolder = folder;
    return record;
}

void CFindShapes::CheckChangeDoc(CDataDoc* doc) {
    if (doc != Document()) ForgetFound();
    CEventBaseDlg::CheckChangeDoc(doc);
}

std::string CFindShapes::CheckSettings() {
    if (std::string fault = CEventBaseDlg::CheckSettings(); !fault.empty()) return fault;
    const CDataDoc* doc = Document();
    if (!doc) return {};
    for (const int trace : m_traces)
        if (trace >= doc->traceCount) return noSuchTraceText;
    try {
        (void)Sorting();
    } catch (const JobRefused& fault) {
        return fault.what();
    }
    if (std::string fault = FilesFault(); !fault.empty()) return fault;
    return m_strLoadSet.empty() ? WindowFault() : SetFault();
}

// What is to be saved has a file of its own, and is there when the run stops.
std::string CFindShapes::FilesFault() const {
    const auto lastStep = static_cast<SortStep>(m_nStopAfter);
    if (!m_strSaveLibrary.empty() && lastStep != SortStep::all) return noLibraryText;
    if (!m_strSaveSet.empty() && (lastStep == SortStep::read || lastStep == SortStep::cluster))
        return noTemplatesText;
    if (!m_strExportFolder.empty() && lastStep == SortStep::read) return noClustersToExportText;
    const CDataDoc& doc = *Document();
    FileSystem& files = doc.GetSession().files;
    for (const std::string& path : {m_strSaveLibrary, m_strSaveSet})
        if (!path.empty() && IsSameFile(files, path, doc.filePath)) return recordingItselfText;
    const bool isOne = !m_strSaveLibrary.empty() && !m_strSaveSet.empty() &&
                       IsSameFile(files, m_strSaveLibrary, m_strSaveSet);
    return isOne ? oneNameText : std::string();
}

// Templates of a set have their windows, and no spikes that could be merged or parted.
std::string CFindShapes::SetFault() const {
    const bool hasWork = !m_strMerge.empty() || !m_strEdits.empty() || m_dMinimumClusterShare > 0.0 ||
                         m_dAnalysisStart != 0.0 || m_dAnalysisEnd != 0.0;
    return hasWork ? setAsItIsText : std::string();
}

// --- the run ---

struct CFindShapes::Job : EventJob {
    SpikeSource source;
    SortSettings settings;
    double refractory = 0.0;
    SpikeSorting sorting;
    SortRun run;
    std::vector<UnitQuality> units;
    std::vector<MergeProposal> merges;
    bool isMade = false;  // the sorting is there

    int64_t Samples() const override {
        return isMade ? 0 : static_cast<int64_t>(source.onsets.size()) * settings.reading.length;
    }
    void Compute(SampleReader& samples, JobContext& context) override {
        if (!isMade) run = RunSorting(sorting, samples, source, settings, context);
        const double near = settings.assign.mergeWithinMs;
        units = MeasureUnits(sorting, near, refractory, context);
        merges = ProposeMerges(sorting, near, refractory, context);
    }
};

CFindShapes::Task CFindShapes::MakeTask() const {
    const CDataDoc& doc = *Document();
    Task task;
    task.settings = Sorting();
    task.source.sampleInterval = doc.sampleInterval;
    for (const int trace : Traces()) task.source.stretches.push_back(UnbrokenStretches(doc, trace));
    for (const CEventKM& event : doc.eventChannels[static_cast<size_t>(m_nChannel1)].Events()) {
        if (m_nSpikesToProcess >= 0 && std::ssize(task.source.onsets) >= m_nSpikesToProcess) break;
        task.source.onsets.push_back(event.onPosition);
        task.source.offsets.push_back(event.offPosition);
    }
    if (task.source.onsets.empty()) throw JobRefused(noSourceEventsText);
    if (m_strLoadSet.empty()) return task;
    try {
        task.settings.set = ReadSortingSet(doc.GetSession(), m_strLoadSet);
    } catch (const ArchiveError& fault) {
        throw JobRefused(fault.what());
    }
    const SortingSet& set = *task.settings.set;
    if (set.traces != std::ssize(Traces()) || set.sampleInterval != doc.sampleInterval)
        throw JobRefused(fmt::format(otherSetText, m_strLoadSet, set.traces, set.sampleInterval));
    task.settings.reading = set.reading;
    task.settings.reading.traces = Traces();
    return task;
}

void CFindShapes::TakeReading(const ReadSettings& reading) {
    const double interval = Document()->sampleInterval;
    m_dWindowStart = reading.start * interval;
    m_dWindowEnd = (reading.start + reading.length) * interval;
    m_nFrequencyMultiplier = reading.multiplier;
    m_bAlignPeaks = reading.alignPeaks;
    m_nPolarity = static_cast<int32_t>(reading.polarity);
}

// False where the user does not want so many.
bool CFindShapes::AsksForMany(size_t spikes) {
    const auto count = static_cast<int64_t>(spikes);
    if (count < fewSpikes) Tell(fewSpikesText);
    return count < manySpikes || !IsAttended() || GetHost().Confirm(fmt::format(manySpikesText, count));
}

std::unique_ptr<OperationJob> CFindShapes::MakeJob() {
    const auto made = std::exchange(m_byHand, std::nullopt);
    auto job = std::make_unique<Job>();
    Task task = MakeTask();
    job->title = Title();
    job->seen = SeenTimes();
    job->region = {0, static_cast<int32_t>(Document()->GetLength())};
    job->reads.push_back(m_nChannel1);
    job->refractory = m_dRefractory;
    job->source = std::move(task.source);
    job->settings = std::move(task.settings);
    if (job->settings.set) TakeReading(job->settings.reading);
    if (made) {
        job->sorting = made->first;
        job->run.outliers = made->second;
        job->isMade = true;
    } else if (!AsksForMany(job->source.onsets.size())) {
        return nullptr;
    }
    return job;
}

// The events of each unit, and of what is unassigned, as channels from the destination on.
void CFindShapes::AddUnits(Job& job) const {
    const SpikeSorting& sorting = job.sorting;
    const auto length = static_cast<int32_t>(Document()->GetLength());
    const auto makeEvent = [&](int64_t place, size_t spike, double ratio, const std::string& label) {
        CEventKM event;
        const int64_t on = sorting.SampleAt(place, spike);
        const int64_t duration = int64_t{job.source.offsets[spike]} - job.source.onsets[spike];
        event.onPosition = static_cast<int32_t>(std::clamp<int64_t>(on, 0, length - 1));
        event.offPosition = static_cast<int32_t>(
            std::min<int64_t>(event.onPosition + std::max<int64_t>(1, duration), length));
        event.eventValue = std::isnan(ratio) ? 0.0f : static_cast<float>(ratio);
        event.eventLabel = label;
        return event;
    };
    int channel = m_nDestination;
    for (const std::vector<UnitEvent>& unit : sorting.Events(m_dMergeWithin)) {
        AddTarget(job, channel++, Traces().front(), {});
        for (const UnitEvent& event : unit) {
            const SortedSpike& type = sorting.Types()[event.spike];
            job.found.back().events.push_back(
                makeEvent(event.place, event.spike, event.ratio,
                          type.id == decomposedType ? type.Text() : std::string()));
        }
    }
    if (m_bWriteUnassigned) {
        AddTarget(job, channel, Traces().front(), {});
        std::vector<CEventKM>& events = job.found.back().events;
        for (size_t i = 0; i < sorting.Types().size(); ++i)
            if (sorting.Types()[i].id == unassignedType)
                events.push_back(
                    makeEvent(sorting.Waves().places[i], i, sorting.Types()[i].ratio, std::string()));
    }
    for (EventJob::Found& found : job.found)
        std::ranges::stable_sort(found.events, {}, &CEventKM::onPosition);
}

// Whether the channels may be written, and are to be.
bool CFindShapes::MayWrite(const Job& job) {
    const CDataDoc& doc = *Document();
    if (m_nDestination + std::ssize(job.found) > maxEventChannels) {
        if (doc.FirstFreeChannel() < 0) throw JobRefused(noEmptyChannelsText);
        throw JobRefused(fmt::format(rangePastEndText, job.found.size(), ChannelName(m_nDestination)));
    }
    bool hasSource = false, isSorted = false, hasEvents = false;
    for (const EventJob::Found& found : job.found) {
        const CEventChan& chan = doc.eventChannels[static_cast<size_t>(found.channel)];
        if (chan.channelLocked) throw JobRefused(lockedChannelText);
        hasSource = hasSource || found.channel == m_nChannel1;
        if (chan.GetNumEvents() == 0) continue;
        isSorted = isSorted || chan.channelFlag == sortedChannelFlag;
        hasEvents = hasEvents || chan.channelFlag != sortedChannelFlag;
    }
    Host& host = GetHost();
    if (hasSource && !host.Confirm(sourceInRangeText)) return false;
    if (isSorted && !host.Confirm(sortedChannelText)) return false;
    return !hasEvents || hasSource || host.Confirm(overwriteEventsText);
}

bool CFindShapes::Write(OperationJob& job, UndoScope& undo) {
    auto& done = static_cast<Job&>(job);
    for (const std::string& note : done.run.notes) GetHost().Log(note);
    const bool isWhole = done.settings.stopAfter == SortStep::all;
    if (isWhole) {
        AddUnits(done);
        if (!MayWrite(done)) return false;
    }
    if (!MayExport()) return false;
    if (!MayReplaceFiles()) return false;
    WriteFiles(done);
    if (isWhole) {
        GetHost().Log("Deleting events\n");
        if (!CEventBaseDlg::Write(job, undo)) return false;
        WriteLabels(done);
        CEventChan& source = Document()->eventChannels[static_cast<size_t>(m_nChannel1)];
        const bool isOverwritten = std::ranges::count(done.writes, m_nChannel1) > 0;
        if (!isOverwritten && !done.settings.set) {
            undo.KeepChannel(m_nChannel1);
            std::vector<std::array<float, 3>> weights = done.sorting.Weights();
            const float none = std::numeric_limits<float>::quiet_NaN();
            weights.resize(static_cast<size_t>(source.GetNumEvents()), {none, none, none});
            source.SetEventExtra(std::move(weights));
        }
    }
    m_done = {std::move(done.sorting), done.settings.reading, done.run.outliers, std::move(done.units),
              std::move(done.merges)};
    return true;
}

// Whether there is no earlier sorting in the folder, or it may go.
bool CFindShapes::MayExport() {
    return m_strExportFolder.empty() || !HoldsSorting(Document()->GetSession().files, m_strExportFolder) ||
           GetHost().Confirm(fmt::format(overwriteFolderText, m_strExportFolder));
}

// Whether no file goes that the user wants to keep.
bool CFindShapes::MayReplaceFiles() {
    FileSystem& files = Document()->GetSession().files;
    return std::ranges::all_of(std::array{m_strSaveLibrary, m_strSaveSet}, [&](const std::string& path) {
        return path.empty() || !files.Stamp(path) ||
               GetHost().Confirm(fmt::format("The file {} exists. Replace it?", path));
    });
}

void CFindShapes::SaveLibraryTo(const std::filesystem::path& path, const MixtureLibraries& library) {
    WriteFileAtomically(Document()->GetSession().files, path, [&](CArchive& archive) {
        ArchiveOutput output(archive);
        WriteLibraryText(library, output, GetHost());
    });
}

void CFindShapes::WriteFiles(const Job& job) {
    Session& session = Document()->GetSession();
    if (!m_strSaveLibrary.empty()) SaveLibraryTo(m_strSaveLibrary, job.sorting.Library());
    if (!m_strSaveSet.empty())
        WriteSortingSet(session,
                        {job.settings.reading, Document()->sampleInterval,
                         static_cast<int32_t>(Traces().size()), job.sorting.Clusters()},
                        m_strSaveSet);
    if (!m_strExportFolder.empty() && !job.sorting.Clusters().empty())
        WriteCurationFolder(session.files, m_strExportFolder,
                            {job.sorting, job.units, m_bWriteUnassigned, job.settings.reading.traces,
                             Document()->traceCount, Document()->GetEndTime()});
}

bool CFindShapes::FinishFound(CEventChan& chan, const EventJob&, size_t which) {
    BeginRecord(chan);
    GetHost().Log(
        fmt::format("Writing events: there are {} events in vec[{}]\n", chan.GetNumEvents(), which));
    return true;
}

void CFindShapes::AppendReport(std::string& text, const EventJob& job) {
    GetParamText(text);
    const auto& done = static_cast<const Job&>(job);
    const SortCounts counts = CountSpikes(done.sorting);
    text += fmt::format("Spikes: {}, of which {} pure, {} decomposed, {} unassigned\r\n", counts.spikes,
                        counts.pure, counts.decomposed, counts.unassigned);
}

// Behind what the frame writes of all channels alike.
void CFindShapes::WriteLabels(const Job& job) {
    const size_t units = job.sorting.Clusters().size();
    for (size_t i = 0; i < job.found.size(); ++i) {
        CEventChan& chan = Document()->eventChannels[static_cast<size_t>(job.found[i].channel)];
        chan.channelLabel = i < units ? fmt::format("wavType {}", i + 1) : "unassigned wavType";
        chan.channelColour = i < units ? GraphColour(i) : 0x808080;
        chan.channelFlag = sortedChannelFlag;
    }
}

}  // namespace kymora
