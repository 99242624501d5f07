// Public EDF recordings through the real program, held against what independent readers found in them.

#include <cmath>
#include <cstring>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <nlohmann/json.hpp>

#include "support/run_program.h"

namespace kymora::test {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

constexpr size_t mostSignals = 16;

struct Recording {
    fs::path file;
    json expected;
};

std::vector<Recording> Recordings() {
    std::vector<Recording> recordings;
    const fs::path shared(KYMORA_SHARED_DATA);
    if (!fs::is_directory(shared / "expected")) return recordings;
    for (const auto& entry : fs::directory_iterator(shared / "expected")) {
        if (entry.path().filename().string().rfind("edf__", 0) != 0) continue;
        Recording recording;
        recording.expected = json::parse(std::ifstream(entry.path()));
        recording.file = shared / recording.expected["file"].get<std::string>();
        if (fs::exists(recording.file)) recordings.push_back(std::move(recording));
    }
    return recordings;
}

// Runs for the signals from `first` on, as many as one recording can have.
std::string Choice(size_t first, size_t count) {
    return "signals=" + std::to_string(first + 1) + "-" +
           std::to_string(std::min(first + mostSignals, count));
}

json RunJson(const std::vector<std::string>& arguments) {
    const ProgramResult result = RunKymora(arguments);
    EXPECT_EQ(result.code, 0) << result.err;
    return result.code == 0 ? json::parse(result.out) : json();
}

std::vector<float> RunSamples(const std::string& file, size_t trace, const std::string& choice) {
    const ProgramResult result = RunKymora(
        {"samples", file, "--format", "f32", "--traces", std::to_string(trace + 1), "--import", choice});
    std::vector<float> values(result.out.size() / sizeof(float));
    std::memcpy(values.data(), result.out.data(), values.size() * sizeof(float));
    return values;
}

// Positions of a trace's valid samples.
std::vector<size_t> ValidPositions(const json& runs) {
    std::vector<size_t> positions;
    size_t at = 0;
    for (size_t i = 0; i < runs.size(); ++i)
        for (size_t k = runs[i].get<size_t>(); k > 0; --k, ++at)
            if (i % 2 == 0) positions.push_back(at);
    return positions;
}

// A signal of a lower rate is interpolated; its own samples stand at multiples of the expansion.
void CheckChannel(const std::vector<float>& values, const json& trace, const json& channel, double interval) {
    EXPECT_EQ(trace["label"], channel["label"]);
    EXPECT_EQ(trace["units"], channel["unit"]);
    const std::vector<size_t> valid = ValidPositions(trace["validRuns"]);
    const auto count = channel["sample_count"].get<size_t>();
    const size_t expansion = valid.size() / count;
    ASSERT_EQ(valid.size(), expansion * count);
    EXPECT_NEAR(1000.0 / interval, channel["sample_rate_hz"].get<double>() * static_cast<double>(expansion),
                1e-6);
    const json& first = channel["first8"];
    const json& last = channel["last8"];
    for (size_t i = 0; i < first.size(); ++i)
        EXPECT_FLOAT_EQ(values[valid[i * expansion]], first[i].get<float>());
    for (size_t i = 0; i < last.size(); ++i)
        EXPECT_FLOAT_EQ(values[valid[(count - last.size() + i) * expansion]], last[i].get<float>());
    double sum = 0.0;
    for (size_t i = 0; i < count; ++i) sum += values[valid[i * expansion]];
    const double peak =
        std::max(std::abs(channel["min"].get<double>()), std::abs(channel["max"].get<double>()));
    EXPECT_NEAR(sum / static_cast<double>(count), channel["mean"].get<double>(), 1e-6 * peak);
}

// Every annotation of the file is the start of some event, but for those that fall into a gap or before the
// start. The other readers tell onsets as the file has them; events count from the first record's start.
void CheckAnnotations(const std::string& file, const json& expected) {
    if (!expected.contains("annotations")) return;
    const json read = RunJson({"events", file, "--json", "--quiet"});
    const double interval = read["sampleInterval"].get<double>();
    const json starts = expected.value("record_starts_s", json::array());
    const double startMark = starts.empty() ? 0.0 : starts[0].get<double>();
    std::multimap<std::string, int64_t> events;
    for (const json& channel : read["channels"])
        for (const json& event : channel["events"])
            events.emplace(event["label"], event["on"].get<int64_t>());
    for (const json& annotation : expected["annotations"]) {
        std::string label;
        for (const json& text : annotation["texts"])
            label += (label.empty() ? "" : "; ") + text.get<std::string>();
        const double onset = annotation["onset_s"].get<double>() - startMark;
        const auto on = static_cast<int64_t>(std::floor(onset * 1000.0 / interval + 0.5));
        const auto [from, to] = events.equal_range(label);
        const bool found =
            std::any_of(from, to, [&](const auto& event) { return std::abs(event.second - on) <= 1; });
        EXPECT_TRUE(found) << label << " at " << on;
    }
}

TEST(SharedEdf, InfoSamplesAndEventsAgreeWithIndependentReaders) {
    const std::vector<Recording> recordings = Recordings();
    if (recordings.empty()) GTEST_SKIP() << "the shared EDF recordings are absent";
    for (const Recording& recording : recordings) {
        SCOPED_TRACE(recording.file.filename().string());
        const std::string file = recording.file.string();
        const json& channels = recording.expected["channels"];
        for (size_t first = 0; first < channels.size(); first += mostSignals) {
            const std::string choice = Choice(first, channels.size());
            const json info = RunJson({"info", file, "--json", "--quiet", "--import", choice});
            ASSERT_EQ(info["type"], "CEDFDoc");
            ASSERT_EQ(info["typeCode"], 13);
            EXPECT_EQ(info["episodic"], recording.expected["header"]["reserved"] == "EDF+D");
            for (size_t t = 0; t < info["traces"].size(); ++t)
                CheckChannel(RunSamples(file, t, choice), info["traces"][t], channels[first + t],
                             info["sampleInterval"].get<double>());
        }
        CheckAnnotations(file, recording.expected);
    }
}

}  // namespace
}  // namespace kymora::test
