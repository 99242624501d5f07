#include "display/trace_drawing.h"

#include "display/overlays/overlay_fonts.h"

namespace kymora {

namespace {

constexpr int divisions = 8;
constexpr std::array<int, 4> dotRadius{0, 2, 4, 6};
constexpr int loneRadius = 2;

// The line of one trace. Its pen may change from segment to segment; what is drawn with one pen goes to the
// device in one piece.
class TraceLine {
  public:
    // `marksLone` draws a sample without a neighbour as a dot that can be seen.
    TraceLine(DrawDevice& device, Pen pen, bool marksLone)
        : device_(device), tracePen_(pen), pen_(pen), marksLone_(marksLone) {}
    ~TraceLine() { Flush(); }

    bool HasPosition() const { return !points_.empty(); }
    // The line is interrupted; the next point begins another.
    void Break() {
        Flush();
        points_.clear();
    }
    void MoveTo(int x, int y) {
        Break();
        points_.push_back({x, y});
    }
    void LineTo(int x, int y, const Pen& pen) {
        if (pen != pen_) {
            Flush();
            points_.erase(points_.begin(), points_.end() - 1);
            pen_ = pen;
        }
        points_.push_back({x, y});
    }

  private:
    void Flush() {
        if (points_.size() < 2 || pen_.style == Pen::Style::null) return;
        if (marksLone_ && pen_ == tracePen_ && points_.size() == 2 && points_[0] == points_[1]) {
            const int radius = std::max(loneRadius, pen_.width / 2);
            const auto [x, y] = points_[0];
            return device_.FillEllipse({x - radius, y - radius, x + radius, y + radius}, pen_.colour);
        }
        device_.SetPen(pen_);
        device_.Polyline(points_);
    }

    DrawDevice& device_;
    Pen tracePen_, pen_;
    bool marksLone_;
    std::vector<Point> points_;
};

class TracePainter {
  public:
    TracePainter(DrawDevice& device, const TraceLook& look, const TraceBins& bins, const TimeScale& times,
                 const AxisScale& values)
        : device_(device), look_(look), bins_(bins), times_(times), values_(values) {
        inactive_ = {inactiveColour, 1, look.showsInactive ? Pen::Style::solid : Pen::Style::null};
    }

    void Paint() const {
        if (look_.drawAsDots)
            PaintDots();
        else
            PaintLines();
    }

  private:
    bool IsPastEnd(size_t bin) const {
        return bins_.low[bin] != bins_.low[bin] || bins_.high[bin] != bins_.high[bin];
    }
    bool IsEmpty(size_t bin) const { return bins_.low[bin] > bins_.high[bin]; }
    bool IsActive(size_t bin) const { return bins_.active.empty() || bins_.active[bin] != 0; }
    int X(size_t bin) const {
        return bins_.x.empty() ? times_.ToPixel(static_cast<double>(bin) * bins_.step + bins_.start)
                               : bins_.x[bin];
    }
    size_t EndOfColumn(size_t bin, int x) const;
    void PaintColumn(TraceLine& line, size_t bin, size_t end, int x) const;

    void PaintLines() const;
    void DrawToZero(TraceLine& line, size_t bin) const;
    void PaintDots() const;
    void Dot(int x, int y, uint32_t colour) const;

