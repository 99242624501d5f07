#include "display/plot_recording.h"

#include <stdexcept>

#include "display/kymora_view.h"
#include "display/picture.h"
#include "document/native_writer.h"
#include "drawing/cairo_device.h"

namespace kymora {

namespace {

// Nothing when the stored viewport is to be shown.
std::optional<Viewport> RequestedViewport(const CDataDoc& doc, std::optional<double> fromMs,
                                          std::optional<double> toMs) {
    const bool isStored = doc.view.viewEnd > 0.0 && doc.view.viewEnd > doc.view.viewStart;
    if (!fromMs && !toMs && isStored) return {};
    const double start = std::max(0.0, fromMs.value_or(0.0));
    const double fileEnd = std::max(doc.GetEndTime(), start + doc.sampleInterval);
    const Viewport viewport{start, toMs.value_or(fileEnd)};
    if (!(viewport.end > viewport.start))
        throw std::runtime_error("The end of the plot must be after its start.");
    return viewport;
}

}  // namespace

std::optional<PictureFormat> PictureFormatOf(const std::filesystem::path& path) {
    const std::string extension = FoldedExtension(path);
    if (extension == ".png") return PictureFormat::png;
    if (extension == ".svg") return PictureFormat::svg;
    if (extension == ".pdf") return PictureFormat::pdf;
    return {};
}

void SavePicture(const CKymoraView& view, const std::filesystem::path& out) {
    const PictureFormat format = PictureFormatOf(out).value_or(PictureFormat::png);
    std::vector<std::byte> picture;
    if (format == PictureFormat::png && view.Window()) picture = view.Window()->PngOfScreen();
    if (picture.empty()) {
        const PlotContext context = view.Plot();
        CairoDevice device(context.layout.width, context.layout.height, format);
        PaintRecording(context, device, PictureTarget::file);
        picture = device.Encode();
    }
    WriteFileAtomically(view.GetSession().files, out, [&](CArchive& archive) { archive.WriteRaw(picture); });
}

void PlotRecording(CDataDoc& doc, const std::filesystem::path& out, std::optional<double> fromMs,
                   std::optional<double> toMs, int width, int height) {
    CairoDevice device(width, height, PictureFormatOf(out).value_or(PictureFormat::png));
    CKymoraView view(doc);
    view.OnSize(width, height);
    if (!view.OnInitialUpdate(RequestedViewport(doc, fromMs, toMs))) throw Cancelled();
    ProgressScope progress(doc.GetHost(), "Drawing", 100);
    PaintRecording(view.Plot(), device, PictureTarget::file);
    progress.At(50);
    const std::vector<std::byte> picture = device.Encode([&] { return progress.GoesOn(75); });
    if (picture.empty()) throw Cancelled();
    WriteFileAtomically(doc.GetSession().files, out, [&](CArchive& archive) { archive.WriteRaw(picture); });
}

}  // namespace kymora
