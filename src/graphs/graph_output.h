#pragma once
// The forms of a graph outside of a window: pictures, text and JSON.

#include <cstddef>
#include <span>
#include <string>
#include <vector>

#include "drawing/picture_device.h"
#include "graphs/graph.h"
#include "results/json_writer.h"

namespace kymora {

struct GraphPictureOptions {
    int width = 800, height = 600;  // pixels of 1/96 inch
    double scale = 1.0;             // of a PNG: pixels for each of these
    uint32_t paper = 0xFFFFFF;      // 0x00BBGGRR
    bool hasGrid = true;
};

// All panes, or one. Throws std::runtime_error when there cannot be such a picture.
std::vector<std::byte> GraphPicture(const Graph& graph, PictureFormat format,
                                    const GraphPictureOptions& options);

// One pane of a graph alone.
Graph OnlyPane(const GraphPane& pane);

// What copying as a text gives: the texts of the panes, or, where a pane has none, a table of its layers: a
// heading and a row for each point, tabs between, lines ended by CR LF.
std::string GraphText(const Graph& graph);

// {"columns", "sharesX", "panes": [{"name", "title", "x": {"title", "unit", "log", "minimum", "maximum"},
// "y": {...}, "layers": [{"kind", "name", "colour", "x": [...], "y": [...], ...}], "lines": [{"upright",
// "at", "name", "parameter"}]}]}; what is not finite is null, limits that are not fixed are those that would
// be shown.
void WriteGraphJson(JsonWriter& json, const Graph& graph);

}  // namespace kymora
