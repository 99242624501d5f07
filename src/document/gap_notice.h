#pragma once
// What the user is told once when a recording with gaps opens.

#include "host/host.h"

namespace kymora {

void NoticeGaps(Host& host);

}  // namespace kymora
