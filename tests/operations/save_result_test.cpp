// A run that nobody attends saves over a file that another program has changed since it was read: that
// version stays, and the result is kept beside it.

#include "operations/save_result.h"

#include <gtest/gtest.h>

#include "document/temporary_file.h"
#include "host/memory_file_system.h"
#include "import/open_document.h"
#include "support/edf_builder.h"
#include "support/native_builder.h"
#include "support/test_host.h"

namespace kymora {
namespace {

struct ChangedCase {
    const char* source;
    int version;          // of a native source
    const char* changed;  // by another program
    bool byRename;        // or in its place
    const char* kept;
};

const ChangedCase changedCases[] = {
    {"/rec.kymr-dat", 48, "/rec.kymr-dat", true, "/rec_result.kymr-dat"},
    {"/rec.kymr-dat", 48, "/rec.kymr-dat", false, "/rec_result.kymr-dat"},
    {"/rec.flt", 12, "/rec.flt", true, "/rec_result.flt"},
    {"/rec.edf", 0, "/rec.kymr-hdr", true, "/rec_result.kymr-hdr"},
    {"/rec.edf", 0, "/rec.edf", false, "/rec_result.kymr-hdr"},
};

TEST(SaveResult, WhatOthersWroteStaysAndTheResultIsKept) {
    for (const ChangedCase& one : changedCases) {
        SCOPED_TRACE(std::string(one.source) + ", " + one.changed + (one.byRename ? ", renamed" : ""));
        test::TestHost host;
        MemoryFileSystem files;
        Session session(host, files);
        test::NativeRecipe recipe;
        recipe.version = one.version;
        const auto bytes = one.version == 0 ? test::EdfBuilder().AddRamp("EEG", 50).Build()
                                            : test::BuildNative(recipe).file.data;
        files.Put(one.source, bytes);
        auto doc = OpenDocument(session, one.source);
        ASSERT_TRUE(doc);
        doc->AddEvent(9, CEventKM{3, 5});

        const bool isThere = files.Has(one.changed);
        auto theirs = isThere ? files.Bytes(one.changed) : std::vector<std::byte>(30);
        theirs.back() = std::byte{1};
        if (one.byRename)
            files.Put(one.changed, theirs);
        else
            files.Open(one.changed, OpenMode::readWrite)->WriteAt(0, theirs);
        host.answer = false;
        EXPECT_THROW(SaveInPlace(*doc), ResultKept);
        EXPECT_EQ(files.Bytes(one.changed), theirs);
        ASSERT_TRUE(files.Has(one.kept));
        doc.reset();
        if (one.version == 0) {  // as the side-car of the same recording
            files.Put("/other.edf", bytes);
            files.Rename(one.kept, "/other.kymr-hdr");
        }
        doc = OpenDocument(session, one.version == 0 ? "/other.edf" : one.kept);
        ASSERT_TRUE(doc);
        EXPECT_EQ(doc->GetNumEvents(9), 1);
    }
}

}  // namespace
}  // namespace kymora
