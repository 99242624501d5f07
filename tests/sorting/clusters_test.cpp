// Clusters of events and of traces: ids, colours, reports, what is refused, and the program of the user's.

#include <cmath>
#include <filesystem>

#include "sorting/cluster_ctrl.h"
#include "sorting/cluster_traces.h"
#include "sorting/ntrode_pca.h"
#include "sorting/operation_fixture.h"

namespace kymora::test {
namespace {

// Values of two groups in turn: about 2 and about 10, each 0.2 to either side of its mean.
struct ClusterTest : SortingTest {
    static constexpr int events = 60;

    void SetUp() override {
        doc = MemoryDoc::MakeEmpty(session, 10000, 0.1);
        for (int k = 0; k < events; ++k) {
            const float middle = k % 2 == 0 ? 2.0f : 10.0f;
            Channel(0).AddEvent(100 * k, 100 * k + 10, middle + (k / 2 % 2 == 0 ? 0.2f : -0.2f));
        }
    }
    std::vector<int> Ids(int channel = 2) {
        std::vector<int> ids;
        for (const CEventKM& event : Channel(channel).Events())
            ids.push_back(static_cast<int>(event.eventValue));
        return ids;
    }
    static std::vector<int> InTurn(int first, int second) {
        std::vector<int> ids;
        for (int k = 0; k < events; ++k) ids.push_back(k % 2 == 0 ? first : second);
        return ids;
    }
    static const inline SortingTest::Settings byValue{{"parameters", "Variable"}, {"destination", "c"}};
};

TEST_F(ClusterTest, GivesIdsColoursAndAReport) {
    CClusterCtrl cluster;
    ASSERT_EQ(Run(cluster, byValue), "");
    const bool lowFirst = Ids()[0] == 1;
    EXPECT_EQ(Ids(), lowFirst ? InTurn(1, 2) : InTurn(2, 1));
    for (const CEventKM& event : Channel(2).Events())
        EXPECT_EQ(event.eventColour, ClusterColour(static_cast<int>(event.eventValue) - 1));
    // P is 3: 60 values can have no more than floor(61 / 3 - 1) / 2 = 9 classes to start with.
    EXPECT_EQ(host.LastMessage(), "Too few events for 20 starting clusters: started with 9.");
    // Variance of the group 0.04, and of all 16.04 / 100000 more.
    const std::string low = "\tprop:\t0.500000\r\n\tmean\t2.000000\r\n\ts.d.\t0.200401\r\n";
    EXPECT_NE(ResultText(cluster).find((lowFirst ? "sub class 1\r\n" : "sub class 2\r\n") + low),
              std::string::npos)
        << ResultText(cluster);
    EXPECT_EQ(std::get<int64_t>(RowsOf(cluster, "clusters")[1][1]), 30);
    EXPECT_EQ(cluster.GetGraph()->panes[0].layers.size(), 2u);
    EXPECT_EQ(cluster.GetGraph()->panes[0].layers[1].channel, 0);
    doc->Undo().Undo();
    EXPECT_EQ(Channel(2).GetNumEvents(), 0);
    // A parameter that stands twice makes two dimensions; a wish for more than there are at first gets those.
    ASSERT_EQ(
        Run(cluster,
            {{"parameters", "variable; 4,Interval"}, {"desiredClusters", "7"}, {"initialClusters", "2"}}),
        "");
    EXPECT_EQ(RowsOf(cluster, "clusters").size(), 2u);
    EXPECT_EQ(Channel(2).Events().back().eventColour, noClusterColour) << "it has no interval";
    EXPECT_EQ(Ids().back(), 0);
}

TEST_F(ClusterTest, EarlierIdsStayWhereThereAreNoNewOnes) {
    CClusterCtrl cluster;
    ASSERT_EQ(Run(cluster, byValue), "");
    const std::vector<int> kept = Ids();
    for (int k = 0; k < events; ++k) {
        CEventKM same = Channel(0).Events()[static_cast<size_t>(k)];
        same.eventValue = 3.0f;
        Channel(0).ReplaceEvent(k, same);
    }
    EXPECT_EQ(Run(cluster, {}), noClustersText);
    EXPECT_EQ(host.LogText().find(singularText) != std::string::npos, true);
    const struct {
        const char *key, *value, *words;
    } cases[] = {
        {"parameters", " , ", "Choose at least one parameter."},
        {"parameters", "Variable, Size",
         "There is no event parameter \"Size\". Name some, or their positions, parted by commas."},
        {"parameters", "AutoCorr", "AutoCorr has no values for single events. Choose another parameter."},
        {"parameters", "PC1 wt",
         "The events of channel a have no weights on principal components. Find those first."},
        {"parameters", "Maximum", "Maximum needs a trace."},
    };
    for (const auto& [key, value, words] : cases) EXPECT_EQ(Run(cluster, {{key, value}}), words);
    for (int k = 0; k < 5000; ++k) Channel(0).AddEvent(k, k + 1, static_cast<float>(k % 7));
    host.cancelAtCall = 2;
    EXPECT_EQ(Run(cluster, {{"parameters", "Variable"}}), "refused without a word");
    EXPECT_TRUE(cluster.WasCancelled());
    EXPECT_EQ(host.progress.back().parts.front(), "Refining cluster 20");
    EXPECT_EQ(Ids(), kept);
}

TEST_F(ClusterTest, AnOutsideProgramTakesOver) {
    CClusterCtrl cluster;
    ASSERT_EQ(Run(cluster, {{"parameters", "Variable, Interval"},
                            {"destination", "c"},
                            {"outside", "1"},
                            {"command", "awk '{print ($1 > 5) ? 3 : 1}'"}}),
              "");
    ASSERT_EQ(host.questions.size(), 1u);
    EXPECT_EQ(host.questions[0].text, outsideStartedText);
    EXPECT_NE(host.LogText().find("got 59 items from Klustawin\n"), std::string::npos);
    std::vector<int> expected = InTurn(1, 3);
    expected.back() = 0;
    EXPECT_EQ(Ids(), expected);
    EXPECT_EQ(std::get<int64_t>(RowsOf(cluster, "clusters")[2][1]), 29);
    EXPECT_DOUBLE_EQ(std::get<double>(RowsOf(cluster, "clusters")[0][2]), 30.0 / 59.0);
    const struct {
        const char *command, *words;
    } cases[] = {
        {"", outsideFailedText},
        {"no-such-program-anywhere", outsideFailedText},
        {"false", noPartitionText},
        {"true", noPartitionText},
        {"awk '{print 0}'", noPartitionText},
        {"awk '{print \"x\"}'", noPartitionText},
        {"awk 'NR < 3 {print 1}'", "There are 59 items in graph, but KlustaWin returned 2 items. Abandoning"},
    };
    for (const auto& [command, words] : cases)
        EXPECT_EQ(Run(cluster, {{"command", command}}), words) << command;
    EXPECT_EQ(Ids(), expected);
    // Settings that come from a file bring no command along.
    CClusterCtrl other;
    other.TakeSettings(cluster.Settings());
    EXPECT_TRUE(other.m_bOutside);
    EXPECT_EQ(other.m_strCommand, "");
    // The command of the options; the user cancels, and the program is not waited for.
    session.options.clusterCommand = "sleep 100;";
    host.nextAnswers = {false};
    EXPECT_EQ(Run(cluster, {{"command", ""}}), "refused without a word");
    EXPECT_FALSE(cluster.WasCancelled()) << "an answer is no interrupt";
    host.cancelAtCall = 2;
    EXPECT_EQ(Run(cluster, {}), "refused without a word");
    EXPECT_EQ(Ids(), expected);
}

TEST(PartitionTextTest, OfAnyForm) {
    EXPECT_EQ(ParsePartition("1 2,3\r\n\n 1", 4), (std::vector<int>{0, 1, 2, 0}));
    EXPECT_THROW(ParsePartition("1 2.5", 2), JobRefused);
    EXPECT_THROW(ParsePartition("1 2000000000", 2), JobRefused);
    EXPECT_THROW(ParsePartition("1 -2", 2), JobRefused);
}

// Events that are alike on the first trace and of two kinds on the second.
TEST_F(SortingTest, SeveralTracesTellApartWhatOneDoesNot) {
    std::vector<float> first(2000), second(2000);
    for (size_t i = 0; i < first.size(); ++i) {
        const auto k = i / 40;
        const double at = static_cast<double>(i % 40);
        const double ripple = 0.05 * std::sin(12.9898 * static_cast<double>(i) * (1.0 + 0.1 * at));
        first[i] = static_cast<float>(std::exp(-at / 5.0) + ripple);
        second[i] = static_cast<float>((k % 3 == 0 ? 2.0 : 0.5) * std::exp(-at / 3.0) + ripple);
    }
    doc = MemoryDoc::Make(session, {first, second}, 0.1);
    Spans spans;
    for (int k = 1; k < 50; ++k) spans.emplace_back(40 * k, 40 * k + 5);
    Fill(0, spans);
    Channel(0).parentTrace = 0;
    CNTrodePCA pca;
    ASSERT_EQ(Run(pca, {{"traces", "1-2"},
                        {"windowStart", "0"},
                        {"windowEnd", "1"},
                        {"components", "2"},
                        {"desiredClusters", "2"},
                        {"destination", "b"}}),
              "");
    std::vector<int> expected, found;
    const auto& clustered = Channel(1).Events();
    for (int k = 1; k < 50; ++k) expected.push_back(k % 3 == 0 ? 1 : 0);
    for (const CEventKM& event : clustered)
        found.push_back(event.eventValue == clustered[2].eventValue ? 1 : 0);
    EXPECT_EQ(found, expected);
    const std::string text = ResultText(pca);
    EXPECT_TRUE(text.starts_with("PCs for 49 events were calculated, each with 20 data points\r\n"
                                 "#PC\tEigenvalue\t% (variance explained by #PC)\r\n1\t"))
        << text.substr(0, 200);
    EXPECT_NE(text.find("\r\n#ID\tPC 1 wt\tPC 2 wt\t#clust\r\n1\t"), std::string::npos);
    // The weights stay with the events that were made.
    ASSERT_EQ(Channel(1).EventExtra().size(), 49u);
    EXPECT_NEAR(static_cast<double>(Channel(1).EventExtra()[4][0]),
                std::get<double>(RowsOf(pca, "events")[4][2]), 1e-6);
    // The traces stand one behind the other, with a break between.
    const auto loadings = RowsOf(pca, "loadings");
    ASSERT_EQ(loadings.size(), 20u);
    EXPECT_EQ(std::get<int64_t>(loadings[10][0]), 2);
    EXPECT_EQ(std::get<double>(loadings[10][1]), 0.0);
    EXPECT_TRUE(std::isnan(pca.GetGraph()->panes[1].layers[0].y[10]));
    Fill(0, {{40, 41}, {80, 81}});
    EXPECT_EQ(Run(pca, {{"components", "3"}}), fewEventsForPcsText);
    EXPECT_EQ(Run(pca, {{"windowEnd", "0.1"}}), "The window must hold at least 2 samples.");
}

TEST_F(SortingTest, TracesAreItems) {
    std::vector<std::vector<float>> traces(20, std::vector<float>(500));
    for (size_t t = 0; t < traces.size(); ++t)
        for (size_t i = 0; i < 500; ++i) {
            const double at = static_cast<double>(i);
            traces[t][i] = static_cast<float>(std::sin(0.1 * at) * (t % 3 == 1 ? -3.0 : 1.0) +
                                              0.2 * std::cos(static_cast<double>(t + 1) * at));
        }
    doc = MemoryDoc::Make(session, traces);
    CClusterTraces cluster;
    ASSERT_EQ(Run(cluster, {{"components", "1"}, {"desiredClusters", "2"}}), "");
    const auto rows = RowsOf(cluster, "traces");
    for (size_t t = 0; t < 20; ++t) EXPECT_EQ(rows[t].back() == rows[1].back(), t % 3 == 1) << t;
    // By the covariance of the columns, the weights are the same but for their sign.
    std::vector<float> matrix;
    for (const auto& trace : traces) matrix.insert(matrix.end(), trace.begin(), trace.end());
    const PrincipalComponents by = FindComponentsByCovariance(matrix, 500, 1);
    for (size_t t = 0; t < 20; ++t)
        EXPECT_NEAR(std::fabs(std::get<double>(rows[t][2])), std::fabs(by.Weight(t, 0)), 1e-6);
    // Twelve could have no more than one class.
    EXPECT_EQ(Run(cluster, {{"traces", "1-12"}}), noClustersText);
    EXPECT_EQ(Run(cluster, {{"traces", "1-9"}}), fewValuesText);
    EXPECT_EQ(Run(cluster, {{"components", "10"}}), fewTracesText);
}

}  // namespace
}  // namespace kymora::test
