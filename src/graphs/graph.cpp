#include "graphs/graph.h"

#include <algorithm>
#include <stdexcept>

#include "drawing/draw_device.h"

namespace kymora {

bool GraphPane::IsRose() const {
    return std::any_of(layers.begin(), layers.end(),
                       [](const GraphLayer& layer) { return layer.kind == LayerKind::rose; });
}

const GraphPane* Graph::Find(std::string_view name) const {
    const auto found =
        std::find_if(panes.begin(), panes.end(), [name](const GraphPane& pane) { return pane.name == name; });
    return found == panes.end() ? nullptr : &*found;
}

const GraphPane& Graph::Named(std::string_view name) const {
    if (const GraphPane* pane = Find(name)) return *pane;
    std::string names;
    for (const GraphPane& pane : panes) names += (names.empty() ? "" : ", ") + pane.name;
    throw std::invalid_argument("The graph has no pane \"" + std::string(name) + "\". " +
                                (names.empty() ? "It is empty." : "It has: " + names + "."));
}

std::vector<std::string> TitleLines(std::string_view title) {
    std::vector<std::string> lines;
    while (!title.empty()) {
        const size_t end = std::min(title.find('\n'), title.size());
        if (end > 0) lines.emplace_back(title.substr(0, end));
        title.remove_prefix(std::min(end + 1, title.size()));
    }
    return lines;
}

std::string InOneLine(std::string_view title) {
    std::string text;
    for (const std::string& line : TitleLines(title)) text += (text.empty() ? "" : " ") + line;
    return text;
}

uint32_t GraphColour(size_t i) {
    constexpr uint32_t colours[] = {Rgb(0, 114, 178),   Rgb(213, 94, 0),   Rgb(0, 158, 115),
                                    Rgb(204, 121, 167), Rgb(230, 159, 0),  Rgb(86, 180, 233),
                                    Rgb(90, 90, 90),    Rgb(148, 103, 189)};
    return colours[i % std::size(colours)];
}

}  // namespace kymora
