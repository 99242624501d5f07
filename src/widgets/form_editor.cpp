#include "widgets/form_editor.h"

#include <QAbstractItemView>
#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPlainTextEdit>
#include <QRadioButton>
#include <QScreen>
#include <QSpinBox>
#include <QStyle>
#include <QStylePainter>
#include <QVBoxLayout>
#include <QWheelEvent>
#include <algorithm>
#include <cmath>

#include "drawing/number_labels.h"
#include "host/options.h"
#include "host/user_numbers.h"
#include "widgets/form_viewers.h"
#include "widgets/style_buttons.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr int mostListLines = 12;
constexpr int leastListLines = 3;
constexpr int offeredListLines = 18;
constexpr const char* faultyStyle = "border: 2px solid #d0342c; border-radius: 3px;";

// --- numbers and texts ---

QString NumberText(double value, bool whole) {
    return whole ? QString::number(static_cast<qint64>(value)) : QString::fromStdString(PreciseNumber(value));
}

// What a line shows of the value: traces count from 1.
QString LineText(const Field& field) {
    switch (field.kind) {
    case FieldKind::number:
        if (field.showsSingle) return ToQString(SingleNumber(field.number));
        [[fallthrough]];
    case FieldKind::integer:
    case FieldKind::channel:
        return NumberText(field.number, field.kind != FieldKind::number);
    case FieldKind::channels:
        if (field.byNumber)
            return ToQString(ListText(field.numbers, [](int n) { return std::to_string(n); }));
        [[fallthrough]];
    default:
        return ToQString(field.ValueText());
    }
}

// The up and down keys and the wheel step a number within its limits; the wheel only where the keyboard is,
// so that scrolling past a number never changes it.
class NumberSteps : public QObject {
  public:
    NumberSteps(QLineEdit* edit, const Field& field) : QObject(edit), edit_(edit) { Follow(field); }
    void Follow(const Field& field) {
        least_ = field.least;
        greatest_ = field.greatest;
        step_ = field.step;
        whole_ = field.kind != FieldKind::number;
    }
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::KeyPress) {
            const int key = static_cast<QKeyEvent*>(event)->key();
            if (key == Qt::Key_Up || key == Qt::Key_Down) {
                Step(key == Qt::Key_Up ? step_ : -step_);
                return true;
            }
        }
        if (event->type() == QEvent::Wheel) {
            const int delta = static_cast<QWheelEvent*>(event)->angleDelta().y();
            if (!edit_->hasFocus() || delta == 0) {
                event->ignore();
                return true;
            }
            turned_ += delta;
            const int steps = turned_ / QWheelEvent::DefaultDeltasPerStep;
            turned_ -= steps * QWheelEvent::DefaultDeltasPerStep;
            if (steps != 0) Step(steps * step_);
            return true;
        }
        return QObject::eventFilter(watched, event);
    }

  private:
    void Step(double by) {
        const auto value = ParseNumber(edit_->text().toStdString());
        if (!value) return;
        edit_->setText(NumberText(std::clamp(*value + by, least_, greatest_), whole_));
        edit_->selectAll();
        emit edit_->textEdited(edit_->text());
    }

    QLineEdit* edit_;
    double least_ = 0.0, greatest_ = 0.0, step_ = 1.0;
    bool whole_ = false;
    int turned_ = 0;  // of the wheel, less than a step
};

// A drop-down list takes the wheel only where the keyboard is.
class WheelOnFocus : public QObject {
  public:
    using QObject::QObject;
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() != QEvent::Wheel || static_cast<QWidget*>(watched)->hasFocus()) return false;
        event->ignore();
        return true;
    }
};

