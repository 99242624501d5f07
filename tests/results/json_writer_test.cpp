#include "results/json_writer.h"

#include <bit>
#include <cmath>
#include <gtest/gtest.h>
#include <limits>
#include <nlohmann/json.hpp>
#include <random>

#include "results/number_text.h"

namespace kymora {
namespace {

class StringSink : public OutputSink {
  public:
    void Write(std::string_view part) override {
        text += part;
        largest = std::max(largest, part.size());
    }
    std::string text;
    size_t largest = 0;
};

TEST(JsonWriter, NestedValuesReadBackThroughAnotherParser) {
    StringSink sink;
    JsonWriter json(sink);
    json.BeginObject();
    json.Member("text", "quote \" back \\ tab \t line \r\n bell \a delete \x7F \xC3\xA9");
    json.Member("broken", "\xED\xA0\x80 \xFF");  // a lone surrogate and a byte that is no UTF-8
    json.Member("least", std::numeric_limits<int64_t>::min());
    json.Member("yes", true);
    json.Member("nan", std::nanf(""));
    json.Member("infinite", -std::numeric_limits<double>::infinity());
    json.TraceNumber("none", -1);
    json.TraceNumber("first", 0);
    json.Key("empty");
    json.BeginArray();
    json.EndArray();
    json.Key("list");
    json.BeginArray();
    json.BeginObject(JsonWriter::Form::oneLine);
    json.Key("inner");
    json.BeginArray();
    json.Value(1);
    json.Value(2.5);
    json.EndArray();
    json.EndObject();
    json.EndArray();
    json.EndObject();
    json.Finish();
    EXPECT_EQ(nlohmann::json::parse(sink.text), nlohmann::json::parse(R"({
        "text": "quote \" back \\ tab \t line \r\n bell \u0007 delete \u007f \u00e9", "broken": "\ufffd \ufffd",
        "least": -9223372036854775808, "yes": true, "nan": null, "infinite": null, "none": null, "first": 1,
        "empty": [], "list": [{"inner": [1, 2.5]}]})"));
    EXPECT_EQ(sink.text.back(), '\n');
}

TEST(JsonWriter, MillionsOfValuesPassThroughInPieces) {
    StringSink sink;
    JsonWriter json(sink);
    json.BeginArray(JsonWriter::Form::oneLine);
    for (int i = 0; i < 200000; ++i) json.Value(static_cast<float>(i) * 0.37f);
    json.EndArray();
    json.Finish();
    EXPECT_EQ(nlohmann::json::parse(sink.text).size(), 200000u);
    EXPECT_LT(sink.largest, 32768u);
}

// A reader takes JSON's numbers as f64; narrowed to f32 they must be the very samples.
TEST(TextFormat, NumbersReadBackBitByBit) {
    std::mt19937 random(5);
    for (int i = 0; i < 200000; ++i) {
        const auto value = std::bit_cast<float>(static_cast<uint32_t>(random()));
        if (!std::isfinite(value)) continue;
        std::string text;
        AppendNumber(text, value);
        ASSERT_EQ(std::bit_cast<uint32_t>(static_cast<float>(std::strtod(text.c_str(), nullptr))),
                  std::bit_cast<uint32_t>(value))
            << text;
    }
    for (const double value : {0.1, -0.0, 5e-324, 1.7976931348623157e308, 1e22, 123456789.123}) {
        std::string text;
        AppendNumber(text, value);
        EXPECT_EQ(std::bit_cast<uint64_t>(std::strtod(text.c_str(), nullptr)),
                  std::bit_cast<uint64_t>(value));
    }
}

TEST(TextFormat, TextsForPeople) {
    std::string time;
    AppendTime(time, 3 * 0.1);
    EXPECT_EQ(time, "0.3");
    EXPECT_EQ(ClockText(3723004.4), "1:02:03.004");
    EXPECT_EQ(ClockText(-1.0), "");
    EXPECT_EQ(ColourText(0x00010AFF), "#ff0a01");
    EXPECT_EQ(TerminalLine("a\tb\r\n\x1B[31mc \xC2\x9B"), "a b   [31mc  ") << "no command reaches a terminal";
}

}  // namespace
}  // namespace kymora
