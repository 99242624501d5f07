// Recordings of the simulated board. Its counter is held against plain counting, sample by sample.

#include <random>

#include "support/engine_fixture.h"

namespace kymora::test {
namespace {

TEST_F(EngineTest, EverySampleOfACounterIsStored) {
    const struct {
        int channels, bits, encoding;
        double interval, limit;
        uint32_t mask;
    } cases[] = {{1, 16, 0, 1.0, 0.2, 0xFFFF},         {16, 16, 0, 0.05, 0.5, 0xFFFF},
                 {3, 12, 1, 0.1, 0.3, 0x0FFF},         {2, 8, 0, 0.02, 0.1, 0x00FF},
                 {5, 24, 0, 0.05, 0.2, 0xFFFFFFFF},    {16, 16, 1, 0.01, 0.25, 0xFFFF},
                 {1, 16, 0, 1000.0 / 3.0, 0.0, 0xFFFF}};
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.channels << " channels, " << c.bits << " bits");
        board.bits = c.bits;
        board.encoding = c.encoding;
        Open(c.channels);
        view->m_settings.m_dSampleInterval = c.interval;
        view->m_settings.m_dTimeLimit = c.limit;
        view->m_settings.displaySpan = 5000.0;
        ASSERT_TRUE(RunWhole()) << host.LastMessage();
        const auto codes = Codes();
        const double frequency = 1.0 / view->m_settings.m_dSampleInterval;
        const auto scans = static_cast<size_t>(std::llround(c.limit * frequency * 1000.0) + 1);
        EXPECT_EQ(codes.size(), scans * static_cast<size_t>(c.channels));
        EXPECT_EQ(Lost(codes, c.mask), 0);
        EXPECT_EQ(Saved()->m_nEncoding, c.bits > 16 ? 2u : static_cast<uint32_t>(c.encoding));
        EXPECT_EQ(files.Count(), 1u);
    }
}

TEST_F(EngineTest, TheClockOfTheBoardIsWhatIsStored) {
    Open();
    view->m_settings.m_dSampleInterval = 1.0 / 30.0;
    ASSERT_TRUE(RunWhole());
    // 20 MHz over the nearest whole number, 667.
    EXPECT_DOUBLE_EQ(Saved()->sampleInterval, 667.0 / 20000.0);

    board.faults.answeredFrequency = 123.0;
    Open();
    ASSERT_TRUE(RunWhole());
    EXPECT_DOUBLE_EQ(Saved()->sampleInterval, 1000.0 / 123.0);
    EXPECT_EQ(Codes().size(), 26u);  // round(0.2 * 123) + 1

    board.faults.answeredFrequency = 0;
    Open();
    view->m_settings.m_dSampleInterval = 1e-4;
    view->m_settings.displaySpan = 1.0;
    view->m_settings.m_dTimeLimit = 0.001;
    ASSERT_TRUE(RunWhole());
    EXPECT_TRUE(WasTold("The frequency is outside the allowed range for this number of channels."));
    EXPECT_DOUBLE_EQ(Saved()->sampleInterval, 0.001);
}

TEST_F(EngineTest, ChecksBeforeAStartSayWhatIsWrong) {
    const auto on = [this](std::initializer_list<size_t> list) {
        for (auto& channel : view->m_settings.channels) channel.m_nChanOn = false;
        for (const size_t i : list) view->m_settings.channels[i].m_nChanOn = true;
    };
    const struct {
        ChannelListRule rule;
        std::function<void()> set;
        const char* text;
    } cases[] = {
        {ChannelListRule::any, [&] { view->m_settings.displaySpan = 7.4; },
         "We need at least 9 points on the screen."},
        {ChannelListRule::any, [&] { on({}); }, "No channel is on."},
        {ChannelListRule::inSequenceFromFirst,
         [&] {
             on({1, 2});
         },
         "The Simulated board board requires that active channels start with channel 1."},
        {ChannelListRule::inSequence,
         [&] {
             on({1, 3});
         },
         "The Simulated board board requires that active channels should be in unbroken numerical sequence."},
        {static_cast<ChannelListRule>(7), [&] {}, "Kymora did not recognize the AD channel list structure."},
        {ChannelListRule::any, [&] { files.freeSpace = 1000; },
         "There is no room for a recording on the disk."},
        {ChannelListRule::any,
         [&] {
             view->m_nDisplayWidth = 100;
             view->m_settings.displaySpan = 60000.0;
         },
         "The timebase is too slow for scroll mode to advance."},
        {ChannelListRule::any,
         [&] {
             view->m_settings.m_nTrigMode = 3;
             view->m_trigger.trace = 2;
         },
         "The trigger waits for trace 2, and 1 are recorded."},
        {ChannelListRule::any,
         [&] {
             view->m_settings.m_nTrigMode = 3;
             view->m_settings.channels[0].m_dChanGain = -1000.0;
             view->m_trigger = {1, 0.0101, false, 0};
         },
         "The trigger never comes: its level of 0.0101 V is not between -0.01 and 0.01 V"},
        {ChannelListRule::any, [&] { view->m_settings.m_dTimeLimit = 2147484.0; },
         "This file is too long to be handled by Kymora. Please contact the author.\nAt this rate a "
         "recording "
         "lasts 2147483 s at most."},
    };
    for (const auto& c : cases) {
        board.channelList = c.rule;
        files.freeSpace = {};
        host.messages.clear();
        Open();
        c.set();
        EXPECT_FALSE(view->OnAcqStart());
        EXPECT_TRUE(WasTold(c.text)) << c.text << "\n" << host.LastMessage();
        EXPECT_TRUE(view->IsIdle());
        view.reset();
        EXPECT_EQ(files.Count(), 0u);
    }
}

