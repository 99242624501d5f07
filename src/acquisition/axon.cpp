#include "acquisition/axon.h"

#include <limits>

#include "numerics/portable_functions.h"

namespace kymora {

namespace {

// Beyond it a spike has passed the last electrode, ms.
constexpr double passedMs = 25.0;
constexpr double shapeReachMs = 2.5;

double Bell(double ms, double width) { return ExpOfMinus(ms * ms / (2.0 * width * width)); }

}  // namespace

double AxonSettings::ThresholdAfter(double ms) const {
    if (ms < absoluteMs) return std::numeric_limits<double>::infinity();
    return threshold * (1.0 + excess * ExpOfMinus((ms - absoluteMs) / recoveryMs));
}

bool Axon::Stimulate(double timeMs, double volts) {
    const double needed = m_bHasFired ? m_settings.ThresholdAfter(timeMs - m_dLastMs) : m_settings.threshold;
    if (volts < needed) return false;
    m_bHasFired = true;
    m_dLastMs = timeMs;
    return true;
}

double SpikeShape(double ms) {
    if (ms < -shapeReachMs || ms > shapeReachMs) return 0.0;
    return Bell(ms, 0.15) - 0.35 * Bell(ms - 0.5, 0.2);
}

NervePreparation::NervePreparation() {
    for (const Unit& unit : units) m_axons.emplace_back(unit.axon);
    m_fired.reserve(256);
}

void NervePreparation::Stimulate(double timeMs, double volts) {
    m_dNowMs = timeMs;
    m_dStimulus = volts;
    if (!m_fired.empty())
        std::erase_if(m_fired, [&](const Fired& one) { return timeMs - one.timeMs > passedMs; });
    for (size_t unit = 0; unit < m_axons.size(); ++unit)
        if (m_axons[unit].Stimulate(timeMs, volts)) m_fired.push_back({unit, timeMs});
}

double NervePreparation::At(int electrode) const {
    double volts = artefact * m_dStimulus;
    for (const Fired& one : m_fired) {
        const Unit& unit = units[one.unit];
        const double passes = one.timeMs + unit.delayMs + electrode * unit.perElectrodeMs;
        volts += unit.peak * SpikeShape(m_dNowMs - passes);
    }
    return volts;
}

}  // namespace kymora
