#pragma once
// What the user should know and need not answer, above what it is about.

#include <QFrame>

class QLabel;

namespace kymora {

// Hidden until there is something to say, and again once the user has closed it. What is said meanwhile joins
// what stands there.
class NoticeBar : public QFrame {
    Q_OBJECT

  public:
    explicit NoticeBar(QWidget* parent = nullptr);

    void Say(const QString& text);
    void Dismiss();
    // What it says; empty while it is hidden.
    QString Text() const;

  protected:
    void keyPressEvent(QKeyEvent* event) override;

  private:
    QLabel* text_;
};

}  // namespace kymora
