// Events that travel by the real program.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>

#include "document/native_writer.h"
#include "host/disk_file_system.h"
#include "support/memory_doc.h"
#include "support/run_program.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

using nlohmann::json;

class ExchangeProgramTest : public ::testing::Test {
  protected:
    // A recording with events in channels b and d.
    std::string Make(const std::string& name) {
        const auto doc = MemoryDoc::Make(session, {std::vector<float>(1000)}, 0.5);
        doc->AddEvent(1, {10, 20, 1.5f, 2, 0x0000FF, "label"});
        doc->AddEvent(1, {40, 41});
        doc->AddEvent(3, {7, 8});
        WriteNativeFile(*doc, folder / name);
        return In(name);
    }
    std::string In(const std::string& name) const { return (folder / name).string(); }
    void Write(const std::string& name, std::string_view text) { std::ofstream(In(name)) << text; }
    json Events(const std::string& file, const std::string& channel) {
        return json::parse(
            RunKymora({"events", file, "--channels", channel, "--json"}).out)["channels"][0]["events"];
    }

    TempFolder folder;
    TestHost host;
    DiskFileSystem files;
    Session session{host, files};
};

TEST_F(ExchangeProgramTest, ByFile) {
    const std::string rec = Make("rec.kymr-dat"), evt = In("b.kymr-evt"), out = In("out.kymr-dat");
    ProgramResult result = RunKymora({"convert", rec, "-o", evt});
    EXPECT_EQ(result.code, 1);
    EXPECT_NE(result.err.find("b: 2 events\nkymora: d: 1 event\n"), std::string::npos) << result.err;
    EXPECT_EQ(RunKymora({"convert", rec, "-o", evt, "--channels", "c"}).code, 1);
    EXPECT_EQ(RunKymora({"convert", rec, "-o", evt, "--channels", "b-d"}).code, 2);
    EXPECT_EQ(RunKymora({"convert", rec, "-o", In("x.txt"), "--channels", "b"}).code, 2);
    ASSERT_FALSE(std::filesystem::exists(evt));
    ASSERT_EQ(RunKymora({"convert", rec, "-o", evt, "--channels", "b"}).code, 0);

    const std::string file = "file=" + evt;
    ASSERT_EQ(
        RunKymora({"run", "LoadEventChannel", rec, "--set", file, "--set", "destination=c", "-o", out}).code,
        0);
    EXPECT_EQ(Events(out, "c"), Events(rec, "b"));
    // Over events only with --yes.
    result =
        RunKymora({"run", "load-event-channel", rec, "--set", file, "--set", "destination=d", "--in-place"});
    EXPECT_EQ(result.code, 1);
    EXPECT_NE(result.err.find("this will overwrite existing events"), std::string::npos);
    EXPECT_EQ(Events(rec, "d").size(), 1u);
    EXPECT_EQ(RunKymora({"run", "load-event-channel", rec, "--set", file, "--set", "destination=d",
                         "--in-place", "--yes"})
                  .code,
              0);
    EXPECT_EQ(Events(rec, "d"), Events(rec, "b"));
    EXPECT_EQ(RunKymora({"run", "LoadEventChannel", rec, "--set", "file=" + rec, "--in-place"}).code, 1);
}

TEST_F(ExchangeProgramTest, ByTextAndPartition) {
    const std::string rec = Make("rec.kymr-dat"), out = In("out.kymr-dat");
    Write("e.txt", "5\t10\tlabel\nodd row\n20\t20\n");
    ProgramResult result =
        RunKymora({"run", "ImportEventsFromText", rec, "--set", "file=" + In("e.txt"), "-o", out});
    EXPECT_EQ(result.code, 0);
    EXPECT_NE(result.err.find("kymora: Incomplete row 2. Skipping.\n"), std::string::npos);
    json events = Events(out, "a");
    ASSERT_EQ(events.size(), 2u);
    EXPECT_EQ(events[0]["off"], 20);
    EXPECT_EQ(events[1]["off"], 41);

    ASSERT_EQ(
        RunKymora({"run", "PasteEventChannels", rec, "--set", "file=" + In("e.txt"), "--write-new"}).code, 0);
    EXPECT_EQ(Events(In("rec_tr.kymr-dat"), "a"), events);
    EXPECT_EQ(RunKymora({"run", "PasteEventChannels", rec, "--in-place"}).code, 1) << "there is no clipboard";

    Write("p.txt", "1 2");
    ASSERT_EQ(RunKymora({"run", "PartitionFromFile", rec, "--set", "file=" + In("p.txt"), "--set",
                         "channel1=b", "--in-place"})
                  .code,
              0);
    EXPECT_EQ(Events(rec, "e")[0]["on"], 10);
    EXPECT_EQ(Events(rec, "f")[0]["on"], 40);
}

TEST_F(ExchangeProgramTest, TablesBecomeRecordings) {
    const std::string out = In("out.kymr-dat");
    const auto make = [&](const char* name, const std::string& file) {
        return RunKymora({"run", name, In(file), "-o", out, "--yes"});
    };
    Write("t.txt", "a\tb\n0\t5\n1.5\t6\n4\t7\n");
    ASSERT_EQ(make("PasteContiguousData", "t.txt").code, 0);
    json info = json::parse(RunKymora({"info", out, "--json"}).out);
    EXPECT_EQ(info["traceCount"], 2);
    EXPECT_EQ(info["length"], 3);
    ASSERT_EQ(make("PasteSparseData", "t.txt").code, 0);
    info = json::parse(RunKymora({"info", out, "--json"}).out);
    EXPECT_EQ(info["traces"][0]["label"], "b");
    EXPECT_EQ(info["traces"][0]["storedCount"], 3);
    EXPECT_EQ(info["length"], 5);

    Write("odd.txt", "1\t2\n3\n");
    EXPECT_EQ(make("PasteContiguousData", "odd.txt").code, 1);
    EXPECT_EQ(make("PasteSparseData", "odd.txt").code, 1);
    const ProgramResult result = make("PasteSparseData", "none.txt");
    EXPECT_EQ(result.code, 3);
    EXPECT_NE(result.err.find("none.txt"), std::string::npos);
    EXPECT_EQ(RunKymora({"run", "PasteSparseData", In("t.txt")}).code, 2);
    EXPECT_EQ(json::parse(RunKymora({"info", out, "--json"}).out)["length"], 5) << "it stands as it was";
}

}  // namespace
}  // namespace kymora::test
