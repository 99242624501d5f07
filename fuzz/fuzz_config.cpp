// Any bytes as the settings of an operation: of the one that they name, and of another. What was taken can be
// told, and saved and loaded again; what was refused has changed nothing.

#include <cstdlib>

#include "catalogue/config_operation.h"
#include "host/memory_file_system.h"
#include "host/quiet_host.h"
#include "operations/config_file.h"

namespace {

void Load(kymora::Session& session, const kymora::Operation& operation) {
    const auto block = operation.make();
    const auto before = block->Settings();
    if (!kymora::LoadConfig(session, *block, "/x.kymr-cfg")) {
        if (block->Settings() != before) std::abort();
        return;
    }
    std::string text;
    block->GetParamText(text);
    const auto again = operation.make();
    if (!kymora::SaveConfig(session, *block, "/again.kymr-cfg") ||
        !kymora::LoadConfig(session, *again, "/again.kymr-cfg") || again->Settings() != block->Settings())
        std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kymora::QuietHost host;
    kymora::MemoryFileSystem files;
    kymora::Session session(host, files);
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    files.Put("/x.kymr-cfg", {bytes, bytes + size});
    kymora::OperationOfConfig(session, "/x.kymr-cfg");
    const kymora::Operation* named = kymora::FindOperation(kymora::ConfigClassName(session, "/x.kymr-cfg"));
    if (named) Load(session, *named);
    Load(session, kymora::Operations()[size % kymora::Operations().size()]);
    return 0;
}
