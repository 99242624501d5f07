#include "widgets/param_form.h"

#include <QAbstractButton>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <algorithm>

#include "host/form.h"
#include "widgets/elided_label.h"
#include "widgets/text.h"

namespace kymora {

namespace {

bool IsTyped(ParamKind kind) {
    return kind != ParamKind::flag && kind != ParamKind::choice && kind != ParamKind::note &&
           kind != ParamKind::action;
}

QString BehindText(const Param& param) {
    QString text = ToQString(param.unit);
    const QString shown = param.shown ? ToQString(param.shown()) : QString();
    if (!text.isEmpty() && !shown.isEmpty()) text += "   ";
    return text + shown;
}

QString HeadingText(const Param& param) {
    const QString name = ToQString(param.tableColumn);
    return param.unit.empty() ? name : name + " (" + ToQString(param.unit) + ")";
}

}  // namespace

ParamForm::ParamForm(Describe describe, Enter enter, ParamSurroundings surroundings, QWidget* parent)
    : QWidget(parent), describe_(std::move(describe)), enter_(std::move(enter)), surroundings_(surroundings) {
    columns_ = new QHBoxLayout(this);
    columns_->setContentsMargins(0, 0, 0, 0);
    ParamList params = describe_();
    Build(params);
}

ParamForm::~ParamForm() = default;

std::vector<QWidget*> ParamForm::TabStops() const {
    std::vector<QWidget*> stops;
    for (const Row& row : rows_) {
        if (row.editor) {
            const auto buttons = row.editor->Widget()->findChildren<QAbstractButton*>();
            stops.insert(stops.end(), buttons.begin(), buttons.end());
            if (buttons.isEmpty()) stops.push_back(row.editor->Focus());
        } else if (row.button && row.group != resultsGroup) {
            stops.push_back(row.button);
        }
    }
    return stops;
}

// --- values ---

void ParamForm::Refresh() {
    ParamList params = describe_();
    if (!IsAsBuilt(params)) {
        Build(params);
        emit Rebuilt();
        return;
    }
    for (size_t i = 0; i < rows_.size(); ++i) RefreshRow(rows_[i], params.All()[i]);
}

void ParamForm::Revert() {
    for (Row& row : rows_) {
        if (row.fault.empty()) continue;
        row.fault.clear();
        // What no value has: the editor is written anew.
        row.shown.assign(1, '\0');
    }
    Refresh();
}

void ParamForm::RefreshRow(Row& row, const Param& param) {
    const bool isEnabled = param.IsEnabled();
    if (row.button) row.button->setEnabled(isEnabled);
    if (row.behind) {
        row.behind->SetText(row.kind == ParamKind::note ? ToQString(param.shown ? param.shown() : "")
                                                        : BehindText(param));
        row.behind->setEnabled(isEnabled);
    }
    if (row.name) row.name->setEnabled(isEnabled);
    if (row.heading) row.heading->setText(HeadingText(param));
    if (!row.editor) return;
    const bool wasWriting = std::exchange(writing_, true);
    row.editor->Widget()->setEnabled(isEnabled);
    const std::string value = param.ValueText();
    const bool dropsFault = !row.fault.empty() && (!isEnabled || value != row.shown);
    if (dropsFault) row.fault.clear();
    const FormField field = FieldOf(param, surroundings_);
    if (dropsFault || value != row.shown)
        row.editor->Write(field);
    else
        row.editor->Follow(field);
    row.shown = value;
    const bool isFaulty = isEnabled && (!row.fault.empty() || !param.Fault().empty());
    MarkFault(*row.editor, isFaulty);
    writing_ = wasWriting;
}

void ParamForm::OnEntered(size_t index) {
    // An editor that is just being made shows its first value, and nobody has entered it.
    if (writing_ || index >= rows_.size() || !rows_[index].editor) return;
    ParamList params = describe_();
    Row& row = rows_[index];
    Param* found = params.Find(row.key);
    if (!found) return Refresh();
    Param& param = *found;
    FormField field = FieldOf(param, surroundings_);
    row.editor->Read(field);
    const ParamKind kind = row.kind;
    enter_([&] { row.fault = param.SetFromText(EnteredText(param, field, row.editor->Typed())); });
    // The text that is being typed stays as it is, unless what followed set another value.
    const bool isOther = row.fault.empty() && (kind == ParamKind::number || kind == ParamKind::integer) &&
                         static_cast<float>(param.Number()) != static_cast<float>(field.number);
    if (!isOther) row.shown = param.ValueText();
    Refresh();
    emit Edited(IsTyped(kind));
}

std::string ParamForm::Fault() const {
    ParamList params = describe_();
    for (size_t i = 0; i < rows_.size() && i < params.All().size(); ++i) {
        const Param& param = params.All()[i];
        if (!rows_[i].editor || !param.IsEnabled()) continue;
        std::string fault = rows_[i].fault.empty() ? param.Fault() : rows_[i].fault;
        if (!fault.empty()) return fault;
    }
    return {};
}

void ParamForm::FocusFault() {
    ParamList params = describe_();
    for (size_t i = 0; i < rows_.size() && i < params.All().size(); ++i) {
        const Row& row = rows_[i];
        const Param& param = params.All()[i];
        if (!row.editor || !param.IsEnabled() || (row.fault.empty() && param.Fault().empty())) continue;
        return row.editor->Focus()->setFocus(Qt::OtherFocusReason);
    }
}

}  // namespace kymora
