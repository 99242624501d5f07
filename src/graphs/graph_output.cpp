#include "graphs/graph_output.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "graphs/graph_painter.h"
#include "results/number_text.h"

namespace kymora {

namespace {

const char* KindName(LayerKind kind) {
    switch (kind) {
    case LayerKind::bars:
        return "bars";
    case LayerKind::curve:
        return "curve";
    case LayerKind::points:
        return "points";
    case LayerKind::marks:
        return "marks";
    case LayerKind::area:
        return "area";
    case LayerKind::matrix:
        return "matrix";
    case LayerKind::raster:
        return "raster";
    case LayerKind::rose:
        return "rose";
    }
    return "";
}

void WriteNumbers(JsonWriter& json, std::string_view key, const std::vector<double>& numbers) {
    json.Key(key);
    json.BeginArray(JsonWriter::Form::oneLine);
    for (const double number : numbers) json.Value(number);
    json.EndArray();
}

void WriteAxis(JsonWriter& json, std::string_view key, const GraphAxis& axis, double low, double high) {
    json.Key(key);
    json.BeginObject(JsonWriter::Form::oneLine);
    json.Member("title", axis.title);
    json.Member("unit", axis.unit);
    json.Member("log", axis.isLog);
    json.Member("minimum", low);
    json.Member("maximum", high);
    json.EndObject();
}

void WriteLayer(JsonWriter& json, const GraphLayer& layer) {
    json.BeginObject();
    json.Member("kind", KindName(layer.kind));
    json.Member("name", layer.name);
    json.Member("colour", ColourText(layer.colour));
    if (layer.columns > 0) json.Member("columns", layer.columns);
    WriteNumbers(json, "x", layer.x);
    if (!layer.y.empty()) WriteNumbers(json, "y", layer.y);
    if (!layer.y2.empty()) WriteNumbers(json, "y2", layer.y2);
    if (layer.range) WriteNumbers(json, "range", {layer.range->first, layer.range->second});
    if (!layer.events.empty()) {
        json.Member("channel", layer.channel);
        json.Key("events");
        json.BeginArray(JsonWriter::Form::oneLine);
        for (const int32_t event : layer.events) json.Value(event);
        json.EndArray();
    }
    json.EndObject();
}

// --- tables ---

class LayerTable {
  public:
    explicit LayerTable(const GraphPane& pane) : pane_(pane) {}
    void Append(std::string& text, const GraphLayer& layer) {
        if (!text.empty()) text += "\r\n";
        const std::string x = pane_.x.Label().empty() ? "x" : pane_.x.Label();
        const std::string y = !layer.name.empty()       ? InOneLine(layer.name)
                              : pane_.y.Label().empty() ? std::string("y")
                                                        : pane_.y.Label();
        switch (layer.kind) {
        case LayerKind::bars:
        case LayerKind::rose:
            Line(text, {x + " from", "to", y});
            for (size_t i = 0; i + 1 < layer.x.size() && i < layer.y.size(); ++i)
                Line(text, {Number(layer.x[i]), Number(layer.x[i + 1]), Number(layer.y[i])});
            break;
        case LayerKind::marks:
            Line(text, {layer.name.empty() ? x : layer.name});
            for (const double at : layer.x) Line(text, {Number(at)});
            break;
        case LayerKind::matrix:
            AppendMatrix(text, layer, x, y);
            break;
        case LayerKind::area:
            Line(text, {x, y, "to"});
            for (size_t i = 0; i < std::min({layer.x.size(), layer.y.size(), layer.y2.size()}); ++i)
                Line(text, {Number(layer.x[i]), Number(layer.y[i]), Number(layer.y2[i])});
            break;
        case LayerKind::curve:
        case LayerKind::points:
        case LayerKind::raster:
            Line(text, {x, y});
            for (size_t i = 0; i < std::min(layer.x.size(), layer.y.size()); ++i)
                Line(text, {Number(layer.x[i]), Number(layer.y[i])});
            break;
        }
    }