    DrawDevice& device_;
    const TraceLook& look_;
    const TraceBins& bins_;
    const TimeScale& times_;
    const AxisScale& values_;
    Pen inactive_;
};

void TracePainter::PaintLines() const {
    const Pen& pen = look_.pen;
    TraceLine line(device_, pen, bins_.areSamples);
    bool previousActive = false;
    for (size_t bin = bins_.first; bin < bins_.end; ++bin) {
        if (bins_.active.empty())
            if (const size_t end = EndOfColumn(bin, X(bin)); end > bin + 1) {
                PaintColumn(line, bin, end, X(bin));
                bin = end - 1;
                continue;
            }
        if (IsPastEnd(bin)) {
            if (look_.showsInactive) DrawToZero(line, bin);
            return;
        }
        if (IsEmpty(bin)) {
            line.Break();
            continue;
        }
        const bool active = IsActive(bin);
        const int x = X(bin), bottom = values_.ToPixel(bins_.low[bin]);
        const int top = bins_.high[bin] == bins_.low[bin] ? bottom : values_.ToPixel(bins_.high[bin]);
        if (!line.HasPosition())
            line.MoveTo(x, bottom);
        else
            line.LineTo(x, bottom, active && previousActive ? pen : inactive_);
        line.LineTo(x, top, active ? pen : inactive_);
        previousActive = active;
    }
}

// The bins from one on that lie in its pixel column and hold values.
size_t TracePainter::EndOfColumn(size_t bin, int x) const {
    while (bin < bins_.end && bins_.low[bin] <= bins_.high[bin] && X(bin) == x) ++bin;
    return bin;
}

// The same pixels as the lines of its bins in turn: the first, the extremes and the last.
void TracePainter::PaintColumn(TraceLine& line, size_t bin, size_t end, int x) const {
    const float low = *std::min_element(&bins_.low[bin], &bins_.low[bin] + (end - bin));
    const float high = *std::max_element(&bins_.high[bin], &bins_.high[bin] + (end - bin));
    const int first = values_.ToPixel(bins_.low[bin]);
    if (line.HasPosition())
        line.LineTo(x, first, look_.pen);
    else
        line.MoveTo(x, first);
    for (const float value : {low, high, bins_.high[end - 1]})
        line.LineTo(x, values_.ToPixel(value), look_.pen);
}

void TracePainter::DrawToZero(TraceLine& line, size_t bin) const {
    const int zero = values_.ToPixel(0.0);
    if (line.HasPosition())
        line.LineTo(X(bin), zero, inactive_);
    else
        line.MoveTo(X(bin), zero);
    line.LineTo(times_.ToPixel(bins_.until), zero, inactive_);
}

void TracePainter::PaintDots() const {
    for (size_t bin = bins_.first; bin < bins_.end; ++bin) {
        if (IsPastEnd(bin)) {
            TraceLine line(device_, look_.pen, false);
            if (look_.showsInactive) DrawToZero(line, bin);
            return;
        }
        const bool active = IsActive(bin);
        if (IsEmpty(bin) || (!active && !look_.showsInactive)) continue;
        const uint32_t colour = active ? look_.pen.colour : inactive_.colour;
        Dot(X(bin), values_.ToPixel(bins_.low[bin]), colour);
        if (bins_.low[bin] != bins_.high[bin]) Dot(X(bin), values_.ToPixel(bins_.high[bin]), colour);
    }
}

void TracePainter::Dot(int x, int y, uint32_t colour) const {
    const int radius = dotRadius[static_cast<size_t>(std::clamp(look_.dotSize, 0, 3))];
    if (radius == 0)
        device_.SetPixel(x, y, colour);
    else
        device_.FillEllipse({x - radius, y - radius, x + radius, y + radius}, colour);
}

// --- a trace of a view ---

PixelRect ClipOf(const PixelRect& rect) { return {rect.left, rect.top, rect.right + 1, rect.bottom + 1}; }

// The rows of the axis limits, or the whole band.
PixelRect ClipBand(const PlotContext& context, int axis) {
    PixelRect band = context.BandOf(axis);
    if (context.settings.m_nClipMode != 1) {
        band.top -= context.layout.axisGap;
        band.bottom += context.layout.axisGap - 1;
    }
    return band;
}

TraceBins BinsOf(const PlotContext& context, int trace, std::span<const int> x) {
    const DisplayCache& cache = context.bins;
    const auto range = cache.BinsOf(context.viewport);
    TraceBins bins{cache.Min(trace), cache.Max(trace), cache.Active(trace)};
    bins.first = static_cast<size_t>(range.first);
    bins.end = static_cast<size_t>(range.end);
    bins.start = cache.m_DatStartTime;
    bins.step = cache.BinTime();
    bins.until = context.viewport.end;
    bins.areSamples = cache.m_nCacheLevel <= 0;
    bins.x = x;
    return bins;
}

void DrawTraceOf(const PlotContext& context, DrawDevice& device, int trace, std::span<const int> x) {
    const TimeScale times = context.GetTimeScale();
    const auto t = static_cast<size_t>(trace);
    const int axis = context.AxisOf(trace);
    const TraceFormat& format = context.settings.m_format[t];
    if (context.bins.Min(trace).size() != binCount || !times.IsUsable() || context.bins.m_DatStartTime < 0.0)
        return;
    if (format.clipToAxis) device.SetClip(ClipOf(ClipBand(context, axis)));
    DrawTraceBins(device,
                  {{context.Seen(context.doc.traces[t].traceColour), format.lineWidth},
                   format.drawAsDots,
                   format.dotSize,
                   context.settings.m_bInactiveSections},
                  BinsOf(context, trace, x), times, context.GetValueScale(axis));
    if (format.clipToAxis) device.SetClip(ClipOf(context.layout.plot));
}

void DrawZeroLines(const PlotContext& context, DrawDevice& device) {
    constexpr int leastHeight = 24;
    const uint32_t paper = context.settings.m_crBackground;
    device.SetPen({Blend(paper, InkOn(paper), 0.2)});
    for (const int axis : context.shownAxes) {
        const CVertAxis& limits = context.settings.m_axes[static_cast<size_t>(axis)];
        const auto [low, high] = std::minmax(limits.m_dMin, limits.m_dMax);
        if (!(low < 0.0 && high > 0.0) || context.BandOf(axis).Height() < leastHeight) continue;
        const int y = context.ValueToPixel(0.0, axis);
        device.Line(context.layout.plot.left, y, context.layout.plot.right, y);
    }
}

}  // namespace

void DrawTraceBins(DrawDevice& device, const TraceLook& look, const TraceBins& bins, const TimeScale& times,
                   const AxisScale& values) {
    TracePainter(device, look, bins, times, values).Paint();
}

uint32_t FrameColourOn(const PlotContext& context, uint32_t paper) {
    const bool isClassic = context.GetSession().options.palette != static_cast<int>(Palette::even);
    return isClassic && !IsDarkPaper(paper) ? frameColour : Blend(paper, InkOn(paper), 0.3);
}

void DrawFrameAndGrid(const PlotContext& context, DrawDevice& device) {
    const PixelRect& plot = context.layout.plot;
    if (plot.Width() <= 0 || plot.Height() <= 0) return;
    const uint32_t paper = context.settings.m_crBackground;
    if (context.settings.m_bShowGrid) {
        DrawZeroLines(context, device);
        device.SetPen(
            {IsDarkPaper(paper) ? Blend(paper, gridColour, 0.25) : gridColour, 1, Pen::Style::dashed});
        if (context.settings.m_fDataArea > 0.0f)
            for (const int axis : context.shownAxes) {
                const PixelRect band = context.BandOf(axis);
                device.Line(plot.left, band.top, plot.right, band.top);
                device.Line(plot.left, band.bottom, plot.right, band.bottom);
            }
        for (int i = 1; i < divisions; ++i) {
            const int x = plot.left + plot.Width() * i / divisions;
            device.Line(x, plot.top, x, plot.bottom);
        }
    }
    if (!context.settings.m_bShowAxes) return;
    device.SetPen({FrameColourOn(context, paper)});
    device.Frame(plot);
}

void DrawTraces(const PlotContext& context, DrawDevice& device) {
    const PixelRect& plot = context.layout.plot;
    if (!(context.settings.m_fDataArea > 0.0f) || plot.Width() <= 0) return;
    // They are the same for all traces.
    std::vector<int> x;
    for (int bin = 0; bin < binCount; ++bin)
        x.push_back(context.TimeToPixel(bin * context.bins.BinTime() + context.bins.m_DatStartTime));
    device.SetClip(ClipOf(plot));
    for (const int axis : context.shownAxes)
        for (int trace = 0; trace < context.doc.traceCount; ++trace)
            if (context.AxisOf(trace) == axis) DrawTraceOf(context, device, trace, x);
    device.ClearClip();
}

}  // namespace kymora
