// Summaries on disk: what is kept comes back equal, and what was damaged is not believed.

#include "summaries/summary_folder.h"

#include <fstream>

#include "host/disk_file_system.h"
#include "summaries/summary_bins.h"
#include "support/bin_checks.h"
#include "support/run_program.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

class SummaryFolderTest : public ViewTest {
  protected:
    TempFolder temp;
    DiskFileSystem disk;
    SummaryFolder folder{disk, temp.Path() / "cache", uint64_t{1} << 30};
    SummaryKey key{"/recordings/a.edf", "signals 1-3", {1, 2, 3, 4}};
    std::mt19937 random{5};

    std::shared_ptr<MemorySummary> Build(CDataDoc& doc) {
        SummaryBuilder builder(SummaryShape::Make(doc.traceCount, doc.GetLength(), 8));
        for (int64_t chunk = 0; chunk < builder.ChunkCount(); ++chunk) builder.BuildChunk(doc, chunk);
        return builder.GetSummary();
    }
    std::filesystem::path OnlyFile() const {
        return std::filesystem::directory_iterator(temp.Path() / "cache")->path();
    }
    size_t CountFiles() const {
        return static_cast<size_t>(std::distance(std::filesystem::directory_iterator(temp.Path() / "cache"),
                                                 std::filesystem::directory_iterator()));
    }
};

TEST_F(SummaryFolderTest, WhatIsKeptGivesTheSameBins) {
    const auto doc = MakeNoise(session, {3, 3000000, true, 0.01, 2}, random);
    ASSERT_TRUE(folder.Store(key, *Build(*doc)));
    const auto summary = folder.Find(key);
    ASSERT_TRUE(summary);
    EXPECT_GT(summary->Shape().Bytes(), 200000u);  // several pages
    for (const auto& [from, level] : {std::pair<int64_t, int>{0, 10}, {1777777, 10}, {31, 12}, {512, 9}}) {
        Bins plain, kept;
        ASSERT_TRUE(ReadBins(*doc, from, level, nullptr, plain));
        ASSERT_TRUE(ReadBinsFromSummary(*doc, *summary, from, level, nullptr, kept));
        ExpectSameBins(kept, plain, "kept");
    }
}

TEST_F(SummaryFolderTest, AnotherRecordingOrStateHasNone) {
    const auto doc = Ramp(1, 100000);
    ASSERT_TRUE(folder.Store(key, *Build(*doc)));
    SummaryKey other = key;
    other.settings = "signals 1-2";
    EXPECT_FALSE(folder.Find(other));
    EXPECT_TRUE(folder.Find(key));
    FileStamp later = key.stamp;
    later.modifiedNs = 5;
    folder.Restamp(key, later);  // a save of our own
    EXPECT_FALSE(folder.Find(key));
    ASSERT_TRUE(folder.Store(key, *Build(*doc)));
    folder.Restamp(key, later);
    key.stamp = later;
    EXPECT_TRUE(folder.Find(key));
    key.stamp.modifiedNs = 6;  // another program wrote the recording
    EXPECT_FALSE(folder.Find(key));
    EXPECT_EQ(CountFiles(), 0u);
}

TEST_F(SummaryFolderTest, DamageAnywhereIsNoticed) {
    const auto doc = MakeNoise(session, {2, 600000}, random);
    const auto built = Build(*doc);
    ASSERT_TRUE(folder.Store(key, *built));
    const std::string whole = FileBytes(OnlyFile());
    const auto spoil = [&](const std::string& bytes) {
        ASSERT_TRUE(folder.Store(key, *built));
        std::ofstream(OnlyFile(), std::ios::binary) << bytes;
        const auto summary = folder.Find(key);
        if (!summary) {
            EXPECT_EQ(CountFiles(), 0u);  // it is removed
            return;
        }
        Bins plain, kept;
        ASSERT_TRUE(ReadBins(*doc, 0, 8, nullptr, plain));
        try {
            ASSERT_TRUE(ReadBinsFromSummary(*doc, *summary, 0, 8, nullptr, kept));
            ExpectSameBins(kept, plain, "a summary that was believed");
        } catch (const SummaryError&) {
        }
    };
    for (size_t cut : {size_t{0}, size_t{7}, size_t{20}, size_t{100}, whole.size() / 2, whole.size() - 1})
        spoil(whole.substr(0, cut));
    spoil(whole + "x");
    for (int i = 0; i < 200; ++i) {
        std::string bytes = whole;
        const size_t at = i < 150 ? static_cast<size_t>(i) : random() % whole.size();
        bytes[at] = static_cast<char>(bytes[at] ^ (1 << (i % 8)));
        spoil(bytes);
        if (HasFatalFailure()) return;
    }
    // Damage in a page that no bin asks for does no harm, in one that is asked for it must not be painted.
    std::string bytes = whole;
    bytes[whole.size() / 3] = static_cast<char>(~bytes[whole.size() / 3]);
    std::ofstream(OnlyFile(), std::ios::binary) << bytes;
    ASSERT_TRUE(folder.Store(key, *built));
    std::ofstream(OnlyFile(), std::ios::binary) << bytes;
    const auto summary = folder.Find(key);
    ASSERT_TRUE(summary);
    Bins bins;
    EXPECT_THROW(ReadBinsFromSummary(*doc, *summary, 0, 8, nullptr, bins), SummaryError);
}

TEST_F(SummaryFolderTest, TheLeastRecentlyUsedGoFirst) {
    const auto doc = Ramp(2, 100000);
    const auto built = Build(*doc);
    SummaryFolder small(disk, temp.Path() / "cache", 4 * built->Shape().Bytes());
    std::vector<SummaryKey> keys;
    using namespace std::chrono_literals;
    for (int i = 0; i < 3; ++i) {
        keys.push_back(key);
        keys.back().path = "/recordings/" + std::to_string(i);
        ASSERT_TRUE(small.Store(keys.back(), *built));
        for (const auto& entry : std::filesystem::directory_iterator(temp.Path() / "cache"))
            std::filesystem::last_write_time(entry, entry.last_write_time() - 1h);
    }
    EXPECT_TRUE(small.Find(keys[0]));  // now the one that was used last
    keys.push_back(key);
    ASSERT_TRUE(small.Store(keys.back(), *built));
    EXPECT_FALSE(small.Find(keys[1]));
    EXPECT_TRUE(small.Find(keys[0]));
    EXPECT_TRUE(small.Find(keys[2]));
    EXPECT_TRUE(small.Find(keys[3]));
}

TEST_F(SummaryFolderTest, NoFolderIsNoTrouble) {
    const auto doc = Ramp(1, 1000);
    SummaryFolder none(disk, {}, 1000);
    EXPECT_FALSE(none.Store(key, *Build(*doc)));
    EXPECT_FALSE(none.Find(key));
    std::ofstream(temp / "file") << "x";
    SummaryFolder below(disk, temp / "file", uint64_t{1} << 30);  // not a folder
    EXPECT_FALSE(below.Store(key, *Build(*doc)));
    EXPECT_FALSE(below.Find(key));
}

}  // namespace
}  // namespace kymora::test
