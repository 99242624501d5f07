#pragma once
// What a window says of its state: as high as its text, up to a few lines, and beyond that it scrolls, so
// that a long text takes no room from what stands above it.

#include <QScrollArea>

class QLabel;

namespace kymora {

class MessageArea : public QScrollArea {
    Q_OBJECT

  public:
    explicit MessageArea(QWidget* parent = nullptr);

    void Show(const QString& text, const QPalette& colours);

  protected:
    void resizeEvent(QResizeEvent* event) override;
    void changeEvent(QEvent* event) override;

  private:
    void FitHeight();

    QLabel* label_;
};

}  // namespace kymora
