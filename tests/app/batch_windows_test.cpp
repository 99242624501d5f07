// The windows of batches: the To Do list and the table of files.

#include <QCheckBox>
#include <QDropEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMimeData>
#include <QPushButton>
#include <QTreeWidget>
#include <QUrl>

#include "app/child_frame.h"
#include "app/frame_fixture.h"
#include "app/operation_windows.h"
#include "batch/windows/batch_window.h"
#include "batch/windows/multi_batch_window.h"
#include "catalogue/windows/transform_window.h"
#include "detection/event_threshold.h"
#include "operations/config_file.h"
#include "transforms/unitary_transform.h"

namespace kymora::test {
namespace {

class BatchWindowsTest : public FrameTest {
  protected:
    MultiBatchWindow& OpenList() {
        EXPECT_TRUE(frame->RunCommandById("batch-list"));
        QApplication::processEvents();
        return *frame->BatchList();
    }
    static void Press(QWidget& window, const char* name) {
        auto* button = window.findChild<QPushButton*>(name);
        ASSERT_NE(button, nullptr) << name;
        button->click();
        QApplication::processEvents();
    }
    static QTreeWidget& Tree(QWidget& window, const char* name) {
        return *window.findChild<QTreeWidget*>(name);
    }
    static void ChooseOperation(MultiBatchWindow& window, const char* label) {
        QTreeWidget& tree = Tree(window, "operations");
        const auto items = tree.findItems(label, Qt::MatchExactly | Qt::MatchRecursive);
        ASSERT_FALSE(items.isEmpty()) << label;
        tree.setCurrentItem(items.back());
    }
    // Adds it with the settings that its dialog comes with.
    void Add(MultiBatchWindow& window, const char* label) {
        ChooseOperation(window, label);
        QTest::keyClick(&Tree(window, "operations"), Qt::Key_Return);
        OperationWindow* dialog = frame->OperationDialogs().Configuring();
        ASSERT_NE(dialog, nullptr);
        Press(*dialog, "run");
    }
    static std::string Names(const MultiBatchWindow& window) {
        std::string names;
        for (size_t i = 0; i < window.List().Count(); ++i) names += window.List().Name(i) + ";";
        return names;
    }
    void PutList(const char* path) {
        CMultiBatch list;
        auto twice = std::make_unique<CUnitaryTransform>();
        twice->m_nAddMode = CTransformTraceDlg::replaceTraces;
        EXPECT_EQ(twice->Params().Find("order")->SetFromText("2 0 0"), "");
        EXPECT_EQ(twice->Params().Find("scale")->SetFromText("2"), "");
        list.Add(std::move(twice));
        ASSERT_TRUE(SaveMultiBatch(session, list, path));
    }
    bool WaitForEnd() {
        return QTest::qWaitFor([&] { return frame->RunningBatch() == nullptr; });
    }
    static double FirstOf(CDataDoc& doc) {
        uint8_t valid = 0;
        return doc.ReadAt(0, 0, valid);
    }
};

TEST_F(BatchWindowsTest, CommandsThatHaveNothingToWorkOn) {
    MultiBatchWindow& window = OpenList();
    const auto told = [&](const char* button) {
        host.messages.clear();
        Press(window, button);
        return host.LastMessage();
    };
    EXPECT_EQ(told("add"), "Please select an operation to add to the To Do list.");
    ChooseOperation(window, "Threshold Event");
    EXPECT_EQ(told("add").find("Open a recording first"), 0u);
    EXPECT_EQ(told("configure"), "Add some operations to the To Do list.");
    OpenOne();
    Add(window, "Threshold Event");
    Tree(window, "toDo").clearSelection();
    EXPECT_EQ(told("remove"), "Please select an item in the To Do list to remove.");
    EXPECT_EQ(told("up"), "Please select an item in the To Do list to move up.");
    EXPECT_EQ(told("down"), "Please select an item in the To Do list to move down.");
    EXPECT_EQ(told("configure"), "Please select an item in the To Do list to re-configure.");
}

TEST_F(BatchWindowsTest, AListIsMadeByKeys) {
    OpenOne();
    MultiBatchWindow& window = OpenList();
    ChooseOperation(window, "Moving median");
    QTest::keyClick(&Tree(window, "operations"), Qt::Key_Return);
    OperationWindow* dialog = frame->OperationDialogs().Configuring();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->Block().Params().Find("type")->ValueText(), "1");
    EXPECT_FALSE(dialog->findChild<QPushButton*>("previewButton")->isVisible());
    EXPECT_EQ(dialog->findChild<QLabel*>("noPreview")->text(),
              "Preview unavailable in multi-batch configuration mode.");
    EXPECT_EQ(static_cast<TransformWindow*>(dialog)->OpenPreview(), nullptr);
    EXPECT_EQ(host.LastMessage(), "Preview unavailable in multi-batch configuration mode.");
    EXPECT_FALSE(dialog->findChild<QCheckBox*>("batchProcess")->isVisible());
    Press(*dialog, "close");
    EXPECT_EQ(Names(window), "") << "Cancel adds nothing";
    EXPECT_TRUE(session.operationSettings.empty());

