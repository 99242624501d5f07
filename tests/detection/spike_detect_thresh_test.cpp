// The interactive spike detector as a user or a batch runs it, against spikes at known places.

#include "detection/spike_detect_thresh.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "detection/event_threshold.h"
#include "support/bytes.h"
#include "support/memory_doc.h"
#include "support/operation_results.h"
#include "support/view_fixture.h"

namespace kymora::test {
namespace {

class SpikeDetectThreshTest : public ViewTest {
  protected:
    // 0.1 ms; a spike of +8 and then -8 at every 500th sample from 400 on, on small waves.
    static constexpr int64_t length = 20000;
    static float Value(int64_t i) {
        const auto wave = static_cast<float>(0.5 * std::sin(static_cast<double>(i) * 0.05));
        const int64_t phase = (i + 100) % 500;
        return phase < 2 ? 8.0f : phase < 5 ? -8.0f : wave;
    }
    void SetUp() override {
        doc = MemoryDoc::Generate(
            session, 1, length, [](int, int64_t i) { return Value(i); }, 0.1);
        doc->view.viewStart = 100.0, doc->view.viewEnd = 150.0;
        operation.CheckChangeDoc(doc.get());
        operation.m_nDestination = 2;
    }
    std::vector<int> Found() {
        std::vector<int> at;
        for (const CEventKM& event : doc->eventChannels[2].Events()) {
            EXPECT_EQ(event.offPosition, event.onPosition + 1);
            at.push_back(event.onPosition);
        }
        return at;
    }
    void Set(const char* key, const char* value) {
        ParamList params = operation.Params();
        ASSERT_NE(params.Find(key), nullptr) << key;
        ASSERT_EQ(params.Find(key)->SetFromText(value), "") << key;
    }
    // Positions from, from + 500, ...
    static std::vector<int> Every500(int from) {
        std::vector<int> at;
        for (int i = from; i < length; i += 500) at.push_back(i);
        return at;
    }

