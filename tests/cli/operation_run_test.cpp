// Running operations over files, with operations of the tests.

#include "cli/operation_run.h"

#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>

#include "catalogue/operations.h"
#include "cli/command_context.h"
#include "cli/near_names.h"
#include "cli/operation_tables.h"
#include "document/native_writer.h"
#include "import/open_document.h"
#include "operations/config_file.h"
#include "support/edf_builder.h"
#include "support/listing_operation.h"
#include "support/memory_doc.h"
#include "support/run_program.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

constexpr int channel = 5;  // of the marks

class StringOutput : public OutputSink {
  public:
    void Write(std::string_view piece) override {
        text += piece;
        most = std::max(most, piece.size());
    }
    std::string text;
    size_t most = 0;
};

class OperationRunTest : public ::testing::Test {
  protected:
    void SetUp() override { a = WriteNative("a.kymr-dat", 1000), b = WriteNative("b.kymr-dat", 500); }
    void TearDown() override { duringRun = nullptr; }

    std::string WriteNative(const std::string& name, size_t length, int traces = 2) {
        const std::vector<float> samples(length, 1.0f);
        const auto doc = MemoryDoc::Make(session, std::vector(static_cast<size_t>(traces), samples));
        doc->AddEvent(1, {1, 2});
        doc->eventChannels[1].parentTrace = 1;
        WriteNativeFile(*doc, folder / name);
        return In(name);
    }
    std::string WriteEdf(const std::string& name) {
        const auto bytes = EdfBuilder().AddRamp("one", 10).Build();
        std::ofstream(folder / name, std::ios::binary)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return In(name);
    }
    std::string In(const std::string& name) const { return (folder / name).string(); }

    // The exit code; `out` and `err` hold what was written.
    int Run(const Operation& operation, RunOptions request, bool yes = false) {
        StringOutput output;
        int code = exitDone;
        ::testing::internal::CaptureStderr();
        try {
            CommonOptions options;
            options.yes = yes;
            SubcommandContext context(options);
            RunOperation(context, operation, request, output);
        } catch (const CommandError& error) {
            if (*error.what() != '\0') TellUser(error.what());
            code = error.code;
        } catch (const std::exception& error) {
            TellUser(error.what());
            code = exitFailed;
        }
        err = ::testing::internal::GetCapturedStderr();
        out = output.text;
        return code;
    }
    int Mark(RunOptions request, bool yes = false) { return Run(markOperation, std::move(request), yes); }
    // The end of the mark in a file; -1 where there is none.
    int32_t MarkIn(const std::string& path) {
        const auto doc = OpenDocument(session, path, OpenFor::reading);
        return doc && doc->GetNumEvents(channel) == 1 ? doc->GetOff(channel, 0) : -1;
    }

    TempFolder folder;
    TestHost host;
    DiskFileSystem files;
    Session session{host, files};
    std::string a, b, out, err;
};

TEST_F(OperationRunTest, TheWaysOfKeepingAResult) {
    EXPECT_EQ(Mark({.files = {a}, .output = In("new.kymr-dat")}), 0) << err;
    EXPECT_EQ(MarkIn(In("new.kymr-dat")), 1000);
    EXPECT_EQ(MarkIn(a), -1) << "-o leaves the source alone";
    EXPECT_EQ(Mark({.files = {a}, .writeNew = true}), 0);
    EXPECT_EQ(MarkIn(In("a_tr.kymr-dat")), 1000);
    EXPECT_EQ(MarkIn(a), -1);
    EXPECT_EQ(Mark({.files = {a}, .settings = {"region=2", "regionEnd=200"}, .writeNew = true}), 0);
    EXPECT_EQ(MarkIn(In("a_tr.kymr-dat")), 200) << "an earlier result is replaced";
    EXPECT_EQ(Mark({.files = {a}, .inPlace = true}), 0);
    EXPECT_EQ(MarkIn(a), 1000);
    EXPECT_EQ(OpenDocument(session, a)->historyLog.find("Test operation\r\n"), 0u);
    EXPECT_EQ(err, "");

    std::ofstream(folder / "old.flt") << "precious";
    EXPECT_EQ(Mark({.files = {a}, .output = In("old.flt")}), 1) << "only with --yes";
    EXPECT_EQ(FileBytes(In("old.flt")), "precious");
    EXPECT_EQ(Mark({.files = {a}, .output = In("old.flt")}, true), 0);
    EXPECT_EQ(FileBytes(In("old.flt")).substr(0, 2), std::string("\x24\x00", 2)) << "version 36";
    EXPECT_NE(err.find("cannot be saved in a legacy file"), std::string::npos);
    const std::string edf = WriteEdf("c.edf");
    const std::string bytes = FileBytes(edf);
    EXPECT_EQ(Mark({.files = {edf}, .inPlace = true}), 0);
    EXPECT_TRUE(std::filesystem::exists(In("c.kymr-hdr"))) << "a foreign file gets its side-car";
    EXPECT_EQ(MarkIn(edf), 10);
    EXPECT_EQ(FileBytes(edf), bytes);
}

