#include "app/desktop_arguments.h"

#include <gtest/gtest.h>

namespace kymora::test {
namespace {

TEST(DesktopArgumentsTest, FilesAndOptionsInAnyOrder) {
    const auto taken = ParseDesktopArguments({"a.edf", "--import", "signals=1,3", "--seed=42",
                                              "--import=k=a=b", "b c.kymr-dat", "--", "--odd.edf", "-"});
    EXPECT_EQ(taken.fault, "");
    EXPECT_EQ(taken.files, (std::vector<std::filesystem::path>{"a.edf", "b c.kymr-dat", "--odd.edf", "-"}));
    EXPECT_EQ(taken.importSettings, (std::map<std::string, std::string>{{"signals", "1,3"}, {"k", "a=b"}}));
    EXPECT_EQ(taken.seed, 42u);
}

TEST(DesktopArgumentsTest, AWrongLineSaysWhatIsWrong) {
    for (const std::vector<std::string>& line :
         std::vector<std::vector<std::string>>{{"--unknown"},
                                               {"-x"},
                                               {"--seed"},
                                               {"--seed", "-1"},
                                               {"--seed=1x"},
                                               {"--seed="},
                                               {"--seed", "99999999999999999999"},
                                               {"--import"},
                                               {"--import", "novalue"},
                                               {"--import==1"},
                                               {"--seeds=1"}})
        EXPECT_NE(ParseDesktopArguments(line).fault, "") << line[0];
}

}  // namespace
}  // namespace kymora::test
