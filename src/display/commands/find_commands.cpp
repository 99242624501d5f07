// The commands that look for the next marker or annotation.

#include <cmath>
#include <limits>
#include <optional>

#include "display/commands/command_tables.h"

namespace kymora {

using namespace commands;

namespace {

constexpr std::string_view findMenu = "F&ind";

// Scrolling puts a time at the reference to within the rounding of a few operations.
double Tolerance(double reference) {
    return 1e-6 + 8.0 * std::numeric_limits<double>::epsilon() * std::fabs(reference);
}

// Scrolls so that a time stands at the reference; a viewport that would start below 0 is not shown.
void ShowAtReference(CKymoraView& view, double timeMs) {
    const double start = timeMs - (view.GetNavigation().Reference() - view.m_StartTime);
    if (start >= 0.0) view.SetStartTime(start);
}

// The nearest of the offered times behind the reference, or ahead of it. What stands at the reference is not
// found again.
class NearestTime {
  public:
    NearestTime(double reference, bool forward)
        : reference_(reference + (forward ? 1.0 : -1.0) * Tolerance(reference)), forward_(forward) {}
    void Offer(double timeMs) {
        const bool isBeyond = forward_ ? timeMs > reference_ : timeMs < reference_;
        if (!isBeyond || !std::isfinite(timeMs)) return;
        if (!found_ || (forward_ ? timeMs < *found_ : timeMs > *found_)) found_ = timeMs;
    }
    std::optional<double> Found() const { return found_; }

  private:
    double reference_;
    bool forward_;
    std::optional<double> found_;
};

template <bool forward>
void FindMarker(const CommandContext& context) {
    NearestTime nearest(context.view.GetNavigation().Reference(), forward);
    for (const CMarker& marker : context.view.GetDocument().markers) nearest.Offer(marker.m_dTime);
    if (const auto time = nearest.Found()) ShowAtReference(context.view, *time);
}

template <bool forward>
void FindAnnotation(const CommandContext& context) {
    NearestTime nearest(context.view.GetNavigation().Reference(), forward);
    for (const auto& list : context.view.GetDocument().traceAnnotations)
        for (const CAnnotation& annotation : list) nearest.Offer(annotation.m_dTime);
    if (const auto time = nearest.Found()) ShowAtReference(context.view, *time);
}

bool HasMarkers(const CKymoraView& view) { return !view.GetDocument().markers.empty(); }

bool HasAnnotations(const CKymoraView& view) {
    const auto& lists = view.GetDocument().traceAnnotations;
    return std::any_of(lists.begin(), lists.end(), [](const auto& list) { return !list.empty(); });
}

}  // namespace

// clang-format off
CommandTable FindCommands() {
    CommandTable table{
        {"next-marker", findMenu, "Next marker\tCtrl+m", "Scrolls to the next marker behind the middle of the view, or behind its left edge where zooming keeps that", HasMarkers, nullptr, FindMarker<true>},
        {"prev-marker", findMenu, "Prev marker\tAlt+m", "Scrolls to the marker ahead of the middle of the view, or ahead of its left edge where zooming keeps that", HasMarkers, nullptr, FindMarker<false>},
        {"next-annotation", findMenu, "Next annotation\tCtrl+a", "Scrolls to the next annotation of a trace", HasAnnotations, nullptr, FindAnnotation<true>, group},
        {"prev-annotation", findMenu, "Prev annotation\tAlt+a", "Scrolls to the annotation of a trace before this one", HasAnnotations, nullptr, FindAnnotation<false>},
    };
    for (Command& command : FindEventCommands()) {
        command.menu = findMenu;
        table.push_back(command);
    }
    return table;
}
// clang-format on

}  // namespace kymora
