#include "sorting/component_views.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "sorting/cluster_run.h"

namespace kymora {

namespace {

constexpr double whole = 100.0;  // %

double PartOf(double variance, double total) { return total > 0.0 ? whole * variance / total : 0.0; }

}  // namespace

GraphPane CloudPane(const CloudData& data, size_t across, size_t up) {
    GraphPane pane{"clusters"};
    if (data.columns.empty()) return pane;
    const size_t columns = data.columns.size();
    across = std::min(across, columns - 1);
    up = std::min(up, columns - 1);
    pane.x = data.columns[across];
    pane.y = data.columns[up];
    const int classes = data.ids.empty() ? 0 : *std::ranges::max_element(data.ids) + 1;
    for (int id = -1; id < classes; ++id) {
        GraphLayer points{LayerKind::points, "", GraphColour(0)};
        if (id >= 0) {
            points.name = fmt::format("{}", id + 1);
            points.colour = ClusterColour(id);
        } else if (!data.ids.empty()) {
            points.name = "none";
            points.colour = noClusterColour;
        }
        points.channel = data.events.empty() ? -1 : data.channel;
        for (size_t r = 0; r * columns < data.rows.size(); ++r) {
            if (!data.ids.empty() && data.ids[r] != id) continue;
            points.x.push_back(data.rows[r * columns + across]);
            points.y.push_back(data.rows[r * columns + up]);
            if (!data.events.empty()) points.events.push_back(data.events[r]);
        }
        if (!points.x.empty()) pane.layers.push_back(std::move(points));
    }
    return pane;
}

std::vector<GraphAxis> WeightAxes(size_t components) {
    std::vector<GraphAxis> axes;
    for (size_t c = 0; c < components; ++c) axes.push_back({fmt::format("PC {} wt", c + 1), {}});
    return axes;
}

GraphPane LoadingsPane(const PrincipalComponents& found, const WindowTimes& times) {
    GraphPane pane{"loadings"};
    const bool isOneTrace = found.columns == times.samples;
    pane.x =
        isOneTrace ? GraphAxis{"time from onset", "ms"} : GraphAxis{"samples of the traces, end to end", {}};
    pane.y = {"loading", {}};
    for (size_t c = 0; c < found.components; ++c) {
        GraphLayer curve{LayerKind::curve, fmt::format("PC {}", c + 1), GraphColour(c)};
        for (size_t i = 0; i < found.columns; ++i) {
            const double at = isOneTrace ? times.At(i) : static_cast<double>(i);
            if (i > 0 && i % times.samples == 0) {  // another trace
                curve.x.push_back(at);
                curve.y.push_back(std::numeric_limits<double>::quiet_NaN());
            }
            curve.x.push_back(at);
            curve.y.push_back(found.Loading(c)[i]);
        }
        pane.layers.push_back(std::move(curve));
    }
    return pane;
}

Result ComponentsTable(const PrincipalComponents& found) {
    Result table{"components",
                 {{"total variance", found.totalVariance}},
                 {{"component", {}}, {"variance", {}}, {"share", "%"}},
                 {}};
    if (!found.passes.empty()) table.columns.push_back({"passes", {}});
    std::vector<std::vector<ResultValue>> rows;
    for (size_t c = 0; c < found.components; ++c) {
        rows.push_back({static_cast<int64_t>(c + 1), found.variances[c],
                        PartOf(found.variances[c], found.totalVariance)});
        if (!found.passes.empty()) rows.back().emplace_back(int64_t{found.passes[c]});
    }
    table.SetRows(std::move(rows));
    return table;
}

Result LoadingsTable(const PrincipalComponents& found, const WindowTimes& times) {
    Result table{"loadings", {}, {{"time", "ms"}, {"mean", {}}}, {}};
    if (!times.traces.empty()) table.columns.insert(table.columns.begin(), {"trace", {}});
    for (size_t c = 0; c < found.components; ++c) table.columns.push_back({fmt::format("PC {}", c + 1), {}});
    std::vector<std::vector<ResultValue>> rows;
    for (size_t i = 0; i < found.columns; ++i) {
        rows.push_back({times.At(i), found.means[i]});
        if (!times.traces.empty())
            rows.back().insert(rows.back().begin(), int64_t{times.traces[i / times.samples]} + 1);
        for (size_t c = 0; c < found.components; ++c) rows.back().emplace_back(found.Loading(c)[i]);
    }
    table.SetRows(std::move(rows));
    return table;
}

}  // namespace kymora
