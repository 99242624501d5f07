// How the form of parameters is built and laid out.

#include <QAbstractButton>
#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QVBoxLayout>
#include <algorithm>

#include "widgets/elided_label.h"
#include "widgets/fold_section.h"
#include "widgets/param_form.h"
#include "widgets/style_buttons.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr int columnGap = 12, groupGap = 10;
// Widths in letters.
constexpr int textLetters = 16, choiceLetters = 16, shownLetters = 15, noteLetters = 20, unitLetters = 3;
constexpr int numberLetters = 17, wholeLetters = 10, cellLetters = 9, mostCellLetters = 18;

// Buttons of so many letters stand beside each other, or two by two.
constexpr size_t mostBeside = 32, mostOfTwo = 16;

int ButtonColumns(const std::vector<std::string>& choices) {
    size_t letters = 0, longest = 0;
    for (const std::string& choice : choices) {
        letters += choice.size() + 2;
        longest = std::max(longest, choice.size());
    }
    if (letters <= mostBeside) return static_cast<int>(choices.size());
    return choices.size() > 3 && longest <= mostOfTwo ? 2 : 1;
}

// The tip of each button of a choice: a tip of as many parts ("a; b") as there are choices gives each its
// own.
std::vector<std::string> ChoiceTips(const Field& param) {
    std::vector<std::string> tips;
    for (size_t from = 0; from <= param.toolTip.size();) {
        const size_t end = std::min(param.toolTip.find("; ", from), param.toolTip.size());
        tips.push_back(param.toolTip.substr(from, end - from));
        from = end + 2;
    }
    if (tips.size() != param.choices.size()) tips.assign(param.choices.size(), param.toolTip);
    return tips;
}

bool IsText(FieldKind kind) {
    return kind == FieldKind::text || kind == FieldKind::channels || kind == FieldKind::traces;
}

bool StandsElsewhere(const Field& param) {
    return param.kind == FieldKind::action && (param.group == resultsGroup || param.group == graphGroup);
}

void Discard(QWidget* widget) {
    widget->hide();
    widget->setParent(nullptr);
    widget->deleteLater();
}

void GiveChoiceTips(const Field& param, QWidget* radio) {
    const auto tips = ChoiceTips(param);
    const auto buttons = radio->findChildren<QAbstractButton*>();
    for (qsizetype i = 0; i < buttons.size() && i < static_cast<qsizetype>(tips.size()); ++i)
        buttons[i]->setToolTip(ToolTipText(tips[static_cast<size_t>(i)]));
    radio->setToolTip({});
}

}  // namespace

bool ParamForm::IsAsBuilt(const ParamList& params) const {
    return std::equal(rows_.begin(), rows_.end(), params.begin(), params.end(),
                      [](const Row& row, const Field& param) {
                          return row.key == param.key && row.kind == param.kind && row.label == param.label &&
                                 row.group == param.group;
                      });
}

void ParamForm::Build(ParamList& params) {
    const bool wasWriting = std::exchange(writing_, true);
    rows_.clear();
    // Not at once: one of them may be the one whose entry led here.
    for (auto* elsewhere : {&resultActions_, &graphActions_})
        for (QPushButton* button : std::exchange(*elsewhere, {})) Discard(button);
    for (const Group& group : std::exchange(groups_, {})) Discard(group.box);
    QGridLayout* grid = nullptr;
    for (size_t i = 0; i < params.fields.size(); ++i) {
        const Field& param = params.fields[i];
        if (!StandsElsewhere(param) && (!grid || rows_.empty() || rows_.back().group != param.group))
            grid = GroupGrid(param.group);
        AddRow(param, grid);
    }
    edit_.reset();
    const bool isRefused = !FaultAmong(params).empty();
    for (size_t i = 0; i < rows_.size(); ++i) {
        RefreshRow(rows_[i], params.fields[i], params, isRefused);
        rows_[i].isShown = rows_[i].button || params.fields[i].IsEnabled(params);
    }
    ShowGroups();
    columns_->setSpacing(columnGap);
    Distribute(1);
    writing_ = wasWriting;
}

QGridLayout* ParamForm::GroupGrid(const std::string& name) {
    FoldSection* section = name.empty() ? nullptr : new FoldSection(ToQString(name), this);
    QWidget* box = section ? section : new QWidget(this);
    auto* grid = new QGridLayout(section ? section->Content() : box);
    grid->setHorizontalSpacing(8);
    grid->setVerticalSpacing(4);
    grid->setContentsMargins(6, 2, 6, 2);
    grid->setColumnStretch(1, 1);
    // A column of which all is hidden does not grow, and what spans it would stand in the middle.
    auto* filler = new QWidget(grid->parentWidget());
    filler->setFixedHeight(0);
    filler->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Fixed);
    grid->addWidget(filler, 0, 1);
    groups_.push_back({box, grid, section, rows_.size()});
    actions_ = nullptr;
    table_.grid = nullptr;
    if (!section) return grid;
    section->Fold(folded_.contains(name));
    connect(section, &FoldSection::Folded, this, [this, name](bool isFolded) {
        emit ShapeChanges();
        isFolded ? (void)folded_.insert(name) : (void)folded_.erase(name);
        emit FoldChanged();
        emit ShapeChanged();
    });
    return grid;
}

