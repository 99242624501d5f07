#include "recording/pulse_train.h"

#include <gtest/gtest.h>

namespace kymora::test {
namespace {

COutputPulse Pulse(float delay, float plateau, float amplitude) {
    COutputPulse pulse;
    pulse.m_fDelay = delay;
    pulse.m_fPlateau = plateau;
    pulse.m_fAmplitude = amplitude;
    return pulse;
}

TEST(PulseTrain, BecomesPulsesAndBack) {
    EXPECT_EQ(TrainPulses({5.0f, 2.0f, 1.5f, 15.0f, 3}),
              (std::vector{Pulse(5.0f, 2.0f, 1.5f), Pulse(20.0f, 2.0f, 1.5f), Pulse(35.0f, 2.0f, 1.5f)}));
    // Intervals that no float meets come back as they were entered.
    for (const PulseTrain& train :
         {PulseTrain{}, PulseTrain{1.1f, 0.5f, -2.0f, 0.0f, 1}, PulseTrain{0.3f, 0.5f, 1.0f, 0.1f, 10000},
          PulseTrain{1000.7f, 0.5f, 1.0f, 33.333f, 777}, PulseTrain{5.0f, 1.0f, 1.0f, 0.0f, 4}}) {
        const auto found = TrainOf(TrainPulses(train));
        ASSERT_TRUE(found);
        EXPECT_EQ(*found, train) << found->interval;
    }
}

TEST(PulseTrain, OfPulsesThatAreNoneThereIsNone) {
    const std::vector<COutputPulse> train = TrainPulses({5.0f, 2.0f, 1.5f, 15.0f, 4});
    const auto changed = [&](auto change) {
        std::vector<COutputPulse> pulses = train;
        change(pulses[2]);
        return TrainOf(pulses);
    };
    EXPECT_FALSE(changed([](COutputPulse& p) { p.m_fDelay += 0.01f; }));
    EXPECT_FALSE(changed([](COutputPulse& p) { p.m_fAmplitude = 1.0f; }));
    EXPECT_FALSE(changed([](COutputPulse& p) { p.m_fOnRamp = 0.1f; }));
    EXPECT_FALSE(changed([](COutputPulse& p) { p.m_fStepDelay = 0.1f; }));
    EXPECT_FALSE(TrainOf(std::vector{Pulse(5.0f, 1.0f, 1.0f), Pulse(4.0f, 1.0f, 1.0f)}));
}

TEST(PulseTrain, IsSetByKeysInAnyOrder) {
    AcquisitionSettings settings;
    TrainEditor trains;
    EXPECT_FALSE(trains.Set(settings, "dac1.train.number", "3")) << "no output is in use";
    settings.m_nDacInUse = 1;
    EXPECT_FALSE(trains.Set(settings, "dac2.train.number", "3"));
    EXPECT_FALSE(trains.Set(settings, "dac1.train.none", "3"));
    // The interval counts though there is a single pulse yet.
    for (const auto& [key, text] : std::vector<std::pair<const char*, const char*>>{
             {"interval", "15"}, {"amplitude", "1.5"}, {"delay", "5"}, {"duration", "2"}, {"number", "3"}})
        EXPECT_EQ(trains.Set(settings, std::string("dac1.train.") + key, text), "") << key;
    EXPECT_EQ(settings.dac[0].pulses, TrainPulses({5.0f, 2.0f, 1.5f, 15.0f, 3}));
    for (const auto& [key, text] : std::vector<std::pair<const char*, const char*>>{
             {"number", "100001"}, {"number", "2.5"}, {"delay", "-1"}, {"interval", "1e39"}, {"delay", "x"}})
        EXPECT_NE(trains.Set(settings, std::string("dac1.train.") + key, text).value_or(""), "") << text;
    EXPECT_EQ(settings.dac[0].pulses.size(), 3u);
    // Pulses that were set otherwise meanwhile are looked at anew.
    settings.dac[0].pulses = {Pulse(7.0f, 3.0f, 1.0f)};
    EXPECT_EQ(trains.Set(settings, "dac1.train.amplitude", "4"), "");
    EXPECT_EQ(settings.dac[0].pulses, std::vector{Pulse(7.0f, 3.0f, 4.0f)});
}

TEST(PulseTrain, PulsesAreDeletedOneByOneAndAllTogether) {
    std::vector<COutputPulse> pulses = TrainPulses({0.0f, 1.0f, 1.0f, 10.0f, 3});
    EXPECT_EQ(DeletePulse(pulses, 0), "Please select a pulse (id > 0) to delete.");
    EXPECT_EQ(DeletePulse(pulses, 4), "Please select a pulse (id > 0) to delete.");
    EXPECT_EQ(DeletePulse(pulses, 2), "");
    EXPECT_EQ(pulses, (std::vector{Pulse(0.0f, 1.0f, 1.0f), Pulse(20.0f, 1.0f, 1.0f)}));
    EXPECT_EQ(DeleteAllPulses(pulses), "");
    EXPECT_EQ(DeleteAllPulses(pulses), "There are no pulses on this channel to delete.");
    EXPECT_EQ(DeletePulse(pulses, 1), "There are no pulses on this channel to delete.");
}

}  // namespace
}  // namespace kymora::test
