#pragma once
// The widget in which one field is edited, and the way of its value there and back.

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
    // Puts what the user entered into the field, and answers why it may not be used; empty when it may.
    virtual std::string Read(Field&) const { return {}; }
    virtual void Write(const Field& field) = 0;
    // Takes up the limits, the step and the choices; what the user sees as value stays.
    virtual void Follow(const Field&) {}
    // The label stands in the widget itself, or above it over the whole width.
    virtual bool BringsItsLabel() const { return false; }
    virtual bool IsWide() const { return false; }
};

// Null for an action, which is a button of the dialog's own.
std::unique_ptr<FormEditor> MakeFormEditor(const Field& field, QWidget* parent, FormEditor::Changed changed);

// A channel by letter is chosen from a list of all, too.
inline bool IsChosen(const Field& field) {
    return field.kind == FieldKind::choice || (field.kind == FieldKind::channel && !field.byNumber);
}

// Marks what takes the keyboard as faulty, or as sound again.
void MarkFault(const FormEditor& editor, bool isFaulty);
// The colour of words that tell a fault: dark red cannot be read on a dark window, nor light red on a bright.
QColor FaultColour(const QPalette& palette);

inline int LineHeight(const QWidget& widget) { return widget.fontMetrics().lineSpacing(); }

// A tool tip whose long lines are broken.
QString ToolTipText(const std::string& text);

}  // namespace kymora
