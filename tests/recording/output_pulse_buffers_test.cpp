#include "recording/output_pulse_buffers.h"

#include <gtest/gtest.h>

#include <random>

#include "host/memory_file_system.h"
#include "support/memory_doc.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

std::vector<int32_t> AllOf(OutputCodes& codes) {
    std::vector<int32_t> all;
    for (auto next = codes.Next(); !next.empty(); next = codes.Next()) {
        EXPECT_LE(next.size(), outputBufferSamples);
        all.insert(all.end(), next.begin(), next.end());
    }
    return all;
}

// Pulses that overlap, begin before 0, and reach over buffers.
std::vector<DacChannel> ManyPulses(size_t channels) {
    std::mt19937 random(7);
    const auto draw = [&random](float most) {
        return static_cast<float>(random() % 100000u) * most / 100000.0f;
    };
    std::vector<DacChannel> made(channels);
    for (DacChannel& channel : made) {
        channel.m_fDcLevel = draw(1.0f);
        for (int i = 0; i < 200; ++i) {
            COutputPulse& pulse = channel.pulses.emplace_back();
            pulse.m_fDelay = draw(900.0f) - 5.0f;
            pulse.m_fOnRamp = draw(20.0f);
            pulse.m_fPlateau = draw(60.0f);
            pulse.m_fOffRamp = draw(9.0f);
            pulse.m_fAmplitude = draw(2.0f) - 1.0f;
            pulse.m_fStepDelay = draw(3.0f);
            pulse.m_nSeqCount = 4;
        }
    }
    return made;
}

TEST(OutputPulseBuffersTest, CodesAreThoseOfEachSampleByItself) {
    const DacRange range{5.0f, -5.0f, 65536, 1};
    const OutputTiming timing{33.3, false};
    for (const size_t count : {1u, 2u}) {
        const auto channels = ManyPulses(count);
        PulseCodes codes(channels, 2, range, timing);
        const std::vector<int32_t> all = AllOf(codes);
        ASSERT_EQ(all.size(), static_cast<size_t>(codes.Total()));
        ASSERT_GT(all.size(), 2 * outputBufferSamples);
        for (size_t c = 0; c < count; ++c) {
            std::vector<COutputPulse> pulses;
            for (const COutputPulse& pulse : channels[c].pulses) {
                pulses.push_back(pulse.GetSequencePulse(2, range));
                pulses.back().SetFrequency(33.3);
            }
            for (size_t i = 0; i < all.size() / count; ++i) {
                const float volts = ChannelValue(channels[c].m_fDcLevel, pulses, static_cast<int64_t>(i));
                ASSERT_EQ(all[i * count + c], range.ToDacCode(volts)) << c << " " << i;
            }
        }
    }
}

TEST(OutputPulseBuffersTest, TheNumberOfCodesIsEvenAndNeverNothing) {
    std::vector<DacChannel> one(1);
    one[0].m_fDcLevel = 10.0f;
    PulseCodes level(one, 0, {}, {});
    EXPECT_EQ(AllOf(level), std::vector<int32_t>(8, 65535));
    one[0].pulses.emplace_back().m_fPlateau = 2.0f;
    PulseCodes odd(one, 0, {}, {1.0, false});
    EXPECT_EQ(odd.Total(), 2) << "of 3";
}

TEST(OutputPulseBuffersTest, MuchMemoryIsAskedFor) {
    std::vector<DacChannel> one(1);
    one[0].pulses.emplace_back().m_fPlateau = 600.0f;
    TestHost host;
    host.nextAnswers = {true, false};
    PulseCodes codes(one, 0, {}, {20.0, true});
    int buffers = 0;
    EXPECT_FALSE(BuildPulseBuffers(codes, host, [&](std::span<const int32_t>) { return ++buffers > 0; }));
    EXPECT_EQ(buffers, 1000);
    ASSERT_EQ(host.questions.size(), 2u);
    EXPECT_EQ(host.questions[1].text, "You have allocated 20 MB of output buffer. Continue?");
    buffers = 0;
    BuildPulseBuffers(codes, host, [&](std::span<const int32_t>) { return ++buffers < 3; });
    EXPECT_EQ(buffers, 3) << "a board that takes no more ends it";
}

TEST(OutputPulseBuffersTest, TracesInMillivolts) {
    MemoryFileSystem files;
    TestHost host;
    Session session(host, files);
    std::vector<std::vector<float>> samples(3);
    for (int i = 0; i < 12001; ++i) {
        samples[0].push_back(static_cast<float>(i));
        samples[1].push_back(-5000.0f);
        samples[2].push_back(1.0f);
    }
    const auto doc = MemoryDoc::Make(session, samples, 0.05);
    const DacRange range{10.0f, -10.0f, 65536, 0};
    FileCodes codes(*doc, 1, 12000, std::vector<int>{0, 1, 2}, 2, range);
    EXPECT_EQ(codes.Total(), 24000);
    EXPECT_EQ(codes.Frequency(), 20.0);
    std::vector<int32_t> all;
    EXPECT_TRUE(BuildFileBuffers(codes, host, [&](std::span<const int32_t> part) {
        all.insert(all.end(), part.begin(), part.end());
        return true;
    }));
    ASSERT_EQ(all.size(), 24000u);
    EXPECT_EQ(all[2 * 4999], 49152) << "5 V";
    EXPECT_EQ(all[2 * 11999], 65535) << "held to the range";
    EXPECT_EQ(all[1], 16384);
    // What a recording holds in another unit plays at the same voltage.
    FileCodes inVolts(*doc, 0, 2, std::vector<int>{0, 1}, 2, range, {UnitsPerVolt("V"), UnitsPerVolt("")});
    float held = 0.0f;
    doc->ReadBlock(0, 1, std::span(&held, 1));
    EXPECT_EQ(inVolts.Next()[2], range.ToDacCode(held));
    EXPECT_EQ(UnitsPerVolt("uV"), 1e6);
    FileCodes odd(*doc, 0, 3, std::vector<int>{0}, 2, range);
    EXPECT_EQ(odd.Total(), 4);
    std::vector<int32_t> played;
    EXPECT_TRUE(BuildFileBuffers(odd, host, [&](std::span<const int32_t> part) {
        played.insert(played.end(), part.begin(), part.end());
        return true;
    }));
    ASSERT_EQ(played.size(), 4u);
    EXPECT_EQ(played[3], played[2]);
    EXPECT_EQ(played[2], range.ToDacCode(0.002f));
}

}  // namespace
}  // namespace kymora::test
