#include "display/events/event_text.h"

#include <fmt/format.h>

#include "drawing/number_labels.h"

namespace kymora {

std::string EventChannelText(const Session& session, int channel) {
    return session.options.eventChannelMode == letterChannels ? ChannelName(channel)
                                                              : std::to_string(channel);
}

std::string EventChannelTitle(const PlotContext& context, int channel) {
    const std::string& label = context.doc.eventChannels[static_cast<size_t>(channel)].channelLabel;
    const std::string name = EventChannelText(context.GetSession(), channel);
    return label.empty() ? name : name + ": " + label;
}

std::string TimeText(const PlotContext& context, double timeMs) {
    constexpr int decimals = 3;  // fine enough to tell neighbouring samples apart
    return TimeInUnit(timeMs, context.settings.m_nTimeUnit, decimals);
}

std::string PositionText(const PlotContext& context, int64_t position) {
    return TimeText(context, context.doc.TimeOf(position));
}

std::string CountText(int64_t count) { return count == 1 ? "1 event" : fmt::format("{} events", count); }

}  // namespace kymora
