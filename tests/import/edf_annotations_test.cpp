#include "import/edf_annotations.h"

#include <fmt/format.h>

#include "edf_fixture.h"

namespace kymora::test {
namespace {

using Strings = std::vector<std::string>;

TEST(EdfTal, OnsetDurationAndTexts) {
    EdfTal tal;
    ASSERT_TRUE(ParseEdfTal("+12.5\x15"
                            "3.25\x14"
                            "one\x14\x14two\x14",
                            tal));
    EXPECT_EQ(tal.startText, "+12.5");
    EXPECT_EQ(tal.durationText, "3.25");
    EXPECT_EQ(tal.start, 12.5);
    EXPECT_EQ(tal.duration, 3.25);
    EXPECT_EQ(tal.texts, (std::vector<std::string_view>{"one", "two"}));
    ASSERT_TRUE(ParseEdfTal("-0.5\x14"
                            "cut",
                            tal));
    EXPECT_EQ(tal.start, -0.5);
    EXPECT_EQ(tal.duration, 0.0);
    EXPECT_EQ(tal.texts, (std::vector<std::string_view>{"cut"}));
    for (const char* damaged :
         {"", "+", "+1", "\x14text\x14", "+1x\x14t\x14", "+1\x15z\x14t\x14", "+nan\x14", "+1e3\x14"})
        EXPECT_FALSE(ParseEdfTal(damaged, tal)) << damaged;
}

TEST(EdfTal, TextIsUtf8OrWindows1252) {
    EXPECT_EQ(EdfAnnotationText("gr\xC3\xBC\xC3\x9F"), "gr\u00FC\u00DF");
    EXPECT_EQ(EdfAnnotationText("gr\xFC\xDF \x80"), "gr\u00FC\u00DF \u20AC");
    EXPECT_EQ(EdfAnnotationText("\xED\xA0\x80"),
              "\u00ED\u00A0\u20AC");  // half of a surrogate pair is no UTF-8
    EXPECT_EQ(EdfAnnotationText("\xC0\xAF"), "\u00C0\u00AF");
    EXPECT_EQ(EdfAnnotationText("\xF0\x9F\x98\x80"), "\U0001F600");
}

// Two records of 1 s at 100 Hz.
EdfBuilder TwoRecords(Strings annotations, const char* type = "EDF+C") {
    EdfBuilder builder;
    builder.recordCount = 2;
    builder.reserved = type;
    return builder.AddRamp("a", 100).AddAnnotations(std::move(annotations), 60);
}

TEST_F(EdfTest, AnnotationsBecomeEvents) {
    auto doc =
        Open(TwoRecords({"+0||$+0.105~0.25|late|$+0.02|a|b|$", "+1||$+1.5~0.001|c|$+7|past the end|$"}));
    ASSERT_TRUE(doc);
    EXPECT_TRUE(host.WasSilent());
    EXPECT_EQ(Events(*doc, 0), (Strings{"0-1:", "100-101:"}));
    EXPECT_EQ(doc->eventChannels[0].channelComment, "Sweep trigger point.");
    EXPECT_EQ(doc->eventChannels[0].channelLabel, "trigger");
    // 10.5 samples round to 11; out of order in the file, in order in the channel.
    EXPECT_EQ(Events(*doc, 1), (Strings{"2-3:a; b", "11-36:late", "150-151:c", "700-701:past the end"}));
    EXPECT_EQ(doc->eventChannels[1].channelLabel, "Annotations");
    EXPECT_FALSE(doc->episodic);
    EXPECT_EQ(doc->AnnotationList(), "Record: 0, Annotation Signal: 0\r\n"
                                     "TAL: 0\r\nStart: +0 s\r\n"
                                     "TAL: 1\r\nStart: +0.105 s\r\nDuration: 0.25 s\r\n: late\r\n"
                                     "TAL: 2\r\nStart: +0.02 s\r\n: a: b\r\n"
                                     "Record: 1, Annotation Signal: 0\r\n"
                                     "TAL: 0\r\nStart: +1 s\r\n"
                                     "TAL: 1\r\nStart: +1.5 s\r\nDuration: 0.001 s\r\n: c\r\n"
                                     "TAL: 2\r\nStart: +7 s\r\n: past the end\r\n");
}

TEST_F(EdfTest, AnnotationsInSeparateChannels) {
    request.settings["annotations"] = "separate";
    auto doc = Open(TwoRecords({"+0||$+0.5|x|$-1|hidden|$", "+1|at the start|$+1.5|y|$"}));
    ASSERT_TRUE(doc);
    EXPECT_EQ(Events(*doc, 0), (Strings{"0-1:", "100-101:at the start"}));
    EXPECT_EQ(Events(*doc, 1), (Strings{"50-51:x"}));
    EXPECT_EQ(Events(*doc, 2), (Strings{}));
    EXPECT_EQ(Events(*doc, 3), (Strings{"150-151:y"}));
    EXPECT_EQ(doc->eventChannels[3].channelLabel, "y");

    // 990 of them share a channel.
    std::string many = "+0||$";
    for (int i = 0; i < 990; ++i) many += "+0.1|m|$";
    EdfBuilder builder;
    builder.AddRamp("a", 100).AddAnnotations({many}, 4000);
    doc = Open(builder);
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->GetNumEvents(1), 990);
}

TEST_F(EdfTest, EachAnnotationSignalHasItsChannel) {
    EdfBuilder builder = TwoRecords({"+0||$+0.1|a|$", "+1||$"});
    builder.AddAnnotations({"+0.2|b|$", "+0.3|c|$"});
    auto doc = Open(builder);
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->GetNumEvents(0), 2);
    EXPECT_EQ(Events(*doc, 1), (Strings{"10-11:a"}));
    EXPECT_EQ(Events(*doc, 2), (Strings{"20-21:b", "30-31:c"}));
    EXPECT_EQ(doc->eventChannels[2].channelLabel, "Annotations 2");
}

