#pragma once
// What the command line says to the desktop: files to open, and options that the subcommands take too.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "document/open_request.h"

namespace kymora {

struct DesktopArguments {
    std::vector<std::filesystem::path> files;
    ImportSettings importSettings;
    std::optional<uint64_t> seed;        // of --seed
    std::optional<uint16_t> remotePort;  // of --remote; 0 lets the system choose
    std::string fault;                   // why the command line is wrong; empty when it is right
};

// Takes the arguments behind the program's name. "--" ends the options.
DesktopArguments ParseDesktopArguments(const std::vector<std::string>& arguments);

}  // namespace kymora
