// Two extracellular electrodes that see three units.

#include <algorithm>

#include "demo/demo_recordings.h"
#include "demo/spike_units.h"

namespace kymora {
namespace {

constexpr double interval = 0.05;      // ms
constexpr int64_t length = 1'200'000;  // 60 s
constexpr int64_t samplesPerSecond = 20000;
constexpr double noiseSd = 9.0;         // uV
constexpr double noiseMemory = 0.45;    // of the coloured noise, from sample to sample
constexpr double noiseInCommon = 0.3;   // share of its variance that both electrodes see
constexpr int64_t overlapSamples = 20;  // peaks of two units within 1 ms

enum Channel { unitChannel = 0, overlapChannel = 3, stimulusChannel = 4 };
enum Stream : uint64_t { noiseStream = 1, slowStream = 20 };

std::vector<StimulusTimes> Stimuli() {
    std::vector<StimulusTimes> stimuli;
    for (int64_t second = 2; second < 60; second += 4) {
        const int64_t start = second * samplesPerSecond;
        stimuli.push_back({start, start + samplesPerSecond / 5});
    }
    return stimuli;
}

// Coloured noise of s.d. 1: a first-order autoregression of white noise.
std::vector<double> ColouredNoise(uint64_t seed, uint64_t stream) {
    PortableRandom random(seed, stream);
    const double fresh = std::sqrt(1.0 - noiseMemory * noiseMemory);
    std::vector<double> noise(static_cast<size_t>(length));
    double value = random.Normal();
    for (double& sample : noise) sample = value = noiseMemory * value + fresh * random.Normal();
    return noise;
}

// A rhythm near 0.8 Hz whose period wanders, and the hum of the mains with its third harmonic.
void AddSlowAndHum(std::span<double> samples, uint64_t seed, int electrode) {
    PortableRandom random(seed, slowStream);  // one rhythm for both electrodes
    const double slowSize = electrode == 0 ? 22.0 : 16.0;
    const double humSize = electrode == 0 ? 6.0 : 4.0;
    double phase = 0.1;
    double frequency = 0.8;
    for (size_t i = 0; i < samples.size(); ++i) {
        if (i % static_cast<size_t>(samplesPerSecond) == 0) frequency = 0.8 + 0.1 * random.Normal();
        phase += frequency / static_cast<double>(samplesPerSecond);
        const double cycles = 50.0 * static_cast<double>(i) / static_cast<double>(samplesPerSecond);
        samples[i] += slowSize * SineOfTurns(phase) + humSize * SineOfTurns(cycles) +
                      0.25 * humSize * SineOfTurns(3.0 * cycles + 0.2);
    }
}

std::vector<std::vector<float>> MakeSamples(uint64_t seed, std::span<const Spike> spikes) {
    const std::vector<double> common = ColouredNoise(seed, noiseStream);
    std::vector<std::vector<float>> stored;
    for (int electrode = 0; electrode < demoElectrodes; ++electrode) {
        std::vector<double> samples = ColouredNoise(seed, noiseStream + 1 + static_cast<uint64_t>(electrode));
        const double own = std::sqrt(1.0 - noiseInCommon);
        const double shared = std::sqrt(noiseInCommon);
        for (size_t i = 0; i < samples.size(); ++i)
            samples[i] = noiseSd * (own * samples[i] + shared * common[i]);
        AddSlowAndHum(samples, seed, electrode);
        AddSpikes(samples, electrode, interval, spikes);
        std::vector<float> single(samples.size());
        std::transform(samples.begin(), samples.end(), single.begin(),
                       [](double v) { return static_cast<float>(v); });
        stored.push_back(std::move(single));
    }
    return stored;
}

void AddUnitEvents(GeneratedDoc& doc, std::span<const Spike> spikes) {
    static constexpr uint32_t colours[demoUnits] = {0x2020D0, 0xC06000, 0x208020};
    for (int unit = 0; unit < demoUnits; ++unit) {
        const auto& peak = DemoSpikeUnits()[static_cast<size_t>(unit)].peak;
        const int best = std::abs(peak[0]) >= std::abs(peak[1]) ? 0 : 1;
        CEventChan& channel = doc.DescribeChannel(
            unitChannel + unit, "unit " + std::to_string(unit + 1) + " (truth)", best,
            "Each event starts at the peak of a spike; its value is the size of the spike "
            "on the parent trace, uV.");
        channel.channelColour = colours[unit];
        for (const Spike& spike : spikes) {
            if (spike.unit != unit) continue;
            const auto on = static_cast<int32_t>(spike.Position());
            channel.AddEvent(on, on + 10, static_cast<float>(peak[static_cast<size_t>(best)] * spike.scale));
        }
    }
}

// An event for every two spikes of different units that follow each other closely, from peak to peak.
void AddOverlapEvents(GeneratedDoc& doc, std::span<const Spike> spikes) {
    CEventChan& channel = doc.DescribeChannel(
        overlapChannel, "overlaps (truth)", 0,
        "Spikes of two units with their peaks within 1 ms; the label names the units in their order.");
    channel.channelColour = 0x808080;
    for (size_t i = 1; i < spikes.size(); ++i) {
        const Spike& first = spikes[i - 1];
        const Spike& second = spikes[i];
        if (first.unit == second.unit || second.Position() - first.Position() > overlapSamples) continue;
        CEventKM event;
        event.onPosition = static_cast<int32_t>(first.Position());
        event.offPosition = std::max(static_cast<int32_t>(second.Position()), event.onPosition + 1);
        event.eventValue = static_cast<float>((second.time - first.time) * interval);
        event.eventLabel = std::to_string(first.unit + 1) + "+" + std::to_string(second.unit + 1);
        channel.AddEvent(std::move(event));
    }
}

void AddStimulusEvents(GeneratedDoc& doc, std::span<const StimulusTimes> stimuli) {
    CEventChan& channel = doc.DescribeChannel(stimulusChannel, "stimulus", -1,
                                              "A stimulus of 200 ms every 4 s. It makes unit 2 fire faster.");
    channel.channelColour = 0xA000A0;
    for (const StimulusTimes& stimulus : stimuli)
        channel.AddEvent(static_cast<int32_t>(stimulus.start), static_cast<int32_t>(stimulus.end), 1.0f);
}

}  // namespace

std::unique_ptr<GeneratedDoc> MakeDemoSpikes(Session& session) {
    const uint64_t seed = session.seed;
    const std::vector<StimulusTimes> stimuli = Stimuli();
    const std::vector<Spike> spikes = DrawSpikes(seed, length, interval, stimuli);
    const auto samples = static_cast<uint32_t>(length);
    auto doc = std::make_unique<GeneratedDoc>(session, interval, MakeSamples(seed, spikes),
                                              std::vector<std::vector<uint32_t>>{{samples}, {samples}});
    doc->DescribeTrace(0, "electrode 1", "uV", -140.0, 100.0);
    doc->DescribeTrace(1, "electrode 2", "uV", -140.0, 100.0);
    AddUnitEvents(*doc, spikes);
    AddOverlapEvents(*doc, spikes);
    AddStimulusEvents(*doc, stimuli);
    doc->InsertMarker({2000.0, "first stimulus"});
    doc->ShowEventRows(5);
    doc->view.viewStart = 1700.0;
    doc->view.viewEnd = 2700.0;
    doc->fileComment =
        "Demonstration: two extracellular electrodes see three units (made by rule, seed " +
        std::to_string(seed) +
        ").\r\n"
        "Channels a to c hold the true spikes: each event starts at the peak, and its value is the size of "
        "the "
        "spike in uV.\r\n"
        "Unit 1 is largest on electrode 1, unit 2 on electrode 2. Unit 3 is positive and often follows unit "
        "1 "
        "within a millisecond.\r\n"
        "Channel d marks all overlaps. Channel e holds the stimulus, which raises the rate of unit 2 from 9 "
        "to 80 "
        "spikes a second.\r\n"
        "The noise has an s.d. of 9 uV; a slow rhythm near 0.8 Hz and mains hum of 50 Hz lie under it.";
    return doc;
}

}  // namespace kymora
