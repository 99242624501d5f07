#include "acquisition/windows/acquisition_pages.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTest>
#include <QTextDocumentFragment>

#include "graphs/windows/graph_panel.h"
#include "host/disk_file_system.h"
#include "recording/adc_dac_configuration.h"
#include "support/run_program.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

class AcquisitionPagesTest : public ::testing::Test {
  protected:
    AcquisitionPagesTest() {
        BoardFacts board = UnknownBoard();
        board.isSimulated = true;
        pages.SetBoard(board);
        pages.Show(AcquisitionSettings(), {});
        pages.resize(460, 760);
        pages.show();
        QApplication::setActiveWindow(&pages);
        QApplication::processEvents();
    }
    template <typename Widget>
    Widget* Find(const char* page, const char* key) {
        EXPECT_TRUE(pages.ShowPage(page)) << page;
        QApplication::processEvents();
        for (auto* widget : pages.findChildren<Widget*>(key))
            if (widget->isVisible()) return widget;
        ADD_FAILURE() << page << " has no " << (key ? key : "graph");
        return nullptr;
    }
    void Type(const char* page, const char* key, const char* text) {
        auto* edit = Find<QLineEdit>(page, key);
        edit->setFocus();
        edit->selectAll();
        QTest::keyClicks(edit, text);
        QApplication::processEvents();
    }
    void Choose(const char* page, const char* key, int index) {
        auto* box = Find<QComboBox>(page, key);
        box->setCurrentIndex(index);
        emit box->activated(index);
    }
    QString Fault() {
        return QTextDocumentFragment::fromHtml(pages.findChild<QLabel*>("fault")->text()).toPlainText();
    }

    TestHost host;
    DiskFileSystem files;
    Session session{host, files};
    AcquisitionPages pages{session, nullptr};
};

TEST_F(AcquisitionPagesTest, WhatIsSetIsTheFileThatTheTerminalWrites) {
    Type("Channels", "sampleInterval", "0.1");
    QTest::keyClick(Find<QSpinBox>("Channels", "firstOn"), Qt::Key_Up);
    Type("Channels", "channel2.label", "nerve");
    Type("Channels", "channel2.chanGain", "1000");
    Type("Recording", "timeLimit", "5");
    Choose("Recording", "saveMode", 2);
    Choose("Trigger", "trigMode", 1);
    Type("Trigger", "repeatInterval", "7");
    QTest::mouseClick(Find<QRadioButton>("Stimulus", "dacInUse1"), Qt::LeftButton);
    QApplication::processEvents();
    Type("Stimulus", "train.number", "12");
    EXPECT_EQ(QApplication::focusWidget()->objectName(), "train.number");
    Type("Stimulus", "train.delay", "5.5");
    Type("Stimulus", "train.duration", "0.3");
    Type("Stimulus", "train.interval", "0.1");
    Type("Stimulus", "train.amplitude", "-1.25");
    EXPECT_EQ(pages.Fault(), "");

    TempFolder folder;
    const auto ofWindow = folder / "window.kymr-cfg", ofTerminal = folder / "terminal.kymr-cfg";
    WriteConfiguration(session, pages.Settings(), ofWindow);
    std::vector<std::string> words = {"record", "--save-config", ofTerminal.string()};
    for (const char* setting :
         {"sampleInterval=0.1", "channel2.chanOn=1", "channel2.label=nerve", "channel2.chanGain=1000",
          "timeLimit=5", "saveMode=auto-append", "trigMode=repeat", "repeatInterval=7", "dacInUse=1",
          "dac1.train.delay=5.5", "dac1.train.duration=0.3", "dac1.train.interval=0.1",
          "dac1.train.amplitude=-1.25", "dac1.train.number=12"})
        words.insert(words.end(), {"--set", setting});
    const ProgramResult written = RunKymora(words);
    ASSERT_EQ(written.code, 0) << written.err;
    EXPECT_EQ(FileBytes(ofWindow), FileBytes(ofTerminal));
}

