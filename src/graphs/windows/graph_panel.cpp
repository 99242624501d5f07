#include "graphs/windows/graph_panel.h"

#include <QAction>
#include <QActionGroup>
#include <QClipboard>
#include <QContextMenuEvent>
#include <QGuiApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QMenu>
#include <QMimeData>
#include <QPushButton>
#include <QToolButton>
#include <QVBoxLayout>
#include <span>

#include "display/plot_recording.h"
#include "document/file_identity.h"
#include "document/native_writer.h"
#include "results/archive_output.h"
#include "results/result_output.h"
#include "widgets/text.h"
#include "widgets/tool_icons.h"

namespace kymora {

namespace {

constexpr int graphIconSize = 18;
constexpr int groupGap = 8;
constexpr int barMargin = 2;
// Of a copied or saved picture: fine enough for print.
constexpr double copiedScale = 2.0, savedScale = 3.0;
constexpr const char* widestReadout = "Latency: -1000.00 ms";
constexpr const char* graphSaveFilter =
    "PNG picture (*.png)|*.png|SVG vector picture (*.svg)|*.svg|PDF vector picture (*.pdf)|*.pdf|"
    "Text (*.txt)|*.txt|Table (*.csv)|*.csv||";

QByteArray ToBytes(const std::vector<std::byte>& bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), static_cast<qsizetype>(bytes.size())};
}

}  // namespace

GraphPanel::GraphPanel(Session& session, QWidget* parent)
    : QWidget(parent), session_(session), widget_(new GraphWidget(this)) {
    MakeActions();
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(barMargin);
    bar_ = new QHBoxLayout;
    bar_->setSpacing(0);
    column->addLayout(bar_);
    column->addWidget(widget_, 1);
    readoutRow_ = new QHBoxLayout;
    readoutRow_->setContentsMargins(groupGap, 0, groupGap, 0);
    readoutRow_->setSpacing(3 * groupGap);
    readoutRow_->addStretch(1);
    column->addLayout(readoutRow_);
    MakeBar();
    TakeHabits();
    connect(widget_, &GraphWidget::AxisAsked, this, &GraphPanel::AskAxis);
    connect(widget_, &GraphWidget::ReadoutsChanged, this, &GraphPanel::TellReadouts);
}

// --- the tool bar ---

QAction* GraphPanel::AddAction(const char* name, const char* icon, const QString& label, const QString& tip,
                               const QKeySequence& key, std::function<void()> does) {
    auto* action = new QAction(ToolIcon(icon), label, this);
    action->setObjectName(name);
    action->setShortcut(key);
    // Keys are the graph's while it has the keyboard: other parts of the window have letters of their own.
    action->setShortcutContext(Qt::WidgetShortcut);
    widget_->addAction(action);
    const QString told = key.isEmpty() ? QString() : " (" + key.toString(QKeySequence::NativeText) + ")";
    action->setToolTip(tip + told);
    connect(action, &QAction::triggered, this, [does = std::move(does)] { does(); });
    return action;
}

QAction* GraphPanel::AddCheck(const char* name, const char* icon, const QString& label, const QString& tip,
                              const QKeySequence& key, bool GraphHabits::*habit) {
    QAction* action = AddAction(name, icon, label, tip, key, [] {});
    action->setCheckable(true);
    action->setChecked(session_.graphs.*habit);
    connect(action, &QAction::toggled, this, [this, habit](bool isOn) {
        session_.graphs.*habit = isOn;
        TakeHabits();
    });
    return action;
}

void GraphPanel::MakeActions() {
    showAll_ = AddAction("graphShowAll", "show-all", tr("Show &all"), tr("Show all of the graph"),
                         Qt::Key_Home, [this] { widget_->ShowAll(); });
    zoom_ = AddAction("graphZoom", "graph-zoom", tr("&Zoom to a rectangle"),
                      tr("Dragging in the graph zooms to a rectangle"), Qt::Key_Z, [] {});
    pan_ = AddCheck("graphPan", "graph-pan", tr("&Move"), tr("Dragging in the graph moves what is seen"),
                    Qt::Key_M, &GraphHabits::pans);
    zoom_->setCheckable(true);
    zoom_->setChecked(!session_.graphs.pans);
    // Of graphs in which something can be selected, where it is what dragging does at first.
    select_ = AddAction("graphSelect", "graph-select", tr("Se&lect"), tr("Dragging in the graph selects"),
                        Qt::Key_S, [] {});
    select_->setCheckable(true);
    select_->setVisible(false);
    auto* modes = new QActionGroup(this);
    for (QAction* mode : {zoom_, pan_, select_}) modes->addAction(mode);
    connect(select_, &QAction::toggled, this, &GraphPanel::TakeHabits);
    grid_ = AddCheck("graphGrid", "graph-grid", tr("&Grid"), tr("Lines through the graph at the numbers"),
                     Qt::Key_G, &GraphHabits::hasGrid);
    values_ = AddCheck("graphValues", "graph-values", tr("&Values under the mouse"),
                       tr("Tell the values under the mouse"), Qt::Key_V, &GraphHabits::tellsValues);
    dropLines_ = AddCheck("graphDropLines", "graph-drop-lines", tr("&Drop lines"),
                          tr("Lines from the point under the mouse to both axes, with its values"), Qt::Key_D,
                          &GraphHabits::hasDropLines);
    copyPicture_ = AddAction("graphCopy", "graph-copy", tr("&Copy as picture"), {}, QKeySequence::Copy,
                             [this] { CopyPicture(); });
    copyVectors_ =
        AddAction("graphCopyVectors", "", tr("Copy as &metafile (SVG)"), {}, {}, [this] { CopyVectors(); });
    copyText_ = AddAction("graphCopyText", "", tr("Copy as &text"), {}, {}, [this] { CopyText(); });
    save_ = AddAction("graphSave", "file-save", tr("&Save..."), {}, {}, [this] { Save(); });
    onePane_ =
        AddCheck("graphOnePane", "", tr("Only the &pane in focus"), {}, {}, &GraphHabits::copiesOnePane);
}

