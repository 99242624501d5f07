// What holds for everything that lies over the traces and can be dragged: one script for all kinds.

#include "display/overlays/overlay_annotations.h"
#include "display/overlays/overlay_scale_bars.h"
#include "support/overlay_fixture.h"

namespace kymora::test {
namespace {

// One kind of object, of which Put makes two: the one that is dragged and another that stays.
struct Kind {
    const char* name;
    void (*put)(CKymoraView& view);
    std::vector<double> (*state)(const CKymoraView& view);  // all that the drag and the deletion may change
    Point at, to;                                           // from the object to another place
    std::vector<double> moved;
    Point outside;          // where it cannot be dropped; (-1, -1) where it is held to the plot
    const char* undo;       // of the drag; empty for what belongs to the view
    const char* edit = "";  // the dialog of a double click
    const char* remove = "";
    std::vector<double> left{};  // when it is deleted
};

void PutBars(CKymoraView& view) {
    for (const float x : {0.25f, 0.75f}) {
        ScaleBar bar;
        bar.m_fXFrac = x, bar.m_fYFrac = 0.5f, bar.m_fLength = 500.0f, bar.m_nWidth = 2;
        view.GetDocument().scaleBars[1].list.push_back(bar);
    }
}

void PutHorzBar(CKymoraView& view) {
    ScaleBar& bar = view.GetDocument().scaleBars[0].single;
    bar.m_fXFrac = 0.5f, bar.m_fYFrac = 0.5f, bar.m_fLength = 250.0f, bar.m_nWidth = 2;
}

void PutAnnotations(CKymoraView& view) {
    for (const double time : {500.0, 250.0}) {
        CAnnotation annotation;
        annotation.m_dTime = time;
        annotation.m_strLabel = "text";
        view.GetDocument().traceAnnotations[0].push_back(annotation);
    }
}

std::vector<double> Markers(const CKymoraView& view) {
    std::vector<double> all;
    for (const CMarker& marker : view.GetDocument().markers) all.push_back(marker.m_dTime);
    return all;
}

std::vector<double> Annotations(const CKymoraView& view) {
    std::vector<double> all;
    for (const CAnnotation& one : view.GetDocument().traceAnnotations[0])
        all.insert(all.end(), {one.m_dTime, static_cast<double>(one.m_fValue)});
    return all;
}

std::vector<double> Bars(const CKymoraView& view) {
    std::vector<double> all;
    for (const ScaleBarId id : ScaleBarsOf(view.GetDocument())) {
        const ScaleBar& bar = *FindScaleBar(view.GetDocument(), id);
        all.insert(all.end(), {static_cast<double>(bar.m_fXFrac), static_cast<double>(bar.m_fYFrac)});
    }
    return all;
}

std::vector<double> Cursors(const CKymoraView& view) {
    const CDatumLines& lines = view.DatumLines();
    std::vector<double> all;
    for (int i = 0; i < lines.VertCount(); ++i) all.push_back(lines.VertX(i));
    for (int i = 0; i < lines.HorzCount(); ++i) all.push_back(lines.HorzY(i));
    return all;
}

// A pixel is 1.25 ms, and 2000 units are 230 rows.
const Kind kinds[] = {
    {"vertical cursor",
     [](CKymoraView& view) { view.DatumLines().AddVertLine(470), view.DatumLines().AddVertLine(200); },
     Cursors,
     {471, 300},
     {571, 310},
     {570, 200},
     {900, 300},
     "",
     "",
     "cursor-del-vert",
     {200}},
    {"horizontal cursor",
     [](CKymoraView& view) { view.DatumLines().AddHorzLine(135), view.DatumLines().AddHorzLine(400); },
     Cursors,
     {300, 136},
     {310, 237},
     {236, 400},
     {300, 5},
     "",
     "",
     "cursor-del-horz",
     {400}},
    {"marker",
     [](CKymoraView& view) {
         view.GetDocument().markers = {{250.0, "a"}, {500.0, "b"}};
     },
     Markers,
     {273, 12},
     {573, 400},
     {500, 625},
     {23, 12},
     "Move marker",
     "Edit marker",
     "marker-del",
     {500}},
    {"annotation",
     PutAnnotations,
     Annotations,
     {475, 140},
     {575, 163},
     {625, -200, 250, 0},
     {5, 163},
     "Move annotation",
     "Edit annotation",
     "annotation-del",
     {250, 0}},
    {"horizontal scale bar",
     PutHorzBar,
     Bars,
     {500, 260},
     {540, 210},
     {0.55, 0.4},
     {-1, -1},
     "Move scale bar",
     "Horizontal scale bar"},
    {"vertical scale bar",
     PutBars,
     Bars,
     {270, 240},
     {310, 290},
     {0.3, 0.6, 0.75, 0.5},
     {-1, -1},
     "Move scale bar",
     "Vertical scale bar",
     "scale-bar-del-vert",
     {0.75, 0.5}},
};

class OverlayDrags : public OverlayTest, public ::testing::WithParamInterface<size_t> {
  protected:
    const Kind& kind = kinds[GetParam()];
    std::vector<double> before;

