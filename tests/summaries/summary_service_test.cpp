// The background thread: it must give the plain bins, end at once, and notice that a file changed.

#include "summaries/summary_service.h"

#include <thread>

#include "document/float_doc.h"
#include "document/native_writer.h"
#include "host/disk_file_system.h"
#include "import/open_document.h"
#include "support/bin_checks.h"
#include "support/run_program.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

using namespace std::chrono_literals;

class SummaryServiceTest : public ::testing::Test {
  protected:
    TempFolder temp;
    DiskFileSystem disk;
    TestHost host;
    Session session{host, disk};
    std::mt19937 random{9};
    SummarySettings settings{temp.Path() / "cache", uint64_t{1} << 30, 0, uint64_t{64} << 20};

    std::filesystem::path Write(const std::string& name, const NoiseRecipe& recipe) {
        const auto path = temp / name;
        WriteNativeFile(*MakeNoise(session, recipe, random), path);
        return path;
    }
    std::unique_ptr<CDataDoc> Open(const std::filesystem::path& path, OpenFor purpose = OpenFor::reading) {
        auto doc = OpenDocument(session, path, purpose);
        EXPECT_TRUE(doc);
        return doc;
    }
    static BinAnswer WaitFor(SummaryService& service, BinTicket ticket) {
        for (int i = 0; i < 20000; ++i) {
            BinAnswer answer = service.Take(ticket);
            if (answer.state != BinAnswer::State::working) return answer;
            std::this_thread::sleep_for(1ms);
        }
        return {};
    }
    static Summary* WaitForSummary(SummaryService& service, CDataDoc& doc) {
        for (int i = 0; i < 20000; ++i) {
            if (Summary* summary = service.Find(doc)) return summary;
            std::this_thread::sleep_for(1ms);
        }
        return nullptr;
    }
    // Until nothing is being written any more.
    void WaitForFiles(size_t count) {
        for (int i = 0; i < 20000; ++i) {
            std::error_code none;
            size_t found = 0;
            for (const auto& entry : std::filesystem::directory_iterator(settings.folder, none))
                if (entry.path().extension() == ".kymora-summary") ++found;
            if (found == count) return;
            std::this_thread::sleep_for(1ms);
        }
        ADD_FAILURE() << "no summary was kept";
    }
    static void ExpectAnswer(SummaryService& service, CDataDoc& doc, int64_t from, int level) {
        const BinTicket ticket = service.Request(doc, from, level);
        ASSERT_NE(ticket, noTicket);
        const BinAnswer answer = WaitFor(service, ticket);
        ASSERT_EQ(answer.state, BinAnswer::State::ready);
        Bins plain;
        ASSERT_TRUE(ReadBins(doc, from, level, nullptr, plain));
        ExpectSameBins(answer.bins, plain, "level " + std::to_string(level));
    }
};

TEST_F(SummaryServiceTest, GivesThePlainBinsBeforeAndAfterTheSummaryIsThere) {
    const auto path = Write("a.kymr-dat", {3, 1500000, true, 0.001, 1});
    const auto doc = Open(path);
    SummaryService service(disk, settings);
    service.Attach(*doc);
    ExpectAnswer(service, *doc, 0, 12);
    ExpectAnswer(service, *doc, 777, 5);
    ASSERT_TRUE(WaitForSummary(service, *doc));
    WaitForFiles(1);
    for (int i = 0; i < 20; ++i)
        ExpectAnswer(service, *doc, static_cast<int64_t>(random() % 1500000),
                     static_cast<int>(random() % 14));
    EXPECT_EQ(service.BuiltShare(*doc), 1.0);

    // Another session finds it at once.
    SummaryService next(disk, settings);
    next.Attach(*doc);
    Summary* summary = next.Find(*doc);
    ASSERT_TRUE(summary);
    EXPECT_LE(summary->Shape().Bytes(), std::filesystem::file_size(path) / 50);
    service.Detach(*doc);
    next.Detach(*doc);
}

TEST_F(SummaryServiceTest, TwoDocumentsOfOneFileAndManyRequestsAtOnce) {
    const auto path = Write("a.kymr-dat", {2, 1200000});
    const auto first = Open(path), second = Open(path);
    const auto other = Open(Write("b.kymr-dat", {1, 900000}));
    SummaryService service(disk, settings);
    for (const auto* doc : {&first, &second, &other}) service.Attach(**doc);
    std::vector<BinTicket> tickets;
    for (int i = 0; i < 30; ++i) {
        CDataDoc& doc = i % 3 == 0 ? *first : i % 3 == 1 ? *second : *other;
        tickets.push_back(service.Request(doc, i * 1000, 5 + i % 7));
        if (i % 4 == 3) service.Cancel(tickets[static_cast<size_t>(i)]);
    }
    for (size_t i = 0; i < tickets.size(); ++i) {
        const BinAnswer answer = WaitFor(service, tickets[i]);
        if (i % 4 == 3) {
            EXPECT_EQ(answer.state, BinAnswer::State::failed);
            continue;
        }
        ASSERT_EQ(answer.state, BinAnswer::State::ready) << i;
        CDataDoc& doc = i % 3 == 0 ? *first : i % 3 == 1 ? *second : *other;
        Bins plain;
        ASSERT_TRUE(
            ReadBins(doc, static_cast<int64_t>(i) * 1000, 5 + static_cast<int>(i) % 7, nullptr, plain));
        ExpectSameBins(answer.bins, plain, "request " + std::to_string(i));
    }
    service.Detach(*first);
    ASSERT_TRUE(WaitForSummary(service, *second));
    ASSERT_TRUE(WaitForSummary(service, *other));
}

