#pragma once
// A table of event channels with what each one holds and looks like. Either of all channels, where the
// selection is the choice, or of some in an order that the user changes: Alt+Up and Alt+Down move the
// selected rows, Delete takes them out. Space shows and hides the selected ones.

#include <QWidget>
#include <vector>

class QCheckBox;
class QHBoxLayout;
class QPushButton;
class QTableView;

namespace kymora {

class CDataDoc;
class ChannelTableModel;

class ChannelTable : public QWidget {
    Q_OBJECT

  public:
    ChannelTable(bool isOrdered, QWidget* parent);

    // What the recording has now; null for none. The channels are selected, or listed in their order.
    void Show(const CDataDoc* doc, const std::vector<int>& channels);
    // What takes the keyboard, in the order of reading.
    std::vector<QWidget*> TabStops() const;
    QSize sizeHint() const override;

  signals:
    // The user has chosen these, or put them in this order.
    void Chosen(const std::vector<int>& channels);
    void ShownChanged(const std::vector<int>& channels, bool isShown);

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void MakeOrderButtons(QHBoxLayout* row);
    std::vector<int> RowsFor(const std::vector<int>& channels) const;
    std::vector<int> Selected() const;
    void Select(const std::vector<int>& channels);
    void TakeSelection();
    void MoveSelected(int by);
    void RemoveSelected();
    void ToggleShown();
    void ShowState();

    bool isOrdered_, isShowing_ = false;
    const CDataDoc* doc_ = nullptr;
    std::vector<int> channels_;
    ChannelTableModel* model_;
    QTableView* table_;
    QCheckBox* onlyUsed_ = nullptr;                                    // of all channels
    QPushButton *up_ = nullptr, *down_ = nullptr, *remove_ = nullptr;  // of an order
};

}  // namespace kymora
