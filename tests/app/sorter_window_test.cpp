// The window of the spike sorter, as hands use it.

#include "sorting/windows/sorter_window.h"

#include <QApplication>
#include <QLabel>
#include <QPointer>
#include <QPushButton>
#include <QSpinBox>
#include <QTest>

#include "catalogue/windows/window_table.h"
#include "graphs/windows/graph_widget.h"
#include "sorting/two_units_fixture.h"

namespace kymora::test {
namespace {

class SorterWindowTest : public TwoUnitsTest {
  protected:
    void SetUp() override {
        TwoUnitsTest::SetUp();
        const Operation& operation = *FindOperation("CFindShapes");
        window = dynamic_cast<SorterWindow*>(MakeOperationWindow(owner, operation));
        ASSERT_TRUE(window);
        window->SetActive(doc.get(), nullptr);
        Set(window->Sheet(), {{"polarity", "either"}, {"destination", "f"}, {"desiredClusters", "3"}});
        window->Refresh();
        window->show();
        window->activateWindow();
        QApplication::processEvents();
    }
    void TearDown() override {
        host.answer = true;
        if (window) window->reject();
        QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    template <typename Widget>
    Widget* Find(const char* name) {
        auto* widget = window->findChild<Widget*>(name);
        if (!widget) throw std::runtime_error(std::string("no widget ") + name);
        return widget;
    }
    void Press(const char* name) {
        auto* button = Find<QPushButton>(name);
        ASSERT_TRUE(button->isEnabled()) << name;
        QTest::mouseClick(button, Qt::LeftButton);
        QApplication::processEvents();
    }
    std::string Text(const char* name) { return Find<QLabel>(name)->text().toStdString(); }
    // Drags round the points of a layer, a little outside of them.
    void DragRound(size_t pane, size_t layer) {
        auto* graph = Find<GraphWidget>("graph");
        const GraphLayer& points = graph->GetGraph().panes[pane].layers[layer];
        const auto [left, right] = std::ranges::minmax(points.x);
        const auto [bottom, top] = std::ranges::minmax(points.y);
        const PixelRect& plot = graph->Places()[pane].plot;
        const auto within = [&](QPointF at, int by) {
            return QPoint(std::clamp(int(at.x()) + by, plot.left, plot.right - 1),
                          std::clamp(int(at.y()) + by, plot.top, plot.bottom - 1));
        };
        const QPoint a = within(graph->PixelOf(pane, left, top), -5);
        const QPoint b = within(graph->PixelOf(pane, right, bottom), 5);
        QTest::mousePress(graph, Qt::LeftButton, {}, a);
        for (const QPoint at : {QPoint(b.x(), a.y()), b, QPoint(a.x(), b.y())}) QTest::mouseMove(graph, at);
        QTest::mouseRelease(graph, Qt::LeftButton, {}, QPoint(a.x(), b.y()));
        QApplication::processEvents();
    }

    WindowOwner owner{session};
    QPointer<SorterWindow> window;
};

TEST_F(SorterWindowTest, GoesFromSpikesToUnits) {
    EXPECT_TRUE(window->isModal());
    EXPECT_EQ(Text("pageTitle"), "Page 1 of 5, Source:  Set parameters; Read.");
    EXPECT_EQ(Text("help"), "Press F1 for Quick Instructions");
    auto* next = Find<QPushButton>("next");
    EXPECT_FALSE(next->isEnabled());
    EXPECT_EQ(next->toolTip().toStdString(), "You have not yet read any spike data.");
    QTest::keyClick(window, Qt::Key_F1);
    EXPECT_EQ(host.texts.back().title, "Quick Instructions");
    Press("read");
    Press("next");
    EXPECT_FALSE(next->isEnabled());
    Press("cluster");
    Press("next");
    EXPECT_EQ(window->Sheet().CurrentPage(), CSorterSheet::templatesPage);

    // The whole third cluster is no part of it; its points in all clusters are a new one.
    window->Sheet().Params().Find("primary")->SetFromText("3");
    window->Refresh();
    QApplication::processEvents();
    DragRound(1, 2);
    EXPECT_NE(Text("message").find("nothing would be left"), std::string::npos);
    window->Sheet().Params().Find("outlineOf")->SetFromText("1");
    DragRound(1, 2);
    EXPECT_EQ(window->Sheet().Session().UndoName(), "New cluster");
    EXPECT_EQ(window->Sheet().Session().Last().Clusters().size(), 4u);
    // By the keyboard, also from a field.
    const auto clusters = [&] { return window->Sheet().Session().Last().Clusters().size(); };
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Z, Qt::ControlModifier);
    EXPECT_TRUE(QTest::qWaitFor([&] { return clusters() == 3; }));
    Find<QSpinBox>("primary")->setFocus();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Y, Qt::ControlModifier);
    EXPECT_TRUE(QTest::qWaitFor([&] { return clusters() == 4; }));
    Press("undo");

    window->Sheet().Params().Find("ownMixed")->SetFromText("1");
    window->Refresh();
    Press("next");
    Press("autoAssignAll");
    Press("next");
    EXPECT_FALSE(next->isEnabled());
    Press("back");
    Press("next");
    host.answer = false;
    window->reject();
    EXPECT_EQ(host.questions.back().text, leaveSorterText);
    EXPECT_TRUE(window->isVisible());
    Press("run");
    EXPECT_FALSE(window && window->isVisible()) << "Finish closes it";
    EXPECT_GT(Chan(5).GetNumEvents() + Chan(6).GetNumEvents(), 350);
}

TEST_F(SorterWindowTest, AsksForSettingsAlone) {
    window->close();
    QApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    window = dynamic_cast<SorterWindow*>(MakeOperationWindow(owner, *FindOperation("CFindShapes")));
    std::string merged;
    window->SetConfiguring(
        [&](CBatchBaseDlg& block) { merged = static_cast<CFindShapes&>(block).m_strMerge; });
    window->SetActive(doc.get(), nullptr);
    window->show();
    window->Sheet().Params().Find("merge")->SetFromText("1+2");
    window->Refresh();
    Press("next");
    EXPECT_EQ(Find<QPushButton>("run")->text(), "OK");
    Press("run");
    EXPECT_EQ(merged, "1+2");
}

}  // namespace
}  // namespace kymora::test
