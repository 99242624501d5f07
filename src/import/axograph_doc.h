#pragma once
// AxoGraph files: graphs (version 1), digitized files (2) and those of AxoGraph X (3 and above). Columns that
// are sweeps of the same channels are joined one behind another, each an episode; import setting "sweeps"
// ("joined" or "traces") says otherwise, and the side-car remembers it. Layout: the header file for reading
// and writing that AxoGraph has published.

#include "import/foreign_doc.h"

namespace kymora {

class CAxographDoc : public CForeignDoc {
  public:
    using CForeignDoc::CForeignDoc;
    int GetFileType() const override { return typeAxograph; }
    Reopening ToReopen() const override;

  protected:
    ForeignRecording ReadRecording(const DataFile& file) override;
    SideCarResult ReadOwnSideCar() override;
    const char* DetailsTitle() const override { return "AxoGraph File Details"; }

  private:
    SideCarOfChoice sideCar_;
};

}  // namespace kymora
