#pragma once
// Axon binary files (.abf) of versions 1 and 2, in all five modes of acquisition. Sweeps and segments are
// joined one behind another; each is an episode.

#include "import/axon_header.h"
#include "import/foreign_doc.h"

namespace kymora {

class CAxonDoc : public CForeignDoc {
  public:
    using CForeignDoc::CForeignDoc;
    int GetFileType() const override { return typeAxon; }

  protected:
    ForeignRecording ReadRecording(const DataFile& file) override;
    const char* DetailsTitle() const override { return "Axon File Details"; }
};

// The numbers of the file for the dialog, which the document shows.
class CAxonDetails {
  public:
    explicit CAxonDetails(const AxonHeader& header) : header_(header) {}
    std::vector<std::pair<std::string, std::string>> Rows() const;

  private:
    const AxonHeader& header_;
};

}  // namespace kymora