TEST_F(AcquisitionPagesTest, AFaultIsToldAndTheValueBeforeStays) {
    int changes = 0;
    QObject::connect(&pages, &AcquisitionPages::Changed, [&] { ++changes; });
    Type("Recording", "timeLimit", "-3");
    EXPECT_GT(changes, 0);
    EXPECT_EQ(pages.Settings().m_dTimeLimit, 60.0);
    EXPECT_EQ(Fault(), "\"Time limit\" must be at least 0.");
    EXPECT_EQ(pages.Fault(), Fault().toStdString());
    pages.ShowPage("Trigger");
    EXPECT_EQ(Fault(), "Recording: \"Time limit\" must be at least 0.");
    pages.FocusFault();
    QApplication::processEvents();
    EXPECT_EQ(QApplication::focusWidget()->objectName(), "timeLimit");
    // Enter has done with a value that may not be 0.
    Type("Recording", "timeLimit", "8");
    Type("Channels", "channel1.chanGain", "0");
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Return);
    EXPECT_EQ(pages.Settings().channels[0].m_dChanGain, 1.0);
    EXPECT_NE(Fault(), "");
    pages.Show(pages.Settings(), {});
    EXPECT_EQ(pages.Fault(), "");
}

TEST_F(AcquisitionPagesTest, StandGreyWhileItRecordsAndFollowTheSequence) {
    AcquisitionSettings settings;
    settings.m_nDacInUse = 1;
    settings.dac[0].pulses.resize(1);
    settings.dac[0].pulses[0].m_fPlateau = 1.0f;
    settings.dac[0].pulses[0].m_fStepAmplitude = 1.0f;
    settings.dac[0].pulses[0].m_nSeqCount = 5;
    pages.Show(settings, {});
    const auto highest = [&] {
        const Graph& graph = Find<GraphWidget>("Stimulus", nullptr)->GetGraph();
        return *std::ranges::max_element(graph.panes.at(0).layers.back().y);
    };
    EXPECT_EQ(highest(), 0.0);
    pages.SetSequence(3, false);
    EXPECT_EQ(highest(), 3.0);
    bool isReset = false;
    QObject::connect(&pages, &AcquisitionPages::ResetSequence, [&] { isReset = true; });
    QTest::mouseClick(Find<QPushButton>("Stimulus", "resetSequence"), Qt::LeftButton);
    EXPECT_TRUE(isReset);
    EXPECT_EQ(highest(), 0.0);
    pages.SetLocked("it runs");
    EXPECT_FALSE(Find<QLineEdit>("Recording", "timeLimit")->isEnabled());
    BoardFacts board = UnknownBoard();
    board.outputChannels = 0;
    pages.SetBoard(board);
    EXPECT_FALSE(pages.ShowPage("Stimulus"));
    EXPECT_FALSE(pages.ShowPage("Simulated board"));
    EXPECT_FALSE(Find<QLineEdit>("Recording", "timeLimit")->isEnabled());
    pages.SetLocked({});
    // Another board may come of what is just being typed.
    QObject::connect(&pages, &AcquisitionPages::Changed, [&] {
        BoardFacts other = UnknownBoard();
        other.inputs.channels = pages.Settings().m_dTimeLimit == 12.0 ? 4 : 8;
        pages.SetBoard(other);
    });
    Type("Recording", "timeLimit", "12");
    EXPECT_EQ(pages.Settings().m_dTimeLimit, 12.0);
    EXPECT_EQ(Find<QLineEdit>("Channels", "channel4.label")->text(), "");
    EXPECT_EQ(pages.findChild<QLineEdit*>("channel5.label"), nullptr);
    EXPECT_TRUE(Find<QLineEdit>("Recording", "timeLimit")->isEnabled());
}

}  // namespace
}  // namespace kymora::test
