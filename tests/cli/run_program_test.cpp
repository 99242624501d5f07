// Operations run by the real program, as a script would start it.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <sys/resource.h>

#include "catalogue/operations.h"
#include "document/native_writer.h"
#include "host/disk_file_system.h"
#include "import/open_document.h"
#include "support/memory_doc.h"
#include "support/run_program.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

using nlohmann::json;

class RunProgramTest : public ::testing::Test {
  protected:
    // Noise of +1 and -1, whose robust s.d. is 1 / 0.6745, with spikes of 10 at these positions.
    std::string MakeSpikes(const std::string& name) {
        std::vector<float> samples(20000);
        for (size_t i = 0; i < samples.size(); ++i) samples[i] = i % 2 == 0 ? 1.0f : -1.0f;
        for (const int at : spikes) samples[static_cast<size_t>(at)] = 10.0f;
        WriteNativeFile(*MemoryDoc::Make(session, {samples, samples}, 0.1), folder / name);
        return In(name);
    }
    // A recording with events in channels b and d.
    std::string MakeEvents(const std::string& name) {
        const auto doc = MemoryDoc::Make(session, {std::vector<float>(1000)}, 0.5);
        doc->AddEvent(1, {10, 20, 1.5f, 2, 0x0000FF, "label"});
        doc->AddEvent(1, {40, 41});
        doc->AddEvent(3, {7, 8});
        WriteNativeFile(*doc, folder / name);
        return In(name);
    }
    std::string In(const std::string& name) const { return (folder / name).string(); }
    std::vector<int> Onsets(const std::string& file, const char* channel = "b") {
        std::vector<int> onsets;
        for (const json& event : Events(file, channel)) {
            onsets.push_back(event["on"]);
            EXPECT_EQ(event["off"], event["on"].get<int>() + 1);
        }
        return onsets;
    }
    void Write(const std::string& name, std::string_view text) { std::ofstream(In(name)) << text; }
    json Events(const std::string& file, const std::string& channel) {
        return json::parse(
            RunKymora({"events", file, "--channels", channel, "--json"}).out)["channels"][0]["events"];
    }

    const std::vector<int> spikes = {500, 1500, 7000, 19998};
    const std::vector<std::string> detect = {"--set", "trace=1",        "--set", "thresholdSource=2",
                                             "--set", "onMultiplier=6", "--set", "destination=b"};
    std::vector<std::string> Detect(std::vector<std::string> command) {
        command.insert(command.end(), detect.begin(), detect.end());
        return command;
    }

    TempFolder folder;
    TestHost host;
    DiskFileSystem files;
    Session session{host, files};
};

TEST_F(RunProgramTest, DetectsInPlace) {
    const std::string file = MakeSpikes("rec.kymr-dat");
    // As it stands in the documentation.
    const ProgramResult result =
        RunKymora({"run", "CEventThreshold", file, "--set", "trace=1", "--set", "thresholdSource=2", "--set",
                   "onMultiplier=6", "--set", "destination=b", "--in-place"});
    EXPECT_EQ(result.code, 0);
    EXPECT_EQ(result.out + result.err, "");
    EXPECT_EQ(Onsets(file), spikes);
    const json info = json::parse(RunKymora({"info", file, "--json"}).out);
    EXPECT_EQ(info["eventChannels"][0]["methodName"], "threshold");
    EXPECT_EQ(info["eventChannels"][0]["parentTrace"], 1);
    EXPECT_NE(info["history"].get<std::string>().find("Threshold Event\r\n"), std::string::npos);
}

TEST_F(RunProgramTest, FilesAndOptionsInAnyOrder) {
    const std::string one = MakeSpikes("[1,2].kymr-dat");
    const std::string two = MakeSpikes("two words.kymr-dat");
    const ProgramResult result = RunKymora({"run", "--in-place", "--set", "destination=c", "CEventThreshold",
                                            one, "--set=thresholdSource=2", "--set", "onMultiplier=6",
                                            "--set", "label=a = b", two, "--quiet"});
    EXPECT_EQ(result.code, 0) << result.err;
    for (const std::string& file : {one, two}) {
        EXPECT_EQ(Onsets(file, "c"), spikes);
        EXPECT_EQ(json::parse(RunKymora({"info", file, "--json"}).out)["eventChannels"][0]["label"], "a = b");
    }
}

