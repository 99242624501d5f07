// Writes the pages of the documentation that follow from the program's tables into a folder.
//
//   kymora_reference DOCS

#include <cstdio>
#include <fstream>

#include "app/remote_desktop.h"
#include "catalogue/operation_reference.h"
#include "remote/remote_reference.h"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: kymora_reference DOCS\n", stderr);
        return 2;
    }
    const auto commands = kymora::FrameCommandList();
    const std::filesystem::path docs = argv[1];
    std::ofstream(docs / "remote.md", std::ios::binary) << kymora::RemoteReference(commands);
    std::ofstream(docs / "shortcuts.md", std::ios::binary) << kymora::ShortcutReference(commands);
    std::ofstream(docs / "operations.md", std::ios::binary)
        << kymora::OperationReference(kymora::Operations());
    return 0;
}
