#pragma once
// A line of widgets that goes on in another line where its room ends, so that none of them is cut. Each has
// the size that it asks for.

#include <QLayout>
#include <QList>

namespace kymora {

class FlowLayout : public QLayout {
  public:
    // Where no parent is given, the layout is added to one that has it.
    explicit FlowLayout(QWidget* parent = nullptr) : QLayout(parent) { setContentsMargins({}); }
    ~FlowLayout() override;

    void addItem(QLayoutItem* item) override { items_.append(item); }
    int count() const override { return static_cast<int>(items_.size()); }
    QLayoutItem* itemAt(int index) const override { return items_.value(index); }
    QLayoutItem* takeAt(int index) override;
    Qt::Orientations expandingDirections() const override { return {}; }
    bool hasHeightForWidth() const override { return true; }
    int heightForWidth(int width) const override { return Place(QRect(0, 0, width, 0), false); }
    // All of them in one line.
    QSize sizeHint() const override;
    QSize minimumSize() const override;
    void setGeometry(const QRect& room) override;

  private:
    // Answers the height that they take.
    int Place(const QRect& room, bool moves) const;

    QList<QLayoutItem*> items_;
};

}  // namespace kymora
