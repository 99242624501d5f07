#pragma once
// The viewports that were shown before, so that a zoom or a jump can be taken back. Scrolling on and on is
// one step: the way back leads to where it began.

#include <optional>
#include <vector>

#include "drawing/viewport.h"

namespace kymora {

class ViewportHistory {
  public:
    bool CanGoBack() const { return !back_.empty(); }
    bool CanGoForward() const { return !forward_.empty(); }

    // The view moved by a command.
    void Moved(Viewport from, Viewport to);
    // The viewport to show instead of `shown`; the caller shows it without telling Moved.
    std::optional<Viewport> Back(Viewport shown) { return Step(back_, forward_, shown); }
    std::optional<Viewport> Forward(Viewport shown) { return Step(forward_, back_, shown); }

  private:
    std::optional<Viewport> Step(std::vector<Viewport>& from, std::vector<Viewport>& to, Viewport shown);

    std::vector<Viewport> back_, forward_;
    bool isScrolling_ = false;  // the last move kept the length
};

}  // namespace kymora
