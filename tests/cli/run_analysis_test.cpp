// Analyses run by the real program: their graphs, tables and texts, on the demonstration recordings.

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include <fstream>
#include <regex>

#include "support/run_program.h"

namespace kymora::test {
namespace {

using nlohmann::json;
using Words = std::vector<std::string>;

class RunAnalysisTest : public ::testing::Test {
  protected:
    void SetUp() override { ASSERT_EQ(RunKymora({"demo", "-o", In("demo"), "--quiet"}).code, 0); }

    std::string In(const std::string& name) const { return (folder / name).string(); }
    std::string Write(const std::string& name, std::string_view text) const {
        std::ofstream(In(name), std::ios::binary) << text;
        return In(name);
    }
    ProgramResult Run(Words arguments, const Words& more = {}) const {
        arguments.insert(arguments.begin(), "run");
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunKymora(arguments);
    }
    // Histograms of intervals in channel a.
    ProgramResult Intervals(const Words& more) const {
        return Run({"CEventHist", spikes, "--set", "channel1=a"}, more);
    }
    static std::vector<json> Lines(const ProgramResult& result) {
        std::vector<json> lines;
        std::istringstream text(result.out);
        for (std::string line; std::getline(text, line);) lines.push_back(json::parse(line));
        return lines;
    }

