#include "recording/wave_file.h"

#include <fmt/format.h>

#include <cmath>
#include <limits>

#include "document/native_writer.h"

namespace kymora {

namespace {

constexpr uint64_t waveHeadBytes = 44, riffHeadBytes = 8;
constexpr uint32_t waveNumbersBytes = 16;
constexpr uint16_t plainNumbers = 1;

void WriteWord(CArchive& archive, std::string_view word) { archive.WriteRaw(std::as_bytes(std::span(word))); }

}  // namespace

void WriteWaveFile(CAcqDoc& doc, const std::filesystem::path& target, int64_t first, int64_t count) {
    const uint64_t scanBytes = doc.ScanBytes();
    const uint64_t bytes = static_cast<uint64_t>(count) * scanBytes;
    const uint64_t padding = bytes % 2;
    const uint64_t whole = waveHeadBytes + bytes + padding - riffHeadBytes;
    if (whole > std::numeric_limits<uint32_t>::max())
        throw FileError(fmt::format("A wave file cannot hold {} bytes of samples.", bytes), 0);
    const auto rate = static_cast<uint32_t>(std::lround(1000.0 / doc.m_dSampleInterval));
    WriteFileAtomically(doc.GetSession().files, target, [&](CArchive& to) {
        WriteWord(to, "RIFF");
        to.Write<uint32_t>(static_cast<uint32_t>(whole));
        WriteWord(to, "WAVEfmt ");
        to.Write<uint32_t>(waveNumbersBytes);
        to.Write<uint16_t>(plainNumbers);
        to.Write<uint16_t>(static_cast<uint16_t>(doc.m_nChannels));
        to.Write<uint32_t>(rate);
        to.Write<uint32_t>(static_cast<uint32_t>(rate * scanBytes));
        to.Write<uint16_t>(static_cast<uint16_t>(scanBytes));
        to.Write<uint16_t>(static_cast<uint16_t>(doc.BytesPerSample() * 8));
        WriteWord(to, "data");
        to.Write<uint32_t>(static_cast<uint32_t>(bytes));
        to.WriteFrom(doc.SampleFile(), doc.m_nDataStart + static_cast<uint64_t>(first) * scanBytes, bytes);
        if (padding != 0) to.Write<uint8_t>(0);
    });
}

}  // namespace kymora
