#pragma once
// A session whose files are in memory and whose clipboard holds what a test puts there.

#include <gtest/gtest.h>

#include "document/float_doc.h"
#include "host/form.h"
#include "host/memory_file_system.h"
#include "support/test_host.h"

namespace kymora::test {

class PasteTest : public ::testing::Test {
  protected:
    static constexpr const char* name = "/new.kymr-dat";

    PasteTest() { host.saveFile = name; }

    // Opens the new file, which has to be there.
    CFloatDoc& Opened() {
        doc = std::make_unique<CFloatDoc>(session);
        EXPECT_TRUE(doc->OnOpenDocument(name, OpenFor::reading)) << host.LastMessage();
        return *doc;
    }
    std::vector<float> Samples(int trace) {
        std::vector<float> values(static_cast<size_t>(doc->GetTraceLength(trace)));
        doc->ReadBlock(trace, 0, values);
        return values;
    }
    // The next form is filled in by `fill` and accepted.
    void Fill(std::function<void(Form&)> fill) {
        host.fillForms.push_back([fill](Form& form) {
            fill(form);
            return true;
        });
    }
    void PutText(const std::filesystem::path& path, std::string_view text) {
        const auto bytes = std::as_bytes(std::span(text));
        files.Put(path, {bytes.begin(), bytes.end()});
    }

    MemoryFileSystem files;
    TestHost host;
    Session session{host, files};
    std::unique_ptr<CFloatDoc> doc;
};

}  // namespace kymora::test
