// Trigger modes, save modes and the stimulus, from button to file.

#include "acquisition/auto_save_name.h"
#include "support/engine_fixture.h"

namespace kymora::test {
namespace {

// How often it was recorded; a paused display changes nothing.
TEST_F(EngineTest, EpisodesGoToOneFileOrToOneEach) {
    Open();
    AcquisitionSettings& settings = view->m_settings;
    settings.m_nTrigMode = 1;
    settings.m_nRepeatInterval = 3;
    settings.m_nRepeatCount = 3;
    settings.m_nSaveMode = 2;
    ASSERT_TRUE(view->OnAcqStart());
    EXPECT_EQ(view->State(), AcqState::betweenEpisodes);
    Run([&] { return view->State() == AcqState::episode; });
    EXPECT_EQ(view->StatusText(), "acquiring 1 of 3");
    view->OnPause();
    EXPECT_EQ(view->State(), AcqState::displayPaused);
    view->OnPause();
    Run();
    EXPECT_EQ(view->EpisodesDone(), 3);
    EXPECT_FALSE(view->HasFailed()) << host.LastMessage();
    const auto codes = Codes();
    ASSERT_EQ(codes.size(), 3u * 201u);
    for (size_t i = 0; i < codes.size(); ++i) ASSERT_EQ(codes[i], i % 201);
    const auto doc = Saved();
    ASSERT_EQ(doc->eventChannels[0].GetNumEvents(), 3);
    EXPECT_EQ(doc->eventChannels[0].Events()[2].onPosition, 402);
    EXPECT_EQ(files.Count(), 1u);

    view->m_settings.m_nSaveMode = 0;  // repeats save themselves
    view->m_settings.m_strAutoSaveBase = "/cell09";
    view->OnDone();
    ASSERT_TRUE(view->OnAcqStart());
    Run();
    for (const char* name : {"/cell09.kymr-rec", "/cell10.kymr-rec", "/cell11.kymr-rec"})
        EXPECT_EQ(Codes(name).size(), 201u) << name;
    EXPECT_EQ(files.Count(), 4u);
}

TEST_F(EngineTest, ASeriesEndsByItsStopAndWhereAnEpisodeIsTooLong) {
    Open();
    AcquisitionSettings& settings = view->m_settings;
    settings.m_nTrigMode = 1;
    settings.m_nSaveMode = 2;
    settings.m_nRepeatInterval = 1;
    settings.m_dTimeLimit = 20.0;  // two ticks of 20 ms hold 0.4 s of the board
    ASSERT_TRUE(view->OnAcqStart());
    Run();
    EXPECT_TRUE(WasTold(
        "Problem: your Repeat interval is too short for this episode Record time. Stopping repeats."));
    EXPECT_EQ(Lost(Codes(), 0xFFFF), 0);

    settings.m_dTimeLimit = 0.05;
    settings.m_nRepeatInterval = 1000;
    view->OnDone();
    ASSERT_TRUE(view->OnAcqStart());
    view->OnAcqStop();
    EXPECT_TRUE(view->IsIdle());
    EXPECT_EQ(view->StatusText(), "n sweep: 0");
}

TEST_F(EngineTest, AnArmedTriggerWaits) {
    Open();
    view->m_settings.m_nTrigMode = 2;
    EXPECT_STREQ(view->StartButton(), "Arm");
    ASSERT_TRUE(view->OnAcqStart());
    EXPECT_STREQ(view->StartButton(), "Disarm");
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    ASSERT_TRUE(view->OnAcqStart());  // Disarm
    EXPECT_TRUE(view->IsIdle());
    EXPECT_EQ(files.Count(), 0u);

    ASSERT_TRUE(view->OnAcqStart());
    Simulated().Trigger();
    Run();
    EXPECT_TRUE(view->OnSave());
    EXPECT_EQ(Codes().size(), 201u);

    // Armed again after each, until it is stopped for good.
    view->m_settings.m_bRearm = true;
    view->m_settings.m_nSaveMode = 3;
    view->m_settings.m_strAutoSaveBase = "/again";
    ASSERT_TRUE(view->OnAcqStart());
    for (int i = 0; i < 2; ++i) {
        Run([&] { return view->State() == AcqState::armed; });
        Simulated().Trigger();
        Run([&] { return view->State() == AcqState::triggered; });
    }
    Run([&] { return view->State() == AcqState::armed; });
    view->StopForGood();
    Run();
    EXPECT_EQ(Codes("/again.kymr-rec").size(), 201u);
    EXPECT_EQ(Codes("/again1.kymr-rec").size(), 201u);
    EXPECT_EQ(files.Count(), 3u);
}

TEST_F(EngineTest, TheDigitalOutputStartsInputsAndOutputs) {
    Open();
    view->m_settings.m_bDigitalTrigOut = true;
    ASSERT_TRUE(RunWhole());
    EXPECT_EQ(Lost(Codes(), 0xFFFF), 0);
}

// The counter crosses a level at a scan that can be told beforehand; what is kept before it, too.
TEST_F(EngineTest, ACrossingStartsARecordingWithWhatCameBefore) {
    const struct {
        int level;
        double preMs;
        uint32_t first;  // code of the first scan that is stored
        const char* label;
    } cases[] = {{1000, 0.0, 1000, "trigger"}, {1000, 50.0, 950, "trigger"},
                 {30, 25.0, 5, "trigger"},     {30, 100.0, 0, "trigger (30 of 100 ms before it)"},
                 {1007, 33.0, 974, "trigger"}, {1600, 1500.0, 100, "trigger"}};
    int64_t clock = 5000;
    session.now = [&clock] { return clock; };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << c.level << " " << c.preMs);
        Open();
        view->m_settings.m_nTrigMode = 3;
        view->m_trigger.level = -10.0 + c.level * 20.0 / 65536.0;
        view->m_trigger.preTriggerMs = c.preMs;
        view->m_settings.m_dTimeLimit = 2.0;
        host.messages.clear();
        clock = 5000;
        ASSERT_TRUE(view->OnAcqStart());
        clock = 9000;
        EXPECT_EQ(view->State(), AcqState::armed);
        Run([&] { return view->State() == AcqState::triggered; });
        Run();
        EXPECT_TRUE(view->OnSave());
        const auto codes = Codes();
        EXPECT_EQ(codes.size(), 2001u);
        EXPECT_EQ(view->ScansLetGo(), c.first);
        EXPECT_EQ(Lost(codes, 0xFFFF, c.first), 0);
        const auto doc = Saved();
        ASSERT_EQ(doc->markers.size(), 1u);
        EXPECT_EQ(doc->markers[0], (CMarker{static_cast<double>(c.level) - c.first, c.label}));
        EXPECT_EQ(doc->m_timeStart, c.preMs > 1000.0 ? 8998 : 9000)
            << "that of the first scan, not of arming";
        EXPECT_EQ(WasTold("The trigger came 30 ms after arming."), c.preMs == 100.0);
    }
}

