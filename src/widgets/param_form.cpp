#include "widgets/param_form.h"

#include <QAbstractButton>
#include <QAbstractSpinBox>
#include <QFocusEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <algorithm>
#include <utility>

#include "host/options.h"
#include "widgets/elided_label.h"
#include "widgets/fold_section.h"
#include "widgets/text.h"

namespace kymora {

namespace {

// The text of no value: an editor that shows it is written anew.
constexpr std::string_view noValue("\0", 1);

bool IsTyped(FieldKind kind) {
    return kind != FieldKind::flag && kind != FieldKind::choice && kind != FieldKind::note &&
           kind != FieldKind::action;
}

// What stands behind a channel or a trace is told of the recording, whatever else is entered.
bool FollowsValues(const Field& param) {
    return param.kind != FieldKind::trace && param.kind != FieldKind::channel;
}

QString ShownText(const Field& param, bool isRefused) {
    return param.shown && !(isRefused && FollowsValues(param)) ? ToQString(param.shown()) : QString();
}

QString BehindText(const Field& param, bool isRefused) {
    QString text = ToQString(param.unit);
    const QString shown = ShownText(param, isRefused);
    if (!text.isEmpty() && !shown.isEmpty()) text += "   ";
    return text + shown;
}

QString HeadingText(const Field& param) {
    const QString name = ToQString(param.tableColumn);
    return param.unit.empty() ? name : name + " (" + ToQString(param.unit) + ")";
}

}  // namespace

ParamForm::ParamForm(Describe describe, Enter enter, ParamSurroundings surroundings, QWidget* parent)
    : QWidget(parent), describe_(std::move(describe)), enter_(std::move(enter)), surroundings_(surroundings) {
    columns_ = new QHBoxLayout(this);
    columns_->setContentsMargins(0, 0, 0, 0);
    ParamList params = Described();
    Build(params);
}

ParamForm::~ParamForm() = default;

std::vector<QWidget*> ParamForm::TabStops() const {
    std::vector<QWidget*> stops;
    auto group = groups_.begin();
    for (size_t i = 0; i < rows_.size(); ++i) {
        const Row& row = rows_[i];
        for (; group != groups_.end() && group->firstRow <= i; ++group)
            if (group->section) stops.push_back(group->section->Heading());
        if (row.editor) {
            const auto buttons = row.editor->Widget()->findChildren<QAbstractButton*>();
            stops.insert(stops.end(), buttons.begin(), buttons.end());
            if (buttons.isEmpty()) stops.push_back(row.editor->Focus());
        } else if (row.button && !row.isElsewhere) {
            stops.push_back(row.button);
        }
    }
    return stops;
}

// What is typed now takes the place of what stands there, also in a window that is not active yet.
static void TakeFocus(QWidget& stop) {
    stop.setFocus(Qt::TabFocusReason);
    if (auto* line = qobject_cast<QLineEdit*>(&stop)) line->selectAll();
    if (auto* spin = qobject_cast<QAbstractSpinBox*>(&stop)) spin->selectAll();
}

void ParamForm::FocusFirst() {
    for (QWidget* stop : TabStops())
        if (stop->isVisible() && stop->isEnabled() && !qobject_cast<FoldHeading*>(stop))
            return TakeFocus(*stop);
}

// --- values ---

ParamList ParamForm::Described() const {
    ParamList params = describe_();
    for (Field& param : params) {
        param.byNumber = surroundings_.eventChannelMode > letterChannels;
        if (param.kind == FieldKind::trace && surroundings_.traceCount > 0)
            param.greatest = surroundings_.traceCount;
    }
    return params;
}

void ParamForm::Refresh() {
    ParamList params = Described();
    if (!IsAsBuilt(params)) {
        Build(params);
        emit Rebuilt();
        return;
    }
    for (size_t i = 0; i < rows_.size(); ++i) DropOldFault(rows_[i], params.fields[i], params);
    const bool isRefused = !FaultAmong(params).empty();
    for (size_t i = 0; i < rows_.size(); ++i) RefreshRow(rows_[i], params.fields[i], params, isRefused);
    ShowRows(params);
}

void ParamForm::Revert() {
    for (Row& row : rows_) {
        if (row.fault.empty()) continue;
        row.fault.clear();
        row.shown = noValue;
    }
    Refresh();
}

// A text that is wrong goes away when something else has set the value, or it does not apply any more.
void ParamForm::DropOldFault(Row& row, const Field& param, const ParamList& params) {
    if (row.fault.empty() || (param.IsEnabled(params) && param.ValueText() == row.shown)) return;
    row.fault.clear();
    row.shown.assign(1, '\0');
}

void ParamForm::RefreshRow(Row& row, const Field& param, const ParamList& params, bool isRefused) {
    const bool isEnabled = param.IsEnabled(params);
    if (row.button) row.button->setEnabled(isEnabled);
    if (row.behind) {
        row.behind->SetText(row.kind == FieldKind::note ? ShownText(param, isRefused)
                                                        : BehindText(param, isRefused));
        row.behind->setEnabled(isEnabled);
    }
    if (row.name) row.name->setEnabled(isEnabled);
    if (row.heading) row.heading->setText(HeadingText(param));
    if (!row.editor) return;
    const bool wasWriting = std::exchange(writing_, true);
    row.editor->Widget()->setEnabled(isEnabled);
    const std::string value = param.ValueText();
    if (value != row.shown)
        row.editor->Write(param);
    else
        row.editor->Follow(param);
    row.shown = value;
    const bool isFaulty = isEnabled && (!row.fault.empty() || !param.Fault().empty());
    MarkFault(*row.editor, isFaulty);
    writing_ = wasWriting;
}

void ParamForm::BeginEditing(size_t index, const ParamList& params) {
    if (edit_ && edit_->row == index) return;
    edit_ = {index, {}};
    const Field& edited = params.fields[index];
    for (const Field& field : params)
        if (field.store &&
            (field.key == edited.key || std::ranges::find(edited.linked, field.key) != edited.linked.end()))
            edit_->before.push_back(field);
}

void ParamForm::OnEntered(size_t index) {
    // An editor that is just being made shows its first value, and nobody has entered it.
    if (writing_ || index >= rows_.size() || !rows_[index].editor) return;
    ParamList params = Described();
    Row& row = rows_[index];
    Field* param = params.Find(row.key);
    if (!param) return Refresh();
    BeginEditing(index, params);
    row.fault = row.editor->Read(*param);
    const double entered = param->number;
    enter_([&] {
        if (row.fault.empty()) return param->Commit();
        // A part of the text that could be used was not what the user meant.
        PutBack(*edit_);
        param->load(*param);
    });
    // The text that is being typed stays as it is, unless what followed set another value.
    const bool isOther = row.fault.empty() && param->IsNumeric() &&
                         static_cast<float>(param->number) != static_cast<float>(entered);
    if (!isOther) row.shown = param->ValueText();
    const FieldKind kind = row.kind;
    Refresh();
    emit Edited(IsTyped(kind));
}

bool ParamForm::FinishEditing() {
    if (!edit_) return false;
    const Edit edit = *std::exchange(edit_, std::nullopt);
    Row& row = rows_[edit.row];
    const auto edited = std::ranges::find(edit.before, row.key, &Field::key);
    if (edited == edit.before.end() || !edited->putBack) return false;
    const std::string why = edited->putBack();
    if (why.empty()) return false;
    enter_([&] { PutBack(edit); });
    row.fault.clear();
    row.shown = noValue;
    Refresh();
    emit Edited(false);
    emit ValuePutBack(ToQString(why));
    return true;
}

void ParamForm::PutBack(const Edit& edit) {
    for (const Field& field : edit.before) field.store(field);
}

// Another window, or a menu, may give the keyboard back.
bool ParamForm::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() == QEvent::FocusOut) {
        const Qt::FocusReason reason = static_cast<QFocusEvent*>(event)->reason();
        if (reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason &&
            reason != Qt::MenuBarFocusReason)
            FinishEditing();
    }
    return QWidget::eventFilter(watched, event);
}

