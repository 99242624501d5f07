#include "display/vector_picture.h"

#include <fmt/format.h>

#include <cmath>
#include <stdexcept>

#include "display/trace_drawing.h"
#include "display/vector_trace.h"
#include "document/native_writer.h"
#include "host/user_numbers.h"
#include "operations/graphics_file_format.h"

namespace kymora {

namespace {

constexpr int64_t vectorPiece = 65536;
constexpr double leastTextPoints = 6.0;
constexpr int greatestUnits = 1'000'000;
constexpr int plotterPens = 8;

// The samples in view, with one on either side from and to which a line goes on.
struct SamplesInView {
    int64_t first = 0, end = 0;
};

SamplesInView SpanOf(const PlotContext& context, int trace, bool withNeighbours) {
    const CDataDoc& doc = context.doc;
    const double interval = doc.sampleInterval;
    constexpr double most = 4e9, tolerance = 1e-9;
    double first = context.viewport.start / interval, last = context.viewport.end / interval;
    first = withNeighbours ? std::floor(first) : std::ceil(first - tolerance);
    last = withNeighbours ? std::ceil(last) : std::floor(last + tolerance);
    // Behind the end of a trace that is shorter than others is a gap.
    const auto length = static_cast<double>(context.settings.m_bInactiveSections ? doc.GetLength()
                                                                                 : doc.GetTraceLength(trace));
    SamplesInView span;
    span.first = static_cast<int64_t>(std::clamp(first, 0.0, length));
    span.end = static_cast<int64_t>(std::clamp(std::clamp(last, -1.0, most) + 1.0, 0.0, length));
    span.end = std::max(span.end, span.first);
    return span;
}

// The rows to which a trace is clipped; a plotter would draw beside the plot.
std::optional<std::pair<int, int>> RowsOf(const VectorPlot& plot, VectorFormat format, int trace) {
    const PlotContext& context = plot.shown;
    if (context.settings.m_format[static_cast<size_t>(trace)].clipToAxis) {
        const PixelRect band = context.BandOf(context.AxisOf(trace));
        const int beyond = context.settings.m_nClipMode != 1 ? context.layout.axisGap : 0;
        return std::pair(plot.Row(band.top - beyond), plot.Row(band.bottom + beyond));
    }
    if (format == VectorFormat::hpgl) return std::pair(0, plot.page.height);
    return {};
}

class TraceSource {
  public:
    TraceSource(CDataDoc& doc, int trace) : doc_(doc), trace_(trace) {}

    // Hands over the samples of a stretch, and which are valid: all where it is empty.
    template <typename Use>
    void Read(SamplesInView span, ProgressScope& progress, Use use) {
        for (int64_t from = span.first; from < span.end; from += vectorPiece) {
            const auto count = static_cast<size_t>(std::min(vectorPiece, span.end - from));
            values_.resize(count);
            valid_.resize(doc_.hasGaps ? count : 0);
            doc_.ReadBlock(trace_, from, values_, valid_);
            use(from, std::span<const float>(values_), std::span<const uint8_t>(valid_));
            progress.Step(count);
        }
    }

  private:
    CDataDoc& doc_;
    int trace_;
    std::vector<float> values_;
    std::vector<uint8_t> valid_;
};

// A trace in its colour, and what is inactive in grey, where that is shown: gaps at zero, and a line at zero
// behind the end of the recording.
class TraceLines {
  public:
    // `showsInactive`, or the pen lifts there.
    TraceLines(VectorWriter& writer, const AxisScale& values, const VectorTraceLine::Look& look,
               const VectorPen& pen, const VectorPen& inactive, bool showsInactive)
        : writer_(writer),
          values_(values),
          rows_(look.rows),
          isDots_(look.dotRadius >= 0),
          pen_(pen),
          greyPen_(inactive),
          showsInactive_(showsInactive),
          line_(writer, values, look),
          grey_(writer, values, {look.rows, look.dotRadius, inactive.colour}) {}

    void Add(double x, float value) {
        if (greyEnd_) LeaveGap(x, value);
        line_.Add(x, value);
        lastX_ = x;
        lastValue_ = value;
    }

    // Of a gap only its ends are points of the line.
    void AddInactive(double x) {
        line_.Break();
        if (showsInactive_) AddGrey(x);
        lastValue_ = NAN;
    }

    // The recording ends in view.
    void AddEnd(double from, double to) {
        if (!isDots_) {
            AddInactive(from);
            AddInactive(to);
        } else if (showsInactive_) {
            writer_.SetPen(greyPen_);
            VectorTraceLine level(writer_, values_, {rows_});
            level.Add(from, 0.0f);
            level.Add(to, 0.0f);
        }
    }

