// The refractory protocol: its judgement against a second one that follows the steps as they are told, and a
// search on the simulated nerve, whose thresholds have a formula.

#include <random>

#include "acquisition/dt_refr_acq_view.h"
#include "support/engine_fixture.h"

namespace kymora::test {
namespace {

// The thresholds as they would be, and the noise of a sweep, by its number.
struct Nerve {
    std::vector<float> thresholds;  // for the delays in turn
    uint32_t seed;
    double noise;

    std::vector<float> Sweep(int number, int delay, float amplitude, int spikeAt) const {
        std::mt19937 random(seed * 1000003u + static_cast<uint32_t>(number));
        std::vector<float> volts(400);
        for (float& v : volts) v = static_cast<float>((random() % 2001 / 1000.0 - 1.0) * noise);
        if (amplitude >= thresholds[static_cast<size_t>(delay)])
            for (int i = -3; i <= 3; ++i) volts[static_cast<size_t>(spikeAt + i)] += 1.0f;
        return volts;
    }
};

struct Step {
    float amplitude, delay, change;
    bool isAccepted;
    bool operator==(const Step&) const = default;
};

std::vector<Step> PlainSearch(const RefractorySettings& s, double kHz, const Nerve& nerve) {
    std::vector<Step> steps;
    float amp = s.m_fTrialAmp0, delay = s.m_fTrialDelay0, unit = 0;
    long start = std::lround(s.m_fWinStart * kHz);
    const long count = std::lround(s.m_fWinEnd * kHz) - start;
    int sweeps = 0, spikes = 0, delays = 0;
    bool searching = true;
    std::vector<float> reference, cur;
    const auto d = [&] {
        double sum = 0;
        for (long i = start; i < start + count; ++i)
            sum += std::fabs(double{cur[static_cast<size_t>(i)]} - double{reference[static_cast<size_t>(i)]});
        return static_cast<float>(sum);
    };
    for (;;) {
        cur = nerve.Sweep(static_cast<int>(steps.size()), delays, amp, static_cast<int>(start + count / 2));
        steps.push_back({amp, delay, 0.0f, false});
        ++sweeps;
        bool ends = false;
        if (sweeps <= 2) {
            if (sweeps == 2) unit = d();
            reference = cur;
            amp += s.m_fAmpStep;
            ends = amp > s.m_fTrialAmpMax;
        } else {
            const float now = d(), change = unit == 0 ? std::numeric_limits<float>::infinity() : now / unit;
            steps.back().change = change;
            if (searching && change >= s.m_fSpikeThreshold) {
                steps.back().isAccepted = true;
                amp -= s.m_fAmpStep;
                searching = false;
                ++spikes;
            } else if (searching) {
                amp += s.m_fAmpStep;
                ends = amp > s.m_fTrialAmpMax;
                if (!ends) reference = cur, unit = now;
            } else if (change > s.m_fSpikeThreshold) {
                steps.back().isAccepted = true;
                amp -= s.m_fAmpStep;
                ends = amp < s.m_fTrialAmp0;
            } else if (spikes < static_cast<int>(s.m_nChecksPerDelay)) {
                reference = cur;
                unit = now;
                amp += s.m_fAmpStep;
                searching = true;
            } else {
                ends = true;
            }
        }
        if (!ends) continue;
        delay += s.m_fDelayStep;
        if (s.m_fTrialDelayMin > delay) return steps;
        ++delays;
        sweeps = spikes = 0;
        searching = true;
        amp = s.m_fTrialAmp0;
        start += std::lround(s.m_fDelayStep * kHz);
    }
}

RefractorySettings SearchSettings() {
    RefractorySettings s;
    s.m_fPreDur = s.m_fTrialDur = 0.2f;
    s.m_fPreDelay = 5.0f;
    s.m_fPreAmp = 1.5f;
    s.m_fTrialAmp0 = 0.5f;
    s.m_fTrialAmpMax = 5.0f;
    s.m_fAmpStep = 0.1f;
    s.m_fTrialDelay0 = 15.0f;
    s.m_fTrialDelayMin = 6.5f;
    s.m_fDelayStep = -4.0f;
    s.m_fSearchRate = 10.0f;
    s.m_nChecksPerDelay = 2;
    s.m_fSweepDur = 19.95f;
    s.m_fWinStart = 15.7f;
    s.m_fWinEnd = 16.4f;
    s.m_fSpikeThreshold = 5.0f;
    return s;
}

TEST(RefractorySearch, JudgesStepByStep) {
    std::mt19937 random(105);
    size_t accepted = 0;
    for (uint32_t trial = 0; trial < 300; ++trial) {
        SCOPED_TRACE(trial);
        RefractorySettings s = SearchSettings();
        s.m_nChecksPerDelay = trial % 4;
        s.m_fTrialAmpMax = 1.0f + static_cast<float>(random() % 30) / 10.0f;
        s.m_fDelayStep = -0.5f * static_cast<float>(1 + random() % 4);
        s.m_fSpikeThreshold = 1.2f + static_cast<float>(random() % 8);
        if (trial % 7 == 0) s.m_fTrialDelayMin = 20.0f;  // one delay, and no more
        // Without noise the first two sweeps are the same.
        Nerve nerve{{}, trial, trial % 5 == 0 ? 0.0 : 0.05};
        for (int i = 0; i < 40; ++i) nerve.thresholds.push_back(static_cast<float>(random() % 40) / 10.0f);
        const std::vector<Step> expected = PlainSearch(s, 20.0, nerve);
        RefractorySearch search(s, 20.0);
        std::vector<Step> found;
        for (int delays = 0, goesOn = 1; goesOn && found.size() <= expected.size();) {
            const Step at{search.Amplitude(), search.Delay(), 0.0f, false};
            const auto middle = static_cast<int>(search.WinStartSample() + search.WinSamples() / 2);
            const auto judged = search.Judge(
                nerve.Sweep(static_cast<int>(found.size()), delays, at.amplitude, middle), [](auto) {});
            found.push_back({at.amplitude, at.delay, judged.change, judged.isAccepted});
            accepted += judged.isAccepted;
            delays += judged.isDelayDone;
            goesOn = judged.goesOn;
        }
        ASSERT_EQ(found, expected);
    }
    EXPECT_GT(accepted, 1000u);
}

struct RefractoryEngine : EngineTest {
    std::unique_ptr<CDTRefrAcqView> nerve;

