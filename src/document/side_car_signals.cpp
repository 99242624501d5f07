#include "document/side_car_signals.h"

#include <array>
#include <cmath>

#include "document/metadata_io.h"

namespace kymora {
namespace {

// They stand behind the guard string, where readers of the format have stopped.
constexpr std::string_view signalsMark = "trace signals";
constexpr int32_t signalsVersion = 1;
constexpr size_t leastSignalBytes = 5;   // index and label
constexpr size_t leastAbsentBytes = 64;  // signal, record, gain and three counts
constexpr size_t leastPlacedBytes = 109;

TraceSignal LoadSignal(CArchive& archive) {
    TraceSignal signal;
    signal.index = archive.Read<int32_t>();
    signal.label = archive.ReadString();
    return signal;
}

void StoreSignal(CArchive& archive, const TraceSignal& signal) {
    archive.Write<int32_t>(signal.index);
    archive.WriteString(signal.label);
}

AbsentTrace LoadAbsent(CArchive& archive, int version) {
    AbsentTrace absent;
    absent.signal = LoadSignal(archive);
    absent.settings = metadata::LoadTrace(archive, version);
    const auto gain = archive.Read<double>();
    absent.settings.traceGain = std::isfinite(gain) && gain != 0.0 ? gain : 1.0;
    for (uint32_t n = archive.ReadItemCount(leastPlacedBytes, "annotations"); n > 0; --n)
        absent.annotations.push_back(LoadAnnotation(archive, version));
    absent.bars = ScaleBarGroup::Load(archive, version).list;
    for (uint32_t n = archive.ReadItemCount(sizeof(int32_t), "event channels"); n > 0; --n)
        absent.channels.push_back(archive.Read<int32_t>());
    return absent;
}

// A channel that has got another parent since, or lost its events, belongs there no more.
void StoreAbsent(CArchive& archive, const AbsentTrace& absent, const CDataDoc& doc) {
    StoreSignal(archive, absent.signal);
    metadata::StoreTrace(archive, absent.settings, currentFileVersion);
    archive.Write<double>(absent.settings.traceGain);
    archive.Write<int32_t>(static_cast<int32_t>(absent.annotations.size()));
    for (const CAnnotation& annotation : absent.annotations) StoreAnnotation(archive, annotation);
    ScaleBarGroup bars;
    bars.list = absent.bars;
    bars.Store(archive, currentFileVersion);
    std::vector<int32_t> channels = absent.channels;
    std::erase_if(channels,
                  [&](int32_t c) { return doc.GetParentTrace(c) >= 0 || doc.GetNumEvents(c) == 0; });
    archive.Write<int32_t>(static_cast<int32_t>(channels.size()));
    for (const int32_t channel : channels) archive.Write<int32_t>(channel);
}

}  // namespace

bool FindSignalsMark(CArchive& archive) {
    constexpr size_t headBytes = 4;  // of a string: three of its form and one of its length
    if (archive.Remaining() < headBytes + 2 * signalsMark.size()) return false;
    std::array<uint8_t, headBytes + 2 * signalsMark.size()> bytes{};
    archive.ReadRaw(std::as_writable_bytes(std::span(bytes)));
    std::array<uint8_t, bytes.size()> wanted{0xFF, 0xFE, 0xFF, signalsMark.size()};
    for (size_t i = 0; i < signalsMark.size(); ++i)
        wanted[headBytes + 2 * i] = static_cast<uint8_t>(signalsMark[i]);
    return bytes == wanted;
}

SideCarTraces LoadSignals(CArchive& archive, int version) {
    SideCarTraces traces;
    if (archive.Read<int32_t>() != signalsVersion) return traces;
    traces.areTold = true;
    uint32_t shown = archive.ReadItemCount(leastSignalBytes, "signals");
    if (shown > maxTraces) throw ArchiveError("The side-car states more signals than there can be traces.");
    for (; shown > 0; --shown) traces.sources.push_back(LoadSignal(archive));
    for (uint32_t n = archive.ReadItemCount(leastAbsentBytes, "signals"); n > 0; --n)
        traces.absent.push_back(LoadAbsent(archive, version));
    return traces;
}

void StoreSignals(CArchive& archive, const CDataDoc& doc) {
    if (doc.traceSignals.empty()) return;
    archive.WriteString(signalsMark);
    archive.Write<int32_t>(signalsVersion);
    archive.Write<int32_t>(static_cast<int32_t>(doc.traceSignals.size()));
    for (const TraceSignal& signal : doc.traceSignals) StoreSignal(archive, signal);
    archive.Write<int32_t>(static_cast<int32_t>(doc.absentTraces.size()));
    for (const AbsentTrace& absent : doc.absentTraces) StoreAbsent(archive, absent, doc);
}

}  // namespace kymora