QToolButton* GraphPanel::AddButton(QAction* action) {
    auto* button = new QToolButton(this);
    button->setDefaultAction(action);
    button->setObjectName(action->objectName());
    button->setIconSize({graphIconSize, graphIconSize});
    button->setAutoRaise(true);
    // The keyboard stays with the graph, which has keys for all of them.
    button->setFocusPolicy(Qt::NoFocus);
    bar_->addWidget(button);
    return button;
}

void GraphPanel::AddButton(QPushButton* button) {
    int at = 0;
    while (qobject_cast<QPushButton*>(bar_->itemAt(at)->widget())) ++at;
    button->setMaximumWidth(button->fontMetrics().horizontalAdvance(button->text()) + 4 * groupGap);
    bar_->insertWidget(at, button);
    button->show();
}

void GraphPanel::MakeBar() {
    copies_ = new QMenu(this);
    copies_->addActions({copyPicture_, copyVectors_, copyText_, save_});
    copies_->addSeparator();
    copies_->addAction(onePane_);
    connect(copies_, &QMenu::aboutToShow, this,
            [this] { onePane_->setVisible(widget_->GetGraph().panes.size() > 1); });
    AddButton(showAll_);
    bar_->addSpacing(groupGap);
    AddButton(zoom_);
    AddButton(pan_);
    QToolButton* select = AddButton(select_);
    select->hide();
    connect(widget_, &GraphWidget::SelectionOffered, this, [this, select](bool isThere) {
        select_->setVisible(isThere);
        select->setVisible(isThere);
        (isThere ? select_ : zoom_)->setChecked(true);
    });
    bar_->addSpacing(groupGap);
    for (QAction* action : {grid_, values_, dropLines_}) AddButton(action);
    bar_->addSpacing(groupGap);
    QToolButton* copy = AddButton(copyPicture_);
    copy->setMenu(copies_);
    copy->setPopupMode(QToolButton::MenuButtonPopup);
    copy->setToolTip(tr("Copy graph image to clipboard (drop-down offers copy as metafile, text or save)."));
    copy->setAccessibleName(tr("Copy graph"));
    bar_->addStretch(1);
    menu_ = new QMenu(this);
    menu_->addActions({showAll_, zoom_, pan_, select_});
    menu_->addSeparator();
    menu_->addActions({grid_, values_, dropLines_});
    menu_->addSeparator();
    menu_->addActions({copyPicture_, copyVectors_, copyText_, save_, onePane_});
}

void GraphPanel::TakeHabits() {
    const GraphHabits& habits = session_.graphs;
    using Mode = GraphWidget::Mode;
    widget_->SetMode(select_->isChecked() ? Mode::select : habits.pans ? Mode::pan : Mode::zoom);
    widget_->SetGrid(habits.hasGrid);
    widget_->SetReading(habits.tellsValues);
    widget_->SetDropLines(habits.hasDropLines);
}

// A row of its own that is there while the graph has readouts, so that nothing moves with the mouse.
void GraphPanel::TellReadouts() {
    const auto told = widget_->Readouts();
    while (readouts_.size() < told.size()) {
        auto* label = new QLabel(this);
        label->setTextFormat(Qt::PlainText);
        label->setMinimumWidth(label->fontMetrics().horizontalAdvance(widestReadout));
        readoutRow_->insertWidget(static_cast<int>(readouts_.size()), label);
        readouts_.push_back(label);
    }
    for (size_t i = 0; i < readouts_.size(); ++i) {
        readouts_[i]->setVisible(i < told.size());
        if (i >= told.size()) continue;
        const auto& [readout, value] = told[i];
        readouts_[i]->setObjectName(ToQString("readout" + readout.label));
        readouts_[i]->setToolTip(ToQString(readout.tip));
        readouts_[i]->setText(ToQString(readout.label + ": " + (value.empty() ? "-" : value)));
    }
}

