#pragma once
// The pictures of the tool bar, drawn in the colours of the window at any size and pixel ratio.

#include <QIcon>
#include <string_view>

namespace kymora {

// Null for a command without a picture.
QIcon ToolIcon(std::string_view commandId);

// A spike on paper: the program's own.
QIcon ProgramIcon();

}  // namespace kymora