  private:
    static std::string Number(double value) { return std::isfinite(value) ? fmt::format("{}", value) : ""; }
    static void Line(std::string& text, std::initializer_list<std::string> cells) {
        bool isFirst = true;
        for (const std::string& cell : cells) {
            if (!std::exchange(isFirst, false)) text += '\t';
            text += cell;
        }
        text += "\r\n";
    }
    // A row for each row, from the lowest; the middles of the cells in the heads.
    void AppendMatrix(std::string& text, const GraphLayer& layer, const std::string& x,
                      const std::string& y) {
        if (layer.columns == 0 || layer.x.size() < 2 || layer.y2.size() < 2) return;
        const size_t rows = layer.y.size() / layer.columns;
        const auto middle = [](const std::vector<double>& ends, size_t i, size_t count) {
            return Number(ends[0] +
                          (ends[1] - ends[0]) * (static_cast<double>(i) + 0.5) / static_cast<double>(count));
        };
        text += y + " \\ " + x;
        for (size_t c = 0; c < layer.columns; ++c) text += '\t' + middle(layer.x, c, layer.columns);
        text += "\r\n";
        for (size_t r = 0; r < rows; ++r) {
            text += middle(layer.y2, r, rows);
            for (size_t c = 0; c < layer.columns; ++c) text += '\t' + Number(layer.y[r * layer.columns + c]);
            text += "\r\n";
        }
    }

    const GraphPane& pane_;
};

std::string PaneText(const GraphPane& pane) {
    if (!pane.text.empty()) return pane.text;
    std::string text;
    LayerTable table(pane);
    for (const GraphLayer& layer : pane.layers) table.Append(text, layer);
    return text;
}

}  // namespace

std::vector<std::byte> GraphPicture(const Graph& graph, PictureFormat format,
                                    const GraphPictureOptions& options) {
    const auto device = MakePictureDevice(options.width, options.height, format, options.scale);
    const PixelRect area{0, 0, options.width, options.height};
    const uint32_t ink = IsDarkPaper(options.paper) ? Rgb(232, 232, 232) : Rgb(0, 0, 0);
    const auto places = PlaceGraph(*device, graph, WholeGraph(graph), area);
    PaintGraph(*device, graph, places, area, {options.paper, ink, options.hasGrid});
    return device->Encode();
}

Graph OnlyPane(const GraphPane& pane) {
    Graph one;
    one.panes.push_back(pane);
    return one;
}

std::string GraphText(const Graph& graph) {
    std::string text;
    for (const GraphPane& pane : graph.panes) {
        if (!text.empty()) text += "\r\n";
        if (graph.panes.size() > 1 && pane.text.empty())
            text += InOneLine(pane.title.empty() ? pane.name : pane.title) + "\r\n";
        text += PaneText(pane);
    }
    return text;
}

void WriteGraphJson(JsonWriter& json, const Graph& graph) {
    const std::vector<GraphBox> boxes = WholeGraph(graph);
    json.BeginObject();
    json.Member("columns", graph.columns);
    json.Member("sharesX", graph.sharesX);
    json.Key("panes");
    json.BeginArray();
    for (size_t i = 0; i < graph.panes.size(); ++i) {
        const GraphPane& pane = graph.panes[i];
        const GraphBox& box = boxes[i];
        json.BeginObject();
        json.Member("name", pane.name);
        json.Member("title", pane.title);
        const bool isRose = pane.IsRose();
        WriteAxis(json, "x", pane.x, isRose ? 0.0 : box.left, isRose ? 1.0 : box.right);
        WriteAxis(json, "y", pane.y, isRose ? 0.0 : box.bottom, box.top);
        json.Key("layers");
        json.BeginArray();
        for (const GraphLayer& layer : pane.layers) WriteLayer(json, layer);
        json.EndArray();
        json.Key("lines");
        json.BeginArray();
        for (const GraphLine& line : pane.lines) {
            json.BeginObject(JsonWriter::Form::oneLine);
            json.Member("upright", line.isUpright);
            json.Member("at", line.at);
            json.Member("name", line.name);
            json.Member("parameter", line.parameter);
            json.EndObject();
        }
        json.EndArray();
        if (pane.mean) {
            json.Key("mean");
            json.BeginObject(JsonWriter::Form::oneLine);
            json.Member("turns", pane.mean->first);
            json.Member("length", pane.mean->second);
            json.EndObject();
        }
        json.EndObject();
    }
    json.EndArray();
    json.EndObject();
}

}  // namespace kymora
