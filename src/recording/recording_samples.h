#pragma once
// The samples of a recording: codes of a converter become volts, or the numbers of the wave layout f32.

#include <cstdint>
#include <span>

#include "document/binary_samples.h"
#include "recording/recording_header.h"

namespace kymora {

// How a code becomes volts: the low bits that count, taken as a number with a sign or without, times
// `factor`, plus `offset`, in single precision and in this order.
struct CodeScale {
    CodeScale() = default;
    explicit CodeScale(const RecordingHeader& header);

    int signBits = 0;     // two's complement of so many bits; 0: a plain number
    bool isWord = false;  // codes of two bytes without a sign
    float factor = 1.0f;
    float offset = 0.0f;

    // In place: `values` are the codes, as numbers with a sign of the width that they have in the file.
    void Apply(std::span<float> values) const;
};

class RecordingSamples {
  public:
    // The file must outlive it.
    RecordingSamples(const DataFile& file, const RecordingHeader& header);

    // Reads scans from `from` on into pieces of one length, each with its trace and its values. Throws as
    // Read.
    template <typename Piece>
    void ReadPieces(int64_t from, std::span<const Piece> pieces) {
        if (pieces.empty()) return;
        std::vector<BinaryPiece> parts;
        for (const Piece& piece : pieces) parts.push_back({piece.trace, piece.values.data()});
        Read(from, static_cast<int64_t>(pieces[0].values.size()), parts);
    }
    // Reads `count` scans from scan `from` on into the pieces, all of this length. Throws FileError, also
    // where the file ends before.
    void Read(int64_t from, int64_t count, std::span<const BinaryPiece> pieces);

  private:
    void ReadBytes(int64_t from, int64_t count, std::span<const BinaryPiece> pieces);

    const DataFile& file_;
    int channels_;
    uint64_t dataStart_;
    bool isWave_, isBytes_;  // samples of one byte
    CodeScale scale_;
    BinarySampleReader numbers_;
    std::vector<std::byte> scans_;
};

}  // namespace kymora
