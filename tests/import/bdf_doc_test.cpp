// What a BDF file has beyond an EDF file: triggers in its status signal, and annotations three bytes a
// number.

#include "import/bdf_doc.h"
#include "import/edf_fixture.h"

namespace kymora::test {
namespace {

class BdfTest : public EdfTest {
  protected:
    std::unique_ptr<CEDFDoc> OpenBdf(const EdfBuilder& builder) {
        files.Put("/x.bdf", builder.Build());
        auto doc = std::make_unique<CBDFDoc>(session);
        return doc->OnOpenDocument("/x.bdf", request) ? std::move(doc) : nullptr;
    }
};

// Ten numbers a second beside a trace of twenty: bits from 16 on are no trigger code.
TEST_F(BdfTest, ChangesOfTheStatusCodeAreEvents) {
    EdfBuilder builder;
    builder.is24Bit = true;
    builder.reserved = "24BIT";
    builder.recordCount = 2;
    builder.AddRamp("A1", 20);
    EdfBuilderSignal status;
    status.label = "Status";
    status.samples = {0x10005, 0x30005, 0, 7, 7, 0x10007, 258, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, -1, 0x1FFFF};
    builder.Add(status);
    auto doc = OpenBdf(builder);
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_EQ(Events(*doc, 0), (std::vector<std::string>{"6-12:7", "12-14:258", "36-40:65535"}));
    EXPECT_EQ(doc->eventChannels[0].channelLabel, "Status");
    // What the user has deleted stays deleted.
    doc->eventChannels[0].Splice(0, 1, {});
    ASSERT_TRUE(doc->OnSaveDocument());
    doc.reset();
    doc = std::make_unique<CBDFDoc>(session);
    ASSERT_TRUE(doc->OnOpenDocument("/x.bdf", request));
    EXPECT_EQ(Events(*doc, 0).size(), 2u);
}

TEST_F(BdfTest, RecordsOfADiscontinuousFileLieWhereTheirAnnotationsSay) {
    EdfBuilder builder;
    builder.is24Bit = true;
    builder.reserved = "BDF+D";
    builder.recordCount = 3;
    builder.AddRamp("A1", 10, 100000);
    builder.AddAnnotations({"+0||$", "+1||$+1.2~0.3|spike|$", "+4.5||$"});
    EdfBuilderSignal status;
    status.label = "Status";
    status.samples = {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4, 4, 0};
    builder.Add(status);
    const auto doc = OpenBdf(builder);
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_EQ(Runs(*doc), (std::vector<uint32_t>{20, 25, 10}));
    EXPECT_EQ(Events(*doc, 1), (std::vector<std::string>{"12-15:spike"}));
    EXPECT_EQ(Events(*doc, 2), (std::vector<std::string>{"19-46:4"}));
    // 100 to 200 of 2000 steps, and outside the digital limits as it stands.
    EXPECT_FLOAT_EQ(All(*doc, 0)[46], static_cast<float>((2100000.0 + 1000.0) * 0.1 - 100.0));
    EXPECT_NE(doc->AnnotationList().find("spike"), std::string::npos);
}

TEST_F(BdfTest, APartBeginsWithARecord) {
    EdfBuilder builder;
    builder.is24Bit = true;
    builder.recordCount = 6;
    builder.AddRamp("A1", 10);
    EdfBuilderSignal status;
    status.label = "Status";
    status.samples.assign(60, 0);
    const auto set = [&](size_t from, size_t to, int code) {
        std::fill(status.samples.begin() + from, status.samples.begin() + to, code);
    };
    set(5, 12, 3);
    set(14, 30, 4);
    set(36, 41, 7);
    set(58, 60, 9);
    builder.Add(status);
    request.settings["from"] = "2.7";
    auto doc = OpenBdf(builder);
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_EQ(doc->GetLength(), 40);
    EXPECT_FLOAT_EQ(All(*doc, 0)[3], 23 * 0.1f);
    EXPECT_EQ(Events(*doc, 0), (std::vector<std::string>{"0-10:4", "16-21:7", "38-40:9"}));
    EXPECT_EQ(doc->GetStartClock(), (4 * 3600 + 5 * 60 + 8) * 1000.0);
    EXPECT_EQ(doc->fileComment,
              "Patient: X X X X\r\nRecording: Startdate X X X X\r\nRecorded on 01.02.03 at 04.05.06\r\n"
              "This part begins at 2 s of the recording.\r\n");
    EXPECT_FALSE(doc->OnSaveDocument());
    request.settings["from"] = "6";
    EXPECT_FALSE(OpenBdf(builder));
    // Gaps count, and all annotations stand in the first record.
    builder.signalRows.pop_back();
    builder.reserved = "BDF+D";
    builder.AddAnnotations(
        {"+1||$+5.5~2|long|$+2.5|early|$", "+2||$", "+6||$", "+7||$+7.3|spike|$", "+8||$", "+9||$"});
    request.settings["from"] = "5.5";
    doc = OpenBdf(builder);
    ASSERT_TRUE(doc) << host.LastMessage();
    EXPECT_EQ(Runs(*doc), std::vector<uint32_t>{40});
    EXPECT_FLOAT_EQ(All(*doc, 0)[3], 23 * 0.1f);
    EXPECT_EQ(Events(*doc, 1), (std::vector<std::string>{"0-15:long", "13-14:spike"}));
}

TEST_F(BdfTest, AMontageOfMoreThan128SignalsOpensInPart) {
    EdfBuilder builder;
    builder.is24Bit = true;
    for (int i = 0; i < 131; ++i) builder.AddRamp("A" + std::to_string(i + 1), 10);
    auto doc = OpenBdf(builder);
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->traceCount, 128);
    EXPECT_TRUE(host.LastMessage().starts_with("The first 128 of 131 signals")) << host.LastMessage();
    request.settings["signals"] = "3,131";
    doc = OpenBdf(builder);
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->traces[1].traceLabel, "A131");
    builder.is24Bit = false;
    EXPECT_TRUE(OpenBdf(builder)) << "judged by its first byte";
    builder.version = "\xFF"
                      "BIOSEMA";
    EXPECT_FALSE(OpenBdf(builder));
}

}  // namespace
}  // namespace kymora::test
