// The documentation names the formats of the program's table.

#include "import/format_pages.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>

#include "import/formats.h"

namespace kymora::test {
namespace {

TEST(FormatPages, NameEachFormatThatCanBeRead) {
    for (const Format& format : Formats()) {
        const auto isOf = [&](const FormatPage& page) { return page.className == format.className; };
        // 64-bit Spike2 files have a class that only refuses.
        const bool isRead = format.reader.make != nullptr && format.className != "CSpike64Doc";
        EXPECT_EQ(std::ranges::count_if(FormatPages(), isOf), isRead ? 1 : 0) << format.className;
    }
}

TEST(FormatPages, TheDocumentationIsThatOfTheTable) {
    const auto text = [](const char* name) {
        std::ifstream file(std::string(KYMORA_DOCS) + name, std::ios::binary);
        return std::string{std::istreambuf_iterator<char>(file), {}};
    };
    EXPECT_NE(text("/../README.md").find(FormatList()), std::string::npos)
        << "scripts/reference writes it anew";
    EXPECT_NE(text("/bringing-data-in.md").find(OtherSystemsTable()), std::string::npos)
        << "scripts/reference writes it anew";
}

}  // namespace
}  // namespace kymora::test
