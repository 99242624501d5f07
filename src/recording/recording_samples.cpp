#include "recording/recording_samples.h"

#include <algorithm>

namespace kymora {

namespace {

constexpr int64_t scansAtOnce = 1 << 14;  // of bytes, which stay near until they are numbers
constexpr float wordRange = 65536.0f;
constexpr int byteMiddle = 128;

template <int stride>
void TakeBytes(const std::byte* from, int64_t count, float* to) {
    for (int64_t i = 0; i < count; ++i)
        to[i] = static_cast<float>(std::to_integer<int>(from[i * stride]) - byteMiddle);
}

BinaryLayout LayoutOf(const RecordingHeader& header) {
    const BinaryType type =
        header.BytesPerSample() == sizeof(int32_t) ? BinaryType::int32 : BinaryType::int16;
    return {static_cast<int>(header.m_nChannels), type, header.m_nDataStart};
}

}  // namespace

CodeScale::CodeScale(const RecordingHeader& header)
    : factor(header.VoltSpan() / static_cast<float>(header.Codes())) {
    if (header.m_nEncoding == twosComplement) {
        signBits = header.m_nResolutionBits;
        offset = header.VoltMid();
    } else {
        isWord = header.BytesPerSample() == sizeof(uint16_t);
        offset = header.m_fVoltLow;
    }
}

void CodeScale::Apply(std::span<float> values) const {
    if (signBits > 0 && signBits < 16) {
        const int above = 32 - signBits;
        for (float& value : values) {
            const auto code = static_cast<uint32_t>(static_cast<int32_t>(value)) << above;
            value = static_cast<float>(static_cast<int32_t>(code) >> above);
        }
    }
    if (isWord)
        for (float& value : values) value = (value + (value < 0.0f ? wordRange : 0.0f)) * factor + offset;
    else
        for (float& value : values) value = value * factor + offset;
}

RecordingSamples::RecordingSamples(const DataFile& file, const RecordingHeader& header)
    : file_(file),
      channels_(static_cast<int>(header.m_nChannels)),
      dataStart_(header.m_nDataStart),
      isWave_(header.IsWave()),
      isBytes_(header.BytesPerSample() == 1),
      numbers_(file, LayoutOf(header)) {
    if (!isWave_) scale_ = CodeScale(header);
}

void RecordingSamples::Read(int64_t from, int64_t count, std::span<const BinaryPiece> pieces) {
    if (isBytes_) return ReadBytes(from, count, pieces);
    if (isWave_) return numbers_.Read(from, count, pieces);
    numbers_.Read(from, count, pieces, [this](std::span<float> values) { scale_.Apply(values); });
}

// Bytes without a sign, around 128.
void RecordingSamples::ReadBytes(int64_t from, int64_t count, std::span<const BinaryPiece> pieces) {
    for (int64_t done = 0; done < count;) {
        const int64_t n = std::min(scansAtOnce, count - done);
        scans_.resize(static_cast<size_t>(n * channels_));
        ReadWhole(file_, dataStart_ + static_cast<uint64_t>((from + done) * channels_), scans_);
        for (const BinaryPiece& piece : pieces) {
            const std::byte* const first = scans_.data() + piece.trace;
            if (channels_ == 1)
                TakeBytes<1>(first, n, piece.to + done);
            else if (channels_ == 2)
                TakeBytes<2>(first, n, piece.to + done);
            else
                for (int64_t i = 0; i < n; ++i) TakeBytes<1>(first + i * channels_, 1, piece.to + done + i);
        }
        done += n;
    }
}

}  // namespace kymora
