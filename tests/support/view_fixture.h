#pragma once
// A session in memory for tests of the view.

#include <limits>

#include "display/commands/commands.h"
#include "host/form.h"
#include "support/recording_window.h"
#include "support/session_fixture.h"

namespace kymora::test {

inline constexpr float nan32 = std::numeric_limits<float>::quiet_NaN();
inline constexpr float inf32 = std::numeric_limits<float>::infinity();

class ViewTest : public SessionTest {
  protected:
    // A sample's value is its position, and ten thousand more for each trace.
    std::unique_ptr<MemoryDoc> Ramp(int traces, int64_t length, double sampleInterval = 1.0) {
        return MemoryDoc::Generate(
            session, traces, length,
            [](int trace, int64_t index) { return static_cast<float>(index + 10000 * trace); },
            sampleInterval);
    }
};

// A recording in a view with a window of 880 x 460: with axes, its plot of 800 x 400 pixels begins at (70,
// 10).
class ShownTest : public ViewTest {
  protected:
    std::unique_ptr<MemoryDoc> doc;
    std::unique_ptr<CKymoraView> view;
    std::unique_ptr<RecordingWindow> window;
    bool withNames = false;

    CKymoraView& Show(std::unique_ptr<MemoryDoc> shown, std::optional<Viewport> viewport = {},
                      int height = 460) {
        window.reset();  // before its view, and that before its recording
        view.reset();
        doc = std::move(shown);
        // The plot begins at the axes, the rows of events stay where they are, and times are in ms.
        if (!withNames)
            doc->view.showTraceLabels = doc->view.showTraceIds = doc->view.showEventChanLabels = 0;
        session.viewHabits.m_bAutoTimeUnit = false;
        if (viewport) doc->view.viewStart = viewport->start, doc->view.viewEnd = viewport->end;
        view = std::make_unique<CKymoraView>(*doc);
        view->OnSize(880, height);
        view->OnInitialUpdate();
        window = std::make_unique<RecordingWindow>(*view);
        return *view;
    }
    void Close() {
        window.reset();
        view.reset();
    }
    void ExpectViewport(double start, double end) const {
        EXPECT_DOUBLE_EQ(view->m_StartTime, start);
        EXPECT_DOUBLE_EQ(view->m_EndTime, end);
    }
    void SetAxis(size_t axis, double low, double high) const {
        view->m_axes[axis].m_dMin = low;
        view->m_axes[axis].m_dMax = high;
    }
    void ExpectAxis(size_t axis, double low, double high) const {
        EXPECT_DOUBLE_EQ(view->m_axes[axis].m_dMin, low);
        EXPECT_DOUBLE_EQ(view->m_axes[axis].m_dMax, high);
    }

    bool Run(std::string_view id, std::optional<Point> at = {}) const {
        const Command* command = FindCommand(id);
        EXPECT_TRUE(command) << id;
        return command && RunCommand(*command, {*view, false, at});
    }
    bool IsEnabled(std::string_view id) const {
        const Command* command = FindCommand(id);
        return !command->enabled || command->enabled(*view);
    }
    bool IsChecked(std::string_view id) const { return FindCommand(id)->checked(*view); }

    void Press(int x, int y, bool shift = false, bool ctrl = false) const {
        view->Mouse().Down({x, y, MouseButton::left, ctrl, shift});
    }
    void Move(int x, int y) const { view->Mouse().Move({x, y}); }
    void Release(int x, int y) const { view->Mouse().Up({x, y}); }
    void Drag(int fromX, int fromY, int toX, int toY, bool shift = false) const {
        Press(fromX, fromY, shift);
        Move((fromX + toX) / 2, (fromY + toY) / 2);
        Release(toX, toY);
    }

    // Has the next form filled in and accepted.
    void Fill(std::function<void(Form&)> fill) {
        host.fillForms.push_back([fill = std::move(fill)](Form& form) {
            fill(form);
            return true;
        });
    }
};

}  // namespace kymora::test
