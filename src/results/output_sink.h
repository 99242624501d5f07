#pragma once
// Where a text goes piece by piece.

#include <string_view>

namespace kymora {

class OutputSink {
  public:
    virtual ~OutputSink() = default;
    virtual void Write(std::string_view text) = 0;
};

}  // namespace kymora
