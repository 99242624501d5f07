#include "app/desktop_host.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QCheckBox>
#include <QMessageBox>
#include <QProgressDialog>
#include <QPushButton>
#include <QTest>
#include <QTimer>

namespace kymora::test {
namespace {

// Runs `act` on the message box that is about to be shown.
template <typename Act>
void WhenBoxShows(Act act) {
    QTimer::singleShot(0, [act] {
        auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
        ASSERT_NE(box, nullptr);
        act(*box);
    });
}

TEST(DesktopHost, QuestionsDefaultToTheAnswerThatChangesNothing) {
    DesktopHost host;
    QString text;
    WhenBoxShows([&](QMessageBox& box) {
        text = box.text();
        QTest::keyClick(&box, Qt::Key_Return);
    });
    EXPECT_FALSE(host.Confirm("Write over <b>it</b>?"));
    EXPECT_EQ(text, "Write over <b>it</b>?");
    WhenBoxShows([](QMessageBox& box) { box.button(QMessageBox::Ok)->click(); });
    EXPECT_TRUE(host.Confirm("Write over it?"));
}

TEST(DesktopHost, BoxesShowHowBadItIsAndWhatItIsAbout) {
    DesktopHost host;
    const auto shown = [](auto show) {
        std::pair<QMessageBox::Icon, QString> seen;
        WhenBoxShows([&](QMessageBox& box) {
            seen = {box.icon(), box.text() + "|" + box.informativeText()};
            box.accept();
        });
        show();
        return seen;
    };
    using Seen = std::pair<QMessageBox::Icon, QString>;
    EXPECT_EQ(shown([&] { host.Message("Choose another name."); }),
              (Seen{QMessageBox::Warning, "Choose another name.|"}));
    EXPECT_EQ(shown([&] { host.Failure("Not saved."); }), (Seen{QMessageBox::Critical, "Not saved.|"}));
    EXPECT_EQ(shown([&] { host.Inform("Read-only."); }), (Seen{QMessageBox::Information, "Read-only.|"}));
    EXPECT_EQ(shown([&] { host.Confirm("Close?", "cell7.edf"); }),
              (Seen{QMessageBox::Question, "cell7.edf|Close?"}));
}

TEST(DesktopHost, ANoticeIsSilencedWhereItIsAccepted) {
    DesktopHost host;
    int shown = 0;
    const auto press = [&](QMessageBox::StandardButton button) {
        WhenBoxShows([&shown, button](QMessageBox& box) {
            ++shown;
            box.checkBox()->setChecked(true);
            box.button(button)->click();
        });
    };
    for (const char* key : {"gaps", "rate"}) {  // each on its own
        press(QMessageBox::Ok);
        EXPECT_TRUE(host.Notice(key, "Gaps", "This file has gaps."));
        EXPECT_TRUE(host.Notice(key, "Gaps", "This file has gaps."));  // would wait for a click
    }
    for (int i = 0; i < 2; ++i) {
        press(QMessageBox::Cancel);
        EXPECT_FALSE(host.NoticeWithCancel("legacy", "Notification", "Go on?"));
    }
    EXPECT_EQ(shown, 4);
}

TEST(DesktopHost, FileDetailsCanBeSilencedAndDeclined) {
    DesktopHost host;
    for (const bool accepts : {false, true}) {
        bool skip = false;
        QTimer::singleShot(0, [accepts] {
            auto* dialog = qobject_cast<QDialog*>(QApplication::activeModalWidget());
            ASSERT_NE(dialog, nullptr);
            EXPECT_EQ(dialog->windowTitle(), "File details");
            dialog->findChild<QCheckBox*>("skip")->setChecked(true);
            accepts ? dialog->accept() : dialog->reject();
        });
        EXPECT_EQ(host.AcceptFileDetails({48, "a.kymr-dat", "c", 1, 10, 10.0, 1.0}, skip), accepts);
        EXPECT_EQ(skip, accepts);
    }
}

TEST(DesktopHost, ProgressAppearsOnlyAfterAWhileAndCanBeCancelled) {
    DesktopHost host;
    const auto progress = host.StartProgress("Reading data", 10000000000u);
    EXPECT_TRUE(progress->Update(1));
    QProgressDialog* box = nullptr;
    for (QWidget* widget : QApplication::topLevelWidgets())
        if (auto* found = qobject_cast<QProgressDialog*>(widget)) box = found;
    ASSERT_NE(box, nullptr);
    EXPECT_FALSE(box->isVisible());
    EXPECT_EQ(box->minimumDuration(), 300);
    EXPECT_TRUE(progress->Update(5000000000u));
    EXPECT_EQ(box->value(), 500);
    progress->SetPart("trace 2 of 9");
    EXPECT_EQ(box->labelText(), "Reading data, trace 2 of 9");
    box->cancel();
    EXPECT_FALSE(progress->Update(5000000001u));
}

TEST(DesktopHost, FiltersTakeTheFormOfTheDialogs) {
    EXPECT_EQ(ToQtFilter("All recognised types|*.edf;*.flt|European Data Format (*edf)|*.edf||"),
              "All recognised types (*.edf *.flt);;European Data Format (*.edf)");
    EXPECT_EQ(ToQtFilter(""), "");
}

TEST(DesktopHost, PathsSurviveTheWayThroughQt) {
    const std::filesystem::path path = "/data/\xC3\xA9t\xC3\xA9/a b.edf";
    EXPECT_EQ(ToPath(FileName(path)), path);
}

}  // namespace
}  // namespace kymora::test
