#pragma once
// What a widget shows, as a picture.

#include <QBuffer>
#include <QPixmap>
#include <QWidget>
#include <cstddef>
#include <vector>

namespace kymora {

// PNG; empty when none can be made.
inline std::vector<std::byte> PngOf(QWidget& widget) {
    QByteArray bytes;
    QBuffer buffer(&bytes);
    if (!widget.grab().save(&buffer, "PNG")) return {};
    const auto* first = reinterpret_cast<const std::byte*>(bytes.constData());
    return {first, first + bytes.size()};
}

}  // namespace kymora
