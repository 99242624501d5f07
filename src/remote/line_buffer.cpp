#include "remote/line_buffer.h"

namespace kymora {

void LineBuffer::Append(std::string_view bytes) {
    text_.erase(0, start_);
    if (HasLine()) end_ -= start_;
    start_ = 0;
    const size_t before = text_.size();
    text_ += bytes;
    if (!HasLine()) FindEnd(before);
}

std::optional<std::string> LineBuffer::Next() {
    if (!HasLine() || IsTooLong()) return std::nullopt;
    std::string line = text_.substr(start_, end_ - start_);
    if (!line.empty() && line.back() == '\r') line.pop_back();
    start_ = end_ + 1;
    FindEnd(start_);
    return line;
}

}  // namespace kymora
