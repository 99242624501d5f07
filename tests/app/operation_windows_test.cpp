#include "app/operation_windows.h"

#include <QAccessible>
#include <QCheckBox>
#include <QColorDialog>
#include <QLabel>
#include <QLineEdit>
#include <QMenuBar>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTimer>

#include "catalogue/windows/transform_window.h"
#include "frame_fixture.h"
#include "operations/config_file.h"
#include "operations/event_base_dlg.h"
#include "widgets/flow_layout.h"
#include "widgets/form_dialog.h"
#include "widgets/message_area.h"
#include "widgets/results_pane.h"

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

TEST_F(OperationWindowsTest, TheTitleIsThatOfTheKindAndARunTellsWhatItDropped) {
    CChildFrame& child = OpenOne();
    child.Document().eventChannels[0].AddEvent(10, 20);
    child.Document().eventChannels[0].AddEvent(50, 60);
    child.Document().eventChannels[1].AddEvent(5, 30);
    ASSERT_TRUE(frame->RunCommandById("event-or"));
    auto* window = frame->OperationDialogs().Find("CEventLogic");
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(window->windowTitle().startsWith("Event Logical OR"));
    ASSERT_TRUE(frame->RunCommandById("event-and-not"));
    EXPECT_TRUE(window->windowTitle().startsWith("Event Logical AND NOT"));
    window->findChild<QPushButton*>("run")->click();
    EXPECT_EQ(window->findChild<QLabel*>("message")->text(), "1 event in channel c (of 2 events, 1 dropped)");
}

TEST_F(OperationWindowsTest, ARunThatFillsSeveralChannelsTellsOfAll) {
    OpenOne();
    ASSERT_TRUE(frame->RunCommandById("event-insert-random-point-process"));
    auto* window = frame->OperationDialogs().Find("CEventInsertRandomPointProcess");
    ASSERT_NE(window, nullptr);
    for (const auto& [key, value] : {std::pair{"countMode", "0"},
                                     {"count", "4"},
                                     {"mean", "1"},
                                     {"destination", "b"},
                                     {"channelCount", "3"}})
        ASSERT_EQ(Set(window->Block(), key, value), "");
    window->Refresh();
    window->findChild<QPushButton*>("run")->click();
    EXPECT_EQ(window->findChild<QLabel*>("message")->text(), "12 events in 3 channels, b-d");
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
    EXPECT_EQ(host.LastMessage(),
              "Unrecognized configuration file: no identifier\nShould read 'Kymora ADC-DAC "
              "Configuration file'");
}

