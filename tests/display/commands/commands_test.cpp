#include "display/commands/commands.h"

#include <cctype>
#include <map>
#include <set>

#include "support/view_fixture.h"

namespace kymora::test {
namespace {

Key Plain(KeyCode code, bool ctrl = false) { return {code, 0, ctrl, false}; }
Key Letter(char c, bool ctrl = false, bool alt = false) { return {KeyCode::character, c, ctrl, alt}; }

std::string_view IdOf(const Key& key) {
    const Command* command = FindCommand(key);
    return command ? command->id : "none";
}

TEST(Commands, KeysFollowTheLabels) {
    EXPECT_EQ(IdOf(Plain(KeyCode::home)), "start");
    EXPECT_EQ(IdOf(Plain(KeyCode::end)), "end");
    EXPECT_EQ(IdOf(Plain(KeyCode::left)), "left-percent");
    EXPECT_EQ(IdOf(Plain(KeyCode::left, true)), "left-page");
    EXPECT_EQ(IdOf(Plain(KeyCode::right, true)), "right-page");
    EXPECT_EQ(IdOf(Letter('/')), "compress");
    EXPECT_EQ(IdOf(Letter('*')), "expand");
    EXPECT_EQ(IdOf(Letter('1', false, true)), "one-to-one");
    EXPECT_EQ(IdOf(Letter('0', false, true)), "show-all");
    EXPECT_EQ(IdOf(Letter('+')), "increase-gain");
    EXPECT_EQ(IdOf(Letter('+', true)), "increase-gain");  // Ctrl: all axes
    EXPECT_EQ(IdOf(Plain(KeyCode::up, true)), "move-up");
    EXPECT_EQ(IdOf(Letter('0', true)), "autoscale");
    EXPECT_EQ(IdOf(Letter('0')), "autoscale");  // the selected axes
    EXPECT_EQ(IdOf(Letter('1', true)), "none");
    EXPECT_EQ(IdOf(Key{}), "none");
}

TEST(Commands, IdsAndKeysAreUnique) {
    std::set<std::string_view> ids;
    std::set<std::tuple<int, char, bool, bool>> keys;
    for (const Command& command : ViewCommands()) {
        EXPECT_TRUE(ids.insert(command.id).second) << command.id;
        const Key& key = command.key;
        if (key.code == KeyCode::none) {
            EXPECT_EQ(command.label.find('\t'), std::string_view::npos) << command.label;
            continue;
        }
        EXPECT_TRUE(keys.emplace(static_cast<int>(key.code), key.character, key.ctrl, key.alt).second)
            << command.id;
    }
}

// A menu of the bar is opened by Alt and its access key, which would never reach a command.
TEST(Commands, MenusLeaveTheKeysOfCommandsAlone) {
    std::map<char, std::string_view> menuOfKey;
    for (const Command& command : ViewCommands()) {
        const std::string_view menu = command.menu.substr(0, command.menu.find('/'));
        const size_t mark = menu.find('&');
        ASSERT_LT(mark + 1, menu.size()) << menu;
        const char key = static_cast<char>(std::tolower(menu[mark + 1]));
        EXPECT_EQ(menuOfKey.emplace(key, menu).first->second, menu) << "the same access key";
    }
    for (const Command& command : ViewCommands()) {
        if (!command.key.alt || command.key.code != KeyCode::character) continue;
        EXPECT_FALSE(menuOfKey.contains(command.key.character))
            << command.label << " and " << menuOfKey[command.key.character];
    }
}

class CommandsTest : public ViewTest {
  protected:
    void RunAll(CKymoraView& view) {
        for (int round = 0; round < 2; ++round)
            for (const bool ctrl : {false, true})
                for (const Command& command : ViewCommands()) {
                    RunCommand(command, {view, ctrl});
                    ASSERT_GE(view.m_StartTime, 0.0) << command.id;
                    ASSERT_GT(view.m_EndTime, view.m_StartTime) << command.id;
                }
    }
};

TEST_F(CommandsTest, EachRunsOnAnyRecordingAndWindow) {
    for (const int64_t length : {int64_t{1}, int64_t{2}, int64_t{5000}, int64_t{2000000000}}) {
        auto doc = Ramp(2, length, 0.25);
        if (length > 1000000) doc->view.viewStart = 4.9e8, doc->view.viewEnd = 4.9e8 + 100.0;
        CKymoraView view(*doc);
        view.OnInitialUpdate();  // before the window has a size
        host.cancelAtCall = 1;   // long reads are not this test's subject
        RunAll(view);
        view.OnSize(900, 500);
        RunAll(view);
    }
}

TEST_F(CommandsTest, StateFollowsTheView) {
    auto doc = Ramp(2, 5000);
    CKymoraView view(*doc);
    view.OnSize(900, 500);
    view.OnInitialUpdate();
    EXPECT_FALSE(RunCommand(*FindCommand("left-page"), {view}));
    EXPECT_TRUE(RunCommand(*FindCommand("right-page"), {view}));
    EXPECT_TRUE(FindCommand("left-page")->enabled(view));

    const Command& half = *FindCommand("data-area-50");
    EXPECT_FALSE(half.checked(view));
    RunCommand(half, {view});
    EXPECT_TRUE(half.checked(view));
    EXPECT_EQ(view.m_fDataArea, 0.5f);
    RunCommand(*FindCommand("data-area-0"), {view});
    EXPECT_FALSE(FindCommand("increase-gain")->enabled(view));

    RunCommand(*FindCommand("data-area-100"), {view});
    EXPECT_FALSE(FindCommand("dot-large")->enabled(view));
    RunCommand(*FindCommand("dots"), {view});
    RunCommand(*FindCommand("dot-large"), {view});
    EXPECT_EQ(view.m_format[0].dotSize, 3);
    EXPECT_FALSE(view.m_format[1].drawAsDots);  // only the selected axis
    RunCommand(*FindCommand("dots"), {view, true});
    EXPECT_TRUE(view.m_format[1].drawAsDots);
}

}  // namespace
}  // namespace kymora::test