void ParamForm::AddRow(const Field& param, QGridLayout* grid) {
    Row& row = rows_.emplace_back();
    row.key = param.key;
    row.label = param.label;
    row.group = param.group;
    row.kind = param.kind;
    if (param.kind == FieldKind::action) return AddAction(param, grid);
    actions_ = nullptr;
    if (param.tableColumn.empty()) table_.grid = nullptr;
    if (param.kind == FieldKind::note) return AddNote(param, grid);
    AddEditor(param, grid);
}

// Actions that follow each other stand in one line.
void ParamForm::AddAction(const Field& param, QGridLayout* grid) {
    auto* button = new QPushButton(ToQString(param.label), this);
    button->setObjectName(ToQString(param.key));
    button->setToolTip(ToolTipText(param.toolTip));
    button->setAutoDefault(false);
    connect(button, &QPushButton::clicked, this,
            [this, key = ToQString(param.key)] { emit ActionPressed(key); });
    rows_.back().button = button;
    rows_.back().isElsewhere = StandsElsewhere(param);
    if (param.group == resultsGroup) return resultActions_.push_back(button);
    if (param.group == graphGroup) {
        button->hide();
        return graphActions_.push_back(button);
    }
    if (!actions_) {
        actions_ = new QHBoxLayout;
        actions_->addStretch(1);
        grid->addLayout(actions_, grid->rowCount(), 0, 1, 2);
    }
    actions_->insertWidget(actions_->count() - 1, button);
}

void ParamForm::AddNote(const Field& param, QGridLayout* grid) {
    Row& row = rows_.back();
    QWidget* parent = grid->parentWidget();
    const int line = grid->rowCount();
    row.behind = new ElidedLabel(noteLetters, parent);
    row.behind->SetSeveralLines();
    row.behind->setObjectName(ToQString(param.key));
    row.behind->setTextInteractionFlags(Qt::NoTextInteraction);
    if (param.label.empty()) return grid->addWidget(row.behind, line, 0, 1, 2);
    row.name = new QLabel(ToQString(param.label), parent);
    row.name->setToolTip(ToolTipText(param.toolTip));
    grid->addWidget(row.name, line, 0, Qt::AlignTop);
    grid->addWidget(row.behind, line, 1);
}

void ParamForm::AddEditor(const Field& param, QGridLayout* grid) {
    Row& row = rows_.back();
    QWidget* parent = grid->parentWidget();
    Field field = param;
    // The label stands before it, as that of any other.
    if (field.asButtons) field.label.clear();
    field.buttonColumns = ButtonColumns(field.choices);
    const size_t index = rows_.size() - 1;
    row.editor = MakeFormEditor(field, parent, [this, index] { OnEntered(index); });
    row.shown = param.ValueText();
    row.editor->Focus()->installEventFilter(this);
    QWidget* widget = row.editor->Widget();
    const bool isNamed = !param.label.empty() || param.tableRow.empty();
    widget->setAccessibleName(ToQString(isNamed ? param.label : param.tableColumn + " " + param.tableRow));
    // A file that is dropped anywhere goes to the window.
    widget->setAcceptDrops(false);
    if (!param.tableColumn.empty()) return AddCell(param, grid);
    const int line = grid->rowCount();
    if (field.kind == FieldKind::flag) return grid->addWidget(widget, line, 0, 1, 2);
    row.name = new QLabel(ToQString(param.label), parent);
    row.name->setToolTip(ToolTipText(param.toolTip));
    row.name->setBuddy(row.editor->Focus());
    if (field.asButtons) GiveChoiceTips(param, widget);
    const bool hasLines = field.asButtons && field.buttonColumns < static_cast<int>(field.choices.size());
    // Beside several lines of buttons it stands at the first.
    if (hasLines) row.name->setMinimumHeight(row.editor->Focus()->sizeHint().height());
    grid->addWidget(row.name, line, 0, hasLines || field.hasLines ? Qt::AlignTop : Qt::Alignment());
    PlaceEditor(row, param, grid, line);
}

void ParamForm::PlaceEditor(Row& row, const Field& param, QGridLayout* grid, int line) {
    QWidget* widget = row.editor->Widget();
    const int letter = fontMetrics().averageCharWidth();
    if (IsText(param.kind)) widget->setMinimumWidth(letter * textLetters);
    if (param.kind == FieldKind::choice && !param.asButtons) widget->setMinimumWidth(letter * choiceLetters);
    if (param.hasLines) widget->setFixedHeight(widget->minimumHeight());
    const bool isChosen = IsChosen(param);
    const bool isWide = IsText(param.kind) || param.asButtons || (isChosen && !param.shown);
    // A colour is as wide as its button.
    if (!isWide && !isChosen && param.kind != FieldKind::colour)
        widget->setFixedWidth(letter * (param.kind == FieldKind::number ? numberLetters : wholeLetters));
    if (isWide) return grid->addWidget(widget, line, 1);
    auto* beside = new QHBoxLayout;
    beside->setSpacing(6);
    row.behind = new ElidedLabel(param.shown ? shownLetters : unitLetters, grid->parentWidget());
    beside->addWidget(widget);
    beside->addWidget(row.behind, 1);
    grid->addLayout(beside, line, 1);
}

