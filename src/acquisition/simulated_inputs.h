#pragma once
// What the inputs of the simulated board have to say.

#include <cstdint>
#include <functional>
#include <span>
#include <string_view>
#include <vector>

#include "acquisition/axon.h"

namespace kymora {

enum class SimulatedInput { counter, sine, noise, loopback, preparation };
inline constexpr std::string_view simulatedInputWords[] = {"counter", "sine", "noise", "loopback",
                                                           "preparation"};

// How volts become codes: at the nearest one, held to those there are.
struct SampleCodes {
    int bits = 16;
    int encoding = 0;
    double low = -10.0, high = 10.0;

    uint32_t Mask() const { return (1u << bits) - 1u; }
    int Bytes() const { return bits > 16 ? 4 : 2; }
    uint32_t CodeOf(double volts) const;
    double VoltsOf(uint32_t code) const;
};

struct SimulatedSampling {
    SimulatedInput input = SimulatedInput::counter;
    SampleCodes codes;
    std::vector<int> channels;   // from 0
    double frequency = 20000.0;  // of each channel, Hz
    uint64_t seed = 0;
};

// Volts of an output at a time since the start, which grows from call to call, s.
using OutputVolts = std::function<double(int output, double seconds)>;

// The samples of a recording, each the same whatever buffers they come in.
//
// counter: the number of the sample among those of all channels, up to 16 bits modulo the number of codes,
// above them modulo 2^32. sine: channel n (from 0) has (n + 1) * 10 Hz and 5 V. noise: 1 V s.d., bell-shaped
// up to 3.4 V. loopback: channel n is output n; 0 V where there is none. preparation: axon.h, stimulated by
// the first output.
class SimulatedInputs {
  public:
    SimulatedInputs(const SimulatedSampling& sampling, OutputVolts outputs);
    // The next scans; `bytes` takes whole ones.
    void Fill(std::span<std::byte> bytes);
    int64_t Scans() const { return m_nScan; }

  private:
    void FillCounter(std::span<std::byte> bytes);
    double Volts(int channel, double seconds);
    void Put(std::byte*& to, uint32_t code) const;

    SimulatedSampling m_sampling;
    OutputVolts m_outputs;
    NervePreparation m_nerve;
    int64_t m_nScan = 0;
};

// Bell-shaped, mean 0, s.d. 1, the same for the same numbers: the sum of four uniform draws of 16 bits.
double NoiseAt(uint64_t seed, uint64_t number);

}  // namespace kymora
