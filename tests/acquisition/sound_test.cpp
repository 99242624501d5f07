// Recording from a sound input; the device counts, and does what a test asks it to.

#include <gtest/gtest.h>

#include "acquisition/mic_acq_view.h"
#include "acquisition/sound_player.h"
#include "support/hand_fixture.h"
#include "support/memory_doc.h"

namespace kymora::test {
namespace {

struct CountingSound : SoundSystem {
    int rateFactor = 1;     // of the rate that is asked for
    size_t lostBehind = 0;  // bytes: it drops some there; 0: never
    size_t goneBehind = 0;  // bytes: it fails there; 0: never
    SoundFormat opened;

    struct Input : SoundInput {
        explicit Input(CountingSound& of) : sound(of) {}
        int Rate() const override { return sound.opened.rate * sound.rateFactor; }
        void Start() override {}
        size_t Read(std::span<std::byte> to, bool& hasLost) override {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            if (sound.goneBehind > 0 && given >= sound.goneBehind) throw SoundError("It is gone.");
            if (sound.lostBehind > 0 && given >= sound.lostBehind) hasLost = true;
            // 60 frames of 16 bits or of 8.
            const size_t count = std::min(to.size(), 60 * sound.opened.FrameBytes());
            for (size_t i = 0; i < count; ++i, ++given)
                to[i] = sound.opened.bits == 8 ? static_cast<std::byte>(given)
                                               : static_cast<std::byte>(given / 2 >> (given % 2 * 8));
            return count;
        }
        CountingSound& sound;
        size_t given = 0;
    };

    std::vector<SoundDevice> Devices() override { return {{"Line", 2, 0, 48000.0, true, false}}; }
    std::unique_ptr<SoundInput> OpenInput(const std::string& name, const SoundFormat& format,
                                          double) override {
        if (!name.empty() && name != "Line") throw SoundError(noSoundInputText);
        opened = format;
        return std::make_unique<Input>(*this);
    }
    std::unique_ptr<SoundOutput> OpenOutput(const std::string&, const SoundFormat&, double) override {
        return {};
    }
};

struct Sound : HandTest<CMicAcqView> {
    std::shared_ptr<CountingSound> device = std::make_shared<CountingSound>();

