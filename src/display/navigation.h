#pragma once
// How a stretch of a recording is left for another one: pages, steps and zooms, from what is shown and what
// there is. A view counts in ms, a preview in samples.

#include <limits>

#include "drawing/viewport.h"

namespace kymora {

class Navigation {
  public:
    Viewport shown;
    double end = 0.0;                                           // of the recording
    double step = 0.0;                                          // of LeftPercent and RightPercent
    bool keepsLeftEdge = false;                                 // zooming does, else it keeps the middle
    double sample = 1.0;                                        // from one to the next
    int pixels = 0;                                             // of the plot
    double longest = std::numeric_limits<double>::infinity();   // that Compress goes to
    double farthest = std::numeric_limits<double>::infinity();  // that may be seen

    // Zooming ends where a sample fills a thousand windows, or all samples there can be fill one.
    bool Allows(Viewport viewport) const {
        return viewport.start >= 0.0 && viewport.Duration() >= Shortest() && viewport.end <= farthest;
    }
    double Shortest() const { return sample / 1000.0; }
    // Scrolling on ends where the last sample is in view.
    bool HasMoreBehind() const { return shown.end < end; }
    // What the searches start from, and zooming keeps: the middle, or the left edge.
    double Reference() const { return keepsLeftEdge ? shown.start : (shown.start + shown.end) / 2.0; }

    // --- the start after a move that keeps the length; it may lie before 0 ---
    double LeftPage() const { return shown.start - shown.Duration(); }
    double RightPage() const { return shown.end; }
    double LeftPercent() const { return shown.start - step; }
    double RightPercent() const { return shown.start + step; }
    double GoToStart() const { return 0.0; }
    double GoToEnd() const { return end - shown.Duration(); }

    // --- what is shown after a zoom ---
    Viewport Compress() const;
    Viewport Expand() const;
    Viewport OneToOne() const { return {shown.start, shown.start + sample * pixels}; }
    Viewport ShowAll() const { return {0.0, std::max(end, sample)}; }
    // Where the recording ended at `before`, and its end was seen: the stretch that ends with it now, as long
    // as it was, or all of it where all was seen. Else what is shown.
    Viewport FollowEnd(double before) const;
    Viewport OfLength(double length) const;  // with the same left edge or middle
    // The time stays at its place; a factor below 1 shows less time.
    Viewport Around(double time, double factor) const;
};

}  // namespace kymora
