// A target that is made anew step by step, unseen until it is complete.

#include "document/staged_files.h"

#include <gtest/gtest.h>

#include "document/native_writer.h"
#include "document/temporary_file.h"
#include "host/memory_file_system.h"

namespace kymora {
namespace {

std::vector<std::byte> Plain(std::string_view text) {
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

std::vector<std::byte> ContentOf(FileSystem& files, const std::filesystem::path& path) {
    const auto file = files.Open(path, OpenMode::readOnly);
    std::vector<std::byte> bytes(file->Length());
    ReadWhole(*file, 0, bytes);
    return bytes;
}

void Write(FileSystem& files, const std::filesystem::path& path, std::string_view text) {
    WriteFileAtomically(files, path, [&](CArchive& archive) { archive.WriteRaw(Plain(text)); });
}

struct Staged : ::testing::Test {
    MemoryFileSystem below;
};

TEST_F(Staged, NothingIsSeenBeforeTheEnd) {
    for (const bool unnamed : {true, false})
        for (const bool exists : {true, false}) {
            below = {};
            below.opensUnnamed = unnamed;
            below.Put("/d/source", Plain("source"));
            if (exists) below.Put("/d/target", Plain("old"));
            const size_t before = below.Count();
            {
                StagedFiles files(below, "/d/target");
                EXPECT_EQ(ContentOf(files, "/d/source"), Plain("source"));
                EXPECT_EQ(files.Stamp("/d/target").has_value(), exists);
                Write(files, "/d/target", "one");
                Write(files, "/d/target", "two");
                files.Open("/d/target", OpenMode::readWrite)->WriteAt(0, Plain("T"));
                EXPECT_EQ(ContentOf(files, "/d/target"), Plain("Two"));
                EXPECT_EQ(below.Count(), before);
                if (exists) {
                    EXPECT_EQ(below.Bytes("/d/target"), Plain("old"));
                }
                files.Commit();
            }
            EXPECT_EQ(below.Bytes("/d/target"), Plain("Two"));
            EXPECT_EQ(below.Count(), 2u) << "nothing temporary";
            {
                StagedFiles files(below, "/d/target");
                Write(files, "/d/target", "three");
            }
            EXPECT_EQ(below.Bytes("/d/target"), Plain("Two")) << "not committed";
            EXPECT_EQ(below.Count(), 2u);
        }
}

TEST_F(Staged, AWriteInPlaceGoesIntoACopy) {
    below.Put("/d/target", Plain("old"));
    StagedFiles files(below, "/d/target");
    EXPECT_FALSE(files.HasTarget());
    const auto one = files.Open("/d/target", OpenMode::readWrite);
    one->WriteAt(0, Plain("new"));
    EXPECT_EQ(ContentOf(below, "/d/target"), Plain("old"));
    const auto other = files.Open("/d/target", OpenMode::readWrite);
    EXPECT_TRUE(one->TryLock() && one->HoldsLock());
    EXPECT_FALSE(other->TryLock());
}

TEST_F(Staged, WhatOthersWroteMeanwhileStays) {
    below.Put("/d/target", Plain("old"));
    StagedFiles files(below, "/d/target");
    below.Put("/d/target", Plain("theirs"));
    EXPECT_THROW(files.Open("/d/target", OpenMode::readWrite), FileError);
    Write(files, "/d/target", "result");  // whenever they did it
    Write(files, "/d/target.steps", "of the result");
    EXPECT_THROW(files.Commit(), ResultKept);
    EXPECT_FALSE(below.Has("/d/target.steps"));
    EXPECT_EQ(below.Bytes("/d/target"), Plain("theirs"));
    EXPECT_EQ(below.Bytes("/d/target_result"), Plain("result"));
    EXPECT_EQ(below.Bytes("/d/target_result.steps"), Plain("of the result"));
}

// The safety copy of a save counts until the target has taken its place.
TEST_F(Staged, FilesBesideAreAsTheyWereUntilTheEnd) {
    for (const bool isKept : {false, true}) {
        below = {};
        below.Put("/d/target", Plain("old"));
        below.Put("/d/journal", Plain("journal"));
        below.Put("/d/moved", Plain("moved"));
        below.Put("/d/removed", Plain("removed"));
        {
            StagedFiles files(below, "/d/target");
            files.Open("/d/journal", OpenMode::readWrite)->WriteAt(0, Plain("J"));
            EXPECT_EQ(ContentOf(files, "/d/journal"), Plain("Journal"));
            files.Rename("/d/moved", "/d/elsewhere");
            files.Remove("/d/removed");
            for (const char* gone : {"/d/moved", "/d/removed"}) {
                EXPECT_FALSE(files.Stamp(gone));
                EXPECT_THROW(files.Open(gone, OpenMode::readOnly), FileError);
            }
            EXPECT_EQ(below.Bytes("/d/journal"), Plain("journal"));
            EXPECT_TRUE(below.Has("/d/moved") && below.Has("/d/removed") && !below.Has("/d/elsewhere"));
            Write(files, "/d/target", "new");
            if (isKept) files.Commit();
        }
        EXPECT_EQ(below.Bytes("/d/journal"), Plain(isKept ? "Journal" : "journal"));
        EXPECT_EQ(below.Has("/d/elsewhere"), isKept);
        EXPECT_EQ(below.Has("/d/moved"), !isKept);
        EXPECT_EQ(below.Has("/d/removed"), !isKept);
    }
}

// A window of the caller holds the lock of the file that is to be replaced.
TEST_F(Staged, ALockOfTheCallerIsNoHindrance) {
    below.Put("/d/target", Plain("old"));
    const auto window = below.Open("/d/target", OpenMode::readOnly);
    ASSERT_TRUE(window->TryLock());
    for (const bool isOurs : {false, true}) {
        StagedFiles files(below, "/d/target", isOurs);
        EXPECT_EQ(files.Open("/d/target", OpenMode::readOnly)->TryLock(), isOurs);
    }
}

}  // namespace
}  // namespace kymora
