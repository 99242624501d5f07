// Any bytes as a file of another system, of the kind that they begin as: opened, read at both ends and in the
// middle, in one piece and sample by sample.

#include <algorithm>
#include <string_view>

#include "host/memory_file_system.h"
#include "host/quiet_host.h"
#include "import/open_document.h"
#include "opened_recording.h"

namespace {

// The extension under which the reader of this beginning is found.
const char* ExtensionOf(std::string_view text) {
    if (text.starts_with("CEDFIL")) return ".cfs";
    if (text.starts_with("ABF") || text.starts_with(" FBA")) return ".abf";
    if (text.starts_with("RI") || text.starts_with("RF") || text.starts_with("BW")) return ".wav";
    if (text.starts_with("AxG") || text.starts_with("axg")) return ".axgx";
    if (text.starts_with("MATLAB") || (text.size() > 8 && text[2] == 0 && text[3] == 0 && text[1] != 0x28))
        return ".mat";
    if (text.size() > 6 && text[4] == 110 && text[5] == 36) return ".wdq";
    return ".smr";
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kymora::QuietHost host;
    kymora::MemoryFileSystem files;
    kymora::Session session(host, files);
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    const std::string path =
        std::string("/x") + ExtensionOf({reinterpret_cast<const char*>(data), std::min<size_t>(size, 16)});
    files.Put(path, {bytes, bytes + size});
    const auto doc = kymora::OpenDocument(session, path, kymora::OpenRequest(kymora::OpenFor::reading));
    if (!doc) return 0;
    CheckOpened(*doc);
    return 0;
}
