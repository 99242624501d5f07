// The table of findings, in the window of the list of events.

#include "widgets/findings_pane.h"

#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QHeaderView>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QTableView>
#include <QTest>

#include "catalogue/windows/window_table.h"
#include "display/kymora_view.h"
#include "document/undo.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

constexpr int channel = 1;
constexpr double sampleMs = 2.0;

class FindingsPaneTest : public SessionTest {
  protected:
    void SetUp() override {
        doc = MemoryDoc::Generate(
            session, 1, 10000, [](int, int64_t) { return 0.0f; }, sampleMs);
        for (int i = 0; i < 6; ++i) doc->AddEvent(channel, {1000 * i + 500, 1000 * i + 500 + durations[i]});
        view = std::make_unique<CKymoraView>(*doc);
        view->OnSize(800, 400);
        ASSERT_TRUE(view->OnInitialUpdate(Viewport{0.0, 2500.0}));
        window = MakeOperationWindow(owner, *FindOperation("CEventList"));
        ParamList params = window->Block().Params();
        params.Find("channel1")->SetFromText("b");
        window->SetActive(doc.get(), view.get());
        window->show();
        window->Run();
        table = window->findChild<QTableView*>("findings");
        ASSERT_TRUE(table);
    }
    void TearDown() override {
        if (window) window->close();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    void Press(Qt::Key key, Qt::KeyboardModifiers with = Qt::NoModifier) {
        QTest::keyClick(table, key, with);
    }
    QPushButton* Button(const char* name) { return window->findChild<QPushButton*>(name); }
    std::string Column(int column) {
        std::string all;
        for (int row = 0; row < table->model()->rowCount(); ++row)
            all += table->model()->index(row, column).data().toString().toStdString() + " ";
        return all;
    }
    std::vector<int> Onsets() const {
        std::vector<int> onsets;
        for (const CEventKM& event : doc->eventChannels[channel].Events()) onsets.push_back(event.onPosition);
        return onsets;
    }
    std::string Notice() { return window->findChild<QLabel*>("findingsNotice")->text().toStdString(); }

    const int durations[6] = {30, 10, 20, 10, 40, 50};
    WindowOwner owner{session};
    std::unique_ptr<MemoryDoc> doc;
    std::unique_ptr<CKymoraView> view;
    QPointer<OperationWindow> window;
    QTableView* table = nullptr;
};

TEST_F(FindingsPaneTest, RowsAreSortedByValueAndGoToTheEvent) {
    EXPECT_EQ(Column(3), "60.0000 20.0000 40.0000 20.0000 80.0000 100.0000 ");
    EXPECT_EQ(view->GetCursorTimes().size(), 0u);
    auto* headings = table->horizontalHeader();
    const auto click = [&](int column) {
        QTest::mouseClick(headings->viewport(), Qt::LeftButton, {},
                          {headings->sectionViewportPosition(column) + 5, headings->height() / 2});
    };
    click(3);
    EXPECT_EQ(Column(3), "20.0000 20.0000 40.0000 60.0000 80.0000 100.0000 ") << "by size, not by letter";
    click(3);
    EXPECT_EQ(Column(3), "100.0000 80.0000 60.0000 40.0000 20.0000 20.0000 ");
    table->selectRow(1);
    EXPECT_DOUBLE_EQ(view->m_StartTime, 9000.0 + 40.0 - 1250.0) << "in the middle of the view";
    const auto guides = view->Plot().guides;
    ASSERT_EQ(guides.size(), 2u);
    EXPECT_EQ(guides[0].at, 9000.0);
    EXPECT_EQ(guides[1].at, 9080.0);
    const double before = view->m_StartTime;
    table->setFocus();
    Press(Qt::Key_Up);
    EXPECT_DOUBLE_EQ(view->m_StartTime, 11000.0 + 50.0 - 1250.0);
    Press(Qt::Key_Down);
    EXPECT_DOUBLE_EQ(view->m_StartTime, before);
    Press(Qt::Key_C, Qt::ControlModifier);
    EXPECT_NE(QGuiApplication::clipboard()->text().indexOf("\t9000.0000\t80.0000\t"), -1);
    EXPECT_EQ(QGuiApplication::clipboard()->text().count('\n'), 1);
}

// Outliers of a rhythm are those of the limit that is set, without another run.
TEST_F(FindingsPaneTest, FollowWhatIsSetWhereTheyAreNotThoseOfARun) {
    // An event every 200 samples, 5 early or late, but for two that are 25 and 100 samples late.
    doc->eventChannels[2].DeleteAll();
    for (int i = 0; i < 40; ++i) {
        const int at = 200 * (i + 1) + i * i % 11 + (i == 10 ? 25 : i == 30 ? 100 : 0);
        doc->AddEvent(2, {at, at + 10});
    }
    window->close();
    window = MakeOperationWindow(owner, *FindOperation("CEventRhythmHelper"));
    const auto set = [&](const char* key, const char* value) {
        ParamList params = window->Block().Params();
        ASSERT_EQ(params.Find(key)->SetFromText(value), "") << key;
    };
    set("route", "3");
    set("destination", "c");
    set("degree", "1");
    window->SetActive(doc.get(), view.get());
    window->show();
    table = window->findChild<QTableView*>("findings");
    const auto ids = [&](const char* limit) {
        set("outlierLimit", limit);
        window->Refresh();
        return Column(1);
    };
    // The interval before each late one is long, the one behind it short.
    EXPECT_EQ(ids("16"), "30 31 ");
    EXPECT_EQ(ids("4"), "10 11 30 31 ");
    table->selectRow(2);
    Press(Qt::Key_A);
    table->selectRow(2);
    view->ChangeViewport({0.0, 500.0});
    window->Refresh();
    EXPECT_EQ(ids("16"), "30 31 ");
    EXPECT_EQ(table->currentIndex().row(), 0) << "the row of the cursor stays with its event";
    EXPECT_EQ(Column(0), "\u2713  ") << "and so do verdicts";
    EXPECT_EQ(view->m_StartTime, 0.0) << "the view goes nowhere by itself";
    EXPECT_EQ(ids("1000"), "");
}

TEST_F(FindingsPaneTest, RejectedOnesAreDeletedInOneStep) {
    EXPECT_FALSE(Button("doRejected")->isEnabled());
    table->selectRow(1);
    Press(Qt::Key_R);
    Press(Qt::Key_A);
    Press(Qt::Key_R);
    Press(Qt::Key_R);
    table->selectRow(4);
    Press(Qt::Key_Backspace);
    EXPECT_EQ(Column(0), " \u2717 \u2713 \u2717   ");
    EXPECT_EQ(Button("doRejected")->text(), "Delete rejected (2)");
    // One of the two is elsewhere meanwhile.
    doc->eventChannels[channel].ReplaceEvent(3, {3501, 3511, 0.0f});
    window->DocumentChanged(UpdateHint::events);
    EXPECT_EQ(Notice(), "The recording has changed since this was listed.");
    QTest::mouseClick(Button("doRejected"), Qt::LeftButton);
    EXPECT_EQ(Onsets(), (std::vector<int>{500, 2500, 3501, 4500, 5500}));
    EXPECT_EQ(window->findChild<QLabel*>("message")->text(), "1 event deleted from channel b");
    EXPECT_EQ(Column(0), " \u2713    ") << "what was accepted still is";
    EXPECT_EQ(Notice(), "");
    EXPECT_NE(doc->historyLog.find("\tDeleted 1 rejected events from channel b\r\n"), std::string::npos);
    EXPECT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(Onsets(), (std::vector<int>{500, 1500, 2500, 3501, 4500, 5500}));

    table->selectRow(0);
    Press(Qt::Key_R);
    doc->eventChannels[channel].channelLocked = true;
    QTest::mouseClick(Button("doRejected"), Qt::LeftButton);
    EXPECT_EQ(Onsets().size(), 6u);
    EXPECT_EQ(host.messages.back().text, lockedChannelText);
}

}  // namespace
}  // namespace kymora::test
