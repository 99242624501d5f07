#include "eventanalysis/event_values.h"

#include <limits>

namespace kymora {
namespace {

// A rate over no time is no answer, rather than an infinity that spoils every average.
double Divide(double value, double by) { return by == 0.0 ? noValue : value / by; }

double ValueToNext(double dt, EvParam param, const EventPlace& place) {
    const double interval = SamplesBetween(place.on, place.nextOn);
    switch (param) {
    case EvParam::gapDuration:
        return SamplesBetween(place.off, place.nextOn) * dt;
    case EvParam::frequency:
        return Divide(1000.0, interval * dt);
    case EvParam::interval:
        return interval * dt;
    case EvParam::dutyCycle:
        return Divide(SamplesBetween(place.on, place.off), interval);
    default:
        return noValue;
    }
}

}  // namespace

double ElapsedTime(const CDataDoc& doc, int32_t position) {
    if (doc.noData || !doc.hasGaps) return doc.TimeOf(position);
    return doc.TimeOf(doc.CountValid(0, 0, position));
}

double TimingValue(const CDataDoc& doc, EvParam param, const EventPlace& place) {
    switch (param) {
    case EvParam::none:
        return place.index + 1;
    case EvParam::time:
        return doc.TimeOf(place.on);
    case EvParam::timeElapsed:
        return ElapsedTime(doc, place.on);
    case EvParam::onDuration:
        return SamplesBetween(place.on, place.off) * doc.sampleInterval;
    default:
        return place.hasNext ? ValueToNext(doc.sampleInterval, param, place) : noValue;
    }
}

double PartnerValue(const CDataDoc& doc, EvParam param, PartnerEvents& partner, const EventPlace& place) {
    const double dt = doc.sampleInterval;
    switch (param) {
    case EvParam::phaseIn:
        return partner.Phase(place.on);
    case EvParam::phaseNear: {
        const auto phase = static_cast<float>(partner.Phase(place.on));
        return phase > 0.5f ? phase - 1.0f : phase;
    }
    case EvParam::latencyFromPrevious:
        return partner.LatencyFromPrevious(place.on) * dt;
    case EvParam::latencyFromNearest:
        return partner.LatencyFromNearest(place.on) * dt;
    case EvParam::latencyFromPair:
        return partner.LatencyFromPair(place.on, place.index) * dt;
    case EvParam::countWithin:
        return partner.Within(place.on, place.off).Count();
    case EvParam::countFrom:
        return partner.CountFrom(place.on, place.hasNext ? int64_t{place.nextOn} : doc.GetLength());
    default:
        return noValue;
    }
}

}  // namespace kymora
