#pragma once
// The parameters of an operation as it describes them, once: each is bound to a member of the operation and
// carries its key, label, tool tip, limits and choices. The window, the --set keys of the command line, the
// validation and the reference pages are made from this description. The order in a configuration file is
// not: that is a file format, and each class writes it down in its Serialize.

#include <cstdint>
#include <deque>
#include <functional>
#include <limits>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace kymora {

enum class ParamKind {
    number,    // double or float
    integer,   // int32_t
    flag,      // bool
    choice,    // int32_t, an index into `choices`
    text,      // std::string
    trace,     // int32_t from 0; the user counts from 1
    channel,   // int32_t from 0; the user writes a letter or a number
    channels,  // std::vector<int> from 0, ascending; the user writes a list
    traces,    // std::vector<int> from 0, ascending; the user writes a list
    note,      // what `shown` says, to be read only
    action,    // a button that runs `action`
};
// The word by which the reference names a kind.
const char* ParamKindName(ParamKind kind);

struct Param {
    std::string key;    // lower camel case, unique in its operation
    std::string label;  // what the window calls it
    std::string toolTip;
    std::string unit;   // "ms", "samples", "%"; empty for none
    std::string group;  // the heading under which the window shows it; empty for none
    int page = 0;       // of a window that has several
    ParamKind kind = ParamKind::number;
    std::variant<std::monostate, double*, float*, int32_t*, bool*, std::string*, std::vector<int>*> target;

    // Inclusive limits of a number or integer, in the unit in which it is stored. A float that reaches its
    // greatest value has no limit there.
    double least = std::numeric_limits<double>::lowest();
    double greatest = std::numeric_limits<double>::max();
    double step = 1.0;
    std::vector<std::string> choices;
    bool asButtons = false;           // a choice whose answers all stand in sight
    bool hasLines = false;            // a text of several lines
    bool isSettable = false;          // a button that a setting presses, too
    std::vector<std::string> linked;  // keys of parameters that follow this one
    // Other names by which a setting may call it, as unique as keys; everything that is told has the key.
    std::vector<std::string> aliases;
    // Parameters of a group that follow each other and have these stand as the cells of a table in the
    // window, under such headings.
    std::string tableRow, tableColumn;

    std::function<bool()> isEnabled;     // empty: always
    std::function<void()> changed;       // the user has set it; what follows it is set here
    std::function<std::string()> shown;  // a note's text, or what stands behind the value ("1,203 events")
    std::function<void()> action;

    // Each answers the parameter itself, so that a description reads as one sentence.
    Param& Tip(std::string text);
    Param& Unit(std::string text);
    Param& Limits(double from, double to);
    Param& Step(double by);
    Param& Buttons();
    Param& Lines();
    Param& Settable();
    Param& Linked(std::vector<std::string> keys);
    Param& Alias(std::string name);
    Param& Cell(std::string row, std::string column);
    Param& EnabledIf(std::function<bool()> test);
    Param& OnChange(std::function<void()> does);
    Param& Shows(std::function<std::string()> text);

    bool IsCalled(std::string_view name) const;
    bool IsEnabled() const { return !isEnabled || isEnabled(); }
    // False for what is only shown: notes and actions have no value.
    bool HasValue() const { return kind != ParamKind::note && kind != ParamKind::action; }
    double Number() const;  // of a number, integer, choice, trace or channel, as it is stored
    bool Flag() const { return *std::get<bool*>(target); }
    // Stores a number of any of those kinds; no limit is looked at and nothing follows.
    void Store(double number);
    // The value as --set takes it: choices as their number, traces from 1, channels as letter or number.
    std::string ValueText() const;
    // Why the value may not be used; empty when it may. A parameter that is not enabled is not looked at by
    // those who ask this.
    std::string Fault() const;
    // Sets the value from a text as --set takes it, lets what follows it follow, and answers empty; or
    // answers why the text is none, with nothing changed.
    std::string SetFromText(std::string_view text);
};

inline constexpr float mostFloat = std::numeric_limits<float>::max();  // a limit that limits nothing

// A page of a window that has several, which are gone through in turn.
struct ParamPage {
    std::string title;
    std::function<std::string()>
        fault;  // why the next one may not be shown; empty, or answers empty, when it may
};

class ParamList {
  public:
    // What is added from here on stands on a page of its own.
    void Page(std::string title, std::function<std::string()> fault = {}) {
        pages_.push_back({std::move(title), std::move(fault)});
    }
    const std::vector<ParamPage>& Pages() const { return pages_; }
    // The parameters of one page.
    ParamList OnPage(int page) const;
    // Why the page may not be left for the next one: what its parameters say, then the page itself. Empty
    // when it may.
    std::string PageFault(int page) const;
    // Why the first of the enabled parameters that may not be used may not.
    std::string Fault() const;

    // What is added from here on stands under this heading.
    void Group(std::string name) { group_ = std::move(name); }

    Param& Number(std::string key, std::string label, double& value);
    Param& Number(std::string key, std::string label, float& value);
    Param& Integer(std::string key, std::string label, int32_t& value);
    Param& Flag(std::string key, std::string label, bool& value);
    Param& Choice(std::string key, std::string label, int32_t& value, std::vector<std::string> choices);
    Param& Text(std::string key, std::string label, std::string& value);
    Param& Trace(std::string key, std::string label, int32_t& value);
    Param& Channel(std::string key, std::string label, int32_t& value);
    Param& Channels(std::string key, std::string label, std::vector<int>& value);
    Param& Traces(std::string key, std::string label, std::vector<int>& value);
    Param& Note(std::string key, std::string label, std::function<std::string()> text);
    Param& Action(std::string key, std::string label, std::function<void()> does);

    // By key or alias; null for a name that the operation does not have.
    Param* Find(std::string_view name);
    std::deque<Param>& All() { return params_; }
    const std::deque<Param>& All() const { return params_; }
    auto begin() { return params_.begin(); }
    auto end() { return params_.end(); }
    auto begin() const { return params_.begin(); }
    auto end() const { return params_.end(); }

  private:
    Param& Add(ParamKind kind, std::string key, std::string label);

    std::deque<Param> params_;
    std::vector<ParamPage> pages_;
    std::string group_;
};

}  // namespace kymora