TEST_F(EdfTest, WhatCannotBeAnEventIsListed) {
    auto doc =
        Open(TwoRecords({"+0||$-2~1|early|$+1.5|in gap|$+3.25|shown|$", "+3||$+99999999|far|$"}, "EDF+D"));
    ASSERT_TRUE(doc);
    EXPECT_TRUE(doc->episodic && doc->episodicStored == 1 && doc->hasGaps);
    EXPECT_EQ(Runs(*doc), (std::vector<uint32_t>{100, 200, 100}));
    EXPECT_EQ(Events(*doc, 0), (Strings{"0-1:", "300-301:"}));
    EXPECT_EQ(Events(*doc, 1), (Strings{"325-326:shown"}));
    ASSERT_EQ(host.notices.size(), 1u);
    EXPECT_EQ(host.notices[0].key, "CEDFDoc::ProcessAnnots: bGotHiddenTAL");
    EXPECT_EQ(host.notices[0].title, "Notification");
    const std::string& list = doc->AnnotationList();
    EXPECT_NE(
        list.find(
            ": early\t*** NOTE: This annotation has a negative start time and cannot be shown as an event "
            "in the Kymora display. ***\r\nTAL: 2"),
        std::string::npos);
    EXPECT_NE(
        list.find(
            ": in gap\t*** NOTE: This annotation occurs within a gap in the recording and cannot be shown "
            "as an event in the Kymora display. ***\r\n"),
        std::string::npos);
    EXPECT_NE(list.find(": far\t*** NOTE:"), std::string::npos);
}

// Onsets in the file count from the start of the header, which may lie before the first record.
TEST_F(EdfTest, AnnotationsLieOnTheSamplesThatTheyTellOf) {
    const struct {
        const char* type;
        Strings records, marks, events;
        std::vector<uint32_t> runs;
    } cases[] = {
        {"EDF+C",
         {"+0.034||$+0.534~1|x|$", "+1.034||$+1.5|y|$"},
         {"0-1:", "100-101:"},
         {"50-150:x", "147-148:y"},
         {200}},
        {"EDF+D",
         {"+10||$+9|early|$+9.996|digits|$+10.5|x|$+11.5|in gap|$", "+13||$+13.25|y|$"},
         {"0-1:", "300-301:"},
         {"0-1:digits", "50-51:x", "325-326:y"},
         {100, 200, 100}},
        {"EDF+D",
         {"-2||$-1.5|x|$-2.001|early|$", "+3||$"},
         {"0-1:", "500-501:"},
         {"50-51:x"},
         {100, 400, 100}},
        {"EDF+D", {"damaged$+0.5|x|$", "+5||$"}, {"500-501:"}, {"50-51:x"}, {100, 400, 100}},
        {"EDF+C", {"", "+9||$+9.5|x|$"}, {"900-901:"}, {"950-951:x"}, {200}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.records[0]);
        auto doc = Open(TwoRecords(c.records, c.type));
        ASSERT_TRUE(doc);
        EXPECT_EQ(Runs(*doc), c.runs);
        EXPECT_EQ(Events(*doc, 0), c.marks);
        EXPECT_EQ(Events(*doc, 1), c.events);
    }
    const std::string list = Open(TwoRecords(cases[1].records, "EDF+D"))->AnnotationList();
    EXPECT_NE(
        list.find("Start: +9 s\r\n: early\t*** NOTE: This annotation lies before the first data record"),
        std::string::npos);
    EXPECT_NE(list.find("Start: +10.5 s\r\n: x\r\n"), std::string::npos) << "the file's own number";
    EXPECT_NE(list.find("Start: +11.5 s\r\n: in gap\t*** NOTE: This annotation occurs within a gap"),
              std::string::npos);
}

