#include "acquisition/windows/recording_window.h"

#include <QDoubleSpinBox>
#include <QDropEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <thread>

#include "acquisition/dt_refr_acq_view.h"
#include "acquisition/windows/acq_scope_dlg.h"
#include "acquisition/windows/acquisition_pages.h"
#include "app/frame_fixture.h"
#include "display/windows/view_widget.h"
#include "graphs/windows/graph_widget.h"
#include "recording/acq_doc.h"
#include "recording/adc_dac_configuration.h"

namespace kymora::test {

namespace {

constexpr const char* recording = "/cell.kymr-rec";

// Bytes that count, 480 a millisecond.
struct LineIn : SoundSystem {
    struct Input : SoundInput {
        int Rate() const override { return 48000; }
        void Start() override {}
        size_t Read(std::span<std::byte> to, bool&) override {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
            const size_t count = std::min<size_t>(to.size(), 480);
            for (size_t i = 0; i < count; ++i) to[i] = static_cast<std::byte>(given++);
            return count;
        }
        size_t given = 0;
    };
    std::vector<SoundDevice> Devices() override { return {{"Line", 2, 0, 48000.0, true, false}}; }
    std::unique_ptr<SoundInput> OpenInput(const std::string&, const SoundFormat&, double) override {
        return std::make_unique<Input>();
    }
    std::unique_ptr<SoundOutput> OpenOutput(const std::string&, const SoundFormat&, double) override {
        return {};
    }
};

}  // namespace

class RecordingWindowTest : public FrameTest {
  protected:
    // A counter of one channel at 20 kHz, for a minute at most.
    RecordingWindow& Open() {
        RecordingWindow& window = frame->OpenRecorder();
        window.openBoard = [this](const std::string&, const SourceSettings& settings) {
            SimulatedBoardSettings board = settings.simulated;
            board.faults = faults;
            return std::make_unique<SimulatedBoard>(board);
        };
        EXPECT_EQ(window.Set("input", "counter"), "");
        EXPECT_TRUE(window.OpenBoard("simulated"));
        window.Engine()->m_temporaryFolder = "/";
        host.saveFile = recording;
        host.fillForms = {Accepts()};
        return window;
    }
    static std::function<bool(Form&)> Accepts() {
        return [](Form&) { return true; };
    }
    static void Await(const std::function<bool()>& until) { EXPECT_TRUE(QTest::qWaitFor(until, 20000)); }
    void Record(RecordingWindow& window, int64_t scans = 4000) {
        EXPECT_TRUE(window.Press("start")) << window.NoticeText().toStdString();
        Await([&] { return window.Engine()->StoredScans() >= scans; });
    }
    void AwaitEnd(RecordingWindow& window) {
        Await([&] { return window.Engine()->HasEnded(); });
        QApplication::processEvents();
    }
    // The samples of a file that do not continue the counter.
    int64_t Lost(const char* path = recording) {
        CAcqDoc doc(session);
        EXPECT_TRUE(doc.OnOpenDocument(path, OpenFor::reading)) << host.messages.back().text;
        scans = doc.GetLength();
        int64_t lost = 0;
        for (int64_t i = 0; i < scans; ++i) {
            uint16_t code = 0;
            std::memcpy(&code, files.Bytes(path).data() + doc.m_nDataStart + 2 * static_cast<uint64_t>(i), 2);
            lost += code != (i & 0xFFFF);
        }
        return lost;
    }
    static bool IsReady(RecordingWindow& window, const char* button) {
        return window.findChild<QPushButton*>(button)->isEnabled();
    }

