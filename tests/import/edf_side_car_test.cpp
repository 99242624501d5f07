#include "edf_fixture.h"

namespace kymora::test {
namespace {

using Strings = std::vector<std::string>;

class EdfSideCar : public EdfTest {
  protected:
    static EdfBuilder Three() {
        EdfBuilder builder;
        builder.recordCount = 2;
        builder.reserved = "EDF+C";
        builder.AddRamp("one", 10).AddRamp("two", 10, 2).AddRamp("three", 10, 3);
        builder.signalRows[1].physicalMax = "300";
        return builder.AddAnnotations({"+0||$+0.5|x|$", "+1||$"});
    }
};

TEST_F(EdfSideCar, WhatTheUserChangedComesBack) {
    const auto bytes = Three().Build();
    auto doc = Open(bytes);
    ASSERT_TRUE(doc);
    doc->traces[0].traceLabel = "mine";
    doc->traces[1].traceGain = 2.0;
    doc->traces[2].axisTop = 7.0;
    doc->eventChannels[1].DeleteEvent(0);
    doc->AddEvent(30, CEventKM{3, 9});
    ASSERT_TRUE(doc->OnSaveDocument());
    EXPECT_EQ(files.Bytes("/x.edf"), bytes);
    EXPECT_TRUE(files.Has("/x.kymr-hdr"));

    doc = Reopen();
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->traces[0].traceLabel, "mine");
    EXPECT_EQ(doc->traces[2].axisTop, 7.0);
    // (10 x 2 + 1000) x 0.2 - 100 = 104, halved by the gain.
    EXPECT_FLOAT_EQ(All(*doc, 1)[10], 52.0f);
    // The deleted event does not come back from the file.
    EXPECT_EQ(Events(*doc, 0), (Strings{"0-1:", "10-11:"}));
    EXPECT_EQ(doc->GetNumEvents(1), 0);
    EXPECT_EQ(Events(*doc, 30), (Strings{"3-9:"}));
    EXPECT_NE(doc->AnnotationList().find(": x"), std::string::npos);
}

TEST_F(EdfSideCar, AnotherChoiceOfSignalsKeepsItsLabels) {
    session.importSettings["signals"] = "2";
    auto doc = Open(Three());
    ASSERT_TRUE(doc);
    doc->traces[0].traceGain = 4.0;
    ASSERT_TRUE(doc->OnSaveDocument());

    session.importSettings["signals"] = "1,2";
    doc = Reopen();
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->traces[0].traceLabel, "one");
    EXPECT_EQ(doc->traces[0].traceGain, 1.0);
    EXPECT_EQ(doc->traces[0].axisTop, 100.0);
    EXPECT_EQ(doc->traces[1].traceLabel, "two");  // a slot that the side-car did not use
    EXPECT_EQ(doc->traces[1].axisTop, 300.0);
    EXPECT_EQ(doc->traces[1].traceUnits, "uV");

    session.importSettings["signals"] = "2";
    EXPECT_EQ(Reopen()->traces[0].traceGain, 4.0);
}

TEST_F(EdfSideCar, ADamagedSideCarLeavesTheHeadersModel) {
    auto doc = Open(Three());
    ASSERT_TRUE(doc->OnSaveDocument());
    const auto whole = files.Bytes("/x.kymr-hdr");
    for (const size_t length : {size_t{0}, size_t{5}, whole.size() / 3, whole.size() / 2, whole.size() - 1}) {
        files.Put("/x.kymr-hdr", {whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(length)});
        host.Forget();
        doc = Reopen();
        ASSERT_TRUE(doc);
        EXPECT_EQ(host.messages.size(), 1u);
        EXPECT_EQ(doc->traceCount, 3);
        EXPECT_EQ(doc->traces[1].traceLabel, "two");
        EXPECT_EQ(doc->GetLength(), 20);
        EXPECT_EQ(Events(*doc, 1), (Strings{"5-6:x"}));
    }
}

}  // namespace
}  // namespace kymora::test
