#include "demo/spike_units.h"

#include <algorithm>
#include <cmath>

namespace kymora {
namespace {

// One spike in this many of the first unit is followed closely by one of the third.
constexpr double forcedOverlapShare = 0.12;
constexpr double sizeVariation = 0.05;

enum Stream : uint64_t { firingStream = 100, overlapStream = 200, sizeStream = 300 };

struct DrawRules {
    int64_t length;
    double interval;
    std::span<const StimulusTimes> stimuli;
    double MarginSamples() const { return SpikeUnit::reachMs / interval; }
};

bool InStimulus(const DrawRules& rules, int64_t position) {
    return std::any_of(rules.stimuli.begin(), rules.stimuli.end(),
                       [&](const StimulusTimes& s) { return position >= s.start && position < s.end; });
}

// A Poisson process with a dead time, drawn sample by sample.
std::vector<double> DrawFiring(uint64_t seed, int unit, const DrawRules& rules) {
    const SpikeUnit& cell = DemoSpikeUnits()[static_cast<size_t>(unit)];
    PortableRandom random(seed, firingStream + static_cast<uint64_t>(unit));
    const auto dead = static_cast<int64_t>(cell.refractoryMs / rules.interval);
    const auto margin = static_cast<int64_t>(rules.MarginSamples());
    std::vector<double> times;
    for (int64_t at = margin; at < rules.length - margin; ++at) {
        const double rate = InStimulus(rules, at) ? cell.stimulusRate : cell.rate;
        if (!random.Chance(rate * rules.interval / 1000.0)) continue;
        times.push_back(static_cast<double>(at) + random.Uniform(-0.45, 0.45));
        at += dead;
    }
    return times;
}

// Places a spike unless one of the same unit is too near.
bool InsertSpike(std::vector<double>& times, double time, double deadSamples) {
    const auto next = std::lower_bound(times.begin(), times.end(), time);
    if (next != times.end() && *next - time < deadSamples) return false;
    if (next != times.begin() && time - *(next - 1) < deadSamples) return false;
    times.insert(next, time);
    return true;
}

void ForceOverlaps(uint64_t seed, const std::vector<double>& leaders, std::vector<double>& followers,
                   const DrawRules& rules) {
    PortableRandom random(seed, overlapStream);
    const double dead = DemoSpikeUnits()[2].refractoryMs / rules.interval + 1.0;
    for (const double leader : leaders) {
        const double delay = random.Uniform(0.15, 0.9) / rules.interval;
        const bool chosen = random.Chance(forcedOverlapShare);
        if (chosen && leader + delay < static_cast<double>(rules.length) - rules.MarginSamples())
            InsertSpike(followers, leader + delay, dead);
    }
}

}  // namespace

const std::array<SpikeUnit, demoUnits>& DemoSpikeUnits() {
    static const std::array<SpikeUnit, demoUnits> units{{
        {{{{-1.0, 0.0, 0.11}, {0.38, 0.42, 0.17}, {0.16, -0.32, 0.09}}}, {-88.0, -42.0}, 7.0, 3.0, 7.0},
        {{{{-1.0, 0.0, 0.16}, {0.30, 0.60, 0.26}, {0.0, 0.0, 1.0}}}, {-48.0, -84.0}, 9.0, 2.5, 80.0},
        {{{{1.0, 0.0, 0.13}, {-0.62, 0.40, 0.16}, {-0.12, -0.35, 0.10}}}, {58.0, 46.0}, 4.0, 4.0, 4.0},
    }};
    return units;
}

double SpikeUnit::Shape(double ms) const {
    double sum = 0.0;
    for (const Bell& bell : bells) {
        const double x = (ms - bell.centre) / bell.width;
        sum += bell.height * ExpOfMinus(0.5 * x * x);
    }
    return sum * (bells[0].height < 0.0 ? -1.0 : 1.0);
}

std::vector<Spike> DrawSpikes(uint64_t seed, int64_t length, double interval,
                              std::span<const StimulusTimes> stimuli) {
    const DrawRules rules{length, interval, stimuli};
    std::array<std::vector<double>, demoUnits> times;
    for (int unit = 0; unit < demoUnits; ++unit)
        times[static_cast<size_t>(unit)] = DrawFiring(seed, unit, rules);
    ForceOverlaps(seed, times[0], times[2], rules);
    std::vector<Spike> spikes;
    for (int unit = 0; unit < demoUnits; ++unit) {
        PortableRandom random(seed, sizeStream + static_cast<uint64_t>(unit));
        for (const double time : times[static_cast<size_t>(unit)])
            spikes.push_back({unit, time, 1.0 + sizeVariation * random.Normal()});
    }
    std::stable_sort(spikes.begin(), spikes.end(),
                     [](const Spike& a, const Spike& b) { return a.time < b.time; });
    return spikes;
}

void AddSpikes(std::span<double> samples, int electrode, double interval, std::span<const Spike> spikes) {
    const auto reach = static_cast<int64_t>(SpikeUnit::reachMs / interval);
    const auto length = static_cast<int64_t>(samples.size());
    for (const Spike& spike : spikes) {
        const SpikeUnit& unit = DemoSpikeUnits()[static_cast<size_t>(spike.unit)];
        const double size = unit.peak[static_cast<size_t>(electrode)] * spike.scale / unit.Shape(0.0);
        const int64_t centre = spike.Position();
        for (int64_t at = std::max<int64_t>(0, centre - reach); at < std::min(length, centre + reach + 1);
             ++at)
            samples[static_cast<size_t>(at)] +=
                size * unit.Shape((static_cast<double>(at) - spike.time) * interval);
    }
}

}  // namespace kymora
