#include "document/side_car.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cmath>
#include <cstring>

#include "document/file_identity.h"
#include "document/history_steps.h"
#include "document/metadata_io.h"
#include "document/side_car_signals.h"
#include "document/trace_signals.h"
#include "host/file_names.h"

namespace kymora {
namespace {

constexpr std::string_view sideCarEnding = ".kymr-hdr";

constexpr int gainSlots(int version) { return version < 30 ? 16 : maxTraces; }

void LoadGains(CArchive& archive, CDataDoc& doc, int version) {
    for (int slot = 0; slot < gainSlots(version); ++slot) {
        const auto gain = archive.Read<double>();
        // A divisor that is no number, or nothing, would turn every sample into nonsense.
        const bool usable = std::isfinite(gain) && gain != 0.0;
        if (!usable && !archive.IsSkimming())
            doc.GetHost().Log("The side-car states a gain of " + std::to_string(gain) + " for trace " +
                              std::to_string(slot + 1) + "; 1 is used.\n");
        doc.traces[static_cast<size_t>(slot)].traceGain = usable ? gain : 1.0;
    }
}

// All up to the records of the traces; answers the version.
int LoadHead(CArchive& archive, CDataDoc& doc) {
    const int version = archive.Read<int16_t>();
    if (archive.IsSkimming()) metadata::TellVersion(doc.GetHost(), version);
    doc.fileVersion = version;
    doc.fileComment = archive.ReadString();
    if (version > 37) doc.historyLog = archive.ReadString();
    if (version > 38)
        metadata::LoadGrid(archive, doc, false);
    else
        metadata::RebuildGrid(doc);
    if (version < 18) doc.legacyEventCode = archive.Read<int32_t>();
    metadata::LoadViewTimes(archive, doc.view, version);
    metadata::LoadTraces(archive, doc, version, true);
    return version;
}

void LoadSideCar(CArchive& archive, CDataDoc& doc) {
    const int version = LoadHead(archive, doc);
    const auto extras = metadata::LoadViewRows(archive, doc, version);
    metadata::LoadOverlaysAndChannels(archive, doc, version);
    if (extras.hasDrawMode) doc.SetAllDrawModes(extras.drawMode);
    if (version > 9) LoadGains(archive, doc, version);
    if (version > 39) metadata::LoadScaleBars(archive, doc, version);
    archive.ReadString();  // the guard string, not tested
}

// The slots up to the last that differs from those that no trace has.
std::vector<TraceSignal> SlotsInUse(const CDataDoc& doc) {
    const TraceSettings unused;
    std::vector<TraceSignal> slots;
    for (const TraceSettings& trace : doc.traces) slots.push_back({-1, trace.traceLabel});
    const auto isUnused = [&](const TraceSettings& trace) {
        return trace.traceLabel.empty() && trace.traceUnits.empty() && trace.axisTop == unused.axisTop &&
               trace.axisBottom == unused.axisBottom;
    };
    while (!slots.empty() && isUnused(doc.traces[slots.size() - 1])) slots.pop_back();
    return slots;
}

// --- whose it is ---

// The last bytes of a side-car: the name of its data file, the length of that and a mark.
constexpr std::string_view ownerMark = "kymrFile";
constexpr size_t mostOwnerBytes = 4096;

void StoreOwner(CArchive& archive, const std::filesystem::path& dataFile) {
    const std::string name = dataFile.filename().string();
    archive.WriteRaw(std::as_bytes(std::span(name)));
    archive.Write<uint32_t>(static_cast<uint32_t>(name.size()));
    archive.WriteRaw(std::as_bytes(std::span(ownerMark)));
}

// Empty where it is not told, as in side-cars of earlier versions.
std::string OwnerOf(FileSystem& files, const std::filesystem::path& sideCar) {
    try {
        const auto file = files.Open(sideCar, OpenMode::readOnly);
        std::array<char, sizeof(uint32_t) + ownerMark.size()> end;
        if (file->Length() < end.size()) return {};
        const uint64_t endAt = file->Length() - end.size();
        ReadWhole(*file, endAt, std::as_writable_bytes(std::span(end)));
        uint32_t count = 0;
        std::memcpy(&count, end.data(), sizeof count);
        const std::string_view mark(end.data() + sizeof count, ownerMark.size());
        if (mark != ownerMark || count == 0 || count > std::min<uint64_t>(endAt, mostOwnerBytes)) return {};
        std::string name(count, '\0');
        ReadWhole(*file, endAt - count, std::as_writable_bytes(std::span(name)));
        return name;
    } catch (const FileError&) {  // who reads the side-car is told
        return {};
    }
}

// Two files may be one recording: what a .meta tells of is in the .bin.
bool AreOfOneRecording(const std::string& a, const std::string& b) {
    const auto arePair = [](std::string_view first, std::string_view second) {
        return first == ".meta" && second == ".bin";
    };
    return a == b || arePair(a, b) || arePair(b, a);
}

// A data file that was renamed with its side-car is its owner still.
bool BelongsToOther(FileSystem& files, const std::filesystem::path& owner,
                    const std::filesystem::path& dataFile) {
    if (owner.empty() || AreOfOneRecording(FoldedExtension(owner), FoldedExtension(dataFile))) return false;
    std::filesystem::path other = dataFile;
    return files.Stamp(other.replace_extension(owner.extension())).has_value();
}

// Whether a file that may be a recording has the same name with another extension.
bool HasNamesake(FileSystem& files, const std::filesystem::path& dataFile) {
    const std::string extension = FoldedExtension(dataFile);
    for (const std::filesystem::path& path : files.List(dataFile.parent_path())) {
        const std::string other = FoldedExtension(path);
        if (path.stem() == dataFile.stem() && !other.starts_with(".kym") &&
            !AreOfOneRecording(other, extension))
            return true;
    }
    return false;
}

void StoreSideCar(CArchive& archive, const CDataDoc& doc, SampleRange range) {
    archive.Write<int16_t>(static_cast<int16_t>(currentFileVersion));
    archive.WriteString(doc.fileComment);
    archive.WriteString(doc.historyLog);
    metadata::StoreGrid(archive, doc.grid, false);
    metadata::StoreViewTimes(archive, doc, range);
    metadata::StoreTraces(archive, doc, currentFileVersion);
    metadata::StoreViewRows(archive, doc.view, currentFileVersion);
    metadata::StoreOverlaysAndChannels(archive, doc, range, currentFileVersion);
    for (const TraceSettings& trace : doc.traces) archive.Write<double>(trace.traceGain);
    metadata::StoreScaleBars(archive, doc, currentFileVersion);
    archive.WriteString(metadata::guardString);
    StoreSignals(archive, doc);
    StoreOwner(archive, doc.filePath);
}

std::filesystem::path DamagedPath(FileSystem& files, const std::filesystem::path& path) {
    auto kept = NameBehind(path, ".damaged");
    for (int n = 2; files.Stamp(kept); ++n) kept = NameBehind(path, ".damaged-" + std::to_string(n));
    return kept;
}

}  // namespace

std::filesystem::path SideCarPath(FileSystem& files, const std::filesystem::path& dataFile) {
    const auto own = NameBehind(dataFile, sideCarEnding), shared = NameInstead(dataFile, sideCarEnding);
    if (files.Stamp(own)) return own;
    if (!files.Stamp(shared)) return shared;
    const std::string owner = OwnerOf(files, shared);
    const bool isOthers =
        owner.empty() ? HasNamesake(files, dataFile) : BelongsToOther(files, owner, dataFile);
    return isOthers ? own : shared;
}

std::optional<std::filesystem::path> FindSideCar(FileSystem& files, const std::filesystem::path& dataFile) {
    const auto own = NameBehind(dataFile, sideCarEnding), shared = NameInstead(dataFile, sideCarEnding);
    if (files.Stamp(own)) return own;
    if (files.Stamp(shared)) {
        if (!BelongsToOther(files, OwnerOf(files, shared), dataFile)) return shared;
        return {};
    }
    const auto old = NameInstead(dataFile, ".kym");
    return files.Stamp(old) ? std::optional(old) : std::nullopt;
}

SideCarFile::SideCarFile(CDataDoc& doc) : doc_(doc) {
    if (doc.GetOpening().request.fileAlone) return;
    FileSystem& files = doc.GetSession().files;
    doc.RememberStamp(SideCarPath(files, doc.filePath));
    const auto found = FindSideCar(files, doc.filePath);
    if (!found) return;
    path_ = *found;
    try {
        file_ = files.Open(path_, OpenMode::readOnly);
    } catch (const FileError& error) {
        if (error.systemError != ENOENT) Damaged(error.what());
        return;
    }
    if (Attempt([this] { LookThrough(); })) result_ = SideCarResult::read;
}

bool SideCarFile::Attempt(const std::function<void()>& read) {
    std::string reason;
    try {
        read();
        return true;
    } catch (const FileError& error) {
        reason = error.what();
    } catch (const ArchiveError& error) {
        reason = error.what();
    }
    Damaged(reason);
    return false;
}

void SideCarFile::Damaged(const std::string& reason) {
    result_ = SideCarResult::damaged;
    doc_.damagedSideCar = path_;
    doc_.GetHost().Message(
        "The settings and events in " + path_.string() + " could not be read.\n" + reason +
        "\nThe recording opens without them. A save keeps the unreadable file under another "
        "name.");
}

void SideCarFile::LookThrough() {
    CArchive archive(*file_, CArchive::Mode::load);
    archive.SetSkimming(true);
    LoadSideCar(archive, doc_);
    if (!FindSignalsMark(archive)) return;
    signalsAt_ = archive.Position();
    LoadSignals(archive, doc_.fileVersion);
}

SideCarTraces SideCarFile::Traces() {
    SideCarTraces traces;
    if (result_ != SideCarResult::read) return traces;
    Attempt([&] {
        CArchive archive(*file_, CArchive::Mode::load);
        doc_.traceCount = maxTraces;  // every slot shows what it holds
        const int version = LoadHead(archive, doc_);
        if (signalsAt_ != 0) {
            archive.Seek(signalsAt_);
            traces = LoadSignals(archive, version);
        }
        if (!traces.areTold) traces.sources = SlotsInUse(doc_);
    });
    return traces;
}

SideCarResult SideCarFile::Load(int traceCount) {
    if (result_ != SideCarResult::read) return result_;
    doc_.NoteFacts();
    const int own = doc_.traceCount;
    doc_.traceCount = traceCount;
    Attempt([this] {
        CArchive archive(*file_, CArchive::Mode::load);
        LoadSideCar(archive, doc_);
    });
    doc_.traceCount = own;
    return result_;
}

SideCarResult ReadSideCar(CDataDoc& doc) { return SideCarFile(doc).Load(doc.traceCount); }

SideCarResult ReadSideCarOfSignals(CDataDoc& doc, SideCarFile& file, const SideCarTraces& stored) {
    const std::vector<TraceSettings> fresh(doc.traces.begin(), doc.traces.begin() + doc.traceCount);
    const std::vector<TraceSignal> signals = doc.traceSignals;
    const auto slots = static_cast<int>(stored.sources.size());
    const SideCarResult result = file.Load(slots > 0 ? slots : doc.traceCount);
    if (result != SideCarResult::read || !stored.areTold) return result;
    const auto traceOf = [&](const TraceSignal& wanted) { return FindSignals({&wanted, 1}, signals)[0]; };
    StoredPlaces places{stored.sources, {}, stored.absent, {}};
    for (const TraceSignal& source : places.sources) places.traces.push_back(traceOf(source));
    for (const AbsentTrace& absent : places.absent) places.absentTraces.push_back(traceOf(absent.signal));
    MoveToTraces(doc, places, fresh);
    return result;
}

void SideCarOfChoice::Open(CDataDoc& doc) {
    file_ = std::make_unique<SideCarFile>(doc);
    stored_ = file_->Traces();
}

SideCarResult SideCarOfChoice::Read(CDataDoc& doc, const std::string& otherPart) {
    const std::unique_ptr<SideCarFile> file = std::move(file_);
    if (otherPart.empty()) return ReadSideCarOfSignals(doc, *file, stored_);
    doc.openedReadOnly = true;
    doc.readOnlyReason = otherPart;
    return SideCarResult::none;
}

SaveOutcome RefuseSideCarSave(CDataDoc& doc) {
    doc.GetHost().Message(
        fmt::format("The settings and events of this part of {} cannot be saved beside it: {}. "
                    "Save it under another name.",
                    doc.filePath.filename().string(), doc.readOnlyReason));
    return SaveOutcome::failed;
}

void ScaleUnknownTraces(CDataDoc& doc) {
    for (int t = 0; t < doc.traceCount; ++t) {
        TraceSettings& saved = doc.traces[static_cast<size_t>(t)];
        const TraceSettings unused = TraceSettings::Default(t);
        if (saved.axisTop == unused.axisTop && saved.axisBottom == unused.axisBottom)
            saved.traceAutoscale = 1;
    }
}

bool WriteSideCar(CDataDoc& doc, SampleRange range) {
    FileSystem& files = doc.GetSession().files;
    const std::filesystem::path path = SideCarPath(files, doc.filePath);
    const std::optional<FileStamp> there = files.Stamp(path);
    if (!doc.MayOverwrite(path)) return false;
    if (doc.damagedSideCar == path && files.Stamp(path)) {
        files.RenameNew(path, DamagedPath(files, path));
        doc.damagedSideCar.clear();
    }
    if (range.IsWhole()) SaveSteps(doc);
    WriteFileAtomically(files, path, there, [&](CArchive& archive) { StoreSideCar(archive, doc, range); });
    doc.RememberStamp(path);
    doc.fileVersion = currentFileVersion;
    return true;
}

void WriteSideCarAs(const CDataDoc& doc, FileSystem& files, const std::filesystem::path& path) {
    WriteFileAtomically(files, path, [&](CArchive& archive) { StoreSideCar(archive, doc, {}); });
}

}  // namespace kymora
