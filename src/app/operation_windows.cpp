#include "app/operation_windows.h"

#include <QScreen>

#include "app/child_frame.h"
#include "app/main_frame.h"
#include "batch/batch_run.h"
#include "catalogue/config_operation.h"

namespace kymora {

namespace {

constexpr int compareAfterMs = 15;

void SetVariant(OperationWindow& window, const OperationVariant* variant) {
    if (variant) {
        ParamList params = window.Block().Params();
        if (Field* param = params.Find(variant->key)) param->SetFromText(variant->value);
    }
    window.Refresh();
}

}  // namespace

OperationWindows::OperationWindows(CMainFrame& frame)
    : QObject(&frame), frame_(frame), owner_{frame.GetSession(), &frame} {
    owner_.transform = [this](const Operation& operation, CTransformDlg& dialog) {
        return frame_.RunTransform(operation, dialog);
    };
    owner_.batch = [this](const Operation& operation, CBatchBaseDlg& block) {
        RunBatch(operation, block, frame_.Batch());
    };
    compare_.setSingleShot(true);
    compare_.setInterval(compareAfterMs);
    connect(&compare_, &QTimer::timeout, this, &OperationWindows::CompareView);
}

OperationWindows::~OperationWindows() {
    for (OperationWindow* window : Windows()) delete window;
}

std::vector<OperationWindow*> OperationWindows::Windows() const {
    std::vector<OperationWindow*> open;
    for (const auto& [name, window] : windows_)
        if (window) open.push_back(window);
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
        connect(window, &QDialog::finished, this,
                [this, name, window] { places_[name] = QRect(window->pos(), window->size()); });
        if (active_) window->SetActive(&active_->Document(), &active_->View());
        if (isFirst) window->Block().SuggestSettings();
        SetVariant(*window, entry.variant);
        const auto place = places_.find(name);
        if (place != places_.end() && window->screen()->availableGeometry().intersects(place->second)) {
            window->move(place->second.topLeft());
            window->resize(place->second.size());
        }
    } else if (!window->IsBusy()) {
        SetVariant(*window, entry.variant);
    }
    window->show();
    window->raise();
    window->activateWindow();
    return window;
}

void OperationWindows::OnLoadConfigFile(const std::filesystem::path& path) {
    const Operation* operation = OperationOfConfig(frame_.GetSession(), path);
    if (!operation) return;
    const bool wasOpen = Find(operation->className) != nullptr;
    OperationWindow* window = Open({operation});
    if (!window->LoadConfigFile(path) && !wasOpen) window->close();
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
        if (window->IsBusy()) continue;
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