class LineEditor : public FormEditor {
  public:
    LineEditor(const Field& field, QWidget* parent, const Changed& changed) : edit_(new QLineEdit(parent)) {
        const bool isNumber =
            field.IsNumeric() || field.kind == FieldKind::trace || field.kind == FieldKind::channel;
        const int width =
            edit_->fontMetrics().horizontalAdvance(isNumber ? "-0.123456789012" : "0") * (isNumber ? 1 : 34);
        edit_->setMinimumWidth(width);
        if (isNumber) {
            edit_->setMaximumWidth(2 * width);
            steps_ = new NumberSteps(edit_, field);
            edit_->installEventFilter(steps_);
        }
        QObject::connect(edit_, &QLineEdit::textEdited, edit_, changed);
    }
    QWidget* Widget() const override { return edit_; }
    // A number that the user left alone keeps the figures that are not shown.
    std::string Read(Field& field) const override {
        if (steps_ && shown_ && edit_->text() == shown_->text) {
            field.number = shown_->number;
            return field.Fault();
        }
        return field.Parse(edit_->text().toStdString());
    }
    void Follow(const Field& field) override {
        if (steps_) steps_->Follow(field);
    }
    void Write(const Field& field) override {
        Follow(field);
        // A text that is no number stays for the user to see; a number that it is not gives way.
        if (steps_ && std::isnan(field.number)) {
            if (ParseNumber(edit_->text().toStdString())) edit_->clear();
            return;
        }
        edit_->setText(LineText(field));
        edit_->setCursorPosition(0);
        shown_ = {edit_->text(), field.number};
    }

  private:
    struct ShownNumber {
        QString text;
        double number;
    };

    QLineEdit* edit_;
    std::optional<ShownNumber> shown_;
    NumberSteps* steps_ = nullptr;
};

// A small number with buttons that step it.
class SpinEditor : public FormEditor {
  public:
    SpinEditor(const Field& field, QWidget* parent, const Changed& changed)
        : spin_(new QSpinBox(parent)), wheel_(new WheelOnFocus(spin_)) {
        Follow(field);
        spin_->setFocusPolicy(Qt::StrongFocus);
        spin_->setMinimumWidth(spin_->fontMetrics().horizontalAdvance("0") * 12);
        spin_->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Fixed);
        spin_->installEventFilter(wheel_);
        QObject::connect(spin_, &QSpinBox::valueChanged, spin_, changed);
    }
    QWidget* Widget() const override { return spin_; }
    std::string Read(Field& field) const override {
        field.number = spin_->value();
        return field.Fault();
    }
    void Write(const Field& field) override {
        Follow(field);
        if (std::isfinite(field.number)) spin_->setValue(static_cast<int>(field.number));
    }
    void Follow(const Field& field) override {
        spin_->setRange(static_cast<int>(field.least), static_cast<int>(field.greatest));
        spin_->setSingleStep(static_cast<int>(field.step));
    }

  private:
    QSpinBox* spin_;
    WheelOnFocus* wheel_;
};

class LongTextEditor : public FormEditor {
  public:
    LongTextEditor(const Field& field, QWidget* parent, const Changed& changed)
        : edit_(new QPlainTextEdit(parent)) {
        edit_->setTabChangesFocus(true);
        edit_->setMinimumHeight(field.linesShown * LineHeight(*edit_) + 12);
        QObject::connect(edit_, &QPlainTextEdit::textChanged, edit_, changed);
    }
    QWidget* Widget() const override { return edit_; }
    // Line ends are those that the text came with: CR LF where it had any.
    std::string Read(Field& field) const override {
        QString text = edit_->toPlainText();
        if (crlf_) text.replace("\n", "\r\n");
        return field.Parse(text.toStdString());
    }
    void Write(const Field& field) override {
        crlf_ = field.text.find("\r\n") != std::string::npos;
        QString text = ToQString(field.text);
        text.replace("\r\n", "\n");
        if (text != edit_->toPlainText()) edit_->setPlainText(text);
    }
    bool IsWide() const override { return true; }

  private:
    QPlainTextEdit* edit_;
    bool crlf_ = false;
};

// Is never less high than its lines at its width, whatever a crowded layout would like.
class NoteLabel : public QLabel {
  public:
    using QLabel::QLabel;
    void Fit() { setMinimumHeight(wordWrap() ? heightForWidth(width()) : 0); }

  protected:
    void resizeEvent(QResizeEvent* event) override {
        QLabel::resizeEvent(event);
        Fit();
    }
};

