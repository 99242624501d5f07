#include "display/overlays/overlay_drawing.h"
#include "support/recording_device.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

class GuideTest : public ViewTest {
  protected:
    void SetUp() override {
        doc = Ramp(2, 1000);
        view = std::make_unique<CKymoraView>(*doc);
        view->OnSize(900, 560);
        view->OnInitialUpdate(Viewport{0.0, 500.0});
        view->SetLimits(1, 0.0, 100.0, "Limits");
    }
    RecordingDevice Draw(std::vector<ViewGuide> guides) {
        view->SetGuides(std::move(guides));
        RecordingDevice device;
        DrawGuides(*view, device);
        return device;
    }

    std::unique_ptr<MemoryDoc> doc;
    std::unique_ptr<CKymoraView> view;
};

constexpr auto level = ViewGuide::Kind::level;
constexpr auto time = ViewGuide::Kind::time;

TEST_F(GuideTest, LinesStandAtTheirValueAndTime) {
    const PixelRect plot = view->GetLayout().plot;
    const PixelRect band = view->BandOf(1);
    const RecordingDevice device = Draw({{level, 1, 25.0, 0x0000FF, "On"}, {time, 0, 250.0, 0xFF0000, {}}});
    // A quarter of the way up the band of its axis, and half way through the viewport.
    const int y = band.bottom - (band.bottom - band.top) / 4;
    const int x = plot.left + plot.Width() / 2;
    ASSERT_EQ(device.lines.size(), 2u);
    EXPECT_NEAR(device.LinesOf(0x0000FF)[0].points[0].y, y, 1);
    EXPECT_EQ(device.LinesOf(0x0000FF)[0].points[0].x, plot.left);
    EXPECT_EQ(device.LinesOf(0x0000FF)[0].points[1].x, plot.right);
    EXPECT_NEAR(device.LinesOf(0xFF0000)[0].points[0].x, x, 1);
    EXPECT_TRUE(device.Wrote("On"));
}

TEST_F(GuideTest, NamesOfLevelsThatLieTogetherCanAllBeRead) {
    const RecordingDevice device =
        Draw({{level, 1, 25.0, 1, "on"}, {level, 1, 25.0, 2, "off"}, {level, 1, 25.1, 3, "limit"}});
    ASSERT_EQ(device.texts.size(), 3u);
    // Six pixels a character, and a gap.
    EXPECT_LT(device.texts[1].x + 18, device.texts[0].x);
    EXPECT_LT(device.texts[2].x + 30, device.texts[1].x);
}

TEST_F(GuideTest, WhatCannotBeSeenIsNotDrawn) {
    const double nan = std::numeric_limits<double>::quiet_NaN();
    EXPECT_TRUE(Draw({{level, 0, 1e12, 1, {}},
                      {level, 0, nan, 1, {}},
                      {level, 5, 1.0, 1, {}},
                      {level, -1, 1.0, 1, {}},
                      {time, 0, 501.0, 1, {}}})
                    .lines.empty());
    view->m_bAxisVisible[1] = false;
    EXPECT_TRUE(Draw({{level, 1, 25.0, 1, {}}}).lines.empty());
}

}  // namespace
}  // namespace kymora::test
