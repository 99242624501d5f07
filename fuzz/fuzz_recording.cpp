// Any bytes as a recording file, of the newer form and of the older: opened, read at both ends, and what was
// read written and opened again.

#include <cstdlib>
#include <vector>

#include "host/memory_file_system.h"
#include "host/quiet_host.h"
#include "recording/dtx_doc.h"
#include "recording/km_rec_doc.h"
#include "recording/recording_writer.h"

namespace {

std::vector<float> ReadEnds(kymora::CDataDoc& doc) {
    if (doc.GetLength() < 0 || doc.traceCount < 1 || doc.traceCount > 16) std::abort();
    std::vector<float> values(64);
    for (int t = 0; t < doc.traceCount; ++t)
        for (const int64_t from : {int64_t{0}, doc.GetLength() - 40}) doc.ReadBlock(t, from, values);
    return values;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kymora::QuietHost host;
    kymora::MemoryFileSystem files;
    kymora::Session session(host, files);
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    for (const char* path : {"/x.kymr-rec", "/x.dtx"}) files.Put(path, {bytes, bytes + size});
    kymora::CDtxDoc older(session);
    if (older.OnOpenDocument("/x.dtx", kymora::OpenFor::reading)) ReadEnds(older);
    kymora::CKMRecDoc shorter(session);
    if (shorter.OnOpenDocument("/x.kymr-rec", kymora::OpenFor::reading)) ReadEnds(shorter);
    kymora::CAcqDoc doc(session);
    if (!doc.OnOpenDocument("/x.kymr-rec", kymora::OpenFor::reading)) return 0;
    ReadEnds(doc);
    if (doc.GetLength() == 0) return 0;
    kymora::WriteRecordingPart(doc, "/y.kymr-rec", {0.0, doc.GetEndTime()});
    kymora::CAcqDoc again(session);
    if (!again.OnOpenDocument("/y.kymr-rec", kymora::OpenFor::reading)) std::abort();
    if (again.GetLength() != doc.GetLength() || again.Fault() != kymora::RecordingFault::none) std::abort();
    return 0;
}
