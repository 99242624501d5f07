// The history by the real program: told, and done again.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <cmath>

#include "document/native_writer.h"
#include "host/disk_file_system.h"
#include "support/memory_doc.h"
#include "support/run_program.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

using nlohmann::json;

class HistoryProgramTest : public ::testing::Test {
  protected:
    void SetUp() override {
        std::vector<float> samples(5000);
        for (size_t i = 0; i < samples.size(); ++i)
            samples[i] = static_cast<float>(std::sin(i * 0.37) + (i % 700 == 3 ? 9.0 : 0.0));
        WriteNativeFile(*MemoryDoc::Make(session, {samples, samples}, 0.1), folder / "rec.kymr-dat");
    }
    std::string In(const std::string& name) const { return (folder / name).string(); }
    ProgramResult Done(std::vector<std::string> arguments) {
        ProgramResult result = RunKymora(arguments);
        EXPECT_EQ(result.code, 0) << arguments[0] << ": " << result.err;
        return result;
    }
    // All that is to be the same.
    std::string Content(const std::string& file) {
        return Done({"samples", file, "--format", "f32"}).out + Done({"events", file, "--json"}).out;
    }

    TempFolder folder;
    TestHost host;
    DiskFileSystem files;
    Session session{host, files};
};

TEST_F(HistoryProgramTest, ABatchIsDoneAgainBitForBit) {
    const std::string rec = In("rec.kymr-dat"), made = In("rec_tr.kymr-dat"), list = In("list.kymr-batch");
    Done({"run", "CGenSmooth", "--set", "type=3", "--set", "cutoff=812.34567890123", "--save-config",
          In("1.kymr-cfg")});
    Done({"run", "CArbitraryArith", "--set", "expression=x1 + rndn(0, 0.125)", "--save-config",
          In("2.kymr-cfg")});
    Done({"run", "CEventThreshold", "--set", "thresholdSource=2", "--set", "onMultiplier=2.7182818", "--set",
          "destination=b", "--set", "label=spikes", "--save-config", In("3.kymr-cfg")});
    Done({"batch", "--make", list, In("1.kymr-cfg"), In("2.kymr-cfg"), In("3.kymr-cfg")});
    Done({"batch", list, rec, "--write-new", "--seed", "9"});
    ASSERT_TRUE(std::filesystem::exists(made + ".steps"));
    EXPECT_FALSE(std::filesystem::exists(rec + ".steps"));

    const std::string again = In("again.kymr-batch");
    const ProgramResult written = Done({"history", made, "--as-batch", again});
    EXPECT_EQ(written.out, "");
    EXPECT_EQ(written.err, "kymora: Random numbers were drawn: run the batch with --seed 9.\n");
    std::filesystem::copy_file(rec, In("copy.kymr-dat"));
    Done({"batch", again, In("copy.kymr-dat"), "--write-new", "--seed", "9"});
    EXPECT_EQ(Content(In("copy_tr.kymr-dat")), Content(made));

    EXPECT_EQ(RunKymora({"history", made, "--as-batch", again}).code, 1) << "OUT exists";
    Done({"history", made, "--as-batch", again, "--yes"});
    EXPECT_EQ(RunKymora({"history", In("none.kymr-dat")}).code, 3);

    const std::string text = Done({"history", made}).out;
    EXPECT_EQ(text.find('\r'), std::string::npos);
    EXPECT_NE(text.find("Threshold Event\n"), std::string::npos);
    const json entries = json::parse(Done({"history", made, "--json"}).out)["entries"];
    ASSERT_EQ(entries.size(), 3u);
    EXPECT_EQ(entries[0]["operation"], "CGenSmooth");
    EXPECT_EQ(entries[0]["settings"]["cutoff"].get<float>(), 812.34567890123f);
    EXPECT_EQ(entries[2]["title"], "Threshold Event");
    EXPECT_EQ(entries[2]["seed"], 9);
    EXPECT_EQ(entries[2]["undone"], false);
}

TEST_F(HistoryProgramTest, WhatIsNoOperationIsLeftOutOnlyWhenAsked) {
    const std::string rec = In("rec.kymr-dat"), copy = In("copy.kymr-dat"), list = In("list.kymr-batch");
    EXPECT_EQ(Done({"history", rec}).out, "");
    EXPECT_EQ(RunKymora({"history", rec, "--as-batch", list, "--yes"}).code, 1) << "no operation at all";
    Done({"run", "CEventThreshold", rec, "--set", "onPos=5", "--set", "destination=b", "--in-place"});
    Done({"convert", rec, "-o", copy});
    const ProgramResult refused = RunKymora({"history", copy, "--as-batch", list});
    EXPECT_EQ(refused.code, 1);
    EXPECT_NE(refused.err.find("Entry 2, \"File: Save As\": it is no operation"), std::string::npos)
        << refused.err;
    EXPECT_FALSE(std::filesystem::exists(list));
    Done({"history", copy, "--as-batch", list, "--yes"});
    EXPECT_EQ(json::parse(Done({"batch", "--list", list, "--json"}).out)["operations"].size(), 1u);
    // The text alone does not know the settings.
    std::filesystem::remove(copy + ".steps");
    EXPECT_EQ(RunKymora({"history", copy, "--as-batch", In("other.kymr-batch"), "--yes"}).code, 1);
    EXPECT_EQ(json::parse(Done({"history", copy, "--json"}).out)["entries"][0]["settings"], nullptr);
}

}  // namespace
}  // namespace kymora::test
