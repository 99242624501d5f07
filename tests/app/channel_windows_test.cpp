// The windows in which event channels are put in order and mapped.

#include <QCheckBox>
#include <QPushButton>
#include <QTableView>

#include "app/operation_windows.h"
#include "eventedit/channel_places_dlg.h"
#include "frame_fixture.h"

namespace kymora::test {
namespace {

class ChannelWindowsTest : public FrameTest {
  protected:
    // Channels a to d hold an event.
    void Open(const char* command, const char* name) {
        doc = &OpenOne().Document();
        for (int channel = 0; channel < 4; ++channel)
            doc->eventChannels[static_cast<size_t>(channel)].AddEvent(10 * channel, 10 * channel + 5);
        Action(command)->trigger();
        window = frame->OperationDialogs().Find(name);
        ASSERT_NE(window, nullptr);
        table = window->findChild<QTableView*>("channelTable");
        ASSERT_NE(table, nullptr);
    }
    std::string Text(const char* key) { return window->Block().Params().Find(key)->ValueText(); }
    void Set(const char* key, const char* value) {
        ParamList params = window->Block().Params();
        EXPECT_EQ(params.Find(key)->SetFromText(value), "");
        window->Refresh();
    }
    // The names in the first column, as far as they stand there.
    std::string Rows() {
        std::string rows;
        for (int row = 0; row < table->model()->rowCount(); ++row)
            rows += table->model()->index(row, 0).data().toString().section(' ', 0, 0).toStdString();
        return rows;
    }
    std::string SelectedRows() {
        std::string rows;
        for (int row = 0; row < table->model()->rowCount(); ++row)
            if (table->selectionModel()->isRowSelected(row)) rows += std::to_string(row);
        return rows;
    }
    void Press(Qt::Key key, Qt::KeyboardModifiers with = Qt::NoModifier) {
        QTest::keyClick(table, key, with);
    }
    bool IsShown(int channel) { return doc->eventChannels[static_cast<size_t>(channel)].channelVisible != 0; }

    CDataDoc* doc = nullptr;
    OperationWindow* window = nullptr;
    QTableView* table = nullptr;
};

TEST_F(ChannelWindowsTest, TheOrderIsChangedByKeysAndTyped) {
    Open("event-reorder", "CEventReorder");
    EXPECT_EQ(Rows(), "abcd");
    EXPECT_FALSE(window->findChild<QPushButton*>("moveUp")->isEnabled());
    table->selectRow(2);
    Press(Qt::Key_Up, Qt::AltModifier);
    EXPECT_EQ(Rows(), "acbd");
    EXPECT_EQ(SelectedRows(), "1") << "the row stays selected where it has gone";
    Press(Qt::Key_Up, Qt::AltModifier);
    Press(Qt::Key_Up, Qt::AltModifier);
    EXPECT_EQ(Rows(), "cabd");
    EXPECT_EQ(Text("channels"), "c a b d");
    window->findChild<QPushButton*>("moveDown")->click();
    EXPECT_EQ(Rows(), "acbd");
    Press(Qt::Key_Delete);
    EXPECT_EQ(Rows(), "abd");
    Set("channels", "d b");
    EXPECT_EQ(Rows(), "db");
    window->Start();
    EXPECT_EQ(doc->eventChannels[0].Events()[0].onPosition, 30);
    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(doc->eventChannels[0].Events()[0].onPosition, 0);
}

TEST_F(ChannelWindowsTest, TheSelectionIsTheChoice) {
    Open("event-map999", "CEventMap999");
    EXPECT_EQ(Rows(), "abcd");
    EXPECT_EQ(Text("target"), "e") << "behind those in use";
    table->selectRow(1);
    EXPECT_EQ(Text("channels"), "b");
    Set("channels", "c 500");
    EXPECT_EQ(Rows(), "abcd500") << "what is chosen is listed";
    EXPECT_EQ(SelectedRows(), "24");
    Press(Qt::Key_Space);
    EXPECT_FALSE(IsShown(2) || IsShown(500));
    EXPECT_TRUE(IsShown(1));
    Press(Qt::Key_Space);
    EXPECT_TRUE(IsShown(2) && IsShown(500));
    EXPECT_TRUE(table->model()->setData(table->model()->index(0, 4), Qt::Unchecked, Qt::CheckStateRole));
    EXPECT_FALSE(IsShown(0));
    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_TRUE(IsShown(0));
    window->findChild<QCheckBox*>("onlyUsed")->setChecked(false);
    EXPECT_EQ(table->model()->rowCount(), 999);
    EXPECT_EQ(Text("channels"), "c 500") << "other rows are no other choice";
    Set("action", "move");
    window->Start();
    EXPECT_EQ(doc->eventChannels[4].GetNumEvents(), 1) << "c";
    EXPECT_EQ(doc->eventChannels[2].GetNumEvents(), 0);
}

}  // namespace
}  // namespace kymora::test