TEST_F(SummaryServiceTest, ClosesInTheMiddleOfBuilding) {
    const auto path = Write("a.kymr-dat", {4, 2000000});
    for (int i = 0; i < 20; ++i) {
        const auto doc = Open(path);
        SummaryService service(disk, settings);
        service.Attach(*doc);
        const BinTicket ticket = service.Request(*doc, 0, 10);
        std::this_thread::sleep_for(std::chrono::milliseconds(i));
        if (i % 2 == 0) service.Detach(*doc);
        if (i % 3 == 0) service.Cancel(ticket);
        std::error_code none;
        std::filesystem::remove_all(settings.folder, none);
    }
}

TEST_F(SummaryServiceTest, AFileThatAnotherProgramChangedHasNoSummary) {
    const auto path = Write("a.kymr-dat", {1, 600000});
    const auto doc = Open(path);
    SummaryService service(disk, settings);
    service.Attach(*doc);
    ASSERT_TRUE(WaitForSummary(service, *doc));
    std::filesystem::last_write_time(path, std::filesystem::last_write_time(path) + 1s);
    EXPECT_FALSE(service.Find(*doc));
    EXPECT_EQ(service.Request(*doc, 0, 9), noTicket);
    // Told of it, the service takes the file as it is now.
    service.SamplesChanged(*doc);
    EXPECT_TRUE(WaitForSummary(service, *doc));
}

TEST_F(SummaryServiceTest, ASaveOfOurOwnKeepsTheSummary) {
    const auto path = Write("a.kymr-dat", {1, 600000});
    const auto doc = Open(path, OpenFor::editing);
    {
        SummaryService service(disk, settings);
        service.Attach(*doc);
        ASSERT_TRUE(WaitForSummary(service, *doc));
        WaitForFiles(1);
        doc->fileComment = "a longer comment than before";
        ASSERT_TRUE(doc->OnSaveDocument());
        EXPECT_TRUE(service.Find(*doc));
        ExpectAnswer(service, *doc, 5, 11);
    }
    SummaryService next(disk, settings);
    next.Attach(*doc);
    EXPECT_TRUE(next.Find(*doc));  // kept for the state after the save
}

TEST_F(SummaryServiceTest, AnotherGainIsAnotherSummary) {
    const auto doc = Open(Write("a.kymr-dat", {1, 600000}));
    SummaryService service(disk, settings);
    service.Attach(*doc);
    ASSERT_TRUE(WaitForSummary(service, *doc));
    doc->traces[0].traceGain = 2.0;
    ExpectAnswer(service, *doc, 0, 10);
    ASSERT_TRUE(WaitForSummary(service, *doc));
    ExpectAnswer(service, *doc, 0, 10);
}

TEST_F(SummaryServiceTest, ADamagedFileIsMadeAgain) {
    const auto doc = Open(Write("a.kymr-dat", {1, 3000000}));
    {
        SummaryService service(disk, settings);
        service.Attach(*doc);
        ASSERT_TRUE(WaitForSummary(service, *doc));
        WaitForFiles(1);
    }
    const auto file = std::filesystem::directory_iterator(settings.folder)->path();
    std::string bytes = FileBytes(file);
    bytes[bytes.size() / 2] = static_cast<char>(~bytes[bytes.size() / 2]);
    std::ofstream(file, std::ios::binary) << bytes;
    SummaryService service(disk, settings);
    service.Attach(*doc);
    ExpectAnswer(service, *doc, 3, 10);
    ASSERT_TRUE(WaitForSummary(service, *doc));
}

TEST_F(SummaryServiceTest, WithoutAFileOrAFolderNothingIsKept) {
    const auto memory = MakeNoise(session, {1, 100000}, random);
    SummarySettings nowhere = settings;
    nowhere.folder.clear();
    SummaryService service(disk, nowhere);
    service.Attach(*memory);
    EXPECT_FALSE(service.Find(*memory));
    EXPECT_EQ(service.Request(*memory, 0, 9), noTicket);
    service.SamplesChanged(*memory);

    const auto doc = Open(Write("a.kymr-dat", {2, 600000}));
    service.Attach(*doc);
    ASSERT_TRUE(WaitForSummary(service, *doc));
    std::this_thread::sleep_for(5ms);
    ExpectAnswer(service, *doc, 3, 10);
    ExpectAnswer(service, *doc, 3, 2);
    EXPECT_FALSE(std::filesystem::exists(settings.folder));

    SummarySettings onlyLong = settings;
    onlyLong.leastSamples = 10000000;
    SummaryService idle(disk, onlyLong);
    idle.Attach(*doc);
    EXPECT_EQ(idle.Request(*doc, 0, 9), noTicket);
}

}  // namespace
}  // namespace kymora::test
