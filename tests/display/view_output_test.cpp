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
    const struct {
        const char *command, *chosen, *written, *start;
    } cases[] = {{"save-png", "/view.png", "/view.png", "\x89PNG"},
                 {"save-svg", "/view", "/view.svg", "<?xml"},
                 {"save-pdf", "/view.old", "/view.old.pdf", "%PDF-"},
                 {"save-eps", "/view", "/view.eps", "%!PS-Adobe"},
                 {"save-plt", "/view.plt", "/view.plt", "IN;SP1;"},
                 {"save-png", "/other.SVG", "/other.SVG", "<?xml"}};  // the type that was chosen counts
    for (const auto& [command, chosen, written, start] : cases) {
        host.saveFile = chosen;
        host.fillForms = {[](Form&) { return true; }};
        Run(command);
        EXPECT_TRUE(Bytes(written).starts_with(start)) << written;
    }
    EXPECT_EQ(host.fileRequests[1].filter,
              "SVG Files (*.svg)|*.svg|PNG picture|*.png|PDF document|*.pdf|EPS Files (*.eps)|*.eps|"
              "HPGL Files (*.plt)|*.plt||");
    const std::string pdf = Bytes("/view.old.pdf");
    EXPECT_NE(pdf.find("%%EOF"), std::string::npos);
    EXPECT_NE(pdf.find("660"), std::string::npos);  // 880 pixels of 0.75 points
    EXPECT_TRUE(host.messages.empty());
    const size_t count = files.Count();
    EXPECT_TRUE(host.questions.empty());
    host.answer = false;
    host.saveFile = "/view.old";  // completed to a name that the dialog did not ask about
    Run("save-pdf");
    EXPECT_EQ(host.questions.back().text, "The file /view.old.pdf exists. Replace it?");
    EXPECT_EQ(Bytes("/view.old.pdf"), pdf);
    host.saveFile = "/cancelled.png";
    Run("save-png");  // cancelled at the form
    EXPECT_EQ(files.Count(), count);
    Run("copy-bitmap");
    EXPECT_EQ(window->pictures, 1);
}

TEST_F(ViewOutputTest, PicturesAreMadeAsTheFormSays) {
    Open(Ramp(2, 5000), 0.0, 1000.0);
    view->m_crBackground = 0x102030;
    view->DatumLines().AddVertLine(view->Plot().TimeToPixel(250.0));
    const auto savedAs = [&](const char* command, const char* path, std::function<void(Form&)> fill) {
        host.saveFile = path;
        host.fillForms = {[fill](Form& form) {
            fill(form);
            return true;
        }};
        Run(command);
        return Bytes(path);
    };
    const std::string usual = savedAs("save-png", "/view.png", [](Form&) {});
    EXPECT_EQ(usual.substr(16, 8), std::string("\0\0\x03\x70\0\0\x01\xCC", 8)) << "880 x 460";
    const std::string other = savedAs("save-png", "/view.png", [](Form& form) {
        form["width"].number = 600;
        form["paper"].choice = 1;
    });
    EXPECT_EQ(other.substr(16, 8), std::string("\0\0\x02\x58\0\0\x01\xCC", 8)) << "600 x 460";
    const std::string svg = savedAs("save-svg", "/view.svg", [](Form&) {});
    EXPECT_NE(svg.find("width=\"152.4mm\" height=\"76.2mm\" viewBox=\"0 0 3600 1800\""), std::string::npos)
        << "the plot of the window, whatever size a picture had";
    EXPECT_NE(svg.find("dasharray"), std::string::npos);
    EXPECT_NE(svg.find(">250.0"), std::string::npos);
    const std::string narrow = savedAs("save-svg", "/view.svg", [](Form& form) {
        form["targetWidthInches"].number = 2.0;
        form.onChange(form);
        EXPECT_DOUBLE_EQ(form.Number("targetWidth"), 50.8);
        form["resolution"].number = 300;
        form.onChange(form);
        EXPECT_TRUE(form.Text("makes").starts_with("600 x 300 units, 50.8 x 25.4 mm\n"))
            << form.Text("makes");
        form["grid"].flag = false;
        EXPECT_TRUE(form["cursors"].IsEnabled(form));
    });
    EXPECT_NE(narrow.find("viewBox=\"0 0 600 300\""), std::string::npos);
    EXPECT_EQ(narrow.find("dasharray"), std::string::npos);
    EXPECT_TRUE(view->m_bShowGrid);
    // What was chosen is proposed next time, and what the view does not show is not asked about.
    view->DatumLines().DeleteAllVert();
    savedAs("save-png", "/view.png", [](Form& form) {
        EXPECT_EQ(form.Integer("width"), 600);
        EXPECT_EQ(form.Choice("paper"), 1);
    });
    const std::string third = savedAs("save-eps", "/view.eps", [](Form& form) {
        EXPECT_DOUBLE_EQ(form.Number("targetWidth"), 50.8);
        EXPECT_FALSE(form.Flag("grid"));
        EXPECT_FALSE(form["cursors"].IsEnabled(form));
    });
    EXPECT_EQ(third.find("(25"), std::string::npos);
    EXPECT_TRUE(session.picture.cursors);
}

TEST_F(ViewOutputTest, FailuresAreToldAndLeaveNothing) {
    FaultyFileSystem faulty(files);
    Session full(host, faulty);
    Open(MemoryDoc::Generate(full, 1, 5000, [](int, int64_t i) { return static_cast<float>(i); }), 0.0,
         1000.0);
    for (const char* id : {"save-text", "save-png", "save-svg", "save-pdf", "save-eps", "save-plt"}) {
        host.Forget();
        faulty.freeBytes = 100;
        host.saveFile = std::string("/full.") + (id + 5);
        host.fillForms = {[](Form&) { return true; }};
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
