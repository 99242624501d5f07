#pragma once
// What is shown of principal components and of clusters: clouds of points, loadings over time, tables.

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "graphs/graph.h"
#include "results/result.h"
#include "sorting/principal_components.h"

namespace kymora {

// Rows of numbers, each of an item that may belong to a class.
struct CloudData {
    std::span<const double> rows;
    std::vector<GraphAxis> columns;     // of the rows
    std::span<const int> ids;           // class of each row from 0, -1 for none; empty: there are no classes
    std::span<const int32_t> events{};  // the events that the rows are; empty: they are none
    int channel = -1;
};

// Points of two of the columns (held to those that there are), each class in its colour.
GraphPane CloudPane(const CloudData& data, size_t across, size_t up);

// "PC 1 wt" and so on.
std::vector<GraphAxis> WeightAxes(size_t components);

// Where the values of a row lie: `samples` of each trace from `startMs` on.
struct WindowTimes {
    double startMs = 0.0, interval = 1.0;  // ms
    size_t samples = 0;
    std::vector<int> traces{};  // from 0, where there are several

    double At(size_t column) const {
        return startMs + static_cast<double>(samples == 0 ? 0 : column % samples) * interval;
    }
};

// Loadings against time from the onset, each component a curve; several traces stand one behind the other.
GraphPane LoadingsPane(const PrincipalComponents& found, const WindowTimes& times);

// Component, variance of its scores, per cent of all; passes where the components were iterated.
Result ComponentsTable(const PrincipalComponents& found);
// Time, mean, and the loading on each component, of each column.
Result LoadingsTable(const PrincipalComponents& found, const WindowTimes& times);

}  // namespace kymora
