// The real program, started as a script would start it.

#include <cmath>
#include <cstring>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>
#include <set>
#include <sys/ioctl.h>

#include "document/native_writer.h"
#include "host/disk_file_system.h"
#include "support/memory_doc.h"
#include "support/run_program.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

using nlohmann::json;

class ProgramTest : public ::testing::Test {
  protected:
    // Three traces of 40000 samples (more than a block), with values that are awkward to print.
    std::string MakePlain() {
        samples = {{}, {}, {}};
        for (int i = 0; i < 40000; ++i) {
            samples[0].push_back(static_cast<float>(i) * 0.1f);
            samples[1].push_back(-static_cast<float>(i) / 3.0f);
            samples[2].push_back(static_cast<float>(i % 7));
        }
        samples[0][1] = -0.0f;
        samples[0][2] = 1e-42f;
        samples[1][3] = 3.4028235e38f;
        const auto doc = MemoryDoc::Make(session, samples, 0.1);
        doc->traces[0].traceLabel = "V \"in\"\n";
        doc->traces[0].traceUnits = "\xC2\xB5V";
        doc->fileComment = "two\r\nlines";
        doc->eventChannels[1].channelLabel = "spikes";
        doc->eventChannels[1].parentTrace = 2;
        doc->AddEvent(1, {10, 20, 0.1f, 7, 0x0000FF, "a\tb"});
        doc->AddEvent(30, {39999, 40000, -1.0f});
        doc->InsertMarker({12.5, "here"});
        CAnnotation annotation;
        annotation.m_dTime = 3.0;
        annotation.m_fValue = 0.7f;
        annotation.m_strLabel = "note";
        doc->traceAnnotations[1].push_back(annotation);
        return Save(*doc, "plain.kymr-dat");
    }
    std::string MakeGapped() {
        const auto doc =
            MemoryDoc::MakeWithRuns(session, {{1, 2, 3}, {4, 5, 6, 7}}, {{2, 2, 1}, {0, 1, 4}}, 2.0);
        return Save(*doc, "gapped.kymr-dat");
    }
    std::string Save(CDataDoc& doc, const std::string& name) {
        WriteNativeFile(doc, folder / name);
        return (folder / name).string();
    }
    std::string In(const std::string& name) const { return (folder / name).string(); }

    TempFolder folder;
    TestHost host;
    DiskFileSystem files;
    Session session{host, files};
    std::vector<std::vector<float>> samples;
};

std::vector<float> Floats(const std::string& bytes) {
    std::vector<float> values(bytes.size() / sizeof(float));
    std::memcpy(values.data(), bytes.data(), values.size() * sizeof(float));
    return values;
}

TEST_F(ProgramTest, HelpAndVersion) {
    const ProgramResult help = RunKymora({"--help"});
    EXPECT_EQ(help.code, 0);
    for (const char* name : {"info", "samples", "events", "convert", "plot", "demo", "operations", "run"}) {
        EXPECT_NE(help.out.find(std::string("\n  ") + name + " "), std::string::npos) << help.out;
        const ProgramResult own = RunKymora({name, "--help"});
        EXPECT_EQ(own.code, 0);
        EXPECT_NE(own.out.find("Examples:\n  kymora " + std::string(name)), std::string::npos) << own.out;
        EXPECT_NE(own.out.find("--import"), std::string::npos) << name;
    }
    EXPECT_EQ(RunKymora({"--version"}).out.rfind("kymora ", 0), 0u);
}

