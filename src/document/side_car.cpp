#include "document/side_car.h"

#include <cerrno>
#include <cmath>

#include "document/metadata_io.h"
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

void LoadSideCar(CArchive& archive, CDataDoc& doc) {
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
    const auto extras = metadata::LoadViewRows(archive, doc, version);
    metadata::LoadOverlaysAndChannels(archive, doc, version);
    if (extras.hasDrawMode) doc.SetAllDrawModes(extras.drawMode);
    if (version > 9) LoadGains(archive, doc, version);
    if (version > 39) metadata::LoadScaleBars(archive, doc, version);
    archive.ReadString();  // the guard string, not tested
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

SideCarResult ReadSideCar(CDataDoc& doc) {
    FileSystem& files = doc.GetSession().files;
    const std::filesystem::path path = SideCarPath(doc.filePath);
    doc.RememberStamp(path);
    for (const std::filesystem::path& candidate : {path, NameInstead(doc.filePath, ".kym")}) {
        std::string reason;
        try {
            const auto file = files.Open(candidate, OpenMode::readOnly);
            CArchive archive(*file, CArchive::Mode::load);
            archive.SetSkimming(true);
            LoadSideCar(archive, doc);
            archive.Seek(0);
            archive.SetSkimming(false);
            LoadSideCar(archive, doc);
            return SideCarResult::read;
        } catch (const FileError& error) {
            if (error.systemError == ENOENT) continue;
            reason = error.what();
        } catch (const ArchiveError& error) {
            reason = error.what();
        }
        doc.damagedSideCar = candidate;
        doc.GetHost().Message(
            "The settings and events in " + candidate.string() + " could not be read.\n" + reason +
            "\nThe recording opens without them. A save keeps the unreadable file under another "
            "name.");
        return SideCarResult::damaged;
    }
    return SideCarResult::none;
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
    WriteFileAtomically(files, path, there, [&](CArchive& archive) { StoreSideCar(archive, doc, range); });
    doc.RememberStamp(path);
    doc.fileVersion = currentFileVersion;
    return true;
}

void WriteSideCarAs(const CDataDoc& doc, FileSystem& files, const std::filesystem::path& path) {
    WriteFileAtomically(files, path, [&](CArchive& archive) { StoreSideCar(archive, doc, {}); });
}

}  // namespace kymora
