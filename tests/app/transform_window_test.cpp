#include "catalogue/windows/transform_window.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QTest>
#include <QToolButton>

#include "graphs/windows/graph_panel.h"
#include "host/memory_file_system.h"
#include "support/memory_doc.h"
#include "support/test_host.h"
#include "support/test_transform.h"
#include "transforms/debuzz.h"
#include "transforms/digital_fir.h"
#include "widgets/form_editor.h"

namespace kymora::test {
namespace {

class StillView : public DocumentView {
  public:
    DisplaySettings GetDisplaySettings() const override {
        DisplaySettings settings;
        settings.view.viewStart = 100.0;
        settings.view.viewEnd = 300.0;
        return settings;
    }
    void OnUpdate(UpdateHint) override {}
};

class TransformWindowTest : public ::testing::Test {
  protected:
    void SetUp() override {
        doc = MemoryDoc::Generate(session, 3, 1000,
                                  [](int trace, int64_t i) { return static_cast<float>(100 * trace + i); });
        doc->filePath = "/data/rec.kymr-dat";
    }
    void TearDown() override { Close(); }
    CTestTransform& Open() {
        window = new TransformWindow(session, testTransform, std::make_unique<CTestTransform>(), &look);
        window->onTransform = [this](CTransformDlg& dialog) {
            ++transforms;
            batchWas = dialog.m_bBatch;
            EXPECT_TRUE(window->IsBusy());
            window->close();
            EXPECT_TRUE(window->isVisible()) << "it stays until the transform is done";
            if (!failure.empty()) throw std::runtime_error(failure);
            return succeeds;
        };
        window->SetActive(doc.get(), &view);
        window->show();
        window->activateWindow();
        QApplication::processEvents();
        return static_cast<CTestTransform&>(window->Block());
    }
    void Close() {
        if (window) window->close();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
        QApplication::processEvents();
    }
    template <typename Widget>
    static Widget* Find(QWidget* in, const char* name) {
        auto* widget = in->findChild<Widget*>(name);
        if (!widget) throw std::runtime_error(std::string("no widget ") + name);
        return widget;
    }
    void Press(const char* name) { QTest::mouseClick(Find<QPushButton>(window, name), Qt::LeftButton); }
    void Check(QWidget* in, const char* name) {
        QTest::mouseClick(Find<QCheckBox>(in, name), Qt::LeftButton, {}, QPoint(5, 8));
    }
    void Type(const char* key, const char* text) {
        auto* edit = Find<QLineEdit>(window, key);
        edit->setFocus();
        edit->selectAll();
        QTest::keyClicks(edit, text);
    }
    std::string Message() { return Find<QLabel>(window, "message")->text().toStdString(); }
    std::string Told(const char* name) { return Find<QLabel>(window->Preview(), name)->text().toStdString(); }

