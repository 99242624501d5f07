#pragma once
// The samples of a recording: codes of a converter become volts, or the numbers of the wave layout f32.

#include <cstdint>
#include <optional>
#include <span>

#include "document/binary_samples.h"
#include "recording/recording_header.h"

namespace kymora {

// How the codes of a recording become its values; none where the numbers are the values.
std::optional<CodeScale> ScaleOf(const RecordingHeader& header);

class RecordingSamples {
  public:
    // The file must outlive it.
    RecordingSamples(const DataFile& file, const RecordingHeader& header,
                     InstructionSet widest = WidestInstructionSet());

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
    std::optional<CodeScale> scale_;
    BinarySampleReader numbers_;
};

}  // namespace kymora
