#pragma once
// A dialog as the core describes it: a title and fields with their labels, tool tips, values and limits. The
// host shows it; the desktop makes a window from it, a test or a script fills it in. So the logic of a dialog
// lives beside what the dialog is for, and needs no window.

#include <cstdint>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <vector>

#include "host/font_spec.h"

namespace kymora {

class Form;

enum class FieldKind {
    number,     // `number` within [least, greatest]
    integer,    // the same, whole
    text,       // `text`, one line
    longText,   // `text`, several lines
    flag,       // `flag`, a check box
    choice,     // `choice`, an index into `choices`; a drop-down list
    radio,      // the same as buttons
    colour,     // `colour`, 0x00BBGGRR
    font,       // `font`
    checkList,  // `checks`, one for each of `choices`
    note,       // `text` to be read only
    table,      // `rows` under the headings `choices`, to be read only
    textView,  // `text` to be read only, of even width, line by line as it stands; tabs as wide as `tabWidth`
    action,    // a button that runs `action` while the form stays open
};

struct FormField {
    std::string key;  // lower camel case, unique in its form
    std::string label;
    std::string toolTip;
    std::string unit;  // of a number or integer; stands behind it
    FieldKind kind = FieldKind::text;

    double number = 0.0;
    double least = std::numeric_limits<double>::lowest();
    double greatest = std::numeric_limits<double>::max();
    double step = 1.0;
    std::string text;
    bool flag = false;
    int choice = 0;
    std::vector<std::string> choices;
    int buttonColumns = 1;  // of a radio: so many of its buttons stand beside each other
    std::vector<uint8_t> checks;
    std::vector<std::vector<std::string>> rows;
    // Whether a cell of a table is dimmed as one that is left out; empty: none is.
    std::function<bool(size_t row, size_t column)> dimmed;
    int tabWidth = 8;   // characters
    bool spin = false;  // an integer has buttons that step it
    uint32_t colour = 0;
    FontSpec font;
    std::function<void(Form&)> action;
    // Whether the field can be used as the form stands; empty: always.
    std::function<bool(const Form&)> enabled;
};

class Form {
  public:
    explicit Form(std::string title) : title(std::move(title)) {}

    std::string title;
    std::string okLabel = "OK";
    std::string cancelLabel = "Cancel";
    std::vector<FormField> fields;
    // Called when the user has changed a value, to set the fields that follow from it.
    std::function<void(Form&)> onChange;
    // Why the form may not be accepted as it stands; empty when it may. Asked after the limits of the fields.
    std::function<std::string(const Form&)> validate;

    // Each adds a field and answers it, so that what is special can be set on it.
    FormField& AddNumber(std::string key, std::string label, double value, std::string toolTip = {});
    FormField& AddInteger(std::string key, std::string label, int64_t value, std::string toolTip = {});
    FormField& AddText(std::string key, std::string label, std::string value, std::string toolTip = {});
    FormField& AddLongText(std::string key, std::string label, std::string value, std::string toolTip = {});
    FormField& AddFlag(std::string key, std::string label, bool value, std::string toolTip = {});
    FormField& AddChoice(std::string key, std::string label, std::vector<std::string> choices, int value,
                         std::string toolTip = {});
    FormField& AddRadio(std::string key, std::string label, std::vector<std::string> choices, int value,
                        std::string toolTip = {});
    FormField& AddColour(std::string key, std::string label, uint32_t value, std::string toolTip = {});
    FormField& AddFont(std::string key, std::string label, FontSpec value, std::string toolTip = {});
    FormField& AddCheckList(std::string key, std::string label, std::vector<std::string> choices,
                            std::vector<uint8_t> checks, std::string toolTip = {});
    FormField& AddNote(std::string key, std::string text, std::string label = {});
    FormField& AddTable(std::string key, std::vector<std::string> headings,
                        std::vector<std::vector<std::string>> rows, std::string label = {});
    FormField& AddTextView(std::string key, std::string text, std::string label = {});
    FormField& AddAction(std::string key, std::string label, std::function<void(Form&)> action,
                         std::string toolTip = {});

    // The field of a key; throws std::out_of_range for one that the form does not have.
    FormField& operator[](std::string_view key);
    const FormField& operator[](std::string_view key) const;
    double Number(std::string_view key) const { return (*this)[key].number; }
    int Integer(std::string_view key) const { return static_cast<int>((*this)[key].number); }
    const std::string& Text(std::string_view key) const { return (*this)[key].text; }
    bool Flag(std::string_view key) const { return (*this)[key].flag; }
    int Choice(std::string_view key) const { return (*this)[key].choice; }

    // Why the form may not be accepted: a value outside its limits, or what `validate` says.
    std::string Check() const;

  private:
    FormField& Add(FieldKind kind, std::string key, std::string label, std::string toolTip);
};

// Why a number may not be used under this label: it is none, not whole, or outside [least, greatest]; a limit
// of the size of the largest float is none. Empty when it may.
std::string NumberFault(std::string_view label, double value, double least, double greatest, bool whole);

}  // namespace kymora
