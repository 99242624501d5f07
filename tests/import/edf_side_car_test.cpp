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

TEST_F(EdfSideCar, ADeletedAnnotationDoesNotComeBackFromTheFile) {
    auto doc = Open(Three());
    ASSERT_TRUE(doc);
    doc->eventChannels[1].DeleteEvent(0);
    ASSERT_TRUE(doc->OnSaveDocument());
    doc = Reopen();
    ASSERT_TRUE(doc);
    EXPECT_EQ(Events(*doc, 0), (Strings{"0-1:", "10-11:"}));
    EXPECT_EQ(doc->GetNumEvents(1), 0);
    EXPECT_NE(doc->AnnotationList().find(": x"), std::string::npos);
}

TEST_F(EdfSideCar, AnotherChoiceOfSignalsKeepsItsLabels) {
    request.settings["signals"] = "2";
    auto doc = Open(Three());
    ASSERT_TRUE(doc);
    doc->traces[0].traceGain = 4.0;
    ASSERT_TRUE(doc->OnSaveDocument());

    request.settings["signals"] = "1,2";
    doc = Reopen();
    ASSERT_TRUE(doc);
    EXPECT_EQ(doc->traces[0].traceLabel, "one");
    EXPECT_EQ(doc->traces[0].traceGain, 1.0);
    EXPECT_EQ(doc->traces[0].axisTop, 100.0);
    EXPECT_EQ(doc->traces[1].traceLabel, "two");  // a slot that the side-car did not use
    EXPECT_EQ(doc->traces[1].axisTop, 300.0);
    EXPECT_EQ(doc->traces[1].traceUnits, "uV");

    request.settings["signals"] = "2";
    EXPECT_EQ(Reopen()->traces[0].traceGain, 4.0);
}

}  // namespace
}  // namespace kymora::test