    void OpenNerve(RecordingType type) {
        nerve.reset();
        board.input = SimulatedInput::preparation;
        nerve = std::make_unique<CDTRefrAcqView>(session, loop, std::make_unique<SimulatedBoard>(board));
        ASSERT_TRUE(nerve->Open());
        nerve->m_settings = AcquisitionSettings(type);
        nerve->m_settings.refractory = SearchSettings();
        nerve->m_temporaryFolder = "/";
    }
    void RunNerve() {
        RunToEnd(loop, *nerve, [] { return false; });
    }
};

TEST_F(RefractoryEngine, TheThresholdsAreThoseOfTheFormula) {
    OpenNerve(RecordingType::refractoryAutomatic);
    ASSERT_TRUE(nerve->OnStart()) << host.LastMessage();
    EXPECT_FALSE(nerve->OnStart());
    RunNerve();
    ASSERT_FALSE(nerve->HasFailed()) << host.LastMessage();
    ASSERT_EQ(nerve->Thresholds().size(), 3u);
    float delay = 15.0f;
    for (const auto& found : nerve->Thresholds()) {
        // The last of the pulse's four samples comes 0.15 ms after its first; the nerve has fired at 5 ms.
        const double needed = 1.0 + 3.0 * std::exp(-(double{delay} + 0.15 - 5.0 - 1.0) / 2.0);
        EXPECT_EQ(found.delay, delay);
        ASSERT_TRUE(found.amplitude);
        EXPECT_GE(*found.amplitude, needed);
        EXPECT_LT(*found.amplitude, needed + 0.1 + 1e-4) << "not the least of the steps";
        EXPECT_EQ(found.spikes, 2);
        delay -= 4.0f;
    }
    nerve->m_saveAs = out;
    ASSERT_TRUE(nerve->OnSave()) << host.LastMessage();
    const auto doc = Saved();
    const auto& marks = doc->eventChannels[0].Events();
    EXPECT_EQ(doc->m_nEncoding, 2u);
    EXPECT_TRUE(doc->episodic);
    ASSERT_EQ(marks.size(), nerve->AcceptedCount());
    EXPECT_EQ(marks.size(), doc->markers.size());
    EXPECT_EQ(doc->GetLength(), 400 * static_cast<int>(marks.size()));
    for (size_t i = 0; i < marks.size(); ++i) {
        EXPECT_GE(marks[i].eventValue, 5.0f);
        std::vector<float> volts(400);
        doc->ReadBlock(0, marks[i].onPosition, volts);
        EXPECT_GT(*std::max_element(volts.begin() + 140, volts.end()), 0.8f)
            << "a spike behind that of the pre-pulse";
    }
}

// What a sweep is from a time to a time, of the first channel, whose samples have two bytes.
std::vector<double> Stretch(const RefractorySweep& sweep, double fromMs, double toMs) {
    std::vector<double> volts;
    for (long i = std::lround(fromMs * 20.0); i < std::lround(toMs * 20.0); ++i) {
        uint16_t code = 0;
        std::memcpy(&code, sweep.samples.data() + 2 * i, 2);
        volts.push_back(code * 20.0 / 65536.0 - 10.0);
    }
    return volts;
}

double Between(const std::vector<double>& a, const std::vector<double>& b) {
    double sum = 0.0;
    for (size_t i = 0; i < a.size(); ++i) sum += std::fabs(a[i] - b[i]);
    return sum;
}

TEST_F(RefractoryEngine, AReviewWorksChangesOutAnew) {
    OpenNerve(RecordingType::refractoryAutomatic);
    ASSERT_TRUE(nerve->OnStart()) << host.LastMessage();
    RunNerve();
    const auto shift = [](const RefractorySweep& sweep) { return double{sweep.delay} - 15.0; };
    for (const auto& [from, to] : {std::pair(15.7, 16.4), std::pair(15.2, 17.05)}) {
        nerve->m_settings.refractory.m_fWinStart = static_cast<float>(from);
        nerve->m_settings.refractory.m_fWinEnd = static_cast<float>(to);
        const auto& sweeps = nerve->Sweeps();
        for (size_t i = 0; i < sweeps.size(); ++i) {
            const auto window = [&](size_t at) {
                return Stretch(sweeps[at], from + shift(sweeps[at]), to + shift(sweeps[at]));
            };
            // Those without a spike before it, at its delay.
            std::vector<size_t> quiet;
            for (size_t j = i; j-- > 0 && sweeps[j].delay == sweeps[i].delay;)
                if (!sweeps[j].isAccepted) quiet.push_back(j);
            nerve->Select(i);
            ASSERT_EQ(nerve->ReviewChange().has_value(), quiet.size() >= 2) << i;
            EXPECT_EQ(nerve->ReviewFault(), quiet.size() < 2 ? "Not enough sweeps for this selection." : "");
            if (quiet.size() < 2) continue;
            const double expected =
                Between(window(i), window(quiet[0])) / Between(window(quiet[0]), window(quiet[1]));
            EXPECT_NEAR(*nerve->ReviewChange(), expected, 1e-4 * expected);
            if (from == 15.7) {
                EXPECT_EQ(*nerve->ReviewChange(), sweeps[i].delta);
            }
        }
    }
    nerve->m_saveAs = out;
    ASSERT_TRUE(nerve->OnSave()) << host.LastMessage();
    EXPECT_FALSE(nerve->HasUnsaved());
    nerve->m_settings.refractory.m_fSearchRate = 0.0f;
    EXPECT_FALSE(nerve->OnStart());
    EXPECT_FALSE(nerve->Sweeps().empty()) << "a start that is refused clears nothing";

    // A file holds sweeps with spikes: each is compared with the one before.
    const std::vector<RefractorySweep> acquired = nerve->Sweeps();
    ASSERT_TRUE(nerve->OnLoadReview(out)) << host.LastMessage();
    const auto& loaded = nerve->Sweeps();
    ASSERT_GE(loaded.size(), 4u);
    std::vector<RefractorySweep> kept;
    for (const RefractorySweep& one : acquired)
        if (one.isAccepted) kept.push_back(one);
    ASSERT_EQ(loaded.size(), kept.size());
    for (size_t i = 0; i < kept.size(); ++i) {
        EXPECT_EQ(loaded[i].delay, kept[i].delay);
        EXPECT_NEAR(loaded[i].amplitude, kept[i].amplitude, 1e-5);
        EXPECT_EQ(loaded[i].delta, kept[i].delta);
        const auto window = [&](size_t at) {
            return Stretch(kept[at], 15.2 + shift(kept[at]), 17.05 + shift(kept[at]));
        };
        nerve->Select(i);
        ASSERT_EQ(nerve->ReviewChange().has_value(), i >= 2);
        if (i < 2) continue;
        const double expected = Between(window(i), window(i - 1)) / Between(window(i - 1), window(i - 2));
        EXPECT_NEAR(*nerve->ReviewChange(), expected, 1e-4 * expected);
    }
    EXPECT_EQ(nerve->OnRecalculate(), kept.size() - 2);
    nerve->Select(1);
    nerve->OnDeleteSweep();
    nerve->m_saveAs = "/other.kymr-rec";
    ASSERT_TRUE(nerve->OnSave()) << host.LastMessage();
    const auto doc = Saved("/other.kymr-rec");
    ASSERT_EQ(doc->eventChannels[0].Events().size(), kept.size() - 1);
    EXPECT_EQ(doc->eventChannels[0].Events().back().eventValue, nerve->Sweeps().back().delta);
    EXPECT_EQ(doc->m_strBoardName, Saved()->m_strBoardName);

    OpenNerve(RecordingType::refractoryManual);
    ASSERT_TRUE(nerve->OnTry());
    RunNerve();
    ASSERT_TRUE(nerve->OnAccept());
    AcquisitionSettings longer = nerve->m_settings;
    EXPECT_EQ(nerve->ClearQuestion(longer), nullptr);
    longer.refractory.m_fSweepDur = 30.0f;
    EXPECT_TRUE(std::string(nerve->ClearQuestion(longer)).starts_with("You have data currently displayed"));
    nerve->m_saveAs = "/hand.kymr-rec";
    ASSERT_TRUE(nerve->OnSave()) << host.LastMessage();
    EXPECT_FALSE(nerve->OnLoadReview("/hand.kymr-rec"));
    EXPECT_TRUE(WasTold("You can only load kymr-rec files saved from Autosearch threshold detection."));
    EXPECT_EQ(nerve->Sweeps().size(), 1u) << "what was there stays";
}

// Steps of 1.5 scans: the window follows the pulse, in the search as in a review of all or of some of it.
TEST_F(RefractoryEngine, TheWindowFollowsThePulseInStepsOfHalfScans) {
    for (const auto& [to, scans] : {std::pair(14.925f, -2), std::pair(14.85f, -3), std::pair(14.775f, -5)}) {
        EXPECT_EQ(WindowShift(15.0f, to, 20.0), scans);
        EXPECT_EQ(WindowShift(15.0f, std::nextafter(to, 0.0f), 20.0), scans);
        EXPECT_EQ(WindowShift(15.0f, std::nextafter(to, 20.0f), 20.0), scans);
    }
    OpenNerve(RecordingType::refractoryAutomatic);
    RefractorySettings& r = nerve->m_settings.refractory;
    r.m_fDelayStep = -0.075f;
    r.m_fTrialDelayMin = 14.0f;
    r.m_nChecksPerDelay = 1;
    ASSERT_TRUE(nerve->OnStart()) << host.LastMessage();
    RunNerve();
    ASSERT_GT(nerve->Sweeps().back().delay, 13.9f);
    ASSERT_GT(nerve->Thresholds().size(), 10u);
    const std::vector<RefractorySweep> found = nerve->Sweeps();
    size_t compared = 0;
    for (size_t i = 0; i < found.size(); ++i) {
        nerve->Select(i);
        if (!nerve->ReviewChange()) continue;
        EXPECT_EQ(*nerve->ReviewChange(), found[i].delta) << i;
        ++compared;
    }
    EXPECT_GT(compared, found.size() / 2);
    nerve->m_saveAs = out;
    ASSERT_TRUE(nerve->OnSave()) << host.LastMessage();
    ASSERT_TRUE(nerve->OnLoadReview(out)) << host.LastMessage();
    nerve->Select(nerve->Sweeps().size() - 1);
    const auto window = nerve->ReviewWindow();
    nerve->Select(0);
    nerve->OnDeleteSweep();
    nerve->Select(nerve->Sweeps().size() - 1);
    EXPECT_EQ(nerve->ReviewWindow(), window);
}

TEST_F(RefractoryEngine, SweepsKeepTheGainAndTheSearchTheyCameFrom) {
    OpenNerve(RecordingType::refractoryManual);
    ASSERT_TRUE(nerve->OnTry());
    RunNerve();
    ASSERT_TRUE(nerve->OnAccept());
    EXPECT_FALSE(nerve->MayAccept());
    const double gain = nerve->m_settings.channels[0].m_dChanGain;
    nerve->m_settings.channels[0].m_dChanGain = 2.0 * gain;
    EXPECT_FALSE(nerve->OnTry());
    EXPECT_TRUE(WasTold("Sweeps of other channels, gains or search"));
    nerve->m_settings.m_eRecordingType = RecordingType::refractoryAutomatic;
    nerve->m_saveAs = out;
    ASSERT_TRUE(nerve->OnSave()) << host.LastMessage();
    EXPECT_EQ(Saved()->m_eRecordingType, RecordingType::refractoryManual);
    EXPECT_EQ(Saved()->m_dChannelGain[0], gain);
}

struct LoopWithoutTimer : PlainLoop {
    bool SetTimer(int, int) override { return false; }
};

TEST_F(RefractoryEngine, WithoutATimerThereIsNoSearch) {
    LoopWithoutTimer none;
    board.input = SimulatedInput::preparation;
    CDTRefrAcqView view(session, none, std::make_unique<SimulatedBoard>(board));
    ASSERT_TRUE(view.Open());
    view.m_settings = AcquisitionSettings(RecordingType::refractoryAutomatic);
    view.m_settings.refractory = SearchSettings();
    EXPECT_FALSE(view.OnStart());
    EXPECT_TRUE(WasTold("No timer available"));
    EXPECT_TRUE(view.IsIdle());
}

TEST_F(RefractoryEngine, ByHandAmplitudeAndDelayStep) {
    OpenNerve(RecordingType::refractoryManual);
    nerve->m_settings.refractory.m_bStepOnAccept = true;
    std::vector<std::pair<float, float>> tried;
    for (const bool accepts : {false, false, true, false}) {
        ASSERT_TRUE(nerve->OnTry());
        EXPECT_FALSE(nerve->OnTry());
        RunNerve();
        tried.emplace_back(nerve->Sweeps().back().amplitude, nerve->Sweeps().back().delay);
        if (accepts) {
            EXPECT_TRUE(nerve->OnAccept());
            EXPECT_FALSE(nerve->OnAccept());
        }
    }
    using Tried = std::vector<std::pair<float, float>>;
    EXPECT_EQ(tried, (Tried{{0.5f, 15.0f}, {0.6f, 15.0f}, {0.5f + 0.1f + 0.1f, 15.0f}, {0.5f, 11.0f}}));
    // Initial values that are changed count at the next Try.
    EXPECT_EQ(nerve->SweepCount(), 1);
    nerve->m_settings.refractory.m_bStepOnAccept = false;
    nerve->m_settings.refractory.m_fTrialAmp0 = 0.9f;
    nerve->m_settings.refractory.m_fTrialDelay0 = 12.0f;
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(nerve->OnTry());
        RunNerve();
        EXPECT_EQ(nerve->Sweeps().back().amplitude, 0.9f);
        EXPECT_EQ(nerve->Sweeps().back().delay, 12.0f);
        EXPECT_EQ(nerve->SweepCount(), i + 1);
    }
    nerve->OnClear();
    EXPECT_EQ(std::ranges::count(nerve->Sweeps(), false, &RefractorySweep::isCleared), 1);
    nerve->OnDeleteAll();
    EXPECT_FALSE(nerve->OnSave());
    EXPECT_EQ(files.Count(), 0u);
}

TEST_F(RefractoryEngine, WhatDoesNotGoIsTold) {
    const struct {
        std::function<void(RefractorySettings&)> set;
        const char* text;
    } cases[] = {
        {[](auto& s) { s.m_fSearchRate = 50.0f; }, "The sweep duration is too long for the search rate."},
        {[](auto& s) { s.m_fSearchRate = 0.0f; }, "The search rate must be above 0 Hz."},
        {[](auto& s) { s.m_fAmpStep = 0.0f; }, "needs a larger amplitude step"},
        {[](auto& s) { s.m_fAmpStep = 1e-9f; }, "needs a larger amplitude step"},
        {[](auto& s) { s.m_fDelayStep = -1e-9f; }, "needs a larger delay step"},
        {[](auto& s) { s.m_fWinEnd = 25.0f; }, "The monitored window must"},
        {[](auto& s) { s.m_fWinEnd = 1e18f; }, "The monitored window must"},
        {[](auto& s) { s.m_fTrialDur = 1e9f; }, "The pulses of a sweep are too long"},
        {[](auto& s) { s.m_fTrialAmp0 = 12.0f; }, "is beyond the outputs of the board"},
        {[](auto& s) { s.m_nMonitorTrace = 1; }, "Trace 1 is monitored (from 0), and 1 are recorded."}};
    for (const auto& c : cases) {
        OpenNerve(RecordingType::refractoryAutomatic);
        c.set(nerve->m_settings.refractory);
        EXPECT_FALSE(nerve->OnStart());
        EXPECT_TRUE(WasTold(c.text)) << host.LastMessage();
        EXPECT_TRUE(nerve->IsIdle());
    }
    for (const auto& [fault, text] :
         {std::pair{&SimulatedFaults::nullAt, "NULL buffer in ADC BufferDone."},
          std::pair{&SimulatedFaults::shortFrom, "Acquisition buffer not filled."},
          std::pair{&SimulatedFaults::vanishAt, "The board does not answer any more."}}) {
        board.faults = {};
        board.faults.*fault = 0;
        OpenNerve(RecordingType::refractoryAutomatic);
        ASSERT_TRUE(nerve->OnStart());
        RunNerve();
        EXPECT_TRUE(WasTold(text)) << text << host.LastMessage();
        EXPECT_TRUE(nerve->HasFailed());
    }
    board.outputs = 0;
    CDTRefrAcqView none(session, loop, std::make_unique<SimulatedBoard>(board));
    EXPECT_FALSE(none.Open());
    EXPECT_TRUE(WasTold("You need a DT board with stimulus capabilities to run the Refractory protocol."));
}

}  // namespace
}  // namespace kymora::test
