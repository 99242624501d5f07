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
    EXPECT_FALSE(window->isModal());
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

TEST_F(OperationWindowsTest, TheRegionIsWhatTheViewShowsNow) {
    CChildFrame& child = OpenOne();
    OperationWindow* window = Open();
    auto& block = dynamic_cast<CEventWndBaseDlg&>(window->Block());
    ASSERT_EQ(Set(block, "region", "visible screen"), "");
    EXPECT_EQ(block.GetRegion(), (SampleSpan{1000, 3000}));
    child.View().ChangeViewport({5000.0, 6000.0});
    EXPECT_EQ(block.GetRegion(), (SampleSpan{5000, 6000}));
}

TEST_F(OperationWindowsTest, LevelsStandInTheViewWhileTheWindowIsOpen) {
    CChildFrame& child = OpenOne();
    OperationWindow* window = Open();
    ASSERT_EQ(Set(window->Block(), "onPos", "123.5"), "");
    window->Refresh();
    Settle();
    const auto guides = child.View().Plot().guides;
    EXPECT_TRUE(std::any_of(guides.begin(), guides.end(), [](const ViewGuide& guide) {
        return guide.kind == ViewGuide::Kind::level && guide.at == 123.5 && guide.colour == 0x0000FF;
    }));
    window->close();
    Settle();
    EXPECT_TRUE(child.View().Plot().guides.empty());
}

TEST_F(OperationWindowsTest, ADroppedConfigurationOpensItsDialogWithItsSettings) {
    const auto block = threshold->make();
    ASSERT_EQ(Set(*block, "minimumOnTime", "7.5"), "");
    ASSERT_TRUE(SaveConfig(session, *block, "/settings.kymr-cfg"));
    frame->DropFile("/settings.kymr-cfg");
    EXPECT_EQ(frame->OperationDialogs().Find("CEventThreshold"), nullptr) << "no recording is open";
    OpenOne();
    frame->DropFile("/settings.kymr-cfg");
    OperationWindow* window = frame->OperationDialogs().Find("CEventThreshold");
    ASSERT_NE(window, nullptr);
    EXPECT_EQ(window->Block().Params().Find("minimumOnTime")->ValueText(), "7.5");
    EXPECT_EQ(host.log.back(),
              "CDataDoc::OnLoadConfigFile(): type = CEventThreshold, filename = /settings.kymr-cfg\n");

    files.Put("/cut.kymr-cfg", std::vector<std::byte>(3));
    frame->DropFile("/cut.kymr-cfg");
    EXPECT_EQ(host.LastMessage(), "cut.kymr-cfg is no configuration file of an operation.");
}

// Whatever stands in a window that a file opened can be pressed.
TEST_F(OperationWindowsTest, ConfigurationsOfAllOperationsOpenWhatTheyAre) {
    host.openFiles = {"/two.kymr-dat"};
    host.saveFile = "/saved.kymr-cfg";
    QPointer<OperationWindow> window;
    const auto press = [&](const std::function<bool(const QString&)>& wanted, int times) {
        QList<QPointer<QAbstractButton>> buttons;
        for (QAbstractButton* button : window->findChildren<QAbstractButton*>()) buttons.push_back(button);
        for (int i = 0; i < times; ++i)
            for (const auto& button : buttons)
                if (button && wanted(button->objectName())) button->click();
        Settle();
    };
    for (const Operation& operation : Operations()) {
        SCOPED_TRACE(std::string(operation.className));
        OpenOne();
        const auto block = operation.make();
        ASSERT_TRUE(SaveConfig(session, *block, "/settings.kymr-cfg"));
        host.Forget();
        frame->DropFile("/settings.kymr-cfg");
        window = frame->OperationDialogs().Find(operation.className);
        EXPECT_EQ(window == nullptr, block->WhatItAffects() == Affects::newRecording);
        EXPECT_EQ(host.LastMessage().find("makes a recording of its own") != std::string::npos, !window);
        if (!window) continue;
        auto* batch = window->findChild<QCheckBox*>("batchProcess");
        EXPECT_EQ(batch != nullptr, block->WhatItAffects() == Affects::traces);
        press([](const QString& name) { return name != "run" && name != "close"; }, 2);
        if (batch) batch->setChecked(true);
        press([](const QString& name) { return name == "run"; }, 1);
        if (window) window->close();
        Settle();
    }
}

TEST_F(OperationWindowsTest, SettingsAndPlaceOfAWindowComeBack) {
    OpenOne();
    OperationWindow* window = Open();
    ASSERT_EQ(Set(window->Block(), "minimumOnTime", "7.5"), "");
    window->setGeometry(120, 130, 640, 480);
    const QPoint place = window->pos();
    window->close();
    Settle();
    window = Open();
    EXPECT_EQ(window->Block().Params().Find("minimumOnTime")->ValueText(), "7.5");
    EXPECT_EQ(window->pos(), place);
}

}  // namespace
}  // namespace kymora::test
