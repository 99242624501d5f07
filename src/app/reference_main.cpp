// Writes the pages of the documentation that follow from the program's tables into a folder, and the tables
// of formats into its page of them and the README beside the folder.
//
//   kymora_reference DOCS

#include <cstdio>
#include <fstream>
#include <iterator>

#include "app/remote_desktop.h"
#include "catalogue/operation_reference.h"
#include "import/format_pages.h"
#include "remote/remote_reference.h"

namespace {

void PutTable(const std::filesystem::path& path, const char* name, const std::string& table) {
    std::ifstream file(path, std::ios::binary);
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    std::ofstream(path, std::ios::binary) << kymora::WithTable(text, name, table);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: kymora_reference DOCS\n", stderr);
        return 2;
    }
    const auto commands = kymora::FrameCommandList();
    const std::filesystem::path docs = std::filesystem::absolute(argv[1]);
    std::ofstream(docs / "remote.md", std::ios::binary) << kymora::RemoteReference(commands);
    std::ofstream(docs / "shortcuts.md", std::ios::binary) << kymora::ShortcutReference(commands);
    std::ofstream(docs / "operations.md", std::ios::binary)
        << kymora::OperationReference(kymora::Operations());
    PutTable(docs / "bringing-data-in.md", "other systems", kymora::OtherSystemsTable());
    PutTable(docs.parent_path() / "README.md", "formats", kymora::FormatList());
    return 0;
}