TEST_F(EdfTest, AnnotationsWithoutSignalsMakeARecordingOfEvents) {
    EdfBuilder builder;
    builder.duration = "0";
    builder.reserved = "EDF+C";
    builder.AddAnnotations({"+0||$+0.5~2|a|$+1|b|$"});
    auto doc = Open(builder);
    ASSERT_TRUE(doc);
    EXPECT_TRUE(host.WasSilent());
    EXPECT_TRUE(doc->noData);
    EXPECT_EQ(doc->traces[0].traceLabel, "(no data)");
    EXPECT_EQ(Runs(*doc), (std::vector<uint32_t>{0, 2500}));
    EXPECT_EQ(Events(*doc, 1), (Strings{"500-2500:a", "1000-1001:b"}));
    std::vector<float> values(2, 5.0f);
    std::vector<uint8_t> valid(2, 1);
    doc->ReadBlock(0, 10, values, valid);
    EXPECT_EQ(values[1], 0.0f);
    EXPECT_EQ(valid[1], 0);
    EXPECT_EQ(doc->AnnotationList().find("NOTE"), std::string::npos);
}

// The walk reads in pieces of 256 KiB, and small records many at a time.
TEST_F(EdfTest, PiecesOfTheWalkDoNotCutAnnotations) {
    std::string text = "+0||$";
    for (int i = 0; i < 40000; ++i) text += fmt::format("+{}|word{}|$", i, i);
    EdfBuilder large;
    large.AddRamp("a", 10).AddAnnotations({text}, static_cast<int>(text.size()) / 2 + 3);
    large.AddAnnotations({"+3|second|$"}, 5000);
    auto doc = Open(large);
    ASSERT_TRUE(doc);
    ASSERT_EQ(doc->GetNumEvents(1), 40000);
    for (int i = 0; i < 40000; ++i)
        ASSERT_EQ(doc->GetEvent(1, i)->eventLabel.View(), fmt::format("word{}", i));
    EXPECT_EQ(Events(*doc, 2), (Strings{"30-31:second"}));

    EdfBuilder small;
    small.recordCount = 9000;
    Strings records;
    for (int i = 0; i < 9000; ++i) records.push_back(fmt::format("+{}||$+{}.5|r|$", i, i));
    small.AddAnnotations(records, 17).AddRamp("a", 10);
    doc = Open(small);
    ASSERT_TRUE(doc);
    ASSERT_EQ(doc->GetNumEvents(0), 9000);
    ASSERT_EQ(doc->GetNumEvents(1), 9000);
    EXPECT_EQ(doc->GetOn(0, 8999), 89990);
    EXPECT_EQ(doc->GetOn(1, 8999), 89995);
    EXPECT_EQ(host.progress.size(), 1u);  // of the second file alone; its list was not asked for

    host.cancelAtCall = 3;
    EXPECT_EQ(Reopen(), nullptr);
}

TEST_F(EdfTest, DamagedAnnotationsAreLeftOut) {
    auto doc = Open(TwoRecords({"garbage$+0.5|x|$", "+1||$+2|last without an end"}));
    ASSERT_TRUE(doc);
    EXPECT_EQ(Events(*doc, 0), (Strings{"100-101:"}));
    EXPECT_EQ(Events(*doc, 1), (Strings{"50-51:x", "200-201:last without an end"}));
    EXPECT_NE(host.LogText().find("1 annotations are damaged"), std::string::npos);
    EXPECT_EQ(Open(TwoRecords({"", ""}, "EDF+D"))->GetLength(), 200);
}

TEST_F(EdfTest, AFloodOfAnnotationsIsCutWithAMessage) {
    std::string flood;
    for (int i = 0; i < 400000; ++i) flood += "+1|$";
    EdfBuilder builder;
    builder.AddRamp("a", 10).AddAnnotations({flood}, 800000);
    auto doc = Open(builder);
    ASSERT_TRUE(doc);
    EXPECT_GT(doc->GetNumEvents(1), 100000);
    EXPECT_LT(doc->GetNumEvents(1), 300000);
    EXPECT_NE(host.LastMessage().find("more annotations than can be shown"), std::string::npos);
}

}  // namespace
}  // namespace kymora::test
