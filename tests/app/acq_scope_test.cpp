// The scope beside a recording of a sine, whose crossings can be told beforehand.

#include "acquisition/windows/acq_scope_dlg.h"
#include "graphs/windows/graph_widget.h"
#include "support/engine_fixture.h"

namespace kymora::test {
namespace {

TEST_F(EngineTest, TheScopeShowsSweepsAroundTheCrossingsOfALevel) {
    board.input = SimulatedInput::sine;  // 5 V, 10 Hz on the first channel
    Open(2);
    view->m_settings.m_dTimeLimit = 2.0;
    CAcqScopeDlg scope(*view);
    view->SetObserver(&scope);
    ScopeSettings settings;
    settings.level = 2.5;
    settings.spanMs = 50.0;
    settings.preMs = 10.0;
    settings.superimposed = 3;
    scope.SetSettings(settings);
    ASSERT_TRUE(view->OnAcqStart());
    Run();
    ASSERT_NE(scope.Sweeps(), nullptr);
    EXPECT_EQ(scope.Sweeps()->Found(), 19) << "of 20 crossings the first has no 10 ms before it";
    scope.Draw();
    const GraphPane pane = scope.Picture().GetGraph().panes.at(0);
    ASSERT_EQ(pane.layers.size(), 3u);
    const auto at = [&](double ms) {
        return pane.layers[2].y.at(static_cast<size_t>(std::llround(ms + 10.0)));
    };
    // The phase at the trigger is a twelfth of a turn, or up to a sample later.
    EXPECT_NEAR(at(0.0), 2.5, 0.28);
    EXPECT_NEAR(at(16.0), 5.0, 0.03);
    EXPECT_LT(at(-1.0), 2.5);
    ASSERT_EQ(pane.lines.size(), 2u);
    EXPECT_EQ(pane.lines[1].parameter, "level");
    emit scope.Picture().LineMoved("level", -1.2345678);
    EXPECT_DOUBLE_EQ(scope.Settings().level, -1.23);

    settings.preMs = 60.0;
    scope.SetSettings(settings);
    ASSERT_TRUE(view->OnAcqStart());
    EXPECT_EQ(scope.Fault(), "What lies before the trigger must be shorter than the sweep.");
    Run();
}

}  // namespace
}  // namespace kymora::test
