#pragma once
// The window of the spike sorter, which stops the rest of the program: a page for each step, with its
// parameters, its graphs and its list, "Back", "Next", "Undo", "Redo", "Finish" and "Cancel".

#include "catalogue/windows/operation_window.h"
#include "sorting/sorter_sheet.h"

class QLabel;

namespace kymora {

class SorterWindow : public OperationWindow {
    Q_OBJECT

  public:
    SorterWindow(Session& session, const Operation& operation, std::unique_ptr<CSorterSheet> sheet,
                 QWidget* parent = nullptr);

    CSorterSheet& Sheet() { return static_cast<CSorterSheet&>(Block()); }

    // "Finish": the window goes when it is done.
    void Start() override;
    // The same, and the window stays.
    bool Run() override;
    // All settings on the pages of the operation, and nothing to be done by hand.
    void SetConfiguring(std::function<void(CBatchBaseDlg&)> taken) override;
    void reject() override;

  protected:
    void Drawn() override;
    void StateShown(bool isUsable) override;
    QString Fault() override;
    void keyPressEvent(QKeyEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void MakePages();
    void GoTo(int page);
    int Pages();
    int Page();
    void TakeOutline(const QString& pane, const std::vector<std::pair<double, double>>& corners);

    QLabel *title_ = nullptr, *help_ = nullptr;
    QPushButton *back_ = nullptr, *next_ = nullptr, *undo_ = nullptr, *redo_ = nullptr;
    int plainPage_ = 0;  // while the settings are asked for
};

}  // namespace kymora
