#pragma once
// SpikeGLX recordings: a file of interleaved numbers (.ap.bin, .lf.bin, .nidq.bin, .obx.bin) and a text
// (.meta) beside it; either of them opens. Lines of digital words become event channels. Layout: the user
// manual and metadata guides of SpikeGLX.

#include "import/spike_glx_meta.h"
#include "import/stream_doc.h"

namespace kymora {

class CSpikeGlxDoc : public CStreamDoc {
  public:
    using CStreamDoc::CStreamDoc;
    int GetFileType() const override { return typeSpikeGlx; }

  protected:
    std::vector<DataStream> ReadStreams(const DataFile& file) override;
    ForeignRecording ReadStream(const StreamChoice& choice) override;
    const char* DetailsTitle() const override { return "SpikeGLX File Details"; }

  private:
    void ReadDigital(ForeignRecording& recording, int64_t from);

    std::unique_ptr<SpikeGlxMeta> meta_;
    int64_t scans_ = 0;
};

}  // namespace kymora
