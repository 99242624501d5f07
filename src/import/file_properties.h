#pragma once
// What a recording is, its comment and its history, in a dialog.

#include "document/data_doc.h"

namespace kymora {

// The comment can be edited, which marks the document as changed; the rest is to be read. False when the user
// cancels.
bool AskFileProperties(CDataDoc& doc);

}  // namespace kymora
