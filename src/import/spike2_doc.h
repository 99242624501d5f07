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

  protected:
    ForeignRecording ReadRecording(const DataFile& file) override;
};

}  // namespace kymora
