#include "widgets/form_dialog.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QScreen>
#include <QScrollArea>
#include <QScrollBar>
#include <algorithm>

#include "widgets/content_area.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr double widestPart = 0.95, highestPart = 0.85;  // of the screen

// The editor with its unit behind it.
QWidget* WithUnit(const Field& field, QWidget* editor) {
    if (field.unit.empty()) return editor;
    auto* line = new QWidget(editor->parentWidget());
    auto* row = new QHBoxLayout(line);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(editor);
    row->addWidget(new QLabel(ToQString(field.unit), line));
    row->addStretch(1);
    return line;
}

}  // namespace

FormDialog::FormDialog(Form& form, QWidget* parent) : QDialog(parent), form_(form) {
    setWindowTitle(ToQString(form.title));
    setWindowFlag(Qt::WindowContextHelpButtonHint, false);
    auto* content = new QWidget;
    auto* rows = new QFormLayout(content);
    rows->setFieldGrowthPolicy(QFormLayout::ExpandingFieldsGrow);
    rows->setRowWrapPolicy(QFormLayout::DontWrapRows);
    rows->setLabelAlignment(Qt::AlignLeft | Qt::AlignVCenter);
    rows->setVerticalSpacing(8);
    for (size_t i = 0; i < form.fields.size(); ++i) AddRow(i, rows);

    area_ = new ContentArea;
    area_->setFrameShape(QFrame::NoFrame);
    area_->setAccessibleName(windowTitle());
    area_->setWidgetResizable(true);
    area_->setWidget(content);
    fault_ = new QLabel(this);
    fault_->setObjectName("fault");
    fault_->setTextFormat(Qt::PlainText);
    fault_->setWordWrap(true);
    fault_->hide();
    auto* column = new QVBoxLayout(this);
    column->addWidget(area_, 1);
    column->addWidget(fault_);
    MakeButtons();
    UpdateEnabled();
    FitToScreen();
    ShowFault(ToQString(form.fault));
    FocusFirst();
}

FormDialog::~FormDialog() = default;

void FormDialog::AddRow(size_t index, QFormLayout* rows) {
    const Field& field = form_.fields[index];
    if (field.kind == FieldKind::action) return AddAction(index, rows);
    actions_ = nullptr;
    const size_t row = rows_.size();
    Row made;
    made.field = index;
    made.editor = MakeFormEditor(field, rows->parentWidget(), [this, row] { OnChanged(row); });
    QWidget* widget = made.editor->Widget();
    const bool labelled = !made.editor->BringsItsLabel() && !field.label.empty();
    if (labelled) {
        made.label = new QLabel(ToQString(field.label), rows->parentWidget());
        made.label->setToolTip(widget->toolTip());
        made.label->setBuddy(made.editor->Focus());
        // Beside a text of several lines it stands at the first.
        if (field.kind == FieldKind::note) made.label->setAlignment(Qt::AlignLeft | Qt::AlignTop);
    }
    if (made.editor->IsWide()) {
        if (labelled) rows->addRow(made.label);
        rows->addRow(widget);
    } else {
        rows->addRow(made.label, WithUnit(field, widget));
    }
    rows_.push_back(std::move(made));
}

// Actions that follow each other stand in one line.
void FormDialog::AddAction(size_t index, QFormLayout* rows) {
    const Field& field = form_.fields[index];
    if (!actions_) {
        auto* line = new QWidget(rows->parentWidget());
        actions_ = new QHBoxLayout(line);
        actions_->setContentsMargins(0, 0, 0, 0);
        actions_->addStretch(1);
        rows->addRow(nullptr, line);
    }
    Row made;
    made.field = index;
    made.button = new QPushButton(ToQString(field.label));
    made.button->setObjectName(ToQString(field.key));
    made.button->setToolTip(ToolTipText(field.toolTip));
    made.button->setAutoDefault(false);
    actions_->insertWidget(actions_->count() - 1, made.button);
    const size_t row = rows_.size();
    connect(made.button, &QPushButton::clicked, this, [this, row] { Run(row); });
    rows_.push_back(std::move(made));
}

void FormDialog::MakeButtons() {
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    buttons->button(QDialogButtonBox::Ok)->setText(ToQString(form_.okLabel));
    buttons->button(QDialogButtonBox::Cancel)->setText(ToQString(form_.cancelLabel));
    buttons->button(QDialogButtonBox::Ok)->setDefault(true);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout()->addWidget(buttons);
}

// The first value that can be changed takes the keyboard.
void FormDialog::FocusFirst() {
    for (const Row& row : rows_) {
        if (!row.editor || !row.editor->Widget()->isEnabled()) continue;
        QWidget* focus = row.editor->Focus();
        if ((focus->focusPolicy() & Qt::TabFocus) == 0 || !form_.fields[row.field].HasValue()) continue;
        return focus->setFocus(Qt::TabFocusReason);
    }
}