TEST_F(RunProgramTest, NamesThatAreNearlyRightAreOffered) {
    const std::string file = MakeSpikes("rec.kymr-dat");
    const std::string before = FileBytes(file);
    const std::pair<std::vector<std::string>, const char*> wrong[] = {
        {{"run", "CEventTreshold", file, "--in-place"}, "Did you mean CEventThreshold?"},
        {{"operations", "event-treshold"}, "Did you mean event-threshold?"},
        {{"run", "CEventThreshold", "--in-place"}, "FILE"},
    };
    for (const auto& [arguments, words] : wrong) {
        const ProgramResult result = RunKymora(arguments);
        EXPECT_EQ(result.code, 2) << words;
        EXPECT_NE(result.err.find(words), std::string::npos) << result.err;
        EXPECT_TRUE(result.ErrorLinesAreLed()) << result.err;
    }
    EXPECT_TRUE(FileBytes(file) == before);
}

TEST_F(RunProgramTest, OperationsAreListed) {
    EXPECT_EQ(json::parse(RunKymora({"operations", "--json"}).out)["operations"].size(), Operations().size());
    const json one = json::parse(RunKymora({"operations", "event-threshold", "--json"}).out)["operations"];
    ASSERT_EQ(one.size(), 1u);
    EXPECT_EQ(one[0]["className"], "CEventThreshold");
    EXPECT_EQ(RunKymora({"operations", "CEventThreshold"}).out.find("CEventThreshold (event-threshold)  "),
              0u);
}

// What --json and a table tell is what the other subcommands and the text tell, with an object for each file.
TEST_F(RunProgramTest, ResultsAreData) {
    const std::string file = MakeSpikes("rec.kymr-dat");
    const auto objects = [](const ProgramResult& result) {
        std::vector<json> lines;
        std::istringstream text(result.out);
        for (std::string line; std::getline(text, line);) lines.push_back(json::parse(line));
        return lines;
    };
    const json found =
        objects(RunKymora(Detect({"run", "CEventThreshold", file, "--in-place", "--json"}))).at(0);
    EXPECT_EQ(found["operation"], "CEventThreshold");
    EXPECT_EQ(found["file"], file);
    EXPECT_EQ(found["output"], file);
    EXPECT_EQ(found["settings"]["onMultiplier"], 6);
    EXPECT_EQ(found["channels"], json::parse(R"([{"number": 1, "count": 4}])"));
    EXPECT_EQ(found["messages"], json::array());
    const json& level = found["results"][0]["values"]["On +ve"];
    EXPECT_EQ(level.get<float>(), found["settings"]["onPos"].get<float>()) << "measured, not typed";
    EXPECT_NEAR(level.get<double>(), 6 / 0.6745, 1e-5);

    std::vector<std::string> list = {"run",   "CEventList", file,    "--set",   "channel1=b",
                                     "--set", "mean=1",     "--set", "tagged=1"};
    list.insert(list.end(), {In("other.kymr-dat"), "--json"});
    const ProgramResult two = RunKymora(list);
    EXPECT_EQ(two.code, 1);
    const auto lines = objects(two);
    ASSERT_EQ(lines.size(), 2u) << "the one that failed, too";
    const json& rows = lines[0]["results"][0]["rows"];
    for (size_t i = 0; i < spikes.size(); ++i) {
        const json interval = i == 0 ? json() : json((spikes[i] - spikes[i - 1]) * 0.1);
        EXPECT_EQ(rows.at(i), json({i + 1, spikes[i] * 0.1, 0.1, interval, "F", 10.0})) << i;
    }
    EXPECT_EQ(lines[1]["output"], nullptr);
    EXPECT_EQ(lines[1]["messages"].size(), 1u);
    EXPECT_EQ(lines[1]["settings"]["tagged"], true) << "those that were asked for";
    list.insert(list.end(), {"-o", In("list.csv")});
    EXPECT_EQ(RunKymora(list).code, 1);
    const std::string csv = "File,#ID,On time (ms),Duration (ms),Interval (ms),Tagged (T/F),Mean\r\n" + file +
                            ",1,50,0.1,,F,10\r\n" + file + ",2,150,0.1,100,F,10\r\n";
    EXPECT_EQ(FileBytes(In("list.csv")).substr(0, csv.size()), csv);

    // A value stands below the unit of its own recording.
    ASSERT_EQ(RunKymora({"demo", "-o", In("demo"), "--quiet"}).code, 0);
    const std::string spikes1 = In("demo/demo_spikes.kymr-dat"), gaps = In("demo/demo_gaps.kymr-dat");
    ASSERT_EQ(RunKymora({"run", "CEventList", spikes1, gaps, gaps, "--set", "channel1=c", "--set", "maxVal=1",
                         "--set", "onTime=0", "-o", In("units.csv")})
                  .code,
              0);
    std::vector<std::string> headings;
    std::istringstream tables(FileBytes(In("units.csv")));
    for (std::string line; std::getline(tables, line);)
        if (line.starts_with("File,") || line == "\r") headings.push_back(line.substr(line.rfind(',') + 1));
    EXPECT_EQ(headings, (std::vector<std::string>{"Max val (uV)\r", "\r", "Max val (mV)\r"}));

    // Two files whose results would have one name.
    std::filesystem::copy(file, In("rec.flt"));
    const auto left =
        objects(RunKymora(Detect({"run", "CEventThreshold", In("rec.flt"), file, "--write-new", "--json"})));
    ASSERT_EQ(left.size(), 2u);
    EXPECT_EQ(left[0]["output"], nullptr);
    EXPECT_NE(left[0]["messages"][0].get<std::string>().find("is left out"), std::string::npos);
    EXPECT_EQ(left[1]["output"], In("rec_tr.kymr-dat"));
}