// Whatever stands in a window that a file opened can be pressed.
TEST_F(OperationWindowsTest, ConfigurationsOfAllOperationsOpenWindowsThatCanBePressed) {
    host.openFiles = {"/two.kymr-dat"};
    host.saveFile = "/saved.kymr-cfg";
    QPointer<OperationWindow> window;
    // Buttons of colours ask in a box of their own.
    QTimer closesBoxes;
    QObject::connect(&closesBoxes, &QTimer::timeout, [] {
        if (auto* box = qobject_cast<QColorDialog*>(QApplication::activeModalWidget())) box->reject();
    });
    closesBoxes.start(5);
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
        const bool stopsTheRest =
            dynamic_cast<CTransformDlg*>(block.get()) || operation.className == "CFindShapes";
        EXPECT_EQ(window->isModal(), stopsTheRest);
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

TEST_F(OperationWindowsTest, SettingsOfAWindowComeBack) {
    OpenOne();
    OperationWindow* window = Open();
    ASSERT_EQ(Set(window->Block(), "minimumOnTime", "7.5"), "");
    ASSERT_EQ(Set(window->Block(), "destination", "b"), "");
    frame->ActiveChild()->Document().AddEvent(1, {1, 2});
    window->close();
    Settle();
    window = Open();
    EXPECT_EQ(window->Block().Params().Find("minimumOnTime")->ValueText(), "7.5");
    EXPECT_EQ(window->Block().Params().Find("destination")->ValueText(), "b")
        << "chosen, though it has events";
}

// --- panels ---

class PanelsTest : public OperationWindowsTest {
  protected:
    OperationDock* PanelOf(const char* id) {
        frame->RunCommandById(id);
        QApplication::processEvents();
        return qobject_cast<OperationDock*>(
            frame->OperationDialogs().Find(FindOperationEntry(id).operation->className)->parentWidget());
    }
};

TEST_F(PanelsTest, StandBesideTheRecordingInOneColumnThatFits) {
    const CChildFrame& child = OpenOne();
    frame->resize(800, 600);
    const int width = child.Widget().width();
    for (const OperationEntry& entry : EntriesOf(Operations())) {
        const auto block = entry.operation->make();
        // What stops the rest of the program stands in no panel.
        if (block->WhatItAffects() == Affects::traces || entry.Id() == "find-shapes") continue;
        SCOPED_TRACE(entry.Id());
        OperationDock* panel = PanelOf(entry.Id().c_str());
        ASSERT_NE(panel, nullptr);
        EXPECT_EQ(panel->isFloating(), block->NeedsRoom()) << "a graph has room of its own";
        panel->setFloating(false);
        Settle();
        EXPECT_LT(child.Widget().width(), width) << "it covers nothing";
        EXPECT_LE(panel->minimumSizeHint().width(), 460);
        EXPECT_LE(frame->height(), 600);
        for (const char* name : {"run", "close", "message"}) {
            const auto* part = panel->Window()->findChild<QWidget*>(name);
            const QRect place(part->mapTo(panel, QPoint()), part->size());
            EXPECT_TRUE(!part->isVisible() || panel->rect().contains(place)) << name;
        }
        panel->Window()->close();
        Settle();
    }
}

TEST_F(PanelsTest, AGraphStandsBesideItsParametersWithItsResultsBelow) {
    OpenOne();
    OperationDock* panel = PanelOf("event-hist");
    Settle();
    const auto place = [&](const char* name) {
        const auto* part = panel->Window()->findChild<QWidget*>(name);
        return QRect(part->mapTo(panel, QPoint()), part->size());
    };
    EXPECT_GT(place("graph").left(), place("binCount").right());
    EXPECT_GE(place("results").top(), place("graph").bottom());
    EXPECT_GT(place("graph").height(), place("results").height());
    // Boxes stand at the left also where nothing else of their group is shown.
    EXPECT_EQ(place("kde").left(), place("bars").left());
    // A text of many lines leaves the graph its room.
    auto* message = panel->Window()->findChild<QLabel*>("message");
    auto* area = panel->Window()->findChild<MessageArea*>();
    const QRect graph = place("graph");
    const QString line("There is something to be told.\n");
    area->Show(line.repeated(20), area->palette());
    QApplication::processEvents();
    EXPECT_LT(area->height(), 5 * area->fontMetrics().lineSpacing());
    EXPECT_GT(message->height(), area->height());
    EXPECT_GT(place("graph").height(), graph.height() / 2);
    EXPECT_NE(area->focusPolicy(), Qt::NoFocus) << "it is read by the keyboard";
}

TEST_F(PanelsTest, ATableWithoutRowsTakesNoRoomFromTheRest) {
    CChildFrame& child = OpenOne();
    for (int i = 0; i < 60; ++i) child.Document().AddEvent(0, {100 * i + i % 7, 100 * i + i % 7 + 1});
    OperationDock* panel = PanelOf("event-rhythm-detect");
    Settle();
    auto* table = panel->Window()->findChild<QWidget*>("findings");
    auto* graph = panel->Window()->findChild<QWidget*>("graph");
    EXPECT_FALSE(table->isVisible());
    const int before = graph->height();
    ASSERT_EQ(Set(panel->Window()->Block(), "destination", "b"), "");
    ASSERT_TRUE(panel->Window()->Run());
    Settle();
    EXPECT_TRUE(table->isVisible());
    EXPECT_LT(graph->height(), before);
    // A panel that floats shows all of itself.
    panel->move(panel->screen()->availableGeometry().bottomRight() - QPoint(50, 50));
    panel->setFloating(true);
    Settle();
    EXPECT_EQ(panel->frameGeometry() & panel->screen()->availableGeometry(), panel->frameGeometry());
    // What has buttons of its own keeps its pane.
    EXPECT_TRUE(PanelOf("event-rhythm-helper")->Window()->findChild<QWidget*>("exportFit")->isVisible());
}

TEST_F(PanelsTest, ButtonsGoOnInTheNextLineAndSentencesUnlessTheyStandAboveATable) {
    QWidget row;
    auto* flow = new FlowLayout(&row);
    for (int i = 0; i < 3; ++i) {
        auto* part = new QWidget(&row);
        part->setFixedSize(100, 20);
        flow->addWidget(part);
    }
    row.findChildren<QWidget*>()[1]->hide();
    EXPECT_EQ(flow->sizeHint(), QSize(206, 20)) << "what is hidden takes no room";
    EXPECT_EQ(flow->heightForWidth(206), 20);
    EXPECT_EQ(flow->heightForWidth(205), 46);
    EXPECT_EQ(flow->minimumSize(), QSize(100, 20));

    std::string text;
    ResultsPane pane([&](const TextSink& sink) { sink(text); }, nullptr);
    pane.resize(400, 200);
    pane.show();
    const auto* shown = pane.findChild<QPlainTextEdit*>();
    const std::string sentence(300, 'a');
    for (const auto& [table, wraps] :
         {std::pair{std::string("1\t2\r\n"), true}, {"1\t" + std::string(200, '2') + "\r\n", false}}) {
        text = sentence + "\r\n" + table;
        pane.Show();
        EXPECT_EQ(shown->lineWrapMode() == QPlainTextEdit::WidgetWidth, wraps) << table;
    }
}

TEST_F(PanelsTest, ComeBackWhereTheyWereAlsoInTheNextRun) {
    OpenOne();
    OperationDock* panel = PanelOf("event-threshold");
    panel->setFloating(true);
    panel->setGeometry(120, 130, 640, 480);
    QApplication::processEvents();
    const QRect place(panel->pos(), panel->size());
    session.foldedGroups["CEventThreshold"] = {"Levels"};
    for (const bool isNextRun : {false, true}) {
        panel->Window()->close();
        Settle();
        if (isNextRun) {
            const QVariantMap state = frame->OperationDialogs().SaveState();
            session.foldedGroups.clear();
            frame = std::make_unique<CMainFrame>(session, nullptr);
            frame->OperationDialogs().RestoreState(state);
            frame->show();
            OpenOne();
        }
        panel = PanelOf("event-threshold");
        EXPECT_TRUE(panel->isFloating());
        EXPECT_EQ(QRect(panel->pos(), panel->size()), place);
    }
    EXPECT_EQ(session.foldedGroups["CEventThreshold"], (std::set<std::string>{"Levels"}));
    frame->OperationDialogs().RestoreState({{"width", "wide"}, {"panels", 3}});
}

// Where the keyboard is in a panel, its mnemonics go before those of the menus; elsewhere the menus have
// theirs.
TEST_F(PanelsTest, MnemonicsAreThoseOfThePanelThatHasTheKeyboard) {
    CChildFrame& child = OpenOne();
    OperationDock* panel = PanelOf("event-threshold");
    const QKeySequence save = panel->Window()->findChild<QPushButton*>("save")->shortcut();
    ASSERT_EQ(save, QKeySequence("Alt+S"));
    QMenu* menu = nullptr;
    for (QAction* action : frame->menuBar()->actions())
        if (QKeySequence::mnemonic(action->text()) == save) menu = action->menu();
    ASSERT_NE(menu, nullptr);
    host.saveFile = "/kept.kymr-cfg";
    for (const bool floats : {true, false}) {
        SCOPED_TRACE(floats);
        panel->setFloating(floats);
        if (!floats) frame->activateWindow();
        panel->ComeToFront();
        Settle();
        ASSERT_TRUE(panel->HasKeyboard());
        auto* edit = qobject_cast<QLineEdit*>(QApplication::focusWidget());
        const QString text = edit ? edit->text() : QString();
        host.fileRequests.clear();
        QTest::keyClick(QApplication::focusWidget(), 's', Qt::AltModifier);
        Settle();
        EXPECT_EQ(host.fileRequests.size(), 1u);
        EXPECT_FALSE(menu->isVisible());
        if (edit) {
            EXPECT_EQ(edit->text(), text) << "nothing is typed";
        }
        menu->hide();
    }
    frame->activateWindow();
    child.Widget().setFocus();
    host.fileRequests.clear();
    QTest::keyClick(&child.Widget(), 's', Qt::AltModifier);
    Settle();
    EXPECT_EQ(host.fileRequests.size(), 0u);
    EXPECT_TRUE(menu->isVisible());
    menu->hide();
}

// A screen that is not there any more, or a smaller one, hides nothing.
TEST_F(PanelsTest, PlacesAreHeldToTheScreens) {
    const QRect room = frame->screen()->availableGeometry();
    const int right = room.right() + 1, bottom = room.bottom() + 1;
    const std::pair<QRect, QRect> places[] = {
        {{room.left() + 30, room.top() + 40, 300, 200}, {room.left() + 30, room.top() + 40, 300, 200}},
        {{right - 20, bottom - 20, 300, 200}, {right - 300, bottom - 200, 300, 200}},
        {{room.left() - 100, room.top() - 150, 300, 200}, {room.left(), room.top(), 300, 200}},
        {{room.left() - 100, room.top() + 10, room.width() * 2, 200},
         {room.left(), room.top() + 10, room.width(), 200}},
        {{right + 5000, room.top(), 300, 200}, {}},
        {{}, {}},
        {{10, 10, -300, -200}, {}},
    };
    for (const auto& [place, held] : places) EXPECT_EQ(HeldToScreens(place), held) << place.x();
}

TEST_F(PanelsTest, TheOneTheUserGoesToHasItsLinesWhereSeveralAreSeen) {
    CChildFrame& child = OpenOne();
    OperationDock* threshold = PanelOf("event-threshold");
    frame->addDockWidget(Qt::LeftDockWidgetArea, threshold);
    OperationDock* outliers = PanelOf("detect-spikes");
    QApplication::processEvents();
    ASSERT_FALSE(threshold->visibleRegion().isEmpty());
    const auto hasLevel = [&] {
        return std::ranges::any_of(child.View().Plot().guides,
                                   [](const ViewGuide& guide) { return guide.parameter == "onPos"; });
    };
    for (OperationDock* panel : {threshold, outliers, threshold}) {
        panel->Window()->FocusFirst();
        EXPECT_EQ(hasLevel(), panel == threshold);
    }
    child.Widget().setFocus();
    EXPECT_TRUE(hasLevel()) << "it stays while the user works in the recording";
    QTest::keyClick(threshold->Window()->findChild<QWidget*>("close"), Qt::Key_Space);
    Settle();
    EXPECT_FALSE(hasLevel());
}

TEST_F(PanelsTest, TheOneInFrontHasItsLinesAndTheKeyboardGoesRound) {
    CChildFrame& child = OpenOne();
    OperationDock* threshold = PanelOf("event-threshold");
    OperationDock* spikes = PanelOf("spike-detect-thresh");
    const auto names = [&] {
        std::set<std::string> found;
        for (const ViewGuide& guide : child.View().Plot().guides) found.insert(guide.parameter);
        return found;
    };
    EXPECT_FALSE(names().contains("onPos"));
    EXPECT_TRUE(spikes->HasKeyboard());
    threshold->ComeToFront();
    QApplication::processEvents();
    EXPECT_TRUE(names().contains("onPos"));
    frame->RunCommandById("window-panel");
    EXPECT_TRUE(child.Widget().hasFocus());
    frame->RunCommandById("window-panel");
    EXPECT_TRUE(threshold->HasKeyboard());
    spikes->ComeToFront();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Escape);
    Settle();
    EXPECT_EQ(frame->OperationDialogs().Find("CSpikeDetectThresh"), nullptr);
    EXPECT_TRUE(child.Widget().hasFocus()) << "where the work goes on";
    EXPECT_TRUE(names().contains("onPos")) << "of the one that is left";
}

