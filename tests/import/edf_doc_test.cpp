#include <fmt/format.h>

#include <cmath>
#include <functional>

#include "edf_fixture.h"

namespace kymora::test {
namespace {

using Strings = std::vector<std::string>;

TEST_F(EdfTest, HeaderFillsTheModel) {
    EdfBuilder builder;
    builder.recordCount = 3;
    builder.duration = "0.5";
    builder.AddRamp("Fp1", 100, 2).AddRamp("Fp2", 100, -2);
    builder.signalRows[1].physicalMin = "50", builder.signalRows[1].physicalMax = "-50";
    builder.signalRows[1].dimension = "\xB5V";
    auto doc = Open(builder);
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->sampleInterval, 5.0);
    EXPECT_EQ(doc->GetLength(), 300);
    EXPECT_EQ(doc->traces[1].traceLabel, "Fp2");
    EXPECT_EQ(doc->traces[1].traceUnits, "\u00B5V");
    EXPECT_EQ(doc->traces[1].axisTop, -50.0);
    EXPECT_EQ(doc->traces[1].axisBottom, 50.0);
    // 200 physical units over 2000 numbers; and an inverted scale of -100 over 2000.
    EXPECT_EQ(All(*doc, 0)[250], 50.0f);
    EXPECT_EQ(All(*doc, 1)[250], 25.0f);
}

TEST_F(EdfTest, EqualDigitalLimitsShowStoredNumbers) {
    EdfBuilder builder;
    builder.AddRamp("a", 10, 7);
    builder.signalRows[0].digitalMin = builder.signalRows[0].digitalMax = "5";
    auto doc = Open(builder);
    ASSERT_TRUE(doc);
    EXPECT_EQ(All(*doc, 0)[3], 21.0f);
    EXPECT_NE(host.LogText().find("no scale"), std::string::npos);
}

TEST_F(EdfTest, NumbersAreConvertedAsTheyStand) {
    EXPECT_EQ(EdfInteger(" 12ab"), 12);
    EXPECT_EQ(EdfInteger("+7"), 7);
    EXPECT_EQ(EdfInteger("x7"), 0);
    EXPECT_EQ(EdfReal("-1.5e2 "), -150.0);
    EXPECT_EQ(EdfReal("1,5"), 1.5);
    EXPECT_EQ(EdfReal("inf"), 0.0);
    EXPECT_EQ(EdfReal("1e999"), 0.0);
    EXPECT_EQ(EdfReal("+-3"), 0.0);
}

TEST_F(EdfTest, NoValueIsDrawnAcrossAGap) {
    EdfBuilder builder;
    builder.recordCount = 2;
    builder.reserved = "EDF+D";
    builder.AddRamp("slow", 2, 100).AddRamp("fast", 4).AddAnnotations({"+0||$", "+2||$"});
    auto doc = Open(builder);
    ASSERT_TRUE(doc);
    ASSERT_EQ(Runs(*doc), (std::vector<uint32_t>{4, 4, 4}));
    // Numbers 0, 100, gap, 200, 300: the second and the last are repeated, not led on.
    EXPECT_EQ(All(*doc, 0), (std::vector<float>{0, 5, 10, 10, 0, 0, 0, 0, 20, 25, 30, 30}));
}

TEST_F(EdfTest, SignalsAreChosenLikeCheckMarks) {
    EdfBuilder builder;
    for (int i = 1; i <= 18; ++i) {
        builder.AddRamp(fmt::format("s{}", i), 10);
        if (i == 2) builder.AddAnnotations({"+0||$"});
    }
    auto doc = Open(builder);
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->traceCount, 16);
    ASSERT_EQ(host.messages.size(), 1u);
    EXPECT_NE(host.LastMessage().find("first 16 of 18"), std::string::npos);

    request.settings["signals"] = "4 4:3,1";
    doc = Open(builder);
    ASSERT_TRUE(doc);
    ASSERT_EQ(doc->traceCount, 3);
    EXPECT_EQ(doc->traces[1].traceLabel, "s3");

    const auto refusal = [&](const char* setting) {
        request.settings["signals"] = setting;
        EXPECT_EQ(Open(builder), nullptr) << setting;
        return host.LastMessage();
    };
    EXPECT_EQ(refusal("1-17"),
              "Kymora can handle a maximum of 16 data traces. Please deselect at least 1 channels.");
    EXPECT_EQ(refusal(" ,"), "You need at least 1 data trace selected.");
}

