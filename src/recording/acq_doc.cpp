#include "recording/acq_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <ctime>

#include "archive/text_encoding.h"
#include "document/side_car.h"

namespace kymora {

namespace {

constexpr const char* preambleKey = "preamble";

}  // namespace

CAcqDoc::~CAcqDoc() = default;

std::optional<double> CAcqDoc::GetStartClock() const {
    if (m_timeStart <= 0) return {};
    const std::time_t start = m_timeStart;
    std::tm local{};
    if (localtime_r(&start, &local) == nullptr) return {};
    return 1000.0 * (3600.0 * local.tm_hour + 60.0 * local.tm_min + local.tm_sec);
}

RecordingHeader CAcqDoc::CurrentHeader() const {
    RecordingHeader header = *this;
    for (size_t c = 0; c < header.m_nChannels; ++c) header.m_dChannelGain[c] = traces[c].traceGain;
    return header;
}

// --- opening ---

bool CAcqDoc::TakesName(const std::string& foldedPath) const {
    return foldedPath.ends_with(recordingExtension);
}

void CAcqDoc::Load() {
    GetHost().Log("In CAcqDoc::Serialize(CArchive& ar)\n");
    if (!TakesName(FoldCase(filePath.string()))) throw OpenError(selectRecordingText);
    TakePreambleSetting();
    sampleFile = OpenReadOnly();
    CArchive archive(*sampleFile, CArchive::Mode::load);
    Serialize(archive);
    ReadOwnSideCar();
    episodic = MarksEpisodes(eventChannels[0]);
    episodicStored = episodic ? 1 : 0;
}

// The side-car takes the place of what the tail says.
void CAcqDoc::ReadOwnSideCar() {
    SideCarFile sideCar(*this);
    if (sideCar.Result() == SideCarResult::none) return;
    LoadModel(false);
    if (sideCar.Load(traceCount) == SideCarResult::read)
        ScaleUnknownTraces(*this);
    else
        LoadModel(fault_ == RecordingFault::none);
}

void CAcqDoc::TakePreambleSetting() {
    const std::string* setting = CurrentOpening().Setting(preambleKey);
    if (setting && *setting != "full" && *setting != "short")
        throw ImportSettingError(preambleKey, *setting, "\"full\" or \"short\"");
}

void CAcqDoc::Serialize(CArchive& archive) {
    static_cast<RecordingHeader&>(*this) = LoadRecordingHeader(archive, GetPreamble());
    MeasureScans(archive.Read<uint32_t>());
    samples_ = std::make_unique<RecordingSamples>(*sampleFile, *this);
    std::string reason;
    if (fault_ == RecordingFault::none && !TryTail(reason)) {
        const bool isUnfinished = statedScans_ == 0 && scansThere_ > 0 && !BeginsWithTail();
        fault_ = isUnfinished ? RecordingFault::unfinished : RecordingFault::noTail;
        if (isUnfinished) scans_ = std::min(scansThere_, longestRecording);
    }
    TellFault(reason);
    LoadModel(fault_ == RecordingFault::none);
}

void CAcqDoc::MeasureScans(uint32_t field) {
    const uint64_t scanBytes = ScanBytes();
    const uint64_t there = sampleFile->Length() - std::min(sampleFile->Length(), m_nDataStart);
    statedScans_ = ScansOf(field);
    scansThere_ = static_cast<int64_t>(there / scanBytes);
    scans_ = std::min(statedScans_, scansThere_);
    fault_ = statedScans_ > scansThere_ ? RecordingFault::shortened : RecordingFault::none;
    tailAt_ = m_nDataStart + (IsWave() ? field : field * scanBytes);
    if (statedScans_ > longestRecording) Tell(tooLongText);
    scans_ = std::min(scans_, longestRecording);
}

void CAcqDoc::FillModel() {
    fileVersion = m_nFileVersion;
    sampleInterval = m_dSampleInterval;
    traceCount = static_cast<int32_t>(m_nChannels);
    for (size_t c = 0; c < m_nChannels; ++c) {
        traces[c].traceAutoscale = 1;
        traces[c].traceGain = IsWave() ? 1.0 : m_dChannelGain[c];
        if (!IsWave()) traces[c].traceUnits = "V";
    }
    SetLength(scans_);
}

// Looks through the tail without keeping anything.
bool CAcqDoc::TryTail(std::string& reason) {
    FillModel();
    try {
        RecordingHeader header = *this;
        RecordingTailState state;
        CArchive archive(*sampleFile, CArchive::Mode::load, tailAt_);
        archive.SetSkimming(true);
        LoadRecordingTail(archive, *this, header, state);
        return true;
    } catch (const ArchiveError& error) {
        reason = error.what();
        return false;
    }
}

// Whether the first mark of a tail stands where the samples would begin.
bool CAcqDoc::BeginsWithTail() const {
    try {
        CArchive archive(*sampleFile, CArchive::Mode::load, m_nDataStart);
        return archive.ReadString() == dataEndMark;
    } catch (const ArchiveError&) {
        return false;
    }
}

void CAcqDoc::LoadModel(bool withTail) {
    ResetModel();
    FillModel();
    if (!withTail) return;
    CArchive archive(*sampleFile, CArchive::Mode::load, tailAt_);
    LoadRecordingTail(archive, *this, *this, tailState_);
    ScaleUnknownTraces(*this);
}

void CAcqDoc::TellFault(const std::string& reason) {
    const std::string name = filePath.filename().string();
    switch (fault_) {
    case RecordingFault::none:
        break;
    case RecordingFault::unfinished:
        return Tell(
            fmt::format("{} was not finished: its number of scans was never written. The {} scans that "
                        "it holds are shown. \"kymora recover\" makes a finished recording of them.",
                        name, scans_));
    case RecordingFault::shortened:
        return Tell(
            fmt::format("{} states {} scans and holds {}. Those that it holds are shown. Its settings "
                        "and events, which stood behind them, are missing.",
                        name, statedScans_, scans_));
    case RecordingFault::noTail:
        return Tell(
            fmt::format("The settings and events behind the samples of {} could not be read.\n{}\nThe "
                        "recording opens without them.",
                        name, reason));
    }
}

void CAcqDoc::ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) {
    samples_->ReadPieces(storedIndex, pieces);
}

// --- marks of episodes ---

bool MarksEpisodes(const CEventChan& channel) {
    const auto& events = channel.Events();
    return !events.empty() && events[0].onPosition == 0 &&
           std::all_of(events.begin(), events.end(), [](const CEventKM& event) {
               return event.eventTag == 1 && event.offPosition == event.onPosition + 1;
           });
}

CEventKM EpisodeMark(int32_t scan, int64_t seconds) {
    CEventKM mark;
    mark.onPosition = scan;
    mark.offPosition = scan + 1;
    mark.eventTag = 1;
    mark.eventValue = static_cast<float>(static_cast<double>(seconds) * 1000.0);
    mark.eventLabel = std::to_string(seconds);
    return mark;
}

}  // namespace kymora
