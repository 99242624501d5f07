#include "drawing/svg_device.h"

#include <gtest/gtest.h>

namespace kymora::test {
namespace {

std::string SvgOf(const std::function<void(SvgDevice&)>& draw) {
    SvgDevice device(200, 100);
    draw(device);
    const std::vector<std::byte> bytes = device.Encode();
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

void ExpectHolds(const std::string& svg, const char* part) {
    EXPECT_NE(svg.find(part), std::string::npos) << part << "\n" << svg;
}

size_t CountOf(const std::string& svg, std::string_view part) {
    size_t count = 0;
    for (size_t at = svg.find(part); at != std::string::npos; at = svg.find(part, at + 1)) ++count;
    return count;
}

TEST(SvgDevice, TextsAreTextsWithTheirFontAndPlace) {
    using Horizontal = TextStyle::Horizontal;
    const FontSpec large{.face = "Serif \"A\" & B",
                         .pixelHeight = 30,
                         .weight = 700,
                         .italic = true,
                         .underline = true,
                         .strikeOut = true};
    const struct {
        std::string text;
        TextStyle style;
        const char* element;
    } cases[] = {
        {"Ax 1", {}, "fill=\"#000000\">Ax 1</text>"},
        {"bold", {.colour = 0x0000FF, .bold = true}, " font-weight=\"bold\" fill=\"#ff0000\">bold</text>"},
        {"mid", {.horizontal = Horizontal::centre}, "<text x=\"40\" y="},
        {"mid", {.horizontal = Horizontal::centre}, " text-anchor=\"middle\""},
        {"end", {.horizontal = Horizontal::right}, " text-anchor=\"end\""},
        {"up", {.upward = true}, " transform=\"rotate(-90 40 50)\""},
        {"turned", {.escapement = 305}, " transform=\"rotate(-30.5 40 50)\""},
        {"own",
         {.font = large},
         " font-family=\"Serif &quot;A&quot; &amp; B\" font-size=\"30\" font-weight=\"bold\" "
         "font-style=\"italic\" text-decoration=\"underline line-through\""},
        // Whatever a label holds, the file stays one.
        {"a<b> & \"c\"", {}, ">a&lt;b&gt; &amp; &quot;c&quot;</text>"},
        {std::string("tab\tnull\0end\x1b", 13), {}, ">tab null end </text>"},
        {"\xEF\xBF\xBE \xEF\xBF\xBF \xC2\xB5V", {}, ">\xEF\xBF\xBD \xEF\xBF\xBD \xC2\xB5V</text>"},
    };
    for (const auto& test : cases) {
        const std::string svg = SvgOf([&](SvgDevice& device) { device.Text(40, 50, test.text, test.style); });
        ExpectHolds(svg, test.element);
        EXPECT_EQ(CountOf(svg, "<text "), 1u);
    }
    const std::string rimmed = SvgOf([](SvgDevice& device) { device.RimmedText(1, 2, "rim", {}, 0xFFFFFF); });
    EXPECT_EQ(CountOf(rimmed, ">rim</text>"), 2u);
    EXPECT_EQ(CountOf(SvgOf([](SvgDevice& device) { device.Text(1, 2, "", {}); }), "<text "), 0u);
}

TEST(SvgDevice, TextsAreAsLargeAsInTheOtherPictures) {
    SvgDevice svg(10, 10);
    CairoDevice page(10, 10, CairoDevice::Kind::page);
    for (const bool bold : {false, true}) {
        EXPECT_GT(svg.TextExtent("1234 ms", bold).width, 30);
        EXPECT_EQ(svg.TextExtent("1234 ms", bold).width, page.TextExtent("1234 ms", bold).width);
    }
    const FontSpec font{.pixelHeight = 40};
    EXPECT_EQ(svg.FontExtent("x", font).height, page.FontExtent("x", font).height);
}

TEST(SvgDevice, LinesAreShortPaths) {
    const struct {
        Pen pen;
        std::vector<Point> points;
        const char* element;
    } cases[] = {
        {{0x112233},
         {{5, 10}, {20, 10}, {20, 4}},
         "stroke=\"#332211\" transform=\"translate(.5 .5)\" d=\"M5 10h15v-6\"/>"},
        {{0, 3},
         {{1, 2}, {11, 5}, {31, 1}},
         "stroke-width=\"3\" transform=\"translate(.5 .5)\" d=\"M1 2l10 3l20-4\"/>"},
        {{0, 1, Pen::Style::dashed}, {{0, 5}, {9, 5}}, "stroke-dasharray=\"3\" stroke-linecap=\"butt\""},
        {{0}, {{7, 8}}, "d=\"M7 8h0\""},
    };
    for (const auto& test : cases)
        ExpectHolds(SvgOf([&](SvgDevice& device) {
                        device.SetPen(test.pen);
                        device.Polyline(test.points);
                    }),
                    test.element);
    // An envelope of 200 columns and 10,000 points takes what can be seen of it.
    std::vector<Point> dense;
    for (int i = 0; i < 10000; ++i) dense.push_back({i / 50, i * 37 % 100});
    const std::string svg = SvgOf([&](SvgDevice& device) { device.Polyline(dense); });
    EXPECT_LT(svg.size(), 6000u);
    EXPECT_EQ(CountOf(SvgOf([](SvgDevice& device) {
                          device.SetPen({0, 1, Pen::Style::null});
                          device.Line(0, 0, 9, 9);
                      }),
                      "<path"),
              0u);
}

TEST(SvgDevice, ClipsHoldWhatIsDrawnInThem) {
    const std::string svg = SvgOf([](SvgDevice& device) {
        device.SetClip({10, 20, 60, 80});
        device.FillRect({0, 0, 200, 30}, 0x0000FF);
        device.SetPixel(5, 5, 0);  // outside
        device.SetClip({0, 0, 20, 20});
        device.Line(0, 0, 5, 5);
        device.SetClip({10, 20, 60, 80});  // known already
        device.FillEllipse({20, 30, 23, 33}, 0);
        device.ClearClip();
        device.FillRect({1, 2, 3, 4}, 0x00FF00);
        device.SetPixel(9, 9, 0x00FF00);
        device.SetClip({300, 0, 400, 50});  // nothing of it lies on the picture
    });
    ExpectHolds(svg,
                "<clipPath id=\"clip1\"><rect x=\"10\" y=\"20\" width=\"50\" height=\"60\"/></clipPath>");
    ExpectHolds(svg, "<g clip-path=\"url(#clip1)\">\n<path fill=\"#ff0000\" d=\"M10 20h50v10h-50z\"/>\n</g>");
    ExpectHolds(svg, "<ellipse cx=\"22\" cy=\"32\" rx=\"2\" ry=\"2\"");
    ExpectHolds(svg, "</g>\n<path fill=\"#00ff00\" d=\"M1 2h2v2h-2zM9 9h1v1h-1z\"/>\n");
    EXPECT_EQ(CountOf(svg, "<clipPath"), 3u);
    EXPECT_EQ(CountOf(svg, "<g "), CountOf(svg, "</g>"));
    EXPECT_EQ(CountOf(svg, "<g "), 4u);
}

}  // namespace
}  // namespace kymora::test
