#pragma once
// The window of a form.

#include <QDialog>
#include <memory>
#include <vector>

#include "host/form.h"
#include "widgets/form_editor.h"

class QFormLayout;
class QHBoxLayout;
class QLabel;
class QPushButton;
class QScrollArea;

namespace kymora {

// Shows the form's fields below each other with their labels, and keeps it filled with what the user enters:
// when the dialog is accepted, the form holds the values and they have passed its checks. Each editor has the
// field's key as its object name.
class FormDialog : public QDialog {
    Q_OBJECT

  public:
    // The form must outlive the dialog.
    explicit FormDialog(Form& form, QWidget* parent = nullptr);
    ~FormDialog() override;

    void accept() override;

  private:
    struct Row {
        size_t field = 0;
        std::unique_ptr<FormEditor> editor;  // null for an action
        QPushButton* button = nullptr;       // of an action
        QLabel* label = nullptr;
        bool isWrong = false;  // the user has entered what may not be used
    };

    void AddRow(size_t index, QFormLayout* rows);
    void AddAction(size_t index, QFormLayout* rows);
    void MakeButtons();
    void FitToScreen();
    void FocusFirst();
    void Grow();
    void ReadAll();
    void WriteAll();
    void OnChanged(size_t row);
    void UpdateEnabled();
    void ShowFault(const QString& text);
    void MarkEntered(size_t entered);
    std::string Fault() const;
    void MarkFaulty();
    void Run(size_t row);

    Form& form_;
    std::vector<Row> rows_;
    QScrollArea* area_ = nullptr;
    QHBoxLayout* actions_ = nullptr;  // where the next action joins those before it
    QLabel* fault_ = nullptr;
    bool writing_ = false;
};

}  // namespace kymora
