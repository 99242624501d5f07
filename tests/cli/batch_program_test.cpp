// Batches by the real program, as a script would start them.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>

#include "document/native_writer.h"
#include "host/disk_file_system.h"
#include "host/sha256.h"
#include "support/memory_doc.h"
#include "support/run_program.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

using nlohmann::json;

class BatchProgram : public ::testing::Test {
  protected:
    void SetUp() override {
        EXPECT_EQ(RunKymora({"run", "CGenSmooth", "--set", "addMode=0", "--set", "halfWindow=2",
                             "--save-config", In("smooth.kymr-cfg")})
                      .code,
                  0);
        EXPECT_EQ(RunKymora({"run", "CEventThreshold", "--set", "onPos=2", "--set", "destination=f",
                             "--save-config", In("detect.kymr-cfg")})
                      .code,
                  0);
        EXPECT_EQ(RunKymora({"batch", "--make", list, In("smooth.kymr-cfg"), In("detect.kymr-cfg")}).code, 0);
    }
    std::string In(const std::string& name) const { return (folder / name).string(); }
    // Pulses at every hundredth sample, a few more in each file.
    std::string Make(const std::string& name, int pulses, size_t length = 3000) {
        std::vector<float> samples(length);
        for (int i = 1; i <= pulses; ++i)
            for (size_t k = 0; k < 5; ++k) samples[static_cast<size_t>(i) * 100 + k] = 9.0f;
        WriteNativeFile(*MemoryDoc::Make(session, {samples}, 0.1), folder / name);
        return In(name);
    }
    std::vector<std::string> MakeMany(int count) {
        std::vector<std::string> made;
        for (int i = 1; i <= count; ++i) made.push_back(Make("f" + std::to_string(i) + ".kymr-dat", i));
        return made;
    }
    ProgramResult Batch(std::vector<std::string> files, const std::vector<std::string>& options,
                        const ProgramSetup& setup = {}) {
        files.insert(files.begin(), {"batch", list});
        files.insert(files.end(), options.begin(), options.end());
        return RunKymora(files, setup);
    }
    static json Read(const std::string& path) { return json::parse(FileBytes(path)); }
    // What a recording holds but for the dates of its history.
    static std::string Content(const std::string& file) {
        return RunKymora({"samples", file, "--format", "f32"}).out +
               RunKymora({"events", file, "--json"}).out;
    }

    TempFolder folder;
    TestHost host;
    DiskFileSystem files;
    Session session{host, files};
    const std::string list = In("list.kymr-batch");
};

TEST_F(BatchProgram, AsManyAtOnceAsOneByOne) {
    const auto made = MakeMany(7);
    std::vector<std::string> all = made;
    all.insert(all.begin() + 3, In("missing.kymr-dat"));
    all.push_back(made[0]);  // a second time
    std::vector<std::string> contents;
    for (const char* jobs : {"1", "3"}) {
        const ProgramResult result =
            Batch(all, {"--write-new", "--jobs", jobs, "--report", In("report.json")});
        EXPECT_EQ(result.code, 1);
        EXPECT_TRUE(result.ErrorLinesAreLed()) << result.err;
        EXPECT_NE(result.err.find("There is no such file."), std::string::npos);
        EXPECT_NE(result.err.find("1 of 8 files failed."), std::string::npos) << result.err;
        const json records = Read(In("report.json"))["records"];
        ASSERT_EQ(records.size(), all.size());
        for (size_t i = 0; i < all.size(); ++i) EXPECT_EQ(records[i]["file"], all[i]) << jobs;
        EXPECT_EQ(records[3]["outcome"], "failed");
        EXPECT_TRUE(records[3]["output"].is_null());
        EXPECT_EQ(records[8]["outcome"], "left out");
        const json& second = records[1];
        EXPECT_EQ(second["output"], In("f2_tr.kymr-dat"));
        EXPECT_EQ(second["sha256"], Sha256Of(*files.Open(In("f2_tr.kymr-dat"), OpenMode::readOnly)));
        EXPECT_EQ(second["operations"][0]["settings"]["halfWindow"], 2);
        EXPECT_EQ(second["operations"][1]["channels"][0]["count"], 2);
        std::string content;
        for (const std::string& file : made)
            content += Content(file.substr(0, file.size() - 9) + "_tr.kymr-dat");
        contents.push_back(content);
    }
    EXPECT_EQ(contents[0], contents[1]);
    // The same as its operations run for themselves.
    const std::string copy = Make("copy.kymr-dat", 4);
    for (const auto& [name, config] :
         {std::pair("CGenSmooth", "smooth.kymr-cfg"), {"CEventThreshold", "detect.kymr-cfg"}})
        EXPECT_EQ(RunKymora({"run", name, copy, "--config", In(config), "--in-place"}).code, 0);
    EXPECT_EQ(Content(copy), Content(In("f4_tr.kymr-dat")));
}

