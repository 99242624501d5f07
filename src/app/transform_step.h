#pragma once
// The recording before a transform, or behind it, as a step of undo: its document with all that was not
// saved, its views, and the file that belongs to it. An undo puts file and document in their place, and this
// object goes on with the ones that were there.

#include <vector>

#include "display/kymora_view.h"
#include "document/kept_file.h"
#include "document/undo.h"

namespace kymora {

class CMainFrame;

class TransformStep : public OtherVersion {
  public:
    TransformStep(CMainFrame& frame, std::string transform, std::unique_ptr<KeptFile> kept);
    bool Exchange(CDataDoc& present) override;

    KeptFile& File() { return *kept_; }
    // Null for what a killed program has left: it is opened when it is wanted.
    std::shared_ptr<CDataDoc> document;
    std::vector<std::unique_ptr<CKymoraView>> views;  // go before the document

    // What comes before that one, until it is opened.
    std::unique_ptr<OtherVersion> earlier;

    // Puts the file alone in its place, from where that of `present` goes. False where it is not as anybody
    // expects it; the user was told.
    bool SwapFiles(CDataDoc& present);

  private:
    bool SwapBack(const CDataDoc& present);

    CMainFrame& frame_;
    std::unique_ptr<KeptFile> kept_;
};

}  // namespace kymora
