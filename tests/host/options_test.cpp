#include "document/data_doc.h"
#include "host/form.h"
#include "host/options_form.h"
#include "host/recent_files.h"
#include "support/session_fixture.h"

namespace kymora::test {
namespace {

using OptionsTest = SessionTest;

TEST_F(OptionsTest, TheDialogShowsAndStoresTheOptions) {
    session.options.hitMargin = 7;
    session.numbersForSession = true;
    host.fillForms = {[](Form& form) {
        EXPECT_EQ(form.Integer("hitMargin"), 7);
        form["cancelSelection"].flag = true;
        form["hitMargin"].number = 20;
        form["channelMode"].choice = 1;
        form["bootstrapReps"].number = 5;
        form["transformUndoShare"].number = 20;
        form["palette"].choice = 1;
        return true;
    }};
    EXPECT_TRUE(AskOptions(session));
    EXPECT_EQ(session.options.cancelSelectionAfterAction, 1);
    EXPECT_EQ(session.options.hitMargin, 20);
    EXPECT_EQ(session.options.eventChannelMode, 999);
    EXPECT_FALSE(session.numbersForSession);
    EXPECT_EQ(session.options.bootstrapReps, 5);
    EXPECT_EQ(session.options.transformUndoShare, 20);
    EXPECT_EQ(session.options.palette, 1);
}

TEST_F(OptionsTest, BadValuesAndACancelChangeNothing) {
    const auto tried = [&](const char* key, double value, bool accepts = true) {
        host.fillForms = {[=](Form& form) {
            form["palette"].choice = 1;
            form[key].number = value;
            return accepts;
        }};
        return AskOptions(session);
    };
    for (const double margin : {21.0, -1.0, 2.5}) EXPECT_FALSE(tried("hitMargin", margin)) << margin;
    EXPECT_FALSE(tried("bootstrapReps", 0.0));
    EXPECT_FALSE(tried("transformUndoShare", 91.0));
    EXPECT_FALSE(tried("hitMargin", 5.0, false));
    EXPECT_EQ(session.options.hitMargin, 3);
    EXPECT_EQ(session.options.palette, 0);
}

// The published colours begin anew after the eighth; they stand as blue, green and red.
TEST_F(OptionsTest, NewRecordingsHaveTheColoursOfThePalette) {
    session.options.palette = static_cast<int>(Palette::okabeIto);
    auto doc = MemoryDoc::Make(session, {{1.0f}});
    for (const size_t i : {1u, 9u}) {
        EXPECT_EQ(doc->traces[i].traceColour, 0x009FE6u) << i;
        EXPECT_EQ(doc->eventChannels[i].channelColour, 0x009FE6u) << i;
    }
    session.options.palette = static_cast<int>(Palette::system);
    doc = MemoryDoc::Make(session, {{1.0f}});
    EXPECT_EQ(doc->traces[1].traceColour, 0x008000u);
}

TEST_F(OptionsTest, TheSeedGivesTheSameDraws) {
    Session one{host, files}, two{host, files};
    one.Seed(uint64_t{1} << 40);
    two.Seed(uint64_t{1} << 40);
    EXPECT_EQ(one.random(), two.random());
    two.Seed(0);  // the upper half counts
    one.Seed(uint64_t{1} << 40);
    EXPECT_NE(one.random(), two.random());
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
    kept.Set({"/a", "", "/b", "/a"}, {100, 0, 200, 50});
    EXPECT_EQ(kept.Paths(), (std::vector<std::filesystem::path>{"/a", "/b"}));
    EXPECT_EQ(kept.OpenedAt("/a"), 100);
    kept.Add("/b", 300);
    EXPECT_EQ(kept.OpenedAt("/b"), 300);
    kept.Remove("/b");
    EXPECT_EQ(kept.OpenedAt("/b"), 0);
}

}  // namespace
}  // namespace kymora::test