// What is seen to be found is what a run over the visible screen writes.
TEST_F(PanelsTest, ShowsLiveWhatItWouldFind) {
    CChildFrame& child = OpenOne();
    OperationDock* panel = PanelOf("event-threshold");
    CBatchBaseDlg& block = panel->Window()->Block();
    for (const auto& [key, value] : {std::pair{"onPos", "400"}, {"destination", "b"}, {"region", "1"}})
        ASSERT_EQ(Set(block, key, value), "") << key;
    panel->Window()->Refresh();
    const auto* ahead = panel->Window()->findChild<QLabel*>("ahead");
    QTest::qWait(300);
    EXPECT_EQ(ahead->text(), "Would find 2 events in view");
    const auto proposed = child.View().Plot().proposed;
    ASSERT_EQ(proposed.size(), 1u);
    const auto spans = proposed[0].spans;
    EXPECT_EQ(child.Document().GetNumEvents(1), 0) << "nothing is written";
    ASSERT_TRUE(panel->Window()->Run());
    std::vector<std::pair<int32_t, int32_t>> written;
    for (const CEventKM& event : child.Document().eventChannels[1].Events())
        written.emplace_back(event.onPosition, event.offPosition);
    EXPECT_EQ(spans, written);
    // A box that stands when it is to look puts the look off.
    ASSERT_EQ(Set(block, "onPos", "450"), "");
    panel->Window()->Refresh();
    host.whileChoosing = [] { QTest::qWait(200); };
    panel->Window()->findChild<QPushButton*>("save")->click();
    QTest::qWait(300);
    EXPECT_EQ(ahead->text(), "Would find 2 events in view");
    child.View().ChangeViewport({1000.0, 6000.0});
    child.Widget().Invalidate();
    QTest::qWait(300);
    EXPECT_EQ(ahead->text(), "Would find 5 events in view");
    panel->Window()->close();
    EXPECT_TRUE(child.View().Plot().proposed.empty());
}