TEST_F(OperationRunTest, WrongRequestsTouchNothing) {
    std::ofstream(folder / "a_tr.kymr-dat") << "here before";
    const struct {
        const Operation& operation;
        RunOptions request;
        const char* words;
    } wrong[] = {
        {markOperation,
         {.files = {a}},
         "CTestOperation changes the recording: say -o OUT, --in-place or --write-new."},
        {markOperation, {.files = {a}, .output = In("x.kymr-dat"), .inPlace = true}, "exclude each other"},
        {markOperation, {.files = {a, b}, .output = In("x.kymr-dat")}, "one FILE"},
        {markOperation, {.files = {a}, .output = In("x.txt")}, ".kymr-dat and .flt"},
        {markOperation, {.files = {a}, .output = a}, "which is read here"},
        {markOperation, {.files = {a, In("a_tr.kymr-dat")}, .writeNew = true}, "is also named itself"},
        {listOperation, {.files = {a}, .inPlace = true}, "changes no recording"},
        {listOperation, {.files = {a}, .output = In("x.kymr-dat")}, "OUT cannot be a recording"},
        {markOperation,
         {.files = {a}, .settings = {"level"}, .inPlace = true},
         "--set takes KEY=VALUE, not \"level\"."},
        {markOperation, {.files = {a}, .settings = {"=1"}, .inPlace = true}, "--set takes KEY=VALUE"},
        {markOperation,
         {.files = {a}, .settings = {"reset=1"}, .inPlace = true},
         "has no parameter \"reset\""},
        {markOperation,
         {.files = {a}, .settings = {"levle=1"}, .inPlace = true},
         "CTestOperation has no parameter \"levle\". Did you mean level"},
        {markOperation,
         {.files = {a}, .settings = {"level=11"}, .inPlace = true},
         "kymora: --set level=11: \"Level\" must be a number from -10 to 10.\n"},
        {markOperation,
         {.files = {In("gone.edf")}, .settings = {"kind=none"}, .inPlace = true},
         "takes one of"},
        // Below the least end of a region in a recording of 1 ms a sample.
        {markOperation,
         {.files = {a}, .settings = {"regionEnd=99"}, .inPlace = true},
         "\"End\" must be at least 100."},
    };
    const std::string before = FileBytes(a);
    const size_t count = folder.Count();
    for (const auto& [operation, request, words] : wrong) {
        EXPECT_EQ(Run(operation, request, true), 2) << words << "\n" << err;
        EXPECT_NE(err.find(words), std::string::npos) << words << "\n" << err;
        EXPECT_EQ(out, "");
    }
    EXPECT_EQ(FileBytes(a), before);
    EXPECT_EQ(FileBytes(In("a_tr.kymr-dat")), "here before");
    EXPECT_EQ(folder.Count(), count);
}

// Channel b has trace 2 as its parent, and the trace follows.
TEST_F(OperationRunTest, SettingsFollowEachOther) {
    const struct {
        std::vector<std::string> settings;
        int trace;
        const char* told;
    } cases[] = {
        {{"channel1=b"}, 1, ""},
        {{"channel1=b", "trace=1"}, 0, ""},
        {{"trace=1", "channel1=b"}, 1, "kymora: --set trace=1: other settings have made it 2.\n"},
    };
    for (const auto& [settings, trace, told] : cases) {
        SCOPED_TRACE(settings[0]);
        EXPECT_EQ(Mark({.files = {a}, .settings = settings, .inPlace = true}), 0);
        EXPECT_EQ(OpenDocument(session, a, OpenFor::reading)->eventChannels[channel].parentTrace, trace);
        EXPECT_EQ(err, told);
    }
}

