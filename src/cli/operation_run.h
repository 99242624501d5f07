#pragma once
// Runs an operation over the recordings of a command line, or over the files that it reads in their place.

#include <optional>
#include <string>
#include <vector>

#include "catalogue/operations.h"
#include "cli/output.h"
#include "cli/run_graph.h"

namespace kymora {

class SubcommandContext;

struct RunOptions {
    std::vector<std::string> files;
    std::vector<std::string> settings;  // KEY=VALUE
    std::optional<std::string> config;
    // Ways of keeping what the operation makes; at most one of them.
    std::optional<std::string> output;
    bool inPlace = false;
    bool writeNew = false;
    bool json = false;   // an object for each file, instead of texts
    GraphOptions graph;  // where the output is a picture
};

// Results go to `results` with "\n" as their line ends, unless the request says where else. What is wrong
// with the request as such is found before a recording is opened, and no file is touched unless the whole
// operation on it was successful. Throws CommandError, Cancelled, FileError or OutputClosed.
void RunOperation(SubcommandContext& context, const Operation& operation, const RunOptions& request,
                  OutputSink& results);

// Writes the settings of a request as a configuration file; no recording is opened. Throws CommandError.
void SaveSettings(SubcommandContext& context, const Operation& operation, const RunOptions& request,
                  const std::string& path);

}  // namespace kymora
