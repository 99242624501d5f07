#include "document/data_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <ctime>
#include <limits>
#include <new>

#include "archive/text_encoding.h"
#include "document/native_writer.h"
#include "document/side_car.h"
#include "host/open_fault.h"
#include "numerics/fnv.h"
#include "numerics/rounding.h"

namespace kymora {

CDataDoc::CDataDoc(Session& session) : session_(session) { ResetModel(); }

CDataDoc::~CDataDoc() { GetHost().Log("In CDataDoc dtor\n"); }

void CDataDoc::ResetModel() {
    fileVersion = currentFileVersion;
    const auto palette = static_cast<Palette>(session_.options.palette);
    for (int t = 0; t < maxTraces; ++t) {
        const auto slot = static_cast<size_t>(t);
        traces[slot] = TraceSettings::Default(t, palette);
        traceAnnotations[slot].clear();
        validRuns[slot] = RunList();
    }
    traceSignals.clear();
    absentTraces.clear();
    eventChannels.assign(maxEventChannels, CEventChan(this));
    for (int c = 0; c < maxEventChannels; ++c)
        eventChannels[static_cast<size_t>(c)].channelColour = DefaultChannelColour(c, palette);
    ResetDefaultPositions();
    markers.clear();
    view = StoredView();
    view.expandContractFocus = session_.options.expandContractFocus;
    grid = Grid();
    scaleBars = {};
    fileComment.clear();
    historyLog.clear();
    sampleInterval = 1.0;
    traceCount = 0;
    episodic = hasGaps = noData = false;
    episodicStored = 0;
    legacyEventCode = 0;
}

// --- opening, saving, closing ---

bool CDataDoc::OnOpenDocument(const std::filesystem::path& path, OpenRequest request) {
    filePath = path;
    opening_ = {std::move(request)};
    RememberStamp(path);
    hasReadSteps_ = hasNotedSteps_ = false;
    steps_.clear();
    facts_ = {};
    hasNotedFacts_ = false;
    inOpen = true;
    const bool opened = TryToOpen();
    inOpen = false;
    if (!opening_.fault.empty() && !opening_.request.callerTells) GetHost().Message(opening_.fault);
    if (opened) UpdateAllViews(UpdateHint::samples);
    return opened;
}

// False with the fault noted, or where the user declined.
bool CDataDoc::TryToOpen() {
    std::string reason;
    try {
        Load();
        AfterLoad();
        OfferChannelsInUse();
        AllocateBuffers();
        NoteFacts();
        NoteBeginning();
        return true;
    } catch (const OpenDeclined&) {
        return false;
    } catch (const ImportSettingError& error) {
        opening_.settingRefused = error.key;
        opening_.fault = error.what();
        return false;
    } catch (const OpenError& error) {
        opening_.fault = error.what();
        return false;
    } catch (const ArchiveError& error) {
        reason = error.what();
    } catch (const FileError& error) {
        opening_.fault = OpenFaultText("Couldn't open " + filePath.string(), error);
        return false;
    } catch (const std::bad_alloc&) {
        reason = "There is not enough memory for it.";
    }
    opening_.fault = "Couldn't open " + filePath.string() + "\n" + reason;
    return false;
}

// --- a file that goes on ---

void CDataDoc::NoteFacts() {
    if (std::exchange(hasNotedFacts_, true) || KeepsAllInFile()) return;
    for (int t = 0; t < traceCount; ++t) {
        const TraceSettings& trace = traces[static_cast<size_t>(t)];
        facts_.traces.push_back({trace.traceLabel, trace.traceUnits});
    }
    facts_.TakeChannels(eventChannels);
}

// By what a recording begins with, another one of the same name is told from it. Only for who may wait for
// the file to grow.
void CDataDoc::NoteBeginning() {
    constexpr int64_t samples = 256;
    if (noData || opening_.request.purpose != OpenFor::editing || opening_.request.talk == OpenTalk::logs)
        return;
    int64_t count = samples;
    for (int t = 0; t < traceCount; ++t) count = std::min(count, GetStoredCount(t));
    try {
        facts_.beginning = SumOfBeginning(count);
        facts_.beginningSamples = count;
    } catch (const FileError& error) {
        GetHost().Log(std::string(error.what()) + "\n");
    }
}

uint64_t CDataDoc::SumOfBeginning(int64_t count) {
    std::vector<float> values(static_cast<size_t>(count));
    Fnv1a sum;
    for (int t = 0; t < traceCount && count > 0; ++t) {
        const StoredRead piece{t, values};
        Reader().ReadStored(0, {&piece, 1});
        sum.Add(std::as_bytes(std::span(values)));
    }
    return sum.Value();
}

void CDataDoc::TakeReader(std::unique_ptr<CDataDoc> fresh) {
    if (fresh->episodic && !episodic) {
        episodic = true;
        episodicStored = fresh->episodicStored;
    }
    fresh->eventChannels = std::vector<CEventChan>();  // nobody looks at them there
    reader_ = std::move(fresh);
    TakeExtent(*reader_);
}

void CDataDoc::TakeExtent(const CDataDoc& fresh) {
    sampleInterval = fresh.sampleInterval;
    validRuns = fresh.validRuns;
    UpdateGapFlags();
    AllocateBuffers();
    if (const auto stamp = fresh.RememberedStamp(filePath)) RememberStamp(filePath, *stamp);
}

void CDataDoc::TakeMetadata(CDataDoc& fresh) {
    fileComment = std::move(fresh.fileComment);
    historyLog = std::move(fresh.historyLog);
    markers = std::move(fresh.markers);
    traceAnnotations = std::move(fresh.traceAnnotations);
    traces = std::move(fresh.traces);
    scaleBars = std::move(fresh.scaleBars);
    grid = std::move(fresh.grid);
    episodic = fresh.episodic;
    episodicStored = fresh.episodicStored;
    eventChannels = std::move(fresh.eventChannels);
    for (CEventChan& channel : eventChannels) channel.ownerDoc = this;
    hasReadSteps_ = hasNotedSteps_ = false;
    steps_.clear();
    undo_.Clear();
    SetModifiedFlag(false);
}

// Formats that fold divide by gains.
void CDataDoc::HandGainsToReader() {
    if (!reader_) return;
    for (int t = 0; t < traceCount; ++t)
        reader_->traces[static_cast<size_t>(t)].traceGain = traces[static_cast<size_t>(t)].traceGain;
}

std::unique_ptr<DataFile> CDataDoc::OpenReadOnly() const {
    try {
        return session_.files.Open(filePath, OpenMode::readOnly);
    } catch (const FileError& error) {
        throw OpenError(OpenFaultText("Couldn't open file", error));
    }
}

// Letters reach only the first 26 channels; a recording that uses more switches the session to numbers.
void CDataDoc::OfferChannelsInUse() {
    int& mode = session_.options.eventChannelMode;
    for (int c = letterChannels; c < maxEventChannels && mode == letterChannels; ++c) {
        if (GetNumEvents(c) == 0) continue;
        mode = maxEventChannels;
        session_.numbersForSession = true;
    }
}

SaveOutcome CDataDoc::Save() {
    if (openedReadOnly) return RefuseSideCarSave(*this);
    GetHost().Log("In OnSaveDocument for non-flt files, writing header\n");
    GetDisplaySettingsFromView();
    try {
        if (!MayDescribeSource() || !WriteSideCar(*this)) return SaveOutcome::changedOutside;
    } catch (const FileError& error) {
        GetHost().Message(error.what());
        return SaveOutcome::failed;
    }
    SetModifiedFlag(false);
    return SaveOutcome::saved;
}

// Events that were made of another version of the samples are saved beside the new one only if the user wants
// it.
bool CDataDoc::MayDescribeSource() {
    const std::optional<FileStamp> now = session_.files.Stamp(filePath);
    if (!now || now == RememberedStamp(filePath)) return true;
    const bool may =
        GetHost().Confirm("The recording " + filePath.string() +
                          " was changed by another program since it was read here. Its events and "
                          "settings may not fit it any more.\nSave them all the same?");
    if (may) RememberStamp(filePath);
    return may;
}

void CDataDoc::Tell(std::string_view text) {
    if (inOpen && opening_.request.talk == OpenTalk::logs)
        GetHost().Log(std::string(text) + "\n");
    else
        GetHost().Inform(text);
}

void CDataDoc::Notify(std::string_view key, std::string_view text) {
    if (inOpen && opening_.request.talk == OpenTalk::logs)
        GetHost().Log(std::string(text) + "\n");
    else
        GetHost().Notice(key, "Notification", text);
}

bool CDataDoc::MayLeaveOperations() {
    return operationsAtWork <= 0 ||
           GetHost().Confirm(fmt::format(closesAtWorkText, filePath.filename().string()));
}

bool CDataDoc::SaveModified() {
    if (!MayLeaveOperations()) return false;
    return !IsModified() ||
           GetHost().Confirm(
               "You have made changes to this file which have not been saved.\nClick OK to continue to "
               "close, Cancel to return and have the opportunity to save.",
               filePath.filename().string());
}

bool MayClose(Host& host, const std::vector<CDataDoc*>& docs) {
    std::vector<CDataDoc*> changed;
    for (CDataDoc* doc : docs)
        if (doc->IsModified()) changed.push_back(doc);
    if (changed.size() < 2)
        return std::all_of(docs.begin(), docs.end(), [](CDataDoc* doc) { return doc->SaveModified(); });
    for (CDataDoc* doc : docs)
        if (!doc->MayLeaveOperations()) return false;
    std::string text =
        fmt::format("You have made changes to these {} files which have not been saved:\n\n", changed.size());
    for (const CDataDoc* doc : changed)
        text += fmt::format("{}  ({})\n", doc->filePath.filename().string(),
                            doc->filePath.parent_path().string());
    text += "\nClick OK to continue to close all of them, Cancel to return and have the opportunity to save.";
    return host.Confirm(text, fmt::format("{} files with changes", changed.size()));
}

void CDataDoc::SetModifiedFlag(bool modified) {
    modified_ = modified;
    if (modified)
        undo_.ForgetSaved();
    else
        undo_.MarkSaved();
}

void CDataDoc::AddView(DocumentView& added) { views_.push_back(&added); }

void CDataDoc::RemoveView(DocumentView& removed) {
    undo_.ForgetView(removed);
    std::erase(views_, &removed);
}

void CDataDoc::MakeRoomForRows(float traces) {
    for (DocumentView* shown : views_) shown->MakeRoomForRows(traces);
}

void CDataDoc::UpdateAllViews(UpdateHint hint) {
    for (DocumentView* shown : views_) shown->OnUpdate(hint);
}

void CDataDoc::GetDisplaySettingsFromView(bool otherViewActive) {
    if (views_.empty()) {
        GetHost().Log("In CDataDoc::GetDisplaySettingsFromView *pView==NULL, called from batch??\n");
        if (otherViewActive) GetHost().Message("The document has no view. Please inform author.");
        return;
    }
    StoreDisplaySettings(views_.front()->GetDisplaySettings());
}

void CDataDoc::StoreDisplaySettings(const DisplaySettings& settings) {
    view = settings.view;
    for (size_t t = 0; t < settings.traces.size() && t < traces.size(); ++t) {
        traces[t].traceAutoscale = settings.traces[t].traceAutoscale;
        traces[t].axisTop = settings.traces[t].axisTop;
        traces[t].axisBottom = settings.traces[t].axisBottom;
        traces[t].traceOrder = settings.traces[t].traceOrder;
        traces[t].traceVisible = settings.traces[t].traceVisible;
        traces[t].traceExtraA = settings.traces[t].traceExtraA;
        traces[t].traceExtraB = settings.traces[t].traceExtraB;
    }
}

void CDataDoc::RememberStamp(const std::filesystem::path& path) {
    stamps_[path] = session_.files.Stamp(path);
}

std::optional<FileStamp> CDataDoc::RememberedStamp(const std::filesystem::path& path) const {
    const auto known = stamps_.find(path);
    return known == stamps_.end() ? std::nullopt : known->second;
}

bool CDataDoc::MayOverwrite(const std::filesystem::path& path) {
    const std::optional<FileStamp> now = session_.files.Stamp(path);
    if (!now || now == RememberedStamp(path)) return true;
    return GetHost().Confirm("The file " + path.string() +
                             " was changed by another program since it was read here. Saving replaces those "
                             "changes.\nSave all the same?");
}

void CDataDoc::BeginCopy(Progress* progress) {
    copyProgress_ = progress;
    copiedSamples_ = 0;
}

void CDataDoc::ReportCopied(int64_t samples) {
    if (copyProgress_ == nullptr) return;
    copiedSamples_ += samples;
    if (!copyProgress_->Update(static_cast<uint64_t>(copiedSamples_))) throw Cancelled();
}

// --- the model ---

double CDataDoc::UsualViewEnd() const {
    constexpr int64_t samples = 1000;
    constexpr double nearlyWhole = 0.999;
    const double end = TimeOf(samples);
    return end - std::floor(end) > nearlyWhole ? std::ceil(end) : end;
}

int32_t CDataDoc::PositionOf(double timeMs) const { return RoundHalfAway(timeMs / sampleInterval); }

double CDataDoc::GetEndTime() const { return static_cast<double>(GetLength() - 1) * sampleInterval; }

bool CDataDoc::GetRunSpan(int trace, int i, int64_t& start, int64_t& end) const {
    const RunList& runs = Runs(trace);
    if (i < 0 || i >= runs.Size()) {
        start = end = runs.Length();
        return false;
    }
    const RunList::Place place = runs.PlaceOf(i);
    start = place.runStart;
    end = start + runs[i];
    return place.valid;
}

void CDataDoc::SetLength(int64_t n) {
    if (n > longestRecording) {
        GetHost().Message(tooLongText);
        n = longestRecording;
    }
    const RunList whole({static_cast<uint32_t>(std::max<int64_t>(n, 0))});
    for (RunList& runs : validRuns) runs = whole;
    UpdateGapFlags();
}

void CDataDoc::ExtendLength(int64_t samples) {
    const int64_t first = std::min<int64_t>(int64_t{validRuns[0][0]} + samples, longestRecording);
    for (RunList& runs : validRuns) runs.SetFirstRun(static_cast<uint32_t>(first));
    UpdateGapFlags();
}

void CDataDoc::UpdateGapFlags() {
    hasGaps = false;
    sharedRuns_ = true;
    bool anyStored = false;
    for (int t = 0; t < traceCount; ++t) {
        const RunList& runs = Runs(t);
        hasGaps = hasGaps || runs.Size() > 1 || runs[0] != Runs(0)[0];
        sharedRuns_ = sharedRuns_ && runs == Runs(0);
        anyStored = anyStored || runs.StoredCount() > 0;
    }
    noData = traceCount > 0 && GetLength() > 0 && !anyStored;
    UpdateReadable();
}

int64_t CDataDoc::ShortestSection() const {
    const int64_t length = GetLength();
    int64_t shortest = length;
    if (episodic && GetNumEvents(0) > 0) {
        const auto& boundaries = eventChannels[0].Events();
        for (size_t i = 0; i < boundaries.size(); ++i) {
            const int64_t next = i + 1 < boundaries.size() ? boundaries[i + 1].onPosition : length;
            shortest = std::min(shortest, next - boundaries[i].onPosition);
        }
    } else if (hasGaps) {
        for (int t = 0; t < traceCount; ++t)
            for (int run = 0; run < GetNumRuns(t); run += 2)
                if (GetRun(t, run) != 0) shortest = std::min<int64_t>(shortest, GetRun(t, run));
    }
    return shortest;
}

// --- traces, markers, channels ---

void CDataDoc::InsertTrace(int slot) {
    for (int t = maxTraces - 1; t > slot; --t) {
        const auto to = static_cast<size_t>(t);
        traces[to] = traces[to - 1];
        ++traces[to].traceOrder;
        traceAnnotations[to] = std::move(traceAnnotations[to - 1]);
        traceAnnotations[to - 1].clear();
        validRuns[to] = validRuns[to - 1];
        traceFileOffset[to] = traceFileOffset[to - 1];
    }
}

void CDataDoc::DeleteTrace(int slot) {
    for (size_t t = static_cast<size_t>(slot); t + 1 < traceAnnotations.size(); ++t)
        traceAnnotations[t] = std::move(traceAnnotations[t + 1]);
    traceAnnotations.back().clear();
}

void CDataDoc::InsertMarker(CMarker marker) {
    const auto place = std::upper_bound(markers.begin(), markers.end(), marker.m_dTime,
                                        [](double time, const CMarker& m) { return time < m.m_dTime; });
    markers.insert(place, std::move(marker));
}

int CDataDoc::GetNumEvents(int channel) const {
    return HasChannel(channel) ? eventChannels[static_cast<size_t>(channel)].GetNumEvents() : 0;
}

const CEventKM* CDataDoc::GetEvent(int channel, int index) const {
    if (index < 0 || index >= GetNumEvents(channel)) return nullptr;
    return &eventChannels[static_cast<size_t>(channel)].Events()[static_cast<size_t>(index)];
}

int32_t CDataDoc::GetOn(int channel, int index) const {
    const CEventKM* event = GetEvent(channel, index);
    return event != nullptr ? event->onPosition : -1;
}

int32_t CDataDoc::GetOff(int channel, int index) const {
    const CEventKM* event = GetEvent(channel, index);
    return event != nullptr ? event->offPosition : -1;
}

int32_t CDataDoc::GetParentTrace(int channel) const {
    return HasChannel(channel) ? eventChannels[static_cast<size_t>(channel)].parentTrace : -1;
}

bool CDataDoc::AddEvent(int channel, CEventKM event) {
    return HasChannel(channel) && eventChannels[static_cast<size_t>(channel)].AddEvent(std::move(event));
}

std::vector<double> CDataDoc::Gains() const {
    std::vector<double> gains;
    for (int t = 0; t < traceCount; ++t) gains.push_back(traces[static_cast<size_t>(t)].traceGain);
    return gains;
}

bool CDataDoc::IsFreeChannel(int channel) const {
    return GetNumEvents(channel) == 0 && !channelsAtWork.contains(channel) &&
           !(HasChannel(channel) && eventChannels[static_cast<size_t>(channel)].channelLocked);
}

int CDataDoc::FirstFreeChannel() const {
    for (int c = 0; c < maxEventChannels; ++c)
        if (IsFreeChannel(c)) return c;
    return -1;
}

double CDataDoc::DefaultDisplayPosition(int channel) {
    if (channel >= letterChannels) return 0.5;
    double sum = 0.0;
    for (int c = 0; c <= channel; ++c) sum += c < 10 ? 1.0 / 18.0 : c < 18 ? 1.0 / 30.0 : 0.02;
    return sum;
}

uint32_t CDataDoc::DefaultChannelColour(int channel, Palette palette) {
    return channel < 16 ? DefaultTraceColour(static_cast<size_t>(channel), palette)
                        : CEventChan().channelColour;
}

void CDataDoc::ResetDefaultPositions() {
    for (int c = 0; c < maxEventChannels; ++c)
        eventChannels[static_cast<size_t>(c)].SetDisplayPosition(DefaultDisplayPosition(c));
}

void CDataDoc::SetAllDrawModes(int32_t drawMode) {
    for (CEventChan& channel : eventChannels) channel.channelDrawMode = drawMode;
}

// --- history ---

std::string CDataDoc::HistoryDateLine(bool withTime) const {
    const std::time_t now = session_.now();
    std::tm local{};
    localtime_r(&now, &local);
    char text[128];
    const size_t n = std::strftime(text, sizeof text,
                                   withTime ? "%A, %B %d, %Y, %H:%M:%S\r\n" : "%A, %B %d, %Y\r\n", &local);
    return {text, n};
}

void CDataDoc::AppendSaveAsHistory() { historyLog += HistoryDateLine(false) + ": File: Save As\r\n\r\n"; }

void CDataDoc::AppendNewRecordHistory(std::string_view entry) {
    historyLog += "START\r\n" + HistoryDateLine(true);
    historyLog += entry;
}

const HistorySteps& CDataDoc::Steps() {
    if (!std::exchange(hasReadSteps_, true)) steps_ = ReadSteps(session_.files, StepsPath(*this));
    return steps_;
}

void CDataDoc::NoteStep(HistoryStep step) {
    Steps();
    steps_.push_back(std::move(step));
    hasNotedSteps_ = true;
}

}  // namespace kymora