    // Buffers of 20 ms: 960 frames.
    bool Start(int channels = 2, int bits = 16, double seconds = 0.5) {
        Make(device, "");
        if (!view->OpenDevice()) return false;
        view->m_settings.m_dSampleInterval = 1.0 / 48.0;
        view->m_settings.channels[1].m_nChanOn = channels == 2;
        view->m_settings.m_nResolutionBits = bits;
        view->m_settings.m_dTimeLimit = seconds;
        return view->OnAcqStart();
    }
};

TEST_F(Sound, RecordsWhatComesBehindTheFirstBuffer) {
    ASSERT_TRUE(Start()) << host.LastMessage();
    Run();
    EXPECT_FALSE(view->HasFailed()) << host.LastMessage();
    EXPECT_EQ(view->StoredScans(), 24001);
    EXPECT_TRUE(Counts(Values(), 2 * 960));
    view->m_saveAs = "/out.kymr-rec";
    ASSERT_TRUE(view->OnSave()) << host.LastMessage();
    CAcqDoc doc(session);
    ASSERT_TRUE(doc.OnOpenDocument("/out.kymr-rec", OpenFor::reading));
    EXPECT_EQ(doc.traceCount, 2);
    EXPECT_NEAR(doc.sampleInterval, 1000.0 / 48000.0, 1e-12);
    doc.SetReadPosition(0);
    EXPECT_EQ(doc.ReadNext(1), 1921.0);
    doc.SetReadPosition(24000);
    EXPECT_EQ(doc.ReadNext(0), 49920.0 - 65536.0);
}

TEST_F(Sound, AWaveFileHoldsTheSameSamples) {
    ASSERT_TRUE(Start(1, 8, 0.1));
    Run();
    view->m_saveAs = "/out.wav";
    ASSERT_TRUE(view->OnSave()) << host.LastMessage();
    const auto& bytes = files.Bytes("/out.wav");
    // 4801 samples of a byte, and one that makes them even. The head by hand, from the format's description.
    const uint8_t head[] = {'R', 'I', 'F', 'F', 0xE6, 0x12, 0,   0,   'W', 'A',  'V',  'E',  'f', 'm',  't',
                            ' ', 16,  0,   0,   0,    1,    0,   1,   0,   0x80, 0xBB, 0,    0,   0x80, 0xBB,
                            0,   0,   1,   0,   8,    0,    'd', 'a', 't', 'a',  0xC1, 0x12, 0,   0};
    ASSERT_EQ(bytes.size(), 44u + 4802u);
    EXPECT_EQ(std::memcmp(bytes.data(), head, sizeof head), 0);
    for (size_t i = 0; i < 4801; ++i) ASSERT_EQ(static_cast<uint8_t>(bytes[44 + i]), (960 + i) % 256) << i;
}

TEST_F(Sound, FaultsOfTheDeviceKeepWhatCame) {
    struct Case {
        size_t lost, gone;
        const char* words;
    };
    // 4 bytes a frame; the first buffer of 960 frames does not count.
    for (const Case& one :
         {Case{8 * 3840, 0, "Overrun Error on input (reduce sample frequency)"},
          Case{0, 8 * 3840, "It is gone.\nRecording stopped; what came until then is stored."}}) {
        device->lostBehind = one.lost;
        device->goneBehind = one.gone;
        ASSERT_TRUE(Start(2, 16, 100.0));
        Run();
        EXPECT_TRUE(WasTold(one.words));
        EXPECT_EQ(view->StoredScans(), 7 * 960);
        EXPECT_TRUE(Counts(Values(), 2 * 960));
        EXPECT_TRUE(view->HasFailed());
        EXPECT_TRUE(view->HasUnsaved());
    }
}

TEST_F(Sound, TheRateOfTheDeviceIsTheOneThatIsStored) {
    device->rateFactor = 2;
    ASSERT_TRUE(Start(1, 16, 0.05));
    Run();
    EXPECT_TRUE(WasTold("The device records at 96000 Hz and not at 48000 Hz."));
    EXPECT_EQ(view->Document().m_dSampleInterval, 1000.0 / 96000.0);
    EXPECT_EQ(view->StoredScans(), 4801);
}

TEST_F(Sound, WhatCannotBeRecordedIsRefused) {
    Make(device, "Microphone");
    EXPECT_FALSE(view->OpenDevice());
    EXPECT_EQ(host.LastMessage(), noSoundInputText);
    Make(std::shared_ptr<SoundSystem>(), "");
    EXPECT_FALSE(view->OpenDevice());
    EXPECT_EQ(host.LastMessage(), noSoundLibraryText);
    // 2^32 bytes at 192,000 a second: 22369 s.
    EXPECT_FALSE(Start(2, 16, 22370.0));
    EXPECT_TRUE(WasTold("At this rate it lasts 22368 s at most"));
}

// Keeps what it is given, ten frames at a time, and is heard 20 frames later.
struct KeptOutput : SoundOutput {
    explicit KeptOutput(std::vector<int16_t>& kept) : to(kept) {}
    int Rate() const override { return 1000; }
    double Latency() const override { return 0.02; }
    void Start() override {}
    size_t Write(std::span<const int16_t> samples) override {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        const size_t count = std::min<size_t>(10, samples.size());
        to.insert(to.end(), samples.begin(), samples.begin() + static_cast<std::ptrdiff_t>(count));
        return count;
    }
    std::vector<int16_t>& to;
};

TEST(PlayedSound, ScalesCentresAndInterpolates) {
    TestHost host;
    MemoryFileSystem files;
    Session session{host, files};
    // Means 3 and 0, greatest deviation 4; a gap of two samples in the second trace.
    const auto doc =
        MemoryDoc::MakeWithRuns(session, {{1, 5, 7, -1, 3, 3}, {2, -2, 1, -1}}, {{6}, {2, 2, 2}});
    const auto at = [](double value) {
        return static_cast<int16_t>(std::lround(0.9 * 32767.0 * value / 4.0));
    };
    const int both[] = {0, 1};
    const PlayedSound sound = MakePlayedSound(*doc, both, 0, 6, 1000.0);
    EXPECT_EQ(sound.samples,
              (std::vector<int16_t>{at(-2), at(2), at(2), at(-2), at(4), 0, at(-4), 0, 0, at(1), 0, at(-1)}));
    // At twice the rate there is one between each two.
    const PlayedSound finer = MakePlayedSound(*doc, std::span(both).first(1), 1, 3, 2000.0);
    // Of 5, 7, -1: the mean is 11/3, the greatest deviation 14/3.
    const auto fine = [](double value) {
        return static_cast<int16_t>(std::lround(0.9 * 32767.0 * (value - 11.0 / 3.0) / (14.0 / 3.0)));
    };
    const double expected[] = {5, 6, 7, 3, -1, -1};
    ASSERT_EQ(finer.Frames(), 6);
    for (size_t i = 0; i < 6; ++i) EXPECT_NEAR(finer.samples[i], fine(expected[i]), 1) << i;
    const int64_t tooMany = int64_t{1} << 27;
    EXPECT_THROW(MakePlayedSound(*doc, both, 0, tooMany, 1000.0), SoundError);
    for (host.cancelAtCall = 1; host.cancelAtCall <= 3; ++host.cancelAtCall)
        EXPECT_THROW(MakePlayedSound(*doc, both, 0, 6, 1000.0), Cancelled) << "reading both, or making codes";
}

TEST(SoundPlayer, TellsWhatIsHeard) {
    std::vector<int16_t> kept;
    PlayedSound sound;
    sound.sourceRate = 500.0;
    sound.rate = 1000.0;
    sound.first = 7000;
    for (int i = 0; i < 200; ++i) sound.samples.push_back(static_cast<int16_t>(i));
    const std::vector<int16_t> all = sound.samples;
    SoundPlayer player(std::make_unique<KeptOutput>(kept), std::move(sound));
    int64_t last = 7000;
    while (!player.HasEnded()) {
        const int64_t now = player.Position();
        EXPECT_GE(now, 7000);
        EXPECT_LE(now, 7100);
        last = std::max(last, now);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    EXPECT_GT(last, 7080);
    player.Stop();
    // Silence follows for as long as the device is behind.
    ASSERT_EQ(kept.size(), 220u);
    EXPECT_TRUE(std::equal(all.begin(), all.end(), kept.begin()));
    EXPECT_EQ(player.Fault(), "");
}

}  // namespace
}  // namespace kymora::test
