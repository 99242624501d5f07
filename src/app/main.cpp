// One program with two faces: the terminal's subcommands, and the desktop on the files named.

#include "cli/command_line.h"

#ifdef KYMORA_DESKTOP
#include "app/kymora_app.h"
#include "cli/interrupt.h"
#else
#include <cstdio>
#endif

int main(int argc, char** argv) {
    if (kymora::IsCommandLine(argc, argv)) return kymora::RunCommandLine(argc, argv);
#ifdef KYMORA_DESKTOP
    kymora::FailAtFileLimits();
    return kymora::RunDesktop(argc, argv);
#else
    std::fputs("kymora: this build has no desktop; see kymora --help for the subcommands\n", stderr);
    return 2;
#endif
}
