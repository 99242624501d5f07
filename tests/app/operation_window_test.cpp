#include "app/operation_window_fixture.h"

#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDragEnterEvent>
#include <QMimeData>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QUrl>
#include <QWheelEvent>

#include "graphs/windows/graph_widget.h"
#include "operations/config_file.h"
#include "support/paged_operation.h"
#include "widgets/fold_section.h"
#include "widgets/results_pane.h"

namespace kymora::test {
namespace {

TEST_F(OperationWindowTest, EveryKindOfParameterIsShownAndSet) {
    CTestOperation& block = Open();
    EXPECT_EQ(window->windowTitle(), "Test Operation - rec.kymr-dat");
    for (const auto& [key, text] : {std::pair{"onLevel", "0.1"},  // a float in its own digits
                                    {"offLevel", "2.5"},
                                    {"trace", "1"},  // the user counts from 1
                                    {"channels", "a-c 30"},
                                    {"traces", "1 3"}})
        EXPECT_EQ(Text(key), text) << key;
    EXPECT_EQ(Find<QComboBox>("channel")->currentText(), "b");
    EXPECT_EQ(Find<QLabel>("told")->text(), "pressed 0");

    for (const auto& [key, text] : {std::pair{"onLevel", "-2.5"},
                                    {"trace", "3"},
                                    {"channels", "b d-e"},
                                    {"traces", ""},
                                    {"high", "2.75"}})
        Type(key, text);
    QTest::keyClick(Find<QComboBox>("source"), Qt::Key_Down);
    QTest::keyClick(Find<QComboBox>("channel"), 'z');
    QTest::mouseClick(Find<QRadioButton>("region1"), Qt::LeftButton, {}, QPoint(5, 8));
    QTest::mouseClick(Find<QPushButton>("press"), Qt::LeftButton);
    EXPECT_EQ(block.onLevel, -2.5f);
    EXPECT_EQ(block.trace, 2);
    EXPECT_EQ(block.channels, (std::vector<int>{1, 3, 4}));
    EXPECT_TRUE(block.traces.empty());
    EXPECT_EQ(block.high, 2.75);
    EXPECT_EQ(block.source, 1);
    EXPECT_EQ(block.channel, 25);
    EXPECT_EQ(block.region, 1);
    EXPECT_EQ(Find<QLabel>("told")->text(), "pressed 1");
    EXPECT_EQ(Find<QRadioButton>("region1")->toolTip(), "Part") << "each button its part of the tip";
    EXPECT_TRUE(block.isOn) << "making its box sets nothing";
    EXPECT_EQ(Message(), "");
}

TEST_F(OperationWindowTest, ParametersAndUnitsFollowWhatIsChosen) {
    CTestOperation& block = Open();
    const auto hasHeading = [&](const char* text) {
        const auto labels = window->findChildren<QLabel*>();
        return std::ranges::any_of(labels, [&](const QLabel* label) { return label->text() == text; });
    };
    EXPECT_TRUE(hasHeading("Upper (mV)"));
    block.levelUnit = "uA";
    window->Refresh();
    EXPECT_TRUE(hasHeading("Upper (uA)"));

    EXPECT_EQ(window->findChild<QWidget*>("extra"), nullptr);
    Type("onLevel", "7");
    QTest::keyClick(Find<QComboBox>("source"), Qt::Key_End);
    QApplication::processEvents();
    EXPECT_EQ(Text("onLevel"), "7");
    Type("extra", "8");
    EXPECT_EQ(block.extra, 8.0);
    QTest::keyClick(Find<QComboBox>("source"), Qt::Key_Home);
    QApplication::processEvents();
    EXPECT_EQ(window->findChild<QWidget*>("extra"), nullptr);
    ASSERT_TRUE(window->Run());
    EXPECT_TRUE(Find<QPushButton>("saveResults")->isVisible());
}

TEST_F(OperationWindowTest, WhatFollowsAValueIsShownAndTheTextBeingTypedStays) {
    CTestOperation& block = Open();
    const float onLevel = block.onLevel;
    QTest::mouseClick(Find<QCheckBox>("equal"), Qt::LeftButton, {}, QPoint(5, 8));
    EXPECT_TRUE(block.equal);
    EXPECT_EQ(Text("offLevel"), "0.25");
    EXPECT_FALSE(Find<QLineEdit>("offLevel")->isEnabled());
    Type("onLevel", "1.50");
    EXPECT_EQ(Text("offLevel"), "1.5");
    EXPECT_EQ(Text("onLevel"), "1.50");
    Find<QLineEdit>("onLevel")->setCursorPosition(1);
    QTest::keyClick(Find<QLineEdit>("onLevel"), Qt::Key_Delete);
    EXPECT_EQ(Text("onLevel"), "150");
    EXPECT_EQ(Find<QLineEdit>("onLevel")->cursorPosition(), 1);
    EXPECT_EQ(block.onLevel, onLevel) << "150 is beyond its limit";
    EXPECT_EQ(block.offLevel, 0.25f) << "nor does what follows it keep what was half typed";
    EXPECT_EQ(Text("offLevel"), "0.25");
    // Something from outside, such as a moved view, leaves what is being typed.
    window->ViewMoved();
    EXPECT_EQ(Text("onLevel"), "150");
}

TEST_F(OperationWindowTest, FaultsAreToldAtOnceAndNothingRuns) {
    CTestOperation& block = Open();
    QPushButton* run = Find<QPushButton>("run");
    const int count = block.count;
    const std::vector<int> channels = block.channels;
    for (const char* bad : {"21", "-1", "2.5", "x", ""}) {
        Type("count", bad);
        EXPECT_EQ(Message(), "\"Count\" must be a whole number from 0 to 20.") << bad;
        EXPECT_TRUE(IsMarked("count"));
        EXPECT_FALSE(run->isEnabled());
        EXPECT_EQ(block.count, count) << bad;
    }
    Find<QLineEdit>("name")->setFocus();
    QTest::keyClick(Find<QLineEdit>("name"), Qt::Key_Return);
    EXPECT_EQ(block.runs, 0);
    EXPECT_TRUE(Find<QLineEdit>("count")->hasFocus()) << "the fault gets the keyboard";
    QTest::mouseClick(Find<QPushButton>("press"), Qt::LeftButton);
    EXPECT_EQ(block.pressed, 0);
    Type("count", "20");
    EXPECT_EQ(Message(), "");
    EXPECT_FALSE(IsMarked("count"));
    EXPECT_TRUE(run->isEnabled());

    Type("channels", "a-?");
    EXPECT_NE(Message().find("list"), std::string::npos);
    EXPECT_EQ(block.channels, channels) << "nor the part of it that was a list";
    // A fault in what is switched off is none, and its text gives way to the value.
    Type("channels", "a");
    Type("offLevel", "much");
    EXPECT_FALSE(run->isEnabled());
    for (const bool equals : {true, false, true}) {
        QTest::mouseClick(Find<QCheckBox>("equal"), Qt::LeftButton, {}, QPoint(5, 8));
        EXPECT_TRUE(run->isEnabled());
        EXPECT_EQ(Text("offLevel"), "0.25");
        if (!equals) Type("offLevel", "much");
    }

    block.settingsFault = "The channels are crossed.";
    window->DocumentChanged(UpdateHint::events);
    EXPECT_EQ(Message(), "The channels are crossed.");
    EXPECT_FALSE(run->isEnabled());
    EXPECT_FALSE(window->Run() && block.runs > 0);
}

TEST_F(OperationWindowTest, BesideWhatIsRefusedNothingIsToldOfOtherValues) {
    CTestOperation& block = Open();
    const auto* graph = Find<GraphWidget>("graph");
    const auto* told = Find<QLabel>("told");
    const struct {
        const char* entered;
        bool isShown;
    } cases[] = {{"19", true}, {"190", false}, {"", false}, {"0", true}};
    for (const auto& [entered, isShown] : cases) {
        Type("count", entered);
        QTest::qWait(250);
        const GraphPane& pane = graph->GetGraph().panes.at(0);
        EXPECT_EQ(pane.layers.empty(), !isShown) << entered;
        EXPECT_EQ(pane.lines.empty(), !isShown) << entered;
        EXPECT_EQ(pane.x.title, "time") << "the axes stay";
        EXPECT_EQ(told->text().isEmpty(), !isShown) << entered;
    }
    // A value that was complete when the keyboard left it is where the next editing begins.
    Type("count", "7");
    Find<QLineEdit>("name")->setFocus();
    Type("count", "77");
    EXPECT_EQ(block.count, 7);
}

TEST_F(OperationWindowTest, TheTabKeyStopsAtTheCheckedOneOfAGroup) {
    CTestOperation& block = Open();
    for (const int checked : {1, 0}) {
        block.region = checked;
        window->Refresh();
        for (const int button : {0, 1})
            EXPECT_EQ(
                (Find<QRadioButton>(button == 0 ? "region0" : "region1")->focusPolicy() & Qt::TabFocus) != 0,
                button == checked)
                << checked;
    }
}

TEST_F(OperationWindowTest, EnterRunsAndEscapeCloses) {
    CTestOperation& block = Open();
    EXPECT_EQ(Find<QPushButton>("run")->text(), "Measure");
    Type("count", "5");
    int ran = 0;
    QObject::connect(window, &CEventBaseNonModalDlg::Ran, [&] { ++ran; });
    QTest::keyClick(Find<QLineEdit>("count"), Qt::Key_Return);
    EXPECT_EQ(block.runs, 1);
    EXPECT_EQ(ran, 1);
    EXPECT_EQ(Message(), "1 event in channel c");
    EXPECT_NE(Find<QPlainTextEdit>("results")->toPlainText().indexOf("line 2"), -1);
    block.onLevel = 2.0f;  // a dragged level, a configuration or a request
    window->Refresh();
    EXPECT_EQ(Message(), "") << "it tells of other settings";
    QTest::keyClick(Find<QLineEdit>("count"), Qt::Key_Escape);
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_TRUE(window.isNull()) << "closing destroys it";
}

TEST_F(OperationWindowTest, SettingsSurviveCloseAndReopen) {
    Open();
    Type("onLevel", "3.25");
    Type("name", "kept");
    Close();
    ASSERT_EQ(session.operationSettings.count("CTestOperation"), 1u);
    EXPECT_EQ(Open().onLevel, 3.25f);
    EXPECT_EQ(Text("name"), "kept");
    Close();
    // What cannot be read whole is not taken by halves.
    auto& record = session.operationSettings["CTestOperation"];
    record.resize(record.size() - 3);
    EXPECT_EQ(Open().onLevel, 0.1f);
    EXPECT_EQ(Text("name"), "a\xC3\xA9 & b");
}

TEST_F(OperationWindowTest, WithoutADocumentNothingRuns) {
    CTestOperation& block = Open(false);
    EXPECT_EQ(Message(), "No active view or document");
    EXPECT_EQ(window->windowTitle(), "Test Operation");
    for (const bool hasDoc : {false, true, false}) {
        window->SetActive(hasDoc ? doc.get() : nullptr, hasDoc ? &view : nullptr);
        for (const char* key : {"run", "count", "saveResults"})
            EXPECT_EQ(Find<QWidget>(key)->isEnabled(), hasDoc) << key;
        QTest::keyClick(window, Qt::Key_Return);
        EXPECT_EQ(window->Run(), hasDoc);
        EXPECT_EQ(Find<QPlainTextEdit>("results")->toPlainText().isEmpty(), !hasDoc)
            << "results go with their recording";
    }
    EXPECT_EQ(block.runs, 2);
}

TEST_F(OperationWindowTest, ADraggedGuideSetsItsParameter) {
    CTestOperation& block = Open();
    const auto drag = [&](double to) {
        const auto moved = view.moved;  // it sets another
        moved(view.guides.at(0), to);
    };
    drag(2.123456789);
    EXPECT_EQ(block.onLevel, 2.12346f) << "in digits that can be read";
    EXPECT_EQ(Text("onLevel"), "2.12346");
    EXPECT_FLOAT_EQ(static_cast<float>(view.guides.at(0).at), 2.12346f);
    drag(11.0);
    EXPECT_EQ(block.onLevel, 2.12346f);
    EXPECT_NE(Message(), "") << "beyond its limit";
    block.guided = "offLevel";
    window->Refresh();
    EXPECT_EQ(view.guides.at(0).parameter, "offLevel");
    QTest::mouseClick(Find<QCheckBox>("equal"), Qt::LeftButton, {}, QPoint(5, 8));
    EXPECT_EQ(view.guides.at(0).parameter, "") << "what cannot be typed cannot be dragged";
    Close();
    EXPECT_FALSE(view.moved);
}

TEST_F(OperationWindowTest, GuidesAndGraphFollowTheSettingsAndTheView) {
    CTestOperation& block = Open();
    auto* graph = Find<GraphWidget>("graph");
    EXPECT_TRUE(graph->isVisible());
    ASSERT_EQ(view.guides.size(), 1u);
    Type("onLevel", "4");
    EXPECT_NE(view.guides[0].at, 4.0) << "while letters may follow";
    QTest::qWait(300);
    EXPECT_EQ(view.guides[0].at, 4.0);
    EXPECT_EQ(graph->GetGraph().panes[0].lines[0].at, 4.0);
    block.failsToDraw = true;
    window->ViewMoved();
    EXPECT_EQ(Message(), "The disk is gone.");
    block.failsToDraw = false;
    window->ViewMoved();
    EXPECT_EQ(Message(), "");
    GuideView other;
    window->SetActive(doc.get(), &other);
    EXPECT_TRUE(view.guides.empty());
    EXPECT_EQ(other.guides.size(), 1u);
    Close();
    EXPECT_TRUE(other.guides.empty());
}

TEST_F(OperationWindowTest, WhatIsDraggedInTheGraphSetsItsParameter) {
    CTestOperation& block = Open();
    auto* graph = Find<GraphWidget>("graph");
    graph->setFocus();
    QTest::mouseClick(graph, Qt::LeftButton, {}, graph->PixelOf(0, 1.0, block.onLevel).toPoint());
    for (int i = 0; i < 3; ++i) QTest::keyClick(graph, Qt::Key_Up);
    EXPECT_GT(block.onLevel, 0.1f);
    EXPECT_NEAR(graph->GetGraph().panes[0].lines[0].at, block.onLevel, 1e-6);
    EXPECT_EQ(view.guides[0].at, block.onLevel) << "the line in the view goes with it";
    emit graph->LimitsSet(0, 0.25, 2.75);
    EXPECT_EQ(block.low, 0.25);
    EXPECT_EQ(block.high, 2.75);
    const float before = block.onLevel;
    emit graph->LineMoved("onLevel", 99.0);
    EXPECT_EQ(block.onLevel, before);
    EXPECT_NE(Message(), "") << "a level beyond the limits is refused";
    // What cannot be typed cannot be dragged.
    emit graph->LimitsFreed(0);
    EXPECT_TRUE(block.equal);
    EXPECT_TRUE(graph->GetGraph().panes[0].lines[1].parameter.empty());
}

TEST_F(OperationWindowTest, ChangesDuringARunAreTakenUpAfterIt) {
    CTestOperation& block = Open();
    size_t during = 0;
    view.updated = [&](UpdateHint hint) {
        during += window->IsBusy();
        window->DocumentChanged(hint);
        EXPECT_TRUE(block.updates.empty());
    };
    doc->AddView(view);
    EXPECT_TRUE(window->Run());
    doc->RemoveView(view);
    EXPECT_GT(during, 0u);
    EXPECT_EQ(block.updates, (std::vector<UpdateHint>{UpdateHint::events}));
}

TEST_F(OperationWindowTest, PagesAreLeftWhenTheyAreRight) {
    window = new CEventBaseNonModalDlg(session, pagedOperation, std::make_unique<PagedOperation>());
    window->SetActive(doc.get(), &view);
    window->show();
    auto& block = static_cast<PagedOperation&>(window->Block());
    auto* next = Find<QPushButton>("next");
    const auto press = [&](const char* key) {
        QTest::mouseClick(Find<QPushButton>(key), Qt::LeftButton);
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    };
    EXPECT_EQ(Find<QLabel>("pageTitle")->text().toStdString(), "1 of 2: Levels");
    EXPECT_FALSE(window->findChild<QWidget*>("count"));
    EXPECT_FALSE(Find<QPushButton>("run")->isVisible());
    EXPECT_FALSE(Find<QPushButton>("back")->isEnabled());
    block.m_nCount = 0;  // a fault of the page to come
    window->Refresh();
    EXPECT_TRUE(next->isEnabled());
    for (const auto& [low, message] : {std::pair{"5", "The levels are reversed."}, {"11", ""}, {"1.5", ""}}) {
        Type("low", low);
        EXPECT_EQ(next->isEnabled(), std::string(low) == "1.5");
        if (*message) {
            EXPECT_EQ(Message(), message);
        }
    }
    press("next");
    EXPECT_EQ(Find<QLabel>("pageTitle")->text().toStdString(), "2 of 2: Count");
    EXPECT_FALSE(next->isVisible());
    EXPECT_FALSE(Find<QPushButton>("run")->isEnabled());
    Type("count", "4");
    press("back");
    EXPECT_EQ(Text("low"), "1.5");
    press("next");
    press("run");
    EXPECT_EQ(block.runs, 1);
    EXPECT_EQ(block.m_nCount, 4);
}

TEST_F(OperationWindowTest, DroppedFilesAreTakenOrRefused) {
    CTestOperation& block = Open();
    Type("onLevel", "7.5");
    ASSERT_TRUE(SaveConfig(session, block, "/set.KYMR-CFG"));
    Type("onLevel", "8");
    const auto drop = [&](const char* path) {
        QMimeData data;
        data.setUrls({QUrl::fromLocalFile(path)});
        QDragEnterEvent enter(QPoint(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(window, &enter);
        EXPECT_TRUE(enter.isAccepted());
        QDropEvent event(QPointF(5, 5), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
        QApplication::sendEvent(window, &event);
    };
    drop("/notes.txt");
    EXPECT_EQ(host.LastMessage(), "You can only drop a configuration file (.kymr-cfg) onto this dialog.");
    EXPECT_EQ(Text("onLevel"), "8");
    drop("/set.KYMR-CFG");
    EXPECT_EQ(host.messages.size(), 1u);
    EXPECT_EQ(Text("onLevel"), "7.5");
    // Nothing within the window takes the drop for itself.
    for (const QWidget* child : window->findChildren<QWidget*>())
        EXPECT_FALSE(child->acceptDrops()) << child->metaObject()->className();
}

TEST_F(OperationWindowTest, SaveLoadAndBatch) {
    CTestOperation& block = Open();
    EXPECT_FALSE(Find<QPushButton>("batch")->isVisible()) << "the owner has no batch";
    Type("onLevel", "6");
    host.saveFile = "/mine.kymr-cfg";
    Find<QPushButton>("save")->click();
    Type("onLevel", "99");
    host.openFiles = {"/mine.kymr-cfg"};
    Find<QPushButton>("load")->click();
    EXPECT_EQ(block.onLevel, 6.0f);
    EXPECT_EQ(Text("onLevel"), "6") << "the faulty text gives way to what was loaded";
    int batches = 0;
    window->onBatch = [&](CBatchBaseDlg& asked) { batches += &asked == &block; };
    window->Refresh();
    Find<QPushButton>("batch")->click();
    EXPECT_EQ(batches, 1);
    window->SetActive(nullptr, nullptr);
    Find<QPushButton>("batch")->click();
    EXPECT_EQ(batches, 1);
    EXPECT_EQ(host.LastMessage(), "No active view or document");
}

TEST_F(OperationWindowTest, ChannelsAreLettersOrNumbers) {
    Open();
    EXPECT_EQ(Find<QComboBox>("channel")->count(), 26);
    Block().channel = 30;
    window->Refresh();
    EXPECT_EQ(Find<QComboBox>("channel")->currentText(), "30") << "from a file that knows more";
    Close();
    session.options.eventChannelMode = 999;
    CTestOperation& block = Open();
    EXPECT_EQ(Text("channel"), "1");
    EXPECT_EQ(Text("channels"), "0-2 30");
    Type("channel", "998");
    EXPECT_EQ(block.channel, 998);
    Type("channel", "999");
    EXPECT_EQ(Message(), "\"Channel\" takes a channel: a letter, or a number from 0 to 998.");
    EXPECT_EQ(block.channel, 1) << "not the part of it that is one";
}

TEST_F(OperationWindowTest, ArrowsAndTheWheelStepOnlyWhereTheKeyboardIs) {
    CTestOperation& block = Open();
    const auto turn = [&](QWidget* widget, int by) {
        QWheelEvent event(QPointF(5, 5), widget->mapToGlobal(QPointF(5, 5)), {}, {0, by}, Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QApplication::sendEvent(widget, &event);
    };
    auto* edit = Find<QLineEdit>("onLevel");
    Find<QLineEdit>("count")->setFocus();
    turn(edit, 120);
    turn(Find<QComboBox>("source"), -120);
    EXPECT_EQ(block.onLevel, 0.1f);
    EXPECT_EQ(block.source, 0);
    edit->setFocus();
    turn(edit, 60);
    EXPECT_EQ(block.onLevel, 0.1f) << "half a step";
    turn(edit, 60);
    EXPECT_EQ(block.onLevel, 0.6f);
    QTest::keyClick(edit, Qt::Key_Down);
    EXPECT_EQ(block.onLevel, 0.1f);
    for (int i = 0; i < 30; ++i) turn(edit, 120);
    EXPECT_EQ(block.onLevel, 10.0f) << "held to its limit";
}

TEST_F(OperationWindowTest, GroupsFoldAndWhatDoesNotApplyIsNotThere) {
    CTestOperation& block = Open();
    const auto heading = [this](const char* name) {
        for (auto* fold : window->findChildren<FoldHeading*>())
            if (fold->text() == name) return fold;
        throw std::runtime_error(name);
    };
    auto* off = Find<QLineEdit>("offLevel");
    auto* count = Find<QLineEdit>("count");
    for (const bool equals : {true, false}) {
        QTest::mouseClick(Find<QCheckBox>("equal"), Qt::LeftButton, {}, QPoint(5, 8));
        EXPECT_EQ(off->isVisible(), !equals);
    }
    struct Case {
        Qt::Key key;
        bool isShown;
    };
    heading("Levels")->setFocus();
    for (const Case& c : {Case{Qt::Key_Left, false},
                          {Qt::Key_Left, false},
                          {Qt::Key_Space, true},
                          {Qt::Key_Space, false},
                          {Qt::Key_Right, true},
                          {Qt::Key_Left, false}}) {
        QTest::keyClick(heading("Levels"), c.key);
        EXPECT_EQ(count->isVisible(), c.isShown) << c.key;
    }
    EXPECT_EQ(block.runs, 0);
    EXPECT_FALSE(off->isVisible());
    // A fault comes to light wherever it is.
    block.count = 21;
    window->Refresh();
    QTest::keyClick(Find<QLineEdit>("name"), Qt::Key_Return);
    EXPECT_TRUE(count->isVisible());
    EXPECT_TRUE(count->hasFocus());
    block.count = 3;
    heading("Source")->click();
    Close();
    Open();
    EXPECT_FALSE(Find<QComboBox>("channel")->isVisible()) << "it was folded in the last window";
    EXPECT_TRUE(Find<QLineEdit>("count")->isVisible());
}

TEST_F(OperationWindowTest, LongResultsAreCutAndCopiedWhole) {
    CTestOperation& block = Open();
    auto* copy = Find<QPushButton>("copyResults");
    const auto* notice = Find<QLabel>("resultsNotice");
    EXPECT_FALSE(copy->isEnabled());
    ASSERT_TRUE(window->Run());
    EXPECT_FALSE(notice->isVisible());
    copy->click();
    EXPECT_EQ(QApplication::clipboard()->text(), "12345678\tline 0\n12345678\tline 1\n12345678\tline 2\n");

    block.resultLines = 100000;
    ASSERT_TRUE(window->Run());
    EXPECT_TRUE(notice->isVisible());
    EXPECT_EQ(notice->text(), "Not all data displayed in Results. Consider saving to disk instead.");
    const QString shown = Find<QPlainTextEdit>("results")->toPlainText();
    EXPECT_GT(shown.size(), 900000);
    EXPECT_LE(static_cast<size_t>(shown.size()), mostShownResults);
    EXPECT_TRUE(shown.endsWith('\n')) << "whole lines";
    copy->click();
    EXPECT_TRUE(QApplication::clipboard()->text().endsWith("line 99999\n"));
}

TEST_F(OperationWindowTest, CopiesTheCommandThatRepeatsIt) {
    Open();
    Find<QPushButton>("copyCommand")->click();
    const auto& held = host.clipboard[plainTextFormat];
    const std::string text(reinterpret_cast<const char*>(held.data()), held.size());
    EXPECT_TRUE(text.starts_with("kymora run ")) << text;
    EXPECT_TRUE(text.ends_with(" --in-place")) << text;
}

TEST_F(OperationWindowTest, TheTabKeyGoesInTheOrderOfReading) {
    Open();
    EXPECT_EQ(QApplication::focusWidget()->objectName(), "onLevel") << "the keyboard is there at once";
    for (const char* key :
         {"onLevel", "offLevel",    "equal",    "count",  "fold",        "source", "region0",
          "channel", "trace",       "channels", "traces", "press",       "fold",   "destination",
          "name",    "isOn",        "low",      "high",   "graph",       "graph",  "graph",
          "results", "saveResults", "save",     "load",   "copyCommand", "run",    "close"}) {
        ASSERT_EQ(QApplication::focusWidget()->objectName(), key);
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
}

}  // namespace
}  // namespace kymora::test
