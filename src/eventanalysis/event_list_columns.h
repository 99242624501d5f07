#pragma once
// The columns of the event list, in the order in which it prints them.

#include <array>
#include <span>

#include "eventanalysis/event_parameters.h"

namespace kymora {

enum class EventListColumn : int {
    id,
    onTime,
    elapsedOnTime,
    duration,
    sampleCount,
    gapDuration,
    frequency,
    interval,
    dutyCycle,
    variable,
    phase,
    latency,
    nearestLatency,
    pairedLatency,
    countWithin,
    countFrom,
    tagged,
    label,
    colour,
    statsCount,
    statsIntervalMean,
    statsIntervalSd,
    statsDurationMean,
    statsDurationSd,
    peakToPeak,
    peakToPeakDuration,
    maximum,
    timeOfMaximum,
    minimum,
    timeOfMinimum,
    mean,
    standardDeviation,
    median,
    robustSd,
    area,
    areaReBase,
    slope,
    rms,
    energy,
    rhythmIndex,
    rhythmPeriod,
    pcWeight1,
    pcWeight2,
    pcWeight3,
};
inline constexpr int eventListColumnCount = 44;

// What a column needs beside the events of channel 1.
enum class EventListSource { events, channel2, trace, coordinates };

// How a cell is written. Times are values in the unit of times.
enum class ColumnForm { value, time, count, other };

struct EventListColumnInfo {
    const char* heading;  // without its tab
    EventListSource source;
    EvParam param;  // whose value it shows; EvParam::none for what no parameter gives
    ColumnForm form;
    const char* key;
    const char* caption;  // what the window calls it
    const char* toolTip;
};

// One for each column, in order.
std::span<const EventListColumnInfo, eventListColumnCount> EventListColumns();
const EventListColumnInfo& InfoOf(EventListColumn column);

}  // namespace kymora
