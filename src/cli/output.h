#pragma once
// Standard output for results, fully buffered, with every write error noticed.

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

#include "results/output_sink.h"

namespace kymora {

// The reader of standard output has gone away; there is nothing left to do and nothing to complain about, so
// that it is no std::exception.
struct OutputClosed {};

class StandardOutput : public OutputSink {
  public:
    StandardOutput();
    // Throws OutputClosed, Cancelled after an interrupt, or CommandError.
    void Write(std::string_view text) override;
    void WriteBytes(std::span<const std::byte> bytes);
    // What was not flushed when the program ends is lost.
    void Flush();
    static bool IsTerminal();

  private:
    void WriteThrough(std::string_view text);

    std::string buffer_;
};

}  // namespace kymora