TEST_F(EngineTest, AStartWhileTheTriggerIsAboutToBeArmedAgainEndsAllTheSame) {
    Open();
    view->m_settings.m_nTrigMode = 2;
    view->m_settings.m_nSaveMode = 2;
    view->m_settings.m_bRearm = true;
    ASSERT_TRUE(view->OnAcqStart());
    Simulated().Trigger();
    Run([&] { return view->State() == AcqState::triggered; });
    view->OnAcqStop();
    EXPECT_EQ(Saved()->markers.at(0), (CMarker{0.0, "trigger"}));
    view->m_settings.m_bRearm = false;
    ASSERT_TRUE(view->OnAcqStart());
    Simulated().Trigger();
    Run();
    EXPECT_TRUE(view->HasEnded());
}

TEST_F(EngineTest, NothingIsRecordedWithAPartOfAStimulus) {
    Open();
    view->m_settings.m_nDacInUse = 1;
    view->m_settings.m_dOutputFreqKHz = 1000.0;
    view->m_settings.dac[0].pulses.emplace_back().m_fPlateau = 6000.0f;
    host.answer = false;
    EXPECT_FALSE(view->OnAcqStart());
    EXPECT_TRUE(WasTold("The stimulus was not built to its end"));
    EXPECT_TRUE(view->IsIdle());
}

