// A heart and a breath, with pauses in the recording.

#include <algorithm>

#include "demo/demo_recordings.h"
#include "demo/portable_random.h"

namespace kymora {
namespace {

constexpr double interval = 1.0;  // ms
constexpr uint32_t length = 60000;
constexpr double firstBeatMs = 350.0;

enum Channel { gapChannel = 0, beatChannel = 2 };
enum Stream : uint64_t { beatStream = 1, noiseStream = 10 };

// The recorder was off three times. The second trace was also switched on late and lost its lead once.
const std::vector<uint32_t> heartRuns{12000, 3000, 13000, 500, 16500, 5000, 10000};
const std::vector<uint32_t> breathRuns{0, 2500, 9500, 3000, 13000, 500, 7500, 2000, 7000, 5000, 10000};

struct Wave {
    double height;  // mV
    double centre;  // ms from the R peak
    double width;   // ms
};
constexpr Wave heartWaves[] = {
    {0.12, -160.0, 22.0}, {-0.10, -26.0, 8.0}, {1.1, 0.0, 9.0}, {-0.22, 27.0, 9.0}, {0.28, 230.0, 45.0}};

// One breath takes four seconds; the heart beats faster while the lungs are full.
double BreathPhase(double ms) { return ms / 4000.0; }

std::vector<double> DrawBeats(uint64_t seed) {
    PortableRandom random(seed, beatStream);
    std::vector<double> beats;
    for (double at = firstBeatMs; at < length;) {
        beats.push_back(std::floor(at));
        at += 820.0 - 60.0 * SineOfTurns(BreathPhase(at)) + 12.0 * random.Normal();
    }
    return beats;
}

std::vector<double> MakeHeart(uint64_t seed, const std::vector<double>& beats) {
    PortableRandom random(seed, noiseStream);
    std::vector<double> samples(length);
    for (double& sample : samples) sample = 0.015 * random.Normal();
    for (const double beat : beats)
        for (int64_t at = static_cast<int64_t>(beat) - 300; at < static_cast<int64_t>(beat) + 450; ++at) {
            if (at < 0 || at >= length) continue;
            for (const Wave& wave : heartWaves) {
                const double x = (static_cast<double>(at) - beat - wave.centre) / wave.width;
                samples[static_cast<size_t>(at)] += wave.height * ExpOfMinus(0.5 * x * x);
            }
        }
    return samples;
}

std::vector<double> MakeBreath(uint64_t seed) {
    PortableRandom random(seed, noiseStream + 1);
    std::vector<double> samples(length);
    for (size_t i = 0; i < samples.size(); ++i) {
        const double phase = BreathPhase(static_cast<double>(i) * interval);
        samples[i] =
            0.8 * SineOfTurns(phase) + 0.15 * SineOfTurns(2.0 * phase + 0.1) + 0.02 * random.Normal();
    }
    return samples;
}

std::vector<float> WithoutGaps(const std::vector<double>& samples, const RunList& runs) {
    std::vector<float> stored;
    size_t at = 0;
    for (int i = 0; i < runs.Size(); at += runs[i], ++i)
        for (size_t k = 0; i % 2 == 0 && k < runs[i]; ++k)
            stored.push_back(static_cast<float>(samples[at + k]));
    return stored;
}

void AddGapEvents(GeneratedDoc& doc, int trace, std::string_view name) {
    CEventChan& channel = doc.DescribeChannel(
        gapChannel + trace, std::string(name) + " gaps (truth)", trace,
        "Each event covers a gap of the parent trace; its value is the gap's length in ms.");
    int64_t start = 0;
    int64_t end = 0;
    for (int i = 1; i < doc.GetNumRuns(trace); i += 2) {
        doc.GetRunSpan(trace, i, start, end);
        channel.AddEvent(static_cast<int32_t>(start), static_cast<int32_t>(end),
                         static_cast<float>(doc.TimeOf(end - start)));
    }
}

void AddBeatEvents(GeneratedDoc& doc, const std::vector<double>& beats) {
    CEventChan& channel = doc.DescribeChannel(beatChannel, "heartbeats (truth)", 0,
                                              "Each event starts at the peak of a recorded heartbeat.");
    channel.channelColour = 0x2020D0;
    for (const double beat : beats) {
        const auto at = static_cast<int32_t>(beat);
        if (doc.validRuns[0].Find(at).valid) channel.AddEvent(at, at + 1, 1.0f);
    }
}

}  // namespace

std::unique_ptr<GeneratedDoc> MakeDemoGaps(Session& session) {
    const uint64_t seed = session.seed;
    const std::vector<double> beats = DrawBeats(seed);
    std::vector<std::vector<float>> stored{WithoutGaps(MakeHeart(seed, beats), RunList(heartRuns)),
                                           WithoutGaps(MakeBreath(seed), RunList(breathRuns))};
    auto doc = std::make_unique<GeneratedDoc>(session, interval, std::move(stored),
                                              std::vector<std::vector<uint32_t>>{heartRuns, breathRuns});
    doc->DescribeTrace(0, "heart", "mV", -0.5, 1.3);
    doc->DescribeTrace(1, "breath", "V", -1.2, 1.2);
    AddGapEvents(*doc, 0, "heart");
    AddGapEvents(*doc, 1, "breath");
    AddBeatEvents(*doc, beats);
    doc->ShowEventRows(3);
    doc->view.viewStart = 0.0;
    doc->view.viewEnd = 20000.0;
    doc->fileComment =
        "Demonstration: a recording of heart and breath that was interrupted (made by rule, seed " +
        std::to_string(seed) +
        ").\r\n"
        "All recording stopped three times: at 12 s for 3 s, at 28 s for 0.5 s and at 45 s for 5 s.\r\n"
        "The breath starts 2.5 s late and also misses the time from 36 s to 38 s, so the traces differ in "
        "their "
        "gaps.\r\n"
        "Channels a and b cover the gaps of each trace from their first sample to their end. Channel c marks "
        "each "
        "recorded heartbeat at its peak.";
    return doc;
}

}  // namespace kymora
