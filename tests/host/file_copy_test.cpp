// Copying from file to file, in memory and on the disk.

#include <gtest/gtest.h>
#include <unistd.h>

#include "host/disk_file_system.h"
#include "host/memory_file_system.h"

namespace kymora {
namespace {

// Longer than the blocks in which files are copied that the system cannot copy, and no multiple of them.
constexpr size_t length = 2'500'003;

std::byte Pattern(size_t i) { return static_cast<std::byte>((i * 2654435761u) >> 13); }

struct FileCopy : ::testing::Test {
    std::filesystem::path folder =
        std::filesystem::temp_directory_path() / ("kymora-file-copy-" + std::to_string(::getpid()));
    DiskFileSystem disk;
    MemoryFileSystem memory;

    void SetUp() override { std::filesystem::create_directories(folder); }
    void TearDown() override { std::filesystem::remove_all(folder); }

    std::unique_ptr<DataFile> Make(FileSystem& files, const char* name, size_t bytes) {
        auto file = files.Open(folder / name, OpenMode::createNew);
        std::vector<std::byte> content(bytes);
        for (size_t i = 0; i < bytes; ++i) content[i] = Pattern(i);
        file->WriteAt(0, content);
        return file;
    }
    static std::vector<std::byte> Content(const DataFile& file) {
        std::vector<std::byte> content(file.Length());
        ReadWhole(file, 0, content);
        return content;
    }
};

TEST_F(FileCopy, CopiesAnyStretchBetweenAnyTwoKindsOfFile) {
    int round = 0;
    for (FileSystem* from : {static_cast<FileSystem*>(&disk), static_cast<FileSystem*>(&memory)}) {
        for (FileSystem* to : {static_cast<FileSystem*>(&disk), static_cast<FileSystem*>(&memory)}) {
            SCOPED_TRACE(++round);
            const auto source = Make(*from, ("from" + std::to_string(round)).c_str(), length);
            const auto target = Make(*to, ("to" + std::to_string(round)).c_str(), 5);
            CopyBytes(*source, 1001, *target, 3, length - 1002);
            const auto copied = Content(*target);
            ASSERT_EQ(copied.size(), 3 + length - 1002);
            for (size_t i = 0; i < 3; ++i) ASSERT_EQ(copied[i], Pattern(i));
            for (size_t i = 3; i < copied.size(); ++i) ASSERT_EQ(copied[i], Pattern(i - 3 + 1001)) << i;
            CopyBytes(*target, 0, *target, copied.size(), 3);  // within one file
            EXPECT_EQ(Content(*target).back(), Pattern(2));

            // A source that ends early is told, and nothing stands for what it has lost.
            const auto little = Make(*to, ("little" + std::to_string(round)).c_str(), 0);
            EXPECT_THROW(CopyBytes(*source, length - 100, *little, 0, 101), FileError);
            EXPECT_LE(little->Length(), 100u);
            EXPECT_THROW(CopyBytes(*source, length + 1, *little, 200, 1), FileError);
            EXPECT_LE(little->Length(), 100u);
        }
    }
}

TEST_F(FileCopy, NamesTheFileThatFailed) {
    const auto source = Make(disk, "source", 100);
    Make(disk, "target", 0);
    const auto target = disk.Open(folder / "target", OpenMode::readOnly);
    try {
        CopyBytes(*source, 0, *target, 0, 100);
        FAIL();
    } catch (const FileError& error) {
        EXPECT_TRUE(std::string(error.what()).starts_with("Couldn't write " + (folder / "target").string()));
    }
}

}  // namespace
}  // namespace kymora
