#include "exchange/channel_block.h"

#include <cstring>
#include <type_traits>

#include "archive/text_encoding.h"

namespace kymora {

namespace {

// With empty texts.
constexpr size_t leastChannelBytes = 5 * 4;
constexpr size_t leastEventBytes = 6 * 4;

class BlockWriter {
  public:
    template <typename T>
    void Put(std::type_identity_t<T> value) {
        static_assert(sizeof(T) == 4);
        const auto bytes = std::as_bytes(std::span(&value, 1));
        block_.insert(block_.end(), bytes.begin(), bytes.end());
    }
    void PutText(std::string_view text) {
        const std::u16string units = TextToWide(text);
        Put<int32_t>(static_cast<int32_t>(units.size()));
        const auto bytes = std::as_bytes(std::span(units));
        block_.insert(block_.end(), bytes.begin(), bytes.end());
    }
    std::vector<std::byte> Take() { return std::move(block_); }

  private:
    std::vector<std::byte> block_;
};

class BlockReader {
  public:
    explicit BlockReader(std::span<const std::byte> block) : rest_(block) {}

    template <typename T>
    T Get() {
        static_assert(sizeof(T) == 4);
        T value;
        std::memcpy(&value, Take(sizeof value).data(), sizeof value);
        return value;
    }
    std::string GetText() {
        const int32_t count = GetCount(sizeof(char16_t));
        std::u16string units(static_cast<size_t>(count), u'\0');
        const auto bytes = Take(units.size() * sizeof(char16_t));
        if (!bytes.empty()) std::memcpy(units.data(), bytes.data(), bytes.size());
        return WideToText(units);
    }
    // A count of items of at least `leastBytes` each, which the rest of the block can hold.
    int32_t GetCount(size_t leastBytes) {
        const auto count = Get<int32_t>();
        if (count < 0 || static_cast<uint64_t>(count) * leastBytes > rest_.size())
            throw ArchiveError("The block of event channels is damaged: it states more than it holds.");
        return count;
    }

  private:
    std::span<const std::byte> Take(size_t bytes) {
        if (bytes > rest_.size())
            throw ArchiveError("The block of event channels is damaged: it ends too early.");
        const auto taken = rest_.first(bytes);
        rest_ = rest_.subspan(bytes);
        return taken;
    }

    std::span<const std::byte> rest_;
};

void PutChannel(BlockWriter& to, const CEventChan& chan) {
    to.PutText(chan.channelLabel);
    to.PutText(chan.channelComment);
    to.Put<uint32_t>(chan.channelColour);
    to.Put<uint32_t>(chan.channelColourAlt);
    to.Put<int32_t>(chan.GetNumEvents());
    for (const CEventKM& event : chan.Events()) {
        to.Put<int32_t>(event.onPosition);
        to.Put<int32_t>(event.offPosition);
        to.Put<float>(event.eventValue);
        to.PutText(event.eventLabel);
        to.Put<int32_t>(event.eventTag);
        to.Put<uint32_t>(event.eventColour);
    }
}

BlockChannel GetChannel(BlockReader& from) {
    BlockChannel channel;
    channel.channelLabel = from.GetText();
    channel.channelComment = from.GetText();
    channel.channelColour = from.Get<uint32_t>();
    channel.channelColourAlt = from.Get<uint32_t>();
    const int32_t count = from.GetCount(leastEventBytes);
    channel.events.reserve(static_cast<size_t>(count));
    for (int32_t i = 0; i < count; ++i) {
        CEventKM event;
        event.onPosition = from.Get<int32_t>();
        event.offPosition = from.Get<int32_t>();
        event.eventValue = from.Get<float>();
        event.eventLabel = EventLabel(from.GetText());
        event.eventTag = from.Get<int32_t>();
        event.eventColour = from.Get<uint32_t>();
        channel.events.push_back(std::move(event));
    }
    return channel;
}

}  // namespace

std::vector<std::byte> EncodeChannelBlock(const CDataDoc& doc, std::span<const int> channels) {
    BlockWriter to;
    to.Put<int32_t>(static_cast<int32_t>(channels.size()));
    for (const int channel : channels) PutChannel(to, doc.eventChannels[static_cast<size_t>(channel)]);
    return to.Take();
}

int32_t ChannelBlockCount(std::span<const std::byte> block) { return BlockReader(block).Get<int32_t>(); }

std::vector<BlockChannel> DecodeChannelBlock(std::span<const std::byte> block) {
    BlockReader from(block);
    const int32_t count = from.GetCount(leastChannelBytes);
    std::vector<BlockChannel> channels;
    for (int32_t i = 0; i < count; ++i) channels.push_back(GetChannel(from));
    return channels;
}

bool BeginsAsChannelBlock(std::span<const std::byte> head) {
    return head.size() >= 4 && head[2] == std::byte{0} && head[3] == std::byte{0};
}

}  // namespace kymora
