#pragma once
// DataQ WinDaq files (.wdq). Event markers with their comments become an event channel. Layout: "CODAS Data
// Storage Format" (DataQ). Packed files, whose channels have rates of their own, are refused.

#include "import/foreign_doc.h"

namespace kymora {

class CDataQDoc : public CForeignDoc {
  public:
    using CForeignDoc::CForeignDoc;
    int GetFileType() const override { return typeDataQ; }

  protected:
    ForeignRecording ReadRecording(const DataFile& file) override;
    const char* DetailsTitle() const override { return "WinDaq File Details"; }
};

}  // namespace kymora
