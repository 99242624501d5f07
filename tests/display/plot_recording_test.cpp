#include "display/plot_recording.h"

#include "document/native_writer.h"
#include "drawing/cairo_device.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

using PlotRecordingTest = ViewTest;

uint32_t BigEndian(const std::vector<std::byte>& bytes, size_t at) {
    uint32_t value = 0;
    for (size_t i = 0; i < 4; ++i) value = value << 8 | std::to_integer<uint32_t>(bytes.at(at + i));
    return value;
}

PictureOptions Size(int width, int height) {
    PictureOptions options;
    options.width = width;
    options.height = height;
    return options;
}

std::vector<std::byte> ReadAll(FileSystem& files, const std::filesystem::path& path) {
    const auto file = files.Open(path, OpenMode::readOnly);
    std::vector<std::byte> bytes(file->Length());
    file->ReadAt(0, bytes);
    return bytes;
}

TEST_F(PlotRecordingTest, WritesAPngOfTheSizeWanted) {
    auto doc = Ramp(3, 5000);
    PlotRecording(*doc, "/plot.png", 100.0, 900.0, Size(640, 480));
    const std::vector<std::byte> png = ReadAll(files, "/plot.png");
    ASSERT_GT(png.size(), 1000u);
    EXPECT_EQ(BigEndian(png, 0), 0x89504E47u);
    EXPECT_EQ(BigEndian(png, 16), 640u);  // of the IHDR chunk
    EXPECT_EQ(BigEndian(png, 20), 480u);
    EXPECT_TRUE(host.WasSilent());
    EXPECT_FALSE(doc->IsModified());
}

TEST_F(PlotRecordingTest, AFinerPictureHasMorePixelsOfTheSameView) {
    auto doc = Ramp(3, 5000);
    PictureOptions options = Size(640, 480);
    options.dpi = 240;
    PlotRecording(*doc, "/fine.png", 100.0, 900.0, options);
    const std::vector<std::byte> png = ReadAll(files, "/fine.png");
    EXPECT_EQ(BigEndian(png, 16), 1600u);
    EXPECT_EQ(BigEndian(png, 20), 1200u);
    EXPECT_EQ(BigEndian(png, 37), 0x70485973u);  // pHYs: 240 dpi are 9449 pixels in a metre
    EXPECT_EQ(BigEndian(png, 41), 9449u);
    EXPECT_EQ(BigEndian(png, 45), 9449u);
    EXPECT_EQ(BigEndian(png, 50), 0x5024E7F8u);
}

TEST(PictureSize, IsHeldWithinWhatAPictureCanBe) {
    const struct {
        int64_t width, height, dpi;
        bool fits;
    } cases[] = {{50, 50, 24, true},       {49, 500, 96, false},     {20000, 5000, 96, true},
                 {20001, 50, 96, false},   {20000, 5001, 96, false}, {2000, 1250, 600, true},
                 {2000, 1600, 600, false}, {500, 500, 23, false},    {500, 500, 1201, false}};
    for (const auto& [width, height, dpi, fits] : cases)
        EXPECT_EQ(PictureSizeFault(width, height, dpi).empty(), fits) << width << " " << height << " " << dpi;
}

TEST_F(PlotRecordingTest, ShowsTheStoredViewportOrTheWholeRecording) {
    auto doc = Ramp(1, 5000);
    PlotRecording(*doc, "/whole.png", {}, {}, Size(400, 300));
    PlotRecording(*doc, "/same.png", 0.0, 4999.0, Size(400, 300));
    EXPECT_EQ(ReadAll(files, "/whole.png"), ReadAll(files, "/same.png"));
    doc->view.viewStart = 1000.0;
    doc->view.viewEnd = 2000.0;
    PlotRecording(*doc, "/stored.png", {}, {}, Size(400, 300));
    PlotRecording(*doc, "/again.png", 1000.0, 2000.0, Size(400, 300));
    EXPECT_EQ(ReadAll(files, "/stored.png"), ReadAll(files, "/again.png"));
    EXPECT_NE(ReadAll(files, "/stored.png"), ReadAll(files, "/whole.png"));
}

TEST_F(PlotRecordingTest, FailuresLeaveNothingBehind) {
    auto doc = Ramp(1, 5000000);
    EXPECT_THROW(PlotRecording(*doc, "/a.png", 500.0, 500.0, Size(400, 300)), std::runtime_error);
    EXPECT_THROW(PlotRecording(*doc, "/a.png", {}, {}, Size(40000, 40000)), std::runtime_error);
    host.cancelAtCall = 3;
    EXPECT_THROW(PlotRecording(*doc, "/a.png", {}, {}, Size(400, 300)), Cancelled);
    EXPECT_FALSE(files.Stamp("/a.png"));
    host.cancelAtCall = 0;
    PlotRecording(*doc, "/small.png", 0.0, 10.0, Size(1, 1));
}

// A line between two pixels of a coarse image is drawn on one of them, at its edges too.
TEST(CairoDevice, CoarseImagesLoseNoLine) {
    for (const double scale : {0.25, 0.5, 0.75})
        for (int at = 0; at < 15; ++at)
            for (const bool upright : {false, true}) {
                CairoDevice device(15, 15, CairoDevice::Kind::image, scale);
                device.FillRect({0, 0, 15, 15}, 0xFFFFFF);
                device.SetPen({0x0000FF});
                upright ? device.Line(at, 0, at, 14) : device.Line(0, at, 14, at);
                int red = 0;
                const int size = static_cast<int>(std::lround(15 * scale));
                for (int i = 0; i < size; ++i)
                    red += device.PixelAt(upright ? i : 1, upright ? 1 : i) == 0x0000FF;
                EXPECT_EQ(red, 1) << scale << " " << at << " " << upright;
            }
}

TEST(CairoDevice, LinesAndFillsLandOnTheirPixels) {
    CairoDevice device(40, 30);
    constexpr uint32_t white = 0xFFFFFF, red = 0x0000FF, green = 0x00FF00;
    device.FillRect({0, 0, 40, 30}, white);
    device.SetPen({red});
    device.Line(5, 10, 20, 10);
    device.Line(5, 12, 5, 20);
    for (int x = 5; x <= 20; ++x) EXPECT_EQ(device.PixelAt(x, 10), red) << x;
    EXPECT_EQ(device.PixelAt(4, 10), white);
    EXPECT_EQ(device.PixelAt(21, 10), white);
    EXPECT_EQ(device.PixelAt(10, 9), white);
    EXPECT_EQ(device.PixelAt(10, 11), white);
    EXPECT_EQ(device.PixelAt(5, 20), red);
    EXPECT_EQ(device.PixelAt(5, 21), white);

    device.SetClip({30, 0, 40, 5});
    device.FillRect({0, 0, 40, 30}, green);
    device.FillEllipse({0, 10, 20, 28}, red);
    device.ClearClip();
    EXPECT_EQ(device.PixelAt(30, 4), green);
    EXPECT_EQ(device.PixelAt(30, 5), white);
    EXPECT_EQ(device.PixelAt(10, 15), white);
    // Bad text must not stop what is drawn after it.
    device.Text(2, 2, std::string_view("\xED\xA0\x80\xFF\0x", 6), {});
    device.SetPen({green});
    device.Polyline(std::vector<Point>{{22, 22}, {25, 29}, {28, 22}});
    EXPECT_NE(device.PixelAt(25, 28), white);
}

}  // namespace
}  // namespace kymora::test
