#include "document/side_car.h"

#include <fmt/format.h>

#include <cerrno>
#include <cmath>

#include "document/history_steps.h"
#include "document/metadata_io.h"
#include "document/side_car_signals.h"
#include "document/trace_signals.h"
#include "host/file_names.h"

namespace kymora {
namespace {

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
}

std::filesystem::path DamagedPath(FileSystem& files, const std::filesystem::path& path) {
    auto kept = NameBehind(path, ".damaged");
    for (int n = 2; files.Stamp(kept); ++n) kept = NameBehind(path, ".damaged-" + std::to_string(n));
    return kept;
}

}  // namespace

std::filesystem::path SideCarPath(const std::filesystem::path& dataFile) {
    return NameInstead(dataFile, ".kymr-hdr");
}

SideCarFile::SideCarFile(CDataDoc& doc) : doc_(doc) {
    FileSystem& files = doc.GetSession().files;
    const std::filesystem::path path = SideCarPath(doc.filePath);
    doc.RememberStamp(path);
    for (const std::filesystem::path& candidate : {path, NameInstead(doc.filePath, ".kym")}) {
        path_ = candidate;
        try {
            file_ = files.Open(candidate, OpenMode::readOnly);
        } catch (const FileError& error) {
            if (error.systemError == ENOENT) continue;
            Damaged(error.what());
            return;
        }
        if (Attempt([this] { LookThrough(); })) result_ = SideCarResult::read;
        return;
    }
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

void MarkSideCarAsOthers(CDataDoc& doc, const std::string& why) {
    doc.openedReadOnly = true;
    doc.readOnlyReason = why;
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
    const std::filesystem::path path = SideCarPath(doc.filePath);
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
