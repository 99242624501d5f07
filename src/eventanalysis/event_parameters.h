#pragma once
// What can be measured of an event: one fixed list of fifty parameters, by which every analysis of events
// asks for its values. Lengths are in samples until they become times, which are milliseconds. A not-a-number
// is the value of an event that has no answer.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "eventanalysis/event_block.h"

namespace kymora {

// In the order of the list; the number is the position.
enum class EvParam : int {
    none = 0,
    onTime = 1,
    time = 2,
    timeElapsed = 3,
    onDuration = 4,
    gapDuration = 5,
    frequency = 6,
    frequencyInBin = 7,
    interval = 8,
    dutyCycle = 9,
    variable = 10,
    peakToPeak = 11,
    peakToPeakDuration = 12,
    maxToMinTime = 13,
    maximum = 14,
    minimum = 15,
    average = 16,
    standardDeviation = 17,
    median = 18,
    mad = 19,
    robustSd = 20,
    area = 21,
    areaReBase = 22,
    slope = 23,
    rms = 24,
    energy = 25,
    phaseIn = 26,
    phaseNear = 27,
    psth = 28,
    latencyFromPrevious = 29,
    latencyFromNearest = 30,
    latencyFromPair = 31,
    intervalOfPair = 32,
    countWithin = 33,
    countFrom = 34,
    countInBin = 35,
    distributionCount = 36,
    pcWeight1 = 37,
    pcWeight2 = 38,
    pcWeight3 = 39,
    valueAtTimeA = 40,
    valueAtTimeB = 41,
    valueAtTimeC = 42,
    waveletA = 43,
    waveletB = 44,
    waveletC = 45,
    autoCorrelation = 46,
    crossCorrelation = 47,
    rhythmIndex = 48,
    rhythmPeriod = 49,
};
inline constexpr int evParamCount = 50;

// As shown to the user.
const char* EvParamName(EvParam param);
bool NeedsParentTrace(EvParam param);
bool NeedsTwoChannels(EvParam param);
// Displays build these themselves, or count them over bins; CollateEventData has no values for them.
bool HasNoEventValues(EvParam param);

// The list of choices over all parameters. What is stored of a choice is its position plus 2.
class CEvParamCombo {
  public:
    static std::vector<std::string> Names();
    static int32_t StoredValue(EvParam param) { return static_cast<int32_t>(param) + 2; }
    // Nothing for a number that stands for no parameter.
    static std::optional<EvParam> FromStoredValue(int32_t stored);
};

// Appends the values of all events of a filled block, in order. Parameters that displays build themselves,
// and those that need a parent trace where the block has none, append nothing. Samples in gaps, outside the
// recording, and those that are no finite numbers do not count; an event without samples has no answer.
// Channel-2 events are looked for in the whole channel, not only in the block. Throws FileError.
void CollateEventData(CDataDoc& doc, EvParam param, const CEventBlock& block, std::vector<float>& out);

// Appends the number of onsets in each bin of each block. A bin is the width (ms) in whole samples, rounded
// down; a part of a bin at a block's end is dropped, and a width below one sample gives no bins. The count of
// a block ends for good at an onset before the bin that is being counted.
void CalcEventDistrib(const CDataDoc& doc, const CEventBlock& block, double binWidth,
                      std::vector<float>& out);

// The width of such a bin in whole samples, rounded down.
double SamplesInBin(double binWidth, double sampleInterval);

// Milliseconds of recording before a position: gaps of the recording, which are those of its first trace, are
// left out. A recording of events alone has no record of gaps; all its time counts.
double ElapsedTime(const CDataDoc& doc, int32_t position);

}  // namespace kymora
