#include "sorting/windows/sorter_window.h"

#include <QAbstractSpinBox>
#include <QApplication>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>

#include "catalogue/windows/operation_panes.h"
#include "widgets/text.h"

namespace kymora {

namespace {

constexpr QSize usualSize{1180, 780};
constexpr double listShare = 0.2;  // of the height

}  // namespace

SorterWindow::SorterWindow(Session& session, const Operation& operation, std::unique_ptr<CSorterSheet> sheet,
                           QWidget* parent)
    : OperationWindow(session, operation, std::move(sheet), {tr("&Finish"), tr("Cancel")}, parent) {
    setWindowModality(Qt::ApplicationModal);
    setWindowFlag(Qt::WindowMaximizeButtonHint);
    MakePages();
    panes_->SetListShare(listShare);
    connect(panes_, &OperationPanes::Outlined, this, &SorterWindow::TakeOutline);
    resize(usualSize.boundedTo(panes_->MostSize()));
}

void SorterWindow::MakePages() {
    auto* row = new QWidget(this);
    auto* line = new QHBoxLayout(row);
    line->setContentsMargins({});
    title_ = new QLabel(row);
    title_->setObjectName("pageTitle");
    help_ = new QLabel(tr(quickInstructionsText), row);
    help_->setObjectName("help");
    line->addWidget(title_, 1);
    line->addWidget(help_);
    AddRow(row);
    const auto add = [&](const char* name, const QString& label, const QString& tip, QWidget* before,
                         auto does) {
        QPushButton* button = MakeButton(label, name, tip);
        button->setAutoDefault(false);
        connect(button, &QPushButton::clicked, this, does);
        AddButton(button, before);
        return button;
    };
    back_ =
        add("back", tr("< Bac&k"), tr("Show the page before this one"), run_, [this] { GoTo(Page() - 1); });
    next_ = add("next", tr("&Next >"), tr("Show the next page"), run_, [this] { GoTo(Page() + 1); });
    undo_ = add("undo", tr("Undo"), {}, save_, [this] {
        if (!IsBusy()) Work([this] { Sheet().Undo(); });
    });
    redo_ = add("redo", tr("Redo"), {}, save_, [this] {
        if (!IsBusy()) Work([this] { Sheet().Redo(); });
    });
    undo_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Z));
    redo_->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Y));
    qApp->installEventFilter(this);
}

// --- pages ---

int SorterWindow::Pages() { return static_cast<int>(Block().Params().Pages().size()); }

int SorterWindow::Page() { return Sheet().IsPlain() ? plainPage_ : Sheet().CurrentPage(); }

void SorterWindow::GoTo(int page) {
    if (IsBusy() || page < 0 || page >= Pages()) return;
    Work([&] {
        if (Sheet().IsPlain())
            plainPage_ = page;
        else
            Sheet().GoTo(page);
    });
}

// What keeps from the next page is said, and stops nobody from the rest.
QString SorterWindow::Fault() {
    if (!Sheet().IsPlain() || Page() + 1 >= Pages()) return OperationWindow::Fault();
    return ToQString(panes_->Form().Fault());
}

void SorterWindow::Drawn() {
    if (panes_->Page() != Page()) {
        panes_->ShowPage(Page());
        panes_->ShowGraph(false);
        FocusFirst();
    }
    if (Block().Document() && !Sheet().IsPlain()) panes_->ShowResults();
}

void SorterWindow::StateShown(bool isUsable) {
    if (!next_) return;
    CSorterSheet& sheet = Sheet();
    const bool isLast = Page() + 1 >= Pages();
    const bool hasDoc = Block().Document() != nullptr;
    const std::string kept = hasDoc && !isLast ? Block().Params().PageFault(Page()) : std::string();
    QString title = tr("Page %1 of %2, %3")
                        .arg(Page() + 1)
                        .arg(Pages())
                        .arg(ToQString(Block().Params().Pages()[static_cast<size_t>(Page())].title));
    if (!sheet.IsPlain()) title += ":  " + ToQString(sheet.Prompt());
    title_->setText(title);
    back_->setEnabled(Page() > 0 && isUsable);
    next_->setEnabled(!isLast && hasDoc && isUsable && kept.empty());
    next_->setToolTip(kept.empty() ? tr("Show the next page") : ToQString(kept));
    (isLast || !next_->isEnabled() ? run_ : next_)->setDefault(true);
    const auto show = [&](QPushButton& button, const QString& label, const std::string& name) {
        button.setVisible(!sheet.IsPlain());
        button.setEnabled(isUsable && !name.empty());
        button.setToolTip(name.empty() ? QString() : label + " " + ToQString(name));
    };
    show(*undo_, tr("Undo"), sheet.Session().UndoName());
    show(*redo_, tr("Redo"), sheet.Session().RedoName());
}

void SorterWindow::TakeOutline(const QString& pane, const std::vector<std::pair<double, double>>& corners) {
    if (IsBusy()) return;
    std::vector<WeightPoint> outline;
    for (const auto& [x, y] : corners) outline.push_back({x, y});
    Work([&] { Sheet().TakeOutline(pane.toStdString(), outline); });
}

void SorterWindow::keyPressEvent(QKeyEvent* event) {
    if (event->key() != Qt::Key_F1 || Sheet().IsPlain()) return OperationWindow::keyPressEvent(event);
    session_.host.ShowText("Quick Instructions", Sheet().QuickInstructions());
}

// A field without letters of its own to take back leaves the keys to the window.
bool SorterWindow::eventFilter(QObject* watched, QEvent* event) {
    auto* field = qobject_cast<QLineEdit*>(watched);
    if (auto* spin = qobject_cast<QAbstractSpinBox*>(watched)) field = spin->findChild<QLineEdit*>();
    if (event->type() != QEvent::ShortcutOverride || !field || field->window() != this)
        return OperationWindow::eventFilter(watched, event);
    const auto* key = static_cast<QKeyEvent*>(event);
    const QKeySequence pressed(key->keyCombination());
    const bool isUndo = pressed == undo_->shortcut() && !field->isUndoAvailable();
    const bool isRedo = pressed == redo_->shortcut() && !field->isRedoAvailable();
    if (!isUndo && !isRedo) return OperationWindow::eventFilter(watched, event);
    event->ignore();  // so that it becomes a shortcut
    return true;
}

// --- the end ---

bool SorterWindow::Run() {
    if (IsBusy()) return false;
    if (!Block().Document() || !panes_->Form().Fault().empty()) {
        FocusFault();
        return false;
    }
    bool isDone = false;
    Work([&] { isDone = Sheet().Finish(); });
    if (!isDone) return false;
    SetDoneText(tr("Written %1").arg(ToQString(Block().RunSummary())));
    Refresh();
    emit Ran();
    return true;
}

void SorterWindow::Start() {
    if (Run()) accept();
}

void SorterWindow::reject() {
    if (IsBusy()) return;
    if (!IsConfiguring() && Sheet().HasUnwritten() && !session_.host.Confirm(leaveSorterText)) return;
    OperationWindow::reject();
}

void SorterWindow::SetConfiguring(std::function<void(CBatchBaseDlg&)> taken) {
    Sheet().SetPlain();
    OperationWindow::SetConfiguring(std::move(taken));
    help_->hide();
    Refresh();
}

}  // namespace kymora
