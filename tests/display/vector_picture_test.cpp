// Vector files: what stands in them, sample by sample. The coordinates are worked out by hand from the rules:
// 800 x 400 pixels of plot become as many units as the width has at the resolution.

#include <fmt/format.h>

#include "display/events/event_rows.h"
#include "display/plot_recording.h"
#include "display/preview/transform_preview.h"
#include "display/vector_picture.h"
#include "operations/graphics_file_format.h"
#include "support/faulty_file_system.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

constexpr uint32_t redTrace = 0x0000FF;

class VectorPictureTest : public ShownTest {
  protected:
    // 800 units across and 400 down: one for a pixel. One axis has its values from row 10 to row 390.
    CKymoraView& Open(std::unique_ptr<MemoryDoc> opened, double start, double end) {
        Show(std::move(opened), Viewport{start, end});
        view->m_bShowGrid = false;
        for (int trace = 0; trace < doc->traceCount; ++trace) {
            doc->traces[static_cast<size_t>(trace)].traceColour = redTrace;
            SetAxis(static_cast<size_t>(trace), 0.0, 380.0);
        }
        options.targetWidth = 203.2;
        options.targetResolution = 100;
        return *view;
    }
    std::string Bytes(const char* path) {
        if (!files.Stamp(path)) return "no file";
        const auto file = files.Open(path, OpenMode::readOnly);
        std::string bytes(file->Length(), ' ');
        file->ReadAt(0, std::as_writable_bytes(std::span(bytes.data(), bytes.size())));
        return bytes;
    }
    std::string Save(const char* path) {
        SavePicture(*view, path, options);
        return Bytes(path);
    }
    // What lies between two texts, the second behind the first.
    static std::string Between(const std::string& text, std::string_view from, std::string_view to) {
        const size_t at = text.find(from);
        if (at == std::string::npos) return "no " + std::string(from);
        const size_t end = text.find(to, at + from.size());
        return text.substr(at + from.size(), end - at - from.size());
    }
    static void ExpectHolds(const std::string& text, std::string_view part) {
        EXPECT_NE(text.find(part), std::string::npos) << part << "\nin\n" << text.substr(0, 3000);
    }
    std::string EpsTrace(int trace = 1) {
        return Between(Save("/a.eps"), fmt::format("\n\n%Trace {}\n", trace), "\n\n");
    }

    PictureOptions options;
};

TEST_F(VectorPictureTest, EachFormatHasItsFrameAndItsPoints) {
    Open(MemoryDoc::Make(session, {{0, 100, 200, 380}}, 100.0), 0.0, 400.0);
    EXPECT_EQ(Save("/a.eps"), "%!PS-Adobe-3.0 EPSF-3.0\n%%BoundingBox: 0 0 576.000000 288.000000\n"
                              "/m {moveto} bind def \n/l {lineto} bind def\n0 288.000000 translate\n"
                              "0.720000 -0.720000 scale\n1.000000 setlinewidth\n\n"
                              "1 setlinejoin\n0 0 800 400 rectclip\n"
                              "\n\n%frame\nnewpath\n1.000000 0.752941 0.752941 setrgbcolor\n"
                              "1 1 m\n799 1 l 799 399 l 1 399 l 1 1 l stroke\n1 setlinecap\n"
                              "\n\n%Trace 1\nnewpath\n1.000000 0.000000 0.000000 setrgbcolor\n"
                              "0 390 m\n200 290 l 400 190 l 600 10 l stroke\n\nshowpage\n%%Trailer\n"
                              "%%HiResBoundingBox: 0 0 576.000000 288.000000\n%%EOF\n");
    const std::string svg = Save("/a.svg");
    ExpectHolds(svg, "<?xml version=\"1.0\" encoding=\"UTF-8\"");
    ExpectHolds(svg, "<!DOCTYPE svg PUBLIC \"-//W3C//DTD SVG 1.1//EN\"");
    ExpectHolds(svg, "width=\"203.2mm\" height=\"101.6mm\" viewBox=\"0 0 800 400\"");
    EXPECT_EQ(
        Between(svg, "<g id=\"trace1\" stroke-linecap=\"round\">\n", "</svg>\n"),
        "<polyline style=\"fill:none;stroke:#ff0000;stroke-width:1.000000\"\n\t\tpoints=\"0,390 200,290 "
        "400,190 600,10 \"/>\n</g>\n");
    EXPECT_TRUE(svg.ends_with("</svg>\n"));
    // A plotter has 8000 units, whatever the size; y runs up.
    EXPECT_EQ(Save("/a.plt"), "IN;SP1; IP; SC 0,8000,0,4000;PU;IP 0,0,8128,4064;"
                              "SP 1; PA 0,0; PD; PA 1000,0; PU;SP 1; PA 0,100; PD; PA 0,3900; PU;"
                              "SP 1; PA 5,3995; PD;PA 7995,3995;PA 7995,5;PA 5,5;PA 5,3995;PU;"
                              "SP 1; PA 0,100; PD;PA 2000,1100;PA 4000,2100;PA 6000,3900;PU;PU; IN; SP;\n");
    const std::vector<std::string> logged = {"trying to open file /a.eps\n",
                                             "EPS horz resol = 800, vert resol = 400, width = 576.000000, "
                                             "height = 288.000000\n",
                                             "SVG horz resol = 800, vert resol = 400, width = 203.200000, "
                                             "height = 101.600000\n",
                                             "number of samples in screen = 4\n"};
    for (const std::string& line : logged)
        EXPECT_NE(std::find(host.log.begin(), host.log.end(), line), host.log.end()) << line;
}

