#include "app/operation_windows.h"

#include <QCheckBox>

#include "catalogue/windows/transform_window.h"
#include "frame_fixture.h"
#include "operations/config_file.h"
#include "operations/event_base_dlg.h"

namespace kymora::test {
namespace {

class OperationWindowsTest : public FrameTest {
  protected:
    void SetUp() override {
        FrameTest::SetUp();
        threshold = FindOperation("CEventThreshold");
        ASSERT_NE(threshold, nullptr);
    }
    OperationWindow* Open() {
        Action("event-threshold")->trigger();
        return frame->OperationDialogs().Find("CEventThreshold");
    }
    // What waits for a moment to be joined with others has come through.
    static void Settle() {
        QTest::qWait(60);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    static std::string Set(CBatchBaseDlg& block, const char* key, const char* value) {
        ParamList params = block.Params();
        return params.Find(key)->SetFromText(value);
    }

    const Operation* threshold = nullptr;
};

TEST_F(OperationWindowsTest, TheMenuOpensOneWindowForEachOperation) {
    EXPECT_FALSE(Action("event-threshold")->isEnabled()) << "nothing is open";
    CChildFrame& child = OpenOne();
    OperationWindow* window = Open();
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(window->Block().Document(), &child.Document());
    EXPECT_EQ(window->Block().View(), &child.View());
    EXPECT_EQ(Open(), window);
    for (const OperationEntry& entry : EntriesOf(Operations())) {
        EXPECT_TRUE(frame->RunCommandById(entry.Id())) << entry.Id();
        EXPECT_NE(frame->OperationDialogs().Find(entry.operation->className), nullptr) << entry.Id();
    }
}

TEST_F(OperationWindowsTest, TransformsStopTheRestAndOpenAsTheirEntrySays) {
    EXPECT_FALSE(frame->RunCommandById("moving-median")) << "nothing is open";
    OpenOne();
    ASSERT_TRUE(frame->RunCommandById("moving-median"));
    auto* window = dynamic_cast<TransformWindow*>(frame->OperationDialogs().Find("CGenSmooth"));
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(window->isModal());
    EXPECT_EQ(window->Block().Params().Find("type")->ValueText(), "1");
    ASSERT_EQ(Set(window->Block(), "traces", "2"), "");
    ASSERT_NE(window->OpenPreview(), nullptr);
    EXPECT_EQ(window->Preview()->Model().Data().trace, 1);
    EXPECT_EQ(window->Preview()->Model().Start(), 1000) << "what the view shows";
    window->close();
    Settle();
    ASSERT_TRUE(frame->RunCommandById("gaussian"));
    OperationWindow* again = frame->OperationDialogs().Find("CGenSmooth");
    EXPECT_EQ(again->Block().Params().Find("type")->ValueText(), "3");
    EXPECT_EQ(again->Block().Params().Find("traces")->ValueText(), "2") << "the rest is as it was left";
}

TEST_F(OperationWindowsTest, WindowsFollowTheActiveViewAndCloseWithTheLast) {
    CChildFrame& one = OpenOne();
    QPointer<OperationWindow> window = Open();
    EXPECT_FALSE(one.View().Plot().guides.empty());
    CChildFrame* two = frame->OpenFile("/two.kymr-dat");
    EXPECT_EQ(window->Block().Document(), &two->Document());
    EXPECT_TRUE(one.View().Plot().guides.empty());
    two->CloseAtOnce();
    Settle();
    ASSERT_TRUE(window);
    EXPECT_EQ(window->Block().Document(), &one.Document());
    one.CloseAtOnce();
    Settle();
    EXPECT_FALSE(window);
    EXPECT_EQ(frame->OperationDialogs().Find("CEventThreshold"), nullptr);
}

TEST_F(OperationWindowsTest, ADroppedConfigurationOpensItsDialogWithItsSettings) {
    const auto block = threshold->make();
    ASSERT_EQ(Set(*block, "minimumOnTime", "7.5"), "");
    ASSERT_TRUE(SaveConfig(session, *block, "/settings.kymr-cfg"));
    OpenOne();
    frame->DropFile("/settings.kymr-cfg");
    OperationWindow* window = frame->OperationDialogs().Find("CEventThreshold");
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->Block().Params().Find("minimumOnTime")->ValueText(), "7.5");
    files.Put("/cut.kymr-cfg", std::vector<std::byte>(3));
    frame->DropFile("/cut.kymr-cfg");
    EXPECT_EQ(host.LastMessage(), "cut.kymr-cfg is no configuration file of an operation.");
}

// Whatever stands in a window that a file opened can be pressed.
TEST_F(OperationWindowsTest, ConfigurationsOfAllOperationsOpenWindowsThatCanBePressed) {
    host.openFiles = {"/two.kymr-dat"};
    host.saveFile = "/saved.kymr-cfg";
    QPointer<OperationWindow> window;
    const auto press = [&](const std::function<bool(const QString&)>& wanted) {
        QList<QPointer<QAbstractButton>> buttons;
        for (QAbstractButton* button : window->findChildren<QAbstractButton*>()) buttons.push_back(button);
        for (const auto& button : buttons)
            if (button && wanted(button->objectName())) button->click();
        Settle();
    };
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(std::string(operation.className));
        OpenOne();
        const auto block = operation.make();
        ASSERT_TRUE(SaveConfig(session, *block, "/settings.kymr-cfg"));
        frame->DropFile("/settings.kymr-cfg");
        window = frame->OperationDialogs().Find(operation.className);
        EXPECT_EQ(window == nullptr, block->WhatItAffects() == Affects::newRecording);
        if (!window) continue;
        EXPECT_EQ(window->isModal(), block->WhatItAffects() == Affects::traces);
        for (int i = 0; i < 2; ++i)
            press([](const QString& name) { return name != "run" && name != "close"; });
        if (auto* batch = window->findChild<QCheckBox*>("batchProcess")) batch->setChecked(true);
        press([](const QString& name) { return name == "run"; });
        if (window) window->close();
        Settle();
    }
}

TEST_F(OperationWindowsTest, CursorsThatMoveBoundTheNoise) {
    CChildFrame& child = OpenOne();
    ASSERT_TRUE(frame->RunCommandById("detect-spikes"));
    CBatchBaseDlg& block = frame->OperationDialogs().Find("CDetectSpikes")->Block();
    CDatumLines& lines = child.View().DatumLines();
    for (const int x : {100, 200}) lines.AddVertLine(x);
    child.Widget().Invalidate();
    Settle();
    for (const auto& [key, x] : {std::pair{"noiseStart", 100}, {"noiseEnd", 200}})
        EXPECT_NEAR(block.Params().Find(key)->number, child.View().Plot().PixelToTime(x), 1e-3) << key;
}

TEST_F(OperationWindowsTest, SettingsAndPlaceOfAWindowComeBack) {
    OpenOne();
    OperationWindow* window = Open();
    ASSERT_EQ(Set(window->Block(), "minimumOnTime", "7.5"), "");
    ASSERT_EQ(Set(window->Block(), "destination", "b"), "");
    frame->ActiveChild()->Document().AddEvent(1, {1, 2});
    window->setGeometry(120, 130, 640, 480);
    const QPoint place = window->pos();
    window->close();
    Settle();
    window = Open();
    EXPECT_EQ(window->Block().Params().Find("minimumOnTime")->ValueText(), "7.5");
    EXPECT_EQ(window->Block().Params().Find("destination")->ValueText(), "b")
        << "chosen, though it has events";
    EXPECT_EQ(window->pos(), place);
}

}  // namespace
}  // namespace kymora::test
