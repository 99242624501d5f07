// Any bytes as a file of another system, of the kind that they begin as: opened, read at both ends and in the
// middle, in one piece and sample by sample.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "host/memory_file_system.h"
#include "host/quiet_host.h"
#include "import/open_document.h"

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

void Read(kymora::CDataDoc& doc, int64_t from) {
    constexpr size_t count = 150;
    std::vector<std::vector<float>> values(static_cast<size_t>(doc.traceCount), std::vector<float>(count));
    std::vector<kymora::TraceBlock> blocks;
    for (int t = 0; t < doc.traceCount; ++t) blocks.push_back({t, values[static_cast<size_t>(t)], {}});
    doc.ReadBlocks(from, blocks);
    for (int t = 0; t < doc.traceCount; t += 1 + doc.traceCount / 8)
        for (size_t i = 0; i < count; i += 37) {
            float one = 0.0f;
            doc.ReadBlock(t, from + static_cast<int64_t>(i), {&one, 1});
            if (std::memcmp(&one, &values[static_cast<size_t>(t)][i], sizeof one) != 0) std::abort();
        }
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
    if (doc->GetLength() < 1 || doc->traceCount < 1 || doc->traceCount > kymora::maxTraces) std::abort();
    for (const int64_t from : {int64_t{0}, doc->GetLength() / 2, doc->GetLength() - 100}) Read(*doc, from);
    for (const kymora::CEventChan& channel : doc->eventChannels)
        for (const kymora::CEventKM& event : channel.Events())
            if (event.onPosition < 0 || event.offPosition < event.onPosition || !channel.IsInOrder())
                std::abort();
    return 0;
}
