#pragma once
// Waiting for what a window shows.

#include <QEvent>
#include <QObject>
#include <QTimer>
#include <QWidget>
#include <functional>

namespace kymora {

// Waits until a widget has been painted while `isWhole` holds, tells it, and deletes itself. It lives with
// its parent. The widget must paint again when `isWhole` begins to hold.
class PaintWaiter : public QObject {
  public:
    PaintWaiter(QWidget* widget, int timeoutMs, std::function<bool()> isWhole, QObject* parent,
                std::function<void(bool)> done)
        : QObject(parent), isWhole_(std::move(isWhole)), done_(std::move(done)) {
        timeout_.setSingleShot(true);
        connect(&timeout_, &QTimer::timeout, this, [this] { Finish(false); });
        // A widget that nobody can see is never painted.
        if (widget == nullptr || widget->visibleRegion().isEmpty() || widget->window()->isMinimized()) {
            timeout_.start(0);
            return;
        }
        timeout_.start(timeoutMs);
        connect(widget, &QObject::destroyed, this, [this] { Finish(false); });
        widget->installEventFilter(this);
        widget->update();
    }

    bool eventFilter(QObject*, QEvent* event) override {
        // Behind the painting, which comes after this filter, and the copy to the screen. What is read may
        // change in between, so it counts how things stood when the painting began.
        if (event->type() == QEvent::Paint && done_ && isWhole_())
            QTimer::singleShot(0, this, [this] { Finish(true); });
        return false;
    }

  private:
    void Finish(bool painted) {
        if (!done_) return;
        const auto done = std::exchange(done_, nullptr);
        timeout_.stop();
        deleteLater();
        done(painted);
    }

    std::function<bool()> isWhole_;
    std::function<void(bool)> done_;
    QTimer timeout_;
};

}  // namespace kymora