    TestHost host;
    MemoryFileSystem files;
    Session session{host, files};
    std::unique_ptr<MemoryDoc> doc;
    StillView view;
    PreviewLook look;
    QPointer<TransformWindow> window;
    int transforms = 0;
    bool succeeds = true, batchWas = false;
    std::string failure;
};

// The cycles of de-buzz stand beside its parameters, with buttons in the tool bar and lines to drag.
TEST_F(TransformWindowTest, ActionsOfTheGraphStandInItsToolBar) {
    window = new TransformWindow(session, *FindOperation("CDebuzz"), std::make_unique<CDebuzz>(), &look);
    window->SetActive(doc.get(), &view);
    window->show();
    QApplication::processEvents();
    auto& block = static_cast<CDebuzz&>(window->Block());
    auto* panel = window->findChild<GraphPanel*>();
    ASSERT_TRUE(panel);
    for (const char* name : {"gainUp", "gainDown", "mains50", "mains60"}) {
        EXPECT_EQ(Find<QPushButton>(window, name)->parentWidget(), panel) << name;
        EXPECT_TRUE(Find<QPushButton>(window, name)->isVisible()) << name;
    }
    EXPECT_FALSE(Find<QWidget>(window, "report")->isVisible()) << "its OK transforms";
    Press("mains60");
    EXPECT_NEAR(block.m_dInterval, 16.6667, 1e-4);
    Check(window, "limits");
    EXPECT_TRUE(block.m_bLimits);
    ASSERT_EQ(panel->Widget().GetGraph().panes[0].lines.size(), 2u);
    emit panel->Widget().LineMoved("upper", 600.0);
    EXPECT_EQ(block.m_fUpper, 600.0f);
    EXPECT_EQ(panel->Widget().GetGraph().panes[0].lines[0].at, 600.0);
}

// An order or a cutoff that makes no filter gives way to the one before when the user leaves it.
TEST_F(TransformWindowTest, WhatMakesNoFilterIsPutBack) {
    for (const char* name : {"CDigitalFIR", "CInterpolate"}) {
        SCOPED_TRACE(name);
        const Operation& operation = *FindOperation(name);
        auto block = operation.make();
        window = new TransformWindow(
            session, operation, std::unique_ptr<CTransformDlg>(static_cast<CTransformDlg*>(block.release())),
            &look);
        int runs = 0;
        window->onTransform = [&](CTransformDlg&) { return ++runs, false; };
        window->SetActive(doc.get(), &view);
        window->show();
        window->activateWindow();
        QApplication::processEvents();
        const auto text = [&](const char* key) { return Find<QLineEdit>(window, key)->text().toStdString(); };
        const auto value = [&](const char* key) { return window->Block().Params()[key].ValueText(); };
        const auto leave = [&](const char* key) {
            QTest::keyClick(Find<QLineEdit>(window, key), Qt::Key_Tab);
        };
        const struct {
            const char *key, *typed, *left, *message;
        } cases[] = {
            {"upperCut", "300", "300", ""},
            {"order", "19", "200", oddOrderText},
            {"order", "20", "20", ""},
            {"lowerCut", "300", "0", lowerAboveUpperText},
            {"lowerCut", "100", "100", ""},
            {"upperCut", "40", "300", upperBelowLowerText},
            // What is outside the limits stays for the user to see, as everywhere.
            {"order", "202", "202", "\"Order (even)\" must be a whole number from 0 to 200."},
        };
        for (const auto& [key, typed, left, message] : cases) {
            Type(key, typed);
            EXPECT_EQ(text(key), typed);
            leave(key);
            EXPECT_EQ(text(key), left) << key << " " << typed;
            EXPECT_EQ(Message(), message) << key << " " << typed;
        }
        EXPECT_EQ(value("order"), "20");
        // Enter does not run what was not entered, and runs what stands there then.
        Type("order", "21");
        QTest::keyClick(Find<QLineEdit>(window, "order"), Qt::Key_Return);
        EXPECT_EQ(text("order"), "20");
        EXPECT_EQ(Message(), oddOrderText);
        EXPECT_EQ(runs, 0);
        QApplication::processEvents();
        QTest::keyClick(Find<QLineEdit>(window, "order"), Qt::Key_Return);
        EXPECT_EQ(runs, 1);
        // A line of the graph stops before the other one.
        if (auto* panel = window->findChild<GraphPanel*>()) {
            emit panel->Widget().LineMoved("lowerCut", 301.0);
            EXPECT_EQ(value("lowerCut"), "100");
            EXPECT_EQ(Message(), lowerAboveUpperText);
        }
        // Nor is it kept with the settings of the session.
        Type("order", "7");
        Close();
        auto again = operation.make();
        again->TakeSettings(session.operationSettings.at(name));
        EXPECT_EQ(again->Params()["order"].ValueText(), "20");
    }
}

// A click that ends the editing shows what was put back before anything is done with it.
TEST_F(TransformWindowTest, AClickHandsOverWhatWasSeen) {
    window =
        new TransformWindow(session, *FindOperation("CDigitalFIR"), std::make_unique<CDigitalFIR>(), &look);
    int taken = 0;
    window->SetConfiguring([&](CBatchBaseDlg&) { ++taken; });
    window->SetActive(doc.get(), &view);
    window->show();
    window->activateWindow();
    QApplication::processEvents();
    Type("order", "19");
    for (int expected = 0; expected < 2; ++expected) {
        auto* ok = Find<QPushButton>(window, "run");
        // As the window system gives the keyboard before the button has the press.
        ok->setFocus(Qt::MouseFocusReason);
        Press("run");
        QApplication::processEvents();
        EXPECT_EQ(taken, expected);
    }
}

TEST_F(TransformWindowTest, NoWindowScrollsSideways) {
    for (const Operation& operation : Operations()) {
        auto block = operation.make();
        if (block->WhatItAffects() != Affects::traces) continue;
        SCOPED_TRACE(operation.className);
        window = new TransformWindow(
            session, operation, std::unique_ptr<CTransformDlg>(static_cast<CTransformDlg*>(block.release())),
            &look);
        window->SetActive(doc.get(), &view);
        window->show();
        QApplication::processEvents();
        for (const auto* area : window->findChildren<QScrollArea*>())
            EXPECT_EQ(area->horizontalScrollBar()->maximum(), 0);
        Close();
    }
}

TEST_F(TransformWindowTest, AListIsSavedWholeAndAsATable) {
    window =
        new TransformWindow(session, *FindOperation("CDigitalFIR"), std::make_unique<CDigitalFIR>(), &look);
    window->SetActive(doc.get(), &view);
    window->show();
    QApplication::processEvents();
    EXPECT_FALSE(Find<QPushButton>(window, "saveAllResults")->isEnabled()) << "there is no list";
    QTest::mouseClick(Find<QRadioButton>(window, "report1"), Qt::LeftButton, {}, QPoint(5, 8));
    const struct {
        const char *path, *begin;
    } cases[] = {{"/list.txt", "Coefficients\r\n  0\t"}, {"/list.csv", "index,coefficient"}};
    for (const auto& [path, begin] : cases) {
        host.saveFile = path;
        Press("saveAllResults");
        ASSERT_TRUE(files.Stamp(path)) << path;
        const auto file = files.Open(path, OpenMode::readOnly);
        std::string bytes(file->Length(), ' ');
        file->ReadAt(0, std::as_writable_bytes(std::span(bytes.data(), bytes.size())));
        EXPECT_NE(bytes.find(begin), std::string::npos) << bytes.substr(0, 200);
        EXPECT_GE(std::ranges::count(bytes, '\n'), 201) << "a line for each of the 201";
    }
}

TEST_F(TransformWindowTest, OkTransformsAndClosesAndCancelDoesNeither) {
    Open();
    EXPECT_EQ(window->windowModality(), Qt::ApplicationModal);
    EXPECT_EQ(Find<QPushButton>(window, "run")->text(), "OK");
    EXPECT_EQ(Find<QPushButton>(window, "close")->text(), "Cancel");
    Type("factor", "3");
    succeeds = false;
    Press("run");
    EXPECT_EQ(transforms, 1);
    ASSERT_TRUE(window && window->isVisible()) << "it was refused";
    failure = "The disk is full.";
    Press("run");
    EXPECT_EQ(Message(), "The disk is full.");
    failure.clear();
    succeeds = true;
    int result = -1;
    QObject::connect(window, &QDialog::finished, [&](int code) { result = code; });
    Press("run");
    EXPECT_EQ(transforms, 3);
    EXPECT_EQ(result, QDialog::Accepted);
    Close();
    EXPECT_EQ(Open().factor, 3.0) << "the settings of the session";
    Type("factor", "4");
    Press("close");
    Close();
    EXPECT_EQ(transforms, 3);
    EXPECT_TRUE(window.isNull());
}

TEST_F(TransformWindowTest, ABadListKeepsItOpenWithTheWords) {
    Open();
    Type("traces", "1 4");
    EXPECT_EQ(Message(), "The selected data trace does not exist");
    QTest::keyClick(Find<QLineEdit>(window, "traces"), Qt::Key_Return);
    EXPECT_FALSE(window->Run());
    EXPECT_EQ(transforms, 0);
    EXPECT_TRUE(window->isVisible());
    Type("traces", "1-3");
    EXPECT_EQ(Message(), "");
    EXPECT_TRUE(window->Run());
}

TEST_F(TransformWindowTest, BatchIsACheckWithANotice) {
    CTestTransform& block = Open();
    Check(window, "batchProcess");
    EXPECT_TRUE(block.m_bBatch);
    ASSERT_EQ(host.notices.size(), 1u);
    EXPECT_EQ(host.notices[0].title, "Batch Processing");
    Check(window, "batchProcess");
    EXPECT_FALSE(block.m_bBatch);
    EXPECT_EQ(host.notices.size(), 1u);
    Check(window, "batchProcess");
    Press("run");
    EXPECT_TRUE(batchWas);
    Close();
    EXPECT_FALSE(Open().m_bBatch) << "no settings keep it";
}

TEST_F(TransformWindowTest, ThePreviewFollowsTheParameters) {
    CTestTransform& block = Open();
    Press("previewButton");
    ASSERT_NE(window->Preview(), nullptr);
    EXPECT_TRUE(host.WasSilent()) << "no gaps, no notice";
    CTransformPreview& model = window->Preview()->Model();
    EXPECT_FALSE(window->Preview()->isModal());
    EXPECT_EQ(block.lastRun, (CTestTransform::Run{0, 100, 200}));
    EXPECT_EQ(model.Data().transformed[5], 1050.0f);
    EXPECT_EQ(Told("previewStatus").substr(0, 7), "Trace 1");

    Type("factor", "25");
    QTest::qWait(250);
    EXPECT_EQ(model.Data().transformed[5], 2625.0f);
    Type("traces", "3 1-2");
    QTest::qWait(250);
    EXPECT_EQ(block.lastRun.trace, 0) << "the first of the list in order";
    Type("traces", "2-3");
    QTest::qWait(250);
    EXPECT_EQ(block.lastRun.trace, 1);
    EXPECT_EQ(Told("previewStatus").substr(0, 7), "Trace 2");
    const int blocks = block.blocks;
    Find<QPlainTextEdit>(window, "comment")->setPlainText("nothing to do with it");
    EXPECT_EQ(block.m_strComment, "nothing to do with it");
    Type("factor", "9999");
    QTest::qWait(250);
    EXPECT_EQ(block.blocks, blocks) << "neither a comment nor what may not be used";
    EXPECT_TRUE(model.Data().transformed.empty()) << "the data are no result";
    EXPECT_FALSE(model.Data().raw.empty());
    EXPECT_EQ(Told("previewMessage"), Message());
    EXPECT_EQ(Find<QLabel>(window->Preview(), "previewMessage")->palette().color(QPalette::WindowText),
              FaultColour(window->palette()));
    Type("factor", "0");
    QTest::qWait(250);
    EXPECT_EQ(Told("previewMessage"), "Nothing is left.");
    EXPECT_EQ(model.Data().transformed, model.Data().raw);
    window->DocumentChanged(UpdateHint::samples);
    EXPECT_EQ(block.blocks, blocks + 2);

    QPointer<PreviewWindow> preview = window->Preview();
    window->SetActive(nullptr, nullptr);
    EXPECT_TRUE(preview.isNull()) << "its recording is about to go";
    EXPECT_FALSE(Find<QPushButton>(window, "previewButton")->isEnabled());
}

TEST_F(TransformWindowTest, ThePreviewHasTheKeysOfTheViewAndClosesWithItsWindow) {
    Open();
    QPointer<PreviewWindow> preview = window->OpenPreview();
    EXPECT_EQ(window->OpenPreview(), preview);
    CTransformPreview& model = preview->Model();
    QTest::keyClick(preview, Qt::Key_Right, Qt::ControlModifier);
    EXPECT_EQ(model.Start(), 300);
    QTest::keyClick(preview, Qt::Key_Asterisk);
    EXPECT_EQ(model.Length(), 100);
    QTest::mouseClick(Find<QToolButton>(preview, "end"), Qt::LeftButton);
    EXPECT_EQ(model.Start(), 900);
    Check(preview, "superimpose");
    Check(preview, "equalScale");
    EXPECT_TRUE(model.m_bSuperimpose && model.m_bEqualScale);
    preview->resize(600, 444);
    Close();
    EXPECT_TRUE(preview.isNull());
    Open();
    preview = window->OpenPreview();
    EXPECT_TRUE(preview->Model().m_bSuperimpose) << "the session remembers";
    EXPECT_EQ(preview->size(), QSize(600, 444));
}

TEST_F(TransformWindowTest, GapsAreToldBeforeTheFirstPreview) {
    doc = MemoryDoc::MakeWithRuns(session, {std::vector<float>(400, 1.0f)}, {{100, 100, 300}});
    Open();
    window->OpenPreview();
    ASSERT_EQ(host.notices.size(), 1u);
    EXPECT_EQ(
        host.notices[0].text,
        "Note: the preview window ignores episode boundaries and treats gaps as zero-filled data but the "
        "full transform treats episodes separately and ignores gaps");
}

}  // namespace
}  // namespace kymora::test
