#pragma once
// The dialog of the general options.

#include "host/session.h"

namespace kymora {

// Shows the options and stores what the user sets. False when the user cancels; nothing has changed then. The
// caller updates the views.
bool AskOptions(Session& session);

inline constexpr int greatestUndoShare = 90;           // percent
inline constexpr int greatestHitMargin = 20;           // pixels
inline constexpr int greatestBootstrapReps = 1000000;  // more would take days

}  // namespace kymora
