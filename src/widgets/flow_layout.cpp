#include "widgets/flow_layout.h"

#include <QWidget>
#include <algorithm>

namespace kymora {

namespace {

constexpr int between = 6;  // pixels

}  // namespace

FlowLayout::~FlowLayout() { qDeleteAll(items_); }

QLayoutItem* FlowLayout::takeAt(int index) {
    return index >= 0 && index < items_.size() ? items_.takeAt(index) : nullptr;
}

QSize FlowLayout::sizeHint() const {
    QSize size(0, 0);
    for (const QLayoutItem* item : items_) {
        if (item->isEmpty()) continue;
        const QSize one = item->sizeHint();
        size = {size.width() + (size.isEmpty() ? 0 : between) + one.width(),
                std::max(size.height(), one.height())};
    }
    return size;
}

QSize FlowLayout::minimumSize() const {
    QSize size(0, 0);
    for (const QLayoutItem* item : items_)
        if (!item->isEmpty()) size = size.expandedTo(item->sizeHint());
    return size;
}

void FlowLayout::setGeometry(const QRect& room) {
    QLayout::setGeometry(room);
    Place(room, true);
}

int FlowLayout::Place(const QRect& room, bool moves) const {
    int x = 0, y = 0, line = 0;
    for (QLayoutItem* item : items_) {
        if (item->isEmpty()) continue;
        const QSize size = item->sizeHint();
        if (x > 0 && x + size.width() > room.width()) {
            y += line + between;
            x = line = 0;
        }
        if (moves) item->setGeometry({room.topLeft() + QPoint(x, y), size});
        x += size.width() + between;
        line = std::max(line, size.height());
    }
    return y + line;
}

}  // namespace kymora
