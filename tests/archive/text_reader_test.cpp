#include "archive/text_reader.h"

#include <gtest/gtest.h>

#include <span>

#include "host/memory_file_system.h"

namespace kymora {
namespace {

std::vector<std::string> LinesOf(const std::string& bytes) {
    MemoryFileSystem files;
    const auto raw = std::as_bytes(std::span(bytes));
    files.Put("text", {raw.begin(), raw.end()});
    const auto file = files.Open("text", OpenMode::readOnly);
    TextReader reader(*file);
    std::vector<std::string> lines;
    std::string line;
    while (reader.NextLine(line)) lines.push_back(line);
    return lines;
}

using Lines = std::vector<std::string>;

std::string Wide(std::u16string_view units, bool bigEndian) {
    std::string bytes;
    for (const char16_t unit : units) {
        const char low = static_cast<char>(unit & 0xFF), high = static_cast<char>(unit >> 8);
        bytes += {bigEndian ? high : low, bigEndian ? low : high};
    }
    return bytes;
}

TEST(TextReader, EveryLineEndEndsOneLine) {
    EXPECT_EQ(LinesOf("a\nb\r\nc\rd\n\ne"), (Lines{"a", "b", "c", "d", "", "e"}));
    EXPECT_EQ(LinesOf("a\r\r\n\n"), (Lines{"a", "", ""}));
    EXPECT_EQ(LinesOf(""), Lines{});
    EXPECT_EQ(LinesOf("\n"), Lines{""});
    EXPECT_EQ(LinesOf(std::string("a\0b", 3)), Lines{"a b"});
}

TEST(TextReader, EveryEncodingReadsAsTheSameText) {
    const Lines text = {"Zeit \xC2\xB5s", "1\t2", "\xF0\x9F\x90\x81"};
    const std::string utf8 = "Zeit \xC2\xB5s\r\n1\t2\r\n\xF0\x9F\x90\x81";
    const std::u16string units = u"Zeit \u00B5s\r\n1\t2\r\n\U0001F401";
    EXPECT_EQ(LinesOf(utf8), text);
    EXPECT_EQ(LinesOf("\xEF\xBB\xBF" + utf8), text);
    EXPECT_EQ(LinesOf("\xFF\xFE" + Wide(units, false)), text);
    EXPECT_EQ(LinesOf("\xFE\xFF" + Wide(units, true)), text);
    EXPECT_EQ(LinesOf(Wide(units, false)), text);
    EXPECT_EQ(LinesOf(Wide(units, true)), text);
    EXPECT_EQ(LinesOf("Zeit \xB5s\r\n1\t2\r\n\xF0\x9F\x90\x81"), text);  // a Latin-1 micro sign
}

TEST(TextReader, BytesThatAreNoUtf8CountOneByOne) {
    EXPECT_EQ(LinesOf("\xC0\xAF"), Lines{"\xC3\x80\xC2\xAF"});      // longer than needed
    EXPECT_EQ(LinesOf("\xE2\x82"), Lines{"\xC3\xA2\xE2\x80\x9A"});  // cut short: a circumflex and a low quote
}

// Characters and line ends lie across the ends of the windows in which a file is read.
TEST(TextReader, NothingIsLostBetweenWindows) {
    for (const size_t before : {262140u, 262141u, 262142u, 262143u, 262144u}) {
        const std::string head(before, 'x');
        EXPECT_EQ(LinesOf(head + "\r\n\xE2\x82\xAC\r\ny"), (Lines{head, "\xE2\x82\xAC", "y"})) << before;
        EXPECT_EQ(LinesOf(head + "\xE2\x82\xAC\ny"), (Lines{head + "\xE2\x82\xAC", "y"})) << before;
    }
    const std::u16string far(131071, u'x');
    EXPECT_EQ(LinesOf("\xFF\xFE" + Wide(far + u"\U0001F401\r\ny", false)),
              (Lines{std::string(131071, 'x') + "\xF0\x9F\x90\x81", "y"}));
}

TEST(TextReader, AVeryLongLineIsCutAndTheNextOneIsWhole) {
    const std::string text = std::string(1000000, 'x') + "\nnext\n";
    TextReader reader(text);
    std::string line;
    ASSERT_TRUE(reader.NextLine(line, 10));
    EXPECT_EQ(line, "xxxxxxxxxx");
    ASSERT_TRUE(reader.NextLine(line, 10));
    EXPECT_EQ(line, "next");
    EXPECT_FALSE(reader.NextLine(line, 10));
    reader.Rewind();
    ASSERT_TRUE(reader.NextLine(line));
    EXPECT_EQ(line.size(), 1000000u);
}

}  // namespace
}  // namespace kymora
