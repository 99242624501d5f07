// Synaptic potentials evoked in episodes.

#include <algorithm>

#include "demo/demo_recordings.h"
#include "demo/portable_random.h"

namespace kymora {
namespace {

constexpr double interval = 0.1;  // ms
constexpr int32_t episodes = 24;
constexpr int32_t episodeSamples = 3000;  // 300 ms
constexpr int32_t stimulusSample = 500;   // within the episode: 50 ms
constexpr int32_t stimulusSamples = 5;    // 0.5 ms
constexpr double restMv = -65.0;
constexpr double noiseMv = 0.12;
constexpr double quantumMv = 0.9;
constexpr double quantumVariation = 0.12;
constexpr int releaseSites = 4;
constexpr double releaseProbability = 0.45;
constexpr double riseMs = 1.5;
constexpr double decayMs = 14.0;

enum Channel { boundaryChannel = 0, stimulusChannel = 1, responseChannel = 2, failureChannel = 3 };
enum Stream : uint64_t { responseStream = 1, noiseStream = 2 };

// A response of one episode; its size is 0 when the synapse failed.
struct Response {
    int32_t stimulus = 0;  // position
    double onset = 0.0;    // position, between samples too
    double latencyMs = 0.0;
    double sizeMv = 0.0;  // at the peak, above rest
};

double RawPotential(double ms) {
    return ms <= 0.0 ? 0.0 : ExpOfMinus(ms / decayMs) - ExpOfMinus(ms / riseMs);
}

// The potential reaches its peak at ln(decay / rise) x decay x rise / (decay - rise) after its onset; found
// here by looking, since a logarithm is not the same on every machine.
double RawPeak() {
    double peak = 0.0;
    for (double ms = 0.0; ms < decayMs; ms += 0.001) peak = std::max(peak, RawPotential(ms));
    return peak;
}

std::vector<Response> DrawResponses(uint64_t seed) {
    PortableRandom random(seed, responseStream);
    std::vector<Response> responses;
    for (int32_t e = 0; e < episodes; ++e) {
        Response response;
        response.stimulus = e * episodeSamples + stimulusSample;
        response.latencyMs = 3.0 + 0.25 * random.Normal();
        response.onset = response.stimulus + response.latencyMs / interval;
        for (int site = 0; site < releaseSites; ++site) {
            const double quantum = quantumMv * (1.0 + quantumVariation * random.Normal());
            if (random.Chance(releaseProbability)) response.sizeMv += quantum;
        }
        responses.push_back(response);
    }
    return responses;
}

std::vector<float> MakeMembrane(uint64_t seed, const std::vector<Response>& responses) {
    PortableRandom random(seed, noiseStream);
    const double peak = RawPeak();
    std::vector<float> samples;
    double noise = 0.0;
    for (int32_t at = 0; at < episodes * episodeSamples; ++at) {
        const Response& response = responses[static_cast<size_t>(at / episodeSamples)];
        noise = 0.7 * noise + 0.714 * random.Normal();
        double value = restMv + noiseMv * noise +
                       response.sizeMv / peak * RawPotential((at - response.onset) * interval);
        // The stimulus leaks into the electrode.
        const double afterStimulus = (at - response.stimulus) * interval;
        if (afterStimulus >= 0.0) value += 2.5 * ExpOfMinus(afterStimulus / 0.2);
        samples.push_back(static_cast<float>(value));
    }
    return samples;
}

std::vector<float> MakeStimulus(const std::vector<Response>& responses) {
    std::vector<float> samples(static_cast<size_t>(episodes) * episodeSamples, 0.0f);
    for (const Response& response : responses)
        std::fill_n(samples.begin() + response.stimulus, stimulusSamples, 5.0f);
    return samples;
}

void AddResponseEvents(GeneratedDoc& doc, const std::vector<Response>& responses) {
    CEventChan& evoked = doc.DescribeChannel(responseChannel, "synaptic potentials (truth)", 0,
                                             "Each event starts at the onset of a synaptic potential; its "
                                             "value is the size of the peak above rest, mV.");
    evoked.channelColour = 0x2020D0;
    CEventChan& failed = doc.DescribeChannel(failureChannel, "failures (truth)", 0,
                                             "Each event is a stimulus that evoked nothing.");
    failed.channelColour = 0x808080;
    for (const Response& response : responses) {
        if (response.sizeMv == 0.0) {
            failed.AddEvent(response.stimulus, response.stimulus + stimulusSamples);
            continue;
        }
        const auto onset = static_cast<int32_t>(response.onset + 0.5);
        const auto hundredths = static_cast<int>(response.latencyMs * 100.0 + 0.5);
        const std::string decimals = std::to_string(100 + hundredths % 100).substr(1);
        CEventKM event;
        event.onPosition = onset;
        event.offPosition = onset + static_cast<int32_t>(3.0 * decayMs / interval);
        event.eventValue = static_cast<float>(response.sizeMv);
        event.eventLabel = "latency " + std::to_string(hundredths / 100) + "." + decimals + " ms";
        evoked.AddEvent(std::move(event));
    }
}

void AddEpisodeEvents(GeneratedDoc& doc, const std::vector<Response>& responses) {
    CEventChan& boundaries =
        doc.DescribeChannel(boundaryChannel, "episodes", -1, "Each event marks the start of an episode.");
    CEventChan& stimuli = doc.DescribeChannel(stimulusChannel, "stimulus", 1, "The shock to the nerve.");
    stimuli.channelColour = 0xA000A0;
    for (int32_t e = 0; e < episodes; ++e) {
        CEventKM start;
        start.onPosition = e * episodeSamples;
        start.offPosition = start.onPosition + 2;
        start.eventTag = 1;
        start.eventLabel = std::to_string(e + 1);
        boundaries.AddEvent(std::move(start));
        const int32_t at = responses[static_cast<size_t>(e)].stimulus;
        stimuli.AddEvent(at, at + stimulusSamples, 5.0f);
    }
    boundaries.channelLocked = true;
}

}  // namespace

std::unique_ptr<GeneratedDoc> MakeDemoEpisodic(Session& session) {
    const uint64_t seed = session.seed;
    const std::vector<Response> responses = DrawResponses(seed);
    const uint32_t length = episodes * episodeSamples;
    auto doc = std::make_unique<GeneratedDoc>(
        session, interval,
        std::vector<std::vector<float>>{MakeMembrane(seed, responses), MakeStimulus(responses)},
        std::vector<std::vector<uint32_t>>{{length}, {length}});
    doc->DescribeTrace(0, "membrane potential", "mV", -66.5, -61.0);
    doc->DescribeTrace(1, "stimulus", "V", -1.0, 6.0);
    doc->episodic = true;
    doc->episodicStored = 1;
    AddEpisodeEvents(*doc, responses);
    AddResponseEvents(*doc, responses);
    doc->ShowEventRows(4);
    doc->view.viewStart = 0.0;
    doc->view.viewEnd = 1200.0;
    doc->fileComment =
        "Demonstration: synaptic potentials evoked in 24 episodes of 300 ms (made by rule, seed " +
        std::to_string(seed) +
        ").\r\n"
        "Channel a marks the start of each episode. A shock at 50 ms (channel b) releases up to four quanta "
        "of about "
        "0.9 mV, or none.\r\n"
        "Channel c holds the true potentials: each event starts at the onset, about 3 ms after the shock, "
        "and its "
        "value is the size of the peak in mV.\r\n"
        "Channel d holds the failures. The potentials rise with 1.5 ms and decay with 14 ms; the noise has "
        "an s.d. of "
        "0.12 mV.";
    return doc;
}

}  // namespace kymora
