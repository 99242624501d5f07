// Any bytes as an EDF or BDF file: opened, read at both ends and in the middle, in one piece and sample by
// sample, and its annotations listed.

#include <cstdlib>
#include <cstring>
#include <vector>

#include "host/memory_file_system.h"
#include "host/quiet_host.h"
#include "import/bdf_doc.h"

namespace {

constexpr size_t count = 150;

void Read(kymora::CDataDoc& doc, int64_t from) {
    std::vector<std::vector<float>> values(static_cast<size_t>(doc.traceCount), std::vector<float>(count));
    std::vector<uint8_t> valid(count);
    std::vector<kymora::TraceBlock> blocks;
    for (int t = 0; t < doc.traceCount; ++t) blocks.push_back({t, values[static_cast<size_t>(t)], valid});
    doc.ReadBlocks(from, blocks);
    // However the samples are read, they are the same.
    for (int t = 0; t < doc.traceCount; ++t) {
        std::vector<float> one(1);
        for (size_t i = 0; i < count; i += 37) {
            doc.ReadBlock(t, from + static_cast<int64_t>(i), one);
            if (std::memcmp(&one[0], &values[static_cast<size_t>(t)][i], sizeof(float)) != 0) std::abort();
        }
    }
}

void CheckEvents(const kymora::CDataDoc& doc) {
    for (const kymora::CEventChan& channel : doc.eventChannels)
        for (const kymora::CEventKM& event : channel.Events())
            if (event.onPosition < 0 || event.offPosition <= event.onPosition || !channel.IsInOrder())
                std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kymora::QuietHost host;
    kymora::MemoryFileSystem files;
    kymora::Session session(host, files);
    kymora::OpenRequest request(kymora::OpenFor::reading);
    if (size % 2 == 1) request.settings["annotations"] = "separate";
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    const bool isBdf = size > 0 && data[0] == 0xFF;
    const char* path = isBdf ? "/x.bdf" : "/x.edf";
    files.Put(path, {bytes, bytes + size});
    const std::unique_ptr<kymora::CEDFDoc> opened =
        isBdf ? std::make_unique<kymora::CBDFDoc>(session) : std::make_unique<kymora::CEDFDoc>(session);
    kymora::CEDFDoc& doc = *opened;
    if (!doc.OnOpenDocument(path, request)) return 0;
    if (doc.GetLength() < 1 || doc.traceCount < 1 || doc.traceCount > (isBdf ? 128 : 16)) std::abort();
    for (const int64_t from : {int64_t{0}, doc.GetLength() / 2, doc.GetLength() - 100}) Read(doc, from);
    CheckEvents(doc);
    doc.AnnotationList();
    return 0;
}
