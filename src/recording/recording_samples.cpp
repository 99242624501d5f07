#include "recording/recording_samples.h"

namespace kymora {

namespace {

constexpr float byteMiddle = 128.0f;

BinaryLayout LayoutOf(const RecordingHeader& header) {
    const auto bytes = header.BytesPerSample();
    const BinaryType type = bytes == sizeof(int32_t)   ? BinaryType::int32
                            : bytes == sizeof(int16_t) ? BinaryType::int16
                                                       : BinaryType::byte;
    return {static_cast<int>(header.m_nChannels), type, header.m_nDataStart};
}

}  // namespace

std::optional<CodeScale> ScaleOf(const RecordingHeader& header) {
    const int bits = 8 * header.BytesPerSample();
    if (header.IsWave()) {
        if (bits != 8) return {};
        return CodeScale{false, bits, 1.0f, -byteMiddle};
    }
    const float factor = header.VoltSpan() / static_cast<float>(header.Codes());
    if (header.m_nEncoding == twosComplement)
        return CodeScale{true, header.m_nResolutionBits, factor, header.VoltMid()};
    return CodeScale{header.m_nEncoding == wideSamples, bits, factor, header.m_fVoltLow};
}

RecordingSamples::RecordingSamples(const DataFile& file, const RecordingHeader& header, InstructionSet widest)
    : scale_(ScaleOf(header)), numbers_(file, LayoutOf(header), widest) {}

void RecordingSamples::Read(int64_t from, int64_t count, std::span<const BinaryPiece> pieces) {
    numbers_.Read(from, count, pieces, scale_ ? &*scale_ : nullptr);
}

}  // namespace kymora