// --- events and tables of other programs ---

TEST_F(RunProgramTest, EventsTravelByFile) {
    const std::string rec = MakeEvents("rec.kymr-dat"), evt = In("b.kymr-evt");
    const auto convert = [&](std::vector<std::string> channels) {
        channels.insert(channels.begin(), {"convert", rec, "-o", evt});
        return RunKymora(channels);
    };
    const ProgramResult several = convert({});
    EXPECT_EQ(several.code, 1);
    EXPECT_NE(several.err.find("b: 2 events\nkymora: d: 1 event\n"), std::string::npos) << several.err;
    EXPECT_EQ(convert({"--channels", "c"}).code, 1);
    EXPECT_EQ(convert({"--channels", "b-d"}).code, 2);
    EXPECT_EQ(RunKymora({"convert", rec, "-o", In("x.txt"), "--channels", "b"}).code, 2);
    ASSERT_FALSE(std::filesystem::exists(evt));
    ASSERT_EQ(convert({"--channels", "b"}).code, 0);

    // Over events only with --yes.
    std::vector<std::string> load = {"run",   "load-event-channel", rec,         "--set", "file=" + evt,
                                     "--set", "destination=d",      "--in-place"};
    const ProgramResult refused = RunKymora(load);
    EXPECT_EQ(refused.code, 1);
    EXPECT_NE(refused.err.find("this will overwrite existing events"), std::string::npos);
    EXPECT_EQ(Events(rec, "d").size(), 1u);
    load.push_back("--yes");
    EXPECT_EQ(RunKymora(load).code, 0);
    EXPECT_EQ(Events(rec, "d"), Events(rec, "b"));
    EXPECT_EQ(RunKymora({"run", "PasteEventChannels", rec, "--in-place"}).code, 1) << "there is no clipboard";
}

TEST_F(RunProgramTest, PointsBecomeCurves) {
    Write("p.csv", "0,0\n1,1\n2,4\n3,9\n");
    const ProgramResult curve = RunKymora({"run", "CInterpolateGen", In("p.csv"), "--set", "type=5", "--set",
                                           "pointsInGraph=3", "--set", "query=9"});
    EXPECT_EQ(curve.out,
              "Bezier (3rd order) Spline:\n0.000000\t0.000000\n1.500000\t2.250000\n3.000000\t9.000000\n");
    EXPECT_EQ(curve.err, "kymora: at 9: outside the fixed points\n");
    Write("p.csv", "0,0\n1,1\n");
    EXPECT_EQ(RunKymora({"run", "CInterpolateGen", In("p.csv")}).code, 1);
    EXPECT_EQ(RunKymora({"run", "CInterpolateGen"}).code, 2);
    // The list of the window, in place of a file; and one that was saved.
    const std::string points = "points=0,0\n1,1\n2\t4\n3,9\n";
    const ProgramResult listed =
        RunKymora({"run", "CInterpolateGen", "--set", points, "--set", "type=5", "--set", "pointsInGraph=3"});
    EXPECT_EQ(listed.code, 0) << listed.err;
    EXPECT_EQ(listed.out, curve.out);
    EXPECT_EQ(RunKymora({"run", "CInterpolateGen", "--set", points, "--save-config", In("p.kymr-cfg")}).code,
              0);
    const json saved = json::parse(
        RunKymora({"run", "CInterpolateGen", "--config", In("p.kymr-cfg"), "--set", "query=1", "--json"})
            .out);
    EXPECT_EQ(saved["results"][0]["values"]["value at 1"], 1.0) << saved;
    EXPECT_EQ(RunKymora({"run", "CInterpolateGen", "--set", points, "-o", In("c.svg")}).code, 0);
    EXPECT_TRUE(std::filesystem::exists(In("c.svg")));
    Write("q.csv", "0,5\n1,5\n2,5\n3,5\n");
    const ProgramResult both = RunKymora({"run", "CInterpolateGen", In("q.csv"), "--set", points});
    EXPECT_TRUE(both.out.starts_with("Linear:\n0.000000\t5.000000\n")) << both.out;
    EXPECT_NE(both.err.find("has no effect"), std::string::npos) << "the file goes before the list";
    EXPECT_EQ(RunKymora({"run", "CInterpolateGen", In("none.csv")}).code, 3);
}

