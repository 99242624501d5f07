// The requests that run the program's commands.

#include <array>

#include "archive/text_encoding.h"
#include "display/commands/commands.h"
#include "remote/command_keys.h"
#include "remote/remote_requests.h"

namespace kymora {
namespace {

std::string Unknown(const std::string& id) { return "There is no command \"" + ToDisplayText(id) + "\"."; }
std::string Unavailable(const std::string& id) {
    return "The command \"" + id + "\" cannot be used as things stand.";
}

void RunOnView(RemoteCall& call, const Command& command, const std::string& id) {
    CommandContext context{call.View(), FlagMember(call.request, "ctrl")};
    if (const Json* at = FindMember(call.request, "at")) {
        if (!at->is_array() || at->size() != 2) throw RemoteError("\"at\" must be [x, y].");
        context.at = Point{static_cast<int>(AsWhole((*at)[0], "at", -farthestPixel, farthestPixel)),
                           static_cast<int>(AsWhole((*at)[1], "at", -farthestPixel, farthestPixel))};
    }
    if (!RunCommand(command, context)) throw RemoteError(Unavailable(id));
}

void RunById(RemoteCall& call) {
    const std::string id = AsText(call.value, "command");
    if (const Command* command = FindCommand(std::string_view(id))) return RunOnView(call, *command, id);
    if (FindMember(call.request, "document") != nullptr) call.target.Activate(call.Document());
    switch (call.target.RunFrameCommand(id)) {
    case CommandResult::unknown:
        throw RemoteError(Unknown(id));
    case CommandResult::unavailable:
        throw RemoteError(Unavailable(id));
    case CommandResult::done:
        break;
    }
}

Json CommandJson(const RemoteCommand& command) {
    return {{"id", command.id},
            {"menu", command.menu},
            {"label", command.label},
            {"key", command.key},
            {"toolTip", command.toolTip},
            {"enabled", command.enabled},
            {"checked", command.checked ? Json(*command.checked) : Json(nullptr)}};
}

// As it stands for a view; null when none is open.
RemoteCommand Describe(const Command& command, const CKymoraView* view) {
    RemoteCommand described{std::string(command.id), PlainLabel(command.menu), PlainLabel(command.label),
                            KeyText(command), std::string(command.toolTip)};
    described.enabled = view != nullptr && (!command.enabled || command.enabled(*view));
    if (command.checked) described.checked = view != nullptr && command.checked(*view);
    return described;
}

void List(RemoteCall& call) {
    const bool named = FindMember(call.request, "document") != nullptr;
    const CKymoraView* view = named || call.target.Active() >= 0 ? &call.View() : nullptr;
    Json list = Json::array();
    for (const RemoteCommand& command : call.target.FrameCommands()) list.push_back(CommandJson(command));
    for (const Command& command : ViewCommands()) list.push_back(CommandJson(Describe(command, view)));
    call.answer["commands"] = std::move(list);
}

void PressKey(RemoteCall& call) {
    const std::string name = AsText(call.value, "key");
    if (!call.target.PressKey(call.Document(), name))
        throw RemoteError("There is no key \"" + ToDisplayText(name) + "\".");
}

// --- the mouse ---

template <typename T, size_t n>
T OneOf(const Json& object, std::string_view member,
        const std::array<std::pair<std::string_view, T>, n>& names) {
    const std::string name = TextMember(object, member, names[0].first);
    for (const auto& [known, value] : names)
        if (known == name) return value;
    throw RemoteError("\"" + std::string(member) + "\" cannot be \"" + ToDisplayText(name) + "\".");
}

enum class Gesture { click, doubleClick, drag, press, release, move, wheel };
using Type = RemoteMouse::Type;

constexpr std::array<std::pair<std::string_view, Gesture>, 7> gestures{{{"click", Gesture::click},
                                                                        {"doubleClick", Gesture::doubleClick},
                                                                        {"drag", Gesture::drag},
                                                                        {"press", Gesture::press},
                                                                        {"release", Gesture::release},
                                                                        {"move", Gesture::move},
                                                                        {"wheel", Gesture::wheel}}};
constexpr std::array<std::pair<std::string_view, MouseButton>, 3> buttons{
    {{"left", MouseButton::left}, {"middle", MouseButton::middle}, {"right", MouseButton::right}}};

int Pixel(const Json& object, std::string_view name) {
    return static_cast<int>(AsWhole(Member(object, name), name, -farthestPixel, farthestPixel));
}

// The events of which a gesture is made.
std::vector<RemoteMouse> EventsOf(const Json& value) {
    CheckMembers(value, {"type", "x", "y", "toX", "toY", "button", "ctrl", "shift", "alt", "turn"});
    RemoteMouse mouse;
    mouse.event = {Pixel(value, "x"),         Pixel(value, "y"),          OneOf(value, "button", buttons),
                   FlagMember(value, "ctrl"), FlagMember(value, "shift"), FlagMember(value, "alt")};
    mouse.turn = static_cast<int>(WholeMember(value, "turn", -1000, 1000, 1));
    const auto with = [&mouse](Type type) {
        RemoteMouse event = mouse;
        event.type = type;
        return event;
    };
    switch (OneOf(value, "type", gestures)) {
    case Gesture::click:
        return {with(Type::press), with(Type::release)};
    case Gesture::doubleClick:
        return {with(Type::press), with(Type::release), with(Type::doubleClick), with(Type::release)};
    case Gesture::drag: {
        const RemoteMouse press = with(Type::press);
        RemoteMouse between = with(Type::move);
        between.event.x = (mouse.event.x + Pixel(value, "toX")) / 2;
        between.event.y = (mouse.event.y + Pixel(value, "toY")) / 2;
        mouse.event.x = Pixel(value, "toX");
        mouse.event.y = Pixel(value, "toY");
        return {press, between, with(Type::move), with(Type::release)};
    }
    case Gesture::press:
        return {with(Type::press)};
    case Gesture::release:
        return {with(Type::release)};
    case Gesture::wheel:
        return {with(Type::wheel)};
    case Gesture::move:
        break;
    }
    return {with(Type::move)};
}

void MoveMouse(RemoteCall& call) {
    const int index = call.Document();
    const CKymoraView* view = &call.View();
    for (const RemoteMouse& mouse : EventsOf(call.value)) {
        // An event may have closed the recording.
        const auto views = call.target.Views();
        if (index >= static_cast<int>(views.size()) || views[static_cast<size_t>(index)] != view) return;
        call.target.MoveMouse(index, mouse);
    }
}

}  // namespace

// clang-format off
RequestTable CommandRequests() {
    return {
        {"command", "an id", "Runs a command of the menus by its id; the list stands below. Those of the view work on `document`.",
            {{"ctrl", "true as if Ctrl were held: commands on axes then act on all of them."}, {"at", "[x, y]: where the mouse was, for a command of the context menu."}},
            {R"({"command": "show-all"})", R"({"command": "autoscale", "ctrl": true})", R"({"command": "set-timebase", "answers": {"timebase": 50}})"}, true, RunById},
        {"commands", "true", "Answers the list of all commands as `commands`: `id`, `menu`, `label`, `key`, `toolTip`, and whether they are `enabled` and `checked` now (null for those without a check mark).", {}, {R"({"commands": true})"}, false, List},
        {"key", "the name of a key", "Presses a key on the view, as a person does.", {}, {R"({"key": "Ctrl+right arrow"})", R"({"key": "Escape"})"}, true, PressKey},
        {"mouse", "an object", "Uses the mouse on the view. `type` is click (without it), doubleClick, drag (to `toX`, `toY`), press, release, move or wheel (by `turn` steps); `x` and `y` count pixels from the view's corner; `button` is left (without it), middle or right; `ctrl`, `shift` and `alt` hold keys.", {}, {R"({"mouse": {"type": "drag", "x": 300, "y": 200, "toX": 420, "toY": 200}})"}, true, MoveMouse},
    };
}
// clang-format on

}  // namespace kymora
