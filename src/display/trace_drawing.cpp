#include "display/trace_drawing.h"

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
    TracePainter(const PlotContext& context, DrawDevice& device, int trace)
        : context_(context),
          device_(device),
          cache_(context.bins),
          axis_(context.AxisOf(trace)),
          format_(context.settings.m_format[static_cast<size_t>(trace)]),
          times_(context.GetTimeScale()),
          values_(context.GetValueScale(axis_)),
          low_(cache_.Min(trace)),
          high_(cache_.Max(trace)),
          active_(cache_.Active(trace)) {
        pen_ = {context.doc.traces[static_cast<size_t>(trace)].traceColour, format_.lineWidth};
        inactive_ = {inactiveColour, 1,
                     context.settings.m_bInactiveSections ? Pen::Style::solid : Pen::Style::null};
    }

    void Paint() {
        if (low_.size() != binCount || !times_.IsUsable() || cache_.m_DatStartTime < 0.0) return;
        if (format_.clipToAxis) device_.SetClip(ClipOf(ClipBand()));
        if (format_.drawAsDots)
            PaintDots();
        else
            PaintLines();
        if (format_.clipToAxis) device_.SetClip(ClipOf(context_.layout.plot));
    }

    static PixelRect ClipOf(const PixelRect& rect) {
        return {rect.left, rect.top, rect.right + 1, rect.bottom + 1};
    }

  private:
    // The rows of the axis limits, or the whole band.
    PixelRect ClipBand() const {
        PixelRect band = context_.BandOf(axis_);
        if (context_.settings.m_nClipMode != 1) {
            band.top -= context_.layout.axisGap;
            band.bottom += context_.layout.axisGap - 1;
        }
        return band;
    }
    bool IsPastEnd(size_t bin) const { return low_[bin] != low_[bin] || high_[bin] != high_[bin]; }
    bool IsEmpty(size_t bin) const { return low_[bin] > high_[bin]; }
    bool IsActive(size_t bin) const { return active_.empty() || active_[bin] != 0; }
    int X(size_t bin) const { return times_.ToPixel(cache_.TimeOfBin(static_cast<int>(bin))); }

    void PaintLines() const;
    void DrawToZero(TraceLine& line, size_t bin) const;
    void PaintDots() const;
    void Dot(int x, int y, uint32_t colour) const;

    const PlotContext& context_;
    DrawDevice& device_;
    const DisplayCache& cache_;
    int axis_;
    const TraceFormat& format_;
    TimeScale times_;
    ValueScale values_;
    std::span<const float> low_, high_;
    std::span<const uint8_t> active_;
    Pen pen_, inactive_;
};

void TracePainter::PaintLines() const {
    TraceLine line(device_, pen_, cache_.m_nCacheLevel <= 0);
    const auto range = cache_.BinsOf(context_.viewport);
    bool previousActive = false;
    for (auto bin = static_cast<size_t>(range.first); bin < static_cast<size_t>(range.end); ++bin) {
        if (IsPastEnd(bin)) {
            if (context_.settings.m_bInactiveSections) DrawToZero(line, bin);
            return;
        }
        if (IsEmpty(bin)) {
            line.Break();
            continue;
        }
        const bool active = IsActive(bin);
        const int x = X(bin), bottom = values_.ToPixel(low_[bin]), top = values_.ToPixel(high_[bin]);
        if (!line.HasPosition())
            line.MoveTo(x, bottom);
        else
            line.LineTo(x, bottom, active && previousActive ? pen_ : inactive_);
        line.LineTo(x, top, active ? pen_ : inactive_);
        previousActive = active;
    }
}

void TracePainter::DrawToZero(TraceLine& line, size_t bin) const {
    const int zero = values_.ToPixel(0.0);
    if (line.HasPosition())
        line.LineTo(X(bin), zero, inactive_);
    else
        line.MoveTo(X(bin), zero);
    line.LineTo(times_.ToPixel(context_.viewport.end), zero, inactive_);
}

void TracePainter::PaintDots() const {
    const auto range = cache_.BinsOf(context_.viewport);
    for (auto bin = static_cast<size_t>(range.first); bin < static_cast<size_t>(range.end); ++bin) {
        if (IsPastEnd(bin)) {
            TraceLine line(device_, pen_, false);
            if (context_.settings.m_bInactiveSections) DrawToZero(line, bin);
            return;
        }
        const bool active = IsActive(bin);
        if (IsEmpty(bin) || (!active && !context_.settings.m_bInactiveSections)) continue;
        const uint32_t colour = active ? pen_.colour : inactive_.colour;
        Dot(X(bin), values_.ToPixel(low_[bin]), colour);
        if (low_[bin] != high_[bin]) Dot(X(bin), values_.ToPixel(high_[bin]), colour);
    }
}

void TracePainter::Dot(int x, int y, uint32_t colour) const {
    const int radius = dotRadius[static_cast<size_t>(std::clamp(format_.dotSize, 0, 3))];
    if (radius == 0)
        device_.SetPixel(x, y, colour);
    else
        device_.FillEllipse({x - radius, y - radius, x + radius, y + radius}, colour);
}

}  // namespace

void DrawFrameAndGrid(const PlotContext& context, DrawDevice& device) {
    const PixelRect& plot = context.layout.plot;
    if (plot.Width() <= 0 || plot.Height() <= 0) return;
    if (context.settings.m_bShowGrid) {
        device.SetPen({gridColour, 1, Pen::Style::dashed});
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
    device.SetPen({frameColour});
    device.Frame(plot);
}

void DrawTraces(const PlotContext& context, DrawDevice& device) {
    const PixelRect& plot = context.layout.plot;
    if (!(context.settings.m_fDataArea > 0.0f) || plot.Width() <= 0) return;
    device.SetClip(TracePainter::ClipOf(plot));
    for (const int axis : context.shownAxes)
        for (int trace = 0; trace < context.doc.traceCount; ++trace)
            if (context.AxisOf(trace) == axis) TracePainter(context, device, trace).Paint();
    device.ClearClip();
}

}  // namespace kymora
