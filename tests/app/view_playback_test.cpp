#include "app/view_playback.h"

#include "frame_fixture.h"

namespace kymora::test {
namespace {

// Takes frames at their pace and keeps them.
struct KeepingSound : SoundSystem {
    struct Output : SoundOutput {
        Output(KeepingSound& of, int hz) : sound(of), rate(hz) {}
        int Rate() const override { return rate; }
        double Latency() const override { return 0.0; }
        void Start() override {}
        size_t Write(std::span<const int16_t> samples) override {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
            const size_t frames = std::min<size_t>(samples.size() / sound.channels, 10);
            sound.frames += frames;
            return frames;
        }
        KeepingSound& sound;
        int rate;
    };
    std::vector<SoundDevice> Devices() override { return {}; }
    std::unique_ptr<SoundInput> OpenInput(const std::string&, const SoundFormat&, double) override {
        return {};
    }
    std::unique_ptr<SoundOutput> OpenOutput(const std::string&, const SoundFormat& format, double) override {
        channels = static_cast<size_t>(format.channels);
        return std::make_unique<Output>(*this, format.rate);
    }
    size_t channels = 0;
    std::atomic<size_t> frames = 0;
};

class ViewPlaybackTest : public FrameTest {};

TEST_F(ViewPlaybackTest, ALineShowsWhatIsHeard) {
    CChildFrame& child = OpenOne();
    CKymoraView& view = child.View();
    const CDataDoc& doc = view.GetDocument();
    const auto sound = std::make_shared<KeepingSound>();
    const int64_t first = doc.PositionOf(view.GetViewport().start);
    const int64_t count = doc.PositionOf(view.GetViewport().end) - first + 1;
    QPointer<ViewPlayback> playback = new ViewPlayback(child.Widget(), sound);
    bool hasEnded = false;
    QObject::connect(playback, &ViewPlayback::Ended, &child, [&] { hasEnded = true; });
    auto* const line = child.Widget().findChild<QWidget*>("playLine");
    ASSERT_NE(line, nullptr);
    ASSERT_TRUE(
        QTest::qWaitFor([&] { return hasEnded || sound->frames > static_cast<size_t>(count / 2); }, 20000));
    if (!hasEnded) {
        QTest::qWait(60);
        const int middle = view.Plot().TimeToPixel(doc.TimeOf(first + count / 2));
        EXPECT_GE(line->x(), middle - 2);
        EXPECT_LE(line->x(), view.Plot().layout.plot.right);
    }
    ASSERT_TRUE(QTest::qWaitFor([&] { return hasEnded; }, 20000));
    EXPECT_EQ(sound->frames, static_cast<size_t>(count));
    EXPECT_TRUE(QTest::qWaitFor([&] { return playback.isNull(); }, 2000));

    // A window that closes takes it along.
    playback = new ViewPlayback(child.Widget(), sound);
    frame->OnFileClose();
    EXPECT_TRUE(QTest::qWaitFor([&] { return playback.isNull(); }, 2000));
}

}  // namespace
}  // namespace kymora::test