    TempFolder folder;
    const std::string spikes = In("demo/demo_spikes.kymr-dat"), gaps = In("demo/demo_gaps.kymr-dat");
};

TEST_F(RunAnalysisTest, TheExtensionSaysWhatIsWritten) {
    const struct {
        const char *name, *begins;
    } forms[] = {
        {"h.png", "\x89PNG"},
        {"h.SVG", "<?xml"},
        {"h.pdf", "%PDF"},
        {"h.txt", "mean val in hist\t"},
        {"h.csv", "mean val in hist,s.d. of vals in hist,counts in hist,"},
    };
    for (const auto& [name, begins] : forms) {
        const ProgramResult result = Intervals({"-o", In(name)});
        EXPECT_EQ(result.code, 0) << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_TRUE(FileBytes(In(name)).starts_with(begins)) << FileBytes(In(name)).substr(0, 60);
    }
    // The text is that of the terminal, with the line ends of the window.
    std::string text = FileBytes(In("h.txt"));
    std::erase(text, '\r');
    EXPECT_EQ(text, Intervals({}).out);

    const ProgramResult both = Intervals({"-o", In("both.svg"), "--json"});
    EXPECT_EQ(Lines(both).at(0)["output"], In("both.svg"));
    EXPECT_EQ(Lines(both).at(0)["results"], Lines(Intervals({"--json"})).at(0)["results"]);
    EXPECT_EQ(FileBytes(In("both.svg")), FileBytes(In("h.SVG"))) << "one graph has one picture";
}

TEST_F(RunAnalysisTest, GraphsHaveTheSizeAndThePaneThatIsAskedFor) {
    ASSERT_EQ(Intervals({"-o", In("h.png"), "--width", "300", "--height", "200", "--dpi", "192"}).code, 0);
    const std::string header = FileBytes(In("h.png")).substr(16, 8);
    EXPECT_EQ(header, std::string("\0\0\2\x58\0\0\1\x90", 8)) << "twice as many pixels";

    const Words likelihood = {"--set", "optimalBins=1", "--set", "showLogP=1"};
    const auto draw = [&](const std::string& name, Words more) {
        more.insert(more.end(), likelihood.begin(), likelihood.end());
        more.insert(more.end(), {"-o", In(name)});
        EXPECT_EQ(Intervals(more).code, 0);
        return FileBytes(In(name));
    };
    const std::string all = draw("all.svg", {}), one = draw("one.svg", {"--pane", "logP"});
    for (const char* title : {"interval", "bin number"})
        EXPECT_NE(all.find(title), std::string::npos) << title;
    EXPECT_EQ(one.find("interval"), std::string::npos);
    EXPECT_NE(one.find("bin number"), std::string::npos);
    EXPECT_NE(draw("plain.svg", {"--no-grid"}), all);
}

TEST_F(RunAnalysisTest, WhatIsWrongIsToldAndNothingIsWritten) {
    const std::string numbers = Write("n.txt", "1 2 3"), table = "file=" + numbers;
    const std::string config = In("g.kymr-cfg");
    const struct {
        Words arguments;
        const char* words;
    } wrong[] = {
        {{"CEventHist", spikes, "-o", In("x.png"), "--pane", "rose"},
         "The graph has no pane \"rose\". It has: histogram."},
        {{"CEventHist", spikes, "-o", In("x.eps")}, ".png, .svg and .pdf"},
        {{"CEventHist", spikes, "-o", In("x.svg"), "--dpi", "300"}, "--dpi is for .png"},
        {{"CEventHist", spikes, "-o", In("x.png"), "--width", "20"}, "50 to 20000 pixels"},
        {{"CEventHist", spikes, gaps, "-o", In("x.png")}, "-o takes the graph of one FILE."},
        {{"CEventHist", spikes, "--pane", "histogram"}, "are for a graph: -o OUT"},
        {{"CEventHist", spikes, "-o", In("x.csv"), "--no-grid"}, "are for a graph: -o OUT"},
        {{"CEventList", spikes, "-o", In("x.png")}, "CEventList draws no graph; OUT takes .txt or .csv."},
        {{"CEventThreshold", spikes, "-o", In("x.png")}, ".kymr-dat and .flt"},
        {{"CGeneralHist", numbers, "--set", table}, "it reads FILE, or the one of --set file=FILE."},
        {{"CGeneralHist"}, "needs the file that it reads"},
        {{"CGeneralHist", numbers, "-o", numbers}, "which is read here"},
        {{"CGeneralHist", numbers, "--in-place"}, "changes no recording"},
        {{"CGeneralHist", numbers, "--import", "signals=1"}, "takes no settings"},
    };
    const size_t count = folder.Count();
    for (const auto& [arguments, words] : wrong) {
        const ProgramResult result = Run(arguments);
        EXPECT_EQ(result.code, 2) << words;
        EXPECT_NE(result.err.find(words), std::string::npos) << result.err;
        EXPECT_TRUE(result.ErrorLinesAreLed());
    }
    EXPECT_EQ(folder.Count(), count);
    EXPECT_EQ(FileBytes(numbers), "1 2 3");
}

// Every number and name of the text stands in the JSON.
TEST_F(RunAnalysisTest, JsonTellsWhatTheTextTells) {
    const Words psth = {"CEventHist", spikes,       "--set", "channel1=a",
                        "--set",      "channel2=e", "--set", "parameter=PSTH 1 from 2"};
    const auto with = [](Words to, const Words& more) {
        to.insert(to.end(), more.begin(), more.end());
        return to;
    };
    const Words intervals = {"CEventHist", spikes, "--set", "channel1=a", "--set"};
    const Words runs[] = {
        with(intervals, {"refractory=50", "--set", "optimalBins=1"}),
        with(intervals, {"kde=1", "--set", "fit=2", "--set", "family=exponential"}),
        with(intervals, {"parameter=Freq in time bin", "--set", "timeBin=333.33"}),
        with(psth, {"--set", "bootstrap=1", "--seed", "3", "--set", "averagePsth=1"}),
        with(psth, {"--set", "autoRange=0", "--set", "minimum=-5000", "--set", "maximum=5000"}),
        with(psth, {"--set", "parameter=Phase 1 in 2", "--set", "circular=1"}),
        {"CHistTraceVal", gaps, "--set", "fit=show"},
    };
    const std::regex number("[\t=:] ?(-?[0-9]+(\\.[0-9]*)?)");
    for (const Words& run : runs) {
        SCOPED_TRACE(::testing::PrintToString(run));
        const std::string text = Run(run).out;
        const json object = Lines(Run(run, {"--json"})).at(0);
        std::vector<double> told;
        for (const json& value : object["results"].flatten())
            if (value.is_number()) told.push_back(value);
        int seen = 0;
        for (std::sregex_iterator found(text.begin(), text.end(), number), end; found != end;
             ++found, ++seen) {
            const double wanted = std::stod((*found)[1]);
            const double half =
                (*found)[2].length() == 0 ? 0.0 : 0.5001 * std::pow(10, 1 - (*found)[2].length());
            EXPECT_TRUE(std::ranges::any_of(told, [&](double is) { return std::abs(is - wanted) <= half; }))
                << found->str();
        }
        EXPECT_GE(seen, 3) << text;
        const size_t warning = text.find("WARNING");
        EXPECT_EQ(object.dump().find("which is less than the histogram range") != std::string::npos,
                  warning != std::string::npos);
    }
}

TEST_F(RunAnalysisTest, SettingsAndMessagesAreThoseOfTheRun) {
    // A notice that is said once is told of each file, whatever is printed.
    std::filesystem::copy(gaps, In("more.kymr-dat"));
    const ProgramResult two = Run({"CHistTraceVal", gaps, In("more.kymr-dat"), "--json", "--quiet"});
    EXPECT_EQ(two.err, "");
    for (const json& object : Lines(two)) {
        ASSERT_EQ(object["messages"].size(), 1u);
        EXPECT_NE(object["messages"][0].get<std::string>().find("contains gaps"), std::string::npos);
    }
    const json fallen = Lines(Intervals({"--set", "display=ln(Hz)", "--set", "binWidth=10", "--json"})).at(0);
    EXPECT_EQ(fallen["settings"]["display"], 0) << "what it fell back to";
    EXPECT_EQ(fallen["settings"]["binCount"], fallen["results"][1]["rows"].size());
    EXPECT_EQ(fallen["messages"].size(), 1u);
    // What cannot stand beside what was set before goes back, which is told once.
    const json logs = Lines(Intervals({"--set", "log=1", "--set", "display=density", "--json"})).at(0);
    EXPECT_EQ(logs["settings"]["display"], 0);
    EXPECT_EQ(logs["settings"]["log"], true);
    EXPECT_EQ(logs["messages"].dump(),
              R"(["Density plot is not available for displays showing the Log of data."])");
    // What has no value is null: the logarithm of an empty bin.
    const json logged = Lines(Intervals({"--set", "display=ln(n)", "--json"})).at(0);
    for (const json& row : logged["results"][1]["rows"]) EXPECT_EQ(row[3].is_null(), row[2] == 0) << row;
}

TEST_F(RunAnalysisTest, DetectorsTellLevelsAndCounts) {
    const struct {
        Words settings;
        const char *level, *setting, *count;
    } detectors[] = {
        {{"CSpikeDetectThresh", "--set", "source=Robust S.D. x Mult"},
         "Upper threshold",
         "upperThreshold",
         "Spike count"},
        {{"CEventThreshold", "--set", "thresholdSource=1"}, "On +ve", "onPos", "Events"},
    };
    for (const auto& [settings, level, setting, count] : detectors) {
        const json object = Lines(Run(settings, {spikes, "--set", "destination=z", "-o", In("z.kymr-dat"),
                                                 "--yes", "--json"}))
                                .at(0);
        const json& values = object["results"][0]["values"];
        EXPECT_GT(values[level], 10.0) << values;
        EXPECT_EQ(values[level], object["settings"][setting]) << "measured, not typed";
        EXPECT_GT(values[count], 0);
        EXPECT_EQ(object["channels"], json({{{"number", 25}, {"count", values[count]}}}));
    }
}

TEST_F(RunAnalysisTest, ManyBinsAndLongLinesTakeTheirTimeOnly) {
    EXPECT_EQ(Intervals({"--set", "binCount=2000000"}).out, Intervals({}).out);
    std::string line;
    for (int i = 0; i < 7'000'000; ++i) line += "12345.678 ";
    EXPECT_NE(Run({"CGeneralHist", Write("line.txt", line)}).out.find("counts in hist\t7000000\n"),
              std::string::npos);
}

// --- numbers in place of a recording ---

TEST_F(RunAnalysisTest, NumbersComeFromTexts) {
    const std::string few = Write("few.txt", "1 2\r\n3\t6"), one = Write("one.txt", "5"),
                      words = Write("words.txt", "no numbers");
    const std::string text = Run({"CGeneralHist", few}).out;
    EXPECT_TRUE(text.starts_with("mean val in hist\t3.000000\n")) << text;
    EXPECT_EQ(Run({"general-hist", "--set", "file=" + few}).out, text);

    const ProgramResult all = Run({"CGeneralHist", few, words, one, In("none.txt"), "--json"});
    EXPECT_EQ(all.code, 1);
    const auto lines = Lines(all);
    ASSERT_EQ(lines.size(), 4u);
    const struct {
        std::string file;
        json mean;
        const char* message;
    } expected[] = {{few, 3, ""},
                    {words, nullptr, "Unable to read any numbers from the selected data source."},
                    {one, nullptr, ""},
                    {In("none.txt"), nullptr, "No such file"}};
    for (size_t i = 0; i < lines.size(); ++i) {
        const auto& [file, mean, message] = expected[i];
        EXPECT_EQ(lines[i]["file"], file);
        EXPECT_EQ(lines[i]["settings"]["file"], file);
        const json& results = lines[i]["results"];
        EXPECT_EQ(results.empty() ? json() : results[0]["values"]["mean val in hist"], mean);
        ASSERT_EQ(lines[i]["messages"].size(), std::string_view(message).empty() ? 0u : 1u);
        EXPECT_NE(lines[i]["messages"].dump().find(message), std::string::npos) << lines[i]["messages"];
    }
    EXPECT_EQ(Run({"CGeneralHist", In("none.txt")}).code, 3);
    EXPECT_EQ(Run({"CGeneralHist", In("demo")}).code, 3) << "a folder";
    EXPECT_EQ(Run({"CGeneralHist", words}).code, 1);
    EXPECT_EQ(Run({"CGeneralHist", few, "-o", In("few.svg")}).code, 0);
    EXPECT_TRUE(FileBytes(In("few.svg")).starts_with("<?xml"));
    const json listed = json::parse(RunKymora({"operations", "CGeneralHist", "--json"}).out)["operations"][0];
    EXPECT_EQ(listed["needsRecording"], false);
    EXPECT_EQ(listed["drawsGraph"], true);
}

}  // namespace
}  // namespace kymora::test
