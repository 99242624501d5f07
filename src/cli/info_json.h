#pragma once
// The model of a recording as JSON.

#include <string_view>

#include "cli/output.h"
#include "document/data_doc.h"

namespace kymora {

// Whether `info` has something to tell of a channel: it holds events, or a setting is not the default.
bool IsChannelUsed(const CDataDoc& doc, int channel);

void WriteInfoJson(OutputSink& sink, const CDataDoc& doc, std::string_view path);

}  // namespace kymora
