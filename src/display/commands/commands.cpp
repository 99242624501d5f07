#include "display/commands/commands.h"

#include "display/commands/command_tables.h"

namespace kymora {

namespace {

CommandTable MakeTable() {
    CommandTable table;
    for (const auto& part :
         {EditCommands, NavigationCommands, GainCommands, ViewCommandTable, FindCommands, CursorCommands,
          OverlayCommands, EventCommands, ExchangeCommands, OutputCommands})
        for (Command& command : part()) {
            command.key = KeyOf(command.label);
            table.push_back(command);
        }
    return table;
}

bool TakePrefix(std::string_view& text, std::string_view prefix) {
    if (!text.starts_with(prefix)) return false;
    text.remove_prefix(prefix.size());
    return true;
}

KeyCode NamedKey(std::string_view name) {
    if (name == "HOME") return KeyCode::home;
    if (name == "END") return KeyCode::end;
    if (name == "left arrow") return KeyCode::left;
    if (name == "right arrow") return KeyCode::right;
    if (name == "Up arrow") return KeyCode::up;
    if (name == "Down arrow") return KeyCode::down;
    if (name == "Del") return KeyCode::del;
    return name.size() == 1 ? KeyCode::character : KeyCode::none;
}

}  // namespace

Key KeyOf(std::string_view label) {
    const size_t tab = label.find('\t');
    if (tab == std::string_view::npos) return {};
    std::string_view name = label.substr(tab + 1);
    while (TakePrefix(name, " ")) {
    }
    Key key;
    key.ctrl = TakePrefix(name, "Ctrl+") || TakePrefix(name, "Ctrl ");
    key.alt = TakePrefix(name, "Alt+");
    key.shift = TakePrefix(name, "Shift+");
    key.code = NamedKey(name);
    if (key.code == KeyCode::character) key.character = name.front();
    return key;
}

std::span<const Command> ViewCommands() {
    static const CommandTable table = MakeTable();
    return table;
}

const Command* FindCommand(std::string_view id) {
    for (const Command& command : ViewCommands())
        if (command.id == id) return &command;
    return nullptr;
}

const Command* FindCommand(const Key& key) {
    if (key.code == KeyCode::none) return nullptr;
    for (const Command& command : ViewCommands())
        if (command.key == key || command.otherKey == key) return &command;
    if (!key.shift && !key.ctrl) return nullptr;
    Key plain = key;
    (key.shift ? plain.shift : plain.ctrl) = false;
    return FindCommand(plain);
}

const Command* FindCommand(const CKymoraView& view, const Key& key) {
    const Command* command = FindCommand(key);
    if (key.shift && command && command->key == key) return command;
    const bool choosesChannel = view.m_nMouseMode >= mouseInsertFirst && view.m_nMouseMode <= mouseInsertLast;
    if (choosesChannel && key.code == KeyCode::character && !key.ctrl && !key.alt && key.character >= 'a' &&
        key.character <= 'z')
        return FindCommand(std::string("event-channel-") + key.character);
    return command;
}

std::string PlainLabel(std::string_view label) {
    std::string plain(label.substr(0, label.find('\t')));
    std::erase(plain, '&');
    return plain;
}

bool RunCommand(const Command& command, const CommandContext& context) {
    if (command.enabled && !command.enabled(context.view)) return false;
    command.run(context);
    return true;
}

}  // namespace kymora
