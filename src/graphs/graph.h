#pragma once
// A graph as data: what an analysis draws, without saying on what. The window, pictures, texts, JSON and
// tests all take the same object. Coordinates are doubles in the units of the axes; a not-a-number or an
// infinity is no place, breaks a curve and leaves a gap among bars.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kymora {

struct GraphAxis {
    std::string title;
    std::string unit;    // stands in brackets behind the title; empty for none
    bool isLog = false;  // powers of ten at equal distances; values up to 0 have no place
    // The limits, where they are fixed; both, from below to. Nothing: as the layers need.
    std::optional<std::pair<double, double>> limits;
    double turn = 0.0;  // of angles: a whole turn in the unit, at parts of which the numbers stand; else 0
    // Of an axis that lists things: what stands in place of a number from 0 to 1, from 1 to 2, and so on.
    std::vector<std::string> names;

    std::string Label() const { return unit.empty() ? title : title + " (" + unit + ")"; }
    bool operator==(const GraphAxis&) const = default;
};

// From the least to the greatest value of a matrix.
enum class ColourMap { colours, greys };

enum class LayerKind {
    bars,    // x holds the edges, one more than y
    curve,   // a line through the points
    points,  // dots
    marks,   // short lines at x on the lower axis: a rug
    area,    // between y and y2 over x
    matrix,  // y holds rows of `columns` values, from the lowest row; x is left, right, and y2 bottom, top
    raster,  // upright marks at x, each in the row y, which is 1 high; those of a row follow each other
    rose     // bars around a circle: x holds the edges in turns (0 to 1), one more than y
};

// What the mouse tells of the points of a layer, or of the cells of a matrix, in place of their y: values,
// each behind its name, or without names behind the prefix and its number from 0. Without values it tells y.
struct GraphTold {
    std::string prefix, unit;
    std::vector<float> values;
    std::vector<std::string> names = {};

    bool operator==(const GraphTold&) const = default;
};

struct GraphLayer {
    LayerKind kind = LayerKind::curve;
    std::string name;     // in the legend, or beside the colours of a matrix; empty for none
    uint32_t colour = 0;  // 0x00BBGGRR, made lighter or darker where the paper needs it
    std::vector<double> x, y, y2;
    size_t columns = 0;  // of a matrix
    ColourMap map = ColourMap::colours;
    // Of the colours of a matrix; nothing: from its least value to its greatest.
    std::optional<std::pair<double, double>> range;
    // Of the marks of a raster: one for each, where they are not all of the layer's; and so many pixels wide.
    std::vector<uint32_t> colours;
    int width = 1;
    bool isDashed = false;
    bool isPale = false;  // of bars and areas: lets what lies over them stand out
    // What the points or marks stand for: the index of an event in this channel. Empty where they are none.
    std::vector<int32_t> events;
    int channel = -1;
    // Of bars: where they stand. Minus infinity: on the lower axis, wherever that is.
    double base = 0.0;
    GraphTold told;
    bool isSilent = false;  // the mouse does not read it: one of many, which only show how they spread
    bool isRimmed = false;  // of a curve that lies over colours: seen on each of them, and in its own

    bool operator==(const GraphLayer&) const = default;
};

// A line across the pane, or along it.
struct GraphLine {
    bool isUpright = true;  // at a place of the x axis
    double at = 0.0;
    uint32_t colour = 0;
    std::string name;  // in the legend; empty for none
    // The parameter that dragging the line sets; empty for a line that stays where it is.
    std::string parameter;
    bool setsWhileMoving = false;  // else when it is let go
    bool isTold = false;           // with the values under the mouse

    bool operator==(const GraphLine&) const = default;
};

// A rectangle of a pane that the user can drag, and the parameters that its sides are.
struct GraphArea {
    double left = 0.0, right = 0.0, bottom = 0.0, top = 0.0;  // nothing is seen of one without an extent
    std::string leftParameter, rightParameter, bottomParameter, topParameter;
    // It holds whole rows, as those of a raster: its vertical parameters are the first and the last of them,
    // and it reaches from half a row below the one to half a row above the other.
    bool hasRows = false;

    bool operator==(const GraphArea&) const = default;
};

// What the rows of a raster stand for, from the one at 1, where that is not their place: told under the
// mouse.
struct GraphRowNumbers {
    std::string name;
    std::vector<int32_t> numbers;

    bool operator==(const GraphRowNumbers&) const = default;
};

// Told beneath the graph: where the mouse is along an axis of the pane, whether or not a value lies there.
struct GraphReadout {
    std::string label, tip;
    bool isX = true;

    bool operator==(const GraphReadout&) const = default;
};

struct GraphPane {
    std::string name;   // by which it is asked for; unique in its graph
    std::string title;  // above it, in as many lines as it has; empty for none
    GraphAxis x, y;
    std::vector<GraphLayer> layers;
    std::vector<GraphLine> lines;
    std::optional<GraphArea> area;
    // Of a rose: the mean direction in turns and the vector's length (0 to 1), where there is one.
    std::optional<std::pair<double, double>> mean;
    // What copying it as a text gives; empty: a table of its layers.
    std::string text;
    // The parameters that its limits are: of the lower and upper end of the x axis. Empty for none.
    std::string lowerParameter, upperParameter;
    // The flag that has the limits follow the values: set when all is to be shown again, and taken away when
    // the user sets the limits.
    std::string autoParameter;
    GraphRowNumbers rowNumbers;
    std::vector<GraphReadout> readouts;
    bool takesOutlines = false;  // dragging round points tells which ones are meant

    bool IsRose() const;
    bool operator==(const GraphPane&) const = default;
};

struct Graph {
    std::vector<GraphPane> panes;
    int columns = 1;       // of panes, which fill row by row
    bool sharesX = false;  // the panes stand on one x axis, which they show and scroll together

    const GraphPane* Find(std::string_view name) const;
    // The one that a user has named. Throws std::invalid_argument, which tells the names that there are.
    const GraphPane& Named(std::string_view name) const;
    bool operator==(const Graph&) const = default;
};

// The lines of a title that hold something, and the same in one line.
std::vector<std::string> TitleLines(std::string_view title);
std::string InOneLine(std::string_view title);

// Colours for the layers of a graph, which are told apart by those who see few of them, on light and dark
// paper (after M. Okabe and K. Ito, "Color universal design", 2008). They repeat after eight.
uint32_t GraphColour(size_t i);

}  // namespace kymora
