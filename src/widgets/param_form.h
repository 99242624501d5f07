#pragma once
// The editors of an operation's parameters, made from their description: groups in columns, each below a
// heading that folds it away, labels aligned, units and what a parameter shows behind the editors. What does
// not apply as the others are set is not there.
//
// What the user enters goes to the parameter at once when it may be used, and what follows it is shown; what
// may not is marked, told by Fault, and never stored: the value is then what it was before the editing, not
// what a part of the text was, and what is worked out from the values is not shown. Each editor has the
// parameter's key as its object name.

#include <QWidget>
#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "operations/param.h"
#include "widgets/form_editor.h"

class QGridLayout;
class QHBoxLayout;
class QLabel;
class QPushButton;

namespace kymora {

class ElidedLabel;
class FoldSection;

// What of the surroundings decides how a parameter is shown.
struct ParamSurroundings {
    int eventChannelMode = 26;  // letters, or numbers when it is 999
    int traceCount = 0;         // 0: not known
};

// Buttons of actions in a group of this name stand below the results and not among the parameters.
inline constexpr const char* resultsGroup = "Results";
// Those of this one stand in the tool bar of the graph.
inline constexpr const char* graphGroup = "Graph";

class ParamForm : public QWidget {
    Q_OBJECT

  public:
    // Describes the parameters, bound to the operation as it stands. It is asked anew at each refresh: limits
    // and choices may follow the document.
    using Describe = std::function<ParamList()>;
    // Calls its argument, which stores a value and lets what follows it follow; that may take long, and fail.
    using Enter = std::function<void(const std::function<void()>&)>;

    ParamForm(Describe describe, Enter enter, ParamSurroundings surroundings, QWidget* parent);
    ~ParamForm() override;

    // Shows the values as they are, save where the user's faulty text stands.
    void Refresh();
    void SetTraceCount(int traceCount) { surroundings_.traceCount = traceCount; }
    // Drops faulty texts: what the operation has shows again.
    void Revert();

    // Why what is entered may not be used; empty when it may.
    std::string Fault() const;
    // Gives the keyboard to the editor with the fault.
    void FocusFault();

    // The user has done with what is being edited. True where a value before has taken its place again.
    bool FinishEditing();

    // Puts the groups into as many columns as it takes to be at most so high, of so many and of those that
    // are not too wide. False when it is higher than that.
    bool Arrange(QSize most, int mostColumns);
    // The buttons of actions in the group of results.
    const std::vector<QPushButton*>& ResultActions() const { return resultActions_; }
    // The same of the group of the graph. They are hidden until they have a place.
    const std::vector<QPushButton*>& GraphActions() const { return graphActions_; }
    // What takes the keyboard, in the order of reading; without the result actions.
    std::vector<QWidget*> TabStops() const;
    // Gives the keyboard to the first parameter that can be seen.
    void FocusFirst();
    // The headings of the groups that are folded away.
    const std::set<std::string>& Folded() const { return folded_; }
    void SetFolded(std::set<std::string> headings);

  signals:
    // The user has entered something; `isTyping` while more letters may follow.
    void Edited(bool isTyping);
    void ActionPressed(const QString& key);
    // What was entered did not stay.
    void ValuePutBack(const QString& why);
    // The operation describes other parameters than before; the editors are new ones.
    void Rebuilt();
    // Rows or groups have come or gone. The second is sent when they have their places again.
    void ShapeChanges();
    void ShapeChanged();
    // The user has folded or unfolded a group.
    void FoldChanged();

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    struct Row {
        std::string key, label, group;
        FieldKind kind = FieldKind::number;
        std::unique_ptr<FormEditor> editor;  // null for notes and actions
        QLabel* name = nullptr;              // the label before the editor
        ElidedLabel* behind = nullptr;       // unit and what the parameter shows, or a note's text
        QPushButton* button = nullptr;       // of an action
        QLabel* heading = nullptr;           // of the column of a table that this parameter begins
        QLabel *tableRow = nullptr, *tableColumn = nullptr;  // of a cell, shared with the others there
        bool isShown = true;
        bool isElsewhere = false;  // a button that stands below the results or in the graph's tool bar
        std::string shown;         // the value that the editor stands for
        std::string fault;         // why the entered text may not be used
    };

    // What the user is editing, and the values of the parameter and of those that follow it before that.
    struct Edit {
        size_t row = 0;
        std::vector<Field> before;
    };

    // The parameters as they are shown here.
    ParamList Described() const;
    bool IsAsBuilt(const ParamList& params) const;
    void Build(ParamList& params);
    QGridLayout* GroupGrid(const std::string& name);
    void AddRow(const Field& param, QGridLayout* grid);
    void AddAction(const Field& param, QGridLayout* grid);
    void AddNote(const Field& param, QGridLayout* grid);
    void AddEditor(const Field& param, QGridLayout* grid);
    void PlaceEditor(Row& row, const Field& param, QGridLayout* grid, int line);
    void AddCell(const Field& param, QGridLayout* grid);
    void RefreshRow(Row& row, const Field& param, const ParamList& params, bool isRefused);
    static void DropOldFault(Row& row, const Field& param, const ParamList& params);
    std::string FaultAmong(const ParamList& params) const;
    void BeginEditing(size_t index, const ParamList& params);
    static void PutBack(const Edit& edit);
    void ShowRows(const ParamList& params);
    void ShowGroups();
    void Unfold(const Row& row);
    void OnEntered(size_t index);
    void Distribute(int columns);
    int HeightIn(int columns, std::vector<size_t>* starts) const;

    Describe describe_;
    Enter enter_;
    ParamSurroundings surroundings_;
    struct Group {
        QWidget* box;
        QGridLayout* grid;
        FoldSection* section;  // null for a group without a heading
        size_t firstRow;
    };

    std::vector<Row> rows_;
    std::vector<Group> groups_;
    std::set<std::string> folded_;
    std::vector<QPushButton*> resultActions_, graphActions_;
    QHBoxLayout* columns_ = nullptr;
    QHBoxLayout* actions_ = nullptr;  // where the next action joins those before it
    // The table whose cells are being added.
    struct Table {
        QGridLayout* grid = nullptr;
        std::vector<std::string> rows, columns;
        std::vector<QLabel*> rowNames, headings;
    };
    Table table_;
    std::optional<Edit> edit_;
    bool writing_ = false;
};

}  // namespace kymora
