#include "host/form.h"
#include "widgets/form_dialog.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QClipboard>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QFile>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <QTemporaryDir>
#include <QTest>

#include "widgets/command_finder.h"
#include "widgets/text_window.h"

namespace kymora::test {
namespace {

class FormDialogTest : public ::testing::Test {
  protected:
    FormDialog& Show() {
        dialog = std::make_unique<FormDialog>(form);
        dialog->show();
        QApplication::processEvents();
        return *dialog;
    }
    template <typename Widget>
    Widget* Find(const char* key) {
        auto* widget = dialog->findChild<Widget*>(key);
        EXPECT_NE(widget, nullptr) << key;
        return widget;
    }
    void Type(const char* key, const char* text) {
        auto* edit = Find<QLineEdit>(key);
        edit->setFocus();
        edit->selectAll();
        QTest::keyClicks(edit, text);
    }
    QString Fault() { return Find<QLabel>("fault")->text(); }

    Form form{"A form"};
    std::unique_ptr<FormDialog> dialog;
};

TEST_F(FormDialogTest, EveryKindOfFieldGoesThereAndBack) {
    form.AddNumber("number", "Number", 0.1);
    form.AddNumber("noisy", "Noisy", 30015.350000000002);
    form.AddInteger("integer", "Integer", 2147483647);
    form.AddText("text", "Text", "a\xC3\xA9 & b");
    form.AddLongText("longText", "Long", "one\r\ntwo");
    form.AddFlag("flag", "Flag", false);
    form.AddChoice("choice", "Choice", {"x", "y", "z"}, 1);
    form.AddRadio("radio", "Radio", {"p", "q"}, 1);
    form.AddColour("colour", "Colour", 0x563412);
    form.AddFont("font", "Font", {"DejaVu Sans", 17, 700, true, false, true});
    form.AddCheckList("checks", "Checks", {"1 & 2", "b", "c"}, {1, 0, 1});
    form.AddNote("note", "A note");
    Show();
    EXPECT_EQ(Find<QLineEdit>("number")->text(), "0.1");
    EXPECT_EQ(Find<QLineEdit>("noisy")->text(), "30015.35") << "and yet it is kept bit by bit";
    EXPECT_EQ(Find<QPushButton>("colour")->text(), "#123456");
    const Form before = form;
    dialog->accept();
    EXPECT_EQ(dialog->result(), QDialog::Accepted) << Fault().toStdString();
    for (const Field& field : before.fields) {
        EXPECT_EQ(form[field.key].number, field.number) << field.key;
        EXPECT_EQ(form[field.key].text, field.text) << field.key;
        EXPECT_EQ(form[field.key].choice, field.choice) << field.key;
        EXPECT_EQ(form[field.key].checks, field.checks) << field.key;
        EXPECT_EQ(form[field.key].colour, field.colour) << field.key;
        EXPECT_EQ(form[field.key].font, field.font) << field.key;
    }
}

TEST_F(FormDialogTest, TheUserFillsItIn) {
    form.AddNumber("number", "Number", 1.0);
    form.AddLongText("longText", "Long", "a\r\nb");
    form.AddFlag("flag", "Flag", false);
    form.AddChoice("choice", "Choice", {"x", "y", "z"}, 0);
    form.AddRadio("radio", "Radio", {"p", "q"}, 0);
    form.AddCheckList("checks", "Checks", {"a", "b"}, {0, 0});
    Show();
    Type("number", "-2.5e3");
    QTest::keyClicks(Find<QPlainTextEdit>("longText"), "new ");
    QTest::keyClick(Find<QCheckBox>("flag"), Qt::Key_Space);
    QTest::keyClick(Find<QComboBox>("choice"), Qt::Key_Down);
    QTest::mouseClick(Find<QRadioButton>("radio1"), Qt::LeftButton, {}, QPoint(5, 8));
    auto* list = Find<QListWidget>("checks");
    list->setCurrentRow(1);
    QTest::keyClick(list, Qt::Key_Space);
    QTest::keyClick(Find<QLineEdit>("number"), Qt::Key_Return);
    EXPECT_EQ(dialog->result(), QDialog::Accepted);
    EXPECT_EQ(form.Number("number"), -2500.0);
    EXPECT_EQ(form.Text("longText"), "new a\r\nb");
    EXPECT_TRUE(form.Flag("flag"));
    EXPECT_EQ(form.Choice("choice"), 1);
    EXPECT_EQ(form.Choice("radio"), 1);
    EXPECT_EQ(form["checks"].checks, (std::vector<uint8_t>{0, 1}));
}

TEST_F(FormDialogTest, WhatIsOutsideItsLimitsKeepsTheDialogOpen) {
    auto& margin = form.AddInteger("margin", "Margin", 3);
    margin.least = 0;
    margin.greatest = 20;
    form.AddText("name", "Name", "");
    form.validate = [](const Form& asked) {
        return asked.Text("name").empty() ? std::string("A name is needed.") : std::string();
    };
    Show();
    for (const char* bad : {"21", "2.5", ""}) {
        Type("margin", bad);
        if (!*bad) QTest::keyClick(Find<QLineEdit>("margin"), Qt::Key_Delete);
        QTest::keyClick(dialog.get(), Qt::Key_Return);
        EXPECT_TRUE(dialog->isVisible()) << bad;
        EXPECT_EQ(Fault(), "\"Margin\" must be a whole number from 0 to 20.") << bad;
        EXPECT_TRUE(Find<QLineEdit>("margin")->hasFocus());
    }
    Type("margin", "20");
    EXPECT_EQ(Fault(), "") << "a change takes the fault away";
    dialog->accept();
    EXPECT_EQ(Fault(), "A name is needed.");
    Type("name", "n");
    dialog->accept();
    EXPECT_FALSE(dialog->isVisible());
}

TEST_F(FormDialogTest, WhatIsWrongIsMarkedAtOnceAndAFollowerIsEmpty) {
    form.AddNumber("a", "A", 1.0).Limits(1, 10);
    form.AddNumber("b", "B", 2.0).Limits(2, 20);
    form.onChange = [](Form& asked) {
        asked["b"].number = asked["a"].Fault().empty() ? 2.0 * asked.Number("a") : std::nan("");
    };
    Show();
    const struct {
        const char *text, *other;
        bool isWrong;
    } cases[] = {{"0", "", true}, {"abc", "", true}, {"3", "6", false}, {"11", "", true}, {"4", "8", false}};
    for (const auto& [text, other, isWrong] : cases) {
        Type("a", text);
        EXPECT_EQ(Find<QLineEdit>("a")->styleSheet().isEmpty(), !isWrong) << text;
        EXPECT_EQ(Find<QLineEdit>("b")->text(), other) << text;
        EXPECT_TRUE(Find<QLineEdit>("b")->styleSheet().isEmpty()) << text;
        if (!isWrong) continue;
        dialog->accept();
        EXPECT_TRUE(dialog->isVisible());
        EXPECT_EQ(Fault(), "\"A\" must be a number from 1 to 10.") << text;
        EXPECT_TRUE(Find<QLineEdit>("a")->hasFocus());
    }
}

TEST_F(FormDialogTest, FieldsAreEnabledAsTheFormStands) {
    form.AddFlag("use", "Use", false);
    form.AddNumber("off", "Off", 5.0).enabled = [](const Form& asked) { return !asked.Flag("use"); };
    form.AddNumber("value", "Value", 5.0).enabled = [](const Form& asked) { return asked.Flag("use"); };
    form["off"].greatest = form["value"].greatest = 1.0;
    form.onChange = [](Form&) {};
    Show();
    EXPECT_FALSE(Find<QLineEdit>("value")->isEnabled());
    Find<QCheckBox>("use")->click();
    EXPECT_TRUE(Find<QLineEdit>("value")->isEnabled());
    dialog->accept();
    EXPECT_TRUE(dialog->isVisible()) << "5 is above its limit";
    EXPECT_TRUE(Find<QLineEdit>("off")->styleSheet().isEmpty()) << "what cannot be used is not marked";
    Type("value", "0.50");
    EXPECT_EQ(Find<QLineEdit>("value")->text(), "0.50") << "it stays as it is typed";
    dialog->accept();
    EXPECT_FALSE(dialog->isVisible()) << "what cannot be used is not tested";
}

TEST_F(FormDialogTest, ActionsSeeAndChangeTheFields) {
    form.AddText("from", "From", "");
    form.AddCheckList("checks", "Checks", {"a", "b"}, {1, 1});
    form.AddAction("copy", "Copy", [](Form& asked) {
        asked["to"].text = asked.Text("from") + "!";
        asked["checks"].checks = {0, 0};
    });
    form.AddNote("to", "", "To");
    Show();
    Type("from", "abc");
    Find<QPushButton>("copy")->click();
    EXPECT_EQ(Find<QLabel>("to")->text(), "abc!");
    EXPECT_EQ(Find<QListWidget>("checks")->item(1)->checkState(), Qt::Unchecked);
    EXPECT_TRUE(dialog->isVisible());
    QTest::keyClick(Find<QLineEdit>("from"), Qt::Key_Return);
    EXPECT_EQ(form.Text("to"), "abc!");
    EXPECT_EQ(dialog->result(), QDialog::Accepted) << "Enter accepts; it runs no action";
}

TEST_F(FormDialogTest, ASearchHidesAndChangesNothing) {
    form.AddCheckList("checks", "Checks", {"Fp1 256 Hz", "ECG 1000 Hz", "Fp2 256 Hz"}, {1, 1, 0}).Search();
    Show();
    auto* search = Find<QLineEdit>("checksSearch");
    auto* list = Find<QListWidget>("checksList");
    EXPECT_TRUE(search->hasFocus());
    const struct {
        const char* words;
        std::vector<bool> hidden;
    } cases[] = {{"256 fp", {false, true, false}},
                 {"ecg", {true, false, true}},
                 {"x", {true, true, true}},
                 {"", {false, false, false}},
                 {"fp2", {true, true, false}}};
    for (const auto& c : cases) {
        search->setText(c.words);
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(list->item(i)->isHidden(), c.hidden[static_cast<size_t>(i)]) << c.words << i;
    }
    QTest::keyClick(search, Qt::Key_Return);
    EXPECT_TRUE(dialog->isVisible()) << "Enter goes to what was found";
    EXPECT_TRUE(list->hasFocus());
    QTest::keyClick(list, Qt::Key_Space);
    dialog->accept();
    EXPECT_EQ(form["checks"].checks, (std::vector<uint8_t>{1, 1, 1})) << "hidden ones too";
}

TEST_F(FormDialogTest, AFormThatIsAskedAgainSaysWhy) {
    form.AddText("name", "Name", "a");
    form.fault = "There is no such name.";
    Show();
    EXPECT_TRUE(Find<QLabel>("fault")->isVisible());
    EXPECT_EQ(Fault(), "There is no such name.");
    Type("name", "b");
    EXPECT_EQ(Fault(), "");
    dialog->accept();
    EXPECT_FALSE(dialog->isVisible());
}

// However many fields there are, OK can be reached, and the tab key goes through all of them in order.
TEST_F(FormDialogTest, ALongFormScrollsWithinTheScreen) {
    for (int i = 0; i < 90; ++i)
        form.AddNumber("f" + std::to_string(i), "Field " + std::to_string(i), i, "tip");
    Show();
    EXPECT_LE(dialog->height(), dialog->screen()->availableSize().height());
    auto* area = dialog->findChild<QScrollArea*>();
    EXPECT_GT(area->verticalScrollBar()->maximum(), 0);
    EXPECT_EQ(area->horizontalScrollBar()->maximum(), 0);
    auto* buttons = dialog->findChild<QDialogButtonBox*>();
    EXPECT_TRUE(dialog->rect().contains(buttons->geometry()));
    Find<QLineEdit>("f0")->setFocus();
    for (int i = 1; i < 90; ++i) {
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
        ASSERT_EQ(QApplication::focusWidget()->objectName(), QString("f%1").arg(i));
    }
    EXPECT_GT(area->verticalScrollBar()->value(), 0) << "the field with the keyboard is in sight";
}

TEST_F(FormDialogTest, TextsOfAnyLengthAreShownWhole) {
    form.AddNote("note", std::string(400, 'x') + " " + std::string(30, 'y') + "\n\nlast line", "Label");
    form.AddNote("wide",
                 "word word word word word word word word word word word word word word word word word");
    Show();
    for (const char* key : {"note", "wide"}) {
        auto* label = Find<QLabel>(key);
        EXPECT_GE(label->height(), label->heightForWidth(label->width())) << key;
        EXPECT_EQ(label->textFormat(), Qt::PlainText);
    }
}

// --- texts and lists of commands ---

TEST(TextWindowTest, FindsCopiesAndSaves) {
    TextWindow window("Title", "alpha\nbeta\nalpha two");
    window.show();
    auto* search = window.findChild<QLineEdit*>("search");
    auto* text = window.findChild<QPlainTextEdit*>("text");
    EXPECT_TRUE(text->isReadOnly());
    QTest::keyClicks(search, "ALPHA");
    QTest::keyClick(search, Qt::Key_Return);
    EXPECT_EQ(text->textCursor().selectionStart(), 0);
    EXPECT_TRUE(window.FindNext());
    EXPECT_EQ(text->textCursor().selectionStart(), 11);
    EXPECT_TRUE(window.FindNext());  // around the end
    EXPECT_EQ(text->textCursor().selectionStart(), 0);
    EXPECT_TRUE(window.FindPrevious());
    EXPECT_EQ(text->textCursor().selectionStart(), 11);
    window.findChild<QPushButton*>("copy")->click();
    EXPECT_EQ(QApplication::clipboard()->text(), "alpha");
    search->setText("gamma");
    EXPECT_FALSE(window.FindNext());
    text->moveCursor(QTextCursor::Start);
    window.findChild<QPushButton*>("copy")->click();
    EXPECT_EQ(QApplication::clipboard()->text(), "alpha\nbeta\nalpha two");
    window.OfferJson("{}");
    window.findChild<QPushButton*>("copyJson")->click();
    EXPECT_EQ(QApplication::clipboard()->text(), "{}");
    QTemporaryDir folder;
    ASSERT_TRUE(window.SaveTo(folder.filePath("t.txt")));
    QFile file(folder.filePath("t.txt"));
    ASSERT_TRUE(file.open(QIODevice::ReadOnly));
    EXPECT_EQ(file.readAll(), "alpha\nbeta\nalpha two");
}

TEST(CommandFinderTest, WordsFindCommandsAndEnterRunsOne) {
    QString ran;
    const auto command = [&](const char* group, const char* name, bool enabled) {
        return ListedCommand{group, name, "k", "tip", enabled, [&ran, name] { ran = name; }};
    };
    CommandFinder finder("Find",
                         {command("Zoom", "Show all", true),
                          command("View", "Show grid", false),
                          command("Zoom", "Show selection", true),
                          {"Zoom", "In data", "", "like zoom in events", true, [&ran] { ran = "wrong"; }},
                          command("Zoom", "Zoom in events", true)},
                         true);
    finder.show();
    auto* search = finder.findChild<QLineEdit*>("search");
    QTest::keyClicks(search, "show");
    EXPECT_EQ(finder.Shown().size(), 3);
    QTest::keyClicks(search, " ZOOM");
    EXPECT_EQ(finder.Shown(), (QStringList{"Show all", "Show selection"}));
    QTest::keyClick(search, Qt::Key_Down);
    QTest::keyClick(search, Qt::Key_Down);  // there is no third
    QTest::keyClick(search, Qt::Key_Return);
    EXPECT_EQ(ran, "Show selection");
    EXPECT_FALSE(finder.isVisible());

    finder.show();
    finder.Filter("zoom in events");
    EXPECT_EQ(finder.Shown().size(), 2);
    QTest::keyClick(search, Qt::Key_Return);
    EXPECT_EQ(ran, "Zoom in events") << "the name before the tip";

    ran.clear();
    finder.show();
    finder.Filter("grid");
    QTest::keyClick(search, Qt::Key_Return);
    EXPECT_EQ(ran, "") << "what is not enabled is not run";
    finder.Filter("nothing like it");
    EXPECT_TRUE(finder.Shown().isEmpty());
    QTest::keyClick(search, Qt::Key_Return);
}

}  // namespace
}  // namespace kymora::test
