#pragma once
// Cuts what arrives on a connection into lines, and takes no more memory than the longest line may have.

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace kymora {

class LineBuffer {
  public:
    explicit LineBuffer(size_t longestLine) : longest_(longestLine) {}

    void Append(std::string_view bytes);
    // The next whole line without its end ("\n" or "\r\n"); nothing when there is none yet.
    std::optional<std::string> Next();
    bool HasLine() const { return end_ != std::string::npos; }
    // The first line, whole or not, is longer than it may be. There is no way on from here.
    bool IsTooLong() const { return (HasLine() ? end_ : text_.size()) - start_ > longest_; }

  private:
    void FindEnd(size_t from) { end_ = text_.find('\n', from); }

    size_t longest_;
    std::string text_;
    size_t start_ = 0;                // of the first line
    size_t end_ = std::string::npos;  // its line end
};

}  // namespace kymora