TEST_F(ProgramTest, WrongCommandLines) {
    const std::string file = MakePlain();
    const std::vector<std::vector<std::string>> wrong = {
        {"run", "CNothing", file},
        {"history", file, "--as-batch", In("list.txt")},
        {"--nonsense"},
        {"info"},
        {"info", file, "--nonsense"},
        {"samples", file, "--traces", "4"},
        {"samples", file, "--from", "-1"},
        {"samples", file, "--count", "many"},
        {"samples", file, "--count", ""},
        {"samples", file, "--from", "0100"},
        {"samples", file, "--from", "99999999999999999999"},
        {"plot", file, "-o", In("out.png"), "--to", ""},
        {"samples", file, "--format", "xml"},
        {"events", file, "--channels", "1000"},
        {"convert", file, "-o", In("out.svg")},
        {"convert", file, "-o", file},
        {"plot", file, "-o", In("out.gif")},
        {"plot", file, "-o", In("out.png"), "--from", "5", "--to", "5"},
        {"plot", file, "-o", In("out.png"), "--from", "nan"},
        {"plot", file, "-o", In("out.png"), "--width", "10"},
        {"plot", file, "-o", In("out.svg"), "--dpi", "300"},
        {"plot", file, "-o", In("out.png"), "--dpi", "2000"},
        {"info", file, "--import", "signals"},
        {"info", file, "--import", "signals=1"},
        {"demo", "-o", In("demo"), "--seed", "-3"},
    };
    const size_t before = folder.Count();
    for (const auto& arguments : wrong) {
        const ProgramResult result = RunKymora(arguments);
        EXPECT_EQ(result.code, 2) << arguments[0] << " " << arguments.back() << " " << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.err, "");
        EXPECT_TRUE(result.ErrorLinesAreLed()) << result.err;
    }
    EXPECT_EQ(folder.Count(), before);
    EXPECT_NE(RunKymora({"info", file, "--import", "signal=1"}).err.find("signal"), std::string::npos);
}

TEST_F(ProgramTest, FilesThatDoNotOpen) {
    std::ofstream(folder / "text.kymr-dat") << "this is no recording";
    std::ofstream(folder / "empty.edf");
    for (const std::string& file : {In("missing.kymr-dat"), In("text.kymr-dat"), In("empty.edf"),
                                    In("unknown.xyz"), folder.Path().string()})
        for (const char* name : {"info", "samples", "events"}) {
            const ProgramResult result = RunKymora({name, file});
            EXPECT_EQ(result.code, 3) << name << " " << file;
            EXPECT_EQ(result.out, "");
            EXPECT_NE(result.err, "");
            EXPECT_TRUE(result.ErrorLinesAreLed()) << result.err;
        }
    EXPECT_EQ(RunKymora({"convert", In("missing.edf"), "-o", In("out.txt")}).code, 3);
    EXPECT_FALSE(std::filesystem::exists(In("out.txt")));
}

TEST_F(ProgramTest, RawSamplesAreTheStoredBits) {
    const std::string file = MakePlain();
    std::string all;
    for (const auto& trace : samples)
        all.append(reinterpret_cast<const char*>(trace.data()), trace.size() * 4);
    EXPECT_TRUE(RunKymora({"samples", file, "--format", "f32"}).out == all);
    const ProgramResult part = RunKymora(
        {"samples", file, "--format", "f32", "--traces", "3 1", "--from", "32760", "--count", "20"});
    std::string expected(reinterpret_cast<const char*>(&samples[0][32760]), 80);
    expected.append(reinterpret_cast<const char*>(&samples[2][32760]), 80);
    EXPECT_EQ(part.out, expected);
    EXPECT_EQ(
        RunKymora({"samples", file, "--format", "f32", "--traces", "1", "--from", "39999", "--count", "9"})
            .out.size(),
        4u);
    EXPECT_EQ(RunKymora({"samples", file, "--format", "f32", "--from", "40000"}).out, "");
    const ProgramResult far = RunKymora({"samples", file, "--from", "9000000000000000000"});
    EXPECT_EQ(far.code, 0);
}

TEST_F(ProgramTest, JsonSamplesReadBackToTheSameSingles) {
    const std::string file = MakePlain();
    const json read = json::parse(RunKymora({"samples", file, "--format", "json", "--traces", "1-2"}).out);
    EXPECT_EQ(read["count"], 40000);
    ASSERT_EQ(read["traces"].size(), 2u);
    for (size_t t = 0; t < 2; ++t) {
        EXPECT_EQ(read["traces"][t]["number"], t + 1);
        const auto values = read["traces"][t]["values"].get<std::vector<double>>();
        EXPECT_TRUE(std::ranges::equal(values, samples[t], {}, [](double v) {
            return static_cast<float>(v);
        })) << t;
    }
}

