#include "catalogue/windows/window_table.h"

#include "catalogue/windows/event_base_non_modal_dlg.h"
#include "catalogue/windows/transform_window.h"

namespace kymora {

namespace {

using Block = std::unique_ptr<CBatchBaseDlg>;

struct OwnWindow {
    bool (*serves)(const CBatchBaseDlg&);
    OperationWindow* (*make)(WindowOwner&, const Operation&, Block);
};

bool IsTransform(const CBatchBaseDlg& block) { return dynamic_cast<const CTransformDlg*>(&block); }

OperationWindow* MakeTransformWindow(WindowOwner& owner, const Operation& operation, Block block) {
    std::unique_ptr<CTransformDlg> transform(static_cast<CTransformDlg*>(block.release()));
    auto* window =
        new TransformWindow(owner.session, operation, std::move(transform), &owner.previewLook, owner.parent);
    if (owner.transform)
        window->onTransform = [&](CTransformDlg& dialog) { return owner.transform(operation, dialog); };
    return window;
}

constexpr OwnWindow ownWindows[] = {{IsTransform, MakeTransformWindow}};

}  // namespace

OperationWindow* MakeOperationWindow(WindowOwner& owner, const Operation& operation) {
    Block block = operation.make();
    for (const OwnWindow& own : ownWindows)
        if (own.serves(*block)) return own.make(owner, operation, std::move(block));
    auto* window = new CEventBaseNonModalDlg(owner.session, operation, std::move(block), owner.parent);
    if (owner.batch) window->onBatch = [&](CBatchBaseDlg& chosen) { owner.batch(operation, chosen); };
    return window;
}

}  // namespace kymora
