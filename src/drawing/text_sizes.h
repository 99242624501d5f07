#pragma once
// How large texts were when they were last drawn. What the mouse hits is told without a device to measure
// with, so drawing leaves the sizes here.

#include <map>
#include <string>
#include <utility>

#include "drawing/draw_device.h"

namespace kymora {

class TextSizes {
  public:
    // Of a line in a font: as it was last drawn, or a guess for a text that was not drawn yet.
    Extent Of(const std::string& line, const FontSpec& font) const {
        const auto found = drawn_.find(Key(line, font));
        if (found != drawn_.end()) return found->second;
        const auto width = static_cast<int64_t>(line.size()) * font.pixelHeight * 11 / 20;
        return {ClampPixel(width), font.pixelHeight * 5 / 4};
    }
    void Note(const std::string& line, const FontSpec& font, Extent extent) {
        if (drawn_.size() >= mostKept) drawn_.clear();
        drawn_[Key(line, font)] = extent;
    }

  private:
    static constexpr size_t mostKept = 4096;

    static std::pair<std::string, std::string> Key(const std::string& line, const FontSpec& font) {
        return {line, font.face + '\n' + std::to_string(font.pixelHeight) + ' ' +
                          std::to_string(font.weight) + (font.italic ? " i" : "")};
    }

    std::map<std::pair<std::string, std::string>, Extent> drawn_;
};

}  // namespace kymora