class NoteEditor : public FormEditor {
  public:
    NoteEditor(const Field& field, QWidget* parent)
        : label_(new NoteLabel(parent)), isWide_(field.label.empty()) {
        label_->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Minimum);
        label_->setTextFormat(Qt::PlainText);
        label_->setAlignment(Qt::AlignLeft | Qt::AlignTop);
        label_->setTextInteractionFlags(Qt::TextSelectableByMouse);
        label_->setMinimumWidth(label_->fontMetrics().averageCharWidth() * (isWide_ ? 56 : 38));
    }
    QWidget* Widget() const override { return label_; }
    void Write(const Field& field) override {
        const QString text = ToQString(field.text);
        const bool isLong = label_->fontMetrics().size(0, text).width() > label_->minimumWidth();
        label_->setWordWrap(isLong);
        label_->setText(text);
        label_->Fit();
        // A long word, such as a path, may be cut.
        if (field.toolTip.empty()) label_->setToolTip(ToolTipText(field.text));
    }
    bool IsWide() const override { return isWide_; }

  private:
    NoteLabel* label_;
    bool isWide_;
};

// --- choices ---

class FlagEditor : public FormEditor {
  public:
    FlagEditor(const Field& field, QWidget* parent, const Changed& changed)
        : box_(new QCheckBox(InTwoLines(ToQString(field.label)), parent)) {
        QObject::connect(box_, &QCheckBox::toggled, box_, changed);
    }
    QWidget* Widget() const override { return box_; }
    std::string Read(Field& field) const override { return field.Parse(box_->isChecked() ? "1" : "0"); }
    void Write(const Field& field) override { box_->setChecked(field.flag); }
    bool BringsItsLabel() const override { return true; }

  private:
    // A box does not wrap its label by itself.
    static QString InTwoLines(QString label) {
        constexpr int mostCharacters = 60;
        if (label.size() <= mostCharacters) return label;
        const auto blank = label.indexOf(' ', label.size() / 2);
        return blank < 0 ? label : label.replace(blank, 1, '\n');
    }

    QCheckBox* box_;
};

// A sentence that is too long for the box is told apart from others by its end, as they begin alike: words
// in the middle are left out.
class ChoiceBox : public QComboBox {
  public:
    using QComboBox::QComboBox;
    // The list shows them whole.
    void showPopup() override {
        const int most = screen()->availableGeometry().width();
        const int frame = 2 * view()->frameWidth() + style()->pixelMetric(QStyle::PM_ScrollBarExtent);
        view()->setMinimumWidth(std::min(view()->sizeHintForColumn(0) + frame, most));
        QComboBox::showPopup();
    }

  protected:
    void paintEvent(QPaintEvent*) override {
        QStylePainter painter(this);
        QStyleOptionComboBox option;
        initStyleOption(&option);
        const int room =
            style()->subControlRect(QStyle::CC_ComboBox, &option, QStyle::SC_ComboBoxEditField, this).width();
        option.currentText = WithoutMiddle(option.currentText, option.fontMetrics, room - 2);
        painter.drawComplexControl(QStyle::CC_ComboBox, option);
        painter.drawControl(QStyle::CE_ComboBoxLabel, option);
    }

  private:
    static QString WithoutMiddle(const QString& text, const QFontMetrics& metrics, int room) {
        if (metrics.horizontalAdvance(text) <= room) return text;
        const auto secondBlank = text.indexOf(' ', text.indexOf(' ') + 1);
        const QString head = text.left(secondBlank) + QString::fromUtf8(" \u2026");
        for (auto blank = text.indexOf(' ', secondBlank + 1); secondBlank > 0 && blank > 0;
             blank = text.indexOf(' ', blank + 1)) {
            const QString shown = head + text.mid(blank);
            if (metrics.horizontalAdvance(shown) <= room) return shown;
        }
        return metrics.elidedText(text, Qt::ElideMiddle, room);
    }
};

class ChoiceEditor : public FormEditor {
  public:
    ChoiceEditor(QWidget* parent, const Changed& changed) : box_(new ChoiceBox(parent)) {
        // As wide as its longest choice, and narrower where there is no room.
        box_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
        box_->setFocusPolicy(Qt::StrongFocus);
        box_->installEventFilter(new WheelOnFocus(box_));
        QObject::connect(box_, &QComboBox::activated, box_, changed);
    }
    QWidget* Widget() const override { return box_; }
    std::string Read(Field& field) const override {
        if (field.kind == FieldKind::channel) return field.Parse(box_->currentText().toStdString());
        field.choice = box_->currentIndex();
        return field.Fault();
    }
    void Write(const Field& field) override {
        Follow(field);
        box_->setCurrentIndex(IndexOf(field));
    }
    void Follow(const Field& field) override {
        const QStringList names = NamesOf(field);
        QStringList present;
        for (int i = 0; i < box_->count(); ++i) present += box_->itemText(i);
        if (names == present) return;
        box_->clear();
        box_->addItems(names);
        FitWidth(names);
        box_->setCurrentIndex(IndexOf(field));
    }

