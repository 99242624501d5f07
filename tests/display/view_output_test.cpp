// Texts and pictures of the view, on the clipboard and in files.

#include "display/view_text.h"
#include "support/faulty_file_system.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

class ViewOutputTest : public ShownTest {
  protected:
    void Open(std::unique_ptr<MemoryDoc> opened, double start, double end) {
        Show(std::move(opened), Viewport{start, end});
        doc->filePath = "/data/cell.edf";
    }
    std::string Bytes(const char* path) {
        if (!files.Stamp(path)) return "no file";
        const auto file = files.Open(path, OpenMode::readOnly);
        std::string bytes(file->Length(), ' ');
        file->ReadAt(0, std::as_writable_bytes(std::span(bytes.data(), bytes.size())));
        return bytes;
    }
};

TEST_F(ViewOutputTest, TimeAndVoltageOfThePlaceUnderTheMouse) {
    Open(Ramp(2, 5000), 1000.0, 1800.0);  // a pixel a ms
    SetAxis(1, -90.0, 90.0);
    EXPECT_TRUE(Run("copy-time-voltage", Point{171, 310}));
    EXPECT_EQ(window->copied, "t\t1101.000\tAx 2\t0.000\r\n");
    view->Mouse().Move({170, 300});
    Run("copy-time-voltage");
    EXPECT_EQ(window->copied, "t\t1100.000\tAx 2\t10.000\r\n");
    EXPECT_EQ(TimeAndVoltageText(view->Plot(), 5, 5), "");
}

TEST_F(ViewOutputTest, TracesAsTextHaveALineForEachSampleInView) {
    Open(Ramp(3, 5000, 0.5), 0.25, 2.0);  // samples 1 to 4
    view->m_bAxisVisible[1] = false;
    view->OnSize(880, 460);
    Run("copy-traces");
    EXPECT_EQ(window->copied, "time (ms)\tAx 1\tAx 3\t\r\n"
                              "0.500000\t1.000000\t20001.000000\t\r\n"
                              "1.000000\t2.000000\t20002.000000\t\r\n"
                              "1.500000\t3.000000\t20003.000000\t\r\n"
                              "2.000000\t4.000000\t20004.000000\t\r\n");
    view->m_nAxisOfTrace[1] = 2;  // drawn on the third axis: a column of its own
    Run("copy-traces");
    EXPECT_TRUE(
        window->copied.starts_with("time (ms)\tAx 1\tAx 2\tAx 3\t\r\n0.500000\t1.000000\t10001.000000\t"));
    view->ChangeViewport({2498.0, 2600.0});  // the recording ends at 2499.5
    Run("copy-traces");
    EXPECT_EQ(std::count(window->copied.begin(), window->copied.end(), '\n'), 5);
    view->ChangeViewport({3000.0, 3100.0});
    Run("copy-traces");
    EXPECT_EQ(window->copied, "time (ms)\tAx 1\tAx 2\tAx 3\t\r\n");
}

TEST_F(ViewOutputTest, GapsAreWrittenAsTheyAreShown) {
    Open(MemoryDoc::MakeWithRuns(session, {{1, 2, 3}}, {{1, 2, 2}}), 0.0, 4.0);
    Run("copy-traces");
    EXPECT_EQ(window->copied, "time (ms)\tAx 1\t\r\n0.000000\t1.000000\t\r\n1.000000\t\t\r\n2.000000\t\t\r\n"
                              "3.000000\t2.000000\t\r\n4.000000\t3.000000\t\r\n");
    view->m_bInactiveSections = true;
    Run("copy-traces");
    EXPECT_NE(window->copied.find("1.000000\t0.000000\t\r\n2.000000\t0.000000"), std::string::npos);
}

TEST_F(ViewOutputTest, TheFileHasTheSameText) {
    Open(Ramp(2, 50000), 0.0, 30000.0);  // several pieces
    host.saveFile = "/out.txt";
    EXPECT_TRUE(Run("save-text"));
    EXPECT_EQ(host.fileRequests.back().suggestion, "/data/cell.txt");
    Run("copy-traces");
    EXPECT_EQ(Bytes("/out.txt"), window->copied);
    EXPECT_NE(window->copied.find("\n29999.000000\t29999.000000\t39999.000000\t\r\n"), std::string::npos);
    host.cancelAtCall = 2;
    host.saveFile = "/cancelled.txt";
    Run("save-text");
    EXPECT_EQ(Bytes("/cancelled.txt"), "no file");
    EXPECT_TRUE(host.messages.empty());
    host.saveFile = "/data/cell.edf";
    Run("save-text");
    EXPECT_EQ(host.LastMessage(), "That is the recording itself. Choose another name.");
    host.saveFile.reset();
    EXPECT_TRUE(Run("save-text"));  // cancelled at the name
}

TEST_F(ViewOutputTest, PicturesHaveTheirFormatAndName) {
    Open(Ramp(2, 5000), 0.0, 1000.0);
    host.saveFile = "/view.png";
    Run("save-png");
    EXPECT_EQ(Bytes("/view.png").substr(1, 3), "PNG");
    window->png = {std::byte{'h'}, std::byte{'i'}};  // what a window knows of its screen
    host.saveFile = "/screen.png";
    Run("save-png");
    EXPECT_EQ(Bytes("/screen.png"), "hi");
    host.saveFile = "/view.svg";
    Run("save-svg");
    const std::string svg = Bytes("/view.svg");
    EXPECT_NE(svg.find("<svg"), std::string::npos);
    EXPECT_NE(svg.find("width=\"880"), std::string::npos);
    EXPECT_NE(svg.find("</svg>"), std::string::npos);
    EXPECT_EQ(svg.find("data:image"), std::string::npos);  // shapes, no pixels
    host.saveFile = "/view";
    Run("save-pdf");
    const std::string pdf = Bytes("/view.pdf");
    EXPECT_TRUE(pdf.starts_with("%PDF-"));
    EXPECT_NE(pdf.find("%%EOF"), std::string::npos);
    EXPECT_NE(pdf.find("660"), std::string::npos);  // 880 pixels of 0.75 points
    EXPECT_TRUE(host.messages.empty());
    Run("copy-bitmap");
    EXPECT_EQ(window->pictures, 1);
}

TEST_F(ViewOutputTest, FailuresAreToldAndLeaveNothing) {
    FaultyFileSystem faulty(files);
    Session full(host, faulty);
    Open(MemoryDoc::Generate(full, 1, 5000, [](int, int64_t i) { return static_cast<float>(i); }), 0.0,
         1000.0);
    for (const char* id : {"save-text", "save-png", "save-svg", "save-pdf"}) {
        host.Forget();
        faulty.freeBytes = 100;
        host.saveFile = std::string("/full.") + (id + 5);
        Run(id);
        EXPECT_EQ(host.messages.size(), 1u) << id;
        EXPECT_NE(host.LastMessage().find("was not saved.\n"), std::string::npos) << id;
        EXPECT_EQ(files.Count(), 0u) << id;
    }
    Close();
    doc.reset();  // before its session
}

}  // namespace
}  // namespace kymora::test
