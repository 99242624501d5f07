#include "display/commands/commands.h"

#include <array>
#include <cctype>
#include <map>
#include <set>

#include "support/view_fixture.h"

namespace kymora::test {
namespace {

constexpr KeyCode character = KeyCode::character;

TEST(Commands, KeysFollowTheLabels) {
    const struct {
        Key key;
        std::string_view id;
    } keys[] = {
        {{KeyCode::home}, "start"},
        {{KeyCode::end}, "end"},
        {{KeyCode::left}, "left-percent"},
        {{KeyCode::left, 0, true}, "left-page"},
        {{KeyCode::up, 0, true}, "move-up"},
        {{KeyCode::pageUp}, "left-page"},
        {{KeyCode::pageDown}, "right-page"},
        {{KeyCode::del}, "delete"},
        {{character, 'p', true}, "print"},
        {{character, '/'}, "compress"},
        {{character, '0', false, true}, "show-all"},
        {{character, '+'}, "increase-gain"},
        {{character, '+', true}, "increase-gain"},  // Ctrl: all axes
        {{character, '0', true}, "autoscale"},
        {{character, '0'}, "autoscale"},  // the selected axes
        {{character, 'm', true}, "next-marker"},
        {{character, 'a', false, true}, "prev-annotation"},
        {{character, '1', true}, "none"},
        {{character, 'v', false, false, true}, "cursor-add-vert-here"},
        {{character, 'n', false, false, true}, "none"},
        {{character, 'm', true, false, true}, "next-marker"},  // Shift means nothing with it
        {{}, "none"},
    };
    for (const auto& [key, id] : keys) {
        const Command* command = FindCommand(key);
        EXPECT_EQ(command ? command->id : "none", id);
    }
}

TEST(Commands, IdsAndKeysAreUnique) {
    std::set<std::string_view> ids;
    std::set<std::tuple<int, char, bool, bool, bool>> keys;
    for (const Command& command : ViewCommands()) {
        EXPECT_TRUE(ids.insert(command.id).second) << command.id;
        EXPECT_EQ(command.key.code == KeyCode::none, command.label.find('\t') == std::string_view::npos)
            << command.label;
        for (const Key& key : {command.key, command.otherKey}) {
            if (key.code == KeyCode::none) continue;
            EXPECT_TRUE(
                keys.emplace(static_cast<int>(key.code), key.character, key.ctrl, key.alt, key.shift).second)
                << command.id;
        }
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

class CommandsTest : public ShownTest {
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
    Show(Ramp(2, 5000));
    EXPECT_FALSE(Run("left-page"));
    EXPECT_TRUE(Run("right-page"));
    EXPECT_TRUE(IsEnabled("left-page"));
    // Up to the end and not beyond it: 5000 samples are five pages, of which the last one is not whole.
    for (int page = 0; page < 9; ++page) Run("right-page");
    ExpectViewport(4000.0, 5000.0);
    EXPECT_FALSE(Run("right-percent"));

    EXPECT_FALSE(IsChecked("data-area-50"));
    Run("data-area-50");
    EXPECT_TRUE(IsChecked("data-area-50"));
    EXPECT_EQ(view->m_fDataArea, 0.5f);
    Run("data-area-0");
    EXPECT_FALSE(IsEnabled("increase-gain"));

    Run("data-area-100");
    EXPECT_FALSE(IsEnabled("dot-large"));
    Run("dots");
    Run("dot-large");
    EXPECT_EQ(view->m_format[0].dotSize, 3);
    EXPECT_FALSE(view->m_format[1].drawAsDots);  // only the selected axis
    RunCommand(*FindCommand("dots"), {*view, true});
    EXPECT_TRUE(view->m_format[1].drawAsDots);
}

// Each has a place of its own, where the mouse comes and presses Delete.
TEST_F(CommandsTest, DeleteTakesWhatLiesUnderTheMouse) {
    Show(Ramp(2, 5000));
    view->DatumLines().AddVertLine(300);
    view->DatumLines().AddHorzLine(300);
    doc->InsertMarker({500.0, "here"});
    doc->eventChannels[0].SetDisplayPosition(0.5);
    doc->AddEvent(0, {700, 740});
    view->m_nMouseEventChan = 1;
    const int row = view->Plot().layout.EventRow(doc->eventChannels[0].GetDisplayPosition());
    const auto left = [&] {
        return std::array{view->DatumLines().VertCount(), view->DatumLines().HorzCount(),
                          static_cast<int>(doc->markers.size()), doc->GetNumEvents(0)};
    };
    const struct {
        Point at;
        std::array<int, 4> left;
    } presses[] = {
        {{200, 350}, {1, 1, 1, 1}},  // nothing lies there
        {{300, 350}, {0, 1, 1, 1}}, {{600, 300}, {0, 0, 1, 1}},
        {{470, 15}, {0, 0, 0, 1}},  {{view->Plot().TimeToPixel(720.0), row}, {0, 0, 0, 0}},
    };
    for (const auto& [at, expected] : presses) {
        view->m_mouse = at;
        Run("delete");
        EXPECT_EQ(left(), expected) << at.x << ", " << at.y;
    }
    EXPECT_FALSE(IsEnabled("delete"));
    doc->Undo().Undo();
    EXPECT_EQ(doc->GetNumEvents(0), 1);
    view->m_nMouseEventChan = 0;
    view->Select(Viewport{600.0, 800.0});
    view->m_mouse.reset();
    Run("delete");
    EXPECT_EQ(doc->GetNumEvents(0), 0) << "the selection comes first";
}

}  // namespace
}  // namespace kymora::test
