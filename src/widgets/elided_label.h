#pragma once
// A label of one line that takes little room and shows the rest of a long text in its tool tip.

#include <QLabel>

namespace kymora {

class ElidedLabel : public QLabel {
    Q_OBJECT

  public:
    // `leastLetters` is the room that it asks for.
    ElidedLabel(int leastLetters, QWidget* parent);
    void SetText(const QString& text);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    void Fit();

    int leastLetters_;
};

}  // namespace kymora