  private:
    // Whole sentences are read in the list that opens; the box itself cuts them.
    void FitWidth(const QStringList& names) {
        constexpr int mostCharacters = 60;
        const bool isLong =
            std::ranges::any_of(names, [](const QString& name) { return name.size() > mostCharacters; });
        if (!isLong) return;
        box_->setSizeAdjustPolicy(QComboBox::AdjustToMinimumContentsLengthWithIcon);
        box_->setMinimumContentsLength(mostCharacters * 3 / 5);
        const int scrollBar = box_->style()->pixelMetric(QStyle::PM_ScrollBarExtent);
        box_->view()->setMinimumWidth(box_->view()->sizeHintForColumn(0) + scrollBar);
    }
    static int IndexOf(const Field& field) {
        if (field.kind == FieldKind::choice) return field.choice;
        return std::min(static_cast<int>(field.number), letterChannels);
    }
    // A channel that has no letter, as a configuration file may name it, joins those that have.
    static QStringList NamesOf(const Field& field) {
        QStringList names;
        for (const std::string& name : field.choices) names += ToQString(name);
        if (field.kind == FieldKind::choice) return names;
        for (int letter = 0; letter < letterChannels; ++letter) names += ToQString(ChannelName(letter));
        if (field.number >= letterChannels) names += ToQString(field.ValueText());
        return names;
    }

    QComboBox* box_;
};

class RadioEditor : public FormEditor {
  public:
    RadioEditor(const Field& field, QWidget* parent, const Changed& changed)
        : box_(field.label.empty() ? new QWidget(parent) : new QGroupBox(ToQString(field.label), parent)),
          group_(new QButtonGroup(box_)) {
        auto* grid = new QGridLayout(box_);
        if (field.label.empty()) grid->setContentsMargins(0, 0, 0, 0);
        grid->setColumnStretch(field.buttonColumns, 1);
        if (field.buttonColumns > 1) grid->setHorizontalSpacing(14);
        grid->setVerticalSpacing(4);
        for (size_t i = 0; i < field.choices.size(); ++i) {
            auto* button = new QRadioButton(ToQString(field.choices[i]), box_);
            button->setObjectName(ToQString(field.key) + QString::number(i));
            button->setToolTip(ToolTipText(field.toolTip));
            group_->addButton(button, static_cast<int>(i));
            const int at = static_cast<int>(i);
            grid->addWidget(button, at / field.buttonColumns, at % field.buttonColumns);
        }
        QObject::connect(group_, &QButtonGroup::idClicked, box_, changed);
        QObject::connect(group_, &QButtonGroup::idToggled, box_, [group = group_] { HoldTab(*group); });
        HoldTab(*group_);
    }
    QWidget* Widget() const override { return box_; }
    QWidget* Focus() const override { return group_->checkedButton() ? group_->checkedButton() : box_; }
    std::string Read(Field& field) const override {
        field.choice = group_->checkedId();
        return field.Fault();
    }
    void Write(const Field& field) override {
        QAbstractButton* button = group_->button(field.choice);
        if (!button) return;
        button->setChecked(true);
        // The space bar would choose the one that has the focus.
        auto* focused = qobject_cast<QAbstractButton*>(box_->window()->focusWidget());
        if (focused && focused != button && group_->buttons().contains(focused)) button->setFocus();
    }
    bool BringsItsLabel() const override { return true; }
    bool IsWide() const override { return true; }

  private:
    // The tab key stops at the checked button only, from which the arrows go on.
    static void HoldTab(const QButtonGroup& group) {
        const QAbstractButton* checked = group.checkedButton();
        for (QAbstractButton* button : group.buttons())
            button->setFocusPolicy(!checked || button == checked ? Qt::StrongFocus : Qt::ClickFocus);
    }

