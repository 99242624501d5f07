#pragma once
// What dialogs offer to choose from.

#include <string>
#include <vector>

#include "document/data_doc.h"

namespace kymora {

// "1: label" for each trace of a recording.
std::vector<std::string> TraceChoices(const CDataDoc& doc);

// The event channels that the interface offers, by the option: 26 or 999.
std::vector<std::string> ChannelChoices(const Session& session);

}  // namespace kymora
