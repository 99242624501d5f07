// Names beside names that are as long as names can be.

#include "host/file_names.h"

#include <gtest/gtest.h>

#include <set>

namespace kymora {
namespace {

TEST(FileNames, EndingsFitBehindAndStayApart) {
    EXPECT_EQ(NameBehind("/a/rec.kymr-dat", ".save-journal"), "/a/rec.kymr-dat.save-journal");
    EXPECT_EQ(NameInstead("rec.edf", "_tr.kymr-dat"), "rec_tr.kymr-dat");
    const std::string limit(longestFileName, 'n');
    EXPECT_EQ(FileNameOf(limit.substr(5), ".edfx"), limit.substr(5) + ".edfx");
    std::set<std::string> names;
    for (const char last : {'x', 'y'}) {
        const std::string name = FileNameOf(std::string(254, 'n') + last, ".save-journal");
        EXPECT_EQ(name.size(), longestFileName);
        EXPECT_TRUE(name.starts_with("nnnn") && name.ends_with(".save-journal"));
        names.insert(name);
    }
    EXPECT_EQ(names.size(), 2u);
    // No character of several bytes is cut.
    for (size_t ascii = 0; ascii < 3; ++ascii) {
        std::string text(ascii, 'a');
        while (text.size() < 250) text += "\xE2\x82\xAC";
        const std::string name = FileNameOf(text, ".save-journal");
        const size_t mark = name.find('~');
        EXPECT_EQ((mark - ascii) % 3, 0u) << ascii;
        EXPECT_GT(name.size(), longestFileName - 3);
    }
}

}  // namespace
}  // namespace kymora
