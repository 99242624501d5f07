#pragma once
// Events of one or several channels that overlap become one.

#include <vector>

#include "eventedit/logic_of_events.h"

namespace kymora {

// Ascending by onset. An event joins the one before it when it begins before the end that this has got so
// far; events that only touch stay two. What has been joined keeps value, label, tag and colour of its first
// event; of those that begin together, that of the earlier channel. Channels may be out of order.
std::vector<CEventKM> MergeOverlaps(std::span<const EventSpan> sources);

}  // namespace kymora
