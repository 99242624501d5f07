// Files that go unless they are moved into their place, and scratch files of kernels.

#include "document/temporary_file.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <fmt/format.h>

#include "host/disk_file_system.h"
#include "support/bytes.h"
#include "support/faulty_file_system.h"
#include "support/test_host.h"
#include "transforms/temporary_scratch.h"

namespace kymora {
namespace {

std::vector<std::byte> Text(const char* text) {
    test::Bytes bytes;
    for (; *text != 0; ++text) bytes.U8(static_cast<unsigned char>(*text));
    return bytes.data;
}

// Two disks: a file cannot be renamed from one folder to another.
class TwoDisks : public MemoryFileSystem {
  public:
    void Rename(const std::filesystem::path& from, const std::filesystem::path& to) override {
        if (from.parent_path() != to.parent_path()) throw FileError("another disk", EXDEV);
        MemoryFileSystem::Rename(from, to);
    }
};

struct Temporary : ::testing::Test {
    test::TestHost host;
    MemoryFileSystem files;
    const std::string process = fmt::format("{:x}", ::getpid());
};

TEST_F(Temporary, TakesTheFirstFreeNameAndGoesAfterAThrow) {
    files.Put("/data/dat" + process + "-0.tmp", Text("another's"));
    try {
        TemporaryFile file = TemporaryFile::InFolder(files, "/data", host);
        EXPECT_EQ(file.Path(), "/data/dat" + process + "-1.tmp");
        TemporaryFile second = TemporaryFile::InFolder(files, "/data", host);
        EXPECT_EQ(second.Path(), "/data/dat" + process + "-2.tmp");
        const TemporaryFile here = TemporaryFile::InFolder(files, "", host);
        EXPECT_EQ(here.Path(), "./dat" + process + "-0.tmp");
        const TemporaryFile beside(files, "/data/a.kymr-dat");
        EXPECT_EQ(beside.Path(), fmt::format("/data/a.kymr-dat.{}-0.tmp", ::getpid()));
        file.File().WriteAt(0, Text("half"));
        EXPECT_EQ(files.Count(), 5u);
        throw std::runtime_error("the kernel failed");
    } catch (const std::runtime_error&) {
    }
    EXPECT_EQ(files.Count(), 1u);
    EXPECT_EQ(files.Bytes("/data/dat" + process + "-0.tmp"), Text("another's"));
    EXPECT_TRUE(host.log.empty());
}

TEST_F(Temporary, SaysInTheLogThatThereIsNoName) {
    DiskFileSystem disk;
    EXPECT_THROW(TemporaryFile::InFolder(disk, "/no such folder", host), FileError);
    ASSERT_EQ(host.log.size(), 1u);
    EXPECT_EQ(host.log[0], "Couldn't allocate unique temporary file name\n");
    EXPECT_THROW(TemporaryFile(disk, "/no such folder/x"), FileError);
    EXPECT_EQ(host.log.size(), 1u);
}

TEST_F(Temporary, MovesIntoItsPlaceOnThisDiskOrAnother) {
    TwoDisks disks;
    for (const char* target : {"/data/result", "/other/result"}) {
        disks.Put(target, Text("old"));
        {
            TemporaryFile file = TemporaryFile::InFolder(disks, "/data", host);
            file.File().WriteAt(0, Text("new"));
            file.MoveTo(target);
        }
        EXPECT_EQ(disks.Bytes(target), Text("new"));
    }
    EXPECT_EQ(disks.Count(), 2u);

    // A place that cannot be taken leaves what is there, and nothing else.
    test::FaultyFileSystem faulty(files);
    files.Put("/data/result", Text("old"));
    {
        TemporaryFile file = TemporaryFile::InFolder(faulty, "/data", host);
        faulty.beforeChange = [&] {
            faulty.beforeChange = {};
            throw FileError("not now", EACCES);
        };
        EXPECT_THROW(file.MoveTo("/data/result"), FileError);
    }
    EXPECT_EQ(files.Bytes("/data/result"), Text("old"));
    EXPECT_EQ(files.Count(), 1u);
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
        EXPECT_EQ(files.Count(), 2u);
    }
    EXPECT_EQ(files.Count(), 0u);
}

TEST_F(Temporary, AFullDiskLeavesNoScratch) {
    test::FaultyFileSystem faulty(files);
    faulty.freeBytes = 6000;
    TemporaryScratch room(faulty, host, "/data");
    const std::vector<float> values(1000);
    const auto fill = [&] {
        const auto run = room.Make();
        for (int i = 0; i < 10; ++i) run->Sink().Write(values);
        run->Rewind();
    };
    EXPECT_THROW(fill(), FileError);
    EXPECT_EQ(files.Count(), 0u);
}

}  // namespace
}  // namespace kymora
