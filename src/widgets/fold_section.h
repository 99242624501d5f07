#pragma once
// A part of a window below a heading that folds it away and brings it back, by the mouse and by the keyboard:
// the space key does either, the left arrow folds and the right arrow unfolds.

#include <QPushButton>
#include <QWidget>

namespace kymora {

// The heading. It says for itself whether what stands below is shown: it is checked then.
class FoldHeading : public QPushButton {
    Q_OBJECT

  public:
    FoldHeading(const QString& text, QWidget* parent);
    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

  protected:
    void paintEvent(QPaintEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
};

class FoldSection : public QWidget {
    Q_OBJECT

  public:
    FoldSection(const QString& heading, QWidget* parent);

    QWidget* Content() const { return content_; }
    FoldHeading* Heading() const { return heading_; }
    bool IsFolded() const { return !heading_->isChecked(); }
    void Fold(bool folds) { heading_->setChecked(!folds); }

  signals:
    void Folded(bool isFolded);

  private:
    FoldHeading* heading_;
    QWidget* content_;
};

}  // namespace kymora
