#pragma once
// What a foreign file told by itself when it was read, apart from what the user has added: what a later look
// at the file, which another program may still write, is held against (import/reload.h).

#include <compare>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "events/event_chan.h"

namespace kymora {

struct FileFacts {
    struct Trace {
        std::string label, units;
        bool operator==(const Trace&) const = default;
    };
    // Enough of an event to know it again.
    struct Event {
        int32_t on = 0;
        uint32_t label = 0;  // hash
        int32_t off = 0;
        auto operator<=>(const Event&) const = default;
        static Event Of(const CEventKM& event);
    };
    struct Channel {
        int number = 0;               // of the channel that the file gives
        std::string label{};          // as the file has it
        int place = 0;                // the channel of the recording to which its events go
        std::vector<Event> events{};  // ascending
    };

    std::vector<Trace> traces{};
    std::vector<Channel> channels{};  // that have events
    bool knowsAllEvents = true;       // not where some were not looked for
    // Sum of so many stored samples from the beginning of each trace on.
    int64_t beginningSamples = 0;
    std::optional<uint64_t> beginning{};

    void AddChannel(int number, std::string_view label, std::span<const CEventKM> events);
    // Puts these in the place of the channels.
    void TakeChannels(const std::vector<CEventChan>& from);
};

}  // namespace kymora