TEST_F(OperationRunTest, SettingsWithoutEffectAreToldOnceAndRun) {
    EXPECT_EQ(Mark({.files = {a, b}, .settings = {"follower=3", "regionStart=5"}, .inPlace = true}), 0);
    EXPECT_EQ(err, "kymora: --set follower=3 has no effect with the other settings as they are.\n"
                   "kymora: --set regionStart=5 has no effect with the other settings as they are.\n");
    EXPECT_EQ(Mark({.files = {a}, .settings = {"follower=3", "linked=0"}, .inPlace = true}), 0);
    EXPECT_EQ(err, "") << "what counts is how they stand in the end";
    EXPECT_EQ(Mark({.files = {a}, .settings = {"multiplier=3", "factor=4"}, .inPlace = true}), 0);
    EXPECT_EQ(Mark({.files = {a}, .settings = {"factor=3", "multiplier=4"}, .inPlace = true}), 0);
    EXPECT_EQ(err, "") << "a parameter by another name is the same, and was set again";
    EXPECT_EQ(MarkIn(b), 500);
}

TEST_F(OperationRunTest, OnlyWhatWasLostIsTold) {
    ASSERT_EQ(Mark({.files = {a}, .inPlace = true}), 0);
    const std::string says =
        "kymora: " + a + ": the events of channel f (6) were replaced: 1 before, 1 now.\n";
    struct Case {
        const char* operation;
        std::vector<std::string> settings;
        std::string told;
    };
    const Case cases[] = {
        {"CEventReorder", {"channels=f b", "startChannel=b"}, ""},
        {"CEventMap999", {"channels=b", "action=move", "target=f"}, ""},
        {"CEventMap999", {"channels=b", "action=copy", "target=f"}, says},
    };
    for (const Case& one : cases) {
        std::filesystem::remove(In("new.kymr-dat"));
        EXPECT_EQ(Run(*FindOperation(one.operation),
                      {.files = {a}, .settings = one.settings, .output = In("new.kymr-dat")}),
                  0);
        EXPECT_EQ(err, one.told) << one.operation;
    }
}

TEST_F(OperationRunTest, ConfigurationFilesComeFirst) {
    MarkOperation saved;
    saved.m_nRegionMode = regionUserSet;
    saved.m_dRegionEnd = 300.0;
    saved.m_nDestination = channel;
    ASSERT_TRUE(SaveConfig(session, saved, In("mark.kymr-cfg")));
    EXPECT_EQ(Mark({.files = {a}, .config = In("mark.kymr-cfg"), .inPlace = true}), 0) << err;
    EXPECT_EQ(MarkIn(a), 300);
    EXPECT_EQ(
        Mark({.files = {a}, .settings = {"regionEnd=400"}, .config = In("mark.kymr-cfg"), .inPlace = true}),
        0);
    EXPECT_EQ(MarkIn(a), 400);

    // A trace that a recording does not have is refused, not replaced by its last one unseen.
    saved.m_nTrace = 7;
    ASSERT_TRUE(SaveConfig(session, saved, In("trace.kymr-cfg")));
    const std::string before = FileBytes(b);
    EXPECT_EQ(Mark({.files = {b}, .config = In("trace.kymr-cfg"), .inPlace = true}), 1);
    EXPECT_EQ(err, "kymora: The selected data trace does not exist\n");
    EXPECT_EQ(FileBytes(b), before);

    EXPECT_EQ(Run(listOperation, {.files = {a}, .config = In("mark.kymr-cfg")}), 3);
    EXPECT_EQ(
        err,
        "kymora: Unrecognized configuration file format. Expected CListOperation but read CTestOperation.\n");
    EXPECT_EQ(Mark({.files = {b}, .config = In("missing.kymr-cfg"), .inPlace = true}), 3);
    EXPECT_NE(err, "");
}