    QWidget* box_;
    QButtonGroup* group_;
};

// The arrow keys and Enter go from the line of a search into its list.
class KeysToList : public QObject {
  public:
    KeysToList(QLineEdit* line, QListWidget* list) : QObject(line), list_(list) {
        line->installEventFilter(this);
    }
    bool eventFilter(QObject*, QEvent* event) override {
        if (event->type() != QEvent::KeyPress) return false;
        const int key = static_cast<QKeyEvent*>(event)->key();
        // Enter ends the search, not the dialog.
        constexpr int keys[] = {Qt::Key_Down, Qt::Key_Up, Qt::Key_Return, Qt::Key_Enter};
        if (std::find(std::begin(keys), std::end(keys), key) == std::end(keys)) return false;
        int row = list_->currentRow();
        if (row < 0 || list_->item(row)->isHidden())
            for (row = 0; row < list_->count() && list_->item(row)->isHidden(); ++row) {
            }
        if (row < list_->count()) list_->setCurrentRow(row);
        list_->setFocus(Qt::TabFocusReason);
        return true;
    }

  private:
    QListWidget* list_;
};

// A long list scrolls by itself, and leaves what stands below it in sight.
class ShortList : public QListWidget {
  public:
    using QListWidget::QListWidget;
    QSize sizeHint() const override {
        const QSize all = QListWidget::sizeHint();
        const int line = count() > 0 ? sizeHintForRow(0) : LineHeight(*this);
        return {all.width(), std::min(all.height(), offeredListLines * line + 2 * frameWidth() + 2)};
    }
};

class CheckListEditor : public FormEditor {
  public:
    CheckListEditor(const Field& field, QWidget* parent, const Changed& changed)
        : box_(field.hasSearch ? new QWidget(parent) : nullptr), list_(new ShortList(box_ ? box_ : parent)) {
        list_->setUniformItemSizes(true);
        list_->setSizeAdjustPolicy(QAbstractScrollArea::AdjustToContents);
        QObject::connect(list_, &QListWidget::itemChanged, list_, [changed](QListWidgetItem*) { changed(); });
        if (box_) AddSearch(field);
    }
    QWidget* Widget() const override { return box_ ? box_ : list_; }
    QWidget* Focus() const override { return box_ ? static_cast<QWidget*>(search_) : list_; }
    std::string Read(Field& field) const override {
        field.checks.resize(static_cast<size_t>(list_->count()));
        for (int i = 0; i < list_->count(); ++i)
            field.checks[static_cast<size_t>(i)] = list_->item(i)->checkState() == Qt::Checked ? 1 : 0;
        return {};
    }
    void Write(const Field& field) override {
        const QSignalBlocker blocked(list_);
        while (list_->count() > static_cast<int>(field.choices.size())) delete list_->takeItem(0);
        while (list_->count() < static_cast<int>(field.choices.size())) list_->addItem(QString());
        for (int i = 0; i < list_->count(); ++i) {
            const auto at = static_cast<size_t>(i);
            list_->item(i)->setText(ToQString(field.choices[at]));
            list_->item(i)->setCheckState(field.checks[at] != 0 ? Qt::Checked : Qt::Unchecked);
        }
        if (list_->currentRow() < 0) list_->setCurrentRow(0);
        const int lines = std::clamp(list_->count(), leastListLines, mostListLines);
        const int line = list_->count() > 0 ? list_->sizeHintForRow(0) : LineHeight(*list_);
        list_->setMinimumHeight(lines * line + 2 * list_->frameWidth() + 2);
        list_->setMinimumWidth(std::min(list_->sizeHintForColumn(0) + 40, 35 * LineHeight(*list_)));
    }
    bool IsWide() const override { return true; }

