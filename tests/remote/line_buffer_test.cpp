#include "remote/line_buffer.h"

#include <gtest/gtest.h>

#include <vector>

namespace kymora::test {
namespace {

TEST(LineBufferTest, CutsWhatArrivesInAnyPieces) {
    const std::string text = "one\r\ntwo\n\nlast\nrest";
    for (size_t piece = 1; piece <= text.size(); ++piece) {
        LineBuffer buffer(100);
        std::vector<std::string> lines;
        for (size_t at = 0; at < text.size(); at += piece) {
            buffer.Append(std::string_view(text).substr(at, piece));
            while (const auto line = buffer.Next()) lines.push_back(*line);
        }
        EXPECT_EQ(lines, (std::vector<std::string>{"one", "two", "", "last"})) << piece;
        EXPECT_FALSE(buffer.HasLine());
    }
}

TEST(LineBufferTest, StopsAtALineThatIsTooLong) {
    LineBuffer whole(4);
    whole.Append("1234\n12345\n1\n");
    EXPECT_FALSE(whole.IsTooLong());
    EXPECT_EQ(whole.Next(), "1234");
    EXPECT_TRUE(whole.IsTooLong());
    EXPECT_EQ(whole.Next(), std::nullopt);

    LineBuffer unfinished(4);
    unfinished.Append("1234");
    EXPECT_FALSE(unfinished.IsTooLong());
    unfinished.Append("5");
    EXPECT_TRUE(unfinished.IsTooLong());
}

}  // namespace
}  // namespace kymora::test
