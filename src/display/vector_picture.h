#pragma once
// What a view shows as a vector file: the plot without the axes beside it, every sample of it. It is written
// as it is read, so that it takes no more memory for a long stretch than for a short one.

#include <filesystem>

#include "display/plot_context.h"
#include "drawing/vector_writer.h"

namespace kymora {

inline constexpr int64_t manyVectorPoints = 2'000'000;  // that are written without a question
inline constexpr const char* couldntOpenText = "Couldn't open file";

// A plot in the units of a page.
struct VectorPlot {
    const PlotContext& shown;
    VectorPage page;

    TimeScale Times() const { return {shown.viewport, 0, page.width}; }
    int X(double ms) const { return Times().ToPixel(ms); }
    // Of a row of pixels of the window.
    int Row(double pixel) const {
        return RoundHalfAway((pixel - shown.layout.plot.top) * page.unitsPerPixel);
    }
    int Pixels(double count) const { return RoundHalfAway(count * page.unitsPerPixel); }
    AxisScale Values(int axis) const;
    // Of letters that are so many pixels high in the window: as large as in the picture, and not too small to
    // be read in print.
    double TextSize(int pixelHeight) const;
    VectorPen PenOf(uint32_t colour, double pixels, int plotterPen = 1) const {
        return {colour, pixels * page.unitsPerPixel, false, plotterPen};
    }
};

// The samples in view of all traces that are shown, gaps left out, and about how many bytes a file of them
// has.
int64_t VectorPoints(const PlotContext& context);
uint64_t VectorBytes(VectorFormat format, int64_t points);
// "1,234,567 points, about 14 MB".
std::string VectorSizeText(VectorFormat format, int64_t points);

// What of the file lies behind the traces, and over them (vector_overlays.cpp).
void WriteBehindTraces(const VectorPlot& plot, VectorWriter& writer);
void WriteOverTraces(const VectorPlot& plot, VectorWriter& writer);

// A name that the user did not see in the dialog, since it was completed later, may be taken.
bool MayTakeName(Session& session, const std::filesystem::path& chosen, const std::filesystem::path& out);

// Asks the user of a file of many points; false when it is not wanted. The file takes its place by rename,
// so nothing half-written is left. Throws std::runtime_error, or Cancelled.
bool SaveVectors(const PlotContext& context, const std::filesystem::path& out, VectorFormat format,
                 const PictureOptions& options);
// The same for another picture of lines: `write` writes what is between the beginning and the end.
bool SaveVectorFile(Session& session, const std::filesystem::path& out, VectorFormat format,
                    const VectorPage& page, int64_t points, const std::function<void(VectorWriter&)>& write);

}  // namespace kymora
