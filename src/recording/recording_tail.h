#pragma once
// What stands behind the samples of a recording file: comment, viewport, the settings of its channels,
// markers, annotations and events.

#include <array>

#include "document/metadata_io.h"
#include "recording/recording_header.h"

namespace kymora {

// What a tail holds that no other part of the program knows. It is kept as it was read and written back.
struct RecordingTailState {
    RecordingTailState();

    // Board layout, of each channel.
    std::array<uint32_t, mostRecordingChannels> identity{};
    std::array<float, mostRecordingChannels> scale{};
    // Wave layout: the settings of time axis and view, ten fields of the view, its scale and its state.
    std::array<uint32_t, 12> waveView{};
    float waveViewScale = 1.0f;
    uint32_t waveViewState = 0;
};

// The words at its beginning and its end.
inline constexpr const char* dataEndMark = "end of data";
inline constexpr const char* fileEndMark = "end of file";

// Fills the model, of which channels and length are known, with the tail at the archive's place, and the time
// of start, which the wave layout keeps there. The strings that mark its parts are not compared. Throws
// ArchiveError; the model is then partly filled. While the archive is skimming, nothing of it counts.
void LoadRecordingTail(CArchive& archive, CDataDoc& doc, RecordingHeader& header, RecordingTailState& state);

// Writes the tail of the model. A part begins at its own time 0 and is shown whole.
void StoreRecordingTail(CArchive& archive, const CDataDoc& doc, const RecordingHeader& header,
                        const RecordingTailState& state, const metadata::StoredPart& part);

}  // namespace kymora