    Add(window, "Moving median");
    Add(window, "Threshold Event");
    Add(window, "List event parameters");
    EXPECT_EQ(Names(window), "Smooth;Threshold Event;List Event Parameters;");
    EXPECT_FALSE(frame->ActiveChild()->Document().IsModified()) << "nothing was run";
    QTreeWidget& list = Tree(window, "toDo");
    QTest::keyClick(&list, Qt::Key_Up, Qt::AltModifier);
    QTest::keyClick(&list, Qt::Key_Up, Qt::AltModifier);
    QTest::keyClick(&list, Qt::Key_Up, Qt::AltModifier);
    EXPECT_EQ(Names(window), "List Event Parameters;Smooth;Threshold Event;");
    QTest::keyClick(&list, Qt::Key_Down, Qt::AltModifier);
    QTest::keyClick(&list, Qt::Key_Delete);
    EXPECT_EQ(Names(window), "Smooth;Threshold Event;");
    QTest::keyClick(&list, Qt::Key_Return);
    dialog = frame->OperationDialogs().Configuring();
    ASSERT_NE(dialog, nullptr);
    EXPECT_EQ(dialog->Block().Settings(), window.List().Item(1).Settings());
    static_cast<CEventThreshold&>(dialog->Block()).m_nDestination = 9;
    Press(*dialog, "run");
    EXPECT_EQ(static_cast<CEventThreshold&>(window.List().Item(1)).m_nDestination, 9);
}

TEST_F(BatchWindowsTest, SettingsThatTheRecordingAtHandRefusesMaySuitOthers) {
    OpenOne();
    MultiBatchWindow& window = OpenList();
    ChooseOperation(window, "Moving median");
    Press(window, "add");
    OperationWindow* dialog = frame->OperationDialogs().Configuring();
    const auto type = [&](const char* key, const char* text) {
        auto* edit = dialog->findChild<QLineEdit*>(key);
        edit->selectAll();
        QTest::keyClicks(edit, text);
    };
    type("traces", "7");
    EXPECT_NE(dialog->findChild<QLabel*>("message")->text().indexOf("In the recording in front: "), -1);
    type("halfWindow", "-1");
    EXPECT_FALSE(dialog->findChild<QPushButton*>("run")->isEnabled()) << "no recording takes that";
    type("halfWindow", "2");
    Press(*dialog, "run");
    EXPECT_EQ(window.List().Count(), 1u);
    EXPECT_TRUE(host.questions.empty());
}

TEST_F(BatchWindowsTest, ListsAreLoadedSavedAndNotLost) {
    PutList("/list.kymr-batch");
    CEventThreshold threshold;
    ASSERT_TRUE(SaveConfig(session, threshold, "/one.kymr-cfg"));
    files.Put("/bad.kymr-batch", std::vector<std::byte>(20, std::byte{9}));
    frame->DropFile("/list.kymr-batch");
    EXPECT_EQ(host.LastMessage(), "You can only load a configuration file (.kymr-cfg or .kymr-batch) when a "
                                  "data file is already open.");
    OpenOne();
    frame->DropFile("/bad.kymr-batch");
    EXPECT_EQ(frame->BatchList(), nullptr) << "what is refused opens no window";
    frame->OpenFiles({"/two.kymr-dat", "/list.kymr-batch"});
    ASSERT_NE(frame->BatchList(), nullptr);
    MultiBatchWindow& window = *frame->BatchList();
    EXPECT_EQ(window.windowTitle(), "Multi-Batch - list.kymr-batch");
    EXPECT_EQ(host.log.back(),
              "CDataDoc::OnLoadConfigFile(): type = CMultiBatch, filename = /list.kymr-batch\n");

    QMimeData data;
    data.setUrls({QUrl::fromLocalFile("/one.kymr-cfg")});
    QDragEnterEvent enter({5, 5}, Qt::CopyAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(&window, &enter);
    QDropEvent drop({5, 5}, Qt::CopyAction, &data, Qt::LeftButton, {});
    QApplication::sendEvent(&window, &drop);
    ASSERT_EQ(window.List().Count(), 2u) << "the settings of one go to the end";
    EXPECT_TRUE(window.IsModified());
    host.answer = false;
    frame->DropFile("/list.kymr-batch");
    EXPECT_EQ(window.List().Count(), 2u);
    window.close();
    EXPECT_TRUE(window.isVisible());
    frame->close();
    EXPECT_TRUE(frame->isVisible());
    EXPECT_EQ(host.questions.size(), 3u);
    host.saveFile = "/mine.kymr-batch";
    Press(window, "save");
    EXPECT_EQ(host.fileRequests.back().title, "Save Multi-Batch configuration file");
    EXPECT_FALSE(window.IsModified());
    CMultiBatch saved;
    ASSERT_TRUE(LoadMultiBatch(session, saved, "/mine.kymr-batch"));
    EXPECT_EQ(saved.Count(), 2u);
    window.close();
    EXPECT_EQ(host.questions.size(), 3u);
}

TEST_F(BatchWindowsTest, ABatchRunsBesideTheRecordings) {
    PutList("/list.kymr-batch");
    OpenOne();
    frame->DropFile("/list.kymr-batch");
    MultiBatchWindow& window = *frame->BatchList();
    host.openFiles = {"/one.kymr-dat", "/two.kymr-dat", "/gone.kymr-dat"};
    host.fillForms = {[](Form&) { return true; }};
    Press(window, "run");
    BatchWindow* batch = frame->RunningBatch();
    ASSERT_NE(batch, nullptr);
    EXPECT_FALSE(batch->isModal());
    EXPECT_FALSE(frame->MayStartBatch());
    host.answer = false;
    frame->close();
    EXPECT_TRUE(frame->isVisible()) << "it is asked about";
    ASSERT_TRUE(WaitForEnd());
    EXPECT_EQ(FirstOf(frame->ActiveChild()->Document()), -1000.0) << "the window shows the new file";
    const QTreeWidget& table = Tree(*batch, "files");
    const std::pair<const char*, const char*> expected[] = {
        {"done", ""}, {"done", ""}, {"failed", "There is no such file."}};
    for (int i = 0; i < 3; ++i) {
        EXPECT_EQ(table.topLevelItem(i)->text(1), expected[i].first);
        EXPECT_EQ(table.topLevelItem(i)->text(2), expected[i].second);
    }
    ASSERT_EQ(host.texts.size(), 1u);
    Press(*batch, "errors");
    EXPECT_EQ(host.texts.size(), 2u);
    EXPECT_EQ(host.texts[1].text, host.texts[0].text);
    host.saveFile = "/report.json";
    Press(*batch, "report");
    EXPECT_TRUE(files.Has("/report.json"));
    Press(*batch, "cancel");
    EXPECT_FALSE(batch->isVisible()) << "it closes";
}

TEST_F(BatchWindowsTest, AWindowThatIsClosedCancelsItsBatch) {
    PutList("/list.kymr-batch");
    OpenOne();
    frame->DropFile("/list.kymr-batch");
    host.openFiles = {"/one.kymr-dat", "/two.kymr-dat"};
    host.fillForms = {[](Form&) { return true; }};
    Press(*frame->BatchList(), "run");
    BatchWindow* batch = frame->RunningBatch();
    ASSERT_NE(batch, nullptr);
    batch->close();
    EXPECT_EQ(host.questions.size(), 1u) << "once";
    EXPECT_EQ(frame->RunningBatch(), nullptr);
    ASSERT_EQ(host.texts.size(), 1u);
    EXPECT_NE(host.texts[0].text.find("The batch was cancelled."), std::string::npos);
}

}  // namespace
}  // namespace kymora::test
