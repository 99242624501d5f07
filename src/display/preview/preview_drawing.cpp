// The picture of a preview: panes with their axes, and the traces as lines, or as envelopes where several
// samples share a column.

#include <array>

#include "display/preview/transform_preview.h"
#include "display/trace_drawing.h"
#include "drawing/number_labels.h"

namespace kymora {

namespace {

using Horizontal = TextStyle::Horizontal;
using Vertical = TextStyle::Vertical;

constexpr uint32_t paper = Rgb(255, 255, 255), ink = Rgb(32, 32, 36), bracketColour = Rgb(120, 120, 132);
constexpr uint32_t rawColour = Rgb(0, 0, 0), transformedColour = Rgb(216, 0, 0);
constexpr int leftMargin = 84, rightMargin = 14, topMargin = 10, paneGap = 14, tick = 6, textGap = 4;
constexpr int timeBracketGap = 8, timeBracketHeight = 8;
constexpr int figures = 4;     // of the limits
constexpr int loneRadius = 2;  // of a sample without neighbours

// The samples of one column.
class Column {
  public:
    void Add(float value) {
        if (isEmpty_) low_ = high_ = first_ = value;
        low_ = std::min(low_, value);
        high_ = std::max(high_, value);
        last_ = value;
        isEmpty_ = false;
    }
    bool IsEmpty() const { return isEmpty_; }
    // At most four points that cover all of them.
    void Flush(int x, const ValueScale& scale, std::vector<Point>& points) {
        const auto add = [&](float value) {
            const Point point{x, scale.ToPixel(static_cast<double>(value))};
            if (points.empty() || points.back() != point) points.push_back(point);
        };
        for (const float value : {first_, low_, high_, last_}) add(value);
        isEmpty_ = true;
    }

  private:
    float low_ = 0.0f, high_ = 0.0f, first_ = 0.0f, last_ = 0.0f;
    bool isEmpty_ = true;
};

// A column without a number breaks the line.
void DrawLine(DrawDevice& device, std::span<const float> values, const PixelRect& plot,
              const ValueScale& scale, uint32_t colour) {
    const auto last = static_cast<int64_t>(values.size()) - 1;
    std::vector<Point> points;
    Column column;
    device.SetPen({colour});
    const auto endLine = [&] {
        if (points.size() == 1)
            device.FillEllipse({points[0].x - loneRadius, points[0].y - loneRadius, points[0].x + loneRadius,
                                points[0].y + loneRadius},
                               colour);
        else if (!points.empty())
            device.Polyline(points);
        points.clear();
    };
    const int64_t width = plot.Width();
    for (int64_t i = 0; i <= last;) {
        const int64_t at = last > 0 ? i * width / last : 0;
        const int64_t next = last > 0 ? ((at + 1) * last + width - 1) / width : 1;  // of the next column
        for (; i < next && i <= last; ++i)
            if (const float value = values[static_cast<size_t>(i)]; value == value) column.Add(value);
        if (column.IsEmpty())
            endLine();
        else
            column.Flush(plot.left + static_cast<int>(at), scale, points);
    }
    endLine();
}

class PanePainter {
  public:
    PanePainter(DrawDevice& device, const PixelRect& plot) : device_(device), plot_(plot) {}

    void Frame(const PreviewScale& scale) const {
        device_.SetPen({frameColour});
        device_.Frame(plot_);
        if (!(scale.low < 0.0 && scale.high > 0.0)) return;
        const int zero = ScaleOf(scale).ToPixel(0.0);
        device_.SetPen({gridColour});
        device_.Line(plot_.left, zero, plot_.right, zero);
    }

    // Bracket, limits and name, left of the pane.
    void Axis(const PreviewScale& scale, const char* name, const std::string& units, uint32_t colour) const {
        const int line = plot_.left - textGap;
        device_.SetPen({bracketColour});
        const std::array<Point, 4> bracket{
            {{line - tick, plot_.top}, {line, plot_.top}, {line, plot_.bottom}, {line - tick, plot_.bottom}}};
        device_.Polyline(bracket);
        const int height = device_.TextExtent("0").height;
        Limits(scale, line - tick - textGap, Horizontal::right, colour, 0);
        if (plot_.Height() < 4 * height) return;
        const int middle = (plot_.top + plot_.bottom) / 2;
        TextStyle style{colour, Horizontal::left, Vertical::centre};
        const bool hasUnits = !units.empty() && plot_.Height() >= 5 * height;
        device_.Text(textGap, middle - (hasUnits ? height / 2 : 0), name, style);
        if (hasUnits)
            device_.Text(textGap, middle + height / 2,
                         ElideText(device_, "(" + units + ")", leftMargin - 3 * textGap), style);
    }

