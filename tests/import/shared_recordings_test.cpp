// Public recordings against what independent readers found in them.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <numeric>

#include "host/disk_file_system.h"
#include "import/edf_doc.h"
#include "import/open_document.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

struct SharedFile {
    const char* folder;
    const char* name;
    const char* type = "";  // of raw numbers
};

class SharedRecordings : public ::testing::TestWithParam<SharedFile> {
  protected:
    void SetUp() override {
        const auto [folder, name, type] = GetParam();
        const fs::path shared = KYMORA_SHARED_DATA;
        path_ = shared / folder / name;
        std::ifstream truth(shared / "expected" / (std::string(folder) + "__" + name + ".json"));
        if (!truth || !fs::exists(path_)) GTEST_SKIP() << "no shared recording " << name;
        expected_ = json::parse(truth);
    }
    bool IsEdf() const { return GetParam().folder == std::string_view("edf"); }
    ImportSettings Settings(size_t from, size_t to) const;
    void CheckTrace(CDataDoc& doc, int trace, const json& channel) const;
    void CheckHeader(const CEDFDoc& doc, int trace, const json& channel) const;
    void CheckRuns(const CDataDoc& doc) const;
    void CheckAnnotations(const CDataDoc& doc) const;

    DiskFileSystem files_;
    TestHost host_;
    Session session_{host_, files_};
    fs::path path_;
    json expected_;
};

// What the files do not tell themselves, and the part of the signals that is looked at.
ImportSettings SharedRecordings::Settings(size_t from, size_t to) const {
    if (expected_.contains("layout"))
        return {{"binaryTraces", std::to_string(expected_["channels"].size())},
                {"binaryInterval", expected_["layout"]["interval_ms"].dump()},
                {"binaryType", GetParam().type}};
    ImportSettings settings;
    if (IsEdf()) {
        if (to > from) settings["signals"] = std::to_string(from + 1) + "-" + std::to_string(to);
        return settings;
    }
    settings["sampleInterval"] = std::to_string(1000.0 / expected_["sample_rate_hz"].get<double>());
    if (!expected_["label_row_1_based"].is_null())
        settings["labelRow"] = std::to_string(expected_["label_row_1_based"].get<int>());
    return settings;
}

// The samples of a slower signal stand at the multiples of its factor.
std::vector<double> OwnSamples(CDataDoc& doc, int trace, size_t factor) {
    std::vector<float> values(static_cast<size_t>(doc.GetLength()));
    std::vector<uint8_t> valid(values.size());
    doc.ReadBlock(trace, 0, values, valid);
    std::vector<double> own;
    for (size_t i = 0, stored = 0; i < values.size(); ++i)
        if (valid[i] && stored++ % factor == 0) own.push_back(values[i]);
    return own;
}

// Numbers of a file are rounded once to single precision; EDF makes them of a scale.
void SharedRecordings::CheckTrace(CDataDoc& doc, int trace, const json& channel) const {
    const auto count = channel["sample_count"].get<size_t>();
    const auto factor = static_cast<size_t>(doc.GetStoredCount(trace)) / count;
    EXPECT_NEAR(1000.0 / (doc.sampleInterval * static_cast<double>(factor)),
                channel["sample_rate_hz"].get<double>(), IsEdf() ? 1e-9 : 1e-3);
    const std::vector<double> own = OwnSamples(doc, trace, factor);
    ASSERT_EQ(own.size(), count);
    const TraceSettings& settings = doc.traces[static_cast<size_t>(trace)];
    const double scale =
        IsEdf() ? 2.0 * std::max(std::abs(settings.axisTop), std::abs(settings.axisBottom))
                : std::max(std::abs(channel["max"].get<double>()), std::abs(channel["min"].get<double>()));
    const double tolerance = IsEdf() ? 1e-6 * scale : 0.0;
    const json &first = channel["first8"], &last = channel["last8"];
    for (size_t i = 0; i < first.size(); ++i) EXPECT_NEAR(own[i], first[i].get<float>(), tolerance) << i;
    for (size_t i = 0; i < last.size(); ++i)
        EXPECT_NEAR(own[own.size() - last.size() + i], last[i].get<float>(), tolerance) << i;
    EXPECT_NEAR(*std::min_element(own.begin(), own.end()), channel["min"].get<float>(), tolerance);
    EXPECT_NEAR(*std::max_element(own.begin(), own.end()), channel["max"].get<float>(), tolerance);
    const double mean = std::accumulate(own.begin(), own.end(), 0.0) / static_cast<double>(count);
    double squares = 0.0;
    for (const double value : own) squares += (value - mean) * (value - mean);
    EXPECT_NEAR(mean, channel["mean"].get<double>(), 1e-6 * scale);
    EXPECT_NEAR(std::sqrt(squares / static_cast<double>(count)), channel["std"].get<double>(), 1e-6 * scale);
}

void SharedRecordings::CheckHeader(const CEDFDoc& doc, int trace, const json& channel) const {
    const EdfSignal& signal = doc.Header().Signal(doc.ChosenSignals()[static_cast<size_t>(trace)]);
    const TraceSettings& settings = doc.traces[static_cast<size_t>(trace)];
    EXPECT_EQ(settings.traceLabel, channel["label"]);
    EXPECT_EQ(settings.traceUnits, channel["unit"]);
    EXPECT_EQ(signal.transducer, channel["transducer"]);
    EXPECT_EQ(signal.prefilter, channel["prefilter"]);
    EXPECT_EQ(settings.axisTop, channel["physical_max"]);
    EXPECT_EQ(settings.axisBottom, channel["physical_min"]);
    EXPECT_EQ(signal.samplesInFile, channel["sample_count"]);
}