TEST_F(OperationRunTest, AFailingFileIsReportedAndTheOthersRun) {
    std::ofstream(folder / "broken.kymr-dat") << "no recording";
    EXPECT_EQ(Mark({.files = {In("broken.kymr-dat")}, .inPlace = true}), 3) << "alone, it has its own code";
    EXPECT_EQ(Mark({.files = {In("gone.edf"), a, In("broken.kymr-dat"), b}, .inPlace = true}), 1);
    EXPECT_EQ(MarkIn(a), 1000);
    EXPECT_EQ(MarkIn(b), 500);
    EXPECT_NE(err.find("kymora: " + In("gone.edf") + " failed.\n"), std::string::npos) << err;
    EXPECT_NE(err.find("kymora: 2 of 4 files failed.\n"), std::string::npos) << err;
}

TEST_F(OperationRunTest, FilesNamedTwice) {
    std::filesystem::create_hard_link(a, In("link.kymr-dat"));
    EXPECT_EQ(Mark({.files = {a, In("link.kymr-dat"), b}, .inPlace = true}), 0);
    EXPECT_EQ(err, "kymora: " + In("link.kymr-dat") + " is named twice; it is run once.\n");
    const std::string edf = WriteEdf("a.edf");
    EXPECT_EQ(Mark({.files = {a, edf}, .writeNew = true}), 1);
    EXPECT_EQ(err, fmt::format("kymora: {} is left out: {} goes to the same a_tr.kymr-dat.\n"
                               "kymora: 1 of 2 files were left out.\n",
                               a, edf));
}

TEST_F(OperationRunTest, RefusedOperationsAndProtectedFilesStayAsTheyAre) {
    const std::string before = FileBytes(a);
    duringRun = [](CDataDoc&) { return false; };
    EXPECT_EQ(Mark({.files = {a}, .inPlace = true}), 1);
    EXPECT_EQ(Mark({.files = {a}, .output = In("x.kymr-dat")}), 1);
    duringRun = nullptr;
    EXPECT_EQ(Mark({.files = {a}, .settings = {"trace=9"}, .writeNew = true}), 1);
    EXPECT_EQ(err, "kymora: The selected data trace does not exist\n");
    EXPECT_EQ(FileBytes(a), before);
    EXPECT_EQ(folder.Count(), 2u);

    std::filesystem::permissions(a, std::filesystem::perms::owner_read);
    EXPECT_EQ(Mark({.files = {a}, .inPlace = true}, true), 1);
    EXPECT_NE(err.find("has the ReadOnly property set."), std::string::npos);
    EXPECT_EQ(FileBytes(a), before);
    EXPECT_EQ(Mark({.files = {b}, .output = a}, true), 1) << "nor is it replaced";
    EXPECT_EQ(FileBytes(a), before);
    EXPECT_EQ(Mark({.files = {a}, .writeNew = true}), 0) << "it can be read";

    const auto elsewhere = OpenDocument(session, b);
    EXPECT_EQ(Mark({.files = {b}, .inPlace = true}), 1);
    EXPECT_NE(err.find("another window or program has it open"), std::string::npos) << err;
    EXPECT_EQ(Mark({.files = {a}, .output = b}, true), 1);
    EXPECT_NE(err.find("is open in a window or another program"), std::string::npos) << err;
    EXPECT_EQ(MarkIn(b), -1);
}

TEST_F(OperationRunTest, TextsOfOperationsThatList) {
    EXPECT_EQ(Run(listOperation, {.files = {a}, .settings = {"channel1=b"}}), 0) << err;
    EXPECT_EQ(out, "1 events\nfollowed\n") << "CR LF is LF, also across two pieces";
    EXPECT_EQ(Run(listOperation, {.files = {a, In("gone.edf"), b}}), 1);
    EXPECT_EQ(out, a + "\n0 events\nfollowed\n\n" + b + "\n0 events\nfollowed\n");
    EXPECT_EQ(Run(listOperation, {.files = {a}, .output = In("list.txt")}), 0);
    EXPECT_EQ(out, "");
    EXPECT_EQ(FileBytes(In("list.txt")), "0 events\r\nfollowed\r\n");
    EXPECT_EQ(Run(listOperation, {.files = {In("gone.edf")}, .output = In("none.txt")}), 3);
    EXPECT_FALSE(std::filesystem::exists(In("none.txt"))) << "there is nothing to write";
    EXPECT_EQ(Run(listOperation, {.files = {a, In("gone.edf")}, .output = In("some.txt")}), 1);
    EXPECT_NE(FileBytes(In("some.txt")), "");
    EXPECT_EQ(Mark({.files = {a}, .inPlace = true}), 0);
    EXPECT_EQ(out, "");
}