// A table grows by the rows and columns that its cells name.
void ParamForm::AddCell(const Field& param, QGridLayout* grid) {
    Row& row = rows_.back();
    QWidget* parent = grid->parentWidget();
    if (!table_.grid) {
        table_ = {new QGridLayout, {}, {}, {}, {}};
        table_.grid->setHorizontalSpacing(6);
        table_.grid->setVerticalSpacing(4);
        grid->addLayout(table_.grid, grid->rowCount(), 0, 1, 2);
    }
    const auto place = [](std::vector<std::string>& names, const std::string& name) {
        const auto found = std::find(names.begin(), names.end(), name);
        const bool isNew = found == names.end();
        const int at = static_cast<int>(found - names.begin()) + 1;
        if (isNew) names.push_back(name);
        return std::pair(at, isNew);
    };
    const auto [line, isNewRow] = place(table_.rows, param.tableRow);
    const auto [column, isNewColumn] = place(table_.columns, param.tableColumn);
    if (isNewRow) {
        table_.rowNames.push_back(new QLabel(ToQString(param.tableRow), parent));
        table_.grid->addWidget(table_.rowNames.back(), line, 0);
    }
    if (isNewColumn) {
        row.heading = new QLabel(parent);
        table_.headings.push_back(row.heading);
        table_.grid->addWidget(row.heading, 0, column);
    }
    row.tableRow = table_.rowNames[static_cast<size_t>(line - 1)];
    row.tableColumn = table_.headings[static_cast<size_t>(column - 1)];
    QWidget* widget = row.editor->Widget();
    if (auto* colour = qobject_cast<ColourButton*>(widget)) colour->SetShort();
    // A box to check and a colour are as wide as they are.
    if (param.kind != FieldKind::flag && param.kind != FieldKind::colour) {
        widget->setMinimumWidth(fontMetrics().averageCharWidth() * cellLetters);
        widget->setMaximumWidth(fontMetrics().averageCharWidth() * mostCellLetters);
        table_.grid->setColumnStretch(column, 1);
    }
    table_.grid->addWidget(widget, line, column);
}

// --- columns ---

namespace {

int NameWidth(const QGridLayout* grid) {
    int widest = 0;
    for (int line = 0; line < grid->rowCount(); ++line) {
        const QLayoutItem* item = grid->itemAtPosition(line, 0);
        // What spans the columns is no name.
        if (!item || item == grid->itemAtPosition(line, 1)) continue;
        // One that does not apply now keeps its room: the editors stand still when it comes back.
        widest = std::max(widest, item->widget() ? item->widget()->sizeHint().width() : 0);
    }
    return widest;
}

}  // namespace

// The least height in which so many columns hold the groups in their order, and where each column starts.
int ParamForm::HeightIn(int columns, std::vector<size_t>* starts) const {
    std::vector<int> heights;
    for (const Group& group : groups_) heights.push_back(group.box->sizeHint().height() + groupGap);
    const auto fits = [&](int most) {
        std::vector<size_t> found{0};
        int height = 0;
        for (size_t i = 0; i < heights.size(); ++i) {
            if (height > 0 && height + heights[i] > most) {
                found.push_back(i);
                height = 0;
            }
            height += heights[i];
        }
        if (starts) *starts = found;
        return static_cast<int>(found.size()) <= columns;
    };
    int most = heights.empty() ? 0 : *std::max_element(heights.begin(), heights.end());
    while (!fits(most)) ++most;
    return most;
}

void ParamForm::Distribute(int columns) {
    while (columns_->count() > 0) delete columns_->takeAt(0);
    std::vector<size_t> starts;
    HeightIn(columns, &starts);
    for (size_t c = 0; c < starts.size(); ++c) {
        const size_t end = c + 1 < starts.size() ? starts[c + 1] : groups_.size();
        auto* column = new QVBoxLayout;
        column->setSpacing(groupGap);
        int widest = 0;
        for (size_t i = starts[c]; i < end; ++i) {
            column->addWidget(groups_[i].box);
            widest = std::max(widest, NameWidth(groups_[i].grid));
        }
        // The editors of a column stand below each other.
        for (size_t i = starts[c]; i < end; ++i) groups_[i].grid->setColumnMinimumWidth(0, widest);
        column->addStretch(1);
        columns_->addLayout(column, 1);
    }
    for (const Group& group : groups_) {
        group.grid->activate();
        group.box->layout()->activate();
        group.box->updateGeometry();
    }
    columns_->activate();
    updateGeometry();
}

bool ParamForm::Arrange(QSize most, int mostColumns) {
    int columns = 1;
    while (columns < mostColumns && HeightIn(columns, nullptr) > most.height()) ++columns;
    Distribute(columns);
    while (columns > 1 && minimumSizeHint().width() > most.width()) Distribute(--columns);
    return sizeHint().height() <= most.height();
}

}  // namespace kymora
