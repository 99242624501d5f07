// The spike sorter page by page, without a window.

#include "sorting/sorter_sheet.h"

#include <fmt/format.h>

#include <algorithm>

#include "document/undo.h"
#include "sorting/two_units_fixture.h"

namespace kymora::test {
namespace {

using Step = SorterSession::Step;

class SorterSheetTest : public TwoUnitsTest {
  protected:
    void SetUp() override {
        TwoUnitsTest::SetUp();
        Set(sheet, {{"polarity", "either"}, {"destination", "f"}, {"desiredClusters", "3"}});
    }
    // Why it was refused; empty where it was not.
    template <typename Does>
    std::string Try(const Does& does) {
        try {
            does();
        } catch (const JobRefused& reason) {
            return reason.what();
        }
        return {};
    }
    std::string Press(const char* key) {
        return Try([&] {
            ParamList params = sheet.Params();
            Field* field = params.Find(key);
            ASSERT_NE(field, nullptr) << key;
            field->action(params);
        });
    }
    std::string SetField(const char* key, const std::string& text) {
        return Try([&] {
            ParamList params = sheet.Params();
            ASSERT_NE(params.Find(key), nullptr) << key;
            EXPECT_EQ(params.Find(key)->SetFromText(text), "") << key;
        });
    }
    void ToTemplates() {
        ASSERT_EQ(Press("read"), "");
        ASSERT_EQ(Press("next"), "");
        ASSERT_EQ(Press("cluster"), "");
        ASSERT_EQ(Press("next"), "");
    }
    bool HasLogged(std::string_view line) {
        return std::ranges::any_of(host.log,
                                   [&](const std::string& text) { return text.find(line) != text.npos; });
    }
    int32_t CountOf(int32_t id) {
        return sheet.Session().Last().Clusters()[static_cast<size_t>(id) - 1].m_iCount;
    }
    // An outline around all of the primary cluster whose first component is below its median.
    std::vector<WeightPoint> LowerHalf(int32_t id, size_t& holds) {
        const SpikeSorting& sorting = sheet.Session().Last();
        std::vector<double> values;
        for (size_t i = 0; i < sorting.Weights().size(); ++i)
            if (sorting.FirstIds()[i] == id) values.push_back(double{sorting.Weights()[i][0]});
        std::ranges::sort(values);
        const double limit = (values[values.size() / 2 - 1] + values[values.size() / 2]) / 2.0;
        holds = values.size() / 2;
        return {{-1e6, -1e6}, {limit, -1e6}, {limit, 1e6}, {-1e6, 1e6}};
    }

