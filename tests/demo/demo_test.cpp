#include "demo/demo_recordings.h"

#include "demo/spike_units.h"
#include "support/session_fixture.h"
#include <algorithm>
#include <cmath>

namespace kymora {
namespace {

struct DemoTest : test::SessionTest {
    DemoTest() { session.seed = 3; }
};

std::vector<double> ReadTrace(CDataDoc& doc, int trace) {
    const std::vector<float> values = test::SessionTest::SamplesOf(doc, trace);
    return {values.begin(), values.end()};
}

TEST(PortableRandom, FunctionsAgreeWithTheLibrary) {
    for (double x = 0.0; x < 40.0; x += 0.37) {
        EXPECT_NEAR(ExpOfMinus(x) / std::exp(-x), 1.0, 1e-11);
        EXPECT_NEAR(SineOfTurns(x - 20.0), std::sin(2.0 * M_PI * (x - 20.0)), 1e-11);
    }
    EXPECT_EQ(ExpOfMinus(1000.0), 0.0);
    PortableRandom random(1, 2);
    double sum = 0.0;
    double squares = 0.0;
    for (int i = 0; i < 100000; ++i) {
        const double value = random.Normal();
        sum += value;
        squares += value * value;
    }
    EXPECT_NEAR(sum / 100000, 0.0, 4.0 / std::sqrt(100000.0));
    EXPECT_NEAR(squares / 100000, 1.0, 0.02);
}

TEST_F(DemoTest, TheSameSeedGivesTheSameBytesAndAnotherDoesNot) {
    for (const DemoRecording& recording : DemoRecordings()) {
        WriteDemoRecording(session, recording, "/a");
        session.now = [] { return std::time_t{0}; };
        WriteDemoRecording(session, recording, "/b");
        EXPECT_TRUE(files.Bytes("/a") == files.Bytes("/b")) << recording.fileName;
        session.seed = 4;
        WriteDemoRecording(session, recording, "/c");
        EXPECT_FALSE(files.Bytes("/a") == files.Bytes("/c")) << recording.fileName;
        session.seed = 3;
    }
}

// The average of the recording around the true peaks shows the unit alone: noise, hum and other units average
// out.
TEST_F(DemoTest, SpikesPeakWhereTheTruthSays) {
    const auto doc = MakeDemoSpikes(session);
    for (int unit = 0; unit < demoUnits; ++unit) {
        const CEventChan& truth = doc->eventChannels[static_cast<size_t>(unit)];
        ASSERT_GT(truth.GetNumEvents(), 150);
        const int trace = truth.parentTrace;
        const std::vector<double> samples = ReadTrace(*doc, trace);
        constexpr int reach = 15;
        std::vector<double> average(2 * reach + 1, 0.0);
        double value = 0.0;
        for (const CEventKM& event : truth.Events()) {
            for (int k = -reach; k <= reach; ++k)
                average[static_cast<size_t>(k + reach)] += samples[static_cast<size_t>(event.onPosition + k)];
            value += event.eventValue;
        }
        for (double& sample : average) sample /= truth.GetNumEvents();
        value /= truth.GetNumEvents();
        const auto peak = std::max_element(average.begin(), average.end(),
                                           [](double a, double b) { return std::abs(a) < std::abs(b); });
        EXPECT_NEAR(static_cast<double>(peak - average.begin()), reach, 1.0) << "unit " << unit + 1;
        EXPECT_NEAR(*peak / value, 1.0, 0.1) << "unit " << unit + 1;
    }
}

TEST_F(DemoTest, GapsStandWhereTheChannelsSay) {
    const auto doc = MakeDemoGaps(session);
    ASSERT_TRUE(doc->hasGaps);
    EXPECT_EQ(doc->GetLength(), 60000);
    EXPECT_EQ(doc->GetTraceLength(1), 60000);
    for (int trace = 0; trace < 2; ++trace) {
        std::vector<float> values(60000);
        std::vector<uint8_t> valid(60000);
        doc->ReadBlock(trace, 0, values, valid);
        const CEventChan& gaps = doc->eventChannels[static_cast<size_t>(trace)];
        for (int32_t at = 0; at < 60000; ++at)
            ASSERT_EQ(valid[static_cast<size_t>(at)] == 0, gaps.FindEventAt(at) >= 0) << trace << " " << at;
    }
    for (const CEventKM& beat : doc->eventChannels[2].Events()) {
        std::vector<float> near(41);
        doc->ReadBlock(0, beat.onPosition - 20, near);
        if (beat.onPosition < 20) continue;
        EXPECT_NEAR(std::max_element(near.begin(), near.end()) - near.begin(), 20, 4);
    }
}

TEST_F(DemoTest, EvokedPotentialsHaveTheSizeAndOnsetOfTheTruth) {
    const auto doc = MakeDemoEpisodic(session);
    EXPECT_TRUE(doc->episodic);
    EXPECT_TRUE(doc->eventChannels[0].channelLocked);
    ASSERT_EQ(doc->GetNumEvents(0), 24);
    EXPECT_EQ(doc->GetOn(0, 0), 0);
    EXPECT_EQ(doc->GetNumEvents(2) + doc->GetNumEvents(3), 24);
    EXPECT_GT(doc->GetNumEvents(3), 0) << "some synapses fail";
    const std::vector<double> membrane = ReadTrace(*doc, 0);
    // The textbook time of the peak of a difference of exponentials.
    const double peakMs = std::log(14.0 / 1.5) * 14.0 * 1.5 / (14.0 - 1.5);
    for (const CEventKM& event : doc->eventChannels[2].Events()) {
        const int32_t peak = event.onPosition + static_cast<int32_t>(peakMs / 0.1);
        double mean = 0.0;
        for (int32_t at = peak - 10; at < peak + 10; ++at) mean += membrane[static_cast<size_t>(at)] / 20.0;
        EXPECT_NEAR(mean + 65.0, event.eventValue, 0.25);
    }
}

}  // namespace
}  // namespace kymora