TEST_F(EngineTest, RecordingsAreAppendedByHand) {
    Open();
    view->m_settings.m_nSaveMode = 1;
    EXPECT_TRUE(RunWhole());
    EXPECT_STREQ(view->SaveButton(), "Append");
    EXPECT_TRUE(RunWhole());
    EXPECT_EQ(Codes().size(), 402u);
    EXPECT_EQ(view->AppendCount(), 2);
    // Another mode begins another file.
    view->m_settings.m_nSaveMode = 0;
    const auto series =
        std::exchange(view->m_saveAs, std::filesystem::path(out).parent_path() / "other.kymr-rec");
    view->m_saveAsStamp.reset();
    EXPECT_TRUE(RunWhole());
    EXPECT_STREQ(view->SaveButton(), "Save");
    EXPECT_TRUE(files.Has(view->m_saveAs));
    EXPECT_EQ(Codes().size(), 402u);
    view->m_settings.m_nSaveMode = 1;
    view->m_saveAs = series;
    view->m_saveAsStamp = files.Stamp(series);
    EXPECT_TRUE(RunWhole());
    // The file is closed, or gone.
    view->m_isOpen = [](const auto&) { return false; };
    ASSERT_TRUE(view->OnAcqStart());
    Run();
    EXPECT_TRUE(WasTold("You seem to have closed the Append file:"));
    EXPECT_STREQ(view->SaveButton(), "Save");
    EXPECT_EQ(Codes().size(), 201u);
}

TEST_F(EngineTest, WhatCannotBeSavedIsKept) {
    Open();
    ASSERT_TRUE(view->OnAcqStart());
    Run();
    faulty.dieAtChange = faulty.changes + 1;
    EXPECT_FALSE(view->OnSave());
    const auto kept = view->Document().TemporaryPath();
    EXPECT_TRUE(WasTold("The samples are kept in " + kept.string()));
    view.reset();
    EXPECT_TRUE(files.Has(kept));
}

TEST(AutoSaveName, CountsOn) {
    EXPECT_EQ(NextBaseName("cell7"), "cell8");
    EXPECT_EQ(NextBaseName("/d1/rec"), "/d1/rec1");
    EXPECT_EQ(NextBaseName("rec099"), "rec100");
    EXPECT_EQ(NextBaseName("99"), "100");
}

// --- stimulus ---

// A plain second reckoning of one pulse of a sequence, in codes of 16 bits.
uint32_t PlainCode(double ms, double delay, double plateau, double amplitude) {
    const double volts = ms >= delay && ms < delay + plateau ? amplitude : 0.0;
    return static_cast<uint32_t>((volts + 10.0) * 65536.0 / 20.0);
}

TEST_F(EngineTest, AFileThatCameMeanwhileIsNotReplaced) {
    Open();
    ASSERT_TRUE(view->OnAcqStart());
    Run();
    files.Put(out, {std::byte{7}});
    EXPECT_FALSE(view->OnSave());
    EXPECT_EQ(files.Bytes(out).size(), 1u);
    EXPECT_TRUE(WasTold("is another file than at the start"));
    EXPECT_TRUE(view->HasUnsaved());
    const std::filesystem::path kept = view->Document().TemporaryPath();
    for (const bool isShownOnly : {true, false}) {
        view->m_bDisplayOnly = isShownOnly;
        ASSERT_TRUE(view->OnAcqStart());
        Run();
        EXPECT_FALSE(files.Bytes(kept).empty()) << "what could not be saved outlives the next recording";
    }
}

TEST_F(EngineTest, AStimulusComesBackOverTheLoopAndStepsFromEpisodeToEpisode) {
    board.input = SimulatedInput::loopback;
    Open();
    AcquisitionSettings& settings = view->m_settings;
    settings.m_dSampleInterval = 0.1;
    settings.m_dTimeLimit = 0.05;
    settings.m_nTrigMode = 1;
    settings.m_nSaveMode = 2;
    settings.m_nRepeatInterval = 4;
    settings.m_nRepeatCount = 4;
    settings.m_dOutputFreqKHz = 10.0;
    settings.m_nDacInUse = 1;
    COutputPulse pulse;
    pulse.m_fDelay = 5.0f;
    pulse.m_fPlateau = 3.0f;
    pulse.m_fAmplitude = 1.0f;
    pulse.m_fStepAmplitude = 0.5f;
    pulse.m_nSeqCount = 3;
    settings.dac[0].pulses = {pulse};
    ASSERT_TRUE(view->OnAcqStart());
    Run();
    ASSERT_FALSE(view->HasFailed()) << host.LastMessage();
    const auto codes = Codes();
    ASSERT_EQ(codes.size(), 4u * 501u);
    // The last episode stays at the end of the cycle.
    const double amplitudes[] = {1.0, 1.5, 2.0, 2.0};
    int64_t wrong = 0;
    for (size_t i = 0; i < codes.size(); ++i)
        wrong +=
            codes[i] != PlainCode(static_cast<double>(i % 501) * 0.1 + 1e-9, 5.0, 3.0, amplitudes[i / 501]);
    EXPECT_EQ(wrong, 0);
    EXPECT_EQ(view->SequenceIndex(), 4);
}

