// Public text files against what independent readers found in them.

#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>

#include "host/disk_file_system.h"
#include "import/open_document.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

using nlohmann::json;
namespace fs = std::filesystem;

class TextShared : public ::testing::TestWithParam<const char*> {
  protected:
    std::unique_ptr<CDataDoc> Open(const fs::path& path) {
        return OpenDocument(session_, path, OpenFor::reading);
    }
    static void CheckTrace(CDataDoc& doc, int trace, const json& channel);

    const fs::path shared_ = KYMORA_SHARED_DATA;
    DiskFileSystem files_;
    TestHost host_;
    Session session_{host_, files_};
};

std::vector<float> All(CDataDoc& doc, int trace) {
    std::vector<float> values(static_cast<size_t>(doc.GetLength()));
    doc.ReadBlock(trace, 0, values);
    return values;
}

void TextShared::CheckTrace(CDataDoc& doc, int trace, const json& channel) {
    const std::vector<float> values = All(doc, trace);
    ASSERT_EQ(values.size(), channel["sample_count"].get<size_t>());
    const auto first = channel["first8"].get<std::vector<double>>();
    const auto last = channel["last8"].get<std::vector<double>>();
    for (size_t i = 0; i < first.size(); ++i) EXPECT_EQ(values[i], static_cast<float>(first[i])) << i;
    for (size_t i = 0; i < last.size(); ++i)
        EXPECT_EQ(values[values.size() - last.size() + i], static_cast<float>(last[i])) << i;
    EXPECT_EQ(*std::min_element(values.begin(), values.end()), channel["min"].get<float>());
    EXPECT_EQ(*std::max_element(values.begin(), values.end()), channel["max"].get<float>());
    double sum = 0.0, squares = 0.0;
    for (const float value : values) sum += value;
    const double mean = sum / static_cast<double>(values.size());
    for (const float value : values) squares += (value - mean) * (value - mean);
    const double size =
        std::max(std::abs(channel["max"].get<double>()), std::abs(channel["min"].get<double>()));
    EXPECT_NEAR(mean, channel["mean"].get<double>(), size * 1e-6);
    EXPECT_NEAR(std::sqrt(squares / static_cast<double>(values.size())), channel["std"].get<double>(),
                size * 1e-6);
}

TEST_P(TextShared, HoldsWhatOthersRead) {
    const fs::path path = shared_ / "text" / GetParam();
    std::ifstream truth(shared_ / "expected" / (std::string("text__") + GetParam() + ".json"));
    if (!truth || !fs::exists(path)) GTEST_SKIP() << "no shared text " << GetParam();
    const json expected = json::parse(truth);
    const int headerRows = expected["header_rows"].get<int>();
    session_.importSettings["sampleInterval"] =
        std::to_string(1000.0 / expected["sample_rate_hz"].get<double>());
    if (!expected["label_row_1_based"].is_null())
        session_.importSettings["labelRow"] = std::to_string(expected["label_row_1_based"].get<int>());
    auto doc = Open(path);
    ASSERT_TRUE(doc) << host_.LastMessage();
    EXPECT_TRUE(host_.messages.empty()) << host_.LastMessage();
    EXPECT_EQ(doc->SettingsToReopen()["skipRows"], std::to_string(headerRows));
    ASSERT_EQ(doc->traceCount, expected["columns"].get<int>());
    EXPECT_EQ(doc->GetLength(), expected["rows"].get<int64_t>());
    EXPECT_NEAR(1000.0 / doc->sampleInterval, expected["sample_rate_hz"].get<double>(), 1e-3);
    for (int t = 0; t < doc->traceCount; ++t)
        CheckTrace(*doc, t, expected["channels"][static_cast<size_t>(t)]);
}

INSTANTIATE_TEST_SUITE_P(, TextShared,
                         ::testing::Values("biosppy_acc.txt", "biosppy_ecg.txt", "edfPlusC_data.csv",
                                           "model_vc_step.atf.txt", "spike_extraction_test_data.txt",
                                           "test_edf_stim_channel.txt"),
                         [](const auto& info) {
                             std::string name = info.param;
                             std::replace(name.begin(), name.end(), '.', '_');
                             return name;
                         });

using TextSharedFaithful = TextShared;

TEST_F(TextSharedFaithful, HasTheirStatistics) {
    const fs::path path = shared_ / "numeric" / "faithful.csv";
    std::ifstream truth(shared_ / "expected" / "numeric__faithful.json");
    if (!truth || !fs::exists(path)) GTEST_SKIP() << "no shared text faithful.csv";
    const json expected = json::parse(truth);
    session_.importSettings = {{"sampleInterval", "1"}, {"labelRow", "1"}};
    auto doc = Open(path);
    ASSERT_TRUE(doc) << host_.LastMessage();
    ASSERT_EQ(doc->traceCount, 2);
    for (int t = 0; t < 2; ++t) {
        const std::string& label = doc->traces[static_cast<size_t>(t)].traceLabel;
        ASSERT_TRUE(expected.contains(label)) << label;
        const json& column = expected[label];
        const std::vector<float> values = All(*doc, t);
        ASSERT_EQ(values.size(), column["n"].get<size_t>());
        double sum = 0.0, squares = 0.0;
        for (const float value : values) sum += value;
        const double mean = sum / static_cast<double>(values.size());
        for (const float value : values) squares += (value - mean) * (value - mean);
        EXPECT_NEAR(mean, column["mean"].get<double>(), 1e-6);
        EXPECT_NEAR(std::sqrt(squares / static_cast<double>(values.size() - 1)), column["sd"].get<double>(),
                    1e-6);
    }
}

}  // namespace
}  // namespace kymora::test
