#pragma once
// Goes on with a file that another program has written since it was opened: the same document reads the rest.
// All that the user has done stays, with its undo.

#include <string>

#include "document/data_doc.h"

namespace kymora {

enum class ReloadState {
    grown,      // there is something new
    unchanged,  // there is not
    refused,    // and nothing was changed
};

struct ReloadResult {
    ReloadState state = ReloadState::refused;
    std::string text{};  // for the user: what came, or why nothing could
};

// Opens the file again as it was opened, holds it against what was read, and only then takes it. Views are
// told. Throws nothing.
ReloadResult ReloadDocument(CDataDoc& doc);

}  // namespace kymora
