#pragma once
// The widget in which one field of a form is edited, and the way of its value there and back.

#include <QWidget>
#include <functional>
#include <memory>

#include "host/form.h"

namespace kymora {

class FormEditor {
  public:
    // Called when the user has changed the value.
    using Changed = std::function<void()>;

    virtual ~FormEditor() = default;
    // What goes into the window.
    virtual QWidget* Widget() const = 0;
    // What takes the keyboard; also what a fault is marked on.
    virtual QWidget* Focus() const { return Widget(); }
    // Puts the user's value into the field. A text that is no number becomes a not-a-number.
    virtual void Read(FormField& field) const = 0;
    virtual void Write(const FormField& field) = 0;
    // The label stands in the widget itself, or above it over the whole width.
    virtual bool BringsItsLabel() const { return false; }
    virtual bool IsWide() const { return false; }
};

// Null for an action, which is a button of the dialog's own.
std::unique_ptr<FormEditor> MakeFormEditor(const FormField& field, QWidget* parent,
                                           FormEditor::Changed changed);

// A tool tip whose long lines are broken.
QString ToolTipText(const std::string& text);

}  // namespace kymora
