#include "graphs/graph_output.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "graphs/graph_samples.h"

namespace kymora::test {
namespace {

class TextSinkHere : public OutputSink {
  public:
    void Write(std::string_view text) override { all += text; }
    std::string all;
};

TEST(GraphOutputTest, TextIsThePanesOwnOrATableOfItsLayers) {
    GraphPane pane =
        Pane({Layer(LayerKind::bars, {0, 0.5, 1}, {3, nothing}), Layer(LayerKind::marks, {7}, {})});
    pane.layers[0].name = "n";
    Graph graph;
    graph.panes = {pane};
    EXPECT_EQ(GraphText(graph), "time (ms) from\tto\tn\r\n0\t0.5\t3\r\n0.5\t1\t\r\n\r\ntime (ms)\r\n7\r\n");
    graph.panes.push_back(Pane({}));
    graph.panes[1].name = "b";
    graph.panes[1].text = "mean\t5\r\n";
    EXPECT_TRUE(GraphText(graph).starts_with("a\r\ntime (ms) from"));
    EXPECT_TRUE(GraphText(graph).ends_with("7\r\n\r\nmean\t5\r\n"));
    graph.panes = {Pane({Matrix(2, 2)})};
    EXPECT_EQ(GraphText(graph), "count \\ time (ms)\t2.5\t7.5\r\n25\t0\t1\r\n75\t2\t3\r\n");
}

TEST(GraphOutputTest, JsonTellsTheWholeGraph) {
    GraphPane pane = Pane({Layer(LayerKind::bars, {0, 1, 2}, {3, nothing})});
    pane.y.isLog = true;
    pane.y.limits = {1.0, 10.0};
    pane.lines = {{true, 1.5, 0, "level", "onLevel"}};
    Graph graph;
    graph.panes = {pane};
    TextSinkHere sink;
    JsonWriter json(sink);
    WriteGraphJson(json, graph);
    json.Finish();
    const auto read = nlohmann::json::parse(sink.all);
    const auto& told = read["panes"][0];
    EXPECT_EQ(told["name"], "a");
    EXPECT_EQ(told["x"],
              (nlohmann::json{
                  {"title", "time"}, {"unit", "ms"}, {"log", false}, {"minimum", 0.0}, {"maximum", 2.0}}));
    EXPECT_EQ(told["y"]["minimum"], 1.0) << "fixed limits";
    EXPECT_EQ(told["layers"][0]["kind"], "bars");
    EXPECT_EQ(told["layers"][0]["y"], (nlohmann::json{3.0, nullptr}));
    EXPECT_EQ(told["lines"][0]["parameter"], "onLevel");
}

TEST(GraphOutputTest, EveryKindGoesIntoEveryPicture) {
    const Graph graph = ManyPanes();
    for (const auto& [format, begin] : {std::pair{PictureFormat::png, "\x89PNG"},
                                        {PictureFormat::svg, "<?xml"},
                                        {PictureFormat::pdf, "%PDF"}}) {
        const auto bytes = GraphPicture(graph, format, {});
        const std::string text(reinterpret_cast<const char*>(bytes.data()), bytes.size());
        EXPECT_TRUE(text.starts_with(begin));
        if (format != PictureFormat::svg) continue;
        for (const char* part : {">Spectrogram<", ">density<", ">99% limits<", "180\u00B0", "fill-rule"})
            EXPECT_NE(text.find(part), std::string::npos) << part;
        EXPECT_LT(bytes.size(), 400000u);
    }
    const Graph one = OnlyPane(graph.panes[1]);
    ASSERT_EQ(one.panes.size(), 1u);
    EXPECT_EQ(one.panes[0].name, "Phase, n = 142");
}

}  // namespace
}  // namespace kymora::test
