#pragma once
// The widget in which one field of a form is edited, and the way of its value there and back.

#include <QColor>
#include <QPalette>
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
    // What the user typed, letter by letter; empty for editors without letters.
    virtual std::string Typed() const { return {}; }
    virtual void Write(const FormField& field) = 0;
    // Takes up the limits, the step and the choices; what the user sees as value stays.
    virtual void Follow(const FormField&) {}
    // The label stands in the widget itself, or above it over the whole width.
    virtual bool BringsItsLabel() const { return false; }
    virtual bool IsWide() const { return false; }
};

// Null for an action, which is a button of the dialog's own.
std::unique_ptr<FormEditor> MakeFormEditor(const FormField& field, QWidget* parent,
                                           FormEditor::Changed changed);

// Marks what takes the keyboard as faulty, or as sound again.
void MarkFault(const FormEditor& editor, bool isFaulty);
// The colour of words that tell a fault: dark red cannot be read on a dark window, nor light red on a bright.
QColor FaultColour(const QPalette& palette);

inline int LineHeight(const QWidget& widget) { return widget.fontMetrics().lineSpacing(); }

// A tool tip whose long lines are broken.
QString ToolTipText(const std::string& text);

}  // namespace kymora
