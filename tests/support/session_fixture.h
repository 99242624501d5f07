#pragma once
// A session without a user, whose files are in memory.

#include <gtest/gtest.h>

#include "host/memory_file_system.h"
#include "support/memory_doc.h"
#include "support/test_host.h"

namespace kymora::test {

struct SessionTest : ::testing::Test {
    TestHost host;
    MemoryFileSystem files;
    Session session{host, files};

    // All values of a trace.
    static std::vector<float> SamplesOf(CDataDoc& doc, int trace = 0) {
        std::vector<float> values(static_cast<size_t>(doc.GetTraceLength(trace)));
        doc.ReadBlock(trace, 0, values);
        return values;
    }
    void PutText(const std::filesystem::path& path, std::string_view text) {
        const auto bytes = std::as_bytes(std::span(text));
        files.Put(path, {bytes.begin(), bytes.end()});
    }
};

}  // namespace kymora::test
