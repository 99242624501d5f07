#pragma once
// One thing that a dialog asks or shows, described once: key, label, tool tip, value, limits, choices. The
// window that edits it, the --set keys of the command line, the answers of the remote control, the checks and
// the reference pages are made from this description.

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/font_spec.h"

namespace kymora {

class Form;

enum class FieldKind {
    number,     // `number` within [least, greatest]
    integer,    // the same, whole
    flag,       // `flag`
    choice,     // `choice`, an index into `choices`
    text,       // `text`
    trace,      // `number` from 0; the user counts from 1
    channel,    // `number` from 0; the user writes a letter or a number
    channels,   // `numbers` from 0, ascending unless `isOrdered`; the user writes a list
    traces,     // `numbers` from 0, ascending; the user writes a list
    colour,     // `colour`, 0x00BBGGRR
    font,       // `font`
    checkList,  // `checks`, one for each of `choices`
    note,       // `text`, or what `shown` says, to be read only
    table,      // `rows` under the headings `choices`, to be read only
    textView,  // `text` to be read only, of even width, line by line as it stands; tabs as wide as `tabWidth`
    action,    // a button that runs `action` while the dialog stays open
};
// The word by which the reference and the remote control name a kind.
const char* FieldKindName(FieldKind kind);

// Limits as the user counts them; a number with no limit but that of its type has none.
struct FieldLimits {
    std::optional<double> least, greatest;
};

struct Field {
    std::string key;  // lower camel case, unique in its form
    std::string label;
    std::string toolTip;
    std::string unit;   // "ms", "samples", "%"; stands behind a number
    std::string group;  // the heading under which the window shows it; empty for none
    int page = 0;       // of a window that has several
    FieldKind kind = FieldKind::text;

    double number = 0.0;
    bool flag = false;
    int choice = 0;
    std::string text;
    std::vector<int> numbers;
    std::vector<uint8_t> checks;
    std::vector<std::vector<std::string>> rows;
    uint32_t colour = 0;
    FontSpec font;
    // The way of the value to and from the member of an operation; empty for a field that only has its own.
    std::function<void(Field&)> load;
    std::function<void(const Field&)> store;
    bool isSingle = false;     // a number that is kept as a float
    bool showsSingle = false;  // one that is kept as a double, and shown in the figures of a float

    // Inclusive limits of a number, in the unit in which it is stored. A float that reaches its greatest
    // value has no limit there.
    double least = std::numeric_limits<double>::lowest();
    double greatest = std::numeric_limits<double>::max();
    double step = 1.0;
    std::vector<std::string> choices;
    bool asButtons = false;           // a choice whose answers all stand in sight
    int buttonColumns = 1;            // so many of its buttons stand beside each other
    bool hasLines = false;            // a text of several lines
    int linesShown = 5;               // of it, without scrolling
    bool hasSearch = false;           // a check list has a line in which to look for its choices
    bool spin = false;                // an integer has buttons that step it
    bool byNumber = false;            // channels are shown by number, not by letter
    int tabWidth = 8;                 // characters
    bool isSettable = false;          // a button that a setting presses, too
    bool isOrdered = false;           // channels stay in the order in which they are named, also twice
    std::vector<std::string> linked;  // keys of fields that follow this one
    // Other names by which a setting may call it, as unique as keys; everything that is told has the key.
    std::vector<std::string> aliases;
    // Fields of a group that follow each other and have these stand as the cells of a table in the window,
    // under such headings.
    std::string tableRow, tableColumn;

    // Whether the field can be used as the form stands; empty: always.
    std::function<bool(const Form&)> enabled;
    std::function<void()> changed;       // the user has set it; what follows it is set here
    std::function<std::string()> shown;  // a note's text, or what stands behind the value ("1,203 events")
    // Asked in a window when the user has done with it: why the value before takes its place again, in the
    // words that are told; empty where the new one stays.
    std::function<std::string()> putBack;
    std::function<void(Form&)> action;
    // Whether a cell of a table is dimmed as one that is left out; empty: none is.
    std::function<bool(size_t row, size_t column)> dimmed;

    // Each answers the field itself, so that a description reads as one sentence.
    Field& Tip(std::string tip) { return With(&Field::toolTip, std::move(tip)); }
    Field& Unit(std::string name) { return With(&Field::unit, std::move(name)); }
    Field& Limits(double from, double to) { return With(&Field::least, from).With(&Field::greatest, to); }
    Field& Step(double by) { return With(&Field::step, by); }
    Field& InSingle(bool isSo) { return With(&Field::showsSingle, isSo); }
    Field& Spin() { return With(&Field::spin, true); }
    Field& Buttons() { return With(&Field::asButtons, true); }
    Field& Lines(int shown = 5) { return With(&Field::hasLines, true).With(&Field::linesShown, shown); }
    Field& Search() { return With(&Field::hasSearch, true); }
    Field& Settable() { return With(&Field::isSettable, true); }
    Field& Ordered() { return With(&Field::isOrdered, true); }
    Field& Linked(std::vector<std::string> keys) { return With(&Field::linked, std::move(keys)); }
    Field& Alias(std::string name);
    Field& Cell(std::string row, std::string column);
    Field& EnabledIf(std::function<bool()> test);
    Field& EnabledIf(std::function<bool(const Form&)> test) { return With(&Field::enabled, std::move(test)); }
    Field& OnChange(std::function<void()> does) { return With(&Field::changed, std::move(does)); }
    Field& PutBackIf(std::function<std::string()> why) { return With(&Field::putBack, std::move(why)); }
    Field& Shows(std::function<std::string()> says) { return With(&Field::shown, std::move(says)); }
    template <typename T>
    Field& With(T Field::*member, T value) {
        this->*member = std::move(value);
        return *this;
    }

    bool IsCalled(std::string_view name) const;
    bool IsEnabled(const Form& form) const { return !enabled || enabled(form); }
    bool IsNumeric() const { return kind == FieldKind::number || kind == FieldKind::integer; }
    // False for what is only shown, and for buttons.
    bool HasValue() const { return kind < FieldKind::note; }
    FieldLimits UserLimits() const;
    // "0 to 100", "from 1", "up to 5", or empty.
    std::string LimitsText() const;
    // The value as --set takes it: choices as their number, traces from 1, channels as letter or number.
    // Empty for what has no text.
    std::string ValueText() const;
    // Why the value may not be used; empty when it may. A field that is not enabled is not looked at by those
    // who ask this.
    std::string Fault() const;
    // Takes a text as --set takes it, and answers why it may not be used; empty when it may. A number is
    // taken even so, and a text that is none as a not-a-number.
    std::string Parse(std::string_view from);
    // Stores the value, and lets what follows it follow.
    void Commit();
    // Sets the value from a text as --set takes it, lets what follows it follow, and answers empty; or
    // answers why the text is none, with nothing changed.
    std::string SetFromText(std::string_view from);
    // The same as a user who is done with the field: where it is put back, it and what is linked to it in
    // `form`, which holds it, are as before, and the answer says why.
    std::string SetForGood(std::string_view from, Form& form);

  private:
    std::string NumberFault() const;
    std::string ParseList(std::string_view from);
    int FindChoice(std::string_view from) const;
};

}  // namespace kymora
