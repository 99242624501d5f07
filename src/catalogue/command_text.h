#pragma once
// The command line that does what the window of an operation is set for.

#include <string>
#include <string_view>

#include "catalogue/operations.h"

namespace kymora {

// A word of a command line as a POSIX shell takes it.
std::string ShellWord(std::string_view text);

// "kymora run CEventThreshold rec.kymr-dat --set onMultiplier=6 --in-place": the settings that differ from
// those with which the operation begins on its recording, in an order in which none moves another one. The
// times of what is seen stand for it, where the operation can be told them.
std::string CommandText(const Operation& operation, CBatchBaseDlg& block);

}  // namespace kymora