TEST_F(ProgramTest, GapsAndEndsInEveryForm) {
    const std::string file = MakeGapped();
    EXPECT_EQ(RunKymora({"samples", file, "--from", "1"}).out,
              "position\ttime (ms)\ttrace 1\tvalid 1\ttrace 2\tvalid 2\n"
              "1\t2\t2\t1\t4\t1\n2\t4\t0\t0\t5\t1\n3\t6\t0\t0\t6\t1\n4\t8\t3\t1\t7\t1\n");
    const json read = json::parse(RunKymora({"samples", file, "--format", "json"}).out);
    EXPECT_EQ(read["traces"][0]["values"], (json{1, 2, 0, 0, 3}));
    EXPECT_EQ(read["traces"][0]["valid"], (json{1, 1, 0, 0, 1}));
    EXPECT_EQ(read["traces"][1]["valid"], (json{0, 1, 1, 1, 1}));
    EXPECT_EQ(Floats(RunKymora({"samples", file, "--format", "f32", "--traces", "2"}).out),
              (std::vector<float>{0, 4, 5, 6, 7}));
}

TEST_F(ProgramTest, InfoTellsTheModel) {
    const std::string file = MakePlain();
    const json info = json::parse(RunKymora({"info", file, "--json"}).out);
    EXPECT_EQ(info["path"], file);
    EXPECT_EQ(info["type"], "CFloatDoc");
    EXPECT_EQ(info["sampleInterval"], 0.1);
    EXPECT_EQ(info["length"], 40000);
    EXPECT_NEAR(info["durationMs"].get<double>(), 4000.0, 1e-9);
    EXPECT_EQ(info["comment"], "two\r\nlines");
    ASSERT_EQ(info["traces"].size(), 3u);
    const json& trace = info["traces"][0];
    EXPECT_EQ(trace["label"], "V \"in\"\n");
    EXPECT_EQ(trace["units"], "\xC2\xB5V");
    EXPECT_EQ(trace["colour"], "#800000") << "0x000080 is red: the red byte is the lowest";
    EXPECT_EQ(trace["validRuns"], json({40000}));
    EXPECT_EQ(info["markers"], (json{{{"timeMs", 12.5}, {"label", "here"}}}));
    EXPECT_EQ(info["annotations"][0]["trace"], 2);
    EXPECT_EQ(static_cast<float>(info["annotations"][0]["value"].get<double>()), 0.7f);
    ASSERT_EQ(info["eventChannels"].size(), 2u) << "only the channels that are used";
    EXPECT_EQ(info["eventChannels"][0]["number"], 1);
    EXPECT_EQ(info["eventChannels"][0]["parentTrace"], 3);
    EXPECT_EQ(info["eventChannels"][1]["number"], 30);
    EXPECT_TRUE(info["eventChannels"][1]["parentTrace"].is_null());
    const std::string text = RunKymora({"info", file}).out;
    EXPECT_NE(text.find("0:00:04.000"), std::string::npos) << text;
    EXPECT_NE(text.find("V \"in\" "), std::string::npos) << "a label stays in its line";
}

TEST_F(ProgramTest, EventsAsTableAndJson) {
    const std::string file = MakePlain();
    const json all = json::parse(RunKymora({"events", file, "--json"}).out);
    EXPECT_EQ(all["sampleInterval"], 0.1);
    ASSERT_EQ(all["channels"].size(), 2u);
    const json& event = all["channels"][0]["events"][0];
    EXPECT_EQ(event["on"], 10);
    EXPECT_EQ(event["off"], 20);
    EXPECT_EQ(event["onMs"], 1.0);
    EXPECT_EQ(event["offMs"], 2.0);
    EXPECT_EQ(static_cast<float>(event["value"].get<double>()), 0.1f);
    EXPECT_EQ(event["label"], "a\tb");
    EXPECT_EQ(event["tag"], 7);
    EXPECT_EQ(event["colour"], "#ff0000");
    EXPECT_EQ(RunKymora({"events", file, "--channels", "b"}).out,
              "channel\tname\ton (ms)\toff (ms)\tvalue\ttag\tlabel\nb\tspikes\t1\t2\t0.1\t7\ta b\n");
    const json chosen = json::parse(RunKymora({"events", file, "--json", "--channels", "0 30"}).out);
    ASSERT_EQ(chosen["channels"].size(), 2u) << "a channel that was asked for is there, also without events";
    EXPECT_TRUE(chosen["channels"][0]["events"].empty());
    EXPECT_EQ(chosen["channels"][1]["events"].size(), 1u);
}

