#include "exchange/event_file.h"

#include <fmt/format.h>

#include "document/native_writer.h"

namespace kymora {

namespace {

CEventChan LoadOnce(CArchive& archive, CDataDoc& doc) {
    archive.Seek(0);
    const int version = archive.Read<int16_t>();
    if (version < 1 || version > currentFileVersion)
        throw ArchiveError(
            fmt::format("It is no event file, or one of a later version: it states version {}, "
                        "and this program reads versions 1 to {}.",
                        version, currentFileVersion));
    CEventChan channel(&doc);
    channel.Load(archive, version);
    if (archive.Remaining() > 0)
        throw ArchiveError(fmt::format("{} bytes stand behind the event channel.", archive.Remaining()));
    return channel;
}

}  // namespace

void WriteEventFile(const CDataDoc& doc, int channel, const std::filesystem::path& path) {
    WriteFileAtomically(doc.GetSession().files, path, [&](CArchive& archive) {
        archive.Write<int16_t>(static_cast<int16_t>(currentFileVersion));
        doc.eventChannels[static_cast<size_t>(channel)].Store(archive);
    });
}

// Skimmed first, so that a foreign file gets no memory.
CEventChan ReadEventFile(DataFile& file, CDataDoc& doc) {
    CArchive archive(file, CArchive::Mode::load);
    archive.SetSkimming(true);
    LoadOnce(archive, doc);
    archive.SetSkimming(false);
    return LoadOnce(archive, doc);
}

}  // namespace kymora
