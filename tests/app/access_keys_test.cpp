// The keys of the menu bar and of all commands together.

#include <QMenuBar>

#include "app/frame_commands.h"
#include "display/commands/commands.h"
#include "frame_fixture.h"

namespace kymora::test {
namespace {

using AccessKeyTest = FrameTest;

// "Alt+m", "Ctrl+Shift+S" as the label has it; empty when it names none.
QString KeyText(std::string_view label) {
    const size_t tab = label.find('\t');
    if (tab == std::string_view::npos) return {};
    const std::string key(label.substr(tab + 1));
    return QString::fromStdString(key).trimmed().replace("Ctrl ", "Ctrl+").toLower();
}

TEST_F(AccessKeyTest, NoKeyMeansTwoThings) {
    QStringList taken;
    for (const QAction* action : frame->menuBar()->actions()) {
        const qsizetype mark = action->text().indexOf('&');
        ASSERT_GE(mark, 0) << action->text().toStdString();
        taken << QString("alt+%1").arg(action->text()[mark + 1].toLower());
    }
    EXPECT_GE(taken.size(), 10);
    for (const Command& command : ViewCommands()) taken << KeyText(command.label);
    for (const FrameCommand& command : FrameCommands()) taken << KeyText(command.label);
    taken.removeAll(QString());
    taken.sort();
    for (qsizetype i = 1; i < taken.size(); ++i) EXPECT_NE(taken[i - 1], taken[i]) << taken[i].toStdString();
}

}  // namespace
}  // namespace kymora::test
