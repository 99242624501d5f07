#pragma once
// One page of a recording session's settings: its parameters, and above them its graph.

#include <QWidget>
#include <memory>

#include "protocol/acq_prop_page.h"

class QSplitter;

namespace kymora {

class GraphPanel;
class ParamForm;

class AcquisitionPage : public QWidget {
    Q_OBJECT

  public:
    AcquisitionPage(Session& session, std::unique_ptr<AcqPropPage> page, QWidget* parent);
    ~AcquisitionPage() override;

    const AcqPropPage& Page() const { return *page_; }
    // Shows the settings as they are, and drops faulty texts.
    void Revert();
    // The same without dropping them.
    void Refresh();
    std::string Fault() const;
    void FocusFault();
    void FocusFirst();
    // The user has done with what is being edited.
    void Finish();
    // What is entered is looked at, but not changed.
    void SetLocked(bool isLocked);

  signals:
    void Changed();
    // What was entered did not stay.
    void PutBack(const QString& why);

  protected:
    void showEvent(QShowEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

  private:
    void Enter(const std::function<void()>& store);
    void TakeBackFocus();
    void Press(const QString& key);
    void ShowGraph();

    std::unique_ptr<AcqPropPage> page_;
    QSplitter* parts_;
    ParamForm* form_;
    GraphPanel* graph_ = nullptr;
    QString focused_;  // object name of the editor in which something was entered last
};

}  // namespace kymora
