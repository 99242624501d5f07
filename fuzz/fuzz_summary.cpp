// Any bytes as a summary's file. Those of odd length get right check sums, so that what lies behind them is
// tried, too. A summary that opens gives all its blocks, or says that it is damaged.

#include <cstdlib>
#include <cstring>

#include "host/memory_file_system.h"
#include "summaries/summary_file.h"

namespace {

void MendHead(std::vector<std::byte>& bytes) {
    uint32_t head = 0;
    if (bytes.size() < 24) return;
    std::memcpy(&head, bytes.data() + 12, sizeof head);
    if (head < 24 || head > bytes.size()) return;
    const uint64_t sum = kymora::SummaryCheckSum(std::span(bytes).first(head - 8));
    std::memcpy(bytes.data() + head - 8, &sum, sizeof sum);
}

void ReadAll(kymora::Summary& summary) {
    const kymora::SummaryShape& shape = summary.Shape();
    for (int level = 0; level < summary.Levels(); ++level)
        for (int trace = 0; trace < shape.traces; ++trace)
            for (int64_t first = 0; first < shape.BlockCount(level);) {
                const auto blocks = summary.From(level, trace, first, shape.BlockCount(level) - first);
                if (blocks.empty()) std::abort();
                first += static_cast<int64_t>(blocks.size());
            }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    kymora::MemoryFileSystem files;
    const auto* bytes = reinterpret_cast<const std::byte*>(data);
    files.Put("/s", {bytes, bytes + size});
    if (size % 2 == 1) MendHead(files.Bytes("/s"));
    const kymora::SummaryKey key{"/a.edf", "all", {1, 2, 3, 4}};
    try {
        ReadAll(*kymora::OpenSummaryFile(files, "/s", key));
        kymora::RestampSummaryFile(files, "/s", key, {1, 2, 3, 5});
        kymora::OpenSummaryFile(files, "/s", {key.path, key.settings, {1, 2, 3, 5}});
    } catch (const kymora::SummaryError&) {
    }
    return 0;
}
