#include "eventanalysis/event_list_columns.h"

namespace kymora {
namespace {

using enum EventListSource;
using enum ColumnForm;

constexpr const char* statsTip = "Show statistics of ev chan 2 within ev chan 1";

constexpr std::array<EventListColumnInfo, eventListColumnCount> columns = {{
    {"#ID", events, EvParam::none, other, "id", "ID", "List/save the ID number of the event (first = 1)"},
    {"On time", events, EvParam::time, time, "onTime", "On time", "List/save the on-time of the event"},
    {"Elap on time", events, EvParam::timeElapsed, time, "elapOnTime", "Elapsed on time",
     "List/save the on-time of the event without the gaps in the recording"},
    {"Duration", events, EvParam::onDuration, time, "duration", "Duration",
     "List/save the duration of the event (on-time to off-time)"},
    {"Num samples", events, EvParam::none, count, "numSamples", "Number of samples",
     "List/save the duration of the event in samples"},
    {"Gap duration", events, EvParam::gapDuration, time, "gapDuration", "Gap duration",
     "List/save the gap after the event (off-time to next on-time)"},
    {"Frequency", events, EvParam::frequency, value, "frequency", "Frequency",
     "List/save the instantaneous frequency (Hz), from the time to the next on-time"},
    {"Interval", events, EvParam::none, time, "interval", "Interval",
     "List/save intervals (on-time to on-time) between events (first = -1)."},
    {"Duty cycle", events, EvParam::dutyCycle, value, "dutyCycle", "Duty cycle",
     "List/save the duration as a fraction of the time to the next on-time"},
    {"Var val", events, EvParam::none, value, "varVal", "Variable value",
     "List/save the value that is stored with the event"},
    {"Phase", channel2, EvParam::phaseIn, value, "phase", "Phase",
     "List/save the phase of the event within the cycle of event channel 2"},
    {"Latency", channel2, EvParam::latencyFromPrevious, time, "latency", "Latency",
     "List/save the latency from the previous event in event channel 2"},
    {"Nearest lat", channel2, EvParam::latencyFromNearest, time, "nearestLat", "Nearest latency",
     "List/save the latency from the nearest event in event channel 2 (negative = that event is later)"},
    {"Paired lat", channel2, EvParam::latencyFromPair, time, "pairedLat", "Paired latency",
     "Show latency between events paired by ID number (1a:1b, 2a:2b etc)"},
    {"Count 2 in 1", channel2, EvParam::countWithin, count, "count2In1", "Count 2 in 1",
     "List/save the number of channel 2 events that lie entirely within the event"},
    {"Count 2 frm 1", channel2, EvParam::countFrom, count, "count2Frm1", "Count 2 from 1",
     "List/save the number of channel 2 events from this on-time to the next"},
    {"Tagged (T/F)", events, EvParam::none, other, "tagged", "Tagged",
     "List/save whether the event is tagged (T) or not (F)"},
    {"Label", events, EvParam::none, other, "label", "Label", "List/save the label of the event"},
    {"Colour", events, EvParam::none, other, "colour", "Colour",
     "List/save the colour of the event as 0xbbggrr (0 = the colour of the channel)"},
    {"Count", channel2, EvParam::none, count, "statsCount", "Count", statsTip},
    {"Interval avg", channel2, EvParam::none, time, "statsIntervalAvg", "Interval average", statsTip},
    {"Interval S.D.", channel2, EvParam::none, time, "statsIntervalSd", "Interval S.D.", statsTip},
    {"Dur avg", channel2, EvParam::none, time, "statsDurAvg", "Duration average", statsTip},
    {"Dur S.D.", channel2, EvParam::none, time, "statsDurSd", "Duration S.D.", statsTip},
    {"Pk-to-pk amp", trace, EvParam::peakToPeak, value, "pkToPkAmp", "Peak-to-peak amplitude",
     "List/save the difference between the largest and smallest values within event"},
    {"Pk-to-pk dur", trace, EvParam::peakToPeakDuration, time, "pkToPkDur", "Peak-to-peak duration",
     "List/save the time between the largest and smallest values within event"},
    {"Max val", trace, EvParam::maximum, value, "maxVal", "Maximum value",
     "List/save the largest value within event"},
    {"Max val rel t", trace, EvParam::none, time, "maxValRelT", "Time of maximum",
     "List/save the time of the largest value, relative to the on-time"},
    {"Min val", trace, EvParam::minimum, value, "minVal", "Minimum value",
     "List/save the smallest value within event"},
    {"Min val rel t", trace, EvParam::none, time, "minValRelT", "Time of minimum",
     "List/save the time of the smallest value, relative to the on-time"},
    {"Mean", trace, EvParam::average, value, "mean", "Mean", "List/save the mean of the values within event"},
    {"S.D.", trace, EvParam::standardDeviation, value, "sd", "S.D.",
     "List/save the standard deviation of the values within event"},
    {"Median", trace, EvParam::median, value, "median", "Median",
     "List/save the median of the values within event"},
    {"Robust S.D.", trace, EvParam::robustSd, value, "robustSd", "Robust S.D.",
     "List/save the robust standard deviation (MAD / 0.6745) of the values within event"},
    {"Area", trace, EvParam::area, value, "area", "Area",
     "List/save area relative to zero (value * ms) within event"},
    {"Area re base", trace, EvParam::areaReBase, value, "areaReBase", "Area re base",
     "List/save area relative to baseline defined as linear interpolation from first to last values within "
     "event"},
    {"Slope", trace, EvParam::slope, value, "slope", "Slope",
     "List/save linear regression slope within event (amp/sec)"},
    {"RMS", trace, EvParam::rms, value, "rms", "RMS",
     "List/save the root of the mean of the squared values within event"},
    {"rel Energy", trace, EvParam::energy, value, "relEnergy", "Relative energy",
     "List/save relative energy (Vsquared * time) within event"},
    {"Rhythm: idx", trace, EvParam::rhythmIndex, value, "rhythmIdx", "Rhythm index",
     "List/save the rhythmicity index from the autocorrelation within event"},
    {"period", trace, EvParam::rhythmPeriod, time, "rhythmPeriod", "Rhythm period",
     "List/save the rhythm period from the autocorrelation within event"},
    {"PC 1", coordinates, EvParam::none, value, "pc1", "PC 1",
     "List/save the weight of the event on the first principal component"},
    {"PC 2", coordinates, EvParam::none, value, "pc2", "PC 2",
     "List/save the weight of the event on the second principal component"},
    {"PC 3", coordinates, EvParam::none, value, "pc3", "PC 3",
     "List/save the weight of the event on the third principal component"},
}};

}  // namespace

std::span<const EventListColumnInfo, eventListColumnCount> EventListColumns() { return columns; }

const EventListColumnInfo& InfoOf(EventListColumn column) { return columns[static_cast<size_t>(column)]; }

}  // namespace kymora
