#include "recording/output_pulse.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

#include "numerics/rounding.h"

namespace kymora {

namespace {

constexpr int64_t mostSamples = int64_t{1} << 60;

int32_t HeldSum(int32_t a, int32_t b) {
    return static_cast<int32_t>(std::clamp<int64_t>(int64_t{a} + b, std::numeric_limits<int32_t>::min(),
                                                    std::numeric_limits<int32_t>::max()));
}

float Slope(float amplitude, int32_t samples) {
    return samples == 0 ? 0.0f : amplitude / static_cast<float>(samples);
}

float SteppedTime(float time, float multiplier, float step) {
    return std::max(time + multiplier * step, 0.0f);
}

}  // namespace

// --- the converter ---

float DacRange::Held(float volts) const {
    return volts > m_fDacLow ? std::min(volts, m_fDacHigh) : m_fDacLow;
}

int32_t DacRange::ToDacCode(float volts) const {
    const bool isSigned = m_nDacEncoding == 1;
    const double above = double{Held(volts)} - (isSigned ? Mid() : m_fDacLow);
    const auto code = static_cast<int32_t>(above * m_nDacCodes / Span());
    return std::min(code, (isSigned ? m_nDacCodes / 2 : m_nDacCodes) - 1);
}

float DacRange::ToVolts(int32_t code) const {
    int32_t shown = code & (m_nDacCodes - 1);
    const bool isSigned = m_nDacEncoding == 1;
    if (isSigned && shown >= m_nDacCodes / 2) shown -= m_nDacCodes;
    return static_cast<float>(shown * (double{Span()} / m_nDacCodes) + (isSigned ? Mid() : m_fDacLow));
}

// --- a pulse ---

void COutputPulse::Serialize(CArchive& archive) {
    for (float* value : {&m_fDelay, &m_fOnRamp, &m_fOffRamp, &m_fPlateau, &m_fAmplitude, &m_fStepDelay,
                         &m_fStepOnRamp, &m_fStepOffRamp, &m_fStepPlateau, &m_fStepAmplitude}) {
        if (archive.IsStoring())
            archive.Write<float>(*value);
        else
            *value = archive.Read<float>();
    }
    for (int32_t* value : {&m_nSeqCount, &m_eSeqMode}) {
        if (archive.IsStoring())
            archive.Write<int32_t>(*value);
        else
            *value = archive.Read<int32_t>();
    }
}

bool COutputPulse::HasSequence() const {
    return m_fStepDelay != 0.0f || m_fStepOnRamp != 0.0f || m_fStepPlateau != 0.0f ||
           m_fStepOffRamp != 0.0f || m_fStepAmplitude != 0.0f;
}

int64_t COutputPulse::SequenceMultiplier(int64_t index) const {
    const int64_t last = std::max<int64_t>(int64_t{m_nSeqCount} - 1, 0);
    if (index <= 0 || last == 0) return 0;
    switch (static_cast<SequenceMode>(m_eSeqMode)) {
    case SequenceMode::stay:
        return std::min(index, last);
    case SequenceMode::restart:
        return index % (last + 1);
    case SequenceMode::reverse:
        return index >= 2 * last ? 0 : last - std::abs(index - last);
    case SequenceMode::reverseAndRepeat:
        return last - std::abs(index % (2 * last) - last);
    case SequenceMode::reset:
        return index > last ? 0 : index;
    }
    return 0;
}

COutputPulse COutputPulse::GetSequencePulse(int64_t index, const DacRange& range, Host* log) const {
    COutputPulse pulse = *this;
    if (!HasSequence() || index == 0) return pulse;
    const int64_t multiplier = SequenceMultiplier(index);
    if (log) log->Log(fmt::format("In GetSequencePulse(); iMult = {}\n", multiplier));
    if (multiplier == 0) return pulse;
    const auto times = static_cast<float>(multiplier);
    pulse.m_fDelay = SteppedTime(m_fDelay, times, m_fStepDelay);
    pulse.m_fOnRamp = SteppedTime(m_fOnRamp, times, m_fStepOnRamp);
    pulse.m_fOffRamp = SteppedTime(m_fOffRamp, times, m_fStepOffRamp);
    pulse.m_fPlateau = SteppedTime(m_fPlateau, times, m_fStepPlateau);
    pulse.m_fAmplitude = range.Held(m_fAmplitude + times * m_fStepAmplitude);
    return pulse;
}

void COutputPulse::SetFrequency(double samplesPerTimeUnit) {
    m_nStart = RoundHalfAway(double{m_fDelay} * samplesPerTimeUnit);
    m_nOnSamples = RoundHalfAway(double{m_fOnRamp} * samplesPerTimeUnit);
    m_nPlateauSamples = RoundHalfAway(double{m_fPlateau} * samplesPerTimeUnit);
    m_nOffSamples = RoundHalfAway(double{m_fOffRamp} * samplesPerTimeUnit);
    m_nOnEnd = HeldSum(m_nStart, m_nOnSamples);
    m_nPlateauEnd = HeldSum(m_nOnEnd, m_nPlateauSamples);
    m_nEnd = HeldSum(m_nPlateauEnd, m_nOffSamples);
    m_fOnSlope = Slope(m_fAmplitude, m_nOnSamples);
    m_fOffSlope = Slope(m_fAmplitude, m_nOffSamples);
}

float COutputPulse::Value(int64_t sample) const {
    if (sample < m_nStart || sample >= m_nEnd) return 0.0f;
    if (sample < m_nOnEnd) return static_cast<float>(sample - m_nStart) * m_fOnSlope;
    if (sample < m_nPlateauEnd) return m_fAmplitude;
    return m_fAmplitude - static_cast<float>(sample - m_nPlateauEnd) * m_fOffSlope;
}

float ChannelValue(float dcLevel, std::span<const COutputPulse> pulses, int64_t sample) {
    float volts = dcLevel;
    for (const COutputPulse& pulse : pulses) volts += pulse.Value(sample);
    return volts;
}

// --- the size of an output ---

bool OutputSize::TakesManyBytes(size_t channels) const {
    return static_cast<double>(channels) * 2.0 * static_cast<double>(samplesPerChannel) > 10000000.0;
}

OutputSize SizeOfOutput(std::span<const std::vector<COutputPulse>> channels, int64_t index,
                        const DacRange& range, const OutputTiming& timing) {
    double longest = 0.0;
    for (const auto& pulses : channels)
        for (const COutputPulse& stored : pulses) {
            const COutputPulse pulse = stored.GetSequencePulse(index, range);
            // A second or millisecond more, so that the last pulse ends before the buffer does.
            longest = std::max(longest, double{pulse.m_fDelay} + pulse.m_fOnRamp + pulse.m_fOffRamp +
                                            pulse.m_fPlateau + 1.0);
        }
    const double samples = std::trunc(longest * timing.frequency * timing.UnitsPerMs());
    const auto most =
        static_cast<double>(mostSamples) / static_cast<double>(std::max<size_t>(channels.size(), 1));
    OutputSize size;
    size.samplesPerChannel = static_cast<int64_t>(samples < most ? samples : std::trunc(most));
    size.total = size.samplesPerChannel * static_cast<int64_t>(channels.size());
    if (size.total == 0) size.total = 8;
    return size;
}

}  // namespace kymora
