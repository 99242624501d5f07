#pragma once
// A label that takes little room. What its line does not hold can be read in its tool tip, or, where it may
// take several lines, stands in the next ones.

#include <QLabel>

namespace kymora {

class ElidedLabel : public QLabel {
    Q_OBJECT

  public:
    // `leastLetters` is the room that it asks for.
    ElidedLabel(int leastLetters, QWidget* parent);
    void SetText(const QString& text);
    void SetSeveralLines();
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;
    int heightForWidth(int width) const override;

  protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    void Fit();

    int leastLetters_;
};

}  // namespace kymora
