// Before the window system, which makes a keyword of a name that it uses.
#include "acquisition/windows/recording_window.h"
#include "app/frame_commands.h"
#include "demo/demo_recordings.h"
#include "display/commands/commands.h"
#include "host/form.h"
#include "import/formats.h"
#include "support/edf_builder.h"
#include "support/recording_builder.h"

#include <QActionGroup>
#include <QApplication>
#include <QComboBox>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMdiArea>
#include <QMenuBar>
#include <QMimeData>
#include <QPushButton>
#include <QTableWidget>
#include <QTextBrowser>
#include <QTimer>
#include <QToolBar>

#include "app/start_page.h"
#include "frame_fixture.h"
#include "recording/adc_dac_configuration.h"
#include "support/bytes.h"
#include "support/native_builder.h"
#include "support/recording_builder.h"

namespace kymora::test {
namespace {

using MainFrameTest = FrameTest;

QMenu* MenuOf(CMainFrame& frame, const char* title) {
    for (QAction* action : frame.menuBar()->actions())
        if (action->text() == title) return action->menu();
    return nullptr;
}

TEST_F(MainFrameTest, OpensEachFileInItsOwnWindow) {
    frame->OpenFiles({"/one.kymr-dat"});
    ASSERT_EQ(frame->Children().size(), 1u);
    EXPECT_TRUE(frame->Children()[0]->isMaximized());
    frame->OpenFiles({"/two.kymr-dat"});
    EXPECT_EQ(frame->Children().size(), 2u);
    EXPECT_FALSE(frame->Children()[0]->isMaximized());      // both are to be seen
    CChildFrame* again = frame->OpenFile("/one.kymr-dat");  // comes to the front
    EXPECT_EQ(frame->Children().size(), 2u);
    EXPECT_EQ(frame->ActiveChild(), again);
    EXPECT_EQ(again->windowTitle(), "one.kymr-dat[*]");
}

TEST_F(MainFrameTest, MenusHoldEveryCommandAndFollowTheActiveView) {
    const auto expect = [&](std::string_view id, bool isEnabled) {
        const QAction* action = Action(std::string(id).c_str());
        ASSERT_NE(action, nullptr) << id;
        EXPECT_EQ(action->isEnabled(), isEnabled) << id;
    };
    for (const FrameCommand& command : FrameCommands()) expect(command.id, !command.enabled);
    for (const Command& command : ViewCommands()) expect(command.id, false);
    CChildFrame& child = OpenOne();
    EXPECT_TRUE(Action("right-page")->isEnabled());
    EXPECT_TRUE(Action("grid")->isChecked());
    Action("grid")->trigger();
    EXPECT_FALSE(child.View().m_bShowGrid);
    EXPECT_FALSE(Action("grid")->isChecked());
    EXPECT_FALSE(child.isWindowModified()) << "only looked at in another way";
    Action("start")->trigger();
    ExpectViewport(child, 0.0, 2000.0);
    EXPECT_FALSE(Action("left-page")->isEnabled());
    Action("unit-s")->trigger();
    EXPECT_TRUE(Action("unit-s")->isChecked());
    EXPECT_FALSE(Action("unit-ms")->isChecked());
}

// Round marks for one of several, dots where a question comes first, and neither in what the command is
// called.
TEST_F(MainFrameTest, MenusTellWhatACommandIsLike) {
    const struct {
        const char *id, *text;
        bool isCheckable, isRadio;
    } cases[] = {{"grid", "&Grid", true, false},
                 {"unit-ms", "msec", true, true},
                 {"theme-dark", "Dark", true, true},
                 {"event-move", "&Move events", true, true},
                 {"set-timebase", "Set timebase...", false, false},
                 {"annotation-add", "Add...\ta", false, false},
                 {"general-options", "&General options...", false, false},
                 {"file-open", "&Open...", false, false}};
    for (const auto& [id, text, isCheckable, isRadio] : cases) {
        const QAction* action = Action(id);
        EXPECT_EQ(action->text(), text);
        EXPECT_EQ(action->isCheckable(), isCheckable) << id;
        EXPECT_EQ(action->actionGroup() && action->actionGroup()->isExclusive(), isRadio) << id;
    }
}

TEST_F(MainFrameTest, WindowMenuListsTheOpenRecordings) {
    frame->OpenFiles({"/one.kymr-dat", "/two.kymr-dat"});
    QMenu* menu = MenuOf(*frame, "&Window");
    ASSERT_NE(menu, nullptr);
    for (int i = 0; i < 2; ++i) emit menu->aboutToShow();  // listed once, however often it is shown
    QList<QAction*> listed = menu->actions();
    listed.removeIf([](const QAction* action) { return !action->text().contains("kymr-dat"); });
    ASSERT_EQ(listed.size(), 2);
    listed[0]->trigger();
    EXPECT_EQ(frame->ActiveChild(), frame->Children()[0]);
}

TEST_F(MainFrameTest, ClosingAsksAboutChangesOnce) {
    OpenOne().Document().SetModifiedFlag();
    for (const bool answer : {false, true}) {
        host.questions.clear();
        host.answer = answer;
        frame->OnFileClose();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        EXPECT_EQ(host.questions.size(), 1u);
        EXPECT_EQ(host.questions.back().title, "one.kymr-dat");
        EXPECT_EQ(frame->Children().empty(), answer);
    }
}

TEST_F(MainFrameTest, ClosingTheFrameNamesAllChangedFilesAtOnce) {
    frame->OpenFiles({"/one.kymr-dat", "/two.kymr-dat"});
    Action("window-new")->trigger();  // a second view of one of them asks nothing twice
    for (CChildFrame* child : frame->Children()) child->Document().SetModifiedFlag();
    host.nextAnswers = {false};
    EXPECT_FALSE(frame->close());
    ASSERT_EQ(host.questions.size(), 1u);
    for (const char* name : {"one.kymr-dat", "two.kymr-dat"})
        EXPECT_NE(host.questions[0].text.find(name), std::string::npos);
    EXPECT_EQ(frame->Children().size(), 3u);
    EXPECT_TRUE(frame->isVisible());
    // A single one is asked about in its own words.
    frame->Children()[0]->Document().SetModifiedFlag(false);
    EXPECT_TRUE(frame->close());
    EXPECT_EQ(host.questions.size(), 2u);
    EXPECT_TRUE(host.questions[1].title == "one.kymr-dat" || host.questions[1].title == "two.kymr-dat");
}

// --- the start page ---

TEST_F(MainFrameTest, TheStartPageStandsWhereNoRecordingIs) {
    auto* page = frame->findChild<QWidget*>("startPage");
    const auto settle = [] {
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QApplication::processEvents();
    };
    EXPECT_TRUE(page->isVisible());
    EXPECT_TRUE(frame->findChild<StartList*>("startRecent")->isHidden());
    OpenOne();
    EXPECT_FALSE(page->isVisible());
    frame->OnFileClose();
    settle();
    EXPECT_TRUE(page->isVisible());
    auto* recent = frame->findChild<StartList*>("startRecent");
    ASSERT_EQ(recent->topLevelItemCount(), 1);
    EXPECT_EQ(recent->topLevelItem(0)->text(0), "one.kymr-dat");
    EXPECT_EQ(recent->topLevelItem(0)->text(1), "/");
    EXPECT_TRUE(recent->topLevelItem(0)->text(2).startsWith("today "));
    // The last one opens by Enter.
    EXPECT_TRUE(recent->hasFocus() || frame->focusWidget() == recent);
    QTest::keyClick(recent, Qt::Key_Return);
    ASSERT_EQ(frame->Children().size(), 1u);
    frame->OnFileClose();
    settle();
    // One that is gone says so, and Del takes it out.
    files.Remove("/one.kymr-dat");
    frame->ShowStart();
    EXPECT_EQ(recent->topLevelItem(0)->text(2), "not there any more");
    recent->setCurrentItem(recent->topLevelItem(0));
    QTest::keyClick(recent, Qt::Key_Delete);
    EXPECT_TRUE(frame->Recent().Paths().empty());
    EXPECT_TRUE(recent->isHidden());
    auto* open = frame->findChild<QPushButton*>("start-file-open");
    host.openFiles = {"/two.kymr-dat"};
    open->click();
    EXPECT_EQ(frame->Children().size(), 1u);
}

TEST_F(MainFrameTest, DemonstrationsAreMadeOnceAndBelongToTheUser) {
    frame->demoFolder = [] { return std::filesystem::path("/own"); };
    auto* demos = frame->findChild<StartList*>("startDemos");
    ASSERT_EQ(demos->topLevelItemCount(), static_cast<int>(DemoRecordings().size()));
    demos->setCurrentItem(demos->topLevelItem(2));
    QTest::keyClick(demos, Qt::Key_Return);
    ASSERT_EQ(frame->Children().size(), 1u);
    CDataDoc& doc = frame->ActiveChild()->Document();
    EXPECT_EQ(doc.filePath, "/own/demo_episodic.kymr-dat");
    // What the user did to it is there the next time.
    doc.markers.emplace_back().m_strLabel = "mine";
    Action("file-save")->trigger();
    const size_t markers = doc.markers.size();
    frame->OnFileClose();
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    Action("demo-episodic")->trigger();
    EXPECT_EQ(frame->ActiveChild()->Document().markers.size(), markers);
    frame->demoFolder = []() -> std::filesystem::path { throw std::runtime_error("No room."); };
    Action("demo-gaps")->trigger();
    EXPECT_NE(host.LastMessage().find("No room."), std::string::npos);
}

TEST(WhenText, IsShortForWhatIsNear) {
    std::tm noon{};
    noon.tm_year = 126;
    noon.tm_mon = 10;
    noon.tm_mday = 22;
    noon.tm_hour = 12;
    noon.tm_isdst = -1;
    const std::time_t now = std::mktime(&noon);
    constexpr std::time_t hour = 3600;
    const std::pair<std::time_t, const char*> cases[] = {{now - 3 * hour, "today 9:00"},
                                                         {now - 13 * hour, "yesterday 23:00"},
                                                         {now - 37 * hour, "2026-11-20"},
                                                         {0, ""}};
    for (const auto& [when, text] : cases) EXPECT_EQ(WhenText(when, now), text);
}

TEST_F(MainFrameTest, FilesThatDoNotOpenAreNamedTogether) {
    files.Put("/broken.kymr-dat", std::vector<std::byte>(7));
    frame->OpenFiles({"/broken.kymr-dat", "/one.kymr-dat", "/gone.edf", "/what.xyz"});
    EXPECT_EQ(frame->Children().size(), 1u);
    ASSERT_EQ(host.messages.size(), 1u);
    for (const char* part : {"3 of 4 files", "/broken.kymr-dat\n", "/gone.edf\n", "/what.xyz\nUnrecognised"})
        EXPECT_NE(host.LastMessage().find(part), std::string::npos) << part;
    host.openFiles = {"/gone.edf"};  // a single one speaks for itself
    Action("file-open")->trigger();
    EXPECT_EQ(host.messages.size(), 2u);
    EXPECT_EQ(host.LastMessage().find(" of "), std::string::npos) << host.LastMessage();
}

TEST_F(MainFrameTest, NoticesHaveNoEmptyLines) {
    const auto* text = frame->findChild<QLabel*>("noticeText");
    frame->ShowNotice("One.\n\nTwo.\n");
    frame->ShowNotice("\nThree.");
    EXPECT_EQ(text->text(), "One.\nTwo.\nThree.");
}

// What cannot be saved in place finds a way out: the new file is shown in the place of the old, which stays
// as it was.
TEST_F(MainFrameTest, SaveAsShowsTheNewFile) {
    CChildFrame& child = OpenOne();
    const std::filesystem::path old = child.Document().filePath;
    child.View().Go(&Navigation::RightPage);
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

TEST_F(MainFrameTest, SaveAsTextLeavesTheWindowAsItIs) {
    CChildFrame& child = OpenOne();
    host.saveFile = "/copy.txt";
    ASSERT_TRUE(frame->OnFileSaveAs()) << host.LastMessage();
    EXPECT_EQ(frame->Children(), std::vector<CChildFrame*>{&child});
    const auto& bytes = files.Bytes("/copy.txt");
    const std::string text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    EXPECT_NE(text.find("\nSample interval:\t"), std::string::npos);
    EXPECT_TRUE(
        host.fileRequests.back().filter.starts_with("Kymora (*.kymr-dat)|*.kymr-dat|text (*.txt)|*.txt|"));
}

TEST_F(MainFrameTest, WhatIsVisibleOfARecordingFileIsSavedBesideIt) {
    files.Put("/r.kymr-rec", BuildRecording({}).file.data);
    CChildFrame* child = frame->OpenFile("/r.kymr-rec");
    ASSERT_NE(child, nullptr) << host.LastMessage();
    child->View().ChangeViewport({1.0, 3.0});
    host.saveFile = "/part.kymr-rec";
    ASSERT_TRUE(frame->OnFileSaveAs()) << host.LastMessage();
    ASSERT_EQ(frame->Children().size(), 2u);
    EXPECT_EQ(frame->Children()[1]->Document().GetLength(), 5);
}

TEST_F(MainFrameTest, WhatACrashHasLeftIsOffered) {
    files.Put("/t/kymora-unfinished-1-0.kymr-rec", BuildRecording({.stated = 0, .tail = false}).file.data);
    host.saveFile = "/rescued.kymr-rec";
    frame->TakeUpLeftRecordings("/t");
    ASSERT_EQ(frame->Children().size(), 1u);
    EXPECT_EQ(frame->Children()[0]->Document().GetLength(), 10);
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

// --- several views and windows ---

TEST_F(MainFrameTest, ANewWindowIsASecondViewOfTheDocument) {
    CChildFrame& first = OpenOne();
    first.View().Go(&Navigation::RightPage);
    Action("window-new")->trigger();
    ASSERT_EQ(frame->Children().size(), 2u);
    CChildFrame& second = *frame->Children()[1];
    EXPECT_EQ(&second.Document(), &first.Document());
    ExpectViewport(second, 3000.0, 5000.0);
    EXPECT_EQ(first.windowTitle(), "one.kymr-dat:1[*]");
    EXPECT_EQ(second.windowTitle(), "one.kymr-dat:2[*]");
    second.View().Go(&Navigation::GoToStart);
    ExpectViewport(first, 3000.0, 5000.0);

    // Only the last one asks.
    first.Document().SetModifiedFlag();
    host.answer = false;
    for (const size_t asked : {0u, 1u}) {
        frame->OnFileClose();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        EXPECT_EQ(host.questions.size(), asked);
        ASSERT_EQ(frame->Children().size(), 1u);
        EXPECT_EQ(frame->Children()[0]->windowTitle(), "one.kymr-dat[*]");
    }
}

TEST_F(MainFrameTest, TheNextRecordingFillsTheAreaAsTheClosedOneDid) {
    for (const bool isMaximized : {true, false}) {
        for (const char* name : {"/one.kymr-dat", "/two.kymr-dat"}) ASSERT_TRUE(frame->OpenFile(name));
        CChildFrame* last = frame->ActiveChild();
        isMaximized ? last->showMaximized() : last->showNormal();
        last->close();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QApplication::processEvents();
        ASSERT_EQ(frame->Children().size(), 1u);
        EXPECT_EQ(frame->ActiveChild()->isMaximized(), isMaximized);
        frame->ActiveChild()->close();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QApplication::processEvents();
    }
}

TEST_F(MainFrameTest, WindowsTileInRowsAndColumns) {
    frame->OpenFiles({"/one.kymr-dat", "/two.kymr-dat"});
    const auto area = frame->findChild<QMdiArea*>()->viewport()->size();
    CChildFrame *one = frame->Children()[0], *two = frame->Children()[1];
    Action("window-tile-horizontally")->trigger();
    EXPECT_EQ(one->geometry(), QRect(0, 0, area.width(), area.height() / 2));
    EXPECT_EQ(two->geometry().bottom(), area.height() - 1);
    Action("window-tile-vertically")->trigger();
    EXPECT_EQ(one->geometry(), QRect(0, 0, area.width() / 2, area.height()));
    EXPECT_EQ(two->geometry().right(), area.width() - 1);
    EXPECT_EQ(frame->ActiveChild(), two);
    Action("window-next")->trigger();
    EXPECT_EQ(frame->ActiveChild(), one);
    Action("window-previous")->trigger();
    EXPECT_EQ(frame->ActiveChild(), two);
}

TEST_F(MainFrameTest, KeysGoToTheViewWhateverIsDoneToItsWindow) {
    struct Case {
        const char* command;
        bool maximizedBefore;
    };
    frame->OpenFiles({"/one.kymr-dat", "/two.kymr-dat"});
    const QPalette palette = QApplication::palette();
    for (const Case& c : {Case{"window-tile", true}, Case{"window-cascade", true}, Case{"window-tile", false},
                          Case{"window-tile-vertically", true}, Case{"window-next", false},
                          Case{"theme-dark", false}, Case{"theme-light", true}}) {
        if (c.maximizedBefore) frame->ActiveChild()->showMaximized();
        QApplication::processEvents();
        Action(c.command)->trigger();
        QApplication::processEvents();
        EXPECT_EQ(frame->focusWidget(), &frame->ActiveChild()->Widget()) << c.command;
    }
    QApplication::setPalette(palette);
    QTest::keyClick(frame->focusWidget(), Qt::Key_W, Qt::ControlModifier);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    EXPECT_EQ(frame->Children().size(), 1u);
}

// --- opening ---

TEST_F(MainFrameTest, TheOpenDialogOpensEveryChosenFile) {
    host.openFiles = {"/one.kymr-dat", "/gone.edf", "/two.kymr-dat", "/x.abf"};
    Action("file-open")->trigger();
    EXPECT_EQ(host.fileRequests[0].title, "Select Files to Open");
    EXPECT_EQ(host.fileRequests[0].filter, OpenFilter());
    EXPECT_EQ(frame->Children().size(), 2u);
    EXPECT_EQ(host.messages.size(), 1u);
    EXPECT_TRUE(host.LastMessage().starts_with("2 of 4 files did not open.")) << host.LastMessage();
}

TEST_F(MainFrameTest, RecentFilesAreListedAndMissingOnesCanGo) {
    frame->OpenFiles({"/one.kymr-dat", "/two.kymr-dat"});
    while (!frame->Children().empty()) delete frame->Children()[0];
    const auto entries = [&] {
        emit MenuOf(*frame, "&File")->aboutToShow();
        return frame->findChild<QMenu*>("recentFiles")->actions();
    };
    EXPECT_EQ(entries()[0]->text(), "&1  two.kymr-dat");
    entries()[1]->trigger();
    EXPECT_EQ(frame->ActiveChild()->Document().filePath, "/one.kymr-dat");
    files.Remove("/two.kymr-dat");
    for (const bool answer : {false, true}) {
        host.answer = answer;
        frame->OpenRecent("/two.kymr-dat");
        EXPECT_EQ(frame->Recent().Paths().size(), answer ? 1u : 2u);
    }
    EXPECT_EQ(host.questions.size(), 2u);
    entries().back()->trigger();  // clear
    EXPECT_TRUE(frame->Recent().Paths().empty());
}

TEST_F(MainFrameTest, DroppedFilesOpenAndSettingsNeedARecording) {
    const auto drop = [&](const QList<QUrl>& urls) {
        QMimeData data;
        data.setUrls(urls);
        QDragEnterEvent enter({5, 5}, Qt::CopyAction, &data, Qt::LeftButton, {});
        QApplication::sendEvent(frame.get(), &enter);
        if (!enter.isAccepted()) return false;
        QDropEvent event({5, 5}, Qt::CopyAction, &data, Qt::LeftButton, {});
        QApplication::sendEvent(frame.get(), &event);
        return true;
    };
    EXPECT_FALSE(drop({QUrl("https://example.org/x.edf")}));
    EXPECT_TRUE(drop({QUrl::fromLocalFile("/settings.KYMR-cfg")}));
    EXPECT_EQ(host.LastMessage(), "Couldn't open file /settings.KYMR-cfg");
    files.Put("/settings.KYMR-cfg", Bytes().Wide(u"CGenSmooth").data);
    EXPECT_TRUE(drop({QUrl::fromLocalFile("/settings.KYMR-cfg")}));
    EXPECT_EQ(host.LastMessage(),
              "You can only load a configuration file (.kymr-cfg or .kymr-batch) when a data "
              "file is already open.");
    // The two kinds of the extension are told apart, with and without a recording.
    WriteConfiguration(session, AcquisitionSettings(RecordingType::refractoryAutomatic), "/acq.kymr-cfg");
    files.Put("/other.kymr-cfg", Bytes().Wide(u"Some text").data);
    for (int i = 0; i < 2; ++i) {
        EXPECT_TRUE(drop({QUrl::fromLocalFile("/acq.kymr-cfg")}));
        ASSERT_NE(frame->Recorder(), nullptr);
        EXPECT_NE(frame->Recorder()->Refractory(), nullptr);
        EXPECT_TRUE(drop({QUrl::fromLocalFile("/other.kymr-cfg")}));
        EXPECT_EQ(host.LastMessage(),
                  "Unrecognized configuration file: Some text\nShould read 'Kymora ADC-DAC "
                  "Configuration file'");
        EXPECT_TRUE(drop({QUrl::fromLocalFile("/one.kymr-dat"), QUrl::fromLocalFile("/two.kymr-dat")}));
    }
    EXPECT_EQ(frame->Children().size(), 2u);
}

// --- saving ---

TEST_F(MainFrameTest, SaveAllSavesEachAsItsKindIs) {
    files.Put("/foreign.edf", EdfBuilder().AddRamp("one", 10).Build());
    frame->OpenFiles({"/one.kymr-dat", "/foreign.edf"});
    Action("window-new")->trigger();  // a second view of one of them saves nothing twice
    for (CDataDoc* doc : frame->Documents()) doc->SetModifiedFlag();
    host.log.clear();
    Action("file-save-all")->trigger();
    const std::string log = host.LogText(), foreign = "In OnFileSaveAll for non-";
    EXPECT_EQ(log.find(foreign), log.rfind(foreign));
    EXPECT_TRUE(files.Has("/foreign.kymr-hdr"));
    for (const CChildFrame* child : frame->Children()) {
        EXPECT_FALSE(child->Document().IsModified());
        EXPECT_FALSE(child->isWindowModified());
    }
}

TEST_F(MainFrameTest, NewFilesOpen) {
    for (const auto& [command, path] : {std::pair{"new-user-defined", "/made.kymr-dat"},
                                        {"new-from-average", "/average.kymr-dat"},
                                        {"file-save-as-legacy", "/old.flt"}}) {
        host.saveFile = path;
        host.fillForms = {[](Form&) { return true; }};
        Action(command)->trigger();
        EXPECT_EQ(frame->Recent().Paths().at(0), path) << command;
        EXPECT_EQ(frame->ActiveChild()->Document().filePath, path);
    }
    EXPECT_EQ(frame->Children().size(), 3u);
    EXPECT_EQ(frame->ActiveChild()->Document().fileVersion, 36);
}

TEST_F(MainFrameTest, OptionsReachEveryView) {
    frame->OpenFiles({"/one.kymr-dat", "/two.kymr-dat"});
    int changes = 0, kept = 0;
    for (CChildFrame* child : frame->Children())
        QObject::connect(&child->Widget(), &ViewWidget::ViewChanged, frame.get(), [&] { ++changes; });
    QObject::connect(frame.get(), &CMainFrame::SettingsChanged, frame.get(), [&] { ++kept; });
    host.fillForms = {[](Form& form) {
        form["hitMargin"].number = 9;
        return true;
    }};
    Action("general-options")->trigger();
    EXPECT_EQ(session.options.hitMargin, 9);
    EXPECT_GE(changes, 2);
    EXPECT_EQ(kept, 1);
}

// --- finding commands ---

TEST_F(MainFrameTest, HelpFindsCommandsAndListsKeys) {
    CChildFrame& child = OpenOne();
    const auto open = [&](const char* command) {
        Action(command)->trigger();
        return frame->findChild<CommandFinder*>();
    };
    auto* search = open("help-find-command")->findChild<QLineEdit*>("search");
    QTest::keyClicks(search, "zoom whole recording");
    QTest::keyClick(search, Qt::Key_Return);
    ExpectViewport(child, 0.0, 99999.0);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    const QStringList keys = open("help-shortcuts")->Shown();
    EXPECT_TRUE(keys.contains("Left page"));
    EXPECT_TRUE(keys.contains("Save As..."));
    EXPECT_FALSE(keys.contains("From average...")) << "it has no key";
    EXPECT_FALSE(frame->RunCommandById("toolBar")) << "an object of that name is no command";
    Action("help-first-steps")->trigger();
    EXPECT_TRUE(frame->findChild<QTextBrowser*>("firstSteps")->toPlainText().contains("Open a recording"));
}

// "Alt+m", "Ctrl+Shift+S" as the label has it; empty when it names none.
QString KeyText(std::string_view label) {
    const size_t tab = label.find('\t');
    if (tab == std::string_view::npos) return {};
    const std::string key(label.substr(tab + 1));
    return QString::fromStdString(key).trimmed().replace("Ctrl ", "Ctrl+").toLower();
}

TEST_F(MainFrameTest, NoKeyMeansTwoThings) {
    QStringList taken;
    for (const QAction* action : frame->menuBar()->actions()) {
        const qsizetype mark = action->text().indexOf('&');
        ASSERT_GE(mark, 0) << action->text().toStdString();
        taken << QString("alt+%1").arg(action->text()[mark + 1].toLower());
    }
    for (const Command& command : ViewCommands()) taken << KeyText(command.label);
    for (const FrameCommand& command : FrameCommands()) taken << KeyText(command.label);
    taken.removeAll(QString());
    taken.sort();
    for (qsizetype i = 1; i < taken.size(); ++i) EXPECT_NE(taken[i - 1], taken[i]) << taken[i].toStdString();
}

TEST_F(MainFrameTest, UndoIsNamedInTheMenu) {
    CChildFrame& child = OpenOne();
    EXPECT_EQ(Action("undo")->text(), "&Undo\tCtrl+z");
    Action("grid")->trigger();
    EXPECT_TRUE(Action("undo")->text().startsWith("&Undo: "));
    Action("undo")->trigger();
    EXPECT_TRUE(child.View().m_bShowGrid);
    EXPECT_TRUE(Action("redo")->text().startsWith("&Redo: "));
}

TEST_F(MainFrameTest, ToolBarAndContextMenuHoldTheTablesActions) {
    CChildFrame& child = OpenOne();
    auto* bar = frame->findChild<QToolBar*>("toolBar");
    EXPECT_TRUE(bar->actions().contains(Action("file-open")));
    for (QAction* action : bar->actions())
        EXPECT_TRUE(action->isSeparator() || !action->icon().isNull()) << action->text().toStdString();
    QStringList shown;
    QTimer::singleShot(0, [&] {
        auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
        ASSERT_NE(menu, nullptr);
        for (const QAction* action : menu->actions()) shown += action->text();
        menu->close();
    });
    emit child.Widget().customContextMenuRequested({50, 50});
    EXPECT_TRUE(shown.contains("&Autoscale\t Ctrl 0")) << shown.join(", ").toStdString();
    EXPECT_TRUE(shown.contains("All &menus"));
    EXPECT_FALSE(shown.contains("&File"));
}

TEST_F(MainFrameTest, KeysOpenTheMenuOfThePlaceInTheMiddle) {
    CChildFrame& child = OpenOne();
    for (const auto& [key, modifiers] :
         {std::pair{Qt::Key_Menu, Qt::NoModifier}, {Qt::Key_F10, Qt::ShiftModifier}}) {
        bool hadEntry = false;
        QTimer::singleShot(0, [&] {
            auto* menu = qobject_cast<QMenu*>(QApplication::activePopupWidget());
            ASSERT_NE(menu, nullptr);
            auto* entry = menu->findChild<QAction*>("place-cursor-add-vert-here");
            ASSERT_NE(entry, nullptr);
            hadEntry = true;
            entry->trigger();
            menu->close();
        });
        child.View().DatumLines().DeleteAll();
        QTest::keyClick(&child.Widget(), key, modifiers);
        EXPECT_TRUE(hadEntry);
        const PixelRect plot = child.View().Plot().layout.plot;
        ASSERT_EQ(child.View().DatumLines().VertCount(), 1);
        EXPECT_EQ(child.View().DatumLines().VertX(0), (plot.left + plot.right) / 2);
    }
}

TEST_F(MainFrameTest, TheTableOfCursorsFollowsTheActiveView) {
    CChildFrame& child = OpenOne();
    auto* table = frame->findChild<QTableWidget*>("cursorTable");
    EXPECT_FALSE(table->isVisible());
    Action("cursor-table")->trigger();
    EXPECT_TRUE(Action("cursor-table")->isChecked());
    QTest::keyClicks(&child.Widget(), "vv");
    QTRY_COMPARE(table->rowCount(), 3);  // two cursors and what lies between them
    EXPECT_EQ(table->item(0, 1)->text(), "2000.000");
    auto* pairs = frame->findChild<QComboBox*>("cursorPairs");
    pairs->setCurrentIndex(pairs->findText("from V:2"));
    emit pairs->activated(pairs->currentIndex());
    EXPECT_EQ(child.View().DatumLines().m_pairs.vertFrom, 1);
    EXPECT_TRUE(table->item(1, 1)->text().startsWith("-")) << table->item(1, 1)->text().toStdString();
    frame->OpenFile("/two.kymr-dat");
    QTRY_VERIFY(!table->isVisible());  // no cursors there
    Action("cursor-table")->trigger();
    EXPECT_FALSE(Action("cursor-table")->isChecked());
}

}  // namespace
}  // namespace kymora::test