TEST_F(EngineTest, OneInterfaceRecordsAtATime) {
    board.speed = 1.0;
    Open();
    ASSERT_TRUE(view->OnAcqStart());
    EXPECT_FALSE(view->OnAcqStart());
    EXPECT_TRUE(WasTold("A recording is under way already."));
    PlainLoop otherLoop;
    CDTGenAcqView other(session, otherLoop, std::make_unique<SimulatedBoard>(board));
    ASSERT_TRUE(other.OpenBoard());
    EXPECT_FALSE(other.OnAcqStart());
    EXPECT_TRUE(WasTold("Another recording is under way."));
    view->OnAcqStop();
    EXPECT_TRUE(other.OnAcqStart());
    // Closing while it records stops it; what nobody saved is gone.
    EXPECT_TRUE(other.IsRunning());
}

TEST_F(EngineTest, AStopBeforeTheFirstBufferLeavesAValidFile) {
    board.speed = 0.001;
    Open();
    ASSERT_TRUE(view->OnAcqStart());
    view->OnAcqStop();
    EXPECT_TRUE(view->OnSave());
    EXPECT_EQ(Saved()->GetLength(), 0);
    view->OnAcqStop();  // nothing runs
    EXPECT_FALSE(view->OnSave());
}

// What goes wrong at a scan, what is said, and how much was stored: whole buffers of 20 scans.
TEST_F(EngineTest, WhateverEndsARecordingWhatCameUntilThenIsStored) {
    const struct {
        std::optional<int64_t> SimulatedFaults::*fault;
        const char* text;
    } cases[] = {{&SimulatedFaults::vanishAt, "The board does not answer any more."},
                 {&SimulatedFaults::overrunAt, "Overrun Error on input (reduce sample frequency)"},
                 {&SimulatedFaults::underrunAt, "Underrun Error on output (reduce sample frequency)"},
                 {&SimulatedFaults::nullAt, "NULL buffer in ADC BufferDone."},
                 {&SimulatedFaults::tornFrom, "Acquisition buffer not filled."}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        host.messages.clear();
        board.faults = {};
        board.faults.*c.fault = 90;
        Open(2);
        EXPECT_FALSE(RunWhole());
        EXPECT_TRUE(WasTold(c.text)) << host.LastMessage();
        EXPECT_EQ(Codes().size(), 2u * 100u);
        EXPECT_EQ(Lost(Codes(), 0xFFFF), 0);
        EXPECT_EQ(files.Count(), 1u);
    }
    board.faults = {};
    board.faults.shortFrom = 50;
    Open(2);
    EXPECT_TRUE(RunWhole());
    EXPECT_EQ(Codes().size(), 2u * 201u);
    EXPECT_EQ(Lost(Codes(), 0xFFFF), 0);

    board.faults = {};
    board.faults.stallAt = 100;
    board.faults.stallSeconds = 0.5;
    Open(2);
    EXPECT_TRUE(RunWhole());
    EXPECT_EQ(Lost(Codes(), 0xFFFF), 0);
}

// At ten times the clock of the wall the pipe holds 0.6 s.
TEST_F(EngineTest, ADiskMayStallForFiveSecondsOfDataAndNotForFifteen) {
    for (const bool isLong : {false, true}) {
        SCOPED_TRACE(isLong);
        host.messages.clear();
        Open(16);
        view->m_settings.m_dTimeLimit = isLong ? 60.0 : 10.0;
        std::atomic<bool> armed{false};
        faulty.beforeChange = [&] {
            if (armed.exchange(false))
                std::this_thread::sleep_for(std::chrono::milliseconds(isLong ? 1500 : 500));
        };
        ASSERT_TRUE(view->OnAcqStart());
        Run([&] { return view->StoredScans() > 100; });
        armed = true;
        Run();
        faulty.beforeChange = {};
        view->OnSave();
        const auto codes = Codes();
        EXPECT_EQ(Lost(codes, 0xFFFF), 0);
        EXPECT_EQ(view->HasFailed(), isLong);
        EXPECT_EQ(WasTold("Buffer overrun in attempting to save data to disk. Recording stopped."), isLong);
        // Six seconds were in the pipe when it was full, and all of them are stored.
        if (isLong)
            EXPECT_GE(codes.size(), 16u * 6000u);
        else
            EXPECT_EQ(codes.size(), 16u * 10001u);
    }
}

