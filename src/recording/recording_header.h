#pragma once
// The head of a recording file (.kymr-rec): what was recorded, by what, and how its codes become volts. There
// are two layouts. The board layout (types 1 to 4) ends its head with the number of scans; the wave layout
// (type 0) is laid over the 44 bytes of a plain wave file, whose number of data bytes stands in that place.
// A scan is one sample of every channel.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "archive/archive.h"
#include "document/data_doc.h"
#include "recording/recording_type.h"

namespace kymora {

enum RecordingEncoding : uint32_t { offsetBinary = 0, twosComplement = 1, wideSamples = 2 };

inline constexpr uint32_t mostRecordingChannels = 16;
inline constexpr uint16_t currentRecordingVersion = 1;
inline constexpr int leastRecordingFileVersion = 37;
inline constexpr const char* recordingExtension = ".kymr-rec";

struct RecordingHeader {
    uint16_t m_nFileVersion = static_cast<uint16_t>(currentFileVersion);
    uint16_t m_nRecFileVersion = currentRecordingVersion;
    RecordingType m_eRecordingType = RecordingType::board;
    std::string m_strMaker;  // as it was read; a new recording gets that of its type
    std::string m_strBoardName;
    int64_t m_timeStart = 0;  // seconds since 1970; 0 where none is told
    float m_fVoltHigh = 10.0f, m_fVoltLow = -10.0f;
    uint32_t m_nEncoding = offsetBinary;
    int32_t m_nResolutionBits = 16;
    uint32_t m_nChannels = mostRecordingChannels;
    double m_dSampleInterval = 0.05;  // ms
    std::array<double, mostRecordingChannels> m_dChannelGain = FilledWithOnes();
    uint16_t m_nBytesPerSample = 2;  // of the wave layout; the board layout's follows from the encoding

    // Where the file holds the scan count (or the data bytes), and the first sample.
    uint64_t m_nFileHeaderEnd = 0;
    // Where the board layout, once written, holds the time of start; 0 in the wave layout.
    uint64_t m_nTimeAt = 0;
    uint64_t m_nDataStart = 0;

    bool IsWave() const { return m_eRecordingType == RecordingType::microphone; }
    uint16_t BytesPerSample() const {
        return IsWave() ? m_nBytesPerSample : m_nEncoding == wideSamples ? 4 : 2;
    }
    uint64_t ScanBytes() const { return uint64_t{BytesPerSample()} * m_nChannels; }
    int32_t Codes() const { return int32_t{1} << m_nResolutionBits; }
    float VoltSpan() const { return m_fVoltHigh - m_fVoltLow; }
    float VoltMid() const { return static_cast<float>((m_fVoltHigh + m_fVoltLow) / 2.0); }

    // What the field at m_nFileHeaderEnd holds for a number of scans, and back. The first throws FileError
    // where it cannot hold them.
    uint32_t FieldOf(int64_t scans) const;
    int64_t ScansOf(uint32_t field) const;

  private:
    static constexpr std::array<double, mostRecordingChannels> FilledWithOnes() {
        std::array<double, mostRecordingChannels> ones{};
        ones.fill(1.0);
        return ones;
    }
};

// The words before a wave head: the older ones have no version of the recording layout in it.
enum class Preamble { full, withoutRecordingVersion };

// Reads up to m_nFileHeaderEnd, which it sets with m_nDataStart. Throws OpenError with the words for the user
// where a version, a count or a number makes no sense, before anything is allocated by it, and ArchiveError
// where the file ends early.
RecordingHeader LoadRecordingHeader(CArchive& archive, Preamble preamble);

// Throws OpenError where channels, interval, gains or, but for the wave layout, the converter make no sense.
void CheckRecordingHeader(const RecordingHeader& header);

// Writes it at the beginning of a file, up to the field of the scan count, and sets the two positions. The
// rate of the wave layout is whole hertz. Throws FileError.
void StoreRecordingHeader(CArchive& archive, RecordingHeader& header);

}  // namespace kymora
