// Results as CSV: cells that need quotes, values that do not exist, tables one behind the other.

#include "results/result_output.h"

#include <gtest/gtest.h>

#include <cmath>

namespace kymora {
namespace {

struct Text : OutputSink {
    void Write(std::string_view piece) override { text += piece; }
    std::string text;
};

TEST(ResultOutput, CsvQuotesAndLeavesOut) {
    Result table{"Table", {{"n", int64_t{2}}}, {{"name, quoted", ""}, {"value", "mV"}}, {}};
    table.SetRows(
        {{std::string("a \"b\"\nc"), 0.1f}, {std::monostate(), std::nan("")}, {int64_t{-3}, HUGE_VAL}});
    const Result values{"Values", {{"mean", 1.5}, {"none", std::monostate()}}, {}, {}};
    const std::vector<Result> both = {table, values};
    Text whole;
    EXPECT_TRUE(WriteCsv(whole, both, {}, [] { return true; }));
    EXPECT_EQ(
        whole.text,
        "\"name, quoted\",value (mV)\r\n\"a \"\"b\"\"\nc\",0.1\r\n,\r\n-3,\r\n\r\nmean,none\r\n1.5,\r\n");
    Text part;
    EXPECT_FALSE(WriteCsv(part, std::span(&table, 1), {"x.edf", false}, [] { return false; }));
    EXPECT_EQ(part.text, "x.edf,\"a \"\"b\"\"\nc\",0.1\r\n");

    Text text;
    JsonWriter json(text);
    json.BeginObject(JsonWriter::Form::oneLine);
    json.Key("results");
    EXPECT_TRUE(WriteJson(json, both, [] { return true; }));
    json.EndObject();
    json.Finish();
    EXPECT_EQ(
        text.text,
        "{\"results\": [{\"name\": \"Table\", \"values\": {\"n\": 2}, \"columns\": [{\"name\": \"name, "
        "quoted\", \"unit\": \"\"}, {\"name\": \"value\", \"unit\": \"mV\"}], \"rows\": [[\"a "
        "\\\"b\\\"\\nc\", 0.1], [null, null], [-3, null]]}, {\"name\": \"Values\", \"values\": {\"mean\": "
        "1.5, \"none\": null}, \"columns\": [], \"rows\": []}]}\n");
}

}  // namespace
}  // namespace kymora
