// Where moves lead, worked by hand from a recording of 100,000 samples of 1 ms of which [4000, 6000] is shown
// on 800 pixels.

#include "display/navigation.h"

#include <gtest/gtest.h>

#include <cmath>
#include <functional>

namespace kymora {
namespace {

Navigation Shown(Viewport shown, bool keepsLeftEdge = false) {
    Navigation at;
    at.shown = shown;
    at.end = 99999.0;
    at.step = 400.0;
    at.keepsLeftEdge = keepsLeftEdge;
    at.pixels = 800;
    return at;
}

TEST(Navigation, ZoomsKeepTheMiddleOrTheLeftEdge) {
    struct Case {
        Viewport shown;
        std::function<Viewport(const Navigation&)> zoom;
        Viewport aboutMiddle, fromLeftEdge;
    };
    const Case cases[] = {
        {{4000, 6000}, &Navigation::Compress, {3000, 7000}, {4000, 8000}},
        {{500, 2500}, &Navigation::Compress, {0, 4000}, {500, 4500}},  // cannot stay centred
        {{4000, 6000}, &Navigation::Expand, {4500, 5500}, {4000, 5000}},
        {{4000, 6000}, &Navigation::OneToOne, {4000, 4800}, {4000, 4800}},
        {{4000, 6000}, &Navigation::ShowAll, {0, 99999}, {0, 99999}},
        {{4000, 6000}, [](const Navigation& at) { return at.OfLength(400); }, {4800, 5200}, {4000, 4400}},
        {{0, 80}, [](const Navigation& at) { return at.Around(40, 2); }, {0, 160}, {0, 160}},
        {{100, 260}, [](const Navigation& at) { return at.Around(180, 0.5); }, {140, 220}, {140, 220}},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(one.aboutMiddle.start);
        EXPECT_EQ(one.zoom(Shown(one.shown)), one.aboutMiddle);
        EXPECT_EQ(one.zoom(Shown(one.shown, true)), one.fromLeftEdge);
    }
    Navigation held = Shown({4000.0, 6000.0});
    held.longest = 3000.0;
    EXPECT_EQ(held.Compress(), (Viewport{3500.0, 6500.0}));
    EXPECT_EQ(held.Reference(), 5000.0);
}

TEST(Navigation, AllowsWhatCanBeSeen) {
    Navigation at = Shown({0.0, 1.0});
    at.farthest = 1e6;
    EXPECT_TRUE(at.Allows({0.0, 0.001}));
    EXPECT_TRUE(at.Allows({0.0, 1e6}));
    for (const Viewport& none : {Viewport{-1.0, 1.0},
                                 {0.0, 0.0009},
                                 {5.0, 4.0},
                                 {0.0, 1.1e6},
                                 {std::nan(""), 1.0},
                                 {0.0, std::nan("")}})
        EXPECT_FALSE(at.Allows(none)) << none.start << " " << none.end;
    at.pixels = -5;  // no plot
    EXPECT_FALSE(at.Allows(at.OneToOne()));
}

}  // namespace
}  // namespace kymora
