#pragma once
// What a file stores of how a recording is shown: its traces, its view, the grid.

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/options.h"

namespace kymora {

// The colour that a trace has unless the user gives it another, 0x00BBGGRR.
uint32_t DefaultTraceColour(size_t trace, Palette palette);

// Settings of one trace.
struct TraceSettings {
    int32_t traceAutoscale = 0;  // non-zero: the view scales the trace when it is next shown
    double axisTop = 1000.0;
    double axisBottom = -1000.0;
    int32_t traceOrder = 0;  // display slot
    std::string traceLabel;
    std::string traceUnits;
    std::string axisLabel;
    uint32_t traceColour = 0;  // 0x00BBGGRR
    int32_t traceVisible = 1;
    double traceGain = 1.0;  // divisor of what the file holds
    int32_t traceExtraA = 0;
    int32_t traceExtraB = 1;

    static TraceSettings Default(int trace, Palette palette = Palette::system);
};

// What a file stores of the view.
struct StoredView {
    double viewStart = 0.0;  // ms
    double viewEnd = -1.0;   // ms; not positive: not set
    int32_t axisGroupCount = 1;
    int32_t axisMode = 1;
    int32_t expandContractFocus = 1;
    int32_t showEvents = 1;
    int32_t showEventChanLabels = 1;
    int32_t showEventLabels = 1;
    int32_t showMarkers = 1;
    int32_t showScaleBars = 1;
    int32_t showTraceAnnotations = 1;
    int32_t showTraceLabels = 1;
    int32_t showTraceIds = 1;
    int32_t scrollStepPercent = 20;
    int32_t showGrid = 1;
    int32_t showAxes = 1;
    int32_t showSlider = 1;
    float dataDisplayFraction = 1.0f;
    int32_t timeUnit = 0;      // 0 ms, 1 s, 2 min
    int32_t timebaseMode = 0;  // 0 per grid division, 1 per viewport
    int32_t spareSetting = 0;
    int32_t vertAxisSigFigs = 3;
    int32_t formatOption = 1;
    bool showMarkerFlag = true;
    bool showAnnotationFlag = true;

    bool operator==(const StoredView&) const = default;
};

struct Grid {
    int32_t gridRows = 1;
    int32_t gridColumns = 1;
    int32_t gridSpareA = 0, gridSpareB = 0, gridSpareC = 0;
    std::vector<int32_t> gridCells{0};  // rows x columns; a trace number or -1

    bool operator==(const Grid&) const = default;
};

// The state of a view that a document copies just before it is saved.
struct DisplaySettings {
    struct Trace {
        int32_t traceAutoscale = 0;
        double axisTop = 1000.0;
        double axisBottom = -1000.0;
        int32_t traceOrder = 0;
        int32_t traceVisible = 1;
        int32_t traceExtraA = 0;
        int32_t traceExtraB = 1;
    };
    StoredView view;
    std::vector<Trace> traces;  // one for each trace
};

}  // namespace kymora