// Of bursts, too, where what is found in view depends on all events: a view that holds little but a burst has
// no rate against which it were one.
TEST_F(PanelsTest, ShowsTheBurstsThatARunOverTheWholeRegionWouldFind) {
    CChildFrame& child = OpenOne();
    CDataDoc& doc = child.Document();
    int at = 100;
    for (const int interval : {400, 600, 10, 10, 10, 700, 500, 10, 10, 10, 300, 900}) {
        doc.AddEvent(0, {at, at + 1});
        at += interval;
    }
    doc.AddEvent(0, {at, at + 1});
    child.View().ChangeViewport({doc.TimeOf(1090), doc.TimeOf(1140)});
    for (const char* id : {"event-burst-detect", "event-rhythm-detect"}) {
        SCOPED_TRACE(id);
        const bool isBurst = std::string(id) == "event-burst-detect";
        OperationDock* panel = PanelOf(id);
        CBatchBaseDlg& block = panel->Window()->Block();
        for (const auto& [key, value] :
             isBurst
                 ? std::vector<std::pair<const char*, const char*>>{{"percentile", "60"},
                                                                    {"usePercentile", "1"}}
                 : std::vector<std::pair<const char*, const char*>>{{"slidingWindow", "2"}, {"maxCv", "0.1"}})
            ASSERT_EQ(Set(block, key, value), "") << key;
        ASSERT_EQ(Set(block, "destination", "b"), "");
        const std::vector<std::byte> settings = block.Settings();
        panel->Window()->Refresh();
        QTest::qWait(300);
        EXPECT_EQ(panel->Window()->findChild<QLabel*>("ahead")->text(), "Would find 1 event in view");
        const auto proposed = child.View().Plot().proposed;
        ASSERT_EQ(proposed.size(), 1u);
        EXPECT_EQ(proposed[0].spans, (std::vector<std::pair<int32_t, int32_t>>{{1100, 1131}}));
        EXPECT_EQ(doc.GetNumEvents(1), 0) << "nothing is written";
        EXPECT_EQ(block.Settings(), settings);
        ASSERT_TRUE(panel->Window()->Run());
        EXPECT_EQ(doc.GetNumEvents(1), 2);
        doc.eventChannels[1].DeleteAll();
        panel->Window()->close();
        Settle();
    }
}

