#pragma once
// Event channels as one block of memory, in which the clipboard carries them (eventChansFormat): i32 count of
// channels; for each its label, comment and two colours, i32 count of events, and each event with on, off,
// f32 value, label, i32 tag and u32 colour. A text is an i32 count and that many UTF-16 units. All is
// little-endian. Positions are samples of the recording that the block comes from.

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "document/data_doc.h"

namespace kymora {

struct BlockChannel {
    std::string channelLabel;
    std::string channelComment;
    uint32_t channelColour = 0;
    uint32_t channelColourAlt = 0;
    std::vector<CEventKM> events;
};

std::vector<std::byte> EncodeChannelBlock(const CDataDoc& doc, std::span<const int> channels);

// The count with which a block begins; throws ArchiveError where the block is too short for one.
int32_t ChannelBlockCount(std::span<const std::byte> block);
// Throws ArchiveError for a block that ends before what its counts promise. What stands behind the last
// channel is passed over: the memory of a clipboard may be rounded up.
std::vector<BlockChannel> DecodeChannelBlock(std::span<const std::byte> block);

// Whether a file that begins with these bytes holds a block rather than text: no text has zeros in its third
// and fourth byte, and no block so many channels that it has none there.
bool BeginsAsChannelBlock(std::span<const std::byte> head);

}  // namespace kymora