TEST_F(VectorPictureTest, ThePenLiftsWhereThereIsNoValueAndLinesEndAtTheEdges) {
    const std::string red = "newpath\n1.000000 0.000000 0.000000 setrgbcolor\n";
    const struct {
        const char* what;
        std::vector<float> samples;
        std::vector<uint32_t> runs;
        double start, end;
        std::string path;
    } cases[] = {
        {"a gap",
         {0, 100, 200, 300},
         {2, 1, 2},
         0,
         400,
         "0 390 m\n200 290 l stroke\n" + red + "600 190 m\n800 90 l stroke\n"},
        {"a not-a-number",
         {0, 100, nan32, 300, 0},
         {5},
         0,
         400,
         "0 390 m\n200 290 l stroke\n" + red + "600 90 m\n800 390 l stroke\n"},
        {"equal points are one", {0, 0, 100, 100}, {4}, 0, 4e6, "0 390 m\n0 290 l stroke\n"},
        {"edges between samples",
         {0, 100, 200, 300},
         {4},
         50,
         250,
         "0 340 m\n200 290 l 600 190 l 800 140 l "
         "stroke\n"},
        {"between two samples", {0, 200}, {2}, 25, 75, "0 340 m\n800 240 l stroke\n"},
        {"a lone sample leaves a dot", {0, 100, 200}, {1}, 0, 400, "0 390 m\n0 390 l stroke\n"},
        {"not in view", {0, 100}, {2}, 5000, 6000, "stroke\n"},
        {"held to a million units",
         {0, inf32, -inf32},
         {3},
         0,
         400,
         "0 390 m\n200 -1000000 l 400 1000000 l stroke\n"},
        {"nothing there", {nan32, nan32}, {2}, 0, 400, "stroke\n"},
    };
    for (const auto& test : cases) {
        Open(MemoryDoc::MakeWithRuns(session, {test.samples}, {test.runs}, 100.0), 0.0, 400.0);
        view->ChangeViewport({test.start, test.end});
        EXPECT_EQ(EpsTrace() + "\n", red + test.path) << test.what;
        Close();
    }
}

TEST_F(VectorPictureTest, LooksOfTracesAreKept) {
    const std::string red = "newpath\n1.000000 0.000000 0.000000 setrgbcolor\n";
    Open(MemoryDoc::Make(session, {{0, 480, -200, 100}}, 100.0), 0.0, 400.0);
    view->m_nClipMode = 1;
    view->m_format[0].clipToAxis = true;
    // Cut where the line crosses the rows 10 and 390.
    EXPECT_EQ(EpsTrace() + "\n", red + "0 390 m\n158 10 l stroke\n" + red + "229 10 m\n341 390 l stroke\n" +
                                     red + "533 390 m\n600 290 l stroke\n");
    view->m_nClipMode = 0;  // with the gap of the band
    EXPECT_TRUE(EpsTrace().starts_with(red + "0 390 m\n163 0 l stroke\n")) << EpsTrace();
    view->m_format[0] = {};
    view->m_format[0].lineWidth = 3;
    const std::string wide = Save("/a.eps");
    ExpectHolds(wide, "3.000000 setlinewidth\n1 setlinecap\n\n\n%Trace 1\n");
    view->m_format[0].drawAsDots = true;
    const std::pair<int, int> radii[] = {{0, 3}, {1, 6}, {2, 10}, {3, 25}};
    for (const auto& [size, radius] : radii) {
        view->m_format[0].dotSize = size;
        ExpectHolds(Save("/a.eps"), fmt::format("newpath 0 390 {} 0 360 arc fill\n", radius));
    }
    ExpectHolds(Save("/a.svg"), "<circle cx=\"0\" cy=\"390\" r=\"25\" style=\"fill:#ff0000\" />\n");
}

