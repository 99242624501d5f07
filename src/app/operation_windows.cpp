#include "app/operation_windows.h"

#include <QApplication>
#include <QScreen>
#include <algorithm>

#include "app/child_frame.h"
#include "app/main_frame.h"
#include "batch/batch_run.h"
#include "catalogue/config_operation.h"

namespace kymora {

namespace {

constexpr int compareAfterMs = 15;
constexpr double usualPanelShare = 0.3;                      // of the main window
constexpr int leastUsualPanel = 380, mostUsualPanel = 520;   // pixels
constexpr int leastPanelWidth = 200, mostPanelWidth = 2000;  // pixels
constexpr QSize usualGraphSize{1040, 700};
constexpr int mostPartSize = 10000;

void SetVariant(OperationWindow& window, const OperationVariant* variant) {
    if (variant) {
        ParamList params = window.Block().Params();
        if (Field* param = params.Find(variant->key)) param->SetFromText(variant->value);
    }
    window.Refresh();
}

}  // namespace

OperationWindows::OperationWindows(CMainFrame& frame)
    : QObject(&frame),
      frame_(frame),
      owner_{frame.GetSession(), &frame},
      configuringOwner_{frame.GetSession(), &frame} {
    owner_.transform = [this](const Operation& operation, CTransformDlg& dialog) {
        return frame_.RunTransform(operation, dialog);
    };
    owner_.withTraces = [this](CBatchBaseDlg& block) { return frame_.RunWithTraces(block); };
    owner_.openOther = [this](std::string_view className, const auto& settings) {
        OperationWindow* window = Open({FindOperation(className), nullptr});
        if (window->IsBusy()) return;
        for (const auto& [key, value] : settings) {
            ParamList params = window->Block().Params();
            params.Find(key)->SetFromText(value);
        }
        window->Refresh();
    };
    owner_.batch = [this](const Operation& operation, CBatchBaseDlg& block) {
        if (frame_.MayStartBatch()) frame_.StartBatch(OrderBatch(frame_.Batch(), operation, block));
    };
    compare_.setSingleShot(true);
    compare_.setInterval(compareAfterMs);
    connect(&compare_, &QTimer::timeout, this, &OperationWindows::CompareView);
    connect(qApp, &QApplication::focusChanged, this, &OperationWindows::OnFocus);
}

OperationWindows::~OperationWindows() {
    qApp->disconnect(this);
    for (OperationWindow* window : Windows()) {
        window->disconnect(this);
        OperationDock* panel = PanelOf(*window);
        if (panel) panel->disconnect(this);
        delete window;
        delete panel;
    }
}

std::vector<OperationWindow*> OperationWindows::Windows() const {
    std::vector<OperationWindow*> open;
    for (const auto& [name, window] : windows_)
        if (window) open.push_back(window);
    if (configuring_) open.push_back(configuring_);
    return open;
}

OperationWindow* OperationWindows::Find(std::string_view className) const {
    const auto found = windows_.find(className);
    return found == windows_.end() ? nullptr : found->second.data();
}

OperationWindow* OperationWindows::Open(const OperationEntry& entry) {
    const Operation& operation = *entry.operation;
    const std::string name(operation.className);
    OperationWindow* window = Find(name);
    if (!window) {
        const bool isFirst = !frame_.GetSession().operationSettings.contains(name);
        window = MakeOperationWindow(owner_, operation);
        windows_[name] = window;
        connect(window, &QDialog::finished, this, [this, name, window] { Closed(name, *window); });
        connect(window, &OperationWindow::Going, this, [this, window] { GiveKeysBack(*window); });
        if (active_) window->SetActive(&active_->Document(), &active_->View());
        if (isFirst) window->Block().SuggestSettings();
        SetVariant(*window, entry.variant);
        ShowIn(name, *window);
    } else if (!window->IsBusy()) {
        SetVariant(*window, entry.variant);
    }
    BringToFront(window);
    if (OperationDock* panel = PanelOf(*window)) {
        panel->ComeToFront();
        return window;
    }
    window->show();
    window->raise();
    window->activateWindow();
    return window;
}

void OperationWindows::ShowIn(const std::string& name, OperationWindow& window) {
    if (!window.isModal()) return Dock(name, window);
    const auto place = places_.find(name);
    if (place == places_.end()) return;
    const QRect held = HeldToScreens(place->second);
    if (held.isNull()) return;
    window.move(held.topLeft());
    window.resize(held.size());
}

// --- panels ---

void OperationWindows::Dock(const std::string& name, OperationWindow& window) {
    const auto known = panels_.find(name);
    const PanelPlace place = known == panels_.end() ? FirstPlace(window) : known->second;
    auto* panel = new OperationDock(frame_, window, place, PanelWidth());
    connect(panel, &OperationDock::Shown, this, [this, panel](bool isShown) {
        if (isShown && panel->Window()) BringToFront(panel->Window());
    });
}

// A graph that follows its settings needs room; all else stands beside the recordings.
int OperationWindows::PanelWidth() const {
    const int share = static_cast<int>(frame_.width() * usualPanelShare);
    return panelWidth_.value_or(std::clamp(share, leastUsualPanel, mostUsualPanel));
}

PanelPlace OperationWindows::FirstPlace(const OperationWindow& window) const {
    PanelPlace place;
    if (!window.Block().NeedsRoom()) return place;
    place.isFloating = true;
    place.floating.setSize(usualGraphSize.boundedTo(frame_.screen()->availableSize() * 9 / 10));
    place.floating.moveCenter(frame_.geometry().center());
    return place;
}

void OperationWindows::Closed(const std::string& name, OperationWindow& window) {
    const OperationDock* panel = PanelOf(window);
    if (!panel) {
        places_[name] = QRect(window.pos(), window.size());
    } else {
        panels_[name] = panel->Place();
        if (!panel->isFloating()) panelWidth_ = panel->width();
    }
    if (front_ == &window) front_ = nullptr;
    // The next one has its lines when those of this one are gone.
    QMetaObject::invokeMethod(
        this,
        [this] {
            if (!front_) BringToFront(FrontCandidate());
        },
        Qt::QueuedConnection);
}

// Before it is gone: the keyboard would go to the next widget in line, and bring the recording there to the
// front.
void OperationWindows::GiveKeysBack(const OperationWindow& window) {
    if (front_ == &window && PanelOf(window) && QApplication::activeWindow()) GiveKeysToView();
}

OperationDock* OperationWindows::PanelOf(const OperationWindow& window) const {
    return qobject_cast<OperationDock*>(window.parentWidget());
}

std::vector<OperationDock*> OperationWindows::ShownPanels() const {
    std::vector<OperationDock*> shown;
    for (const OperationWindow* window : Windows())
        if (OperationDock* panel = PanelOf(*window); panel && !panel->visibleRegion().isEmpty())
            shown.push_back(panel);
    return shown;
}

OperationWindow* OperationWindows::FrontCandidate() const {
    const auto shown = ShownPanels();
    return shown.empty() ? nullptr : shown.front()->Window();
}

void OperationWindows::BringToFront(OperationWindow* window) {
    if (window == front_) return;
    if (front_) front_->SetInFront(false);
    front_ = window;
    for (OperationWindow* other : Windows())
        if (other != window) other->SetInFront(false);
    if (window) window->SetInFront(true);
}

// Of panels that stand side by side, the one that the user goes to comes to the front.
void OperationWindows::OnFocus(const QWidget*, const QWidget* now) {
    // One that is just closing hands the keyboard on by itself.
    if (front_ && !front_->isVisible()) return;
    for (const QWidget* at = now; at; at = at->parentWidget())
        if (const auto* panel = qobject_cast<const OperationDock*>(at); panel && panel->Window())
            return BringToFront(panel->Window());
}

void OperationWindows::GiveKeysToView() {
    if (!active_) return;
    frame_.activateWindow();
    active_->Widget().setFocus();
}

void OperationWindows::GoToNextPanel() {
    const auto shown = ShownPanels();
    const auto at =
        std::ranges::find_if(shown, [](const OperationDock* panel) { return panel->HasKeyboard(); });
    const auto next = at == shown.end() ? shown.begin() : std::next(at);
    if (next == shown.end()) return GiveKeysToView();
    (*next)->ComeToFront();
}

QVariantMap OperationWindows::SaveState() const {
    QVariantMap places, folded, parts;
    auto panels = panels_;
    int width = panelWidth_.value_or(0);
    for (const auto& [name, window] : windows_)
        if (const OperationDock* panel = window ? PanelOf(*window) : nullptr) {
            panels[name] = panel->Place();
            if (!panel->isFloating()) width = panel->width();
        }
    for (const auto& [name, place] : panels)
        places[QString::fromStdString(name)] = QVariantMap{{"floating", place.isFloating},
                                                           {"area", static_cast<int>(place.area)},
                                                           {"place", place.floating}};
    for (const auto& [name, headings] : frame_.GetSession().foldedGroups) {
        QStringList list;
        for (const std::string& heading : headings) list << QString::fromStdString(heading);
        if (!list.isEmpty()) folded[QString::fromStdString(name)] = list;
    }
    for (const auto& [name, splitters] : frame_.GetSession().partSizes) {
        QVariantMap stored;
        for (const auto& [splitter, sizes] : splitters) {
            QVariantList list;
            for (const int size : sizes) list << size;
            stored[QString::fromStdString(splitter)] = list;
        }
        parts[QString::fromStdString(name)] = stored;
    }
    const GraphHabits& graphs = frame_.GetSession().graphs;
    const QVariantMap habits{{"grid", graphs.hasGrid},
                             {"values", graphs.tellsValues},
                             {"dropLines", graphs.hasDropLines},
                             {"pans", graphs.pans},
                             {"onePane", graphs.copiesOnePane}};
    return {{"width", width}, {"panels", places}, {"folded", folded}, {"parts", parts}, {"graphs", habits}};
}

// What cannot be is left as it is: the settings are a file that anybody may write.
void OperationWindows::RestoreState(const QVariantMap& state) {
    const int width = state.value("width").toInt();
    if (width >= leastPanelWidth && width <= mostPanelWidth) panelWidth_ = width;
    const QVariantMap places = state.value("panels").toMap(), folded = state.value("folded").toMap();
    for (auto entry = places.begin(); entry != places.end(); ++entry) {
        const QVariantMap stored = entry.value().toMap();
        PanelPlace& place = panels_[entry.key().toStdString()];
        place.isFloating = stored.value("floating").toBool();
        if (stored.value("area").toInt() == Qt::LeftDockWidgetArea) place.area = Qt::LeftDockWidgetArea;
        place.floating = stored.value("place").toRect();
    }
    for (auto entry = folded.begin(); entry != folded.end(); ++entry)
        for (const QString& heading : entry.value().toStringList())
            frame_.GetSession().foldedGroups[entry.key().toStdString()].insert(heading.toStdString());
    const QVariantMap parts = state.value("parts").toMap(), habits = state.value("graphs").toMap();
    for (auto entry = parts.begin(); entry != parts.end(); ++entry) {
        const QVariantMap splitters = entry.value().toMap();
        for (auto splitter = splitters.begin(); splitter != splitters.end(); ++splitter) {
            std::vector<int> sizes;
            for (const QVariant& size : splitter.value().toList())
                sizes.push_back(std::clamp(size.toInt(), 0, mostPartSize));
            frame_.GetSession().partSizes[entry.key().toStdString()][splitter.key().toStdString()] = sizes;
        }
    }
    GraphHabits& graphs = frame_.GetSession().graphs;
    const auto take = [&habits](const char* name, bool& flag) { flag = habits.value(name, flag).toBool(); };
    take("grid", graphs.hasGrid);
    take("values", graphs.tellsValues);
    take("dropLines", graphs.hasDropLines);
    take("pans", graphs.pans);
    take("onePane", graphs.copiesOnePane);
}

void OperationWindows::OnLoadConfigFile(const std::filesystem::path& path) {
    const Operation* operation = OperationOfConfig(frame_.GetSession(), path);
    if (!operation) return;
    const bool wasOpen = Find(operation->className) != nullptr;
    OperationWindow* window = Open({operation});
    if (!window->LoadConfigFile(path) && !wasOpen) window->close();
}

bool OperationWindows::Configure(const Operation& operation, const std::vector<std::byte>* settings,
                                 const std::string& key, const std::string& value,
                                 std::function<void(CBatchBaseDlg&)> taken) {
    if (!active_) return false;
    if (configuring_) configuring_->close();
    const bool isFirst = !frame_.GetSession().operationSettings.contains(std::string(operation.className));
    OperationWindow* window = MakeOperationWindow(configuringOwner_, operation);
    configuring_ = window;
    window->SetConfiguring(std::move(taken));
    if (settings) {
        window->Block().TakeSettings(*settings);
        window->Block().SettingsWereChosen();
    }
    window->SetActive(&active_->Document(), &active_->View());
    if (!settings && isFirst) window->Block().SuggestSettings();
    const OperationVariant set{{}, {}, {}, key, value};
    SetVariant(*window, key.empty() ? nullptr : &set);
    window->show();
    return true;
}

// --- what happens to the views ---

void OperationWindows::SetActive(CChildFrame* child) {
    if (child == active_) return;
    if (active_) active_->Widget().disconnect(this);
    active_ = child;
    seen_.reset();
    if (child) {
        connect(&child->Widget(), &ViewWidget::ViewChanged, &compare_, qOverload<>(&QTimer::start));
        connect(&child->Widget(), &ViewWidget::DocumentChanged, this, &OperationWindows::OnDocumentChanged);
        seen_ = SeenOf(child->View());
    }
    for (OperationWindow* window : Windows()) {
        window->SetActive(child ? &child->Document() : nullptr, child ? &child->View() : nullptr);
        if (window->IsBusy() || window->IsConfiguring()) continue;
        window->Block().SuggestSettings();
        window->Refresh();
    }
}

void OperationWindows::LetGo(const CChildFrame* child) {
    for (OperationWindow* window : Windows()) window->Forget(child->View());
    if (child == active_) SetActive(nullptr);
}

void OperationWindows::Forget(const CChildFrame* child) {
    LetGo(child);
    if (frame_.Children().size() > 1) return;
    for (OperationWindow* window : Windows()) window->close();
}

void OperationWindows::OnDocumentChanged(UpdateHint hint) {
    for (OperationWindow* window : Windows()) window->DocumentChanged(hint);
}

OperationWindows::Seen OperationWindows::SeenOf(const CKymoraView& view) const {
    Seen seen{view.GetViewport(), view.GetCursorTimes(), {}};
    for (int t = 0; t < view.GetDocument().traceCount; ++t)
        seen.shownTraces.push_back(view.Plot().IsTraceShown(t));
    return seen;
}

void OperationWindows::CompareView() {
    if (!active_ || !seen_) return;
    const Seen before = std::exchange(*seen_, SeenOf(active_->View()));
    const bool hasMoved = !(before.viewport == seen_->viewport) || before.shownTraces != seen_->shownTraces;
    for (OperationWindow* window : Windows()) {
        if (hasMoved) window->ViewMoved();
        if (before.cursors != seen_->cursors) window->CursorsMoved();
    }
}

}  // namespace kymora
