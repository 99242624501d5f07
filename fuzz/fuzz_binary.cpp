// Any bytes as a raw binary file. The first byte says of which type and of how many traces: however the
// samples are read they are the same, and so are their extremes.

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "host/memory_file_system.h"
#include "host/quiet_host.h"
#include "import/binary_doc.h"

namespace {

void ReadTrace(kymora::CDataDoc& doc, int trace) {
    const auto count = static_cast<size_t>(std::min<int64_t>(doc.GetLength(), 500));
    const int64_t from = doc.GetLength() - static_cast<int64_t>(count);
    std::vector<float> values(count);
    doc.ReadBlock(trace, from, values);
    float one = 0.0f;
    for (size_t i = 0; i < count; i += 1 + count / 5) {
        doc.ReadBlock(trace, from + static_cast<int64_t>(i), {&one, 1});
        if (std::memcmp(&one, &values[i], sizeof one) != 0) std::abort();
    }
    float low = values[0], high = values[0];
    uint8_t active = 0;
    const kymora::FoldStretch stretch{from, static_cast<int64_t>(count), &low, &high, &active};
    if (!doc.FoldStretches(trace, {&stretch, 1})) return;
    const auto [least, most] = std::minmax_element(values.begin(), values.end());
    if (active != 1 || low != *least || high != *most) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    if (size == 0) return 0;
    kymora::QuietHost host;
    kymora::MemoryFileSystem files;
    kymora::Session session(host, files);
    kymora::OpenRequest request(kymora::OpenFor::reading);
    request.settings["binaryType"] = std::to_string(data[0] % 4);
    request.settings["binaryTraces"] = std::to_string(data[0] / 4 % 16 + 1);
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    files.Put("/x.bin", {bytes + 1, bytes + size});
    kymora::CBinaryDoc doc(session);
    if (!doc.OnOpenDocument("/x.bin", request)) return 0;
    if (doc.GetLength() < 1 || doc.traceCount != data[0] / 4 % 16 + 1) std::abort();
    for (int t = 0; t < doc.traceCount; ++t) ReadTrace(doc, t);
    return 0;
}
