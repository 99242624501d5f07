// The picture of a preview: panes with their axes and traces.

#include <algorithm>
#include <cfloat>
#include <cmath>

#include "display/axis_drawing.h"
#include "display/preview/transform_preview.h"
#include "display/trace_drawing.h"
#include "display/vector_picture.h"
#include "display/vector_trace.h"
#include "drawing/number_labels.h"
#include "summaries/bins.h"

namespace kymora {

namespace {

using Horizontal = TextStyle::Horizontal;
using Vertical = TextStyle::Vertical;

constexpr uint32_t paper = Rgb(255, 255, 255), ink = Rgb(32, 32, 36);
constexpr uint32_t rawColour = Rgb(0, 0, 0), transformedColour = Rgb(216, 0, 0);
constexpr int paneGap = 14;
constexpr int figures = 4;       // of the limits
constexpr int otherLimits = 56;  // right end of the limits of a second scale

// Of the values of a trace, in samples from the first raw one.
struct Places {
    double first = 0.0, step = 1.0;
    double last = 1.0;  // at the right edge
};

class PanePainter {
  public:
    // With a second scale in the room of the axis, there are no ticks.
    PanePainter(DrawDevice& device, const PixelRect& band, bool hasTicks = true)
        : device_(device), band_(band), hasTicks_(hasTicks) {}

    void Axis(const PreviewScale& scale, const char* name, const std::string& units, uint32_t colour) const {
        device_.SetPen({frameColour});
        device_.Frame(band_);
        if (scale.low < 0.0 && scale.high > 0.0) {
            const int zero = ScaleOf(scale).ToPixel(0.0);
            device_.SetPen({gridColour});
            device_.Line(band_.left, zero, band_.right, zero);
        }
        ValueAxis axis{band_, scale.low, scale.high, name, units};
        axis.significantFigures = figures;
        axis.ink = axis.labelInk = colour;
        axis.hasTicks = hasTicks_;
        DrawValueAxis(device_, axis);
    }

    // Inside of the limits of the axis, where there is room.
    void OtherLimits(const PreviewScale& scale, uint32_t colour) const {
        const int height = device_.TextExtent("0").height;
        if (band_.Height() < 4 * height) return;
        device_.Text(otherLimits, band_.top + height + 2, AxisNumber(scale.high, figures),
                     {colour, Horizontal::right, Vertical::top});
        device_.Text(otherLimits, band_.bottom - height - 2, AxisNumber(scale.low, figures),
                     {colour, Horizontal::right, Vertical::bottom});
    }

    void Trace(std::span<const float> values, const PreviewScale& scale, uint32_t colour,
               const Places& places) const {
        if (values.empty()) return;
        int64_t perBin = 1;
        while (static_cast<int64_t>(values.size()) > perBin * binCount) perBin *= 2;
        const size_t count = (values.size() - 1) / static_cast<size_t>(perBin) + 1;
        std::vector<float> low(count, FLT_MAX), high(count, -FLT_MAX);
        FoldValues(values, {}, {0, perBin}, {0, low, high, {}});
        TraceBins bins{low, high, {}};
        bins.end = count;
        bins.start = places.first;
        bins.step = static_cast<double>(perBin) * places.step;
        bins.areSamples = perBin == 1 || std::ranges::any_of(values, [](float v) { return std::isnan(v); });
        device_.SetClip({band_.left, band_.top, band_.right + 1, band_.bottom + 1});
        DrawTraceBins(device_, {{colour}}, bins, {{0.0, places.last}, band_.left, band_.Width()},
                      ScaleOf(scale));
        device_.ClearClip();
    }

  private:
    AxisScale ScaleOf(const PreviewScale& scale) const {
        return {scale.high, scale.low, band_.top, band_.bottom};
    }

