#pragma once
// What the view shows as text: the place under the mouse, and the samples in view.

#include <functional>
#include <string>
#include <string_view>

#include "display/plot_context.h"

namespace kymora {

// "t\t1.250\tAx 1\t0.310\r\n" of a pixel; the time alone where no band lies under it, and nothing outside of
// the plot.
std::string TimeAndVoltageText(const PlotContext& context, int x, int y);

// The samples of the viewport, from the first at or after its start to the last at or before its end: a
// heading with the label of each shown axis, then a line for each sample with its time in ms and the values.
// A trace that shares the axis of another has a column of its own, headed by its own axis label. In a gap the
// text has what the view shows: 0 while inactive sections are shown, and else nothing before the tab.
class TraceText {
  public:
    explicit TraceText(const PlotContext& context);

    int64_t LineCount() const { return end_ - first_; }
    // Hands the text to `sink` piece by piece. Shows progress; throws Cancelled and FileError.
    void Write(const std::function<void(std::string_view)>& sink) const;

  private:
    std::string Heading() const;

    CDataDoc& doc_;
    bool showsGaps_;
    std::vector<int> traces_;      // in the order of their axes
    int64_t first_ = 0, end_ = 0;  // samples; the end is exclusive
};

// The same in a file, which takes its place by rename. Throws FileError and Cancelled.
void SaveTraceText(const PlotContext& context, const std::filesystem::path& out);

}  // namespace kymora