    void SetUp() override {
        Open();
        kind.put(*view);
        before = kind.state(*view);
        Draw();  // texts are measured
    }
    bool BelongsToView() const { return *kind.undo == 0; }
    void ExpectUntouched() {
        EXPECT_EQ(kind.state(*view), before);
        EXPECT_FALSE(doc->IsModified());
        EXPECT_FALSE(doc->Undo().CanUndo());
    }
    void ExpectNear(const std::vector<double>& expected) {
        const std::vector<double> found = kind.state(*view);
        ASSERT_EQ(found.size(), expected.size());
        for (size_t i = 0; i < found.size(); ++i) EXPECT_NEAR(found[i], expected[i], 1e-3);
    }
};

TEST_P(OverlayDrags, NothingChangesBeforeTheRelease) {
    const auto lines = Draw().lines.size();
    Press(kind.at.x, kind.at.y);
    ASSERT_TRUE(view->Mouse().Drag());
    Move(kind.to.x, kind.to.y);
    ExpectUntouched();
    EXPECT_GT(Draw().lines.size(), lines) << "where it would go";
    view->Escape();
    EXPECT_FALSE(view->Mouse().Drag());
    Release(kind.to.x, kind.to.y);
    ExpectUntouched();
    EXPECT_EQ(Draw().lines.size(), lines);
    Drag(kind.at.x, kind.at.y, kind.at.x, kind.at.y);  // a click
    ExpectUntouched();
    if (kind.outside.x < 0) return;
    Drag(kind.at.x, kind.at.y, kind.outside.x, kind.outside.y);
    ExpectUntouched();
}

TEST_P(OverlayDrags, TheReleaseIsOneStepSeenInAllViews) {
    CKymoraView second(*doc);
    second.OnSize(400, 300);
    second.OnInitialUpdate();
    RecordingWindow itsWindow(second);
    Drag(kind.at.x, kind.at.y, kind.to.x, kind.to.y);
    ExpectNear(kind.moved);
    EXPECT_EQ(doc->Undo().UndoName(), kind.undo);
    EXPECT_EQ(doc->IsModified(), !BelongsToView());
    if (BelongsToView()) return;
    const std::vector<double> after = kind.state(*view);
    for (const bool undo : {true, false}) {
        EXPECT_GT(std::exchange(itsWindow.repaints, 0), 0);
        EXPECT_TRUE(undo ? doc->Undo().Undo() : doc->Undo().Redo());
        EXPECT_EQ(kind.state(*view), undo ? before : after);
    }
}

TEST_P(OverlayDrags, ADoubleClickOpensItsDialog) {
    view->Mouse().DoubleClick({kind.at.x, kind.at.y});
    EXPECT_EQ(host.forms.empty() ? "" : host.forms.back(), kind.edit);
    ExpectUntouched();  // cancelled
}

TEST_P(OverlayDrags, TheNextClickDeletes) {
    if (*kind.remove == 0) return;
    Run(kind.remove);
    const int mode = view->m_nMouseMode;
    EXPECT_NE(mode, mouseNormal) << "two of them: the click chooses";
    Press(650, 300);  // beside all
    EXPECT_EQ(view->m_nMouseMode, mode);
    ExpectUntouched();
    Press(kind.at.x, kind.at.y);
    EXPECT_EQ(view->m_nMouseMode, mouseNormal);
    ExpectNear(kind.left);
    if (BelongsToView()) return;
    EXPECT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(kind.state(*view), before);
}

INSTANTIATE_TEST_SUITE_P(Kinds, OverlayDrags, ::testing::Range(size_t{0}, std::size(kinds)),
                         [](const auto& tested) {
                             std::string name = kinds[tested.param].name;
                             std::replace(name.begin(), name.end(), ' ', '_');
                             return name;
                         });

}  // namespace
}  // namespace kymora::test
