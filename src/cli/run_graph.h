#pragma once
// The graph of an operation as the picture that `kymora run -o` writes.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>

#include "graphs/graph_output.h"
#include "results/output_sink.h"

namespace kymora {

// As the command line gives them.
struct GraphOptions {
    std::optional<std::string> pane;  // alone, of several
    std::optional<int64_t> width, height, dpi;
    bool noGrid = false;

    bool IsAsked() const { return pane || width || height || dpi || noGrid; }
};

// Whether a file of this name is a picture, of one kind or another.
bool IsPictureName(const std::filesystem::path& out);

// How it is drawn. Throws CommandError for a picture that there cannot be.
GraphPictureOptions GraphOptionsOf(const GraphOptions& asked, const std::filesystem::path& out);

// Throws CommandError for a pane that there is not.
void WriteGraphPicture(OutputSink& sink, const Graph& graph, const GraphOptions& asked,
                       const std::filesystem::path& out);

}  // namespace kymora
