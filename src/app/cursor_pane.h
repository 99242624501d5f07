#pragma once
// The table of cursors beside the recordings: what they measure, live.

#include <QTimer>
#include <QWidget>
#include <functional>

#include "display/kymora_view.h"

class QComboBox;
class QLabel;
class QTableWidget;
class QToolButton;

namespace kymora {

struct CursorTable;

class CursorPane : public QWidget {
    Q_OBJECT

  public:
    // `view` answers the view that is measured, or null; `run` runs a command by its id.
    CursorPane(std::function<CKymoraView*()> view, std::function<void(std::string_view)> run,
               QWidget* parent);

    // Something has changed that may be measured; many changes are shown at once.
    void Update();

    QSize sizeHint() const override { return {400, 150}; }

  protected:
    void showEvent(QShowEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;

  private:
    void Refresh();
    void Fill(const CursorTable& table);
    void ListPairs(const CDatumLines& lines);
    void ChoosePair(int index);

    std::function<CKymoraView*()> view_;
    std::function<void(std::string_view)> run_;
    QComboBox* pairs_;
    QToolButton* copy_;
    QToolButton* save_;
    QTableWidget* table_;
    QLabel* hint_;
    QTimer refresh_;
};

}  // namespace kymora
