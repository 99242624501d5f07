// What cursors measure, and how it is told.

#include "display/overlays/cursor_table.h"

#include "support/overlay_fixture.h"

namespace kymora::test {
namespace {

class CursorTableTest : public OverlayTest {
  protected:
    CDatumLines& Lines() { return view->DatumLines(); }
    int X(double time) const { return view->Plot().TimeToPixel(time); }
    std::string Table() const { return TabSeparated(TableOf(view->Plot(), MeasureCursors(*view))); }
};

TEST_F(CursorTableTest, TellsEachCursorAndTheDifferencesInTheOrderOfTime) {
    Open();
    doc->traces[0].traceLabel = "Vm";
    doc->traces[0].traceUnits = "mV";
    doc->traces[1].traceLabel.clear();
    doc->traces[1].traceUnits.clear();
    Lines().AddVertLine(X(750.0));
    Lines().AddVertLine(X(500.0));
    Lines().AddHorzLine(view->Plot().ValueToPixel(0.0, 0));
    view->Set(&ViewSettings::m_nTimeUnit, 1, "unit");
    const auto measures = MeasureCursors(*view);
    ASSERT_EQ(measures.verticalSteps.size(), 1u);
    EXPECT_EQ(measures.verticalSteps[0].from, 1);
    EXPECT_DOUBLE_EQ(measures.verticalSteps[0].frequency, 4.0);
    const std::string table = Table();
    EXPECT_TRUE(table.starts_with("Cursor\tTime (s)\t1/time (Hz)\t1: Vm (mV)\t2\n"
                                  "V:2\t0.500000\t\t500\t10500\n"
                                  "V:1\t0.750000\t\t750\t10750\n"
                                  "V:1 \u2212 V:2\t0.250000\t4\t250\t250\n"
                                  "H:1\t\t\t0\t"))
        << table;

    Run("cursor-table-copy");
    EXPECT_EQ(window->copied, table);
    view->SetStartTime(1000.0);  // the cursors stay on the screen
    EXPECT_NE(Table().find("V:2\t1.500000\t\t1500\t11500\n"), std::string::npos);
    view->m_bAxisVisible[0] = false;
    view->OnUpdate(UpdateHint::settings);
    EXPECT_TRUE(Table().starts_with("Cursor\tTime (s)\t1/time (Hz)\t2\n"));
}

// Also where the window has got another size, and the pixel of a cursor stands for another time.
TEST_F(CursorTableTest, TableAndLabelsTellTheSame) {
    Open();
    Lines().AddVertLine(401);
    Lines().AddHorzLine(120);
    const double time = Lines().GetVertLineTime(0);
    view->OnSize(613, 401);
    EXPECT_NE(view->Plot().PixelToTime(Lines().VertX(0)), time) << "a size that tells the two apart";
    const CursorMeasures measures = MeasureCursors(*view);
    EXPECT_DOUBLE_EQ(measures.vertical[0].time, time);
    EXPECT_DOUBLE_EQ(Lines().GetVertLineTime(0), time);
    EXPECT_DOUBLE_EQ(measures.horizontal[0].values[0], Lines().GetHorzLineValue(0, 0));
}

TEST_F(CursorTableTest, DifferencesAreBetweenNeighboursOrFromOneCursor) {
    Open();
    for (const double time : {250.0, 500.0, 500.0, 750.0}) Lines().AddVertLine(X(time));
    const auto steps = [&] {
        std::vector<std::tuple<int, int, double>> all;
        for (const CursorDifference& step : MeasureCursors(*view).verticalSteps)
            all.emplace_back(step.from, step.to, step.time);
        return all;
    };
    using Steps = decltype(steps());
    EXPECT_EQ(steps(), (Steps{{0, 1, 250.0}, {1, 2, 0.0}, {2, 3, 250.0}}));
    EXPECT_TRUE(std::isnan(MeasureCursors(*view).verticalSteps[1].frequency));  // at one time
    Lines().m_pairs.vertFrom = 3;
    EXPECT_EQ(steps(), (Steps{{3, 0, -500.0}, {3, 1, -250.0}, {3, 2, -250.0}}));
    Lines().DeleteVertLine(0);  // the others count anew
    EXPECT_EQ(steps(), (Steps{{2, 0, -250.0}, {2, 1, -250.0}}));
    Lines().DeleteVertLine(2);
    EXPECT_EQ(steps(), (Steps{{0, 1, 0.0}}));
}

TEST_F(CursorTableTest, GapsAreToldAsSuchAndTextsAreQuoted) {
    Show(MemoryDoc::MakeWithRuns(session, {std::vector<float>(200, 2.0f), std::vector<float>(600, 3.0f)},
                                 {{100, 300, 100, 100}, {600}}));
    doc->traces[0].traceLabel = "a, \"b\"\tc";
    Lines().AddVertLine(X(200.0));
    EXPECT_NE(Table().find("V:1\t200.000\t\t-\t3\n"), std::string::npos) << Table();
    EXPECT_EQ(Table().find("\"b\"\tc"), std::string::npos);  // a tab would be a column
    const std::string file = "/table.csv";
    host.saveFile = file;
    Run("cursor-table-save");
    std::vector<std::byte> bytes = files.Bytes(file);
    const std::string text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    EXPECT_NE(text.find(",\"1: a, \"\"b\"\"\tc"), std::string::npos) << text;
    EXPECT_NE(text.find("\r\nV:1,200.000,,-,3\r\n"), std::string::npos) << text;
}

// What is dragged is measured where it would go, with the lines that are coupled to it; it stands where it
// was.
TEST_F(CursorTableTest, FollowsTheHand) {
    for (const bool coupled : {false, true}) {
        SCOPED_TRACE(coupled);
        Open();
        session.coupledCursors = coupled;
        for (const double time : {250.0, 500.0}) Lines().AddVertLine(X(time));
        Press(X(500.0), 300);
        Move(X(750.0), 300);
        const auto measures = MeasureCursors(*view);
        EXPECT_DOUBLE_EQ(measures.vertical[1].time, 750.0);
        EXPECT_DOUBLE_EQ(measures.vertical[1].values[0], 750.0);
        EXPECT_DOUBLE_EQ(measures.vertical[0].time, coupled ? 500.0 : 250.0);
        EXPECT_EQ(Lines().VertX(1), X(500.0));
        EXPECT_EQ(window->status, coupled ? "V:2: 750.000 ms, 250.000 ms after V:1 (4 Hz)"
                                          : "V:2: 750.000 ms, 500.000 ms after V:1 (2 Hz)");
        view->Escape();
        EXPECT_EQ(window->status, "");
        EXPECT_DOUBLE_EQ(MeasureCursors(*view).vertical[1].time, 500.0);
    }
}

TEST_F(CursorTableTest, ADotStandsOnEachTraceWhereTheCursorMeetsIt) {
    Open();
    SetAxis(0, 0.0, 1000.0);
    Lines().AddVertLine(X(500.0));
    const auto dots = [&] {
        std::vector<Point> centres;
        for (const DrawnShape& dot : Draw().ellipses)
            if (dot.colour != view->m_crBackground)
                centres.push_back(
                    {(dot.rect.left + dot.rect.right) / 2, (dot.rect.top + dot.rect.bottom) / 2});
        return centres;
    };
    // The second trace, at 10500, is far above its axis.
    EXPECT_EQ(dots(), (std::vector<Point>{{X(500.0), view->Plot().ValueToPixel(500.0, 0)}}));
    Run("cursor-show-values");
    EXPECT_TRUE(dots().empty());
}

TEST_F(CursorTableTest, ShiftAddsAtTheMouse) {
    Open();
    const auto press = [&](char letter) {
        const Command* command = FindCommand(*view, Key{KeyCode::character, letter, false, false, true});
        ASSERT_TRUE(command);
        RunCommand(*command, {*view});
    };
    Move(333, 222);
    press('v');
    press('h');
    EXPECT_EQ(Lines().VertX(0), 333);
    EXPECT_EQ(Lines().HorzY(0), 222);
    Fill([](Form& form) { form["label"].text = "here"; });
    press('m');
    ASSERT_EQ(doc->markers.size(), 1u);
    EXPECT_DOUBLE_EQ(doc->markers[0].m_dTime, view->Plot().PixelToTime(333));
    // While events are inserted plain letters choose the channel; these go on.
    view->SetMouseMode(mouseInsertFirst);
    press('v');
    EXPECT_EQ(Lines().VertCount(), 2);
    press('e');
    EXPECT_EQ(view->m_nMouseEventChan, 'e' - 'a');
}

}  // namespace
}  // namespace kymora::test
