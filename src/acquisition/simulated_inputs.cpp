#include "acquisition/simulated_inputs.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "numerics/portable_functions.h"

namespace kymora {

namespace {

constexpr double sineVolts = 5.0, sineHz = 10.0;
constexpr uint64_t channelsOfNoise = 64;  // draws of a scan

// splitmix64 (Steele, Lea, Flood 2014), the state taken from a number.
uint64_t Mixed(uint64_t state) {
    state += 0x9E3779B97F4A7C15u;
    state = (state ^ (state >> 30)) * 0xBF58476D1CE4E5B9u;
    state = (state ^ (state >> 27)) * 0x94D049BB133111EBu;
    return state ^ (state >> 31);
}

template <typename Code>
void Count(std::span<std::byte> bytes, uint32_t first, uint32_t mask) {
    const size_t count = bytes.size() / sizeof(Code);
    for (size_t i = 0; i < count; ++i) {
        const auto code = static_cast<Code>((first + static_cast<uint32_t>(i)) & mask);
        std::memcpy(bytes.data() + i * sizeof(Code), &code, sizeof code);
    }
}

}  // namespace

uint32_t SampleCodes::CodeOf(double volts) const {
    const double codes = std::ldexp(1.0, bits);
    const double code = std::clamp(std::round((volts - low) * codes / (high - low)), 0.0, codes - 1.0);
    const auto offset = static_cast<uint32_t>(code);
    return encoding == 1 ? (offset ^ (1u << (bits - 1))) & Mask() : offset;
}

double SampleCodes::VoltsOf(uint32_t code) const {
    const uint32_t offset = (encoding == 1 ? code ^ (1u << (bits - 1)) : code) & Mask();
    return low + offset * ((high - low) / std::ldexp(1.0, bits));
}

double NoiseAt(uint64_t seed, uint64_t number) {
    uint64_t bits = Mixed(Mixed(seed) ^ number);
    uint32_t sum = 0;
    for (int part = 0; part < 4; ++part, bits >>= 16) sum += bits & 0xFFFFu;
    // A uniform draw has the variance 1/12.
    return (sum / 65536.0 - 2.0) * 1.7320508075688772;
}

SimulatedInputs::SimulatedInputs(const SimulatedSampling& sampling, OutputVolts outputs)
    : m_sampling(sampling), m_outputs(std::move(outputs)) {}

void SimulatedInputs::FillCounter(std::span<std::byte> bytes) {
    const auto first = static_cast<uint32_t>(static_cast<uint64_t>(m_nScan) * m_sampling.channels.size());
    if (m_sampling.codes.Bytes() == 2)
        Count<uint16_t>(bytes, first, m_sampling.codes.Mask());
    else
        Count<uint32_t>(bytes, first, 0xFFFFFFFFu);
}

double SimulatedInputs::Volts(int channel, double seconds) {
    const uint64_t draw = static_cast<uint64_t>(m_nScan) * channelsOfNoise + static_cast<uint64_t>(channel);
    switch (m_sampling.input) {
    case SimulatedInput::sine:
        return sineVolts * SineOfTurns(seconds * sineHz * (channel + 1));
    case SimulatedInput::noise:
        return NoiseAt(m_sampling.seed, draw);
    case SimulatedInput::loopback:
        return m_outputs(channel, seconds);
    case SimulatedInput::preparation:
        return m_nerve.At(channel) + NervePreparation::noise * NoiseAt(m_sampling.seed, draw);
    case SimulatedInput::counter:
        break;
    }
    return 0.0;
}

void SimulatedInputs::Put(std::byte*& to, uint32_t code) const {
    const auto narrow = static_cast<uint16_t>(code);
    const auto bytes = static_cast<size_t>(m_sampling.codes.Bytes());
    if (bytes == sizeof narrow)
        std::memcpy(to, &narrow, sizeof narrow);
    else
        std::memcpy(to, &code, sizeof code);
    to += bytes;
}

void SimulatedInputs::Fill(std::span<std::byte> bytes) {
    const size_t scanBytes = m_sampling.channels.size() * static_cast<size_t>(m_sampling.codes.Bytes());
    const size_t scans = bytes.size() / scanBytes;
    if (m_sampling.input == SimulatedInput::counter) {
        FillCounter(bytes);
        m_nScan += static_cast<int64_t>(scans);
        return;
    }
    std::byte* to = bytes.data();
    for (size_t i = 0; i < scans; ++i, ++m_nScan) {
        const double seconds = static_cast<double>(m_nScan) / m_sampling.frequency;
        if (m_sampling.input == SimulatedInput::preparation)
            m_nerve.Stimulate(seconds * 1000.0, m_outputs(0, seconds));
        for (const int channel : m_sampling.channels)
            Put(to, m_sampling.codes.CodeOf(Volts(channel, seconds)));
    }
}

}  // namespace kymora
