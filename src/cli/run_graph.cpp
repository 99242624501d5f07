#include "cli/run_graph.h"

#include <algorithm>
#include <stdexcept>

#include "cli/command.h"
#include "display/plot_recording.h"
#include "document/file_identity.h"

namespace kymora {

namespace {

constexpr int64_t usualDpi = 96;

}  // namespace

bool IsPictureName(const std::filesystem::path& out) {
    static constexpr const char* extensions[] = {".png", ".svg", ".pdf", ".eps", ".plt"};
    return std::ranges::find(extensions, FoldedExtension(out)) != std::end(extensions);
}

GraphPictureOptions GraphOptionsOf(const GraphOptions& asked, const std::filesystem::path& out) {
    const std::optional<PictureFormat> format = PictureFormatOf(out);
    if (!format) throw CommandError(exitUsage, "A graph takes one of the extensions .png, .svg and .pdf.");
    if (asked.dpi && *format != PictureFormat::png)
        throw CommandError(exitUsage, "--dpi is for .png: shapes have no pixels.");
    GraphPictureOptions options;
    const int64_t width = asked.width.value_or(options.width), height = asked.height.value_or(options.height);
    const int64_t dpi = asked.dpi.value_or(usualDpi);
    if (const std::string fault = PictureSizeFault(width, height, dpi); !fault.empty())
        throw CommandError(exitUsage, fault);
    options.width = static_cast<int>(width);
    options.height = static_cast<int>(height);
    options.scale = static_cast<double>(dpi) / usualDpi;
    options.hasGrid = !asked.noGrid;
    return options;
}

void WriteGraphPicture(OutputSink& sink, const Graph& graph, const GraphOptions& asked,
                       const std::filesystem::path& out) {
    try {
        const Graph shown = asked.pane ? OnlyPane(graph.Named(*asked.pane)) : graph;
        const auto picture = GraphPicture(shown, *PictureFormatOf(out), GraphOptionsOf(asked, out));
        sink.Write({reinterpret_cast<const char*>(picture.data()), picture.size()});
    } catch (const std::invalid_argument& error) {
        throw CommandError(exitUsage, error.what());
    }
}

}  // namespace kymora
