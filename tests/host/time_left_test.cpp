#include "host/time_left.h"

#include <gtest/gtest.h>

namespace kymora::test {
namespace {

TEST(TimeLeftTest, IsToldCoarselyAndNotTooSoon) {
    struct Case {
        double passed, share;
        const char* text;
    };
    for (const Case& c : {Case{2.0, 0.5, ""},
                          {10.0, 0.0, ""},
                          {10.0, 0.001, ""},
                          {10.0, 0.5, "about 10 s left"},
                          {10.0, 0.3, "about 25 s left"},
                          {10.0, 0.9, ""},
                          {10.0, 1.0, ""},
                          {60.0, 0.5, "about 1 min left"},
                          {60.0, 0.333, "about 2 min left"},
                          {3600.0, 0.1, "about 9 h left"}})
        EXPECT_EQ(TimeLeftText(std::chrono::duration<double>(c.passed), c.share), c.text)
            << c.passed << " s, " << c.share;
}

}  // namespace
}  // namespace kymora::test