    SimulatedFaults faults;
    int64_t scans = 0;
};

TEST_F(RecordingWindowTest, WhatIsStoppedCanBeLookedThroughAndSaved) {
    RecordingWindow& window = Open();
    Record(window);
    EXPECT_FALSE(IsReady(window, "start"));
    EXPECT_FALSE(IsReady(window, "loadConfiguration"));
    window.Note();
    window.NoteText("drug on");
    const double noted = window.Engine()->Document().markers.at(0).m_dTime;
    Await([&] { return window.Engine()->StoredScans() * 0.05 > noted + 100.0; });
    EXPECT_TRUE(window.Press("stop"));
    AwaitEnd(window);
    ASSERT_NE(window.Review(), nullptr);
    EXPECT_TRUE(IsReady(window, "start"));
    EXPECT_GT(window.Display().Frames(), 0);
    // As many samples were drawn as were stored, but for the last buffers before the stop.
    EXPECT_NEAR(static_cast<double>(window.Display().Scans()),
                static_cast<double>(window.Engine()->StoredScans()), 32 * 400);

    EXPECT_TRUE(window.Press("save"));
    QApplication::processEvents();
    EXPECT_EQ(Lost(), 0);
    EXPECT_EQ(scans, window.Engine()->Document().GetLength());
    ASSERT_NE(frame->ActiveChild(), nullptr);
    const CDataDoc& shown = frame->ActiveChild()->Document();
    EXPECT_EQ(shown.filePath, recording);
    ASSERT_EQ(shown.markers.size(), 1u);
    EXPECT_EQ(shown.markers[0].m_strLabel, "drug on");
    // Pressed behind 4000 samples of 0.05 ms.
    EXPECT_GE(shown.markers[0].m_dTime, 200.0);
    EXPECT_FALSE(IsReady(window, "save"));
}

TEST_F(RecordingWindowTest, ADisplayThatStandsStillLosesNothingOfTheFile) {
    RecordingWindow& window = Open();
    Record(window);
    // Longer than the display's pipe lasts.
    std::this_thread::sleep_for(std::chrono::milliseconds(1500));
    Await([&] { return window.Display().DroppedScans() > 0; });
    window.Press("pause");
    const int64_t seen = window.Display().Scans();
    Await([&] { return window.Display().Scans() > seen + 2000; });
    window.Press("stop");
    AwaitEnd(window);
    window.Press("save");
    EXPECT_EQ(Lost(), 0);
    EXPECT_GT(scans, 30000);
}

TEST_F(RecordingWindowTest, ClosingAsksAndLosesNothingUnasked) {
    RecordingWindow* window = &Open();
    Record(*window);
    host.nextAnswers = {false};
    EXPECT_FALSE(frame->close());
    EXPECT_FALSE(window->Engine()->HasEnded());
    // It is stopped then; giving up the question for saving keeps the window.
    host.nextAnswers = {true};
    host.fillForms = {[](Form&) { return false; }};
    EXPECT_FALSE(window->close());
    EXPECT_TRUE(window->Engine()->HasUnsaved());
    // Another recording would overwrite it.
    host.nextAnswers = {false};
    window->Press("start");
    EXPECT_TRUE(window->Engine()->HasUnsaved());
    EXPECT_TRUE(window->Engine()->HasEnded());
    host.fillForms = {Accepts(), Accepts()};  // save it; its comment
    EXPECT_TRUE(window->close());
    EXPECT_EQ(Lost(), 0);
}

TEST_F(RecordingWindowTest, ABoardThatVanishesLeavesWhatCameUntilThen) {
    faults.vanishAt = 9000;
    RecordingWindow& window = Open();
    EXPECT_TRUE(window.Press("start"));
    AwaitEnd(window);
    EXPECT_NE(host.messages.back().text.find("does not answer any more"), std::string::npos);
    EXPECT_TRUE(window.Press("save"));
    EXPECT_EQ(Lost(), 0);
    EXPECT_GT(scans, 8000);
}

TEST_F(RecordingWindowTest, SeriesAppendAndTheirFileFollows) {
    RecordingWindow& window = Open();
    for (const auto& [key, value] : {std::pair{"trigMode", "repeat"},
                                     {"repeatCount", "2"},
                                     {"repeatInterval", "1"},
                                     {"saveMode", "auto-append"},
                                     {"timeLimit", "0.1"},
                                     {"autoSaveBase", "/series"}})
        ASSERT_EQ(window.Set(key, value), "") << key;
    EXPECT_TRUE(window.Press("start"));
    AwaitEnd(window);
    EXPECT_EQ(window.Engine()->AppendCount(), 2);
    // Its settings stay until it is done.
    EXPECT_FALSE(IsReady(window, "loadConfiguration"));
    ASSERT_NE(frame->ActiveChild(), nullptr);
    EXPECT_EQ(frame->ActiveChild()->Document().GetLength(), 2 * 2001);
    EXPECT_TRUE(window.Press("done"));
    QApplication::processEvents();
    EXPECT_TRUE(IsReady(window, "loadConfiguration"));
}

// A picture that is held has the size and the axes on which it was painted.
TEST_F(RecordingWindowTest, WhatIsHeldStaysAsItWasPainted) {
    RecordingWindow& window = Open();
    window.Display().SetOverlay(true);
    Record(window);
    EXPECT_TRUE(window.Press("pause"));
    QApplication::processEvents();
    const auto trace = [&] {
        const QImage all = window.Display().grab().toImage();
        return all.copy(0, 0, 240, 120);
    };
    const QImage held = trace();
    window.resize(window.width() + 200, window.height() + 150);
    QApplication::processEvents();
    window.Display().Autoscale();
    window.Display().SetSpan(50.0);
    EXPECT_EQ(trace(), held);
    EXPECT_TRUE(window.Press("stop"));
    AwaitEnd(window);
    Record(window);
    EXPECT_NE(trace(), held);
}

TEST_F(RecordingWindowTest, AnotherNoteKeepsTheTextOfTheOneBefore) {
    RecordingWindow& window = Open();
    Record(window);
    auto* text = window.findChild<QLineEdit*>("noteText");
    window.Note();
    text->setText("drug on");
    window.Note();
    text->setText("drug off");
    window.Press("stop");
    AwaitEnd(window);
    window.Press("save");
    CAcqDoc doc(session);
    ASSERT_TRUE(doc.OnOpenDocument(recording, OpenFor::reading));
    ASSERT_EQ(doc.markers.size(), 2u);
    EXPECT_EQ(doc.markers[0].m_strLabel, "drug on");
    EXPECT_EQ(doc.markers[1].m_strLabel, "drug off");
}

// What crosses -9 V is the counter, 3277 scans (164 ms) behind its start.
TEST_F(RecordingWindowTest, ANoteBehindATriggerAndAStallStandsAtTheScanStored) {
    RecordingWindow& window = Open();
    ASSERT_EQ(window.Set("trigMode", "internal"), "");
    ASSERT_EQ(window.Set("triggerLevel", "-9"), "");
    Record(window, 2000);
    std::this_thread::sleep_for(std::chrono::milliseconds(1200));
    Await([&] { return window.Display().DroppedScans() > 0; });
    const double stored = static_cast<double>(window.Engine()->StoredScans()) * 0.05;
    window.Note();
    const CMarker& note = window.Engine()->Document().markers.back();
    EXPECT_EQ(note.m_strLabel, "note 1");
    EXPECT_GE(note.m_dTime, stored);
    EXPECT_LT(note.m_dTime, static_cast<double>(window.Engine()->StoredScans()) * 0.05 + 60.0);
    window.Press("stop");
    AwaitEnd(window);
    EXPECT_EQ(window.Engine()->ScansLetGo(), 3277);
}

TEST_F(RecordingWindowTest, WhatIsSetOrRefusedLeavesTheRest) {
    RecordingWindow& window = Open();
    emit window.Display().AxisChanged(0, 3.0, -2.0);
    auto* pages = window.findChild<AcquisitionPages*>();
    EXPECT_EQ(pages->Settings().channels[0].axisA, 3.0);
    EXPECT_EQ(pages->Settings().channels[0].axisB, -2.0);
    Record(window);
    window.Press("stop");
    AwaitEnd(window);
    // The display span is too short for a picture.
    const int64_t stored = window.Engine()->StoredScans();
    ASSERT_EQ(window.Set("displaySpan", "0.1"), "");
    host.nextAnswers = {true};
    window.Press("start");
    AwaitEnd(window);
    EXPECT_NE(host.messages.back().text.find("at least 9 points"), std::string::npos);
    EXPECT_NE(window.Review(), nullptr);
    EXPECT_TRUE(IsReady(window, "save"));
    EXPECT_EQ(window.Engine()->StoredScans(), stored);
    // Its time is that of the rate at which it was recorded; a refused setting changes nothing.
    const auto elapsed = [&] { return window.findChild<QLabel*>("elapsed")->text(); };
    QTest::qWait(300);
    const QString before = elapsed();
    ASSERT_EQ(window.Set("sampleInterval", "0.5"), "");
    ASSERT_EQ(window.Set("encoding", "twos-complement"), "");
    EXPECT_NE(window.Set("bits", "20"), "");
    EXPECT_EQ(pages->Source().simulated.bits, 16);
    ASSERT_EQ(window.Set("encoding", "offset"), "");
    QTest::qWait(300);
    EXPECT_EQ(elapsed(), before);
    ASSERT_EQ(window.Set("sampleInterval", "0.05"), "");
    // Another simulated input is another board: one question, and the scope stays.
    ASSERT_EQ(window.Set("displaySpan", "2000"), "");
    ASSERT_EQ(window.Set("input", "sine"), "");
    window.ShowScope();
    host.nextAnswers = {true, false};
    window.Press("start");
    EXPECT_FALSE(window.Engine()->HasEnded());
    EXPECT_EQ(host.nextAnswers.size(), 1u);
    auto* scope = window.findChild<CAcqScopeDlg*>();
    ASSERT_NE(scope, nullptr);
    EXPECT_TRUE(scope->isVisible());
    window.Stop();
    AwaitEnd(window);
}

TEST_F(RecordingWindowTest, WhatIsGivenUpAfterAFailedSaveIsNotOfferedAgain) {
    RecordingWindow* window = &Open();
    files.Open("/cell.kymr-hdr", OpenMode::createNew);
    const size_t before = files.List("/").size();
    Record(*window);
    EXPECT_FALSE(window->findChild<QLabel*>("locked")->text().isEmpty());
    window->Stop();
    AwaitEnd(*window);
    EXPECT_EQ(window->findChild<QLabel*>("locked")->text(), "");
    window->Save();
    EXPECT_TRUE(window->Engine()->HasUnsaved());
    EXPECT_EQ(files.List("/").size(), before + 2) << "the samples and what belongs to them are kept";
    host.fillForms = {[](Form& form) {
        form["what"].choice = 1;
        return true;
    }};
    EXPECT_TRUE(window->close());
    EXPECT_EQ(files.List("/").size(), before);
    EXPECT_EQ(ElapsedText(4.99995), "0:05.0");
    EXPECT_EQ(ElapsedText(3599.96), "1:00:00.0");
}

TEST_F(RecordingWindowTest, AViewStoresNothingAndLeavesTheSettings) {
    RecordingWindow& window = Open();
    ASSERT_EQ(window.Set("sweepMode", "single"), "");
    EXPECT_TRUE(window.Press("view"));
    Await([&] { return window.Display().Scans() > 2000; });
    EXPECT_EQ(window.Engine()->State(), AcqState::displayOnly);
    EXPECT_TRUE(window.Press("stop"));
    AwaitEnd(window);
    EXPECT_FALSE(window.Engine()->HasUnsaved());
    EXPECT_EQ(window.Engine()->m_settings.m_nSweepMode, 0u);
    EXPECT_EQ(window.Engine()->m_settings.m_dTimeLimit, 60.0);
}

TEST_F(RecordingWindowTest, AConfigurationOpensItsKindOfSource) {
    RecordingWindow& window = Open();
    window.openSound = [] { return std::make_shared<LineIn>(); };
    AcquisitionSettings sound(RecordingType::microphone);
    sound.channels[1].m_nChanOn = true;
    sound.m_dSampleInterval = 1.0 / 48.0;
    WriteConfiguration(session, sound, "/sound.kymr-cfg");
    EXPECT_EQ(window.Set("sampleInterval", "0.1"), "");
    QMimeData dropped;
    dropped.setUrls({QUrl::fromLocalFile("/sound.kymr-cfg")});
    QDragEnterEvent enter({50, 50}, Qt::CopyAction, &dropped, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &enter);
    QDropEvent drop({50.0, 50.0}, Qt::CopyAction, &dropped, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&window, &drop);
    EXPECT_EQ(window.Source(), "sound");
    EXPECT_NE(window.Engine()->Unit(), "V");
    EXPECT_EQ(window.findChild<QDoubleSpinBox*>("level")->suffix().trimmed().toStdString(),
              window.Engine()->Unit());
    window.Engine()->m_temporaryFolder = "/";
    Record(window, 9600);
    window.Stop();
    AwaitEnd(window);
    ASSERT_TRUE(window.Engine()->HasUnsaved());
    // Another format would not fit what came.
    host.nextAnswers.push_back(false);
    EXPECT_NE(window.Set("secondChannel", "0"), "");
    ASSERT_FALSE(host.questions.empty());
    EXPECT_EQ(host.questions.back().text, "Warning: this will clear the data. Continue?");
    EXPECT_TRUE(window.Engine()->HasUnsaved());
    window.Save();
    CAcqDoc doc(session);
    ASSERT_TRUE(doc.OnOpenDocument(recording, OpenFor::reading));
    EXPECT_EQ(doc.traceCount, 2);
    EXPECT_GE(doc.GetLength(), 9600);
    host.saveFile = "/again.kymr-cfg";
    host.fillForms = {Accepts()};
    window.SaveConfiguration();
    EXPECT_EQ(files.Bytes("/again.kymr-cfg"), files.Bytes("/sound.kymr-cfg"));
    // Each source has settings of its own.
    EXPECT_TRUE(window.OpenBoard("simulated"));
    EXPECT_EQ(window.Engine()->m_settings.m_dSampleInterval, 0.1);
}

TEST_F(RecordingWindowTest, ARefractorySearchIsReviewedAndSaved) {
    RecordingWindow& window = Open();
    AcquisitionSettings search(RecordingType::refractoryAutomatic);
    RefractorySettings& r = search.refractory;
    r.m_fPreDur = r.m_fTrialDur = 0.2f;
    r.m_fPreDelay = 2.0f;
    r.m_fPreAmp = 1.5f;
    r.m_fTrialAmp0 = 1.0f;
    r.m_fTrialAmpMax = 3.0f;
    r.m_fAmpStep = 0.1f;
    r.m_fTrialDelay0 = 8.0f;
    r.m_fTrialDelayMin = 6.5f;
    r.m_fDelayStep = -1.0f;
    r.m_fSearchRate = 50.0f;
    r.m_nChecksPerDelay = 1;
    r.m_fSweepDur = 12.0f;
    r.m_fWinStart = 8.7f;
    r.m_fWinEnd = 9.4f;
    r.m_fSpikeThreshold = 5.0f;
    WriteConfiguration(session, search, "/search.kymr-cfg");
    window.Set("input", "preparation");
    ASSERT_TRUE(window.LoadConfig("/search.kymr-cfg"));
    EXPECT_EQ(window.Source(), "refractory:simulated");
    window.Engine()->m_temporaryFolder = "/";
    CDTRefrAcqView& nerve = *window.Refractory();
    EXPECT_FALSE(window.Press("view"));
    EXPECT_FALSE(window.Press("accept"));
    ASSERT_TRUE(window.Press("start"));
    AwaitEnd(window);
    ASSERT_EQ(nerve.Thresholds().size(), 2u) << window.NoticeText().toStdString();
    for (const RefractoryThreshold& one : nerve.Thresholds()) {
        const double needed = 1.0 + 3.0 * std::exp(-(double{one.delay} + 0.15 - 2.0 - 1.0) / 2.0);
        EXPECT_GE(one.amplitude.value_or(0.0f), needed);
        EXPECT_LT(one.amplitude.value_or(9.0f), needed + 0.1 + 1e-4);
    }
    // The line stands in a sweep at 7 ms, the setting is that at 8 ms.
    emit window.findChild<GraphWidget*>("sweeps")->LineMoved("winStart", 7.9);
    EXPECT_NEAR(nerve.m_settings.refractory.m_fWinStart, 8.9, 1e-5);
    // Data that are shown are not erased unasked.
    host.nextAnswers = {false};
    EXPECT_NE(window.Set("sweepDur", "13"), "");
    EXPECT_TRUE(host.questions.back().text.starts_with("You have data currently displayed"));
    EXPECT_GT(nerve.Sweeps().size(), 4u);
    EXPECT_TRUE(window.Press("clear"));
    const size_t accepted = nerve.AcceptedCount();
    EXPECT_EQ(std::ranges::count(nerve.Sweeps(), false, &RefractorySweep::isCleared), accepted);
    EXPECT_TRUE(window.Press("save"));
    QApplication::processEvents();
    EXPECT_FALSE(nerve.HasUnsaved());
    ASSERT_NE(frame->ActiveChild(), nullptr);
    EXPECT_EQ(frame->ActiveChild()->Document().filePath, recording);
    host.nextAnswers = {true};
    EXPECT_TRUE(window.Press("deleteAll"));
    host.openFiles = {recording};
    EXPECT_TRUE(window.LoadReview({}));
    EXPECT_EQ(nerve.Sweeps().size(), accepted);
    EXPECT_FALSE(window.SelectSweep(accepted));

    // By hand: the accepted sweep stays while others are tried.
    EXPECT_EQ(window.Set("type", "refractory-manual"), "");
    host.nextAnswers = {true};
    EXPECT_TRUE(window.Press("deleteAll"));
    for (int sweep = 0; sweep < 2; ++sweep) {
        QApplication::processEvents();
        ASSERT_TRUE(window.Press("start"));
        AwaitEnd(window);
        EXPECT_EQ(window.Press("accept"), true);
    }
    EXPECT_EQ(nerve.AcceptedCount(), 2u);
    EXPECT_TRUE(nerve.HasUnsaved());
}

}  // namespace kymora::test
