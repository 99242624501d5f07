// Public recordings against what independent readers found in them.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <numeric>
#include <set>

#include "host/disk_file_system.h"
#include "import/edf_doc.h"
#include "import/open_document.h"
#include "support/run_program.h"
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
        // One of them has no extension.
        if (fs::exists(path_) && !path_.has_extension()) {
            fs::copy_file(path_, folder_ / (std::string(name) + ".axgd"));
            path_ = folder_ / (std::string(name) + ".axgd");
        }
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
    bool IsForeign() const;
    void CheckSweeps(const CDataDoc& doc) const;
    void CheckEvents(const CDataDoc& doc, const char* member, const char* folder) const;

    TempFolder folder_;
    DiskFileSystem files_;
    TestHost host_;
    Session session_{host_, files_};
    fs::path path_;
    json expected_;
};

bool SharedRecordings::IsForeign() const {
    const std::set<std::string_view> folders{"smr", "cfs", "abf", "wav", "axograph"};
    return folders.contains(GetParam().folder);
}

// What the files do not tell themselves, and the part of the signals that is looked at.
ImportSettings SharedRecordings::Settings(size_t from, size_t to) const {
    if (expected_.contains("layout"))
        return {{"binaryTraces", std::to_string(expected_["channels"].size())},
                {"binaryInterval", expected_["layout"]["interval_ms"].dump()},
                {"binaryType", GetParam().type}};
    ImportSettings settings;
    if (GetParam().folder == std::string_view("axograph")) return {{"sweeps", "traces"}};
    if (IsForeign()) return {};
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
    const double tolerance = IsEdf() || IsForeign() ? 1e-6 * scale : 0.0;
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

// Starts of sweeps and frames in channel a, and tags on the clock of the experiment.
void SharedRecordings::CheckSweeps(const CDataDoc& doc) const {
    const json sweeps = expected_.value("sweeps", json::array());
    if (sweeps.size() > 1) {
        EXPECT_TRUE(doc.episodic);
        ASSERT_EQ(doc.GetNumEvents(0), static_cast<int>(sweeps.size()));
        for (size_t i = 0; i < sweeps.size(); ++i)
            EXPECT_EQ(doc.GetOn(0, static_cast<int>(i)), sweeps[i]["first_sample"].get<int>());
    }
    int64_t start = 0;
    const json frames = expected_.value("frame_lengths", json::array());
    for (size_t i = 0; i < frames.size(); start += frames[i++].get<int64_t>())
        EXPECT_EQ(doc.GetOn(0, static_cast<int>(i)), start);
    const int channel = doc.episodic ? 1 : 0;
    const json tags = expected_.value("tags", json::array());
    ASSERT_EQ(doc.GetNumEvents(channel), static_cast<int>(tags.size()));
    for (size_t i = 0; i < tags.size(); ++i) {
        const CEventKM& event = *doc.GetEvent(channel, static_cast<int>(i));
        std::string text(event.eventLabel.View());  // the other reader drops what is no ASCII
        std::erase_if(text, [](char c) { return static_cast<unsigned char>(c) > 126; });
        EXPECT_EQ(text, tags[i]["text"]);
        double time = tags[i]["onset_s"].get<double>() * 1000.0;
        if (channel == 1) {
            const json* sweep = nullptr;
            for (const json& one : sweeps)
                if (one["start_s"].get<double>() * 1000.0 <= time) sweep = &one;
            ASSERT_NE(sweep, nullptr);
            const double inSweep = std::min(time - (*sweep)["start_s"].get<double>() * 1000.0,
                                            ((*sweep)["samples"].get<double>() - 1.0) * doc.sampleInterval);
            time = (*sweep)["first_sample"].get<double>() * doc.sampleInterval + inSweep;
        }
        EXPECT_NEAR(doc.TimeOf(event.onPosition), time, doc.sampleInterval * 0.501);
    }
}

// Events and spikes of Spike2 files, found by the label of their channel.
void SharedRecordings::CheckEvents(const CDataDoc& doc, const char* member, const char* folder) const {
    if (GetParam().folder != std::string_view(folder)) return;
    for (const json& wanted : expected_.value(member, json::array())) {
        const auto channel =
            std::find_if(doc.eventChannels.begin(), doc.eventChannels.end(),
                         [&](const CEventChan& c) { return c.channelLabel == wanted["label"]; });
        ASSERT_NE(channel, doc.eventChannels.end()) << wanted["label"];
        std::vector<double> times;
        for (const CEventKM& event : channel->Events()) times.push_back(doc.TimeOf(event.onPosition));
        std::vector<double> onsets;
        for (const json& onset : wanted["onsets_s"]) onsets.push_back(onset.get<double>() * 1000.0);
        ASSERT_EQ(times.size(), onsets.size()) << wanted["label"];
        for (size_t i = 0; i < times.size(); ++i)
            EXPECT_NEAR(times[i], onsets[i], doc.sampleInterval * 0.501) << i;
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
        if (!channels.empty() && !IsForeign()) CheckRuns(*doc);
        if (GetParam().folder == std::string_view("abf") || GetParam().folder == std::string_view("cfs"))
            CheckSweeps(*doc);
        CheckEvents(*doc, "events", "smr");
        CheckEvents(*doc, "wavemarks", "smr");
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
    {"smr", "physiology.smr"},
    {"smr", "motor_units.smr"},
    {"smr", "tremor_mvc_flex.smr"},
    {"cfs", "test_file.cfs"},
    {"cfs", "2018_12_15_0000.cfs"},
    {"abf", "model_vc_step.abf"},
    {"abf", "17o05027_ic_ramp.abf"},
    {"abf", "16d22006_kim_gapfree.abf"},
    {"abf", "2020_06_16_0001.abf"},
    {"abf", "pclamp11_4ch.abf"},
    {"abf", "pclamp11_4ch_abf1.abf"},
    {"abf", "130618-1-12.abf"},
    {"abf", "File_axon_2.abf"},
    {"abf", "File_axon_3.abf"},
    {"abf", "180415_aaron_temp.abf"},
    {"abf", "2018_11_16_sh_0006.abf"},
    {"abf", "test_0001.abf"},
    {"wav", "st11_1_2_A8_1.wav"},
    {"wav", "st11_1_2_A8_2.wav"},
    {"wav", "st11_1_2_A8_3.wav"},
    {"wav", "ekg.wav"},
    {"wav", "BYB_Recording_2022-01-13_13.18.29.wav"},
    {"axograph", "AxoGraph_X_File.axgx"},
    {"axograph", "AxoGraph_Digitized_File"},
};

// Scales of current and voltage in turn.
TEST(SharedDigitizedFile, OpensAsSweepsOfTwoChannels) {
    const fs::path source = fs::path(KYMORA_SHARED_DATA) / "axograph" / "AxoGraph_Digitized_File";
    if (!fs::exists(source)) GTEST_SKIP() << "no shared data";
    TempFolder folder;
    DiskFileSystem files;
    TestHost host;
    Session session{host, files};
    fs::copy_file(source, folder / source.filename());
    const auto doc = OpenDocument(session, folder / source.filename());
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_EQ(doc->traceCount, 2);
    EXPECT_EQ(doc->GetNumEvents(0), 14);
}

INSTANTIATE_TEST_SUITE_P(, SharedRecordings, ::testing::ValuesIn(sharedFiles), [](const auto& info) {
    std::string name = std::string(info.param.folder) + "_" + info.param.name;
    for (char& c : name)
        if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
    return name;
});

}  // namespace
}  // namespace kymora::test
