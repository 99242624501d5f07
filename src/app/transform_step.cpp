#include "app/transform_step.h"

#include "app/main_frame.h"

namespace kymora {

TransformStep::TransformStep(CMainFrame& frame, std::string transform, std::unique_ptr<KeptFile> kept)
    : frame_(frame), kept_(std::move(kept)) {
    name = std::move(transform);
}

bool TransformStep::SwapFiles(CDataDoc& present) {
    // A document that stands beside the place has no part in what is there.
    const bool isInPlace = IsSameFile(present.GetSession().files, present.filePath, kept_->Place());
    try {
        kept_->Swap(isInPlace ? present.RememberedStamp(present.filePath) : kept_->Placed());
        return true;
    } catch (const FileError& error) {
        present.GetHost().Failure(std::string("The file could not be brought back.\n") + error.what());
        return false;
    }
}

// What came into the place does not open. Answers false.
bool TransformStep::SwapBack(const CDataDoc& present) {
    try {
        kept_->Swap(kept_->Placed());
    } catch (const FileError& error) {
        present.GetHost().Failure(error.what());
    }
    return false;
}

bool TransformStep::Exchange(CDataDoc& present) {
    UndoStack& stack = present.Undo();
    const bool isUndo = stack.Before().get() == this;
    if (frame_.IsTransforming() || !SwapFiles(present)) return false;
    if (!document) {
        document = frame_.OpenVersion(present.filePath);
        if (document) document->Undo().Before() = std::move(earlier);
    }
    if (!document) return SwapBack(present);
    std::unique_ptr<OtherVersion> self = std::move(isUndo ? stack.Before() : stack.After());
    const std::shared_ptr<CDataDoc> shown = document;
    frame_.ShowVersion(present, document, views);
    (isUndo ? shown->Undo().After() : shown->Undo().Before()) = std::move(self);
    shown->UpdateAllViews(UpdateHint::settings);
    return true;
}

}  // namespace kymora
