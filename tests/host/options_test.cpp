#include <gtest/gtest.h>

#include "document/data_doc.h"
#include "host/form.h"
#include "host/memory_file_system.h"
#include "host/options_form.h"
#include "host/recent_files.h"
#include "support/memory_doc.h"
#include "support/test_host.h"

namespace kymora::test {
namespace {

class OptionsTest : public ::testing::Test {
  protected:
    MemoryFileSystem files;
    TestHost host;
    Session session{host, files};
};

TEST_F(OptionsTest, TheDialogShowsAndStoresTheOptions) {
    session.options.hitMargin = 7;
    session.numbersForSession = true;
    host.fillForms = {[](Form& form) {
        EXPECT_EQ(form.title, "Options");
        EXPECT_EQ(form.Integer("hitMargin"), 7);
        EXPECT_EQ(form["channelMode"].label, "Event channel ID");
        form["cancelSelection"].flag = true;
        form["hitMargin"].number = 20;
        form["channelMode"].choice = 1;
        form["bootstrapReps"].number = 5;
        form["palette"].choice = 1;
        return true;
    }};
    EXPECT_TRUE(AskOptions(session));
    EXPECT_EQ(session.options.cancelSelectionAfterAction, 1);
    EXPECT_EQ(session.options.hitMargin, 20);
    EXPECT_EQ(session.options.eventChannelMode, 999);
    EXPECT_FALSE(session.numbersForSession);
    EXPECT_EQ(session.options.bootstrapReps, 5);
    EXPECT_EQ(session.options.palette, 1);
}

TEST_F(OptionsTest, BadValuesAndACancelChangeNothing) {
    const auto tried = [&](const char* key, double value) {
        host.fillForms = {[=](Form& form) {
            form["palette"].choice = 1;
            form[key].number = value;
            return true;
        }};
        return AskOptions(session);
    };
    for (const double margin : {21.0, -1.0, 2.5}) EXPECT_FALSE(tried("hitMargin", margin)) << margin;
    EXPECT_EQ(host.formFault, "\"Hit test margin (px)\" must be a whole number from 0 to 20.");
    EXPECT_FALSE(tried("bootstrapReps", 0.0));
    host.fillForms = {[](Form&) { return false; }};
    EXPECT_FALSE(AskOptions(session));
    EXPECT_EQ(session.options.hitMargin, 3);
    EXPECT_EQ(session.options.palette, 0);
}

// The published colours, as red, green and blue; yellow last.
TEST_F(OptionsTest, TheColourBlindSafePaletteOfNewRecordings) {
    constexpr uint32_t published[] = {0x000000, 0xE69F00, 0x56B4E9, 0x009E73,
                                      0x0072B2, 0xD55E00, 0xCC79A7, 0xF0E442};
    const auto asBlueGreenRed = [](uint32_t rgb) {
        return ((rgb & 0xFF) << 16) | (rgb & 0xFF00) | (rgb >> 16);
    };
    session.options.palette = static_cast<int>(Palette::okabeIto);
    auto doc = MemoryDoc::Make(session, {{1.0f}});
    for (size_t i = 0; i < 16; ++i) {
        EXPECT_EQ(doc->traces[i].traceColour, asBlueGreenRed(published[i % 8])) << i;
        EXPECT_EQ(doc->eventChannels[i].channelColour, asBlueGreenRed(published[i % 8])) << i;
    }
    session.options.palette = static_cast<int>(Palette::system);
    doc = MemoryDoc::Make(session, {{1.0f}});
    EXPECT_EQ(doc->traces[1].traceColour, 0x008000u);
    EXPECT_EQ(doc->traces[7].traceColour, 0u);
}

TEST(RecentFilesTest, TheNewestStandsFirstAndNoneTwice) {
    RecentFiles recent;
    for (int i = 0; i < 12; ++i) recent.Add("/data/f" + std::to_string(i));
    ASSERT_EQ(recent.Paths().size(), 9u);
    EXPECT_EQ(recent.Paths()[0], "/data/f11");
    recent.Add("/data/sub/../f5");
    EXPECT_EQ(recent.Paths()[0], "/data/f5");
    EXPECT_EQ(recent.Paths().size(), 9u);
    recent.Remove("/data/f11");
    EXPECT_EQ(recent.Paths()[1], "/data/f10");
    RecentFiles kept;
    kept.Set({"/a", "", "/b", "/a"});
    EXPECT_EQ(kept.Paths(), (std::vector<std::filesystem::path>{"/a", "/b"}));
}

TEST(SessionSeed, GivesTheSameDraws) {
    MemoryFileSystem files;
    TestHost host;
    Session one{host, files}, two{host, files};
    one.Seed(uint64_t{1} << 40);
    two.Seed(uint64_t{1} << 40);
    EXPECT_EQ(one.random(), two.random());
    two.Seed(0);  // the upper half counts
    one.Seed(uint64_t{1} << 40);
    EXPECT_NE(one.random(), two.random());
}

}  // namespace
}  // namespace kymora::test
