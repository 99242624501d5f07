#pragma once
// What a view remembers while another thread reads the bins of its viewport.

#include "display/display_cache.h"
#include "display/viewport_history.h"
#include "summaries/summary_service.h"

namespace kymora {

struct ViewReload {
    BinTicket ticket = noTicket;
    double start = 0.0;  // ms; of the bins that are read
    int level = 0;
    double share = 0.0;
    // What a cancel puts back; nothing when the view has shown nothing exact yet.
    std::optional<Viewport> before;
    DisplayCache cacheBefore;
    ViewportHistory historyBefore;
};

}  // namespace kymora
