#include "recording/acq_doc.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <ctime>
#include <utility>

#include "archive/text_encoding.h"
#include "document/side_car.h"
#include "host/file_names.h"
#include "numerics/fnv.h"
#include "recording/append_in_place.h"

namespace kymora {

namespace {

constexpr const char* preambleKey = "preamble";
constexpr uint64_t longestTail = uint64_t{1} << 28;  // bytes, of one that is looked for
constexpr size_t searchedAtOnce = size_t{1} << 20;

// A string as files hold it, with two bytes or one for each character.
std::array<std::vector<std::byte>, 2> FormsOf(std::string_view text) {
    std::array<std::vector<std::byte>, 2> forms;
    for (const int byte : {0xFF, 0xFE, 0xFF}) forms[0].push_back(std::byte(byte));
    for (auto& form : forms) form.push_back(std::byte(text.size()));
    for (const char c : text) {
        forms[0].insert(forms[0].end(), {std::byte(c), std::byte(0)});
        forms[1].push_back(std::byte(c));
    }
    return forms;
}

bool StandsAt(const DataFile& file, uint64_t at, std::string_view text) {
    for (const auto& form : FormsOf(text)) {
        std::vector<std::byte> there(form.size());
        if (file.ReadAt(at, there) == there.size() && there == form) return true;
    }
    return false;
}

bool EndsAt(const DataFile& file, uint64_t end, std::string_view text) {
    for (const auto& form : FormsOf(text))
        if (end >= form.size() && StandsAt(file, end - form.size(), text)) return true;
    return false;
}

bool EndsWith(const DataFile& file, std::string_view text) { return EndsAt(file, file.Length(), text); }

// What stands behind a tail of its side-car.
std::optional<uint64_t> ReplacedSideCar(DataFile& file, uint64_t tailEnd) {
    if (!StandsAt(file, tailEnd, replacedSideCarMark)) return {};
    try {
        CArchive archive(file, CArchive::Mode::load, tailEnd);
        archive.ReadString();
        return archive.Read<uint64_t>();
    } catch (const ArchiveError&) {
        return {};
    }
}

// Whether a tail that ends here ends the file.
bool EndsFile(DataFile& file, uint64_t tailEnd) {
    return (tailEnd == file.Length() && EndsWith(file, fileEndMark)) || ReplacedSideCar(file, tailEnd);
}

// The last place in [least, end) where a string begins.
std::optional<uint64_t> FindBefore(const DataFile& file, std::string_view text, uint64_t end,
                                   uint64_t least) {
    const auto forms = FormsOf(text);
    std::vector<std::byte> bytes;
    while (end > least) {
        const uint64_t from = end - std::min<uint64_t>(end - least, searchedAtOnce);
        bytes.resize(static_cast<size_t>(end - from) + forms[0].size() - 1);
        bytes.resize(file.ReadAt(from, bytes));
        std::optional<uint64_t> last;
        for (const auto& form : forms) {
            const size_t reach = std::min(bytes.size(), static_cast<size_t>(end - from) + form.size() - 1);
            const auto stop = bytes.begin() + static_cast<std::ptrdiff_t>(reach);
            const auto found = std::find_end(bytes.begin(), stop, form.begin(), form.end());
            if (found != stop)
                last = std::max(last.value_or(0), from + static_cast<uint64_t>(found - bytes.begin()));
        }
        if (last) return last;
        end = from;
    }
    return {};
}

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
    sampleFile = ThroughAppend(OpenReadOnly());
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
    NoteFacts();
    LoadBare();
    if (sideCar.Load(traceCount) != SideCarResult::read) return LoadModel();
    TakeNewerTail();
    ScaleUnknownTraces(*this);
}

// A recording and its side-car take their places one after the other. What was stopped between leaves the
// older side-car, which knows less than the tail.
void CAcqDoc::TakeNewerTail() {
    if (!hasTail_ || replacedSideCar_ == 0) return;
    if (SideCarSum(GetSession().files, filePath) != replacedSideCar_) return;
    markers.clear();
    for (auto& list : traceAnnotations) list.clear();
    LoadTail();
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
    FindTail(reason);
    if (scans_ > longestRecording && statedScans_ <= longestRecording) Tell(tooLongText);
    scans_ = std::min(scans_, longestRecording);
    TellFault(reason);
    LoadModel();
}

// A count of 0 is also what stands there before the end of a recording, and samples may read like a tail:
// zeros do. So the tail of an empty recording has both its marks, and it ends the file.
void CAcqDoc::FindTail(std::string& reason) {
    hasTail_ = true;
    const bool isUnfinished =
        statedScans_ == 0 && scansThere_ > 0 && !StandsAt(*sampleFile, tailAt_, dataEndMark);
    if (fault_ == RecordingFault::none && !isUnfinished) {
        const auto end = TryTail(*sampleFile, tailAt_, reason);
        if (end && (statedScans_ > 0 || EndsFile(*sampleFile, *end))) return;
        if (end) reason = "More stands behind them.";
        fault_ = RecordingFault::noTail;
    }
    if (TakeMovedTail()) return;
    hasTail_ = false;
    FindProvisionalTail();
    if (!isUnfinished && !leftTail_) return;
    fault_ = RecordingFault::unfinished;
    if (isUnfinished) scans_ = scansThere_;
}

// The last whole one of those that stand behind each other. What a crash of the machine has torn ends them.
void CAcqDoc::FindProvisionalTail() {
    FileSystem& files = GetSession().files;
    const auto path = ProvisionalTailPath(filePath);
    try {
        if (!files.Stamp(path)) return;
        auto file = files.Open(path, OpenMode::readOnly);
        std::string reason;
        std::optional<uint64_t> last;
        for (uint64_t at = 0; StandsAt(*file, at, dataEndMark);) {
            const auto end = TryTail(*file, at, reason);
            if (!end || !EndsAt(*file, *end, fileEndMark)) break;
            last = std::exchange(at, *end);
        }
        if (!last) return;
        leftTail_ = std::move(file);
        leftTailAt_ = *last;
    } catch (const FileError&) {
    }
}

// Looks for the tail where the scan count was never written or is wrong: a little before its place, and back
// from the end of the file.
bool CAcqDoc::TakeMovedTail() {
    const uint64_t length = sampleFile->Length();
    const auto take = [&](uint64_t at) {
        std::string reason;
        if (!TryTail(*sampleFile, at, reason)) return false;
        tailAt_ = at;
        scans_ = static_cast<int64_t>((at - m_nDataStart) / ScanBytes());
        fault_ = RecordingFault::miscounted;
        return true;
    };
    const uint64_t near = std::max(m_nDataStart, tailAt_ - std::min(tailAt_, ScanBytes()));
    if (const auto at = FindBefore(*sampleFile, dataEndMark, std::min(tailAt_, length), near);
        at && take(*at))
        return true;
    if (!EndsWith(*sampleFile, fileEndMark)) return false;
    const uint64_t least = std::max(m_nDataStart, length - std::min(length, longestTail));
    for (auto at = FindBefore(*sampleFile, dataEndMark, length, least); at;
         at = FindBefore(*sampleFile, dataEndMark, *at, least))
        if (take(*at)) return true;
    return false;
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

// Looks through a tail without keeping anything; answers where it ends.
std::optional<uint64_t> CAcqDoc::TryTail(DataFile& file, uint64_t at, std::string& reason) {
    FillModel();
    try {
        RecordingHeader header = *this;
        RecordingTailState state;
        CArchive archive(file, CArchive::Mode::load, at);
        archive.SetSkimming(true);
        LoadRecordingTail(archive, *this, header, state);
        return archive.Position();
    } catch (const ArchiveError& error) {
        reason = error.what();
        return {};
    }
}

void CAcqDoc::LoadBare() {
    ResetModel();
    FillModel();
}

void CAcqDoc::LoadTail() {
    CArchive archive(*sampleFile, CArchive::Mode::load, tailAt_);
    LoadRecordingTail(archive, *this, *this, tailState_);
    replacedSideCar_ = ReplacedSideCar(*sampleFile, archive.Position()).value_or(0);
}

void CAcqDoc::LoadModel() {
    LoadBare();
    if (hasTail_) {
        LoadTail();
    } else if (leftTail_) {
        CArchive archive(*leftTail_, CArchive::Mode::load, leftTailAt_);
        LoadRecordingTail(archive, *this, *this, tailState_);
    } else {
        return;
    }
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
    case RecordingFault::miscounted:
        return Tell(
            fmt::format("{} states {} scans, but its settings and events stand behind {}. Those {} scans are "
                        "shown. \"kymora recover\" makes a recording with the right number of them.",
                        name, statedScans_, scans_, scans_));
    }
}

void CAcqDoc::ReadStored(int64_t storedIndex, std::span<const StoredRead> pieces) {
    samples_->ReadPieces(storedIndex, pieces);
}

std::optional<uint64_t> SideCarSum(FileSystem& files, const std::filesystem::path& recording) {
    const auto path = FindSideCar(files, recording);
    if (!path) return {};
    const auto file = files.Open(*path, OpenMode::readOnly);
    std::vector<std::byte> bytes(searchedAtOnce);
    Fnv1a sum;
    for (uint64_t at = 0; at < file->Length(); at += bytes.size())
        sum.Add(std::span(bytes).first(file->ReadAt(at, bytes)));
    return sum.Value();
}

// --- marks of episodes ---

bool IsEpisodeMark(const CEventKM& event) {
    const int64_t length = int64_t{event.offPosition} - event.onPosition;
    return event.eventTag == 1 && (length == 1 || length == 0);
}

bool MarksEpisodes(const CEventChan& channel) {
    const auto& events = channel.Events();
    return !events.empty() && events[0].onPosition == 0 &&
           std::all_of(events.begin(), events.end(), IsEpisodeMark);
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
