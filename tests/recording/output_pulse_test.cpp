#include "recording/output_pulse.h"

#include <gtest/gtest.h>

#include <limits>

#include "host/memory_file_system.h"
#include "support/bytes.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

constexpr int32_t lowest = std::numeric_limits<int32_t>::min();
constexpr int32_t highest = std::numeric_limits<int32_t>::max();

COutputPulse Stepped(int32_t count, int32_t mode) {
    COutputPulse pulse;
    pulse.m_fStepDelay = 1.0f;
    pulse.m_nSeqCount = count;
    pulse.m_eSeqMode = mode;
    return pulse;
}

TEST(OutputPulseTest, SequencesGoAsTheirModesSay) {
    struct {
        int32_t count, mode;
        std::vector<int64_t> multipliers;  // at 0, 1, 2, ...
    } const rows[] = {
        {4, 0, {0, 1, 2, 3, 3, 3, 3, 3}},
        {4, 1, {0, 1, 2, 3, 0, 1, 2, 3}},
        {4, 2, {0, 1, 2, 3, 2, 1, 0, 0, 0, 0}},
        {4, 3, {0, 1, 2, 3, 2, 1, 0, 1, 2, 3, 2}},
        {4, 4, {0, 1, 2, 3, 0, 0, 0, 0}},
        {2, 3, {0, 1, 0, 1, 0}},
        {1, 0, {0, 0, 0}},
        {1, 1, {0, 0, 0}},
        {1, 2, {0, 0, 0}},
        {1, 3, {0, 0, 0}},
        {1, 4, {0, 0, 0}},
        {0, 3, {0, 0, 0}},
        {lowest, 3, {0, 0, 0}},
        {highest, 2, {0, 1, 2, 3}},
        {4, 9, {0, 0, 0}},
        {4, -1, {0, 0, 0}},
    };
    for (const auto& row : rows)
        for (size_t k = 0; k < row.multipliers.size(); ++k)
            EXPECT_EQ(Stepped(row.count, row.mode).SequenceMultiplier(static_cast<int64_t>(k)),
                      row.multipliers[k])
                << row.count << " mode " << row.mode << " at " << k;
    EXPECT_EQ(Stepped(highest, 3).SequenceMultiplier(int64_t{highest}), int64_t{highest} - 2);
    EXPECT_EQ(Stepped(highest, 1).SequenceMultiplier(int64_t{highest}), 0);
    EXPECT_EQ(Stepped(highest, 0).SequenceMultiplier(highest), highest - 1);
}

TEST(OutputPulseTest, StepsAreAddedAndHeld) {
    const DacRange range{5.0f, -2.5f, 4096, 0};
    COutputPulse pulse = Stepped(10, 0);
    pulse.m_fDelay = 10.0f;
    pulse.m_fOnRamp = 1.0f;
    pulse.m_fStepOnRamp = -0.75f;
    pulse.m_fStepOffRamp = 0.25f;
    pulse.m_fStepPlateau = 0.5f;
    pulse.m_fAmplitude = 1.0f;
    pulse.m_fStepAmplitude = 1.5f;
    TestHost host;
    const COutputPulse third = pulse.GetSequencePulse(3, range, &host);
    EXPECT_EQ(host.LogText(), "In GetSequencePulse(); iMult = 3\n");
    EXPECT_EQ(third.m_fDelay, 13.0f);
    EXPECT_EQ(third.m_fOnRamp, 0.0f) << "not below 0";
    EXPECT_EQ(third.m_fOffRamp, 0.75f);
    EXPECT_EQ(third.m_fPlateau, 1.5f);
    EXPECT_EQ(third.m_fAmplitude, 5.0f) << "not above the range";
    pulse.m_fStepAmplitude = -1.5f;
    EXPECT_EQ(pulse.GetSequencePulse(9, range).m_fAmplitude, -2.5f);
    pulse.m_fAmplitude = 30.0f;
    EXPECT_EQ(pulse.GetSequencePulse(0, range), pulse) << "nothing is held at the start";
    EXPECT_EQ(COutputPulse().GetSequencePulse(5, range), COutputPulse());
}

TEST(OutputPulseTest, SamplesOfRampsAndPlateau) {
    COutputPulse pulse;
    pulse.m_fDelay = 0.25f;  // 2.5 samples: half goes up
    pulse.m_fOnRamp = 0.4f;
    pulse.m_fPlateau = 0.2f;
    pulse.m_fOffRamp = 0.5f;
    pulse.m_fAmplitude = 2.0f;
    pulse.SetFrequency(10.0);
    const std::vector<float> wanted = {0, 0, 0, 0, 0.5f, 1, 1.5f, 2, 2, 2, 0, 0, 0, 0};
    EXPECT_EQ(pulse.m_nStart, 3);
    EXPECT_EQ(pulse.m_nOnEnd, 7);
    EXPECT_EQ(pulse.m_nPlateauEnd, 9);
    EXPECT_EQ(pulse.m_nEnd, 14);
    for (int i = -1; i < 10; ++i)
        EXPECT_EQ(pulse.Value(i), i < 0 ? 0.0f : wanted[static_cast<size_t>(i)]) << i;
    for (int i = 0; i < 5; ++i)  // f32, as 2 - i * f32(2 / 5)
        EXPECT_EQ(pulse.Value(9 + i), 2.0f - static_cast<float>(i) * 0.4f) << i;
    EXPECT_EQ(pulse.Value(14), 0.0f);

    // A ramp without length is a step, and pulses that overlap add up.
    COutputPulse step;
    step.m_fPlateau = 1.0f;
    step.m_fAmplitude = -0.5f;
    step.SetFrequency(10.0);
    const COutputPulse both[] = {pulse, step};
    EXPECT_EQ(ChannelValue(0.25f, both, 0), -0.25f);
    EXPECT_EQ(ChannelValue(0.25f, both, 7), 1.75f);
    EXPECT_EQ(ChannelValue(0.25f, both, 20), 0.25f);

    pulse.m_fDelay = pulse.m_fPlateau = 3e38f;
    pulse.SetFrequency(1e9);
    EXPECT_EQ(pulse.m_nEnd, highest) << "held, not overflown";
    EXPECT_EQ(pulse.Value(highest), 0.0f);
}

