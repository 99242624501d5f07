// Replaced files that can come back: the place always holds one version, whatever goes wrong.

#include "document/kept_file.h"

#include <gtest/gtest.h>

#include "document/save_journal.h"
#include "support/faulty_file_system.h"
#include "support/power_cut_disk.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

constexpr const char* place = "/cell7.kymr-dat";
constexpr const char* before = "/cell7.kymr-dat.before-transform-01";
constexpr const char* undone = "/cell7.kymr-dat.undone-transform-01";

std::vector<std::byte> Bytes(std::string_view text) {
    const auto bytes = std::as_bytes(std::span(text));
    return {bytes.begin(), bytes.end()};
}

// As a transform does it.
void Replace(FileSystem& files, std::string_view text) {
    const auto made = files.Open("/made", OpenMode::createNew);
    made->WriteAt(0, Bytes(text));
    made->Sync();
    files.Rename("/made", place);
    files.SyncFolderOf(place);
}

class KeptFileTest : public SessionTest {
  protected:
    void SetUp() override { files.Put(place, Bytes("old")); }
    std::string At(const std::filesystem::path& path) {
        if (!files.Has(path)) return "nothing";
        const auto& bytes = files.Bytes(path);
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }
};

TEST_F(KeptFileTest, GoesBackAndForthAndLeavesOneFile) {
    for (const bool existed : {true, false}) {
        SCOPED_TRACE(existed);
        if (!existed) files.Remove(place);
        const std::string old = existed ? "old" : "nothing";
        {
            KeptFile kept(session, place);
            Replace(files, "new");
            for (int round = 0; round < 2; ++round) {
                EXPECT_EQ(At(before), old);
                kept.Swap(files.Stamp(place));
                EXPECT_EQ(At(place), old);
                EXPECT_EQ(At(undone), "new");
                EXPECT_EQ(kept.Placed(), files.Stamp(place));
                EXPECT_EQ(session.keptBytes, 3u);
                kept.Swap(kept.Placed());
                EXPECT_EQ(At(place), "new");
            }
            EXPECT_EQ(session.keptBytes, existed ? 3u : 0u);
        }
        EXPECT_EQ(At(place), "new");
        EXPECT_EQ(files.Count(), 1u);
        EXPECT_EQ(session.keptBytes, 0u);
    }
}

TEST_F(KeptFileTest, WhatOthersChangedIsNotTouched) {
    const struct {
        const char* name;
        std::function<void(MemoryFileSystem&)> change;
        const char* says;
        const char* stays;
    } cases[] = {
        {"the file", [](MemoryFileSystem& disk) { disk.Put(place, Bytes("theirs")); }, "Save As keeps",
         place},
        {"the kept one", [](MemoryFileSystem& disk) { disk.Put(before, Bytes("theirs")); },
         "changed or removed", before},
    };
    for (const auto& [name, change, says, stays] : cases) {
        SCOPED_TRACE(name);
        files = {};
        files.Put(place, Bytes("old"));
        {
            KeptFile kept(session, place);
            Replace(files, "new");
            const auto stamp = files.Stamp(place);
            change(files);
            try {
                kept.Swap(stamp);
                ADD_FAILURE() << "it was swapped";
            } catch (const FileError& error) {
                EXPECT_NE(std::string(error.what()).find(says), std::string::npos) << error.what();
            }
        }
        EXPECT_EQ(At(stays), "theirs");
    }
}

