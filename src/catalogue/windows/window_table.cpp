#include "catalogue/windows/window_table.h"

#include "catalogue/windows/channels_window.h"
#include "catalogue/windows/event_base_non_modal_dlg.h"
#include "catalogue/windows/transform_window.h"
#include "eventedit/channel_places_dlg.h"
#include "sorting/windows/sorter_window.h"

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

bool HasPlaces(const CBatchBaseDlg& block) { return dynamic_cast<const CChannelPlacesDlg*>(&block); }

OperationWindow* OfferBatch(CEventBaseNonModalDlg* window, WindowOwner& owner, const Operation& operation) {
    window->onTraces = window->Block().onTraces = owner.withTraces;
    window->Block().onOpenOther = owner.openOther;
    if (owner.batch) window->onBatch = [&](CBatchBaseDlg& chosen) { owner.batch(operation, chosen); };
    return window;
}

OperationWindow* MakeChannelsWindow(WindowOwner& owner, const Operation& operation, Block block) {
    return OfferBatch(new ChannelsWindow(owner.session, operation, std::move(block), owner.parent), owner,
                      operation);
}

bool IsSorter(const CBatchBaseDlg& block) { return dynamic_cast<const CFindShapes*>(&block); }

// The sheet is the operation with what is done by hand.
OperationWindow* MakeSorterWindow(WindowOwner& owner, const Operation& operation, Block) {
    return new SorterWindow(owner.session, operation, std::make_unique<CSorterSheet>(), owner.parent);
}

constexpr OwnWindow ownWindows[] = {
    {IsTransform, MakeTransformWindow}, {HasPlaces, MakeChannelsWindow}, {IsSorter, MakeSorterWindow}};

}  // namespace

OperationWindow* MakeOperationWindow(WindowOwner& owner, const Operation& operation) {
    Block block = operation.make();
    for (const OwnWindow& own : ownWindows)
        if (own.serves(*block)) return own.make(owner, operation, std::move(block));
    return OfferBatch(new CEventBaseNonModalDlg(owner.session, operation, std::move(block), owner.parent),
                      owner, operation);
}

}  // namespace kymora
