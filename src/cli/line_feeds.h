#pragma once
// Texts with the line ends of the terminal.

#include <string>

#include "results/output_sink.h"

namespace kymora {

// Passes a text on with CR LF written as LF, also where the two stand in two pieces.
class LineFeeds : public OutputSink {
  public:
    explicit LineFeeds(OutputSink& to) : to_(to) {}
    void Write(std::string_view text) override {
        std::string plain;
        plain.reserve(text.size() + 1);
        for (const char c : text) {
            if (heldReturn_ && c != '\n') plain += '\r';
            heldReturn_ = c == '\r';
            if (!heldReturn_) plain += c;
        }
        to_.Write(plain);
    }
    void Finish() {
        if (heldReturn_) to_.Write("\r");
        heldReturn_ = false;
    }

  private:
    OutputSink& to_;
    bool heldReturn_ = false;
};

}  // namespace kymora