    void Finish() {
        if (greyEnd_ && !isDots_) grey_.Add(*greyEnd_, 0.0f);
    }

  private:
    void AddGrey(double x) {
        if (!greyEnd_) {
            writer_.SetPen(greyPen_);
            if (!isDots_) grey_.Add(lastX_, lastValue_);
        }
        if (!greyEnd_ || isDots_) grey_.Add(x, 0.0f);
        greyEnd_ = x;
    }
    void LeaveGap(double x, float value) {
        if (!isDots_) {
            grey_.Add(*greyEnd_, 0.0f);
            grey_.Add(x, value);
        }
        grey_.Break();
        greyEnd_.reset();
        writer_.SetPen(pen_);
    }

    VectorWriter& writer_;
    AxisScale values_;
    std::optional<std::pair<int, int>> rows_;
    bool isDots_;
    VectorPen pen_, greyPen_;
    bool showsInactive_;
    VectorTraceLine line_, grey_;    // of which one is under way
    double lastX_ = 0.0;             // of the sample before
    float lastValue_ = NAN;          // not-a-number where no line goes on from there
    std::optional<double> greyEnd_;  // the last sample of a gap
};

void WriteTrace(const VectorPlot& plot, VectorFormat format, VectorWriter& writer, int trace, int plotterPen,
                ProgressScope& progress) {
    const PlotContext& context = plot.shown;
    const auto t = static_cast<size_t>(trace);
    const TraceFormat& look = context.settings.m_format[t];
    const uint32_t colour = context.doc.traces[t].traceColour & 0xFFFFFF;
    const VectorPen pen = plot.PenOf(colour, look.lineWidth, plotterPen);
    writer.BeginPart(VectorPart::trace, trace + 1, pen);
    {
        // The pens of a plotter have no grey, and in a trace's own colour zeros would be data.
        TraceLines lines(
            writer, plot.Values(context.AxisOf(trace)),
            {RowsOf(plot, format, trace), look.drawAsDots ? VectorDotRadius(look.dotSize) : -1, colour}, pen,
            plot.PenOf(inactiveColour, 1.0),
            context.settings.m_bInactiveSections && format != VectorFormat::hpgl);
        const auto placeOf = [times = plot.Times(), interval = context.doc.sampleInterval](int64_t sample) {
            return times.ToPlace(static_cast<double>(sample) * interval);
        };
        TraceSource(context.doc, trace)
            .Read(SpanOf(context, trace, true), progress,
                  [&](int64_t from, std::span<const float> values, std::span<const uint8_t> valid) {
                      for (size_t i = 0; i < values.size(); ++i) {
                          const double x = placeOf(from + static_cast<int64_t>(i));
                          if (valid.empty() || valid[i] != 0)
                              lines.Add(x, values[i]);
                          else
                              lines.AddInactive(x);
                      }
                  });
        const double end = placeOf(context.doc.GetLength());
        if (end < plot.page.width) lines.AddEnd(end, plot.page.width);
        lines.Finish();
    }
    writer.EndPart();
}

// In the order in which they lie on each other.
std::vector<int> TracesShown(const PlotContext& context) {
    std::vector<int> traces;
    if (!(context.settings.m_fDataArea > 0.0f) || context.doc.noData) return traces;
    for (const int axis : context.shownAxes)
        for (const int trace : context.TracesOn(axis)) traces.push_back(trace);
    return traces;
}

// Those in gaps are read, too.
uint64_t SamplesToRead(const PlotContext& context, const std::vector<int>& traces) {
    int64_t samples = 0;
    for (const int trace : traces) {
        const SamplesInView span = SpanOf(context, trace, true);
        samples += span.end - span.first;
    }
    return static_cast<uint64_t>(samples);
}

void LogSize(Session& session, VectorFormat format, const VectorPage& page) {
    if (format == VectorFormat::hpgl) return;
    // Points for one, millimetres for the other: what the file says.
    const bool isEps = format == VectorFormat::eps;
    const double unit = isEps ? pointsPerInch / mmPerInch : 1.0;
    session.host.Log(fmt::format("{} horz resol = {}, vert resol = {}, width = {:f}, height = {:f}\n",
                                 isEps ? "EPS" : "SVG", page.width, page.height, page.widthMm * unit,
                                 page.HeightMm() * unit));
}

}  // namespace

AxisScale VectorPlot::Values(int axis) const {
    const CVertAxis& limits = shown.settings.m_axes[static_cast<size_t>(axis)];
    const PixelRect band = shown.BandOf(axis);
    return {limits.m_dMax, limits.m_dMin, Row(band.top), Row(band.bottom)};
}

double VectorPlot::TextSize(int pixelHeight) const {
    return std::round(std::max(pixelHeight * page.unitsPerPixel, page.OfPoints(leastTextPoints)));
}

int64_t VectorPoints(const PlotContext& context) {
    int64_t points = 0;
    for (const int trace : TracesShown(context)) {
        const SamplesInView span = SpanOf(context, trace, false);
        points += context.doc.CountValid(trace, span.first, span.end);
    }
    return points;
}

uint64_t VectorBytes(VectorFormat format, int64_t points) {
    constexpr uint64_t perPoint[] = {12, 10, 13}, perFile = 1000;
    return perFile + perPoint[static_cast<size_t>(format)] * static_cast<uint64_t>(points);
}

std::string VectorSizeText(VectorFormat format, int64_t points) {
    const double bytes = static_cast<double>(VectorBytes(format, points));
    const std::string size = bytes < 1e6 ? fmt::format("{:.0f} kB", std::max(1.0, bytes / 1e3))
                                         : fmt::format("{:.0f} MB", bytes / 1e6);
    return fmt::format("{} points, about {}", GroupedDigits(points), size);
}

bool MayTakeName(Session& session, const std::filesystem::path& chosen, const std::filesystem::path& out) {
    return out == chosen || !session.files.Stamp(out) ||
           session.host.Confirm("The file " + out.string() + " exists. Replace it?");
}

bool SaveVectorFile(Session& session, const std::filesystem::path& out, VectorFormat format,
                    const VectorPage& page, int64_t points, const std::function<void(VectorWriter&)>& write) {
    if (points > manyVectorPoints &&
        !session.host.Confirm("A file of what is in view has " + VectorSizeText(format, points) +
                              ". Few programs open one so large. Write it all the same?"))
        return false;
    session.host.Log("trying to open file " + out.string() + "\n");
    bool isOpen = false;
    try {
        WriteFileAtomically(session.files, out, [&](CArchive& archive) {
            isOpen = true;
            const auto writer = MakeVectorWriter(format, page, [&](std::string_view text) {
                archive.WriteRaw(std::as_bytes(std::span(text.data(), text.size())));
            });
            LogSize(session, format, page);
            writer->Begin();
            write(*writer);
            writer->End();
        });
    } catch (const FileError& error) {
        if (isOpen) throw;
        throw FileError(std::string(couldntOpenText) + "\n" + error.what(), error.systemError);
    }
    return true;
}

bool SaveVectors(const PlotContext& context, const std::filesystem::path& out, VectorFormat format,
                 const PictureOptions& options) {
    const PixelRect& area = context.layout.plot;
    if (context.shownAxes.empty() && context.settings.m_fDataArea > 0.0f)
        throw std::runtime_error("No trace is shown, so there is nothing to write. Show one.");
    if (area.Width() <= 0 || area.Height() <= 0)
        throw std::runtime_error("There is no room for a plot. Make the picture larger.");
    if (std::string fault = TargetFault(options.targetWidth, options.targetResolution); !fault.empty())
        throw std::runtime_error(fault);
    const VectorPlot plot{
        context, PageOf(format, area.Width(), area.Height(), options.targetWidth, options.targetResolution)};
    if (area.Height() * plot.page.unitsPerPixel > greatestUnits)
        throw std::runtime_error("The picture would be more than 1,000,000 units high. Choose a smaller "
                                 "width, or a coarser resolution.");
    const std::vector<int> traces = TracesShown(context);
    const int64_t points = VectorPoints(context);
    return SaveVectorFile(context.GetSession(), out, format, plot.page, points, [&](VectorWriter& writer) {
        if (format == VectorFormat::hpgl) {
            const SamplesInView span = SpanOf(context, 0, false);
            context.GetSession().host.Log(
                fmt::format("number of samples in screen = {}\n", span.end - span.first));
        }
        if (!context.shownAxes.empty() && context.settings.m_fDataArea > 0.0f) {
            const PixelRect band = context.BandOf(context.shownAxes.front());
            writer.AxisBar(plot.Row(band.bottom), plot.Row(band.top));
        }
        WriteBehindTraces(plot, writer);
        ProgressScope progress(context.GetSession().host, "Writing", SamplesToRead(context, traces),
                               vectorPiece);
        for (size_t i = 0; i < traces.size(); ++i) {
            progress.AtTrace(i + 1, traces.size());
            WriteTrace(plot, format, writer, traces[i], 1 + static_cast<int>(i) % plotterPens, progress);
        }
        WriteOverTraces(plot, writer);
    });
}

}  // namespace kymora