    // The limits of a scale, `line` lines away from the ends of the pane.
    void Limits(const PreviewScale& scale, int x, Horizontal horizontal, uint32_t colour, int line) const {
        const int height = device_.TextExtent("0").height;
        if (plot_.Height() < 2 * (line + 1) * height) return;
        device_.Text(x, plot_.top + line * height, AxisNumber(scale.high, figures),
                     {colour, horizontal, Vertical::top});
        device_.Text(x, plot_.bottom - line * height, AxisNumber(scale.low, figures),
                     {colour, horizontal, Vertical::bottom});
    }

    void Trace(std::span<const float> values, const PreviewScale& scale, uint32_t colour) const {
        device_.SetClip({plot_.left, plot_.top, plot_.right + 1, plot_.bottom + 1});
        DrawLine(device_, values, plot_, ScaleOf(scale), colour);
        device_.ClearClip();
    }

  private:
    ValueScale ScaleOf(const PreviewScale& scale) const {
        return {scale.high, scale.low, plot_.top, plot_.bottom};
    }

    DrawDevice& device_;
    PixelRect plot_;
};

}  // namespace

void CTransformPreview::Draw(DrawDevice& device, Extent size) const {
    device.FillRect({0, 0, size.width, size.height}, paper);
    const int textHeight = device.TextExtent("0").height;
    const int foot = timeBracketGap + timeBracketHeight + textHeight + 2 * textGap;
    const PixelRect plot{leftMargin, topMargin, size.width - rightMargin, size.height - foot};
    if (plot.Width() < 1 || plot.Height() < 1) return;
    if (!hasView_)
        return device.Text((plot.left + plot.right) / 2, (plot.top + plot.bottom) / 2, noActiveViewText,
                           {ink, Horizontal::centre, Vertical::centre});
    if (m_bSuperimpose) {
        const PanePainter pane(device, plot);
        pane.Frame(RawScale());
        pane.Axis(RawScale(), "Dat+Trn", m_strRawUnits == m_strTransformedUnits ? m_strRawUnits : "",
                  rawColour);
        if (!m_bEqualScale)
            pane.Limits(TransformedScale(), plot.left - textGap - tick - textGap, Horizontal::right,
                        transformedColour, 1);
        pane.Trace(data_.raw, RawScale(), rawColour);
        pane.Trace(data_.transformed, TransformedScale(), transformedColour);
    } else {
        const int middle = (plot.top + plot.bottom) / 2;
        const PanePainter upper(device, {plot.left, plot.top, plot.right, middle - paneGap / 2});
        const PanePainter lower(device, {plot.left, middle + paneGap / 2, plot.right, plot.bottom});
        upper.Frame(RawScale());
        upper.Axis(RawScale(), "Data", m_strRawUnits, rawColour);
        upper.Trace(data_.raw, RawScale(), rawColour);
        lower.Frame(TransformedScale());
        lower.Axis(TransformedScale(), "Trnsf", m_strTransformedUnits, transformedColour);
        lower.Trace(data_.transformed, TransformedScale(), transformedColour);
    }
    DrawTimes(device, plot);
}

void CTransformPreview::DrawTimes(DrawDevice& device, const PixelRect& plot) const {
    const int top = plot.bottom + timeBracketGap, foot = top + timeBracketHeight;
    device.SetPen({bracketColour});
    const std::array<Point, 4> bracket{
        {{plot.left, foot}, {plot.left, top}, {plot.right, top}, {plot.right, foot}}};
    device.Polyline(bracket);
    const double unit = TimeUnitFactor(timeUnit_);
    const int y = foot + textGap;
    device.Text(plot.left, y, ShortNumber(doc_.TimeOf(start_) / unit), {ink});
    device.Text(plot.right, y, ShortNumber(doc_.TimeOf(LastPosition()) / unit), {ink, Horizontal::right});
    device.Text((plot.left + plot.right) / 2, y, std::string("time (") + TimeUnitName(timeUnit_) + ")",
                {ink, Horizontal::centre});
}

}  // namespace kymora
