// An operation at work on another thread, and what the user does meanwhile.

#include <QDialog>
#include <QProgressBar>

#include "app/operation_window_fixture.h"
#include "operations/job_worker.h"

namespace kymora::test {
namespace {

class LongRunTest : public OperationWindowTest {
  protected:
    // The run waits until it is let go.
    void SetUp() override {
        OperationWindowTest::SetUp();
        files.Open(doc->filePath, OpenMode::createNew);
        doc->RememberStamp(doc->filePath);
        CTestOperation& block = Open();
        block.jobSamples = samplesAtOnce + 1;
        block.during = [this](JobContext& context) {
            ProgressScope progress(context, "Working", 10);
            while (!isLetGo) progress.At(4);
        };
        QTest::mouseClick(Find<QPushButton>("run"), Qt::LeftButton);
        ASSERT_TRUE(window->IsBusy());
    }
    void TearDown() override {
        isLetGo = true;
        OperationWindowTest::TearDown();
    }
    bool HasEnded() {
        return QTest::qWaitFor([this] { return !window || !window->IsBusy(); });
    }
    // The worker is done, and its result is not written yet.
    bool IsHeldBack() {
        QTest::qWait(120);
        return window->IsBusy() && doc->GetNumEvents(2) == 0;
    }
    std::atomic<bool> isLetGo = false;
};

TEST_F(LongRunTest, ShowsItsProgressAndStaysWithItsRecording) {
    auto* bar = Find<QProgressBar>("bar");
    EXPECT_TRUE(QTest::qWaitFor([&] { return bar->value() == 400; }));
    EXPECT_TRUE(bar->isVisible());
    EXPECT_FALSE(Find<QPushButton>("run")->isEnabled());
    EXPECT_FALSE(Find<QLineEdit>("onLevel")->isEnabled());
    EXPECT_FALSE(window->Run()) << "it runs already";
    const auto other = MemoryDoc::Make(session, {{1, 2, 3}});
    window->SetActive(other.get(), nullptr);
    EXPECT_EQ(Block().Document(), doc.get());
    isLetGo = true;
    ASSERT_TRUE(HasEnded());
    EXPECT_EQ(doc->GetNumEvents(2), 1);
    EXPECT_EQ(doc->Undo().UndoName(), "Test Operation");
    EXPECT_EQ(Block().Document(), other.get());
    EXPECT_FALSE(bar->isVisible());
    EXPECT_TRUE(Find<QLineEdit>("onLevel")->isEnabled());
    window->SetActive(nullptr, nullptr);
}

TEST_F(LongRunTest, EndsWithCancelWithItsWindowAndWithItsView) {
    QTest::mouseClick(Find<QPushButton>("cancelRun"), Qt::LeftButton);
    ASSERT_TRUE(HasEnded());
    EXPECT_EQ(Block().runs, 0);
    EXPECT_TRUE(host.messages.empty());
    QTest::mouseClick(Find<QPushButton>("run"), Qt::LeftButton);
    ASSERT_TRUE(window->IsBusy());
    GuideView another;
    window->Forget(another);
    EXPECT_TRUE(window->IsBusy());
    window->Forget(view);
    EXPECT_FALSE(window->IsBusy());
    QTest::mouseClick(Find<QPushButton>("run"), Qt::LeftButton);
    ASSERT_TRUE(window->IsBusy());
    Close();
    EXPECT_FALSE(window);
    EXPECT_EQ(doc->GetNumEvents(2), 0);
    EXPECT_FALSE(doc->Undo().CanUndo());
    EXPECT_TRUE(doc->channelsAtWork.empty());
}

TEST_F(LongRunTest, IsNotWrittenOverWhatHasChanged) {
    doc->AddEvent(2, {1, 2, 0.0f});
    isLetGo = true;
    ASSERT_TRUE(HasEnded());
    EXPECT_EQ(host.LastMessage(), changedMeanwhileText);
    EXPECT_EQ(doc->GetNumEvents(2), 1);
}

TEST_F(LongRunTest, WaitsForBoxesDragsAndOtherSteps) {
    doc->eventChannels[2].channelColour = 0xFF;  // which changes no event
    QDialog box;
    box.setModal(true);
    box.show();
    isLetGo = true;
    EXPECT_TRUE(IsHeldBack());
    box.close();
    QTest::mousePress(Find<QLineEdit>("onLevel"), Qt::LeftButton);
    EXPECT_TRUE(IsHeldBack());
    QTest::mouseRelease(Find<QLineEdit>("onLevel"), Qt::LeftButton);
    {
        UndoScope paste(*doc, "Paste");
        EXPECT_TRUE(IsHeldBack());
        paste.PutBack();
    }
    ASSERT_TRUE(HasEnded());
    EXPECT_EQ(doc->GetNumEvents(2), 1);
    EXPECT_EQ(doc->Undo().UndoName(), "Test Operation");
}

TEST_F(LongRunTest, IsRefusedInsideOfAnotherStep) {
    CTestOperation other;
    other.CheckChangeDoc(doc.get());
    other.destination = 3;
    UndoScope paste(*doc, "Paste");
    EXPECT_FALSE(other.Run());
    EXPECT_EQ(host.LastMessage(), underEditText);
}

TEST_F(LongRunTest, KeepsItsChannelAndHearsOfCursorsAtItsEnd) {
    EXPECT_FALSE(doc->IsFreeChannel(2));
    EXPECT_EQ(doc->FirstFreeChannel(), 0);
    CTestOperation other;
    other.CheckChangeDoc(doc.get());
    EXPECT_FALSE(other.Run());
    EXPECT_EQ(
        host.LastMessage().rfind("An operation that is still at work will write into event channel c", 0), 0u)
        << host.LastMessage();
    window->CursorsMoved();
    EXPECT_EQ(Block().cursorMoves, 0);
    isLetGo = true;
    ASSERT_TRUE(HasEnded());
    EXPECT_EQ(Block().cursorMoves, 1);
    EXPECT_TRUE(doc->channelsAtWork.empty());
}

}  // namespace
}  // namespace kymora::test
