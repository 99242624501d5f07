#pragma once
// A list of commands that is searched by words: the command finder, which runs one, and the sheet of keys.

#include <QDialog>
#include <QString>
#include <functional>
#include <vector>

class QLineEdit;
class QTreeWidget;
class QTreeWidgetItem;

namespace kymora {

struct ListedCommand {
    QString group;
    QString name;
    QString keys;
    QString toolTip;
    bool isEnabled = true;
    std::function<void()> run;  // empty for what cannot be run from a list, such as a use of the mouse
    QString otherName = {};     // by which it is found, too, as documentation and the terminal have it
};

class CommandFinder : public QDialog {
    Q_OBJECT

  public:
    // With `runs`, Enter or a double click closes the window and runs the command; else it is for reading.
    CommandFinder(const QString& title, std::vector<ListedCommand> commands, bool runs,
                  QWidget* parent = nullptr);

    // Shows the commands whose group, name, keys or tool tip hold every word, in any order and case. What
    // Enter runs is the first whose name holds what was typed, or else the first.
    void Filter(const QString& words);
    // Names of the commands that are shown, in their order.
    QStringList Shown() const;

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void Fill();
    void RunCurrent();
    void SelectBest(const QString& words);
    void Step(int by);
    std::vector<QTreeWidgetItem*> ShownItems() const;

    std::vector<ListedCommand> commands_;
    bool runs_;
    QLineEdit* search_;
    QTreeWidget* list_;
};

}  // namespace kymora
