#include "display/viewport_history.h"

namespace kymora {

namespace {

constexpr size_t mostSteps = 100;

// Sums and differences of times leave the last bits of a length open.
bool HasLengthOf(Viewport a, Viewport b) {
    return std::fabs(a.Duration() - b.Duration()) <= 1e-9 * std::max(std::fabs(a.end), std::fabs(b.end));
}

}  // namespace

void ViewportHistory::Moved(Viewport from, Viewport to) {
    if (from == to) return;
    const bool scrolls = HasLengthOf(from, to);
    const bool goesOn = scrolls && isScrolling_ && !back_.empty();
    isScrolling_ = scrolls;
    forward_.clear();
    if (goesOn) return;
    back_.push_back(from);
    if (back_.size() > mostSteps) back_.erase(back_.begin());
}

std::optional<Viewport> ViewportHistory::Step(std::vector<Viewport>& from, std::vector<Viewport>& to,
                                              Viewport shown) {
    if (from.empty()) return {};
    const Viewport found = from.back();
    from.pop_back();
    to.push_back(shown);
    isScrolling_ = false;
    return found;
}

}  // namespace kymora
