// Recordings by the real program: what it writes, how it ends, and what a kill leaves.

#include <chrono>
#include <cstring>
#include <random>
#include <thread>

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

#include "support/run_program.h"

namespace kymora::test {
namespace {

using Clock = std::chrono::steady_clock;

// How many samples of the counter are wrong; the number of samples comes back, too.
std::pair<size_t, size_t> WrongCounts(const std::filesystem::path& path) {
    const ProgramResult samples = RunKymora({"samples", path.string(), "--format", "f32"});
    EXPECT_EQ(samples.code, 0) << samples.err;
    size_t wrong = 0;
    const size_t count = samples.out.size() / sizeof(float);
    for (size_t i = 0; i < count; ++i) {
        float volts = 0.0f;
        std::memcpy(&volts, samples.out.data() + i * sizeof volts, sizeof volts);
        wrong += std::lround((double{volts} + 10.0) * 65536.0 / 20.0) != static_cast<long>(i % 65536);
    }
    return {wrong, count};
}

TEST(RecordProgram, SourcesAreListed) {
    const auto listed = nlohmann::json::parse(RunKymora({"sources", "--json"}).out);
    const auto& simulated = listed.at("sources").at(0);
    EXPECT_EQ(simulated.at("name"), "simulated");
    EXPECT_EQ(simulated.at("inputs"), 16);
    EXPECT_EQ(simulated.at("outputs"), 2);
    EXPECT_EQ(simulated.at("highestRateHz"), 1e6);
    EXPECT_NE(RunKymora({"sources"}).out.find("Simulated board"), std::string::npos);
}

TEST(RecordProgram, ARecordingHoldsEverySample) {
    TempFolder temp;
    const auto out = temp / "out.kymr-rec";
    const ProgramResult done = RunKymora({"record", "--source", "simulated", "--set", "input=counter",
                                          "--seconds", "1.5", "-o", out.string()});
    EXPECT_EQ(done.code, 0) << done.err;
    EXPECT_TRUE(done.ErrorLinesAreLed());
    EXPECT_EQ(WrongCounts(out), std::pair(size_t{0}, size_t{30001}));
    EXPECT_EQ(temp.Count(), 1u);
    // It is not replaced without a word.
    EXPECT_EQ(RunKymora({"record", "--source", "simulated", "--seconds", "0.1", "-o", out.string()}).code, 1);
}

TEST(RecordProgram, AnInterruptKeepsWhatWasRecorded) {
    TempFolder temp;
    const auto out = temp / "out.kymr-rec";
    const auto start = Clock::now();
    ProgramSetup setup;
    setup.interruptWhen = [&](pid_t) { return Clock::now() - start > std::chrono::milliseconds(1200); };
    const ProgramResult done = RunKymora({"record", "--source", "simulated", "--set", "input=counter",
                                          "--seconds", "1000", "-o", out.string()},
                                         setup);
    EXPECT_EQ(done.code, 0) << done.err;
    const auto [wrong, count] = WrongCounts(out);
    EXPECT_EQ(wrong, 0u);
    EXPECT_GT(count, 2000u);
    EXPECT_EQ(temp.Count(), 1u);

    // Armed, with a trigger that never comes: nothing is left.
    const auto again = Clock::now();
    setup.interruptWhen = [&](pid_t) { return Clock::now() - again > std::chrono::milliseconds(600); };
    EXPECT_EQ(RunKymora({"record", "--source", "simulated", "--set", "trigMode=external", "-o",
                         (temp / "armed.kymr-rec").string()},
                        setup)
                  .code,
              0);
    EXPECT_EQ(temp.Count(), 1u);
}

TEST(RecordProgram, WrongCommandsSayWhatIsWrong) {
    TempFolder temp;
    const std::string out = (temp / "out.kymr-rec").string();
    const std::string sound = (temp / "sound.kymr-cfg").string();
    ASSERT_EQ(RunKymora({"record", "--type", "microphone", "--save-config", sound}).code, 0);
    // Settings that do not count are told.
    const ProgramResult told = RunKymora({"record", "--source", "simulated", "--seconds", "0.01", "--set",
                                          "preTrigger=5", "-o", (temp / "told.kymr-rec").string()});
    EXPECT_EQ(told.code, 0);
    EXPECT_NE(told.err.find("\"preTrigger\" does not count: trigMode is not internal."), std::string::npos);
    std::filesystem::remove(temp / "told.kymr-rec");
    const struct {
        std::vector<std::string> arguments;
        int code;
        const char* text;
    } cases[] = {
        {{"record", "--source", "simulatet", "-o", out}, 2, "Did you mean"},
        {{"record", "--source", "simulated"}, 2, "Recording needs -o OUT."},
        {{"record", "--source", "simulated", "-o", "x.edf"}, 2, "-o takes the extension .kymr-rec."},
        {{"record", "-o", out}, 2, "Recording needs --source NAME"},
        {{"record", "--source", "simulated", "-o", out, "--set", "bits=7"}, 2, "--set bits=7:"},
        {{"record", "--source", "simulated", "-o", out, "--set", "bits=20", "--set", "encoding=1"},
         2,
         "Two's complement has up to 16 bits"},
        {{"record", "--set", "input=sine", "--save-config", sound}, 2, "is a setting of a source"},
        {{"record", "--source", "simulated", "-o", out, "--config", sound},
         3,
         "You are trying to load a Microphone: General Purpose configuration file into a DataTranslation: "
         "General "
         "Purpose interface. Aborting."},
        {{"record", "--source", "simulated", "-o", out, "--set", "displaySpan=0.1"},
         1,
         "We need at least 9 points on the screen."},
        {{"sauces"}, 2, "There is no subcommand sauces, and no file of that name."},
    };
    for (const auto& c : cases) {
        const ProgramResult result = RunKymora(c.arguments);
        EXPECT_EQ(result.code, c.code) << c.text << "\n" << result.err;
        EXPECT_NE(result.err.find(c.text), std::string::npos) << result.err;
    }
    EXPECT_EQ(temp.Count(), 1u);
}

// KYMORA_KILLS=1000 for a long trial.
TEST(RecordProgram, AKillLosesLessThanASecond) {
    const char* const wanted = std::getenv("KYMORA_KILLS");
    const int kills = wanted ? std::atoi(wanted) : 12;
    std::mt19937 random(24);
    double most = 0.0;
    for (int kill = 0; kill < kills; ++kill) {
        SCOPED_TRACE(kill);
        TempFolder temp;
        const std::chrono::milliseconds life(random() % 1200);
        std::optional<Clock::time_point> begun;
        double lived = 0.0;
        ProgramSetup setup;
        setup.interruptWhen = [&](pid_t child) {
            if (!begun && temp.Count() > 0) begun = Clock::now();
            if (!begun || lived > 0.0 || Clock::now() - *begun < life) return false;
            lived = std::chrono::duration<double>(Clock::now() - *begun).count();
            ::kill(child, SIGKILL);
            return false;
        };
        const ProgramResult killed =
            RunKymora({"record", "--source", "simulated", "--set", "input=counter", "--set",
                       "channel1.label=nerve", "--seconds", "1000", "-o", (temp / "out.kymr-rec").string()},
                      setup);
        ASSERT_EQ(killed.signal, SIGKILL);
        std::filesystem::path left;
        for (const auto& one : std::filesystem::directory_iterator(temp.Path()))
            if (one.path().extension() == ".kymr-rec") left = one.path();
        const auto saved = temp / "saved.kymr-rec";
        const ProgramResult recovered = RunKymora({"recover", left.string(), "-o", saved.string()});
        ASSERT_EQ(recovered.code, 0) << recovered.err;
        const auto [wrong, count] = WrongCounts(saved);
        EXPECT_EQ(wrong, 0u);
        if (count > 0) {
            const auto told = RunKymora({"info", "--json", saved.string()}).out;
            EXPECT_NE(told.find("\"nerve\""), std::string::npos);
        }
        most = std::max(most, lived - static_cast<double>(count) / 20000.0);
        EXPECT_LT(lived - static_cast<double>(count) / 20000.0, 1.0);
    }
    RecordProperty("mostSecondsLost", std::to_string(most));
}

}  // namespace
}  // namespace kymora::test