TEST_F(EdfTest, OpeningRefusesWhatIsNoRecording) {
    EdfBuilder good;
    good.recordCount = 2;
    good.AddRamp("a", 7).AddRamp("b", 5);
    struct Case {
        const char* message;
        std::function<void(EdfBuilder&)> damage;
    };
    const Case cases[] = {
        {"Unrecognized EDF format version string: 1       .", [](EdfBuilder& b) { b.version = "1"; }},
        {"gives 0 signals", [](EdfBuilder& b) { b.statedSignals = "x2"; }},
        {"gives -3 signals", [](EdfBuilder& b) { b.statedSignals = "-3"; }},
        {"ends within its header", [](EdfBuilder& b) { b.statedSignals = "9999"; }},
        {"0 samples per data record", [](EdfBuilder& b) { b.signalRows[1].statedSamples = "many"; }},
        {"-5 samples per data record", [](EdfBuilder& b) { b.signalRows[1].statedSamples = "-5"; }},
        {"no data records", [](EdfBuilder& b) { b.signalRows[1].statedSamples = "99999999"; }},
        {"no data records", [](EdfBuilder& b) { b.statedRecords = "0"; }},
        {"no data records", [](EdfBuilder& b) { b.recordCount = 0, b.statedRecords = "-1"; }},
        {"last 0 s", [](EdfBuilder& b) { b.duration = "abc"; }},
        {"last -1 s", [](EdfBuilder& b) { b.duration = "-1"; }},
        {"No sample interval", [](EdfBuilder& b) { b.duration = "1e308"; }},
        {"no useful common multiple",
         [](EdfBuilder& b) {
             b.signalRows[0].samplesPerRecord = 65521, b.signalRows[1].samplesPerRecord = 65519;
         }},
    };
    for (const Case& c : cases) {
        EdfBuilder bad = good;
        c.damage(bad);
        EXPECT_EQ(Open(bad), nullptr) << c.message;
        EXPECT_NE(host.LastMessage().find(c.message), std::string::npos) << host.LastMessage();
    }
    auto doc = std::make_unique<CEDFDoc>(session);
    EXPECT_FALSE(doc->OnOpenDocument("/x.dat"));
    EXPECT_EQ(host.LastMessage(), "You must select a .edf file");
}

TEST_F(EdfTest, EveryTruncationIsRefusedOrGivesWholeRecords) {
    EdfBuilder builder;
    builder.recordCount = 3;
    builder.reserved = "EDF+D";
    builder.AddRamp("a", 10).AddAnnotations({"+0||$+0.5|x|$", "+1||$", "+3||$"}, 20);
    const auto whole = builder.Build();
    for (size_t length = 0; length < whole.size(); ++length) {
        auto doc =
            Open(std::vector<std::byte>(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)));
        const size_t records = length < 768 ? 0 : (length - 768) / 60;
        ASSERT_EQ(doc != nullptr, records > 0) << length;
        const int64_t stored = doc ? doc->GetStoredCount(0) : 0;
        ASSERT_EQ(stored, static_cast<int64_t>(10 * records)) << length;
    }
}

TEST_F(EdfTest, RecordCountOfACutOffRecordingIsCountedAgain) {
    for (const char* stated : {"-1", "99999999"}) {
        EdfBuilder builder;
        builder.recordCount = 4;
        builder.statedRecords = stated;
        builder.statedLength = "999";
        builder.AddRamp("a", 10);
        auto bytes = builder.Build();
        bytes.resize(bytes.size() - 5);
        host.Forget();
        auto doc = Open(bytes);
        ASSERT_TRUE(doc);
        EXPECT_EQ(doc->GetLength(), 30);
        // One whose recorder did not say how many there are is whole.
        EXPECT_EQ(host.WasSilent(), std::string_view(stated) == "-1");
        EXPECT_NE(host.LogText().find("holds 3"), std::string::npos);
        EXPECT_NE(host.LogText().find("make it 512"), std::string::npos);
    }
    EdfBuilder fewer;
    fewer.recordCount = 4;
    fewer.statedRecords = "2";
    fewer.AddRamp("a", 10);
    EXPECT_EQ(Open(fewer)->GetLength(), 20);
}

TEST_F(EdfTest, AFileThatShrinksWhileItIsOpenIsAnError) {
    EdfBuilder builder;
    builder.recordCount = 100;
    builder.AddRamp("a", 10).AddRamp("slow", 5);
    auto doc = Open(builder);
    ASSERT_TRUE(doc);
    files.Bytes("/x.edf").resize(768 + 30 * 50);
    for (int trace = 0; trace < 2; ++trace) {
        std::vector<float> values(300, 0.0f);
        EXPECT_NO_THROW(doc->ReadBlock(trace, 100, values));
        EXPECT_NE(values[290], 0.0f);
        EXPECT_THROW(doc->ReadBlock(trace, 300, values), FileError);
    }
}

TEST_F(EdfTest, LongRecordingIsHeldToTheLongestPossible) {
    EdfBuilder builder;
    builder.recordCount = 200;
    builder.AddRamp("a", 46337).AddRamp("b", 1).AddRamp("c", 337);
    builder.signalRows[0].samples.clear();
    auto doc = Open(builder);  // 46337 x 337 = 15615569 samples per record
    ASSERT_TRUE(doc);
    EXPECT_TRUE(host.LastMessage().starts_with(tooLongText)) << host.LastMessage();
    EXPECT_EQ(doc->GetLength(), 0x7FFFFFFF);
    std::vector<float> end(10);
    doc->ReadBlock(2, 0x7FFFFFFF - 10, end);
    EXPECT_NE(end[9], 0.0f);
}

}  // namespace
}  // namespace kymora::test