// --- what is there ---

// What does not apply goes away with its label; a button stays, so that it is known what there is to press.
void ParamForm::ShowRows(const ParamList& params) {
    bool isOther = false;
    for (size_t i = 0; i < rows_.size(); ++i) {
        const bool isShown = rows_[i].button || params.fields[i].IsEnabled(params);
        isOther |= std::exchange(rows_[i].isShown, isShown) != isShown;
    }
    if (!isOther) return;
    emit ShapeChanges();
    ShowGroups();
    emit ShapeChanged();
}

void ParamForm::ShowGroups() {
    std::set<QLabel*> used;
    for (const Row& row : rows_) {
        for (QWidget* part : std::initializer_list<QWidget*>{row.editor ? row.editor->Widget() : nullptr,
                                                             row.name, row.behind})
            if (part) part->setVisible(row.isShown);
        if (row.isShown) used.insert({row.tableRow, row.tableColumn});
    }
    for (const Row& row : rows_)
        for (QLabel* label : {row.tableRow, row.tableColumn})
            if (label) label->setVisible(used.contains(label));
    for (size_t g = 0; g < groups_.size(); ++g) {
        const size_t end = g + 1 < groups_.size() ? groups_[g + 1].firstRow : rows_.size();
        const auto begin = rows_.begin();
        groups_[g].box->setVisible(std::any_of(begin + static_cast<std::ptrdiff_t>(groups_[g].firstRow),
                                               begin + static_cast<std::ptrdiff_t>(end), [](const Row& row) {
                                                   return row.isShown && !row.isElsewhere;
                                               }));
    }
}

void ParamForm::SetFolded(std::set<std::string> headings) {
    folded_ = std::move(headings);
    for (const Group& group : groups_)
        if (group.section)
            group.section->Fold(folded_.contains(group.section->Heading()->text().toStdString()));
}

void ParamForm::Unfold(const Row& row) {
    for (const Group& group : groups_)
        if (group.section && group.section->isAncestorOf(row.editor->Widget())) group.section->Fold(false);
}

std::string ParamForm::Fault() const { return FaultAmong(describe_()); }

std::string ParamForm::FaultAmong(const ParamList& params) const {
    for (size_t i = 0; i < rows_.size() && i < params.fields.size(); ++i) {
        const Field& param = params.fields[i];
        if (!rows_[i].editor || !param.IsEnabled(params)) continue;
        std::string fault = rows_[i].fault.empty() ? param.Fault() : rows_[i].fault;
        if (!fault.empty()) return fault;
    }
    return {};
}

void ParamForm::FocusFault() {
    const ParamList params = describe_();
    for (size_t i = 0; i < rows_.size() && i < params.fields.size(); ++i) {
        const Row& row = rows_[i];
        const Field& param = params.fields[i];
        if (!row.editor || !param.IsEnabled(params) || (row.fault.empty() && param.Fault().empty())) continue;
        Unfold(row);
        return TakeFocus(*row.editor->Focus());
    }
}

}  // namespace kymora
