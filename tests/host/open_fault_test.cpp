#include "host/open_fault.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace kymora {
namespace {

TEST(OpenFault, SaysWhatTheSystemSaysAndWhatToDo) {
    const struct {
        int systemError;
        const char* advice;
    } cases[] = {
        {ENOENT, "Check the name and the folder"},
        {EACCES, "permissions"},
        {EMFILE, "Close some recordings"},
        {EIO, "Check the disk"},
    };
    for (const auto& c : cases) {
        const std::string text =
            OpenFaultText("Couldn't open file", {"Couldn't open /x: reason", c.systemError});
        EXPECT_TRUE(text.starts_with("Couldn't open file\nCouldn't open /x: reason\n")) << text;
        EXPECT_NE(text.find(c.advice), std::string::npos) << text;
    }
    EXPECT_EQ(OpenFaultText("a", {"b", 0}), "a\nb");
}

}  // namespace
}  // namespace kymora