  private:
    void AddSearch(const Field& field) {
        search_ = new QLineEdit(box_);
        search_->setObjectName(ToQString(field.key + "Search"));
        search_->setPlaceholderText(QObject::tr("Search"));
        search_->setAccessibleName(QObject::tr("Search"));
        search_->setToolTip(QObject::tr("Shows only what holds these words; check marks stay as they are."));
        search_->setClearButtonEnabled(true);
        list_->setObjectName(ToQString(field.key + "List"));
        list_->setAccessibleName(ToQString(field.label));
        new KeysToList(search_, list_);
        auto* column = new QVBoxLayout(box_);
        column->setContentsMargins(0, 0, 0, 0);
        column->addWidget(search_);
        column->addWidget(list_, 1);
        QObject::connect(search_, &QLineEdit::textChanged, list_, [list = list_](const QString& text) {
            const QStringList words = text.split(' ', Qt::SkipEmptyParts);
            for (int i = 0; i < list->count(); ++i) {
                const QString shown = list->item(i)->text();
                list->item(i)->setHidden(std::any_of(words.begin(), words.end(), [&](const QString& word) {
                    return !shown.contains(word, Qt::CaseInsensitive);
                }));
            }
        });
    }

    QWidget* box_;
    QLineEdit* search_ = nullptr;
    QListWidget* list_;
};

// --- looks ---

template <typename Button>
class ButtonEditor : public FormEditor {
  public:
    ButtonEditor(QWidget* parent, const Changed& changed) : button_(new Button(parent)) {
        QObject::connect(button_, &Button::Changed, button_, changed);
    }
    QWidget* Widget() const override { return button_; }
    std::string Read(Field& field) const override {
        button_->Read(field);
        return {};
    }
    void Write(const Field& field) override { button_->Write(field); }

  private:
    Button* button_;
};

std::unique_ptr<FormEditor> MakeByKind(const Field& field, QWidget* parent,
                                       const FormEditor::Changed& changed) {
    if (field.spin) return std::make_unique<SpinEditor>(field, parent, changed);
    if (field.hasLines) return std::make_unique<LongTextEditor>(field, parent, changed);
    if (field.asButtons) return std::make_unique<RadioEditor>(field, parent, changed);
    if (IsChosen(field)) return std::make_unique<ChoiceEditor>(parent, changed);
    switch (field.kind) {
    case FieldKind::flag:
        return std::make_unique<FlagEditor>(field, parent, changed);
    case FieldKind::colour:
        return std::make_unique<ButtonEditor<ColourButton>>(parent, changed);
    case FieldKind::font:
        return std::make_unique<ButtonEditor<FontButton>>(parent, changed);
    case FieldKind::checkList:
        return std::make_unique<CheckListEditor>(field, parent, changed);
    case FieldKind::note:
        return std::make_unique<NoteEditor>(field, parent);
    case FieldKind::table:
        return MakeTableViewer(field, parent);
    case FieldKind::textView:
        return MakeTextViewer(parent);
    case FieldKind::action:
        return nullptr;
    default:
        return std::make_unique<LineEditor>(field, parent, changed);
    }
}

}  // namespace

void MarkFault(const FormEditor& editor, bool isFaulty) {
    const QString style = isFaulty ? faultyStyle : "";
    QWidget* widget = editor.Focus();
    if (widget->styleSheet() == style) return;
    // The frame must not push what stands below.
    if (qobject_cast<QLineEdit*>(widget)) {
        widget->setMinimumHeight(isFaulty ? widget->sizeHint().height() : 0);
        widget->setMaximumHeight(isFaulty ? widget->minimumHeight() : QWIDGETSIZE_MAX);
    }
    widget->setStyleSheet(style);
}

QColor FaultColour(const QPalette& palette) {
    const bool dark = palette.color(QPalette::Window).lightness() < 128;
    return dark ? QColor(0xFF, 0x8A, 0x80) : QColor(0xB0, 0x1C, 0x14);
}

QString ToolTipText(const std::string& text) {
    constexpr size_t shortTip = 60;
    const QString tip = ToQString(text);
    return text.size() <= shortTip ? tip : "<qt>" + tip.toHtmlEscaped() + "</qt>";
}

std::unique_ptr<FormEditor> MakeFormEditor(const Field& field, QWidget* parent, FormEditor::Changed changed) {
    auto editor = MakeByKind(field, parent, changed);
    if (!editor) return nullptr;
    editor->Widget()->setObjectName(ToQString(field.key));
    editor->Widget()->setToolTip(ToolTipText(field.toolTip));
    editor->Widget()->setAccessibleName(ToQString(field.label));
    editor->Widget()->setAccessibleDescription(ToQString(field.toolTip));
    editor->Write(field);
    return editor;
}

}  // namespace kymora