TEST_F(ProgramTest, ConvertWritesACopyAndLeavesTheSource) {
    const std::string file = MakePlain();
    const std::string before = FileBytes(file);
    ASSERT_EQ(RunKymora({"convert", file, "-o", In("copy.kymr-dat")}).code, 0);
    json source = json::parse(RunKymora({"info", file, "--json"}).out);
    json copy = json::parse(RunKymora({"info", In("copy.kymr-dat"), "--json"}).out);
    EXPECT_NE(copy["history"].get<std::string>().find(": File: Save As\r\n\r\n"), std::string::npos);
    for (const char* own : {"path", "history"}) source.erase(own), copy.erase(own);
    EXPECT_EQ(copy, source);
    EXPECT_TRUE(RunKymora({"samples", In("copy.kymr-dat"), "--format", "f32"}).out ==
                RunKymora({"samples", file, "--format", "f32"}).out);
    EXPECT_TRUE(FileBytes(file) == before);
}

TEST_F(ProgramTest, ConvertAsksBeforeItReplaces) {
    const std::string file = MakeGapped();
    std::ofstream(folder / "out.txt") << "precious";
    EXPECT_EQ(RunKymora({"convert", file, "-o", In("out.txt")}).code, 1);
    EXPECT_EQ(FileBytes(In("out.txt")), "precious");
    const ProgramResult gaps = RunKymora({"convert", file, "-o", In("new.txt")});
    EXPECT_EQ(gaps.code, 1);
    EXPECT_NE(
        gaps.err.find("kymora: This file has gaps, which will be saved as zero-valued data. Continue?\n"),
        std::string::npos);
    EXPECT_FALSE(std::filesystem::exists(In("new.txt")));
    EXPECT_EQ(RunKymora({"convert", file, "-o", In("out.txt"), "--yes"}).code, 0);
    EXPECT_NE(FileBytes(In("out.txt")).find("Number of samples per data channel:\t5\n"), std::string::npos);
    std::filesystem::create_hard_link(file, In("link.kymr-dat"));
    EXPECT_EQ(RunKymora({"convert", file, "-o", In("link.kymr-dat"), "--yes"}).code, 2)
        << "the source by another name";
    EXPECT_EQ(RunKymora({"convert", file, "-o", In("no/such/folder.txt"), "--yes"}).code, 1);
}

TEST_F(ProgramTest, InterruptReachesAWriterThatNobodyReads) {
    const std::string file = MakePlain();
    int pipeEnds[2];
    ASSERT_EQ(::pipe(pipeEnds), 0);
    ProgramSetup setup;
    setup.stdoutPath = "/dev/fd/" + std::to_string(pipeEnds[1]);
    setup.secondsAllowed = 10;
    // Once its writes wait, however long a loaded machine takes to start it: what lies in the pipe is no more
    // for a while.
    int before = 0, unchanged = 0;
    setup.interruptWhen = [&](pid_t) {
        int waiting = 0;
        if (::ioctl(pipeEnds[0], FIONREAD, &waiting) != 0 || waiting == 0) return false;
        unchanged = waiting == before ? unchanged + 1 : 0;
        before = waiting;
        return unchanged > 25;
    };
    EXPECT_EQ(RunKymora({"samples", file}, setup).code, 130);
    ::close(pipeEnds[0]);
    ::close(pipeEnds[1]);
}

TEST_F(ProgramTest, OutputThatCannotBeWritten) {
    const std::string file = MakePlain();
    ProgramSetup full;
    full.stdoutPath = "/dev/full";
    for (const char* name : {"samples", "info"}) {
        const ProgramResult result = RunKymora({name, file}, full);
        EXPECT_EQ(result.code, 1) << name;
        EXPECT_NE(result.err.find("kymora: Couldn't write to standard output"), std::string::npos)
            << result.err;
    }
    ProgramSetup leaving;
    leaving.readAtMost = 1000;
    const ProgramResult left = RunKymora({"samples", file}, leaving);
    EXPECT_EQ(left.code, 0) << "a reader that has enough is no failure";
    EXPECT_EQ(left.err, "");
}

