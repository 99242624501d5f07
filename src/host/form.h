#pragma once
// A dialog as the core describes it: a title and fields. The host shows it; the desktop makes a window from
// it, a test or a script fills it in. So the logic of a dialog lives beside what the dialog is for, and needs
// no window.

#include <deque>

#include "host/field.h"

namespace kymora {

class Form {
  public:
    explicit Form(std::string title) : title(std::move(title)) {}

    std::string title;
    std::string okLabel = "OK";
    std::string cancelLabel = "Cancel";
    std::deque<Field> fields;
    std::string fault;  // why the form is asked again as it stands; it is shown until something is changed
    // Called when the user has changed a value, to set the fields that follow from it.
    std::function<void(Form&)> onChange;
    // Why the form may not be accepted as it stands; empty when it may. Asked after the limits of the fields.
    std::function<std::string(const Form&)> validate;

    // Each adds a field and answers it, so that what is special can be set on it.
    Field& AddNumber(std::string key, std::string label, double value, std::string toolTip = {});
    Field& AddInteger(std::string key, std::string label, int64_t value, std::string toolTip = {});
    Field& AddText(std::string key, std::string label, std::string value, std::string toolTip = {});
    Field& AddLongText(std::string key, std::string label, std::string value, std::string toolTip = {});
    Field& AddFlag(std::string key, std::string label, bool value, std::string toolTip = {});
    Field& AddChoice(std::string key, std::string label, std::vector<std::string> choices, int value,
                     std::string toolTip = {});
    Field& AddRadio(std::string key, std::string label, std::vector<std::string> choices, int value,
                    std::string toolTip = {});
    Field& AddColour(std::string key, std::string label, uint32_t value, std::string toolTip = {});
    Field& AddFont(std::string key, std::string label, FontSpec value, std::string toolTip = {});
    Field& AddCheckList(std::string key, std::string label, std::vector<std::string> choices,
                        std::vector<uint8_t> checks, std::string toolTip = {});
    Field& AddNote(std::string key, std::string text, std::string label = {});
    Field& AddTable(std::string key, std::vector<std::string> headings,
                    std::vector<std::vector<std::string>> rows, std::string label = {});
    Field& AddTextView(std::string key, std::string text, std::string label = {});
    Field& AddAction(std::string key, std::string label, std::function<void(Form&)> action,
                     std::string toolTip = {});

    // By key or alias; null for a name that the form does not have.
    Field* Find(std::string_view name);
    // The field of a key; throws std::out_of_range for one that the form does not have.
    Field& operator[](std::string_view key);
    const Field& operator[](std::string_view key) const;
    double Number(std::string_view key) const { return (*this)[key].number; }
    int Integer(std::string_view key) const { return static_cast<int>((*this)[key].number); }
    const std::string& Text(std::string_view key) const { return (*this)[key].text; }
    bool Flag(std::string_view key) const { return (*this)[key].flag; }
    int Choice(std::string_view key) const { return (*this)[key].choice; }

    // Why the form may not be accepted: a value outside its limits, or what `validate` says.
    std::string Check() const;

  protected:
    Field& Add(FieldKind kind, std::string key, std::string label, std::string toolTip = {});
};

}  // namespace kymora
