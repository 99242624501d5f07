#include "remote/command_keys.h"

namespace kymora {

static std::string KeyName(const Key& key) {
    switch (key.code) {
    case KeyCode::home:
        return "Home";
    case KeyCode::end:
        return "End";
    case KeyCode::left:
        return "Left arrow";
    case KeyCode::right:
        return "Right arrow";
    case KeyCode::up:
        return "Up arrow";
    case KeyCode::down:
        return "Down arrow";
    case KeyCode::pageUp:
        return "Page up";
    case KeyCode::pageDown:
        return "Page down";
    case KeyCode::del:
        return "Delete";
    default:
        return {key.character};
    }
}

static std::string TextOf(const Key& key) {
    if (key.code == KeyCode::none) return {};
    // A letter with Ctrl or Shift is known by its capital everywhere; alone it is the key that is typed.
    std::string name = KeyName(key);
    if ((key.ctrl || key.shift) && name.size() == 1 && name[0] >= 'a' && name[0] <= 'z')
        name[0] = static_cast<char>(name[0] - 'a' + 'A');
    return std::string(key.ctrl ? "Ctrl+" : "") + (key.alt ? "Alt+" : "") + (key.shift ? "Shift+" : "") +
           name;
}

std::string KeyText(const Command& command) {
    const std::string own = TextOf(command.key), other = TextOf(command.otherKey);
    return other + (own.empty() || other.empty() ? "" : ", ") + own;
}

}  // namespace kymora
