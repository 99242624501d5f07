#include "document/text_export.h"

#include <sstream>

#include "document/native_writer.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

class TextExportTest : public SessionTest {
  protected:
    std::string Exported(CDataDoc& doc) {
        WriteTextExport(doc, "/out.txt");
        const auto& bytes = files.Bytes("/out.txt");
        return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
    }
};

TEST_F(TextExportTest, ColumnsOfTracesAndEvents) {
    const auto doc = MemoryDoc::Make(session, {{1.5f, -2.0f, 0.1f}, {0.0f, 1e6f, 3.0f}}, 0.5);
    doc->fileComment = "first\r\nsecond";
    doc->traces[0].traceLabel = "left\tside";
    doc->traces[1].traceLabel = "right";
    doc->eventChannels[0].channelLabel = "spikes";
    doc->AddEvent(0, {.onPosition = 1, .offPosition = 3});
    doc->AddEvent(0, {.onPosition = 2, .offPosition = 3});
    doc->eventChannels[3].channelLabel = "empty channels are left out";
    EXPECT_EQ(Exported(*doc), "first\nsecond\nSample interval:\t0.500000\nNumber of data channels:\t2\n"
                              "Number of samples per data channel:\t3\n"
                              "Data trace 1\tData trace 2\tEvent channel a: spikes\t\t\n"
                              "left side\tright\ton time\tduration\t\n"
                              "1.500000\t0.000000\t0.500000\t1.000000\t\n"
                              "-2.000000\t1000000.000000\t1.000000\t0.500000\t\n"
                              "0.100000\t3.000000\t\t\t\n");
}

TEST_F(TextExportTest, EventsGoOnBelowTheSamplesAtTheLeftMargin) {
    session.options.eventChannelMode = maxEventChannels;
    const auto doc = MemoryDoc::Make(session, {{7.0f}});
    for (int i = 0; i < 3; ++i) doc->AddEvent(30, {.onPosition = i, .offPosition = i + 1});
    doc->AddEvent(31, {.onPosition = 9, .offPosition = 10});
    const std::string text = Exported(*doc);
    EXPECT_EQ(text.substr(text.find("Data trace")),
              "Data trace 1\tEvent channel 31: \t\tEvent channel 32: \t\t\n"
              "\ton time\tduration\ton time\tduration\t\n"
              "7.000000\t0.000000\t1.000000\t9.000000\t1.000000\t\n"
              "1.000000\t1.000000\t\t\t\n"
              "2.000000\t1.000000\t\t\t\n");
}

TEST_F(TextExportTest, AChannelWithoutALetterIsNumberedInLetterModeToo) {
    const auto doc = MemoryDoc::Make(session, {{7.0f}});
    doc->AddEvent(0, {.onPosition = 0, .offPosition = 1});
    doc->AddEvent(26, {.onPosition = 0, .offPosition = 1});
    const std::string text = Exported(*doc);
    EXPECT_NE(text.find("Event channel 1: \t\tEvent channel 27: \t\t\n"), std::string::npos);
}

TEST_F(TextExportTest, GapsAreZeroAcrossBlocks) {
    // The gap reaches over the end of the first block that is written.
    std::vector<float> stored(16000 + 5, 2.0f);
    const auto doc = MemoryDoc::MakeWithRuns(session, {stored}, {{16000, 1000, 5}});
    const std::string text = Exported(*doc);
    std::istringstream lines(text);
    std::string line;
    for (int i = 0; i < 6; ++i) std::getline(lines, line);
    int row = 0;
    for (; std::getline(lines, line); ++row)
        ASSERT_EQ(line, row < 16000 || row >= 17000 ? "2.000000\t" : "0.000000\t") << row;
    EXPECT_EQ(row, 17005);
}

TEST_F(TextExportTest, CancelLeavesNothing) {
    const auto doc =
        MemoryDoc::Generate(session, 2, 100000, [](int, int64_t i) { return static_cast<float>(i); });
    host.cancelAtCall = 3;
    EXPECT_THROW(WriteTextExport(*doc, "/out.txt"), Cancelled);
    EXPECT_EQ(files.Count(), 0u);
}

}  // namespace
}  // namespace kymora::test