// A file opened in place of a closed stream would receive the messages.
TEST_F(ProgramTest, ClosedStandardStreamsDoNotSpoilFiles) {
    const std::string file = MakePlain();
    ProgramSetup closed;
    closed.closeOutputs = true;
    EXPECT_EQ(RunKymora({"convert", file, "-o", In("legacy.flt")}, closed).code, 0);
    EXPECT_EQ(FileBytes(In("legacy.flt")).substr(0, 2), std::string("\x24\x00", 2)) << "version 36";
    EXPECT_TRUE(RunKymora({"events", In("legacy.flt"), "--json"}).out ==
                RunKymora({"events", file, "--json"}).out);
    EXPECT_EQ(RunKymora({"samples", file}, closed).code, 1);
}

TEST_F(ProgramTest, PlotWritesAPictureAndLeavesTheRecordingAlone) {
    const std::string file = MakePlain(), before = FileBytes(file);
    const std::vector<std::string> plot = {"plot", file,  "-o",      In("out.png"), "--from",   "0",
                                           "--to", "100", "--width", "640",         "--height", "300"};
    ASSERT_EQ(RunKymora(plot).code, 0);
    EXPECT_EQ(FileBytes(In("out.png")).substr(16, 8), std::string("\0\0\x02\x80\0\0\x01\x2C", 8))
        << "640 x 300 in the head of the file";
    EXPECT_EQ(folder.Count(), 2u);
    EXPECT_EQ(RunKymora(plot).code, 1) << "asked, and answered with no";
    EXPECT_EQ(RunKymora({"plot", file, "-o", In("out.png"), "--yes"}).code, 0);
    // A name that is a link to the recording must not make a picture of it.
    std::filesystem::create_symlink(file, In("link.png"));
    EXPECT_EQ(RunKymora({"plot", file, "-o", In("link.png"), "--yes"}).code, 2);
    EXPECT_EQ(RunKymora({"plot", file, "-o", In("plain.svg"), "--no-grid", "--white"}).code, 0);
    const std::string svg = FileBytes(In("plain.svg"));
    EXPECT_TRUE(svg.ends_with("</svg>\n"));
    EXPECT_EQ(svg.find("dasharray"), std::string::npos) << "the grid is dashed";
    EXPECT_TRUE(FileBytes(file) == before);
}

TEST_F(ProgramTest, DemoIsTheSameEveryTimeAndReplacesNothingUnasked) {
    ASSERT_EQ(RunKymora({"demo", "-o", In("one/deep")}).code, 0);
    ASSERT_EQ(RunKymora({"demo", "-o", In("two")}).code, 0);
    for (const char* name : {"demo_spikes.kymr-dat", "demo_gaps.kymr-dat", "demo_episodic.kymr-dat"}) {
        const std::string bytes = FileBytes(In("two") + "/" + name);
        EXPECT_TRUE(FileBytes(In("one/deep") + "/" + name) == bytes) << name;
        const ProgramResult info = RunKymora({"info", In("two") + "/" + name});
        EXPECT_EQ(info.code, 0);
        EXPECT_EQ(info.err, "") << "a demonstration opens without a complaint";
    }
    std::ofstream(folder / "two/demo_gaps.kymr-dat") << "mine";
    EXPECT_EQ(RunKymora({"demo", "-o", In("two")}).code, 1);
    EXPECT_EQ(FileBytes(In("two/demo_gaps.kymr-dat")), "mine");
    EXPECT_EQ(RunKymora({"demo", "-o", In("two"), "--yes", "--quiet"}).code, 0);
    EXPECT_TRUE(FileBytes(In("two/demo_gaps.kymr-dat")) == FileBytes(In("one/deep/demo_gaps.kymr-dat")));
}

}  // namespace
}  // namespace kymora::test
