#pragma once
// A nerve in a dish, as the simulated board has it: axons that fire when a stimulus reaches their threshold.

#include <cstddef>
#include <vector>

namespace kymora {

// The threshold of an axon `t` ms after its last spike is, in volts of the stimulus,
//     without bound                                             for t < absoluteMs,
//     threshold * (1 + excess * e^(-(t - absoluteMs) / recoveryMs))   from then on,
// an absolute refractory period and behind it a relative one. An axon that has not fired yet has `threshold`.
struct AxonSettings {
    double threshold = 1.0;  // V
    double absoluteMs = 1.0;
    double excess = 3.0;
    double recoveryMs = 2.0;

    double ThresholdAfter(double ms) const;
};

class Axon {
  public:
    explicit Axon(const AxonSettings& settings) : m_settings(settings) {}
    // The stimulus at a time, which grows from call to call. True where the axon fires.
    bool Stimulate(double timeMs, double volts);

  private:
    AxonSettings m_settings;
    bool m_bHasFired = false;
    double m_dLastMs = 0.0;
};

// Two axons along a row of electrodes. A spike passes electrode n (from 0) `delayMs + n * perElectrodeMs`
// after the stimulus. What an electrode picks up: spikes, a part of the stimulus itself, and noise, in volts.
class NervePreparation {
  public:
    struct Unit {
        AxonSettings axon;
        double peak;  // V
        double delayMs, perElectrodeMs;
    };
    // The faster one with the larger spikes, and a second one that takes more to fire.
    static constexpr Unit units[] = {{{1.0, 1.0, 3.0, 2.0}, 1.0, 1.0, 0.4},
                                     {{2.5, 2.0, 2.0, 4.0}, 0.4, 2.0, 0.9}};
    static constexpr double artefact = 0.02;  // of the stimulus
    static constexpr double noise = 0.01;     // s.d., V

    NervePreparation();
    // The stimulus at a time, which grows from call to call.
    void Stimulate(double timeMs, double volts);
    // Without noise, at the time of the last Stimulate.
    double At(int electrode) const;

  private:
    struct Fired {
        size_t unit;
        double timeMs;
    };

    std::vector<Axon> m_axons;
    std::vector<Fired> m_fired;  // whose spikes are still on their way
    double m_dNowMs = 0.0, m_dStimulus = 0.0;
};

// A spike around its peak, of height 1 to 2 %.
double SpikeShape(double ms);

}  // namespace kymora
