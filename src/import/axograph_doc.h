#pragma once
// AxoGraph files: graphs (version 1), digitized files (2) and those of AxoGraph X (3 and above). Columns that
// are sweeps of the same channels are joined one behind another, each an episode; import setting "sweeps"
// ("joined" or "traces") says otherwise. Layout: the header file for reading and writing that AxoGraph has
// published.

#include "import/foreign_doc.h"

namespace kymora {

class CAxographDoc : public CForeignDoc {
  public:
    using CForeignDoc::CForeignDoc;
    int GetFileType() const override { return typeAxograph; }

  protected:
    ForeignRecording ReadRecording(const DataFile& file) override;
    const char* DetailsTitle() const override { return "AxoGraph File Details"; }
};

}  // namespace kymora
