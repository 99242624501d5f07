// Any bytes as a native file: opened, read at both ends and in the middle, and, when they open, written again
// and read back with the same contents.

#include <cstdlib>
#include <vector>

#include "document/float_doc.h"
#include "document/native_writer.h"
#include "host/memory_file_system.h"
#include "host/quiet_host.h"

namespace {

void Read(kymora::CDataDoc& doc) {
    std::vector<float> values(100);
    std::vector<uint8_t> valid(100);
    for (const int64_t from : {int64_t{0}, doc.GetLength() / 2, doc.GetLength() - 50})
        for (int t = 0; t < doc.traceCount; ++t) doc.ReadBlock(t, from, values, valid);
    doc.SetReadPosition(static_cast<int32_t>(doc.GetLength() - 1));
    doc.ReadNext(0);
    doc.ReadNext(0);
}

// Writing costs what the samples cost; a few bytes may state a long gap-free recording only when they hold
// it.
void WriteAgain(kymora::CDataDoc& doc, kymora::Session& session) {
    kymora::WriteNativeFile(doc, "/again.kymr-dat");
    kymora::CFloatDoc again(session);
    if (!again.OnOpenDocument("/again.kymr-dat", kymora::OpenFor::reading)) std::abort();
    if (again.GetLength() != doc.GetLength() || again.fileComment != doc.fileComment) std::abort();
    for (size_t c = 0; c < doc.eventChannels.size(); ++c)
        if (again.eventChannels[c].GetNumEvents() != doc.eventChannels[c].GetNumEvents()) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kymora::QuietHost host;
    kymora::MemoryFileSystem files;
    kymora::Session session(host, files);
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    files.Put("/x.kymr-dat", {bytes, bytes + size});
    kymora::CFloatDoc doc(session);
    if (!doc.OnOpenDocument("/x.kymr-dat")) return 0;
    Read(doc);
    WriteAgain(doc, session);
    return 0;
}
