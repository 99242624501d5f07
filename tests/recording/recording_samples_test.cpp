// The values of recordings of noise against a plain loop over their bytes.

#include <gtest/gtest.h>

#include <cstring>
#include <random>

#include "host/memory_file_system.h"
#include "recording/recording_samples.h"

namespace kymora::test {
namespace {

struct NoiseCase {
    const char* name;
    RecordingType type;
    uint32_t encoding;
    uint16_t width;
    std::vector<int> bits;
};

const NoiseCase noiseCases[] = {
    {"offset binary", RecordingType::board, offsetBinary, 2, {1, 12, 16}},
    {"two's complement", RecordingType::board, twosComplement, 2, {1, 2, 10, 12, 15, 16}},
    {"wide", RecordingType::refractoryManual, wideSamples, 4, {24, 30}},
    {"wave words", RecordingType::microphone, offsetBinary, 2, {16}},
    {"wave bytes", RecordingType::microphone, offsetBinary, 1, {8}},
};

// One sample, in the order of the rule: the code as a single, times the factor, plus the lowest voltage or,
// of two's complement, the middle one. Each step is stored, so that none is wider than a single.
float PlainValue(const RecordingHeader& header, const std::byte* bytes) {
    int64_t code = 0;
    std::memcpy(&code, bytes, header.BytesPerSample());
    const auto signedOf = [&code](int bits) {
        const int64_t low = code % (int64_t{1} << bits);
        return low >= int64_t{1} << (bits - 1) ? low - (int64_t{1} << bits) : low;
    };
    if (header.IsWave()) return static_cast<float>(header.BytesPerSample() == 1 ? code - 128 : signedOf(16));
    float offset = header.m_fVoltLow;
    if (header.m_nEncoding == twosComplement) {
        code = signedOf(header.m_nResolutionBits);
        offset = static_cast<float>((header.m_fVoltHigh + header.m_fVoltLow) / 2.0);
    } else if (header.m_nEncoding == wideSamples) {
        code = signedOf(32);
    }
    const volatile float factor =
        (header.m_fVoltHigh - header.m_fVoltLow) / static_cast<float>(int64_t{1} << header.m_nResolutionBits);
    const volatile float scaled = static_cast<float>(code) * factor;
    return scaled + offset;
}

struct NoiseRecording {
    RecordingHeader header;
    std::vector<std::byte> bytes;
    std::unique_ptr<DataFile> file;

    NoiseRecording(MemoryFileSystem& files, const NoiseCase& kind, int bits, uint32_t channels,
                   size_t scans) {
        header.m_eRecordingType = kind.type;
        header.m_nEncoding = kind.encoding;
        header.m_nBytesPerSample = kind.width;
        header.m_nResolutionBits = bits;
        header.m_nChannels = channels;
        header.m_fVoltHigh = 4.7f;
        header.m_fVoltLow = -1.3f;
        header.m_nDataStart = 3;
        bytes.resize(header.m_nDataStart + scans * header.ScanBytes());
        std::mt19937 draw(channels);
        for (std::byte& byte : bytes) byte = static_cast<std::byte>(draw());
        files.Put("/noise", bytes);
        file = files.Open("/noise", OpenMode::readOnly);
    }

    float Plain(int64_t scan, int trace) const {
        const auto at = static_cast<size_t>(scan) * header.ScanBytes();
        const auto in = static_cast<size_t>(trace) * header.BytesPerSample();
        return PlainValue(header, bytes.data() + header.m_nDataStart + at + in);
    }
};

// Both hold the same bits; the first that differ are told.
void ExpectSame(const NoiseRecording& noise, InstructionSet widest, int64_t from, int64_t count,
                const std::vector<int>& traces) {
    constexpr float untouched = 12345.5f;
    RecordingSamples samples(*noise.file, noise.header, widest);
    std::vector<std::vector<float>> values(traces.size(),
                                           std::vector<float>(static_cast<size_t>(count) + 1, untouched));
    std::vector<BinaryPiece> pieces;
    for (size_t i = 0; i < traces.size(); ++i) pieces.push_back({traces[i], values[i].data()});
    samples.Read(from, count, pieces);
    for (size_t i = 0; i < traces.size(); ++i) {
        for (int64_t s = 0; s < count; ++s)
            ASSERT_EQ(std::bit_cast<uint32_t>(values[i][static_cast<size_t>(s)]),
                      std::bit_cast<uint32_t>(noise.Plain(from + s, traces[i])))
                << "trace " << traces[i] << ", scan " << from + s;
        ASSERT_EQ(values[i].back(), untouched);
    }
}

TEST(RecordingSamples, EveryCodeBecomesWhatAPlainLoopMakesOfIt) {
    constexpr int64_t scans = 331;
    MemoryFileSystem files;
    for (const NoiseCase& kind : noiseCases)
        for (const int bits : kind.bits)
            for (uint32_t channels = 1; channels <= mostRecordingChannels; ++channels) {
                const NoiseRecording noise(files, kind, bits, channels, scans);
                std::vector<int> all, some;
                for (int t = 0; t < static_cast<int>(channels); ++t) {
                    all.push_back(t);
                    if (t % 3 != 1) some.push_back(t);
                }
                for (const InstructionSet widest : {InstructionSet::common, WidestInstructionSet()}) {
                    SCOPED_TRACE(::testing::Message() << kind.name << ", " << bits << " bits, " << channels
                                                      << " channels, vectors " << static_cast<int>(widest));
                    ExpectSame(noise, widest, 0, scans, all);
                    ExpectSame(noise, widest, 5, scans - 5, some);
                    for (const int trace : all) ExpectSame(noise, widest, 1, 29, {trace});
                }
            }
}

// More than is read of the file at once.
TEST(RecordingSamples, LongReadsAreSeamless) {
    MemoryFileSystem files;
    for (const NoiseCase& kind : noiseCases)
        for (const uint32_t channels : {1u, 3u, 16u}) {
            SCOPED_TRACE(kind.name);
            const auto scans = int64_t{300000} / kind.width / channels;
            const NoiseRecording noise(files, kind, kind.bits.back(), channels, static_cast<size_t>(scans));
            ExpectSame(noise, WidestInstructionSet(), 0, scans, {0, static_cast<int>(channels) / 2});
        }
}

}  // namespace
}  // namespace kymora::test
