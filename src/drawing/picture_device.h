#pragma once
// The devices that make files.

#include <cstddef>
#include <functional>
#include <memory>
#include <vector>

#include "drawing/draw_device.h"

namespace kymora {

enum class PictureFormat { png, svg, pdf };

// The text of pictures, in pixels of 1/96 inch.
inline constexpr double plainTextHeight = 11.5;
inline constexpr const char* plainTextFace = "DejaVu Sans";
inline constexpr int greatestTextHeight = 1000;

class PictureDevice : public DrawDevice {
  public:
    // The bytes of the file. A page of shapes is finished by it: nothing can be drawn on it afterwards. Asks
    // `goOn` now and then; empty when it said no. Throws std::runtime_error.
    virtual std::vector<std::byte> Encode(const std::function<bool()>& goOn) = 0;
    std::vector<std::byte> Encode() {
        return Encode([] { return true; });
    }
};

// A PNG has `scale` pixels for each one that is drawn; shapes have no pixels. Throws std::runtime_error when
// there cannot be such a picture.
std::unique_ptr<PictureDevice> MakePictureDevice(int width, int height, PictureFormat format,
                                                 double scale = 1.0);

}  // namespace kymora