void FormDialog::FitToScreen() {
    const QSize available = screen()->availableSize();
    const QSize most(static_cast<int>(available.width() * widestPart),
                     static_cast<int>(available.height() * highestPart));
    const QSize wanted = sizeHint();
    // A scroll bar takes room from the content, and what scrolls can be scrolled by keys.
    const bool scrolls = wanted.height() > most.height();
    area_->setFocusPolicy(scrolls ? Qt::StrongFocus : Qt::NoFocus);
    const int bar = scrolls ? area_->verticalScrollBar()->sizeHint().width() : 0;
    resize((wanted + QSize(bar, 0)).expandedTo(isVisible() ? size() : QSize()).boundedTo(most));
}

// --- values ---

void FormDialog::ReadAll() {
    for (const Row& row : rows_)
        if (row.editor) row.editor->Read(form_.fields[row.field]);
}

void FormDialog::WriteAll() {
    writing_ = true;
    for (const Row& row : rows_)
        if (row.editor) row.editor->Write(form_.fields[row.field]);
    writing_ = false;
    UpdateEnabled();
}

void FormDialog::OnChanged(size_t row) {
    if (writing_ || row >= rows_.size()) return;
    ReadAll();
    ShowFault({});
    MarkEntered(row);
    if (!form_.onChange) return UpdateEnabled();
    form_.onChange(form_);
    // What the user is typing stays as it is typed.
    writing_ = true;
    for (size_t i = 0; i < rows_.size(); ++i)
        if (i != row && rows_[i].editor) rows_[i].editor->Write(form_.fields[rows_[i].field]);
    writing_ = false;
    MarkEntered(row);
    UpdateEnabled();
}

// A number outside its limits has its red frame as soon as it is entered; one that follows it, and is none
// for that reason, has not.
void FormDialog::MarkEntered(size_t entered) {
    for (size_t i = 0; i < rows_.size(); ++i) {
        Row& row = rows_[i];
        const Field& field = form_.fields[row.field];
        if (!row.editor || !field.IsNumeric()) continue;
        row.isWrong = (row.isWrong || i == entered) && !field.Fault().empty();
        MarkFault(*row.editor, row.isWrong && field.IsEnabled(form_));
    }
}

// What the user has entered comes first.
std::string FormDialog::Fault() const {
    for (const Row& row : rows_) {
        const Field& field = form_.fields[row.field];
        if (row.isWrong && field.IsEnabled(form_) && !field.Fault().empty()) return field.Fault();
    }
    return form_.Check();
}

void FormDialog::UpdateEnabled() {
    for (const Row& row : rows_) {
        const bool usable = form_.fields[row.field].IsEnabled(form_);
        if (row.button) row.button->setEnabled(usable);
        if (row.editor) row.editor->Widget()->setEnabled(usable);
        if (row.label) row.label->setEnabled(usable);
    }
}

void FormDialog::Run(size_t row) {
    ReadAll();
    const auto action = form_.fields[rows_[row].field].action;
    if (action) action(form_);
    ShowFault({});
    WriteAll();
    Grow();
}

// Makes room for what has become longer.
void FormDialog::Grow() {
    area_->widget()->layout()->activate();
    area_->updateGeometry();
    layout()->activate();
    FitToScreen();
}

// --- acceptance ---

void FormDialog::accept() {
    ReadAll();
    const std::string fault = Fault();
    if (fault.empty()) return QDialog::accept();
    ShowFault(ToQString(fault));
    MarkFaulty();
}

void FormDialog::ShowFault(const QString& text) {
    for (const Row& row : rows_)
        if (row.editor && form_.fields[row.field].IsNumeric()) MarkFault(*row.editor, false);
    fault_->setText(text);
    fault_->setVisible(!text.isEmpty());
    if (text.isEmpty()) return;
    QPalette colours = palette();
    colours.setColor(QPalette::WindowText, FaultColour(colours));
    fault_->setPalette(colours);
    Grow();
}

// The first number outside its limits takes the keyboard and a red frame.
void FormDialog::MarkFaulty() {
    const bool isEntered = std::ranges::any_of(rows_, &Row::isWrong);
    for (const Row& row : rows_) {
        const Field& field = form_.fields[row.field];
        if (!field.IsNumeric() || !field.IsEnabled(form_) || field.Fault().empty()) continue;
        if (isEntered && !row.isWrong) continue;
        MarkFault(*row.editor, true);
        row.editor->Focus()->setFocus();
        area_->ensureWidgetVisible(row.editor->Widget());
        return;
    }
}

}  // namespace kymora