// As on the screen: with its axes a plot has a frame. A line of one unit lies one unit within the page.
TEST_F(VectorPictureTest, TheFrameIsThatOfTheScreen) {
    Open(MemoryDoc::Make(session, {{0, 100}}, 100.0), 0.0, 100.0);
    ExpectHolds(Save("/a.svg"),
                "<g id=\"frame\">\n<path style=\"fill:none;stroke:#ffc0c0;stroke-width:1.000000\" "
                "d=\"M1,1 799,1 799,399 1,399 1,1 \"/>\n</g>\n");
    session.options.palette = static_cast<int>(Palette::even);
    // Three tenths of the way from white paper to the ink on it, 40 40 48, also where the window is dark.
    view->m_crBackground = 0x202020;
    ExpectHolds(Save("/a.eps"), "%frame\nnewpath\n0.749020 0.749020 0.756863 setrgbcolor\n");
    view->m_bShowAxes = false;
    EXPECT_EQ(Save("/a.eps").find("%frame"), std::string::npos);
}

// Where the view shows inactive data, gaps are grey at zero (row 390), with lines to the samples beside them,
// and a grey line goes on at zero behind the end.
TEST_F(VectorPictureTest, InactiveSectionsAreGrey) {
    const std::string red = "newpath\n1.000000 0.000000 0.000000 setrgbcolor\n";
    const std::string grey = "newpath\n0.752941 0.752941 0.752941 setrgbcolor\n";
    const struct {
        const char* what;
        std::vector<float> samples;
        std::vector<uint32_t> runs;
        double end;
        std::string path;
    } cases[] = {
        {"a gap",
         {0, 100, 200, 300},
         {2, 3, 2},
         600,
         red + "0 390 m\n133 290 l stroke\n" + grey + "133 290 m\n267 390 l 533 390 l 667 190 l stroke\n" +
             red + "667 190 m\n800 90 l stroke\n"},
        {"a gap at the start and one that ends the view",
         {100, 200},
         {0, 1, 2, 2},
         400,
         red + grey + "0 390 m\n200 290 l stroke\n" + red + "200 290 m\n400 190 l stroke\n" + grey +
             "400 190 m\n600 390 l 800 390 l stroke\n"},
        {"behind the end",
         {100, 200},
         {2},
         400,
         red + "0 290 m\n200 190 l stroke\n" + grey + "200 190 m\n400 390 l 800 390 l stroke\n"},
        {"no gap", {100, 200}, {2}, 100, red + "0 290 m\n800 190 l stroke\n"},
    };
    for (const auto& test : cases) {
        SCOPED_TRACE(test.what);
        Open(MemoryDoc::MakeWithRuns(session, {test.samples}, {test.runs}, 100.0), 0.0, test.end);
        view->ChangeViewport({0.0, test.end});
        view->m_bInactiveSections = true;
        EXPECT_EQ(EpsTrace() + "\n", test.path);
        // Pens of a plotter have no grey.
        const std::string plot = Save("/a.plt");
        view->m_bInactiveSections = false;
        EXPECT_EQ(plot, Save("/a.plt"));
        Close();
    }
    Open(MemoryDoc::MakeWithRuns(session, {{100, 200}}, {{1, 2, 1}}, 100.0), 0.0, 800.0);
    view->m_bInactiveSections = view->m_format[0].drawAsDots = true;
    const std::string svg = Between(Save("/a.svg"), "<g id=\"trace1\" stroke-linecap=\"round\">\n", "</g>");
    const auto dot = [](int x, int y, const char* colour) {
        return fmt::format("<circle cx=\"{}\" cy=\"{}\" r=\"3\" style=\"fill:{}\" />\n", x, y, colour);
    };
    EXPECT_EQ(svg,
              dot(0, 290, "#ff0000") + dot(100, 390, "#c0c0c0") + dot(200, 390, "#c0c0c0") +
                  dot(300, 190, "#ff0000") +
                  "<polyline style=\"fill:none;stroke:#c0c0c0;stroke-width:1.000000\"\n\t\tpoints=\"400,390 "
                  "800,390 \"/>\n");
}