TEST_F(BatchProgram, AWorkerThatIsKilledCostsItsOwnFile) {
    for (const auto& [signal, told] : {std::pair(SIGKILL, "(signal 9)"), {SIGTERM, "(it was told to end)"}}) {
        auto made = MakeMany(4);
        made.insert(made.begin(), Make("long.kymr-dat", 3, 6'000'000));
        bool isKilled = false;
        ProgramSetup setup;
        setup.interruptWhen = [&](pid_t batch) {
            // The first of its workers, at its work.
            std::ifstream children("/proc/" + std::to_string(batch) + "/task/" + std::to_string(batch) +
                                   "/children");
            if (pid_t worker = 0; !isKilled && children >> worker)
                if (WritesIn(worker, folder.Path())) isKilled = ::kill(worker, signal) == 0;
            return false;
        };
        const ProgramResult result = Batch(made, {"--write-new", "--jobs", "2"}, setup);
        ASSERT_TRUE(isKilled);
        EXPECT_EQ(result.code, 1);
        EXPECT_NE(result.err.find(told), std::string::npos) << result.err;
        EXPECT_NE(result.err.find("1 of 5 files failed."), std::string::npos) << result.err;
        size_t results = 0;
        for (const auto& entry : std::filesystem::directory_iterator(folder.Path()))
            results += entry.path().string().ends_with("_tr.kymr-dat");
        EXPECT_EQ(results, 4u);
        EXPECT_EQ(folder.Count(), 5 + 2 * results + 4)
            << "steps, settings, the list and its journal; nothing temporary";
        for (const std::string& file : made)
            std::filesystem::remove(file.substr(0, file.size() - 9) + "_tr.kymr-dat");
        for (const std::string& file : made)
            std::filesystem::remove(file.substr(0, file.size() - 9) + "_tr.kymr-dat.steps");
    }
}

TEST_F(BatchProgram, AnInterruptLeavesNothingHalfWritten) {
    for (const char* jobs : {"1", "2"}) {
        const std::vector<std::string> made = {Make("a.kymr-dat", 3, 6'000'000),
                                               Make("b.kymr-dat", 3, 6'000'000)};
        const std::string before = FileBytes(made[0]);
        ProgramSetup setup;
        setup.interruptWhen = [&](pid_t batch) {
            if (WritesIn(batch, folder.Path())) return true;
            std::ifstream children("/proc/" + std::to_string(batch) + "/task/" + std::to_string(batch) +
                                   "/children");
            for (pid_t worker = 0; children >> worker;)
                if (WritesIn(worker, folder.Path())) return true;
            return false;
        };
        EXPECT_EQ(Batch(made, {"--jobs", jobs, "--report", In("report.json")}, setup).code, 130);
        EXPECT_EQ(FileBytes(made[0]), before);
        EXPECT_EQ(folder.Count(), 6u) << "the report, too";
        const json report = Read(In("report.json"));
        ASSERT_EQ(report["records"].size(), made.size()) << "also what was not begun";
        for (const json& record : report["records"]) EXPECT_EQ(record["outcome"], "cancelled") << jobs;
    }
}

TEST_F(BatchProgram, GoesOnWhereItEnded) {
    auto made = MakeMany(3);
    EXPECT_EQ(Batch(made, {"--write-new"}).code, 0);
    made.push_back(Make("new.kymr-dat", 5));
    Make("f2.kymr-dat", 9);
    const ProgramResult result = Batch(made, {"--write-new", "--resume", "--report", In("r.json")});
    EXPECT_EQ(result.code, 0) << result.err;
    EXPECT_NE(result.err.find("2 of 4 files were done before"), std::string::npos) << result.err;
    std::string outcomes;
    const json report = Read(In("r.json"));
    for (const json& record : report["records"]) outcomes += record["outcome"].get<std::string>() + ";";
    EXPECT_EQ(report["records"][0]["operations"].size(), 2u) << "as they were then";
    EXPECT_EQ(outcomes, "done before;done;done before;done;");
    // Names without a folder, also of what did not exist then.
    const auto here = std::filesystem::current_path();
    std::filesystem::current_path(folder.Path());
    EXPECT_EQ(Batch({"f3.kymr-dat"}, {"--write-new", "--resume"}).code, 0);
    std::filesystem::remove("f3_tr.kymr-dat");
    EXPECT_EQ(Batch({"f3.kymr-dat"}, {"--write-new", "--resume"}).err.find("were done before"),
              std::string::npos);
    EXPECT_NE(Batch({"f3.kymr-dat"}, {"--write-new", "--resume"}).err.find("1 of 1 files were done before"),
              std::string::npos);
    std::filesystem::current_path(here);
    // A journal that is torn or foreign does no harm.
    std::ofstream(list + ".journal", std::ios::trunc) << "{\"work\": 7}\n\xff{{{\n\n{\"work\": \"a\", \"sou";
    EXPECT_EQ(Batch({made[0]}, {"--write-new", "--resume"}).code, 0);
    EXPECT_NE(Batch({made[0]}, {"--write-new", "--resume"}).err.find("1 of 1 files were done"),
              std::string::npos);
}