    CSorterSheet sheet;
};

TEST_F(SorterSheetTest, PagesAreEnteredInTurn) {
    EXPECT_EQ(sheet.Prompt(), "Set parameters; Read.");
    EXPECT_EQ(Press("next"), "You have not yet read any spike data.");
    host.cancelAtCall = 1;
    EXPECT_EQ(Press("read"), "User cancelled.");
    EXPECT_FALSE(sheet.Session().Has(Step::read));
    host.cancelAtCall = 0;
    ASSERT_EQ(Press("read"), "");
    EXPECT_TRUE(HasLogged("CFindShapes::CalcNoiseVariance"));
    ASSERT_EQ(SetField("windowEnd", "0.9"), "");
    EXPECT_EQ(Press("next"), readAgainText);
    ASSERT_EQ(SetField("windowEnd", "1"), "");
    ASSERT_EQ(Press("next"), "");
    EXPECT_EQ(sheet.Prompt(), "Set limits for PCA by dragging cursors; Cluster.");
    EXPECT_EQ(Press("next"), "You have not got any clusters yet. Click Cluster.");
    ASSERT_EQ(Press("cluster"), "");
    EXPECT_TRUE(HasLogged("Calculating PCs\n"));
    EXPECT_EQ(sheet.Session().Last().Clusters().size(), 3u);
    ASSERT_EQ(Press("next"), "");
    EXPECT_EQ(sheet.CurrentPage(), CSorterSheet::templatesPage);

    // The overlaps are a cluster of their own.
    ASSERT_EQ(SetField("primary", "3"), "");
    ASSERT_EQ(SetField("ownMixed", "1"), "");

    // A library whose building is cancelled leaves the page and no library.
    host.cancelAtCall = 2;
    EXPECT_EQ(Press("next"), "User cancelled.");
    host.cancelAtCall = 0;
    EXPECT_EQ(sheet.CurrentPage(), CSorterSheet::templatesPage);
    EXPECT_FALSE(sheet.Session().Has(Step::library));
    ASSERT_EQ(Press("next"), "");
    EXPECT_TRUE(HasLogged("Building 3 + 1 libraries\n"));
    EXPECT_TRUE(HasLogged("Allocating pure template matches\n"));
    const size_t before = sheet.Session().Unassigned().size();
    EXPECT_GT(before, 20u);
    ASSERT_EQ(Press("autoAssignAll"), "");
    EXPECT_LT(sheet.Session().Unassigned().size(), before);
    for (int page = CSorterSheet::unassignPage; page >= 0; --page) {
        sheet.GoTo(page);
        EXPECT_GE(sheet.GetGraph()->panes.size(), 1u);
        EXPECT_TRUE(sheet.Session().Has(Step::assigned)) << "going back keeps all";
    }
}

TEST_F(SorterSheetTest, WhatIsDoneByHandIsWhatTheSettingsDo) {
    ToTemplates();
    size_t holds = 0;
    const auto outline = LowerHalf(1, holds);
    const int32_t count = CountOf(1);
    ASSERT_EQ(Try([&] { sheet.TakeOutline("components", outline); }), "");
    EXPECT_EQ(CountOf(4), static_cast<int32_t>(holds));
    EXPECT_EQ(CountOf(1), count - static_cast<int32_t>(holds));
    EXPECT_EQ(sheet.Session().view.comparison, 4);
    ASSERT_EQ(Press("mergeClusters"), "");
    EXPECT_EQ(CountOf(1), count);
    // The same, typed.
    ASSERT_EQ(Press("undo"), "");
    ASSERT_EQ(Press("undo"), "");
    ASSERT_EQ(SetField("outline", fmt::format("-1e6,-1e6;{0},-1e6;{0},1e6;-1e6,1e6", outline[1].x)), "");
    ASSERT_EQ(Press("splitCluster"), "");
    EXPECT_EQ(CountOf(4), static_cast<int32_t>(holds));
    ASSERT_EQ(Press("mergeClusters"), "");
    ASSERT_EQ(SetField("primary", "3"), "");
    ASSERT_EQ(SetField("ownMixed", "1"), "");
    ASSERT_EQ(SetField("primary", "2"), "");
    ASSERT_EQ(SetField("ownThreshold", "2.75"), "");
    ASSERT_EQ(SetField("ownStart", "-0.75"), "");
    EXPECT_EQ(sheet.Session().Last().Clusters()[1].m_iTmplStartRelDisp, 5);
    ASSERT_EQ(Press("next"), "");
    ASSERT_EQ(SetField("multiplier", "0.4"), "");
    ASSERT_EQ(Press("autoAssignAll"), "");
    ASSERT_GT(sheet.Session().Unassigned().size(), 1u);
    const size_t spike = sheet.Session().Unassigned()[0];
    ASSERT_EQ(SetField("candidate", "1+2"), "");
    // The parts of a compound make its sum, each on the level of the noise.
    const Graph graph = *sheet.GetGraph();
    const auto layer = [&](const char* name) -> const GraphLayer& {
        return *std::ranges::find(graph.panes[0].layers, name, &GraphLayer::name);
    };
    const double level = sheet.Session().Last().Waves().noise[0].mean;
    double highest = 0.0;
    for (size_t i = 0; i < 40; ++i) {
        EXPECT_NEAR(layer("wavType 1").y[i] + layer("wavType 2").y[i], layer("sum").y[i] + level, 1e-3);
        highest = std::max(highest, std::abs(layer("sum").y[i]));
    }
    EXPECT_GT(highest, 10.0);
    ASSERT_EQ(Press("assignSpike"), "");
    EXPECT_EQ(sheet.Session().Last().Types()[spike].Text(), "1+2");
    ASSERT_EQ(Press("next"), "");
    ASSERT_EQ(SetField("unit", "1"), "");
    const UnitEvent worst = sheet.Session().RankedEvents()[0];
    const Graph unitGraph = *sheet.GetGraph();
    const auto& shown = unitGraph.panes[1].layers;
    EXPECT_GT(std::ranges::max(shown[1].y, {}, [](double y) { return y == y ? y : 0.0; }) -
                  std::ranges::min(shown[1].y, {}, [](double y) { return y == y ? y : 0.0; }),
              10.0);
    ASSERT_EQ(Press("selectRank"), "");
    ASSERT_EQ(Press("unassignSelected"), "");
    EXPECT_TRUE(HasLogged("removing spk rel id"));
    EXPECT_EQ(std::ranges::count(sheet.Session().Events(), worst.place, &UnitEvent::place), 0);
    ASSERT_EQ(SetField("unassignOutliers", "1"), "");
    EXPECT_TRUE(HasLogged("Total outlier count = "));
    ASSERT_EQ(SetField("writeUnassigned", "1"), "");
    ASSERT_TRUE(sheet.Finish());
    EXPECT_TRUE(HasLogged("clicked Finish, active index = 4\n"));
    EXPECT_FALSE(sheet.HasUnwritten());
    EXPECT_EQ(doc->Undo().UndoName(), sheet.Title());

    CFindShapes plain;
    plain.CheckChangeDoc(doc.get());
    plain.TakeSettings(sheet.Settings());
    plain.m_nDestination = 15;
    ASSERT_TRUE(plain.Run());
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(Found(5 + i), Found(15 + i)) << i;
        EXPECT_EQ(Chan(5 + i).channelLabel, Chan(15 + i).channelLabel);
    }
    EXPECT_GT(Chan(5).GetNumEvents(), 100);
    EXPECT_EQ(Chan(7).GetNumEvents(), 0) << "mixed";
    EXPECT_EQ(Chan(9).channelLabel, "unassigned wavType");
}

TEST_F(SorterSheetTest, NothingIsLostWithoutAQuestion) {
    ToTemplates();
    ASSERT_EQ(SetField("comparison", "1"), "");
    EXPECT_EQ(Press("mergeClusters"), sameTemplatesText);
    ASSERT_EQ(SetField("comparison", "3"), "");
    const int32_t both = CountOf(1) + CountOf(3);
    ASSERT_EQ(Press("mergeClusters"), "");
    EXPECT_EQ(CountOf(1), both);
    EXPECT_EQ(sheet.Session().UndoName(), "Merge");
    EXPECT_EQ(Press("mergeClusters"), noComparisonText) << "nothing is left to merge";
    ASSERT_EQ(Press("undo"), "");
    EXPECT_LT(CountOf(1), both);
    EXPECT_EQ(sheet.m_strMerge, "");
    ASSERT_EQ(SetField("ownIgnore", "1"), "");
    EXPECT_EQ(Press("mergeClusters"), flaggedMergeText);
    ASSERT_EQ(Press("undo"), "");
    EXPECT_FALSE(sheet.Session().Last().Clusters()[0].m_bIgnore);
    ASSERT_EQ(Press("redo"), "");
    EXPECT_TRUE(sheet.Session().Last().Clusters()[0].m_bIgnore);

    sheet.GoTo(CSorterSheet::pcaPage);
    host.answer = false;
    EXPECT_EQ(Press("cluster"), "");
    EXPECT_EQ(host.questions.back().text, losesWorkText);
    EXPECT_EQ(sheet.m_strIgnore, "1");
    host.answer = true;
    ASSERT_EQ(Press("cluster"), "");
    EXPECT_EQ(sheet.m_strIgnore, "");
    ASSERT_EQ(Press("undo"), "");
    EXPECT_EQ(sheet.m_strIgnore, "1") << "what was redone can be taken back, too";

    // An outline of nothing, or of all, is none.
    sheet.GoTo(CSorterSheet::templatesPage);
    EXPECT_NE(Try([&] { sheet.TakeOutline("components", {{1e6, 1e6}, {2e6, 1e6}, {2e6, 2e6}}); }), "");
    EXPECT_NE(Try([&] {
                  sheet.TakeOutline("components", {{-1e6, -1e6}, {1e6, -1e6}, {1e6, 1e6}, {-1e6, 1e6}});
              }),
              "");
    EXPECT_EQ(sheet.Session().Last().Clusters().size(), 3u);

    // Another recording begins anew.
    auto other = MemoryDoc::Make(session, {std::vector<float>(5000, 2.0f)}, 0.05);
    sheet.CheckChangeDoc(other.get());
    EXPECT_FALSE(sheet.Session().Has(Step::read));
    EXPECT_EQ(sheet.m_strIgnore, "");
}

TEST_F(SorterSheetTest, SetsAreLoadedInPlaceOfClusters) {
    ToTemplates();
    ASSERT_EQ(SetField("primary", "3"), "");
    ASSERT_EQ(SetField("ownMixed", "1"), "");
    host.saveFile = "units.kymr-cfg";
    ASSERT_EQ(Press("saveSetFile"), "");
    EXPECT_EQ(host.fileRequests.back().title, saveSortingSetTitle);
    ASSERT_EQ(Press("next"), "");
    host.saveFile = "library.txt";
    ASSERT_EQ(Press("saveLibraryFile"), "");
    EXPECT_TRUE(files.Stamp("library.txt"));
    ASSERT_TRUE(sheet.Finish());
    const size_t pure = Found(5).size() + Found(6).size();

    CSorterSheet again;
    Set(again, {{"destination", "p"}, {"polarity", "up"}, {"minimumClusterShare", "10"}});
    host.openFiles = {"units.kymr-cfg"};
    ParamList params = again.Params();
    params.Find("loadSetFile")->action(params);
    EXPECT_EQ(again.CurrentPage(), CSorterSheet::templatesPage);
    ASSERT_TRUE(again.Finish());
    EXPECT_EQ(again.m_nPolarity, static_cast<int32_t>(Polarity::either));
    EXPECT_GT(Found(15).size() + Found(16).size(), pure) << "with auto-assignment, unlike the first";
    EXPECT_TRUE(Found(17).empty());
}

TEST(SortLists, AreReadAsTheyAreWritten) {
    for (const char* text : {"1+3 2@1,2:0.5,1;-2,1e+06;1,3", "0@2,3:1,1;2,1;2,2"}) {
        std::string again;
        for (const ClusterEdit& edit : ReadEdits(text)) again += (again.empty() ? "" : " ") + EditText(edit);
        EXPECT_EQ(again, text);
    }
    EXPECT_EQ(GivenText(ReadGiven("12:3, 17:1+2 20:0")), "12:3 17:1+2 20:0");
    EXPECT_EQ(TakenText(ReadTaken("12 17:2")), "12 17:2");
    EXPECT_EQ(TimesText(ReadTimes("2:-0.4:0.6")), "2:-0.4:0.6");
    EXPECT_EQ(ThresholdsText(ReadThresholds("2.5 0 3")), "2.5 0 3");
    for (const char* text : {"2@1,2:0,0;1,1", "2@1,4:0,0;1,1;2,0", "x@1,2:0,0;1,1;2,0", "1@1:0,0;1,1;2,0"})
        EXPECT_THROW(ReadEdits(text), JobRefused) << text;
    for (const char* text : {"1", "1:2:3", "0:1", "1:1+2+3+4"}) EXPECT_THROW(ReadGiven(text), JobRefused);
    EXPECT_THROW(ReadTimes("1:2"), JobRefused);

    // A bracket that is open to the right.
    const std::vector<WeightPoint> outline{{0, 0}, {4, 0}, {4, 1}, {1, 1}, {1, 3}, {4, 3}, {4, 4}, {0, 4}};
    EXPECT_TRUE(IsEnclosed(outline, 0.5, 2.0));
    EXPECT_TRUE(IsEnclosed(outline, 3.0, 0.5));
    EXPECT_FALSE(IsEnclosed(outline, 3.0, 2.0));
    EXPECT_FALSE(IsEnclosed(outline, 5.0, 0.5));
}

}  // namespace
}  // namespace kymora::test
