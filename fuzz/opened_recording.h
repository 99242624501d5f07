#pragma once
// What holds of every recording that opens, however damaged its file is: aborts where it does not.

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "document/data_doc.h"

// The same values in one read of all traces and one by one.
inline void ReadOpened(kymora::CDataDoc& doc, int64_t from) {
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

inline void CheckOpened(kymora::CDataDoc& doc) {
    if (doc.GetLength() < 1 || doc.traceCount < 1 || doc.traceCount > kymora::maxTraces) std::abort();
    for (const int64_t from : {int64_t{0}, doc.GetLength() / 2, doc.GetLength() - 100}) ReadOpened(doc, from);
    for (const kymora::CEventChan& channel : doc.eventChannels)
        for (const kymora::CEventKM& event : channel.Events())
            if (event.onPosition < 0 || event.offPosition < event.onPosition || !channel.IsInOrder())
                std::abort();
}
