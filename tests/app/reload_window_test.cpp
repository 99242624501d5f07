// File > Reload on the windows of a recording.

#include <QStatusBar>

#include "app/child_frame.h"
#include "app/frame_fixture.h"
#include "app/remote_desktop.h"

namespace kymora::test {
namespace {

class ReloadWindowTest : public FrameTest {
  protected:
    void Grow(int64_t samples) {
        auto doc = MemoryDoc::Generate(session, 2, samples, [](int trace, int64_t index) {
            return static_cast<float>((index % 1000) - 500 + 10 * trace);
        });
        doc->view.viewStart = 1000.0;
        doc->view.viewEnd = 3000.0;
        WriteNativeFile(*doc, "/one.kymr-dat");
    }
    std::string Status() const { return frame->statusBar()->currentMessage().toStdString(); }
};

TEST_F(ReloadWindowTest, ViewsStayAndThoseAtTheEndFollowIt) {
    CChildFrame& first = OpenOne();
    first.View().Select(Viewport{1500.0, 1600.0});
    ASSERT_TRUE(frame->RunCommandById("cursor-add-vert"));
    const auto cursors = first.View().GetCursorTimes();
    ASSERT_EQ(cursors.size(), 1u);
    frame->OnWindowNew();
    ASSERT_EQ(frame->Children().size(), 2u);
    CChildFrame& second = *frame->ActiveChild();
    ASSERT_NE(&second, &first);
    ASSERT_TRUE(frame->RunCommandById("end"));
    ExpectViewport(second, 97999.0, 99999.0);
    first.Document().AddEvent(3, {10, 20});
    first.Document().SetModifiedFlag();
    Grow(150000);
    ASSERT_TRUE(frame->RunCommandById("file-reload"));
    EXPECT_EQ(Status(), "Reload: 50.000 s more");
    EXPECT_EQ(first.Document().GetLength(), 150000);
    ExpectViewport(second, 147999.0, 149999.0);
    ExpectViewport(first, 1000.0, 3000.0);
    EXPECT_EQ(first.View().m_selection, (Viewport{1500.0, 1600.0}));
    EXPECT_EQ(first.View().GetCursorTimes(), cursors);
    EXPECT_EQ(first.Document().GetNumEvents(3), 1);
    EXPECT_TRUE(first.Document().IsModified());
    DesktopRemote remote(*frame, session);
    EXPECT_EQ(remote.RunFrameCommand("file-reload"), CommandResult::done);
    EXPECT_EQ(Status(), "Reload: nothing new");
    EXPECT_TRUE(host.messages.empty());
    files.Remove("/one.kymr-dat");
    EXPECT_EQ(remote.RunFrameCommand("file-reload"), CommandResult::done);
    EXPECT_NE(host.LastMessage().find("not there any more"), std::string::npos) << host.LastMessage();
    EXPECT_EQ(first.Document().GetLength(), 150000);
}

TEST(NavigationFollowTest, TheEndIsFollowedFromWhereItWasSeen) {
    struct Case {
        Viewport shown, expected;
    };
    // Samples of 1 ms; the end moves from 999 to 1999 ms.
    for (const Case& each :
         {Case{{100, 300}, {100, 300}}, Case{{800, 999}, {1800, 1999}}, Case{{900, 1100}, {1799, 1999}},
          Case{{0, 999}, {0, 1999}}, Case{{0, 1500}, {499, 1999}}, Case{{500, 2500}, {500, 2500}},
          Case{{1200, 1400}, {1200, 1400}}}) {
        Navigation navigation;
        navigation.shown = each.shown;
        navigation.end = 1999.0;
        EXPECT_EQ(navigation.FollowEnd(999.0), each.expected) << each.shown.start << " " << each.shown.end;
    }
}

}  // namespace
}  // namespace kymora::test
