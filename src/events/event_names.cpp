#include "events/event_chan.h"
#include "host/session.h"

namespace kymora {
namespace {

struct MethodNames {
    const char* method;
    const char* value;
};

constexpr MethodNames methodNames[methodCount] = {
    {"default/manual", "Variable"},
    {"fixed template", "Template error"},
    {"adaptive template", "Template error"},
    {"scaled template", "Template error"},
    {"threshold", "Variable"},
    {"Poisson surprise", "Surprise"},
    {"Rank surprise", "Surprise"},
    {"Manual burst", "Variable"},
    {"point process", "Variable"},
    {"outlier", "Variable"},
    {"hill-valley", "Variable"},
    {"hill", "Variable"},
    {"rhythm in events", "Variable"},
    {"activity level", "Variable"},
    {"rhythm in data", "Rhythm period"},
    {"carrier frequency", "Carrier freq"},
    {"multi-trace template", "Variable"},
    {"multi-trace scaled template", "Variable"},
    {"detect latency", "Variable"},
    {"detect phase", "Variable"},
};

// A code of a later program goes by the names of code 0.
const MethodNames& NamesOf(int32_t method) {
    return methodNames[method >= 0 && method < methodCount ? method : methodManual];
}

bool HasLetter(int channel) { return channel >= 0 && channel < letterChannels; }

}  // namespace

const char* CEventChan::GetDetectionMethodName() const { return NamesOf(detectionMethod).method; }

const char* CEventChan::GetValueName() const { return NamesOf(detectionMethod).value; }

std::string ChannelDisplayName(int channel) {
    return HasLetter(channel) ? ChannelName(channel) + " (" + std::to_string(channel + 1) + ")"
                              : ChannelName(channel);
}

std::string ChannelListName(int channel) {
    return HasLetter(channel) ? ChannelName(channel) + " / " + std::to_string(channel + 1)
                              : ChannelName(channel);
}

std::string EventOrderMessage(EventOrderFault fault) {
    if (fault == EventOrderFault::none) return {};
    const std::string opening =
        "If you see this message please e-mail the author\n(see Help for the address)\n";
    return opening + (fault == EventOrderFault::negativePosition
                          ? "reporting that events have negative positions. Thank you."
                          : "reporting that events are out of order on loading. Thank you.");
}

}  // namespace kymora