    std::unique_ptr<MemoryDoc> doc;
    CSpikeDetectThresh operation;
};

TEST_F(SpikeDetectThreshTest, UserLevelsFindEachSpike) {
    doc->eventChannels[2].AddEvent(1, 100);
    Set("upperThreshold", "4");
    Set("lowerThreshold", "-100");
    operation.m_strLabel = "units";
    operation.m_bAppendParams = true;
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(Found(), Every500(400));
    EXPECT_EQ(doc->eventChannels[2].channelLabel, "units");
    const std::string result = ResultText(operation);
    EXPECT_EQ(result, "Spike count: 40\r\n");
    EXPECT_TRUE(doc->historyLog.starts_with("Detect Spikes by Threshold\r\nAnalysis region: whole file\r\n"));
    EXPECT_TRUE(doc->historyLog.ends_with("Spike count: 40\r\n\r\n"));
    EXPECT_NE(doc->eventChannels[2].channelComment.find("Type: Abs\r\n"), std::string::npos);
    // Both sides: up to the peak and down to the trough without a sample between the levels is one entry.
    Set("lowerThreshold", "-4");
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(Found(), Every500(400));
    Set("direction", "-ve");
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(Found(), Every500(402));
    // 50 ms are 500 samples, and a distance of just that is refused: every other one stays.
    Set("refractoryTime", "50");
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(Found().size(), 20u);
    ASSERT_TRUE(doc->Undo().Undo());
    EXPECT_EQ(Found(), Every500(402));
    // However long the time: the first spike stands, and no other one.
    Set("refractoryTime", "3e38");
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(Found(), std::vector<int>{402});
}

TEST_F(SpikeDetectThreshTest, TheChannelKeepsNothingOfAnEarlierDetection) {
    DetectionParameters& kept = doc->eventChannels[2].detection;
    kept.thresholdLevel = 77.0f;
    kept.thresholdHysteresis = 66.0f;
    kept.thresholdMinimum = 55.0f;
    Set("upperThreshold", "4");
    Set("lowerThreshold", "-5");
    Set("direction", "-ve");
    ASSERT_TRUE(operation.Run());
    DetectionParameters expected;
    expected.analysisEnd = 100.0f;
    expected.thresholdLevel = -5.0f;
    expected.thresholdMode = 1;
    expected.thresholdOnsetA = 4.0f;
    expected.thresholdOnsetB = -5.0f;
    EXPECT_EQ(kept, expected);
}

TEST_F(SpikeDetectThreshTest, PeakToPeakTakesPairs) {
    // Plateaus are no strict extrema: give each spike one peak and one trough.
    doc = MemoryDoc::Generate(
        session, 1, length,
        [](int, int64_t i) {
            const int64_t phase = (i + 100) % 500;
            const auto wave = static_cast<float>(0.5 * std::sin(static_cast<double>(i) * 0.5));
            return phase == 0 ? 8.0f : phase == 3 ? -8.0f : wave;
        },
        0.1);
    operation.CheckChangeDoc(doc.get());
    Set("type", "Pk-to-pk");
    Set("upperThreshold", "6");
    Set("lowerThreshold", "-6");
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(Found(), Every500(400));
    Set("upperThreshold", "11");
    ASSERT_TRUE(operation.Run());
    EXPECT_TRUE(Found().empty()) << "16 is not more than 17";
}

TEST_F(SpikeDetectThreshTest, LevelsComeFromTheDataShown) {
    // Eight times the view: 100 to 500 ms, samples 1000 to 5000.
    Set("source", "1");
    Set("multiplier", "3");
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(operation.m_fDisplayStart, 100.0f);
    EXPECT_EQ(operation.m_fDisplayDuration, 400.0f);
    long double sum = 0, squares = 0;
    for (int i = 1000; i < 5000; ++i) sum += Value(i);
    for (int i = 1000; i < 5000; ++i) squares += (Value(i) - sum / 4000) * (Value(i) - sum / 4000);
    const auto mean = static_cast<float>(sum / 4000);
    const auto sd = static_cast<float>(std::sqrt(squares / 3999));
    EXPECT_NEAR(operation.m_levels.upper, mean + 3 * sd, 1e-5f);
    EXPECT_NEAR(operation.m_levels.lower, mean - 3 * sd, 1e-5f);
    EXPECT_EQ(Found(), Every500(400));
    EXPECT_EQ(operation.PreviewSpikes(),
              (std::vector<int64_t>{1400, 1900, 2400, 2900, 3400, 3900, 4400, 4900}));

    Set("source", "Percentile");
    Set("alpha", "0.004");
    Set("displayStartTime", "200");
    Set("displayDuration", "100");
    ASSERT_TRUE(operation.Run());
    std::vector<float> shown;
    for (int i = 2000; i < 3000; ++i) shown.push_back(Value(i));
    std::sort(shown.begin(), shown.end());
    EXPECT_EQ(operation.m_levels.lower, shown[3]);
    EXPECT_EQ(operation.m_levels.upper, shown[996]);
    // Another recording keeps what the user has set.
    const auto other = MemoryDoc::Generate(
        session, 1, 5000, [](int, int64_t i) { return Value(i); }, 0.1);
    operation.CheckChangeDoc(other.get());
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(operation.m_fDisplayDuration, 100.0f);

    // Nothing is shown behind the end: levels cannot be taken from it.
    operation.CheckChangeDoc(doc.get());
    Set("displayStartTime", "5000");
    EXPECT_FALSE(operation.Run());
    EXPECT_EQ(host.LastMessage(), noStatisticsText);
}

TEST_F(SpikeDetectThreshTest, TransformAndFilterComeBeforeTheRule) {
    Set("transform", "Rectify, smooth");
    Set("halfWindowTime", "0.3");
    EXPECT_EQ(operation.m_nHalfWindow, 3);
    Set("iterations", "2");
    Set("upperThreshold", "4");
    Set("lowerThreshold", "-1");
    ASSERT_TRUE(operation.Run());
    // The series in memory, as it is defined, over the whole recording.
    std::vector<float> series;
    double sum = 0;
    for (int64_t i = 0; i < length; ++i) sum += Value(i);
    for (int64_t i = 0; i < length; ++i)
        series.push_back(std::fabs(static_cast<float>(Value(i) - sum / static_cast<double>(length))));
    series = GetMovingAverageIter(series, 2, 3);
    std::vector<int> entries;
    for (size_t i = 1; i < series.size(); ++i)
        if (series[i] > 4.0f && !(series[i - 1] > 4.0f)) entries.push_back(static_cast<int>(i));
    EXPECT_EQ(entries.size(), 40u);
    EXPECT_EQ(Found(), entries);
    // The choices without an effect of their own leave the data as they are.
    Set("transform", "TEO 1");
    ASSERT_TRUE(operation.Run());
    EXPECT_EQ(Found(), entries);
    EXPECT_NE(doc->historyLog.find("Transform: Rectify, smooth\r\n"), std::string::npos);

    // A high-pass takes the offset away that lies between the samples and the levels.
    doc = MemoryDoc::Generate(
        session, 1, length, [](int, int64_t i) { return Value(i) + 1000.0f; }, 0.1);
    operation.CheckChangeDoc(doc.get());
    Set("transform", "None");
    Set("lowerThreshold", "-1000");
    ASSERT_TRUE(operation.Run());
    EXPECT_TRUE(Found().empty()) << "beyond the levels throughout";
    Set("postFilterOn", "1");
    ASSERT_TRUE(operation.Run());
    std::vector<int> late = Found();
    late.erase(std::remove_if(late.begin(), late.end(), [](int at) { return at < 2000; }), late.end());
    std::vector<int> expected = Every500(2400);
    EXPECT_EQ(late, expected);
}

TEST_F(SpikeDetectThreshTest, TheGraphShowsSeriesLevelsAndSpikes) {
    Set("upperThreshold", "4");
    Set("lowerThreshold", "-4");
    Set("postFilterOn", "1");
    const auto graph = operation.GetGraph();
    ASSERT_TRUE(graph);
    const GraphPane& pane = graph->panes.at(0);
    const auto& layers = pane.layers;
    ASSERT_EQ(layers.size(), 3u);
    // 4000 samples in bins of at least two: the extremes of each, in their order.
    EXPECT_LE(layers[0].y.size(), 4000u);
    EXPECT_EQ(*std::max_element(layers[0].y.begin(), layers[0].y.end()), 8.0);
    EXPECT_TRUE(std::is_sorted(layers[0].x.begin(), layers[0].x.end()));
    EXPECT_EQ(layers[2].x.size(), operation.PreviewSpikes().size());
    EXPECT_EQ(pane.lines.size(), 2u);
    EXPECT_EQ(pane.lines[0].parameter, "upperThreshold");
    EXPECT_TRUE(operation.Guides().empty()) << "levels of filtered data do not lie on the trace's axis";
    Set("postFilterOn", "0");
    EXPECT_EQ(operation.Guides().size(), 2u);
    EXPECT_EQ(operation.Params().Find("spikeCount")->shown(), "8");
}

TEST_F(SpikeDetectThreshTest, SamplesThatAreNoNumbersHideNoSpikeInTheGraph) {
    constexpr float nan = std::numeric_limits<float>::quiet_NaN();
    // Bins of three: a spike beside a sample that is none, on either side, and a bin without any.
    std::vector<float> samples(80002, 0.0f);
    samples[300] = 9.0f, samples[301] = nan;
    samples[601] = nan, samples[602] = -9.0f;
    samples[900] = samples[901] = samples[902] = nan;
    samples[1201] = 7.0f, samples[1202] = nan;
    doc = MemoryDoc::Make(session, {samples}, 0.1);
    operation.CheckChangeDoc(doc.get());
    Set("displayDuration", "9000");
    const std::vector<double> y = operation.GetGraph()->panes.at(0).layers.at(0).y;
    ASSERT_LT(y.size(), samples.size());
    for (const double peak : {9.0, -9.0, 7.0}) EXPECT_EQ(std::count(y.begin(), y.end(), peak), 1) << peak;
    EXPECT_EQ(std::count_if(y.begin(), y.end(), [](double value) { return std::isnan(value); }), 1);
}

TEST_F(SpikeDetectThreshTest, TheRecordOfAConfigurationFile) {
    Bytes bytes;
    bytes.Wide(u"CSpikeDetectThresh").U32(1).U32(0);
    const size_t version = bytes.Size();
    bytes.U32(1);
    for (const float value : {1, 2, 3, 4, 5, 6, 7, 8, 9, 10}) bytes.F32(value);
    bytes.I32(1).I32(3).I32(2).F32(11).F32(0.5f).I32(1).F32(12).I32(4).F32(13).F32(14);
    bytes.Wide(u"what").Wide(u"who").I32(6).I32(1);
    operation.TakeSettings(bytes.data);
    EXPECT_EQ(operation.m_statistics.robustSd, 1.0f);
    EXPECT_EQ(operation.m_statistics.upperPercentile, 6.0f);
    EXPECT_EQ(operation.m_levels.lower, 8.0f);
    EXPECT_EQ(operation.m_fSpikeWindow, 10.0f);
    EXPECT_EQ(operation.m_nSource, 3);
    EXPECT_EQ(operation.m_fAlpha, 0.5f);
    EXPECT_TRUE(operation.m_bPostFilter);
    EXPECT_EQ(operation.m_nTransform, 4);
    EXPECT_EQ(operation.m_fDisplayDuration, 14.0f);
    EXPECT_EQ(operation.m_strLabel, "who");
    EXPECT_EQ(operation.m_nDestination, 6);
    EXPECT_EQ(operation.m_nTrace, 1);
    // What a run over a region needs stands behind that.
    operation.m_dHalfWindowTime = 2.5;
    operation.m_nIterations = 3;
    // Both forms of the half window agree after a load: 2.5 ms are 25 samples.
    bytes.data[version] = std::byte{2};
    bytes.F64(2.5).I32(3).U8(0).I32(0).F64(operation.m_dRegionStart).F64(operation.m_dRegionEnd);
    EXPECT_EQ(operation.Settings(), bytes.data);
    operation.TakeSettings(bytes.data);
    EXPECT_EQ(operation.m_nHalfWindow, 25);
}

}  // namespace
}  // namespace kymora::test
