#pragma once
// Writes Neurodata Without Borders 2.5: traces in volts as one ElectricalSeries, others as a TimeSeries for
// each unit; gaps told by the times of the samples; channels of bare events as units, all others as tables of
// intervals with their labels and values.

#include <filesystem>
#include <string>
#include <vector>

#include "document/data_doc.h"

namespace kymora {

// Writes the file; what was at `path` is replaced when all is written. Answers what the form does not hold as
// it was, a line each, for the user. Shows progress. Throws FileError or Cancelled, and then leaves nothing
// behind.
std::vector<std::string> WriteNwbFile(CDataDoc& doc, const std::filesystem::path& path);

}  // namespace kymora
