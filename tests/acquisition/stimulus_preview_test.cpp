#include "acquisition/stimulus_preview.h"

#include <algorithm>
#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "recording/output_pulse_buffers.h"
#include "recording/pulse_train.h"

namespace kymora::test {
namespace {

using Points = std::vector<std::pair<double, double>>;

Points PointsOf(const OutputCurve& curve) {
    Points points;
    for (size_t i = 0; i < curve.times.size(); ++i) points.emplace_back(curve.times[i], curve.volts[i]);
    return points;
}

// What a curve shows at a time: the last point there, or on the line between its neighbours.
double ShownAt(const OutputCurve& curve, double time) {
    const auto after = std::upper_bound(curve.times.begin(), curve.times.end(), time + 1e-9);
    const auto right = static_cast<size_t>(after - curve.times.begin());
    const size_t left = right - 1;
    if (right == curve.times.size() || std::abs(curve.times[left] - time) < 1e-9) return curve.volts[left];
    const double part = (time - curve.times[left]) / (curve.times[right] - curve.times[left]);
    return curve.volts[left] + part * (curve.volts[right] - curve.volts[left]);
}

AcquisitionSettings RandomStimulus(std::mt19937& random, float times) {
    const auto draw = [&](float most) { return std::uniform_real_distribution<float>(0.0f, most)(random); };
    AcquisitionSettings settings;
    settings.m_nDacInUse = 2;
    settings.m_dPreviewSpan = 60.0;
    settings.m_dOutputFreqKHz = 7.0;
    for (DacChannel& channel : settings.dac) {
        channel.m_fDcLevel = draw(1.0f);
        channel.pulses.resize(12);
        for (COutputPulse& pulse : channel.pulses) {
            pulse.m_fDelay = draw(30.0f);
            pulse.m_fOnRamp = draw(1.0f) < 0.5f ? 0.0f : draw(4.0f);
            pulse.m_fPlateau = draw(5.0f);
            pulse.m_fOffRamp = draw(1.0f) < 0.5f ? 0.0f : draw(4.0f);
            pulse.m_fAmplitude = times * (draw(3.0f) - 1.0f);
            pulse.m_fStepDelay = draw(2.0f) - 1.0f;
            pulse.m_fStepAmplitude = draw(0.5f);
            pulse.m_nSeqCount = 4;
        }
    }
    return settings;
}

TEST(StimulusPreview, APulseHasItsCorners) {
    AcquisitionSettings settings;
    settings.m_nDacInUse = 1;
    settings.m_dOutputFreqKHz = 1.0;
    settings.m_dPreviewSpan = 20.0;
    settings.dac[0].m_fDcLevel = 0.5f;
    settings.dac[0].pulses = TrainPulses({3.0f, 2.0f, 1.0f, 0.0f, 1});
    const StimulusPreview preview(settings, UnknownBoard());
    // 3 + 2 + 1 ms at 1 kHz are played; then the output stays.
    EXPECT_EQ(preview.Size().samplesPerChannel, 6);
    EXPECT_EQ(PointsOf(preview.Curves().at(0)),
              (Points{{0, 0.5}, {2, 0.5}, {3, 0.5}, {3, 1.5}, {4, 1.5}, {5, 1.5}, {5, 0.5}, {20, 0.5}}));
    EXPECT_TRUE(preview.Warnings().empty());
    EXPECT_EQ(preview.GetGraph().panes.at(0).x.unit, "ms");
}

TEST(StimulusPreview, ShowsTheVoltsThatAreQueued) {
    std::mt19937 random(17);
    const DacRange range = UnknownBoard().OutputRange();
    const double code = double{range.Span()} / range.m_nDacCodes;
    for (const int64_t index : {0, 1, 2, 3, 9}) {
        // Every other one reaches beyond the range.
        const AcquisitionSettings settings = RandomStimulus(random, index % 2 == 1 ? 12.0f : 1.0f);
        const StimulusPreview preview(settings, UnknownBoard(), {index, false});
        PulseCodes codes(settings.dac, index, range, {settings.m_dOutputFreqKHz, false});
        int64_t sample = 0;
        float last[2] = {};
        for (auto next = codes.Next(); !next.empty(); next = codes.Next())
            for (size_t i = 0; i < next.size(); i += 2, ++sample)
                for (size_t output = 0; output < 2; ++output) {
                    last[output] = range.ToVolts(next[i + output]);
                    const double time = static_cast<double>(sample) / settings.m_dOutputFreqKHz;
                    if (time > settings.m_dPreviewSpan) continue;
                    // A code is the one at or below the value.
                    ASSERT_NEAR(ShownAt(preview.Curves()[output], time), last[output] + code / 2, code)
                        << "index " << index << ", output " << output << ", sample " << sample;
                }
        for (size_t output = 0; output < 2; ++output)
            EXPECT_NEAR(preview.Curves()[output].volts.back(), last[output], 2 * code);
    }
}

TEST(StimulusPreview, SequencesStandBehindEachOther) {
    AcquisitionSettings settings;
    settings.m_nDacInUse = 1;
    settings.dac[0].pulses = TrainPulses({1.0f, 1.0f, 1.0f, 0.0f, 1});
    COutputPulse& pulse = settings.dac[0].pulses[0];
    pulse.m_fStepAmplitude = 0.5f;
    const auto highest = [](const std::vector<double>& volts) { return *std::ranges::max_element(volts); };
    for (const auto& [count, layers] : {std::pair(1, 1), std::pair(3, 3), std::pair(INT32_MAX, 25)}) {
        pulse.m_nSeqCount = count;
        const Graph graph = StimulusPreview(settings, UnknownBoard(), {1, true}).GetGraph();
        ASSERT_EQ(graph.panes[0].layers.size(), static_cast<size_t>(layers)) << count;
        EXPECT_EQ(highest(graph.panes[0].layers.back().y), count == 1 ? 1.0 : 1.5);
    }
    // A long cycle ends at the range.
    const Graph graph = StimulusPreview(settings, UnknownBoard(), {1, true}).GetGraph();
    EXPECT_EQ(highest(graph.panes[0].layers[23].y), 10.0);
}

TEST(StimulusPreview, WarnsOfWhatWillNotGo) {
    AcquisitionSettings settings;
    EXPECT_EQ(StimulusPreview(settings, UnknownBoard()).GetGraph().panes[0].title,
              "No output channels defined.");
    settings.m_nDacInUse = 1;
    settings.dac[0].pulses = TrainPulses({0.0f, 1.0f, 12.0f, 0.0f, 1});
    const auto warnings = [&] { return StimulusPreview(settings, UnknownBoard()).Warnings(); };
    EXPECT_EQ(warnings(), std::vector<std::string>{"Output 1 is cut at the board's range of -10 to 10 V."});
    settings.dac[0].pulses = TrainPulses({0.0f, 249999.0f, 1.0f, 0.0f, 1});
    EXPECT_TRUE(warnings().empty()) << "exactly ten million bytes";
    settings.dac[0].pulses[0].m_fPlateau += 1.0f;
    EXPECT_EQ(warnings(), std::vector<std::string>{OutputSize::manyBytesText});
    settings.m_nStimMode = 2;
    EXPECT_EQ(warnings(), std::vector<std::string>{"No output file defined."});
    settings.m_nDacInUse = 0;
    EXPECT_EQ(warnings(), std::vector<std::string>{"Number of output channels to use = 0."});
    // The rate of the board counts where one answers.
    BoardFacts board = UnknownBoard();
    board.rate = [](Subsystem, int, double) { return std::optional(5.0); };
    board.rates = [](Subsystem, int) { return std::optional(FrequencyRange{1.0, 5000.0}); };
    settings.m_nStimMode = 0;
    settings.m_nDacInUse = 1;
    const StimulusPreview preview(settings, board);
    EXPECT_EQ(preview.RateKHz(), 5.0);
    EXPECT_EQ(preview.Warnings().at(0),
              "The frequency is outside the allowed range for this number of channels. Setting to closest "
              "value.");
}

TEST(StimulusPreview, TenThousandPulsesTakeNoTime) {
    AcquisitionSettings settings;
    settings.m_nDacInUse = 2;
    settings.m_dPreviewSpan = 1e9;
    for (DacChannel& channel : settings.dac) channel.pulses = TrainPulses({0.0f, 1.0f, 1.0f, 3.0f, 10000});
    const auto start = std::chrono::steady_clock::now();
    const StimulusPreview preview(settings, UnknownBoard());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
    EXPECT_GE(preview.Curves()[0].times.size(), 40000u);
}

}  // namespace
}  // namespace kymora::test
