#pragma once
// Every command of the view in one table: menu place, label with its key, when it is enabled or checked, and
// what it does. Menus and keys are made from it, so that a command is one line here.

#include <cstdint>
#include <optional>
#include <span>
#include <string_view>

#include "display/kymora_view.h"

namespace kymora {

enum class KeyCode { none, character, home, end, left, right, up, down, pageUp, pageDown, del };

struct Key {
    KeyCode code = KeyCode::none;
    char character = 0;  // lower case, when the code is `character`
    bool ctrl = false;
    bool alt = false;
    bool shift = false;  // of letters only: signs may need it to be typed
    bool operator==(const Key&) const = default;
};

// The key that stands behind the tab of a label ("&Left page\tCtrl+left arrow"); no code when there is none.
Key KeyOf(std::string_view label);

struct CommandContext {
    CKymoraView& view;
    bool ctrl = false;          // the key is held: commands on axes act on all of them
    std::optional<Point> at{};  // where the mouse was, for a command of the context menu
};

// The state of a command that is on or off. A radio mark says that another one goes off when it goes on.
template <typename Subject>
struct CheckMark {
    bool (*test)(const Subject&) = nullptr;  // null: has no check mark
    bool isRadio = false;

    constexpr CheckMark(std::nullptr_t) {}
    constexpr CheckMark(bool (*isOn)(const Subject&), bool radio = false) : test(isOn), isRadio(radio) {}
    explicit operator bool() const { return test != nullptr; }
    bool operator()(const Subject& subject) const { return test(subject); }
};

// What else the menus show of a command; joined by |.
enum CommandMark : unsigned {
    startsGroup = 1,  // a separator stands before it
    asksFirst = 2,    // it asks something before it does anything, which its label does not say
};

struct Command {
    std::string_view id;
    std::string_view menu;                // the path of submenus, "View/Time unit"
    std::string_view label;               // with & before the access key and the shortcut behind a tab
    std::string_view toolTip;             // what it does, in a sentence
    bool (*enabled)(const CKymoraView&);  // null: always
    CheckMark<CKymoraView> checked;       // null: has none
    void (*run)(const CommandContext&);
    unsigned marks = 0;  // CommandMark
    Key otherKey = {};   // runs it too, beside the key of the label
    Key key = {};        // of the label
};

// A label without its access key and shortcut: the name of the action.
std::string PlainLabel(std::string_view label);

std::span<const Command> ViewCommands();

const Command* FindCommand(std::string_view id);
// The command of a key. Ctrl may be held with the key of a command that has none of its own: it is then
// passed on. Shift may be held with a letter that means nothing else with it.
const Command* FindCommand(const Key& key);

// Runs an enabled command; false when it is not.
bool RunCommand(const Command& command, const CommandContext& context);

// The same for a view whose mouse mode may give letters another meaning: while events are inserted, a letter
// selects their channel.
const Command* FindCommand(const CKymoraView& view, const Key& key);

}  // namespace kymora
