#pragma once
// The window of a To Do list: the operations that there are, and those that are to be done, one after the
// other, over each file of a batch. It does not stop the program. The list lives as long as the window.

#include <QDialog>
#include <filesystem>
#include <functional>

#include "batch/multi_batch.h"
#include "batch/operation_tree.h"

class QCheckBox;
class QLabel;
class QPushButton;
class QTreeWidget;
class QTreeWidgetItem;
class QVBoxLayout;

namespace kymora {

class MultiBatchWindow : public QDialog {
    Q_OBJECT

  public:
    explicit MultiBatchWindow(Session& session, QWidget* parent = nullptr);

    // Asks for the settings of an operation in its own dialog: those given, or null for the last ones; and a
    // parameter that is set before. Hands what was accepted to the last argument. False without a recording.
    using Take = std::function<void(CBatchBaseDlg&)>;
    std::function<bool(const Operation&, const std::vector<std::byte>*, const std::string& key,
                       const std::string& value, Take)>
        onConfigure;
    // Runs a list, after what there is to ask.
    std::function<void(const CMultiBatch&, const std::string& name)> onRun;

    const CMultiBatch& List() const { return list_; }

    // The commands of the list.
    void Return();
    void AddOperation();
    void Remove();
    void MoveUp() { Move(true); }
    void MoveDown() { Move(false); }
    void Configure();
    void Load();
    bool Save();
    void Run();

    // A list takes the place of this one, and the settings of a single operation go to its end. False where
    // the file is refused, or changes are not to be lost.
    bool LoadFile(const std::filesystem::path& path);
    bool IsModified() const;
    // What was changed is saved, or the user does not want it.
    bool MayLose();

  public slots:
    void reject() override;

  protected:
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void dragEnterEvent(QDragEnterEvent* event) override;
    void dropEvent(QDropEvent* event) override;

  private:
    void MakeTree(QVBoxLayout& column);
    void MakeList(QVBoxLayout& column);
    void AddNodes(QTreeWidgetItem& parent, const OperationNode& node);
    int Current() const;
    void Move(bool isUp);
    void ShowList(int current);
    void ShowState();
    void Saved(const std::filesystem::path& path);
    std::string Name() const;
    void SaveIt() { Save(); }

    Session& session_;
    CMultiBatch list_;
    std::vector<std::byte> saved_;  // the record as it was loaded or saved last
    std::filesystem::path path_;    // empty: it was neither
    std::vector<OperationNode> leaves_;
    QTreeWidget *tree_ = nullptr, *toDo_ = nullptr;
    QCheckBox* writeNew_ = nullptr;
    QLabel* state_ = nullptr;
};

}  // namespace kymora