TEST_F(OperationRunTest, LongTextsStream) {
    StringOutput output;
    SubcommandContext context{CommonOptions()};
    RunOperation(context, listOperation, {.files = {a}, .settings = {"repeats=100000"}}, output);
    EXPECT_EQ(output.text.size(), 100000 * std::string("0 events\nfollowed\n").size());
    EXPECT_LT(output.most, 1000u) << "pieces come as they are made";
}

TEST_F(OperationRunTest, RandomDrawsAreThoseOfTheFileAlone) {
    std::vector<uint64_t> draws;
    duringRun = [&](CDataDoc& doc) {
        draws.push_back(doc.GetSession().random());
        return true;
    };
    EXPECT_EQ(Run(listOperation, {.files = {a, b}}), 0);
    EXPECT_EQ(Run(listOperation, {.files = {b}}), 0);
    ASSERT_EQ(draws.size(), 3u);
    EXPECT_EQ(draws[1], draws[2]);
}

// --- the table ---

TEST_F(OperationRunTest, TheTableAsJson) {
    using nlohmann::json;
    StringOutput output;
    const Operation* const first = &markOperation;
    WriteOperationsJson(output, {first, 1});
    const json operation = json::parse(output.text)["operations"].at(0);
    EXPECT_EQ(operation["name"], "test-operation");
    EXPECT_EQ(operation["kind"], "event");
    EXPECT_EQ(operation["menu"], "Event > Detect");
    EXPECT_EQ(operation["changesRecording"], true);
    std::map<std::string, json> params;
    for (const auto& param : operation["parameters"]) params[param["key"]] = param;
    EXPECT_EQ(params.count("note") + params.count("reset"), 0u) << "they have no value";
    const json level = json::parse(R"({"key": "level", "otherKeys": [], "label": "Level", "type": "number",
        "default": 1.5, "limits": [-10, 10], "choices": [], "step": 0.5, "unit": "mV", "group": "Settings",
        "linked": [], "enabled": true, "toolTip": "A level"})");
    EXPECT_EQ(params["level"], level);
    const struct {
        const char *key, *member, *value;
    } others[] = {
        {"factor", "linked", R"(["follower"])"},
        {"factor", "otherKeys", R"(["multiplier"])"},
        {"follower", "enabled", "false"},
        {"follower", "limits", "[null, null]"},
        {"regionStart", "limits", "[0, null]"},
        {"kind", "choices", R"(["first", "second kind", "third"])"},
        {"trace", "default", "1"},
        {"trace", "limits", "[1, 128]"},
        {"destination", "default", "5"},
        {"linked", "default", "true"},
        {"traces", "default", "[]"},
        {"label", "step", "null"},
    };
    for (const auto& [key, member, value] : others)
        EXPECT_EQ(params[key][member], json::parse(value)) << key << " " << member;
}

TEST_F(OperationRunTest, TheTableForReading) {
    StringOutput output;
    WriteOperationsText(output, {&markOperation, 1});
    for (const char* words :
         {"CTestOperation (test-operation)  Test operation\n  Marks an event over the region\n",
          "\n  [Settings]\n  level ", " 1 second kind\n",
          "Factor (sets also follower) (other key: multiplier)\n"})
        EXPECT_NE(output.text.find(words), std::string::npos) << words << "\n" << output.text;
}

TEST_F(OperationRunTest, NearNames) {
    const std::vector<std::string> known = {"onMultiplier", "offMultiplier", "trace", "thresholdSource"};
    const std::pair<std::string, std::vector<std::string>> near[] = {
        {"onMultiplyer", {"onMultiplier", "offMultiplier"}},
        {"TRAEC", {"trace"}},  // a swap is one slip
        {"source", {"thresholdSource"}},
        {"colour", {}},
        {std::string(100000, 'x'), {}}};
    for (const auto& [name, names] : near) EXPECT_EQ(NearNames(name, known), names) << name.substr(0, 20);
    EXPECT_EQ(DidYouMean({"a", "b", "c"}), " Did you mean a, b or c?");
}

}  // namespace
}  // namespace kymora::test