void SharedRecordings::CheckRuns(const CDataDoc& doc) const {
    const json gaps = expected_.value("gaps", json::array());
    ASSERT_EQ(doc.GetNumRuns(0), 2 * static_cast<int>(gaps.size()) + 1);
    for (size_t i = 0; i < gaps.size(); ++i) {
        int64_t start = 0, end = 0;
        EXPECT_FALSE(doc.GetRunSpan(0, 2 * static_cast<int>(i) + 1, start, end));
        EXPECT_NEAR(doc.TimeOf(start), gaps[i]["end_of_previous_s"].get<double>() * 1000.0,
                    doc.sampleInterval / 2);
        EXPECT_NEAR(doc.TimeOf(end), gaps[i]["start_s"].get<double>() * 1000.0, doc.sampleInterval / 2);
    }
}

// The other readers tell the numbers of the file, which count from the header's start; here the time axis
// begins with the first record.
void SharedRecordings::CheckAnnotations(const CDataDoc& doc) const {
    const json starts = expected_.value("record_starts_s", json::array());
    const double startMark = starts.empty() ? 0.0 : starts[0].get<double>();
    const auto msOf = [startMark](const json& onset) { return (onset.get<double>() - startMark) * 1000.0; };
    ASSERT_EQ(doc.GetNumEvents(0), static_cast<int>(starts.size()));
    for (size_t i = 0; i < starts.size(); ++i)
        EXPECT_NEAR(doc.TimeOf(doc.GetOn(0, static_cast<int>(i))), msOf(starts[i]),
                    doc.sampleInterval * 0.501);
    json wanted = expected_.value("annotations", json::array());
    std::stable_sort(wanted.begin(), wanted.end(), [](const json& a, const json& b) {
        return a["onset_s"].get<double>() < b["onset_s"].get<double>();
    });
    ASSERT_EQ(doc.GetNumEvents(1), static_cast<int>(wanted.size()));
    for (size_t i = 0; i < wanted.size(); ++i) {
        const CEventKM& event = *doc.GetEvent(1, static_cast<int>(i));
        EXPECT_NEAR(doc.TimeOf(event.onPosition), msOf(wanted[i]["onset_s"]), doc.sampleInterval * 0.501);
        const double duration =
            wanted[i]["duration_s"].is_null() ? 0.0 : wanted[i]["duration_s"].get<double>();
        EXPECT_NEAR(doc.TimeOf(event.offPosition - event.onPosition),
                    std::max(duration * 1000.0, doc.sampleInterval), doc.sampleInterval * 0.501);
        std::string text;
        for (const std::string part : wanted[i]["texts"]) text += (text.empty() ? "" : "; ") + part;
        EXPECT_EQ(event.eventLabel.View(), text);
    }
}

TEST_P(SharedRecordings, AgreeWithOtherReaders) {
    const json& channels = expected_["channels"];
    const size_t atOnce = IsEdf() ? 16 : 128;
    for (size_t from = 0; from < std::max<size_t>(channels.size(), 1); from += atOnce) {
        const size_t to = std::min(channels.size(), from + atOnce);
        const auto doc =
            OpenDocument(session_, path_, {OpenFor::reading, OpenTalk::tells, Settings(from, to)});
        ASSERT_TRUE(doc) << host_.LastMessage();
        EXPECT_TRUE(host_.messages.empty()) << host_.LastMessage();
        EXPECT_EQ(doc->noData, channels.empty());
        ASSERT_EQ(doc->traceCount, static_cast<int>(std::max<size_t>(to - from, 1)));
        const auto* edf = dynamic_cast<const CEDFDoc*>(doc.get());
        for (size_t t = from; t < to; ++t) {
            SCOPED_TRACE(t);
            CheckTrace(*doc, static_cast<int>(t - from), channels[t]);
            if (edf) CheckHeader(*edf, static_cast<int>(t - from), channels[t]);
        }
        if (!channels.empty()) CheckRuns(*doc);
        if (edf) CheckAnnotations(*doc);
        if (expected_.contains("header_rows")) {
            EXPECT_EQ(doc->ToReopen().settings["skipRows"], expected_["header_rows"].dump());
        }
    }
}

constexpr SharedFile sharedFiles[] = {
    {"edf", "test_generator.edf"},
    {"edf", "edfPlusC.edf"},
    {"edf", "edfPlusD.edf"},
    {"edf", "test_uneven_samp.edf"},
    {"edf", "short_psg.edf"},
    {"edf", "test_edf_stim_channel.edf"},
    {"edf", "SC4001EC-Hypnogram.edf"},
    {"edf", "test_subsecond.edf"},
    {"edf", "duplicate_channel_labels.edf"},
    {"edf", "PulseOximetry3.EDF"},
    {"edf", "annotations_and_signals2.edf"},
    {"bin", "s0010_re_i16x12.bin", "int16"},
    {"bin", "st11_1_2_A8_1_f64.bin", "double"},
    {"text", "biosppy_acc.txt"},
    {"text", "biosppy_ecg.txt"},
    {"text", "edfPlusC_data.csv"},
    {"text", "model_vc_step.atf.txt"},
    {"text", "spike_extraction_test_data.txt"},
    {"text", "test_edf_stim_channel.txt"},
};

INSTANTIATE_TEST_SUITE_P(, SharedRecordings, ::testing::ValuesIn(sharedFiles), [](const auto& info) {
    std::string name = std::string(info.param.folder) + "_" + info.param.name;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
});

}  // namespace
}  // namespace kymora::test
