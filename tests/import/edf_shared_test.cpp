// Public recordings against what independent readers found in them.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host/disk_file_system.h"
#include "import/edf_doc.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

class EdfShared : public ::testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        const fs::path shared = KYMORA_SHARED_DATA;
        path_ = shared / "edf" / GetParam();
        std::ifstream truth(shared / "expected" / (std::string("edf__") + GetParam() + ".json"));
        if (!truth || !fs::exists(path_)) GTEST_SKIP() << "no shared recording " << GetParam();
        expected_ = json::parse(truth);
    }
    std::unique_ptr<CEDFDoc> Open(const std::string& signals = {}) {
        session_.importSettings.clear();
        if (!signals.empty()) session_.importSettings["signals"] = signals;
        auto doc = std::make_unique<CEDFDoc>(session_);
        return doc->OnOpenDocument(path_, OpenFor::reading) ? std::move(doc) : nullptr;
    }
    void CheckTrace(CEDFDoc& doc, int trace, const json& channel);
    void CheckRuns(const CEDFDoc& doc);
    void CheckAnnotations(const CEDFDoc& doc);

    DiskFileSystem files_;
    TestHost host_;
    Session session_{host_, files_};
    fs::path path_;
    json expected_;
};

// The samples of a slower signal stand at the multiples of its factor.
std::vector<double> OwnSamples(CEDFDoc& doc, int trace, int64_t factor) {
    std::vector<float> values(static_cast<size_t>(doc.GetLength()));
    std::vector<uint8_t> valid(values.size());
    doc.ReadBlock(trace, 0, values, valid);
    std::vector<double> own;
    for (size_t i = 0, stored = 0; i < values.size(); ++i)
        if (valid[i] && stored++ % static_cast<size_t>(factor) == 0) own.push_back(values[i]);
    return own;
}

void EdfShared::CheckTrace(CEDFDoc& doc, int trace, const json& channel) {
    const EdfSignal& signal = doc.Header().Signal(doc.ChosenSignals()[static_cast<size_t>(trace)]);
    const TraceSettings& settings = doc.traces[static_cast<size_t>(trace)];
    SCOPED_TRACE(settings.traceLabel);
    EXPECT_EQ(settings.traceLabel, channel["label"]);
    EXPECT_EQ(settings.traceUnits, channel["unit"]);
    EXPECT_EQ(signal.transducer, channel["transducer"]);
    EXPECT_EQ(signal.prefilter, channel["prefilter"]);
    EXPECT_EQ(settings.axisTop, channel["physical_max"]);
    EXPECT_EQ(settings.axisBottom, channel["physical_min"]);
    EXPECT_NEAR(1000.0 / (doc.sampleInterval * signal.expansionFactor),
                channel["sample_rate_hz"].get<double>(), 1e-9);
    EXPECT_EQ(signal.samplesInFile, channel["sample_count"]);
    const std::vector<double> own = OwnSamples(doc, trace, signal.expansionFactor);
    ASSERT_EQ(own.size(), channel["sample_count"].get<size_t>());

    const double scale = std::max(std::abs(settings.axisTop), std::abs(settings.axisBottom));
    const double tolerance = 1e-6 * std::max(scale, std::abs(settings.axisTop - settings.axisBottom));
    const auto& first = channel["first8"];
    const auto& last = channel["last8"];
    for (size_t i = 0; i < first.size(); ++i) EXPECT_NEAR(own[i], first[i].get<double>(), tolerance);
    for (size_t i = 0; i < last.size(); ++i)
        EXPECT_NEAR(own[own.size() - last.size() + i], last[i].get<double>(), tolerance);
    double sum = 0.0;
    for (const double value : own) sum += value;
    EXPECT_NEAR(*std::min_element(own.begin(), own.end()), channel["min"].get<double>(), tolerance);
    EXPECT_NEAR(*std::max_element(own.begin(), own.end()), channel["max"].get<double>(), tolerance);
    EXPECT_NEAR(sum / static_cast<double>(own.size()), channel["mean"].get<double>(), tolerance);
}

void EdfShared::CheckRuns(const CEDFDoc& doc) {
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
void EdfShared::CheckAnnotations(const CEDFDoc& doc) {
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

TEST_P(EdfShared, AgreesWithOtherReaders) {
    const json& channels = expected_["channels"];
    for (size_t from = 0; from < std::max<size_t>(channels.size(), 1); from += 16) {
        const size_t to = std::min(channels.size(), from + 16);
        auto doc = Open(channels.size() > 16 ? std::to_string(from + 1) + "-" + std::to_string(to) : "");
        ASSERT_TRUE(doc) << host_.LastMessage();
        EXPECT_TRUE(host_.messages.empty());
        for (size_t t = from; t < to; ++t) CheckTrace(*doc, static_cast<int>(t - from), channels[t]);
        if (!channels.empty()) CheckRuns(*doc);
        EXPECT_EQ(doc->noData, channels.empty());
        CheckAnnotations(*doc);
    }
}

INSTANTIATE_TEST_SUITE_P(Files, EdfShared,
                         ::testing::Values("test_generator.edf", "edfPlusC.edf", "edfPlusD.edf",
                                           "test_uneven_samp.edf", "short_psg.edf",
                                           "test_edf_stim_channel.edf", "SC4001EC-Hypnogram.edf",
                                           "test_subsecond.edf", "duplicate_channel_labels.edf",
                                           "PulseOximetry3.EDF", "annotations_and_signals2.edf"),
                         [](const auto& info) {
                             std::string name = info.param;
                             for (char& c : name)
                                 if (!std::isalnum(static_cast<unsigned char>(c))) c = '_';
                             return name;
                         });

}  // namespace
}  // namespace kymora::test