// Two workers would write one file; one after the other, the second would find it there.
TEST_F(BatchProgram, OneIntermediateFileIsForOneRecording) {
    const auto made = MakeMany(2);
    const std::string zeros = In("zeros.kymr-dat"), config = In("increase.kymr-cfg");
    ASSERT_EQ(
        RunKymora({"run", "CInterpolate", "--set", "intermediateFile=" + zeros, "--save-config", config})
            .code,
        0);
    for (const std::vector<std::string>& command :
         {std::vector<std::string>{"batch", config, made[0], made[1], "--write-new", "--jobs", "2"},
          {"batch", config, made[0], made[1], "--write-new", "--jobs", "1"},
          {"run", "CInterpolate", made[0], made[1], "--config", config, "--write-new"}}) {
        const ProgramResult result = RunKymora(command);
        EXPECT_EQ(result.code, 2);
        EXPECT_NE(result.err.find("zeros.kymr-dat can hold the intermediate file of one recording only."),
                  std::string::npos)
            << result.err;
        EXPECT_FALSE(std::filesystem::exists(zeros));
        EXPECT_FALSE(std::filesystem::exists(In("f1_tr.kymr-dat")));
    }
    EXPECT_EQ(RunKymora({"batch", config, made[0], "--write-new"}).code, 0);
    EXPECT_TRUE(std::filesystem::exists(zeros));
    EXPECT_EQ(RunKymora({"run", "CInterpolate", made[0], made[1], "--config", config, "--set", "type=1",
                         "--write-new"})
                  .code,
              0)
        << "straight lines keep none";
}

TEST_F(BatchProgram, ListsAndReportsAreMadeAndCollected) {
    const auto made = MakeMany(2);
    EXPECT_EQ(Batch({made[0]}, {"--write-new", "--report", In("1.json")}).code, 0);
    EXPECT_EQ(Batch({made[1], In("none.edf")}, {"--write-new", "--report", In("2.json")}).code, 1);
    EXPECT_EQ(RunKymora({"batch", "--collect", In("all.json"), In("1.json"), In("2.json")}).code, 0);
    const json all = Read(In("all.json"))["records"];
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[0], Read(In("1.json"))["records"][0]);
    EXPECT_EQ(all[2]["outcome"], "failed");

    const json listed = json::parse(RunKymora({"batch", "--list", list, "--json"}).out);
    EXPECT_EQ(listed["operations"][1]["operation"], "CEventThreshold");
    EXPECT_EQ(listed["operations"][1]["settings"]["destination"], 5);
    std::ofstream(In("text.kymr-batch")) << "no list at all";
    struct Case {
        std::vector<std::string> command;
        int code;
        const char* told;
    };
    for (const Case& one :
         {Case{{"batch", list, made[0], "--jobs", "0"}, 2, "--jobs takes"},
          {{"batch", list}, 2, "FILE is required"},
          {{"batch", In("none.kymr-batch"), made[0]}, 3, "none.kymr-batch"},
          {{"batch", In("text.kymr-batch"), made[0]}, 1, "Multi-process batch configuration"},
          {{"batch", made[0], made[0]}, 1, ""},
          {{"batch", "--make", list, In("smooth.kymr-cfg")}, 1, "Nothing was written."},
          {{"batch", "--collect", In("x.json"), list}, 3, "is no report"},
          {{"batch", list, made[0], "--write-new", "--report", list}, 2, "extension .json"}}) {
        const ProgramResult result = RunKymora(one.command);
        EXPECT_EQ(result.code, one.code) << result.err;
        EXPECT_NE(result.err.find(one.told), std::string::npos) << result.err;
    }
}

}  // namespace
}  // namespace kymora::test