// The axes of the pane stand in the menu, since a double click is no key.
void GraphPanel::contextMenuEvent(QContextMenuEvent* event) {
    const std::optional<size_t> pane = widget_->FocusedPane();
    const bool hasAxes =
        pane && *pane < widget_->GetGraph().panes.size() && !widget_->GetGraph().panes[*pane].IsRose();
    onePane_->setVisible(widget_->GetGraph().panes.size() > 1);
    QMenu menu(this);
    menu.addActions(menu_->actions());
    if (hasAxes) {
        menu.addSeparator();
        for (const bool isX : {true, false})
            connect(menu.addAction(isX ? tr("&Horizontal axis...") : tr("V&ertical axis...")),
                    &QAction::triggered, this,
                    [this, pane = static_cast<int>(*pane), isX] { AskAxis(pane, isX); });
    }
    const bool isKey = event->reason() == QContextMenuEvent::Keyboard;
    menu.exec(isKey ? widget_->mapToGlobal(widget_->rect().center()) : event->globalPos());
}

void GraphPanel::AskAxis(int pane, bool isX) {
    Form form = widget_->AxisForm(static_cast<size_t>(pane), isX);
    const QPointer<GraphPanel> self(this);
    const bool isEntered = session_.host.AskForm(form);
    if (!self) return;
    TakeBackKeyboard();
    if (isEntered) widget_->TakeAxisForm(static_cast<size_t>(pane), isX, form);
}

void GraphPanel::TakeBackKeyboard() {
    if (!isVisible()) return;
    window()->activateWindow();
    widget_->setFocus(Qt::OtherFocusReason);
}

// --- copies ---

Graph GraphPanel::Target() const {
    Graph seen = widget_->Seen();
    const std::optional<size_t> pane = widget_->FocusedPane();
    if (!session_.graphs.copiesOnePane || !pane || seen.panes.size() < 2) return seen;
    return OnlyPane(seen.panes[*pane]);
}

std::vector<std::byte> GraphPanel::Picture(PictureFormat format, double scale) const {
    GraphPictureOptions options;
    options.width = std::max(widget_->width(), widget_->minimumSizeHint().width());
    options.height = std::max(widget_->height(), widget_->minimumSizeHint().height());
    options.scale = format == PictureFormat::png ? scale : 1.0;
    options.hasGrid = session_.graphs.hasGrid;
    return GraphPicture(Target(), format, options);
}

void GraphPanel::Try(const char* what, const std::function<void()>& does) {
    try {
        does();
    } catch (const std::exception& error) {
        session_.host.Failure(std::string(what) + "\n" + error.what());
    }
}

void GraphPanel::CopyPicture() {
    Try("The graph was not copied.", [this] {
        QGuiApplication::clipboard()->setImage(
            QImage::fromData(ToBytes(Picture(PictureFormat::png, copiedScale)), "PNG"));
    });
}

// Programs take the shapes where they can, and else the pixels.
void GraphPanel::CopyVectors() {
    Try("The graph was not copied.", [this] {
        const QByteArray png = ToBytes(Picture(PictureFormat::png, copiedScale));
        auto* data = new QMimeData;
        data->setData("image/svg+xml", ToBytes(Picture(PictureFormat::svg)));
        data->setData("image/png", png);
        data->setImageData(QImage::fromData(png, "PNG"));
        QGuiApplication::clipboard()->setMimeData(data);
    });
}

void GraphPanel::CopyText() { QGuiApplication::clipboard()->setText(ToQString(GraphText(Target()))); }

void GraphPanel::Save() {
    const QPointer<GraphPanel> self(this);
    const auto path = session_.host.ChooseSaveFile({"Save graph", graphSaveFilter, "png", "graph.png"});
    if (!self) return;
    TakeBackKeyboard();
    if (path) Try("The graph was not saved.", [&] { Write(*path); });
}

void GraphPanel::Write(const std::filesystem::path& path) {
    if (FoldedExtension(path) == ".csv" && results) {
        const std::vector<Result> found = results();
        return WriteFileAtomically(session_.files, path, [&](CArchive& archive) {
            ArchiveOutput output(archive);
            WriteCsv(output, found, {}, [] { return true; });
        });
    }
    std::vector<std::byte> bytes;
    if (const auto format = PictureFormatOf(path)) {
        bytes = Picture(*format, savedScale);
    } else if (FoldedExtension(path) == ".txt") {
        const std::string text = GraphText(Target());
        const auto all = std::as_bytes(std::span(text));
        bytes.assign(all.begin(), all.end());
    } else {
        throw std::runtime_error(
            "Graphs are saved as .png, .svg, .pdf, .txt or .csv. Choose a name that ends so.");
    }
    WriteFileAtomically(session_.files, path, [&](CArchive& archive) { archive.WriteRaw(bytes); });
}

}  // namespace kymora
