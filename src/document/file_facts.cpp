#include "document/file_facts.h"

#include <algorithm>

#include "numerics/fnv.h"

namespace kymora {

FileFacts::Event FileFacts::Event::Of(const CEventKM& event) {
    const uint64_t sum = Fnv1a().Add(event.eventLabel.View()).Value();
    return {event.onPosition, static_cast<uint32_t>(sum ^ (sum >> 32)), event.offPosition};
}

void FileFacts::AddChannel(int number, std::string_view label, std::span<const CEventKM> events) {
    if (events.empty()) return;
    Channel& channel = channels.emplace_back(Channel{number, std::string(label), number});
    channel.events.reserve(events.size());
    for (const CEventKM& event : events) channel.events.push_back(Event::Of(event));
    std::sort(channel.events.begin(), channel.events.end());
}

void FileFacts::TakeChannels(const std::vector<CEventChan>& from) {
    channels.clear();
    for (size_t c = 0; c < from.size(); ++c)
        AddChannel(static_cast<int>(c), from[c].channelLabel, from[c].Events());
}

}  // namespace kymora