// What reads the screen aloud has a name for whatever takes the keyboard.
std::set<std::string> NamelessIn(const QWidget& window, const std::string& of) {
    std::set<std::string> nameless;
    for (QWidget* widget : window.findChildren<QWidget*>()) {
        const bool isStop = (widget->focusPolicy() & Qt::TabFocus) && !widget->focusProxy();
        if (!isStop || !widget->isVisibleTo(&window)) continue;
        const QAccessibleInterface* read = QAccessible::queryAccessibleInterface(widget);
        if (read && read->text(QAccessible::Name).isEmpty())
            nameless.insert(of + ": " + widget->metaObject()->className() + " " +
                            widget->objectName().toStdString());
    }
    return nameless;
}

TEST_F(PanelsTest, EveryControlOfAFormHasAName) {
    CChildFrame& child = OpenOne();
    for (const int channel : {0, 1})
        for (const int on : {100, 200, 300}) child.Document().AddEvent(channel, {on, on + 10});
    child.View().DatumLines().AddVertLine(100);
    std::set<std::string> nameless;
    const auto look = [&](Form& form) {
        const FormDialog dialog(form);
        nameless.merge(NamelessIn(dialog, form.title));
        return false;
    };
    const auto press = [&](const std::function<void()>& asks) {
        host.fillForms = {look, look, look};
        asks();
        QApplication::processEvents();
    };
    for (QAction* action : frame->findChildren<QAction*>()) {
        const QString id = action->objectName();
        const bool isOfDesktop = id == "print" || id == "help-find-command";
        if (!action->text().contains("...") || !action->isEnabled() || isOfDesktop) continue;
        press([&] { action->trigger(); });
    }
    press([&] { PanelOf("event-threshold")->Window()->findChild<QPushButton*>("batch")->click(); });
    host.fillForms.clear();
    EXPECT_EQ(nameless, std::set<std::string>());
    const std::set<std::string> titles(host.forms.begin(), host.forms.end());
    EXPECT_TRUE(titles.contains("Batch process"));
    EXPECT_GE(titles.size(), 20u);
}

TEST_F(PanelsTest, EveryControlHasAName) {
    OpenOne();
    std::set<std::string> nameless = NamelessIn(*frame, "frame");
    for (const OperationEntry& entry : EntriesOf(Operations())) {
        frame->RunCommandById(entry.Id());
        OperationWindow* window = frame->OperationDialogs().Find(entry.operation->className);
        ASSERT_NE(window, nullptr);
        nameless.merge(NamelessIn(*window, entry.Id()));
        window->close();
        Settle();
    }
    EXPECT_EQ(nameless, std::set<std::string>());
}

}  // namespace
}  // namespace kymora::test