    DrawDevice& device_;
    PixelRect band_;
    bool hasTicks_;
};

}  // namespace

namespace {

Places RawPlaces(const PreviewData& data) {
    return {0.0, 1.0, static_cast<double>(std::max<int64_t>(1, data.count - 1))};
}
Places ResultPlaces(const PreviewData& data) {
    return {data.firstResult - static_cast<double>(data.start), data.resultStep, RawPlaces(data).last};
}

}  // namespace

CTransformPreview::Panes CTransformPreview::PanesOf(Extent size) const {
    const PixelRect plot = CalcLayout({size.width, size.height}).plot;
    if (m_bSuperimpose) return {plot, plot, plot};
    const int middle = (plot.top + plot.bottom) / 2;
    return {plot,
            {plot.left, plot.top, plot.right, middle - paneGap / 2},
            {plot.left, middle + paneGap / 2, plot.right, plot.bottom}};
}

void CTransformPreview::Draw(DrawDevice& device, Extent size) const {
    drawn_ = size;
    device.FillRect({0, 0, size.width, size.height}, paper);
    const Panes panes = PanesOf(size);
    const PixelRect& plot = panes.plot;
    if (plot.Width() < 1 || plot.Height() < 1) return;
    const int middle = (plot.top + plot.bottom) / 2;
    if (!hasView_)
        return device.Text((plot.left + plot.right) / 2, middle, noActiveViewText,
                           {ink, Horizontal::centre, Vertical::centre});
    if (m_bSuperimpose) {
        const PanePainter pane(device, plot, m_bEqualScale);
        pane.Axis(RawScale(), "Dat+Trn", rawUnits_ == transformedUnits_ ? rawUnits_ : "", rawColour);
        if (!m_bEqualScale && !data_.isRefused) pane.OtherLimits(TransformedScale(), transformedColour);
        pane.Trace(data_.raw, RawScale(), rawColour, RawPlaces(data_));
        pane.Trace(data_.transformed, TransformedScale(), transformedColour, ResultPlaces(data_));
    } else {
        const PanePainter upper(device, panes.raw);
        const PanePainter lower(device, panes.transformed);
        upper.Axis(RawScale(), "Data", rawUnits_, rawColour);
        upper.Trace(data_.raw, RawScale(), rawColour, RawPlaces(data_));
        lower.Axis(TransformedScale(), "Trnsf", transformedUnits_, transformedColour);
        lower.Trace(data_.transformed, TransformedScale(), transformedColour, ResultPlaces(data_));
    }
    const double unit = TimeUnitFactor(timeUnit_);
    DrawTimeBracket(device, plot);
    DrawTimeTexts(device, plot,
                  {ShortNumber(doc_.TimeOf(start_) / unit),
                   std::string("time (") + TimeUnitName(timeUnit_) + ")",
                   ShortNumber(doc_.TimeOf(LastPosition()) / unit)},
                  ink);
}

void CTransformPreview::SaveVectors() {
    Session& session = doc_.GetSession();
    const Panes panes = PanesOf(drawn_);
    if (!hasView_ || panes.plot.Width() < 1 || panes.plot.Height() < 1) return;
    std::filesystem::path suggestion = doc_.filePath;
    suggestion.replace_filename(suggestion.stem().string() + " preview.eps");
    const auto chosen = session.host.ChooseSaveFile({"Save preview", vectorFilter, "eps", suggestion});
    if (!chosen) return;
    std::filesystem::path out = *chosen;
    if (!VectorFormatOf(out)) out += ".eps";
    if (!MayTakeName(session, *chosen, out)) return;
    const VectorFormat format = *VectorFormatOf(out);
    const VectorPage page = PageOf(format, panes.plot.Width(), panes.plot.Height(),
                                   session.picture.targetWidth, session.picture.targetResolution);
    const auto row = [&](int y) { return RoundHalfAway((y - panes.plot.top) * page.unitsPerPixel); };
    const auto frame = [&](VectorWriter& writer, const PixelRect& band) {
        writer.Frame({0, row(band.top), page.width, row(band.bottom)}, {frameColour, page.unitsPerPixel});
    };
    const auto write = [&](VectorWriter& writer, int number, std::span<const float> values,
                           const PreviewScale& scale, const PixelRect& band, uint32_t colour,
                           const Places& places) {
        const int top = row(band.top), bottom = row(band.bottom);
        writer.BeginPart(VectorPart::trace, number, {colour, page.unitsPerPixel, false, number});
        {
            VectorTraceLine line(writer, {scale.high, scale.low, top, bottom}, {std::pair(top, bottom)});
            for (size_t i = 0; i < values.size(); ++i)
                line.Add((places.first + static_cast<double>(i) * places.step) * page.width / places.last,
                         values[i]);
        }
        writer.EndPart();
    };
    try {
        const auto points = static_cast<int64_t>(data_.raw.size() + data_.transformed.size());
        SaveVectorFile(session, out, format, page, points, [&](VectorWriter& writer) {
            frame(writer, panes.raw);
            if (!m_bSuperimpose) frame(writer, panes.transformed);
            write(writer, 1, data_.raw, RawScale(), panes.raw, rawColour, RawPlaces(data_));
            if (!data_.isRefused)
                write(writer, 2, data_.transformed, TransformedScale(), panes.transformed, transformedColour,
                      ResultPlaces(data_));
        });
    } catch (const Cancelled&) {
    } catch (const std::exception& error) {
        session.host.Failure(std::string("The picture was not saved.\n") + error.what());
    }
}

}  // namespace kymora
