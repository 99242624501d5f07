// Public raw recordings against what independent readers found in them.

#include <gtest/gtest.h>

#include <algorithm>
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

struct SharedBinary {
    const char* name;
    const char* type;
};

class BinaryShared : public ::testing::TestWithParam<SharedBinary> {};

TEST_P(BinaryShared, AgreesWithOtherReaders) {
    const auto [name, type] = GetParam();
    const fs::path shared = KYMORA_SHARED_DATA;
    const fs::path path = shared / "bin" / name;
    std::ifstream truth(shared / "expected" / (std::string("bin__") + name + ".json"));
    if (!truth || !fs::exists(path)) GTEST_SKIP() << "no shared recording " << name;
    const json expected = json::parse(truth);
    const json& channels = expected["channels"];
    DiskFileSystem files;
    TestHost host;
    Session session(host, files);
    session.importSettings = {{"binaryTraces", std::to_string(channels.size())},
                              {"binaryInterval", expected["layout"]["interval_ms"].dump()},
                              {"binaryType", type}};
    const auto doc = OpenDocument(session, path, OpenFor::reading);
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_TRUE(host.messages.empty());
    for (size_t t = 0; t < channels.size(); ++t) {
        const json& channel = channels[t];
        SCOPED_TRACE(channel["label"].get<std::string>());
        EXPECT_NEAR(1000.0 / doc->sampleInterval, channel["sample_rate_hz"].get<double>(), 1e-9);
        ASSERT_EQ(doc->GetLength(), channel["sample_count"].get<int64_t>());
        std::vector<float> values(static_cast<size_t>(doc->GetLength()));
        doc->ReadBlock(static_cast<int>(t), 0, values);
        const json &first = channel["first8"], &last = channel["last8"];
        // The samples are those numbers, rounded once to single precision.
        for (size_t i = 0; i < first.size(); ++i)
            EXPECT_EQ(values[i], static_cast<float>(first[i].get<double>()));
        for (size_t i = 0; i < last.size(); ++i)
            EXPECT_EQ(values[values.size() - last.size() + i], static_cast<float>(last[i].get<double>()));
        const auto [least, most] = std::minmax_element(values.begin(), values.end());
        EXPECT_EQ(*least, static_cast<float>(channel["min"].get<double>()));
        EXPECT_EQ(*most, static_cast<float>(channel["max"].get<double>()));
        double sum = 0.0;
        for (const float value : values) sum += value;
        EXPECT_NEAR(sum / static_cast<double>(values.size()), channel["mean"].get<double>(),
                    1e-6 * (*most - *least));
    }
}

INSTANTIATE_TEST_SUITE_P(Files, BinaryShared,
                         ::testing::Values(SharedBinary{"s0010_re_i16x12.bin", "int16"},
                                           SharedBinary{"st11_1_2_A8_1_f64.bin", "double"}),
                         [](const auto& info) { return std::string(info.param.type); });

}  // namespace
}  // namespace kymora::test