// Steps of 0.3 V from 0.45 V: the axon fires at 1.0 V, and the second one at 2.5 V.
TEST_F(EngineTest, ThePreparationFiresFromItsThresholdOn) {
    board.input = SimulatedInput::preparation;
    Open();
    AcquisitionSettings& settings = view->m_settings;
    settings.m_dSampleInterval = 0.05;
    settings.m_dTimeLimit = 0.02;
    settings.m_nTrigMode = 1;
    settings.m_nSaveMode = 2;
    settings.m_nRepeatInterval = 4;
    settings.m_nRepeatCount = 8;
    settings.m_nDacInUse = 1;
    COutputPulse pulse;
    pulse.m_fDelay = 5.0f;
    pulse.m_fPlateau = 0.5f;
    pulse.m_fAmplitude = 0.45f;
    pulse.m_fStepAmplitude = 0.3f;
    pulse.m_nSeqCount = 100;
    settings.dac[0].pulses = {pulse};
    ASSERT_TRUE(view->OnAcqStart());
    Run();
    ASSERT_FALSE(view->HasFailed()) << host.LastMessage();
    const auto doc = Saved();
    std::vector<float> volts(static_cast<size_t>(doc->GetLength()));
    doc->ReadBlock(0, 0, volts);
    ASSERT_EQ(volts.size(), 8u * 401u);
    for (size_t episode = 0; episode < 8; ++episode) {
        const auto at = [&](double ms) {
            return volts[episode * 401 + static_cast<size_t>(ms / 0.05 + 0.5)];
        };
        const double amplitude = 0.45 + 0.3 * static_cast<double>(episode);
        // The peaks of electrode 1 come 1 and 2 ms after the pulse.
        EXPECT_NEAR(at(6.0), amplitude >= 1.0 ? 1.0 : 0.0, 0.08) << amplitude;
        EXPECT_NEAR(at(7.0), amplitude >= 2.5 ? 0.4 : 0.0, 0.08) << amplitude;
    }
}

TEST(Axon, RecoversAsItsFormulaSays) {
    AxonSettings axon;
    EXPECT_EQ(axon.ThresholdAfter(0.99), std::numeric_limits<double>::infinity());
    EXPECT_NEAR(axon.ThresholdAfter(1.0), 4.0, 1e-12);
    EXPECT_NEAR(axon.ThresholdAfter(3.0), 1.0 + 3.0 / std::exp(1.0), 1e-12);
    EXPECT_NEAR(axon.ThresholdAfter(100.0), 1.0, 1e-9);
    Axon one(axon);
    EXPECT_FALSE(one.Stimulate(0.0, 0.99));
    EXPECT_TRUE(one.Stimulate(1.0, 1.0));
    EXPECT_FALSE(one.Stimulate(4.0, 2.09));  // 1 + 3 / e = 2.1036
    EXPECT_TRUE(one.Stimulate(4.0, 2.11));
}

TEST_F(EngineTest, TheSameSeedIsTheSameRecording) {
    board.input = SimulatedInput::noise;
    std::vector<std::vector<uint32_t>> runs;
    for (const auto& [seed, interval] : {std::pair{1u, 1.0}, {1u, 1.0}, {2u, 1.0}}) {
        board.seed = seed;
        Open(2);
        view->m_settings.m_dSampleInterval = interval;
        view->m_settings.m_dTimeLimit = 2.0;
        ASSERT_TRUE(RunWhole());
        runs.push_back(Codes());
    }
    EXPECT_EQ(runs[0], runs[1]);
    EXPECT_NE(runs[0], runs[2]);
    double sum = 0.0, squares = 0.0;
    for (const uint32_t code : runs[0]) {
        const double volts = code * 20.0 / 65536.0 - 10.0;
        sum += volts;
        squares += volts * volts;
    }
    const auto n = static_cast<double>(runs[0].size());
    EXPECT_NEAR(sum / n, 0.0, 0.06);
    EXPECT_NEAR(squares / n, 1.0, 0.1);
}

}  // namespace
}  // namespace kymora::test