TEST_F(RunProgramTest, TablesBecomeRecordings) {
    const std::string out = In("out.kymr-dat");
    const auto make = [&](const char* name, const std::string& file) {
        return RunKymora({"run", name, In(file), "-o", out, "--yes"});
    };
    const auto length = [&] { return json::parse(RunKymora({"info", out, "--json"}).out)["length"]; };
    Write("t.txt", "a\tb\n0\t5\n1.5\t6\n4\t7\n");
    ASSERT_EQ(make("PasteContiguousData", "t.txt").code, 0);
    EXPECT_EQ(length(), 3);
    ASSERT_EQ(make("PasteSparseData", "t.txt").code, 0);
    EXPECT_EQ(length(), 5);

    Write("odd.txt", "1\t2\n3\n");
    EXPECT_EQ(make("PasteContiguousData", "odd.txt").code, 1);
    EXPECT_EQ(make("PasteSparseData", "odd.txt").code, 1);
    const ProgramResult result = make("PasteSparseData", "none.txt");
    EXPECT_EQ(result.code, 3);
    EXPECT_NE(result.err.find("none.txt"), std::string::npos);
    EXPECT_EQ(RunKymora({"run", "PasteSparseData", In("t.txt")}).code, 2);
    EXPECT_EQ(length(), 5) << "it stands as it was";
}

// --- runs that end early ---

// While the new file is written the source is untouched, and nothing stays behind.
TEST_F(RunProgramTest, AnInterruptedRunLeavesNothing) {
    const auto doc =
        MemoryDoc::Generate(session, 4, 8'000'000, [](int, int64_t i) { return static_cast<float>(i % 50); });
    WriteNativeFile(*doc, folder / "long.kymr-dat");
    ProgramSetup setup;
    setup.interruptWhen = [&](pid_t process) { return WritesIn(process, folder.Path()); };
    const ProgramResult result = RunKymora(
        {"run", "CEventThreshold", In("long.kymr-dat"), "--set", "destination=z", "--write-new"}, setup);
    EXPECT_EQ(result.code, 130) << result.err;
    EXPECT_EQ(folder.Count(), 1u);
    EXPECT_EQ(OpenDocument(session, In("long.kymr-dat"))->historyLog, "");
    EXPECT_TRUE(result.ErrorLinesAreLed());
}

// A limit of file sizes is a full disk: no signal ends the program, which clears up behind itself.
TEST_F(RunProgramTest, AFileThatMayNotGrowIsAFailureLikeAnyOther) {
    const std::string native = MakeSpikes("cell.kymr-dat");
    const auto before = FileBytes(native);
    rlimit limit{};
    ::getrlimit(RLIMIT_FSIZE, &limit);
    const rlimit own{before.size() / 2, limit.rlim_max};
    ::setrlimit(RLIMIT_FSIZE, &own);
    const ProgramResult result =
        RunKymora({"run", "CUnitaryTransform", native, "--set", "addMode=0", "--in-place"});
    ::setrlimit(RLIMIT_FSIZE, &limit);
    EXPECT_EQ(result.code, 1) << result.signal;
    EXPECT_NE(result.err.find("The recording is as it was."), std::string::npos) << result.err;
    EXPECT_EQ(FileBytes(native), before);
    EXPECT_EQ(folder.Count(), 1u);
}

}  // namespace
}  // namespace kymora::test
