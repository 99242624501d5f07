#pragma once
// Spike2 files: the 32-bit kind (.smr), which is read, and the 64-bit kind (.smrx), which is named and
// refused since its layout is not published. The layout of the 32-bit kind: "The SON filing system" (CED), as
// the public descriptions of its header give it.

#include "import/foreign_doc.h"

namespace kymora {

class CSpike2Doc : public CForeignDoc {
  public:
    using CForeignDoc::CForeignDoc;
    int GetFileType() const override { return typeSpike2; }

  protected:
    ForeignRecording ReadRecording(const DataFile& file) override;
    const char* DetailsTitle() const override { return "Spike2 File Details"; }
};

class CSpike64Doc : public CForeignDoc {
  public:
    using CForeignDoc::CForeignDoc;
    // What a reader of these files says of its limits.
    static constexpr const char* tooManyOpenText =
        "You can only have 8 64-bit Spike2 files open at a time (CED limit).";
    static constexpr const char* tooManyTicksText =
        "Kymora can only handle Spike2 'smrx' files which are shorter than 2147483647 clock ticks in length.";

  protected:
    ForeignRecording ReadRecording(const DataFile& file) override;
};

}  // namespace kymora
