#pragma once
// CED signal files (.cfs): frames of 16-bit, single or double precision numbers, which are joined one behind
// another; each is an episode. Layout: the published sources of the CED filing system.

#include "import/foreign_doc.h"

namespace kymora {

class CCEDDoc : public CForeignDoc {
  public:
    using CForeignDoc::CForeignDoc;
    int GetFileType() const override { return typeCed; }

  protected:
    ForeignRecording ReadRecording(const DataFile& file) override;
    const char* DetailsTitle() const override { return "CED Signal File Details"; }
};

}  // namespace kymora
