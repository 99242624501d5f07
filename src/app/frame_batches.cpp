// The main frame's part of batches: their windows, and what ends them.

#include <fmt/format.h>

#include "app/main_frame.h"
#include "app/operation_windows.h"
#include "batch/windows/batch_window.h"
#include "batch/windows/multi_batch_window.h"

namespace kymora {

// --- the To Do list ---

void CMainFrame::MakeBatchList() {
    batchList_ = new MultiBatchWindow(session_, this);
    batchList_->onConfigure = [this](const Operation& operation, const std::vector<std::byte>* settings,
                                     const std::string& key, const std::string& value,
                                     MultiBatchWindow::Take taken) {
        return operations_->Configure(operation, settings, key, value, std::move(taken));
    };
    batchList_->onRun = [this](const CMultiBatch& list, const std::string& name) {
        if (MayStartBatch()) StartBatch(OrderListBatch(batch_, list, name));
    };
}

void CMainFrame::OnBatchList() {
    if (!batchList_) MakeBatchList();
    batchList_->show();
    batchList_->raise();
    batchList_->activateWindow();
}

void CMainFrame::LoadBatchList(const std::filesystem::path& path) {
    session_.host.Log(
        fmt::format("CDataDoc::OnLoadConfigFile(): type = CMultiBatch, filename = {}\n", path.string()));
    const bool wasOpen = batchList_ != nullptr;
    if (!wasOpen) MakeBatchList();
    if (batchList_->LoadFile(path))
        OnBatchList();
    else if (!wasOpen)
        delete batchList_;
}

MultiBatchWindow* CMainFrame::BatchList() const { return batchList_; }

// --- batches under way ---

BatchWindow* CMainFrame::RunningBatch() const {
    for (BatchWindow* window : findChildren<BatchWindow*>())
        if (window->IsRunning()) return window;
    return nullptr;
}

bool CMainFrame::MayStartBatch() {
    BatchWindow* running = RunningBatch();
    if (!running) return true;
    session_.host.Message("A batch is still running. Wait for its end, or cancel it.");
    running->raise();
    return false;
}

bool CMainFrame::StartBatch(std::optional<BatchOrder> order) {
    if (!order) return false;
    auto* window = new BatchWindow(std::move(*order), batch_, this);
    window->show();
    return true;
}

bool CMainFrame::MayEndBatches() {
    BatchWindow* running = RunningBatch();
    return (!running || running->MayEnd()) && (!batchList_ || batchList_->MayLose());
}

void CMainFrame::EndBatches() {
    for (BatchWindow* window : findChildren<BatchWindow*>()) delete window;
    delete batchList_;
}

}  // namespace kymora
