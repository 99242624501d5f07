#include "display/events/event_text.h"

#include <fmt/format.h>

#include "drawing/number_labels.h"

namespace kymora {

std::string EventChannelText(const Session& session, int channel) {
    return session.options.eventChannelMode == letterChannels ? ChannelName(channel)
                                                              : std::to_string(channel);
}

std::string EventChannelTitle(const CKymoraView& view, int channel) {
    const std::string& label = view.GetDocument().eventChannels[static_cast<size_t>(channel)].channelLabel;
    const std::string name = EventChannelText(view.GetSession(), channel);
    return label.empty() ? name : name + ": " + label;
}

std::string TimeText(const CKymoraView& view, double timeMs) {
    // Fine enough to tell neighbouring samples apart.
    const int decimals = view.m_nTimeUnit == 0 ? 3 : 6;
    return fmt::format("{:.{}f} {}", timeMs / TimeUnitFactor(view.m_nTimeUnit), decimals,
                       TimeUnitName(view.m_nTimeUnit));
}

std::string PositionText(const CKymoraView& view, int64_t position) {
    return TimeText(view, view.GetDocument().TimeOf(position));
}

std::string CountText(int64_t count) { return count == 1 ? "1 event" : fmt::format("{} events", count); }

}  // namespace kymora
