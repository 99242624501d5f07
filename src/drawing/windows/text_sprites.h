#pragma once
// Texts as small pictures, kept from one repaint to the next: shaping and drawing the letters of a label
// costs thirty times as much as copying its pixels, and a view shows the same labels in every repaint.

#include <QImage>
#include <QPoint>
#include <string>
#include <unordered_map>

#include "drawing/draw_device.h"

namespace kymora {

// A picture of a text and where its corner lies from the point at which the text is to stand, both in pixels
// of the screen.
struct TextSprite {
    QImage image;
    QPoint corner;
};

// Kept by a key that the device makes of everything that changes its look. When they have become many,
// all are forgotten: those in use are soon made again.
class TextSprites {
  public:
    // Those of this thread.
    static TextSprites& Here();

    template <typename Make>
    const TextSprite& Sprite(const std::string& key, Make make) {
        const auto found = sprites_.find(key);
        if (found != sprites_.end()) return found->second;
        MakeRoom();
        const TextSprite& made = sprites_.emplace(key, make()).first->second;
        bytes_ += made.image.sizeInBytes();
        return made;
    }
    template <typename Make>
    Extent ExtentOf(const std::string& key, Make make) {
        const auto found = extents_.find(key);
        if (found != extents_.end()) return found->second;
        if (extents_.size() >= mostExtents) extents_.clear();
        return extents_.emplace(key, make()).first->second;
    }

  private:
    static constexpr qsizetype mostBytes = qsizetype{32} << 20;
    static constexpr size_t mostExtents = 20000;

    void MakeRoom() {
        if (bytes_ < mostBytes) return;
        sprites_.clear();
        bytes_ = 0;
    }

    std::unordered_map<std::string, TextSprite> sprites_;
    std::unordered_map<std::string, Extent> extents_;
    qsizetype bytes_ = 0;
};

}  // namespace kymora
