#pragma once
// The menu of what lies under the mouse: first what can be done with that object, then what can be done at
// its place. Made of the commands of the tables and of small ones that need the object itself.

#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "display/commands/commands.h"
#include "display/view_objects.h"

namespace kymora {

struct MenuEntry {
    std::string id;     // of the command, or its own
    std::string label;  // with & before the access key and the shortcut behind a tab
    std::string toolTip;
    bool enabled = true;
    std::optional<bool> checked{};
    bool isRadio = false;
    bool startsGroup = false;
    // Empty: `id` is a command of the main window or an operation, whose parameters are set first.
    std::function<void(CKymoraView&)> run{};
    std::vector<std::pair<std::string, std::string>> parameters{};
};

struct PlaceMenu {
    ViewObject object;
    std::string title;  // what the menu is of: "Event 3 of 25 in channel c"
    std::vector<MenuEntry> entries;
};

// Good until something changes in the view.
PlaceMenu MenuAt(CKymoraView& view, Point at);

// Where the menu comes up that a key asks for: at the mouse while that is over the view, else in the middle.
Point MenuPlace(const PlotContext& context, std::optional<Point> mouse);

}  // namespace kymora
