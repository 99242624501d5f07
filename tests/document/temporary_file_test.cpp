// Files that go unless they are moved into their place, and scratch files of kernels.

#include "document/temporary_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fmt/format.h>

#include "host/disk_file_system.h"
#include "kernels/temporary_scratch.h"
#include "support/faulty_file_system.h"
#include "support/test_host.h"

namespace kymora {
namespace {

std::vector<std::byte> Text(std::string_view text) {
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

struct Temporary : ::testing::Test {
    test::TestHost host;
    MemoryFileSystem files;
    const std::string process = fmt::format("{:x}", ::getpid());
};

// With files that have no name until they are complete, and without.
TEST_F(Temporary, TakesItsPlaceOrLeavesNothing) {
    for (const bool unnamed : {true, false}) {
        files = {};
        files.opensUnnamed = unnamed;
        files.Put("/data/old", Text("old"));
        for (const char* target : {"/data/old", "/data/new"}) {
            TemporaryFile file(files, target);
            const TemporaryFile second(files, target);  // of another thread
            file.File().WriteAt(0, Text("new"));
            file.MoveToTarget();
            EXPECT_EQ(files.Bytes(target), Text("new"));
        }
        EXPECT_EQ(files.Count(), 2u);
        try {
            TemporaryFile file(files, "/data/old");
            file.File().WriteAt(0, Text("half"));
            throw std::runtime_error("the kernel failed");
        } catch (const std::runtime_error&) {
        }
        EXPECT_EQ(files.Count(), 2u);
        EXPECT_EQ(files.Bytes("/data/old"), Text("new"));

        // A place that cannot be taken leaves what is there, and nothing else.
        test::FaultyFileSystem faulty(files);
        {
            TemporaryFile file(faulty, "/data/old");
            int changes = 0;  // the rename comes behind the link, where there is one
            faulty.beforeChange = [&] {
                if (++changes == (unnamed ? 2 : 1)) throw FileError("not now", EACCES);
            };
            EXPECT_THROW(file.MoveToTarget(), FileError);
        }
        EXPECT_EQ(files.Count(), 2u);
        EXPECT_EQ(files.Bytes("/data/old"), Text("new"));
    }
}

// Another program writes the target while the new one is made: its version stays.
TEST_F(Temporary, ATargetThatOthersChangedIsLeftAndTheResultKept) {
    for (const bool unnamed : {true, false})
        for (const bool existed : {true, false}) {
            files = {};
            files.opensUnnamed = unnamed;
            if (existed) files.Put("/data/a.txt", Text("old"));
            files.Put("/data/a_result.txt", Text("an earlier one"));
            TemporaryFile file(files, "/data/a.txt");
            file.File().WriteAt(0, Text("mine"));
            files.Put("/data/a.txt", Text("theirs"));
            try {
                file.MoveToTarget();
                ADD_FAILURE() << "nothing was told";
            } catch (const ResultKept& kept) {
                EXPECT_STREQ(
                    kept.what(),
                    "/data/a.txt was changed by another program meanwhile and was left as it is. The "
                    "result was kept as a_result-2.txt.");
            }
            EXPECT_EQ(files.Bytes("/data/a.txt"), Text("theirs"));
            EXPECT_EQ(files.Bytes("/data/a_result-2.txt"), Text("mine"));
            EXPECT_EQ(files.Count(), 3u);
        }
}

// The folder goes away while the result is made: nobody may take that for done.
TEST_F(Temporary, AResultWithoutAPlaceHasNotMoved) {
    files.Put("/data/a.txt", Text("old"));
    test::FaultyFileSystem faulty(files);
    TemporaryFile file(faulty, "/data/a.txt");
    faulty.beforeChange = [] { throw FileError("gone", ENOENT); };
    EXPECT_THROW(file.MoveToTarget(), FileError);
    EXPECT_FALSE(file.HasMoved());
    EXPECT_EQ(files.Bytes("/data/a.txt"), Text("old"));
}

// What a killed program has left goes with the next file that is written in that folder; what another one is
// writing, and what is no file of ours, stays.
TEST_F(Temporary, WhatIsLeftIsSwept) {
    files.opensUnnamed = false;
    files.Put("/data/dat7b-0.kymora-tmp", Text("left"));
    files.Put("/data/dat7b-1.kymora-tmp", Text("in use"));
    files.Put("/data/dat7b-2.tmp", Text("a user's"));
    const auto writing = files.Open("/data/dat7b-1.kymora-tmp", OpenMode::readWrite);
    ASSERT_TRUE(writing->TryLock());
    TemporaryFile file(files, "/data/x");
    EXPECT_EQ(file.Path(), "/data/dat" + process + "-0.kymora-tmp");
    const TemporaryFile second(files, "/data/y");
    EXPECT_EQ(second.Path(), "/data/dat" + process + "-1.kymora-tmp");
    EXPECT_FALSE(files.Has("/data/dat7b-0.kymora-tmp"));
    EXPECT_EQ(files.Count(), 4u);
}

TEST_F(Temporary, NamesTheTargetWhereItCannotBeMade) {
    DiskFileSystem disk;
    try {
        const TemporaryFile file(disk, "/no such folder/x");
        ADD_FAILURE() << "it was made";
    } catch (const FileError& error) {
        EXPECT_STREQ(error.what(), "Couldn't open /no such folder/x: No such file or directory");
    }
    TemporaryScratch room(disk, host, "/no such folder");
    EXPECT_THROW(room.Make(), FileError);
    ASSERT_EQ(host.log.size(), 1u);
    EXPECT_EQ(host.log[0], "Couldn't allocate unique temporary file name\n");
}

TEST_F(Temporary, AScratchRunReadsAsOftenAsOneLikesAndGoes) {
    std::vector<float> values(10'000);
    for (size_t i = 0; i < values.size(); ++i) values[i] = 0.25f * static_cast<float>(i);
    TemporaryScratch room(files, host, "/data");
    {
        const auto run = room.Make();
        const auto other = room.Make();
        other->Sink().Write(std::span(values).first(3));
        // One by one and in blocks above the buffer.
        for (size_t i = 0; i < 2000; ++i) run->Sink().Write(std::span(values).subspan(i, 1));
        run->Sink().Write(std::span(values).subspan(2000));
        for (const size_t step : {size_t{1}, size_t{777}, size_t{20'000}}) {
            const auto source = run->Rewind();
            std::vector<float> read, part(step);
            for (size_t n = step; n == step;) {
                n = source->Read(part);
                read.insert(read.end(), part.begin(), part.begin() + static_cast<ptrdiff_t>(n));
            }
            EXPECT_EQ(read, values) << step;
        }
        std::vector<float> part(5);
        EXPECT_EQ(other->Rewind()->Read(part), 3u);
        EXPECT_EQ(files.Count(), 0u) << "a kill would leave them";
    }
    EXPECT_EQ(files.Count(), 0u);
}

}  // namespace
}  // namespace kymora
