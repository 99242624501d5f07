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
    default:
        return {key.character};
    }
}

std::string KeyText(const Command& command) {
    std::string text;
    if (command.otherKey != 0) text = command.otherKey;
    if (command.key.code == KeyCode::none) return text;
    if (!text.empty()) text += ", ";
    // A letter with Ctrl is known by its capital everywhere; alone it is the key that is typed.
    std::string name = KeyName(command.key);
    if (command.key.ctrl && name.size() == 1 && name[0] >= 'a' && name[0] <= 'z')
        name[0] = static_cast<char>(name[0] - 'a' + 'A');
    return text + (command.key.ctrl ? "Ctrl+" : "") + (command.key.alt ? "Alt+" : "") + name;
}

}  // namespace kymora
