#pragma once
// How channels and the times of events are written for the user.

#include <string>

#include "display/plot_context.h"

namespace kymora {

// The channel's letter, or its number (from 0) while the interface offers numbers.
std::string EventChannelText(const Session& session, int channel);
// With its label behind it: "c: spikes".
std::string EventChannelTitle(const PlotContext& context, int channel);

// In the view's unit of time: "12.500 ms".
std::string TimeText(const PlotContext& context, double timeMs);
std::string PositionText(const PlotContext& context, int64_t position);
// "1 event", "25 events".
std::string CountText(int64_t count);

}  // namespace kymora
