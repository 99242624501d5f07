#include <QMdiArea>
#include <QMenuBar>

#include "frame_fixture.h"
#include "support/native_builder.h"

namespace kymora::test {
namespace {

using MainFrameTest = FrameTest;

QMenu* MenuOf(CMainFrame& frame, const char* title) {
    for (QAction* action : frame.menuBar()->actions())
        if (action->text() == title) return action->menu();
    return nullptr;
}

TEST_F(MainFrameTest, OpensEachFileInItsOwnWindow) {
    frame->OpenFiles({"/one.kymr-dat", "/two.kymr-dat"});
    EXPECT_EQ(frame->Children().size(), 2u);
    EXPECT_FALSE(frame->Children()[0]->isMaximized());      // both are to be seen
    CChildFrame* again = frame->OpenFile("/one.kymr-dat");  // comes to the front
    EXPECT_EQ(frame->Children().size(), 2u);
    EXPECT_EQ(frame->ActiveChild(), again);
    EXPECT_EQ(again->windowTitle(), "one.kymr-dat[*]");
}

TEST_F(MainFrameTest, ASingleFileFillsTheFrame) {
    frame->OpenFiles({"/one.kymr-dat"});
    ASSERT_EQ(frame->Children().size(), 1u);
    EXPECT_TRUE(frame->Children()[0]->isMaximized());
}

TEST_F(MainFrameTest, AFailedOpenLeavesNoWindowAndSaysWhy) {
    EXPECT_EQ(frame->OpenFile("/missing.kymr-dat"), nullptr);
    EXPECT_EQ(host.messages.size(), 1u);
    EXPECT_EQ(frame->OpenFile("/one.unknown"), nullptr);
    EXPECT_EQ(host.messages.size(), 2u);
    EXPECT_TRUE(frame->Children().empty());
}

TEST_F(MainFrameTest, MenusHoldEveryCommandAndFollowTheActiveView) {
    for (const Command& command : ViewCommands()) {
        QAction* action = Action(std::string(command.id).c_str());
        ASSERT_NE(action, nullptr) << command.id;
        EXPECT_EQ(action->text().toStdString(), command.label);
        EXPECT_FALSE(action->isEnabled()) << command.id;
    }
    CChildFrame& child = OpenOne();
    EXPECT_TRUE(Action("right-page")->isEnabled());
    EXPECT_TRUE(Action("grid")->isChecked());
    Action("grid")->trigger();
    EXPECT_FALSE(child.View().m_bShowGrid);
    EXPECT_FALSE(Action("grid")->isChecked());
    EXPECT_TRUE(child.isWindowModified());
    Action("start")->trigger();
    ExpectViewport(child, 0.0, 2000.0);
    EXPECT_FALSE(Action("left-page")->isEnabled());
    Action("unit-s")->trigger();
    EXPECT_TRUE(Action("unit-s")->isChecked());
    EXPECT_FALSE(Action("unit-ms")->isChecked());
}

TEST_F(MainFrameTest, WindowMenuListsTheOpenRecordings) {
    frame->OpenFiles({"/one.kymr-dat", "/two.kymr-dat"});
    QMenu* menu = MenuOf(*frame, "&Window");
    ASSERT_NE(menu, nullptr);
    emit menu->aboutToShow();
    emit menu->aboutToShow();  // listed once, however often it is shown
    QList<QAction*> listed;
    for (QAction* action : menu->actions())
        if (action->text().contains("kymr-dat")) listed += action;
    ASSERT_EQ(listed.size(), 2);
    listed[0]->trigger();
    EXPECT_EQ(frame->ActiveChild(), frame->Children()[0]);
}

TEST_F(MainFrameTest, ClosingAsksAboutChangesOnce) {
    CChildFrame* child = &OpenOne();
    child->Document().SetModifiedFlag();
    host.answer = false;
    frame->OnFileClose();
    QApplication::processEvents();
    EXPECT_EQ(host.questions.size(), 1u);
    EXPECT_EQ(frame->Children().size(), 1u);
    host.answer = true;
    frame->OnFileClose();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(host.questions.size(), 2u);
    EXPECT_TRUE(frame->Children().empty());
}

TEST_F(MainFrameTest, ClosingTheFrameStopsAtTheFirstRefusal) {
    frame->OpenFiles({"/one.kymr-dat", "/two.kymr-dat"});
    for (CChildFrame* child : frame->Children()) child->Document().SetModifiedFlag();
    host.nextAnswers = {true, false};
    EXPECT_FALSE(frame->close());
    EXPECT_EQ(host.questions.size(), 2u);
    EXPECT_EQ(frame->Children().size(), 2u);
    EXPECT_TRUE(frame->isVisible());
    EXPECT_TRUE(frame->close());
    EXPECT_EQ(host.questions.size(), 4u);
}

TEST_F(MainFrameTest, SaveKeepsWhatTheViewShows) {
    CChildFrame& child = OpenOne();
    child.View().RightPage();
    Action("trace-ids")->trigger();
    EXPECT_TRUE(frame->OnFileSave());
    EXPECT_FALSE(child.isWindowModified());
    frame->OnFileClose();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    CChildFrame& again = OpenOne();
    ExpectViewport(again, 3000.0, 5000.0);
    EXPECT_FALSE(again.View().m_bShowTraceIDs);
}

// What cannot be saved in place finds a way out: the new file is shown in the place of the old, which stays
// as it was.
TEST_F(MainFrameTest, SaveAsShowsTheNewFile) {
    CChildFrame& child = OpenOne();
    const std::filesystem::path old = child.Document().filePath;
    child.View().RightPage();
    host.saveFile = old;
    EXPECT_FALSE(frame->OnFileSaveAs()) << "an open file is not written over";
    host.saveFile = "/copy.kymr-dat";
    ASSERT_TRUE(frame->OnFileSaveAs()) << host.LastMessage();
    ASSERT_EQ(frame->Children().size(), 1u);
    EXPECT_EQ(frame->Children()[0]->Document().filePath, "/copy.kymr-dat");
    EXPECT_NE(frame->Children()[0]->Document().historyLog.find(": File: Save As"), std::string::npos);
    ExpectViewport(*frame->Children()[0], 3000.0, 5000.0);
    frame->OnFileClose();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(OpenOne().Document().historyLog.find("Save As"), std::string::npos);
}

TEST_F(MainFrameTest, SavingAnOldVersionOpensTheConvertedFile) {
    NativeRecipe recipe;
    recipe.version = 20;
    const BuiltNative built = BuildNative(recipe);
    files.Open("/old.flt", OpenMode::createNew)->WriteAt(0, built.file.data);
    ASSERT_NE(frame->OpenFile("/old.flt"), nullptr) << host.LastMessage();
    host.saveFile = "/converted.kymr-dat";
    EXPECT_TRUE(frame->OnFileSave());
    ASSERT_EQ(frame->Children().size(), 1u);
    EXPECT_EQ(frame->Children()[0]->Document().filePath, "/old.kymr-dat");
    EXPECT_EQ(frame->Children()[0]->Document().fileVersion, 48);
    EXPECT_FALSE(files.Stamp("/old.flt"));
    EXPECT_FALSE(files.Stamp("/converted.kymr-dat"));
}

}  // namespace
}  // namespace kymora::test
