#include "recording/recording_header.h"

#include <fmt/format.h>

#include <cmath>
#include <limits>

namespace kymora {

namespace {

constexpr const char* versionText =
    "Problem: file version read as {}, which is not on recognised list for this type.";
constexpr const char* recordingVersionText =
    "Problem: recording file version read as {}, which is not on recognised list for this type.";
constexpr const char* countMarkText = "before byte count";
constexpr int mostNarrowBits = 16, mostWideBits = 30;
constexpr uint64_t scanCountBytes = sizeof(uint32_t);

// The places of the wave layout.
constexpr uint64_t waveChannelsAt = 22, waveRateAt = 24, waveBitsAt = 34, waveBytesAt = 40;
constexpr uint32_t waveFormatBytes = 16;
constexpr uint16_t wavePlainNumbers = 1;

[[noreturn]] void RefuseHead(const std::string& what) {
    throw OpenError("The head of the recording makes no sense: " + what);
}

void CheckRange(const RecordingHeader& header) {
    if (header.m_nChannels < 1 || header.m_nChannels > mostRecordingChannels)
        RefuseHead(fmt::format("it states {} channels, and a recording has 1 to {}.", header.m_nChannels,
                               mostRecordingChannels));
    if (!std::isfinite(header.m_dSampleInterval) || header.m_dSampleInterval <= 0.0)
        RefuseHead(fmt::format("its sample interval is {} ms.", header.m_dSampleInterval));
}

void CheckConverter(const RecordingHeader& header) {
    for (uint32_t c = 0; c < header.m_nChannels; ++c)
        if (!std::isfinite(header.m_dChannelGain[c]) || header.m_dChannelGain[c] == 0.0)
            RefuseHead(fmt::format("the gain of channel {} is {}.", c + 1, header.m_dChannelGain[c]));
    const int most = header.m_nEncoding == wideSamples ? mostWideBits : mostNarrowBits;
    if (header.m_nResolutionBits < 1 || header.m_nResolutionBits > most)
        RefuseHead(fmt::format("its resolution is {} bits.", header.m_nResolutionBits));
    if (!std::isfinite(header.m_fVoltHigh) || !std::isfinite(header.m_fVoltLow) ||
        !std::isfinite(header.VoltSpan()) || header.VoltSpan() == 0.0f)
        RefuseHead(
            fmt::format("its converter goes from {} to {} volts.", header.m_fVoltLow, header.m_fVoltHigh));
}

void LoadBoard(CArchive& archive, RecordingHeader& header) {
    header.m_strMaker = archive.ReadString();
    header.m_strBoardName = archive.ReadString();
    header.m_timeStart = archive.Read<int64_t>();
    header.m_fVoltHigh = archive.Read<float>();
    header.m_fVoltLow = archive.Read<float>();
    header.m_nEncoding = archive.Read<uint32_t>();
    header.m_nResolutionBits = archive.Read<int32_t>();
    header.m_nChannels = archive.Read<uint32_t>();
    header.m_dSampleInterval = archive.Read<double>();
    CheckRange(header);
    for (uint32_t c = 0; c < header.m_nChannels; ++c) header.m_dChannelGain[c] = archive.Read<double>();
    archive.ReadString();
    CheckRecordingHeader(header);
    header.m_nFileHeaderEnd = archive.Position();
}

void LoadWave(CArchive& archive, RecordingHeader& header) {
    const auto at = [&archive](uint64_t place) { archive.Skip(place - archive.Position()); };
    at(waveChannelsAt);
    header.m_nChannels = archive.Read<uint16_t>();
    at(waveRateAt);
    const auto rate = archive.Read<uint32_t>();
    at(waveBitsAt);
    const auto bits = archive.Read<uint16_t>();
    at(waveBytesAt);
    if (bits != 8 && bits != 16) RefuseHead(fmt::format("its samples have {} bits.", bits));
    if (rate == 0) RefuseHead("its rate is 0 Hz.");
    header.m_nResolutionBits = bits;
    header.m_nBytesPerSample = static_cast<uint16_t>(bits / 8);
    header.m_dSampleInterval = 1000.0 / rate;
    CheckRecordingHeader(header);
    header.m_nFileHeaderEnd = waveBytesAt;
}

void StoreBoard(CArchive& archive, RecordingHeader& header) {
    const bool isArduino = header.m_eRecordingType == RecordingType::arduino;
    const char* const maker = isArduino ? "Unknown manufacturer" : "DataTranslation";
    archive.WriteString(header.m_strMaker.empty() ? maker : header.m_strMaker);
    archive.WriteString(header.m_strBoardName);
    header.m_nTimeAt = archive.Position();
    archive.Write<int64_t>(header.m_timeStart);
    archive.Write<float>(header.m_fVoltHigh);
    archive.Write<float>(header.m_fVoltLow);
    archive.Write<uint32_t>(header.m_nEncoding);
    archive.Write<int32_t>(header.m_nResolutionBits);
    archive.Write<uint32_t>(header.m_nChannels);
    archive.Write<double>(header.m_dSampleInterval);
    for (uint32_t c = 0; c < header.m_nChannels; ++c) archive.Write<double>(header.m_dChannelGain[c]);
    archive.WriteString(countMarkText);
}

void StoreWave(CArchive& archive, const RecordingHeader& header) {
    const auto rate = static_cast<uint32_t>(std::lround(1000.0 / header.m_dSampleInterval));
    const auto scanBytes = static_cast<uint32_t>(header.ScanBytes());
    const auto word = [&archive](std::string_view text) { archive.WriteRaw(std::as_bytes(std::span(text))); };
    word("WAVE");
    word("fmt ");
    archive.Write<uint32_t>(waveFormatBytes);
    archive.Write<uint16_t>(wavePlainNumbers);
    archive.Write<uint16_t>(static_cast<uint16_t>(header.m_nChannels));
    archive.Write<uint32_t>(rate);
    archive.Write<uint32_t>(rate * scanBytes);
    archive.Write<uint16_t>(static_cast<uint16_t>(scanBytes));
    archive.Write<uint16_t>(static_cast<uint16_t>(header.m_nBytesPerSample * 8));
    word("data");
}

}  // namespace

void CheckRecordingHeader(const RecordingHeader& header) {
    CheckRange(header);
    if (!header.IsWave()) CheckConverter(header);
}

uint32_t RecordingHeader::FieldOf(int64_t scans) const {
    const uint64_t field = static_cast<uint64_t>(scans) * (IsWave() ? ScanBytes() : 1);
    if (scans > longestRecording || field > std::numeric_limits<uint32_t>::max())
        throw FileError(fmt::format("A recording of {} scans is longer than its file can say.", scans), 0);
    return static_cast<uint32_t>(field);
}

int64_t RecordingHeader::ScansOf(uint32_t field) const {
    return static_cast<int64_t>(IsWave() ? field / ScanBytes() : field);
}

RecordingHeader LoadRecordingHeader(CArchive& archive, Preamble preamble) {
    RecordingHeader header;
    header.m_nFileVersion = archive.Read<uint16_t>();
    if (header.m_nFileVersion > currentFileVersion || header.m_nFileVersion < leastRecordingFileVersion)
        throw OpenError(fmt::format(fmt::runtime(versionText), header.m_nFileVersion));
    if (preamble == Preamble::full) {
        header.m_nRecFileVersion = archive.Read<uint16_t>();
        if (header.m_nRecFileVersion < 1 || header.m_nRecFileVersion > currentRecordingVersion)
            throw OpenError(fmt::format(fmt::runtime(recordingVersionText), header.m_nRecFileVersion));
    }
    const auto type = archive.Read<uint32_t>();
    if (type > static_cast<uint32_t>(RecordingType::arduino))
        RefuseHead(fmt::format("its type is {}, and there are types 0 to 4.", type));
    header.m_eRecordingType = static_cast<RecordingType>(type);
    if (header.IsWave())
        LoadWave(archive, header);
    else if (preamble == Preamble::full)
        LoadBoard(archive, header);
    else
        RefuseHead(fmt::format("without a version of its layout it is of type 0, and not of type {}.", type));
    header.m_nDataStart = header.m_nFileHeaderEnd + scanCountBytes;
    return header;
}

void StoreRecordingHeader(CArchive& archive, RecordingHeader& header) {
    archive.Write<uint16_t>(static_cast<uint16_t>(currentFileVersion));
    archive.Write<uint16_t>(currentRecordingVersion);
    archive.Write<uint32_t>(static_cast<uint32_t>(header.m_eRecordingType));
    if (header.IsWave())
        StoreWave(archive, header);
    else
        StoreBoard(archive, header);
    header.m_nFileVersion = static_cast<uint16_t>(currentFileVersion);
    header.m_nRecFileVersion = currentRecordingVersion;
    header.m_nFileHeaderEnd = archive.Position();
    header.m_nDataStart = header.m_nFileHeaderEnd + scanCountBytes;
}

}  // namespace kymora