TEST_F(EngineTest, AFullDiskStopsCleanly) {
    // Told in time: the recording stops before.
    Open(16);
    view->m_settings.m_dTimeLimit = 3600.0;
    files.freeSpace = uint64_t{1} << 40;
    ASSERT_TRUE(view->OnAcqStart());
    Run([&] { return view->StoredScans() > 100; });
    files.freeSpace = (16u << 20) + 32000u * 300u;
    Run([&] { return WasTold("The disk has room for another 5 min of this recording."); });
    files.freeSpace = 16u << 20;
    Run();
    EXPECT_TRUE(WasTold("The disk is almost full."));
    EXPECT_TRUE(view->OnSave());
    EXPECT_GT(Codes().size(), 16u * 100u);
    EXPECT_EQ(Lost(Codes(), 0xFFFF), 0);

    // Not told: the write fails, and nothing before it is lost.
    files.freeSpace = {};
    Open(16);
    view->m_settings.m_dTimeLimit = 3600.0;
    faulty.freeBytes = 200000;
    ASSERT_TRUE(view->OnAcqStart());
    Run();
    EXPECT_TRUE(WasTold("The samples could not be written. Recording stopped.\ndisk full"));
    faulty.freeBytes = 10000000;
    EXPECT_TRUE(view->OnSave());
    EXPECT_GT(Codes().size(), 40000u);
    EXPECT_EQ(Lost(Codes(), 0xFFFF), 0);
}

TEST_F(EngineTest, AnEndlesslySlowDisplayLosesOnlyWhatItShows) {
    struct Observer : AcqObserver {
        int64_t scans = 0, skippedTo = -1, next = 0, misplaced = 0;
        void OnScans(std::span<const std::byte> bytes) override {
            uint16_t code = 0;  // of the counter
            std::memcpy(&code, bytes.data(), 2);
            misplaced += code != next;
            scans += static_cast<int64_t>(bytes.size() / 2);
            next += static_cast<int64_t>(bytes.size() / 2);
        }
        void OnSkipped(int64_t at) override { next = skippedTo = at; }
    } observer;
    Open();
    view->SetObserver(&observer);
    view->m_settings.m_dTimeLimit = 5.0;
    ASSERT_TRUE(view->OnAcqStart());
    std::this_thread::sleep_for(std::chrono::milliseconds(200));  // 2 s of data; the display holds 0.64
    Run();
    view->OnSave();
    EXPECT_GT(observer.skippedTo, 600);
    EXPECT_LT(observer.scans, 5000);
    EXPECT_EQ(observer.misplaced, 0);
    EXPECT_TRUE(
        WasTold("Some data were skipped in the real-time display but all data were stored successfully."));
    EXPECT_EQ(Codes().size(), 5001u);
    EXPECT_EQ(Lost(Codes(), 0xFFFF), 0);
    EXPECT_FALSE(view->HasFailed());
}

TEST_F(EngineTest, StartsAndStopsAtAnyMoment) {
    std::mt19937 random(24);
    Open(4);
    view->m_settings.m_dTimeLimit = 1000.0;
    faulty.beforeChange = [calls = 0]() mutable {
        if (++calls % 7 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(4));
    };
    for (int round = 0; round < 30; ++round) {
        SCOPED_TRACE(round);
        ASSERT_TRUE(view->OnAcqStart());
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(random() % 25);
        if (round % 3 == 0) view->OnPause();
        if (round % 2 == 0) Run([&] { return std::chrono::steady_clock::now() > end; });
        if (round % 2 == 1) std::this_thread::sleep_until(end);
        view->OnAcqStop();
        ASSERT_TRUE(view->IsIdle());
        ASSERT_TRUE(view->OnSave()) << host.LastMessage();
        ASSERT_EQ(Lost(Codes(), 0xFFFF), 0);
    }
}

TEST_F(EngineTest, WithoutStorageNothingIsWritten) {
    Open();
    view->m_bDisplayOnly = true;
    ASSERT_TRUE(view->OnAcqStart());
    EXPECT_EQ(view->State(), AcqState::displayOnly);
    Run();
    EXPECT_FALSE(view->HasUnsaved());
    EXPECT_EQ(files.Count(), 0u);
}

}  // namespace
}  // namespace kymora::test