TEST(OutputPulseTest, CodesOfTheConverter) {
    const DacRange binary{10.0f, -10.0f, 65536, 0}, twos{10.0f, -10.0f, 65536, 1}, odd{5.0f, 0.0f, 4096, 1};
    struct {
        DacRange range;
        float volts;
        int32_t code;
    } const rows[] = {
        {binary, 0.0f, 32768},
        {binary, -10.0f, 0},
        {binary, 10.0f, 65535},
        {binary, 99.0f, 65535},
        {binary, -99.0f, 0},
        {binary, 5.0f, 49152},
        {binary, 0.0003f, 32768},
        {binary, 0.00031f, 32769},
        {binary, -0.0001f, 32767},
        {twos, 0.0f, 0},
        {twos, 10.0f, 32767},
        {twos, -10.0f, -32768},
        {twos, -0.0003f, 0},
        {twos, 5.0f, 16384},
        {odd, 2.5f, 0},
        {odd, 0.0f, -2048},
        {odd, 5.0f, 2047},
        {odd, 3.75f, 1024},
        {binary, std::numeric_limits<float>::quiet_NaN(), 0},
    };
    for (const auto& [range, volts, code] : rows) EXPECT_EQ(range.ToDacCode(volts), code) << volts;
    EXPECT_EQ(binary.ToVolts(49152), 5.0f);
    EXPECT_EQ(twos.ToVolts(0xC000), -5.0f) << "only the bits of the resolution";
    EXPECT_EQ(twos.ToVolts(-16384), -5.0f);
    for (const DacRange& range : {binary, twos, odd, DacRange{10.0f, -10.0f, 1 << 24, 0}}) {
        const int32_t first = range.m_nDacEncoding == 1 ? -range.m_nDacCodes / 2 : 0;
        for (int32_t code = first; code < first + range.m_nDacCodes; code += 1021)
            EXPECT_NEAR(range.ToDacCode(range.ToVolts(code)), code, 1);
    }
}

TEST(OutputPulseTest, TheSizeHasRoomForTheLongestPulse) {
    COutputPulse brief, longer;
    brief.m_fPlateau = 5.0f;
    longer.m_fDelay = 10.0f;
    longer.m_fOnRamp = longer.m_fOffRamp = 0.5f;
    longer.m_fPlateau = 2.0f;
    longer.m_fStepDelay = 100.0f;
    longer.m_nSeqCount = 3;
    const std::vector<std::vector<COutputPulse>> channels = {{brief}, {brief, longer}};
    const DacRange range;
    OutputSize size = SizeOfOutput(channels, 0, range, {20.0, false});
    EXPECT_EQ(size.samplesPerChannel, 280);  // (13 + 1) ms
    EXPECT_EQ(size.total, 560);
    EXPECT_EQ(SizeOfOutput(channels, 2, range, {20.0, false}).samplesPerChannel, 4280);
    size = SizeOfOutput(channels, 0, range, {20.0, true});
    EXPECT_EQ(size.samplesPerChannel, 280000);
    EXPECT_FALSE(size.TakesManyBytes(2));
    EXPECT_TRUE(SizeOfOutput(channels, 0, range, {200.0, true}).TakesManyBytes(2));
    EXPECT_EQ(SizeOfOutput({}, 0, range, {}).total, 8);
    EXPECT_EQ(SizeOfOutput(std::vector<std::vector<COutputPulse>>(1), 0, range, {}).total, 8) << "no pulses";
    COutputPulse endless;
    endless.m_fPlateau = 3e38f;
    const std::vector<std::vector<COutputPulse>> long_ = {{endless}, {endless}};
    EXPECT_EQ(SizeOfOutput(long_, 0, range, {1e6, true}).total, int64_t{1} << 60);
}

TEST(OutputPulseTest, TheFileHasTheRecordTheStepsInItsOrderCountAndMode) {
    Bytes bytes;
    for (int i = 1; i <= 10; ++i) bytes.F32(static_cast<float>(i));
    bytes.I32(7).I32(3);
    MemoryFile file;
    file.Bytes() = bytes.data;
    COutputPulse pulse;
    CArchive reading(file, CArchive::Mode::load);
    pulse.Serialize(reading);
    EXPECT_EQ(pulse.m_fOffRamp, 3.0f);
    EXPECT_EQ(pulse.m_fPlateau, 4.0f);
    EXPECT_EQ(pulse.m_fStepDelay, 6.0f);
    EXPECT_EQ(pulse.m_fStepOffRamp, 8.0f);
    EXPECT_EQ(pulse.m_fStepPlateau, 9.0f);
    EXPECT_EQ(pulse.m_fStepAmplitude, 10.0f);
    EXPECT_EQ(pulse.m_nSeqCount, 7);
    EXPECT_TRUE(pulse.HasSequence());
    MemoryFile again;
    CArchive writing(again, CArchive::Mode::store);
    pulse.Serialize(writing);
    writing.Close();
    EXPECT_EQ(again.Bytes(), bytes.data);
    EXPECT_EQ(bytes.Size(), COutputPulse::storedBytes);
}

}  // namespace
}  // namespace kymora::test
