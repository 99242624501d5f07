#pragma once
// Files in memory, opened by the reader of their extension.

#include <gtest/gtest.h>

#include <memory>

#include "host/memory_file_system.h"
#include "import/open_document.h"
#include "support/test_host.h"

namespace kymora::test {

class ReaderTest : public ::testing::Test {
  protected:
    MemoryFileSystem files;
    TestHost host;
    Session session{host, files};
    OpenRequest request;

    // Null when it does not open.
    std::unique_ptr<CDataDoc> Reopen(const char* path) { return OpenDocument(session, path, request); }
    static std::vector<float> All(CDataDoc& doc, int trace) {
        std::vector<float> values(static_cast<size_t>(doc.GetLength()));
        doc.ReadBlock(trace, 0, values);
        return values;
    }
};

}  // namespace kymora::test