TEST_F(KeptFileTest, AKillOrAPowerCutLeavesOneVersionInThePlace) {
    for (const bool goesBack : {false, true}) {
        const auto run = [&](FileSystem& disk) {
            TestHost silent;
            Session own(silent, disk);
            try {
                auto* kept = new KeptFile(own, place);  // a kill runs no destructor
                const std::unique_ptr<KeptFile> owner(kept);
                Replace(disk, "new");
                if (goesBack) kept->Swap(disk.Stamp(place));
            } catch (const FileError&) {
            }
        };
        PowerCutDisk whole(files);
        run(whole);
        for (int64_t step = 1; step <= whole.steps; ++step) {
            PowerCutDisk disk(files);
            disk.cutAtStep = step;
            run(disk);
            for (const bool reached : {true, false}) {
                SCOPED_TRACE(testing::Message() << "step " << step << ", reached " << reached);
                const auto there = disk.AfterCut([&] { return reached; });
                ASSERT_TRUE(there->Has(place));
                const auto found = there->Bytes(place);
                EXPECT_TRUE(found == Bytes("old") || found == Bytes("new"));
                // The next open cleans up, and offers an older version that is still there.
                TestHost silent;
                Session next(silent, *there);
                for (const auto& left : TakeLeftFiles(next, place))
                    EXPECT_EQ(there->Bytes(left->Name()), Bytes("old"));
                there->Remove(place);
                EXPECT_LE(there->Count(), 1u) << "only a result without a name yet";
            }
        }
    }
}

TEST_F(KeptFileTest, TheNextOpenTakesWhatNobodyHolds) {
    files.Put(undone, Bytes("taken back"));
    files.Put(before, Bytes("first"));
    files.Put("/cell7.kymr-dat.before-transform-02", Bytes("second"));
    files.Put("/cell7.kymr-dat.before-transform-03", Bytes("of another program"));
    files.Put("/cell77.kymr-dat.before-transform-01", Bytes("of another recording"));
    files.Link(place, "/cell7.kymr-dat.before-transform-04");
    const auto theirs = files.Open("/cell7.kymr-dat.before-transform-03", OpenMode::readWrite);
    ASSERT_TRUE(theirs->TryLock());
    {
        const auto left = TakeLeftFiles(session, place);
        ASSERT_EQ(left.size(), 2u);
        EXPECT_EQ(At(left[0]->Name()), "first");
        EXPECT_EQ(At(left[1]->Name()), "second");
        EXPECT_TRUE(TakeLeftFiles(session, place).empty()) << "they are held";
        EXPECT_EQ(files.Count(), 5u);
    }
    EXPECT_EQ(files.Count(), 3u);
    EXPECT_EQ(At(place), "old");
}

TEST_F(KeptFileTest, SaysBeforehandWhyItCannotKeep) {
    const struct {
        const char* name;
        int share;
        std::optional<uint64_t> free;
        uint64_t keptBefore;
        bool hasLinks, hasJournal;
        const char* why;  // empty: it keeps
    } cases[] = {
        {"room enough", 50, 2000, 0, true, false, ""},
        {"nobody knows how much room", 50, {}, 0, true, false, ""},
        {"too little room", 50, 1999, 0, true, false, "may take 1 kB (50 % of the free space)"},
        {"others are kept", 50, 2000, 1500, true, false, "besides 2 kB"},
        {"switched off", 0, 1000000, 0, true, false, "keep nothing"},
        {"no second names", 50, 1000000, 0, false, false, "cannot be kept beside the new one"},
        {"an interrupted save", 50, 1000000, 0, true, true, "interrupted save"},
    };
    for (const auto& one : cases) {
        SCOPED_TRACE(one.name);
        files = {};
        files.Put(place, std::vector<std::byte>(1000));
        if (one.hasJournal) files.Put(JournalPath(files, place), Bytes("journal"));
        session.options.transformUndoShare = one.share;
        session.keptBytes = one.keptBefore;
        files.freeSpace = one.free;
        files.hasLinks = one.hasLinks;
        std::string why;
        const auto kept = TryToKeep(session, place, why);
        const std::string wanted = one.why;
        EXPECT_EQ(kept != nullptr, wanted.empty()) << why;
        EXPECT_EQ(why.empty(), wanted.empty());
        EXPECT_NE(why.find(wanted), std::string::npos) << why;
    }
}

}  // namespace
}  // namespace kymora::test