TEST_F(VectorPictureTest, AHiddenTraceWritesNothing) {
    Open(MemoryDoc::Make(session, {{0, 100}, {0, 100}}, 100.0), 0.0, 100.0);
    view->m_bAxisVisible[0] = false;
    view->OnSize(880, 460);
    const std::string svg = Save("/a.svg");
    EXPECT_EQ(svg.find("trace1"), std::string::npos);
    ExpectHolds(svg, "<g id=\"trace2\" ");
    view->m_bAxisVisible[1] = false;
    view->OnSize(880, 460);
    EXPECT_THROW(SavePicture(*view, "/b.svg", options), std::runtime_error) << "nothing is shown";
}

// Readers of XML keep only about 10 MB of unread input between elements, so that pieces are short in SVG.
TEST_F(VectorPictureTest, LongLinesComeInJoinedPiecesAndEverySampleIsThere) {
    for (const auto& [samples, pieces] : {std::pair{4'999u, 1u}, {5'000u, 1u}, {5'001u, 2u}, {20'000u, 5u}}) {
        Open(MemoryDoc::Generate(session, 1, samples,
                                 [](int, int64_t i) { return static_cast<float>(i % 2 * 380); }),
             0.0, 20'000.0);
        const std::string group = Between(Save("/a.svg"), "<g id=\"trace1\"", "</g>");
        std::vector<std::string> ends;
        int64_t points = 0;
        for (size_t at = group.find("points=\""); at != std::string::npos;
             at = group.find("points=\"", at + 1)) {
            const std::string line = Between(group.substr(at), "points=\"", " \"");
            const int64_t own = std::count(line.begin(), line.end(), ',');
            EXPECT_TRUE(own >= 2 && own <= 5'000) << own;
            points += own;
            if (!ends.empty()) {
                EXPECT_EQ(line.substr(0, line.find(' ')), ends.back());
            }
            ends.push_back(line.substr(line.rfind(' ') + 1));
        }
        EXPECT_EQ(ends.size(), pieces) << samples;
        EXPECT_EQ(points, samples + pieces - 1) << samples;
        const std::string path = EpsTrace();
        EXPECT_EQ(path.find("stroke"), path.rfind("stroke")) << "one path of PostScript";
        Close();
    }
}

// Short lines, too, come in elements that readers take.
TEST_F(VectorPictureTest, ManyEventsAreSeveralElements) {
    std::string svg;
    const auto writer = MakeVectorWriter(VectorFormat::svg, PageOf(VectorFormat::svg, 800, 400, 203.2, 100),
                                         [&](std::string_view text) { svg += text; });
    writer->BeginPart(VectorPart::events, 0, {});
    for (int x = 0; x < 6'000; ++x) writer->Line(x, 0, x, 10);
    writer->EndPart();
    writer->End();
    ExpectHolds(svg, "M2499,0 2499,10 \"/>\n<path style=\"fill:none;stroke:#000000;stroke-width:1.000000\" "
                     "d=\"M2500,0 ");
    EXPECT_TRUE(svg.ends_with("M5999,0 5999,10 \"/>\n</g>\n</svg>\n"));
}

TEST_F(VectorPictureTest, TextsOfScaleBarsStayOnThePage) {
    Open(MemoryDoc::Make(session, {std::vector<float>(5, 100.0f)}, 100.0), 0.0, 400.0);
    ScaleBar& level = doc->scaleBars[0].single;
    level.m_nWidth = 2;
    level.m_fLength = 10.0f;
    level.m_fYFrac = 0.5f;
    ScaleBar& upright = doc->scaleBars[1].list.emplace_back();
    upright.m_nWidth = 2;
    upright.m_fLength = 38.0f;
    upright.m_strUnits = "\xC2\xB5V";
    upright.m_fYFrac = 0.5f;
    const auto placeOf = [](const std::string& text, std::string_view label, std::string_view before) {
        const size_t at = text.rfind(before, text.find(label));
        return at == std::string::npos ? -1 : std::atoi(text.c_str() + at + before.size());
    };
    // Both texts have eight letters, of 0.56 times 11.1 units in EPS and 8 in SVG; those of a plotter stand
    // 0.75 times 111.1 of its units apart. In EPS a hundredth of the page is between a bar and its text.
    const struct {
        const char *path, *before, *levelText, *uprightText;
        int inMiddle, besideMiddle, atEdge;
    } cases[] = {
        {"/a.eps", "setrgbcolor\n", "(10.00 ms)", "(38.00 \\265V)", 400, 408, 750},
        {"/a.svg", "<text x=\"", ">10.00 ms<", ">38.00 \xC2\xB5V<", 400, 404, 764},
        {"/a.plt", "PA ", "LB10.00 ms", "LB38.00 uV", 4000, 4043, 7333},
    };
    for (const auto& test : cases)
        for (const float place : {0.5f, 0.99f, -0.1f}) {
            level.m_fXFrac = upright.m_fXFrac = place;
            const std::string text = Save(test.path);
            const bool isMiddle = place == 0.5f;
            const int edge = place < 0.0f ? 0 : test.atEdge;
            EXPECT_EQ(placeOf(text, test.levelText, test.before), isMiddle ? test.inMiddle : edge)
                << test.path << " " << place;
            EXPECT_EQ(placeOf(text, test.uprightText, test.before), isMiddle ? test.besideMiddle : edge)
                << test.path << " " << place;
        }
    upright.m_fXFrac = level.m_fXFrac = 0.5f;
    ExpectHolds(Save("/a.eps"), "\n400 196 m\n");
}

// A label has the room of its letters, not of their bytes; a dot stays in the band of a clipped trace.
TEST_F(VectorPictureTest, LabelsAndDotsKnowTheirRoom) {
    Open(MemoryDoc::Make(session, {std::vector<float>(5, -60.0f), std::vector<float>(5, 0.0f)}, 100.0), 0.0,
         400.0);
    SetAxis(0, 0.0, 180.0);  // rows 10 to 190
    const std::string label = "\xC2\xB5\xC2\xB5\xC2\xB5\xC2\xB5\xC2\xB5\xC2\xB5\xC2\xB5\xC2\xB5";
    doc->InsertMarker({350.0, label});
    view->DatumLines().AddVertLine(view->Plot().TimeToPixel(300.0));
    const std::string svg = Save("/a.svg");
    const size_t text = svg.rfind("<text x=\"", svg.find(label));
    ASSERT_NE(text, std::string::npos);
    EXPECT_GT(std::atoi(svg.c_str() + text + 9), 700) << "right of its marker";
    ExpectHolds(svg, "<circle cx=\"600\" cy=\"250\" r=\"3\" style=\"fill:red\" />");
    view->m_format[0].clipToAxis = true;
    EXPECT_EQ(Save("/a.svg").find("cy=\"250\""), std::string::npos);
}

TEST_F(VectorPictureTest, WhatStandsOnTheTracesIsLinesAndTexts) {
    Open(MemoryDoc::Make(session, {std::vector<float>(5, 100.0f)}, 100.0), 0.0, 400.0);
    doc->AddEvent(2, {1, 2, 0.0f, 0, 0, "spike (1)"});
    doc->AddEvent(2, {3, 3});
    doc->eventChannels[2].channelColour = 0xFF0000;
    doc->eventChannels[2].SetDisplayPosition(0.5);
    doc->InsertMarker({100.0, "stim \xC2\xB5 & <x>"});
    CAnnotation note;
    note.m_dTime = 200.0;
    note.m_fValue = 190.0f;
    note.m_strLabel = "two\r\nlines";
    note.m_logFont.escapement = 900;
    doc->traceAnnotations[0].push_back(note);
    doc->scaleBars[0].single.m_nWidth = 2;
    doc->scaleBars[0].single.m_fLength = 100.0f;
    doc->scaleBars[0].single.m_fXFrac = 0.5f;
    doc->scaleBars[0].single.m_fYFrac = 0.9f;
    ScaleBar upright;
    upright.m_nWidth = 2;
    upright.m_fLength = 38.0f;
    upright.m_strUnits = "mV";
    upright.m_fXFrac = 0.1f;
    upright.m_fYFrac = 0.5f;
    doc->scaleBars[1].list.push_back(upright);
    view->m_bShowGrid = true;
    view->DatumLines().AddVertLine(view->Plot().TimeToPixel(300.0));
    view->OnUpdate(UpdateHint::events);

    const std::string eps = Save("/a.eps");
    for (const char* part :
         {"\n\n%Event chan 2\nnewpath\n0.000000 0.000000 1.000000 setrgbcolor\n200 195 m\n200 205 l 600 195 "
          "m\n",
          "(spike \\(1\\)) show\n", "%markers\nnewpath\n1.000000 0.000000 1.000000 setrgbcolor\n",
          "/Arial-Latin1 findfont", "(stim \\265 & <x>) show\n", "90.000000 rotate\n", "(lines) show\n",
          "\n%horizontal scale bar\nnewpath 0 0 0 setrgbcolor 2.000000 setlinewidth\n400 360 m 600 360 l ",
          "/Arial findfont 8 scalefont setfont\n(100.00 ms) show\n",
          "\n%vertical scale bar\nnewpath 0.000000 0.000000 0.000000 setrgbcolor 2.000000 setlinewidth\n"
          "80 200 m 80 162 l ",
          "(38.00 mV) show\n", "1.388889 -1.388889 scale\n", "600 0 m\n600 400 l "})
        ExpectHolds(eps, part);

    const std::string svg = Save("/a.svg");
    for (const char* part :
         {"<line style=\"fill:white;stroke:#000000;stroke-width:0.500000\"",
          "x1=\"100\" y1=\"0\" x2=\"100\" y2=\"400\"", "<g id=\"events2\">\n", "M200,195 200,205 ",
          ">spike (1)</text>", "<g id=\"markers\">", ">stim \xC2\xB5 &amp; &lt;x&gt;</text>", "rotate(-90 ",
          ">two</text>",
          // 48 units at 600 dpi are 8 at 100.
          "style=\"font-family: Arial; font-size : 8;\">100.00 ms</text>\n", ">38.00 mV</text>",
          "<circle cx=\"600\" cy=\"290\" r=\"3\" style=\"fill:red\" />\n", "<g id=\"cursors\">"})
        ExpectHolds(svg, part);

    const std::string plt = Save("/a.plt");
    for (const char* part : {"SP 3; PA 2000,2050; PD;PA 2000,1950;PU;", "LBspike (1)\x03",
                             "LBstim u & <x>\x03", "DI 0.0000,1.0000;", "PA 4000,400; PD;PA 6000,400;PU;",
                             "LB100.00 ms\x03", "PA 6000,4000; PD;PA 6000,0;PU;"})
        ExpectHolds(plt, part);

    options.events = options.grid = options.cursors = false;
    view->m_bShowMarkers = view->m_bShowAnnotations = view->m_bShowScaleBars = false;
    const std::string bare = Save("/a.svg");
    EXPECT_EQ(bare.find("<text"), std::string::npos);
    EXPECT_EQ(bare.find("<line"), std::string::npos);
}

TEST_F(VectorPictureTest, EventsHaveTheShapesOfTheirChannels) {
    Open(MemoryDoc::Make(session, {std::vector<float>(5, 0.0f)}, 100.0), 0.0, 400.0);
    doc->AddEvent(0, {1, 2});
    CEventKM own{3, 3};
    own.eventColour = 0x00FF00;
    doc->AddEvent(0, own);
    doc->eventChannels[0].channelColour = 0x0000FF;
    doc->eventChannels[0].SetDisplayPosition(0.5);
    const struct {
        int32_t shape;
        const char* part;
    } cases[] = {
        {shapeTicks, "stroke:#ff0000;stroke-width:1.000000\" d=\"M200,195 200,205 \"/>\n<path "
                     "style=\"fill:none;stroke:#00ff00"},
        {shapeBars, "stroke-width:9.000000\" d=\"M200,200 400,200 \"/>"},
        {shapeUsual, "stroke-width:3.000000\" d=\"M200,200 400,200 \"/>"},
        {shapeBoxes, "d=\"M200,195 400,195 400,205 200,205 200,195 \"/>"},
        {shapeDots, "<circle cx=\"200\" cy=\"200\" r=\"3\" style=\"fill:#ff0000\" />"},
        {shapeShades, "<g id=\"shades0\">\n<rect x=\"200\" y=\"0\" width=\"200\" height=\"400\" "
                      "style=\"fill:#ffdfdf\" />"},
    };
    for (const auto& [shape, part] : cases) {
        doc->eventChannels[0].channelDrawMode = shape;
        ExpectHolds(Save("/a.svg"), part);
    }
    doc->eventChannels[0].channelVisible = 0;
    EXPECT_EQ(Save("/a.svg").find("events0"), std::string::npos);
}

TEST_F(VectorPictureTest, ManyPointsAreAskedAboutAndNothingIsHalfWritten) {
    FaultyFileSystem faulty(files);
    Session full(host, faulty);
    Open(MemoryDoc::Generate(full, 2, 1'500'000, [](int, int64_t i) { return static_cast<float>(i % 380); }),
         0.0, 1'500'000.0);
    host.answer = false;
    EXPECT_FALSE(SavePicture(*view, "/a.eps", options));
    ExpectHolds(host.questions.back().text, "3,000,000 points, about 36 MB");
    EXPECT_EQ(files.Count(), 0u);
    host.answer = true;
    host.cancelAtCall = 3;
    EXPECT_THROW(SavePicture(*view, "/a.eps", options), Cancelled);
    host.cancelAtCall = 0;
    faulty.freeBytes = 5'000'000;
    EXPECT_THROW(SavePicture(*view, "/a.svg", options), FileError);
    EXPECT_EQ(files.Count(), 0u);
    view->ChangeViewport({0.0, 900'000.0});
    faulty.freeBytes = int64_t{1} << 40;
    host.questions.clear();
    EXPECT_TRUE(SavePicture(*view, "/a.plt", options));
    EXPECT_TRUE(host.questions.empty());
    Close();
    doc.reset();  // before its session
}

TEST_F(VectorPictureTest, ProgressEndsWhereTheSamplesDoAlsoOverGaps) {
    const std::vector<float> samples(200'000, 1.0f);
    Open(MemoryDoc::MakeWithRuns(session, {samples}, {{1000, 150'000, 49'000}}, 1.0), 10.5, 199'000.0);
    Save("/a.eps");
    ASSERT_EQ(host.progress.back().label, "Writing");
    EXPECT_EQ(host.progress.back().updates.back(), host.progress.back().total);
}

TEST_F(VectorPictureTest, SizesOutOfReachAreRefused) {
    const struct {
        double width;
        int64_t resolution;
        bool fits;
    } cases[] = {{152.4, 600, true}, {1.0, 24, true},    {2000.0, 9600, true},
                 {0.0, 600, false},  {-5.0, 600, false}, {2001.0, 600, false},
                 {NAN, 600, false},  {100.0, 0, false},  {100.0, 9601, false}};
    for (const auto& [width, resolution, fits] : cases)
        EXPECT_EQ(TargetFault(width, resolution).empty(), fits) << width << " " << resolution;
    Open(Ramp(1, 100), 0.0, 99.0);
    options.targetWidth = 2000.0;
    options.targetResolution = 9600;
    options.width = 150;
    options.height = 2000;
    EXPECT_THROW(SavePicture(*view, "/a.eps", options), std::runtime_error);
    options = {};
    options.width = 60;
    options.height = 60;
    EXPECT_THROW(SavePicture(*view, "/a.eps", options), std::runtime_error) << "no room for a plot";
    EXPECT_EQ(files.Count(), 0u);
}

TEST_F(VectorPictureTest, AWidthThatIsNoneHasNoSizeAndNoOtherWidth) {
    Open(Ramp(1, 100), 0.0, 99.0);
    const struct {
        const char *key, *text, *other;
        double followed;  // not-a-number: none
    } cases[] = {
        {"targetWidth", "50.8", "targetWidthInches", 2.0}, {"targetWidth", "0", "targetWidthInches", NAN},
        {"targetWidth", "86,5", "targetWidthInches", NAN}, {"targetWidthInches", "3", "targetWidth", 76.2},
        {"targetWidthInches", "abc", "targetWidth", NAN},  {"targetWidth", "25.4", "targetWidthInches", 1.0}};
    host.fillForms.push_back([&](Form& form) {
        for (const auto& [key, text, other, followed] : cases) {
            form[key].Parse(text);
            form.onChange(form);
            const bool isUsable = !std::isnan(followed);
            EXPECT_EQ(form[key].Fault().empty(), isUsable) << text;
            EXPECT_EQ(std::isnan(form.Number(other)), !isUsable) << text;
            if (isUsable) {
                EXPECT_NEAR(form.Number(other), followed, 1e-9);
            }
            EXPECT_EQ(form.Text("makes").find("units") != std::string::npos, isUsable) << form.Text("makes");
        }
        form["resolution"].Parse("x");
        form.onChange(form);
        EXPECT_EQ(form.Text("makes").find("units"), std::string::npos);
        return false;
    });
    EXPECT_FALSE(AskVectorOptions(*view, VectorFormat::svg, options));
}

TEST_F(VectorPictureTest, TheTwoWidthsOfTheBlockFollowEachOther) {
    CGraphicsFileFormat format;
    ParamList list = format.Params();
    EXPECT_EQ(list["targetWidthInches"].SetFromText("2"), "");
    EXPECT_DOUBLE_EQ(format.m_dTargetWidth, 50.8);
    EXPECT_EQ(list["targetWidth"].SetFromText("127"), "");
    EXPECT_DOUBLE_EQ(format.m_dWidthInches, 5.0);
    CGraphicsFileFormat other;
    other.TakeSettings(format.Settings());
    EXPECT_DOUBLE_EQ(other.m_dWidthInches, 5.0);
    // OK in the window sets what the dialogs of vector files offer; a run that nobody attends does not.
    Open(Ramp(1, 5), 0.0, 4.0);
    other.m_nResolution = 1200;
    other.CheckChangeDoc(doc.get());
    RunMessages unheard;
    for (const bool isAttended : {false, true}) {
        other.SendMessagesTo(isAttended ? nullptr : &unheard);
        EXPECT_TRUE(other.Run());
        EXPECT_DOUBLE_EQ(session.picture.targetWidth, isAttended ? 127.0 : 152.4);
        EXPECT_EQ(session.picture.targetResolution, isAttended ? 1200 : 600);
    }
}

class TwiceHost : public CPreviewHost {
  public:
    void OnNeedData(PreviewData& data) override {
        data.raw.assign(static_cast<size_t>(data.count), 1.0f);
        data.raw.back() = 3.0f;
        data.transformed.assign(static_cast<size_t>(data.count), 2.0f);
    }
    int PreviewTrace() const override { return 0; }
};

TEST_F(VectorPictureTest, APreviewIsWrittenToo) {
    Open(Ramp(1, 5), 0.0, 4.0);
    doc->filePath = "/data/cell.edf";
    TwiceHost twice;
    CTransformPreview preview(twice, *doc, view.get());
    preview.Refresh();
    host.saveFile = "/preview";
    EXPECT_TRUE(preview.RunCommand("save-eps"));
    EXPECT_EQ(host.fileRequests.back().suggestion, "/data/cell preview.eps");
    const std::string eps = Bytes("/preview.eps");
    ExpectHolds(eps, "%frame\nnewpath\n1.000000 0.752941 0.752941 setrgbcolor\n");
    // Raw above the transformed; the width is that of the session, 3600 units.
    ExpectHolds(eps, "%Trace 1\nnewpath\n0.000000 0.000000 0.000000 setrgbcolor\n0 ");
    ExpectHolds(eps, "%Trace 2\nnewpath\n0.847059 0.000000 0.000000 setrgbcolor\n0 ");
    ExpectHolds(host.LogText(), "trying to open file /preview.eps\nEPS horz resol = 3600, ");
    // The dialog has asked about the name that it knew.
    EXPECT_TRUE(host.questions.empty());
    host.answer = false;
    preview.m_bSuperimpose = !preview.m_bSuperimpose;
    preview.RunCommand("save-eps");
    EXPECT_EQ(host.questions.back().text, "The file /preview.eps exists. Replace it?");
    EXPECT_EQ(Bytes("/preview.eps"), eps);
    host.saveFile.reset();
    preview.RunCommand("save-eps");
    EXPECT_TRUE(host.messages.empty());
}

}  // namespace
}  // namespace kymora::test
