#pragma once
// Passes a text on to a file as it is.

#include <span>

#include "archive/archive.h"
#include "results/output_sink.h"

namespace kymora {

class ArchiveOutput : public OutputSink {
  public:
    // The archive outlives it.
    explicit ArchiveOutput(CArchive& archive) : archive_(archive) {}
    void Write(std::string_view text) override { archive_.WriteRaw(std::as_bytes(std::span(text))); }

  private:
    CArchive& archive_;
};

}  // namespace kymora
