#pragma once
// The terminal face of the program.

namespace kymora {

// Whether the arguments are for the terminal: the first is a subcommand (also one that a later version has),
// or -h or begins with two hyphens. Anything else is for the desktop: files, or options of its window system.
bool IsCommandLine(int argc, char** argv);

// Runs a subcommand and answers the program's exit code.
int RunCommandLine(int argc, char** argv);

}  // namespace kymora
