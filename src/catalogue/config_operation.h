#pragma once
// Which operation a configuration file is for.

#include <filesystem>

#include "catalogue/operations.h"
#include "host/session.h"

namespace kymora {

// Both take the name of the file and that of the class.
inline constexpr const char* unknownConfigText =
    "{} holds the settings of {}, which this version of Kymora does not have.";
inline constexpr const char* newRecordingConfigText =
    "{0} holds the settings of {1}, which makes a recording of its own and does not work on an open one. "
    "\"kymora run {1} FILE --config {0} -o OUT\" uses them.";

// The operation whose settings a file holds, if it is one for an open recording; else null, and the user was
// told why.
const Operation* OperationOfConfig(Session& session, const std::filesystem::path& path);

}  // namespace kymora
